/// @file
/// The bus of a seed: how fast the line is, who is on it, what is read, and what goes wrong.
#ifndef PLC_TESTS_BUS_SCENARIO_H
#define PLC_TESTS_BUS_SCENARIO_H

#include "bus.h"

namespace plc::bus {

struct Scenario
{
    BusPlan bus;
    bool withFaults = true;
    bool withOutages = false; ///< stations die, are switched off, or come and go, and all else is well
    bool losesPort = false;   ///< in faulty times the port goes and comes, too
    Time longestOrder = std::chrono::minutes(10); ///< from the order to its end, on the worst line
    Time outageSettles{};                         ///< until all stations that are dead are offline
    Time orderEvery{};                            ///< mean time between two orders of the runtime
    Time recoveredWithin{}; ///< from the end of all faults until every variable was read again
};

/// Makes one bus of 1 to 32 stations; the same one for the same seed.
Scenario makeScenario(std::uint64_t seed);

/// "8 stations, 19200 baud, ...": for people.
std::string describe(const Scenario &scenario);

} // namespace plc::bus

#endif
