#include "cycle/station_set.h"

#include <QMutexLocker>

#include "core/context.h"
#include "core/guarded.h"
#include "plcdriver.h"

void EnCommStation(int station, int enable)
{
    plc::guarded(0, [=] {
        QMutexLocker lock(&PLC_driver.stationMutex);
        if (station < 0)
            PLC_driver.disabledStations.clear();
        else if (enable == 0)
            PLC_driver.disabledStations.insert(station, 0);
        else if (enable == 1)
            PLC_driver.disabledStations.remove(station);
        return 0;
    });
}

void EnableEthernet(int station, int enable)
{
    EnCommStation(station, enable);
}

int Ethernetcontains(int station)
{
    QMutexLocker lock(&PLC_driver.stationMutex);
    return PLC_driver.disabledStations.contains(station) ? 1 : 0;
}
