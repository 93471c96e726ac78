#include "host/project/scan_monitor.h"

#include <gtest/gtest.h>

#include "support/read_news.h"

namespace {

using namespace plc::host;
using std::chrono::milliseconds;

/// Variable 0 is read in an ordinary request, variable 1 in one of level 4.
class ScanMonitorTest : public ::testing::Test
{
protected:
    ScanMonitorTest() : monitor(project()) {}

    static Project project()
    {
        Project result;
        result.variables = {parseVariable("4x:0@1", false), parseVariable("3x:0@1", false)};
        PriorityRow row;
        row.level = 4;
        row.baseType = 4;
        result.rows = {row};
        return result;
    }

    void serve(const RequestPlace &place, AttemptEnd end, bool ordinary)
    {
        const Time startedAt = now;
        now += milliseconds(100);
        monitor.note(plc::test::readNews(place, end, ordinary, startedAt, now));
    }
    void serveFirst(AttemptEnd end = AttemptEnd::Good) { serve({1, 5, 0, 1}, end, true); }
    void serveSecond(AttemptEnd end = AttemptEnd::Good) { serve({1, 4, 0, 1}, end, false); }

    std::uint64_t scans() const { return monitor.scans().scans(); }

    Time now = std::chrono::seconds(10);
    ScanMonitor monitor;
};

TEST_F(ScanMonitorTest, CountsAScanWhenAllRequestsHaveHadTheirTurn)
{
    serveFirst();
    EXPECT_EQ(0u, scans());
    serveSecond(AttemptEnd::NoReply);
    EXPECT_EQ(1u, scans()) << "also where a station does not answer";
    EXPECT_EQ(milliseconds(200), monitor.scans().durations().least());
}

TEST_F(ScanMonitorTest, PassesOverReadsThatWereNeverSent)
{
    serveFirst();
    serveSecond(AttemptEnd::Withheld);
    serveSecond(AttemptEnd::PortLost);
    EXPECT_EQ(0u, scans()) << "one of them was not asked for";
    serveSecond();
    EXPECT_EQ(1u, scans());
}

TEST_F(ScanMonitorTest, WaitsForNoStationThatIsOffline)
{
    serveFirst();
    News news;
    news.station.emplace();
    news.station->station = 1;
    news.station->offline = true;
    monitor.note(news);
    serveFirst();
    serveSecond();
    EXPECT_EQ(0u, scans()) << "nobody else is asked";
    news.station->offline = false;
    monitor.note(news);
    serveFirst();
    EXPECT_EQ(1u, scans());
}

TEST_F(ScanMonitorTest, GivesAScanUpWhenThePortIsLost)
{
    serveFirst();
    News news;
    news.port.emplace();
    news.port->change = PortNews::Change::Lost;
    monitor.note(news);
    serveSecond();
    EXPECT_EQ(0u, scans());
    serveFirst();
    EXPECT_EQ(1u, scans()) << "the first that lies behind the loss";
}

TEST_F(ScanMonitorTest, PassesOverOrders)
{
    News write;
    write.transaction.emplace();
    write.transaction->request.hostId = kOrderHostId;
    write.transaction->request.hostSubId = 7;
    monitor.note(write);
    EXPECT_EQ(0, monitor.requests().requestCount());
}

} // namespace
