#include "host/project/project_monitor.h"

#include <gtest/gtest.h>

namespace {

using namespace plc::host;
using std::chrono::milliseconds;
using std::chrono::seconds;

/// Variable 0 lies in one request, variable 1 in two, variable 2 in one of level 4.
class ProjectMonitorTest : public ::testing::Test
{
protected:
    ProjectMonitorTest() : monitor(project()) {}

    static Project project()
    {
        Project result;
        result.variables = {parseVariable("4x:0@1", false), parseVariable("4x:50:100@1", false),
                            parseVariable("3x:0@1", false)};
        PriorityRow row;
        row.level = 4;
        row.baseType = 4;
        result.rows = {row};
        return result;
    }

    void serve(const RequestPlace &place, AttemptEnd end = AttemptEnd::Good, bool ordinary = true)
    {
        News news;
        news.transaction.emplace();
        TransactionReport &report = *news.transaction;
        report.request.hostId = 0;
        report.request.hostSubId = -1;
        report.request.station = place.station;
        report.request.regType = place.baseType;
        report.request.address = place.first;
        report.request.count = place.count;
        report.done = end == AttemptEnd::Good;
        report.cause = end;
        report.startedAt = now;
        now += milliseconds(100);
        report.endedAt = now;
        news.ordinaryRead = ordinary;
        news.statistics.emplace();
        monitor.note(news);
    }

    WatchStatus status(int variable) const { return monitor.status(variable, now); }

    const RequestPlace first{1, 5, 0, 100};
    const RequestPlace second{1, 5, 100, 50};
    const RequestPlace urgent{1, 4, 0, 1};
    Time now = seconds(10);
    ProjectMonitor monitor;
};

TEST_F(ProjectMonitorTest, KnowsNothingBeforeTheFirstRead)
{
    EXPECT_EQ(VariableState::NeverRead, status(0).state);
    EXPECT_FALSE(status(0).hasValue);
}

TEST_F(ProjectMonitorTest, HasAValueOnceAllPartsAreRead)
{
    serve(first);
    EXPECT_EQ(VariableState::Good, status(0).state);
    EXPECT_EQ(1u, status(0).scans);
    EXPECT_EQ(VariableState::NeverRead, status(1).state) << "its second part has not been read";
    EXPECT_FALSE(status(1).hasValue);
    serve(second);
    EXPECT_EQ(VariableState::Good, status(1).state);
    EXPECT_TRUE(status(1).hasValue);
    EXPECT_EQ(milliseconds(100), status(1).age) << "of its older part";
    EXPECT_EQ(milliseconds(100), status(0).age);
}

TEST_F(ProjectMonitorTest, ShowsTheWorstOfTheParts)
{
    serve(first);
    serve(second, AttemptEnd::NoReply);
    EXPECT_EQ(VariableState::Good, status(0).state);
    EXPECT_EQ(VariableState::NoAnswer, status(1).state);
    serve(first, AttemptEnd::Unusable);
    EXPECT_EQ(VariableState::BadReply, status(0).state);
    EXPECT_TRUE(status(0).hasValue) << "the old one";
}

TEST_F(ProjectMonitorTest, CallsAnOldValueStale)
{
    serve(first);
    serve(first);
    now += seconds(4);
    EXPECT_EQ(VariableState::Stale, status(0).state);
}

TEST_F(ProjectMonitorTest, TellsStationsThatAreSwitchedOff)
{
    serve(first);
    serve(urgent, AttemptEnd::Good, false);
    monitor.setStationEnabled(1, false);
    EXPECT_EQ(VariableState::SwitchedOff, status(0).state);
    EXPECT_EQ(VariableState::SwitchedOff, status(1).state) << "also what was never read";
    EXPECT_EQ(VariableState::SwitchedOff, status(2).state) << "also what has a priority";
    monitor.setStationEnabled(1, true);
    EXPECT_EQ(VariableState::Good, status(0).state);
}

TEST_F(ProjectMonitorTest, PassesOverReadsThatWereNeverSent)
{
    // The driver serves the priority levels of stations that are off, and the host keeps them from the line.
    serve(urgent, AttemptEnd::Good, false);
    serve(urgent, AttemptEnd::Withheld, false);
    EXPECT_EQ(VariableState::Good, status(2).state);
    EXPECT_EQ(1u, status(2).scans);
}

TEST_F(ProjectMonitorTest, CallsAValueStaleSoonAlsoAfterANightOff)
{
    serve(first);
    serve(first);
    monitor.setStationEnabled(1, false);
    now += seconds(28800);
    monitor.setStationEnabled(1, true);
    EXPECT_EQ(VariableState::Stale, status(0).state) << "it is eight hours old";
    serve(first);
    EXPECT_EQ(VariableState::Good, status(0).state);
    now += seconds(4);
    EXPECT_EQ(VariableState::Stale, status(0).state);
}

TEST_F(ProjectMonitorTest, TellsThatThePortIsLostUntilItIsBack)
{
    serve(first);
    serve(first);
    News news;
    news.port.emplace();
    for (const auto change : {PortNews::Change::Lost, PortNews::Change::Refused}) {
        news.port->change = change;
        monitor.note(news);
        EXPECT_EQ(VariableState::PortLost, status(0).state);
        EXPECT_TRUE(status(0).hasValue) << "the old one";
        EXPECT_EQ(VariableState::PortLost, status(1).state) << "also what was never read";
    }
    now += seconds(28800);
    news.port->change = PortNews::Change::Back;
    monitor.note(news);
    EXPECT_EQ(VariableState::Stale, status(0).state) << "it is eight hours old";
    serve(first);
    EXPECT_EQ(VariableState::Good, status(0).state);
    now += seconds(4);
    EXPECT_EQ(VariableState::Stale, status(0).state) << "the night tells nothing of how long a scan takes";
}

TEST_F(ProjectMonitorTest, PassesOverReadsThatEndedWithThePort)
{
    serve(first);
    serve(second);
    serve(urgent, AttemptEnd::PortLost, false);
    EXPECT_EQ(VariableState::NeverRead, status(2).state);
    EXPECT_EQ(0u, monitor.scans().scans()) << "one of them was not asked for";
    serve(urgent, AttemptEnd::Good, false);
    EXPECT_EQ(1u, monitor.scans().scans());
}

TEST_F(ProjectMonitorTest, TellsStationsThatAreOffline)
{
    serve(first);
    News news;
    news.station.emplace();
    news.station->station = 1;
    news.station->offline = true;
    monitor.note(news);
    EXPECT_EQ(VariableState::Offline, status(0).state);
    EXPECT_TRUE(status(0).hasValue);
    news.station->offline = false;
    monitor.note(news);
    EXPECT_EQ(VariableState::Good, status(0).state);
}

TEST_F(ProjectMonitorTest, PassesOverOtherSteps)
{
    News write;
    write.transaction.emplace();
    write.transaction->request = Request();
    write.transaction->request.hostId = kOrderHostId;
    write.transaction->request.hostSubId = -1;
    monitor.note(write);
    monitor.note(News());
    EXPECT_EQ(0, monitor.requests().requestCount());
}

} // namespace
