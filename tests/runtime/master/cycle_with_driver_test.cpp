// The cycle drives the real driver, linked in; the line and the clock are the test's.

#include <gtest/gtest.h>

#include "runtime/master/cycle.h"
#include "support/driver_fixture.h"

namespace {

using namespace plc::test;
using plc::runtime::AttemptEnd;
using plc::runtime::Cycle;
using plc::runtime::CycleSettings;
using plc::runtime::Instruction;
using plc::runtime::Time;
using plc::runtime::TransactionReport;
using std::chrono::milliseconds;

class RealDriver : public plc::runtime::CycleDriver
{
public:
    Protocol *next() override { return ComCommunication(0); }
    int judge(QByteArray *reply, int length) override { return DataCom(reply, length)->status; }
};

class TransactionKeeper : public plc::runtime::CycleObserver
{
public:
    void sent(Time, const QByteArray &, int) override {}
    void received(Time, const QByteArray &) override {}
    void discarded(Time, int, const char *) override {}
    void attemptEnded(Time, AttemptEnd, const plc::runtime::Miss &) override {}
    void transactionEnded(const TransactionReport &report) override { reports.push_back(report); }
    std::vector<TransactionReport> reports;
};

class CycleWithDriver : public SetUpDriver
{
protected:
    CycleWithDriver()
    {
        settings.responseTimeout = milliseconds(300);
        settings.lateReplyGuard = milliseconds(100);
    }

    Cycle &cycle()
    {
        if (!cycle_)
            cycle_ = std::make_unique<Cycle>(driver, info, settings, &keeper);
        return *cycle_;
    }

    /// Lets time pass until something is sent, at most for ten seconds; empty when nothing is.
    QByteArray nextRequest()
    {
        for (const Time limit = now + std::chrono::seconds(10); now < limit;) {
            const Instruction todo = cycle().advance(now, QByteArray());
            if (!todo.send.isEmpty())
                return todo.send;
            now = todo.wakeAt;
        }
        return QByteArray();
    }

    void arrive(const QByteArray &bytes)
    {
        now += milliseconds(5);
        cycle().advance(now, bytes);
    }

    RealDriver driver;
    TransactionKeeper keeper;
    CycleSettings settings;
    Time now = std::chrono::seconds(1);

private:
    std::unique_ptr<Cycle> cycle_;
};

TEST_F(CycleWithDriver, StoresACyclicRead)
{
    addRead(holding(100).count(2).station(17));
    EXPECT_EQ(hex("11 03 0064 0002 8744"), nextRequest());
    arrive(hex("11 03 04 1234 ABCD 11E1"));
    ASSERT_EQ(1u, keeper.reports.size());
    EXPECT_EQ(1, keeper.reports[0].status);
    EXPECT_EQ(hex("34 12"), mirrored(17, 5, 100));
    EXPECT_EQ(hex("CD AB"), mirrored(17, 5, 101));
}

TEST_F(CycleWithDriver, ReadsOnForEver)
{
    addRead(holding(100).count(2).station(17));
    addRead(inputRegister(7).station(17));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(hex("11 03 0064 0002 8744"), nextRequest());
        arrive(hex("11 03 04 1234 ABCD 11E1"));
        EXPECT_EQ(hex("11 04 0007 0001 829B"), nextRequest());
        arrive(hex("11 04 02 002A F92C"));
    }
    EXPECT_EQ(6u, cycle().statistics().total.good);
}

TEST_F(CycleWithDriver, ReportsAWriteOnceAfterTheSecondHalfOfABitWrite)
{
    addWrite(holdingBit(35).station(1).data("01").ids(5, 6));
    EXPECT_EQ(withCrc("01 03 0002 0001"), nextRequest());
    arrive(withCrc("01 03 02 0001"));
    EXPECT_TRUE(outcomes.empty());
    EXPECT_EQ(withCrc("01 06 0002 0009"), nextRequest());
    arrive(withCrc("01 06 0002 0009"));
    EXPECT_EQ((std::vector<Outcome>{{77, 5, 6, 1}}), outcomes);
    EXPECT_EQ(2u, keeper.reports.size());
}

TEST_F(CycleWithDriver, WritesNoBitOfARegisterThatWasNotReadWholeEvenWhereRepliesAreNotChecked)
{
    settings.policies.checkReplies = false;
    addWrite(holdingBit(35).station(1).data("01").ids(5, 6));
    for (int attempt = 0; attempt < 3; ++attempt) {
        EXPECT_EQ(withCrc("01 03 0002 0001"), nextRequest());
        arrive(withCrc("01 03 01 AB"));
    }
    EXPECT_TRUE(nextRequest().isEmpty());
    EXPECT_EQ((std::vector<Outcome>{{77, 5, 6, 2}}), outcomes);
}

