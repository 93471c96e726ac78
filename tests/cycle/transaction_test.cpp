#include "core/context.h"

#include <climits>
#include <cstring>

#include "cycle/cycle_driver.h"
#include "support/driver_fixture.h"
#include "support/lock_probe.h"

namespace plc::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Frames of the variables used below; station 1 unless the name says otherwise.
const char kZeroRead[] = "01 03 02 00 00 B8 44";     ///< good reply to a read of one register
const char k42Read[] = "01 03 02 00 2A 39 9B";       ///< the same with value 42
const char kWriteEcho[] = "01 06 00 10 12 34 85 78"; ///< good reply to the write of 0x1234 to register 16

class Engine : public CycleDriver
{
protected:
    /// A write of 0x1234 to register 16.
    static Variable write(int hostId, int hostSubId)
    {
        return holding(16).ids(hostId, hostSubId).data("34 12");
    }

    /// Serves a read of one holding register.
    const Protocol *serveRead()
    {
        addRead(holding(0));
        return next();
    }

    const Protocol *serveWrite()
    {
        addWrite(write(3, 4));
        return next();
    }

    static const RW_VAR &result() { return PLC_driver.retVar; }
    static const Protocol &head() { return PLC_driver.sendQueue.first(); }
};

// ---- nothing queued ----

using EmptyQueue = Engine;

TEST_F(EmptyQueue, GivesStatusOne)
{
    EXPECT_EQ(kResultDone, silence());
    EXPECT_EQ(kResultDone, receive(hex(kZeroRead)));
}

TEST_F(EmptyQueue, GivesStatusOneAlsoAfterAFailure)
{
    info.retryLimit = 0;
    serveRead();
    ASSERT_EQ(kResultNoReply, silence());
    EXPECT_EQ(kResultDone, silence());
}

TEST_F(EmptyQueue, ChangesNothingElseInTheResultRecord)
{
    const RW_VAR var = distinctVariable();
    passRetValue(&var);
    silence();
    expectSameRequest(var, result());
}

TEST_F(EmptyQueue, ChangesNoCounterAndNoList)
{
    addRead(holding(0));
    addWrite(write(3, 4));
    const COM_INFO before = info;
    PLC_driver.servingList = 1;
    receive(hex(kWriteEcho));
    silence();
    EXPECT_EQ(0, std::memcmp(&before, &info, sizeof info));
    EXPECT_EQ(1, PLC_driver.readList.size());
    EXPECT_EQ(1, PLC_driver.writeList.size());
    EXPECT_EQ(0, PLC_driver.readsServed);
    EXPECT_THAT(outcomes, IsEmpty());
    EXPECT_THAT(failures, IsEmpty());
}

TEST_F(EmptyQueue, LeavesTheBufferAlone)
{
    receive(hex("FF 01 03 02 00 00 B8 44"));
    EXPECT_EQ(hex("FF 01 03 02 00 00 B8 44"), buffer);
}

TEST_F(Engine, AlwaysReturnsTheSameRecord)
{
    QByteArray bytes;
    EXPECT_EQ(&PLC_driver.retVar, DataCom(&bytes, 0));
    serveRead();
    EXPECT_EQ(&PLC_driver.retVar, DataCom(&bytes, 0));
    bytes = hex(kZeroRead);
    EXPECT_EQ(&PLC_driver.retVar, DataCom(&bytes, 7));
    EXPECT_EQ(&PLC_driver.retVar, DataCom(&bytes, 7));
}

// ---- finding the reply ----

using Reception = Engine;

TEST_F(Reception, FoundReplyGivesStatusOneButFinishesNothingYet)
{
    serveWrite();
    EXPECT_EQ(kResultDone, receive(hex(kWriteEcho)));
    EXPECT_EQ(1, PLC_driver.sendQueue.size());
    EXPECT_EQ(1, PLC_driver.writeList.size());
    EXPECT_EQ(0, info.stepDone);
    EXPECT_THAT(outcomes, IsEmpty());
}

TEST_F(Reception, FoundReplyIsHandledByTheNextCall)
{
    serveWrite();
    receive(hex(kWriteEcho));
    EXPECT_EQ(kResultDone, receive(buffer));
    EXPECT_EQ(0, PLC_driver.sendQueue.size());
    EXPECT_EQ(0, PLC_driver.writeList.size());
    EXPECT_EQ(1, info.stepDone);
    EXPECT_THAT(outcomes, ElementsAre(Outcome{77, 3, 4, 1}));
}

TEST_F(Reception, FoundReplyIsStoredByTheNextCall)
{
    serveRead();
    receive(hex(k42Read));
    EXPECT_TRUE(mirrored(1, 5, 0).isEmpty());
    receive(buffer);
    EXPECT_EQ(hex("2A 00"), mirrored(1, 5, 0));
}

TEST_F(Reception, LengthOfAFoundReplyIsKeptInTheTransaction)
{
    serveRead();
    receive(hex(k42Read));
    EXPECT_EQ(7, head().replyLen);
}

TEST_F(Reception, LengthKeptIsThatOfTheReplyWithoutTheNoise)
{
    serveRead();
    EXPECT_EQ(kResultDone, receive(hex("00 FF 01 03 02 00 2A 39 9B EE EE EE")));
    EXPECT_EQ(7, head().replyLen);
    EXPECT_EQ(hex(k42Read), buffer);
}

TEST_F(Reception, ArgumentDoesNotMatterWhileTheReplyIsLookedFor)
{
    for (const int argument : {0, 1, 7, 99, -1}) {
        SCOPED_TRACE(argument);
        PLC_driver.sendQueue.clear();
        PLC_driver.readList.clear();
        serveRead();
        buffer = hex(k42Read);
        EXPECT_EQ(1, DataCom(&buffer, argument)->status);
        EXPECT_EQ(7, head().replyLen);
    }
}

TEST_F(Reception, IncompleteReplyGivesStatusZero)
{
    serveRead();
    EXPECT_EQ(kResultPending, receive(hex("01 03 02 00 2A 39")));
    EXPECT_EQ(-1, head().replyLen);
    EXPECT_EQ(hex("01 03 02 00 2A 39"), buffer);
}

TEST_F(Reception, IncompleteReplyCountsAsNoFailureHoweverOften)
{
    info.retryLimit = 0;
    serveRead();
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(kResultPending, receive(hex("01 03 02")));
    EXPECT_EQ(0, info.retryCount);
    EXPECT_THAT(failures, IsEmpty());
}

TEST_F(Reception, ReplyArrivesByteByByte)
{
    serveRead();
    const QByteArray reply = hex(k42Read);
    for (int length = 1; length < reply.size(); ++length)
        EXPECT_EQ(kResultPending, receive(reply.left(length)));
    EXPECT_EQ(kResultDone, complete(reply));
    EXPECT_EQ(hex("2A 00"), mirrored(1, 5, 0));
}

TEST_F(Reception, ExceptionReplyIsNeverFound)
{
    serveRead();
    EXPECT_EQ(kResultPending, receive(hex("01 83 02 C0 F1")));
    EXPECT_EQ(0, info.retryCount);
}

TEST_F(Reception, ForceCheckLooksIntoAnEmptyBufferInsteadOfCountingASilence)
{
    info.retryLimit = 0;
    serveRead();
    PLC_driver.forceCheck = 1;
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(kResultPending, silence());
    EXPECT_EQ(0, info.retryCount);
    PLC_driver.forceCheck = 0;
    EXPECT_EQ(kResultNoReply, silence());
}

TEST_F(Reception, ForceCheckOfAnyOtherValueThanZeroCounts)
{
    serveRead();
    PLC_driver.forceCheck = -1;
    EXPECT_EQ(kResultPending, silence());
    EXPECT_EQ(0, info.retryCount);
}

TEST_F(Reception, FoundReplyIsNotLookedForAgain)
{
    serveRead();
    receive(hex(k42Read));
    EXPECT_EQ(kResultPending, receive(hex("FF 01 03 02 00 2A 39 9B")));
    EXPECT_EQ(hex("FF 01 03 02 00 2A 39 9B"), buffer);
    EXPECT_EQ(1, info.retryCount);
}

// ---- silence ----

using Silence = Engine;

TEST_F(Silence, IsToleratedUpToTheRetryLimitAndThenFailsWith41)
{
    info.retryLimit = 2;
    serveRead();
    EXPECT_EQ(kResultPending, silence());
    EXPECT_EQ(kResultPending, silence());
    EXPECT_EQ(kResultNoReply, silence());
}

TEST_F(Silence, FailsAtOnceWithoutRetries)
{
    info.retryLimit = 0;
    serveRead();
    EXPECT_EQ(kResultNoReply, silence());
}

