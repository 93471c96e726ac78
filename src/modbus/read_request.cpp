#include "modbus/read_request.h"

#include "core/byte_order.h"
#include "core/context.h"
#include "core/register_types.h"
#include "modbus/checksums.h"
#include "modbus/frame_layout.h"
#include "modbus/request_parts.h"

namespace {

// 0 for a type that no request can read.
uchar functionOf(int regType)
{
    switch (regType) {
    case plc::kCoil:
        return plc::kReadCoils;
    case plc::kDiscreteInput:
        return plc::kReadDiscreteInputs;
    case plc::kInputRegister:
        return plc::kReadInputRegisters;
    case plc::kHoldingRegister:
        return plc::kReadHoldingRegisters;
    default:
        return 0;
    }
}

} // namespace

void ReadRegister(RW_VAR *var)
{
    ReadAnalog(var);
}

void ReadAnalog(RW_VAR *var)
{
    if (!var)
        return;
    const uchar function = functionOf(var->regType);
    uchar *const tx = PLC_driver.txBuf;
    tx[plc::kStationAt] = plc::stationByte(var->station);
    // Deliberate: a type without a function of its own repeats the code of the last frame.
    if (function != 0)
        tx[plc::kFunctionAt] = function;
    plc::putBe16(tx + plc::kAddressAt, static_cast<quint32>(var->address));
    plc::putBe16(tx + plc::kQuantityAt, static_cast<quint32>(var->count));
    const int crcAt = plc::kReadRequestLen - plc::kCrcLen;
    plc::putCrc(tx + crcAt, plc::crc16(tx, crcAt), plc::swapsRequestCrc());

    Protocol &request =
        plc::queueTransaction(*var, QByteArray(reinterpret_cast<const char *>(tx), plc::kReadRequestLen));
    request.replyLen = plc::kReplyOpen;
    request.headerLen = plc::kReadHeaderLen;
    request.dataLen = function != 0 ? plc::readDataLen(var->regType, var->count) : 0;
    plc::beginOperation(1);
}
