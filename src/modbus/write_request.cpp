#include "modbus/write_request.h"

#include <QMutexLocker>

#include <climits>
#include <cstring>

#include "core/byte_order.h"
#include "core/context.h"
#include "core/register_types.h"
#include "mirror/register_cache.h"
#include "modbus/checksums.h"
#include "modbus/frame_layout.h"
#include "modbus/read_request.h"
#include "modbus/request_parts.h"

namespace {

enum class Form
{
    NoData,         // a type that cannot be written: address and CRC only
    SingleCoil,     // the value, FF 00 or 00 00, takes the place of the quantity
    SingleRegister, // the value, high byte first, takes the place of the quantity
    Multiple        // quantity, byte count, data
};

struct WriteLayout
{
    Form form;
    uchar function;
    quint32 quantity;
    int group; // bytes that are reversed together: 1 for bits, 2 for registers, 4 for 32-bit values
};

WriteLayout layoutOf(const RW_VAR &var)
{
    const quint32 count = static_cast<quint32>(var.count);
    const WriteLayout coil = {Form::SingleCoil, plc::kWriteSingleCoil, 0, 1};
    const WriteLayout coils = {Form::Multiple, plc::kWriteMultipleCoils, count, 1};
    const WriteLayout oneRegister = {Form::SingleRegister, plc::kWriteSingleRegister, 0, 2};
    const WriteLayout registers = {Form::Multiple, plc::kWriteMultipleRegisters, count, 2};
    const WriteLayout pairs = {Form::Multiple, plc::kWriteMultipleRegisters, count * 2u, 4};
    const WriteLayout none = {Form::NoData, 0, 0, 1};

    switch (var.regType) {
    case plc::kCoil:
        return var.count == 1 ? coil : coils;
    case plc::kHoldingRegister:
        return var.count == 1 && !plc::registerGoesAsBlock() ? oneRegister : registers;
    case plc::kHoldingRegisterPair:
        return pairs;
    case plc::kHoldingSingle:
        return oneRegister;
    case plc::kHoldingBlock:
        return registers;
    default:
        return none;
    }
}

// Bytes in front of the data, put together in the driver's buffer. Returns their number.
int putHeader(uchar *tx, const WriteLayout &layout, const RW_VAR &var)
{
    tx[plc::kStationAt] = plc::stationByte(var.station);
    plc::putBe16(tx + plc::kAddressAt, static_cast<quint32>(var.address));
    // Deliberate: a type that cannot be written repeats the function code of the last frame.
    if (layout.form == Form::NoData)
        return plc::kQuantityAt;

    tx[plc::kFunctionAt] = layout.function;
    if (layout.form == Form::Multiple) {
        plc::putBe16(tx + plc::kQuantityAt, layout.quantity);
        tx[plc::kByteCountAt] = plc::lowByte(static_cast<quint32>(var.data.size()));
        return plc::kWriteDataAt;
    }
    if (layout.form == Form::SingleCoil) {
        tx[plc::kQuantityAt] = plc::byteAt(var.data, 0) != 0 ? 0xFF : 0x00;
        tx[plc::kQuantityAt + 1] = 0x00;
    } else {
        tx[plc::kQuantityAt] = plc::byteAt(var.data, 1);
        tx[plc::kQuantityAt + 1] = plc::byteAt(var.data, 0);
    }
    return plc::kSingleWriteCrcAt;
}

// The data with each group of bytes turned round, the last group filled up with zeros.
void putReversedGroups(uchar *to, const QByteArray &data, int group)
{
    for (int start = 0; start < data.size(); start += group) {
        for (int i = 0; i < group; ++i)
            to[start + i] = plc::byteAt(data, start + group - 1 - i);
    }
}

// Empty when the frame would not fit a byte array.
QByteArray makeWriteFrame(const RW_VAR &var)
{
    const WriteLayout layout = layoutOf(var);
    const int headerLen = putHeader(PLC_driver.txBuf, layout, var);
    const qint64 groups = (static_cast<qint64>(var.data.size()) + layout.group - 1) / layout.group;
    const qint64 dataLen = layout.form == Form::Multiple ? groups * layout.group : 0;
    const qint64 length = headerLen + dataLen + plc::kCrcLen;
    if (length > INT_MAX)
        return QByteArray();

    QByteArray frame(static_cast<int>(length), '\0');
    uchar *const bytes = plc::bytesOf(frame);
    std::memcpy(bytes, PLC_driver.txBuf, static_cast<size_t>(headerLen));
    if (dataLen > 0)
        putReversedGroups(bytes + headerLen, var.data, layout.group);
    const int crcAt = frame.size() - plc::kCrcLen;
    plc::putCrc(bytes + crcAt, plc::crc16(bytes, crcAt), plc::swapsRequestCrc());
    return frame;
}

// The value is filled in when the register's own value has come back.
void queueReadThenWrite(RW_VAR reg)
{
    reg.data = QByteArray(2, '\0');
    reg.direction = 0;
    reg.relayArg1 = plc::kReadHalf;
    ReadRegister(&reg);
    reg.direction = 1;
    reg.relayArg1 = 0;
    WriteAnalog(&reg);
    plc::beginOperation(2);
}

quint16 mirroredRegister(const RW_VAR &reg)
{
    QMutexLocker lock(&PLC_driver.cacheMutex);
    const QHash<quint64, QByteArray> &cache = PLC_driver.registerCache;
    const QHash<quint64, QByteArray>::const_iterator entry =
        cache.constFind(makeCacheKey(reg.station, reg.regType, reg.address));
    if (entry == cache.constEnd())
        return 0;
    const uchar bytes[2] = {plc::byteAt(*entry, 0), plc::byteAt(*entry, 1)};
    return plc::getLe16(bytes);
}

void queueWriteFromMirror(RW_VAR reg, const RW_VAR &bit)
{
    const quint16 value = plc::withBit(mirroredRegister(reg), bit);
    if (reg.data.size() < 2)
        reg.data.resize(2);
    reg.data[0] = static_cast<char>(plc::lowByte(value));
    reg.data[1] = static_cast<char>(plc::highByte(value));
    WriteAnalog(&reg);
}

void queueBitWrite(const RW_VAR &bit)
{
    RW_VAR reg = bit;
    reg.regType = getPlcReg(bit.regType);
    reg.count = 1;
    reg.address = bit.address / 16;
    if (plc::bitComesFromMirror())
        queueWriteFromMirror(reg, bit);
    else
        queueReadThenWrite(reg);
}

} // namespace

void WriteAnalog(RW_VAR *var)
{
    if (!var)
        return;
    const QByteArray frame = makeWriteFrame(*var);
    if (frame.isEmpty())
        return;
    // Nobody answers a broadcast (MODBUS over Serial Line V1.02, 2.1).
    plc::queueTransaction(*var, frame).replyLen = var->station != 0 ? plc::kReplyOpen : 0;
    plc::beginOperation(1);
}

void WriteRegister(RW_VAR *var)
{
    if (!var)
        return;
    if (var->regType == plc::kHoldingRegisterBit)
        queueBitWrite(*var);
    else
        WriteAnalog(var);
    // After a failure the mirror shows what the station last said, and what SetRegisterData puts there
    // itself.
    if (!PLC_driver.failed.load())
        WriteDataToLocal(var);
}