TEST_F(Silence, FailsAtOnceWithANegativeLimit)
{
    for (const int limit : {-1, INT_MIN}) {
        SCOPED_TRACE(limit);
        info.retryLimit = limit;
        PLC_driver.readList.clear();
        serveRead();
        EXPECT_EQ(kResultNoReply, silence());
    }
}

TEST_F(Silence, IsCountedInTheSettings)
{
    serveRead();
    silence();
    EXPECT_EQ(1, info.retryCount);
    silence();
    EXPECT_EQ(2, info.retryCount);
}

TEST_F(Silence, LeavesTheTransactionForTheNextAttempt)
{
    const Protocol *served = serveRead();
    silence();
    EXPECT_EQ(served, next());
    EXPECT_EQ(-1, served->replyLen);
    EXPECT_EQ(kResultDone, complete(hex(k42Read)));
}

TEST_F(Silence, IsAnEmptyBufferWhateverTheArgument)
{
    serveRead();
    QByteArray nothing;
    EXPECT_EQ(0, DataCom(&nothing, 7)->status);
    EXPECT_EQ(1, info.retryCount);
}

TEST_F(Silence, IsANullBufferToo)
{
    serveRead();
    EXPECT_EQ(0, DataCom(nullptr, 0)->status);
    EXPECT_EQ(0, DataCom(nullptr, 7)->status);
    EXPECT_EQ(2, info.retryCount);
}

TEST_F(Silence, FailsWith41WhateverTheHostId)
{
    info.retryLimit = 0;
    addWrite(write(4, 0));
    next();
    EXPECT_EQ(kResultNoReply, silence());
}

TEST_F(Silence, CountsTogetherWithBadReplies)
{
    info.retryLimit = 2;
    serveRead();
    EXPECT_EQ(kResultPending, silence());
    receive(hex(k42Read));
    EXPECT_EQ(kResultPending, receive(hex("01 03 02 00 2A 39 9C")));
    EXPECT_EQ(11, receive(hex("01 03 02 00 2A 39 9C")));
}

TEST_F(Silence, AtTheEndOfTheNumbersIsStillTolerated)
{
    info.retryLimit = INT_MAX;
    info.retryCount = INT_MAX;
    serveRead();
    EXPECT_EQ(kResultPending, silence());
}

// ---- the retry count outlives a transaction ----

using RetryCount = Engine;

TEST_F(RetryCount, IsNotResetByASuccess)
{
    info.retryLimit = 2;
    serveRead();
    silence();
    silence();
    EXPECT_EQ(kResultDone, complete(hex(kZeroRead)));
    EXPECT_EQ(2, info.retryCount);
}

TEST_F(RetryCount, OfEarlierTransactionsCountsAgainstALaterOne)
{
    info.retryLimit = 2;
    serveRead();
    silence();
    silence();
    complete(hex(kZeroRead));
    next();
    EXPECT_EQ(kResultNoReply, silence());
}

TEST_F(RetryCount, IsResetByAFinalFailure)
{
    serveRead();
    EXPECT_EQ(kResultNoReply, failBySilence());
    EXPECT_EQ(0, info.retryCount);
    next();
    EXPECT_EQ(kResultPending, silence());
}

TEST_F(RetryCount, IsNotTouchedByAnIncompleteReply)
{
    serveRead();
    silence();
    receive(hex("01 03"));
    EXPECT_EQ(1, info.retryCount);
}

TEST_F(RetryCount, MayBeResetByTheRuntime)
{
    info.retryLimit = 1;
    serveRead();
    EXPECT_EQ(kResultPending, silence());
    info.retryCount = 0;
    EXPECT_EQ(kResultPending, silence());
    EXPECT_EQ(kResultNoReply, silence());
}

// ---- requests that expect no reply ----

struct NoReplyRow
{
    quint32 options;
    int regType;
    bool completesAtOnce;
};

void PrintTo(const NoReplyRow &row, std::ostream *out)
{
    *out << "type " << row.regType << " with options " << row.options;
}

class NoReplyOption : public Engine, public ::testing::WithParamInterface<NoReplyRow>
{};

TEST_P(NoReplyOption, DecidesForItsOwnTypeAlone)
{
    setOptions(GetParam().options);
    addWrite(Variable(GetParam().regType, 16).ids(3, 4).data("34 12"));
    next();
    EXPECT_EQ(GetParam().completesAtOnce ? 1 : 0, silence());
    EXPECT_EQ(GetParam().completesAtOnce ? 0 : 1, PLC_driver.sendQueue.size());
    EXPECT_EQ(GetParam().completesAtOnce ? 0 : 1, info.retryCount);
    EXPECT_EQ(GetParam().completesAtOnce ? 1u : 0u, outcomes.size());
}

INSTANTIATE_TEST_SUITE_P(Types, NoReplyOption,
                         ::testing::Values(NoReplyRow{0x200, 8, true}, NoReplyRow{0x400, 9, true},
                                           NoReplyRow{0x600, 8, true}, NoReplyRow{0x600, 9, true},
                                           NoReplyRow{0x000, 8, false}, NoReplyRow{0x000, 9, false},
                                           NoReplyRow{0x200, 9, false}, NoReplyRow{0x400, 8, false},
                                           NoReplyRow{0x600, 5, false}, NoReplyRow{0x600, 7, false},
                                           NoReplyRow{0x600, 0, false}));

using NoReply = Engine;

TEST_F(NoReply, BytesThatArriveAllTheSameAreNotJudged)
{
    setOptions(kOptionNoReplyToSingle);
    addWrite(Variable(8, 16).ids(3, 4).data("34 12"));
    next();
    EXPECT_EQ(kResultDone, receive(hex("DE AD BE EF")));
    EXPECT_THAT(outcomes, ElementsAre(Outcome{77, 3, 4, 1}));
}

TEST_F(NoReply, ExpectedReplyLengthBecomesZeroEvenWhenTheTransactionStays)
{
    setOptions(kOptionNoReplyToSingle);
    info.retryLimit = 5;
    addWrite(Variable(8, 16).linkId(9).data("34 12"));
    next();
    EXPECT_EQ(kResultPending, receive(hex("DE AD")));
    EXPECT_EQ(0, head().replyLen);
}

TEST_F(NoReply, RequestOfAnotherLinkIsJudgedAllTheSame)
{
    setOptions(kOptionNoReplyToSingle);
    info.retryLimit = 0;
    addWrite(Variable(8, 16).linkId(9).data("34 12"));
    next();
    EXPECT_EQ(111, silence());
}

TEST_F(NoReply, OptionDoesNotReachRelayFrames)
{
    setOptions(kOptionNoReplyToSingle | kOptionNoReplyToBlock);
    info.linkMode = 1;
    info.retryLimit = 0;
    addWrite(Variable(8, 16).data("34 12"));
    next();
    EXPECT_EQ(kResultNoReply, silence());
}

TEST_F(NoReply, WriteToStationZeroCompletesWithoutAByte)
{
    addWrite(write(3, 4).station(0));
    next();
    EXPECT_EQ(0, head().replyLen);
    EXPECT_EQ(kResultDone, silence());
    EXPECT_THAT(outcomes, ElementsAre(Outcome{77, 3, 4, 1}));
    EXPECT_EQ(0, info.retryCount);
}

TEST_F(NoReply, WriteToStationZeroOnAnotherLinkEndsWithoutData)
{
    addWrite(write(3, 4).station(0).linkId(9));
    next();
    EXPECT_EQ(kResultDoneWithoutData, silence());
    EXPECT_THAT(outcomes, ElementsAre(Outcome{77, 3, 4, 1}));
}

// ---- judging: local and relayed ----

using Judging = Engine;

TEST_F(Judging, OwnLinkIsLocalAndStored)
{
    info.linkId = 9;
    addRead(holding(0).linkId(9));
    next();
    EXPECT_EQ(kResultDone, complete(hex(k42Read)));
    EXPECT_EQ(hex("2A 00"), mirrored(1, 5, 0));
}

TEST_F(Judging, AnyOtherLinkIsRelayedAndNotStored)
{
    info.linkId = 9;
    for (const int linkId : {0, 8, 10, -9}) {
        SCOPED_TRACE(linkId);
        PLC_driver.readList.clear();
        addRead(holding(0).linkId(linkId));
        next();
        EXPECT_EQ(kResultDoneWithoutData, complete(hex(k42Read)));
        EXPECT_TRUE(mirrored(1, 5, 0).isEmpty());
    }
}

TEST_F(Judging, LinkIsComparedWithTheSettingsAsTheyAreNow)
{
    addRead(holding(0));
    next();
    receive(hex(k42Read));
    info.linkId = 9;
    EXPECT_EQ(kResultDoneWithoutData, receive(buffer));
}

