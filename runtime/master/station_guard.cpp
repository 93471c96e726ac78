#include "runtime/master/station_guard.h"

#include <algorithm>
#include <tuple>

#include "core/register_types.h"
#include "runtime/line/exception_codes.h"

namespace plc::runtime {

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
            noteAnswer(report.request.station, report.endedAt);
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
        if (isBudgeted(record))
            spend(report);
        record.wentWithTheLine = false;
        record.distance = std::min(2 * record.distance, settings_.longestProbe);
        record.nextProbe = report.endedAt + record.distance;
        return StationChange::None;
    }
    // One that manages a short frame now and then would otherwise take its share of the line over and over.
    const bool isRelapse = record.onProbation;
    if (!isRelapse && record.failures < settings_.failures)
        return StationChange::None;
    if (isRelapse && isPaidByOthers(record))
        spend(report);
    record.offline = true;
    record.onProbation = false;
    record.wentWithTheLine = false;
    record.since = report.endedAt;
    record.distance =
        std::min(isRelapse ? 2 * record.distance : settings_.firstProbe, settings_.longestProbe);
    record.nextProbe = report.endedAt + record.distance;
    return StationChange::WentOffline;
}

/// Somebody has answered since the station went offline, and loses what its trials cost. Where nobody has, it is the
/// line that is gone, and is to be found again soon.
bool StationGuard::isBudgeted(const Record &record) const
{
    return lastAnswer_ > record.since && !record.wentWithTheLine;
}

/// Somebody else has answered since the station went offline. Where a station that answers nothing but trials is the
/// only one that answers at all, it must not use up the budget of the others.
bool StationGuard::isPaidByOthers(const Record &record) const
{
    return std::any_of(stations_.begin(), stations_.end(), [&record](const auto &entry) {
        return &entry.second != &record && entry.second.lastAnswer > record.since;
    });
}

/// Books a request to a dead station: nine times what it has cost passes before the next trial.
void StationGuard::spend(const StepReport &report)
{
    constexpr int kTimesTheCost = 10;
    // Nobody listens for late answers behind an exception, of a gateway.
    const Time quiet = report.cause == AttemptEnd::Exception ? Time::zero() : quiet_;
    spentUntil_ =
        std::max(spentUntil_, report.startedAt) + kTimesTheCost * (report.endedAt - report.startedAt + quiet);
}

StationChange StationGuard::answered(int station, Time now)
{
    noteAnswer(station, now);
    Record &record = stations_[station];
    const bool isBack = record.offline;
    record.failures = 0;
    record.offline = false;
    record.onProbation = isBack;
    record.wentWithTheLine = false;
    return isBack ? StationChange::CameBack : StationChange::None;
}

/// Where nobody had answered since the station went offline, it was the line that was gone: then all that went with it
/// are there again, too. Those that were dead before wait for their turn.
void StationGuard::noteAnswer(int station, Time now)
{
    Record &record = stations_[station];
    const bool lineIsBack = record.offline && lastAnswer_ < record.since;
    for (auto &[number, other] : stations_) {
        if (!lineIsBack || !other.offline || other.since <= lastAnswer_)
            continue;
        other.wentWithTheLine = true;
        other.nextProbe = std::min(other.nextProbe, now);
    }
    record.lastAnswer = now;
    lastAnswer_ = now;
}

/// A trial could not go out: the others have the next turns.
void StationGuard::putOff(const StepReport &report)
{
    constexpr Time kSoon = std::chrono::seconds(1);
    const auto found = stations_.find(report.request.station);
    if (found != stations_.end())
        found->second.nextProbe = std::max(found->second.nextProbe, report.endedAt + kSoon);
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
    const auto comesBefore = [](const Record &a, const Record &b) {
        return std::tie(a.distance, a.nextProbe) < std::tie(b.distance, b.nextProbe);
    };
    const Record *next = nullptr;
    for (const auto &[station, record] : stations_) {
        const bool mayBeTried = record.nextProbe <= now && (now >= spentUntil_ || !isBudgeted(record));
        if (record.offline && mayBeTried && (!next || comesBefore(record, *next)))
            next = &record;
    }
    return next ? std::optional<Probe>(next->probe) : std::nullopt;
}

std::vector<int> StationGuard::offlineStations() const
{
    std::vector<int> numbers;
    for (const auto &[station, record] : stations_) {
        if (record.offline)
            numbers.push_back(station);
    }
    return numbers;
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

} // namespace plc::runtime
