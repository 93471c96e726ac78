/// @file
/// What read, write and relay requests have in common.
#ifndef PLC_MODBUS_REQUEST_PARTS_H
#define PLC_MODBUS_REQUEST_PARTS_H

#include <QtGlobal>

#include "core/byte_order.h"
#include "core/context.h"
#include "core/records.h"
#include "core/register_types.h"

namespace plc {

/// Index in LW of the word that, when not 0, replaces the station of every Modbus request.
constexpr int kStationOverrideWord = 50500;

/// Station byte of a Modbus request for @p station: the low byte of the override word when that word is not
/// 0, otherwise the low byte of @p station.
inline uchar stationByte(int station)
{
    const unsigned short overriding = LW ? LW[kStationOverrideWord] : static_cast<unsigned short>(0);
    return lowByte(overriding != 0 ? static_cast<quint32>(overriding) : static_cast<quint32>(station));
}

/// Data bytes in the reply to a read of @p count units. Types 0 and 1 have eight bits to a byte, every other
/// type two bytes a register. Wraps for counts that no request can carry.
inline int readDataLen(int regType, int count)
{
    if (isBitArea(regType))
        return static_cast<int>((static_cast<qint64>(count) + 7) / 8);
    return static_cast<int>(static_cast<quint32>(count) * 2u);
}

/// Register @p value with the bit that @p bitVariable names set or cleared as its data says. A negative
/// address names no bit.
quint16 withBit(quint16 value, const RW_VAR &bitVariable);

} // namespace plc

#endif
