#include "station_guard.h"

#include <algorithm>

#include "core/register_types.h"
#include "exception_codes.h"

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

/// Nobody is behind the gateway.
bool isGatewaysWord(int exceptionCode)
{
    return exceptionCode == kExceptionGatewayPath || exceptionCode == kExceptionGatewayTarget;
}

} // namespace

StationChange StationGuard::stepEnded(const StepReport &report)
{
    constexpr int kBroadcast = 0;
    if (report.request.station == kBroadcast)
        return StationChange::None;
    switch (report.cause) {
    case AttemptEnd::Exception:
        if (isGatewaysWord(report.exceptionCode))
            return failed(report);
        if (report.exceptionCode == kExceptionBusy) {
            // The line is not gone.
            stations_[report.request.station].lastAnswer = report.endedAt;
            return failed(report);
        }
        return answered(report.request.station, report.endedAt);
    case AttemptEnd::Good:
        return answered(report.request.station, report.endedAt);
    case AttemptEnd::NoReply:
    case AttemptEnd::Unusable:
        return failed(report);
    case AttemptEnd::LineBusy:
        if (report.attempts > 0) // and none of them was answered
            return failed(report);
        putOff(report);
        break;
    case AttemptEnd::NoReplyDue:
    case AttemptEnd::Withheld:
        break;
    }
    return StationChange::None;
}

StationChange StationGuard::failed(const StepReport &report)
{
    Record &record = stations_[report.request.station];
    record.failures = std::min(record.failures, settings_.failures) + 1;
    record.probe = probeFor(report.request);
    if (record.offline) {
        record.distance =
            std::max(std::min(2 * record.distance, settings_.longestProbe), shareOfMany(report));
        record.nextProbe = report.endedAt + record.distance;
        return StationChange::None;
    }
    // One that manages a short frame now and then would otherwise take its share of the line over and over.
    const bool isRelapse = record.onProbation;
    if (!isRelapse && record.failures < settings_.failures)
        return StationChange::None;
    record.offline = true;
    record.onProbation = false;
    record.since = report.endedAt;
    record.distance =
        std::min(isRelapse ? 2 * record.distance : settings_.firstProbe, settings_.longestProbe);
    record.nextProbe = report.endedAt + record.distance;
    return StationChange::WentOffline;
}

/// Least distance of the trials of one of many offline stations: all trials together take a tenth of the time. Each
/// costs the stations that do answer what this one has cost. Where there are none of these, and where a single station
/// is offline, it is tried as often as the settings have it.
Time StationGuard::shareOfMany(const StepReport &report) const
{
    constexpr int kTimesTheCost = 10;
    const auto offline = std::count_if(stations_.begin(), stations_.end(),
                                       [](const auto &entry) { return entry.second.offline; });
    const bool isAnyThere = std::any_of(stations_.begin(), stations_.end(), [](const auto &entry) {
        return !entry.second.offline && entry.second.lastAnswer > Time::zero();
    });
    if (offline < 2 || !isAnyThere)
        return Time::zero();
    // Nobody listens for late answers behind an exception, of a gateway.
    const Time quiet = report.cause == AttemptEnd::Exception ? Time::zero() : quiet_;
    return kTimesTheCost * offline * (report.endedAt - report.startedAt + quiet);
}

StationChange StationGuard::answered(int station, Time now)
{
    Record &record = stations_[station];
    // Where nobody had answered meanwhile, it was the line that was gone: then the others are there again, too.
    const bool lineIsBack = record.offline && isSilentSince(record.since);
    const bool isBack = record.offline;
    record.failures = 0;
    record.lastAnswer = now;
    record.offline = false;
    record.onProbation = isBack;
    if (lineIsBack) {
        for (auto &[number, other] : stations_)
            other.nextProbe = std::min(other.nextProbe, now);
    }
    return isBack ? StationChange::CameBack : StationChange::None;
}

/// A trial could not go out: the others have the next turns.
void StationGuard::putOff(const StepReport &report)
{
    constexpr Time kSoon = std::chrono::seconds(1);
    const auto found = stations_.find(report.request.station);
    if (found != stations_.end())
        found->second.nextProbe = std::max(found->second.nextProbe, report.endedAt + kSoon);
}

bool StationGuard::isSilentSince(Time moment) const
{
    return std::all_of(stations_.begin(), stations_.end(),
                       [moment](const auto &entry) { return entry.second.lastAnswer < moment; });
}

bool StationGuard::isOffline(int station) const
{
    const auto found = stations_.find(station);
    return found != stations_.end() && found->second.offline;
}

bool StationGuard::isOnProbation(int station) const
{
    const auto found = stations_.find(station);
    return found != stations_.end() && found->second.onProbation;
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

Time StationGuard::nextDistance(int station) const
{
    const auto found = stations_.find(station);
    return found == stations_.end() ? Time::zero() : found->second.distance;
}

} // namespace plc::host
