/// @file
/// The clock of the runtime: nanoseconds of a steady clock, both for moments and for durations. The clock
/// goes on while the machine sleeps: afterwards values are shown as old as they are, and waits under way are
/// over.
#ifndef PLC_LINE_LINK_TIME_H
#define PLC_LINE_LINK_TIME_H

#include <chrono>
#include <cmath>
#include <ctime>

namespace plc::runtime {

using Time = std::chrono::nanoseconds;

/// Now, on the clock that never jumps and never stops: time since the machine was switched on.
inline Time steadyNow()
{
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return std::chrono::seconds(now.tv_sec) + Time(now.tv_nsec);
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

} // namespace plc::runtime

#endif
