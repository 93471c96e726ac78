/// @file
/// Who answers a frame, and what became of it.
#ifndef PLC_STATION_RESPONDER_H
#define PLC_STATION_RESPONDER_H

#include "bytes.h"

namespace plc::station {

/// What became of one received frame.
enum class Outcome
{
    Answered,  ///< executed, normal reply
    Refused,   ///< exception reply
    Broadcast, ///< for every station: done or not, nobody answers
    Foreign,   ///< for a station that is not simulated here
    Silent,    ///< for one of ours that does not answer: it was told to listen only, or is dead
    Damaged    ///< checksum wrong or too short: nothing done
};

struct Answer
{
    Outcome outcome = Outcome::Damaged;
    Bytes reply; ///< complete frame with CRC; empty unless Answered or Refused
};

/// One end of a line that answers complete request frames: no clock, no input or output.
class Responder
{
public:
    virtual ~Responder() = default;

    /// Executes @p frame and builds the reply.
    virtual Answer answer(const Bytes &frame) = 0;
    /// Builds an exception reply with @p code instead of executing @p frame.
    /// @pre expectsReply(frame)
    virtual Answer refuse(const Bytes &frame, std::uint8_t code) = 0;
    /// True when answer(frame) would give a reply.
    virtual bool expectsReply(const Bytes &frame) const = 0;
    /// Tells that bytes arrived which were no good frame, so that it is counted.
    virtual void noteBadFrame() = 0;
};

} // namespace plc::station

#endif
