#include "host/project/written_values.h"

namespace plc::host {

namespace {

constexpr int kRegisterBits = 16;

} // namespace

void WrittenValues::note(const Variable &variable, int station, const Values &values)
{
    const int area = variable.area->baseType;
    int at = variable.first;
    for (const std::uint32_t value : values) {
        if (variable.area->insideRegister) {
            std::uint16_t &word = elements_[{station, area, at / kRegisterBits}];
            const auto bit = static_cast<std::uint16_t>(1u << (at % kRegisterBits));
            word = static_cast<std::uint16_t>(value != 0 ? word | bit : word & ~bit);
        } else if (variable.area->unit == Unit::RegisterPair) {
            // The upper half stands first.
            elements_[{station, area, at}] = static_cast<std::uint16_t>(value >> kRegisterBits);
            elements_[{station, area, ++at}] = static_cast<std::uint16_t>(value & 0xFFFFu);
        } else {
            elements_[{station, area, at}] = static_cast<std::uint16_t>(value);
        }
        ++at;
    }
}

Values WrittenValues::heldOf(const Variable &variable, int station) const
{
    const int area = variable.area->baseType;
    const auto element = [&](int address) -> std::uint32_t { return elements_.at({station, area, address}); };
    Values values;
    int at = variable.first;
    for (int i = 0; i < variable.rawCount(); ++i, ++at) {
        if (variable.area->insideRegister) {
            values.push_back(element(at / kRegisterBits) >> (at % kRegisterBits) & 1u);
        } else if (variable.area->unit == Unit::RegisterPair) {
            const std::uint32_t upper = element(at);
            values.push_back(upper << kRegisterBits | element(++at));
        } else {
            values.push_back(element(at));
        }
    }
    return values;
}

} // namespace plc::host
