#include "modbus/reply_check.h"

#include <QMutexLocker>

#include "core/byte_order.h"
#include "core/context.h"
#include "core/register_types.h"
#include "core/result_codes.h"
#include "modbus/checksums.h"
#include "modbus/frame_layout.h"
#include "modbus/reply_store.h"

namespace {

constexpr int kShortestCheckedReply = 6;

bool crcMatches(const uchar *frame, int length)
{
    const int crcAt = length - plc::kCrcLen;
    return plc::crc16(frame, crcAt) == plc::getCrc(frame + crcAt, plc::swapsReplyCrc());
}

// Length of the reply that begins at @p start, 0 for a function that has none.
int replyLength(const uchar *start)
{
    switch (start[plc::kFunctionAt]) {
    case plc::kReadCoils:
    case plc::kReadDiscreteInputs:
    case plc::kReadHoldingRegisters:
    case plc::kReadInputRegisters:
        return plc::kReadHeaderLen + start[plc::kReplyByteCountAt] + plc::kCrcLen;
    case plc::kWriteSingleCoil:
    case plc::kWriteSingleRegister:
    case plc::kWriteMultipleCoils:
    case plc::kWriteMultipleRegisters:
        return plc::kWriteReplyLen;
    default:
        return 0;
    }
}

// Shortest frame that may pass for the reply. A bit write puts back the register that its read half brings:
// one that was not read whole would be put back as zeros.
int shortestReplyTo(const Protocol &transaction)
{
    const RW_VAR &var = transaction.var;
    const bool isReadHalf =
        var.relayArg1 == plc::kReadHalf && var.regType == plc::kHoldingRegister && var.count == 1;
    return isReadHalf ? plc::kReadHeaderLen + 2 + plc::kCrcLen : plc::kShortestReply;
}

// Length of the good reply to @p request that begins at @p start and has at least @p shortest bytes, 0 if
// there is none.
int matchedLength(const uchar *start, int available, const uchar *request, int shortest)
{
    if (start[plc::kStationAt] != request[plc::kStationAt] ||
        start[plc::kFunctionAt] != request[plc::kFunctionAt])
        return 0;
    const int length = replyLength(start);
    if (length < shortest || length > available || !crcMatches(start, length))
        return 0;
    return length;
}

// The last two bytes of a checked reply are its CRC and must never be taken for a register.
bool holdsAllData(const QByteArray &reply, const Protocol &transaction)
{
    const qint64 dataEnd = static_cast<qint64>(transaction.headerLen) + transaction.dataLen;
    return dataEnd <= reply.size() - plc::kCrcLen;
}

plc::Verdict judgeReply(QByteArray *reply, int length, const Protocol &transaction)
{
    switch (CheckGetData(reply, length)) {
    case plc::kAcceptAndStore:
        if (holdsAllData(*reply, transaction)) {
            QMutexLocker lock(&PLC_driver.cacheMutex);
            SaveToLocalDataErea(reply);
        }
        return plc::kAccepted;
    case plc::kAcceptOnly:
        return plc::kAccepted;
    default:
        return plc::kBadReply;
    }
}

plc::Verdict judgeLocal(QByteArray *reply, int length, const Protocol &transaction)
{
    const int expected = transaction.replyLen;
    if (length == 0)
        return expected != 0 ? plc::kReplyMissing : plc::kAccepted;
    if (expected == 0)
        return plc::kAccepted;
    if (expected != length && expected != plc::kReplyOpen)
        return plc::kWrongLength;
    return judgeReply(reply, length, transaction);
}

} // namespace

int check_data(QByteArray *received)
{
    const Protocol *const transaction = plc::headTransaction();
    if (!received || !transaction || transaction->frame.size() <= plc::kFunctionAt)
        return 0;
    const uchar *const request = plc::bytesOf(transaction->frame);
    const QByteArray &bytes = *received;
    const int size = bytes.size();
    const int shortest = shortestReplyTo(*transaction);
    for (int start = 0; start + shortest <= size; ++start) {
        const int length = matchedLength(plc::bytesOf(bytes) + start, size - start, request, shortest);
        if (length == 0)
            continue;
        if (length != size)
            *received = received->mid(start, length);
        return 1;
    }
    return 0;
}

int CheckGetData(QByteArray *reply, int)
{
    const Protocol *const transaction = plc::headTransaction();
    if (!transaction)
        return plc::kReject;
    const int station = transaction->var.station & 0xFF;
    if (station == 0)
        return plc::kAcceptOnly;
    if (!reply || reply->size() < kShortestCheckedReply)
        return plc::kReject;
    const uchar *const bytes = reinterpret_cast<const uchar *>(reply->constData());
    if (bytes[plc::kStationAt] != station || !crcMatches(bytes, reply->size()))
        return plc::kReject;
    return transaction->var.direction != 0 ? plc::kAcceptOnly : plc::kAcceptAndStore;
}

int DealDataOfLocalArea(QByteArray *reply, int length)
{
    const Protocol *const transaction = plc::headTransaction();
    if (!transaction)
        return GetDriverReturnValue(plc::kReplyMissing);
    return GetDriverReturnValue(judgeLocal(reply, length, *transaction));
}
