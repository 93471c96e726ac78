/// @file
/// The stations of a bus, which remember what they held.
#ifndef PLC_TESTS_BUS_WITNESSED_STATIONS_H
#define PLC_TESTS_BUS_WITNESSED_STATIONS_H

#include <map>

#include "history.h"
#include "station/station_bus.h"

namespace plc::bus {

/// Requests are done by the stations of plcstation, which share no code with the line: they judge each frame
/// for themselves. The values come from a history.
class WitnessedStations : public Stations
{
public:
    /// @param plan  says which stations there are, and the order of their CRC bytes.
    /// @param salt  makes their values.
    WitnessedStations(const FieldPlan &plan, std::uint64_t salt);

    History &history(int station) { return devices_.at(station).history; }

    Done execute(Time now, const Bytes &frame, bool isMasters) override;
    Bytes refuse(const Bytes &frame, std::uint8_t code) override { return bus_.refuse(frame, code).reply; }
    void executeBroadcast(Time now, int station, const Bytes &frame) override;
    void move(Time now, int station) override { history(station).move(now); }
    void restart(Time now, int station) override { history(station).restart(now); }
    std::optional<int> placeOfOthers(int station) const override;
    void writeByOthers(Time now, int station, int address, std::uint16_t value) override;

private:
    struct Device
    {
        History history;
        std::optional<int> readAlone; ///< set-point that the master has read last without others
    };

    StationBus bus_;
    std::map<int, Device> devices_;
};

} // namespace plc::bus

#endif
