/// @file
/// Ctrl-C and polite kill as a question.
#ifndef PLC_HOST_INTERRUPT_H
#define PLC_HOST_INTERRUPT_H

namespace plc::host {

/// From now on SIGINT and SIGTERM only set the flag. A second one ends the program at once.
void catchInterrupts();

/// True once one of them has arrived.
bool isInterrupted();

} // namespace plc::host

#endif
