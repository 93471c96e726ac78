/// @file
/// The checksum of a Modbus serial line, worked out on its own.
#ifndef PLC_STATION_CRC_H
#define PLC_STATION_CRC_H

#include "bytes.h"

namespace plc::station {

/// Which byte of the CRC is sent first. Modbus says the low one; some devices do it the other way round.
enum class CrcOrder
{
    LowFirst,
    HighFirst
};

/// CRC-16 of a Modbus serial line (MODBUS over Serial Line V1.02, 6.2.2), bit by bit. Deliberately neither
/// fast nor shared with the master under test: the station is a witness of what the master computes.
std::uint16_t crc16(ByteView bytes);

/// Appends the CRC of everything in @p frame to it.
void appendCrc(Bytes *frame, CrcOrder order);

/// True when the last two bytes are the CRC of those before them; false for fewer than three bytes.
bool hasGoodCrc(ByteView frame, CrcOrder order);

} // namespace plc::station

#endif
