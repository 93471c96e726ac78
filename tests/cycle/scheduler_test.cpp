#include "core/context.h"

#include <climits>
#include <map>

#include "cycle/cycle_driver.h"
#include "cycle/station_set.h"
#include "support/driver_fixture.h"
#include "support/lock_probe.h"

namespace plc::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// ---- one call ----

using Scheduler = CycleDriver;

TEST_F(Scheduler, ReturnsNullWhenThereIsNothingToDo)
{
    EXPECT_EQ(nullptr, next());
}

TEST_F(Scheduler, ReportsAFinishedScanWhenThereIsNothingToDo)
{
    next();
    EXPECT_EQ(1, info.scanDone);
}

TEST_F(Scheduler, LeavesTheScanReportAloneWhenThereIsSomethingToDo)
{
    addCyclic(1);
    info.scanDone = 0;
    next();
    EXPECT_EQ(0, info.scanDone);
    info.scanDone = 1;
    next();
    EXPECT_EQ(1, info.scanDone);
}

TEST_F(Scheduler, ReturnsTheHeadOfTheSendQueue)
{
    addRead(holding(0).count(10));
    const Protocol *head = next();
    ASSERT_EQ(1, PLC_driver.sendQueue.size());
    EXPECT_EQ(&PLC_driver.sendQueue.at(0), head);
    EXPECT_EQ(hex("01 03 00 00 00 0A C5 CD"), head->frame);
    EXPECT_EQ(8, head->sendLen);
    EXPECT_EQ(-1, head->replyLen);
}

TEST_F(Scheduler, IgnoresItsArgument)
{
    for (const int argument : {0, 1, -1, INT_MAX, INT_MIN}) {
        SCOPED_TRACE(argument);
        PLC_driver.sendQueue.clear();
        PLC_driver.readList.clear();
        addRead(holding(0).count(10));
        const Protocol *head = ComCommunication(argument);
        ASSERT_NE(nullptr, head);
        EXPECT_EQ(hex("01 03 00 00 00 0A C5 CD"), head->frame);
    }
}

TEST_F(Scheduler, ReturnsTheSameHeadUntilItIsFinished)
{
    addCyclic(2);
    const Protocol *head = next();
    const QByteArray frame = head->frame;
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(head, next());
    EXPECT_EQ(frame, head->frame);
    EXPECT_EQ(1, PLC_driver.sendQueue.size());
}

TEST_F(Scheduler, ReturnsTheSameHeadThoughAWriteHasArrived)
{
    addCyclic(1);
    const Protocol *head = next();
    addWrites(1);
    EXPECT_EQ(head, next());
    EXPECT_EQ(0, head->var.address);
}

TEST_F(Scheduler, CountsNothingWhileATransactionIsInProgress)
{
    addWrites(1);
    next();
    for (int i = 0; i < 10; ++i)
        next();
    EXPECT_EQ(1, PLC_driver.writeBurst);
    EXPECT_EQ(0, PLC_driver.priorityClocks[0].tick);
}

TEST_F(Scheduler, ClearsForceCheckEvenWhileATransactionIsInProgress)
{
    addCyclic(1);
    PLC_driver.forceCheck = 7;
    next();
    EXPECT_EQ(0, PLC_driver.forceCheck);
    PLC_driver.forceCheck = 7;
    next();
    EXPECT_EQ(0, PLC_driver.forceCheck);
}

TEST_F(Scheduler, ClearsForceCheckEvenWhenThereIsNothingToDo)
{
    PLC_driver.forceCheck = 7;
    next();
    EXPECT_EQ(0, PLC_driver.forceCheck);
}

TEST_F(Scheduler, RemembersWhichListItServes)
{
    EXPECT_EQ(100, PLC_driver.servingList);
    addCyclic(1);
    next();
    EXPECT_EQ(0, PLC_driver.servingList);
    answer();
    addOnceReads(1);
    next();
    EXPECT_EQ(2, PLC_driver.servingList);
    answer();
    addWrites(1);
    next();
    EXPECT_EQ(1, PLC_driver.servingList);
}

TEST_F(Scheduler, ForgetsNotWhichListItServedWhenThereIsNothingToDo)
{
    addWrites(1);
    next();
    answer();
    ASSERT_EQ(nullptr, next());
    EXPECT_EQ(1, PLC_driver.servingList);
}

TEST_F(Scheduler, StartsEveryRequestWithNoStepDone)
{
    addCyclic(1);
    info.stepDone = 9;
    info.stepTotal = 9;
    next();
    EXPECT_EQ(0, info.stepDone);
    EXPECT_EQ(1, info.stepTotal);
}

TEST_F(Scheduler, DoesNotForgiveEarlierFailures)
{
    addCyclic(1);
    info.retryCount = 2;
    next();
    EXPECT_EQ(2, info.retryCount);
}

// ---- entries stay in their lists until they are finished, and are never changed by the builders ----

TEST_F(Scheduler, LeavesAWriteInItsListUntilItIsFinished)
{
    addWrites(1);
    next();
    EXPECT_EQ(1, PLC_driver.writeList.size());
    answer();
    EXPECT_EQ(0, PLC_driver.writeList.size());
}

TEST_F(Scheduler, LeavesAOneShotReadInItsListUntilItIsFinished)
{
    addOnceReads(1);
    next();
    EXPECT_EQ(1, PLC_driver.onceReadList.size());
    answer();
    EXPECT_EQ(0, PLC_driver.onceReadList.size());
}

TEST_F(Scheduler, LeavesACyclicReadAtItsHeadUntilItIsFinished)
{
    addCyclic(3);
    next();
    EXPECT_THAT(addressesOf(PLC_driver.readList), ElementsAre(0, 1, 2));
    answer();
    EXPECT_THAT(addressesOf(PLC_driver.readList), ElementsAre(1, 2, 0));
}

