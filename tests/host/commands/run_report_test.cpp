// The statistics, for programs.
#include "host/commands/run_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "counted_statistics.h"
#include "support/time_zone.h"

namespace {

using namespace plc::host;
using plc::test::countedStatistics;
using ::testing::HasSubstr;

std::string record(const Statistics &statistics)
{
    const plc::test::TimeZone zone("UTC0");
    return statisticsRecord(statistics, nullptr, std::chrono::milliseconds(2500),
                            WallTime(std::chrono::seconds(1767225600)));
}

TEST(StatisticsForPrograms, HaveAllThatTheTextHas)
{
    EXPECT_EQ("{\"kind\":\"statistics\",\"time_s\":2.500,\"time\":\"2026-01-01T00:00:00.000+00:00\","
              "\"running_s\":2.000,\"requests_per_second\":50.000,"
              "\"total\":{\"requests\":100,\"good\":90,\"timeouts\":4,\"bad\":3,\"exceptions\":2,"
              "\"no_reply_due\":1,\"retries\":7,\"line_never_silent\":5,\"replies_ignored\":6,"
              "\"bytes_out\":800,\"bytes_in\":900,\"bytes_thrown_away\":11},\"stations\":[],"
              "\"line_errors\":null,\"lateness\":{\"p50_ms\":0.050,\"p99_ms\":4.194,\"most_ms\":20.000}}",
              record(countedStatistics()));
}

TEST(StatisticsForPrograms, ListEachStationAlsoWhereThereIsOne)
{
    Statistics statistics = countedStatistics();
    Counters five;
    five.station = 5;
    five.requests = 1;
    statistics.stations << five;
    EXPECT_THAT(record(statistics), HasSubstr("\"stations\":[{\"station\":5,\"requests\":1,\"good\":0,"));
}

TEST(StatisticsForPrograms, HaveTheErrorsOfALineThatCountsThem)
{
    Statistics statistics = countedStatistics();
    statistics.hasLineErrors = true;
    statistics.parityErrors = 1;
    statistics.framingErrors = 2;
    statistics.overruns = 3;
    statistics.breaks = 4;
    EXPECT_THAT(record(statistics),
                HasSubstr("\"line_errors\":{\"parity\":1,\"framing\":2,\"overruns\":3,\"breaks\":4}"));
}

} // namespace
