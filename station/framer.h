/// @file
/// Cuts a stream of bytes into request frames.
#ifndef PLC_STATION_FRAMER_H
#define PLC_STATION_FRAMER_H

#include "crc.h"

#include <functional>
#include <vector>

namespace plc::station {

/// What the first bytes of a frame tell about its length.
struct FrameLength
{
    enum class Kind
    {
        NoFrame,   ///< no frame of known length begins like this
        NeedsMore, ///< too few bytes to know the length
        Known
    };
    Kind kind = Kind::NoFrame;
    std::size_t bytes = 0; ///< whole frame, when Known
};

/// How frames of one kind are recognised in a stream of bytes.
struct FrameRule
{
    /// Length of the frame that begins with these bytes (one or more).
    std::function<FrameLength(ByteView)> length;
    /// True when the checksum of a whole frame is good.
    std::function<bool(ByteView)> isIntact;
    /// Whether everything between two silences may be a frame although no known length says so.
    bool silenceFrames = false;
};

/// Modbus RTU requests: lengths by function code; any other function is framed by silence alone.
FrameRule modbusRequestRule(CrcOrder order);

/// Cuts the received bytes into frames. A frame is taken as soon as its length is complete and its checksum
/// good, wherever it begins, so garbage before it does no harm; a frame that is still incomplete is waited
/// for, and what never became a frame is dropped when the line falls silent. No clock inside.
class Framer
{
public:
    explicit Framer(FrameRule rule);

    /// Takes further bytes.
    /// @return the frames that are complete now, in the order in which they came
    std::vector<Bytes> push(ByteView bytes);
    /// Tells that nothing came for as long as ends a frame: 3.5 characters. Leaves the framer empty.
    /// @return the frames found in what was held back
    std::vector<Bytes> silence();

    /// True while bytes are held back: silence() has something to decide.
    bool isHoldingBytes() const { return !buffer_.empty(); }
    /// Stretches of bytes thrown away so far: damaged frames, noise, unfinished frames.
    std::size_t badFrames() const { return badFrames_; }

    /// Bytes that are held back at most; more of them are no frame.
    static constexpr std::size_t kMaxBuffer = 16384;

private:
    bool takeNext(bool lineIsSilent, Bytes *frame);
    void dropAll();

    FrameRule rule_;
    Bytes buffer_;
    std::size_t scanFrom_ = 0; ///< no frame of known length begins before this index
    std::size_t badFrames_ = 0;
};

} // namespace plc::station

#endif
