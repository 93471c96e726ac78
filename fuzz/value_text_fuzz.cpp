// A variable on the first line and values on the second, any bytes: what is taken comes back from its own
// text, whatever the format, and what is refused is wrong usage. The bytes of the values are registers too:
// what they mean can be typed again.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>

#include "fuzz/support/claim.h"
#include "runtime/line/failure.h"
#include "runtime/panel/value_text.h"
#include "runtime/panel/values.h"

namespace plc::fuzz {

using namespace runtime;

namespace {

void claimGoodVariable(const Variable &variable)
{
    claim(variable.area != nullptr && variable.count >= 1 && variable.count <= 65536,
          "a variable has values");
    claim(variable.baseFirst() >= 0 && variable.baseFirst() + variable.baseCount() <= 65536,
          "a variable lies in its area");
    claim(variable.valueElements() >= 1 && variable.valueElements() <= 123, "a value fits into a request");
    claim(!variable.format || variable.area->unit != Unit::Bit, "bits have no format");
    const Variable second = parseVariable(variable.nameOf(variable.count - 1), false);
    claim(second.area == variable.area && second.format == variable.format &&
              second.first == variable.first + (variable.count - 1) * variable.valueElements(),
          "the name of a value is a variable at its place");
}

/// People can type it: it is neither NaN, infinite, nor bad.
bool isWritable(const Value &value)
{
    return !value.isBad && (value.type != Value::Type::Real || std::isfinite(value.real));
}

/// All values as one line, or nothing where some cannot be typed.
void claimComesBack(const Variable &variable, const Values &values)
{
    for (int index = 0; index < valueCount(variable, values); ++index) {
        if (!isWritable(valueOf(variable, values, index)))
            return;
    }
    const std::string shown = formatValues(variable, values, NumberStyle::Unsigned, ",");
    for (const char letter : shown)
        claim(static_cast<unsigned char>(letter) >= 0x20 && letter != '\x7F',
              "no text has power over a terminal");
    claim(parseValues(shown, variable, "again") == values, "what is shown can be typed");
}

void playValues(const Variable &variable, const std::string &text)
{
    try {
        const Values values = parseValues(text, variable, "values");
        claim(!values.empty() && values.size() % (variable.area->unit == Unit::Register
                                                      ? static_cast<std::size_t>(variable.valueElements())
                                                      : 1u) ==
                                     0,
              "values have all their registers");
        claimComesBack(variable, values);
    } catch (const Failure &failure) {
        claim(failure.kind() == FailureKind::Usage, "a bad value is wrong usage");
    }
}

/// The same registers again, where all of them count.
void playRegisters(const Variable &variable, const std::string &bytes)
{
    if (variable.area->unit == Unit::Bit)
        return;
    const ValueFormat format = variable.registerFormat();
    std::uint16_t registers[kMostTextBytes / 2] = {};
    for (std::size_t i = 0; i < static_cast<std::size_t>(format.registers()) && 2 * i + 1 < bytes.size(); ++i)
        registers[i] = static_cast<std::uint16_t>(static_cast<unsigned char>(bytes[2 * i]) << 8 |
                                                  static_cast<unsigned char>(bytes[2 * i + 1]));
    const Value value = decodeValue(registers, format);
    if (!isWritable(value))
        return;
    std::uint16_t again[kMostTextBytes / 2] = {};
    encodeValue(value, format, again);
    claim(decodeValue(again, format) == value, "what is written reads as the same");
    for (int i = 0; i < format.registers() && !format.isText(); ++i)
        claim(again[i] == registers[i], "numbers have one form in registers");
    const std::optional<Value> read = readValue(textOf(value, format), format);
    claim(read.has_value(), "the text of a value can be typed");
    encodeValue(*read, format, again);
    claim(decodeValue(again, format) == value, "the text of a value is the value");
}

void play(const std::string &bytes)
{
    const std::size_t end = std::min(bytes.find('\n'), bytes.size());
    const std::string values = end < bytes.size() ? bytes.substr(end + 1) : "";
    try {
        const Variable variable = parseVariable(bytes.substr(0, end), false);
        claimGoodVariable(variable);
        playValues(variable, values);
        playRegisters(variable, values);
    } catch (const Failure &failure) {
        claim(failure.kind() == FailureKind::Usage, "a bad variable is wrong usage");
    }
}

} // namespace

} // namespace plc::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    plc::fuzz::play(std::string(reinterpret_cast<const char *>(data), size));
    return 0;
}
