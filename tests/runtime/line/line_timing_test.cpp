#include "runtime/line/line_timing.h"

#include <gtest/gtest.h>

namespace {

using plc::runtime::LineTiming;
using plc::runtime::Time;

// Milliseconds as people quote them, four significant digits.
struct Row
{
    int baud;
    double character;
    double silence;
    double eightBytes;
    double hundredRegisters; // a reply of 205 bytes
    double longestFrame;     // 256 bytes
};

void PrintTo(const Row &row, std::ostream *out)
{
    *out << row.baud << " baud";
}

class TimingTable : public ::testing::TestWithParam<Row>
{};

double milliseconds(Time time)
{
    return std::chrono::duration<double, std::milli>(time).count();
}

TEST_P(TimingTable, FollowsTheLineUpToTheQuotedDigits)
{
    const Row &row = GetParam();
    const LineTiming timing(row.baud);
    EXPECT_NEAR(row.character, milliseconds(timing.character()), 0.0006);
    EXPECT_NEAR(row.silence, milliseconds(timing.silence()), 0.006);
    EXPECT_NEAR(row.eightBytes, milliseconds(timing.wire(8)), 0.06);
    EXPECT_NEAR(row.hundredRegisters, milliseconds(timing.wire(205)), 0.6);
    EXPECT_NEAR(row.longestFrame, milliseconds(timing.wire(256)), 0.7);
}

INSTANTIATE_TEST_SUITE_P(
    Baud, TimingTable,
    ::testing::Values(Row{1200, 9.167, 32.08, 73.3, 1879, 2347}, Row{2400, 4.583, 16.04, 36.7, 940, 1173},
                      Row{4800, 2.292, 8.021, 18.3, 470, 587}, Row{9600, 1.146, 4.010, 9.17, 235, 293},
                      Row{19200, 0.573, 2.005, 4.58, 117, 147}, Row{38400, 0.286, 1.750, 2.29, 58.7, 73.3},
                      Row{115200, 0.095, 1.750, 0.76, 19.6, 24.4}),
    [](const auto &test) { return std::to_string(test.param.baud); });

TEST(LineTiming, IsRoundedUpSoThatASilenceIsNeverTooShort)
{
    // 38.5 bits at 9600 per second are 4,010,416.67 ns.
    EXPECT_EQ(Time(4010417), LineTiming(9600).silence());
    EXPECT_EQ(Time(1145834), LineTiming(9600).character());
}

TEST(LineTiming, KeepsTheFixedSilenceAboveNineteenThousandTwoHundred)
{
    EXPECT_EQ(std::chrono::microseconds(1750), LineTiming(19201).silence());
    EXPECT_EQ(std::chrono::microseconds(1750), LineTiming(4000000).silence());
    EXPECT_EQ(Time(2005209), LineTiming(19200).silence());
}

TEST(LineTiming, TakesNoTimeForNoBytes)
{
    EXPECT_EQ(Time::zero(), LineTiming(9600).wire(0));
    EXPECT_EQ(Time::zero(), LineTiming(9600).wire(-5));
}

} // namespace