TEST_F(CycleWithDriver, WritesABitBackRightBehindTheReadingThatWasRepeated)
{
    addWrite(holdingBit(35).station(1).data("01").ids(5, 6));
    EXPECT_EQ(withCrc("01 03 0002 0001"), nextRequest());
    EXPECT_EQ(withCrc("01 03 0002 0001"), nextRequest());
    arrive(withCrc("01 03 02 0001"));
    const Time answered = now;
    EXPECT_EQ(withCrc("01 06 0002 0009"), nextRequest());
    EXPECT_EQ(answered + settings.timing.silence(), now);
}

TEST_F(CycleWithDriver, ReportsABitWriteAsFailedRatherThanWriteAnOldValueAgain)
{
    settings.responseTimeout = std::chrono::seconds(1);
    addWrite(holdingBit(35).station(1).data("01").ids(5, 6));
    nextRequest();
    arrive(withCrc("01 03 02 0001"));
    EXPECT_EQ(withCrc("01 06 0002 0009"), nextRequest());
    EXPECT_TRUE(nextRequest().isEmpty());
    EXPECT_EQ((std::vector<Outcome>{{77, 5, 6, 2}}), outcomes);
}

TEST_F(CycleWithDriver, GivesUpAfterTheRetryLimitAndReportsFailure)
{
    addWrite(holding(16).station(1).data("34 12").ids(5, 6));
    for (int attempt = 0; attempt < 3; ++attempt)
        EXPECT_EQ(withCrc("01 06 0010 1234"), nextRequest());
    EXPECT_TRUE(nextRequest().isEmpty());
    EXPECT_EQ((std::vector<Outcome>{{77, 5, 6, 2}}), outcomes);
    ASSERT_EQ(1u, keeper.reports.size());
    EXPECT_EQ(41, keeper.reports[0].status);
    EXPECT_EQ(AttemptEnd::NoReply, keeper.reports[0].cause);
}

TEST_F(CycleWithDriver, GrantsEachRequestAllItsRetries)
{
    // The driver itself counts failures on from one transaction to the next.
    addRead(holding(100).count(2).station(17));
    addRead(inputRegister(7).station(17));
    for (int i = 0; i < 4; ++i) {
        nextRequest();
        EXPECT_FALSE(nextRequest().isEmpty());
        nextRequest();
        arrive(i % 2 == 0 ? hex("11 03 04 1234 ABCD 11E1") : hex("11 04 02 002A F92C"));
    }
    EXPECT_EQ(4u, keeper.reports.size());
    for (const TransactionReport &report : keeper.reports)
        EXPECT_TRUE(report.done);
    EXPECT_EQ(8u, cycle().statistics().total.timeouts);
}

TEST_F(CycleWithDriver, FinishesABroadcastAfterTheTurnaround)
{
    addWrite(holding(100).station(0).data("01 00").ids(5, 6));
    EXPECT_EQ(hex("00 06 0064 0001 0804"), nextRequest());
    EXPECT_TRUE(nextRequest().isEmpty());
    EXPECT_EQ((std::vector<Outcome>{{77, 5, 6, 1}}), outcomes);
}

TEST_F(CycleWithDriver, FinishesAWriteThatTheOptionSilences)
{
    setOptions(plc::kOptionNoReplyToSingle);
    addWrite(Variable(8, 100).station(17).data("34 12").ids(5, 6));
    EXPECT_EQ(hex("11 06 0064 1234 C7F2"), nextRequest());
    arrive(hex("11 06 0064 1234 C7F2"));
    EXPECT_EQ((std::vector<Outcome>{{77, 5, 6, 1}}), outcomes);
}

TEST_F(CycleWithDriver, RepeatsAReplyThatIsJudgedBadByItsStation)
{
    // With the station override the reply is found under one number and judged under another.
    overrideStation(9);
    addRead(holding(100).count(2).station(17));
    for (int attempt = 0; attempt < 3; ++attempt) {
        EXPECT_EQ(withCrc("09 03 0064 0002"), nextRequest());
        arrive(withCrc("09 03 04 1234 ABCD"));
    }
    ASSERT_EQ(1u, keeper.reports.size());
    EXPECT_EQ(11, keeper.reports[0].status);
    EXPECT_EQ(3, keeper.reports[0].attempts);
    EXPECT_EQ(AttemptEnd::Unusable, keeper.reports[0].cause);
    EXPECT_EQ(QByteArray(), mirrored(17, 5, 100));
}

