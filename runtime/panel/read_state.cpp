#include "runtime/panel/read_state.h"

#include <algorithm>

namespace plc::runtime {

Time staleAtLeast(Time timeout)
{
    return std::max<Time>(std::chrono::seconds(3), 2 * timeout);
}

VariableState stateOf(OrderEnd end)
{
    switch (end) {
    case OrderEnd::Good:
        return VariableState::Good;
    case OrderEnd::Refused:
        return VariableState::Refused;
    case OrderEnd::Unusable:
        return VariableState::BadReply;
    case OrderEnd::LineBusy:
        return VariableState::LineBusy;
    case OrderEnd::Offline:
        return VariableState::Offline;
    case OrderEnd::Open:
        return VariableState::NeverRead;
    case OrderEnd::PortLost:
        return VariableState::PortLost;
    case OrderEnd::NoReply:
    case OrderEnd::Unconfirmed:
    case OrderEnd::Dropped:
    case OrderEnd::Expired:
    case OrderEnd::Closed:
    case OrderEnd::NotTaken:
    case OrderEnd::OnlyEcho:
        break;
    }
    return VariableState::NoAnswer;
}

void overrule(WatchStatus *status, StationState station, bool isPortLost)
{
    if (station == StationState::Offline) {
        status->state = VariableState::Offline;
        if (status->last.end == OrderEnd::Open)
            status->last.end = OrderEnd::Offline;
    }
    if (isPortLost)
        status->state = VariableState::PortLost;
    if (station == StationState::SwitchedOff)
        status->state = VariableState::SwitchedOff;
}

void ReadState::note(const TransactionReport &report, StationState station)
{
    if (tellsNothing(report.cause))
        return;
    last_ = resultOf(report);
    // A request that failed has taken its time-outs, which are no part of a scan.
    const bool isAnswered = last_.end == OrderEnd::Good || last_.end == OrderEnd::Refused;
    if (times_ > 0 && isAnswered && !isInterrupted_)
        revisit_ = report.endedAt - lastEnd_;
    isInterrupted_ = isInterrupted_ && isLeftAlone(station);
    lastEnd_ = report.endedAt;
    ++times_;
    if (last_.end != OrderEnd::Good)
        return;
    hasValue_ = true;
    lastGood_ = report.endedAt;
}

/// Three scans have passed since its last value, at the pace of the last scan. During the first scan nobody
/// knows how long a scan takes; but a value from before an interruption is old by any measure.
bool ReadState::isStale(Time now, Time timeout) const
{
    if (!revisit_ && !isInterrupted_)
        return false;
    return now - lastGood_ > std::max(staleAtLeast(timeout), 3 * revisit_.value_or(Time::zero()));
}

WatchStatus statusOf(const std::vector<const ReadState *> &parts, Time now, Time timeout)
{
    WatchStatus status;
    bool first = true;
    bool stale = false;
    Time oldest{};
    for (const ReadState *part : parts) {
        const bool worse = status.last.end == OrderEnd::Good && part->last_.end != OrderEnd::Good;
        if (first || worse)
            status.last = part->last_;
        status.hasValue = (first || status.hasValue) && part->hasValue_;
        oldest = first ? part->lastGood_ : std::min(oldest, part->lastGood_);
        status.scans = first ? part->times_ : std::min(status.scans, part->times_);
        stale = stale || part->isStale(now, timeout);
        first = false;
    }
    status.state = stateOf(status.last.end);
    if (status.hasValue)
        status.age = now - oldest;
    if (status.state == VariableState::Good && stale)
        status.state = VariableState::Stale;
    return status;
}

} // namespace plc::runtime
