/// @file
/// What became of orders and stations, in words for people.
#ifndef PLC_COMMANDS_RESULT_TEXT_H
#define PLC_COMMANDS_RESULT_TEXT_H

#include <string>

#include "host/runtime_names.h"
#include "runtime/master/link.h"

namespace plc::host {

/// "no answer from station 5 after 3 attempts ...": what went wrong, and what to try.
std::string describeResult(const OrderResult &result, int station, const LinkSettings &settings);

/// "station 5 is offline after 3 failures in a row; next try in 10 s".
std::string describe(const StationNews &news);

/// What has become of a port that is looked for: "port '/dev/ttyUSB0' is lost ...".
std::string describe(const PortNews &news, const std::string &port);

} // namespace plc::host

#endif
