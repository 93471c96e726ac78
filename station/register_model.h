/// @file
/// The four tables of a Modbus device.
#ifndef PLC_STATION_REGISTER_MODEL_H
#define PLC_STATION_REGISTER_MODEL_H

#include "bytes.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace plc::station {

/// The four tables of a Modbus device. They do not overlap here.
enum class Area
{
    Coils,
    DiscreteInputs,
    InputRegisters,
    HoldingRegisters
};

/// "0x", "1x", "3x" and "4x" as people write them; nothing for any other text.
std::optional<Area> areaFromText(const std::string &text);
/// The text of @p area, for messages.
std::string areaText(Area area);
/// True for the areas whose items are single bits.
bool isBitArea(Area area);

constexpr int kWholeArea = 65536;

/// Bits and registers of one station and the functions that read and write them. The work is done by Qt
/// SerialBus' Modbus server, used in memory: no device is opened, no event loop is needed.
class RegisterModel
{
public:
    /// Every area has @p size items, 1 to 65536, from address 0 on, all 0.
    explicit RegisterModel(int size = kWholeArea);
    ~RegisterModel();
    RegisterModel(RegisterModel &&) noexcept;
    RegisterModel &operator=(RegisterModel &&) noexcept;

    /// Executes one request, @p pdu being its function code and data without station and CRC. The result is
    /// the reply in the same form: a normal one, or an exception (02 for addresses beyond
    /// the area, 03 for quantities, values, byte counts and lengths that are not allowed).
    /// @param pdu  at least the function code, one of 1 to 6, 15, 16, 22
    Bytes execute(ByteView pdu);

    /// @p count items from @p address on; nothing where the range leaves the area. Bits are 0 or 1.
    std::optional<std::vector<std::uint16_t>> read(Area area, int address, int count) const;
    /// Stores the items from @p address on; false, nothing stored, where the range leaves the area. A bit is
    /// 1 for any value other than 0. Discrete inputs and input registers can be written here too, as the
    /// process behind a real device would.
    bool write(Area area, int address, const std::vector<std::uint16_t> &values);

private:
    class Server;
    std::unique_ptr<Server> server_;
};

} // namespace plc::station

#endif
