/// @file
/// A map that is not finished, kept in a file.
#ifndef PLC_FINDING_MAP_STATE_H
#define PLC_FINDING_MAP_STATE_H

#include <string>
#include <vector>

#include "host/finding/area_mapper.h"

namespace plc::host {

struct MapState
{
    std::vector<Place> places; ///< as many as MapWish::count; empty = none are known
    int block = 0;
};

/// "4x" for function 3.
const char *areaOfFunction(int function);

/// The state as JSON.
std::string mapStateText(const AreaMapper &mapper);

/// Reads what mapStateText() has made.
/// @param file     how errors call the text.
/// @throw Failure  (wrong usage) with line and column of what is wrong; also where it is of another station,
///                 area or range than @p wish.
MapState parseMapState(const std::string &file, const std::string &text, const MapWish &wish);

} // namespace plc::host

#endif
