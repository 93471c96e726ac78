/// @file
/// The commands of plchost. Each adds itself to the command line and hands out what is to be run.
#ifndef PLC_HOST_COMMANDS_H
#define PLC_HOST_COMMANDS_H

#include <functional>

#include "failure.h"

namespace CLI {
class App;
}

namespace plc::host {

/// Runs a command whose options have been parsed.
using Command = std::function<ExitCode()>;

/// Called by the command line with the command that was chosen.
using Choose = std::function<void(Command)>;

/// plchost read: reads each variable once.
void addReadCommand(CLI::App *program, const Choose &choose);
/// plchost write: writes values and waits until each write has ended.
void addWriteCommand(CLI::App *program, const Choose &choose);
/// plchost watch: reads variables over and over.
void addWatchCommand(CLI::App *program, const Choose &choose);
/// plchost run: plays the runtime of a project.
void addRunCommand(CLI::App *program, const Choose &choose);
/// plchost plan: what a project costs on the line.
void addPlanCommand(CLI::App *program, const Choose &choose);
/// plchost demo: everything at once against a simulated station of its own.
void addDemoCommand(CLI::App *program, const Choose &choose);

} // namespace plc::host

#endif
