#include "runtime/panel/grouped_reads.h"

#include <gtest/gtest.h>

#include "support/read_news.h"

namespace {

using namespace plc::runtime;
using std::chrono::milliseconds;
using std::chrono::seconds;

/// Variable 0 lies in one request, variable 1 in two, variable 2 in one of level 4.
class GroupedReadsTest : public ::testing::Test
{
protected:
    GroupedReadsTest()
        : reads({parseVariable("4x:0@1", false), parseVariable("4x:50:100@1", false),
                 parseVariable("3x:0@1", false)},
                {levelFour()})
    {}

    static PriorityRow levelFour()
    {
        PriorityRow row;
        row.level = 4;
        row.baseType = 4;
        return row;
    }

    void serve(const RequestPlace &place, AttemptEnd end = AttemptEnd::Good, bool ordinary = true)
    {
        const Time startedAt = now;
        now += milliseconds(100);
        reads.note(plc::test::readNews(place, end, ordinary, startedAt, now), StationState::On);
    }

    WatchStatus status(int variable) const { return reads.status(variable, now, seconds(1)); }

    const RequestPlace first{1, 5, 0, 100};
    const RequestPlace second{1, 5, 100, 50};
    const RequestPlace urgent{1, 4, 0, 1};
    Time now = seconds(10);
    GroupedReads reads;
};

TEST_F(GroupedReadsTest, KnowsNothingBeforeTheFirstRead)
{
    EXPECT_EQ(VariableState::NeverRead, status(0).state);
    EXPECT_FALSE(status(0).hasValue);
}

TEST_F(GroupedReadsTest, HasAValueOnceAllPartsAreRead)
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

TEST_F(GroupedReadsTest, ShowsTheWorstOfTheParts)
{
    serve(first);
    serve(second, AttemptEnd::NoReply);
    EXPECT_EQ(VariableState::Good, status(0).state);
    EXPECT_EQ(VariableState::NoAnswer, status(1).state);
    serve(first, AttemptEnd::Unusable);
    EXPECT_EQ(VariableState::BadReply, status(0).state);
    EXPECT_TRUE(status(0).hasValue) << "the old one";
}

TEST_F(GroupedReadsTest, CallsAnOldValueStale)
{
    serve(first);
    serve(first);
    now += seconds(4);
    EXPECT_EQ(VariableState::Stale, status(0).state);
}

TEST_F(GroupedReadsTest, PassesOverReadsThatWereNeverSent)
{
    // The driver serves the priority levels of stations that are off, and the host keeps them from the line.
    serve(urgent, AttemptEnd::Good, false);
    serve(urgent, AttemptEnd::Withheld, false);
    EXPECT_EQ(VariableState::Good, status(2).state);
    EXPECT_EQ(1u, status(2).scans);
}

TEST_F(GroupedReadsTest, CallsAValueStaleSoonAlsoAfterANightOff)
{
    serve(first);
    serve(first);
    reads.interrupt(1);
    now += seconds(28800);
    reads.interrupt(1);
    EXPECT_EQ(VariableState::Stale, status(0).state) << "it is eight hours old";
    serve(first);
    EXPECT_EQ(VariableState::Good, status(0).state);
    now += seconds(4);
    EXPECT_EQ(VariableState::Stale, status(0).state);
}

TEST_F(GroupedReadsTest, PassesOverReadsThatEndedWithThePort)
{
    serve(first);
    serve(second);
    serve(urgent, AttemptEnd::PortLost, false);
    EXPECT_EQ(VariableState::NeverRead, status(2).state);
    EXPECT_EQ(0u, status(2).scans) << "nobody was asked for it";
    serve(urgent, AttemptEnd::Good, false);
    EXPECT_EQ(1u, status(2).scans);
}

TEST_F(GroupedReadsTest, AfterALossOfThePortANightTellsNothingOfHowLongAScanTakes)
{
    serve(first);
    serve(first);
    reads.interrupt(-1);
    now += seconds(28800);
    EXPECT_EQ(VariableState::Stale, status(0).state) << "it is eight hours old";
    serve(first);
    EXPECT_EQ(VariableState::Good, status(0).state);
    now += seconds(4);
    EXPECT_EQ(VariableState::Stale, status(0).state);
}

TEST_F(GroupedReadsTest, PassesOverOtherTransactions)
{
    News write;
    write.transaction.emplace();
    write.transaction->request = Request();
    write.transaction->request.hostId = kOrderHostId;
    write.transaction->request.hostSubId = -1;
    EXPECT_FALSE(reads.note(write, StationState::On));
    EXPECT_FALSE(reads.note(News(), StationState::On));
    EXPECT_EQ(0, reads.requests().requestCount());
}

} // namespace
