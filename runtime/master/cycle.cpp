#include "runtime/master/cycle.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "core/register_types.h"
#include "core/result_codes.h"
#include "runtime/line/exception_codes.h"
#include "runtime/master/link_settings.h"
#include "runtime/master/request_ids.h"

namespace plc::runtime {

namespace {

// The longest frame has 256 bytes (MODBUS over Serial Line V1.02, 2.5.1.1); the rest is room for noise.
constexpr int kBufferLimit = 1024;
constexpr int kBufferKept = 512;

constexpr int kWithheldAtOnce = 16;
/// A thread that is woken later than that was kept off the processor, which tells nothing of the next time.
constexpr Time kUsualLateness = std::chrono::microseconds(100);
/// Bytes that chips and converters may hand over together.
constexpr int kPiece = 16;

/// Quicker than QByteArray::contains(), which makes a table of 256 entries each time.
bool contains(const QByteArray &bytes, const QByteArray &part)
{
    return memmem(bytes.constData(), static_cast<std::size_t>(bytes.size()), part.constData(),
                  static_cast<std::size_t>(part.size())) != nullptr;
}

/// A request to station 0 is to every station.
constexpr int kEverybody = 0;

int byteAt(const QByteArray &bytes, int at)
{
    return at < bytes.size() ? static_cast<unsigned char>(bytes.at(at)) : 0;
}

bool isRelay(const COM_INFO &info)
{
    return info.linkMode != 0;
}

/// The driver was told that stations do not answer writes of this type.
bool isSilencedByOption(const COM_INFO &info, int regType)
{
    return (regType == kHoldingSingle && hasOption(info.options, kOptionNoReplyToSingle)) ||
           (regType == kHoldingBlock && hasOption(info.options, kOptionNoReplyToBlock));
}

/// What a transaction is reported with after one more attempt: of several failures the most telling one.
AttemptEnd causeAfter(AttemptEnd before, AttemptEnd last)
{
    switch (last) {
    case AttemptEnd::Good:
    case AttemptEnd::NoReplyDue:
    case AttemptEnd::Withheld:
    case AttemptEnd::PortLost:
        return last;
    default:
        break;
    }
    for (const AttemptEnd end : {AttemptEnd::Exception, AttemptEnd::Unusable, AttemptEnd::LineBusy}) {
        if (before == end || last == end)
            return end;
    }
    return AttemptEnd::NoReply;
}

/// Whether the request is not to be repeated. The station refused function, address or value, or it has begun
/// the write already. Or it is busy, and the request comes again with the next scan.
bool isFinal(int exceptionCode, const Request &request)
{
    switch (exceptionCode) {
    case kExceptionFunction:
    case kExceptionAddress:
    case kExceptionValue:
        return true;
    case kExceptionBusy:
        return request.hostId == kCyclicHostId;
    case kExceptionAcknowledge:
        return request.direction != 0;
    default:
        return false;
    }
}

void countEnd(AttemptEnd end, Counters *counters)
{
    switch (end) {
    case AttemptEnd::Good:
        ++counters->good;
        break;
    case AttemptEnd::NoReplyDue:
        ++counters->unanswered;
        break;
    case AttemptEnd::Exception:
        ++counters->exceptions;
        break;
    case AttemptEnd::Unusable:
        ++counters->bad;
        break;
    case AttemptEnd::NoReply:
        ++counters->timeouts;
        break;
    case AttemptEnd::LineBusy:
        ++counters->lineBusy;
        break;
    case AttemptEnd::Withheld:
    case AttemptEnd::PortLost:
        break;
    }
}

bool wasSent(AttemptEnd end)
{
    return end != AttemptEnd::LineBusy && !tellsNothing(end);
}

/// @param isDamaged  what came last was the reply, damaged on the way.
Answer answerOf(AttemptEnd end, bool isDamaged)
{
    if (end == AttemptEnd::Good || end == AttemptEnd::Exception)
        return Answer::Came;
    if (end == AttemptEnd::NoReplyDue || (end == AttemptEnd::Unusable && isDamaged))
        return Answer::WillNotCome;
    return Answer::MayComeLate;
}

} // namespace

Request requestOf(const Protocol &head, bool relay)
{
    constexpr int kRelayStationAt = 4;
    Request request;
    request.frame = head.frame.left(head.sendLen);
    request.station = byteAt(request.frame, relay ? kRelayStationAt : 0);
    request.function = relay ? 0 : byteAt(request.frame, 1);
    request.regType = head.var.regType;
    request.address = head.var.address;
    request.count = head.var.count;
    request.direction = head.var.direction;
    request.hostId = head.var.hostId;
    request.hostSubId = head.var.hostSubId;
    // In a relay frame the member is a value.
    request.isReadHalf = !relay && request.direction == 0 && head.var.relayArg1 == kReadHalf;
    return request;
}

Cycle::Cycle(CycleDriver &driver, COM_INFO &info, const CycleSettings &settings, CycleObserver *observer)
    : driver_(driver), info_(info), settings_(settings), observer_(observer),
      lateReplies_(settings.lateReplyGuard), echoes_(settings.removeEcho)
{}

Instruction Cycle::advance(Time now, const QByteArray &arrived)
{
    if (!started_) {
        // A frame may be on its way already when the port is opened (2.5.1.1, figure 14).
        started_ = true;
        lastActivity_ = std::max(lastActivity_, now);
    }
    if (!arrived.isEmpty())
        take(now, arrived);
    // A driver that offers only what is withheld must not keep this loop from the line.
    for (int withheld = 0;;) {
        switch (state_) {
        case CycleState::Idle:
            if (withheld == kWithheldAtOnce || !fetch(now))
                return {QByteArray(), now + settings_.idlePause, Time()};
            withheld += state_ == CycleState::Idle ? 1 : 0;
            break;
        case CycleState::WaitingSilence: {
            const Time due = silenceDue();
            const Time limit = std::min(busyLimit(), freshUntil_);
            if (now >= due && now <= freshUntil_) {
                if (driver_.permit(request(), true) != Permit::Withhold)
                    return transmit(now);
                withhold(now);
                ++withheld;
            } else if (now < limit) {
                return {QByteArray(), std::min(due, limit), Time()};
            } else {
                giveUpSending(now);
            }
            break;
        }
        case CycleState::WaitingReply:
        case CycleState::WaitingTurnaround:
        case CycleState::ListeningOut:
            if (now < waitEnd())
                return {QByteArray(), waitEnd(), attempt_.completeAt};
            endWait(now);
            break;
        }
    }
}

void Cycle::transmitted(Time now)
{
    const bool isSending = state_ == CycleState::WaitingTurnaround || isListening();
    if (!isSending || now <= lastActivity_)
        return;
    attempt_.deadline += now - lastActivity_;
    attempt_.sentUntil = now;
    lastActivity_ = now;
}

void Cycle::portLost(Time now)
{
    if (state_ != CycleState::Idle) {
        if (state_ != CycleState::WaitingSilence) {
            // The station answers whether somebody hears it or not, and the port may be back sooner.
            const bool isAnswerDue = state_ == CycleState::WaitingReply;
            pauseUntil_ = std::max(pauseUntil_, isAnswerDue ? extendedDeadline() : attempt_.deadline);
            noteStationPause(pauseUntil_);
            lateReplies_.attemptEnded(isAnswerDue ? Answer::MayComeLate : Answer::WillNotCome,
                                      attempt_.sentUntil + rules_.responseTimeout);
        }
        useUpRepeats();
        endAttempt(now, AttemptEnd::PortLost);
        goOn(now, judgeNothing());
    }
    buffer_.clear();
    echoes_ = Echoes(settings_.removeEcho);
}

/// Gets the next transaction from the driver.
/// @return false when there is none.
bool Cycle::fetch(Time now)
{
    head_ = driver_.next();
    if (!head_)
        return false;
    report_ = TransactionReport();
    report_.request = requestOf(*head_, isRelay(info_));
    report_.startedAt = now;
    attempt_ = Attempt();
    chooseRules();
    // A late answer may have an old value of the register, which must not be written back.
    lateReplies_.begin(now, request().frame, !request().isReadHalf);
    const Permit permit = driver_.permit(request(), false);
    if (permit == Permit::Withhold) {
        withhold(now);
        return true;
    }
    info_.retryCount = 0;
    if (permit == Permit::SendOnce)
        useUpRepeats();
    waitForSilence(now);
    return true;
}

void Cycle::chooseRules()
{
    const auto own = settings_.stations.find(request().station);
    rules_ = own != settings_.stations.end() ? own->second : settings_;
    lateReplies_.setListening(rules_.lateReplyGuard);
    if (!settings_.stations.empty())
        info_.retryLimit = rules_.retryLimit;
}

void Cycle::waitForSilence(Time now)
{
    state_ = CycleState::WaitingSilence;
    waitingSince_ = now;
    // An echo comes before the answer: where no answer can come any more, no echo can either.
    if (!lateReplies_.isAnswerOpen())
        echoes_.forgetEarlier();
}

Time Cycle::silenceDue() const
{
    return std::max(lastActivity_ + settings_.timing.silence(), heldUntil());
}

Time Cycle::heldUntil() const
{
    return std::max({lateReplies_.holdUntil(), pauseUntil_, stationPausedUntil()});
}

/// A broadcast is to every station.
Time Cycle::stationPausedUntil() const
{
    Time until{};
    for (const auto &[station, rested] : stationPausedUntil_) {
        if (request().station == station || request().station == kEverybody)
            until = std::max(until, rested);
    }
    return until;
}

/// The station, or each where all were meant, is left alone for its pause.
void Cycle::noteStationPause(Time since)
{
    for (const auto &[station, rules] : settings_.stations) {
        const bool isMeant = request().station == station || request().station == kEverybody;
        if (isMeant && rules.pause > Time::zero())
            stationPausedUntil_[station] = since + rules.pause;
    }
}

/// How long to wait for a silent line. Without an expected reply the driver takes the first time-out as
/// completion, so we wait once for all attempts together.
Time Cycle::busyLimit() const
{
    const int waits = replyIsDue() ? 1 : 1 + std::max(info_.retryLimit, 0);
    return std::max(waitingSince_, heldUntil()) + waits * rules_.responseTimeout;
}

bool Cycle::replyIsDue() const
{
    if (isRelay(info_))
        return head_->replyLen != 0;
    return head_->replyLen > 0 ||
           (head_->replyLen == kReplyOpen && !isSilencedByOption(info_, request().regType));
}

Instruction Cycle::transmit(Time now)
{
    const QByteArray &frame = request().frame;
    const Time lateness = now - std::max(silenceDue(), waitingSince_);
    if (settings_.policies.discardInput)
        discardBefore(now, buffer_.size(), "outside an exchange");
    noteOtherMaster(now, otherMaster_.sent(frame));
    echoes_.sent(frame);
    state_ = stateWhenSent();
    attempt_ = Attempt();
    attempt_.lateness = lateness;
    attempt_.shape = shapeOfReply();
    // The wait starts with the last stop bit, which may leave long after the bytes were handed over.
    attempt_.sentUntil = now + settings_.timing.wire(frame.size());
    attempt_.deadline = attempt_.sentUntil + waitWhenSent();
    lastActivity_ = attempt_.sentUntil;

    if (report_.attempts == 0)
        report_.startedAt = now;
    ++report_.attempts;
    const bool isRepeat = report_.attempts > 1;
    const auto bytes = static_cast<std::uint64_t>(frame.size());
    count([isRepeat, bytes](Counters &c) {
        ++c.requests;
        c.retries += isRepeat ? 1 : 0;
        c.bytesOut += bytes;
    });
    if (observer_)
        observer_->sent(now, frame, report_.attempts);
    return {frame, attempt_.deadline, Time()};
}

CycleState Cycle::stateWhenSent() const
{
    // No station answers address 0. The driver may expect a reply all the same: the station override changes
    // the address of the frame alone.
    const bool isBroadcast = isRelay(info_) ? head_->replyLen == 0 : request().station == 0;
    if (isBroadcast)
        return CycleState::WaitingTurnaround;
    return replyIsDue() ? CycleState::WaitingReply : CycleState::ListeningOut;
}

/// How long the state that follows the frame lasts when nothing comes.
Time Cycle::waitWhenSent() const
{
    // A station that is said not to answer may do so all the same, but nobody waits a time-out for that.
    const bool isSilenced =
        state_ == CycleState::ListeningOut && isSilencedByOption(info_, request().regType);
    return state_ == CycleState::WaitingTurnaround || isSilenced ? settings_.turnaround
                                                                 : rules_.responseTimeout;
}

ReplyShape Cycle::shapeOfReply() const
{
    const bool crcHighFirst = hasOption(info_.options, kOptionSwapReplyCrc);
    const bool strict = settings_.policies.strictWrites;
    ReplyShape shape = isRelay(info_)
                           ? relayReplyShape(request().frame, head_->replyLen, crcHighFirst, strict)
                           : modbusReplyShape(request().frame, crcHighFirst, strict);
    // Where echoes are taken off, their number tells them from replies.
    if (settings_.removeEcho)
        shape.request.clear();
    return shape;
}

void Cycle::take(Time now, const QByteArray &arrived)
{
    const auto bytes = static_cast<std::uint64_t>(arrived.size());
    count([bytes](Counters &c) { c.bytesIn += bytes; });
    if (observer_)
        observer_->received(now, arrived);
    lastActivity_ = std::max(lastActivity_, now);
    if (buffer_.isEmpty())
        buffer_ = arrived; // shares the bytes
    else
        buffer_.append(arrived);
    if (buffer_.size() > kBufferLimit)
        discardBefore(now, buffer_.size() - kBufferKept, "too much for one reply");
    if (isListening()) {
        // An echo begins while the request is sent: bytes that begin so much later are a reply.
        if (!attempt_.anythingCame && now > attempt_.sentUntil + settings_.deliverySlack)
            attempt_.shape.request.clear();
        attempt_.anythingCame = true;
        if (!settings_.policies.absoluteDeadline)
            attempt_.deadline = std::max(attempt_.deadline, now + rules_.responseTimeout);
        examine(now, false);
        return;
    }
    // An echo that has begun is kept until it is complete.
    if (echoes_.areDue() && head_ && !stripEchoes(now))
        return;
    if (settings_.policies.discardInput)
        discardBefore(now, buffer_.size(), "outside an exchange");
}

bool Cycle::isListening() const
{
    return state_ == CycleState::WaitingReply || state_ == CycleState::ListeningOut;
}

/// Takes the echoes that are due off the received bytes, as far as they have come.
/// @return false while none has come since the last transmission.
bool Cycle::stripEchoes(Time now)
{
    while (const std::optional<int> at = echoes_.take(buffer_)) {
        // What came before the request was heard cannot be its answer.
        discardBefore(now, *at, "in front of the echo");
        buffer_.remove(0, request().frame.size());
        attempt_.heard = false;
    }
    return !echoes_.isMissing();
}

void Cycle::discardBefore(Time now, int bytes, const char *why)
{
    if (bytes <= 0)
        return;
    if (isListening())
        attempt_.passedOver.append(
            buffer_.left(std::min<int>(bytes, kBufferKept - attempt_.passedOver.size())));
    noteOtherMaster(now, otherMaster_.heard(buffer_.left(bytes)));
    buffer_.remove(0, bytes);
    noteForeign(now, bytes, why);
}

void Cycle::noteOtherMaster(Time now, const std::vector<int> &asked)
{
    for (const int station : asked) {
        ++statistics_.otherMaster[station];
        if (observer_)
            observer_->otherMasterAsked(now, station);
    }
}

void Cycle::noteForeign(Time now, int bytes, const char *why)
{
    const auto number = static_cast<std::uint64_t>(bytes);
    count([number](Counters &c) { c.foreignBytes += number; });
    if (observer_)
        observer_->discarded(now, bytes, why);
}

/// What happens outside a transaction counts for the line and for no station.
template <typename Change>
void Cycle::count(Change change)
{
    change(statistics_.total);
    if (head_)
        change(statistics_.stations[request().station]);
}

/// Looks for an answer, and acts on what is found.
void Cycle::examine(Time now, bool waitIsOver)
{
    attempt_.isDamaged = false;
    attempt_.completeAt = Time();
    // Nothing passes before the echo has come: the echo of a single write is byte for byte its good reply.
    if (!stripEchoes(now)) {
        attempt_.heard = true;
        return;
    }
    attempt_.heard = attempt_.heard || !buffer_.isEmpty();
    attempt_.echoHeard = attempt_.echoHeard || (!settings_.removeEcho && contains(buffer_, request().frame));
    const bool isUnchecked = !settings_.policies.checkReplies && state_ == CycleState::WaitingReply &&
                             head_->replyLen == kReplyOpen && !request().isReadHalf;
    for (;;) {
        const Sighting sighting = findReply(buffer_, attempt_.shape, waitIsOver);
        if (isUnchecked && sighting.found != Found::Exception) {
            Sighting everything;
            everything.length = buffer_.size();
            if (!buffer_.isEmpty())
                offerReply(now, everything);
            return;
        }
        switch (sighting.found) {
        case Found::WrongReply:
            count([](Counters &c) { ++c.ignoredReplies; });
            attempt_.mayBeEcho = attempt_.mayBeEcho || sighting.isLikeRequest;
            discardBefore(now, sighting.at + sighting.length,
                          sighting.isLikeRequest ? "the request itself, or a reply like it"
                                                 : "a reply to something else");
            continue;
        case Found::Exception:
            takeException(now, sighting);
            return;
        case Found::Reply:
            if (echoes_.takeAt(buffer_, sighting.at, sighting.length)) {
                discardBefore(now, sighting.at, "in front of the echo");
                buffer_.remove(0, sighting.length);
                continue;
            }
            if (state_ == CycleState::ListeningOut) {
                takeUnwanted(now, sighting);
                return;
            }
            if (offerReply(now, sighting))
                return;
            discardBefore(now, sighting.at + sighting.length, "not accepted by the driver");
            continue;
        case Found::Beginning:
            attempt_.completeAt = completionOf(now, sighting);
            attempt_.hasRested = true;
            [[fallthrough]];
        case Found::Nothing:
            // With an earlier attempt unanswered the damaged reply may be the answer to that attempt.
            attempt_.isDamaged = settings_.policies.endOnDamage && state_ == CycleState::WaitingReply &&
                                 !lateReplies_.isAnswerOpen() && endWithDamagedReply(buffer_, attempt_.shape);
            return;
        }
    }
}

/// When the reply that has begun will be there, if its bytes follow each other at the speed of the line.
Time Cycle::completionOf(Time now, const Sighting &begun) const
{
    // Its first bytes do not tell yet that no exception follows, which is shorter.
    const int due = begun.length > 0 ? begun.length : kExceptionLen;
    const int missing = std::max(due - (buffer_.size() - begun.at), 0);
    // So little is on its way in one piece, which may be there at once.
    if (attempt_.hasRested && missing <= kPiece)
        return Time();
    const Time wire =
        settings_.timing.wire(missing) * settings_.bitsPerCharacter / LineTiming::kBitsPerCharacter;
    // The thread was woken for the first bytes, and will be for the rest, about as late as for the request.
    return now + wire - 2 * std::min(attempt_.lateness, kUsualLateness);
}

/// The station has refused the request.
void Cycle::takeException(Time now, const Sighting &sighting)
{
    constexpr int kExceptionFlag = 0x80;
    discardBefore(now, sighting.at, "in front of the reply");
    buffer_.remove(0, sighting.length);
    discardBefore(now, buffer_.size(), "behind the reply");
    // The answer proves that the request had left, whatever baud rate is configured.
    lastActivity_ = now;
    report_.exceptionCode = sighting.exceptionCode;
    report_.refusedFunction = sighting.function & ~kExceptionFlag;
    attempt_.isRefused = true;
    if (!settings_.policies.endOnException)
        return;
    if (isFinal(sighting.exceptionCode, request()))
        useUpRepeats();
    if (state_ == CycleState::WaitingReply)
        failAttempt(now, AttemptEnd::Exception, sighting.exceptionCode);
    else
        attempt_.deadline = now;
}

/// A reply that nobody asked for ends the wait for it.
void Cycle::takeUnwanted(Time now, const Sighting &sighting)
{
    buffer_.remove(sighting.at, sighting.length);
    lastActivity_ = now;
    attempt_.isExtended = true;
    attempt_.deadline = now;
}

/// Shows a reply to the driver.
/// @return false when the driver does not see one there.
bool Cycle::offerReply(Time now, const Sighting &sighting)
{
    const int received = buffer_.size();
    const QByteArray around = received > sighting.length ? buffer_ : QByteArray();
    // Once the driver knows the length, each call spends an attempt, so it must see exactly the reply. A read
    // half is cut as well: the driver would write back whatever it finds.
    if (head_->replyLen != kReplyOpen || request().isReadHalf)
        buffer_ = buffer_.mid(sighting.at, sighting.length);
    // With the length open the first call finds the reply and cuts the buffer down to it; the second judges.
    if (head_->replyLen == kReplyOpen && driver_.judge(&buffer_, buffer_.size()) == kResultPending)
        return false;
    const int status = driver_.judge(&buffer_, buffer_.size());
    // The answer proves that the request had left, whatever baud rate is configured.
    lastActivity_ = now;
    if (received > sighting.length) {
        noteOtherMaster(now, otherMaster_.heard(around.left(sighting.at)));
        noteOtherMaster(now, otherMaster_.interrupted());
        noteOtherMaster(now, otherMaster_.heard(around.mid(sighting.at + sighting.length)));
        noteForeign(now, received - sighting.length, "around the reply");
    }
    if (isDone(status)) {
        endAttempt(now, AttemptEnd::Good);
    } else {
        Miss miss;
        miss.kind = Miss::Kind::NotAccepted;
        miss.heard = received;
        miss.shown = buffer_.left(std::min(sighting.length, kMostShown));
        endAttempt(now, AttemptEnd::Unusable, miss);
    }
    buffer_.clear();
    goOn(now, status);
    return true;
}

/// An empty reply tells the driver that the wait is over.
int Cycle::judgeNothing()
{
    QByteArray nothing;
    return driver_.judge(&nothing, 0);
}

Time Cycle::waitEnd() const
{
    return attempt_.isDamaged ? std::min(silentBehindDamage(), extendedDeadline()) : attempt_.deadline;
}

/// When it is plain that nothing follows what was received last.
Time Cycle::silentBehindDamage() const
{
    return lastActivity_ + settings_.timing.silence() + settings_.deliverySlack;
}

/// A reply that has begun gets the time that it needs. Extended once only; noise cannot push the deadline
/// further.
Time Cycle::extendedDeadline() const
{
    if (attempt_.isExtended)
        return attempt_.deadline;
    return attempt_.deadline + settings_.timing.wire(attempt_.shape.length) + settings_.deliverySlack;
}

/// Puts the end of the wait off, once, where something has come that may become a reply.
/// @return whether there is still something to wait for.
bool Cycle::extendWait(Time now)
{
    attempt_.isDamaged = attempt_.isDamaged && now >= silentBehindDamage();
    if (attempt_.isExtended || attempt_.isRefused || attempt_.isDamaged || buffer_.isEmpty())
        return false;
    attempt_.deadline = extendedDeadline();
    attempt_.isExtended = true;
    return now < attempt_.deadline;
}

/// The wait for an answer, or for the stations to carry a broadcast out, is over.
void Cycle::endWait(Time now)
{
    if (state_ == CycleState::WaitingTurnaround && head_->replyLen != 0) {
        failAttempt(now, AttemptEnd::NoReply, 0);
        return;
    }
    if (isListening() && extendWait(now))
        return;
    if (state_ != CycleState::WaitingReply) {
        endUnanswered(now);
        return;
    }
    examine(now, true);
    if (state_ != CycleState::WaitingReply)
        return;
    attempt_.echoMissing = echoes_.isMissing() && attempt_.heard;
    if (attempt_.isRefused)
        failAttempt(now, AttemptEnd::Exception, report_.exceptionCode);
    else
        failAttempt(now, attempt_.heard ? AttemptEnd::Unusable : AttemptEnd::NoReply, 0);
}

/// Ends an attempt whose answer nobody waits for.
void Cycle::endUnanswered(Time now)
{
    // A sender that does not hear itself has perhaps not been heard by anybody.
    attempt_.echoMissing = echoes_.isMissing();
    const Miss unheard = missAt(attempt_.echoMissing ? AttemptEnd::Unusable : AttemptEnd::NoReply, 0);
    discardBefore(now, buffer_.size(), "an answer that nobody waits for");
    const int status = judgeNothing();
    if (attempt_.isRefused)
        endAttempt(now, AttemptEnd::Exception, missAt(AttemptEnd::Exception, report_.exceptionCode));
    else if (attempt_.echoMissing)
        endAttempt(now, AttemptEnd::Unusable, unheard);
    else if (isDone(status))
        endAttempt(now, AttemptEnd::NoReplyDue);
    else
        endAttempt(now, AttemptEnd::NoReply, unheard);
    goOn(now, status);
}

/// The frame cannot go out in time.
void Cycle::giveUpSending(Time now)
{
    const bool isStale = now >= freshUntil_;
    if (isStale)
        useUpRepeats();
    // The attempt before has been reported.
    if (isStale && report_.attempts > 0)
        showNothing(now);
    else
        failAttempt(now, AttemptEnd::LineBusy, 0);
}

/// Not permitted: the driver ends the transaction without another attempt.
void Cycle::withhold(Time now)
{
    useUpRepeats();
    endAttempt(now, AttemptEnd::Withheld);
    goOn(now, judgeNothing());
}

/// The attempt has brought nothing that the driver could use.
void Cycle::failAttempt(Time now, AttemptEnd end, int exceptionCode)
{
    endAttempt(now, end, missAt(end, exceptionCode));
    showNothing(now);
    const bool isRepeated = state_ == CycleState::WaitingSilence;
    if (isRepeated && end == AttemptEnd::Exception && exceptionCode == kExceptionBusy)
        pauseUntil_ = now + settings_.turnaround;
}

/// Counts and reports the end of an attempt.
void Cycle::endAttempt(Time now, AttemptEnd end, const Miss &miss)
{
    // What was withheld leaves no row in the statistics of its station.
    if (!tellsNothing(end))
        count([end](Counters &c) { countEnd(end, &c); });
    if (wasSent(end)) {
        // Not when the frame went out: that would have made it later.
        statistics_.lateness.add(attempt_.lateness);
        lateReplies_.attemptEnded(answerOf(end, attempt_.isDamaged),
                                  attempt_.sentUntil + rules_.responseTimeout);
        noteStationPause(now);
    }
    report_.cause = causeAfter(report_.cause, end);
    add(miss, report_.attempts + (wasSent(end) ? 0 : 1), &report_.missed);
    if (observer_)
        observer_->attemptEnded(now, end, miss);
}

/// Why an attempt that has ended so brought no good reply.
Miss Cycle::missAt(AttemptEnd end, int exceptionCode) const
{
    Miss miss;
    miss.exceptionCode = exceptionCode;
    if (end == AttemptEnd::Exception)
        miss.kind = Miss::Kind::Refused;
    else if (end == AttemptEnd::LineBusy)
        miss.kind = Miss::Kind::LineBusy;
    else if (end == AttemptEnd::Unusable || end == AttemptEnd::NoReply)
        miss = missOf(attempt_.passedOver + buffer_, attempt_.shape, request().frame);
    if (end != AttemptEnd::Unusable)
        return miss;
    if (attempt_.echoMissing)
        miss.kind = Miss::Kind::EchoMissing;
    else if (attempt_.mayBeEcho)
        miss.kind = Miss::Kind::MayBeEcho;
    return miss;
}

/// Throws the input away and tells the driver that the wait is over.
void Cycle::showNothing(Time now)
{
    discardBefore(now, buffer_.size(), "no usable reply");
    goOn(now, judgeNothing());
}

/// Follows the driver's verdict: another attempt, or the end of the transaction.
void Cycle::goOn(Time now, int status)
{
    if (status == kResultPending)
        head_ = driver_.next();
    if (status != kResultPending || !head_) {
        endTransaction(now, status);
        return;
    }
    lateReplies_.repeat(now);
    waitForSilence(now);
}

void Cycle::endTransaction(Time now, int status)
{
    report_.done = isDone(status);
    report_.status = status;
    report_.endedAt = now;
    report_.echoMissing = attempt_.echoMissing;
    report_.echoHeard = attempt_.echoHeard;
    report_.mayBeEcho = attempt_.mayBeEcho;
    lateReplies_.end(now);
    // The write half is the next transaction.
    freshUntil_ = report_.done && request().isReadHalf ? now + settings_.writeBackWithin : Time::max();
    head_ = nullptr;
    state_ = CycleState::Idle;
    if (observer_)
        observer_->transactionEnded(report_);
}

/// The driver is to fail the transaction, whatever it has left of attempts.
void Cycle::useUpRepeats()
{
    info_.retryCount = std::max(info_.retryLimit, 0);
}

} // namespace plc::runtime
