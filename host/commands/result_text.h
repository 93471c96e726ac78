/// @file
/// What became of orders and stations, in words for people.
#ifndef PLC_COMMANDS_RESULT_TEXT_H
#define PLC_COMMANDS_RESULT_TEXT_H

#include <string>

#include "host/runtime_names.h"

namespace plc::host {

/// "no answer from station 5 after 3 attempts ...": how an order has ended that is not good, and what to try.
std::string describe(const OrderResult &result, int station);

/// The same of the last reading of a variable.
std::string describe(const VariableState &state, int station);

/// "station 5 is offline after 3 failures in a row; next try in 10 s".
std::string describe(const StationChange &change);

/// What has become of a port that is looked for: "port '/dev/ttyUSB0' is lost ...".
std::string describe(const PortChange &change, const std::string &port);

} // namespace plc::host

#endif
