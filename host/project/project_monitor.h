/// @file
/// What is known of a project's variables while it runs, besides their values.
#ifndef PLC_PROJECT_PROJECT_MONITOR_H
#define PLC_PROJECT_PROJECT_MONITOR_H

#include <set>

#include "host/project/project_file.h"
#include "host/project/scan_statistics.h"
#include "host/runtime_names.h"
#include "runtime/panel/grouped_reads.h"

namespace plc::host {

/// Turns the reads that have ended into states and ages of the variables that they cover. Variables are
/// numbered from 0 as in the project. Not locked: the main thread's.
class ProjectMonitor
{
public:
    explicit ProjectMonitor(const Project &project)
        : reads_(project.variables, project.rows), scans_(reads_.requests()), link_(project.link)
    {}

    /// Takes news of the communication thread; those that are about no grouped read are passed over.
    void note(const News &news);

    /// The station was switched off or on.
    void setStationEnabled(int station, bool enabled);

    /// @param now  of the clock that the reads were timed with.
    WatchStatus status(int variable, Time now) const;

    const RequestMap &requests() const { return reads_.requests(); }
    const ScanStatistics &scans() const { return scans_; }

private:
    void notePort(PortNews::Change change);
    void setOffline(int station, bool offline);
    StationState stateOf(int station) const;

    GroupedReads reads_;
    ScanStatistics scans_;
    LinkSettings link_;
    std::set<int> switchedOff_; ///< stations
    std::set<int> offline_;     ///< stations
    bool isPortLost_ = false;
};

} // namespace plc::host

#endif
