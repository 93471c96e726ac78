// Judging replies to transactions of another link, alone and inside the engine.
#include "relay/relay_reply.h"

#include "core/register_types.h"
#include "modbus/write_request.h"
#include "relay/relay_request.h"
#include "support/driver_fixture.h"
#include "support/lock_probe.h"

namespace plc::test {

namespace {

class RelayReply : public SetUpDriver
{
protected:
    RelayReply() { info.linkId = 1; }

    /// Ten coils of station 7 for link 2: a reply of 7 bytes is due.
    static Variable tenCoils() { return coil(256).count(10).station(7).linkId(2); }

    void queueRead(RW_VAR var) { Remote_ReadVar(&var); }
    void queueWrite(RW_VAR var) { Remote_WriteVar(&var); }

    int judge(QByteArray reply, int length) { return DealDataOfRemoteArea(&reply, length); }
    int judge(QByteArray reply)
    {
        const int length = reply.size();
        return judge(reply, length);
    }

    const QByteArray goodReply = hex("07 01 02 A5 03 0AAD");
};

// ----------------------------------------------------------------------------------------------- lengths

TEST_F(RelayReply, ThatIsGoodIsAcceptedWithoutStoringAnything)
{
    queueRead(tenCoils());
    EXPECT_EQ(100, judge(goodReply));
    EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
}

TEST_F(RelayReply, ThatIsGoodForARegisterReadIsNotStoredEither)
{
    queueRead(holding(100).count(2).station(7).linkId(2));
    EXPECT_EQ(100, judge(hex("07 03 04 1234 5678 E707")));
    EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
}

TEST_F(RelayReply, ThatIsMissingIsItsOwnError)
{
    queueRead(tenCoils());
    EXPECT_EQ(141, judge(QByteArray(), 0));
}

TEST_F(RelayReply, IsMissingWhenTheLengthSaysSoWhateverTheBufferHolds)
{
    queueRead(tenCoils());
    EXPECT_EQ(141, judge(goodReply, 0));
}

TEST_F(RelayReply, OfAnotherLengthIsItsOwnError)
{
    queueRead(tenCoils());
    for (const int length : {1, 6, 8, 9, -1, 1000}) {
        SCOPED_TRACE(length);
        EXPECT_EQ(171, judge(goodReply, length));
    }
}

TEST_F(RelayReply, GoesByTheLengthArgumentNotByTheBuffer)
{
    queueRead(tenCoils());
    EXPECT_EQ(100, judge(goodReply, 7));
    EXPECT_EQ(111, judge(goodReply + hex("01"), 7)) << "the checksum is looked for at the end of the buffer";
    EXPECT_EQ(171, judge(goodReply, 6));
}

TEST_F(RelayReply, OfAnyLengthIsJudgedWhileNoLengthIsKnown)
{
    queueRead(tenCoils());
    PLC_driver.sendQueue[0].replyLen = -1;
    EXPECT_EQ(100, judge(goodReply, 7));
    EXPECT_EQ(100, judge(goodReply, 99));
    EXPECT_EQ(141, judge(goodReply, 0));
}

TEST_F(RelayReply, ThatNobodyAskedForIsOfWrongLength)
{
    // A local transaction without reply takes it for good.
    queueWrite(holding(100).station(0).linkId(2).data("12 34"));
    EXPECT_EQ(171, judge(goodReply, 7));
    EXPECT_EQ(171, judge(goodReply, 8));
}

TEST_F(RelayReply, OfABroadcastIsGoodWhenNothingCame)
{
    queueWrite(holding(100).station(0).linkId(2).data("12 34"));
    EXPECT_EQ(100, judge(QByteArray(), 0));
}

TEST_F(RelayReply, ThatIsNotDueIsStillCheckedWhenAStationWasAddressed)
{
    // A local transaction in the same situation is good.
    queueWrite(holding(100).station(7).linkId(2).data("12 34"));
    PLC_driver.sendQueue[0].replyLen = 0;
    EXPECT_EQ(111, judge(QByteArray(), 0));
}

// ---------------------------------------------------------------------------------------------- contents

TEST_F(RelayReply, WithABadChecksumIsRejected)
{
    queueRead(tenCoils());
    EXPECT_EQ(111, judge(hex("07 01 02 A5 03 0AAE")));
    EXPECT_EQ(111, judge(hex("07 01 02 A5 03 AD0A")));
    EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
}

TEST_F(RelayReply, OfAnotherStationIsRejected)
{
    queueRead(tenCoils());
    EXPECT_EQ(111, judge(withCrc("08 01 02 A5 03")));
}

TEST_F(RelayReply, IsComparedWithTheLowByteOfTheStation)
{
    queueRead(tenCoils().station(0x107));
    EXPECT_EQ(100, judge(goodReply));
}

TEST_F(RelayReply, IsComparedWithTheStationOfTheVariableNotWithTheOverride)
{
    overrideStation(9);
    queueRead(tenCoils());
    EXPECT_EQ(100, judge(goodReply));
    EXPECT_EQ(111, judge(withCrc("09 01 02 A5 03")));
}

TEST_F(RelayReply, IsNotCheckedForFunctionCodeAndByteCount)
{
    queueRead(tenCoils());
    EXPECT_EQ(100, judge(withCrc("07 99 FF A5 03")));
}

TEST_F(RelayReply, ComesWithItsChecksumHighByteFirstWhenTheOptionSaysSo)
{
    setOptions(kOptionSwapReplyCrc);
    queueRead(tenCoils());
    EXPECT_EQ(100, judge(hex("07 01 02 A5 03 AD0A")));
    EXPECT_EQ(111, judge(goodReply));
}

TEST_F(RelayReply, HasItsChecksumOrderFromOptionEightNotFromSeven)
{
    setOptions(kOptionSwapRequestCrc);
    queueRead(tenCoils());
    EXPECT_EQ(100, judge(goodReply));
}

TEST_F(RelayReply, OfAWriteIsAnEchoWithNothingToStore)
{
    queueWrite(holding(100).count(2).station(7).linkId(2).data("12 34 56 78"));
    PLC_driver.registerCache.clear();
    EXPECT_EQ(100, judge(hex("07 10 0064 0002 0071")));
    EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
}

TEST_F(RelayReply, OfAReadOfStationZeroIsNotLookedAt)
{
    queueRead(tenCoils().station(0));
    EXPECT_EQ(100, judge(hex("FF FF FF FF FF FF FF")));
}

TEST_F(RelayReply, ThatIsAnExceptionIsOfWrongLength)
{
    queueRead(tenCoils());
    EXPECT_EQ(171, judge(withCrc("07 81 02")));
}

TEST_F(RelayReply, ErrorsCarryTheIdentifierOfTheRequest)
{
    struct Row
    {
        int hostId;
        int offset;
    };
    const Row rows[] = {{0, 1}, {1, 2}, {4, 5}, {11, 12}, {12, 1}, {-1, 1}};
    for (const Row &row : rows) {
        SCOPED_TRACE(row.hostId);
        PLC_driver.sendQueue.clear();
        queueRead(tenCoils().ids(row.hostId, 0));
        EXPECT_EQ(110 + row.offset, judge(hex("07 01 02 A5 03 0000")));
        EXPECT_EQ(140 + row.offset, judge(QByteArray(), 0));
        EXPECT_EQ(170 + row.offset, judge(goodReply, 5));
        EXPECT_EQ(100, judge(goodReply));
    }
}

TEST_F(RelayReply, OfANullBufferCountsAsAnEmptyOne)
{
    queueRead(tenCoils());
    EXPECT_EQ(141, DealDataOfRemoteArea(nullptr, 0));
    EXPECT_EQ(111, DealDataOfRemoteArea(nullptr, 7));
}

TEST_F(RelayReply, ThatNobodyAskedForIsAMissingOne)
{
    EXPECT_EQ(141, judge(goodReply));
}

TEST_F(RelayReply, LeavesTheTransactionAndTheCountersAlone)
{
    queueRead(tenCoils());
    info.stepDone = 0;
    judge(goodReply);
    judge(QByteArray(), 0);
    EXPECT_EQ(1, PLC_driver.sendQueue.size());
    EXPECT_EQ(7, PLC_driver.sendQueue.at(0).replyLen);
    EXPECT_EQ(0, info.stepDone);
    EXPECT_EQ(0, info.retryCount);
}

TEST_F(RelayReply, NeedsNoMutex)
{
    queueRead(tenCoils());
    EXPECT_TRUE(returnsDespite(PLC_driver.cacheMutex, [this] { judge(goodReply); }));
    EXPECT_TRUE(returnsDespite(PLC_driver.listMutex, [this] { judge(goodReply); }));
}

// ----------------------------------------------------------------- first half of a read-modify-write

class RelayReadModifyWrite : public RelayReply
{
protected:
    /// The write of one bit of register 2 at station 1, first in the write list and on its way.
    void queueBitWrite(const char *data)
    {
        RW_VAR var = holdingBit(35).linkId(2).data(data);
        AddListWriteVar(&var, 1);
        WriteRegister(&var);
        PLC_driver.registerCache.clear();
    }

