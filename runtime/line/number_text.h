/// @file
/// Bytes and times as people read them in traces, whatever the locale of the program is.
#ifndef PLC_LINE_NUMBER_TEXT_H
#define PLC_LINE_NUMBER_TEXT_H

#include <cstddef>
#include <string>

#include "runtime/line/link_time.h"

namespace plc::runtime {

/// "11 03 00 64": two capital hex digits a byte, a space between bytes.
std::string hexText(const char *bytes, std::size_t count);

/// Seconds with a point and six digits behind it, at least @p width characters with blanks in front.
std::string secondsText(Time time, std::size_t width);

} // namespace plc::runtime

#endif
