/// @file
/// Modbus write requests: functions 5, 6, 15 and 16, and bits inside registers.
#ifndef PLC_MODBUS_WRITE_REQUEST_H
#define PLC_MODBUS_WRITE_REQUEST_H

#include "core/records.h"

/// Queues the request or requests that write @p var, then shows the new value in the mirror unless the last
/// transaction has failed.
///
/// A bit inside a holding register cannot be written by itself. It becomes a read of the register, followed
/// by a write whose value is filled in when the read's reply arrives. With option bit 4 it is one write made
/// from the mirrored register.
/// @param var  `data` in the runtime's layout; null does nothing.
/// Cycle thread; the caller holds listMutex. Takes cacheMutex.
PLC_EXPORT void WriteRegister(RW_VAR *var);

/// Queues one write request for @p var as its type says and starts an operation of one step. Frames are
/// complete however long the data is; missing bytes are 0. A read-only type gets a frame of 6 bytes with the
/// function code of the last frame: keep such variables away. Cycle thread; the caller holds listMutex.
PLC_EXPORT void WriteAnalog(RW_VAR *var);

#endif
