#include "runtime/panel/value_format.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "runtime/line/failure.h"

namespace {

using namespace plc::runtime;
using Registers = std::vector<std::uint16_t>;

Value decoded(const char *format, const Registers &registers)
{
    return decodeValue(registers.data(), parseFormat(format));
}

Registers encoded(const char *format, const Value &value)
{
    const ValueFormat parsed = parseFormat(format);
    Registers registers(static_cast<std::size_t>(parsed.registers()));
    encodeValue(value, parsed, registers.data());
    return registers;
}

struct Row
{
    const char *format;
    Registers registers;
    Value value;
};

void PrintTo(const Row &row, std::ostream *out)
{
    *out << row.format;
}

class EachFormat : public ::testing::TestWithParam<Row>
{};

TEST_P(EachFormat, ReadsItsRegisters)
{
    EXPECT_EQ(GetParam().value, decoded(GetParam().format, GetParam().registers));
}

TEST_P(EachFormat, WritesTheSameRegisters)
{
    EXPECT_EQ(GetParam().registers, encoded(GetParam().format, GetParam().value));
}

TEST_P(EachFormat, HasAName)
{
    EXPECT_EQ(GetParam().format, nameOf(parseFormat(GetParam().format)));
}

// 0x11223344, 12.5f = 0x41480000, -1.0f = 0xBF800000, -2.5 = 0xC004000000000000.
INSTANTIATE_TEST_SUITE_P(
    Registers, EachFormat,
    ::testing::Values(
        Row{"u16", {0xFFFE}, Value::ofUnsigned(65534)}, Row{"u16.badc", {0x3412}, Value::ofUnsigned(0x1234)},
        Row{"i16", {0xFFFE}, Value::ofSigned(-2)}, Row{"i16.badc", {0xFEFF}, Value::ofSigned(-2)},
        Row{"hex", {0x04D2}, Value::ofUnsigned(1234)}, Row{"bin", {0x8001}, Value::ofUnsigned(0x8001)},
        Row{"bcd", {0x1234}, Value::ofUnsigned(1234)}, Row{"bcd", {0x9999}, Value::ofUnsigned(9999)},
        Row{"bcd.badc", {0x3412}, Value::ofUnsigned(1234)},
        Row{"u32", {0x1122, 0x3344}, Value::ofUnsigned(0x11223344)},
        Row{"u32.cdab", {0x3344, 0x1122}, Value::ofUnsigned(0x11223344)},
        Row{"u32.badc", {0x2211, 0x4433}, Value::ofUnsigned(0x11223344)},
        Row{"u32.dcba", {0x4433, 0x2211}, Value::ofUnsigned(0x11223344)},
        Row{"i32", {0xFFFE, 0xEE90}, Value::ofSigned(-70000)},
        Row{"i32.cdab", {0xEE90, 0xFFFE}, Value::ofSigned(-70000)},
        Row{"f32", {0x4148, 0x0000}, Value::ofReal(12.5)},
        Row{"f32.cdab", {0x0000, 0xBF80}, Value::ofReal(-1)},
        Row{"f32.badc", {0x80BF, 0x0000}, Value::ofReal(-1)},
        Row{"f32.dcba", {0x0000, 0x80BF}, Value::ofReal(-1)},
        Row{"u64", {0x1122, 0x3344, 0x5566, 0x7788}, Value::ofUnsigned(0x1122334455667788u)},
        Row{"u64.cdab", {0x7788, 0x5566, 0x3344, 0x1122}, Value::ofUnsigned(0x1122334455667788u)},
        Row{"u64.badc", {0x2211, 0x4433, 0x6655, 0x8877}, Value::ofUnsigned(0x1122334455667788u)},
        Row{"u64.dcba", {0x8877, 0x6655, 0x4433, 0x2211}, Value::ofUnsigned(0x1122334455667788u)},
        Row{"i64", {0xFFFF, 0xFFFF, 0xFFFF, 0xFFFE}, Value::ofSigned(-2)},
        Row{"i64", {0x8000, 0, 0, 0}, Value::ofSigned(std::numeric_limits<std::int64_t>::min())},
        Row{"f64", {0xC004, 0, 0, 0}, Value::ofReal(-2.5)},
        Row{"f64.dcba", {0, 0, 0, 0x04C0}, Value::ofReal(-2.5)},
        Row{"str4", {0x4142, 0x4344}, Value::ofText("ABCD")},
        Row{"str4.badc", {0x4241, 0x4443}, Value::ofText("ABCD")},
        Row{"str5", {0x4142, 0x4344, 0x4500}, Value::ofText("ABCDE")},
        Row{"str4", {0x4100, 0x0000}, Value::ofText("A")}, Row{"str2", {0xFC20}, Value::ofText("\xC3\xBC ")},
        Row{"str3", {0, 0}, Value::ofText("")}),
    [](const auto &test) { return "Row" + std::to_string(test.index); });

TEST(Texts, EndAtTheirZeroByteOrAtTheEndOfTheirPlace)
{
    EXPECT_EQ(Value::ofText("AB"), decoded("str6", {0x4142, 0x0043, 0x4445}));
    EXPECT_EQ(Value::ofText("ABC"), decoded("str3", {0x4142, 0x4344})) << "the last byte is not its own";
}

TEST(BcdValues, WithADigitAboveNineAreBad)
{
    const Value value = decoded("bcd", {0x12A4});
    EXPECT_TRUE(value.isBad);
    EXPECT_EQ(0x12A4u, value.whole);
    EXPECT_FALSE(decoded("bcd", {0x9999}).isBad);
    EXPECT_THROW(encoded("bcd", value), Failure) << "it is no number";
}

TEST(Floats, KeepNanAndInfinitiesWhenTheyAreRead)
{
    EXPECT_TRUE(std::isnan(decoded("f32", {0x7FC0, 0}).real));
    EXPECT_TRUE(std::isinf(decoded("f32", {0xFF80, 0}).real));
    EXPECT_TRUE(std::isnan(decoded("f64", {0x7FF8, 0, 0, 0}).real));
    EXPECT_EQ(decoded("f32", {0x7FC0, 0}), decoded("f32", {0x7FC1, 0})) << "all NaNs are alike";
    EXPECT_NE(decoded("f32", {0x7FC0, 0}), decoded("f32", {0, 0}));
}

struct Refused
{
    const char *format;
    Value value;
};

void PrintTo(const Refused &refused, std::ostream *out)
{
    *out << refused.format;
}

class WhatDoesNotFit : public ::testing::TestWithParam<Refused>
{};

TEST_P(WhatDoesNotFit, IsRefusedWithTheRange)
{
    try {
        encoded(GetParam().format, GetParam().value);
        FAIL() << "taken";
    } catch (const Failure &failure) {
        EXPECT_EQ(FailureKind::Usage, failure.kind());
        EXPECT_EQ(rangeText(parseFormat(GetParam().format)), failure.what());
    }
}

constexpr double kInfinity = std::numeric_limits<double>::infinity();

INSTANTIATE_TEST_SUITE_P(
    Values, WhatDoesNotFit,
    ::testing::Values(Refused{"u16", Value::ofUnsigned(65536)}, Refused{"u16", Value::ofSigned(-1)},
                      Refused{"i16", Value::ofUnsigned(32768)}, Refused{"i16", Value::ofSigned(-32769)},
                      Refused{"bcd", Value::ofUnsigned(10000)}, Refused{"u32", Value::ofUnsigned(1ull << 32)},
                      Refused{"i32", Value::ofSigned(-2147483649LL)}, Refused{"u64", Value::ofSigned(-1)},
                      Refused{"i64", Value::ofUnsigned(1ull << 63)}, Refused{"u16", Value::ofReal(0.5)},
                      Refused{"u64", Value::ofReal(18446744073709551616.0)},
                      Refused{"i64", Value::ofReal(-9223372036854777856.0)},
                      Refused{"u16", Value::ofReal(std::nan(""))}, Refused{"u16", Value::ofText("1")},
                      Refused{"f32", Value::ofReal(std::nan(""))}, Refused{"f32", Value::ofReal(kInfinity)},
                      Refused{"f32", Value::ofReal(3.4028236e38)}, Refused{"f64", Value::ofReal(-kInfinity)},
                      Refused{"f64", Value::ofText("1")}, Refused{"str2", Value::ofText("abc")},
                      Refused{"str9", Value::ofText("\xE2\x82\xAC")}, // the euro sign is not in Latin-1
                      Refused{"str9", Value::ofText(std::string("a\0b", 3))}, // a zero would end it
                      Refused{"str9", Value::ofUnsigned(1)}),
    [](const auto &test) { return "Row" + std::to_string(test.index); });

TEST(WholeFormats, TakeRealNumbersWithoutAFraction)
{
    EXPECT_EQ((Registers{7}), encoded("u16", Value::ofReal(7)));
    EXPECT_EQ((Registers{0xFFF9}), encoded("i16", Value::ofReal(-7)));
    EXPECT_EQ((Registers{0}), encoded("u16", Value::ofReal(-0.0)));
}

TEST(FloatFormats, TakeWholeNumbersAndRoundToTheNearest)
{
    EXPECT_EQ((Registers{0x40E0, 0}), encoded("f32", Value::ofUnsigned(7)));
    EXPECT_EQ((Registers{0x3DCC, 0xCCCD}), encoded("f32", Value::ofReal(0.1)));
    EXPECT_EQ((Registers{0x7F7F, 0xFFFF}), encoded("f32", Value::ofReal(3.40282350e38)));
}

TEST(Formats, AreTakenInCapitalsToo)
{
    EXPECT_EQ(parseFormat("f32.cdab"), parseFormat("F32.CDAB"));
    EXPECT_EQ(parseFormat("f32"), parseFormat("f32.abcd"));
}

std::string mistake(const char *format)
{
    try {
        parseFormat(format);
    } catch (const Failure &failure) {
        return failure.what();
    }
    return "no mistake";
}

TEST(Formats, AreRefusedWithWhatIsAllowed)
{
    const std::string formats =
        " is no format; formats are u16, i16, hex, bin, bcd, u32, i32, f32, u64, i64, f64, strN (N bytes)";
    EXPECT_EQ("''" + formats, mistake(""));
    EXPECT_EQ("'f16'" + formats, mistake("f16.abcd"));
    EXPECT_EQ("a text is str with its number of bytes, 1 to 246, as str16, not 'str'", mistake("str"));
    EXPECT_EQ("a text is str with its number of bytes, 1 to 246, as str16, not 'str0'", mistake("str0"));
    EXPECT_EQ("no mistake", mistake("str246"));
    EXPECT_EQ("a text is str with its number of bytes, 1 to 246, as str16, not 'str0246'",
              mistake("str0246"));
    EXPECT_EQ("a text is str with its number of bytes, 1 to 246, as str16, not 'str247'", mistake("str247"));
    EXPECT_EQ("'abdc' is no byte order; orders are abcd, cdab, badc, dcba", mistake("f32.abdc"));
    EXPECT_EQ("'' is no byte order; orders are abcd, cdab, badc, dcba", mistake("f32."));
    EXPECT_EQ("the byte order of i16 is abcd or badc, not 'cdab'", mistake("i16.cdab"));
    EXPECT_EQ("the byte order of str4 is abcd or badc, not 'dcba'", mistake("str4.dcba"));
}

} // namespace
