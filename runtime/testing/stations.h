/// @file
/// The stations behind a simulated line: what they hold and answer, without times, noise and faults.
#ifndef PLC_RUNTIME_TESTING_STATIONS_H
#define PLC_RUNTIME_TESTING_STATIONS_H

#include <optional>

#include "runtime/line/link_time.h"
#include "runtime/testing/bytes.h"

namespace plc::simulation {

using runtime::Time;

class Stations
{
public:
    virtual ~Stations() = default;

    /// What has become of a request.
    struct Done
    {
        Bytes reply;             ///< whole, with its CRC; empty where the station says nothing
        bool hasWritten = false; ///< the request was a write, and the station has taken it
    };
    /// Has station @p frame[0] do a request, which is whole and has a good CRC.
    /// @param isMasters  the request is the master's; otherwise a second master has sent it.
    virtual Done execute(Time now, const Bytes &frame, bool isMasters) = 0;
    /// The exception reply of station @p frame[0] to a request that it does not do.
    virtual Bytes refuse(const Bytes &frame, std::uint8_t code) = 0;
    /// Has @p station do a request that is for all.
    virtual void executeBroadcast(Time now, int station, const Bytes &frame) = 0;

    /// The machine behind the station has moved on: measured values change.
    virtual void move(Time, int) {}
    /// The station begins again, as after power-on.
    virtual void restart(Time, int) {}
    /// The holding register that somebody else may change at the station; nothing: there is none.
    virtual std::optional<int> placeOfOthers(int) const { return std::nullopt; }
    virtual void writeByOthers(Time, int, int, std::uint16_t) {}
};

} // namespace plc::simulation

#endif
