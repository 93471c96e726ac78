/// @file
/// Where plchost looks for the driver when nobody names it.
#ifndef PLC_HOST_DRIVER_SEARCH_H
#define PLC_HOST_DRIVER_SEARCH_H

#include <string>
#include <vector>

namespace plc::host {

/// Folder that the running program lies in.
std::string programFolder();

/// Where a driver is looked for, in this order.
std::vector<std::string> driverCandidates(const std::string &folder);

/// What to load.
/// @param named  path that a user gave; empty = the first candidate that is there, beside the program, in the
///               lib folder next to the program's folder, or where the system looks.
std::string driverToLoad(const std::string &named);

} // namespace plc::host

#endif
