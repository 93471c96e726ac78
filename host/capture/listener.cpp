#include "host/capture/listener.h"

#include <algorithm>

namespace plc::host {

namespace {

SplitterSettings settingsFor(int baud, bool hasRate)
{
    SplitterSettings settings =
        SplitterSettings::forLine(LineTiming(baud), Listener::kDeliverySlack, Listener::kLongestReply);
    if (!hasRate)
        settings.character = Time::zero();
    return settings;
}

} // namespace

Listener::Listener(int baud, bool hasRate)
    : character_(hasRate ? LineTiming(baud).character() : Time::zero()),
      silence_(settingsFor(baud, hasRate).silence), splitter_(settingsFor(baud, hasRate))
{}

std::vector<HeardFrame> Listener::take(const QByteArray &bytes, Time now)
{
    if (bytes.isEmpty())
        return splitter_.held() > 0 && now >= wakeAt() ? finish() : std::vector<HeardFrame>();
    received_ += static_cast<std::uint64_t>(bytes.size());
    chunks_.push_back({received_, bytes.size(), now});
    longestChunk_ = std::max(longestChunk_, bytes.size());
    lastAt_ = now;
    return framesOf(splitter_.push(bytes, now));
}

Time Listener::wakeAt() const
{
    return splitter_.held() > 0 ? lastAt_ + silence_ : Time::max();
}

std::vector<HeardFrame> Listener::finish()
{
    return framesOf(splitter_.finish());
}

std::vector<HeardFrame> Listener::sent(const QByteArray &frame, Time begin)
{
    std::vector<HeardFrame> frames = finish();
    const Time end = begin + character_ * frame.size();
    received_ += static_cast<std::uint64_t>(frame.size());
    splitter_.markGap();
    std::vector<Piece> pieces = splitter_.push(frame, end);
    for (const Piece &piece : splitter_.finish())
        pieces.push_back(piece);
    chunks_.clear();
    HeardFrame own;
    const bool isOneFrame = pieces.size() == 1 && pieces.front().kind != PieceKind::Noise;
    own.kind = isOneFrame ? pieces.front().kind : PieceKind::Damaged;
    own.role = FrameRole::Request;
    own.bytes = frame;
    own.station = frame.isEmpty() ? -1 : static_cast<unsigned char>(frame.at(0));
    own.function = frame.size() < 2 ? -1 : static_cast<unsigned char>(frame.at(1));
    own.end = end;
    frames.push_back(own);
    return frames;
}

/// A byte of a chunk ended so many characters before the chunk came as bytes stand behind it.
std::vector<HeardFrame> Listener::framesOf(const std::vector<Piece> &pieces)
{
    std::vector<HeardFrame> frames;
    for (const Piece &piece : pieces) {
        const std::uint64_t end = piece.at + static_cast<std::uint64_t>(piece.bytes.size());
        while (chunks_.size() > 1 && chunks_.front().end < end)
            chunks_.pop_front();
        HeardFrame frame;
        frame.kind = piece.kind;
        frame.role = piece.role;
        frame.bytes = piece.bytes;
        frame.station = piece.station;
        frame.function = piece.function;
        frame.exceptionCode = piece.exceptionCode;
        frame.end = piece.until;
        if (!chunks_.empty() && chunks_.front().end >= end)
            frame.end -= character_ * static_cast<std::int64_t>(chunks_.front().end - end);
        frame.uncertain = character_ * (longestChunk_ - 1);
        frames.push_back(frame);
    }
    return frames;
}

} // namespace plc::host
