/// @file
/// Lists of stations as people type them.
#ifndef PLC_COMMANDS_STATION_LIST_H
#define PLC_COMMANDS_STATION_LIST_H

#include <string>
#include <vector>

#include "host/runtime_names.h"

namespace plc::host {

/// Reads "5", "1,3,5-8"; 0 stands for all stations, of a broadcast.
/// @param list   gets the numbers in the order typed.
/// @param least  0, or 1 where nothing is broadcast.
/// @return empty, or what is wrong: a line for people.
std::string stationListMistake(const std::string &text, std::vector<int> *list, int least = 0);

} // namespace plc::host

#endif
