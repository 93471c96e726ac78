#include "runtime/master/station_guard.h"

#include <gtest/gtest.h>

#include <set>

namespace {

using namespace plc::runtime;
using std::chrono::milliseconds;
using std::chrono::seconds;

/// Three failures, first trial after 10 s, at most 60 s between two.
class StationGuardTest : public ::testing::Test
{
protected:
    StationChange refuse(int station, int code)
    {
        StepReport report;
        report.request.station = station;
        report.cause = AttemptEnd::Exception;
        report.exceptionCode = code;
        report.startedAt = now - milliseconds(100);
        report.endedAt = now;
        return guard.stepEnded(report);
    }

    StationChange end(int station, AttemptEnd cause, int regType = 5, int address = 100, int attempts = 0)
    {
        StepReport report;
        report.request.station = station;
        report.request.regType = regType;
        report.request.address = address;
        report.request.count = 10;
        report.cause = cause;
        report.attempts = attempts;
        report.startedAt = now - seconds(1);
        report.endedAt = now;
        return guard.stepEnded(report);
    }

    void goOffline(int station)
    {
        end(station, AttemptEnd::NoReply);
        end(station, AttemptEnd::NoReply);
        ASSERT_EQ(StationChange::WentOffline, end(station, AttemptEnd::NoReply));
    }

    /// Station of the trial that is due.
    int due() const
    {
        const std::optional<Probe> probe = guard.due(now);
        return probe ? probe->station : -1;
    }

