#include "host/project/scan_monitor.h"

#include "runtime/master/driver_link.h"
#include "runtime/panel/grouped_reads.h"

namespace plc::host {

void ScanMonitor::note(const News &news)
{
    if (news.station)
        scans_.setStationEnabled(news.station->station, !news.station->offline);
    if (news.port && news.port->change == PortNews::Change::Lost)
        scans_.interrupt();
    const std::optional<int> request = requestOf(news, &requests_);
    if (!request)
        return;
    const TransactionReport &report = *news.transaction;
    ServedRead read;
    read.request = *request;
    read.startedAt = report.startedAt;
    read.endedAt = report.endedAt;
    read.requestsSoFar = news.requestsSoFar;
    read.bytesSoFar = news.bytesSoFar;
    read.good = report.cause == AttemptEnd::Good;
    scans_.served(read);
}

} // namespace plc::host
