/// @file
/// What happened on the line, counted.
#ifndef PLC_MASTER_STATISTICS_H
#define PLC_MASTER_STATISTICS_H

#include <cstdint>
#include <map>
#include <optional>

#include "runtime/line/histogram.h"
#include "runtime/line/line_errors.h"

namespace plc::runtime {

/// Counters of one station or of the whole line. Each request sent ends as exactly one of good, timeouts,
/// bad, exceptions or unanswered; the one that is under way not yet, and one that was when the port was lost
/// or closed never.
struct Counters
{
    std::uint64_t requests = 0;       ///< frames sent, repeats included
    std::uint64_t retries = 0;        ///< those of them that repeated one
    std::uint64_t good = 0;           ///< answered as they should be
    std::uint64_t timeouts = 0;       ///< not a byte came
    std::uint64_t bad = 0;            ///< something came, but no usable reply
    std::uint64_t exceptions = 0;     ///< refused by the station
    std::uint64_t unanswered = 0;     ///< no reply was due (broadcasts and the like)
    std::uint64_t lineBusy = 0;       ///< attempts given up before sending, since the line never fell silent
    std::uint64_t ignoredReplies = 0; ///< complete replies that cannot belong to the request
    std::uint64_t foreignBytes = 0;   ///< bytes received that belong to no reply of ours
    std::uint64_t bytesOut = 0;
    std::uint64_t bytesIn = 0;
};

struct Statistics
{
    Counters total;
    std::map<int, Counters> stations;         ///< by the station number that went out
    std::map<int, std::uint64_t> otherMaster; ///< requests of somebody else that were heard, by station
    /// By how much requests went out later than their silence allowed.
    Histogram lateness;
    std::optional<LineErrors> lineErrors; ///< nothing where the port does not count them
};

} // namespace plc::runtime

#endif
