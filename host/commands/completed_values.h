/// @file
/// What a shell offers as values of options and in place of variables.
#ifndef PLC_COMMANDS_COMPLETED_VALUES_H
#define PLC_COMMANDS_COMPLETED_VALUES_H

#include <string>
#include <vector>

#include "cli/completion.h"

namespace plc::host {

/// Ports of this machine, areas, names of the driver's options and of policies, and names of the project that
/// is typed in front. A project that cannot be read has no names.
std::vector<std::string> valuesOf(const cli::Typing &typing);

} // namespace plc::host

#endif
