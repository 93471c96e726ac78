#include "runtime/panel/value_text.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>

#include "runtime/panel/utf8.h"

namespace plc::runtime {

namespace {

constexpr std::size_t kLongestNumber = 40;

/// The decimal exponent of a number of the form "1.5e+06".
int exponentOf(const std::string &scientific)
{
    return std::stoi(scientific.substr(scientific.find('e') + 1));
}

template <typename Number>
std::string written(Number number, std::chars_format form)
{
    char text[kLongestNumber];
    const auto end = std::to_chars(text, text + sizeof text, number, form).ptr;
    return std::string(text, end);
}

template <typename Number>
std::string shortestOf(Number number)
{
    if (std::isnan(number))
        return "nan";
    if (std::isinf(number))
        return number < 0 ? "-inf" : "inf";
    const std::string scientific = written(number, std::chars_format::scientific);
    const int exponent = exponentOf(scientific);
    const bool isPlain = exponent >= -5 && exponent < 15;
    return isPlain ? written(number, std::chars_format::fixed) : scientific;
}

bool isFloatNumber(double number)
{
    return !(std::fabs(number) > static_cast<double>(std::numeric_limits<float>::max()));
}

std::string digitsOf(std::uint64_t number, int base, std::size_t digits)
{
    std::string text;
    for (; text.size() < digits; number /= static_cast<std::uint64_t>(base))
        text.insert(text.begin(), "0123456789ABCDEF"[number % static_cast<std::uint64_t>(base)]);
    return text;
}

bool isControl(unsigned code)
{
    return code < 0x20 || (code >= 0x7F && code < 0xA0);
}

/// @param marks  characters that get a backslash in front.
std::string escaped(const std::string &utf8, const char *marks)
{
    const QString text = fromUtf8(utf8);
    QString result;
    for (int i = 0; i < text.size(); ++i) {
        const unsigned code = text.at(i).unicode();
        if (isControl(code)) {
            char mark[8];
            std::snprintf(mark, sizeof mark, "\\x%02X", code);
            result += QLatin1String(mark);
            continue;
        }
        if (QString::fromLatin1(marks).contains(text.at(i)))
            result += QLatin1Char('\\');
        result += text.at(i);
    }
    return toUtf8(result);
}

std::optional<std::uint64_t> readDigits(const std::string &digits, int base)
{
    std::uint64_t number = 0;
    const char *const end = digits.data() + digits.size();
    const auto read = std::from_chars(digits.data(), end, number, base);
    const bool isWhole = !digits.empty() && read.ptr == end && read.ec == std::errc();
    return isWhole ? std::make_optional(number) : std::nullopt;
}

/// "0x" or "0b" in front of the digits.
int baseOf(const std::string &unsignedText)
{
    if (unsignedText.size() < 3 || unsignedText[0] != '0')
        return 10;
    const char letter = unsignedText[1];
    return letter == 'x' || letter == 'X' ? 16 : letter == 'b' || letter == 'B' ? 2 : 10;
}

/// The text without its sign; both signs are signs of decimal numbers.
std::string withoutSign(const std::string &text)
{
    return !text.empty() && (text[0] == '-' || text[0] == '+') ? text.substr(1) : text;
}

std::optional<Value> readWhole(const std::string &text, const ValueFormat &format)
{
    constexpr std::uint64_t kMostNegative = std::uint64_t{1} << 63;
    const std::string digits = withoutSign(text);
    const bool isNegative = text[0] == '-';
    const int base = baseOf(digits);
    const bool hasSign = digits.size() < text.size();
    if (base != 10 && (hasSign || format.kind == ValueKind::Bcd))
        return std::nullopt;
    const std::optional<std::uint64_t> number = readDigits(base == 10 ? digits : digits.substr(2), base);
    if (!number || (isNegative && *number > kMostNegative))
        return std::nullopt;
    return isNegative ? Value::ofSigned(static_cast<std::int64_t>(~*number + 1)) : Value::ofUnsigned(*number);
}

template <typename Number>
std::optional<Value> readReal(const std::string &text)
{
    const std::string digits = withoutSign(text);
    // What from_chars() knows besides: a second sign, and names of NaN and infinity.
    if (digits.empty() || digits.find_first_not_of("0123456789.eE+-") != std::string::npos ||
        digits[0] == '-' || digits[0] == '+')
        return std::nullopt;
    Number number = 0;
    const char *const end = digits.data() + digits.size();
    const auto read = std::from_chars(digits.data(), end, number);
    if (read.ptr != end || read.ec != std::errc())
        return std::nullopt;
    return Value::ofReal(static_cast<double>(text[0] == '-' ? -number : number));
}

/// Reads a float; what is nearer to 0 than to the least of them is 0.
std::optional<Value> readFloat(const std::string &text)
{
    if (std::optional<Value> read = readReal<float>(text))
        return read;
    const std::optional<Value> wide = readReal<double>(text);
    return wide && std::fabs(wide->real) < 1 ? std::make_optional(Value::ofReal(0)) : std::nullopt;
}

/// The character of "\"", "\\" or "\xNN" at @p at, which goes behind it; nothing for anything else.
std::optional<char> readEscape(const std::string &text, std::size_t *at)
{
    if (*at + 1 >= text.size())
        return std::nullopt;
    const char kind = text[*at + 1];
    if (kind == '"' || kind == '\\') {
        *at += 2;
        return kind;
    }
    const std::string digits = text.substr(*at + 2, 2);
    const std::optional<std::uint64_t> code =
        kind == 'x' && digits.size() == 2 ? readDigits(digits, 16) : std::nullopt;
    if (!code)
        return std::nullopt;
    *at += 4;
    return static_cast<char>(*code);
}

/// What stands between quotation marks, which enclose all of @p text.
std::optional<Value> readQuoted(const std::string &text)
{
    std::string content;
    for (std::size_t at = 1; at < text.size();) {
        if (text[at] == '"')
            return at + 1 == text.size() ? std::make_optional(Value::ofText(content)) : std::nullopt;
        if (text[at] != '\\') {
            content += text[at++];
            continue;
        }
        const std::optional<char> letter = readEscape(text, &at);
        if (!letter)
            return std::nullopt;
        content += toUtf8(QString(QLatin1Char(*letter)));
    }
    return std::nullopt;
}

} // namespace

std::string shortestText(double number)
{
    return shortestOf(number);
}

std::string textOf(const Value &value, const ValueFormat &format)
{
    switch (value.type) {
    case Value::Type::Text:
        return '"' + escaped(value.text, "\"\\") + '"';
    case Value::Type::Real:
        return format.kind == ValueKind::F32 && isFloatNumber(value.real)
                   ? shortestOf(static_cast<float>(value.real))
                   : shortestOf(value.real);
    case Value::Type::Signed:
        return std::to_string(value.asSigned());
    case Value::Type::Unsigned:
        break;
    }
    if (format.kind == ValueKind::Hex || value.isBad)
        return "0x" + digitsOf(value.whole, 16, 4);
    return format.kind == ValueKind::Bin ? "0b" + digitsOf(value.whole, 2, 16) : std::to_string(value.whole);
}

std::string withoutControlCharacters(const std::string &utf8)
{
    return escaped(utf8, "\\");
}

std::optional<Value> readValue(const std::string &text, const ValueFormat &format)
{
    if (format.isText())
        return !text.empty() && text[0] == '"' ? readQuoted(text) : Value::ofText(text);
    if (text.empty())
        return std::nullopt;
    if (format.kind == ValueKind::F32)
        return readFloat(text);
    return format.isFloat() ? readReal<double>(text) : readWhole(text, format);
}

std::vector<std::string> splitValues(const std::string &text, bool hasQuotes)
{
    std::vector<std::string> values;
    std::size_t from = 0;
    bool isQuoted = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool isMark = hasQuotes && text[at] == '"';
        if (isQuoted && text[at] == '\\')
            ++at;
        else if (isMark && (isQuoted || text.find_first_not_of(" \t", from) == at))
            isQuoted = !isQuoted;
        else if (text[at] == ',' && !isQuoted) {
            values.push_back(text.substr(from, at - from));
            from = at + 1;
        }
    }
    values.push_back(text.substr(from));
    return values;
}

} // namespace plc::runtime
