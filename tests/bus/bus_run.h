/// @file
/// Hours on the bus of a seed: healthy times and faulty ones in turn, orders of the runtime all the while.
#ifndef PLC_TESTS_BUS_BUS_RUN_H
#define PLC_TESTS_BUS_BUS_RUN_H

#include "scenario.h"

namespace plc::bus {

struct RunResult
{
    Time simulated{};
    std::uint64_t requests = 0;
    std::uint64_t replies = 0;
    std::uint64_t orders = 0;
    std::uint64_t ordersDone = 0;
    std::uint64_t offline = 0; ///< times that a station went offline
    std::uint64_t collisions = 0;
    std::uint64_t memorySamples = 0;
    std::uint64_t growthJudged = 0; ///< 1 if the run was long enough to judge `growth`
    std::uint64_t digest = 0;       ///< the same for the same run
    std::int64_t growth = 0;        ///< bytes of heap between an early healthy time and the last
    FaultCounts faults{};
    Checks checks;
    std::string complaint; ///< empty when all went well
    std::string journal;   ///< the last events, with a complaint
};

/// What the panel of a bus talks to.
enum class Way
{
    PublicInterface,
    Session ///< below it
};

/// Runs a seed.
/// @param driver  not used before in this process; the public interface loads the same file once more.
/// @param trace   the journal has the host's own trace as well.
RunResult runSeed(std::uint64_t seed, Time simulated, runtime::DriverLibrary &driver, Way way,
                  bool trace = false);

} // namespace plc::bus

#endif
