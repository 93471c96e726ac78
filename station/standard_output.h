/// @file
/// Standard output, and what becomes of what is written there.
#ifndef PLC_STATION_STANDARD_OUTPUT_H
#define PLC_STATION_STANDARD_OUTPUT_H

#include <string>

namespace plc::station {

/// To be called before any file is opened. A standard descriptor that is closed gets a stand-in that takes
/// nothing: otherwise the next file, which may be the pseudo-terminal, would become standard output. A
/// reader that has gone, and a file that is too large, are errors of a write and no signals.
void prepareStreams();

/// Writes to standard output, at once.
/// @return why it could not be written; empty where it was, or where the reader has gone away.
std::string print(const std::string &text);

} // namespace plc::station

#endif
