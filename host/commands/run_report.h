/// @file
/// What a run has carried, told at its end.
#ifndef PLC_COMMANDS_RUN_REPORT_H
#define PLC_COMMANDS_RUN_REPORT_H

#include <QJsonObject>

#include <optional>
#include <string>

#include "host/project/scan_statistics.h"
#include "host/runtime_names.h"

namespace plc::host {

struct RunReport
{
    const ScanStatistics &scans;
    const Statistics &counted;
    int baud;      ///< 0 = the port has no rate: it is a pseudo-terminal
    bool detailed; ///< with the lateness of requests

    Time duration() const;
    /// Share of the time in which characters were on the line; nothing where the port has no rate.
    std::optional<double> lineShare() const;
};

/// For people, several lines.
std::string describeScans(const RunReport &report);

/// For programs.
QJsonObject jsonOf(const RunReport &report);

} // namespace plc::host

#endif