TEST_F(Scheduler, BuildsABitWriteFromAPrivateCopy)
{
    addWrite(holdingBit(35).ids(8, 9).data("01"));
    next();
    const RW_VAR &entry = PLC_driver.writeList.first();
    EXPECT_EQ(3, entry.regType);
    EXPECT_EQ(35, entry.address);
    EXPECT_EQ(1, entry.direction);
    EXPECT_EQ(0, entry.relayArg1);
    EXPECT_EQ(hex("01"), entry.data);
}

TEST_F(Scheduler, QueuesTheWholeVariableWithItsRequest)
{
    RW_VAR var = distinctVariable();
    var.regType = 5;
    var.station = 1;
    addOnceRead(var);
    next();
    expectSameRequest(var, PLC_driver.sendQueue.first().var);
    EXPECT_EQ(hex("0F 1E"), PLC_driver.sendQueue.first().var.data);
}

// ---- priorities among the lists ----

using Fairness = CycleDriver;

TEST_F(Fairness, WritesGoFirstThenOneShotReadsThenCyclicReads)
{
    addCyclic(1);
    addOnceReads(1);
    addWrites(1);
    EXPECT_EQ("WOC", serve(3));
}

TEST_F(Fairness, ListsAreServedFromTheirHead)
{
    addWrites(2);
    addOnceReads(2);
    addCyclic(2);
    EXPECT_THAT(serveAddresses(6), ElementsAre(5000, 5001, 6000, 6001, 0, 1));
}

TEST_F(Fairness, CyclicReadsRotate)
{
    addCyclic(3);
    EXPECT_THAT(serveAddresses(7), ElementsAre(0, 1, 2, 0, 1, 2, 0));
}

TEST_F(Fairness, AfterFiveWritesOneCyclicReadIsLetIn)
{
    addCyclic(1);
    addWrites(6);
    EXPECT_EQ("WWWWWCWCC", serve(9));
}

TEST_F(Fairness, AfterFiveOneShotReadsOneCyclicReadIsLetIn)
{
    addCyclic(1);
    addOnceReads(6);
    EXPECT_EQ("OOOOOCOCC", serve(9));
}

TEST_F(Fairness, FiveWritesFiveOneShotReadsAndOneCyclicReadMakeOneRound)
{
    addCyclic(1);
    addWrites(12);
    addOnceReads(12);
    EXPECT_EQ("WWWWWOOOOOCWWWWWOOOOOCWWOOC", serve(27));
}

// One-shot reads do not reset the count of writes; only a cyclic read or an idle call does.
TEST_F(Fairness, WritesAreCountedAcrossOneShotReads)
{
    addCyclic(1);
    addOnceReads(4);
    addWrites(2);
    EXPECT_EQ("WWO", serve(3));
    addWrites(4);
    EXPECT_EQ("WWWOOOCW", serve(8));
}

TEST_F(Fairness, OneShotReadsAreCountedAcrossWrites)
{
    addCyclic(1);
    addOnceReads(6);
    EXPECT_EQ("OOO", serve(3));
    addWrites(2);
    EXPECT_EQ("WWOOCOC", serve(7));
}

TEST_F(Fairness, WriteThatArrivesBetweenOneShotReadsGoesFirst)
{
    addOnceReads(3);
    EXPECT_EQ("O", serve(1));
    addWrites(1);
    EXPECT_EQ("WOO", serve(3));
}

TEST_F(Fairness, CyclicReadResetsBothCounts)
{
    addCyclic(1);
    PLC_driver.writeBurst = 4;
    PLC_driver.onceBurst = 3;
    next();
    EXPECT_EQ(0, PLC_driver.writeBurst);
    EXPECT_EQ(0, PLC_driver.onceBurst);
}

TEST_F(Fairness, WriteCountsOnlyItself)
{
    PLC_driver.writeBurst = 4;
    PLC_driver.onceBurst = 3;
    addWrites(1);
    next();
    EXPECT_EQ(5, PLC_driver.writeBurst);
    EXPECT_EQ(3, PLC_driver.onceBurst);
}

TEST_F(Fairness, OneShotReadCountsOnlyItself)
{
    PLC_driver.writeBurst = 4;
    PLC_driver.onceBurst = 4;
    addOnceReads(1);
    next();
    EXPECT_EQ(4, PLC_driver.writeBurst);
    EXPECT_EQ(5, PLC_driver.onceBurst);
}

TEST_F(Fairness, IdleCallResetsBothCounts)
{
    PLC_driver.writeBurst = 4;
    PLC_driver.onceBurst = 3;
    next();
    EXPECT_EQ(0, PLC_driver.writeBurst);
    EXPECT_EQ(0, PLC_driver.onceBurst);
}

// With no read to let in, the call that would have served one comes back empty and opens the next burst.
TEST_F(Fairness, AfterFiveWritesWithNoReadOneCallComesBackEmpty)
{
    addWrites(6);
    EXPECT_EQ("WWWWW-W-", serve(8));
}

TEST_F(Fairness, EmptyCallBetweenTwoBurstsReportsAFinishedScan)
{
    addWrites(6);
    serve(5);
    info.scanDone = 0;
    EXPECT_EQ("-", serve(1));
    EXPECT_EQ(1, info.scanDone);
    EXPECT_EQ(1, PLC_driver.writeList.size());
}

TEST_F(Fairness, FiveWritesThenFiveOneShotReadsThenOneEmptyCall)
{
    addWrites(6);
    addOnceReads(6);
    EXPECT_EQ("WWWWWOOOOO-WO-", serve(14));
}

