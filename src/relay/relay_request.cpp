#include "relay/relay_request.h"

#include <climits>

#include "core/arithmetic.h"
#include "core/byte_order.h"
#include "core/context.h"
#include "mirror/register_cache.h"
#include "modbus/checksums.h"
#include "modbus/frame_layout.h"
#include "modbus/request_parts.h"

namespace {

constexpr int kLengthAt = 0;
constexpr int kHostIdAt = 1;
constexpr int kDirectionAt = 2;
constexpr int kLinkIdAt = 3;
constexpr int kRelayStationAt = 4;
constexpr int kRegTypeAt = 5;
constexpr int kRelayAddressAt = 7;
constexpr int kCountAt = 11;
constexpr int kFirstArgAt = 13;
constexpr int kSecondArgAt = 17;
constexpr int kDataAt = 21;
constexpr int kChecksumLen = 1;
constexpr int kReplyOverhead = plc::kReadHeaderLen + plc::kCrcLen;

quint32 bitsOf(qint32 value)
{
    return static_cast<quint32>(value);
}

// Empty when the frame would not fit a byte array.
QByteArray makeRelayFrame(const RW_VAR &var, const QByteArray &data)
{
    const qint64 length = static_cast<qint64>(kDataAt) + data.size() + kChecksumLen;
    if (length > INT_MAX)
        return QByteArray();
    uchar header[kDataAt];
    header[kLengthAt] = plc::lowByte(static_cast<quint32>(length));
    header[kHostIdAt] = plc::lowByte(bitsOf(var.hostId));
    header[kDirectionAt] = plc::lowByte(bitsOf(var.direction));
    header[kLinkIdAt] = plc::lowByte(bitsOf(var.linkId));
    header[kRelayStationAt] = plc::lowByte(bitsOf(var.station));
    plc::putBe16(header + kRegTypeAt, bitsOf(var.regType));
    plc::putBe32(header + kRelayAddressAt, bitsOf(var.address));
    plc::putBe16(header + kCountAt, bitsOf(var.count));
    plc::putBe32(header + kFirstArgAt, bitsOf(var.relayArg1));
    plc::putBe32(header + kSecondArgAt, bitsOf(var.relayArg2));

    QByteArray frame;
    frame.reserve(static_cast<int>(length));
    frame.append(reinterpret_cast<const char *>(header), kDataAt);
    frame.append(data);
    frame.append(static_cast<char>(plc::sumByte(plc::bytesOf(frame), frame.size())));
    return frame;
}

} // namespace

void Remote_ReadVar(RW_VAR *var)
{
    if (!var)
        return;
    Protocol &request = plc::queueTransaction(*var, makeRelayFrame(*var, QByteArray()));
    request.headerLen = plc::kReadHeaderLen;
    request.dataLen = plc::readDataLen(var->regType, var->count);
    request.replyLen = plc::wrappingSum(request.dataLen, kReplyOverhead);
    plc::beginOperation(1);
}

void Remote_WriteVar(RW_VAR *var)
{
    if (!var)
        return;
    const QByteArray frame = makeRelayFrame(*var, var->data);
    if (frame.isEmpty())
        return;
    plc::queueTransaction(*var, frame).replyLen = var->station != 0 ? plc::kWriteReplyLen : 0;
    plc::beginOperation(1);
    // The runtime sees its own values from now on; the reply of a relayed write brings none.
    WriteDataToLocal(var);
}
