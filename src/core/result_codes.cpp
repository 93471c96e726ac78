#include "core/result_codes.h"

#include "core/context.h"

namespace {

constexpr int kHighestOffset = plc::kBandSize - 1;

} // namespace

int GetDriverReturnValue(int verdict)
{
    switch (verdict) {
    case plc::kAccepted:
        return plc::kResultDone;
    case plc::kBadReply:
        return SwitchErrorReturn(plc::kBandBadReply);
    case plc::kReplyMissing:
        return SwitchErrorReturn(plc::kBandReplyMissing);
    case plc::kWrongLength:
        return SwitchErrorReturn(plc::kBandWrongLength);
    case plc::kRelayAccepted:
        return plc::kResultDoneWithoutData;
    case plc::kRelayBadReply:
        return SwitchErrorReturn(plc::kBandRelayBadReply);
    case plc::kRelayReplyMissing:
        return SwitchErrorReturn(plc::kBandRelayReplyMissing);
    case plc::kRelayWrongLength:
        return SwitchErrorReturn(plc::kBandRelayWrongLength);
    default:
        return plc::kResultUnknownVerdict;
    }
}

int SwitchErrorReturn(int base)
{
    const int first = base + 1;
    const Protocol *const head = plc::headTransaction();
    if (!head)
        return first;
    const int hostId = head->var.hostId;
    return hostId >= 1 && hostId <= kHighestOffset ? first + hostId : first;
}
