#include "runtime/panel/value_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using namespace plc::runtime;
using ::testing::ElementsAre;

std::string shown(const char *format, const Value &value)
{
    return textOf(value, parseFormat(format));
}

double asFloat(float number)
{
    return static_cast<double>(number);
}

TEST(ValueTexts, ShowEachFormatInItsOwnWay)
{
    EXPECT_EQ("1234", shown("u16", Value::ofUnsigned(1234)));
    EXPECT_EQ("-2", shown("i16", Value::ofSigned(-2)));
    EXPECT_EQ("0x04D2", shown("hex", Value::ofUnsigned(1234)));
    EXPECT_EQ("0b0000010011010010", shown("bin", Value::ofUnsigned(1234)));
    EXPECT_EQ("18446744073709551615", shown("u64", Value::ofUnsigned(~0ull)));
    EXPECT_EQ("-9223372036854775808",
              shown("i64", Value::ofSigned(std::numeric_limits<std::int64_t>::min())));
    Value bad = Value::ofUnsigned(0x12AB);
    bad.isBad = true;
    EXPECT_EQ("0x12AB", shown("bcd", bad));
}

TEST(ValueTexts, ShowFloatsAsShortAsReadsBackTheSame)
{
    EXPECT_EQ("0.1", shown("f32", Value::ofReal(asFloat(0.1f))));
    EXPECT_EQ("0.10000000149011612", shown("f64", Value::ofReal(asFloat(0.1f))));
    EXPECT_EQ("0.30000000000000004", shown("f64", Value::ofReal(0.1 + 0.2)));
    EXPECT_EQ("12.5", shown("f32", Value::ofReal(12.5)));
    EXPECT_EQ("-0", shown("f32", Value::ofReal(-0.0)));
    EXPECT_EQ("100000", shown("f32", Value::ofReal(100000)));
    EXPECT_EQ("1e+15", shown("f64", Value::ofReal(1e15)));
    EXPECT_EQ("0.00001", shown("f64", Value::ofReal(1e-5)));
    EXPECT_EQ("1e-06", shown("f64", Value::ofReal(1e-6)));
    EXPECT_EQ("3.4028235e+38", shown("f32", Value::ofReal(asFloat(std::numeric_limits<float>::max()))));
    EXPECT_EQ("1e-45", shown("f32", Value::ofReal(asFloat(std::numeric_limits<float>::denorm_min()))));
}

TEST(ValueTexts, NameNanAndInfinities)
{
    EXPECT_EQ("nan", shown("f32", Value::ofReal(std::nan(""))));
    EXPECT_EQ("nan", shown("f64", Value::ofReal(-std::nan(""))));
    EXPECT_EQ("inf", shown("f64", Value::ofReal(std::numeric_limits<double>::infinity())));
    EXPECT_EQ("-inf", shown("f32", Value::ofReal(-std::numeric_limits<double>::infinity())));
}

TEST(ValueTexts, GiveTextsOfStationsNoPowerOverATerminal)
{
    EXPECT_EQ("\"PUMP 7\"", shown("str9", Value::ofText("PUMP 7")));
    EXPECT_EQ("\"a\\\"b\\\\c\"", shown("str9", Value::ofText("a\"b\\c")));
    EXPECT_EQ("\"\\x1B[2J\\x9B\\x7F\\x0A\"", shown("str9", Value::ofText("\x1B[2J\xC2\x9B\x7F\n")));
    EXPECT_EQ("\"\xC3\xBC\"", shown("str9", Value::ofText("\xC3\xBC")));
    EXPECT_EQ("a\"b\\\\c\\x1B", withoutControlCharacters("a\"b\\c\x1B"));
}

struct Readable
{
    const char *format;
    const char *text;
    Value value;
};

void PrintTo(const Readable &readable, std::ostream *out)
{
    *out << readable.format << " '" << readable.text << "'";
}

class ReadableTexts : public ::testing::TestWithParam<Readable>
{};

TEST_P(ReadableTexts, AreTheValue)
{
    EXPECT_EQ(GetParam().value, readValue(GetParam().text, parseFormat(GetParam().format)));
}

