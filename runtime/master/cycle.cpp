#include "runtime/master/cycle.h"

#include <algorithm>

#include "core/register_types.h"
#include "core/result_codes.h"
#include "runtime/line/exception_codes.h"
#include "runtime/master/link_settings.h"
#include "runtime/master/request_ids.h"

namespace plc::runtime {

namespace {

// The longest frame has 256 bytes (MODBUS over Serial Line V1.02, 2.5.1.1); the rest is room for noise around
// it.
constexpr int kBufferLimit = 1024;
constexpr int kBufferKept = 512;

constexpr int kWithheldAtOnce = 16;

int byteAt(const QByteArray &bytes, int at)
{
    return at < bytes.size() ? static_cast<unsigned char>(bytes.at(at)) : 0;
}

bool isRelay(const COM_INFO &info)
{
    return info.linkMode != 0;
}

Request describe(const Protocol &head, bool relay)
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

/// The driver was told that stations do not answer writes of this type.
bool isSilencedByOption(const COM_INFO &info, int regType)
{
    return (regType == kHoldingSingle && hasOption(info.options, kOptionNoReplyToSingle)) ||
           (regType == kHoldingBlock && hasOption(info.options, kOptionNoReplyToBlock));
}

/// The end that tells more about what is wrong.
AttemptEnd moreTelling(AttemptEnd a, AttemptEnd b)
{
    for (const AttemptEnd end : {AttemptEnd::Exception, AttemptEnd::Unusable, AttemptEnd::LineBusy}) {
        if (a == end || b == end)
            return end;
    }
    return AttemptEnd::NoReply;
}

/// The same request is not to be sent again at once: function, address or value is not to the station's liking, it
/// has begun the write already, or it is busy and the request comes again by itself.
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

} // namespace

Cycle::Cycle(CycleDriver &driver, COM_INFO &info, const CycleSettings &settings, CycleObserver *observer)
    : driver_(driver), info_(info), settings_(settings), observer_(observer)
{}

Instruction Cycle::advance(Time now, const QByteArray &arrived)
{
    if (!started_) {
        // A frame may be on its way already when the port is opened (2.5.1.1, figure 14).
        started_ = true;
        lastActivity_ = now;
    }
    if (!arrived.isEmpty())
        take(now, arrived);
    // A driver that offers only what is withheld must not keep this loop from the line.
    for (int withheld = 0;;) {
        switch (state_) {
        case CycleState::Idle:
            if (withheld == kWithheldAtOnce || !fetch(now))
                return {QByteArray(), now + settings_.idlePause};
            withheld += state_ == CycleState::Idle ? 1 : 0;
            break;
        case CycleState::WaitingSilence: {
            const Time due = silenceDue();
            if (now >= due && now <= freshUntil_) {
                if (driver_.permit(request_, true) != Permit::Withhold)
                    return transmit(now);
                withhold(now);
                ++withheld;
                break;
            }
            const Time limit = std::min(busyLimit(), freshUntil_);
            if (now < limit)
                return {QByteArray(), std::min(due, limit)};
            if (now >= freshUntil_)
                giveUpStale(now);
            else
                giveUpLine(now);
            break;
        }
        case CycleState::WaitingReply:
        case CycleState::WaitingTurnaround:
        case CycleState::ListeningOut:
            if (now < waitEnd())
                return {QByteArray(), waitEnd()};
            expire(now);
            break;
        }
    }
}

void Cycle::transmitted(Time now)
{
    if (state_ != CycleState::WaitingReply && state_ != CycleState::WaitingTurnaround &&
        state_ != CycleState::ListeningOut)
        return;
    if (now <= lastActivity_)
        return;
    deadline_ += now - lastActivity_;
    lastActivity_ = now;
    sentUntil_ = now;
}

/// Behind a damaged reply nothing else is due. Where an earlier attempt is unanswered it may have been that one's,
/// and the wait goes on (see examine()).
Time Cycle::waitEnd() const
{
    return damaged_ ? std::min(silentBehindDamage(), extendedDeadline()) : deadline_;
}

/// When it is plain that nothing follows what was received last.
Time Cycle::silentBehindDamage() const
{
    return lastActivity_ + settings_.timing.silence() + settings_.deliverySlack;
}

/// A reply that has begun gets the time that it needs, once; whatever else comes in moves nothing.
Time Cycle::extendedDeadline() const
{
    return extended_ ? deadline_ : deadline_ + settings_.timing.wire(shape_.length) + settings_.deliverySlack;
}

Time Cycle::silenceDue() const
{
    return std::max(lastActivity_ + settings_.timing.silence(), holdUntil_);
}

/// How long to wait for a silent line. Where no reply is due, the driver would take the end of the first wait
/// for the end of the request: then there is one wait, as long as all attempts together.
Time Cycle::busyLimit() const
{
    const int waits = replyIsDue() ? 1 : 1 + std::max(info_.retryLimit, 0);
    return std::max(waitingSince_, holdUntil_) + waits * settings_.responseTimeout;
}

/// What was to be written back has become too old: the transaction ends, whatever the driver has left of attempts.
void Cycle::giveUpStale(Time now)
{
    info_.retryCount = std::max(info_.retryLimit, 0);
    if (report_.attempts == 0)
        giveUpLine(now);
    else
        giveUpAttempt(now);
}

/// The line has not fallen silent in time: an attempt is spent without having been sent.
void Cycle::giveUpLine(Time now)
{
    count([](Counters &c) { ++c.lineBusy; });
    report_.cause = moreTelling(report_.cause, AttemptEnd::LineBusy);
    if (observer_)
        observer_->attemptEnded(now, AttemptEnd::LineBusy, 0);
    giveUpAttempt(now);
}

/// What happens outside an exchange is the line's, not a station's.
template <typename Change>
void Cycle::count(Change change)
{
    change(statistics_.total);
    if (head_)
        change(statistics_.stations[request_.station]);
}

/// Gets the next transaction, if there is one.
bool Cycle::fetch(Time now)
{
    head_ = driver_.next();
    if (!head_)
        return false;
    request_ = describe(*head_, isRelay(info_));
    report_ = StepReport();
    report_.request = request_;
    report_.cause = AttemptEnd::NoReply;
    report_.startedAt = now;
    // A request that was not answered may be repeated at once: a late answer to it is one to this as well.
    // Not where the value is written back: the late answer may have an old one.
    answerIsOpen_ = now < openUntil_ && openFrame_ == request_.frame && !request_.isReadHalf;
    const Permit permit = driver_.permit(request_, false);
    if (permit == Permit::Withhold) {
        withhold(now);
        return true;
    }
    info_.retryCount = permit == Permit::Send ? 0 : std::max(info_.retryLimit, 0);
    if (!answerIsOpen_) {
        holdUntil_ = std::max(holdUntil_, openUntil_);
        echoesDue_ = 0;
    }
    waitingSince_ = now;
    state_ = CycleState::WaitingSilence;
    return true;
}

/// Has the driver end the transaction without another attempt.
void Cycle::withhold(Time now)
{
    info_.retryCount = std::max(info_.retryLimit, 0);
    report_.cause = AttemptEnd::Withheld;
    if (observer_)
        observer_->attemptEnded(now, AttemptEnd::Withheld, 0);
    QByteArray nothing;
    settle(now, driver_.judge(&nothing, 0));
}

bool Cycle::replyIsDue() const
{
    if (isRelay(info_))
        return head_->replyLen != 0;
    return head_->replyLen > 0 ||
           (head_->replyLen == kReplyOpen && !isSilencedByOption(info_, request_.regType));
}

Instruction Cycle::transmit(Time now)
{
    const bool relay = isRelay(info_);
    shape_ = relay ? relayReplyShape(request_.frame, head_->replyLen,
                                     hasOption(info_.options, kOptionSwapReplyCrc),
                                     settings_.policies.strictWrites)
                   : modbusReplyShape(request_.frame, hasOption(info_.options, kOptionSwapReplyCrc),
                                      settings_.policies.strictWrites);
    if (settings_.policies.discardInput)
        dropBefore(now, buffer_.size(), "outside an exchange");
    heard_ = false;
    answered_ = false;
    refused_ = false;
    damaged_ = false;
    extended_ = false;
    echoIsOff_ = false;
    isFirstByte_ = true;
    echoesDue_ += settings_.removeEcho ? 1 : 0;
    // Where echoes are taken off, what is like the request is told from them by their number.
    if (settings_.removeEcho)
        shape_.request.clear();
    if (report_.attempts == 0)
        report_.startedAt = now;
    ++report_.attempts;
    report_.echoMissing = false;
    report_.echoHeard = false;
    report_.mayBeEcho = false;

    // No station answers address 0, whatever the driver expects: with the station override in force it may
    // well expect a reply.
    const bool broadcast = relay ? head_->replyLen == 0 : request_.station == 0;
    state_ = broadcast      ? CycleState::WaitingTurnaround
             : replyIsDue() ? CycleState::WaitingReply
                            : CycleState::ListeningOut;
    // The clock of the wait starts when the last stop bit has left, which can be long after the bytes were
    // handed over.
    lastActivity_ = now + settings_.timing.wire(request_.frame.size());
    sentUntil_ = lastActivity_;
    // Who is said not to answer may do so all the same, but nobody waits a time-out for that.
    const bool isSilenced = state_ == CycleState::ListeningOut && isSilencedByOption(info_, request_.regType);
    deadline_ = lastActivity_ + (broadcast || isSilenced ? settings_.turnaround : settings_.responseTimeout);

    const bool repeated = report_.attempts > 1;
    const auto bytes = static_cast<std::uint64_t>(request_.frame.size());
    count([repeated, bytes](Counters &c) {
        ++c.requests;
        c.retries += repeated ? 1 : 0;
        c.bytesOut += bytes;
    });
    if (observer_)
        observer_->sent(now, request_.frame, report_.attempts);
    return {request_.frame, deadline_};
}

void Cycle::take(Time now, const QByteArray &arrived)
{
    const auto bytes = static_cast<std::uint64_t>(arrived.size());
    count([bytes](Counters &c) { c.bytesIn += bytes; });
    if (observer_)
        observer_->received(now, arrived);
    lastActivity_ = std::max(lastActivity_, now);
    buffer_.append(arrived);
    if (buffer_.size() > kBufferLimit)
        dropBefore(now, buffer_.size() - kBufferKept, "too much for one reply");
    if (isListening()) {
        // The echo begins while the request is sent: what begins so much later is none.
        if (isFirstByte_ && now > sentUntil_ + settings_.deliverySlack)
            shape_.request.clear();
        isFirstByte_ = false;
        if (!settings_.policies.absoluteDeadline)
            deadline_ = std::max(deadline_, now + settings_.responseTimeout);
        examine(now, false);
        return;
    }
    if (echoesDue_ > 0 && head_ && !stripEchoes(now))
        return;
    if (settings_.policies.discardInput)
        dropBefore(now, buffer_.size(), "outside an exchange");
}

bool Cycle::isListening() const
{
    return state_ == CycleState::WaitingReply || state_ == CycleState::ListeningOut;
}

/// Takes the echoes that are due off the received bytes, as far as they have come.
/// @return false while none has come since the last transmission.
bool Cycle::stripEchoes(Time now)
{
    if (!settings_.removeEcho)
        return true;
    for (;;) {
        const int at = echoesDue_ > 0 ? buffer_.indexOf(request_.frame) : -1;
        // Behind the first one the bytes of a request may also stand inside a reply.
        if (at < 0 || (echoIsOff_ && at > 0))
            return echoIsOff_;
        // What came before the request was heard cannot be its answer.
        dropBefore(now, at, "in front of the echo");
        buffer_.remove(0, request_.frame.size());
        --echoesDue_;
        echoIsOff_ = true;
        heard_ = false; // so far nothing but the echo
    }
}

/// Takes a reply that is like the request for an echo as long as one is due, wherever noise stands around it.
bool Cycle::takeForEcho(Time now, const Sighting &sighting)
{
    if (echoesDue_ == 0 || buffer_.mid(sighting.at, sighting.length) != request_.frame)
        return false;
    --echoesDue_;
    dropBefore(now, sighting.at, "in front of the echo");
    buffer_.remove(0, sighting.length);
    return true;
}

bool Cycle::isEchoMissing() const
{
    return settings_.removeEcho && !echoIsOff_;
}

void Cycle::dropBefore(Time now, int bytes, const char *why)
{
    if (bytes <= 0)
        return;
    buffer_.remove(0, bytes);
    const auto number = static_cast<std::uint64_t>(bytes);
    count([number](Counters &c) { c.foreignBytes += number; });
    if (observer_)
        observer_->discarded(now, bytes, why);
}

/// Looks for the reply, and acts on what is found.
void Cycle::examine(Time now, bool waitIsOver)
{
    // Without the echo gone nothing may pass: the echo of a single write is byte for byte its own good reply.
    damaged_ = false;
    if (!stripEchoes(now)) {
        heard_ = true;
        return;
    }
    heard_ = heard_ || !buffer_.isEmpty();
    report_.echoHeard = report_.echoHeard || (!settings_.removeEcho && buffer_.contains(request_.frame));
    const bool unchecked = !settings_.policies.checkReplies && state_ == CycleState::WaitingReply &&
                           head_->replyLen == kReplyOpen && !request_.isReadHalf;
    for (;;) {
        const Sighting sighting = findReply(buffer_, shape_, waitIsOver);
        if (unchecked && sighting.found != Found::Exception) {
            showAll(now);
            return;
        }
        switch (sighting.found) {
        case Found::WrongReply:
            count([](Counters &c) { ++c.ignoredReplies; });
            report_.mayBeEcho = report_.mayBeEcho || sighting.isLikeRequest;
            dropBefore(now, sighting.at + sighting.length,
                       sighting.isLikeRequest ? "the request itself, or a reply like it"
                                              : "a reply to something else");
            continue;
        case Found::Exception:
            if (sighting.at > 0)
                dropBefore(now, sighting.at, "in front of the reply");
            buffer_.remove(0, sighting.length);
            dropBefore(now, buffer_.size(), "behind the reply");
            lastActivity_ = now;
            noteRefusal(sighting);
            if (!settings_.policies.endOnException)
                return;
            if (state_ == CycleState::WaitingReply)
                loseAttempt(now, AttemptEnd::Exception, sighting.exceptionCode);
            else
                deadline_ = now;
            return;
        case Found::Reply:
            if (takeForEcho(now, sighting))
                continue;
            if (state_ == CycleState::ListeningOut) {
                buffer_.remove(sighting.at, sighting.length);
                lastActivity_ = now;
                extended_ = true;
                deadline_ = now;
                return;
            }
            if (offerReply(now, sighting))
                return;
            dropBefore(now, sighting.at + sighting.length, "not accepted by the driver");
            continue;
        case Found::Beginning:
        case Found::Nothing:
            damaged_ = settings_.policies.endOnDamage && state_ == CycleState::WaitingReply &&
                       !answerIsOpen_ && endWithDamagedReply(buffer_, shape_);
            return;
        }
    }
}

void Cycle::noteRefusal(const Sighting &sighting)
{
    constexpr int kExceptionFlag = 0x80;
    report_.exceptionCode = sighting.exceptionCode;
    report_.refusedFunction = sighting.function & ~kExceptionFlag;
    refused_ = true;
    if (!settings_.policies.endOnException)
        return;
    // Whatever the driver has left of attempts, it is not to spend them on this.
    if (isFinal(sighting.exceptionCode, request_))
        info_.retryCount = std::max(info_.retryCount, info_.retryLimit);
}

/// Shows the driver whatever has come.
void Cycle::showAll(Time now)
{
    Sighting everything;
    everything.length = buffer_.size();
    if (!buffer_.isEmpty())
        offerReply(now, everything);
}

/// Shows a reply to the driver.
/// @return false when the driver does not see one there.
bool Cycle::offerReply(Time now, const Sighting &sighting)
{
    const int received = buffer_.size();
    int status = kResultPending;
    // Where the length is known each call counts, so that exactly the reply must be handed in. And a register that
    // was not read whole must never be written back: the driver gets no other bytes to choose from.
    if (head_->replyLen != kReplyOpen || request_.isReadHalf)
        buffer_ = buffer_.mid(sighting.at, sighting.length);
    if (head_->replyLen == kReplyOpen) {
        // The first call finds the reply and cuts the buffer down to it, the second one judges it.
        if (driver_.judge(&buffer_, buffer_.size()) == kResultPending)
            return false;
        status = driver_.judge(&buffer_, buffer_.size());
    } else {
        status = driver_.judge(&buffer_, buffer_.size());
    }
    // What came back proves that the request had left, however slow the line is by its name.
    lastActivity_ = now;
    const auto foreign = static_cast<std::uint64_t>(received - sighting.length);
    if (foreign > 0) {
        count([foreign](Counters &c) { c.foreignBytes += foreign; });
        if (observer_)
            observer_->discarded(now, received - sighting.length, "around the reply");
    }
    buffer_.clear();
    endAttempt(now, isDone(status) ? AttemptEnd::Good : AttemptEnd::Unusable, 0);
    settle(now, status);
    return true;
}

/// The present wait is over.
void Cycle::expire(Time now)
{
    if (state_ == CycleState::WaitingTurnaround) {
        if (head_->replyLen == 0)
            finishUnanswered(now);
        else
            loseAttempt(now, AttemptEnd::NoReply, 0);
        return;
    }
    damaged_ = damaged_ && now >= silentBehindDamage();
    if (!extended_ && !refused_ && !damaged_ && !buffer_.isEmpty()) {
        deadline_ = extendedDeadline();
        extended_ = true;
        if (now < deadline_)
            return;
    }
    if (state_ == CycleState::ListeningOut) {
        finishUnanswered(now);
        return;
    }
    examine(now, true);
    if (state_ != CycleState::WaitingReply)
        return;
    report_.echoMissing = isEchoMissing() && heard_;
    if (refused_)
        loseAttempt(now, AttemptEnd::Exception, report_.exceptionCode);
    else
        loseAttempt(now, heard_ ? AttemptEnd::Unusable : AttemptEnd::NoReply, 0);
}

/// Ends an attempt whose answer nobody waits for.
void Cycle::finishUnanswered(Time now)
{
    // Who does not hear himself has perhaps not been heard by anybody.
    report_.echoMissing = isEchoMissing();
    dropBefore(now, buffer_.size(), "an answer that nobody waits for");
    QByteArray nothing;
    const int status = driver_.judge(&nothing, 0);
    if (refused_)
        endAttempt(now, AttemptEnd::Exception, report_.exceptionCode);
    else if (report_.echoMissing)
        endAttempt(now, AttemptEnd::Unusable, 0);
    else
        endAttempt(now, isDone(status) ? AttemptEnd::NoReplyDue : AttemptEnd::NoReply, 0);
    settle(now, status);
}

/// The attempt has brought nothing that the driver could use.
void Cycle::loseAttempt(Time now, AttemptEnd end, int exceptionCode)
{
    endAttempt(now, end, exceptionCode);
    giveUpAttempt(now);
    const bool isRepeated = state_ == CycleState::WaitingSilence;
    if (isRepeated && end == AttemptEnd::Exception && exceptionCode == kExceptionBusy)
        holdUntil_ = std::max(holdUntil_, now + settings_.turnaround);
}

/// Throws the input away and spends the attempt: an empty buffer tells the driver that the wait is over.
void Cycle::giveUpAttempt(Time now)
{
    dropBefore(now, buffer_.size(), "no usable reply");
    QByteArray nothing;
    settle(now, driver_.judge(&nothing, 0));
}

/// Counts the end of an attempt.
void Cycle::endAttempt(Time now, AttemptEnd end, int exceptionCode)
{
    count([end](Counters &c) {
        switch (end) {
        case AttemptEnd::Good:
            ++c.good;
            break;
        case AttemptEnd::NoReplyDue:
            ++c.unanswered;
            break;
        case AttemptEnd::Exception:
            ++c.exceptions;
            break;
        case AttemptEnd::Unusable:
            ++c.bad;
            break;
        case AttemptEnd::NoReply:
            ++c.timeouts;
            break;
        case AttemptEnd::LineBusy: // counted where it happens: nothing was sent
        case AttemptEnd::Withheld:
            break;
        }
    });
    answered_ = end == AttemptEnd::Good || end == AttemptEnd::Exception;
    // What came may have been the answer to an earlier transmission, and its own is still under way.
    if (answered_ && answerIsOpen_ && settings_.lateReplyGuard > Time::zero())
        holdUntil_ = std::max(holdUntil_, sentUntil_ + settings_.responseTimeout);
    const bool unanswered = end == AttemptEnd::NoReply || (end == AttemptEnd::Unusable && !damaged_);
    answerIsOpen_ = answerIsOpen_ || unanswered;
    const bool fine = end == AttemptEnd::Good || end == AttemptEnd::NoReplyDue;
    report_.cause = fine ? end : moreTelling(report_.cause, end);
    if (observer_)
        observer_->attemptEnded(now, end, exceptionCode);
}

/// Until when an answer to the last transmission may come, or to one before.
Time Cycle::lateAnswersUntil(Time now) const
{
    return std::max(now, sentUntil_ + settings_.responseTimeout) + settings_.lateReplyGuard;
}

/// Holds the repetition of the same request back until no answer to an earlier transmission comes any more.
void Cycle::listenForLateAnswers(Time now)
{
    if (!answerIsOpen_ || settings_.lateReplyGuard <= Time::zero())
        return;
    holdUntil_ = std::max(holdUntil_, lateAnswersUntil(now));
    answerIsOpen_ = false;
    echoesDue_ = 0;
}

/// Draws the consequence of the driver's verdict: another attempt, or the end of the step.
void Cycle::settle(Time now, int status)
{
    waitingSince_ = now;
    if (status == kResultPending) {
        head_ = driver_.next();
        if (head_) {
            state_ = CycleState::WaitingSilence;
            if (request_.isReadHalf)
                listenForLateAnswers(now);
            return;
        }
    }
    report_.done = isDone(status);
    report_.status = status;
    report_.endedAt = now;
    if (answerIsOpen_ && report_.attempts > 0 && settings_.lateReplyGuard > Time::zero()) {
        // The last attempt has its whole wait before it. Only a request that was not answered at all is repeated
        // without the guard: after an answer, one more to the same bytes would put each into the exchange behind
        // its own.
        openFrame_ = answered_ ? QByteArray() : request_.frame;
        openUntil_ = lateAnswersUntil(now);
    }
    // The write half is the next transaction.
    freshUntil_ = report_.done && request_.isReadHalf ? now + settings_.writeBackWithin : Time::max();
    head_ = nullptr;
    state_ = CycleState::Idle;
    if (observer_)
        observer_->stepEnded(report_);
}

} // namespace plc::runtime
