#include "modbus/checksums.h"

#include "plcdriver.h"

namespace {

constexpr quint16 kCrcStart = 0xFFFF;
constexpr quint16 kCrcPolynomial = 0xA001; // x^16 + x^15 + x^2 + 1, bits reflected

// One byte's worth of the bitwise algorithm, worked out by the compiler.
constexpr quint16 shiftedBits(quint32 crc, int bits)
{
    return bits == 0 ? static_cast<quint16>(crc)
                     : shiftedBits((crc & 1u) ? (crc >> 1) ^ kCrcPolynomial : crc >> 1, bits - 1);
}

#define PLC_CRC_4(n)                                                                                         \
    shiftedBits(n, 8), shiftedBits((n) + 1, 8), shiftedBits((n) + 2, 8), shiftedBits((n) + 3, 8)
#define PLC_CRC_16(n) PLC_CRC_4(n), PLC_CRC_4((n) + 4), PLC_CRC_4((n) + 8), PLC_CRC_4((n) + 12)
#define PLC_CRC_64(n) PLC_CRC_16(n), PLC_CRC_16((n) + 16), PLC_CRC_16((n) + 32), PLC_CRC_16((n) + 48)

constexpr quint16 kCrcOfByte[256] = {PLC_CRC_64(0u), PLC_CRC_64(64u), PLC_CRC_64(128u), PLC_CRC_64(192u)};

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
    for (int i = 0; i < length; ++i)
        crc = (crc >> 8) ^ kCrcOfByte[(crc ^ bytes[i]) & 0xFFu];
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
