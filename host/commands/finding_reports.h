/// @file
/// What was found out about stations, for people and for programs.
#ifndef PLC_COMMANDS_FINDING_REPORTS_H
#define PLC_COMMANDS_FINDING_REPORTS_H

#include <string>

#include "host/commands/output.h"
#include "host/commands/wall_clock.h"
#include "host/exit_codes.h"
#include "host/finding/area_mapper.h"
#include "host/finding/identification.h"
#include "host/finding/station_limits.h"
#include "host/runtime_names.h"

namespace plc::host {

/// How a command ends that has asked once.
ExitCode exitCodeOf(const Answer &answer);

/// All of these end with a line end. Of the formats, whatever is not ndjson is text.
std::string rawReport(const QByteArray &request, const Answer &answer, bool isToAll, Format format,
                      WallTime time);
std::string identityReport(const Identification &found, Format format, WallTime time);
std::string limitsReport(const StationLimits &limits, Format format, WallTime time);
std::string mapReport(const AreaMapper &mapper, std::uint64_t requests, Format format, WallTime time);

/// What the map may have missed, and how to go on, for standard error.
/// @param resume  the file that keeps it; empty for none.
std::string mapAdvice(const AreaMapper &mapper, const std::string &resume);

} // namespace plc::host

#endif
