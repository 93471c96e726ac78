/// @file
/// Everything that must be known of a link before it is used.
#ifndef PLC_MASTER_LINK_SETTINGS_H
#define PLC_MASTER_LINK_SETTINGS_H

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/options.h"
#include "runtime/line/line_settings.h"
#include "runtime/line/link_time.h"
#include "runtime/master/policies.h"
#include "runtime/master/station_settings.h"

namespace plc::runtime {

/// Bits or registers that a station refuses, so that no cyclic read may reach over them.
struct Hole
{
    int station = 0;
    int baseType = 0; ///< of the area: 0, 1, 4 or 5
    int first = 0;    ///< counted from 0
    int count = 0;
};

struct LinkSettings : LineSettings
{
    Time timeout = std::chrono::seconds(1);
    std::optional<Time> lateGuard; ///< as in CycleSettings; nothing = as long as the time-out
    Time turnaround = std::chrono::milliseconds(100);
    int retries = 2;
    int station = 1; ///< of variables that name none
    int linkMode = 0;
    int maxBlock = 100;
    bool separateReads = false; ///< each cyclic variable in requests of its own
    quint32 options = 0;
    bool echo = false;
    bool readOnly = false; ///< no frame goes out that may change anything at a station
    Policies policies;
    OfflineSettings offline;
    bool reopen = true;  ///< a port that is lost is looked for until it is back; otherwise it is the end
    Time pollInterval{}; ///< from the start of one scan of the cyclic reads to the next; 0 = without pause
    std::map<int, StationSettings> stations; ///< by number; those that are not here are as the link has it
    std::vector<Hole> holes;                 ///< in any order
    std::string driverPath;                  ///< for whoever loads the driver

    /// What counts for the requests to a station.
    StationRules rulesOf(int number) const
    {
        StationRules rules;
        rules.responseTimeout = timeout;
        rules.retryLimit = retries;
        const auto own = stations.find(number);
        if (own != stations.end()) {
            const StationSettings &settings = own->second;
            rules.responseTimeout = settings.timeout.value_or(timeout);
            rules.retryLimit = settings.retries.value_or(retries);
            rules.pause = settings.pause;
        }
        rules.lateReplyGuard =
            policies.lateReplyGuard ? lateGuard.value_or(rules.responseTimeout) : Time::zero();
        return rules;
    }

    bool oneBased() const { return hasOption(options, kOptionOneBased); }
    /// Most registers in one request.
    int wordLimit() const { return maxBlock; }
    /// Most bits in one read request.
    int bitLimit() const { return hasOption(options, kOptionNoBitPacking) ? 1 : maxBlock * 8; }
};

} // namespace plc::runtime

#endif