TEST_F(Fairness, FailedWritesCountLikeGoodOnes)
{
    info.retryLimit = 0;
    addCyclic(1);
    addWrites(6);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(5000 + i, next()->var.address);
        silence();
    }
    EXPECT_EQ("CW", serve(2));
}

TEST_F(Fairness, BothHalvesOfABitWriteCountAsOneWrite)
{
    addCyclic(1);
    for (int i = 0; i < 6; ++i)
        addWrite(holdingBit(16 * 5000 + 16 * i).ids(5000 + i, 0).data("01"));
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(5000 + i / 2, next()->var.address);
        answer();
    }
    EXPECT_EQ("C", serve(1));
    EXPECT_EQ(5005, next()->var.address);
}

// ---- switched-off stations ----

using SwitchedOff = CycleDriver;

TEST_F(SwitchedOff, WritesAreDroppedWithoutAReport)
{
    addWrite(holding(5000).station(9).data("00 00"));
    EnCommStation(9, 0);
    EXPECT_EQ(nullptr, next());
    EXPECT_EQ(0, PLC_driver.writeList.size());
    EXPECT_THAT(outcomes, IsEmpty());
    EXPECT_THAT(failures, IsEmpty());
}

TEST_F(SwitchedOff, OneShotReadsAreDroppedWithoutAReport)
{
    addOnceRead(holding(6000).station(9));
    EnCommStation(9, 0);
    EXPECT_EQ(nullptr, next());
    EXPECT_EQ(0, PLC_driver.onceReadList.size());
    EXPECT_THAT(outcomes, IsEmpty());
    EXPECT_THAT(failures, IsEmpty());
}

TEST_F(SwitchedOff, CyclicReadsMoveBehindTheOthersInTheirOrderHoweverMany)
{
    EnCommStation(9, 0);
    for (const int many : {1, 2, 31, 32, 33, 200}) {
        SCOPED_TRACE(many);
        PLC_driver.readList.clear();
        PLC_driver.sendQueue.clear();
        for (int i = 0; i < many; ++i)
            addRead(holding(i).station(9));
        for (int i = many; i < many + 3; ++i)
            addRead(holding(i).station(1));
        ASSERT_NE(nullptr, next());
        ASSERT_EQ(many + 3, PLC_driver.readList.size());
        for (int i = 0; i < many + 3; ++i)
            EXPECT_EQ((many + i) % (many + 3), PLC_driver.readList.at(i).address);
    }
}

TEST_F(SwitchedOff, DroppedWriteIsNotMirrored)
{
    addWrite(holding(100).station(9).data("2A 00"));
    EnCommStation(9, 0);
    next();
    EXPECT_TRUE(mirrored(9, 5, 100).isEmpty());
}

TEST_F(SwitchedOff, DroppedWritesDoNotCount)
{
    for (int i = 0; i < 7; ++i)
        addWrite(holding(5000 + i).station(9).data("00 00"));
    addWrites(1);
    EnCommStation(9, 0);
    ASSERT_NE(nullptr, next());
    EXPECT_EQ(1, PLC_driver.writeBurst);
    EXPECT_EQ(1, PLC_driver.writeList.size());
}

TEST_F(SwitchedOff, DroppedOneShotReadsDoNotCount)
{
    for (int i = 0; i < 7; ++i)
        addOnceRead(holding(6000 + i).station(9));
    addOnceReads(1);
    EnCommStation(9, 0);
    ASSERT_NE(nullptr, next());
    EXPECT_EQ(1, PLC_driver.onceBurst);
    EXPECT_EQ(1, PLC_driver.onceReadList.size());
}

TEST_F(SwitchedOff, OnceAllWritesAreDroppedTheOtherListsAreServedInTheSameCall)
{
    addWrite(holding(5000).station(9).data("00 00"));
    addOnceRead(holding(6000).station(9));
    addCyclic(1);
    EnCommStation(9, 0);
    EXPECT_EQ("C", serve(1));
}

TEST_F(SwitchedOff, WritesBehindAServedOneAreNotLookedAt)
{
    addWrites(1);
    addWrite(holding(5001).station(9).data("00 00"));
    EnCommStation(9, 0);
    next();
    EXPECT_EQ(2, PLC_driver.writeList.size());
}

// After five writes in a row the write list is not looked at, so nothing is dropped from it either.
TEST_F(SwitchedOff, WritesSurviveTheCallThatIsForOtherLists)
{
    addCyclic(1);
    addWrite(holding(5000).station(9).data("00 00"));
    EnCommStation(9, 0);
    PLC_driver.writeBurst = 5;
    EXPECT_EQ("C", serve(1));
    EXPECT_EQ(1, PLC_driver.writeList.size());
}

TEST_F(SwitchedOff, OneShotReadsSurviveTheCallThatIsForOtherLists)
{
    addCyclic(1);
    addOnceRead(holding(6000).station(9));
    EnCommStation(9, 0);
    PLC_driver.onceBurst = 5;
    EXPECT_EQ("C", serve(1));
    EXPECT_EQ(1, PLC_driver.onceReadList.size());
}

TEST_F(SwitchedOff, WriteListIsServedBeforeOneShotReadsAreLookedAt)
{
    addWrites(1);
    addOnceRead(holding(6000).station(9));
    EnCommStation(9, 0);
    next();
    EXPECT_EQ(1, PLC_driver.onceReadList.size());
}

TEST_F(SwitchedOff, CyclicReadsAreMovedBehindTheOthers)
{
    addRead(holding(0).station(9));
    addRead(holding(1).station(9));
    addRead(holding(2));
    EnCommStation(9, 0);
    EXPECT_EQ(2, next()->var.address);
    EXPECT_THAT(addressesOf(PLC_driver.readList), ElementsAre(2, 0, 1));
}