TEST_F(Judging, LinkIsThatOfTheQueuedTransactionNotOfTheListEntry)
{
    addRead(holding(0));
    next();
    PLC_driver.readList[0].linkId = 9;
    EXPECT_EQ(kResultDone, complete(hex(k42Read)));
}

TEST_F(Judging, RelayModeOfOwnLinkIsLocalAndStoredInOneCall)
{
    info.linkMode = 1;
    addRead(holding(0));
    next();
    EXPECT_EQ(7, head().replyLen);
    EXPECT_EQ(kResultDone, receive(hex(k42Read)));
    EXPECT_EQ(0, PLC_driver.sendQueue.size());
    EXPECT_EQ(hex("2A 00"), mirrored(1, 5, 0));
}

TEST_F(Judging, RelayRepliesAreNotSearchedForInNoise)
{
    info.linkMode = 1;
    info.retryLimit = 0;
    addRead(holding(0));
    next();
    EXPECT_EQ(71, receive(hex("FF 01 03 02 00 2A 39 9B")));
}

struct FailureRow
{
    const char *name;
    bool local;
    const char *reply;
    int length;
    int code; ///< for hostId 4
};

void PrintTo(const FailureRow &row, std::ostream *out)
{
    *out << row.name;
}

/// Relay form, where the expected length is known from the start; hostId 4, a reply of 7 bytes is due.
class FailureCode : public Engine, public ::testing::WithParamInterface<FailureRow>
{
protected:
    FailureCode()
    {
        info.linkMode = 1;
        info.retryLimit = 0;
        addRead(holding(0).ids(4, 5).linkId(GetParam().local ? 0 : 9));
        next();
    }

    int judge()
    {
        buffer = hex(GetParam().reply);
        return DataCom(&buffer, GetParam().length)->status;
    }
};

TEST_P(FailureCode, TellsKindAndHostId)
{
    EXPECT_EQ(GetParam().code, judge());
}

TEST_P(FailureCode, IsGivenOnlyWhenTheRetriesAreUsedUp)
{
    info.retryLimit = 2;
    EXPECT_EQ(0, judge());
    EXPECT_EQ(1, info.retryCount);
    EXPECT_EQ(0, judge());
    EXPECT_EQ(2, info.retryCount);
    EXPECT_EQ(GetParam().code, judge());
    EXPECT_EQ(0, info.retryCount);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, FailureCode,
    ::testing::Values(FailureRow{"local bad CRC", true, "01 03 02 00 2A 39 9C", 7, 15},
                      FailureRow{"local wrong station", true, "02 03 02 00 2A 7D 9B", 7, 15},
                      FailureRow{"local nothing", true, "", 0, 45},
                      FailureRow{"local good bytes but length 0", true, k42Read, 0, 45},
                      FailureRow{"local too short", true, "01 03 02 00 2A", 5, 75},
                      FailureRow{"local good bytes but another length", true, k42Read, 8, 75},
                      FailureRow{"local negative length", true, k42Read, -1, 75},
                      FailureRow{"relayed bad CRC", false, "01 03 02 00 2A 39 9C", 7, 115},
                      FailureRow{"relayed wrong station", false, "02 03 02 00 2A 7D 9B", 7, 115},
                      FailureRow{"relayed nothing", false, "", 0, 145},
                      FailureRow{"relayed good bytes but length 0", false, k42Read, 0, 145},
                      FailureRow{"relayed too short", false, "01 03 02 00 2A", 5, 175},
                      FailureRow{"relayed good bytes but another length", false, k42Read, 8, 175}));

TEST_F(Judging, ArgumentNotTheBufferIsComparedWithTheLength)
{
    info.linkMode = 1;
    addRead(holding(0));
    next();
    buffer = hex("FF 01 03 02 00 2A 39 9B");
    buffer.remove(0, 1);
    EXPECT_EQ(1, DataCom(&buffer, 7)->status);
}

// With the override in force the reply is looked for under the station of the frame and judged by that of the
// variable; unless both are equal it is found and then refused.
TEST_F(Judging, OverridingStationIsFoundAndThenRefused)
{
    info.retryLimit = 0;
    overrideStation(7);
    serveRead();
    EXPECT_EQ(kResultDone, receive(hex("07 03 02 00 2A B1 9B")));
    EXPECT_EQ(11, receive(buffer));
}

// ---- a bad reply within the limit ----

using BadReply = Engine;

TEST_F(BadReply, WithinTheLimitGivesStatusZeroAndKeepsTheTransaction)
{
    const Protocol *served = serveRead();
    receive(hex(k42Read));
    EXPECT_EQ(kResultPending, receive(hex("01 03 02 00 2A 39 9C")));
    EXPECT_EQ(served, next());
    EXPECT_EQ(7, served->replyLen);
}

TEST_F(BadReply, WithinTheLimitReportsNothing)
{
    serveWrite();
    receive(hex(kWriteEcho));
    receive(hex("01 06 00 10 12 34 85 79"));
    EXPECT_THAT(outcomes, IsEmpty());
    EXPECT_THAT(failures, IsEmpty());
    EXPECT_FALSE(PLC_driver.failed);
    EXPECT_EQ(1, PLC_driver.writeList.size());
}

TEST_F(BadReply, LeavesScanAndServedCountAlone)
{
    serveRead();
    info.scanDone = 1;
    PLC_driver.readsServed = 1;
    receive(hex(k42Read));
    receive(hex("01 03 02 00 2A 39 9C"));
    EXPECT_EQ(1, info.scanDone);
    EXPECT_EQ(1, PLC_driver.readsServed);
}

TEST_F(BadReply, NextGoodReplyOfTheSameLengthFinishesInOneCall)
{
    serveRead();
    receive(hex(k42Read));
    receive(hex("01 03 02 00 2A 39 9C"));
    EXPECT_EQ(kResultDone, receive(hex(k42Read)));
    EXPECT_EQ(0, PLC_driver.sendQueue.size());
    EXPECT_EQ(hex("2A 00"), mirrored(1, 5, 0));
}

TEST_F(BadReply, NextReplyOfAnotherLengthIsBadToo)
{
    info.retryLimit = 1;
    serveRead();
    receive(hex(k42Read));
    receive(hex("01 03 02 00 2A 39 9C"));
    EXPECT_EQ(71, receive(hex("01 03 02 00")));
}

TEST_F(BadReply, SilenceAfterItIsJudgedByTheReplyHandler)
{
    info.retryLimit = 1;
    addWrite(write(4, 0));
    next();
    receive(hex(kWriteEcho));
    EXPECT_EQ(kResultPending, receive(hex("01 06 00 10 12 34 85 79")));
    EXPECT_EQ(45, silence());
}

TEST_F(BadReply, DoesNotStopTheServedVariableFromBeingCompletedLater)
{
    serveWrite();
    receive(hex(kWriteEcho));
    receive(hex("01 06 00 10 12 34 85 79"));
    receive(hex(kWriteEcho));
    EXPECT_THAT(outcomes, ElementsAre(Outcome{77, 3, 4, 1}));
}

// ---- success ----

using Success = Engine;

TEST_F(Success, RemovesTheTransaction)
{
    serveRead();
    complete(hex(kZeroRead));
    EXPECT_EQ(0, PLC_driver.sendQueue.size());
}

TEST_F(Success, ClearsTheMarkOfAnEarlierFailure)
{
    serveRead();
    PLC_driver.failed = true;
    complete(hex(kZeroRead));
    EXPECT_FALSE(PLC_driver.failed);
}

TEST_F(Success, FillsTheResultRecordFromTheWriteList)
{
    RW_VAR var = distinctVariable();
    var.regType = 5;
    var.address = 16;
    var.count = 1;
    var.station = 1;
    var.linkId = 0;
    var.data = hex("34 12");
    addWrite(var);
    next();
    EXPECT_EQ(kResultDone, complete(hex(kWriteEcho)));
    expectSameRequest(var, result());
    EXPECT_TRUE(result().data.isEmpty());
}

TEST_F(Success, FillsTheResultRecordFromTheOnceReadList)
{
    RW_VAR var = distinctVariable();
    var.regType = 5;
    var.address = 0;
    var.count = 1;
    var.station = 1;
    var.linkId = 0;
    var.direction = 0;
    addOnceRead(var);
    next();
    EXPECT_EQ(kResultDone, complete(hex(kZeroRead)));
    expectSameRequest(var, result());
    EXPECT_TRUE(result().data.isEmpty());
}

