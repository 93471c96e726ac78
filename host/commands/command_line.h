/// @file
/// The command line of plchost: which words and options there are, and what each command is given of them.
#ifndef PLC_COMMANDS_COMMAND_LINE_H
#define PLC_COMMANDS_COMMAND_LINE_H

#include <functional>

#include "host/exit_codes.h"
#include "host/runtime_names.h"

namespace plc::host {

/// What the command line asks for, with its options; to be run once.
using Command = std::function<ExitCode()>;

/// @return the command that was chosen, or one that shows the help that was asked for.
/// @throw Failure  (wrong usage)
Command parseCommandLine(int argc, char **argv);

} // namespace plc::host

#endif
