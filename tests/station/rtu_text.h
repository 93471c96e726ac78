#ifndef PLC_TESTS_STATION_RTU_TEXT_H
#define PLC_TESTS_STATION_RTU_TEXT_H

#include "station/bytes.h"

#include <string>

namespace plc::test {

using station::Bytes;

/// Bytes from hex text; blanks between and within groups do not matter. Fails the test on anything else.
Bytes bytes(const std::string &hex);

/// The bytes of @p hex with their CRC-16, low byte first. The CRC is computed from a table of half bytes, not
/// with the station's code.
Bytes rtu(const std::string &hex);

/// What @p first and @p second are one after the other.
Bytes operator+(Bytes first, const Bytes &second);

} // namespace plc::test

#endif
