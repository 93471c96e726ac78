#include "core/options.h"
#include "cycle_script.h"

namespace {

using namespace plc::test;
using plc::runtime::Permit;
using plc::runtime::StationRules;
using plc::runtime::TransactionReport;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Two holding registers at 100 of station 17.
const QByteArray kRead = hex("11 03 0064 0002 8744");
const QByteArray kReply = hex("11 03 04 1234 ABCD 11E1");
const QByteArray kWrite = hex("11 06 0064 1234 C7F2");
const QByteArray kBroadcast = hex("00 06 0064 0001 0804");
const QByteArray kException = hex("11 83 02 C134");

constexpr Time kSilence = nanoseconds(4010417);
constexpr Time kEightBytes = nanoseconds(9166667);
constexpr Time kNineBytes = nanoseconds(10312500);

class CycleIdle : public CycleScript
{};
class CycleSilence : public CycleScript
{};
class CycleReply : public CycleScript
{};
class CycleTimeout : public CycleScript
{};
class CycleException : public CycleScript
{
protected:
    /// The first attempt is not answered, the second refused after 20 ms, and the third goes out.
    void refuseTheRepeat(const char *refusal)
    {
        queue(kRead);
        verdicts({0, 0});
        runUntilSent();
        runUntilSent();
        repeatedAt = sentAt;
        run(milliseconds(20));
        refusedAt = now;
        arrive(withCrc(refusal));
        runUntilSent();
    }

    Time repeatedAt{};
    Time refusedAt{};
};
class CycleDamage : public CycleScript
{};
class CycleEcho : public CycleScript
{};
class CycleBroadcast : public CycleScript
{};
class CycleNoReply : public CycleScript
{};
class CycleReadModifyWrite : public CycleScript
{
protected:
    /// The two halves of writing bit 3 of register 2, which reads as 1.
    void queueHalves()
    {
        Protocol &read = queue(kReadHalf);
        read.var.regType = 5;
        read.var.count = 1;
        read.var.relayArg1 = -1;
        Protocol &write = queue(kWriteHalf);
        write.var.regType = 5;
        write.var.count = 1;
        write.var.direction = 1;
    }

    /// The read half goes out and is answered after 20 ms.
    void answerReadHalf()
    {
        verdicts({1, 1});
        driver.trimTo = 7;
        EXPECT_EQ(kReadHalf, runUntilSent());
        run(milliseconds(20));
        arrive(kReadHalfReply);
    }