TEST_F(Success, FillsTheResultRecordFromTheReadList)
{
    addRead(holding(0).ids(6, 8).text("zero"));
    next();
    EXPECT_EQ(kResultDone, complete(hex(kZeroRead)));
    EXPECT_EQ(6, result().hostId);
    EXPECT_EQ(8, result().hostSubId);
    EXPECT_EQ("zero", result().addrText.toStdString());
}

TEST_F(Success, StatusIsTheResultNotThatOfTheVariable)
{
    RW_VAR var = write(3, 4);
    var.status = 55;
    addWrite(var);
    next();
    EXPECT_EQ(kResultDone, complete(hex(kWriteEcho)));
}

TEST_F(Success, RotatesTheReadList)
{
    addCyclic(3);
    next();
    answer();
    EXPECT_THAT(addressesOf(PLC_driver.readList), ElementsAre(1, 2, 0));
}

TEST_F(Success, OfAReadDoesNotCallTheRuntime)
{
    serveRead();
    complete(hex(kZeroRead));
    EXPECT_THAT(outcomes, IsEmpty());
    EXPECT_THAT(failures, IsEmpty());
}

TEST_F(Success, OfAnOneShotReadIsReported)
{
    addOnceRead(holding(0).ids(3, 4));
    next();
    complete(hex(kZeroRead));
    EXPECT_THAT(outcomes, ElementsAre(Outcome{77, 3, 4, 1}));
    EXPECT_THAT(failures, IsEmpty());
}

TEST_F(Success, DoesNotCallTheFailureCallback)
{
    serveWrite();
    complete(hex(kWriteEcho));
    EXPECT_THAT(failures, IsEmpty());
}

TEST_F(Success, OfAnOneShotReadLeavesACyclicReadThatWaitsAlone)
{
    RW_VAR waiting = holding(50);
    waiting.status = kPending;
    addRead(waiting);
    addRead(holding(60));
    addOnceRead(holding(0).ids(3, 4));
    ASSERT_NE(nullptr, next());
    complete(goodReply(*next()));
    EXPECT_EQ(50, PLC_driver.readList.at(0).address);
    EXPECT_EQ(kPending, PLC_driver.readList.at(0).status);
}

TEST_F(Success, OfARelayedOneShotReadIsNotReported)
{
    addOnceRead(holding(0).ids(3, 4).linkId(9));
    next();
    EXPECT_EQ(kResultDoneWithoutData, complete(hex(kZeroRead)));
    EXPECT_THAT(outcomes, IsEmpty());
    EXPECT_EQ(0, PLC_driver.onceReadList.size());
    EXPECT_EQ(3, result().hostId);
}

TEST_F(Success, OfARelayedWriteIsReported)
{
    addWrite(write(3, 4).linkId(9));
    next();
    EXPECT_EQ(kResultDoneWithoutData, complete(hex(kWriteEcho)));
    EXPECT_THAT(outcomes, ElementsAre(Outcome{77, 3, 4, 1}));
}

TEST_F(Success, WorksWithoutCallbacks)
{
    RegistCallBackFuncIntf(nullptr, nullptr);
    serveWrite();
    EXPECT_EQ(kResultDone, complete(hex(kWriteEcho)));
    EXPECT_EQ(0, PLC_driver.writeList.size());
}

// ---- the served list may have changed meanwhile ----

using ChangedList = Engine;

TEST_F(ChangedList, ReadListThatWasReplacedIsNotRotated)
{
    addCyclic(1);
    next();
    PLC_driver.readList.clear();
    addRead(holding(10).ids(10, 0));
    addRead(holding(11));
    EXPECT_EQ(kResultDone, complete(hex(kZeroRead)));
    EXPECT_THAT(addressesOf(PLC_driver.readList), ElementsAre(10, 11));
    EXPECT_EQ(0, result().hostId);
}

TEST_F(ChangedList, ReadListThatWasEmptiedIsLeftAlone)
{
    addCyclic(1);
    next();
    PLC_driver.readList.clear();
    EXPECT_EQ(kResultDone, complete(hex(kZeroRead)));
}

TEST_F(ChangedList, OnlyAMarkOfMinusOneRotatesTheReadList)
{
    addCyclic(2);
    next();
    for (const int status : {0, 1, -2}) {
        PLC_driver.readList[0].status = status;
        PLC_driver.sendQueue.clear();
        PLC_driver.servingList = 0;
        Protocol transaction;
        transaction.replyLen = 0;
        PLC_driver.sendQueue.append(transaction);
        silence();
        EXPECT_THAT(addressesOf(PLC_driver.readList), ElementsAre(0, 1));
        EXPECT_EQ(status, PLC_driver.readList.at(0).status);
    }
}

TEST_F(ChangedList, WriteListThatWasEmptiedReportsNothing)
{
    serveWrite();
    PLC_driver.writeList.clear();
    EXPECT_EQ(kResultDone, complete(hex(kWriteEcho)));
    EXPECT_THAT(outcomes, IsEmpty());
}

TEST_F(ChangedList, OnceReadListThatWasEmptiedReportsNothing)
{
    addOnceRead(holding(0).ids(3, 4));
    next();
    PLC_driver.onceReadList.clear();
    EXPECT_EQ(kResultDone, complete(hex(kZeroRead)));
    EXPECT_THAT(outcomes, IsEmpty());
}

TEST_F(ChangedList, HeldBackReportNeedsAnotherEntryOfTheSettingsLinkNotOfTheHeadsLink)
{
    addOnceRead(holding(0).ids(3, 4));
    next();
    PLC_driver.onceReadList.clear();
    addOnceRead(holding(1).ids(3, 4).linkId(9));
    addOnceRead(holding(2).ids(3, 4).linkId(9));
    complete(hex(kZeroRead));
    EXPECT_THAT(outcomes, ElementsAre(Outcome{77, 3, 4, 1}));
}

TEST_F(ChangedList, EmptiedListsAreNoTroubleForAFailureEither)
{
    info.retryLimit = 0;
    addOnceRead(holding(0).ids(3, 4));
    next();
    PLC_driver.onceReadList.clear();
    EXPECT_EQ(kResultNoReply, silence());
    EXPECT_THAT(outcomes, IsEmpty());
    EXPECT_THAT(failures, ElementsAre(FailureReport{0, 0, 1}));
}

TEST_F(ChangedList, NothingServedYetCompletesInNoList)
{
    addRead(holding(0));
    addWrite(write(3, 4));
    addOnceRead(holding(0));
    PLC_driver.readList[0].status = -1;
    for (const int serving : {100, 3, -1}) {
        SCOPED_TRACE(serving);
        PLC_driver.servingList = serving;
        Protocol transaction;
        transaction.replyLen = 0;
        PLC_driver.sendQueue.append(transaction);
        EXPECT_EQ(kResultDone, silence());
        EXPECT_EQ(-1, PLC_driver.readList.first().status);
        EXPECT_EQ(1, PLC_driver.writeList.size());
        EXPECT_EQ(1, PLC_driver.onceReadList.size());
    }
    EXPECT_THAT(outcomes, IsEmpty());
}

TEST_F(ChangedList, FailureOfNothingServedYetPurgesNoList)
{
    info.retryLimit = 0;
    addWrite(holding(16).station(0).ids(0, 0).data("34 12"));
    Protocol transaction;
    transaction.replyLen = -1;
    PLC_driver.sendQueue.append(transaction);
    EXPECT_EQ(kResultNoReply, silence());
    EXPECT_EQ(1, PLC_driver.writeList.size());
    EXPECT_THAT(outcomes, IsEmpty());
    EXPECT_THAT(failures, ElementsAre(FailureReport{0, 0, 1}));
}

// ---- operations of two steps ----

class BitWrite : public Engine
{
protected:
    /// Serves the write of one bit: register 2, bit 3.
    void serveBitWrite(const char *bit = "01")
    {
        addWrite(holdingBit(35).ids(3, 4).data(bit));
        next();
    }

    int answerRead() { return complete(hex("01 03 02 00 01 79 84")); }
};

TEST_F(BitWrite, IsAReadAndThenAWrite)
{
    serveBitWrite();
    ASSERT_EQ(2, PLC_driver.sendQueue.size());
    EXPECT_EQ(hex("01 03 00 02 00 01 25 CA"), queuedFrame(0));
    EXPECT_EQ(hex("01 06 00 02 00 00 28 0A"), queuedFrame(1));
    EXPECT_EQ(2, info.stepTotal);
    EXPECT_EQ(0, info.stepDone);
}

TEST_F(BitWrite, FirstReplyGivesOneWithoutCompletingAnything)
{
    serveBitWrite();
    EXPECT_EQ(1, answerRead());
    EXPECT_EQ(1, info.stepDone);
    EXPECT_EQ(1, PLC_driver.sendQueue.size());
    EXPECT_EQ(1, PLC_driver.writeList.size());
    EXPECT_THAT(outcomes, IsEmpty());
}

