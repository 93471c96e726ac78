/// @file
/// What must be known of a serial line before its port is opened.
#ifndef PLC_LINE_LINE_SETTINGS_H
#define PLC_LINE_LINE_SETTINGS_H

#include <string>

namespace plc::runtime {

enum class Parity
{
    Even,
    Odd,
    None
};

struct LineSettings
{
    std::string port;
    int baud = 19200; ///< default and first choice of MODBUS over Serial Line V1.02, 3.2
    Parity parity = Parity::Even;
    int stopBits = 0; ///< 0 = as the parity asks: 2 without parity, else 1

    int effectiveStopBits() const { return stopBits != 0 ? stopBits : parity == Parity::None ? 2 : 1; }
};

} // namespace plc::runtime

#endif
