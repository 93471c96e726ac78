/// @file
/// Request frames as stations and witness read them.
#ifndef PLC_TESTS_BUS_FRAMES_H
#define PLC_TESTS_BUS_FRAMES_H

#include <cstdint>
#include <optional>
#include <vector>

#include "station/bytes.h"
#include "station/register_model.h"

namespace plc::bus {

using namespace station; // its bytes, areas and rules are the line's

constexpr std::size_t kCrcLen = 2;

bool isReadFunction(std::uint8_t function);

/// Area that a function reads or writes.
Area areaOfFunction(std::uint8_t function);

/// Area of a base type of the driver: 0, 1, 4 or 5.
Area areaOfBaseType(int baseType);

/// Base type of an area.
int baseTypeOf(Area area);

/// What a write frame changes.
struct WrittenItems
{
    Area area = Area::HoldingRegisters;
    int first = 0;
    std::vector<std::uint16_t> values; ///< bits are 0 or 1; empty for a frame that writes nothing

    /// The value at an address; nothing where the frame writes none.
    std::optional<std::uint16_t> at(int baseType, int address) const;
};

/// @param frame  whole, of functions 1 to 6, 15 and 16, with a good CRC.
WrittenItems writtenItems(const Bytes &frame);

} // namespace plc::bus

#endif