    const QByteArray kReadHalf = withCrc("01 03 0002 0001");
    const QByteArray kReadHalfReply = withCrc("01 03 02 0001");
    const QByteArray kWriteHalf = withCrc("01 06 0002 0009");
};
class CycleRelay : public CycleScript
{};
class CyclePermit : public CycleScript
{};
class CycleStatistics : public CycleScript
{};

TEST_F(CycleIdle, AsksTheDriverAgainAfterAPause)
{
    EXPECT_TRUE(cycle().advance(now, QByteArray()).send.isEmpty());
    EXPECT_EQ(1, driver.asked);
    EXPECT_EQ(now + milliseconds(2), cycle().advance(now, QByteArray()).wakeAt);
    EXPECT_EQ(CycleState::Idle, cycle().state());
}

TEST_F(CycleIdle, ThrowsAwayWhatComesUnasked)
{
    arrive(kReply);
    EXPECT_EQ(9, witness.discardedBytes);
    EXPECT_EQ(9u, total().foreignBytes);
    EXPECT_TRUE(driver.calls.empty());
}

TEST_F(CycleSilence, IsKeptBeforeTheVeryFirstRequest)
{
    queue(kRead);
    const Time opened = now;
    EXPECT_EQ(kRead, runUntilSent());
    EXPECT_EQ(opened + kSilence, sentAt);
}

TEST_F(CycleSilence, StartsAnewWithEveryByteThatComesIn)
{
    queue(kRead);
    EXPECT_TRUE(run(milliseconds(3)).isEmpty());
    EXPECT_TRUE(arrive(hex("55")).isEmpty());
    const Time last = now;
    EXPECT_EQ(kRead, runUntilSent());
    EXPECT_EQ(last + kSilence, sentAt);
}

TEST_F(CycleSilence, IsKeptBetweenAReplyAndTheNextRequest)
{
    queue(kRead);
    queue(kRead);
    runUntilSent();
    verdicts({1, 1});
    driver.trimTo = 9;
    run(milliseconds(30));
    arrive(kReply);
    const Time answered = now;
    runUntilSent();
    EXPECT_EQ(answered + kSilence, sentAt);
}

TEST_F(CycleSilence, IsCountedFromTheReplyEvenIfTheLineIsFasterThanItsName)
{
    // On a pseudo-terminal the reply is there while the request would still be on a real line.
    queue(kRead);
    queue(kRead);
    runUntilSent();
    verdicts({1, 1});
    driver.trimTo = 9;
    run(microseconds(100));
    arrive(kReply);
    const Time answered = now;
    runUntilSent();
    EXPECT_EQ(answered + kSilence, sentAt);
}

TEST_F(CycleSilence, IsAllThatLiesBetweenTwoDifferentRequestsOnAHealthyLine)
{
    queue(kRead);
    const QByteArray other = withCrc("11 03 00C8 0002");
    queue(other);
    runUntilSent();
    verdicts({1, 1});
    driver.trimTo = 9;
    arrive(kReply);
    const Time answered = now;
    EXPECT_EQ(other, runUntilSent());
    EXPECT_EQ(answered + kSilence, sentAt);
}

TEST_F(CycleSilence, ThatNeverComesSpendsTheAttemptInsteadOfHangingForEver)
{
    queue(kRead);
    verdicts({0, 41});
    const Time chosen = now;
    for (int i = 0; i < 700; ++i) {
        EXPECT_TRUE(run(milliseconds(1)).isEmpty());
        EXPECT_TRUE(arrive(hex("55")).isEmpty());
    }
    ASSERT_EQ(1u, witness.reports.size());
    EXPECT_EQ(AttemptEnd::LineBusy, witness.reports[0].cause);
    EXPECT_FALSE(witness.reports[0].done);
    EXPECT_EQ(0, witness.reports[0].attempts);
    EXPECT_EQ(chosen, witness.reports[0].startedAt);
    EXPECT_EQ(2u, total().lineBusy);
    EXPECT_EQ(0u, total().requests);
}

TEST_F(CycleSilence, ThatNeverComesIsNotTakenForSuccessWhereNoReplyIsDue)
{
    queue(kBroadcast, 0);
    verdicts({1}); // the driver calls it done whatever has become of it
    for (int i = 0; i < 400; ++i) {
        run(milliseconds(1));
        arrive(hex("55"));
    }
    EXPECT_TRUE(witness.sentFrames.empty());
    ASSERT_EQ(1u, witness.reports.size());
    EXPECT_EQ(AttemptEnd::LineBusy, witness.reports[0].cause);
    EXPECT_EQ(0, witness.reports[0].attempts);
    EXPECT_EQ(1u, total().lineBusy);
    EXPECT_EQ(0u, total().unanswered);
    EXPECT_THAT(witness.ends, ElementsAre(AttemptEnd::LineBusy));
}

TEST_F(CycleSilence, IsWaitedForAsLongAsAllAttemptsWouldTakeWhereNoReplyIsDue)
{
    info.retryLimit = 2;
    queue(kBroadcast, 0);
    for (int i = 0; i < 800; ++i) {
        run(milliseconds(1));
        arrive(hex("55"));
    }
    EXPECT_TRUE(driver.calls.empty());
    EXPECT_EQ(kBroadcast, runUntilSent());
}

TEST_F(CycleReply, GoesToTheDriverTwiceAndEndsTheTransaction)
{
    queue(kRead);
    runUntilSent();
    verdicts({1, 1});
    driver.trimTo = 9;
    run(milliseconds(30));
    arrive(kReply);
    EXPECT_THAT(driver.calls, ElementsAre(kReply, kReply));
    ASSERT_EQ(1u, witness.reports.size());
    const TransactionReport &report = witness.reports[0];
    EXPECT_TRUE(report.done);
    EXPECT_EQ(1, report.status);
    EXPECT_EQ(AttemptEnd::Good, report.cause);
    EXPECT_EQ(1, report.attempts);
    EXPECT_EQ(17, report.request.station);
    EXPECT_EQ(3, report.request.function);
    EXPECT_EQ(sentAt, report.startedAt);
    EXPECT_EQ(now, report.endedAt);
}

TEST_F(CycleReply, IsTakenByteByByte)
{
    queue(kRead);
    runUntilSent();
    verdicts({1, 100});
    driver.trimTo = 9;
    for (int i = 0; i < kReply.size(); ++i) {
        run(milliseconds(1));
        EXPECT_TRUE(witness.reports.empty());
        arrive(kReply.mid(i, 1));
    }
    ASSERT_EQ(1u, witness.reports.size());
    EXPECT_TRUE(witness.reports[0].done);
    EXPECT_EQ(100, witness.reports[0].status);
    EXPECT_EQ(2u, driver.calls.size());
}

TEST_F(CycleReply, IsHandedOverWithTheNoiseInFrontOfIt)
{
    queue(kRead);
    runUntilSent();
    verdicts({1, 1});
    driver.trimTo = 9;
    arrive(hex("00 FF") + kReply);
    EXPECT_THAT(driver.calls, ElementsAre(hex("00 FF") + kReply, kReply));
    EXPECT_EQ(2u, total().foreignBytes);
}

TEST_F(CycleReply, OfAnotherByteCountNeverReachesTheDriver)
{
    queue(kRead);
    runUntilSent();
    arrive(withCrc("11 03 02 1234"));
    EXPECT_TRUE(driver.calls.empty());
    EXPECT_EQ(1u, total().ignoredReplies);
    EXPECT_EQ(CycleState::WaitingReply, cycle().state());
    verdicts({1, 1});
    driver.trimTo = 9;
    arrive(kReply);
    EXPECT_TRUE(witness.reports.at(0).done);
}

TEST_F(CycleReply, OfAnotherAddressNeverCountsForAWrite)
{
    queue(kWrite);
    runUntilSent();
    arrive(withCrc("11 06 0065 1234"));
    EXPECT_TRUE(driver.calls.empty());
    EXPECT_EQ(1u, total().ignoredReplies);
}

TEST_F(CycleReply, OfAnotherAddressCountsForAWriteWhenToldSo)
{
    settings.policies.strictWrites = false;
    queue(kWrite);
    runUntilSent();
    verdicts({1, 1});
    driver.trimTo = 8;
    arrive(withCrc("11 06 0065 1234"));
    EXPECT_TRUE(witness.reports.at(0).done);
}

TEST_F(CycleReply, ThatLiesInsideABegunReplyIsLeftThere)
{
    const QByteArray request = withCrc("11 03 0000 0005");
    const QByteArray reply = withCrc("11 03 0A 0000 1183 02C1 3400 0000");
    queue(request);
    runUntilSent();
    arrive(reply.left(12));
    EXPECT_TRUE(driver.calls.empty());
    EXPECT_TRUE(witness.ends.empty());
    verdicts({1, 1});
    driver.trimTo = 15;
    arrive(reply.mid(12));
    EXPECT_THAT(witness.ends, ElementsAre(AttemptEnd::Good));
}

TEST_F(CycleReply, ThatTheDriverDoesNotSeeIsPassedOver)
{
    queue(kRead);
    runUntilSent();
    verdicts({0});
    arrive(kReply);
    EXPECT_EQ(CycleState::WaitingReply, cycle().state());
    EXPECT_EQ(9u, total().foreignBytes);
}

TEST_F(CycleReply, JudgedBadAfterBeingFoundIsRepeatedWithTheLengthKnown)
{
    Protocol &head = queue(kRead);
    runUntilSent();
    verdicts({1, 0});
    driver.trimTo = 9;
    arrive(kReply);
    EXPECT_EQ(9, head.replyLen);
    EXPECT_TRUE(witness.reports.empty());
    EXPECT_THAT(witness.ends, ElementsAre(AttemptEnd::Unusable));

    // From now on each call counts: the driver gets one, with exactly the reply.
    EXPECT_EQ(kRead, runUntilSent());
    EXPECT_TRUE(arrive(hex("00") + kReply.left(4)).isEmpty());
    EXPECT_EQ(2u, driver.calls.size());
    verdicts({1});
    arrive(kReply.mid(4));
    EXPECT_EQ(3u, driver.calls.size());
    EXPECT_EQ(kReply, driver.calls.back());
    ASSERT_EQ(1u, witness.reports.size());
    EXPECT_TRUE(witness.reports[0].done);
    EXPECT_EQ(AttemptEnd::Good, witness.reports[0].cause);
    EXPECT_EQ(2, witness.reports[0].attempts);
}

TEST_F(CycleReply, JudgedBadForGoodFailsTheTransactionWithThatCode)
{
    queue(kRead);
    runUntilSent();
    verdicts({1, 11});
    driver.trimTo = 9;
    arrive(kReply);
    ASSERT_EQ(1u, witness.reports.size());
    EXPECT_FALSE(witness.reports[0].done);
    EXPECT_EQ(11, witness.reports[0].status);
    EXPECT_EQ(AttemptEnd::Unusable, witness.reports[0].cause);
}

TEST_F(CycleReply, IsWaitedForBeforeAnotherRequestGoesOut)
{
    queue(kRead);
    queue(withCrc("12 03 00C8 0002"));
    runUntilSent();
    runUntil(sentAt + kEightBytes + milliseconds(300) - nanoseconds(2));
    EXPECT_EQ(1u, witness.sentFrames.size());
    EXPECT_EQ(1, driver.asked);
    EXPECT_EQ(CycleState::WaitingReply, cycle().state());
}

TEST_F(CycleReply, WithABadCrcCostsTheAttemptAndTheRequestIsRepeated)
{
    queue(kRead);
    runUntilSent();
    verdicts({0, 1, 1});
    driver.trimTo = 9;
    arrive(hex("11 03 04 1234 ABCD 11E0"));
    EXPECT_TRUE(driver.calls.empty());
    EXPECT_EQ(kRead, runUntilSent());
    EXPECT_THAT(witness.ends, ElementsAre(AttemptEnd::Unusable));
    arrive(kReply);
    ASSERT_EQ(1u, witness.reports.size());
    EXPECT_TRUE(witness.reports[0].done);
    EXPECT_EQ(2, witness.reports[0].attempts);
}

TEST_F(CycleReply, InAFloodOfNoiseIsStillFound)
{
    queue(kRead);
    runUntilSent();
    arrive(QByteArray(5000, '\x55'));
    verdicts({1, 1});
    driver.trimTo = 9;
    arrive(kReply);
    EXPECT_TRUE(witness.reports.at(0).done);
    EXPECT_EQ(5000u, total().foreignBytes);
}

TEST_F(CycleTimeout, CountsFromTheEndOfTheLastStopBit)
{
    queue(kRead);
    runUntilSent();
    verdicts({0});
    const Time due = sentAt + kEightBytes + milliseconds(300);
    runUntil(due - nanoseconds(2));
    EXPECT_TRUE(driver.calls.empty());
    runUntil(due);
    EXPECT_THAT(driver.calls, ElementsAre(QByteArray()));
    EXPECT_THAT(witness.ends, ElementsAre(AttemptEnd::NoReply));
}

TEST_F(CycleTimeout, CountsFromTheMomentThatThePortNamesWhenThatIsLater)
{
    queue(kRead);
    runUntilSent();
    verdicts({0});
    const Time left = sentAt + milliseconds(50);
    cycle().transmitted(left);
    const Time due = left + milliseconds(300);
    runUntil(due - nanoseconds(2));
    EXPECT_TRUE(driver.calls.empty());
    runUntil(due);
    EXPECT_EQ(1u, driver.calls.size());
}

TEST_F(CycleTimeout, IsMovedOnceHoweverOftenThePortNamesThatMoment)
{
    queue(kRead);
    runUntilSent();
    verdicts({0});
    const Time left = sentAt + milliseconds(50);
    cycle().transmitted(left);
    cycle().transmitted(left);
    runUntil(left + milliseconds(300));
    EXPECT_EQ(1u, driver.calls.size());
}

TEST_F(CycleTimeout, RepeatsTheSameRequestAfterTheSilence)
{
    queue(kRead);
    runUntilSent();
    verdicts({0});
    const Time due = sentAt + kEightBytes + milliseconds(300);
    EXPECT_EQ(kRead, runUntilSent());
    EXPECT_EQ(due, sentAt) << "the line was silent all the time";
    EXPECT_THAT(witness.sentFrames, ElementsAre(std::make_pair(kRead, 1), std::make_pair(kRead, 2)));
    EXPECT_EQ(1u, total().retries);
}

TEST_F(CycleTimeout, FailsTheTransactionWhenTheDriverSaysSo)
{
    queue(kRead);
    runUntilSent();
    verdicts({0, 0, 41});
    runUntilSent();
    runUntilSent();
    run(seconds(1));
    ASSERT_EQ(1u, witness.reports.size());
    EXPECT_FALSE(witness.reports[0].done);
    EXPECT_EQ(41, witness.reports[0].status);
    EXPECT_EQ(3, witness.reports[0].attempts);
    EXPECT_EQ(AttemptEnd::NoReply, witness.reports[0].cause);
    EXPECT_EQ(3u, driver.calls.size());
    EXPECT_EQ(3u, total().timeouts);
}

TEST_F(CycleTimeout, NeverCallsTheDriverEmptyHandedWhileItWaits)
{
    queue(kRead);
    runUntilSent();
    for (int i = 0; i < 29; ++i) {
        run(milliseconds(10));
        arrive(hex("55"));
    }
    EXPECT_TRUE(driver.calls.empty());
}

TEST_F(CycleTimeout, GivesABegunReplyItsOwnTimeOnTheWireOnce)
{
    queue(kRead);
    runUntilSent();
    const Time due = sentAt + kEightBytes + milliseconds(300);
    runUntil(due - milliseconds(1));
    arrive(kReply.left(3));
    const Time extended = due + kNineBytes + milliseconds(20);
    runUntil(extended - milliseconds(1));
    EXPECT_TRUE(driver.calls.empty());
    verdicts({1, 1});
    driver.trimTo = 9;
    arrive(kReply.mid(3));
    EXPECT_TRUE(witness.reports.at(0).done);
}

TEST_F(CycleTimeout, IsNotMovedByForeignBytesHoweverManyCome)
{
    queue(kRead);
    runUntilSent();
    verdicts({0});
    const Time latest = sentAt + kEightBytes + milliseconds(300) + kNineBytes + milliseconds(20);
    while (now < latest - milliseconds(2)) {
        run(milliseconds(1));
        arrive(withCrc("12 03 04 1234 ABCD"));
    }
    EXPECT_TRUE(driver.calls.empty());
    runUntil(latest + milliseconds(1));
    EXPECT_EQ(1u, driver.calls.size());
    EXPECT_THAT(witness.ends, ElementsAre(AttemptEnd::Unusable));
    EXPECT_EQ(1u, total().bad);
    EXPECT_EQ(0u, total().timeouts);
}

TEST_F(CycleTimeout, ThrowsTheInputAwayBeforeTheNextAttempt)
{
    queue(kRead);
    runUntilSent();
    verdicts({0, 1, 1});
    driver.trimTo = 9;
    arrive(kReply.left(5));
    runUntilSent();
    EXPECT_EQ(QByteArray(), driver.calls.at(0));
    arrive(kReply.mid(5));
    EXPECT_EQ(1u, driver.calls.size()) << "two halves of two attempts make no reply";
    arrive(kReply);
    EXPECT_EQ(3u, driver.calls.size());
}

TEST_F(CycleTimeout, LooksOnceMorePastABeginningThatWasNone)
{
    // Noise that looks like the start of the reply hides the exception behind it until the wait is over.
    queue(kRead);
    runUntilSent();
    verdicts({41});
    arrive(hex("11 03 04") + kException);
    EXPECT_TRUE(witness.ends.empty());
    run(milliseconds(400));
    EXPECT_THAT(witness.ends, ElementsAre(AttemptEnd::Exception));
    EXPECT_EQ(3u, total().foreignBytes);
}

TEST_F(CycleTimeout, IsNotShortenedByAPortThatClaimsToBeFaster)
{
    queue(kRead);
    runUntilSent();
    cycle().transmitted(sentAt + milliseconds(1));
    runUntil(sentAt + kEightBytes + milliseconds(300) - nanoseconds(2));
    EXPECT_TRUE(driver.calls.empty());
}

TEST_F(CycleTimeout, DiscardsALateReplyBeforeADifferentRequest)
{
    queue(kRead);
    const QByteArray other = withCrc("11 03 00C8 0002");
    queue(other);
    verdicts({41});
    runUntilSent();
    const Time failed = sentAt + kEightBytes + milliseconds(300);
    runUntil(failed + milliseconds(50));
    EXPECT_EQ(1u, witness.sentFrames.size());
    arrive(kReply);
    EXPECT_EQ(1u, driver.calls.size());
    EXPECT_EQ(other, runUntilSent());
    EXPECT_EQ(failed + milliseconds(200), sentAt);
}

TEST_F(CycleTimeout, DoesNotWaitForALateReplyToTheSameRequest)
{
    queue(kRead);
    queue(kRead);
    verdicts({41});
    runUntilSent();
    const Time failed = sentAt + kEightBytes + milliseconds(300);
    runUntilSent();
    EXPECT_EQ(failed, sentAt);
}

TEST_F(CycleTimeout, LeavesTimeForTheSecondReplyToARepeatedRequest)
{
    queue(kRead);
    const QByteArray other = withCrc("11 03 00C8 0002");
    queue(other);
    verdicts({0, 1, 1});
    driver.trimTo = 9;
    runUntilSent();
    runUntilSent();
    const Time repeated = sentAt;
    run(milliseconds(20));
    arrive(kReply);
    run(milliseconds(100));
    arrive(kReply);
    EXPECT_EQ(other, runUntilSent());
    // The first reply may have been the late one to the first attempt; that to the second one may be as late.
    EXPECT_EQ(repeated + kEightBytes + milliseconds(300 + 200), sentAt);
    EXPECT_EQ(3u, driver.calls.size());
}

TEST_F(CycleTimeout, HoldsEvenTheSameRequestBackOnceARepeatWasAnswered)
{
    // Otherwise the answer to the repeat would be paired with the next request, and so on for ever.
    queue(kRead);
    queue(kRead);
    verdicts({0, 1, 1});
    driver.trimTo = 9;
    runUntilSent();
    runUntilSent();
    const Time repeated = sentAt;
    run(milliseconds(20));
    arrive(kReply);
    run(milliseconds(100));
    arrive(kReply);
    EXPECT_EQ(kRead, runUntilSent());
    EXPECT_EQ(repeated + kEightBytes + milliseconds(300 + 200), sentAt);
    EXPECT_EQ(3u, driver.calls.size());
}

TEST_F(CycleException, CountsWhatStandsAroundAnExceptionAsForeign)
{
    queue(kRead);
    runUntilSent();
    verdicts({41});
    arrive(hex("00") + kException + hex("FF 00"));
    EXPECT_THAT(witness.ends, ElementsAre(AttemptEnd::Exception));
    EXPECT_THAT(witness.reasons, ElementsAre("in front of the reply", "behind the reply"));
    EXPECT_EQ(3u, total().foreignBytes);
}

TEST_F(CycleException, EndsTheAttemptAlsoWhereRepliesAreNotChecked)
{
    settings.policies.checkReplies = false;
    queue(kRead);
    verdicts({41});
    runUntilSent();
    run(milliseconds(20));
    arrive(kException);
    ASSERT_EQ(1u, witness.reports.size());
    EXPECT_EQ(AttemptEnd::Exception, witness.reports[0].cause);
    EXPECT_EQ(2, witness.reports[0].exceptionCode);
}

TEST_F(CycleException, EndsTheAttemptAtOnceAndIsReported)
{
    queue(kRead);
    runUntilSent();
    verdicts({41});
    run(milliseconds(20));
    arrive(kException);
    EXPECT_THAT(driver.calls, ElementsAre(QByteArray()));
    ASSERT_EQ(1u, witness.reports.size());
    EXPECT_EQ(AttemptEnd::Exception, witness.reports[0].cause);
    EXPECT_EQ(2, witness.reports[0].exceptionCode);
    EXPECT_EQ(1u, total().exceptions);
    EXPECT_EQ(0u, total().timeouts);
    EXPECT_EQ(0u, total().foreignBytes);
}

TEST_F(CycleException, IsRepeatedAfterTheSilenceWhileTheDriverAllows)
{
    queue(kRead);
    runUntilSent();
    verdicts({0});
    run(milliseconds(20));
    arrive(kException);
    const Time refused = now;
    EXPECT_EQ(kRead, runUntilSent());
    EXPECT_EQ(refused + kSilence, sentAt);
}

TEST_F(CycleException, ProvesThatTheRequestHadLeft)
{
    queue(kRead);
    runUntilSent();
    verdicts({0});
    run(microseconds(100));
    arrive(kException);
    const Time refused = now;
    runUntilSent();
    EXPECT_EQ(refused + kSilence, sentAt);
}

TEST_F(CycleException, ThatIsNotToBeFollowedByTheSameRequestTakesTheRemainingAttempts)
{
    for (const char *refusal : {"11 83 01", "11 83 02", "11 83 03", "11 83 06"}) {
        info.retryLimit = 4;
        queue(kRead);
        runUntilSent();
        verdicts({41});
        arrive(withCrc(refusal));
        EXPECT_EQ(4, info.retryCount) << refusal;
    }
}

TEST_F(CycleException, OfAnotherKindLeavesTheRemainingAttempts)
{
    for (const char *refusal : {"11 83 04", "11 83 05", "11 83 07", "11 83 08", "11 83 0A", "11 83 0B"}) {
        info.retryLimit = 4;
        queue(kRead);
        runUntilSent();
        verdicts({41});
        arrive(withCrc(refusal));
        EXPECT_EQ(0, info.retryCount) << refusal;
    }
}

TEST_F(CycleException, OfARepeatMayBelongToTheFirstAttemptSoTheLastKeepsItsWait)
{
    refuseTheRepeat("11 83 04");
    EXPECT_EQ(repeatedAt + kEightBytes + milliseconds(300), sentAt);
}

TEST_F(CycleException, AcknowledgeEndsAWriteThatHasBegun)
{
    info.retryLimit = 4;
    queue(kWrite).var.direction = 1;
    runUntilSent();
    verdicts({41});
    arrive(withCrc("11 86 05"));
    EXPECT_EQ(4, info.retryCount);
    EXPECT_EQ(AttemptEnd::Exception, witness.reports.at(0).cause);
}

TEST_F(CycleException, OfARepeatIsFollowedByTheNextAtOnceWithoutTheGuard)
{
    settings.lateReplyGuard = Time::zero();
    refuseTheRepeat("11 83 04");
    EXPECT_EQ(refusedAt + kSilence, sentAt);
}

TEST_F(CycleException, BusyDoesNotHoldTheOtherStationsUp)
{
    const QByteArray other = withCrc("12 03 0064 0002");
    queue(kRead);
    queue(other);
    runUntilSent();
    verdicts({41});
    arrive(withCrc("11 83 06"));
    const Time refused = now;
    EXPECT_EQ(other, runUntilSent());
    EXPECT_EQ(refused + kSilence, sentAt);
}

TEST_F(CycleException, BusyIsRepeatedAfterAPauseWhereTheRequestDoesNotComeAgainByItself)
{
    queue(kRead).var.hostId = 100;
    runUntilSent();
    verdicts({0, 41});
    arrive(withCrc("11 83 06"));
    const Time refused = now;
    EXPECT_EQ(kRead, runUntilSent());
    EXPECT_EQ(refused + milliseconds(100), sentAt);
    const QByteArray other = withCrc("12 03 0064 0002");
    queue(other);
    arrive(withCrc("11 83 06"));
    const Time failed = now;
    EXPECT_EQ(other, runUntilSent());
    EXPECT_EQ(failed + kSilence, sentAt) << "nobody else waits";
}

TEST_F(CycleException, OutweighsSilenceInTheReport)
{
    queue(kRead);
    runUntilSent();
    verdicts({0, 41});
    arrive(kException);
    run(seconds(1));
    ASSERT_EQ(1u, witness.reports.size());
    EXPECT_EQ(AttemptEnd::Exception, witness.reports[0].cause);
    EXPECT_THAT(witness.ends, ElementsAre(AttemptEnd::Exception, AttemptEnd::NoReply));
}

TEST_F(CycleException, WithABadCrcIsNoise)
{
    queue(kRead);
    runUntilSent();
    arrive(hex("11 83 02 C135"));
    EXPECT_TRUE(witness.ends.empty());
    EXPECT_EQ(CycleState::WaitingReply, cycle().state());
}

// The reply with another value and the CRC that it had.
const QByteArray kDamaged = hex("11 03 04 1235 ABCD 11E1");
constexpr Time kSlack = milliseconds(20);

TEST_F(CycleDamage, EndsTheWaitWhenTheLineIsSilentBehindTheReply)
{
    queue(kRead);
    verdicts({0});
    runUntilSent();
    run(milliseconds(20));
    arrive(kDamaged.left(4));
    run(milliseconds(1));
    arrive(kDamaged.mid(4));
    const Time arrived = now;
    EXPECT_EQ(kRead, runUntilSent());
    EXPECT_EQ(arrived + kSilence + kSlack, sentAt);
    EXPECT_THAT(witness.ends, ElementsAre(AttemptEnd::Unusable));
    EXPECT_EQ(1u, total().bad);
}

TEST_F(CycleDamage, LeavesNothingToListenFor)
{
    const QByteArray other = withCrc("11 03 00C8 0002");
    queue(kRead);
    queue(other);
    verdicts({41});
    runUntilSent();
    run(milliseconds(20));
    arrive(kDamaged);
    const Time arrived = now;
    EXPECT_EQ(other, runUntilSent());
    EXPECT_EQ(arrived + kSilence + kSlack, sentAt);
}

TEST_F(CycleDamage, DoesNotKeepAReplyBehindItFromBeingSeen)
{
    queue(kRead);
    runUntilSent();
    arrive(kDamaged);
    run(milliseconds(10));
    verdicts({1, 1});
    driver.trimTo = 9;
    arrive(kReply);
    ASSERT_EQ(1u, witness.reports.size());
    EXPECT_TRUE(witness.reports[0].done);
}

TEST_F(CycleDamage, DoesNotEndTheWaitWhileSomethingFollows)
{
    queue(kRead);
    verdicts({0});
    runUntilSent();
    const Time wait = sentAt + kEightBytes + milliseconds(300);
    arrive(kDamaged);
    run(milliseconds(10));
    arrive(hex("55"));
    runUntilSent();
    EXPECT_GT(sentAt, wait);
}

TEST_F(CycleDamage, KeepsItsSilenceBeyondTheEndOfTheWait)
{
    queue(kRead);
    verdicts({0});
    runUntilSent();
    runUntil(sentAt + kEightBytes + milliseconds(298));
    arrive(kDamaged);
    const Time arrived = now;
    EXPECT_EQ(kRead, runUntilSent());
    EXPECT_EQ(arrived + kSilence + kSlack, sentAt);
}

TEST_F(CycleDamage, OfWhatMayAnswerAnEarlierAttemptDoesNotEndTheWait)
{
    queue(kRead);
    verdicts({0, 0});
    runUntilSent();
    runUntilSent();
    const Time wait = sentAt + kEightBytes + milliseconds(300);
    run(milliseconds(20));
    arrive(kDamaged);
    runUntilSent();
    EXPECT_GT(sentAt, wait);
}

TEST_F(CycleDamage, IsWaitedOutWithoutThePolicy)
{
    settings.policies.endOnDamage = false;
    queue(kRead);
    verdicts({0});
    runUntilSent();
    const Time wait = sentAt + kEightBytes + milliseconds(300);
    arrive(kDamaged);
    runUntilSent();
    EXPECT_GT(sentAt, wait);
}

TEST_F(CycleEcho, OfASingleWriteIsNotTakenForItsReply)
{
    settings.removeEcho = true;
    queue(kWrite);
    runUntilSent();
    arrive(kWrite);
    EXPECT_TRUE(driver.calls.empty());
    verdicts({1, 1});
    driver.trimTo = 8;
    arrive(kWrite);
    EXPECT_TRUE(witness.reports.at(0).done);
    EXPECT_EQ(0u, total().foreignBytes);
}

TEST_F(CycleEcho, IsRemovedInPiecesAndGluedToTheReply)
{
    settings.removeEcho = true;
    queue(kRead);
    runUntilSent();
    verdicts({1, 1});
    driver.trimTo = 9;
    arrive(kRead.left(3));
    arrive(kRead.mid(3) + kReply.left(2));
    arrive(kReply.mid(2));
    EXPECT_THAT(driver.calls, ElementsAre(kReply, kReply));
}

TEST_F(CycleEcho, InPiecesIsNoReplyEither)
{
    settings.removeEcho = true;
    queue(kRead);
    verdicts({41});
    runUntilSent();
    arrive(kRead.left(3));
    arrive(kRead.mid(3));
    run(seconds(1));
    ASSERT_EQ(1u, witness.reports.size());
    EXPECT_EQ(AttemptEnd::NoReply, witness.reports[0].cause);
    EXPECT_FALSE(witness.reports[0].echoMissing);
}

TEST_F(CycleEcho, IsNeverBehindTheReply)
{
    settings.removeEcho = true;
    queue(kRead);
    runUntilSent();
    arrive(kReply + kRead);
    EXPECT_TRUE(driver.calls.empty()) << "an old reply";
    EXPECT_EQ(9u, total().foreignBytes);
    verdicts({1, 1});
    driver.trimTo = 9;
    arrive(kReply);
    EXPECT_TRUE(witness.reports.at(0).done);
}

TEST_F(CycleEcho, ThatIsMissingIsNamedInTheReport)
{
    settings.removeEcho = true;
    queue(kRead);
    runUntilSent();
    verdicts({41});
    arrive(kReply);
    run(seconds(1));
    ASSERT_EQ(1u, witness.reports.size());
    EXPECT_TRUE(witness.reports[0].echoMissing);
    EXPECT_EQ(AttemptEnd::Unusable, witness.reports[0].cause);
}

TEST_F(CycleReply, ThatIsMissedIsToldOfEachAttempt)
{
    queue(kRead);
    verdicts({0, 0, 41});
    runUntilSent();
    run(milliseconds(350));
    ASSERT_EQ(2u, witness.sentFrames.size());
    arrive(hex("55 55"));
    run(milliseconds(400));
    ASSERT_EQ(3u, witness.sentFrames.size());
    arrive(kRead);
    run(seconds(1));
    ASSERT_EQ(1u, witness.reports.size());
    EXPECT_THAT(witness.misses, ElementsAre("nothing heard", "2 bytes, but no frame (55 55)",
                                            "nothing but the request itself"));
    EXPECT_EQ(
        "attempt 1: nothing heard; attempt 2: 2 bytes, but no frame (55 55); attempt 3: nothing but the "
        "request itself",
        describe(witness.reports[0].missed));
}

TEST_F(CycleReply, ThatIsMissedIsToldWithWhatWasThrownAwayMeanwhile)
{
    queue(kRead);
    verdicts({41});
    runUntilSent();
    arrive(withCrc("11 03 08 0001 0002 0003 0004"));
    run(seconds(1));
    ASSERT_EQ(1u, witness.misses.size());
    EXPECT_EQ("a good reply of 13 bytes, where 9 were due: the answer to another request", witness.misses[0]);
}

TEST_F(CycleStatistics, CountRequestsOfASecondMasterWhereverTheyCome)
{
    arrive(withCrc("04 03 0000 000A"));
    run(milliseconds(10));
    queue(kRead);
    runUntilSent();
    verdicts({1, 1});
    driver.trimTo = 9;
    arrive(withCrc("05 03 0000 000A") + kReply);
    run(milliseconds(20));
    queue(kRead);
    runUntilSent();
    EXPECT_THAT(cycle().statistics().otherMaster, ElementsAre(std::make_pair(4, 1u), std::make_pair(5, 1u)));
}

TEST_F(CycleStatistics, CountNoRequestWhoseHalvesLieAroundTheReply)
{
    const QByteArray halves = withCrc("04 03 0000 000A");
    queue(kRead);
    runUntilSent();
    verdicts({1, 1});
    driver.trimTo = 9;
    arrive(halves.left(4) + kReply + halves.mid(4));
    run(milliseconds(20));
    queue(kRead);
    runUntilSent();
    EXPECT_THAT(cycle().statistics().otherMaster, IsEmpty());
}

TEST_F(CycleEcho, OfABroadcastIsNotNoise)
{
    settings.removeEcho = true;
    queue(kBroadcast, 0);
    runUntilSent();
    arrive(kBroadcast);
    verdicts({1});
    run(milliseconds(200));
    EXPECT_EQ(0u, total().foreignBytes);
    EXPECT_TRUE(witness.reports.at(0).done);
}

TEST_F(CycleEcho, OfAnEarlierAttemptIsNotTakenForTheReply)
{
    settings.removeEcho = true;
    queue(kWrite);
    verdicts({0});
    runUntilSent();
    EXPECT_EQ(kWrite, runUntilSent());
    arrive(kWrite + kWrite);
    EXPECT_EQ(1u, driver.calls.size()) << "two echoes";
    verdicts({1, 1});
    driver.trimTo = 8;
    arrive(kWrite);
    EXPECT_EQ(3u, driver.calls.size());
    EXPECT_TRUE(witness.reports.at(0).done);
}

TEST_F(CycleEcho, OfAnEarlierAttemptIsNotTakenForTheReplyBehindNoiseEither)
{
    settings.removeEcho = true;
    queue(kWrite);
    verdicts({0, 41});
    runUntilSent();
    EXPECT_EQ(kWrite, runUntilSent());
    arrive(hex("55") + kWrite + hex("AA") + kWrite);
    EXPECT_EQ(1u, driver.calls.size());
    run(milliseconds(400));
    EXPECT_FALSE(witness.reports.at(0).done);
}

TEST_F(CycleEcho, OfAllAttemptsAreCounted)
{
    settings.removeEcho = true;
    queue(kWrite);
    verdicts({0, 0});
    runUntilSent();
    runUntilSent();
    EXPECT_EQ(kWrite, runUntilSent());
    arrive(kWrite + kWrite + kWrite);
    EXPECT_EQ(2u, driver.calls.size());
    verdicts({1, 1});
    driver.trimTo = 8;
    arrive(kWrite);
    EXPECT_TRUE(witness.reports.at(0).done);
}

TEST_F(CycleEcho, OfAnEarlierTransactionWithTheSameRequestIsCountedToo)
{
    settings.removeEcho = true;
    queue(kWrite);
    queue(kWrite);
    verdicts({41});
    runUntilSent();
    EXPECT_EQ(kWrite, runUntilSent()) << "not held back by the guard";
    arrive(kWrite + kWrite);
    EXPECT_EQ(1u, driver.calls.size());
    EXPECT_EQ(1u, witness.reports.size());
}

TEST_F(CycleEcho, OfAnEarlierTransactionWithAnotherRequestIsNotDueAnyMore)
{
    settings.removeEcho = true;
    const QByteArray other = withCrc("11 06 0065 0001");
    queue(kWrite);
    queue(other);
    verdicts({41});
    runUntilSent();
    EXPECT_EQ(other, runUntilSent());
    arrive(other);
    verdicts({1, 1});
    driver.trimTo = 8;
    arrive(other);
    ASSERT_EQ(2u, witness.reports.size());
    EXPECT_TRUE(witness.reports[1].done);
}

TEST_F(CycleEcho, ThatComesBetweenTwoAttemptsIsOver)
{
    settings.removeEcho = true;
    queue(kWrite);
    verdicts({0});
    runUntilSent();
    // Noise at the end of the wait, which is extended by that: the line is not silent when the attempt ends.
    now = sentAt + kEightBytes + milliseconds(299);
    arrive(hex("55"));
    now = sentAt + 2 * kEightBytes + milliseconds(319);
    arrive(hex("55"));
    run(milliseconds(2));
    const Time failed = now;
    EXPECT_EQ(1u, driver.calls.size());
    EXPECT_TRUE(arrive(kWrite.left(3)).isEmpty());
    now += milliseconds(1);
    EXPECT_TRUE(arrive(kWrite.mid(3)).isEmpty());
    EXPECT_EQ(kWrite, runUntilSent());
    EXPECT_GT(sentAt, failed);
    verdicts({1, 1});
    driver.trimTo = 8;
    arrive(kWrite);
    EXPECT_TRUE(witness.reports.empty());
    arrive(kWrite);
    EXPECT_TRUE(witness.reports.at(0).done);
}

TEST_F(CycleEcho, ThatNeverCameDoesNotKeepAReplyUnlikeItFromCounting)
{
    settings.removeEcho = true;
    queue(kRead);
    verdicts({0});
    runUntilSent();
    EXPECT_EQ(kRead, runUntilSent());
    verdicts({1, 1});
    driver.trimTo = 9;
    arrive(kRead + kReply);
    EXPECT_TRUE(witness.reports.at(0).done);
}

TEST_F(CycleEcho, MissingBehindABroadcastIsNoSuccess)
{
    settings.removeEcho = true;
    for (const QByteArray &heard : {QByteArray(), hex("00 06 0064 FF01 0804")}) {
        witness.reports.clear();
        queue(kBroadcast, 0);
        EXPECT_EQ(kBroadcast, runUntilSent());
        verdicts({1});
        arrive(heard);
        run(milliseconds(200));
        ASSERT_EQ(1u, witness.reports.size());
        EXPECT_EQ(AttemptEnd::Unusable, witness.reports[0].cause);
        EXPECT_TRUE(witness.reports[0].echoMissing);
        run(seconds(2));
    }
}

TEST_F(CycleEcho, MissingWhereNoReplyIsDueIsNoSuccess)
{
    settings.removeEcho = true;
    queue(kWrite, 0);
    runUntilSent();
    verdicts({1});
    run(milliseconds(400));
    ASSERT_EQ(1u, witness.reports.size());
    EXPECT_EQ(AttemptEnd::Unusable, witness.reports[0].cause);
    EXPECT_TRUE(witness.reports[0].echoMissing);
}

TEST_F(CycleEcho, WithoutTheOptionPassesAsTheReplyOfASingleWrite)
{
    // Why the option exists.
    queue(kWrite);
    runUntilSent();
    verdicts({1, 1});
    driver.trimTo = 8;
    arrive(kWrite);
    EXPECT_TRUE(witness.reports.at(0).done);
}

// 24 coils at 768: three bytes of data, which is what the address says where a reply has their number.
const QByteArray kReadLikeItsReply = withCrc("11 01 0300 0018");

TEST_F(CycleEcho, WithoutTheOptionIsNeverTakenForTheReplyOfARead)
{
    queue(kReadLikeItsReply);
    runUntilSent();
    arrive(kReadLikeItsReply);
    EXPECT_TRUE(driver.calls.empty());
    verdicts({41});
    run(milliseconds(400));
    ASSERT_EQ(1u, witness.reports.size());
    EXPECT_EQ(AttemptEnd::Unusable, witness.reports[0].cause);
    EXPECT_TRUE(witness.reports[0].echoHeard);
}

TEST_F(CycleReply, LikeItsRequestCountsBehindTheEchoThatIsTakenOff)
{
    settings.removeEcho = true;
    queue(kReadLikeItsReply);
    runUntilSent();
    arrive(kReadLikeItsReply);
    EXPECT_TRUE(driver.calls.empty());
    verdicts({1, 1});
    driver.trimTo = 8;
    arrive(kReadLikeItsReply);
    EXPECT_TRUE(witness.reports.at(0).done);
}

TEST_F(CycleReply, LikeItsRequestCountsWhereItComesLaterThanAnEcho)
{
    queue(kReadLikeItsReply);
    runUntilSent();
    now = sentAt + kEightBytes + milliseconds(21);
    verdicts({1, 1});
    driver.trimTo = 8;
    arrive(kReadLikeItsReply);
    EXPECT_TRUE(witness.reports.at(0).done);
}

TEST_F(CycleReply, LikeItsRequestMayBeTheEchoOfAFrameThatLeftLate)
{
    queue(kReadLikeItsReply);
    runUntilSent();
    now = sentAt + milliseconds(50);
    cycle().transmitted(now);
    run(milliseconds(20));
    arrive(kReadLikeItsReply);
    EXPECT_TRUE(driver.calls.empty());
}

TEST_F(CycleReply, LikeItsRequestDoesNotCountWhereItMayBeTheEcho)
{
    queue(kReadLikeItsReply);
    runUntilSent();
    now = sentAt + kEightBytes + milliseconds(20);
    arrive(kReadLikeItsReply.left(1));
    run(milliseconds(9));
    arrive(kReadLikeItsReply.mid(1));
    EXPECT_TRUE(driver.calls.empty());
    verdicts({41});
    run(milliseconds(400));
    EXPECT_TRUE(witness.reports.at(0).mayBeEcho);
}

TEST_F(CycleEcho, WithoutTheOptionDoesNotHideTheReplyBehindIt)
{
    queue(kReadLikeItsReply);
    runUntilSent();
    verdicts({1, 1});
    driver.trimTo = 8;
    arrive(kReadLikeItsReply);
    const QByteArray reply = withCrc("11 01 03 A5 5A 3C");
    arrive(reply);
    EXPECT_THAT(driver.calls, ElementsAre(reply, reply));
    EXPECT_TRUE(witness.reports.at(0).done);
}

TEST_F(CycleEcho, OfAnotherAttemptDoesNotStayInTheReport)
{
    queue(kRead);
    runUntilSent();
    verdicts({0, 41});
    arrive(kRead);
    runUntilSent();
    run(milliseconds(400));
    ASSERT_EQ(1u, witness.reports.size());
    EXPECT_FALSE(witness.reports[0].echoHeard);
}

TEST_F(CycleEcho, OfAnEarlierTransactionIsNotReportedOfOneThatIsNeverSent)
{
    queue(kRead);
    queue(kRead);
    runUntilSent();
    verdicts({41, 41});
    arrive(kRead);
    driver.permitted = Permit::Withhold;
    run(milliseconds(400));
    ASSERT_EQ(2u, witness.reports.size());
    EXPECT_TRUE(witness.reports[0].echoHeard);
    EXPECT_FALSE(witness.reports[1].echoHeard);
}

TEST_F(CycleEcho, ThatIsTakenOffIsNotReportedAsHeard)
{
    settings.removeEcho = true;
    queue(kRead);
    runUntilSent();
    verdicts({41});
    arrive(kRead);
    run(milliseconds(400));
    EXPECT_FALSE(witness.reports.at(0).echoHeard);
}

TEST_F(CycleBroadcast, WaitsTheTurnaroundDelayAndIsDone)
{
    queue(kBroadcast, 0);
    runUntilSent();
    verdicts({1});
    EXPECT_EQ(CycleState::WaitingTurnaround, cycle().state());
    const Time due = sentAt + kEightBytes + milliseconds(100);
    runUntil(due - nanoseconds(2));
    EXPECT_TRUE(driver.calls.empty());
    runUntil(due);
    EXPECT_THAT(driver.calls, ElementsAre(QByteArray()));
    ASSERT_EQ(1u, witness.reports.size());
    EXPECT_TRUE(witness.reports[0].done);
    EXPECT_EQ(AttemptEnd::NoReplyDue, witness.reports[0].cause);
    EXPECT_EQ(1u, total().unanswered);
}

TEST_F(CycleBroadcast, LeavesTheStationsTheirTimeFromTheMomentThatThePortNames)
{
    queue(kBroadcast, 0);
    runUntilSent();
    verdicts({1});
    const Time left = sentAt + milliseconds(50);
    cycle().transmitted(left);
    runUntil(left + milliseconds(100) - nanoseconds(2));
    EXPECT_TRUE(driver.calls.empty());
    runUntil(left + milliseconds(100));
    EXPECT_EQ(1u, driver.calls.size());
}

TEST_F(CycleBroadcast, ThrowsAwayWhatComesMeanwhile)
{
    queue(kBroadcast, 0);
    runUntilSent();
    verdicts({1});
    arrive(kBroadcast);
    EXPECT_TRUE(driver.calls.empty());
    EXPECT_EQ(8u, total().foreignBytes);
}

TEST_F(CycleBroadcast, ThatTheDriverWantsAnsweredIsATimeOutWithoutTheLongWait)
{
    // The station override can turn any request into one to station 0; nobody will answer it.
    queue(withCrc("00 03 0064 0002"), -1);
    runUntilSent();
    verdicts({41});
    runUntil(sentAt + kEightBytes + milliseconds(100));
    EXPECT_THAT(driver.calls, ElementsAre(QByteArray()));
    EXPECT_THAT(witness.ends, ElementsAre(AttemptEnd::NoReply));
}

TEST_F(CycleNoReply, ToARealStationIsListenedOut)
{
    // A write to station 0 that the station override sends to station 17: the driver expects nothing, the
    // station answers.
    queue(kWrite, 0);
    runUntilSent();
    EXPECT_EQ(CycleState::ListeningOut, cycle().state());
    verdicts({1});
    run(milliseconds(40));
    EXPECT_TRUE(driver.calls.empty());
    arrive(kWrite);
    EXPECT_THAT(driver.calls, ElementsAre(QByteArray()));
    EXPECT_TRUE(witness.reports.at(0).done);
    EXPECT_EQ(AttemptEnd::NoReplyDue, witness.reports[0].cause);
    EXPECT_EQ(0u, total().foreignBytes);
}

TEST_F(CycleNoReply, EndsWithTheTimeOutWhenTheStationKeepsSilent)
{
    queue(kWrite, 0);
    runUntilSent();
    verdicts({1});
    const Time due = sentAt + kEightBytes + milliseconds(300);
    runUntil(due - nanoseconds(2));
    EXPECT_TRUE(witness.reports.empty()) << "a station that the option does not silence answers";
    runUntil(due);
    EXPECT_TRUE(witness.reports.at(0).done);
    EXPECT_EQ(0u, total().timeouts);
}

TEST_F(CycleNoReply, EndsWithTheTurnaroundWhereTheOptionSaysThatStationsKeepSilent)
{
    info.options = plc::kOptionNoReplyToSingle;
    queue(kWrite).var.regType = 8;
    runUntilSent();
    verdicts({1});
    const Time due = sentAt + kEightBytes + milliseconds(100);
    runUntil(due - nanoseconds(2));
    EXPECT_TRUE(witness.reports.empty());
    runUntil(due);
    EXPECT_TRUE(witness.reports.at(0).done);
    EXPECT_EQ(AttemptEnd::NoReplyDue, witness.reports[0].cause);
    EXPECT_EQ(0u, total().timeouts);
}

TEST_F(CycleNoReply, RefusedAtTheEndOfTheTurnaroundIsReported)
{
    info.options = plc::kOptionNoReplyToSingle;
    queue(kWrite).var.regType = 8;
    runUntilSent();
    run(kEightBytes + milliseconds(95));
    EXPECT_TRUE(arrive(withCrc("11 86 02").left(2)).isEmpty());
    run(milliseconds(10));
    verdicts({1});
    arrive(withCrc("11 86 02").mid(2));
    EXPECT_EQ(AttemptEnd::Exception, witness.reports.at(0).cause);
}

TEST_F(CycleNoReply, IsWhatTheOptionBitsMakeOfTypesEightAndNine)
{
    info.options = plc::kOptionNoReplyToSingle;
    queue(kWrite).var.regType = 8;
    runUntilSent();
    EXPECT_EQ(CycleState::ListeningOut, cycle().state());
}

TEST_F(CycleNoReply, BitTenConcernsTypeNineOnly)
{
    info.options = plc::kOptionNoReplyToBlock;
    queue(kWrite).var.regType = 8;
    runUntilSent();
    EXPECT_EQ(CycleState::WaitingReply, cycle().state());
}

TEST_F(CycleNoReply, IsNotWhatTypeNineMeansWithoutTheOption)
{
    info.options = plc::kOptionNoReplyToSingle;
    queue(hex("11 10 0064 0002 04 1234 ABCD 5AA7")).var.regType = 9;
    runUntilSent();
    EXPECT_EQ(CycleState::WaitingReply, cycle().state());
}

TEST_F(CycleNoReply, BitTenListensTypeNineOut)
{
    info.options = plc::kOptionNoReplyToBlock;
    queue(hex("11 10 0064 0002 04 1234 ABCD 5AA7")).var.regType = 9;
    runUntilSent();
    EXPECT_EQ(CycleState::ListeningOut, cycle().state());
}

TEST_F(CycleNoReply, RefusedByTheStationIsReportedAlthoughTheDriverCallsItDone)
{
    queue(kWrite, 0);
    runUntilSent();
    verdicts({1});
    arrive(withCrc("11 86 03"));
    ASSERT_EQ(1u, witness.reports.size());
    EXPECT_TRUE(witness.reports[0].done);
    EXPECT_EQ(AttemptEnd::Exception, witness.reports[0].cause);
    EXPECT_EQ(3, witness.reports[0].exceptionCode);
    EXPECT_EQ(1u, total().exceptions);
    EXPECT_EQ(0u, total().unanswered);
}

TEST_F(CycleReadModifyWrite, HasNothingButTheSilenceBetweenItsHalves)
{
    queueHalves();
    answerReadHalf();
    const Time answered = now;
    EXPECT_EQ(kWriteHalf, runUntilSent());
    EXPECT_EQ(answered + kSilence, sentAt);
}

TEST_F(CycleReadModifyWrite, ListensOutALateAnswerBeforeItReadsAgainAndNotBeforeItWrites)
{
    queueHalves();
    verdicts({0});
    runUntilSent();
    const Time first = sentAt;
    EXPECT_EQ(kReadHalf, runUntilSent());
    EXPECT_EQ(first + kEightBytes + milliseconds(300 + 200), sentAt);
    run(milliseconds(20));
    verdicts({1, 1});
    driver.trimTo = 7;
    arrive(kReadHalfReply);
    const Time answered = now;
    EXPECT_EQ(kWriteHalf, runUntilSent());
    EXPECT_EQ(answered + kSilence, sentAt);
}

TEST_F(CycleReadModifyWrite, NeverTakesALateAnswerForTheRegister)
{
    queueHalves();
    verdicts({0});
    runUntilSent();
    runUntil(sentAt + kEightBytes + milliseconds(300 + 150));
    arrive(withCrc("01 03 02 00FF"));
    EXPECT_EQ(1u, driver.calls.size());
    EXPECT_EQ(1u, witness.sentFrames.size());
}

TEST_F(CycleReadModifyWrite, DoesNotTakeTheAnswerToAnEarlierReadOfTheSameRegister)
{
    // The same bytes as the read half, and not answered.
    queue(kReadHalf);
    queueHalves();
    verdicts({41});
    runUntilSent();
    const Time first = sentAt;
    EXPECT_EQ(kReadHalf, runUntilSent());
    EXPECT_EQ(first + kEightBytes + milliseconds(300 + 200), sentAt);
}

TEST_F(CycleReadModifyWrite, DoesNotWriteAnOldValueAgain)
{
    info.retryLimit = 2;
    settings.responseTimeout = milliseconds(600);
    queueHalves();
    answerReadHalf();
    EXPECT_EQ(kWriteHalf, runUntilSent());
    verdicts({0, 41});
    EXPECT_TRUE(run(seconds(5)).isEmpty());
    EXPECT_EQ(2, info.retryCount) << "the driver is not to try again";
    ASSERT_EQ(2u, witness.reports.size());
    EXPECT_EQ(AttemptEnd::NoReply, witness.reports[1].cause);
    EXPECT_EQ(1, witness.reports[1].attempts);
}

TEST_F(CycleReadModifyWrite, WritesAgainWhileTheValueIsFresh)
{
    queueHalves();
    answerReadHalf();
    EXPECT_EQ(kWriteHalf, runUntilSent());
    run(milliseconds(20));
    verdicts({0});
    arrive(withCrc("01 86 04"));
    EXPECT_EQ(kWriteHalf, runUntilSent());
}

TEST_F(CycleReadModifyWrite, WritesNothingOnALineThatIsNotSilentInTime)
{
    info.retryLimit = 2;
    settings.responseTimeout = seconds(10);
    queueHalves();
    answerReadHalf();
    const Time answered = now;
    verdicts({41});
    while (now < answered + milliseconds(600)) {
        now += milliseconds(2);
        EXPECT_TRUE(arrive(hex("55")).isEmpty());
    }
    EXPECT_TRUE(run(seconds(1)).isEmpty());
    ASSERT_EQ(2u, witness.reports.size());
    EXPECT_EQ(AttemptEnd::LineBusy, witness.reports[1].cause);
    EXPECT_EQ(0, witness.reports[1].attempts);
    EXPECT_EQ(answered + milliseconds(500), witness.reports[1].endedAt);
}

TEST_F(CycleReadModifyWrite, NeverShowsTheDriverAReplyOfAnotherLength)
{
    settings.policies.checkReplies = false;
    queueHalves();
    runUntilSent();
    arrive(withCrc("01 03 01 AB"));
    EXPECT_TRUE(driver.calls.empty());
    verdicts({1, 1});
    driver.trimTo = 7;
    arrive(kReadHalfReply);
    EXPECT_THAT(driver.calls, ElementsAre(kReadHalfReply, kReadHalfReply));
}

// Ten coils at 256 of station 7, and a write of two registers.
const QByteArray kRelayRead = hex("16 01 00 02 07 0000 00000100 000A 0000000000000000 2B");
const QByteArray kRelayWrite = hex("1A 05 01 02 07 0005 00000064 0002 0000000000000000 12345678 A8");

TEST_F(CycleRelay, HandsTheWholeReplyOverInOneCall)
{
    info.linkMode = 1;
    queue(kRelayRead, 7);
    EXPECT_EQ(kRelayRead, runUntilSent());
    const QByteArray reply = withCrc("07 01 02 A503");
    arrive(hex("FF") + reply.left(3));
    EXPECT_TRUE(driver.calls.empty());
    verdicts({1});
    arrive(reply.mid(3));
    EXPECT_THAT(driver.calls, ElementsAre(reply));
    EXPECT_TRUE(witness.reports.at(0).done);
    EXPECT_EQ(7, witness.reports[0].request.station);
    EXPECT_EQ(0, witness.reports[0].request.function);
}

TEST_F(CycleRelay, SpendsTheAttemptWhenNothingUsableCame)
{
    info.linkMode = 1;
    queue(kRelayRead, 7);
    runUntilSent();
    verdicts({0});
    arrive(hex("07 01 02 A503 0000"));
    runUntilSent();
    EXPECT_EQ(QByteArray(), driver.calls.at(0));
    EXPECT_EQ(AttemptEnd::Unusable, witness.ends.at(0));
}

TEST_F(CycleRelay, NoticesAnException)
{
    info.linkMode = 1;
    queue(kRelayWrite, 8);
    runUntilSent();
    verdicts({41});
    arrive(withCrc("07 90 02"));
    EXPECT_EQ(AttemptEnd::Exception, witness.reports.at(0).cause);
    EXPECT_EQ(16, witness.reports[0].refusedFunction);
}

TEST_F(CycleRelay, WaitsTheTurnaroundDelayWhenNoReplyIsDue)
{
    info.linkMode = 1;
    queue(kRelayWrite, 0);
    runUntilSent();
    EXPECT_EQ(CycleState::WaitingTurnaround, cycle().state());
    verdicts({100});
    run(milliseconds(200));
    EXPECT_TRUE(witness.reports.at(0).done);
}

TEST_F(CyclePermit, IsAskedForBeforeEachTransmission)
{
    queue(kRead);
    verdicts({0, 41});
    runUntilSent();
    EXPECT_EQ(2, driver.permitsAsked);
    runUntilSent();
    EXPECT_EQ(3, driver.permitsAsked);
}

TEST_F(CyclePermit, NotGivenKeepsEveryByteFromTheLine)
{
    queue(kRead);
    verdicts({41});
    driver.permitted = Permit::Withhold;
    EXPECT_TRUE(run(seconds(1)).isEmpty());
    ASSERT_EQ(1u, witness.reports.size());
    EXPECT_EQ(AttemptEnd::Withheld, witness.reports[0].cause);
    EXPECT_EQ(0, witness.reports[0].attempts);
    EXPECT_EQ(std::vector<QByteArray>{QByteArray()}, driver.calls);
    EXPECT_TRUE(cycle().statistics().stations.empty());
}

TEST_F(CyclePermit, NotGivenForAnythingStillLetsTheLineHaveItsTurn)
{
    driver.permitted = Permit::Withhold;
    for (int i = 0; i < 17; ++i) {
        queue(kRead);
        verdicts({41});
    }
    EXPECT_EQ(now + milliseconds(2), cycle().advance(now, QByteArray()).wakeAt);
    EXPECT_EQ(16u, witness.reports.size());
}

TEST_F(CyclePermit, IsStillNeededWhenTheLineFallsSilent)
{
    queue(kRead);
    verdicts({41});
    EXPECT_TRUE(cycle().advance(now, QByteArray()).send.isEmpty());
    driver.permitted = Permit::Withhold;
    EXPECT_TRUE(run(seconds(1)).isEmpty());
    ASSERT_EQ(1u, witness.reports.size());
    EXPECT_EQ(AttemptEnd::Withheld, witness.reports[0].cause);
}

TEST_F(CyclePermit, TakenBackEndsTheRepeatsAtOnce)
{
    info.retryLimit = 5;
    queue(kRead);
    verdicts({0, 41});
    runUntilSent();
    const Time first = sentAt;
    driver.permitted = Permit::Withhold;
    runUntil(first + kEightBytes + milliseconds(310));
    ASSERT_EQ(1u, witness.reports.size());
    EXPECT_EQ(AttemptEnd::Withheld, witness.reports[0].cause);
    EXPECT_EQ(1, witness.reports[0].attempts);
    EXPECT_EQ(5, info.retryCount) << "the driver is not to try again";
    // The attempt before may still be answered.
    driver.permitted = Permit::Send;
    queue(withCrc("11 03 00C8 0002"));
    runUntilSent();
    EXPECT_EQ(first + kEightBytes + milliseconds(300 + 200), sentAt);
}

TEST_F(CyclePermit, ForOnceLeavesNoRepeats)
{
    info.retryLimit = 5;
    queue(kRead);
    verdicts({41});
    driver.permitted = Permit::SendOnce;
    runUntilSent();
    EXPECT_EQ(5, info.retryCount);
}

TEST_F(CycleStatistics, CountEachRequestUnderOneEnd)
{
    queue(kRead);
    driver.trimTo = 9;
    verdicts({0, 0, 1, 1});
    runUntilSent(); // silence
    runUntilSent();
    arrive(withCrc("11 83 04")); // exception
    runUntilSent();
    arrive(kReply); // good
    queue(kBroadcast, 0);
    verdicts({1});
    runUntilSent();
    run(milliseconds(200));
    queue(kRead);
    verdicts({41});
    runUntilSent();
    arrive(hex("55")); // unusable
    run(seconds(1));

    const auto &all = total();
    EXPECT_EQ(5u, all.requests);
    EXPECT_EQ(2u, all.retries);
    EXPECT_EQ(1u, all.good);
    EXPECT_EQ(1u, all.timeouts);
    EXPECT_EQ(1u, all.bad);
    EXPECT_EQ(1u, all.exceptions);
    EXPECT_EQ(1u, all.unanswered);
    EXPECT_EQ(all.requests, all.good + all.timeouts + all.bad + all.exceptions + all.unanswered);
    EXPECT_EQ(40u, all.bytesOut);
    EXPECT_EQ(15u, all.bytesIn);
    EXPECT_EQ(1u, all.foreignBytes);
    const auto &stations = cycle().statistics().stations;
    EXPECT_EQ(4u, stations.at(17).requests);
    EXPECT_EQ(1u, stations.at(0).requests);
}

TEST_F(CycleStatistics, CountWhatComesBetweenTwoTransactionsForNoStation)
{
    queue(kRead);
    driver.trimTo = 9;
    verdicts({1, 1, 41});
    runUntilSent();
    run(milliseconds(20));
    arrive(kReply);
    ASSERT_EQ(1u, total().good);
    arrive(hex("55 55"));
    queue(kRead);
    runUntilSent();
    cycle().portLost(now);
    arrive(hex("55"));
    EXPECT_EQ(3u, total().foreignBytes);
    EXPECT_EQ(0u, cycle().statistics().stations.at(17).foreignBytes);
}

TEST_F(CycleStatistics, ClearTheRetryCountForEveryNewTransaction)
{
    info.retryCount = 7;
    queue(kRead);
    runUntilSent();
    EXPECT_EQ(0, info.retryCount);
}

TEST_F(CycleStatistics, DoNotClearTheRetryCountForARepeat)
{
    queue(kRead);
    runUntilSent();
    verdicts({0});
    info.retryCount = 1;
    runUntilSent();
    EXPECT_EQ(1, info.retryCount);
}

class CyclePortLost : public CycleScript
{
protected:
    void lose()
    {
        cycle().portLost(now);
        EXPECT_EQ(CycleState::Idle, cycle().state());
    }

