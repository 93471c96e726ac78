#include "host/project/scan_statistics.h"

#include <gtest/gtest.h>

namespace {

using namespace plc::host;
using std::chrono::milliseconds;

/// Two ordinary requests in station 1, one in station 2, and one of level 2 in station 1.
class ScanStatisticsTest : public ::testing::Test
{
protected:
    ScanStatisticsTest()
        : map({parseVariable("4x:0@1", false), parseVariable("4x:1000@1", false),
               parseVariable("4x:0@2", false), parseVariable("3x:0@1", false)},
              {levelTwo()})
    {}

    static PriorityRow levelTwo()
    {
        PriorityRow row;
        row.level = 2;
        row.baseType = 4;
        return row;
    }

    /// Each read takes 10 ms and 20 bytes.
    void serve(const RequestPlace &place, bool ordinary = true, bool good = true)
    {
        ServedRead read;
        read.request = map.note(place, ordinary);
        read.good = good;
        read.startedAt = now;
        now += milliseconds(10);
        read.endedAt = now;
        read.requestsSoFar = ++requests;
        read.bytesSoFar = requests * 20;
        scans.served(read);
    }

    const RequestPlace a{1, 5, 0, 1};
    const RequestPlace b{1, 5, 1000, 1};
    const RequestPlace c{2, 5, 0, 1};
    const RequestPlace urgent{1, 4, 0, 1};
    RequestMap map;
    ScanStatistics scans{map};
    Time now = std::chrono::seconds(5);
    std::uint64_t requests = 0;
};

TEST_F(ScanStatisticsTest, EndsAScanWhenEveryRequestWasServed)
{
    serve(a);
    serve(b);
    serve(c);
    EXPECT_EQ(0u, scans.scans()) << "a variable has not been asked for yet";
    serve(urgent, false);
    EXPECT_EQ(1u, scans.scans());
    serve(a);
    serve(urgent, false);
    serve(a);
    serve(b);
    EXPECT_EQ(1u, scans.scans());
    serve(c);
    EXPECT_EQ(2u, scans.scans());
    EXPECT_EQ(milliseconds(40), scans.durations().least());
    EXPECT_EQ(milliseconds(50), scans.durations().most());
    EXPECT_EQ(milliseconds(45), scans.durations().mean());
    EXPECT_EQ(milliseconds(50), scans.last());
    EXPECT_DOUBLE_EQ(4.5, scans.requestsPerScan());
    EXPECT_DOUBLE_EQ(90.0, scans.bytesPerScan());
}

TEST_F(ScanStatisticsTest, CountsReadsThatFailAsAskedFor)
{
    serve(a, true, false);
    serve(b, true, false);
    serve(c, true, false);
    serve(urgent, false, false);
    EXPECT_EQ(1u, scans.scans());
}

TEST_F(ScanStatisticsTest, DoesNotWaitForAStationThatIsSwitchedOff)
{
    scans.setStationEnabled(2, false);
    serve(a);
    serve(b);
    serve(urgent, false);
    EXPECT_EQ(1u, scans.scans());
    scans.setStationEnabled(2, true);
    serve(a);
    serve(b);
    serve(urgent, false);
    EXPECT_EQ(1u, scans.scans());
    serve(c);
    EXPECT_EQ(2u, scans.scans());
}

TEST_F(ScanStatisticsTest, CountsNoScanWhileAllStationsAreSwitchedOff)
{
    scans.setStationEnabled(1, false);
    scans.setStationEnabled(2, false);
    serve(urgent, false);
    serve(urgent, false);
    EXPECT_EQ(0u, scans.scans());
}

TEST_F(ScanStatisticsTest, MeasuresTheRefreshIntervalOfEachLevel)
{
    serve(a);
    serve(urgent, false);
    serve(b);
    serve(urgent, false);
    serve(a);
    serve(b);
    serve(urgent, false);
    EXPECT_EQ(2u, scans.refresh(2).count());
    EXPECT_EQ(milliseconds(20), scans.refresh(2).least());
    EXPECT_EQ(milliseconds(30), scans.refresh(2).most());
    EXPECT_EQ(2u, scans.refresh(0).count());
    EXPECT_EQ(milliseconds(30), scans.refresh(0).least());
    EXPECT_EQ(milliseconds(40), scans.refresh(0).most());
    EXPECT_EQ(0u, scans.refresh(1).count());
    EXPECT_EQ(2, scans.requestsOf(0));
    EXPECT_EQ(1, scans.requestsOf(2));
}

TEST_F(ScanStatisticsTest, RefreshesOnlyByGoodReplies)
{
    serve(a);
    serve(a, true, false);
    serve(a);
    EXPECT_EQ(1u, scans.refresh(0).count());
    EXPECT_EQ(milliseconds(20), scans.refresh(0).least());
}

TEST_F(ScanStatisticsTest, LeavesOutTheTimeThatAStationWasOff)
{
    serve(c);
    scans.setStationEnabled(2, false);
    serve(a);
    scans.setStationEnabled(2, true);
    serve(c);
    EXPECT_EQ(0u, scans.refresh(0).count());
    serve(c);
    EXPECT_EQ(milliseconds(10), scans.refresh(0).most());
}

TEST_F(ScanStatisticsTest, GivesTheScanUpInWhichThePortWasLost)
{
    serve(a);
    serve(b);
    scans.interrupt();
    now += std::chrono::hours(1);
    serve(c);
    serve(urgent, false);
    EXPECT_EQ(0u, scans.scans()) << "the two before do not count";
    serve(a);
    serve(b);
    EXPECT_EQ(1u, scans.scans());
    EXPECT_EQ(milliseconds(40), scans.durations().most());
    EXPECT_EQ(0u, scans.refresh(0).count()) << "nor does the hour between two reads";
}

} // namespace
