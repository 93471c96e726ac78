/// @file
/// When something that is done over and over is due again.
#ifndef PLC_COMMANDS_NEXT_TICK_H
#define PLC_COMMANDS_NEXT_TICK_H

#include <algorithm>

#include "host/runtime_names.h"
#include "runtime/line/link_time.h"

namespace plc::host {

/// The first tick that is still to come. Those that were missed while the program stood still are left out:
/// two of them at once would tell the same.
/// @param due       the tick that has been reached.
/// @param interval  from one tick to the next, more than 0.
inline Time nextTick(Time due, Time interval, Time now)
{
    return due + (std::max(now - due, Time::zero()) / interval + 1) * interval;
}

} // namespace plc::host

#endif
