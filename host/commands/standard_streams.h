/// @file
/// Standard output and standard error, and what becomes of what is written there.
#ifndef PLC_COMMANDS_STANDARD_STREAMS_H
#define PLC_COMMANDS_STANDARD_STREAMS_H

#include <string>

#include "host/runtime_names.h"

namespace plc::host {

/// To be called before any file is opened. A standard descriptor that is closed gets a stand-in that takes
/// nothing: otherwise the next file, which may be the port, would become standard output. From now on a
/// reader that has gone, and a file that is too large, are errors of a write and no signals.
void prepareStreams();

/// Writes to standard output, at once. Behind the first failure nothing more is written, and
/// finishStreams() tells of it. One thread.
void print(const std::string &text);

/// True where a command need not go on printing: standard output could not be written, or the reader of
/// standard output or standard error has gone away.
bool isOutputOver();

/// Takes note of a file that could not be written, which somebody has told or will.
void failOutput();

/// Sees to it that all output has arrived. Behind it nothing is printed.
/// @return @p code, or 7 where a file could not be written, or, with a line on standard error, standard
///         output. A reader that has gone away is no failure.
int finishStreams(int code);

/// Columns of the terminal at standard error; 0 where there is none.
int columnsOfErrors();

} // namespace plc::host

#endif
