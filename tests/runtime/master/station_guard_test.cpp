#include "runtime/master/station_guard.h"

#include <gtest/gtest.h>

#include <set>

namespace {

using namespace plc::runtime;
using std::chrono::milliseconds;
using std::chrono::seconds;

/// Three failures, first probe after 10 s, at most 60 s between two.
class StationGuardTest : public ::testing::Test
{
protected:
    StationChange refuse(int station, int code)
    {
        TransactionReport report;
        report.request.station = station;
        report.cause = AttemptEnd::Exception;
        report.exceptionCode = code;
        report.startedAt = now - milliseconds(100);
        report.endedAt = now;
        return guard.transactionEnded(report);
    }

    StationChange end(int station, AttemptEnd cause, int regType = 5, int address = 100, int attempts = 0)
    {
        TransactionReport report;
        report.request.station = station;
        report.request.regType = regType;
        report.request.address = address;
        report.request.count = 10;
        report.cause = cause;
        report.attempts = attempts;
        report.startedAt = now - seconds(1);
        report.endedAt = now;
        return guard.transactionEnded(report);
    }

    void goOffline(int station)
    {
        end(station, AttemptEnd::NoReply);
        end(station, AttemptEnd::NoReply);
        ASSERT_EQ(StationChange::WentOffline, end(station, AttemptEnd::NoReply));
    }

    bool isOffline(int station) const { return guard.state(station) == StationState::Offline; }
    bool isOnProbation(int station) const { return guard.state(station) == StationState::OnProbation; }

    /// Station of the probe that is due.
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
    EXPECT_FALSE(isOffline(5));
    EXPECT_EQ(StationChange::WentOffline, end(5, AttemptEnd::NoReply));
    EXPECT_TRUE(isOffline(5));
    EXPECT_FALSE(isOffline(6));
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
    EXPECT_EQ(seconds(20), guard.probeInterval(5));
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
    EXPECT_FALSE(guard.due(now)) << "the other one is not probed at once";
}

TEST_F(StationGuardTest, LearnsNothingFromWhatWasNotSentOrNotToBeAnswered)
{
    end(5, AttemptEnd::NoReply);
    end(5, AttemptEnd::NoReply);
    for (const AttemptEnd cause :
         {AttemptEnd::LineBusy, AttemptEnd::Withheld, AttemptEnd::NoReplyDue, AttemptEnd::PortLost})
        EXPECT_EQ(StationChange::None, end(5, cause));
    EXPECT_EQ(StationChange::WentOffline, end(5, AttemptEnd::NoReply));
    for (const AttemptEnd cause :
         {AttemptEnd::LineBusy, AttemptEnd::Withheld, AttemptEnd::NoReplyDue, AttemptEnd::PortLost})
        EXPECT_EQ(StationChange::None, end(5, cause));
}

TEST_F(StationGuardTest, CountsARequestThatWasSentInVainBeforeTheLineGotBusy)
{
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(StationChange::None, end(5, AttemptEnd::LineBusy, 5, 100, 1));
    EXPECT_EQ(StationChange::WentOffline, end(5, AttemptEnd::LineBusy, 5, 100, 2));
}

TEST_F(StationGuardTest, ProbesManyDeadStationsSoSeldomThatAllProbesTakeATenthOfTheTime)
{
    // A probe costs a second of waiting and one of listening for late answers.
    guard = StationGuard(OfflineSettings(), seconds(1));
    for (int station = 1; station <= 16; ++station)
        goOffline(station);
    now += seconds(60);
    end(99, AttemptEnd::Good);
    std::set<int> probed;
    for (int i = 0; i < 32; ++i) {
        ASSERT_NE(-1, due()) << i;
        probed.insert(due());
        now += seconds(1);
        end(due(), AttemptEnd::NoReply);
        now += seconds(19) - milliseconds(1);
        EXPECT_EQ(-1, due()) << i;
        now += milliseconds(1);
    }
    EXPECT_EQ(16u, probed.size());
    now += milliseconds(100);
    refuse(7, 0x0B);
    now += milliseconds(899);
    EXPECT_EQ(-1, due());
    now += milliseconds(1);
    EXPECT_NE(-1, due()) << "a gateway's word costs 100 ms";
}

TEST_F(StationGuardTest, CountsTheListeningToEachStationByItsOwnTime)
{
    // A probe costs a second of waiting.
    guard = StationGuard(OfflineSettings(), seconds(1), {{7, seconds(3)}});
    for (const int station : {7, 8})
        goOffline(station);
    now += seconds(30);
    end(99, AttemptEnd::Good);
    ASSERT_EQ(7, due());
    now += seconds(1);
    end(7, AttemptEnd::NoReply);
    now += seconds(39) - milliseconds(1);
    EXPECT_EQ(-1, due());
    now += milliseconds(1);
    ASSERT_EQ(8, due());
    now += seconds(1);
    end(8, AttemptEnd::NoReply);
    now += seconds(19) - milliseconds(1);
    EXPECT_EQ(-1, due());
    now += milliseconds(1);
    EXPECT_NE(-1, due());
}

TEST_F(StationGuardTest, ProbesOneDeadStationATenthOfTheTimeHoweverLongTheTimeOut)
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

TEST_F(StationGuardTest, BooksARelapseAsAProbe)
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

TEST_F(StationGuardTest, DoesNotProbeThoseThatWereDeadBeforeWhenTheOnlyLiveOneComesAndGoes)
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
        std::vector<int> probed;
        for (; due() != -1 && probed.size() < 20; end(probed.back(), AttemptEnd::NoReply))
            probed.push_back(due());
        EXPECT_EQ(2u, probed.size()) << "itself, and of the dead ones one";
    }
}