TEST_F(BitWrite, FirstReplyLeavesTheResultRecordAlone)
{
    const RW_VAR var = distinctVariable();
    passRetValue(&var);
    serveBitWrite();
    answerRead();
    expectSameRequest(var, result());
}

TEST_F(BitWrite, SecondTransactionGoesOutNextWithTheValueMergedIn)
{
    serveBitWrite();
    answerRead();
    EXPECT_EQ(hex("01 06 00 02 00 09 E8 0C"), next()->frame);
    EXPECT_EQ(1, PLC_driver.writeBurst);
}

TEST_F(BitWrite, SecondReplyCompletesTheWrite)
{
    serveBitWrite();
    answerRead();
    next();
    EXPECT_EQ(kResultDone, complete(hex("01 06 00 02 00 09 E8 0C")));
    EXPECT_EQ(2, info.stepDone);
    EXPECT_EQ(0, PLC_driver.writeList.size());
    EXPECT_THAT(outcomes, ElementsAre(Outcome{77, 3, 4, 1}));
}

TEST_F(BitWrite, IsCountedAsOneServedOperation)
{
    addCyclic(5);
    serveBitWrite();
    answerRead();
    EXPECT_EQ(0, PLC_driver.readsServed);
    complete(hex("01 06 00 02 00 09 E8 0C"));
    EXPECT_EQ(1, PLC_driver.readsServed);
}

TEST_F(BitWrite, SilenceInTheFirstHalfAbandonsBoth)
{
    info.retryLimit = 0;
    serveBitWrite();
    EXPECT_EQ(kResultNoReply, silence());
    EXPECT_EQ(0, PLC_driver.sendQueue.size());
    EXPECT_EQ(0, PLC_driver.writeList.size());
    EXPECT_THAT(outcomes, ElementsAre(Outcome{77, 3, 4, 2}));
    EXPECT_THAT(failures, ElementsAre(FailureReport{0, 3, 1}));
}

TEST_F(BitWrite, FailureOfTheSecondHalfFailsTheWrite)
{
    info.retryLimit = 0;
    serveBitWrite();
    answerRead();
    EXPECT_EQ(kResultNoReply, silence());
    EXPECT_THAT(outcomes, ElementsAre(Outcome{77, 3, 4, 2}));
    EXPECT_EQ(0, PLC_driver.writeList.size());
}

TEST_F(BitWrite, RetriesOfBothHalvesAreCountedTogether)
{
    info.retryLimit = 1;
    serveBitWrite();
    EXPECT_EQ(kResultPending, silence());
    answerRead();
    EXPECT_EQ(kResultNoReply, silence());
}

TEST_F(BitWrite, OfAnotherLinkIsMergedToo)
{
    addWrite(holdingBit(35).ids(3, 4).linkId(9).data("01"));
    next();
    EXPECT_EQ(1, answerRead());
    EXPECT_EQ(hex("01 06 00 02 00 09 E8 0C"), queuedFrame());
    EXPECT_EQ(kResultDoneWithoutData, complete(queuedFrame()));
    EXPECT_THAT(outcomes, ElementsAre(Outcome{77, 3, 4, 1}));
}

TEST_F(BitWrite, AnyOperationIsCompleteOnceTheStepsDoneReachThePlan)
{
    for (const int total : {1, 0, -5}) {
        SCOPED_TRACE(total);
        outcomes.clear();
        serveWrite();
        info.stepTotal = total;
        complete(hex(kWriteEcho));
        EXPECT_EQ(1u, outcomes.size());
    }
}

// ---- the scan report ----

using Scan = Engine;

TEST_F(Scan, IsDoneWhenOneMoreOperationThanTheReadListIsLongHasCompleted)
{
    addCyclic(2);
    serve(2);
    EXPECT_EQ(0, info.scanDone);
    EXPECT_EQ(2, PLC_driver.readsServed);
    serve(1);
    EXPECT_EQ(1, info.scanDone);
    EXPECT_EQ(0, PLC_driver.readsServed);
}

TEST_F(Scan, CountsWritesAndOneShotReadsToo)
{
    addCyclic(2);
    addWrites(1);
    addOnceReads(1);
    EXPECT_EQ("WO", serve(2));
    EXPECT_EQ(2, PLC_driver.readsServed);
    EXPECT_EQ("C", serve(1));
    EXPECT_EQ(1, info.scanDone);
}

TEST_F(Scan, CountsPriorityRequestsToo)
{
    addCyclic(3);
    addPriority(4, 1);
    EXPECT_EQ("C4C", serve(3));
    EXPECT_EQ(3, PLC_driver.readsServed);
}

TEST_F(Scan, IsDoneAfterOneWriteWithoutAReadList)
{
    addWrites(1);
    serve(1);
    EXPECT_EQ(1, info.scanDone);
    EXPECT_EQ(0, PLC_driver.readsServed);
}

TEST_F(Scan, CountsNothingOnceItIsDone)
{
    addCyclic(2);
    info.scanDone = 1;
    serve(5);
    EXPECT_EQ(0, PLC_driver.readsServed);
    EXPECT_EQ(1, info.scanDone);
}

TEST_F(Scan, DoesNotCountRelayedOperations)
{
    addRead(holding(0).linkId(9));
    next();
    EXPECT_EQ(kResultDoneWithoutData, complete(hex(kZeroRead)));
    EXPECT_EQ(0, PLC_driver.readsServed);
    EXPECT_EQ(0, info.scanDone);
}

TEST_F(Scan, CountsLocalOperationsInRelayForm)
{
    info.linkMode = 1;
    addCyclic(2);
    serve(2);
    EXPECT_EQ(2, PLC_driver.readsServed);
}

TEST_F(Scan, IsComparedWithTheReadListAsItIsNow)
{
    addCyclic(3);
    serve(2);
    PLC_driver.readList.removeLast();
    PLC_driver.readList.removeLast();
    serve(1);
    EXPECT_EQ(1, info.scanDone);
}

TEST_F(Scan, StartsAnewAfterAFailure)
{
    info.retryLimit = 0;
    addCyclic(2);
    serve(2);
    info.scanDone = 1;
    next();
    silence();
    EXPECT_EQ(0, info.scanDone);
    EXPECT_EQ(0, PLC_driver.readsServed);
}

TEST_F(Scan, IsNotTouchedByAToleratedFailure)
{
    addCyclic(2);
    serve(1);
    next();
    silence();
    EXPECT_EQ(1, PLC_driver.readsServed);
}

// ---- final failure ----

class FinalFailure : public Engine
{
protected:
    FinalFailure() { info.retryLimit = 0; }
};

TEST_F(FinalFailure, EmptiesTheSendQueue)
{
    serveRead();
    Protocol another;
    PLC_driver.sendQueue.append(another);
    PLC_driver.sendQueue.append(another);
    EXPECT_EQ(kResultNoReply, silence());
    EXPECT_EQ(0, PLC_driver.sendQueue.size());
}

TEST_F(FinalFailure, IsRemembered)
{
    serveRead();
    silence();
    EXPECT_TRUE(PLC_driver.failed);
}

TEST_F(FinalFailure, StaysRememberedUntilASuccess)
{
    serveRead();
    silence();
    next();
    EXPECT_TRUE(PLC_driver.failed);
    receive(hex(kZeroRead));
    EXPECT_TRUE(PLC_driver.failed);
    receive(buffer);
    EXPECT_FALSE(PLC_driver.failed);
}

TEST_F(FinalFailure, OfAWriteIsReportedWithOutcomeTwo)
{
    serveWrite();
    EXPECT_EQ(kResultNoReply, silence());
    EXPECT_THAT(outcomes, ElementsAre(Outcome{77, 3, 4, 2}));
}

TEST_F(FinalFailure, OfAnOneShotReadIsReportedWithOutcomeTwo)
{
    addOnceRead(holding(0).ids(3, 4));
    next();
    EXPECT_EQ(kResultNoReply, silence());
    EXPECT_THAT(outcomes, ElementsAre(Outcome{77, 3, 4, 2}));
}

TEST_F(FinalFailure, OfABadReplyIsReportedLikeASilence)
{
    serveWrite();
    receive(hex(kWriteEcho));
    EXPECT_EQ(14, receive(hex("01 06 00 10 12 34 85 79")));
    EXPECT_THAT(outcomes, ElementsAre(Outcome{77, 3, 4, 2}));
    EXPECT_THAT(failures, ElementsAre(FailureReport{0, 3, 1}));
    EXPECT_EQ(0, PLC_driver.sendQueue.size());
    EXPECT_TRUE(PLC_driver.failed);
}