    void find() { cycle().portFound(); }

    /// @return when the request went out.
    Time replugWhileARequestIsOut()
    {
        queue(kRead);
        verdicts({41});
        runUntilSent();
        const Time sent = sentAt;
        run(milliseconds(30));
        lose();
        find();
        return sent;
    }
};

TEST_F(CyclePortLost, EndsTheRequestOnTheLineAtOnceWithoutAnotherAttempt)
{
    info.retryLimit = 2;
    queue(kRead);
    verdicts({41});
    runUntilSent();
    run(milliseconds(10));
    arrive(kReply.left(4));
    lose();
    EXPECT_THAT(driver.calls, ElementsAre(QByteArray()));
    EXPECT_EQ(2, info.retryCount) << "the driver has no repeat left";
    ASSERT_EQ(1u, witness.reports.size());
    EXPECT_EQ(AttemptEnd::PortLost, witness.reports[0].cause);
    EXPECT_EQ(1, witness.reports[0].attempts);
    EXPECT_FALSE(witness.reports[0].done);
    EXPECT_EQ(1u, total().requests);
    EXPECT_EQ(0u, total().timeouts + total().bad) << "the station is not to blame";
}

TEST_F(CyclePortLost, EndsARequestThatWaitsForTheLineWithoutSendingIt)
{
    queue(kRead);
    verdicts({41});
    run(kSilence / 2);
    lose();
    find();
    ASSERT_EQ(1u, witness.reports.size());
    EXPECT_EQ(AttemptEnd::PortLost, witness.reports[0].cause);
    EXPECT_EQ(0, witness.reports[0].attempts);
    EXPECT_TRUE(run(seconds(2)).isEmpty());
}

TEST_F(CyclePortLost, HasNothingToEndBetweenTwoRequests)
{
    run(milliseconds(10));
    lose();
    EXPECT_TRUE(witness.reports.empty());
    EXPECT_TRUE(driver.calls.empty());
}

TEST_F(CyclePortLost, KeepsTheSilenceBeforeTheFirstFrameWhenThePortIsBack)
{
    run(seconds(1));
    lose();
    run(seconds(1));
    find();
    queue(kRead);
    const Time opened = now;
    EXPECT_EQ(kRead, runUntilSent());
    EXPECT_EQ(opened + kSilence, sentAt);
}

TEST_F(CyclePortLost, KeepsWhatHadComeBeforeOutOfTheNextReply)
{
    queue(kRead);
    verdicts({41, 1, 1});
    driver.trimTo = 9;
    runUntilSent();
    run(milliseconds(10));
    arrive(kReply.left(4));
    lose();
    find();
    run(seconds(2));
    queue(kRead);
    runUntilSent();
    run(milliseconds(10));
    arrive(kReply);
    EXPECT_EQ(kReply, driver.calls.back());
    EXPECT_EQ(0u, total().foreignBytes);
}

// The station may answer a port that is back already.
TEST_F(CyclePortLost, WaitsForTheAnswerToWhatWasOnTheLineThoughThePortIsBackSooner)
{
    const Time sentBefore = replugWhileARequestIsOut();
    queue(kRead);
    EXPECT_EQ(kRead, runUntilSent());
    EXPECT_GE(sentAt - sentBefore, kEightBytes + settings.responseTimeout);
}

TEST_F(CyclePortLost, ListensForALateAnswerBeforeAnotherRequest)
{
    const Time sentBefore = replugWhileARequestIsOut();
    queue(kWrite);
    EXPECT_EQ(kWrite, runUntilSent());
    EXPECT_EQ(sentBefore + kEightBytes + settings.responseTimeout + settings.lateReplyGuard, sentAt);
}

TEST_F(CyclePortLost, LeavesTheStationsTheirTimeForABroadcastThoughThePortIsBackSooner)
{
    queue(kBroadcast, 0);
    verdicts({1});
    runUntilSent();
    const Time sentBefore = sentAt;
    run(milliseconds(12));
    lose();
    find();
    queue(kRead);
    runUntilSent();
    EXPECT_EQ(sentBefore + kEightBytes + settings.turnaround, sentAt);
}

TEST_F(CyclePortLost, ForgetsTheEchoesThatAreDue)
{
    settings.removeEcho = true;
    queue(kWrite);
    verdicts({41, 1, 1});
    driver.trimTo = 8;
    runUntilSent();
    lose();
    find();
    queue(kWrite);
    runUntilSent();
    run(milliseconds(10));
    arrive(kWrite);
    EXPECT_EQ(1u, witness.reports.size()) << "that was the echo";
    run(milliseconds(10));
    arrive(kWrite);
    ASSERT_EQ(2u, witness.reports.size()) << "no other echo is waited for";
    EXPECT_EQ(AttemptEnd::Good, witness.reports[1].cause);
}

/// Station 17 answers slowly and needs a rest; station 16 is like all others.
class CycleStationRules : public CycleScript
{
protected:
    CycleStationRules()
    {
        settings.retryLimit = 1;
        own().responseTimeout = seconds(2);
        own().lateReplyGuard = seconds(3);
        own().retryLimit = 4;
    }