TEST_F(StationGuardTest, ProbesWhatHasJustGoneBeforeWhatHasBeenDeadForLong)
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

TEST_F(StationGuardTest, ProbesAllAsOftenAsEverWhereNobodyIsThere)
{
    guard = StationGuard(OfflineSettings(), seconds(1));
    for (int station = 1; station <= 16; ++station)
        goOffline(station);
    for (const int interval : {20, 40, 60, 60}) {
        end(7, AttemptEnd::NoReply);
        EXPECT_EQ(seconds(interval), guard.probeInterval(7)) << "there is nobody to lose anything";
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
    EXPECT_FALSE(isOffline(0));
}

TEST_F(StationGuardTest, DoublesTheIntervalOfTheProbesUpToTheLongest)
{
    goOffline(5);
    for (const int interval : {10, 20, 40, 60, 60, 60}) {
        now += seconds(interval) - milliseconds(1);
        EXPECT_EQ(-1, due()) << interval;
        now += milliseconds(1);
        EXPECT_EQ(5, due()) << interval;
        EXPECT_EQ(StationChange::None, end(5, AttemptEnd::NoReply));
    }
}

TEST_F(StationGuardTest, NeverWaitsLongerThanTheLongestInterval)
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
    EXPECT_FALSE(isOffline(5));
    EXPECT_EQ(seconds(100), guard.offlineSince(5));
    EXPECT_EQ(-1, due());
    end(5, AttemptEnd::Good);
    end(5, AttemptEnd::NoReply);
    EXPECT_EQ(StationChange::None, end(5, AttemptEnd::NoReply)) << "it starts anew";
    EXPECT_EQ(StationChange::WentOffline, end(5, AttemptEnd::NoReply));
    EXPECT_EQ(seconds(10), guard.probeInterval(5)) << "it starts anew";
}

TEST_F(StationGuardTest, PutsAStationOffAtOnceThatAnswersNothingButProbes)
{
    goOffline(5);
    for (const int interval : {10, 20, 40, 60, 60}) {
        EXPECT_EQ(seconds(interval), guard.probeInterval(5));
        now += seconds(interval);
        EXPECT_FALSE(isOnProbation(5));
        EXPECT_EQ(StationChange::CameBack, end(5, AttemptEnd::Good));
        EXPECT_TRUE(isOnProbation(5));
        EXPECT_EQ(StationChange::WentOffline, end(5, AttemptEnd::NoReply));
        EXPECT_EQ(1, guard.failuresOf(5));
    }
    now += seconds(60);
    end(5, AttemptEnd::Good);
    end(5, AttemptEnd::Good);
    EXPECT_FALSE(isOnProbation(5));
}

