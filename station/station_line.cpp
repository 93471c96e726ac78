#include "station_line.h"

#include <algorithm>
#include <utility>

namespace plc::station {

namespace {

using namespace std::chrono_literals;

constexpr int kBitsPerCharacter = 11;
constexpr int kFixedTimesAbove = 19200;
constexpr std::chrono::nanoseconds kFastFrameGap = 1750us;
constexpr std::chrono::nanoseconds kLeastSilence = 20ms;
constexpr std::chrono::nanoseconds kOutputGrain = 1ms;

/// 3.5 characters, or the fixed value that replaces them on fast lines (MODBUS over Serial Line
/// V1.02, 2.5.1.1).
std::chrono::nanoseconds frameGap(int baud)
{
    if (baud == 0)
        return std::chrono::nanoseconds(0);
    return baud > kFixedTimesAbove ? kFastFrameGap : characterTime(baud) * 7 / 2;
}

} // namespace

std::chrono::nanoseconds characterTime(int baud)
{
    if (baud == 0)
        return std::chrono::nanoseconds(0);
    return std::chrono::nanoseconds(1s) * kBitsPerCharacter / baud;
}

std::chrono::nanoseconds defaultSilence(int baud)
{
    return std::max(frameGap(baud), kLeastSilence);
}

StationLine::StationLine(const LineSettings &settings, StationBus *bus, FaultPlan *faults, Trace trace)
    : settings_(settings), bus_(bus), relay_(bus), faults_(faults), trace_(std::move(trace)),
      framer_(settings.relay ? relayRequestRule() : modbusRequestRule(settings.requestOrder)),
      character_(characterTime(settings.baud)), random_(settings.seed)
{
    responder_ = bus_;
    if (settings_.relay)
        responder_ = &relay_;
    if (settings_.silence == 0ns)
        settings_.silence = defaultSilence(settings_.baud);
    settings_.answerDelay = std::max(settings_.answerDelay, frameGap(settings_.baud));
    bus_->setMovesByRequest(settings_.tick == 0ns);
}

void StationLine::receive(Time now, ByteView bytes)
{
    statistics_.bytesReceived += bytes.size;
    if (character_ == 0ns) {
        take(now, bytes);
        return;
    }
    for (std::size_t i = 0; i < bytes.size; ++i) {
        lastInput_ = std::max(lastInput_, now) + character_;
        incoming_.push_back({lastInput_, bytes[i]});
    }
}

Bytes StationLine::advance(Time now)
{
    if (settings_.tick > 0ns) {
        if (!nextTick_)
            nextTick_ = now + settings_.tick;
        for (; *nextTick_ <= now; *nextTick_ += settings_.tick)
            bus_->moveAll();
    }
    processInput(now);
    startDue(now);

    Bytes bytes;
    while (!outgoing_.empty() && outgoing_.front().due <= now) {
        bytes.push_back(outgoing_.front().value);
        outgoing_.pop_front();
    }
    if (!bytes.empty())
        lastOutput_ = now;
    statistics_.bytesSent += bytes.size();
    return bytes;
}

std::optional<Time> StationLine::nextEvent() const
{
    std::optional<Time> next = nextInput();
    const auto consider = [&next](Time candidate) { next = next ? std::min(*next, candidate) : candidate; };
    if (!scheduled_.empty())
        consider(scheduled_.begin()->first);
    if (!outgoing_.empty()) {
        const Time whole = std::max(outgoing_.front().due, lastOutput_ + kOutputGrain);
        consider(std::min(outgoing_.back().due, whole));
    }
    if (nextTick_)
        consider(*nextTick_);
    return next;
}

/// The next arriving byte, or the silence after the last one.
std::optional<Time> StationLine::nextInput() const
{
    if (!incoming_.empty())
        return incoming_.front().due;
    if (framer_.isHoldingBytes())
        return silenceFrom_ + settings_.silence;
    return std::nullopt;
}

void StationLine::processInput(Time now)
{
    while (!incoming_.empty() && incoming_.front().due <= now) {
        const TimedByte byte = incoming_.front();
        incoming_.pop_front();
        if (framer_.isHoldingBytes() && byte.due - silenceFrom_ >= settings_.silence)
            endOfFrame(silenceFrom_ + settings_.silence);
        take(byte.due, ByteView(&byte.value, 1));
    }
    if (framer_.isHoldingBytes() && silenceFrom_ + settings_.silence <= now)
        endOfFrame(silenceFrom_ + settings_.silence);
}

void StationLine::take(Time now, ByteView bytes)
{
    silenceFrom_ = now;
    if (!framer_.isHoldingBytes())
        frameFrom_ = now - character_;
    const std::vector<Bytes> frames = framer_.push(bytes);
    countBadFrames(now);
    for (const Bytes &frame : frames)
        handle(now, frame);
}

void StationLine::endOfFrame(Time now)
{
    const std::vector<Bytes> frames = framer_.silence();
    countBadFrames(now);
    for (const Bytes &frame : frames)
        handle(now, frame);
}

void StationLine::handle(Time now, const Bytes &frame)
{
    note(now, Event::Request, frame, "");
    if (settings_.leastPause > 0ns && replyEnd_ != Time::min() &&
        frameFrom_ < replyEnd_ + settings_.leastPause) {
        ++statistics_.silent;
        note(now, Event::Note, {}, "too soon behind the last reply");
        return;
    }
    std::optional<std::uint8_t> refusal;
    if (faults_ != nullptr && responder_->expectsReply(frame))
        refusal = faults_->refusal();
    const Answer answer = refusal ? responder_->refuse(frame, *refusal) : responder_->answer(frame);

    switch (answer.outcome) {
    case Outcome::Answered:
        ++statistics_.answered;
        break;
    case Outcome::Refused:
        ++statistics_.refused;
        break;
    case Outcome::Broadcast:
        ++statistics_.broadcasts;
        return;
    case Outcome::Foreign:
        ++statistics_.foreign;
        note(now, Event::Note, {}, "no such station here");
        return;
    case Outcome::Silent:
        ++statistics_.silent;
        note(now, Event::Note, {}, "the station is silent");
        return;
    case Outcome::Damaged:
        ++statistics_.bad;
        return;
    }
    schedule(now, answer.reply);
}

void StationLine::countBadFrames(Time now)
{
    for (; badSeen_ < framer_.badFrames(); ++badSeen_) {
        ++statistics_.bad;
        responder_->noteBadFrame();
        note(now, Event::Note, {}, "bytes without a good frame");
    }
}

void StationLine::schedule(Time requestEnd, const Bytes &reply)
{
    std::vector<Piece> pieces(1);
    pieces[0].bytes = reply;
    if (faults_ != nullptr)
        pieces = faults_->spoil(reply);
    if (pieces.empty())
        note(requestEnd, Event::Note, {}, "reply dropped");

    Time start = requestEnd + settings_.answerDelay;
    if (settings_.delaySpread > 0ns)
        start += Time(static_cast<std::int64_t>(
            random_() % static_cast<std::uint64_t>(settings_.delaySpread.count() + 1)));
    for (const Piece &piece : pieces) {
        start += piece.quiet;
        scheduled_.emplace(start, piece.bytes);
        start += character_ * static_cast<std::int64_t>(piece.bytes.size());
    }
}

/// Puts on the line what starts by now. Two replies at once follow one another, as on a wire.
void StationLine::startDue(Time now)
{
    while (!scheduled_.empty() && scheduled_.begin()->first <= now) {
        const auto first = scheduled_.begin();
        lineFree_ = std::max(lineFree_, first->first);
        note(lineFree_, Event::Reply, first->second, "");
        for (std::uint8_t value : first->second) {
            lineFree_ += character_;
            outgoing_.push_back({lineFree_, value});
        }
        replyEnd_ = lineFree_;
        scheduled_.erase(first);
    }
}

void StationLine::note(Time now, Event event, const Bytes &bytes, const std::string &text) const
{
    if (trace_)
        trace_(now, event, bytes, text);
}

} // namespace plc::station
