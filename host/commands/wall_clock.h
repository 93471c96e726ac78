/// @file
/// The clock on the wall, for what is compared with other machines. It may jump; how long something took is
/// never told by it.
#ifndef PLC_COMMANDS_WALL_CLOCK_H
#define PLC_COMMANDS_WALL_CLOCK_H

#include <chrono>
#include <functional>
#include <string>

#include "host/runtime_names.h"

namespace plc::host {

using WallTime = std::chrono::system_clock::time_point;
/// Tells the time; tests hand in one that stands still.
using WallClock = std::function<WallTime()>;

/// "2026-03-29T01:59:59.123+01:00": ISO 8601, in the time zone of the user, with the offset that it had then.
/// What is finer is cut off.
/// @param digits  of the fraction of the second, 0 to 6.
std::string isoTime(WallTime time, int digits = 3);

} // namespace plc::host

#endif
