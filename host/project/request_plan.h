/// @file
/// What a project costs on the line, found out without a line: the driver is asked for its requests and is
/// given good replies.
#ifndef PLC_PROJECT_REQUEST_PLAN_H
#define PLC_PROJECT_REQUEST_PLAN_H

#include <optional>
#include <string>
#include <vector>

#include "host/project/project_file.h"
#include "host/project/scan_statistics.h"
#include "host/runtime_names.h"
#include "runtime/line/line_timing.h"
#include "runtime/master/driver_library.h"
#include "runtime/panel/request_map.h"

namespace plc::host {

/// A cyclic read of the driver's and its reply.
struct Exchange
{
    RequestPlace place;
    bool ordinary = true; ///< from the read list, not from the list of a priority level
    int bytesOut = 0;
    int bytesIn = 0;
};

/// Has the driver make its next request and answers it with zeros. Nothing when it has nothing to ask.
/// @throw Failure  when the driver does not take the reply.
std::optional<Exchange> exchangeWithoutLine(DriverLibrary &driver, const LinkSettings &link);

/// Time of an exchange: the silence before the request, the request, the station's answer delay, which is
/// never below that silence, and the reply.
Time exchangeTime(const LineTiming &timing, Time answerDelay, int bytesOut, int bytesIn);

/// Requests that were made once each.
struct Cost
{
    int requests = 0;
    int bytes = 0; ///< in both directions
    Time time{};

    void add(const LineTiming &timing, Time answerDelay, const Exchange &exchange);
};

class RequestPlan
{
public:
    /// Registers the project and drives the driver through several scans.
    /// @param path     as of DriverLibrary, loaded for each question anew: a driver forgets nothing.
    /// @throw Failure  (driver) when it cannot be loaded, or is in use in this process.
    RequestPlan(const std::string &path, const Project &project, Time answerDelay);

    const RequestMap &requests() const { return map_; }
    /// Numbers of all requests, by station, area and address.
    std::vector<int> sorted() const;
    const Cost &costOf(int request) const { return costs_[static_cast<std::size_t>(request)]; }
    /// Each request once.
    const Cost &grouped() const { return grouped_; }
    /// Each variable by itself, in as few requests as it fits into.
    const Cost &single() const { return single_; }
    /// Scans with the priority levels served at their rates.
    const ScanStatistics &scans() const { return scans_; }
    /// Variables that no request reads.
    std::vector<int> neverRead() const;

private:
    void askOneByOne(const std::string &path, const Project &project);
    void scan(DriverLibrary &driver, ScanStatistics *scans, std::uint64_t number);

    LinkSettings link_;
    LineTiming timing_;
    Time answerDelay_;
    RequestMap map_;
    std::vector<Cost> costs_;
    Cost grouped_;
    Cost single_;
    ScanStatistics scans_;
};

} // namespace plc::host

#endif