TEST_F(FinalFailure, OfABadReplyTakesTheHostIdOfTheTransactionThoughTheQueueIsEmptied)
{
    addWrite(write(11, 0));
    next();
    receive(hex(kWriteEcho));
    EXPECT_EQ(22, receive(hex("01 06 00 10 12 34 85 79")));
}

TEST_F(FinalFailure, RemovesTheWrite)
{
    serveWrite();
    silence();
    EXPECT_EQ(0, PLC_driver.writeList.size());
    EXPECT_EQ(nullptr, next());
}

TEST_F(FinalFailure, RemovesTheOneShotRead)
{
    addOnceRead(holding(0).ids(3, 4));
    next();
    silence();
    EXPECT_EQ(0, PLC_driver.onceReadList.size());
}

TEST_F(FinalFailure, KeepsACyclicReadAndTurnsTheList)
{
    addCyclic(3);
    next();
    silence();
    EXPECT_THAT(addressesOf(PLC_driver.readList), ElementsAre(1, 2, 0));
    EXPECT_EQ(0, PLC_driver.readList.last().status);
}

TEST_F(FinalFailure, KeepsOtherCyclicReadsWithTheSameIdentifiers)
{
    addCyclic(3);
    next();
    silence();
    EXPECT_EQ(3, PLC_driver.readList.size());
}

TEST_F(FinalFailure, OfACyclicReadIsReportedToTheFailureCallbackAlone)
{
    addRead(holding(0).ids(6, -1));
    next();
    silence();
    EXPECT_THAT(outcomes, IsEmpty());
    EXPECT_THAT(failures, ElementsAre(FailureReport{0, 6, 1}));
}

TEST_F(FinalFailure, FillsTheResultRecord)
{
    addWrite(write(3, 4));
    next();
    silence();
    EXPECT_EQ(3, result().hostId);
    EXPECT_EQ(4, result().hostSubId);
    EXPECT_TRUE(result().data.isEmpty());
    EXPECT_EQ(41, result().status);
}

TEST_F(FinalFailure, IsReportedOnceForEachFailure)
{
    addCyclic(1);
    for (int i = 0; i < 3; ++i) {
        next();
        silence();
    }
    EXPECT_EQ(3u, failures.size());
}

// A priority request marks no head in the read list, so nothing is completed and the result record keeps what
// the transaction before left in it.
TEST_F(FinalFailure, OfAPriorityRequestReportsTheHostIdLeftInTheResultRecord)
{
    addRead(holding(0).ids(6, -1));
    priorityReads(4).append(holding(4000).ids(7, -1));
    EXPECT_EQ("C", serve(1));
    ASSERT_EQ(4000, next()->var.address);
    EXPECT_EQ(kResultNoReply, silence());
    EXPECT_THAT(failures, ElementsAre(FailureReport{0, 6, 1}));
}

TEST_F(FinalFailure, OfAPriorityRequestDoesNotTurnTheReadList)
{
    addCyclic(2);
    addPriority(4, 1);
    serve(1);
    next();
    silence();
    EXPECT_THAT(addressesOf(PLC_driver.readList), ElementsAre(1, 0));
}

TEST_F(FinalFailure, OfAPriorityCallInRelayFormTurnsTheReadList)
{
    info.linkMode = 1;
    addCyclic(2);
    addPriority(4, 1);
    serve(1);
    next();
    EXPECT_EQ(kResultNoReply, silence());
    EXPECT_THAT(addressesOf(PLC_driver.readList), ElementsAre(0, 1));
}

TEST_F(FinalFailure, WorksWithoutCallbacks)
{
    RegistCallBackFuncIntf(nullptr, nullptr);
    addWrite(write(3, 4));
    addWrite(write(3, 4));
    next();
    EXPECT_EQ(kResultNoReply, silence());
    EXPECT_EQ(0, PLC_driver.writeList.size());
}

TEST_F(FinalFailure, OfARelayedOneShotReadIsReportedToTheFailureCallbackAlone)
{
    info.linkMode = 1;
    addOnceRead(holding(0).ids(3, 4).linkId(9));
    next();
    EXPECT_EQ(144, silence());
    EXPECT_THAT(outcomes, IsEmpty());
    EXPECT_THAT(failures, ElementsAre(FailureReport{0, 3, 1}));
    EXPECT_EQ(0, PLC_driver.onceReadList.size());
}

// A missing reply counts as local whatever link the read belongs to, so here the runtime hears of it.
TEST_F(FinalFailure, OfARelayedOneShotReadBySilenceInModbusFormIsReported)
{
    addOnceRead(holding(0).ids(3, 4).linkId(9));
    next();
    EXPECT_EQ(kResultNoReply, silence());
    EXPECT_THAT(outcomes, ElementsAre(Outcome{77, 3, 4, 2}));
}

TEST_F(FinalFailure, OfARelayedOneShotReadByABadReplyIsNotReported)
{
    addOnceRead(holding(0).ids(3, 4).linkId(9));
    next();
    receive(hex(kZeroRead));
    EXPECT_EQ(114, receive(hex("01 03 02 00 00 B8 45")));
    EXPECT_THAT(outcomes, IsEmpty());
}

TEST_F(FinalFailure, OfARelayedWriteIsReported)
{
    info.linkMode = 1;
    addWrite(write(3, 4).linkId(9));
    next();
    EXPECT_EQ(144, silence());
    EXPECT_THAT(outcomes, ElementsAre(Outcome{77, 3, 4, 2}));
}

// ---- several entries with the same identifiers ----

class SameIdentifiers : public Engine
{
protected:
    void serveAndAnswer()
    {
        ASSERT_NE(nullptr, next());
        answer();
    }

    void serveAndFail()
    {
        info.retryLimit = 0;
        ASSERT_NE(nullptr, next());
        silence();
    }
};

TEST_F(SameIdentifiers, OnlyTheLastOfSeveralWritesReportsSuccess)
{
    for (int i = 0; i < 3; ++i)
        addWrite(write(3, 4));
    serveAndAnswer();
    serveAndAnswer();
    EXPECT_THAT(outcomes, IsEmpty());
    serveAndAnswer();
    EXPECT_THAT(outcomes, ElementsAre(Outcome{77, 3, 4, 1}));
}

TEST_F(SameIdentifiers, OnlyTheLastOfSeveralOneShotReadsReportsSuccess)
{
    for (int i = 0; i < 3; ++i)
        addOnceRead(holding(i).ids(3, 4));
    serveAndAnswer();
    serveAndAnswer();
    EXPECT_THAT(outcomes, IsEmpty());
    serveAndAnswer();
    EXPECT_THAT(outcomes, ElementsAre(Outcome{77, 3, 4, 1}));
}

TEST_F(SameIdentifiers, UnreportedWriteStillFillsTheResultRecord)
{
    addWrite(write(3, 4));
    addWrite(write(3, 4));
    serveAndAnswer();
    EXPECT_EQ(3, result().hostId);
    EXPECT_EQ(1, PLC_driver.writeList.size());
}

TEST_F(SameIdentifiers, BothMustBeEqual)
{
    addWrite(write(3, 4));
    addWrite(write(3, 5));
    addWrite(write(4, 4));
    serveAndAnswer();
    EXPECT_THAT(outcomes, ElementsAre(Outcome{77, 3, 4, 1}));
}

TEST_F(SameIdentifiers, BothMustBeEqualAmongOneShotReadsToo)
{
    addOnceRead(holding(0).ids(3, 4));
    addOnceRead(holding(0).ids(3, 5));
    addOnceRead(holding(0).ids(4, 4));
    serveAndAnswer();
    EXPECT_THAT(outcomes, ElementsAre(Outcome{77, 3, 4, 1}));
}

TEST_F(SameIdentifiers, MayStandAnywhereInTheList)
{
    addWrite(write(3, 4));
    addWrite(write(8, 8));
    addWrite(write(9, 9));
    addWrite(write(3, 4));
    serveAndAnswer();
    EXPECT_THAT(outcomes, IsEmpty());
}

TEST_F(SameIdentifiers, OnAnotherStationStillHoldBackTheReport)
{
    addWrite(write(3, 4));
    addWrite(write(3, 4).station(2));
    serveAndAnswer();
    EXPECT_THAT(outcomes, IsEmpty());
}

TEST_F(SameIdentifiers, OnAnotherLinkStillHoldBackTheReportOfAWrite)
{
    addWrite(write(3, 4));
    addWrite(write(3, 4).linkId(9));
    serveAndAnswer();
    EXPECT_THAT(outcomes, IsEmpty());
}

