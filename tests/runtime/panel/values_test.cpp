#include "runtime/panel/values.h"

#include <gtest/gtest.h>

#include "runtime/line/failure.h"
#include "support/hex.h"

namespace {

using plc::runtime::decodeValues;
using plc::runtime::encodeValues;
using plc::runtime::Failure;
using plc::runtime::formatValue;
using plc::runtime::formatValues;
using plc::runtime::NumberStyle;
using plc::runtime::parseValues;
using plc::runtime::Unit;
using plc::runtime::Values;
using plc::test::hex;

TEST(ParseValues, TakesDecimalHexadecimalAndSigns)
{
    EXPECT_EQ((Values{0, 1234, 65535, 0xFFFF, 0x8000, 0x04D2, 7}),
              parseValues("0,1234,65535,-1,-32768,0x04d2,+7", Unit::Register, "x"));
    EXPECT_EQ((Values{4294967295u, 0xFFFFFFFFu, 0x80000000u, 0xDEADBEEFu}),
              parseValues("4294967295,-1,-2147483648,0XDEADBEEF", Unit::RegisterPair, "x"));
}

TEST(ParseValues, TakesWordsForBits)
{
    EXPECT_EQ((Values{0, 1, 1, 0, 1, 0}), parseValues("0,1,on,off,true,false", Unit::Bit, "x"));
}

struct Bad
{
    const char *text;
    Unit unit;
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
        parseValues(GetParam().text, GetParam().unit, "4x:1=...");
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
    ::testing::Values(
        Bad{"1,65536", Unit::Register, kTooBig.c_str()}, Bad{"-32769", Unit::Register, kTooSmall.c_str()},
        Bad{"12a", Unit::Register, kLetters.c_str()}, Bad{"1,", Unit::Register, kEmpty.c_str()},
        Bad{"", Unit::Register, kEmpty.c_str()}, Bad{"-", Unit::Register, kSignOnly.c_str()},
        Bad{"0x", Unit::Register, kBareHex.c_str()}, Bad{"-0x1", Unit::Register, kNegativeHex.c_str()},
        Bad{"on", Unit::Register, kWord.c_str()}, Bad{"4294967296", Unit::RegisterPair, kPairTooBig.c_str()},
        Bad{"99999999999999999999999", Unit::RegisterPair, kPairHuge.c_str()},
        Bad{"-2147483649", Unit::RegisterPair, kPairTooSmall.c_str()}, Bad{"2", Unit::Bit, kTwo.c_str()},
        Bad{"-1", Unit::Bit, kMinusBit.c_str()}),
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

TEST(FormatValue, ShowsEachStyle)
{
    EXPECT_EQ("65534", formatValue(0xFFFE, Unit::Register, NumberStyle::Unsigned));
    EXPECT_EQ("-2", formatValue(0xFFFE, Unit::Register, NumberStyle::Signed));
    EXPECT_EQ("0xFFFE", formatValue(0xFFFE, Unit::Register, NumberStyle::Hex));
    EXPECT_EQ("0x0001", formatValue(1, Unit::Register, NumberStyle::Hex));
    EXPECT_EQ("4294967295", formatValue(0xFFFFFFFFu, Unit::RegisterPair, NumberStyle::Unsigned));
    EXPECT_EQ("-1", formatValue(0xFFFFFFFFu, Unit::RegisterPair, NumberStyle::Signed));
    EXPECT_EQ("0x00000001", formatValue(1, Unit::RegisterPair, NumberStyle::Hex));
    EXPECT_EQ("1", formatValue(1, Unit::Bit, NumberStyle::Hex));
    EXPECT_EQ("1", formatValue(1, Unit::Bit, NumberStyle::Signed));
    EXPECT_EQ("1;2;3", formatValues({1, 2, 3}, Unit::Register, NumberStyle::Unsigned, ";"));
}

} // namespace
