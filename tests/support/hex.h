/// @file
/// Frames as people type them.
#ifndef PLC_TESTS_SUPPORT_HEX_H
#define PLC_TESTS_SUPPORT_HEX_H

#include <QByteArray>

#include <ostream>
#include <string>

namespace plc::test {

/// Bytes of "01 03 0000 000A"; white space is free. A character that is no hexadecimal digit, or half a byte,
/// ends the program: the test itself is wrong.
QByteArray hex(const char *text);

/// CRC-16 computed bit by bit, a witness independent of the driver's.
quint16 witnessCrc(const QByteArray &bytes);

/// @p text as bytes with its CRC behind, low byte first.
QByteArray withCrc(const char *text);

/// @p text as bytes with its CRC behind, high byte first.
QByteArray withSwappedCrc(const char *text);

std::string toHex(const QByteArray &bytes);

} // namespace plc::test

/// Shows byte arrays in hexadecimal when an expectation fails.
void PrintTo(const QByteArray &bytes, std::ostream *out);

#endif
