/// @file
/// Statistics of a line that is listened to: what each station was asked and what it answered.
#ifndef PLC_CAPTURE_HEARD_LINE_H
#define PLC_CAPTURE_HEARD_LINE_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "host/capture/heard_frame.h"
#include "host/runtime_names.h"
#include "runtime/line/histogram.h"

namespace plc::host {

/// What a frame is beside those before it.
struct Heard
{
    enum class Kind
    {
        Request,
        Repeat,    ///< the last request once more, which nobody had answered
        Broadcast, ///< a request that nobody answers
        Answer,    ///< to the last request: a reply or an exception
        Unasked,   ///< a reply that no request was heard for
        Damaged,
        Noise
    };
    Kind kind = Kind::Noise;
    std::optional<Time> replyTime; ///< of an answer: from the end of the request to its own beginning
    QByteArray request;            ///< of an answer: what it answers
};

/// "request", "reply after 12.3 ms": what a person should know of the frame besides its bytes.
std::string verdictOf(const HeardFrame &frame, const Heard &heard);

struct HeardStation
{
    std::uint64_t requests = 0;   ///< to it, repeats included
    std::uint64_t repeats = 0;    ///< the same request once more, which had no answer
    std::uint64_t replies = 0;    ///< normal ones that were asked for
    std::uint64_t exceptions = 0; ///< all that were asked for
    std::uint64_t damaged = 0;    ///< answers with a bad CRC
    std::uint64_t unanswered = 0; ///< requests behind which the next request came
    std::uint64_t unasked = 0;    ///< replies that no request was heard for
    std::map<int, std::uint64_t> exceptionsByCode;
    Histogram replyTimes; ///< of replies and exceptions, from the end of the request to their beginning
};

/// Takes frames in the order of the line. Knows no clock.
class HeardLine
{
public:
    /// @param character  time of one on the wire; 0 where the line has no rate.
    explicit HeardLine(Time character) : character_(character) {}

    Heard add(const HeardFrame &frame);

    /// By number.
    const std::map<int, HeardStation> &stations() const { return stations_; }
    std::uint64_t frames() const { return frames_; } ///< good ones
    std::uint64_t broadcasts() const { return broadcasts_; }
    std::uint64_t damaged() const { return damaged_; } ///< frames with a bad CRC
    std::uint64_t noiseBytes() const { return noiseBytes_; }
    std::uint64_t bytes() const { return bytes_; }
    /// From the end of an answer to the next request.
    const Histogram &pauses() const { return pauses_; }
    /// From the end of a request that nobody answered to the next one: how long the master waits.
    const Histogram &vainWaits() const { return vainWaits_; }
    /// From the beginning of the first frame or noise to the end of the last.
    Time duration() const { return end_ - begin_.value_or(end_); }
    /// Share of this duration in which characters were on the line; nothing where the line has no rate.
    std::optional<double> lineShare() const;

private:
    Time beginOf(const HeardFrame &frame) const { return frame.end - character_ * frame.bytes.size(); }
    Heard addRequest(const HeardFrame &frame);
    Heard addReply(const HeardFrame &frame);
    Heard addDamaged(const HeardFrame &frame);

    Time character_;
    std::map<int, HeardStation> stations_;
    std::uint64_t frames_ = 0;
    std::uint64_t broadcasts_ = 0;
    std::uint64_t damaged_ = 0;
    std::uint64_t noiseBytes_ = 0;
    std::uint64_t bytes_ = 0;
    std::optional<Time> begin_;
    Time end_{0};
    Histogram pauses_;
    Histogram vainWaits_;
    std::optional<HeardFrame> open_; ///< the request that may be answered
    std::optional<Time> answeredAt_; ///< end of the last answer, while no request has come since
};

} // namespace plc::host

#endif
