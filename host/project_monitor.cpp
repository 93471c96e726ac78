#include "project_monitor.h"

#include <algorithm>

namespace plc::host {

namespace {

constexpr Time kStaleAtLeast = std::chrono::seconds(3);

} // namespace

void ProjectMonitor::note(const News &news)
{
    if (news.station)
        setOffline(news.station->station, news.station->offline);
    if (!news.step || !isGroupedRead(news.step->request))
        return;
    const StepReport &step = *news.step;
    const Request &request = step.request;
    ServedRead read;
    read.request =
        map_.note({request.station, request.regType, request.address, request.count}, news.ordinaryRead);
    read.startedAt = step.startedAt;
    read.endedAt = step.endedAt;
    if (news.statistics) {
        read.requestsSoFar = news.statistics->total.requests;
        read.bytesSoFar = news.statistics->total.bytesOut + news.statistics->total.bytesIn;
    }
    readings_.resize(static_cast<std::size_t>(map_.requestCount()));
    Reading &reading = readings_[static_cast<std::size_t>(read.request)];
    reading.last = resultOf(step);
    ++reading.served;
    read.good = reading.last.end == OperationEnd::Good;
    if (read.good) {
        reading.hasValue = true;
        reading.lastGood = step.endedAt;
    }
    scans_.served(read);
}

void ProjectMonitor::setStationEnabled(int station, bool enabled)
{
    if (enabled)
        switchedOff_.erase(station);
    else
        switchedOff_.insert(station);
    // Switched on again, it counts as one that has not been asked yet.
    offline_.erase(station);
    scans_.setStationEnabled(station, enabled);
}

void ProjectMonitor::setOffline(int station, bool offline)
{
    if (switchedOff_.count(station) > 0)
        return; // the news are older than that
    if (offline)
        offline_.insert(station);
    else
        offline_.erase(station);
    scans_.setStationEnabled(station, !offline);
}

/// The driver goes on serving the priority levels of a station that is off.
bool ProjectMonitor::isSwitchedOff(int variable) const
{
    if (switchedOff_.count(map_.stationOf(variable)) == 0)
        return false;
    const std::vector<int> &requests = map_.requestsOf(variable);
    return !map_.isCovered(variable) || std::any_of(requests.begin(), requests.end(),
                                                    [this](int request) { return map_.level(request) == 0; });
}

Time ProjectMonitor::staleAfter() const
{
    return std::max({kStaleAtLeast, 2 * timeout_, 3 * scans_.durations().most()});
}

WatchStatus ProjectMonitor::status(int variable, Time now) const
{
    WatchStatus status;
    bool first = true;
    Time oldest{};
    for (const int request : map_.requestsOf(variable)) {
        const Reading &reading = readings_[static_cast<std::size_t>(request)];
        const bool worse = status.last.end == OperationEnd::Good && reading.last.end != OperationEnd::Good;
        if (first || worse)
            status.last = reading.last;
        status.hasValue = (first || status.hasValue) && reading.hasValue;
        oldest = first ? reading.lastGood : std::min(oldest, reading.lastGood);
        status.scans = first ? reading.served : std::min(status.scans, reading.served);
        first = false;
    }
    if (!map_.isCovered(variable)) {
        status.hasValue = false;
        status.scans = 0;
    }
    status.state = stateOf(status.last.end);
    if (status.hasValue)
        status.age = now - oldest;
    if (status.state == VariableState::Good && !status.hasValue)
        status.state = VariableState::NeverRead;
    if (status.state == VariableState::Good && status.age > staleAfter())
        status.state = VariableState::Stale;
    if (offline_.count(map_.stationOf(variable)) > 0) {
        status.state = VariableState::Offline;
        if (status.last.end == OperationEnd::Open)
            status.last.end = OperationEnd::Offline;
    }
    if (isSwitchedOff(variable))
        status.state = VariableState::SwitchedOff;
    return status;
}

} // namespace plc::host