    Time now = seconds(100);
    StationGuard guard{OfflineSettings()};
};

TEST_F(StationGuardTest, TakesAStationOfflineAfterSoManyFailuresInARow)
{
    EXPECT_EQ(StationChange::None, end(5, AttemptEnd::NoReply));
    EXPECT_EQ(StationChange::None, end(5, AttemptEnd::Unusable));
    EXPECT_FALSE(guard.isOffline(5));
    EXPECT_EQ(StationChange::WentOffline, end(5, AttemptEnd::NoReply));
    EXPECT_TRUE(guard.isOffline(5));
    EXPECT_FALSE(guard.isOffline(6));
    EXPECT_EQ(3, guard.failuresOf(5));
}

TEST_F(StationGuardTest, CountsFailuresInARowOnly)
{
    end(5, AttemptEnd::NoReply);
    end(5, AttemptEnd::NoReply);
    end(5, AttemptEnd::Good);
    end(5, AttemptEnd::NoReply);
    EXPECT_EQ(StationChange::None, end(5, AttemptEnd::NoReply));
}

TEST_F(StationGuardTest, TakesAnExceptionForASignOfLife)
{
    end(5, AttemptEnd::NoReply);
    end(5, AttemptEnd::NoReply);
    end(5, AttemptEnd::Exception);
    EXPECT_EQ(StationChange::None, end(5, AttemptEnd::NoReply));
}

TEST_F(StationGuardTest, TakesTheWordOfAGatewayForTheStationsSilence)
{
    // Gateway path unavailable, gateway target device failed to respond.
    EXPECT_EQ(StationChange::None, refuse(5, 0x0A));
    EXPECT_EQ(StationChange::None, refuse(5, 0x0B));
    EXPECT_EQ(StationChange::WentOffline, refuse(5, 0x0B));
    now += seconds(10);
    EXPECT_EQ(StationChange::None, refuse(5, 0x0B));
    EXPECT_EQ(StationChange::CameBack, refuse(5, 0x02));
}

TEST_F(StationGuardTest, LeavesAStationAloneThatIsBusyForEver)
{
    EXPECT_EQ(StationChange::None, refuse(5, 0x06));
    EXPECT_EQ(StationChange::None, refuse(5, 0x06));
    EXPECT_EQ(StationChange::WentOffline, refuse(5, 0x06));
    now += seconds(10);
    EXPECT_EQ(StationChange::None, refuse(5, 0x06));
    EXPECT_EQ(seconds(20), guard.nextDistance(5));
    EXPECT_EQ(StationChange::CameBack, end(5, AttemptEnd::Good));
}

TEST_F(StationGuardTest, KnowsThatTheLineIsThereWhileAStationSaysThatItIsBusy)
{
    goOffline(5);
    goOffline(6);
    now += seconds(1);
    refuse(7, 0x06);
    now += seconds(1);
    EXPECT_EQ(StationChange::CameBack, end(5, AttemptEnd::Good));
    EXPECT_FALSE(guard.due(now)) << "the other one is not tried at once";
}

TEST_F(StationGuardTest, LearnsNothingFromWhatWasNotSentOrNotToBeAnswered)
{
    end(5, AttemptEnd::NoReply);
    end(5, AttemptEnd::NoReply);
    for (const AttemptEnd cause : {AttemptEnd::LineBusy, AttemptEnd::Withheld, AttemptEnd::NoReplyDue})
        EXPECT_EQ(StationChange::None, end(5, cause));
    EXPECT_EQ(StationChange::WentOffline, end(5, AttemptEnd::NoReply));
    for (const AttemptEnd cause : {AttemptEnd::LineBusy, AttemptEnd::Withheld, AttemptEnd::NoReplyDue})
        EXPECT_EQ(StationChange::None, end(5, cause));
}

TEST_F(StationGuardTest, CountsARequestThatWasSentInVainBeforeTheLineGotBusy)
{
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(StationChange::None, end(5, AttemptEnd::LineBusy, 5, 100, 1));
    EXPECT_EQ(StationChange::WentOffline, end(5, AttemptEnd::LineBusy, 5, 100, 2));
}

TEST_F(StationGuardTest, TriesManyDeadStationsSoSeldomThatAllTrialsTakeATenthOfTheTime)
{
    // A trial costs a second of waiting and one of listening for late answers.
    guard = StationGuard(OfflineSettings(), seconds(1));
    for (int station = 1; station <= 16; ++station)
        goOffline(station);
    now += seconds(60);
    end(99, AttemptEnd::Good);
    std::set<int> tried;
    for (int i = 0; i < 32; ++i) {
        ASSERT_NE(-1, due()) << i;
        tried.insert(due());
        now += seconds(1);
        end(due(), AttemptEnd::NoReply);
        now += seconds(19) - milliseconds(1);
        EXPECT_EQ(-1, due()) << i;
        now += milliseconds(1);
    }
    EXPECT_EQ(16u, tried.size());
    now += milliseconds(100);
    refuse(7, 0x0B);
    now += milliseconds(899);
    EXPECT_EQ(-1, due());
    now += milliseconds(1);
    EXPECT_NE(-1, due()) << "a gateway's word costs 100 ms";
}

TEST_F(StationGuardTest, TriesOneDeadStationATenthOfTheTimeHoweverLongTheTimeOut)
{
    guard = StationGuard(OfflineSettings(), seconds(60));
    goOffline(5);
    now += seconds(10);
    end(99, AttemptEnd::Good);
    EXPECT_EQ(5, due());
    now += seconds(1);
    end(5, AttemptEnd::NoReply); // 1 s, and a minute of listening
    now += seconds(608);
    EXPECT_EQ(-1, due());
    now += seconds(1);
    EXPECT_EQ(5, due());
}

TEST_F(StationGuardTest, BooksARelapseAsATrial)
{
    guard = StationGuard(OfflineSettings(), seconds(59));
    goOffline(5);
    goOffline(6);
    now += seconds(10);
    end(99, AttemptEnd::Good);
    EXPECT_EQ(StationChange::CameBack, end(5, AttemptEnd::Good));
    now += seconds(1);
    EXPECT_EQ(StationChange::WentOffline, end(5, AttemptEnd::NoReply));
    now += seconds(598);
    end(99, AttemptEnd::Good);
    EXPECT_EQ(-1, due());
    now += seconds(1);
    EXPECT_EQ(6, due());
}

TEST_F(StationGuardTest, DoesNotTryThoseThatWereDeadBeforeWhenTheOnlyLiveOneComesAndGoes)
{
    guard = StationGuard(OfflineSettings(), seconds(1));
    for (int station = 1; station <= 16; ++station)
        goOffline(station);
    for (int i = 0; i < 5; ++i) {
        now += seconds(10);
        end(99, AttemptEnd::Good);
        end(99, AttemptEnd::Good);
        now += seconds(10);
        goOffline(99);
        now += seconds(10);
        std::vector<int> tried;
        for (; due() != -1 && tried.size() < 20; end(tried.back(), AttemptEnd::NoReply))
            tried.push_back(due());
        EXPECT_EQ(2u, tried.size()) << "itself, and of the dead ones one";
    }
}

TEST_F(StationGuardTest, TriesWhatHasJustGoneBeforeWhatHasBeenDeadForLong)
{
    goOffline(3);
    end(99, AttemptEnd::Good);
    for (int i = 0; i < 5; ++i) {
        now += seconds(100);
        end(3, AttemptEnd::NoReply);
    }
    now += seconds(100);
    goOffline(7);
    now += seconds(20);
    EXPECT_EQ(7, due());
}

TEST_F(StationGuardTest, TriesAllAsOftenAsEverWhereNobodyIsThere)
{
    guard = StationGuard(OfflineSettings(), seconds(1));
    for (int station = 1; station <= 16; ++station)
        goOffline(station);
    for (const int distance : {20, 40, 60, 60}) {
        end(7, AttemptEnd::NoReply);
        EXPECT_EQ(seconds(distance), guard.nextDistance(7)) << "there is nobody to lose anything";
    }
}

TEST_F(StationGuardTest, CountsStationsOneByOne)
{
    for (int station = 1; station <= 5; ++station) {
        end(station, AttemptEnd::NoReply);
        EXPECT_EQ(StationChange::None, end(station, AttemptEnd::NoReply));
    }
}

TEST_F(StationGuardTest, NeverTakesBroadcastsForAStation)
{
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(StationChange::None, end(0, AttemptEnd::NoReply));
    EXPECT_FALSE(guard.isOffline(0));
}

TEST_F(StationGuardTest, DoublesTheDistanceOfTheTrialsUpToTheLongest)
{
    goOffline(5);
    for (const int distance : {10, 20, 40, 60, 60, 60}) {
        now += seconds(distance) - milliseconds(1);
        EXPECT_EQ(-1, due()) << distance;
        now += milliseconds(1);
        EXPECT_EQ(5, due()) << distance;
        EXPECT_EQ(StationChange::None, end(5, AttemptEnd::NoReply));
    }
}

TEST_F(StationGuardTest, NeverWaitsLongerThanTheLongestDistance)
{
    OfflineSettings settings;
    settings.failures = 1;
    settings.firstProbe = seconds(30);
    settings.longestProbe = seconds(4);
    guard = StationGuard(settings);
    EXPECT_EQ(StationChange::WentOffline, end(5, AttemptEnd::NoReply));
    now += seconds(4);
    EXPECT_EQ(5, due());
}

TEST_F(StationGuardTest, BringsAStationBackWithItsFirstAnswer)
{
    goOffline(5);
    now += seconds(12);
    EXPECT_EQ(StationChange::CameBack, end(5, AttemptEnd::Exception));
    EXPECT_FALSE(guard.isOffline(5));
    EXPECT_EQ(seconds(100), guard.offlineSince(5));
    EXPECT_EQ(-1, due());
    end(5, AttemptEnd::Good);
    end(5, AttemptEnd::NoReply);
    EXPECT_EQ(StationChange::None, end(5, AttemptEnd::NoReply)) << "it starts anew";
    EXPECT_EQ(StationChange::WentOffline, end(5, AttemptEnd::NoReply));
    EXPECT_EQ(seconds(10), guard.nextDistance(5)) << "it starts anew";
}

TEST_F(StationGuardTest, PutsAStationOffAtOnceThatAnswersNothingButTrials)
{
    goOffline(5);
    for (const int distance : {10, 20, 40, 60, 60}) {
        EXPECT_EQ(seconds(distance), guard.nextDistance(5));
        now += seconds(distance);
        EXPECT_FALSE(guard.isOnProbation(5));
        EXPECT_EQ(StationChange::CameBack, end(5, AttemptEnd::Good));
        EXPECT_TRUE(guard.isOnProbation(5));
        EXPECT_EQ(StationChange::WentOffline, end(5, AttemptEnd::NoReply));
        EXPECT_EQ(1, guard.failuresOf(5));
    }
    now += seconds(60);
    end(5, AttemptEnd::Good);
    end(5, AttemptEnd::Good);
    EXPECT_FALSE(guard.isOnProbation(5));
}

TEST_F(StationGuardTest, TriesTheOthersHoweverOftenTheOnlyOneThatAnswersFailsAgain)
{
    guard = StationGuard(OfflineSettings(), seconds(10));
    goOffline(5);
    goOffline(6);
    for (int i = 0; i < 100; ++i) {
        now += seconds(60);
        end(5, AttemptEnd::Good);
        if (i == 0) // the line is back
            end(6, AttemptEnd::NoReply);
        now += seconds(1);
        ASSERT_EQ(StationChange::WentOffline, end(5, AttemptEnd::NoReply));
    }
    now += seconds(30);
    EXPECT_EQ(6, due());
}

TEST_F(StationGuardTest, GivesTheOthersTheNextTurnsWhenATrialCannotGoOut)
{
    goOffline(5);
    now += seconds(10);
    ASSERT_EQ(5, due());
    end(5, AttemptEnd::LineBusy);
    EXPECT_EQ(-1, due());
    now += seconds(1);
    EXPECT_EQ(5, due());
    EXPECT_EQ(seconds(10), guard.nextDistance(5)) << "it was not tried";
}

TEST_F(StationGuardTest, TriesFirstWhatHasWaitedLongest)
{
    goOffline(7);
    now += milliseconds(1);
    goOffline(3);
    now += seconds(20);
    EXPECT_EQ(7, due());
    end(7, AttemptEnd::NoReply);
    EXPECT_EQ(3, due());
}

TEST_F(StationGuardTest, TriesAllOthersAtOnceWhenTheWholeLineHadBeenSilent)
{
    for (const int station : {1, 2, 3})
        goOffline(station);
    now += seconds(10);
    end(2, AttemptEnd::NoReply);
    end(3, AttemptEnd::NoReply);
    EXPECT_EQ(StationChange::CameBack, end(1, AttemptEnd::Good));
    EXPECT_NE(-1, due());
    EXPECT_EQ(StationChange::CameBack, end(2, AttemptEnd::Good));
    EXPECT_EQ(3, due());
}

TEST_F(StationGuardTest, TriesAllOthersAtOnceAlsoWhenTheFirstWordIsThatAStationIsBusy)
{
    for (const int station : {1, 2})
        goOffline(station);
    now += seconds(10);
    end(2, AttemptEnd::NoReply);
    EXPECT_EQ(StationChange::None, refuse(1, 0x06));
    EXPECT_EQ(2, due());
}

TEST_F(StationGuardTest, TakesTheLineForSilentAlsoWhereAStationHadOnlyBegunToFail)
{
    end(9, AttemptEnd::Good);
    now += seconds(1);
    goOffline(1);
    goOffline(2);
    end(9, AttemptEnd::NoReply);
    now += seconds(10);
    end(2, AttemptEnd::NoReply);
    EXPECT_EQ(StationChange::CameBack, end(1, AttemptEnd::Good));
    EXPECT_EQ(2, due());
}

TEST_F(StationGuardTest, LeavesADeadStationAloneWhenAnotherOneComesBack)
{
    goOffline(1);
    goOffline(2);
    end(9, AttemptEnd::Good);
    now += seconds(10);
    end(2, AttemptEnd::NoReply);
    EXPECT_EQ(StationChange::CameBack, end(1, AttemptEnd::Good));
    EXPECT_EQ(-1, due());
}

TEST_F(StationGuardTest, AsksForTheFirstRegisterOfWhatHadFailedLast)
{
    struct
    {
        int regType, address, probeType, probeAddress;
    } const cases[] = {{0, 17, 0, 17}, {1, 8, 1, 8}, {2, 35 * 16 + 3, 4, 35}, {3, 16 * 9 + 15, 5, 9},
                       {4, 3, 4, 3},   {5, 4, 5, 4}, {6, 20, 4, 20},          {7, 22, 5, 22},
                       {8, 1, 5, 1},   {9, 2, 5, 2}};
    for (const auto &row : cases) {
        SCOPED_TRACE(row.regType);
        guard = StationGuard(OfflineSettings());
        end(5, AttemptEnd::NoReply);
        end(5, AttemptEnd::NoReply);
        end(5, AttemptEnd::NoReply, row.regType, row.address);
        now += seconds(10);
        const std::optional<Probe> probe = guard.due(now);
        ASSERT_TRUE(probe);
        EXPECT_EQ(row.probeType, probe->regType);
        EXPECT_EQ(row.probeAddress, probe->address);
    }
}

TEST_F(StationGuardTest, ForgetsAStation)
{
    goOffline(5);
    guard.forget(5);
    EXPECT_FALSE(guard.isOffline(5));
    now += seconds(1000);
    EXPECT_EQ(-1, due());
}

} // namespace
