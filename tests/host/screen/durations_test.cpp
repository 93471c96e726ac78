#include "host/screen/durations.h"

#include <gtest/gtest.h>

namespace {

using namespace plc::host;
using std::chrono::hours;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(ShortDurations, HaveTheUnitThatFits)
{
    EXPECT_EQ("0.0 ms", shortDuration(Time::zero()));
    EXPECT_EQ("1.3 ms", shortDuration(microseconds(1260)));
    EXPECT_EQ("9.9 ms", shortDuration(microseconds(9949)));
    EXPECT_EQ("10 ms", shortDuration(microseconds(9951)));
    EXPECT_EQ("999 ms", shortDuration(microseconds(999400)));
    EXPECT_EQ("1.0 s", shortDuration(microseconds(999600)));
    EXPECT_EQ("99.9 s", shortDuration(milliseconds(99900)));
    EXPECT_EQ("100 s", shortDuration(milliseconds(99960)));
    EXPECT_EQ("10 min", shortDuration(seconds(600)));
    EXPECT_EQ("600 min", shortDuration(seconds(35990)));
    EXPECT_EQ("10 h", shortDuration(hours(10)));
    EXPECT_EQ("5 d", shortDuration(hours(120)));
    EXPECT_EQ("0.0 ms", shortDuration(milliseconds(-3)));
}

TEST(Ages, AreWholeMilliseconds)
{
    EXPECT_EQ("0 ms", ageText(Time::zero()));
    EXPECT_EQ("9 ms", ageText(milliseconds(9)));
    EXPECT_EQ("12 ms", ageText(milliseconds(12)));
    EXPECT_EQ("1.2 s", ageText(milliseconds(1234)));
}

TEST(Clock, CountsMinutesThenHours)
{
    EXPECT_EQ("0:00", clockText(Time::zero()));
    EXPECT_EQ("0:07", clockText(milliseconds(7999)));
    EXPECT_EQ("59:59", clockText(seconds(3599)));
    EXPECT_EQ("1:02:03", clockText(seconds(3723)));
    EXPECT_EQ("100:00:00", clockText(hours(100)));
}

} // namespace