TEST_F(SwitchedOff, CyclicReadsOfOtherStationsGoOn)
{
    addRead(holding(0));
    addRead(holding(1).station(9));
    addRead(holding(2));
    EnCommStation(9, 0);
    EXPECT_THAT(serveAddresses(5), ElementsAre(0, 2, 0, 2, 0));
}

TEST_F(SwitchedOff, CyclicReadsComeBackWhenTheStationIsSwitchedOn)
{
    addRead(holding(0));
    addRead(holding(1).station(9));
    EnCommStation(9, 0);
    EXPECT_THAT(serveAddresses(2), ElementsAre(0, 0));
    EnCommStation(9, 1);
    EXPECT_THAT(serveAddresses(3), ElementsAre(1, 0, 1));
}

TEST_F(SwitchedOff, ReadListOfNoOtherStationGoesOnceRound)
{
    for (int i = 0; i < 3; ++i)
        addRead(holding(i).station(9));
    EnCommStation(9, 0);
    EXPECT_EQ(nullptr, next());
    EXPECT_THAT(addressesOf(PLC_driver.readList), ElementsAre(0, 1, 2));
}

TEST_F(SwitchedOff, ReadListOfNoOtherStationReportsAFinishedScan)
{
    addRead(holding(0).station(9));
    EnCommStation(9, 0);
    next();
    EXPECT_EQ(1, info.scanDone);
}

TEST_F(SwitchedOff, ReadListOfNoOtherStationOpensTheNextBurst)
{
    addRead(holding(0).station(9));
    addWrites(6);
    EnCommStation(9, 0);
    EXPECT_EQ("WWWWW-W-", serve(8));
}

TEST_F(SwitchedOff, ReadListOfNoOtherStationLeavesTheServedListAsItWas)
{
    addRead(holding(0).station(9));
    EnCommStation(9, 0);
    next();
    EXPECT_EQ(100, PLC_driver.servingList);
}

TEST_F(SwitchedOff, ReadListOfNoOtherStationMarksNothing)
{
    addRead(holding(0).station(9));
    EnCommStation(9, 0);
    next();
    EXPECT_EQ(0, PLC_driver.readList.first().status);
}

TEST_F(SwitchedOff, ReadListOfNoOtherStationStopsThePriorityClocks)
{
    addRead(holding(0).station(9));
    addPriority(4, 1);
    priorityClock(4).due = true;
    priorityClock(4).remaining = 1;
    EnCommStation(9, 0);
    EXPECT_EQ("---", serve(3));
    EXPECT_EQ(0, priorityClock(2).tick);
    EXPECT_TRUE(priorityClock(4).due);
}

// Only heads of the three lists are asked about.
TEST_F(SwitchedOff, PriorityRequestsAreStillServed)
{
    addCyclic(1);
    priorityReads(4).append(holding(4000).station(9));
    EnCommStation(9, 0);
    EXPECT_EQ("C4C4", serve(4));
}

TEST_F(SwitchedOff, HeadIsMovedAwayEvenInACallThatServesAPriorityLevel)
{
    addRead(holding(0).station(9));
    addRead(holding(1));
    addPriority(4, 1);
    priorityClock(4).due = true;
    priorityClock(4).remaining = 1;
    EnCommStation(9, 0);
    EXPECT_EQ("4", serve(1));
    EXPECT_THAT(addressesOf(PLC_driver.readList), ElementsAre(1, 0));
}

TEST_F(SwitchedOff, TransactionInProgressIsCarriedToItsEnd)
{
    addWrite(holding(16).ids(3, 4).station(9).data("34 12"));
    const Protocol *head = next();
    EnCommStation(9, 0);
    EXPECT_EQ(head, next());
    EXPECT_EQ(kResultDone, answer());
    EXPECT_THAT(outcomes, ElementsAre(Outcome{77, 3, 4, 1}));
}

TEST_F(SwitchedOff, VariablesOwnStationCountsNotTheOverride)
{
    overrideStation(7);
    addWrites(1);
    EnCommStation(7, 0);
    EXPECT_NE(nullptr, next());
}

// ---- which builder ----

using LinkMode = CycleDriver;

TEST_F(LinkMode, ZeroSendsModbusFrames)
{
    addWrite(holding(16).data("34 12"));
    addOnceRead(holding(0).count(10));
    addRead(holding(0));
    next();
    EXPECT_EQ(hex("01 06 00 10 12 34 85 78"), queuedFrame());
    answer();
    next();
    EXPECT_EQ(hex("01 03 00 00 00 0A C5 CD"), queuedFrame());
    answer();
    next();
    EXPECT_EQ(hex("01 03 00 00 00 01 84 0A"), queuedFrame());
}

TEST_F(LinkMode, AnyOtherValueSendsRelayFrames)
{
    for (const int mode : {1, 2, -1}) {
        SCOPED_TRACE(mode);
        PLC_driver.sendQueue.clear();
        PLC_driver.readList.clear();
        info.linkMode = mode;
        addRead(holding(0));
        next();
        EXPECT_EQ(hex("16 00 00 00 01 0005 00000000 0001 00000000 00000000 1D"), queuedFrame());
    }
}

TEST_F(LinkMode, RelayedWriteCarriesItsData)
{
    info.linkMode = 1;
    addWrite(holding(100).count(2).station(7).ids(5, 0).linkId(2).data("12 34 56 78"));
    next();
    EXPECT_EQ(hex("1A 05 01 02 07 00 05 00 00 00 64 00 02 00 00 00 00 00 00 00 00 12 34 56 78 A8"),
              queuedFrame());
    EXPECT_EQ(1, PLC_driver.servingList);
}