TEST_F(StationGuardTest, ProbesTheOthersHoweverOftenTheOnlyOneThatAnswersFailsAgain)
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

TEST_F(StationGuardTest, GivesTheOthersTheNextTurnsWhenAProbeCannotGoOut)
{
    goOffline(5);
    now += seconds(10);
    ASSERT_EQ(5, due());
    end(5, AttemptEnd::LineBusy);
    EXPECT_EQ(-1, due());
    now += seconds(1);
    EXPECT_EQ(5, due());
    EXPECT_EQ(seconds(10), guard.probeInterval(5)) << "it was not probed";
}

TEST_F(StationGuardTest, ProbesFirstWhatHasWaitedLongest)
{
    goOffline(7);
    now += milliseconds(1);
    goOffline(3);
    now += seconds(20);
    EXPECT_EQ(7, due());
    end(7, AttemptEnd::NoReply);
    EXPECT_EQ(3, due());
}

TEST_F(StationGuardTest, ProbesAllOthersAtOnceWhenTheWholeLineHadBeenSilent)
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

TEST_F(StationGuardTest, ProbesAllOthersAtOnceAlsoWhenTheFirstWordIsThatAStationIsBusy)
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

TEST_F(StationGuardTest, ForgetsAStationThatIsSwitchedOn)
{
    goOffline(5);
    EXPECT_TRUE(guard.setEnabled(5, true)) << "it was offline";
    EXPECT_FALSE(guard.setEnabled(5, true));
    EXPECT_FALSE(isOffline(5));
    EXPECT_EQ(0, guard.failuresOf(5));
    now += seconds(1000);
    EXPECT_EQ(-1, due());
}

TEST_F(StationGuardTest, LearnsNothingOfAStationThatIsSwitchedOff)
{
    goOffline(5);
    EXPECT_TRUE(guard.setEnabled(5, false)) << "it was offline";
    EXPECT_EQ(StationState::SwitchedOff, guard.state(5));
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(StationChange::None, end(5, AttemptEnd::NoReply));
    EXPECT_EQ(StationChange::None, end(5, AttemptEnd::Good)) << "to a request from before";
    EXPECT_EQ(StationState::SwitchedOff, guard.state(5));
    now += seconds(1000);
    EXPECT_EQ(-1, due());
    EXPECT_FALSE(guard.setEnabled(5, true)) << "it was switched off, not offline";
    EXPECT_EQ(StationState::On, guard.state(5));
}

TEST_F(StationGuardTest, ListsTheStationsThatAreOfflineOrSwitchedOff)
{
    EXPECT_TRUE(guard.leftAlone().empty());
    goOffline(7);
    guard.setEnabled(3, false);
    guard.setEnabled(4, true);
    end(5, AttemptEnd::NoReply);
    EXPECT_EQ((std::vector<int>{3, 7}), guard.leftAlone());
    end(7, AttemptEnd::Good);
    EXPECT_EQ(StationState::OnProbation, guard.state(7));
    EXPECT_EQ(std::vector<int>{3}, guard.leftAlone());
}

TEST_F(StationGuardTest, KnowsWhichStationIsBusyUntilItIsSwitchedOn)
{
    EXPECT_FALSE(guard.isBusy(5, now));
    guard.noteBusy(5, now + milliseconds(100));
    EXPECT_TRUE(guard.isBusy(5, now + milliseconds(99)));
    EXPECT_FALSE(guard.isBusy(5, now + milliseconds(100)));
    EXPECT_FALSE(guard.isBusy(6, now));
    guard.setEnabled(5, true);
    EXPECT_FALSE(guard.isBusy(5, now));
}

} // namespace
