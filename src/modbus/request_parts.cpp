#include "modbus/request_parts.h"

#include "core/byte_order.h"
#include "core/context.h"
#include "core/register_types.h"
#include "mirror/register_cache.h"

namespace plc {

uchar stationByte(int station)
{
    const unsigned short overriding = LW ? LW[kStationOverrideWord] : static_cast<unsigned short>(0);
    return lowByte(overriding != 0 ? static_cast<quint32>(overriding) : static_cast<quint32>(station));
}

int readDataLen(int regType, int count)
{
    if (isBitArea(regType))
        return static_cast<int>((static_cast<qint64>(count) + 7) / 8);
    return static_cast<int>(static_cast<quint32>(count) * 2u);
}

quint16 withBit(quint16 value, const RW_VAR &bitVariable)
{
    const int bit = bitVariable.address % 16;
    const unsigned mask = bit < 0 ? 0u : 1u << bit;
    const bool set = byteAt(bitVariable.data, 0) != 0;
    return static_cast<quint16>(set ? value | mask : value & ~mask);
}

} // namespace plc
