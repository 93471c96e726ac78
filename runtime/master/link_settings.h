/// @file
/// Everything that must be known of a link before it is used.
#ifndef PLC_MASTER_LINK_SETTINGS_H
#define PLC_MASTER_LINK_SETTINGS_H

#include <optional>
#include <string>

#include "core/options.h"
#include "runtime/line/line_settings.h"
#include "runtime/line/link_time.h"
#include "runtime/master/policies.h"

namespace plc::runtime {

struct LinkSettings : LineSettings
{
    Time timeout = std::chrono::seconds(1);
    std::optional<Time> lateGuard; ///< as in CycleSettings; nothing = as long as the time-out
    Time turnaround = std::chrono::milliseconds(100);
    int retries = 2;
    int station = 1; ///< of variables that name none
    int linkMode = 0;
    int maxBlock = 100;
    quint32 options = 0;
    bool echo = false;
    Policies policies;
    OfflineSettings offline;
    bool reopen = true;     ///< a port that is lost is looked for until it is back; otherwise it is the end
    Time pollInterval{};    ///< from the start of one scan of the cyclic reads to the next; 0 = without pause
    std::string driverPath; ///< empty = look beside the program

    bool oneBased() const { return hasOption(options, kOptionOneBased); }
    /// Most registers in one request.
    int wordLimit() const { return maxBlock; }
    /// Most bits in one read request.
    int bitLimit() const { return hasOption(options, kOptionNoBitPacking) ? 1 : maxBlock * 8; }
};

} // namespace plc::runtime

#endif
