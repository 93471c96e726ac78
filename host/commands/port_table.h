/// @file
/// The serial ports of a machine as they are printed.
#ifndef PLC_COMMANDS_PORT_TABLE_H
#define PLC_COMMANDS_PORT_TABLE_H

#include <string>
#include <vector>

#include "host/commands/output.h"
#include "host/commands/wall_clock.h"
#include "runtime/line/port_list.h"

namespace plc::host {

/// The ports as they were at @p time, with a head line in text and CSV, in ndjson an object a line. Nothing
/// for no port, but CSV has its head line then, too.
std::string portTable(const std::vector<runtime::ListedPort> &ports, Format format, WallTime time);

} // namespace plc::host

#endif
