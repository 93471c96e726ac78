#include "modbus/reply_store.h"

#include <algorithm>

#include "core/byte_order.h"
#include "core/context.h"
#include "core/register_types.h"
#include "mirror/register_cache.h"
#include "modbus/checksums.h"
#include "modbus/frame_layout.h"
#include "modbus/request_parts.h"

namespace {

constexpr int kShortestRegisterReply = 6;

// Where the write half of a read-modify-write carries its value: function 6 in the frame itself, function 16
// behind the byte count.
int valueOffset(const QByteArray &frame)
{
    return plc::byteAt(frame, plc::kFunctionAt) == plc::kWriteSingleRegister ? plc::kQuantityAt
                                                                             : plc::kWriteDataAt;
}

void patchValue(QByteArray &frame, quint16 value)
{
    const int valueAt = valueOffset(frame);
    const int crcAt = valueAt + 2;
    const int needed = crcAt + plc::kCrcLen;
    if (frame.size() < needed)
        frame.append(QByteArray(needed - frame.size(), '\0'));
    uchar *const bytes = plc::bytesOf(frame);
    plc::putBe16(bytes + valueAt, value);
    plc::putCrc(bytes + crcAt, plc::crc16(bytes, crcAt), plc::swapsRequestCrc());
}

// Bits that the reply does not carry are not stored.
void storeBits(const QByteArray &reply, const Protocol &transaction, quint64 key)
{
    const int carried = std::max(0, reply.size() - transaction.headerLen);
    const qint64 bits = std::min<qint64>(transaction.var.count, static_cast<qint64>(carried) * 8);
    plc::storeBitsLocked(key, reply, transaction.headerLen, static_cast<int>(bits));
}

// On the line the high byte comes first, in an entry the low byte.
void storeRegisters(const QByteArray &reply, const Protocol &transaction, quint64 key)
{
    const uchar *const data = plc::bytesOf(reply) + transaction.headerLen;
    const int registers = transaction.dataLen / 2;
    plc::storeRunLocked(key, data, registers);
    if (transaction.dataLen > 2 * registers) // half a register at the end
        plc::storeRegisterLocked(key + static_cast<quint64>(registers),
                                 static_cast<quint16>(data[transaction.dataLen - 1] << 8));
}

} // namespace

void SaveToLocalDataErea(QByteArray *reply)
{
    const Protocol *const head = plc::headTransaction();
    if (!reply || !head)
        return;
    const Protocol &transaction = *head;
    const RW_VAR &var = transaction.var;
    if (var.relayArg1 == plc::kReadHalf) {
        SpecialRegisterSave(reply);
        return;
    }
    if (transaction.headerLen < 0 ||
        static_cast<qint64>(transaction.headerLen) + transaction.dataLen > reply->size())
        return;
    const quint64 key = makeCacheKey(var.station, var.regType, var.address);
    switch (var.regType) {
    case plc::kCoil:
    case plc::kDiscreteInput:
        storeBits(*reply, transaction, key);
        return;
    case plc::kInputRegister:
    case plc::kHoldingRegister:
        storeRegisters(*reply, transaction, key);
        return;
    default: // reads are always made with one of the four base types
        return;
    }
}

void SpecialRegisterSave(QByteArray *reply)
{
    if (!reply || reply->size() < kShortestRegisterReply || PLC_driver.writeList.isEmpty() ||
        PLC_driver.sendQueue.size() < 2)
        return;
    const QByteArray &bytes = *reply;
    const quint16 value = plc::getBe16(plc::bytesOf(bytes) + plc::kReadHeaderLen);
    // The bit variable stays at the head of the write list until its write half is done.
    patchValue(PLC_driver.sendQueue[1].frame, plc::withBit(value, PLC_driver.writeList.first()));
}