    const QByteArray registerIsOne = hex("01 03 02 0001 7984");
};

TEST_F(RelayReadModifyWrite, MergesTheBitIntoTheQueuedWrite)
{
    queueBitWrite("01");
    ASSERT_EQ(2, PLC_driver.sendQueue.size());
    EXPECT_EQ(1, judge(registerIsOne));
    EXPECT_EQ(hex("01 06 0002 0009 E80C"), queuedFrame(1));
}

TEST_F(RelayReadModifyWrite, NeverTouchesTheMirror)
{
    queueBitWrite("01");
    judge(registerIsOne);
    EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
}

TEST_F(RelayReadModifyWrite, IsDoneWithoutDataWhenOneStepWasDoneAlready)
{
    queueBitWrite("01");
    info.stepDone = 1;
    EXPECT_EQ(100, judge(registerIsOne));
    EXPECT_EQ(hex("01 06 0002 0009 E80C"), queuedFrame(1)) << "the bit is merged all the same";
}

TEST_F(RelayReadModifyWrite, IsDoneForAnyOtherNumberOfSteps)
{
    queueBitWrite("01");
    for (const int done : {0, 2, 3, -1}) {
        SCOPED_TRACE(done);
        info.stepDone = done;
        EXPECT_EQ(1, judge(registerIsOne));
    }
}

TEST_F(RelayReadModifyWrite, WithABadReplyLeavesTheWriteAlone)
{
    queueBitWrite("01");
    const QByteArray before = queuedFrame(1);
    EXPECT_EQ(111, judge(hex("01 03 02 0001 7985")));
    EXPECT_EQ(141, judge(QByteArray(), 0));
    EXPECT_EQ(before, queuedFrame(1));
}

TEST_F(RelayReadModifyWrite, IsAcceptedAlsoWhenTheWriteHalfIsMissing)
{
    queueRead(holding(2).linkId(2).relayArgs(-1, 0));
    EXPECT_EQ(1, judge(registerIsOne));
    EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
    EXPECT_EQ(1, PLC_driver.sendQueue.size());
}

TEST_F(RelayReadModifyWrite, GoesByTheFirstRelayValueOnly)
{
    queueRead(holding(2).linkId(2).relayArgs(0, -1));
    EXPECT_EQ(100, judge(registerIsOne));
}

TEST_F(RelayReadModifyWrite, DoesNotTakeTheCacheMutex)
{
    queueBitWrite("01");
    EXPECT_TRUE(returnsDespite(PLC_driver.cacheMutex, [this] { judge(registerIsOne); }));
}

TEST_F(RelayReadModifyWrite, LeavesTheListMutexToItsCaller)
{
    queueBitWrite("01");
    EXPECT_TRUE(returnsDespite(PLC_driver.listMutex, [this] { judge(registerIsOne); }));
}

// ------------------------------------------------------------------------------------- inside the engine

class RelayCycle : public RelayReply
{
protected:
    RelayCycle() { info.linkMode = 1; }
};

TEST_F(RelayCycle, JudgesAReplyAtTheFirstCall)
{
    addRead(tenCoils());
    ASSERT_NE(nullptr, next());
    EXPECT_EQ(kResultDoneWithoutData, receive(goodReply));
    EXPECT_TRUE(PLC_driver.sendQueue.isEmpty());
}

TEST_F(RelayCycle, DoesNotShowValuesOfAnotherLink)
{
    addRead(tenCoils());
    next();
    receive(goodReply);
    EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
}

TEST_F(RelayCycle, ShowsValuesOfItsOwnLink)
{
    addRead(holding(100).count(2).station(7).linkId(1));
    next();
    EXPECT_EQ(kResultDone, receive(hex("07 03 04 1234 5678 E707")));
    EXPECT_EQ(hex("34 12"), mirrored(7, 5, 100));
    EXPECT_EQ(hex("78 56"), mirrored(7, 5, 101));
}

TEST_F(RelayCycle, CountsAWrongLengthAsAnAttempt)
{
    info.retryLimit = 1;
    addRead(tenCoils().ids(4, 0));
    next();
    EXPECT_EQ(kResultPending, receive(goodReply.left(5)));
    EXPECT_EQ(1, info.retryCount);
    EXPECT_EQ(175, receive(goodReply.left(5)));
    EXPECT_TRUE(PLC_driver.sendQueue.isEmpty());
}

TEST_F(RelayCycle, ReportsSilenceWithItsOwnCodeNotWithFortyOne)
{
    info.retryLimit = 0;
    addRead(tenCoils());
    next();
    EXPECT_EQ(141, silence());
}

TEST_F(RelayCycle, OfItsOwnLinkReportsSilenceAsTheLocalMissingReply)
{
    info.retryLimit = 0;
    addRead(tenCoils().linkId(1).ids(4, 0));
    next();
    EXPECT_EQ(45, silence());
}

TEST_F(RelayCycle, TakesASecondReplyAfterABadOne)
{
    addRead(tenCoils());
    next();
    EXPECT_EQ(kResultPending, receive(hex("07 01 02 A5 03 0000")));
    EXPECT_EQ(kResultDoneWithoutData, receive(goodReply));
}

TEST_F(RelayCycle, FinishesABroadcastWithoutAnyReply)
{
    addWrite(holding(100).station(0).linkId(2).ids(8, 9).data("12 34"));
    next();
    EXPECT_EQ(kResultDoneWithoutData, silence());
    EXPECT_EQ((std::vector<Outcome>{{77, 8, 9, 1}}), outcomes);
}

TEST_F(RelayCycle, CarriesAReadModifyWriteOfAnotherLinkThroughBothSteps)
{
    // Modbus frames, but the variable belongs to another link.
    info.linkMode = 0;
    addWrite(holdingBit(35).linkId(2).ids(8, 9).data("01"));
    ASSERT_NE(nullptr, next());
    EXPECT_EQ(kResultDone, complete(hex("01 03 02 0001 7984")));
    EXPECT_TRUE(outcomes.empty());
    Protocol *second = next();
    ASSERT_NE(nullptr, second);
    EXPECT_EQ(hex("01 06 0002 0009 E80C"), second->frame);
    EXPECT_EQ(kResultDoneWithoutData, complete(hex("01 06 0002 0009 E80C")));
    EXPECT_EQ((std::vector<Outcome>{{77, 8, 9, 1}}), outcomes);
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
}

} // namespace

} // namespace plc::test
