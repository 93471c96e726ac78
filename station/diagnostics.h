/// @file
/// What a station counts and tells about itself.
#ifndef PLC_STATION_DIAGNOSTICS_H
#define PLC_STATION_DIAGNOSTICS_H

#include "bytes.h"

#include <cstdint>

namespace plc::station {

/// Counters of one station and its listen-only mode (MODBUS over Serial Line V1.02, 6.1; Application
/// Protocol V1.1b3, 6.8). Counters wrap at 65536, as 16-bit registers do.
struct Diagnostics
{
    std::uint16_t busMessages = 0;         ///< frames with a good CRC, whoever they are for
    std::uint16_t communicationErrors = 0; ///< bad CRC or no frame at all
    std::uint16_t exceptions = 0;          ///< requests that ended in an exception, broadcasts included
    std::uint16_t stationMessages = 0;     ///< frames for this station or for all
    std::uint16_t unanswered = 0;          ///< of these, the ones without any reply
    std::uint16_t negativeAcknowledges = 0;
    std::uint16_t busy = 0; ///< exceptions with code 06
    std::uint16_t overruns = 0;
    bool listenOnly = false;

    /// Sets all counters to 0; listen-only mode stays.
    void clearCounters();

    /// Executes a Diagnostics request. @p pdu holds function code 8, the sub-function and its data.
    /// @return the reply in the same form, an exception among them; empty when none is due: the request
    ///         switched listen-only mode on, or came while it was on (where a restart alone is done: it ends
    ///         it).
    Bytes execute(ByteView pdu);
};

} // namespace plc::station

#endif
