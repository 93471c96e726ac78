#include "core/result_codes.h"

#include "core/context.h"

namespace {

constexpr int kResultUnknownVerdict = 200;
constexpr int kHighestOffset = 11;

} // namespace

int GetDriverReturnValue(int verdict)
{
    switch (verdict) {
    case plc::kAccepted:
        return plc::kResultDone;
    case plc::kBadReply:
        return SwitchErrorReturn(10);
    case plc::kReplyMissing:
        return SwitchErrorReturn(40);
    case plc::kWrongLength:
        return SwitchErrorReturn(70);
    case plc::kRelayAccepted:
        return plc::kResultDoneWithoutData;
    case plc::kRelayBadReply:
        return SwitchErrorReturn(110);
    case plc::kRelayReplyMissing:
        return SwitchErrorReturn(140);
    case plc::kRelayWrongLength:
        return SwitchErrorReturn(170);
    default:
        return kResultUnknownVerdict;
    }
}

int SwitchErrorReturn(int base)
{
    const int first = base + 1;
    if (PLC_driver.sendQueue.isEmpty())
        return first;
    const int hostId = PLC_driver.sendQueue.first().var.hostId;
    return hostId >= 1 && hostId <= kHighestOffset ? first + hostId : first;
}
