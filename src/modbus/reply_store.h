/// @file
/// Moving the values of an accepted read reply to where they belong.
#ifndef PLC_MODBUS_REPLY_STORE_H
#define PLC_MODBUS_REPLY_STORE_H

#include <QByteArray>

#include "core/export.h"

/// Stores the data of @p reply, `dataLen` bytes behind `headerLen` of the head transaction, in the mirror:
/// one entry a bit or register. A reply that is too short stores nothing. The reply of a read-modify-write's
/// first half goes to SpecialRegisterSave() instead. Cycle thread; the caller holds cacheMutex, or listMutex
/// alone for a read-modify-write.
PLC_EXPORT void SaveToLocalDataErea(QByteArray *reply);

/// Completes a read-modify-write. Merges the bit of the first entry of the write list into the register that
/// @p reply brought. The result goes, with a new CRC, into the second frame of the send queue. Does nothing
/// when one of the three is missing. Cycle thread; the caller holds listMutex.
PLC_EXPORT void SpecialRegisterSave(QByteArray *reply);

#endif
