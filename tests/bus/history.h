/// @file
/// What one station holds, and what it held before.
#ifndef PLC_TESTS_BUS_HISTORY_H
#define PLC_TESTS_BUS_HISTORY_H

#include <array>
#include <cstdint>
#include <deque>
#include <vector>

#include "simulated_line.h"

namespace plc::bus {

constexpr int kItems = 256;         ///< in each area of a station
constexpr int kFirstSetpoint = 128; ///< coils and holding registers from here on change only when written

/// The values of one station over time. Coils and holding registers below kFirstSetpoint, discrete inputs and
/// input registers are measured: the machine changes them all at once, now and then. Each value is unlike
/// those before it and those of its neighbours and of other stations, as far as its bits allow.
class History
{
public:
    /// @param salt      makes the values of this run.
    /// @param remember  how long values are known after they have changed.
    History(std::uint64_t salt, int station, Time now, Time remember);

    /// The machine has moved on.
    void move(Time now);
    /// The station begins again: other measured values, and all set-points as they are after power-on.
    void restart(Time now);
    /// A set-point was written; any value but 0 is 1 in a coil.
    void write(Time now, Area area, int address, std::uint16_t value);

    std::uint16_t value(Area area, int address) const;
    /// True when the station held @p value there at any moment from @p from to @p to, both included.
    bool held(Area area, int address, std::uint16_t value, Time from, Time to) const;

    /// Counts the times that measured values have changed.
    std::uint32_t epoch() const { return epochs_.back().number; }

    static bool isSetpoint(Area area, int address);

private:
    struct Epoch
    {
        Time since;
        std::uint32_t number;
    };
    struct Change
    {
        Time since;
        std::uint16_t value;
    };
    using Changes = std::vector<Change>; ///< few at a time

    std::uint16_t made(Area area, int address, std::uint32_t epoch) const;
    Changes &changesOf(Area area, int address);
    const Changes &changesOf(Area area, int address) const;

    std::uint64_t salt_;
    int station_;
    Time remember_;
    std::deque<Epoch> epochs_;
    std::array<std::vector<Changes>, 2> setpoints_; ///< of coils, of holding registers
};

} // namespace plc::bus

#endif
