/// @file
/// What must be known of a serial line before its port is opened.
#ifndef PLC_LINE_LINE_SETTINGS_H
#define PLC_LINE_LINE_SETTINGS_H

#include <optional>
#include <string>

namespace plc::runtime {

enum class Parity
{
    Even,
    Odd,
    None
};

/// The port switches the direction of a two-wire line itself, by its line RTS.
struct Rs485
{
    bool rtsOnSend = true; ///< RTS is set while sending, and otherwise cleared; false: the other way round
    int beforeMs = 0;      ///< from switching to the first bit
    int afterMs = 0;       ///< from the last bit to switching back
};

struct LineSettings
{
    std::string port;
    /// What Port::identity() said of the device that is wanted; empty: whatever device is at `port`.
    std::string identity;
    int baud = 19200; ///< default and first choice of MODBUS over Serial Line V1.02, 3.2
    Parity parity = Parity::Even;
    int stopBits = 0;           ///< 0 = as the parity asks: 2 without parity, else 1
    std::optional<Rs485> rs485; ///< nothing: the port stays as it is
    bool anyRate = false;       ///< a port that runs at another rate is taken all the same

    int effectiveStopBits() const { return stopBits != 0 ? stopBits : parity == Parity::None ? 2 : 1; }
    /// On the wire, start bit included.
    int bitsPerCharacter() const { return 1 + 8 + (parity == Parity::None ? 0 : 1) + effectiveStopBits(); }
};

} // namespace plc::runtime

#endif
