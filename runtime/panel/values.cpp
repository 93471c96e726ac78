#include "runtime/panel/values.h"

#include <array>
#include <cstdio>

#include "runtime/line/failure.h"
#include "runtime/panel/value_text.h"

namespace plc::runtime {

namespace {

using Registers = std::array<std::uint16_t, kMostTextBytes / 2>;

/// What may be written where nothing says how the numbers are meant.
const char *plainRange(Unit unit)
{
    switch (unit) {
    case Unit::Bit:
        return "a bit is 0 or 1 (off, on, false, true)";
    case Unit::Register:
        return "a register holds -32768 to 65535 or 0x0 to 0xFFFF";
    case Unit::RegisterPair:
        break;
    }
    return "a register pair holds -2147483648 to 4294967295 or 0x0 to 0xFFFFFFFF";
}

bool isScaled(const Variable &variable)
{
    return variable.meaning && variable.meaning->isScaled();
}

/// Nothing says whether its numbers have a sign.
bool isPlain(const Variable &variable)
{
    return !variable.format && !isScaled(variable);
}

int rawElements(const Variable &variable)
{
    return variable.area->unit == Unit::RegisterPair ? 1 : variable.valueElements();
}

std::size_t firstOf(const Variable &variable, int index)
{
    return static_cast<std::size_t>(index) * static_cast<std::size_t>(rawElements(variable));
}

/// Value @p index as its registers or its bit have it.
Value rawValue(const Variable &variable, const Values &values, int index)
{
    const std::size_t first = firstOf(variable, index);
    if (variable.area->unit == Unit::Bit)
        return Value::ofUnsigned(values[first]);
    const ValueFormat format = variable.registerFormat();
    Registers registers{};
    if (variable.area->unit == Unit::RegisterPair) {
        registers[0] = static_cast<std::uint16_t>(values[first] >> 16);
        registers[1] = static_cast<std::uint16_t>(values[first]);
    } else {
        for (std::size_t i = 0; i < static_cast<std::size_t>(format.registers()); ++i)
            registers[i] = static_cast<std::uint16_t>(values[first + i]);
    }
    return decodeValue(registers.data(), format);
}

/// What people see where the registers or the bit have @p raw.
Value shownOf(const Variable &variable, const Value &raw)
{
    return isScaled(variable) ? scaled(raw, variable.registerFormat(), *variable.meaning) : raw;
}

void appendRegisters(const Variable &variable, const Registers &registers, Values *values)
{
    if (variable.area->unit == Unit::RegisterPair) {
        values->push_back(std::uint32_t{registers[0]} << 16 | registers[1]);
        return;
    }
    values->insert(values->end(), registers.begin(), registers.begin() + variable.valueElements());
}

bool isNegative(const Value &value)
{
    return value.type == Value::Type::Real ? value.real < 0 : value.asSigned() < 0;
}

/// A plain register takes numbers with and without a sign.
ValueFormat formatToWrite(const Variable &variable, const Value &value)
{
    ValueFormat format = variable.registerFormat();
    const bool canBeNegative = value.type == Value::Type::Real || value.type == Value::Type::Signed;
    if (isPlain(variable) && canBeNegative && isNegative(value))
        format.kind = format.kind == ValueKind::U32 ? ValueKind::I32 : ValueKind::I16;
    return format;
}

/// @param value  as the registers or the bit is to have it.
void appendRaw(const Variable &variable, const Value &value, Values *values)
{
    Registers registers{};
    try {
        if (variable.area->unit == Unit::Bit) {
            encodeValue(value, ValueFormat(), registers.data());
            if (registers[0] > 1)
                throw Failure(FailureKind::Usage, plainRange(Unit::Bit));
            values->push_back(registers[0]);
            return;
        }
        encodeValue(value, formatToWrite(variable, value), registers.data());
    } catch (const Failure &failure) {
        if (isPlain(variable))
            throw Failure(FailureKind::Usage, plainRange(variable.area->unit));
        throw Failure(FailureKind::Usage,
                      (isScaled(variable)
                           ? "in the registers it is " + textOf(value, variable.registerFormat()) + ", and "
                           : "") +
                          failure.what());
    }
    appendRegisters(variable, registers, values);
}

/// Text of a limit, with the unit.
std::string limitText(double limit, const Meaning &meaning)
{
    return shortestText(limit) + (meaning.unit.empty() ? "" : " " + meaning.unit);
}

void checkLimits(const Value &shown, const Meaning &meaning)
{
    if (shown.type == Value::Type::Text)
        return;
    if (meaning.least && !(shown.asReal() >= *meaning.least))
        throw Failure(FailureKind::Usage, "the least is " + limitText(*meaning.least, meaning));
    if (meaning.most && !(shown.asReal() <= *meaning.most))
        throw Failure(FailureKind::Usage, "the most is " + limitText(*meaning.most, meaning));
}

std::optional<Value> readWord(const std::string &text)
{
    if (text == "on" || text == "true")
        return Value::ofUnsigned(1);
    return text == "off" || text == "false" ? std::make_optional(Value::ofUnsigned(0)) : std::nullopt;
}

std::optional<Value> readShown(const std::string &text, const Variable &variable)
{
    if (isScaled(variable))
        return readValue(text, {ValueKind::F64, ByteOrder::Abcd, 0});
    if (variable.area->unit != Unit::Bit)
        return readValue(text, variable.registerFormat());
    const std::optional<Value> word = readWord(text);
    return word ? word : readValue(text, ValueFormat());
}

std::string trimmed(const std::string &text)
{
    constexpr const char *kBlanks = " \t";
    const std::size_t from = text.find_first_not_of(kBlanks);
    return from == std::string::npos ? "" : text.substr(from, text.find_last_not_of(kBlanks) - from + 1);
}

/// What may be written besides the texts that stand for values.
std::string rangeOf(const Variable &variable)
{
    if (isPlain(variable))
        return plainRange(variable.area->unit);
    return isScaled(variable) ? "it must be a number" : rangeText(variable.registerFormat());
}

void appendRead(const std::string &text, const Variable &variable, Values *values)
{
    const Value *named = variable.meaning ? variable.meaning->valueNamed(text) : nullptr;
    if (named) {
        checkLimits(shownOf(variable, *named), *variable.meaning);
        appendRaw(variable, *named, values);
        return;
    }
    const std::optional<Value> shown = readShown(text, variable);
    if (!shown)
        throw Failure(FailureKind::Usage, rangeOf(variable));
    appendValue(variable, *shown, values);
}

std::string plainText(std::uint32_t value, Unit unit, NumberStyle style)
{
    if (unit == Unit::Bit || style == NumberStyle::Unsigned)
        return std::to_string(value);
    if (style == NumberStyle::Signed)
        return std::to_string(unit == Unit::Register ? static_cast<std::int16_t>(value)
                                                     : static_cast<std::int32_t>(value));
    char text[16];
    std::snprintf(text, sizeof text, "0x%0*X", bytesOf(unit) * 2, value);
    return text;
}

} // namespace

int bytesOf(Unit unit)
{
    switch (unit) {
    case Unit::Bit:
        return 1;
    case Unit::Register:
        return 2;
    case Unit::RegisterPair:
        break;
    }
    return 4;
}

QByteArray encodeValues(const Values &values, Unit unit)
{
    const int width = bytesOf(unit);
    QByteArray bytes;
    bytes.reserve(static_cast<int>(values.size()) * width);
    for (const std::uint32_t value : values) {
        for (int byte = 0; byte < width; ++byte)
            bytes.append(static_cast<char>((value >> (8 * byte)) & 0xFFu));
    }
    return bytes;
}

QByteArray turnedRound(const QByteArray &bytes, Unit unit)
{
    const int width = bytesOf(unit);
    QByteArray turned;
    turned.reserve(bytes.size());
    for (int first = 0; first + width <= bytes.size(); first += width) {
        for (int byte = width - 1; byte >= 0; --byte)
            turned.append(bytes.at(first + byte));
    }
    return turned;
}

Values decodeValues(const QByteArray &bytes, Unit unit, int count)
{
    const int width = bytesOf(unit);
    Values values;
    for (int index = 0; index < count; ++index) {
        std::uint32_t value = 0;
        for (int byte = 0; byte < width; ++byte) {
            const int at = index * width + byte;
            const unsigned char here = at < bytes.size() ? static_cast<unsigned char>(bytes.at(at)) : 0;
            value |= static_cast<std::uint32_t>(here) << (8 * byte);
        }
        values.push_back(value);
    }
    return values;
}

Value valueOf(const Variable &variable, const Values &values, int index)
{
    return shownOf(variable, rawValue(variable, values, index));
}

const std::string *nameOfValue(const Variable &variable, const Values &values, int index)
{
    if (!variable.meaning || variable.meaning->names.empty())
        return nullptr;
    return variable.meaning->nameOf(rawValue(variable, values, index));
}

void appendValue(const Variable &variable, const Value &shown, Values *values)
{
    if (variable.meaning)
        checkLimits(shown, *variable.meaning);
    appendRaw(variable,
              isScaled(variable) ? unscaled(shown, variable.registerFormat(), *variable.meaning) : shown,
              values);
}

Values parseValues(const std::string &text, const Variable &variable, const std::string &place)
{
    const bool isText = variable.format && variable.format->isText();
    Values values;
    for (const std::string &one : splitValues(text, isText)) {
        try {
            appendRead(trimmed(one), variable, &values);
        } catch (const Failure &failure) {
            throw Failure(FailureKind::Usage,
                          "'" + place + "': value '" + one + "' is not allowed; " + failure.what());
        }
    }
    return values;
}

int valueCount(const Variable &variable, const Values &values)
{
    return static_cast<int>(values.size()) / rawElements(variable);
}

std::string formatValue(const Variable &variable, const Values &values, int index, NumberStyle style)
{
    if (isPlain(variable))
        return plainText(values[firstOf(variable, index)], variable.area->unit, style);
    return textOf(valueOf(variable, values, index), variable.registerFormat());
}

std::string describeValue(const Variable &variable, const Values &values, int index, NumberStyle style)
{
    const std::string number = formatValue(variable, values, index, style);
    const std::string *name = nameOfValue(variable, values, index);
    const std::string text = name ? *name + " (" + number + ")" : number;
    return valueOf(variable, values, index).isBad ? text + " (bad BCD)" : text;
}

std::string formatValues(const Variable &variable, const Values &values, NumberStyle style,
                         const char *separator)
{
    std::string text;
    for (int index = 0; index < valueCount(variable, values); ++index)
        text += (index > 0 ? separator : "") + describeValue(variable, values, index, style);
    const bool hasUnit = variable.meaning && !variable.meaning->unit.empty();
    return hasUnit ? text + " " + variable.meaning->unit : text;
}

} // namespace plc::runtime