    StationRules &own() { return settings.stations[17]; }

    /// Lets a request go out and be answered 20 ms later.
    void answer(const QByteArray &request, const QByteArray &reply)
    {
        queue(request);
        verdicts({1, 1});
        driver.trimTo = reply.size();
        EXPECT_EQ(request, runUntilSent());
        run(milliseconds(20));
        arrive(reply);
        EXPECT_EQ(CycleState::Idle, cycle().state());
    }
};

const QByteArray kReadOther = withCrc("10 03 0064 0002");
const QByteArray kReplyOther = withCrc("10 03 04 1234 ABCD");

TEST_F(CycleStationRules, WaitAsLongAsTheStationTakes)
{
    queue(kRead);
    verdicts({41});
    runUntilSent();
    runUntil(sentAt + kEightBytes + seconds(2) - milliseconds(1));
    EXPECT_TRUE(driver.calls.empty());
    run(milliseconds(1));
    EXPECT_EQ(1u, driver.calls.size());
}

TEST_F(CycleStationRules, WaitNoLongerForOtherStations)
{
    queue(kReadOther);
    verdicts({41});
    runUntilSent();
    runUntil(sentAt + kEightBytes + milliseconds(300));
    EXPECT_EQ(1u, driver.calls.size());
}

TEST_F(CycleStationRules, ListenForALateAnswerAsLongAsTheStationMayTake)
{
    queue(kRead);
    verdicts({41});
    runUntilSent();
    const Time before = sentAt;
    runUntil(before + kEightBytes + seconds(2));
    queue(kReadOther);
    EXPECT_EQ(kReadOther, runUntilSent());
    EXPECT_EQ(before + kEightBytes + seconds(2) + seconds(3), sentAt);
}

TEST_F(CycleStationRules, GiveTheDriverTheRepeatsOfTheStationAndThoseOfTheOthersAgain)
{
    answer(kRead, kReply);
    EXPECT_EQ(4, info.retryLimit);
    answer(kReadOther, kReplyOther);
    EXPECT_EQ(1, info.retryLimit);
    answer(kRead, kReply);
    EXPECT_EQ(4, info.retryLimit);
}

TEST_F(CycleStationRules, LeaveTheLimitOfRepeatsAloneWhereNoStationHasRules)
{
    settings.stations.clear();
    info.retryLimit = 7;
    answer(kRead, kReply);
    EXPECT_EQ(7, info.retryLimit);
}

TEST_F(CycleStationRules, LetAStationRestBeforeItsNextRequest)
{
    own().pause = milliseconds(250);
    answer(kRead, kReply);
    const Time answered = now;
    queue(kRead);
    runUntilSent();
    EXPECT_EQ(answered + milliseconds(250), sentAt);
}

TEST_F(CycleStationRules, LetAStationRestBeforeARepeat)
{
    own().pause = milliseconds(250);
    queue(kRead);
    verdicts({0});
    runUntilSent();
    const Time over = sentAt + kEightBytes + seconds(2);
    runUntilSent();
    EXPECT_EQ(over + milliseconds(250), sentAt);
}

TEST_F(CycleStationRules, HoldNobodyElseUpWhileAStationRests)
{
    own().pause = milliseconds(250);
    answer(kRead, kReply);
    const Time answered = now;
    answer(kReadOther, kReplyOther);
    EXPECT_LT(now - answered, milliseconds(30));
    queue(kRead);
    runUntilSent();
    EXPECT_EQ(answered + milliseconds(250), sentAt) << "the time of the other one counts";
}

TEST_F(CycleStationRules, LetAStationRestBeforeAndAfterABroadcast)
{
    own().pause = milliseconds(250);
    answer(kRead, kReply);
    const Time answered = now;
    queue(kBroadcast, 0);
    verdicts({1});
    EXPECT_EQ(kBroadcast, runUntilSent());
    EXPECT_EQ(answered + milliseconds(250), sentAt);
    const Time over = sentAt + kEightBytes + settings.turnaround;
    queue(kRead);
    EXPECT_EQ(kRead, runUntilSent());
    EXPECT_EQ(over + milliseconds(250), sentAt);
}

// At 9600 baud and 11 bits a character takes 1.145833 ms; the reply has 7 bytes, an exception 5.
class CycleRest : public CycleScript
{
protected:
    /// When the owner may look again, from now on, once these bytes have come.
    Time restAfter(const QByteArray &bytes, const char *request = "11 03 0064 0001")
    {
        queue(withCrc(request));
        now = cycle().advance(now, QByteArray()).wakeAt + lateness;
        EXPECT_FALSE(cycle().advance(now, QByteArray()).send.isEmpty());
        now += milliseconds(20);
        const plc::runtime::Instruction todo = cycle().advance(now, bytes);
        return todo.restUntil - now;
    }

