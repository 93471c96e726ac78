/// @file
/// Runs stations on a pseudo-terminal until a signal comes.
#ifndef PLC_STATION_SERVE_H
#define PLC_STATION_SERVE_H

#include "commands.h"
#include "pty_line.h"
#include "station_line.h"

#include <string>

namespace plc::station {

/// Time of the steady clock, as StationLine wants it.
Time steadyNow();

/// Blocks SIGTERM and SIGINT and receives them instead. Made before a path is printed, so that no signal is
/// too early.
class StopSignal
{
public:
    StopSignal();
    ~StopSignal();
    StopSignal(const StopSignal &) = delete;
    StopSignal &operator=(const StopSignal &) = delete;

    /// Becomes readable when a signal has come; below 0 when signals cannot be received.
    int descriptor() const { return descriptor_; }

private:
    int descriptor_ = -1;
};

/// Moves bytes between the pseudo-terminal and the line, at their times, and carries commands out, until @p
/// stop has come.
/// @return empty, or what broke the line, or why a value of a command could not be written
std::string serve(PtyLine *pty, StationLine *line, CommandInput *commands, const StopSignal &stop);

} // namespace plc::station

#endif