TEST_F(LinkMode, RelayedOneShotReadIsARelayRead)
{
    info.linkMode = 1;
    addOnceRead(coil(256).count(10).station(7).ids(1, 0).linkId(2));
    next();
    EXPECT_EQ(hex("16 01 00 02 07 00 00 00 00 01 00 00 0A 00 00 00 00 00 00 00 00 2B"), queuedFrame());
    EXPECT_EQ(2, PLC_driver.servingList);
}

TEST_F(LinkMode, RelayedBitWriteIsOneTransaction)
{
    info.linkMode = 1;
    addWrite(holdingBit(35).data("01"));
    next();
    EXPECT_EQ(1, PLC_driver.sendQueue.size());
}

TEST_F(LinkMode, SettingsDecideNotTheVariable)
{
    RW_VAR var = holding(0).count(10);
    var.linkMode = 1;
    addRead(var);
    next();
    EXPECT_EQ(hex("01 03 00 00 00 0A C5 CD"), queuedFrame());
}

// ---- marking the head of the read list ----

using Marking = CycleDriver;

TEST_F(Marking, ServedCyclicReadIsMarkedUntilItIsFinished)
{
    addCyclic(2);
    next();
    EXPECT_EQ(-1, PLC_driver.readList.at(0).status);
    EXPECT_EQ(0, PLC_driver.readList.at(1).status);
    answer();
    EXPECT_EQ(0, PLC_driver.readList.at(0).status);
    EXPECT_EQ(0, PLC_driver.readList.at(1).status);
}

TEST_F(Marking, ModbusRequestIsCopiedBeforeTheHeadIsMarked)
{
    RW_VAR var = holding(0);
    var.status = 6;
    addRead(var);
    next();
    EXPECT_EQ(-1, PLC_driver.readList.first().status);
    EXPECT_EQ(6, PLC_driver.sendQueue.first().var.status);
}

TEST_F(Marking, RelayRequestIsCopiedAfterTheHeadIsMarked)
{
    info.linkMode = 1;
    RW_VAR var = holding(0);
    var.status = 6;
    addRead(var);
    next();
    EXPECT_EQ(-1, PLC_driver.readList.first().status);
    EXPECT_EQ(-1, PLC_driver.sendQueue.first().var.status);
}

TEST_F(Marking, PriorityRequestMarksNothingInModbusForm)
{
    addCyclic(1);
    addPriority(4, 1);
    EXPECT_EQ("C", serve(1));
    EXPECT_EQ(4000, next()->var.address);
    EXPECT_EQ(0, PLC_driver.readList.first().status);
    EXPECT_EQ(0, priorityReads(4).first().status);
    EXPECT_EQ(0, PLC_driver.sendQueue.first().var.status);
}

TEST_F(Marking, PriorityCallMarksTheHeadOfTheReadListInRelayForm)
{
    info.linkMode = 1;
    addCyclic(1);
    addPriority(4, 1);
    serve(1);
    EXPECT_EQ(0, next()->var.address);
    EXPECT_EQ(-1, PLC_driver.readList.first().status);
    EXPECT_EQ(-1, PLC_driver.sendQueue.first().var.status);
}

TEST_F(Marking, WritesAndOneShotReadsMarkNothing)
{
    addCyclic(1);
    addWrites(1);
    addOnceReads(1);
    next();
    EXPECT_EQ(0, PLC_driver.readList.first().status);
    EXPECT_EQ(0, PLC_driver.writeList.first().status);
    answer();
    next();
    EXPECT_EQ(0, PLC_driver.readList.first().status);
    EXPECT_EQ(0, PLC_driver.onceReadList.first().status);
}

// ---- priority clocks, counted by hand ----

using PriorityClocks = CycleDriver;

TEST_F(PriorityClocks, LevelFourIsDueAfterEveryCyclicRead)
{
    addCyclic(2);
    addPriority(4, 1);
    EXPECT_EQ("C4C4C4C4", serve(8));
}

TEST_F(PriorityClocks, LevelFourIsServedOnceForEachOfItsRequests)
{
    addCyclic(2);
    addPriority(4, 3);
    EXPECT_EQ("C444C444C444", serve(12));
}

TEST_F(PriorityClocks, LevelThreeIsDueAfterThreeCyclicReads)
{
    addCyclic(2);
    addPriority(3, 1);
    EXPECT_EQ("CCC3CCC3CCC3", serve(12));
}

// Each service of level 3 counts for two, so a round of it covers half of its requests, rounded up.
TEST_F(PriorityClocks, LevelThreeCountsEachServiceTwice)
{
    const std::map<int, std::string> rounds = {{1, "CCC3CCC3"},      {2, "CCC3CCC3"},     {3, "CCC33CCC33"},
                                               {4, "CCC33CCC33"},    {5, "CCC333CCC333"}, {6, "CCC333CCC333"},
                                               {7, "CCC3333CCC3333"}};
    for (const auto &[requests, letters] : rounds) {
        SCOPED_TRACE(requests);
        renewDriver();
        SetComInfo(&info);
        addCyclic(2);
        addPriority(3, requests);
        EXPECT_EQ(letters, serve(static_cast<int>(letters.size())));
    }
}

TEST_F(PriorityClocks, LevelTwoIsDueOnTheSixthCyclicReadAndThenServedOnConsecutiveCalls)
{
    addCyclic(2);
    addPriority(2, 3);
    EXPECT_EQ("CCCCCC222CCCCCC222", serve(18));
}

TEST_F(PriorityClocks, LevelTwoCountsEachServiceOnce)
{
    addCyclic(2);
    addPriority(2, 2);
    EXPECT_EQ("CCCCCC22CCCCCC22", serve(16));
}

