/// @file
/// Switched-off stations. EnCommStation and EnableEthernet are declared in plcdriver.h.
#ifndef PLC_CYCLE_STATION_SET_H
#define PLC_CYCLE_STATION_SET_H

#include "core/export.h"

/// 1 when @p station is switched off, else 0. Takes stationMutex; may be called with listMutex held.
PLC_EXPORT int Ethernetcontains(int station);

#endif
