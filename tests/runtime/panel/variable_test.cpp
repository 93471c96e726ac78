#include "runtime/panel/variable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "runtime/line/failure.h"

namespace {

using plc::runtime::Failure;
using plc::runtime::parseVariable;
using plc::runtime::Variable;
using ::testing::HasSubstr;

struct Good
{
    const char *text;
    bool oneBased;
    int regType;
    const char *address;
    int first;
    int count;
    int elements;  // bits or registers, as the driver counts
    int baseFirst; // first register or bit touched
    int baseCount;
};

void PrintTo(const Good &good, std::ostream *out)
{
    *out << good.text << (good.oneBased ? ", one-based" : "");
}

class GoodVariables : public ::testing::TestWithParam<Good>
{};

TEST_P(GoodVariables, MeanWhatTheySay)
{
    const Good &good = GetParam();
    const Variable variable = parseVariable(good.text, good.oneBased);
    EXPECT_EQ(good.regType, variable.area->regType);
    EXPECT_EQ(good.address, variable.address.toStdString());
    EXPECT_EQ(good.first, variable.first);
    EXPECT_EQ(good.count, variable.count);
    EXPECT_EQ(good.elements, variable.elements());
    EXPECT_EQ(good.baseFirst, variable.baseFirst());
    EXPECT_EQ(good.baseCount, variable.baseCount());
}

INSTANTIATE_TEST_SUITE_P(Areas, GoodVariables,
                         ::testing::Values(Good{"4x:100", false, 5, "100", 100, 1, 1, 100, 1},
                                           Good{"4x:100:10", false, 5, "100", 100, 10, 10, 100, 10},
                                           Good{"4X:0:65536", false, 5, "0", 0, 65536, 65536, 0, 65536},
                                           Good{"4x:65535", false, 5, "65535", 65535, 1, 1, 65535, 1},
                                           Good{"4x_bit:35.3", false, 3, "35.3", 563, 1, 1, 35, 1},
                                           Good{"4x_bit:35.15:2", false, 3, "35.15", 575, 2, 2, 35, 2},
                                           Good{"3x_bit:0.0:16", false, 2, "0.0", 0, 16, 16, 0, 1},
                                           Good{"4x_d:200", false, 7, "200", 200, 1, 2, 200, 2},
                                           Good{"3x_d:200:3", false, 6, "200", 200, 3, 6, 200, 6},
                                           Good{"4x_d:65534", false, 7, "65534", 65534, 1, 2, 65534, 2},
                                           Good{"0x:16:8", false, 0, "16", 16, 8, 8, 16, 8},
                                           Good{"1x:0", false, 1, "0", 0, 1, 1, 0, 1},
                                           Good{"3x:9:100", false, 4, "9", 9, 100, 100, 9, 100},
                                           Good{"4x_single:5", false, 8, "5", 5, 1, 1, 5, 1},
                                           Good{"4x_block:5:2", false, 9, "5", 5, 2, 2, 5, 2},
                                           Good{"4x:100", true, 5, "100", 99, 1, 1, 99, 1},
                                           Good{"4x:1", true, 5, "1", 0, 1, 1, 0, 1},
                                           Good{"4x:65536", true, 5, "65536", 65535, 1, 1, 65535, 1},
                                           Good{"4x_bit:10.3", true, 3, "10.3", 147, 1, 1, 9, 1},
                                           Good{"4x:200/f32", false, 5, "200", 200, 1, 2, 200, 2},
                                           Good{"4x:200:3/i32.cdab@7", false, 5, "200", 200, 3, 6, 200, 6},
                                           Good{"3x:200:2/F64", false, 4, "200", 200, 2, 8, 200, 8},
                                           Good{"4x:40/str15", false, 5, "40", 40, 1, 8, 40, 8},
                                           Good{"4x:40:3/bcd", false, 5, "40", 40, 3, 3, 40, 3},
                                           Good{"4x_single:40/u32", false, 8, "40", 40, 1, 2, 40, 2},
                                           Good{"4x_d:40:2/f32", false, 7, "40", 40, 2, 4, 40, 4},
                                           Good{"4x:65532/u64", false, 5, "65532", 65532, 1, 4, 65532, 4}),
                         [](const auto &test) { return "Row" + std::to_string(test.index); });

TEST(VariableStation, IsWhatStandsBehindTheAtSign)
{
    EXPECT_FALSE(parseVariable("4x:100", false).station.has_value());
    EXPECT_EQ(5, parseVariable("4x:100@5", false).station);
    EXPECT_EQ(247, parseVariable("4x:100:10@247", false).station);
    EXPECT_EQ(0, parseVariable("4x:100@0", false).station);
}

struct Bad
{
    const char *text;
    bool oneBased;
    const char *said;
};

void PrintTo(const Bad &bad, std::ostream *out)
{
    *out << "'" << bad.text << "'" << (bad.oneBased ? ", one-based" : "");
}

class BadVariables : public ::testing::TestWithParam<Bad>
{};

TEST_P(BadVariables, AreRefusedWithPlaceAndReason)
{
    try {
        parseVariable(GetParam().text, GetParam().oneBased);
        FAIL() << GetParam().text << " was taken";
    } catch (const Failure &failure) {
        EXPECT_EQ(plc::runtime::FailureKind::Usage, failure.kind());
        EXPECT_EQ(std::string("variable '") + GetParam().text + "', " + GetParam().said, failure.what());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Mistakes, BadVariables,
    ::testing::Values(
        Bad{"", false,
            "character 1: '' is no area; areas are 0x, 1x, 3x, 4x, 3x_bit, 4x_bit, 3x_d, 4x_d, 4x_single, "
            "4x_block"},
        Bad{"5x:1", false,
            "character 1: '5x' is no area; areas are 0x, 1x, 3x, 4x, 3x_bit, 4x_bit, 3x_d, 4x_d, 4x_single, "
            "4x_block"},
        Bad{"4x", false, "character 3: an address must follow the area, as in 4x:100"},
        Bad{"4x_bit", false, "character 7: an address must follow the area, as in 4x_bit:35.3"},
        Bad{"4x:", false, "character 4: the address must be a number from 0 to 65535, but is missing"},
        Bad{"4x:12a", false, "character 4: the address must be a number from 0 to 65535, not '12a'"},
        Bad{"4x:-3", false, "character 4: the address must be a number from 0 to 65535, not '-3'"},
        Bad{"4x:65536", false, "character 4: the address must be a number from 0 to 65535, not '65536'"},
        Bad{"4x:65537", true,
            "character 4: the address counts from 1 here (option one-based) and must be a number from 1 to "
            "65536, not '65537'"},
        Bad{"4x:0", true,
            "character 4: the address counts from 1 here (option one-based) and must be a number from 1 to "
            "65536, not '0'"},
        Bad{"4x_bit:0.3", true,
            "character 8: the register counts from 1 here (option one-based) and must be a number from 1 to "
            "65536, not '0'"},
        Bad{"4x:99999999999999999999", false,
            "character 4: the address must be a number from 0 to 65535, not '99999999999999999999'"},
        // 4 in 32 bits, once it has overflowed.
        Bad{"4x:4294967300", false,
            "character 4: the address must be a number from 0 to 65535, not '4294967300'"},
        Bad{"4x:35.3", false, "character 4: the address must be a number from 0 to 65535, not '35.3'"},
        Bad{"4x:1:0", false, "character 6: the count must be a number from 1 to 65535, not '0'"},
        Bad{"4x:1:", false, "character 6: the count must be a number from 1 to 65535, but is missing"},
        Bad{"4x:65535:2", false, "character 10: the count must be a number from 1 to 1, not '2'"},
        Bad{"4x:1:2:3", false, "character 6: the count must be a number from 1 to 65535, not '2:3'"},
        Bad{"4x_d:65535", false, "character 6: a 32-bit value needs two registers, and this is the last one"},
        Bad{"4x_d:65530:4", false, "character 12: the count must be a number from 1 to 3, not '4'"},
        Bad{"4x_bit:35", false, "character 8: an address in 4x_bit is REGISTER.BIT, as 35.3"},
        Bad{"4x_bit:35.16", false, "character 11: the bit must be a number from 0 to 15, not '16'"},
        Bad{"4x_bit:35.", false, "character 11: the bit must be a number from 0 to 15, but is missing"},
        Bad{"4x_bit:.3", false, "character 8: the register must be a number from 0 to 65535, but is missing"},
        Bad{"4x:1/f33", false,
            "character 6: 'f33' is no format; formats are u16, i16, hex, bin, bcd, u32, i32, f32, u64, i64, "
            "f64, "
            "strN (N bytes)"},
        Bad{"4x:1:2/i16.cdab@7", false, "character 8: the byte order of i16 is abcd or badc, not 'cdab'"},
        Bad{"0x:1/u16", false, "character 6: values in 0x are bits, which have no format"},
        Bad{"3x_bit:1.2/u16", false, "character 12: values in 3x_bit are bits, which have no format"},
        Bad{"4x_d:1/i16", false, "character 8: values in 4x_d are u32, i32 or f32, not 'i16'"},
        Bad{"3x_d:1/f64", false, "character 8: values in 3x_d are u32, i32 or f32, not 'f64'"},
        Bad{"4x:65535/f32", false,
            "character 4: a value in f32 needs 2 registers, and from here to the end there is 1"},
        Bad{"4x:65533/u64", false,
            "character 4: a value in u64 needs 4 registers, and from here to the end there are 3"},
        Bad{"4x:65530:4/f32", false, "character 10: the count must be a number from 1 to 3, not '4'"},
        Bad{"4x:1@7/f32", false, "character 6: the station must be a number from 0 to 247, not '7/f32'"},
        Bad{"4x:1@248", false, "character 6: the station must be a number from 0 to 247, not '248'"},
        Bad{"4x:1@", false, "character 6: the station must be a number from 0 to 247, but is missing"}),
    [](const auto &test) { return "Row" + std::to_string(test.index); });

TEST(VariableNames, CountOnAsTheyWereTyped)
{
    EXPECT_EQ("4x:103", parseVariable("4x:100:5", false).nameOf(3));
    EXPECT_EQ("4x:103", parseVariable("4x:100:5", true).nameOf(3));
    EXPECT_EQ("4x_d:206", parseVariable("4x_d:200:5", false).nameOf(3));
    EXPECT_EQ("4x_bit:36.1", parseVariable("4x_bit:35.14:5", false).nameOf(3));
    EXPECT_EQ("4x_bit:36.1", parseVariable("4x_bit:35.14:5", true).nameOf(3));
    EXPECT_EQ("0x:19", parseVariable("0x:16:5", false).nameOf(3));
    EXPECT_EQ("4x:206/f32", parseVariable("4x:200:5/f32", false).nameOf(3));
    EXPECT_EQ("4x:206/i32.cdab", parseVariable("4x:200:5/I32.cdab", true).nameOf(3));
    EXPECT_EQ("4x:43/str3", parseVariable("4x:41:2/str3", false).nameOf(1));
}

TEST(Variables, AreOneValueUntilTheyAreToldOtherwise)
{
    EXPECT_EQ(1, Variable().count);
    EXPECT_FALSE(Variable().countGiven);
    EXPECT_EQ(nullptr, Variable().area);
    EXPECT_EQ(0, Variable().first);
    EXPECT_FALSE(Variable().station);
}

TEST(Areas, AreTenWithTheirNames)
{
    std::string names;
    for (const auto &area : plc::runtime::areas())
        names += std::string(area.name) + " ";
    EXPECT_EQ("0x 1x 3x 4x 3x_bit 4x_bit 3x_d 4x_d 4x_single 4x_block ", names);
}

} // namespace
