/// @file
/// What a line of the library tells, for programs.
#ifndef PLC_COMMANDS_EVENT_RECORDS_H
#define PLC_COMMANDS_EVENT_RECORDS_H

#include <string>

#include "host/commands/wall_clock.h"
#include "host/runtime_names.h"

namespace plc::host {

/// An object of JSON for a station, a port, a log line or a frame, without the end of the line;
/// docs/output.md has its members. Empty for other events.
/// @param time     when it was noticed.
/// @param startUs  when the line was opened.
/// @param port     as the user calls it.
std::string recordOf(const plcruntime::Event &event, WallTime time, qint64 startUs, const std::string &port);

} // namespace plc::host

#endif