TEST_F(PriorityClocks, LevelOneIsDueAfterThreeRoundsOfTheReadList)
{
    const std::map<int, std::string> rounds = {
        {1, "CCC1CCC1"}, {2, "CCCCCC1CCCCCC1"}, {3, "CCCCCCCCC1CCCCCCCCC1"}};
    for (const auto &[reads, letters] : rounds) {
        SCOPED_TRACE(reads);
        renewDriver();
        SetComInfo(&info);
        addCyclic(reads);
        addPriority(1, 1);
        EXPECT_EQ(letters, serve(static_cast<int>(letters.size())));
    }
}

TEST_F(PriorityClocks, LevelOneIsServedOnceForEachOfItsRequests)
{
    addCyclic(1);
    addPriority(1, 4);
    EXPECT_EQ("CCC1111CCC1111", serve(14));
}

TEST_F(PriorityClocks, LevelOneFollowsTheReadListAsItIsNow)
{
    addCyclic(3);
    addPriority(1, 1);
    EXPECT_EQ("CCCCC", serve(5));
    PLC_driver.readList.removeLast();
    EXPECT_EQ("C1", serve(2));
}

TEST_F(PriorityClocks, LevelOneCountsReadsOfSwitchedOffStationsToo)
{
    addCyclic(1);
    addRead(holding(1).station(9));
    EnCommStation(9, 0);
    addPriority(1, 1);
    EXPECT_EQ("CCCCCC1", serve(7));
}

TEST_F(PriorityClocks, AllLevelsTogetherKeepTheirOwnRates)
{
    addCyclic(2);
    for (int level = 1; level <= 4; ++level)
        addPriority(level, 1);
    EXPECT_EQ("C4C4C34C4C4C1234C4C4C34C4C4C1234", serve(32));
}

TEST_F(PriorityClocks, AllLevelsTogetherHoldTheirRatesOverManyCalls)
{
    addCyclic(2);
    for (int level = 1; level <= 4; ++level)
        addPriority(level, 1);
    std::map<char, int> served;
    for (const char letter : serve(1600))
        ++served[letter];
    EXPECT_EQ((std::map<char, int>{{'C', 600}, {'1', 100}, {'2', 100}, {'3', 200}, {'4', 600}}), served);
}

TEST_F(PriorityClocks, LevelFourWithManyRequestsStarvesNobodyButSlowsAllDown)
{
    addCyclic(1);
    addPriority(4, 9);
    addPriority(2, 2);
    std::map<char, int> served;
    for (const char letter : serve(6200))
        ++served[letter];
    EXPECT_EQ((std::map<char, int>{{'C', 600}, {'2', 200}, {'4', 5400}}), served);
}

TEST_F(PriorityClocks, LevelsDueTogetherAreServedInTheOrderOneTwoThreeFour)
{
    addCyclic(1);
    for (int level = 1; level <= 4; ++level) {
        addPriority(level, 2);
        priorityClock(level).due = true;
        priorityClock(level).remaining = 2;
    }
    EXPECT_EQ("1122344C", serve(8));
}

TEST_F(PriorityClocks, LevelThatBecomesDueIsServedFromTheNextCallOn)
{
    addCyclic(1);
    addPriority(4, 1);
    EXPECT_EQ(0, next()->var.address);
    EXPECT_TRUE(priorityClock(4).due);
    EXPECT_EQ(1, priorityClock(4).remaining);
    answer();
    EXPECT_EQ(4000, next()->var.address);
}

TEST_F(PriorityClocks, BecomingDueSetsTheClockBackAndTheServicesToTheListsLength)
{
    addCyclic(1);
    addPriority(2, 3);
    priorityClock(2).tick = 5;
    next();
    EXPECT_TRUE(priorityClock(2).due);
    EXPECT_EQ(3, priorityClock(2).remaining);
    EXPECT_EQ(0, priorityClock(2).tick);
}

struct DueRow
{
    int level;
    int lastTickNotDue; ///< with a read list of two
};

void PrintTo(const DueRow &row, std::ostream *out)
{
    *out << "level " << row.level;
}

class DueCondition : public CycleDriver, public ::testing::WithParamInterface<DueRow>
{};

TEST_P(DueCondition, IsNotMetOneTickBefore)
{
    addCyclic(2);
    addPriority(GetParam().level, 1);
    priorityClock(GetParam().level).tick = GetParam().lastTickNotDue - 1;
    next();
    EXPECT_FALSE(priorityClock(GetParam().level).due);
    EXPECT_EQ(GetParam().lastTickNotDue, priorityClock(GetParam().level).tick);
}

TEST_P(DueCondition, IsMetOneTickLater)
{
    addCyclic(2);
    addPriority(GetParam().level, 1);
    priorityClock(GetParam().level).tick = GetParam().lastTickNotDue;
    next();
    EXPECT_TRUE(priorityClock(GetParam().level).due);
}

INSTANTIATE_TEST_SUITE_P(Levels, DueCondition,
                         ::testing::Values(DueRow{1, 5}, DueRow{2, 5}, DueRow{3, 2}, DueRow{4, 0}));

TEST_F(PriorityClocks, LevelIsOverWhenItsServicesAreUsedUp)
{
    addCyclic(1);
    for (const int level : {1, 2, 4}) {
        SCOPED_TRACE(level);
        addPriority(level, 5);
        priorityClock(level).due = true;
        priorityClock(level).remaining = 2;
        next();
        answer();
        EXPECT_EQ(1, priorityClock(level).remaining);
        EXPECT_TRUE(priorityClock(level).due);
        next();
        answer();
        EXPECT_EQ(0, priorityClock(level).remaining);
        EXPECT_FALSE(priorityClock(level).due);
    }
}

