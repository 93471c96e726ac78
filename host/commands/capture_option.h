/// @file
/// --capture: opened with the line, and told of where packets are missing.
#ifndef PLC_COMMANDS_CAPTURE_OPTION_H
#define PLC_COMMANDS_CAPTURE_OPTION_H

#include <memory>
#include <string>

#include "host/capture/captured_port.h"
#include "host/runtime_names.h"

namespace plc::host {

/// Opens the file of --capture. Of a named pipe waits for its reader, until the program is interrupted.
/// @param path  empty: null is returned.
/// @throw Failure  (wrong usage) where it cannot be opened.
std::shared_ptr<Capture> openCapture(const std::string &path, const LineSettings &settings,
                                     bool hasEcho = false);

/// Writes what is left. Where packets are missing, a line on standard error says so, and the program ends
/// with the exit code of lost output. A reader of a pipe that has gone away is no failure.
/// @param capture  null: nothing is done.
void finishCapture(Capture *capture);

} // namespace plc::host

#endif
