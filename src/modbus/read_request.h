/// @file
/// Modbus read requests: functions 1 to 4.
#ifndef PLC_MODBUS_READ_REQUEST_H
#define PLC_MODBUS_READ_REQUEST_H

#include "core/records.h"

/// Queues one 8-byte read request for @p var; the scheduler's name for ReadAnalog().
PLC_EXPORT void ReadRegister(RW_VAR *var);

/// Queues one 8-byte read request for @p var and starts an operation of one step.
/// @param var  read only, not kept; null does nothing. Types 0 and 1 count bits, 4 and 5 count registers;
///             address and count go out modulo 65536. Any other type must be converted before (updateRwVar):
///             its request goes out with the function code of the last frame and expects no data.
/// Cycle thread; the caller holds listMutex.
PLC_EXPORT void ReadAnalog(RW_VAR *var);

#endif
