/// @file
/// From the verdict on a reply to the result code that the runtime sees.
#ifndef PLC_CORE_RESULT_CODES_H
#define PLC_CORE_RESULT_CODES_H

#include "core/export.h"

namespace plc {

constexpr int kResultPending = 0;
constexpr int kResultDone = 1;
constexpr int kResultDoneWithoutData = 100;
constexpr int kResultNoReply = 41;

/// Verdicts of the reply handlers. Relay replies have numbers of their own, so that the runtime can tell the
/// two apart.
enum Verdict
{
    kAccepted = 0,
    kBadReply = 1,
    kReplyMissing = 2,
    kWrongLength = 3,
    kRelayAccepted = 4,
    kRelayBadReply = 5,
    kRelayReplyMissing = 6,
    kRelayWrongLength = 7
};

} // namespace plc

/// Result code of a verdict: 1 and 100 for the two kinds of success, a band of error codes for each kind of
/// failure, 200 for any number that is no verdict. Cycle thread, while the head transaction is being judged.
PLC_EXPORT int GetDriverReturnValue(int verdict);

/// Error code within the band that starts at @p base: base + 1 + hostId of the head transaction for a hostId
/// of 1 to 11, otherwise base + 1. Cycle thread, while the head transaction is being judged.
PLC_EXPORT int SwitchErrorReturn(int base);

#endif
