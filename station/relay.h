/// @file
/// Relay frames: what a peer gets instead of a Modbus request.
#ifndef PLC_STATION_RELAY_H
#define PLC_STATION_RELAY_H

#include "framer.h"
#include "station_bus.h"

#include <optional>

namespace plc::station {

/// A relay frame taken apart. Every field but the data goes high byte first:
///
///     0      1       2          3       4        5..6     7..10    11..12  13..16  17..20
///     length host id direction  link id station  reg type address  count   arg 1   arg 2   data...  checksum
///
/// A read is the 22 bytes without data. The checksum is the low byte of the sum of all bytes before it; the
/// length is that of the whole frame modulo 256.
struct RelayRequest
{
    std::uint8_t hostId = 0;
    bool writes = false;
    std::uint8_t linkId = 0;
    std::uint8_t station = 0;
    int regType = 0; ///< 0 to 9: coils, inputs, input bits, holding bits, input and holding registers, ...
    std::uint32_t address = 0;
    int count = 0; ///< bits, registers, or 32-bit values (type 7, writes)
    std::uint32_t arg1 = 0;
    std::uint32_t arg2 = 0;
    /// Values in the panel's layout: coils eight to a byte, lowest first; registers low byte first; 32-bit
    /// values as register A+1 low, A+1 high, A low, A high; one byte for a bit inside a register.
    Bytes data;
};

/// Takes a relay frame apart; nothing when length byte or checksum are wrong.
std::optional<RelayRequest> unpackRelayFrame(ByteView frame);

/// Relay frames in a stream. The length byte is checked against type and count. These also give the true
/// length of a write beyond 255 bytes, of which the length byte is only the low byte.
FrameRule relayRequestRule();

/// Answers relay frames as the far end of a relay does: executes them on the stations of a bus and replies in
/// Modbus RTU form. A read gets station, function code, byte count, data and CRC; a write gets 8 bytes. The
/// data are (count + 7) / 8 bytes for coils and inputs and 2 x count for every other type.
class RelayResponder : public Responder
{
public:
    /// @param bus  owner of the stations; outlives this object
    explicit RelayResponder(StationBus *bus) : bus_(bus) {}

    Answer answer(const Bytes &frame) override;
    Answer refuse(const Bytes &frame, std::uint8_t code) override;
    bool expectsReply(const Bytes &frame) const override;
    void noteBadFrame() override { bus_->noteBadFrame(); }

private:
    StationBus *bus_;
};

} // namespace plc::station

#endif