    Time lateness{}; ///< by which the thread is woken to send
};

TEST_F(CycleRest, LastsUntilTheReplyThatHasBegunIsDue)
{
    EXPECT_EQ(settings.timing.wire(4), restAfter(hex("11 03 02")));
}

TEST_F(CycleRest, CountsTheBitsThatTheLineHas)
{
    settings.bitsPerCharacter = 10;
    EXPECT_EQ(settings.timing.wire(4) * 10 / 11, restAfter(hex("11 03 02")));
}

TEST_F(CycleRest, IsShorterByWhatTheThreadIsUsuallyWokenLate)
{
    lateness = microseconds(70);
    EXPECT_EQ(settings.timing.wire(4) - microseconds(2 * 70), restAfter(hex("11 03 02")))
        << "for the first bytes, and for the last";
}

TEST_F(CycleRest, HardlyGetsShorterWhereTheThreadWasKeptOffTheProcessor)
{
    lateness = milliseconds(4);
    EXPECT_EQ(settings.timing.wire(4) - microseconds(200), restAfter(hex("11 03 02")));
}

TEST_F(CycleRest, LastsNoLongerThanAnExceptionWhileItMayBeOne)
{
    EXPECT_EQ(settings.timing.wire(4), restAfter(hex("11")));
}

TEST_F(CycleRest, IsNotRepeatedWhereOnlyAPieceIsMissing)
{
    restAfter(hex("11 03 02"));
    EXPECT_EQ(Time::zero(), cycle().advance(now, hex("12 34")).restUntil);
}

TEST_F(CycleRest, IsRepeatedWhereMuchIsMissing)
{
    EXPECT_EQ(settings.timing.wire(4), restAfter(hex("11"), "11 03 0064 000A"));
    EXPECT_EQ(now + settings.timing.wire(20), cycle().advance(now, hex("03 14 00 00")).restUntil);
}

TEST_F(CycleRest, EndsWithTheReply)
{
    verdicts({1, 1});
    driver.trimTo = 7;
    EXPECT_GT(restAfter(hex("11 03 02")), Time::zero());
    const plc::runtime::Instruction next = cycle().advance(now, withCrc("11 03 02 1234").mid(3));
    EXPECT_EQ(CycleState::Idle, cycle().state());
    EXPECT_EQ(Time::zero(), next.restUntil);
    queue(withCrc("11 03 0064 0001"));
    now = next.wakeAt;
    EXPECT_EQ(Time::zero(), cycle().advance(now, QByteArray()).restUntil) << "in the silence";
}

TEST_F(CycleRest, IsNotGrantedToWhatIsNoReply)
{
    EXPECT_LT(restAfter(hex("12 03 02")), Time::zero());
}

TEST_F(CycleRest, IsNotGrantedToAnException)
{
    EXPECT_LT(restAfter(hex("11 83 02")), Time::zero());
}

TEST_F(CycleScript, CountsHowMuchLaterThanTheirSilenceRequestsGoOut)
{
    queue(withCrc("11 03 0064 0001"));
    const Time due = cycle().advance(now, QByteArray()).wakeAt;
    now = due + microseconds(370);
    EXPECT_FALSE(cycle().advance(now, QByteArray()).send.isEmpty());
    verdicts({200});
    run(seconds(1)); // nobody answers
    EXPECT_EQ(1u, cycle().statistics().lateness.count());
    EXPECT_EQ(microseconds(370), cycle().statistics().lateness.most());
}

TEST_F(CycleScript, CountsARequestThatCameAfterTheSilenceFromWhenItCame)
{
    run(seconds(1)); // the driver has nothing
    queue(withCrc("11 03 0064 0001"));
    EXPECT_FALSE(run(milliseconds(10)).isEmpty());
    verdicts({200});
    run(seconds(1));
    EXPECT_EQ(1u, cycle().statistics().lateness.count());
    EXPECT_EQ(Time::zero(), cycle().statistics().lateness.most());
}

} // namespace
