#include "modbus/checksums.h"

#include "core/byte_order.h"
#include "plcdriver.h"

namespace {

constexpr quint16 kCrcStart = 0xFFFF;
constexpr quint16 kCrcPolynomial = 0xA001; // x^16 + x^15 + x^2 + 1, bits reflected

// The bitwise algorithm, worked out by the compiler.
constexpr quint16 shiftedBits(quint32 crc, int bits)
{
    return bits == 0 ? static_cast<quint16>(crc)
                     : shiftedBits((crc & 1u) ? (crc >> 1) ^ kCrcPolynomial : crc >> 1, bits - 1);
}

#define PLC_CRC_4(n, bits)                                                                                   \
    shiftedBits(n, bits), shiftedBits((n) + 1, bits), shiftedBits((n) + 2, bits), shiftedBits((n) + 3, bits)
#define PLC_CRC_16(n, bits)                                                                                  \
    PLC_CRC_4(n, bits), PLC_CRC_4((n) + 4, bits), PLC_CRC_4((n) + 8, bits), PLC_CRC_4((n) + 12, bits)
#define PLC_CRC_64(n, bits)                                                                                  \
    PLC_CRC_16(n, bits), PLC_CRC_16((n) + 16, bits), PLC_CRC_16((n) + 32, bits), PLC_CRC_16((n) + 48, bits)
#define PLC_CRC_256(bits)                                                                                    \
    {                                                                                                        \
        PLC_CRC_64(0u, bits), PLC_CRC_64(64u, bits), PLC_CRC_64(128u, bits), PLC_CRC_64(192u, bits)          \
    }

// What a byte does to the CRC when that is shifted by 8, 16, 24 and 32 bits: itself and up to three bytes
// behind it. The CRC is linear, so four bytes at a time are four look-ups that do not wait for each other. 2
// KiB.
constexpr int kStride = 4;
constexpr quint16 kCrcOfByte[kStride][256] = {PLC_CRC_256(8), PLC_CRC_256(16), PLC_CRC_256(24),
                                              PLC_CRC_256(32)};

#undef PLC_CRC_256
#undef PLC_CRC_64
#undef PLC_CRC_16
#undef PLC_CRC_4

quint32 sumOf(const uchar *bytes, int length)
{
    quint32 sum = 0;
    for (int i = 0; i < length; ++i)
        sum += bytes[i];
    return sum;
}

} // namespace

namespace plc {

quint16 crc16(const uchar *bytes, int length)
{
    quint32 crc = kCrcStart;
    const uchar *const end = bytes + length;
    for (; end - bytes >= kStride; bytes += kStride) {
        crc = static_cast<quint32>(kCrcOfByte[3][bytes[0] ^ lowByte(crc)] ^
                                   kCrcOfByte[2][bytes[1] ^ highByte(crc)] ^ kCrcOfByte[1][bytes[2]] ^
                                   kCrcOfByte[0][bytes[3]]);
    }
    for (; bytes < end; ++bytes)
        crc = (crc >> 8) ^ kCrcOfByte[0][(crc ^ *bytes) & 0xFFu];
    return static_cast<quint16>(crc);
}

uchar sumByte(const uchar *bytes, int length)
{
    return static_cast<uchar>(sumOf(bytes, length) & 0xFFu);
}

} // namespace plc

unsigned short CalCRC(unsigned char *buffer, unsigned short length)
{
    return buffer ? plc::crc16(buffer, length) : kCrcStart;
}

unsigned short CalSUM(unsigned char *buffer, unsigned short length)
{
    return buffer ? static_cast<unsigned short>(sumOf(buffer, length) & 0xFFFFu)
                  : static_cast<unsigned short>(0);
}

int CalLRC(unsigned char *buffer, unsigned short length)
{
    const quint32 sum = buffer ? sumOf(buffer, length) : 0;
    return static_cast<int>(~sum & 0xFFu) + 1;
}

unsigned short CalXOR(unsigned char *buffer, unsigned short length)
{
    if (!buffer)
        return 0;
    unsigned result = buffer[0];
    for (unsigned i = 1; i < length; ++i)
        result ^= buffer[i];
    return static_cast<unsigned short>(result);
}

// Both digit helpers take any int; unsigned arithmetic wraps where a signed sum would overflow.

int DigitalToASCII(int value)
{
    const unsigned offset = value <= 9 ? 0x30u : 0x37u;
    return static_cast<int>(static_cast<unsigned>(value) + offset);
}

int ASCIIToDigital(int code)
{
    if (code <= 0x2F || code == 0x40)
        return 0;
    return code <= 0x3F ? code - 0x30 : code - 0x37;
}
