/// @file
/// What can go wrong on the line.
#ifndef PLC_RUNTIME_TESTING_FAULT_H
#define PLC_RUNTIME_TESTING_FAULT_H

#include <array>
#include <cstdint>

namespace plc::simulation {

enum class Fault
{
    // Of one exchange.
    LateReply,    ///< after the time-out, and before the master listens to something else
    ForeignReply, ///< of another station, in front of the true one
    LeadingZero,  ///< 0x00 in front of the reply: a driver that is switched on
    NoiseBefore,  ///< made-up bytes in front of the reply
    NoiseWithin,  ///< made-up bytes that garble a part of the reply
    NoiseAfter,   ///< made-up bytes behind the reply
    CutFrame,     ///< the reply breaks off
    ByteGap,      ///< a pause inside the reply
    WrongCrc,
    SwappedCrc,   ///< high byte first, or low byte first on a line where that is wrong
    Exception,    ///< an exception reply to a request that the station could have done
    WrongLength,  ///< another number of bytes than asked for, with a good CRC
    DoubledReply, ///< the reply twice
    LostReply,    ///< done and not answered
    NoiseInRequest,
    GapInRequest,
    StrayEcho, ///< a read request comes back to the master, on a line that has no echo
    LateEcho,  ///< a converter holds the echo back, and all that comes behind it

    // For a while:
    Silence,      ///< a station is dead for seconds or minutes
    Restart,      ///< a station begins again with other values
    LineCut,      ///< the master is cut off from all stations
    SecondMaster, ///< somebody else polls the stations
    Busy,         ///< a station answers everything with exception 06
    Acknowledge,  ///< a station does writes and answers them with exception 05
    OtherWriter,  ///< somebody else changes registers that the master reads one at a time
    Babble,       ///< noise without end

    PortGone ///< the master's port is pulled out, and plugged in again
};

constexpr int kFaults = static_cast<int>(Fault::PortGone) + 1;
constexpr int kExchangeFaults = static_cast<int>(Fault::LateEcho) + 1;

/// "late reply"
const char *nameOf(Fault fault);

/// How often each fault was met.
using FaultCounts = std::array<std::uint64_t, kFaults>;

inline std::uint64_t &at(FaultCounts *counts, Fault fault)
{
    return (*counts)[static_cast<std::size_t>(fault)];
}

} // namespace plc::simulation

#endif
