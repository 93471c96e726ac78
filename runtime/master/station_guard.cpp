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

bool StationGuard::setEnabled(int station, bool enabled)
{
    const bool wasOffline = state(station) == StationState::Offline;
    Record fresh;
    fresh.state = enabled ? StationState::On : StationState::SwitchedOff;
    stations_[station] = fresh;
    return wasOffline;
}

StationChange StationGuard::transactionEnded(const TransactionReport &report)
{
    constexpr int kBroadcast = 0;
    if (report.request.station == kBroadcast || state(report.request.station) == StationState::SwitchedOff)
        return StationChange::None;
    switch (report.cause) {
    case AttemptEnd::Exception:
        if (isGatewaysWord(report.exceptionCode))
            return failed(report);
        if (report.exceptionCode == kExceptionBusy) {
            // The line is there, whatever the station does.
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
        if (report.attempts > 0)
            return failed(report); // none of the attempts was answered
        putOff(report);
        break;
    case AttemptEnd::NoReplyDue:
    case AttemptEnd::Withheld:
    case AttemptEnd::PortLost:
        break;
    }
    return StationChange::None;
}

StationChange StationGuard::failed(const TransactionReport &report)
{
    Record &record = stations_[report.request.station];
    record.failures = std::min(record.failures, settings_.failures) + 1;
    record.probe = probeFor(report.request);
    if (record.state == StationState::Offline) {
        if (isBudgeted(record))
            spend(report);
        record.wentWithTheLine = false;
        record.interval = std::min(2 * record.interval, settings_.longestProbe);
        record.nextProbe = report.endedAt + record.interval;
        return StationChange::None;
    }
    // A station that manages only a short frame now and then would otherwise take its share of the line over
    // and over.
    const bool isRelapse = record.state == StationState::OnProbation;
    if (!isRelapse && record.failures < settings_.failures)
        return StationChange::None;
    if (isRelapse && isPaidByOthers(record))
        spend(report);
    record.state = StationState::Offline;
    record.wentWithTheLine = false;
    record.since = report.endedAt;
    record.interval =
        std::min(isRelapse ? 2 * record.interval : settings_.firstProbe, settings_.longestProbe);
    record.nextProbe = report.endedAt + record.interval;
    return StationChange::WentOffline;
}

/// Some station has answered since this station went offline, and loses the time that its probes cost. Where
/// none has answered, the line itself is gone, and is to be found again soon.
bool StationGuard::isBudgeted(const Record &record) const
{
    return lastAnswer_ > record.since && !record.wentWithTheLine;
}

/// Another station has answered since this station went offline. A station that answers nothing but probes,
/// and is the only station that answers at all, must not use up the budget of the others.
bool StationGuard::isPaidByOthers(const Record &record) const
{
    return std::any_of(stations_.begin(), stations_.end(), [&record](const auto &entry) {
        return &entry.second != &record && entry.second.lastAnswer > record.since;
    });
}

/// Books a request to a dead station: nine times the time that it has cost passes before the next probe.
void StationGuard::spend(const TransactionReport &report)
{
    constexpr int kTimesTheCost = 10;
    // After an exception, which is a gateway's, the line is not listened to for a late answer.
    const bool isAnswered = report.cause == AttemptEnd::Exception;
    const Time quiet = isAnswered ? Time::zero() : quietAfter(report.request.station);
    spentUntil_ =
        std::max(spentUntil_, report.startedAt) + kTimesTheCost * (report.endedAt - report.startedAt + quiet);
}

Time StationGuard::quietAfter(int station) const
{
    const auto own = ownQuiet_.find(station);
    return own != ownQuiet_.end() ? own->second : quiet_;
}

StationChange StationGuard::answered(int station, Time now)
{
    noteAnswer(station, now);
    Record &record = stations_[station];
    const bool isBack = record.state == StationState::Offline;
    record.failures = 0;
    record.state = isBack ? StationState::OnProbation : StationState::On;
    record.wentWithTheLine = false;
    return isBack ? StationChange::CameBack : StationChange::None;
}

/// Where no station had answered since this station went offline, the line was gone. Then the stations that
/// went with the line are probably back as well, and are probed at once. Those that were dead before wait for
/// their turn.
void StationGuard::noteAnswer(int station, Time now)
{
    Record &record = stations_[station];
    const bool lineIsBack = record.state == StationState::Offline && lastAnswer_ < record.since;
    for (auto &[number, other] : stations_) {
        if (!lineIsBack || other.state != StationState::Offline || other.since <= lastAnswer_)
            continue;
        other.wentWithTheLine = true;
        other.nextProbe = std::min(other.nextProbe, now);
    }
    record.lastAnswer = now;
    lastAnswer_ = now;
}

/// A probe could not go out: the others have the next turns.
void StationGuard::putOff(const TransactionReport &report)
{
    constexpr Time kSoon = std::chrono::seconds(1);
    const auto found = stations_.find(report.request.station);
    if (found != stations_.end())
        found->second.nextProbe = std::max(found->second.nextProbe, report.endedAt + kSoon);
}

bool StationGuard::isBusy(int station, Time now) const
{
    return now < recordOf(station).busyUntil;
}

StationState StationGuard::state(int station) const
{
    return recordOf(station).state;
}

std::optional<Probe> StationGuard::due(Time now) const
{
    const auto comesBefore = [](const Record &a, const Record &b) {
        return std::tie(a.interval, a.nextProbe) < std::tie(b.interval, b.nextProbe);
    };
    const Record *next = nullptr;
    for (const auto &[station, record] : stations_) {
        const bool mayBeProbed = record.nextProbe <= now && (now >= spentUntil_ || !isBudgeted(record));
        if (record.state == StationState::Offline && mayBeProbed && (!next || comesBefore(record, *next)))
            next = &record;
    }
    return next ? std::optional<Probe>(next->probe) : std::nullopt;
}

std::vector<int> StationGuard::leftAlone() const
{
    std::vector<int> numbers;
    for (const auto &[station, record] : stations_) {
        if (isLeftAlone(record.state))
            numbers.push_back(station);
    }
    return numbers;
}

Time StationGuard::offlineSince(int station) const
{
    return recordOf(station).since;
}

int StationGuard::failuresOf(int station) const
{
    return recordOf(station).failures;
}

Time StationGuard::probeInterval(int station) const
{
    return recordOf(station).interval;
}

/// A station that nothing is known of has an empty record.
StationGuard::Record StationGuard::recordOf(int station) const
{
    const auto found = stations_.find(station);
    return found == stations_.end() ? Record() : found->second;
}

} // namespace plc::runtime
