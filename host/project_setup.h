/// @file
/// A project handed to the driver, as a runtime does it.
#ifndef PLC_HOST_PROJECT_SETUP_H
#define PLC_HOST_PROJECT_SETUP_H

#include <set>

#include "driver_library.h"
#include "project_file.h"

namespace plc::host {

/// Hands the name rows and the variables over; they replace the cyclic reads. After the driver got its
/// settings, once in a process, since the driver never forgets a name row.
/// @return number of the driver's cyclic reads, those of the priority levels not counted.
int registerProject(DriverLibrary &driver, const Project &project);

/// Stations with variables in an area in which a name has a priority level. Over a relay none: no level is served there.
std::set<int> levelStations(const Project &project);

} // namespace plc::host

#endif
