#include "host/finding/scan_evidence.h"

#include <algorithm>

#include "runtime/line/exception_codes.h"

namespace plc::host {

namespace {

/// Enough to be sure of a station that gives no cause for doubt.
constexpr int kUsualAsks = 2;
/// Its first reply came late, and says little about how long it takes.
constexpr int kLateAsks = 3;
/// Replies that run into each other so often are no accident.
constexpr int kCollisionsMeant = 3;
/// A station that is silent so often in a row is not there, whatever was heard before.
constexpr int kSilencesMeant = 2;

/// A station that is busy answers now with this, now with a value.
bool isPassing(int code)
{
    return code == kExceptionAcknowledge || code == kExceptionBusy || code == kExceptionGatewayPath ||
           code == kExceptionGatewayTarget;
}

std::string ofAll(int some, int all, const char *what)
{
    return std::to_string(some) + " of " + std::to_string(all) + what;
}

} // namespace

void ScanEvidence::asked(bool isAlone)
{
    ++find_.asked;
    alone_ += isAlone ? 1 : 0;
}

void ScanEvidence::answered(const ScanReply &reply)
{
    ++find_.answered;
    silences_ = 0;
    if (find_.answered == 1)
        find_.exceptionCode = reply.exceptionCode;
    if (!isPassing(reply.exceptionCode))
        kinds_.insert(reply.exceptionCode);
}

void ScanEvidence::damagedBy(const ScanRubbish &rubbish, bool resembles, Time delay, int replyLength)
{
    ++find_.damaged;
    silences_ = 0;
    resembling_ += resembles ? 1 : 0;
    tooLong_ += rubbish.count > replyLength ? 1 : 0;
    shortest_ = std::min(shortest_, rubbish.count);
    longest_ = std::max(longest_, rubbish.count);
    soonest_ = std::min(soonest_, delay);
    latest_ = std::max(latest_, delay);
}

/// Noise comes at any time, a station after about the same.
bool ScanEvidence::isSteady() const
{
    constexpr Time kScatter = std::chrono::milliseconds(25);
    return latest_ - soonest_ <= kScatter;
}

bool ScanEvidence::isOdd() const
{
    return isDisturbed_ || find_.damaged > 0 || find_.answered > find_.asked || kinds_.size() > 1;
}

int ScanEvidence::asksWanted() const
{
    if (!isSuspect() || (!isFound() && silences_ >= kSilencesMeant))
        return 0;
    if (isOdd())
        return kMostAsks;
    return find_.isLate ? kLateAsks : kUsualAsks;
}

bool ScanEvidence::conclude(bool rubbishIsRare, bool hasOthers, Find *find) const
{
    *find = find_;
    if (find_.answered > find_.asked && find_.asked > 0 && !hasOthers) {
        find->state = FindState::TwoStations;
        find->reason = "more replies than requests (" + ofAll(find_.answered, find_.asked, "") + ")";
    } else if (kinds_.size() > 1) {
        find->state = FindState::TwoStations;
        find->reason =
            "the same request is answered now by a value, now by an exception, or by different ones";
    } else if (tooLong_ >= kCollisionsMeant && isSteady() &&
               (rubbishIsRare || resembling_ >= kCollisionsMeant)) {
        find->state = FindState::TwoStations;
        find->reason = "replies run into each other";
    } else if (find_.answered == 0) {
        const bool isAlways =
            isSteady() && (rubbishIsRare || hasOneLength()) && isAlwaysDamaged() && find_.asked >= kMostAsks;
        // Made-up bytes look like a reply now and then.
        const int meant = rubbishIsRare ? 2 : 4;
        find->state = resembling_ >= meant || isAlways ? FindState::BadLink : FindState::Heard;
        find->reason = find->state == FindState::BadLink ? "no reply with a good CRC" : "";
        return find->state == FindState::BadLink || isHeard_;
    } else if (find_.asked == 0) {
        find->state = FindState::Heard;
    } else if (find_.damaged > 0) {
        find->state = FindState::BadLink;
        find->reason = ofAll(find_.damaged, find_.asked, " replies came damaged");
    }
    return true;
}

bool resemblesReply(const ScanRubbish &rubbish, int station, bool isAlone, const ScanPlan &plan)
{
    // Noise in front of a reply is part of the same rubbish.
    const int last = std::min(rubbish.bytes.size() - 3, isAlone ? kLongestFrame : 2);
    for (int at = 0; at <= last; ++at) {
        const auto byte = [&](int place) { return static_cast<unsigned char>(rubbish.bytes.at(at + place)); };
        const bool isStation = byte(0) == station;
        const bool isException = byte(1) == (plan.function | kExceptionBit);
        const bool isFunction = byte(1) == plan.function || isException;
        const bool isCount = byte(2) == plan.replyDataBytes();
        // A request that came back damaged begins like this, too.
        const bool isRequest = isStation && byte(1) == plan.function && byte(2) == plan.address >> 8;
        if (isStation && isFunction && (isException || (isCount && !isRequest)))
            return true;
        if (isAlone && !isRequest && ((isStation && (isFunction || isCount)) || (isFunction && isCount)))
            return true;
    }
    return false;
}

} // namespace plc::host
