#include "runtime/panel/value_format.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>

#include "runtime/line/failure.h"
#include "runtime/panel/utf8.h"

namespace plc::runtime {

namespace {

static_assert(std::numeric_limits<float>::is_iec559 && std::numeric_limits<double>::is_iec559,
              "floats of stations are those of IEC 60559");

struct Kind
{
    ValueKind kind;
    const char *name;
    int registers;
    bool isSigned;
    const char *range; ///< for people
};

constexpr Kind kKinds[] = {
    {ValueKind::U16, "u16", 1, false, "0 to 65535"},
    {ValueKind::I16, "i16", 1, true, "-32768 to 32767"},
    {ValueKind::Hex, "hex", 1, false, "0x0 to 0xFFFF"},
    {ValueKind::Bin, "bin", 1, false, "0b0 to 0b1111111111111111"},
    {ValueKind::Bcd, "bcd", 1, false, "0 to 9999"},
    {ValueKind::U32, "u32", 2, false, "0 to 4294967295"},
    {ValueKind::I32, "i32", 2, true, "-2147483648 to 2147483647"},
    {ValueKind::F32, "f32", 2, false, "numbers from -3.4028235e+38 to 3.4028235e+38"},
    {ValueKind::U64, "u64", 4, false, "0 to 18446744073709551615"},
    {ValueKind::I64, "i64", 4, true, "-9223372036854775808 to 9223372036854775807"},
    {ValueKind::F64, "f64", 4, false, "numbers from -1.7976931348623157e+308 to 1.7976931348623157e+308"},
};

constexpr char kTextName[] = "str";
constexpr const char *kOrderNames[] = {"abcd", "cdab", "badc", "dcba"};
constexpr std::uint64_t kMostBcd = 9999;

const Kind &kindOf(const ValueFormat &format)
{
    for (const Kind &kind : kKinds) {
        if (kind.kind == format.kind)
            return kind;
    }
    return kKinds[0];
}

[[noreturn]] void refuse(const std::string &what)
{
    throw Failure(FailureKind::Usage, what);
}

/// The number behind "str"; nothing where there is none from 1 to kMostTextBytes.
std::optional<int> textBytesOf(const std::string &digits)
{
    if (digits.empty() || digits.size() > 3 || digits.find_first_not_of("0123456789") != std::string::npos)
        return std::nullopt;
    const int bytes = std::stoi(digits);
    return bytes >= 1 && bytes <= kMostTextBytes ? std::make_optional(bytes) : std::nullopt;
}

ValueFormat parseKind(const std::string &name)
{
    for (const Kind &kind : kKinds) {
        if (name == kind.name)
            return {kind.kind, ByteOrder::Abcd, 0};
    }
    const std::size_t letters = sizeof kTextName - 1;
    if (name.compare(0, letters, kTextName) != 0)
        refuse("'" + name + "' is no format; formats are " + formatNames());
    const std::optional<int> bytes = textBytesOf(name.substr(letters));
    if (!bytes)
        refuse("a text is str with its number of bytes, 1 to " + std::to_string(kMostTextBytes) +
               ", as str16, not '" + name + "'");
    return {ValueKind::Text, ByteOrder::Abcd, *bytes};
}

ByteOrder parseOrder(const std::string &name, const ValueFormat &format)
{
    // Which of several registers comes first is no question of these.
    const bool bytesAlone = format.isText() || format.registers() == 1;
    for (int order = 0; order < 4; ++order) {
        const bool isAllowed = !bytesAlone || order % 2 == 0;
        if (name == kOrderNames[order] && isAllowed)
            return static_cast<ByteOrder>(order);
    }
    if (bytesAlone)
        refuse("the byte order of " + nameOf(format) + " is abcd or badc, not '" + name + "'");
    refuse("'" + name + "' is no byte order; orders are abcd, cdab, badc, dcba");
}

bool turnsRegisters(ByteOrder order)
{
    return order == ByteOrder::Cdab || order == ByteOrder::Dcba;
}

std::uint16_t inOrder(std::uint16_t word, ByteOrder order)
{
    const bool isSwapped = order == ByteOrder::Badc || order == ByteOrder::Dcba;
    return isSwapped ? static_cast<std::uint16_t>(word << 8 | word >> 8) : word;
}

/// Index of the register that the bits from 16 * @p part on are in, counted from the lowest.
int registerOf(int part, const ValueFormat &format)
{
    return turnsRegisters(format.order) ? part : format.registers() - 1 - part;
}

std::uint64_t bitsIn(const std::uint16_t *registers, const ValueFormat &format)
{
    std::uint64_t bits = 0;
    for (int part = 0; part < format.registers(); ++part)
        bits |= std::uint64_t{inOrder(registers[registerOf(part, format)], format.order)} << (16 * part);
    return bits;
}

void putBits(std::uint64_t bits, const ValueFormat &format, std::uint16_t *registers)
{
    for (int part = 0; part < format.registers(); ++part)
        registers[registerOf(part, format)] =
            inOrder(static_cast<std::uint16_t>(bits >> (16 * part)), format.order);
}

template <typename To, typename From>
To sameBits(From from)
{
    static_assert(sizeof(To) == sizeof(From), "as many bits in both");
    To to;
    std::memcpy(&to, &from, sizeof to);
    return to;
}

Value decodeBcd(std::uint64_t bits)
{
    Value value;
    std::uint64_t factor = 1;
    for (int shift = 0; shift < 16; shift += 4, factor *= 10) {
        const std::uint64_t digit = bits >> shift & 0xFu;
        value.isBad = value.isBad || digit > 9;
        value.whole += digit * factor;
    }
    if (value.isBad)
        value.whole = bits;
    return value;
}

std::uint64_t encodeBcd(std::uint64_t number)
{
    std::uint64_t bits = 0;
    for (int shift = 0; shift < 16; shift += 4, number /= 10)
        bits |= number % 10 << shift;
    return bits;
}

/// All registers have their characters in one order: a first, or b first.
Value decodeText(const std::uint16_t *registers, const ValueFormat &format)
{
    std::string latin1;
    for (int i = 0; i < format.textBytes; ++i) {
        const std::uint16_t word = inOrder(registers[i / 2], format.order);
        const auto letter = static_cast<char>(i % 2 == 0 ? word >> 8 : word & 0xFFu);
        if (letter == '\0')
            break;
        latin1 += letter;
    }
    return Value::ofText(toUtf8(QString::fromLatin1(latin1.data(), static_cast<int>(latin1.size()))));
}

/// The characters of @p utf8 in Latin-1; nothing where that has no place for a character, or for its zero.
std::optional<std::string> latin1Of(const std::string &utf8)
{
    const QString text = fromUtf8(utf8);
    std::string latin1;
    for (int i = 0; i < text.size(); ++i) {
        const unsigned code = text.at(i).unicode();
        if (code == 0 || code > 0xFF)
            return std::nullopt;
        latin1 += static_cast<char>(code);
    }
    return latin1;
}

void encodeText(const Value &value, const ValueFormat &format, std::uint16_t *registers)
{
    const std::optional<std::string> latin1 =
        value.type == Value::Type::Text ? latin1Of(value.text) : std::nullopt;
    if (!latin1 || static_cast<int>(latin1->size()) > format.textBytes)
        refuse(rangeText(format));
    const auto byteAt = [&](std::size_t at) {
        return at < latin1->size() ? static_cast<unsigned char>((*latin1)[at]) : 0u;
    };
    for (int i = 0; i < format.registers(); ++i) {
        const auto at = static_cast<std::size_t>(i) * 2;
        registers[i] = inOrder(static_cast<std::uint16_t>(byteAt(at) << 8 | byteAt(at + 1)), format.order);
    }
}

/// The bits of a whole number, and whether it is below zero.
struct Whole
{
    std::uint64_t bits;
    bool isNegative;
};

std::optional<Whole> wholeOf(const Value &value)
{
    constexpr double kTwoTo63 = 9223372036854775808.0;
    switch (value.type) {
    case Value::Type::Unsigned:
        return Whole{value.whole, false};
    case Value::Type::Signed:
        return Whole{value.whole, value.asSigned() < 0};
    case Value::Type::Real:
        break;
    case Value::Type::Text:
        return std::nullopt;
    }
    // What is NaN passes no comparison.
    if (!(value.real >= -kTwoTo63 && value.real < 2 * kTwoTo63) || value.real != std::floor(value.real))
        return std::nullopt;
    if (value.real < 0)
        return Whole{static_cast<std::uint64_t>(static_cast<std::int64_t>(value.real)), true};
    return Whole{static_cast<std::uint64_t>(value.real), false};
}

std::uint64_t encodeWhole(const Value &value, const ValueFormat &format)
{
    const std::optional<Whole> whole = wholeOf(value);
    const Kind &kind = kindOf(format);
    const int bits = 16 * kind.registers;
    const std::uint64_t most =
        format.kind == ValueKind::Bcd ? kMostBcd : ~std::uint64_t{0} >> (64 - bits + (kind.isSigned ? 1 : 0));
    const bool fits =
        whole && (whole->isNegative ? kind.isSigned && ~whole->bits <= most : whole->bits <= most);
    if (!fits || value.isBad)
        refuse(rangeText(format));
    return format.kind == ValueKind::Bcd ? encodeBcd(whole->bits) : whole->bits;
}

std::uint64_t encodeFloat(const Value &value, const ValueFormat &format)
{
    const double real = value.type == Value::Type::Text ? std::nan("") : value.asReal();
    const bool isDouble = format.kind == ValueKind::F64;
    // A double that no float holds has no defined float; the border is half a step above the largest.
    constexpr double kAboveFloats = 3.40282356779733661637539395458142568448e38;
    if (!std::isfinite(real) || (!isDouble && std::fabs(real) >= kAboveFloats))
        refuse(rangeText(format));
    return isDouble ? sameBits<std::uint64_t>(real)
                    : std::uint64_t{sameBits<std::uint32_t>(static_cast<float>(real))};
}

} // namespace

int ValueFormat::registers() const
{
    return isText() ? (textBytes + 1) / 2 : kindOf(*this).registers;
}

std::string formatNames()
{
    std::string names;
    for (const Kind &kind : kKinds)
        names += std::string(kind.name) + ", ";
    return names + "strN (N bytes)";
}

ValueFormat parseFormat(const std::string &text)
{
    const std::string name = inSmallLetters(text);
    const std::size_t point = std::min(name.find('.'), name.size());
    ValueFormat format = parseKind(name.substr(0, point));
    if (point < name.size())
        format.order = parseOrder(name.substr(point + 1), format);
    return format;
}

std::string nameOf(const ValueFormat &format)
{
    const std::string name =
        format.isText() ? kTextName + std::to_string(format.textBytes) : kindOf(format).name;
    return format.order == ByteOrder::Abcd ? name : name + "." + kOrderNames[static_cast<int>(format.order)];
}

std::string rangeText(const ValueFormat &format)
{
    if (format.isText())
        return kTextName + std::to_string(format.textBytes) + " holds up to " +
               std::to_string(format.textBytes) + " characters of Latin-1, no zero byte among them";
    return kindOf(format).name + std::string(" holds ") + kindOf(format).range;
}

Value Value::ofUnsigned(std::uint64_t number)
{
    Value value;
    value.whole = number;
    return value;
}

Value Value::ofSigned(std::int64_t number)
{
    Value value;
    value.type = Type::Signed;
    value.whole = static_cast<std::uint64_t>(number);
    return value;
}

Value Value::ofReal(double number)
{
    Value value;
    value.type = Type::Real;
    value.real = number;
    return value;
}

Value Value::ofText(const std::string &utf8)
{
    Value value;
    value.type = Type::Text;
    value.text = utf8;
    return value;
}

double Value::asReal() const
{
    switch (type) {
    case Type::Unsigned:
        return static_cast<double>(whole);
    case Type::Signed:
        return static_cast<double>(asSigned());
    case Type::Real:
        return real;
    case Type::Text:
        break;
    }
    return 0;
}

bool operator==(const Value &a, const Value &b)
{
    const bool isSameReal = a.real == b.real || (std::isnan(a.real) && std::isnan(b.real));
    return a.type == b.type && a.whole == b.whole && isSameReal && a.text == b.text && a.isBad == b.isBad;
}

Value decodeValue(const std::uint16_t *registers, const ValueFormat &format)
{
    if (format.isText())
        return decodeText(registers, format);
    const std::uint64_t bits = bitsIn(registers, format);
    switch (format.kind) {
    case ValueKind::I16:
        return Value::ofSigned(static_cast<std::int16_t>(bits));
    case ValueKind::I32:
        return Value::ofSigned(static_cast<std::int32_t>(bits));
    case ValueKind::I64:
        return Value::ofSigned(static_cast<std::int64_t>(bits));
    case ValueKind::F32:
        return Value::ofReal(static_cast<double>(sameBits<float>(static_cast<std::uint32_t>(bits))));
    case ValueKind::F64:
        return Value::ofReal(sameBits<double>(bits));
    case ValueKind::Bcd:
        return decodeBcd(bits);
    default:
        return Value::ofUnsigned(bits);
    }
}

void encodeValue(const Value &value, const ValueFormat &format, std::uint16_t *registers)
{
    if (format.isText())
        encodeText(value, format, registers);
    else
        putBits(format.isFloat() ? encodeFloat(value, format) : encodeWhole(value, format), format,
                registers);
}

} // namespace plc::runtime
