#include "host/project/project_monitor.h"

namespace plc::host {

void ProjectMonitor::note(const News &news)
{
    if (news.station)
        setOffline(news.station->station, news.station->offline);
    if (news.port)
        notePort(news.port->change);
    const std::optional<int> request =
        reads_.note(news, news.transaction ? stateOf(news.transaction->request.station) : StationState::On);
    if (!request)
        return;
    const TransactionReport &report = *news.transaction;
    ServedRead read;
    read.request = *request;
    read.startedAt = report.startedAt;
    read.endedAt = report.endedAt;
    read.requestsSoFar = news.requestsSoFar;
    read.bytesSoFar = news.bytesSoFar;
    read.good = resultOf(report).end == OrderEnd::Good;
    scans_.served(read);
}

void ProjectMonitor::notePort(PortNews::Change change)
{
    isPortLost_ = change != PortNews::Change::Back;
    if (change != PortNews::Change::Lost)
        return;
    scans_.interrupt();
    reads_.interrupt(-1);
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
    reads_.interrupt(station);
}

void ProjectMonitor::setOffline(int station, bool offline)
{
    if (offline)
        offline_.insert(station);
    else
        offline_.erase(station);
    scans_.setStationEnabled(station, !offline);
    reads_.interrupt(station);
}

StationState ProjectMonitor::stateOf(int station) const
{
    if (switchedOff_.count(station) > 0)
        return StationState::SwitchedOff;
    return offline_.count(station) > 0 ? StationState::Offline : StationState::On;
}

WatchStatus ProjectMonitor::status(int variable, Time now) const
{
    const int station = reads_.requests().stationOf(variable);
    WatchStatus status = reads_.status(variable, now, link_.rulesOf(station).responseTimeout);
    overrule(&status, stateOf(station), isPortLost_);
    return status;
}

} // namespace plc::host
