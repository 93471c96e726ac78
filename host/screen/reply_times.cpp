#include "host/screen/reply_times.h"

namespace plc::host {

void ReplyTimes::note(const News &news)
{
    if (!news.transaction || news.transaction->attempts != 1)
        return;
    const TransactionReport &report = *news.transaction;
    if (report.cause == AttemptEnd::Good || report.cause == AttemptEnd::Exception)
        times_[report.request.station].add(report.endedAt - report.startedAt);
}

const Histogram &ReplyTimes::of(int station) const
{
    static const Histogram kNone;
    const auto found = times_.find(station);
    return found == times_.end() ? kNone : found->second;
}

} // namespace plc::host
