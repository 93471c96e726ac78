#include "runtime/panel/values.h"

#include <cstdio>

#include "runtime/line/failure.h"

namespace plc::runtime {

namespace {

struct Width
{
    int bytes;
    std::int64_t least;
    std::int64_t most;
    const char *allowed;
};

Width widthOf(Unit unit)
{
    switch (unit) {
    case Unit::Bit:
        return {1, 0, 1, "a bit is 0 or 1 (off, on, false, true)"};
    case Unit::Register:
        return {2, -32768, 65535, "a register holds -32768 to 65535 or 0x0 to 0xFFFF"};
    case Unit::RegisterPair:
        break;
    }
    return {4, -2147483648LL, 4294967295LL,
            "a register pair holds -2147483648 to 4294967295 or 0x0 to 0xFFFFFFFF"};
}

int digitOf(char letter, int base)
{
    int digit = 99;
    if (letter >= '0' && letter <= '9')
        digit = letter - '0';
    else if (letter >= 'a' && letter <= 'f')
        digit = letter - 'a' + 10;
    else if (letter >= 'A' && letter <= 'F')
        digit = letter - 'A' + 10;
    return digit < base ? digit : -1;
}

/// Reads a whole number; numbers that fit no width come out as one that fits none either.
bool readNumber(const std::string &text, std::int64_t *value)
{
    constexpr std::int64_t kTooBig = 1LL << 40;
    std::size_t at = 0;
    const bool negative = !text.empty() && text[0] == '-';
    if (!text.empty() && (text[0] == '-' || text[0] == '+'))
        ++at;
    const bool hex = text.size() > at + 2 && text[at] == '0' && (text[at + 1] == 'x' || text[at + 1] == 'X');
    if (hex)
        at += 2;
    if (at == text.size() || (hex && negative))
        return false;
    *value = 0;
    for (; at < text.size(); ++at) {
        const int digit = digitOf(text[at], hex ? 16 : 10);
        if (digit < 0)
            return false;
        if (*value < kTooBig)
            *value = *value * (hex ? 16 : 10) + digit;
    }
    if (negative)
        *value = -*value;
    return true;
}

bool readWord(const std::string &text, std::int64_t *value)
{
    const bool on = text == "on" || text == "true";
    if (!on && text != "off" && text != "false")
        return false;
    *value = on ? 1 : 0;
    return true;
}

} // namespace

Values parseValues(const std::string &text, Unit unit, const std::string &place)
{
    const Width width = widthOf(unit);
    Values values;
    for (std::size_t at = 0;;) {
        const std::size_t comma = text.find(',', at);
        const std::string one = text.substr(at, comma == std::string::npos ? comma : comma - at);
        std::int64_t value = 0;
        const bool read = readNumber(one, &value) || (unit == Unit::Bit && readWord(one, &value));
        if (!read || value < width.least || value > width.most)
            throw Failure(FailureKind::Usage,
                          "'" + place + "': value '" + one + "' is not allowed; " + width.allowed);
        values.push_back(static_cast<std::uint32_t>(value & 0xFFFFFFFFLL));
        if (unit == Unit::Register)
            values.back() &= 0xFFFFu;
        if (comma == std::string::npos)
            return values;
        at = comma + 1;
    }
}

QByteArray encodeValues(const Values &values, Unit unit)
{
    const int width = widthOf(unit).bytes;
    QByteArray bytes;
    bytes.reserve(static_cast<int>(values.size()) * width);
    for (const std::uint32_t value : values) {
        for (int byte = 0; byte < width; ++byte)
            bytes.append(static_cast<char>((value >> (8 * byte)) & 0xFFu));
    }
    return bytes;
}

Values decodeValues(const QByteArray &bytes, Unit unit, int count)
{
    const int width = widthOf(unit).bytes;
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

std::string formatValue(std::uint32_t value, Unit unit, NumberStyle style)
{
    if (unit == Unit::Bit || style == NumberStyle::Unsigned)
        return std::to_string(value);
    if (style == NumberStyle::Signed)
        return std::to_string(unit == Unit::Register ? static_cast<std::int16_t>(value)
                                                     : static_cast<std::int32_t>(value));
    char text[16];
    std::snprintf(text, sizeof text, "0x%0*X", widthOf(unit).bytes * 2, value);
    return text;
}

std::string formatValues(const Values &values, Unit unit, NumberStyle style, const char *separator)
{
    std::string text;
    for (const std::uint32_t value : values) {
        if (!text.empty())
            text += separator;
        text += formatValue(value, unit, style);
    }
    return text;
}

} // namespace plc::runtime
