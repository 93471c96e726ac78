/// @file
/// What registers mean: formats, byte orders, and values between registers and numbers or texts. Locks
/// nothing and keeps nothing; any thread.
#ifndef PLC_PANEL_VALUE_FORMAT_H
#define PLC_PANEL_VALUE_FORMAT_H

#include <cstdint>
#include <string>

namespace plc::runtime {

enum class ValueKind
{
    U16,
    I16,
    Hex, ///< one register, shown with four hexadecimal digits
    Bin, ///< one register, shown with sixteen binary digits
    Bcd, ///< one register of four decimal digits
    U32,
    I32,
    F32,
    U64,
    I64,
    F64,
    Text ///< Latin-1, ended by a zero byte where it is shorter than its place
};

/// Where the bytes of a value lie, the highest byte called a. Of 64 bits, Cdab turns the registers round,
/// Badc the bytes in each, Dcba both. What has one register, and a text, has Abcd and Badc alone.
enum class ByteOrder
{
    Abcd, ///< the upper half in the lower register, as the 32-bit areas have it
    Cdab,
    Badc,
    Dcba
};

/// Most bytes of a text: what one request can write.
constexpr int kMostTextBytes = 246;

struct ValueFormat
{
    ValueKind kind = ValueKind::U16;
    ByteOrder order = ByteOrder::Abcd;
    int textBytes = 0; ///< of a text: bytes of its place, 1 to kMostTextBytes; otherwise 0

    /// Registers of one value, 1 to 123.
    int registers() const;
    bool isText() const { return kind == ValueKind::Text; }
    bool isFloat() const { return kind == ValueKind::F32 || kind == ValueKind::F64; }
    bool isWhole() const { return !isText() && !isFloat(); }

    friend bool operator==(const ValueFormat &a, const ValueFormat &b)
    {
        return a.kind == b.kind && a.order == b.order && a.textBytes == b.textBytes;
    }
    friend bool operator!=(const ValueFormat &a, const ValueFormat &b) { return !(a == b); }
};

/// Reads "f32", "i32.cdab", "str16", in small or capital letters.
/// @throw Failure  (wrong usage) that says what is allowed.
ValueFormat parseFormat(const std::string &text);

/// The reverse; the order is left out where it is Abcd.
std::string nameOf(const ValueFormat &format);

/// "u16, i16, ...", for help and complaints.
std::string formatNames();

/// One value: a whole number, a real one, or a text.
struct Value
{
    enum class Type
    {
        Unsigned,
        Signed,
        Real,
        Text
    };

    Type type = Type::Unsigned;
    std::uint64_t whole = 0; ///< Unsigned; Signed as its two's complement
    double real = 0;         ///< Real; exact also for a float
    std::string text;        ///< Text, in UTF-8
    bool isBad = false;      ///< a BCD digit is above 9; `whole` is the register as it is then

    static Value ofUnsigned(std::uint64_t number);
    static Value ofSigned(std::int64_t number);
    static Value ofReal(double number);
    static Value ofText(const std::string &utf8);

    std::int64_t asSigned() const { return static_cast<std::int64_t>(whole); }
    /// Any number as a real one, rounded where it has more than 53 bits; 0 for a text.
    double asReal() const;
};

/// Same type and same content; NaN equals NaN.
bool operator==(const Value &a, const Value &b);
inline bool operator!=(const Value &a, const Value &b)
{
    return !(a == b);
}

/// The value in @p registers.
/// @param registers  `format.registers()` of them, as the station has them, the lowest address first.
/// @return Unsigned, Signed, Real or Text, as the format has it.
Value decodeValue(const std::uint16_t *registers, const ValueFormat &format);

/// Puts @p value into @p registers, as many as the format has. A whole format takes real numbers without a
/// fraction as well, a float format whole numbers; floats are rounded to the nearest.
/// @throw Failure  (wrong usage) when the format cannot hold the value; it says what the format holds. NaN
///                 and infinities are refused.
void encodeValue(const Value &value, const ValueFormat &format, std::uint16_t *registers);

/// What the format holds, for complaints: "u16 holds 0 to 65535".
std::string rangeText(const ValueFormat &format);

} // namespace plc::runtime

#endif