TEST_F(SameIdentifiers, OnAnotherLinkDoNotHoldBackTheReportOfAnOneShotRead)
{
    addOnceRead(holding(0).ids(3, 4));
    addOnceRead(holding(1).ids(3, 4).linkId(9));
    serveAndAnswer();
    EXPECT_THAT(outcomes, ElementsAre(Outcome{77, 3, 4, 1}));
}

TEST_F(SameIdentifiers, InTheOtherListDoNotHoldBackTheReport)
{
    addWrite(write(3, 4));
    addOnceRead(holding(0).ids(3, 4));
    serveAndAnswer();
    EXPECT_THAT(outcomes, ElementsAre(Outcome{77, 3, 4, 1}));
}

TEST_F(SameIdentifiers, FailureOfOneIsReportedAndDiscardsTheOthers)
{
    addWrite(write(3, 4));
    addWrite(write(8, 8));
    addWrite(write(3, 4));
    addWrite(write(3, 4));
    serveAndFail();
    EXPECT_THAT(outcomes, ElementsAre(Outcome{77, 3, 4, 2}));
    ASSERT_EQ(1, PLC_driver.writeList.size());
    EXPECT_EQ(8, PLC_driver.writeList.first().hostId);
}

TEST_F(SameIdentifiers, FailureOfOneOneShotReadIsReportedAndDiscardsTheOthers)
{
    addOnceRead(holding(0).ids(3, 4));
    addOnceRead(holding(1).ids(3, 4));
    addOnceRead(holding(2).ids(8, 8));
    addOnceRead(holding(3).ids(3, 4));
    serveAndFail();
    EXPECT_THAT(outcomes, ElementsAre(Outcome{77, 3, 4, 2}));
    EXPECT_THAT(addressesOf(PLC_driver.onceReadList), ElementsAre(2));
}

TEST_F(SameIdentifiers, FailureDiscardsOnlyWhenBothAreEqual)
{
    addWrite(write(3, 4));
    addWrite(write(3, 5));
    addWrite(write(4, 4));
    serveAndFail();
    EXPECT_EQ(2, PLC_driver.writeList.size());
}

TEST_F(SameIdentifiers, FailureDiscardsOnlyThoseOfTheSameStation)
{
    for (const int mode : {1, 2, -1}) {
        SCOPED_TRACE(mode);
        PLC_driver.writeList.clear();
        info.stationMode = mode;
        addWrite(write(3, 4));
        addWrite(write(3, 4).station(2));
        addWrite(write(3, 4));
        serveAndFail();
        ASSERT_EQ(1, PLC_driver.writeList.size());
        EXPECT_EQ(2, PLC_driver.writeList.first().station);
    }
}

TEST_F(SameIdentifiers, FailureDiscardsThoseOfEveryStationWhenAllShareOne)
{
    info.stationMode = 0;
    addWrite(write(3, 4));
    addWrite(write(3, 4).station(2));
    addWrite(write(3, 4));
    serveAndFail();
    EXPECT_EQ(0, PLC_driver.writeList.size());
}

TEST_F(SameIdentifiers, FailureDiscardsOneShotReadsOfTheSameStationOnly)
{
    addOnceRead(holding(0).ids(3, 4));
    addOnceRead(holding(1).ids(3, 4).station(2));
    serveAndFail();
    EXPECT_THAT(addressesOf(PLC_driver.onceReadList), ElementsAre(1));
}

TEST_F(SameIdentifiers, FailureDiscardsThoseOfOtherLinksToo)
{
    addOnceRead(holding(0).ids(3, 4));
    addOnceRead(holding(1).ids(3, 4).linkId(9));
    serveAndFail();
    EXPECT_EQ(0, PLC_driver.onceReadList.size());
}

TEST_F(SameIdentifiers, FailedWriteDiscardsNoOneShotRead)
{
    addWrite(write(3, 4));
    addOnceRead(holding(0).ids(3, 4));
    serveAndFail();
    EXPECT_EQ(1, PLC_driver.onceReadList.size());
}

TEST_F(SameIdentifiers, FailedOneShotReadDiscardsNoWrite)
{
    addOnceRead(holding(0).ids(3, 4));
    next();
    addWrite(write(3, 4));
    failBySilence();
    EXPECT_EQ(1, PLC_driver.writeList.size());
}

TEST_F(SameIdentifiers, FailedCyclicReadDiscardsNothing)
{
    addRead(holding(0).ids(3, 4));
    next();
    addWrite(write(3, 4));
    addOnceRead(holding(0).ids(3, 4));
    failBySilence();
    EXPECT_EQ(1, PLC_driver.readList.size());
    EXPECT_EQ(1, PLC_driver.writeList.size());
    EXPECT_EQ(1, PLC_driver.onceReadList.size());
}

TEST_F(SameIdentifiers, SuccessDiscardsNothing)
{
    addWrite(write(3, 4));
    addWrite(write(3, 4));
    addWrite(write(3, 4));
    serveAndAnswer();
    EXPECT_EQ(2, PLC_driver.writeList.size());
}

// ---- what a callback sees ----

/// State of the driver at the moment of a callback.
struct Scene
{
    bool listLocked;
    bool cacheLocked;
    bool stationLocked;
    int sendQueue;
    int writeList;
    int resultHostId;
    int resultStatus;
    bool failed;
};

std::vector<Scene> scenes;

Scene scene()
{
    return {isHeld(PLC_driver.listMutex),    isHeld(PLC_driver.cacheMutex),
            isHeld(PLC_driver.stationMutex), PLC_driver.sendQueue.size(),
            PLC_driver.writeList.size(),     PLC_driver.retVar.hostId,
            PLC_driver.retVar.status,        PLC_driver.failed};
}

class CallbackScene : public Engine
{
protected:
    CallbackScene()
    {
        scenes.clear();
        info.retryLimit = 0;
        RegistCallBackFuncIntf([](int, int, int, int) { scenes.push_back(scene()); },
                               [](QList<RW_VAR> *, int, int) { scenes.push_back(scene()); });
        const RW_VAR earlier = Variable(5, 0).ids(55, 0);
        passRetValue(&earlier);
    }
};

TEST_F(CallbackScene, ListLockAloneIsHeld)
{
    serveWrite();
    silence();
    ASSERT_EQ(2u, scenes.size());
    for (const Scene &seen : scenes) {
        EXPECT_TRUE(seen.listLocked);
        EXPECT_FALSE(seen.cacheLocked);
        EXPECT_FALSE(seen.stationLocked);
    }
    EXPECT_FALSE(isHeld(PLC_driver.listMutex));
}

TEST_F(CallbackScene, ListLockAloneIsHeldOnSuccess)
{
    serveWrite();
    complete(hex(kWriteEcho));
    ASSERT_EQ(1u, scenes.size());
    EXPECT_TRUE(scenes[0].listLocked);
    EXPECT_FALSE(scenes[0].cacheLocked);
}

TEST_F(CallbackScene, TransactionIsAlreadyGone)
{
    serveWrite();
    complete(hex(kWriteEcho));
    ASSERT_EQ(1u, scenes.size());
    EXPECT_EQ(0, scenes[0].sendQueue);
}

TEST_F(CallbackScene, ResultIsReportedBeforeTheVariableLeavesItsList)
{
    serveWrite();
    complete(hex(kWriteEcho));
    ASSERT_EQ(1u, scenes.size());
    EXPECT_EQ(1, scenes[0].writeList);
    EXPECT_EQ(55, scenes[0].resultHostId);
}

TEST_F(CallbackScene, FailureIsReportedAfterTheVariableHasLeftAndBeforeTheOthersAreDiscarded)
{
    addWrite(write(3, 4));
    addWrite(write(3, 4));
    addWrite(write(3, 4));
    next();
    silence();
    ASSERT_EQ(2u, scenes.size());
    EXPECT_EQ(3, scenes[0].writeList);
    EXPECT_EQ(55, scenes[0].resultHostId);
    EXPECT_EQ(2, scenes[1].writeList);
    EXPECT_EQ(3, scenes[1].resultHostId);
    EXPECT_EQ(0, PLC_driver.writeList.size());
}

TEST_F(CallbackScene, StatusIsSetOnlyAfterTheCallbacks)
{
    RW_VAR var = write(3, 4);
    var.status = 66;
    addWrite(var);
    next();
    EXPECT_EQ(kResultNoReply, silence());
    ASSERT_EQ(2u, scenes.size());
    EXPECT_EQ(66, scenes[1].resultStatus);
}

TEST_F(CallbackScene, FailureIsMarkedBeforeTheCallbacks)
{
    serveWrite();
    silence();
    ASSERT_EQ(2u, scenes.size());
    EXPECT_TRUE(scenes[0].failed);
    EXPECT_TRUE(scenes[1].failed);
}

