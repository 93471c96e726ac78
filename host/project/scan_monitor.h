/// @file
/// The scans of a project while it runs.
#ifndef PLC_PROJECT_SCAN_MONITOR_H
#define PLC_PROJECT_SCAN_MONITOR_H

#include "host/project/project_file.h"
#include "host/project/scan_statistics.h"
#include "host/runtime_names.h"
#include "runtime/master/link.h"
#include "runtime/panel/request_map.h"

namespace plc::host {

/// Counts and times the requests that read the variables of a project. Not locked: one call at a time.
class ScanMonitor
{
public:
    explicit ScanMonitor(const Project &project)
        : requests_(project.variables, project.rows), scans_(requests_)
    {}

    /// Takes news of the line; those that are about no grouped read are passed over.
    void note(const News &news);
    /// The user has switched the station off or on.
    void setStationEnabled(int station, bool enabled) { scans_.setStationEnabled(station, enabled); }

    const RequestMap &requests() const { return requests_; }
    const ScanStatistics &scans() const { return scans_; }

private:
    RequestMap requests_;
    ScanStatistics scans_;
};

} // namespace plc::host

#endif
