// Times for people and other machines, in the zone of the user.
#include "host/commands/wall_clock.h"

#include <gtest/gtest.h>

#include "support/time_zone.h"

namespace {

using namespace plc::host;
using plc::test::TimeZone;

WallTime at(std::int64_t microseconds)
{
    return WallTime(std::chrono::microseconds(microseconds));
}

TEST(WallTimes, HaveTheOffsetThatTheZoneHadThen)
{
    const TimeZone zone("CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ("2026-01-01T01:00:00.000+01:00", isoTime(at(1767225600000000)));
    EXPECT_EQ("2026-07-01T02:00:00.000+02:00", isoTime(at(1782864000000000)));
    // The hour that comes twice is told apart.
    EXPECT_EQ("2026-10-25T02:30:00.000+02:00", isoTime(at(1792888200000000)));
    EXPECT_EQ("2026-10-25T02:30:00.000+01:00", isoTime(at(1792891800000000)));
}

TEST(WallTimes, HaveZonesWestOfGreenwichAndOfHalfHours)
{
    const TimeZone zone("NST3:30");
    EXPECT_EQ("2025-12-31T20:30:00.000-03:30", isoTime(at(1767225600000000)));
}

TEST(WallTimes, AreCutOffAndNeverRounded)
{
    const TimeZone zone("UTC0");
    EXPECT_EQ("2026-01-01T00:00:00.999+00:00", isoTime(at(1767225600999999)));
    EXPECT_EQ("2026-01-01T00:00:00.999999+00:00", isoTime(at(1767225600999999), 6));
    EXPECT_EQ("2026-01-01T00:00:00+00:00", isoTime(at(1767225600999999), 0));
    EXPECT_EQ("1969-12-31T23:59:59.999+00:00", isoTime(at(-1000)));
}

} // namespace
