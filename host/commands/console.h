/// @file
/// The program around a command's session: real ports, Ctrl-C and standard error.
#ifndef PLC_COMMANDS_CONSOLE_H
#define PLC_COMMANDS_CONSOLE_H

#include "host/runtime_names.h"
#include "runtime/panel/session.h"

namespace plc::host {

/// Ports of this system; calls that wait end when the program is interrupted. Warnings of a port go to
/// standard error, with @p verbose all that it tells.
/// @param realtime  the thread of the line goes before all others; where the system refuses that, a line on
///                  standard error says so.
Surroundings systemSurroundings(bool verbose, bool realtime = false);

/// Writes the trace to standard error; nothing unless @p verbose.
TraceListener traceOnStandardError(bool verbose);

} // namespace plc::host

#endif
