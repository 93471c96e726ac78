/// @file
/// What the help and the man page say on plcstation beside its options.
#ifndef PLC_STATION_HELP_TEXT_H
#define PLC_STATION_HELP_TEXT_H

#include "cli/manual.h"

namespace plc::station {

cli::Manual manual();

} // namespace plc::station

#endif
