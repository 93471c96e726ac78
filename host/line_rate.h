/// @file
/// The baud rate that a serial port really has.
#ifndef PLC_HOST_LINE_RATE_H
#define PLC_HOST_LINE_RATE_H

#include <string>

#include "host/runtime_names.h"

namespace plc::host {

/// Bits per second that an open port sends with; 0 when the system does not tell. A port's driver takes the
/// nearest rate that the hardware can make, whatever was asked for.
int lineRate(int descriptor);

/// What is to be said about a port that has @p real in place of @p asked bits per second; empty when the
/// difference is harmless, 1 % at most, or when @p real is 0. Both ends together may be off by about twice as
/// much before characters are lost.
std::string rateWarning(const std::string &port, int asked, int real);

} // namespace plc::host

#endif
