#include "runtime/panel/values.h"

#include <gtest/gtest.h>

#include "runtime/line/failure.h"
#include "support/hex.h"

namespace {

using namespace plc::runtime;
using plc::test::hex;

Variable variable(const char *text)
{
    return parseVariable(text, false);
}

TEST(ParseValues, TakesDecimalHexadecimalAndSigns)
{
    EXPECT_EQ((Values{0, 1234, 65535, 0xFFFF, 0x8000, 0x04D2, 7}),
              parseValues("0,1234,65535,-1,-32768,0x04d2,+7", variable("4x:1"), "x"));
    EXPECT_EQ((Values{4294967295u, 0xFFFFFFFFu, 0x80000000u, 0xDEADBEEFu}),
              parseValues("4294967295,-1,-2147483648,0XDEADBEEF", variable("4x_d:1"), "x"));
}

TEST(ParseValues, TakesWordsForBits)
{
    EXPECT_EQ((Values{0, 1, 1, 0, 1, 0}), parseValues("0,1,on,off,true,false", variable("0x:1"), "x"));
}

struct Bad
{
    const char *text;
    const char *variable;
    const char *said;
};

void PrintTo(const Bad &bad, std::ostream *out)
{
    *out << "'" << bad.text << "'";
}

class BadValues : public ::testing::TestWithParam<Bad>
{};

TEST_P(BadValues, AreRefusedWithTheirRange)
{
    try {
        parseValues(GetParam().text, variable(GetParam().variable), "4x:1=...");
        FAIL() << GetParam().text << " was taken";
    } catch (const Failure &failure) {
        EXPECT_EQ(plc::runtime::FailureKind::Usage, failure.kind());
        EXPECT_EQ(std::string("'4x:1=...': value ") + GetParam().said, failure.what());
    }
}

constexpr const char *kRegisterRange = " is not allowed; a register holds -32768 to 65535 or 0x0 to 0xFFFF";
constexpr const char *kPairRange =
    " is not allowed; a register pair holds -2147483648 to 4294967295 or 0x0 to 0xFFFFFFFF";
constexpr const char *kBitRange = " is not allowed; a bit is 0 or 1 (off, on, false, true)";

std::string joined(const char *value, const char *range)
{
    return std::string("'") + value + "'" + range;
}

const std::string kTooBig = joined("65536", kRegisterRange);
const std::string kTooSmall = joined("-32769", kRegisterRange);
const std::string kLetters = joined("12a", kRegisterRange);
const std::string kEmpty = joined("", kRegisterRange);
const std::string kSignOnly = joined("-", kRegisterRange);
const std::string kBareHex = joined("0x", kRegisterRange);
const std::string kNegativeHex = joined("-0x1", kRegisterRange);
const std::string kWord = joined("on", kRegisterRange);
const std::string kPairTooBig = joined("4294967296", kPairRange);
const std::string kPairHuge = joined("99999999999999999999999", kPairRange);
const std::string kPairTooSmall = joined("-2147483649", kPairRange);
const std::string kTwo = joined("2", kBitRange);
const std::string kMinusBit = joined("-1", kBitRange);

INSTANTIATE_TEST_SUITE_P(
    Mistakes, BadValues,
    ::testing::Values(Bad{"1,65536", "4x:1", kTooBig.c_str()}, Bad{"-32769", "4x:1", kTooSmall.c_str()},
                      Bad{"12a", "4x:1", kLetters.c_str()}, Bad{"1,", "4x:1", kEmpty.c_str()},
                      Bad{"", "4x:1", kEmpty.c_str()}, Bad{"-", "4x:1", kSignOnly.c_str()},
                      Bad{"0x", "4x:1", kBareHex.c_str()}, Bad{"-0x1", "4x:1", kNegativeHex.c_str()},
                      Bad{"on", "4x:1", kWord.c_str()}, Bad{"4294967296", "4x_d:1", kPairTooBig.c_str()},
                      Bad{"99999999999999999999999", "4x_d:1", kPairHuge.c_str()},
                      Bad{"-2147483649", "4x_d:1", kPairTooSmall.c_str()}, Bad{"2", "0x:1", kTwo.c_str()},
                      Bad{"-1", "0x:1", kMinusBit.c_str()}),
    [](const auto &test) { return "Row" + std::to_string(test.index); });

TEST(ValueBytes, StandInTheDriversOrder)
{
    EXPECT_EQ(hex("01 00 01"), encodeValues({1, 0, 1}, Unit::Bit));
    EXPECT_EQ(hex("34 12 CD AB"), encodeValues({0x1234, 0xABCD}, Unit::Register));
    // Register A holds the upper half; the driver hands over A + 1 first, each with its low byte first.
    EXPECT_EQ(hex("78 56 34 12"), encodeValues({0x12345678}, Unit::RegisterPair));
}

TEST(ValueBytes, ComeBack)
{
    EXPECT_EQ((Values{1, 0}), decodeValues(hex("01 00"), Unit::Bit, 2));
    EXPECT_EQ((Values{0x1234, 0xABCD}), decodeValues(hex("34 12 CD AB"), Unit::Register, 2));
    EXPECT_EQ((Values{0x12345678}), decodeValues(hex("78 56 34 12"), Unit::RegisterPair, 1));
}

TEST(ValueBytes, CountAsZeroWhereTheyAreMissing)
{
    EXPECT_EQ((Values{0x34, 0}), decodeValues(hex("34"), Unit::Register, 2));
}

std::string shown(const char *text, std::uint32_t value, NumberStyle style)
{
    return formatValue(variable(text), {value}, 0, style);
}

TEST(FormatValue, ShowsEachStyleWhereThereIsNoFormat)
{
    EXPECT_EQ("65534", shown("4x:1", 0xFFFE, NumberStyle::Unsigned));
    EXPECT_EQ("-2", shown("4x:1", 0xFFFE, NumberStyle::Signed));
    EXPECT_EQ("0xFFFE", shown("4x:1", 0xFFFE, NumberStyle::Hex));
    EXPECT_EQ("0x0001", shown("4x:1", 1, NumberStyle::Hex));
    EXPECT_EQ("4294967295", shown("4x_d:1", 0xFFFFFFFFu, NumberStyle::Unsigned));
    EXPECT_EQ("-1", shown("4x_d:1", 0xFFFFFFFFu, NumberStyle::Signed));
    EXPECT_EQ("0x00000001", shown("4x_d:1", 1, NumberStyle::Hex));
    EXPECT_EQ("1", shown("0x:1", 1, NumberStyle::Hex));
    EXPECT_EQ("1", shown("0x:1", 1, NumberStyle::Signed));
    EXPECT_EQ("1;2;3", formatValues(variable("4x:1:3"), {1, 2, 3}, NumberStyle::Unsigned, ";"));
}

TEST(FormatValue, ShowsAFormatWhateverTheStyleIs)
{
    EXPECT_EQ("65534", shown("4x:1/u16", 0xFFFE, NumberStyle::Hex));
    EXPECT_EQ("-2", shown("4x:1/i16", 0xFFFE, NumberStyle::Hex));
    EXPECT_EQ("0xFFFE", shown("4x:1/hex", 0xFFFE, NumberStyle::Unsigned));
}

TEST(FormattedValues, HaveAsManyRegistersAsTheirFormat)
{
    const Variable floats = variable("4x:200:2/f32");
    const Values raw = parseValues("12.5,-1", floats, "x");
    EXPECT_EQ((Values{0x4148, 0x0000, 0xBF80, 0x0000}), raw);
    EXPECT_EQ(2, valueCount(floats, raw));
    EXPECT_EQ("12.5 -1", formatValues(floats, raw, NumberStyle::Unsigned, " "));
}

TEST(FormattedValues, AreOneNumberInThe32BitAreas)
{
    const Variable pair = variable("4x_d:200/f32");
    EXPECT_EQ((Values{0x41480000}), parseValues("12.5", pair, "x"));
    EXPECT_EQ("12.5", formatValues(pair, {0x41480000}, NumberStyle::Unsigned, " "));
    EXPECT_EQ((Values{0x00004148}), parseValues("12.5", variable("4x_d:200/f32.cdab"), "x"));
}

TEST(FormattedValues, MayHaveBlanksAroundThem)
{
    EXPECT_EQ((Values{1, 2}), parseValues(" 1 ,\t2", variable("4x:1/u16"), "x"));
    EXPECT_EQ((Values{0x4120, 0x4200, 0x2041, 0x0000}),
              parseValues(" A B ,\" A\"", variable("4x:1/str4"), "x"));
}

TEST(PlainValues, MayHaveBlanksAroundThemToo)
{
    EXPECT_EQ((Values{1, 0xFFFE, 0x10}), parseValues(" 1, -2 ,\t0x10", variable("4x:1:3"), "x"));
    EXPECT_EQ((Values{1, 0}), parseValues("on, off", variable("0x:1:2"), "x"));
}

TEST(BadBcdDigits, AreMarked)
{
    EXPECT_EQ("1234 0x12AB (bad BCD)",
              formatValues(variable("4x:1:2/bcd"), {0x1234, 0x12AB}, NumberStyle::Unsigned, " "));
}

/// What is wrong with writing @p text.
std::string mistake(const char *text, const Variable &into)
{
    try {
        parseValues(text, into, "w");
    } catch (const Failure &failure) {
        return failure.what();
    }
    return "no mistake";
}

TEST(FormattedValues, AreRefusedWithTheRangeOfTheirFormat)
{
    EXPECT_EQ("'w': value '-1' is not allowed; u16 holds 0 to 65535", mistake("-1", variable("4x:1/u16")));
    EXPECT_EQ("'w': value '10000' is not allowed; bcd holds 0 to 9999",
              mistake("10000", variable("4x:1/bcd")));
    EXPECT_EQ("'w': value 'nan' is not allowed; f32 holds numbers from -3.4028235e+38 to 3.4028235e+38",
              mistake("nan", variable("4x:1/f32")));
    EXPECT_EQ("'w': value '1.5' is not allowed; i32 holds -2147483648 to 2147483647",
              mistake("1.5", variable("4x:1/i32")));
    EXPECT_EQ("'w': value 'abc' is not allowed; str2 holds up to 2 characters of Latin-1, no zero byte among "
              "them",
              mistake("abc", variable("4x:1/str2")));
}

Variable meaning(const char *text, Meaning given)
{
    Variable result = variable(text);
    result.meaning = std::make_shared<const Meaning>(std::move(given));
    return result;
}

TEST(ScaledValues, AreShownScaledAndWrittenRoundedToTheNearest)
{
    Meaning tenths;
    tenths.scale = 0.1;
    tenths.unit = "bar";
    const Variable pressure = meaning("4x:1/i16", tenths);
    EXPECT_EQ("12.5 bar", formatValues(pressure, {125}, NumberStyle::Unsigned, " "));
    EXPECT_EQ((Values{125, 0xFFFF, 123, 124}), parseValues("12.5,-0.1,12.34,12.36", pressure, "w"));
    EXPECT_EQ(
        "'w': value '3276.8' is not allowed; in the registers it is 32768, and i16 holds -32768 to 32767",
        mistake("3276.8", pressure));
    EXPECT_EQ("'w': value 'x' is not allowed; it must be a number", mistake("x", pressure));
}

TEST(ScaledValues, WithoutAFormatHaveNoSign)
{
    Meaning twice;
    twice.scale = 2;
    EXPECT_EQ("'w': value '-2' is not allowed; in the registers it is -1, and u16 holds 0 to 65535",
              mistake("-2", meaning("4x:1", twice)));
}

TEST(Limits, HoldForWhatIsWrittenAlone)
{
    Meaning limited;
    limited.scale = 0.5;
    limited.least = 1;
    limited.most = 10.5;
    limited.unit = "m";
    const Variable length = meaning("4x:1", limited);
    EXPECT_EQ((Values{2, 21}), parseValues("1,10.5", length, "w"));
    EXPECT_EQ("'w': value '0.5' is not allowed; the least is 1 m", mistake("0.5", length));
    EXPECT_EQ("'w': value '11' is not allowed; the most is 10.5 m", mistake("11", length));
    EXPECT_EQ("32767.5 m", formatValues(length, {65535}, NumberStyle::Unsigned, " "));
}

TEST(Limits, HoldForTextsThatStandForValues)
{
    Meaning limited;
    limited.scale = 0.5;
    limited.most = 2;
    limited.names = {{Value::ofUnsigned(4), "high"}, {Value::ofUnsigned(5), "too high"}};
    const Variable speed = meaning("4x:1", limited);
    EXPECT_EQ((Values{4}), parseValues("high", speed, "w"));
    EXPECT_EQ("'w': value 'too high' is not allowed; the most is 2", mistake("too high", speed));
}

TEST(Texts, StandForValuesBothWays)
{
    Meaning modes;
    modes.names = {{Value::ofUnsigned(0), "stopped"}, {Value::ofUnsigned(2), "running fast"}};
    const Variable mode = meaning("4x:1:3", modes);
    EXPECT_EQ("stopped (0) 1 running fast (2)", formatValues(mode, {0, 1, 2}, NumberStyle::Unsigned, " "));
    EXPECT_EQ((Values{2, 0, 1}), parseValues("running fast, stopped ,1", mode, "w"));
    EXPECT_EQ("'w': value 'fast' is not allowed; a register holds -32768 to 65535 or 0x0 to 0xFFFF",
              mistake("fast", mode));
    Meaning lamp;
    lamp.names = {{Value::ofUnsigned(0), "dark"}, {Value::ofUnsigned(1), "lit"}};
    EXPECT_EQ((Values{1, 0, 1}), parseValues("lit,dark,on", meaning("0x:1:3", lamp), "w"));
}

} // namespace
