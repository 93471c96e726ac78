/// @file
/// Relay frames: requests wrapped for a peer that carries them on to the station.
///
///     0  length of the frame modulo 256       7  address, 4 bytes
///     1  hostId, low byte                    11  count, 2 bytes
///     2  direction, low byte                 13  relayArg1, 4 bytes
///     3  linkId, low byte                    17  relayArg2, 4 bytes
///     4  station, low byte                   21  data of a write
///     5  regType, 2 bytes                     n  checksum
///
/// Numbers go high byte first. The checksum is the low byte of the sum of all bytes before it.
#ifndef PLC_RELAY_RELAY_REQUEST_H
#define PLC_RELAY_RELAY_REQUEST_H

#include "core/records.h"

/// Queues the relay frame that reads @p var and starts an operation of one step. The expected reply is a
/// Modbus read reply. Null does nothing. Cycle thread; the caller holds listMutex.
PLC_EXPORT void Remote_ReadVar(RW_VAR *var);

/// Queues the relay frame that writes @p var, starts an operation of one step and shows the values in the
/// mirror at once. The expected reply has 8 bytes; none is expected of station 0. Null does nothing. Cycle
/// thread; the caller holds listMutex. Takes cacheMutex.
PLC_EXPORT void Remote_WriteVar(RW_VAR *var);

#endif
