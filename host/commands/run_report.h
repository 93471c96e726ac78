/// @file
/// What a run has carried, told at its end.
#ifndef PLC_COMMANDS_RUN_REPORT_H
#define PLC_COMMANDS_RUN_REPORT_H

#include <optional>
#include <string>

#include "host/commands/wall_clock.h"
#include "host/project/scan_statistics.h"
#include "host/runtime_names.h"

namespace plc::host {

struct RunReport
{
    const ScanStatistics &scans;
    const Statistics &counted;
    int baud;
    bool hasRate; ///< of the port: a pseudo-terminal has none

    Time duration() const;
    /// Share of the time in which characters were on the line; nothing where the port has no rate.
    std::optional<double> lineShare() const;
};

/// For people, several lines.
std::string describeScans(const RunReport &report);

/// For programs: an object of JSON without the end of the line; docs/output.md has its members.
/// @param run     null where nobody counts scans.
/// @param moment  since the start.
std::string statisticsRecord(const Statistics &counted, const RunReport *run, Time moment, WallTime time);

} // namespace plc::host

#endif
