#include "frames.h"

#include "station/modbus_codes.h"

namespace plc::bus {

bool isReadFunction(std::uint8_t function)
{
    return function >= kReadCoils && function <= kReadInputRegisters;
}

Area areaOfFunction(std::uint8_t function)
{
    switch (function) {
    case kReadDiscreteInputs:
        return Area::DiscreteInputs;
    case kReadInputRegisters:
        return Area::InputRegisters;
    case kReadCoils:
    case kWriteSingleCoil:
    case kWriteMultipleCoils:
        return Area::Coils;
    default:
        return Area::HoldingRegisters;
    }
}

Area areaOfBaseType(int baseType)
{
    switch (baseType) {
    case 0:
        return Area::Coils;
    case 1:
        return Area::DiscreteInputs;
    case 4:
        return Area::InputRegisters;
    default:
        return Area::HoldingRegisters;
    }
}

int baseTypeOf(Area area)
{
    switch (area) {
    case Area::Coils:
        return 0;
    case Area::DiscreteInputs:
        return 1;
    case Area::InputRegisters:
        return 4;
    case Area::HoldingRegisters:
        break;
    }
    return 5;
}

std::optional<std::uint16_t> WrittenItems::at(int baseType, int address) const
{
    const int index = address - first;
    if (areaOfBaseType(baseType) != area || index < 0 || index >= static_cast<int>(values.size()))
        return std::nullopt;
    return values[static_cast<std::size_t>(index)];
}

WrittenItems writtenItems(const Bytes &frame)
{
    WrittenItems items;
    items.area = areaOfFunction(frame[1]);
    items.first = getBe16(frame, 2);
    const int quantity = getBe16(frame, 4);
    switch (frame[1]) {
    case kWriteSingleCoil:
        items.values.push_back(frame[4] != 0);
        break;
    case kWriteSingleRegister:
        items.values.push_back(getBe16(frame, 4));
        break;
    case kWriteMultipleCoils:
        for (int i = 0; i < quantity; ++i) {
            const std::uint8_t group = frame[static_cast<std::size_t>(7 + i / 8)];
            items.values.push_back(static_cast<std::uint16_t>(group >> (i % 8) & 1));
        }
        break;
    case kWriteMultipleRegisters:
        for (int i = 0; i < quantity; ++i)
            items.values.push_back(getBe16(frame, static_cast<std::size_t>(7 + 2 * i)));
        break;
    default:
        break;
    }
    return items;
}

} // namespace plc::bus
