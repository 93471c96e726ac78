/// @file
/// What the runtime does beyond the bare exchange of frames; docs/host-policies.md gives the reason for each.
#ifndef PLC_MASTER_POLICIES_H
#define PLC_MASTER_POLICIES_H

#include "runtime/line/link_time.h"

namespace plc::runtime {

/// All are on unless a user has a reason.
struct Policies
{
    /// What arrives between two exchanges is thrown away; it would pass for the beginning of the next reply.
    bool discardInput = true;
    /// After an attempt without a proper answer the line is listened to before another request goes out.
    bool lateReplyGuard = true;
    /// Only a reply of the right station, function and length is shown to the driver; others are passed over.
    bool checkReplies = true;
    /// A reply to a write counts only if it repeats address and value of the request.
    bool strictWrites = true;
    /// An exception reply ends the attempt at once. It ends the request where a repeat would be refused
    /// again.
    bool endOnException = true;
    /// A reply that was damaged on the way ends the attempt as soon as the line is silent behind it.
    bool endOnDamage = true;
    /// Noise does not lengthen the wait for a reply.
    bool absoluteDeadline = true;
    /// A station that fails over and over is sent probes only, now and then.
    bool offline = true;
    /// Before the first write to a station that has not answered yet one register is read from it. Where
    /// nothing but the echo of that comes, the line hands back what is sent, and the write is refused.
    bool echoCheck = true;
};

/// When a station is taken for offline, and how often it is probed.
struct OfflineSettings
{
    int failures = 3; ///< requests in a row without a proper answer, repeats included; at least 1
    Time firstProbe = std::chrono::seconds(10); ///< from going offline to the first probe
    /// Longest interval between two probes; the interval doubles with each probe. It becomes longer only
    /// where several stations are offline, so that all probes together use at most a tenth of the time.
    Time longestProbe = std::chrono::seconds(60);
};

} // namespace plc::runtime

#endif
