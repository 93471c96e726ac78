/// @file
/// One simulated station.
#ifndef PLC_STATION_STATION_H
#define PLC_STATION_STATION_H

#include "abilities.h"
#include "diagnostics.h"
#include "register_model.h"

#include <cstdint>
#include <vector>

namespace plc::station {

/// Items that move by themselves, as a measured value of a running machine does.
struct MovingRange
{
    Area area = Area::HoldingRegisters;
    int address = 0;
    int count = 1;
    std::uint16_t step = 1; ///< added to each register, wrapping at 65536; a bit changes when this is odd
};

/// How a station behaves towards requests that carry its number.
enum class Manner
{
    Answers,
    RefusesWrites, ///< with an exception; nothing is done, of broadcasts neither
    Refuses,       ///< the same for every request
    Dead           ///< hears nothing and says nothing
};

/// One simulated station: its registers, its counters, and what it does with requests. No clock, no input or
/// output, and no station number: that is the bus's business.
class Station
{
public:
    /// @param size  items in each area, 1 to 65536
    explicit Station(int size = kWholeArea);

    /// Executes a request that carries this station's own number.
    /// @param pdu  function code and data, at least the function code
    /// @return the reply in the same form (normal or exception); empty in listen-only mode and of a dead
    /// station
    Bytes execute(ByteView pdu);
    /// Executes a request that is for every station. Only functions that write are done; reads are not, and
    /// whatever happens, nothing is replied.
    void executeBroadcast(ByteView pdu);
    /// Counts an exception reply with @p code and builds it.
    Bytes refuse(std::uint8_t function, std::uint8_t code);

    void setAbilities(const Abilities &abilities) { abilities_ = abilities; }
    /// @param code  of the exceptions with which it refuses
    void setManner(Manner manner, std::uint8_t code = 1);
    /// True when it answers no request, or but those for diagnostics.
    bool isSilent() const { return manner_ == Manner::Dead || diagnostics_.listenOnly; }

    /// Adds a range that moveAll() moves on; false where it leaves the area.
    bool addMoving(const MovingRange &range);
    /// Moves every moving range on by one step.
    void moveAll();

    RegisterModel &registers() { return registers_; }
    const RegisterModel &registers() const { return registers_; }
    Diagnostics &diagnostics() { return diagnostics_; }
    const Diagnostics &diagnostics() const { return diagnostics_; }

private:
    bool refuses(std::uint8_t function) const;
    Bytes executeKnown(ByteView pdu);

    RegisterModel registers_;
    Abilities abilities_;
    Diagnostics diagnostics_;
    std::vector<MovingRange> moving_;
    Manner manner_ = Manner::Answers;
    std::uint8_t refusalCode_ = 1;
};

} // namespace plc::station

#endif
