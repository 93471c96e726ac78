/// @file
/// A map as a project.
#ifndef PLC_FINDING_MAP_PROJECT_H
#define PLC_FINDING_MAP_PROJECT_H

#include "host/finding/area_mapper.h"
#include "host/project/project_file.h"

namespace plc::host {

/// A variable for each island, in requests that the station takes, and what lies between the islands as
/// holes.
Project projectOf(const AreaMapper &mapper, const LinkSettings &link);

} // namespace plc::host

#endif
