#include "host/finding/asking.h"

#include <algorithm>

#include "runtime/line/exception_codes.h"
#include "runtime/line/reply_search.h"
#include "runtime/line/rtu_layout.h"

namespace plc::host {

namespace {

/// Converters hand a frame over in pieces that are up to this far apart.
constexpr Time kDeliverySlack = std::chrono::milliseconds(20);
/// How long a line that never falls silent is waited for.
constexpr Time kLongestNoise = std::chrono::seconds(2);

int byteAt(const QByteArray &bytes, int at)
{
    return static_cast<unsigned char>(bytes.at(at));
}

/// A reply of this request may be the same bytes, as that of a write is.
bool mayRepeatAll(const QByteArray &request)
{
    return runtime::repeatedBytesOf(request) >= request.size() - kCrcLen;
}

runtime::ReplyShape shapeOf(const QByteArray &request)
{
    runtime::ReplyShape shape = runtime::modbusReplyShape(request, false, true);
    if (shape.length == 0 && request.size() >= kShortestFrame) {
        shape.station = byteAt(request, 0);
        shape.function = byteAt(request, 1);
        shape.length = runtime::replyLengthTo(request);
    }
    return shape;
}

} // namespace

QByteArray withCrc(QByteArray bytes, bool highFirst)
{
    const std::uint16_t crc = crcOf(bytes.constData(), bytes.size());
    const char low = static_cast<char>(crc & 0xFFu);
    const char high = static_cast<char>(crc >> 8);
    bytes.append(highFirst ? high : low);
    bytes.append(highFirst ? low : high);
    return bytes;
}

std::string describe(const Answer &answer)
{
    if (answer.kind == AnswerKind::Reply)
        return "answered";
    if (answer.kind == AnswerKind::Exception)
        return "exception " + exceptionLabel(answer.exceptionCode);
    return describe(answer.miss);
}

void Asking::begin(const Question &question, Time now)
{
    question_ = question;
    answer_ = Answer();
    heard_.clear();
    beganAt_ = now;
    // What was on the line before it was opened is not known.
    if (!isKnown_)
        lastAt_ = now;
    isKnown_ = true;
    phase_ = Phase::Silence;
}

Asking::Step Asking::step(Time now)
{
    switch (phase_) {
    case Phase::Silence:
        if (now < lastAt_ + silence()) {
            if (now < beganAt_ + kLongestNoise + silence())
                return listen(lastAt_ + silence());
            answer_.miss.kind = Miss::Kind::LineBusy;
            end(AnswerKind::LineBusy);
            return {};
        }
        return {Step::Kind::Send, question_.frame, {}};
    case Phase::Waiting: {
        const QByteArray rest = withoutEcho();
        const Time quiet = lastAt_ + std::max(settings_.timing.silence(), kDeliverySlack);
        const bool isOurs = rest.size() >= 2 && byteAt(rest, 0) == station() &&
                            (byteAt(rest, 1) & ~kExceptionBit) == function();
        // What is like an answer is given up when the line has fallen silent behind it; anything else may
        // have an answer behind it up to the deadline.
        const Time last = deadline_ + settings_.timing.wire(kLongestFrame);
        Time until = deadline_;
        if (!rest.isEmpty())
            until = isOurs && !question_.takesAnything ? std::min(quiet, last)
                                                       : std::min(std::max(quiet, deadline_), last);
        if (now < until)
            return listen(until);
        if (takeAnswer(true))
            return {};
        if (rest.isEmpty() && guard() > Time::zero() && !question_.takesAnything) {
            phase_ = Phase::Guard;
            return listen(deadline_ + guard());
        }
        endAttempt(now);
        return step(now);
    }
    case Phase::Guard: {
        const Time quiet = withoutEcho().isEmpty()
                               ? Time::zero()
                               : lastAt_ + std::max(settings_.timing.silence(), kDeliverySlack);
        const Time until = std::min(std::max(deadline_ + guard(), quiet),
                                    deadline_ + guard() + settings_.timing.wire(kLongestFrame));
        if (now < until)
            return listen(until);
        if (takeAnswer(true))
            return {};
        endAttempt(now);
        return step(now);
    }
    case Phase::Over:
        break;
    }
    return {};
}

void Asking::sent(Time from, Time now)
{
    ++requests_;
    ++answer_.attempts;
    heard_.clear();
    requestEnd_ = std::max(from + settings_.character * question_.frame.size(), now);
    lastAt_ = requestEnd_;
    deadline_ = requestEnd_ + timeout();
    phase_ = Phase::Waiting;
}

void Asking::heard(const QByteArray &bytes, Time now)
{
    if (bytes.isEmpty())
        return;
    lastAt_ = std::max(lastAt_, now);
    if (phase_ != Phase::Waiting && phase_ != Phase::Guard)
        return;
    const bool wasEmpty = withoutEcho().isEmpty();
    heard_ += bytes;
    const QByteArray rest = withoutEcho();
    if (wasEmpty && !rest.isEmpty())
        firstAt_ = now - settings_.character * std::min(rest.size(), bytes.size());
    if (heard_.size() > 4 * runtime::kLongestFrame)
        heard_ = heard_.right(2 * runtime::kLongestFrame);
    takeAnswer(false);
}

/// What came, but for the request itself. While an echo is under way nothing has come.
QByteArray Asking::withoutEcho() const
{
    const QByteArray &request = question_.frame;
    const bool mayBeEcho = settings_.echo || (!mayRepeatAll(request) && !question_.takesAnything);
    if (!mayBeEcho)
        return heard_;
    if (heard_.size() < request.size())
        return request.startsWith(heard_) && settings_.echo ? QByteArray() : heard_;
    return heard_.startsWith(request) ? heard_.mid(request.size()) : heard_;
}

bool Asking::takeAnswer(bool isFinal)
{
    const QByteArray rest = withoutEcho();
    if (rest.size() < heard_.size())
        settings_.echo = true;
    if (question_.takesAnything) {
        if (!isFinal || rest.isEmpty())
            return false;
        const bool isFrame = rest.size() >= kShortestFrame;
        answer_.crcHighFirst = isFrame && !crcFits(rest.constData(), rest.size(), false) &&
                               crcFits(rest.constData(), rest.size(), true);
        const bool isException = rest.size() == kExceptionLen && (byteAt(rest, 1) & kExceptionBit) != 0;
        answer_.exceptionCode = isException ? byteAt(rest, 2) : 0;
        return take(rest, isException ? AnswerKind::Exception : AnswerKind::Reply);
    }
    for (int at = 0; at + kShortestFrame <= rest.size(); ++at) {
        if (takeAt(rest, at, isFinal))
            return true;
    }
    return false;
}

bool Asking::takeAt(const QByteArray &bytes, int at, bool isFinal)
{
    const auto *const from = reinterpret_cast<const unsigned char *>(bytes.constData()) + at;
    const int available = bytes.size() - at;
    if (from[0] != station() || (from[1] & ~kExceptionBit) != function())
        return false;
    const auto fits = [&](int length) {
        if (length < kShortestFrame || length > available)
            return false;
        const char *const frame = bytes.constData() + at;
        answer_.crcHighFirst = !crcFits(frame, length, false);
        return !answer_.crcHighFirst || crcFits(frame, length, true);
    };
    if ((from[1] & kExceptionBit) != 0) {
        if (!fits(kExceptionLen))
            return false;
        answer_.exceptionCode = from[2];
        return take(bytes.mid(at, kExceptionLen), AnswerKind::Exception);
    }
    int length = runtime::replyLengthTo(question_.frame);
    if (length > 0) {
        const bool isRead = runtime::isReadFunction(function());
        const int repeated = runtime::repeatedBytesOf(question_.frame);
        if (!fits(length) || (isRead && from[2] != length - runtime::countedReplyLength(0)) ||
            bytes.mid(at, repeated) != question_.frame.left(repeated))
            return false;
        const QByteArray frame = bytes.mid(at, length);
        return (!isRead || frame != question_.frame) && take(frame, AnswerKind::Reply);
    }
    const runtime::ContentLength told = runtime::replyLengthAt(from, available);
    if (told.kind == runtime::ContentLength::Kind::Known)
        length = told.bytes;
    else if (isFinal)
        length = available;
    return fits(length) && take(bytes.mid(at, length), AnswerKind::Reply);
}

bool Asking::take(const QByteArray &frame, AnswerKind kind)
{
    answer_.frame = frame;
    answer_.replyTime = std::max(firstAt_ - requestEnd_, Time::zero());
    end(kind);
    return true;
}

void Asking::endAttempt(Time now)
{
    answer_.miss = missed();
    const bool isSomething = !withoutEcho().isEmpty();
    if (answer_.attempts <= question_.retries) {
        beganAt_ = now;
        phase_ = Phase::Silence;
        return;
    }
    end(isSomething ? AnswerKind::Unusable : AnswerKind::Nothing);
}

Miss Asking::missed() const
{
    return runtime::missOf(heard_, shapeOf(question_.frame), question_.frame);
}

void Asking::end(AnswerKind kind)
{
    answer_.kind = kind;
    phase_ = Phase::Over;
}

} // namespace plc::host
