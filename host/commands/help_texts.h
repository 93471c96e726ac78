/// @file
/// What the help and the man page say on the commands beside their options.
#ifndef PLC_COMMANDS_HELP_TEXTS_H
#define PLC_COMMANDS_HELP_TEXTS_H

#include "cli/manual.h"

namespace plc::host {

cli::Manual programManual();
cli::Manual readManual();
cli::Manual writeManual();
cli::Manual watchManual();
cli::Manual runManual();
cli::Manual listenManual();
cli::Manual planManual();
cli::Manual identifyManual();
cli::Manual limitsManual();
cli::Manual mapManual();
cli::Manual rawManual();
cli::Manual portsManual();
cli::Manual scanManual();
cli::Manual projectManual();
cli::Manual fromCsvManual();
cli::Manual toCsvManual();
cli::Manual demoManual();

} // namespace plc::host

#endif