INSTANTIATE_TEST_SUITE_P(
    Values, ReadableTexts,
    ::testing::Values(
        Readable{"u16", "1234", Value::ofUnsigned(1234)}, Readable{"u16", "+7", Value::ofUnsigned(7)},
        Readable{"u16", "0x04d2", Value::ofUnsigned(1234)}, Readable{"i16", "-7", Value::ofSigned(-7)},
        Readable{"bin", "0b101", Value::ofUnsigned(5)}, Readable{"hex", "10", Value::ofUnsigned(10)},
        Readable{"i64", "-9223372036854775808", Value::ofSigned(std::numeric_limits<std::int64_t>::min())},
        Readable{"u64", "18446744073709551615", Value::ofUnsigned(~0ull)},
        Readable{"bcd", "0042", Value::ofUnsigned(42)}, Readable{"f32", "0.1", Value::ofReal(asFloat(0.1f))},
        Readable{"f32", "1e-45", Value::ofReal(asFloat(1e-45f))}, Readable{"f32", "-1e-50", Value::ofReal(0)},
        Readable{"f64", "0.1", Value::ofReal(0.1)}, Readable{"f64", "-1e3", Value::ofReal(-1000)},
        Readable{"f64", "+.5", Value::ofReal(0.5)}, Readable{"str9", "PUMP 7", Value::ofText("PUMP 7")},
        Readable{"str9", "", Value::ofText("")}, Readable{"str9", "\"a,b\"", Value::ofText("a,b")},
        Readable{"str9", "\"\\\"\\\\\\x1b\\xFC\"", Value::ofText("\"\\\x1B\xC3\xBC")},
        Readable{"str9", "5\"", Value::ofText("5\"")}),
    [](const auto &test) { return "Row" + std::to_string(test.index); });

struct Unreadable
{
    const char *format;
    const char *text;
};

void PrintTo(const Unreadable &unreadable, std::ostream *out)
{
    *out << unreadable.format << " '" << unreadable.text << "'";
}

class UnreadableTexts : public ::testing::TestWithParam<Unreadable>
{};

TEST_P(UnreadableTexts, AreNoValue)
{
    EXPECT_FALSE(readValue(GetParam().text, parseFormat(GetParam().format)).has_value());
}

INSTANTIATE_TEST_SUITE_P(
    Values, UnreadableTexts,
    ::testing::Values(Unreadable{"u16", ""}, Unreadable{"u16", "-"}, Unreadable{"u16", "--1"},
                      Unreadable{"u16", "0x"}, Unreadable{"u16", "1x2"}, Unreadable{"u16", "-0x1"},
                      Unreadable{"u16", "+0x1"}, Unreadable{"u16", "1.0"},
                      Unreadable{"u64", "18446744073709551616"}, Unreadable{"i64", "-9223372036854775809"},
                      Unreadable{"bcd", "0x12"}, Unreadable{"f32", ""}, Unreadable{"f32", "nan"},
                      Unreadable{"f32", "inf"}, Unreadable{"f64", "-infinity"}, Unreadable{"f32", "1,5"},
                      Unreadable{"f32", "1e39"}, Unreadable{"f64", "1e309"}, Unreadable{"f64", "+-1"},
                      Unreadable{"f64", "0x10"}, Unreadable{"str9", "\"a"}, Unreadable{"str9", "\"a\"b"},
                      Unreadable{"str9", "\"\\x1\""}, Unreadable{"str9", "\"\\n\""},
                      Unreadable{"str9", "\"\\"}),
    [](const auto &test) { return "Row" + std::to_string(test.index); });

TEST(SplitValues, CutsAtCommasOutsideOfQuotationMarks)
{
    EXPECT_THAT(splitValues("1,2,,3", false), ElementsAre("1", "2", "", "3"));
    EXPECT_THAT(splitValues("", true), ElementsAre(""));
    EXPECT_THAT(splitValues("\"a,b\",c", true), ElementsAre("\"a,b\"", "c"));
    EXPECT_THAT(splitValues("\"a,b\",c", false), ElementsAre("\"a", "b\"", "c"));
    EXPECT_THAT(splitValues("\"a\\\",b\", \"c,d\"", true), ElementsAre("\"a\\\",b\"", " \"c,d\""));
    EXPECT_THAT(splitValues("5\",6", true), ElementsAre("5\"", "6"))
        << "a mark inside a value is no beginning";
}

} // namespace
