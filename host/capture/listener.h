/// @file
/// A listener without a clock: bytes and times go in, frames with their roles come out.
#ifndef PLC_CAPTURE_LISTENER_H
#define PLC_CAPTURE_LISTENER_H

#include <QByteArray>

#include <cstdint>
#include <deque>
#include <vector>

#include "host/capture/heard_frame.h"
#include "host/runtime_names.h"
#include "runtime/line/frame_splitter.h"

namespace plc::host {

/// Not thread-safe. Time goes forward from call to call.
class Listener
{
public:
    /// Bytes may come so much later than they were on the line: a USB converter collects them for 16 ms.
    static constexpr Time kDeliverySlack = std::chrono::milliseconds(16);
    /// An answer that begins later belongs to no request.
    static constexpr Time kLongestReply = std::chrono::seconds(10);

    /// @param baud     splits the bytes.
    /// @param hasRate  false for a pseudo-terminal: its characters take no time.
    Listener(int baud, bool hasRate);

    /// Time of one character on the wire; 0 where the line has no rate.
    Time character() const { return character_; }

    /// Bytes that came at @p now, or none that came until then.
    /// @return what is decided now, in the order of the line.
    std::vector<HeardFrame> take(const QByteArray &bytes, Time now);
    /// When take() is to be called without bytes, so that the last frames are not held back; Time::max() for
    /// never.
    Time wakeAt() const;
    /// Nothing more comes for now.
    std::vector<HeardFrame> finish();

    /// A frame that our own side has sent. What was received before is decided.
    /// @param begin  when its first bit went out.
    /// @return what is decided now, the frame as the last.
    std::vector<HeardFrame> sent(const QByteArray &frame, Time begin);

private:
    struct Chunk
    {
        std::uint64_t end = 0; ///< bytes of the stream up to the end of the chunk
        int size = 0;
        Time at{0};
    };

    std::vector<HeardFrame> framesOf(const std::vector<Piece> &pieces);

    Time character_;
    Time silence_;
    FrameSplitter splitter_;
    std::deque<Chunk> chunks_; ///< of which bytes are held
    std::uint64_t received_ = 0;
    Time lastAt_{0};
    int longestChunk_ = 1;
};

} // namespace plc::host

#endif
