/// @file
/// The result codes and outcomes that the runtime sees, each under its one name, and the way from a verdict
/// to them.
#ifndef PLC_CORE_RESULT_CODES_H
#define PLC_CORE_RESULT_CODES_H

#include "core/export.h"

namespace plc {

/// @name Result codes
/// The `status` of the record that DataCom() returns.
/// @{
constexpr int kResultPending = 0;           ///< nothing finished: more bytes, or the same request again
constexpr int kResultDone = 1;              ///< reply found, or step done
constexpr int kResultDoneWithoutData = 100; ///< step done with nothing to store
constexpr int kResultNoReply = 41;          ///< no reply at all to a Modbus request, whatever the `hostId`
constexpr int kResultUnknownVerdict = 200;  ///< any other verdict
/// @}

/// @name Bands of error codes
/// A band holds the twelve codes behind its number: number + 1 + `hostId` for a `hostId` of 1 to 11,
/// otherwise number + 1. The last three are for operations of another `linkId`.
/// @{
constexpr int kBandBadReply = 10;
constexpr int kBandReplyMissing = 40; ///< kResultNoReply lies in it
constexpr int kBandWrongLength = 70;
constexpr int kBandRelayBadReply = 110;
constexpr int kBandRelayReplyMissing = 140;
constexpr int kBandRelayWrongLength = 170;
constexpr int kBandSize = 12;
/// @}

/// @name Outcomes
/// The last argument of the completion callback.
/// @{
constexpr int kOutcomeDone = 1;
constexpr int kOutcomeFailed = 2;
/// @}

/// Whether the step with this result code is done.
constexpr bool isDone(int result)
{
    return result == kResultDone || result == kResultDoneWithoutData;
}

/// Whether a result code lies in the band @p band.
constexpr bool isInBand(int result, int band)
{
    return result > band && result <= band + kBandSize;
}

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

/// Result code of a verdict. 1 and 100 are the two kinds of success, 200 stands for any number that is no
/// verdict. Each kind of failure has a band of error codes. Cycle thread, while the head transaction is being
/// judged.
PLC_EXPORT int GetDriverReturnValue(int verdict);

/// Error code within the band that starts at @p base: base + 1 + hostId of the head transaction for a hostId
/// of 1 to 11, otherwise base + 1. Cycle thread, while the head transaction is being judged.
PLC_EXPORT int SwitchErrorReturn(int base);

#endif
