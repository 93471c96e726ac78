/// @file
/// The only place that knows in which order bytes stand on the line and in the runtime's memory.
#ifndef PLC_CORE_BYTE_ORDER_H
#define PLC_CORE_BYTE_ORDER_H

#include <QtGlobal>

namespace plc {

inline uchar lowByte(quint32 value)
{
    return static_cast<uchar>(value & 0xFFu);
}

inline uchar highByte(quint32 value)
{
    return static_cast<uchar>((value >> 8) & 0xFFu);
}

/// Low 16 bits, high byte first.
inline void putBe16(uchar *to, quint32 value)
{
    to[0] = highByte(value);
    to[1] = lowByte(value);
}

/// High byte first.
inline void putBe32(uchar *to, quint32 value)
{
    putBe16(to, value >> 16);
    putBe16(to + 2, value);
}

inline quint16 getBe16(const uchar *from)
{
    return static_cast<quint16>((from[0] << 8) | from[1]);
}

inline quint16 getLe16(const uchar *from)
{
    return static_cast<quint16>((from[1] << 8) | from[0]);
}

/// Low byte first.
inline void putLe16(uchar *to, quint16 value)
{
    to[0] = lowByte(value);
    to[1] = highByte(value);
}

/// CRC of a frame: low byte first on a standard line, high byte first for odd devices.
inline void putCrc(uchar *to, quint16 crc, bool highFirst)
{
    to[0] = highFirst ? highByte(crc) : lowByte(crc);
    to[1] = highFirst ? lowByte(crc) : highByte(crc);
}

inline quint16 getCrc(const uchar *from, bool highFirst)
{
    return highFirst ? getBe16(from) : getLe16(from);
}

} // namespace plc

#endif