TEST_F(CallbackScene, EarlierFailureIsForgottenBeforeTheCallback)
{
    serveWrite();
    PLC_driver.failed = true;
    complete(hex(kWriteEcho));
    ASSERT_EQ(1u, scenes.size());
    EXPECT_FALSE(scenes[0].failed);
}

using CallbackUse = Engine;

TEST_F(CallbackUse, ReadsMayBeAddedAndValuesReadFromACallback)
{
    RegistCallBackFuncIntf(
        [](int, int, int, int) {
            RW_VAR var = holding(0);
            EXPECT_EQ(1, AddListReadVar(&var));
            QByteArray value;
            EXPECT_EQ(1, GetRegisterData("", 5, "16", 1, &value, 1));
            EXPECT_EQ(hex("34 12"), value);
            EnCommStation(5, 0);
        },
        nullptr);
    serveWrite();
    EXPECT_EQ(kResultDone, complete(hex(kWriteEcho)));
    EXPECT_EQ(1, PLC_driver.readList.size());
}

TEST_F(CallbackUse, ReadsMayBeAddedWhileACyclicReadFails)
{
    info.retryLimit = 0;
    RegistCallBackFuncIntf(nullptr, [](QList<RW_VAR> *, int, int) {
        RW_VAR var = holding(9);
        AddListReadVar(&var);
    });
    addCyclic(2);
    next();
    EXPECT_EQ(kResultNoReply, silence());
    EXPECT_THAT(addressesOf(PLC_driver.readList), ElementsAre(1, 0, 9));
}

TEST_F(CallbackUse, MirrorMayBeChangedFromACallback)
{
    info.writeMode = 1;
    RegistCallBackFuncIntf(
        [](int, int, int, int) {
            QByteArray value = hex("07 00");
            SetRegisterData("", 5, "300", 1, &value, 1, 0, 0);
        },
        nullptr);
    serveWrite();
    EXPECT_EQ(kResultDone, complete(hex(kWriteEcho)));
    EXPECT_EQ(hex("07 00"), mirrored(1, 5, 300));
}

int writesSeen = -1;

/// Changes the mirror as a runtime may from a callback and notes the number of waiting writes that it is
/// told.
void noteWaitingWrites()
{
    QByteArray value = hex("07 00");
    writesSeen = SetRegisterData("", 5, "300", 1, &value, 1, 0, 0);
}

TEST_F(CallbackUse, FinishedWriteStillCountsAmongTheWaitingOnesInTheResultCallback)
{
    info.writeMode = 1;
    RegistCallBackFuncIntf([](int, int, int, int) { noteWaitingWrites(); }, nullptr);
    addWrite(write(3, 4));
    addWrite(write(8, 8));
    next();
    complete(hex(kWriteEcho));
    EXPECT_EQ(2, writesSeen);
}

TEST_F(CallbackUse, FailedWriteNoLongerCountsAmongTheWaitingOnesInTheFailureCallback)
{
    info.writeMode = 1;
    info.retryLimit = 0;
    RegistCallBackFuncIntf(nullptr, [](QList<RW_VAR> *, int, int) { noteWaitingWrites(); });
    addWrite(write(3, 4));
    addWrite(write(8, 8));
    next();
    silence();
    EXPECT_EQ(1, writesSeen);
}

int listLengthSeen = -1;

TEST_F(CallbackUse, FailureListIsEmptyEveryTimeEvenIfTheRuntimeFillsIt)
{
    info.retryLimit = 0;
    RegistCallBackFuncIntf(nullptr, [](QList<RW_VAR> *list, int, int) {
        ASSERT_NE(nullptr, list);
        listLengthSeen = list->size();
        list->append(RW_VAR());
    });
    addCyclic(1);
    for (int i = 0; i < 2; ++i) {
        next();
        silence();
        EXPECT_EQ(0, listLengthSeen);
    }
}

// ---- locks ----

using EngineLocks = Engine;

TEST_F(EngineLocks, LookingForTheReplyAndToleratedSilenceTakeNone)
{
    for (QMutex *mutex : {&PLC_driver.listMutex, &PLC_driver.cacheMutex, &PLC_driver.stationMutex}) {
        info.retryCount = 0;
        PLC_driver.readList.clear();
        PLC_driver.sendQueue.clear();
        serveRead();
        EXPECT_TRUE(returnsDespite(*mutex, [this] {
            silence();
            receive(hex("01 03"));
            receive(hex(kZeroRead));
        }));
        EXPECT_EQ(7, head().replyLen);
    }
}

TEST_F(EngineLocks, EmptyQueueTakesNone)
{
    for (QMutex *mutex : {&PLC_driver.listMutex, &PLC_driver.cacheMutex, &PLC_driver.stationMutex})
        EXPECT_TRUE(returnsDespite(*mutex, [this] { silence(); }));
}

TEST_F(EngineLocks, CompletionWaitsForTheListLock)
{
    serveWrite();
    receive(hex(kWriteEcho));
    EXPECT_TRUE(waitsFor(PLC_driver.listMutex, [this] { receive(buffer); }));
    EXPECT_THAT(outcomes, ElementsAre(Outcome{77, 3, 4, 1}));
}

TEST_F(EngineLocks, ToleratedBadReplyWaitsForTheListLock)
{
    serveRead();
    receive(hex(kZeroRead));
    EXPECT_TRUE(waitsFor(PLC_driver.listMutex, [this] { receive(hex("01 03 02 00 00 B8 45")); }));
    EXPECT_EQ(0, result().status);
}

TEST_F(EngineLocks, FinalFailureWaitsForTheListLock)
{
    info.retryLimit = 0;
    serveRead();
    EXPECT_TRUE(waitsFor(PLC_driver.listMutex, [this] { silence(); }));
    EXPECT_EQ(41, result().status);
}

TEST_F(EngineLocks, StoringWaitsForTheMirrorLock)
{
    serveRead();
    receive(hex(k42Read));
    EXPECT_TRUE(waitsFor(PLC_driver.cacheMutex, [this] { receive(buffer); }));
    EXPECT_EQ(hex("2A 00"), mirrored(1, 5, 0));
}

// A screen that rebuilds a long list must not keep values that have arrived from the other screens.
TEST_F(EngineLocks, ReplyIsStoredBeforeTheListLockIsTaken)
{
    serveRead();
    receive(hex(k42Read));
    PLC_driver.listMutex.lock();
    auto call = std::async(std::launch::async, [this] { receive(buffer); });
    EXPECT_TRUE(becomesTrue([this] {
        QMutexLocker lock(&PLC_driver.cacheMutex);
        return mirrored(1, 5, 0) == hex("2A 00");
    }));
    PLC_driver.listMutex.unlock();
    call.wait();
}

// The first half of a bit write looks into the write list, which other threads change.
TEST_F(EngineLocks, FirstHalfOfABitWriteIsHandledUnderTheListLock)
{
    addWrite(holdingBit(35).data("01"));
    next();
    receive(hex("01 03 02 00 01 79 84"));
    PLC_driver.listMutex.lock();
    auto call = std::async(std::launch::async, [this] { receive(buffer); });
    EXPECT_EQ(std::future_status::timeout, call.wait_for(std::chrono::milliseconds(40)));
    EXPECT_EQ(hex("01 06 00 02 00 00 28 0A"), queuedFrame(1));
    PLC_driver.listMutex.unlock();
    call.wait();
    EXPECT_EQ(hex("01 06 00 02 00 09 E8 0C"), queuedFrame(0));
}

TEST_F(EngineLocks, AllAreFreeAfterEveryKindOfCall)
{
    const auto allFree = [] {
        return !isHeld(PLC_driver.listMutex) && !isHeld(PLC_driver.cacheMutex) &&
               !isHeld(PLC_driver.stationMutex);
    };
    addWrite(holdingBit(35).data("01"));
    addWrite(write(3, 4));
    silence();
    EXPECT_TRUE(allFree()) << "empty queue";
    next();
    silence();
    EXPECT_TRUE(allFree()) << "tolerated silence";
    receive(hex("01 03 02 00 01 79 84"));
    EXPECT_TRUE(allFree()) << "reply found";
    receive(hex("01 03 02 00 01 79 85"));
    EXPECT_TRUE(allFree()) << "tolerated bad reply";
    receive(hex("01 03 02 00 01 79 84"));
    EXPECT_TRUE(allFree()) << "first half done";
    complete(hex("01 06 00 02 00 09 E8 0C"));
    EXPECT_TRUE(allFree()) << "write done";
    next();
    failBySilence();
    EXPECT_TRUE(allFree()) << "write failed";
}

} // namespace
} // namespace plc::test
