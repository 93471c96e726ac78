/// @file
/// Files with the initial values of stations.
#ifndef PLC_STATION_AREAS_FILE_H
#define PLC_STATION_AREAS_FILE_H

#include "station_bus.h"

#include <string>

namespace plc::station {

/// Initial values and moving items from JSON text:
///
///     {
///       "4x": { "100": [4660, 43981], "200-299": 7 },
///       "0x": { "16": [1, 0, true] },
///       "moving": [ { "area": "3x", "address": 0, "count": 4, "step": 1 } ],
///       "stations": { "2": { "4x": { "100": 1 } } }
///     }
///
/// What stands at the top goes to every station; then what stands under a station's number goes to it alone.
/// An area's keys are addresses (a list fills the items from there on, a number one item) or ranges (a number
/// fills them all). Registers take -32768 to 65535, bits 0, 1, false and true.
///
/// @param name  how messages call the file
/// @param bus   receives the values
/// @return empty, or one line that says what is wrong and where: line and column where the text is no JSON,
///         the path to the value (stations.2.4x.100) otherwise. The bus may then hold some of the values.
std::string loadAreas(const std::string &name, const std::string &text, StationBus *bus);

/// Reads @p path and loads it as loadAreas does.
std::string loadAreasFile(const std::string &path, StationBus *bus);

} // namespace plc::station

#endif
