/// @file
/// What the bytes of a Modbus RTU frame say about it: whether its CRC is good, and how long it must be.
#ifndef PLC_LINE_RTU_LAYOUT_H
#define PLC_LINE_RTU_LAYOUT_H

#include <QByteArray>

#include <cstdint>

namespace plc::runtime {

/// @name Function codes, and most places in one request (MODBUS Application Protocol V1.1b3, chapter 6)
/// @{
constexpr std::uint8_t kReadCoils = 1;
constexpr std::uint8_t kReadDiscreteInputs = 2;
constexpr std::uint8_t kReadHoldingRegisters = 3;
constexpr std::uint8_t kReadInputRegisters = 4;
constexpr std::uint8_t kWriteSingleCoil = 5;
constexpr std::uint8_t kWriteSingleRegister = 6;
constexpr std::uint8_t kWriteMultipleCoils = 15;
constexpr std::uint8_t kWriteMultipleRegisters = 16;

constexpr int kMostReadBits = 2000;
constexpr int kMostReadRegisters = 125;
constexpr int kMostWriteBits = 1968;
constexpr int kMostWriteRegisters = 123;

constexpr std::uint16_t kCoilOn = 0xFF00; ///< what a write of a single coil carries; 0 for off
/// @}

/// Places in each table of a station, from 0 on.
constexpr int kAddresses = 65536;

/// MODBUS over Serial Line V1.02, 2.5.1: station, function, up to 252 bytes of data, CRC.
constexpr int kLongestFrame = 256;
/// Station, function, CRC.
constexpr int kShortestFrame = 4;
constexpr int kCrcLen = 2;
/// Station, function with kExceptionBit, exception code, CRC (MODBUS Application Protocol V1.1b3, 7).
constexpr int kExceptionLen = 5;
constexpr int kExceptionBit = 0x80;
/// Station, function, address, quantity or value: what the reply to a write of functions 5, 6, 15 and 16
/// repeats.
constexpr int kRequestHead = 6;
constexpr int kWriteReplyLen = kRequestHead + kCrcLen;

constexpr std::uint16_t kCrcStart = 0xFFFF;

/// The CRC @p crc of some bytes, continued over one more. Behind a good frame, CRC included, it is 0.
std::uint16_t crcWith(std::uint16_t crc, unsigned char byte);

/// CRC-16 as a number; on a standard line its low byte goes first (MODBUS over Serial Line V1.02, 6.2.2). An
/// implementation of its own, so that a mistake in the driver's would not hide behind itself.
std::uint16_t crcOf(const char *bytes, int length);

/// Whether the last two of @p length bytes are the CRC of those before them; @p length is at least 2.
bool crcFits(const char *frame, int length, bool highFirst);

/// Functions 1 to 4: the request names a quantity, the reply counts its bytes.
bool isReadFunction(int function);
/// Functions 5, 6, 15 and 16: the reply has 8 bytes and repeats the beginning of the request.
bool isWriteFunction(int function);

/// Bytes of a reply whose third byte counts the data bytes behind it.
constexpr int countedReplyLength(int byteCount)
{
    return byteCount + 5; // station, function, byte count, CRC
}

/// True for a request, with its CRC or without, of which it is known that it only reads: functions 1 to 4, 7,
/// 11, 12, 17, 20, 24, of 8 the echo, the register and the counters, of 43 the device identification. False
/// for everything else, broadcasts and unknown functions among it.
bool changesNothing(const QByteArray &request);

/// How long a frame must be, by the bytes that are there.
struct ContentLength
{
    enum class Kind
    {
        None,       ///< the bytes are no frame whose content tells its length
        Unfinished, ///< it takes at least `bytes` bytes to know
        Known       ///< the frame has `bytes` bytes, kShortestFrame to kLongestFrame
    };
    Kind kind = Kind::None;
    int bytes = 0;
};

/// Length of the request that begins with these @p available bytes. Values outside the standard's limits make
/// it no request: quantity, byte count, coil value, reserved stations, a broadcast that reads (MODBUS
/// Application Protocol V1.1b3, chapter 6; MODBUS over Serial Line V1.02, 2.1 and 2.2). None for functions
/// whose requests do not tell their length: user-defined and reserved codes, CANopen.
ContentLength requestLengthAt(const unsigned char *bytes, int available);

/// The same for a normal reply or an exception reply.
ContentLength replyLengthAt(const unsigned char *bytes, int available);

/// Exact bytes of the normal reply to a whole request; 0 when the request does not tell. Quantities are taken
/// as they are, limits or not.
int replyLengthTo(const QByteArray &request);

/// How many of its first bytes the normal reply to a whole request repeats, station and function among them.
int repeatedBytesOf(const QByteArray &request);

} // namespace plc::runtime

#endif
