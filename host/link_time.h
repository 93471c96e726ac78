/// @file
/// The clock of the host: nanoseconds of a steady clock, both for moments and for durations.
#ifndef PLC_HOST_LINK_TIME_H
#define PLC_HOST_LINK_TIME_H

#include <chrono>
#include <cmath>

namespace plc::host {

using Time = std::chrono::nanoseconds;

/// Now, on the clock that never jumps.
inline Time steadyNow()
{
    return std::chrono::duration_cast<Time>(std::chrono::steady_clock::now().time_since_epoch());
}

/// For people: seconds with a fraction.
inline double seconds(Time duration)
{
    return std::chrono::duration<double>(duration).count();
}

/// From what people type.
inline Time fromSeconds(double value)
{
    return Time(std::llround(value * 1e9));
}

} // namespace plc::host

#endif
