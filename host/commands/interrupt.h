/// @file
/// Ctrl-C and polite kill as a question.
#ifndef PLC_COMMANDS_INTERRUPT_H
#define PLC_COMMANDS_INTERRUPT_H

#include "host/runtime_names.h"

namespace plc::host {

/// From now on SIGINT and SIGTERM only set the flag. A second one ends the program at once.
void catchInterrupts();

/// True once one of them has arrived.
bool isInterrupted();

} // namespace plc::host

#endif
