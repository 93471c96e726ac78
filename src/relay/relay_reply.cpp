#include "relay/relay_reply.h"

#include "core/context.h"
#include "core/result_codes.h"
#include "modbus/reply_check.h"
#include "modbus/reply_store.h"

namespace {

plc::Verdict judgeRelayed(QByteArray *reply, int length, const Protocol &transaction)
{
    const int expected = transaction.replyLen;
    if (length == 0 && expected != 0)
        return plc::kRelayReplyMissing;
    // Unlike a local reply, one that nobody waits for has the wrong length.
    if (length != 0 && expected != length && expected != plc::kReplyOpen)
        return plc::kRelayWrongLength;
    const int checked = CheckGetData(reply, length);
    if (checked != plc::kAcceptAndStore && checked != plc::kAcceptOnly)
        return plc::kRelayBadReply;
    if (transaction.var.relayArg1 != plc::kReadHalf)
        return plc::kRelayAccepted;
    SaveToLocalDataErea(reply);
    return PLC_driver.comInfo && PLC_driver.comInfo->stepDone == 1 ? plc::kRelayAccepted : plc::kAccepted;
}

} // namespace

int DealDataOfRemoteArea(QByteArray *reply, int length)
{
    const Protocol *const head = plc::headTransaction();
    return GetDriverReturnValue(head ? judgeRelayed(reply, length, *head) : plc::kRelayReplyMissing);
}
