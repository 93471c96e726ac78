#include "runtime/panel/meaning.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using namespace plc::runtime;

Meaning scale(double factor, double offset = 0)
{
    Meaning meaning;
    meaning.scale = factor;
    meaning.offset = offset;
    return meaning;
}

Value shown(const char *format, std::int64_t raw, const Meaning &meaning)
{
    return scaled(Value::ofSigned(raw), parseFormat(format), meaning);
}

TEST(ScaledValues, HaveTheDecimalsOfScaleAndOffset)
{
    EXPECT_EQ(Value::ofReal(0.3), shown("u16", 3, scale(0.1))) << "not 0.30000000000000004";
    EXPECT_EQ(Value::ofReal(382.2), shown("u16", 65535, scale(0.01, -273.15)));
    EXPECT_EQ(Value::ofReal(1.05), shown("u16", 3, scale(0.35)));
    EXPECT_EQ(Value::ofReal(30), shown("i16", 3, scale(10)));
    EXPECT_EQ(Value::ofReal(0.0000003), shown("i16", 3, scale(1e-7)));
    EXPECT_EQ(Value::ofReal(2e300), shown("i16", 2, scale(1e300)));
}

TEST(ScaledValues, HaveNoMinusInFrontOfAZero)
{
    EXPECT_FALSE(std::signbit(shown("i16", -3, scale(0.1, 0.3)).real)) << "0.1 * 3 is a little more than 0.3";
}

TEST(ScaledValues, OfFloatsAreFloats)
{
    const Value value = Value::ofReal(static_cast<double>(12.3f));
    EXPECT_EQ(Value::ofReal(static_cast<double>(1.23f)), scaled(value, parseFormat("f32"), scale(0.1)));
}

TEST(ScaledValues, LeaveBadValuesAlone)
{
    Value bad = Value::ofUnsigned(0xAAAA);
    bad.isBad = true;
    EXPECT_EQ(bad, scaled(bad, parseFormat("bcd"), scale(0.1)));
}

TEST(UnscaledValues, AreRoundedToTheNearestWholeNumber)
{
    const ValueFormat format = parseFormat("i16");
    EXPECT_EQ(Value::ofReal(123), unscaled(Value::ofReal(12.34), format, scale(0.1)));
    EXPECT_EQ(Value::ofReal(124), unscaled(Value::ofReal(12.36), format, scale(0.1)));
    EXPECT_EQ(Value::ofReal(-124), unscaled(Value::ofReal(-12.36), format, scale(0.1)));
    EXPECT_EQ(Value::ofReal(5), unscaled(Value::ofUnsigned(30), format, scale(2, 20)));
}

TEST(UnscaledValues, OfFloatsKeepTheirFraction)
{
    EXPECT_EQ(Value::ofReal(6.25), unscaled(Value::ofReal(12.5), parseFormat("f64"), scale(2)));
}

TEST(EveryRegister, ComesBackFromItsScaledValue)
{
    const ValueFormat format = parseFormat("i16");
    for (const Meaning &meaning :
         {scale(0.1), scale(0.01, -273.15), scale(-3), scale(1.0 / 3), scale(0.0025, 7)}) {
        for (int raw = std::numeric_limits<std::int16_t>::min(); raw <= 32767; ++raw)
            ASSERT_EQ(Value::ofReal(raw), unscaled(shown("i16", raw, meaning), format, meaning))
                << meaning.scale;
    }
}

TEST(Texts, AreFoundByValueAndTheOtherWayRound)
{
    Meaning meaning;
    meaning.names = {{Value::ofUnsigned(2), "running"}};
    ASSERT_NE(nullptr, meaning.nameOf(Value::ofUnsigned(2)));
    EXPECT_EQ("running", *meaning.nameOf(Value::ofUnsigned(2)));
    EXPECT_EQ(nullptr, meaning.nameOf(Value::ofUnsigned(1)));
    ASSERT_NE(nullptr, meaning.valueNamed("running"));
    EXPECT_EQ(Value::ofUnsigned(2), *meaning.valueNamed("running"));
    EXPECT_EQ(nullptr, meaning.valueNamed("Running"));
}

} // namespace
