/// @file
/// The settings of a terminal device, whichever of its two records the system knows.
#ifndef PLC_LINE_TERMINAL_MODE_H
#define PLC_LINE_TERMINAL_MODE_H

// Not <termios.h>: it has no name for other rates than the standard ones, and does not go together with this
// header.
#include <asm/termbits.h>

namespace plc::runtime {

struct TerminalMode
{
    termios2 record{};
    bool knowsAnyRate = true; ///< false where the system knows the older record alone: standard rates only
};

/// Bits per second; 0 where the record does not tell.
int rateOf(const TerminalMode &mode);

/// @return false where the record has no such rate.
bool setRate(TerminalMode *mode, int baud);

} // namespace plc::runtime

#endif
