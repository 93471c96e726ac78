/// @file
/// Checksums of Modbus RTU and relay frames. The exported CalCRC, CalSUM, CalLRC, CalXOR and digit helpers
/// are declared in plcdriver.h.
#ifndef PLC_MODBUS_CHECKSUMS_H
#define PLC_MODBUS_CHECKSUMS_H

#include <QtGlobal>

namespace plc {

/// CRC-16 of @p length bytes (MODBUS over Serial Line V1.02, 6.2.2); 0xFFFF for none.
quint16 crc16(const uchar *bytes, int length);

/// Low byte of the sum of @p length bytes.
uchar sumByte(const uchar *bytes, int length);

} // namespace plc

#endif