TEST_F(CycleWithDriver, TreatsAnAnswerExpectedFromStationZeroAsATimeOut)
{
    overrideStation(0x100);
    addRead(holding(100).count(2).station(17));
    for (int attempt = 0; attempt < 3; ++attempt)
        EXPECT_EQ(withCrc("00 03 0064 0002"), nextRequest());
    nextRequest();
    ASSERT_FALSE(keeper.reports.empty());
    EXPECT_EQ(41, keeper.reports[0].status);
}

TEST_F(CycleWithDriver, StoresARelayReplyOfItsOwnLink)
{
    info.linkMode = 1;
    addRead(coil(256).count(10).station(7));
    EXPECT_EQ(22, nextRequest().size());
    arrive(withCrc("07 01 02 A503"));
    ASSERT_EQ(1u, keeper.reports.size());
    EXPECT_EQ(1, keeper.reports[0].status);
    EXPECT_EQ(hex("01"), mirrored(7, 0, 256));
    EXPECT_EQ(hex("00"), mirrored(7, 0, 257));
    EXPECT_EQ(hex("01"), mirrored(7, 0, 265));
}

TEST_F(CycleWithDriver, StoresNothingOfAReplyWithTheWrongByteCount)
{
    addRead(holding(100).count(2).station(17));
    for (int attempt = 0; attempt < 3; ++attempt) {
        nextRequest();
        arrive(withCrc("11 03 06 1234 ABCD 5678"));
    }
    nextRequest();
    EXPECT_EQ(QByteArray(), mirrored(17, 5, 100));
    ASSERT_FALSE(keeper.reports.empty());
    EXPECT_EQ(AttemptEnd::Unusable, keeper.reports[0].cause);
    EXPECT_EQ(3u, cycle().statistics().total.ignoredReplies);
}

TEST_F(CycleWithDriver, ReadsSwappedCrcsInBothDirections)
{
    setOptions(plc::kOptionSwapRequestCrc | plc::kOptionSwapReplyCrc);
    addRead(holding(100).count(2).station(17));
    EXPECT_EQ(withSwappedCrc("11 03 0064 0002"), nextRequest());
    arrive(withSwappedCrc("11 03 04 1234 ABCD"));
    EXPECT_EQ(hex("34 12"), mirrored(17, 5, 100));
}

TEST_F(CycleWithDriver, SendsARequestOnceThatTheStationRefusesForWhatItIs)
{
    addWrite(holding(16).station(1).data("34 12").ids(5, 6));
    EXPECT_EQ(withCrc("01 06 0010 1234"), nextRequest());
    arrive(withCrc("01 86 02"));
    EXPECT_TRUE(nextRequest().isEmpty());
    EXPECT_EQ((std::vector<Outcome>{{77, 5, 6, 2}}), outcomes);
    EXPECT_EQ(1u, cycle().statistics().total.requests);
}

TEST_F(CycleWithDriver, RepeatsARequestThatTheStationIsTooBusyFor)
{
    addWrite(holding(16).station(1).data("34 12").ids(5, 6));
    for (int attempt = 0; attempt < 3; ++attempt) {
        EXPECT_EQ(withCrc("01 06 0010 1234"), nextRequest());
        arrive(withCrc("01 86 06"));
    }
    EXPECT_TRUE(nextRequest().isEmpty());
    EXPECT_EQ((std::vector<Outcome>{{77, 5, 6, 2}}), outcomes);
}

TEST_F(CycleWithDriver, SendsAWriteOnceThatTheStationHasBegun)
{
    addWrite(holding(16).station(1).data("34 12").ids(5, 6));
    EXPECT_EQ(withCrc("01 06 0010 1234"), nextRequest());
    arrive(withCrc("01 86 05"));
    EXPECT_TRUE(nextRequest().isEmpty());
    EXPECT_EQ((std::vector<Outcome>{{77, 5, 6, 2}}), outcomes);
}

TEST_F(CycleWithDriver, GivesTheRequestAfterARefusedOneAllItsRetries)
{
    addWrite(holding(16).station(1).data("34 12").ids(5, 6));
    addWrite(holding(17).station(1).data("34 12").ids(5, 7));
    EXPECT_EQ(withCrc("01 06 0010 1234"), nextRequest());
    arrive(withCrc("01 86 02"));
    for (int attempt = 0; attempt < 3; ++attempt)
        EXPECT_EQ(withCrc("01 06 0011 1234"), nextRequest());
    EXPECT_TRUE(nextRequest().isEmpty());
}

} // namespace
