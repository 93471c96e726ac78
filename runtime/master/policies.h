/// @file
/// What the host does beyond the bare exchange of frames, each of it for a reason that docs/host-policies.md gives.
#ifndef PLC_MASTER_POLICIES_H
#define PLC_MASTER_POLICIES_H

#include <string>

#include "runtime/line/link_time.h"

namespace plc::runtime {

/// All are on unless a user has a reason.
struct Policies
{
    /// What arrives between two exchanges is thrown away, and not taken for the beginning of the next reply.
    bool discardInput = true;
    /// After an attempt without a proper answer the line is listened to before another request goes out.
    bool lateReplyGuard = true;
    /// Replies of other stations, to other functions and of the wrong length are passed over, and only what fits
    /// the request is shown to the driver.
    bool checkReplies = true;
    /// A reply to a write counts only if it repeats address and value of the request.
    bool strictWrites = true;
    /// An exception reply ends the attempt at once, and one that would come again ends the request.
    bool endOnException = true;
    /// A reply that was damaged on the way ends the attempt as soon as the line is silent behind it.
    bool endOnDamage = true;
    /// Noise does not lengthen the wait for a reply.
    bool absoluteDeadline = true;
    /// A station that fails over and over is left alone but for a trial now and then.
    bool offline = true;
};

/// Turns the policy off that is called @p name, as "late-reply-guard".
/// @throw Failure  (wrong usage) that lists the names.
void turnOff(Policies *policies, const std::string &name);

/// A line for each policy, for the help.
std::string policyHelp();

/// When a station is left alone, and how often it is tried.
struct OfflineSettings
{
    int failures = 3; ///< requests in a row without a proper answer, repetitions included; at least 1
    Time firstProbe = std::chrono::seconds(10); ///< from going offline to the first trial
    /// The distance doubles with each trial, up to this. A trial comes later where all of them together would take more
    /// than a tenth of the time.
    Time longestProbe = std::chrono::seconds(60);
};

} // namespace plc::runtime

#endif
