/// @file
/// Ctrl-C, a polite kill and a terminal that goes, as a question.
#ifndef PLC_COMMANDS_INTERRUPT_H
#define PLC_COMMANDS_INTERRUPT_H

#include "host/runtime_names.h"

namespace plc::host {

/// Before this call these signals end the program as they end any other. From now on SIGINT, SIGTERM and
/// SIGHUP only set the flag. A second SIGINT or SIGTERM ends the program at once. SIGHUP stays ignored where
/// whoever started the program wanted it so, as nohup does.
void catchInterrupts();

/// What is to be done before the second one ends the program; null for nothing. It may call only what signal
/// handlers may.
void beforeSecondInterrupt(void (*act)());

/// True once one of them has arrived.
bool isInterrupted();

/// From now on SIGUSR1 only sets a flag. Without this call it ends the program.
void catchReopening();

/// True once for each SIGUSR1, or for several that came together: files that are written to should be opened
/// again.
bool takeReopening();

} // namespace plc::host

#endif
