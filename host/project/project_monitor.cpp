#include "host/project/project_monitor.h"

namespace plc::host {

void ProjectMonitor::note(const News &news)
{
    if (news.station)
        setOffline(news.station->station, news.station->offline);
    if (news.port)
        notePort(news.port->change);
    const bool wasAsked = news.transaction && !tellsNothing(news.transaction->cause);
    if (!wasAsked || !isGroupedRead(news.transaction->request))
        return;
    const TransactionReport &report = *news.transaction;
    const Request &request = report.request;
    ServedRead read;
    read.request =
        map_.note({request.station, request.regType, request.address, request.count}, news.ordinaryRead);
    read.startedAt = report.startedAt;
    read.endedAt = report.endedAt;
    read.requestsSoFar = news.requestsSoFar;
    read.bytesSoFar = news.bytesSoFar;
    readings_.resize(static_cast<std::size_t>(map_.requestCount()));
    readings_[static_cast<std::size_t>(read.request)].note(report, stateOf(request.station));
    read.good = resultOf(report).end == OrderEnd::Good;
    scans_.served(read);
}

void ProjectMonitor::notePort(PortNews::Change change)
{
    isPortLost_ = change != PortNews::Change::Back;
    if (change != PortNews::Change::Lost)
        return;
    scans_.interrupt();
    for (ReadState &reading : readings_)
        reading.interrupt();
}

void ProjectMonitor::setStationEnabled(int station, bool enabled)
{
    if (enabled)
        switchedOff_.erase(station);
    else
        switchedOff_.insert(station);
    // A station that is switched on again counts as not asked yet.
    offline_.erase(station);
    scans_.setStationEnabled(station, enabled);
    interrupt(station);
}

void ProjectMonitor::setOffline(int station, bool offline)
{
    if (offline)
        offline_.insert(station);
    else
        offline_.erase(station);
    scans_.setStationEnabled(station, !offline);
    interrupt(station);
}

/// A station that is off or offline is not read, so its readings say nothing about how long a scan takes.
void ProjectMonitor::interrupt(int station)
{
    for (std::size_t request = 0; request < readings_.size(); ++request) {
        if (map_.place(static_cast<int>(request)).station == station)
            readings_[request].interrupt();
    }
}

StationState ProjectMonitor::stateOf(int station) const
{
    if (switchedOff_.count(station) > 0)
        return StationState::SwitchedOff;
    return offline_.count(station) > 0 ? StationState::Offline : StationState::On;
}

WatchStatus ProjectMonitor::status(int variable, Time now) const
{
    std::vector<const ReadState *> parts;
    for (const int request : map_.requestsOf(variable))
        parts.push_back(&readings_[static_cast<std::size_t>(request)]);
    WatchStatus status = statusOf(parts, now, link_.rulesOf(map_.stationOf(variable)).responseTimeout);
    status.isInPieces = map_.isInPieces(variable);
    if (!map_.isCovered(variable)) {
        status.hasValue = false;
        status.scans = 0;
    }
    const bool seemsRead = status.state == VariableState::Good || status.state == VariableState::Stale;
    if (seemsRead && !status.hasValue)
        status.state = VariableState::NeverRead;
    if (offline_.count(map_.stationOf(variable)) > 0) {
        status.state = VariableState::Offline;
        if (status.last.end == OrderEnd::Open)
            status.last.end = OrderEnd::Offline;
    }
    if (isPortLost_)
        status.state = VariableState::PortLost;
    if (switchedOff_.count(map_.stationOf(variable)) > 0)
        status.state = VariableState::SwitchedOff;
    return status;
}

} // namespace plc::host