TEST_F(PriorityClocks, LevelThreeIsOverAtOrBelowZero)
{
    addCyclic(1);
    addPriority(3, 3);
    priorityClock(3).due = true;
    priorityClock(3).remaining = 3;
    next();
    answer();
    EXPECT_EQ(1, priorityClock(3).remaining);
    EXPECT_TRUE(priorityClock(3).due);
    next();
    EXPECT_EQ(-1, priorityClock(3).remaining);
    EXPECT_FALSE(priorityClock(3).due);
}

TEST_F(PriorityClocks, DueLevelWithoutServicesLeftIsServedOnceMore)
{
    addCyclic(1);
    addPriority(2, 1);
    priorityClock(2).due = true;
    priorityClock(2).remaining = 0;
    EXPECT_EQ("2C", serve(2));
}

TEST_F(PriorityClocks, ServedRequestMovesBehindTheOthersOfItsLevel)
{
    addCyclic(1);
    addPriority(2, 3);
    priorityClock(2).due = true;
    priorityClock(2).remaining = 3;
    EXPECT_EQ(2000, next()->var.address);
    EXPECT_THAT(addressesOf(priorityReads(2)), ElementsAre(2001, 2002, 2000));
}

TEST_F(PriorityClocks, RequestsOfALevelTakeTurns)
{
    addCyclic(1);
    addPriority(4, 3);
    EXPECT_THAT(serveAddresses(8), ElementsAre(0, 4000, 4001, 4002, 0, 4000, 4001, 4002));
}

TEST_F(PriorityClocks, RequestsOfLevelThreeTakeTurnsAcrossItsHalfRounds)
{
    addCyclic(1);
    addPriority(3, 3);
    EXPECT_THAT(serveAddresses(15),
                ElementsAre(0, 0, 0, 3000, 3001, 0, 0, 0, 3002, 3000, 0, 0, 0, 3001, 3002));
}

TEST_F(PriorityClocks, PriorityServicesDoNotAdvanceTheClocks)
{
    addCyclic(1);
    addPriority(2, 3);
    priorityClock(2).due = true;
    priorityClock(2).remaining = 3;
    EXPECT_EQ("222", serve(3));
    for (int level = 1; level <= 4; ++level)
        EXPECT_EQ(0, priorityClock(level).tick);
}

TEST_F(PriorityClocks, WritesAndOneShotReadsDoNotAdvanceTheClocks)
{
    addCyclic(1);
    addWrites(3);
    addOnceReads(3);
    EXPECT_EQ("WWWOOO", serve(6));
    for (int level = 1; level <= 4; ++level)
        EXPECT_EQ(0, priorityClock(level).tick);
}

TEST_F(PriorityClocks, WritesBetweenDoNotChangeTheRateOfALevel)
{
    addCyclic(1);
    addPriority(3, 1);
    std::string letters;
    for (int i = 0; i < 8; ++i) {
        addWrites(1);
        letters += serve(2);
    }
    EXPECT_EQ("WCWCWCW3WCWCWCW3", letters);
}

TEST_F(PriorityClocks, ClocksOfEmptyLevelsGoOnToo)
{
    addCyclic(1);
    serve(10);
    for (int level = 1; level <= 4; ++level) {
        SCOPED_TRACE(level);
        EXPECT_EQ(10, priorityClock(level).tick);
        EXPECT_FALSE(priorityClock(level).due);
    }
}

TEST_F(PriorityClocks, LevelFilledLateIsDueOnTheNextCyclicRead)
{
    addCyclic(1);
    serve(10);
    addPriority(2, 1);
    EXPECT_EQ("C2CCCCCC2", serve(9));
}

TEST_F(PriorityClocks, DueLevelThatWasEmptiedIsPassedOver)
{
    addCyclic(1);
    priorityClock(1).due = true;
    priorityClock(1).remaining = 2;
    addPriority(4, 1);
    priorityClock(4).due = true;
    priorityClock(4).remaining = 1;
    EXPECT_EQ("4C", serve(2));
}

TEST_F(PriorityClocks, DueLevelThatWasEmptiedStaysDueUntilItIsFilledAgain)
{
    addCyclic(1);
    priorityClock(2).due = true;
    priorityClock(2).remaining = 2;
    EXPECT_EQ("C", serve(1));
    addPriority(2, 3);
    EXPECT_EQ("22C", serve(3));
}

// Priority requests ride on the cyclic ones: without a read list nobody looks at them.
TEST_F(PriorityClocks, LevelsAreNotServedWithoutAReadList)
{
    addPriority(4, 1);
    priorityClock(4).due = true;
    priorityClock(4).remaining = 1;
    EXPECT_EQ("--", serve(2));
    EXPECT_TRUE(priorityClock(4).due);
    EXPECT_EQ(0, priorityClock(4).tick);
}

TEST_F(PriorityClocks, PriorityServiceResetsBothBurstCounts)
{
    addCyclic(1);
    addPriority(4, 1);
    priorityClock(4).due = true;
    priorityClock(4).remaining = 1;
    addWrites(6);
    EXPECT_EQ("WWWWW4WC", serve(8));
}

TEST_F(PriorityClocks, PriorityServiceCountsAsServiceOfTheReadList)
{
    addCyclic(1);
    addPriority(4, 1);
    priorityClock(4).due = true;
    priorityClock(4).remaining = 1;
    next();
    EXPECT_EQ(0, PLC_driver.servingList);
}

TEST_F(PriorityClocks, PriorityServiceDoesNotTurnTheReadListInModbusForm)
{
    addCyclic(2);
    addPriority(4, 2);
    EXPECT_THAT(serveAddresses(9), ElementsAre(0, 4000, 4001, 1, 4000, 4001, 0, 4000, 4001));
}

TEST_F(PriorityClocks, ClockAtItsLargestValueDoesNoHarm)
{
    addCyclic(1);
    for (int level = 1; level <= 4; ++level)
        priorityClock(level).tick = INT_MAX;
    EXPECT_EQ("CC", serve(2));
}

