/// @file
/// What a station wants otherwise than the rest of its line.
#ifndef PLC_MASTER_STATION_SETTINGS_H
#define PLC_MASTER_STATION_SETTINGS_H

#include <optional>

#include "runtime/line/link_time.h"

namespace plc::runtime {

/// As typed; what is not given is as the link has it.
struct StationSettings
{
    std::optional<Time> timeout; ///< as LinkSettings::timeout
    std::optional<int> retries;  ///< as LinkSettings::retries
    /// Least time from the end of an attempt, answered or not, to the next frame to the station, on top of
    /// the silence. The line waits for it.
    Time pause{};
};

/// What counts for the requests to a station.
struct StationRules
{
    /// Longest wait for the first byte of a reply, from the end of the request's last stop bit.
    Time responseTimeout = std::chrono::seconds(1);
    /// How long an answer is listened for, beyond the time-out of its attempt, before another request goes
    /// out; 0 = not at all. See LateReplyGuard.
    Time lateReplyGuard = std::chrono::seconds(1);
    Time pause{}; ///< as in StationSettings
    int retryLimit = 0;
};

} // namespace plc::runtime

#endif
