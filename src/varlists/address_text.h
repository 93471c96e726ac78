/// @file
/// Addresses as the user types them on the panel. PLCAddressChangeIntef is declared in plcdriver.h.
#ifndef PLC_VARLISTS_ADDRESS_TEXT_H
#define PLC_VARLISTS_ADDRESS_TEXT_H

#include <QString>

#include "core/export.h"

/// Number of an address text; see PLCAddressChangeIntef(). Negative for a text that is no address. Any
/// thread, no lock.
PLC_EXPORT int StringAddressToInt(int regType, QString text);

#endif
