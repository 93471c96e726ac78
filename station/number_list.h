/// @file
/// Numbers, station lists and ranges as people type them.
#ifndef PLC_STATION_NUMBER_LIST_H
#define PLC_STATION_NUMBER_LIST_H

#include "station.h"

#include <string>
#include <vector>

namespace plc::station {

/// A decimal number from @p min to @p max and nothing else in @p text.
/// @return false, @p value untouched, for anything else
bool parseNumber(const std::string &text, int min, int max, int *value);

/// Station numbers such as "1,2,5-7", each at most once.
/// @param last     largest number allowed: 247, or 255 where reserved numbers are wanted
/// @param numbers  receives them in the order written
/// @return empty, or what is wrong
std::string parseStationList(const std::string &text, int last, std::vector<int> *numbers);

/// A moving range such as "4x:100", "4x:100:10" (count) or "4x:100:10:5" (step).
/// @return empty, or what is wrong
std::string parseMovingRange(const std::string &text, MovingRange *range);

/// The parts of @p text between separators; one more than there are separators.
std::vector<std::string> splitText(const std::string &text, char separator);

} // namespace plc::station

#endif
