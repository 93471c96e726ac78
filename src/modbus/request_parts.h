/// @file
/// What read, write and relay requests have in common.
#ifndef PLC_MODBUS_REQUEST_PARTS_H
#define PLC_MODBUS_REQUEST_PARTS_H

#include <QtGlobal>

#include "core/records.h"

namespace plc {

/// Index in LW of the word that, when not 0, replaces the station of every Modbus request.
constexpr int kStationOverrideWord = 50500;

/// Station byte of a Modbus request for @p station: the low byte of the override word when that word is not
/// 0, otherwise the low byte of @p station.
uchar stationByte(int station);

/// Data bytes in the reply to a read of @p count units: bits eight to a byte for types 0 and 1, two bytes a
/// register for every other type, wrapping for counts that no request can carry.
int readDataLen(int regType, int count);

/// Register @p value with the bit that @p bitVariable names set or cleared as its data says. A negative
/// address names no bit.
quint16 withBit(quint16 value, const RW_VAR &bitVariable);

} // namespace plc

#endif
