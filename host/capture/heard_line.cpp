#include "host/capture/heard_line.h"

#include <algorithm>
#include <cstdio>

#include "runtime/line/exception_codes.h"

namespace plc::host {

namespace {

std::string inMs(Time time)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.1f ms", 1000 * seconds(time));
    return text;
}

} // namespace

std::string verdictOf(const HeardFrame &frame, const Heard &heard)
{
    const std::string after = heard.replyTime ? " after " + inMs(*heard.replyTime) : std::string();
    switch (heard.kind) {
    case Heard::Kind::Request:
        return frame.role == FrameRole::Either ? "request, or the reply that repeats it" : "request";
    case Heard::Kind::Repeat:
        return "request again, nobody had answered";
    case Heard::Kind::Broadcast:
        return "broadcast, which nobody answers";
    case Heard::Kind::Answer:
        return (frame.exceptionCode != 0 ? "exception " + exceptionLabel(frame.exceptionCode) : "reply") +
               after;
    case Heard::Kind::Unasked:
        return "reply that no request was heard for";
    case Heard::Kind::Damaged:
        return "bad CRC";
    case Heard::Kind::Noise:
        break;
    }
    return "noise";
}

std::optional<double> HeardLine::lineShare() const
{
    if (character_ <= Time::zero() || duration() <= Time::zero())
        return std::nullopt;
    return std::min(seconds(character_) * static_cast<double>(bytes_) / seconds(duration()), 1.0);
}

Heard HeardLine::add(const HeardFrame &frame)
{
    bytes_ += static_cast<std::uint64_t>(frame.bytes.size());
    begin_ = begin_.value_or(beginOf(frame));
    end_ = std::max(end_, frame.end);
    if (frame.kind == PieceKind::Noise) {
        noiseBytes_ += static_cast<std::uint64_t>(frame.bytes.size());
        return Heard();
    }
    if (frame.kind == PieceKind::Damaged)
        return addDamaged(frame);
    ++frames_;
    return frame.isReply() ? addReply(frame) : addRequest(frame);
}

/// The station byte may be what is damaged: so the frame is that of the station that was asked.
Heard HeardLine::addDamaged(const HeardFrame &frame)
{
    Heard heard;
    heard.kind = Heard::Kind::Damaged;
    ++damaged_;
    if (open_ && frame.role != FrameRole::Request) {
        ++stations_[open_->station].damaged;
        answeredAt_ = frame.end;
        open_.reset();
    }
    return heard;
}

Heard HeardLine::addRequest(const HeardFrame &frame)
{
    Heard heard;
    heard.kind = Heard::Kind::Request;
    const Time begin = beginOf(frame);
    if (open_) {
        HeardStation &asked = stations_[open_->station];
        ++asked.unanswered;
        vainWaits_.add(std::max(begin - open_->end, Time::zero()));
        if (open_->bytes == frame.bytes) {
            heard.kind = Heard::Kind::Repeat;
            ++asked.repeats;
        }
    } else if (answeredAt_) {
        pauses_.add(std::max(begin - *answeredAt_, Time::zero()));
    }
    answeredAt_.reset();
    open_.reset();
    if (frame.station == 0) {
        heard.kind = Heard::Kind::Broadcast;
        ++broadcasts_;
        return heard;
    }
    ++stations_[frame.station].requests;
    open_ = frame;
    return heard;
}

Heard HeardLine::addReply(const HeardFrame &frame)
{
    Heard heard;
    HeardStation &station = stations_[frame.station];
    if (!open_ || open_->station != frame.station || open_->function != frame.function) {
        heard.kind = Heard::Kind::Unasked;
        ++station.unasked;
        return heard;
    }
    heard.kind = Heard::Kind::Answer;
    heard.replyTime = std::max(beginOf(frame) - open_->end, Time::zero());
    heard.request = open_->bytes;
    station.replyTimes.add(*heard.replyTime);
    if (frame.exceptionCode != 0) {
        ++station.exceptions;
        ++station.exceptionsByCode[frame.exceptionCode];
    } else {
        ++station.replies;
    }
    answeredAt_ = frame.end;
    open_.reset();
    return heard;
}

} // namespace plc::host