TEST_F(PriorityClocks, LevelFilledAfterYearsIsDueOnTheNextCyclicRead)
{
    addCyclic(1);
    priorityClock(2).tick = INT_MAX;
    serve(1);
    addPriority(2, 1);
    EXPECT_EQ("C2", serve(2));
}

// ---- priority clocks in relay form: the same timing, but always the head of the read list goes out ----

class RelayedPriorityClocks : public CycleDriver
{
protected:
    RelayedPriorityClocks() { info.linkMode = 1; }

    /// Letters of the levels whose turn it was, found from the services that were used up.
    std::string serveLevels(int calls)
    {
        std::string letters;
        for (int i = 0; i < calls; ++i) {
            qint32 before[5];
            for (int level = 1; level <= 4; ++level)
                before[level] = priorityClock(level).remaining;
            next();
            char letter = 'C';
            for (int level = 1; level <= 4; ++level) {
                if (priorityClock(level).remaining < before[level])
                    letter = static_cast<char>('0' + level);
            }
            letters += letter;
            answer();
        }
        return letters;
    }
};

TEST_F(RelayedPriorityClocks, KeepTheSameRates)
{
    addCyclic(2);
    for (int level = 1; level <= 4; ++level)
        addPriority(level, 1);
    EXPECT_EQ("C4C4C34C4C4C1234C4C4C34C4C4C1234", serveLevels(32));
}

TEST_F(RelayedPriorityClocks, LevelTwoWithThreeRequestsTakesThreeCallsAfterSix)
{
    addCyclic(2);
    addPriority(2, 3);
    EXPECT_EQ("CCCCCC222CCCCCC222", serveLevels(18));
}

TEST_F(RelayedPriorityClocks, LevelThreeCountsEachServiceTwice)
{
    addCyclic(2);
    addPriority(3, 3);
    EXPECT_EQ("CCC33CCC33", serveLevels(10));
}

TEST_F(RelayedPriorityClocks, SendNothingButTheReadList)
{
    addCyclic(3);
    for (int level = 1; level <= 4; ++level)
        addPriority(level, 2);
    EXPECT_THAT(serveAddresses(10), ElementsAre(0, 1, 2, 0, 1, 2, 0, 1, 2, 0));
}

TEST_F(RelayedPriorityClocks, SendTheHeadOfTheReadListByteForByte)
{
    addRead(holding(0));
    addPriority(4, 1);
    serveLevels(1);
    next();
    EXPECT_EQ(hex("16 00 00 00 01 0005 00000000 0001 00000000 00000000 1D"), queuedFrame());
}

TEST_F(RelayedPriorityClocks, TurnTheLevelsThatTheyTimeAllTheSame)
{
    addCyclic(1);
    addPriority(4, 3);
    serveLevels(2);
    EXPECT_THAT(addressesOf(priorityReads(4)), ElementsAre(4001, 4002, 4000));
}

TEST_F(RelayedPriorityClocks, PriorityServicesDoNotAdvanceTheClocks)
{
    addCyclic(1);
    addPriority(4, 3);
    serveLevels(4);
    EXPECT_EQ(1, priorityClock(2).tick);
}

// ---- locks ----

using SchedulerLocks = CycleDriver;

TEST_F(SchedulerLocks, ChoosingWaitsForTheListLock)
{
    addCyclic(1);
    EXPECT_TRUE(waitsFor(PLC_driver.listMutex, [] { ComCommunication(0); }));
}

TEST_F(SchedulerLocks, ReturningTheTransactionInProgressTakesNoLock)
{
    addCyclic(1);
    next();
    for (QMutex *mutex : {&PLC_driver.listMutex, &PLC_driver.cacheMutex, &PLC_driver.stationMutex})
        EXPECT_TRUE(returnsDespite(*mutex, [] { ComCommunication(0); }));
}

TEST_F(SchedulerLocks, ListLockIsFreeAfterwards)
{
    next();
    EXPECT_FALSE(isHeld(PLC_driver.listMutex));
    addCyclic(1);
    addPriority(4, 1);
    addWrites(1);
    addOnceReads(1);
    for (int i = 0; i < 4; ++i) {
        next();
        EXPECT_FALSE(isHeld(PLC_driver.listMutex));
        answer();
    }
}

TEST_F(SchedulerLocks, ListLockIsFreeAfterACallThatFoundOnlySwitchedOffStations)
{
    addRead(holding(0).station(9));
    addWrite(holding(0).station(9).data("00 00"));
    EnCommStation(9, 0);
    next();
    EXPECT_FALSE(isHeld(PLC_driver.listMutex));
}

TEST_F(SchedulerLocks, StationsAreAskedAboutUnderTheListLock)
{
    addCyclic(1);
    PLC_driver.stationMutex.lock();
    auto call = std::async(std::launch::async, [] { ComCommunication(0); });
    EXPECT_TRUE(becomesTrue([] { return isHeld(PLC_driver.listMutex); }));
    EXPECT_EQ(std::future_status::timeout, call.wait_for(std::chrono::milliseconds(20)));
    PLC_driver.stationMutex.unlock();
    call.wait();
}

TEST_F(SchedulerLocks, RequestsAreBuiltUnderTheListLock)
{
    addWrites(1);
    PLC_driver.cacheMutex.lock();
    auto call = std::async(std::launch::async, [] { ComCommunication(0); });
    EXPECT_TRUE(becomesTrue([] { return isHeld(PLC_driver.listMutex); }));
    EXPECT_EQ(std::future_status::timeout, call.wait_for(std::chrono::milliseconds(20)));
    PLC_driver.cacheMutex.unlock();
    call.wait();
}

} // namespace
} // namespace plc::test
