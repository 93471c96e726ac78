/// @file
/// How long characters and silences take on a serial line.
#ifndef PLC_LINE_LINE_TIMING_H
#define PLC_LINE_LINE_TIMING_H

#include "runtime/line/link_time.h"

namespace plc::runtime {

/// Times of a line at one baud rate, rounded up. A character counts 11 bits whatever the parity. So lines
/// without parity and with one stop bit get silences a little longer than need be. (MODBUS over Serial Line
/// V1.02, 2.5.1 and 2.5.1.1)
class LineTiming
{
public:
    static constexpr int kBitsPerCharacter = 11;

    /// @param baud  bits per second, at least 1.
    explicit LineTiming(int baud);

    /// One character.
    Time character() const { return wire(1); }
    /// The silence that separates two frames: 3.5 characters, above 19200 baud always 1.75 ms.
    Time silence() const;
    /// @p bytes characters in a row; 0 for a number below 1.
    Time wire(int bytes) const;

private:
    int baud_;
};

} // namespace plc::runtime

#endif
