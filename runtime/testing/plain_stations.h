/// @file
/// Stations whose values a test sets and looks at.
#ifndef PLC_RUNTIME_TESTING_PLAIN_STATIONS_H
#define PLC_RUNTIME_TESTING_PLAIN_STATIONS_H

#include <array>
#include <map>
#include <vector>

#include "runtime/testing/stations.h"

namespace plc::simulation {

/// The four tables of a Modbus device.
enum class Table
{
    Coils,
    DiscreteInputs,
    InputRegisters,
    HoldingRegisters
};

/// Stations that do functions 1 to 6, 15 and 16 as MODBUS Application Protocol V1.1b3, chapter 6, has them.
/// Every place from 0 to 65535 is there, and holds 0 until somebody writes it.
class PlainStations : public Stations
{
public:
    /// @param replyCrcHighFirst  replies carry their CRC with the high byte first.
    explicit PlainStations(bool replyCrcHighFirst) : replyCrcHighFirst_(replyCrcHighFirst) {}

    /// Adds a station, unless it is there.
    void add(int station) { devices_[station]; }
    bool has(int station) const { return devices_.count(station) > 0; }

    std::uint16_t value(int station, Table table, int address) const;
    /// A bit is 1 for any value but 0.
    void setValue(int station, Table table, int address, std::uint16_t value);
    /// From now on each request that touches one of these places is answered by this exception; the last
    /// call for a place counts. @param code  0: as usual.
    void refuseAt(int station, Table table, int first, int count, int code);
    /// Writes that the station has done since it was added.
    int writesDone(int station) const { return devices_.at(station).writesDone; }

    Done execute(Time now, const Bytes &frame, bool isMasters) override;
    Bytes refuse(const Bytes &frame, std::uint8_t code) override;
    void executeBroadcast(Time now, int station, const Bytes &frame) override;

private:
    struct Refusal
    {
        Table table;
        int first;
        int count;
        int code;
    };
    struct Device
    {
        std::array<std::map<int, std::uint16_t>, 4> tables;
        std::vector<Refusal> refusals; ///< the last one that fits counts
        int writesDone = 0;
    };

    static int refusalAt(const Device &device, Table table, int first, int count);
    static int valueAt(const Device &device, Table table, int address);
    static int perform(Device *device, const Bytes &frame, Bytes *reply);

    bool replyCrcHighFirst_;
    std::map<int, Device> devices_;
};

} // namespace plc::simulation

#endif
