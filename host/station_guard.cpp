#include "station_guard.h"

#include <algorithm>

#include "core/register_types.h"

namespace plc::host {

namespace {

/// A request for one register or bit, at a place that the failed request had asked for.
Probe probeFor(const Request &request)
{
    constexpr int kBitsOfARegister = 16;
    switch (request.regType) {
    case kCoil:
    case kDiscreteInput:
    case kInputRegister:
        return {request.station, request.regType, request.address};
    case kInputRegisterBit:
        return {request.station, kInputRegister, request.address / kBitsOfARegister};
    case kHoldingRegisterBit:
        return {request.station, kHoldingRegister, request.address / kBitsOfARegister};
    case kInputRegisterPair:
        return {request.station, kInputRegister, request.address};
    default:
        return {request.station, kHoldingRegister, request.address};
    }
}

} // namespace

StationChange StationGuard::stepEnded(const StepReport &report)
{
    constexpr int kBroadcast = 0;
    if (report.request.station == kBroadcast)
        return StationChange::None;
    Record &record = stations_[report.request.station];
    switch (report.cause) {
    case AttemptEnd::Good:
    case AttemptEnd::Exception:
        return answered(record, report.endedAt);
    case AttemptEnd::NoReply:
    case AttemptEnd::Unusable:
        return failed(record, report);
    case AttemptEnd::NoReplyDue:
    case AttemptEnd::LineBusy:
    case AttemptEnd::Withheld:
        break;
    }
    return StationChange::None;
}

StationChange StationGuard::failed(Record &record, const StepReport &report)
{
    record.failures = std::min(record.failures, settings_.failures) + 1;
    record.probe = probeFor(report.request);
    if (record.offline) {
        record.distance = std::min(2 * record.distance, settings_.longestProbe);
        record.nextProbe = report.endedAt + record.distance;
        return StationChange::None;
    }
    if (record.failures < settings_.failures)
        return StationChange::None;
    record.offline = true;
    record.since = report.endedAt;
    record.distance = std::min(settings_.firstProbe, settings_.longestProbe);
    record.nextProbe = report.endedAt + record.distance;
    return StationChange::WentOffline;
}

StationChange StationGuard::answered(Record &record, Time now)
{
    record.failures = 0;
    if (!record.offline)
        return StationChange::None;
    // Where nobody had answered, it was the line that was gone: then the others are there again, too.
    const bool lineIsBack = allOffline();
    record.offline = false;
    if (lineIsBack) {
        for (auto &[station, other] : stations_)
            other.nextProbe = std::min(other.nextProbe, now);
    }
    return StationChange::CameBack;
}

bool StationGuard::allOffline() const
{
    return std::all_of(stations_.begin(), stations_.end(),
                       [](const auto &entry) { return entry.second.offline; });
}

bool StationGuard::isOffline(int station) const
{
    const auto found = stations_.find(station);
    return found != stations_.end() && found->second.offline;
}

std::optional<Probe> StationGuard::due(Time now) const
{
    const Record *next = nullptr;
    for (const auto &[station, record] : stations_) {
        if (record.offline && record.nextProbe <= now && (!next || record.nextProbe < next->nextProbe))
            next = &record;
    }
    return next ? std::optional<Probe>(next->probe) : std::nullopt;
}

Time StationGuard::offlineSince(int station) const
{
    const auto found = stations_.find(station);
    return found == stations_.end() ? Time::zero() : found->second.since;
}

int StationGuard::failuresOf(int station) const
{
    const auto found = stations_.find(station);
    return found == stations_.end() ? 0 : found->second.failures;
}

} // namespace plc::host
