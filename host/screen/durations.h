/// @file
/// Durations as short as a screen has room for.
#ifndef PLC_SCREEN_DURATIONS_H
#define PLC_SCREEN_DURATIONS_H

#include <string>

#include "host/runtime_names.h"
#include "runtime/line/link_time.h"

namespace plc::host {

/// "0.3 ms", "12 ms", "1.2 s", "150 s", "25 min", "3 h", "12 d": at most seven columns.
std::string shortDuration(Time duration);

/// The same without tenths of a millisecond: "0 ms", "12 ms", "1.2 s".
std::string ageText(Time age);

/// "0:07", "12:34", "1:02:03": since the start, whole seconds.
std::string clockText(Time duration);

} // namespace plc::host

#endif
