#include "runtime/line/histogram.h"

#include <gtest/gtest.h>

namespace {

using plc::runtime::Histogram;
using plc::runtime::Time;
using std::chrono::milliseconds;

/// With the durations from 1 ms to @p most, in an order of no meaning.
Histogram upTo(int most)
{
    Histogram histogram;
    for (int i = 0; i < most; ++i)
        histogram.add(milliseconds(1 + i * 37 % most));
    return histogram;
}

void expectAbout(Time expected, Time actual)
{
    EXPECT_NEAR(static_cast<double>(expected.count()), static_cast<double>(actual.count()),
                static_cast<double>(expected.count()) / 100);
}

TEST(Histogram, IsAllZeroesWithoutADuration)
{
    const Histogram empty;
    EXPECT_EQ(0u, empty.count());
    EXPECT_EQ(Time::zero(), empty.least());
    EXPECT_EQ(Time::zero(), empty.most());
    EXPECT_EQ(Time::zero(), empty.mean());
    EXPECT_EQ(Time::zero(), empty.percentile(0));
    EXPECT_EQ(Time::zero(), empty.percentile(50));
    EXPECT_EQ(Time::zero(), empty.percentile(99));
}

TEST(Histogram, KnowsASingleDurationExactly)
{
    for (const Time only : {Time::zero(), Time(1), Time(123456789), Time(milliseconds(123)), Time::max()}) {
        Histogram histogram;
        histogram.add(only);
        EXPECT_EQ(1u, histogram.count());
        EXPECT_EQ(only, histogram.least());
        EXPECT_EQ(only, histogram.most());
        EXPECT_EQ(only, histogram.mean());
        EXPECT_EQ(only, histogram.percentile(0));
        EXPECT_EQ(only, histogram.percentile(50));
        EXPECT_EQ(only, histogram.percentile(100));
    }
}

TEST(Histogram, FindsPercentilesToWithinAPercent)
{
    const Histogram histogram = upTo(1000);
    EXPECT_EQ(1000u, histogram.count());
    EXPECT_EQ(milliseconds(1), histogram.least());
    EXPECT_EQ(milliseconds(1000), histogram.most());
    EXPECT_EQ(Time(milliseconds(1001)) / 2, histogram.mean());
    expectAbout(milliseconds(1), histogram.percentile(0));
    expectAbout(milliseconds(10), histogram.percentile(1));
    expectAbout(milliseconds(500), histogram.percentile(50));
    expectAbout(milliseconds(990), histogram.percentile(99));
    expectAbout(milliseconds(1000), histogram.percentile(100));
}

TEST(Histogram, TakesTheShortestDurationThatIsEnough)
{
    Histogram histogram;
    histogram.add(milliseconds(1));
    histogram.add(milliseconds(2));
    expectAbout(milliseconds(1), histogram.percentile(50));
    expectAbout(milliseconds(2), histogram.percentile(51));
    for (int i = 0; i < 97; ++i)
        histogram.add(milliseconds(1));
    histogram.add(milliseconds(2));
    expectAbout(milliseconds(1), histogram.percentile(98));
    expectAbout(milliseconds(2), histogram.percentile(99));
}

TEST(Histogram, NeverLeavesWhatWasAdded)
{
    for (int percent = 0; percent <= 100; ++percent) {
        const Histogram histogram = upTo(7);
        EXPECT_LE(histogram.least(), histogram.percentile(percent));
        EXPECT_GE(histogram.most(), histogram.percentile(percent));
    }
}

TEST(Histogram, HoldsTheShortestAndTheLongestTimes)
{
    Histogram histogram;
    for (int i = 0; i < 1000; ++i)
        histogram.add(Time::max());
    histogram.add(Time::zero());
    histogram.add(Time(-5));
    EXPECT_EQ(Time(-5), histogram.least());
    EXPECT_EQ(Time::max(), histogram.most());
    EXPECT_EQ(Time::max(), histogram.percentile(50));
    EXPECT_EQ(Time(1), histogram.percentile(0)) << "nothing is shorter among the percentiles";
    EXPECT_GT(histogram.mean(), Time::max() / 2);
}

} // namespace
