#include "core/context.h"

#include <climits>
#include <cstring>
#include <new>
#include <type_traits>

#include "core/register_types.h"
#include "modbus/read_request.h"
#include "support/driver_fixture.h"
#include "support/lock_probe.h"
#include "support/records.h"

namespace plc::test {
namespace {

/// A driver object built in memory that held something else before, so that a member nobody initialises
/// shows.
class NewContext : public ::testing::Test
{
protected:
    NewContext()
    {
        std::memset(memory, 0xA5, sizeof memory);
        context = new (memory) Communication_Protocol();
    }
    ~NewContext() override { context->~Communication_Protocol(); }

    alignas(Communication_Protocol) unsigned char memory[sizeof(Communication_Protocol)];
    Communication_Protocol *context;
};

TEST_F(NewContext, KnowsNothingOfTheRuntime)
{
    EXPECT_EQ(nullptr, context->comInfo);
    EXPECT_TRUE(context->resultCallback == nullptr);
    EXPECT_TRUE(context->failureCallback == nullptr);
}

TEST_F(NewContext, HasEmptyLists)
{
    EXPECT_EQ(0, context->readList.size());
    EXPECT_EQ(0, context->writeList.size());
    EXPECT_EQ(0, context->onceReadList.size());
    EXPECT_EQ(0, context->spareList.size());
    EXPECT_EQ(0, context->sendQueue.size());
    EXPECT_EQ(0, context->extendList.size());
    EXPECT_EQ(0, context->writeCount);
}

TEST_F(NewContext, HasEmptyIndexesAndNoDisabledStation)
{
    EXPECT_EQ(0, context->disabledStations.size());
    EXPECT_EQ(0, context->nameIndex.size());
    EXPECT_EQ(0, context->registerCache.size());
}

TEST_F(NewContext, HasABlankResultRecord)
{
    const RW_VAR &result = context->retVar;
    expectSameRequest(RW_VAR(), result);
    EXPECT_EQ(0, result.status);
    EXPECT_TRUE(result.data.isEmpty());
}

TEST_F(NewContext, HasServedNothingYet)
{
    EXPECT_EQ(100, context->servingList);
    EXPECT_EQ(0, context->writeBurst);
    EXPECT_EQ(0, context->onceBurst);
    EXPECT_EQ(0, context->readsServed);
    EXPECT_FALSE(context->failed);
    EXPECT_EQ(0, context->forceCheck);
}

TEST_F(NewContext, HasNoOptions)
{
    EXPECT_EQ(0u, context->options);
    for (const bool flag :
         {context->optBit0, context->optBit1, context->optBit4, context->optBit5, context->optBit6,
          context->optBit7, context->optBit8, context->optBit9, context->optBit10, context->optBit11})
        EXPECT_FALSE(flag);
}

TEST_F(NewContext, HasAScratchBufferOf1026Zeros)
{
    ASSERT_EQ(1026u, sizeof context->txBuf);
    for (const uchar byte : context->txBuf)
        ASSERT_EQ(0, byte);
}

TEST_F(NewContext, HasFourIdlePriorityLevels)
{
    for (int level = 0; level < 4; ++level) {
        SCOPED_TRACE(level + 1);
        EXPECT_EQ(0, context->priorityAddresses[level].size());
        EXPECT_EQ(0, context->priorityReads[level].size());
        EXPECT_FALSE(context->priorityClocks[level].due);
        EXPECT_EQ(0, context->priorityClocks[level].remaining);
        EXPECT_EQ(0, context->priorityClocks[level].tick);
    }
}

TEST_F(NewContext, HasThreeFreeMutexesThatDoNotNest)
{
    for (QMutex *mutex : {&context->listMutex, &context->cacheMutex, &context->stationMutex}) {
        EXPECT_TRUE(mutex->tryLock());
        EXPECT_FALSE(mutex->tryLock());
        mutex->unlock();
    }
}

TEST(DriverObject, HasNoVirtualOperations)
{
    EXPECT_FALSE(std::is_polymorphic<Communication_Protocol>::value);
}

class Options : public SetUpDriver
{
protected:
    /// The flags as the bits they were decoded from.
    static quint32 flags()
    {
        const Communication_Protocol &d = PLC_driver;
        return (d.optBit0 ? 0x001u : 0) | (d.optBit1 ? 0x002u : 0) | (d.optBit4 ? 0x010u : 0) |
               (d.optBit5 ? 0x020u : 0) | (d.optBit6 ? 0x040u : 0) | (d.optBit7 ? 0x080u : 0) |
               (d.optBit8 ? 0x100u : 0) | (d.optBit9 ? 0x200u : 0) | (d.optBit10 ? 0x400u : 0) |
               (d.optBit11 ? 0x800u : 0);
    }
};

TEST_F(Options, EachKnownBitSetsItsOwnFlagAlone)
{
    for (const int bit : {0, 1, 4, 5, 6, 7, 8, 9, 10, 11}) {
        SCOPED_TRACE(bit);
        setOptions(1u << bit);
        EXPECT_EQ(1u << bit, flags());
    }
}

TEST_F(Options, EachHasANameForItsBitAndAPredicateForItsFlag)
{
    struct Row
    {
        int bit;
        quint32 name;
        bool (*isOn)();
    };
    const Row rows[] = {{0, kOptionOneBased, addressesAreOneBased},
                        {1, kOptionRegisterAsBlock, registerGoesAsBlock},
                        {4, kOptionBitFromMirror, bitComesFromMirror},
                        {5, kOptionSingleRegisters, registersGoSingly},
                        {6, kOptionSingleCoils, coilsGoSingly},
                        {7, kOptionSwapRequestCrc, swapsRequestCrc},
                        {8, kOptionSwapReplyCrc, swapsReplyCrc},
                        {9, kOptionNoReplyToSingle, singleWritesGetNoReply},
                        {10, kOptionNoReplyToBlock, blockWritesGetNoReply},
                        {11, kOptionNoBitPacking, bitsAreNotPacked}};
    for (const Row &row : rows) {
        SCOPED_TRACE(row.bit);
        EXPECT_EQ(1u << row.bit, row.name);
        setOptions(1u << row.bit);
        for (const Row &other : rows)
            EXPECT_EQ(other.bit == row.bit, other.isOn()) << other.bit;
    }
}

TEST(OptionWord, HasAnOptionWhenAllItsBitsAreSet)
{
    EXPECT_TRUE(hasOption(0x211, kOptionNoReplyToSingle));
    EXPECT_TRUE(hasOption(0x211, kOptionNoReplyToSingle | kOptionOneBased));
    EXPECT_FALSE(hasOption(0x211, kOptionNoReplyToSingle | kOptionSingleCoils));
    EXPECT_FALSE(hasOption(0, kOptionOneBased));
}

TEST_F(Options, BitsTwoThreeAndTwelveUpwardsSetNoFlag)
{
    setOptions(0x0C);
    EXPECT_EQ(0u, flags());
    setOptions(0xFFFFF00Cu);
    EXPECT_EQ(0u, flags());
}

TEST_F(Options, AllBitsSetAllTenFlags)
{
    setOptions(0xFFFFFFFFu);
    EXPECT_EQ(0xFF3u, flags());
}

TEST_F(Options, LaterCallClearsFlagsThatAreNoLongerSet)
{
    setOptions(0xFFFFFFFFu);
    setOptions(0x200);
    EXPECT_EQ(0x200u, flags());
}

TEST_F(Options, WordIsKeptWholeWithItsUnknownBits)
{
    setOptions(0x8000100Cu);
    EXPECT_EQ(0x8000100Cu, PLC_driver.options);
}

TEST_F(Options, ChangeInTheRecordCountsOnlyFromTheNextSetUp)
{
    info.options = 0x80;
    addRead(holding(0).count(10));
    next();
    EXPECT_EQ(hex("01 03 00 00 00 0A C5 CD"), queuedFrame());
    EXPECT_EQ(0u, flags());
}

using Settings = SetUpDriver;

TEST_F(Settings, RecordIsKeptByAddress)
{
    EXPECT_EQ(&info, PLC_driver.comInfo);
}

TEST_F(Settings, LaterRecordReplacesTheFormerOne)
{
    COM_INFO other = info;
    SetComInfo(&other);
    EXPECT_EQ(&other, PLC_driver.comInfo);
}

TEST_F(Settings, ReservedWordsAreZeroed)
{
    info.reserved40 = 7;
    info.reserved52 = 8;
    SetComInfo(&info);
    EXPECT_EQ(0, info.reserved40);
    EXPECT_EQ(0, info.reserved52);
}

TEST_F(Settings, CountersAndReportsOfTheDriverAreNotReset)
{
    info.retryCount = 3;
    info.stepTotal = 4;
    info.stepDone = 5;
    info.scanDone = 6;
    SetComInfo(&info);
    EXPECT_EQ(3, info.retryCount);
    EXPECT_EQ(4, info.stepTotal);
    EXPECT_EQ(5, info.stepDone);
    EXPECT_EQ(6, info.scanDone);
}

TEST_F(Settings, SettingUpAgainLosesNoVariable)
{
    addRead(holding(0));
    addWrite(holding(1).data("01 00"));
    SetComInfo(&info);
    EXPECT_EQ(1, PLC_driver.readList.size());
    EXPECT_EQ(1, PLC_driver.writeList.size());
}

TEST_F(Settings, NullRecordChangesNothing)
{
    setOptions(0x80);
    SetComInfo(nullptr);
    EXPECT_EQ(&info, PLC_driver.comInfo);
    EXPECT_TRUE(PLC_driver.optBit7);
}

// Everything but the option word is read from the record whenever it is used.
TEST_F(Settings, LargestBlockIsReadAtEveryUse)
{
    info.maxBlock = 3;
    addOnceRead(holding(0).count(10).text("0"), 0);
    EXPECT_EQ(4, PLC_driver.onceReadList.size());
}

TEST_F(Settings, StationsAreReadAtEveryUse)
{
    info.stationMode = 0;
    info.defaultStation = 9;
    addOnceRead(holding(0).text("0").station(3), 0);
    EXPECT_EQ(9, PLC_driver.onceReadList.first().station);
}

TEST_F(Settings, LinkModeIsReadAtEveryUse)
{
    addOnceRead(holding(0).ids(1, 0));
    addOnceRead(holding(1).ids(2, 0));
    next();
    EXPECT_EQ(8, queuedFrame().size());
    complete(hex("01 03 02 00 00 B8 44"));
    info.linkMode = 1;
    next();
    EXPECT_EQ(22, queuedFrame().size());
}

TEST_F(Settings, CallbackArgumentIsReadAtEveryUse)
{
    addWrite(holding(16).ids(3, 4).data("01 00"));
    next();
    info.callbackArg = -5;
    complete(hex("01 06 00 10 00 01 49 CF"));
    EXPECT_THAT(outcomes, ::testing::ElementsAre(Outcome{-5, 3, 4, 1}));
}

TEST_F(Settings, RetryLimitIsReadAtEveryUse)
{
    addRead(holding(0));
    next();
    info.retryLimit = 0;
    EXPECT_EQ(41, silence());
}

TEST_F(Settings, WriteModeIsReadAtEveryUse)
{
    QByteArray value = hex("2A 00");
    info.writeMode = 1;
    EXPECT_EQ(0, SetRegisterData("", 5, "100", 1, &value, 1, 1, 1));
    info.writeMode = 2;
    EXPECT_EQ(1, SetRegisterData("", 5, "100", 1, &value, 1, 1, 1));
}

TEST_F(Settings, BlocksBelowOneCountAsOneRegister)
{
    for (const int maxBlock : {0, -1, INT_MIN}) {
        SCOPED_TRACE(maxBlock);
        info.maxBlock = maxBlock;
        EXPECT_EQ(1, registerLimit());
        EXPECT_EQ(8, bitLimit());
    }
}

TEST_F(Settings, BitsOfABlockAreEightTimesItsRegisters)
{
    info.maxBlock = 60;
    EXPECT_EQ(60, registerLimit());
    EXPECT_EQ(480, bitLimit());
}

TEST_F(Settings, BitsOfAnEnormousBlockSaturate)
{
    info.maxBlock = INT_MAX / 8;
    EXPECT_EQ(INT_MAX / 8 * 8, bitLimit());
    info.maxBlock = INT_MAX / 8 + 1;
    EXPECT_EQ(INT_MAX, bitLimit());
    info.maxBlock = INT_MAX;
    EXPECT_EQ(INT_MAX, bitLimit());
}

TEST_F(Settings, CommonStationServesAllOnlyWhileStationModeIsZero)
{
    info.defaultStation = 9;
    info.stationMode = 0;
    EXPECT_EQ(9, effectiveStation(3));
    for (const int mode : {1, 2, -1}) {
        info.stationMode = mode;
        EXPECT_EQ(3, effectiveStation(3));
    }
}

TEST_F(FreshDriver, WithoutSettingsServesSinglesAtTheirOwnStations)
{
    EXPECT_EQ(1, registerLimit());
    EXPECT_EQ(8, bitLimit());
    EXPECT_EQ(3, effectiveStation(3));
}

TEST_F(Settings, OperationStartsWithItsStepsAndNoneDone)
{
    info.stepDone = 7;
    beginOperation(2);
    EXPECT_EQ(2, info.stepTotal);
    EXPECT_EQ(0, info.stepDone);
}

using Memory = FreshDriver;

TEST_F(Memory, AreasAreKeptInTheOrderBitsWordsThird)
{
    unsigned char bits[1];
    unsigned short words[1];
    unsigned short third[1];
    FlashLocalRegister(bits, words, third);
    EXPECT_EQ(bits, LB);
    EXPECT_EQ(words, LW);
    EXPECT_EQ(third, RWI);
}

TEST_F(Memory, LaterAreasReplaceTheFormerOnes)
{
    unsigned char bits[1];
    unsigned short words[2];
    FlashLocalRegister(bits, words, words);
    FlashLocalRegister(nullptr, words + 1, nullptr);
    EXPECT_EQ(nullptr, LB);
    EXPECT_EQ(words + 1, LW);
    EXPECT_EQ(nullptr, RWI);
}

class StationOverride : public SetUpDriver
{
protected:
    QByteArray readFrame()
    {
        PLC_driver.sendQueue.clear();
        RW_VAR var = holding(0);
        ReadRegister(&var);
        return queuedFrame();
    }
};

TEST_F(StationOverride, ZeroLeavesTheVariablesOwnStation)
{
    overrideStation(0);
    EXPECT_EQ(hex("01 03 00 00 00 01 84 0A"), readFrame());
}

TEST_F(StationOverride, NonZeroWordReplacesTheStationOfAReadByItsLowByte)
{
    overrideStation(0x0107);
    EXPECT_EQ(hex("07 03 00 00 00 01 84 6C"), readFrame());
}

// The whole word decides, though only its low byte is sent.
TEST_F(StationOverride, WordWithAZeroLowByteSendsToStationZero)
{
    overrideStation(0x0100);
    EXPECT_EQ(hex("00 03 00 00 00 01 85 DB"), readFrame());
}

TEST_F(StationOverride, AppliesToWritesToo)
{
    overrideStation(7);
    addWrite(holding(16).data("34 12"));
    next();
    EXPECT_EQ(hex("07 06 00 10 12 34 85 1E"), queuedFrame());
}

TEST_F(StationOverride, AppliesToBothHalvesOfABitWrite)
{
    overrideStation(7);
    addWrite(holdingBit(35).data("01"));
    next();
    ASSERT_EQ(2, PLC_driver.sendQueue.size());
    EXPECT_EQ(7, queuedFrame(0).at(0));
    EXPECT_EQ(7, queuedFrame(1).at(0));
}

TEST_F(StationOverride, IsLookedAtForEveryRequest)
{
    overrideStation(7);
    readFrame();
    overrideStation(0);
    EXPECT_EQ(1, readFrame().at(0));
}

TEST_F(StationOverride, DoesNotReachRelayFrames)
{
    overrideStation(7);
    info.linkMode = 1;
    addRead(holding(0));
    next();
    EXPECT_EQ(1, queuedFrame().at(4));
}

TEST_F(StationOverride, OnlyTheWordAtIndex50500Counts)
{
    words[50499] = 7;
    words[50501] = 7;
    EXPECT_EQ(1, readFrame().at(0));
}

TEST_F(StationOverride, NoWordAreaMeansNoOverride)
{
    FlashLocalRegister(nullptr, nullptr, nullptr);
    EXPECT_EQ(1, readFrame().at(0));
}

TEST_F(StationOverride, LeavesTheQueuedVariableAlone)
{
    overrideStation(7);
    readFrame();
    EXPECT_EQ(1, PLC_driver.sendQueue.first().var.station);
}

void ignoreResult(int, int, int, int) {}
void ignoreFailure(QList<RW_VAR> *, int, int) {}
void ignoreFailureToo(QList<RW_VAR> *, int, int) {}

using Callbacks = FreshDriver;

TEST_F(Callbacks, AreKeptInTheOrderResultFailure)
{
    RegistCallBackFuncIntf(ignoreResult, ignoreFailure);
    EXPECT_TRUE(PLC_driver.resultCallback == ignoreResult);
    EXPECT_TRUE(PLC_driver.failureCallback == ignoreFailure);
}

TEST_F(Callbacks, LaterOnesReplaceTheFormerOnes)
{
    RegistCallBackFuncIntf(ignoreResult, ignoreFailure);
    RegistCallBackFuncIntf(nullptr, ignoreFailureToo);
    EXPECT_TRUE(PLC_driver.resultCallback == nullptr);
    EXPECT_TRUE(PLC_driver.failureCallback == ignoreFailureToo);
}

TEST_F(Callbacks, AreNotCalledWhenTheyAreRegistered)
{
    RegistCallBackFuncIntf([](int, int, int, int) { ADD_FAILURE(); },
                           [](QList<RW_VAR> *, int, int) { ADD_FAILURE(); });
}

using BeforeSetUp = FreshDriver;

TEST_F(BeforeSetUp, BackgroundWorkIsFinished)
{
    EXPECT_EQ(1, QueryFinishFlag());
}

using BackgroundWork = SetUpDriver;

TEST_F(BackgroundWork, IsFinishedEvenInTheMiddleOfATransaction)
{
    EXPECT_EQ(1, QueryFinishFlag());
    addWrite(holding(16).data("34 12"));
    EXPECT_EQ(1, QueryFinishFlag());
    next();
    EXPECT_EQ(1, QueryFinishFlag());
    silence();
    EXPECT_EQ(1, QueryFinishFlag());
}

using EntryPointsOfSetUp = SetUpDriver;

TEST_F(EntryPointsOfSetUp, TakeNoLock)
{
    for (QMutex *mutex : {&PLC_driver.listMutex, &PLC_driver.cacheMutex, &PLC_driver.stationMutex}) {
        EXPECT_TRUE(returnsDespite(*mutex, [this] {
            SetComInfo(&info);
            FlashLocalRegister(nullptr, words.data(), nullptr);
            RegistCallBackFuncIntf(nullptr, nullptr);
            QueryFinishFlag();
        }));
    }
}

TEST_F(BeforeSetUp, ThereIsNothingToSend)
{
    PLC_driver.writeList.append(holding(16).data("34 12"));
    PLC_driver.readList.append(holding(0));
    EXPECT_EQ(nullptr, ComCommunication(0));
    EXPECT_EQ(1, PLC_driver.writeList.size());
    EXPECT_EQ(0, PLC_driver.sendQueue.size());
}

TEST_F(BeforeSetUp, VariablesAreRefused)
{
    RW_VAR var = holding(16).data("34 12").text("16");
    EXPECT_EQ(0, AddListReadVar(&var));
    EXPECT_EQ(0, AddListOnceReadVar(&var, 0));
    EXPECT_EQ(0, AddListOnceReadVar(&var, 1));
    EXPECT_EQ(0, AddListWriteVar(&var, 0));
    EXPECT_EQ(0, AddListWriteVar(&var, 1));
}

TEST_F(BeforeSetUp, TheResultRecordIsReturnedAllTheSame)
{
    QByteArray reply = hex("01 03 02 00 00 B8 44");
    EXPECT_EQ(&PLC_driver.retVar, DataCom(&reply, 7));
    EXPECT_EQ(&PLC_driver.retVar, DataCom(nullptr, 0));
}

TEST_F(BeforeSetUp, StartingAnOperationDoesNothing)
{
    beginOperation(2);
    EXPECT_EQ(nullptr, PLC_driver.comInfo);
}

using SendQueue = FreshDriver;

TEST_F(SendQueue, TransactionGoesBehindTheOthers)
{
    queueTransaction(holding(1), hex("01"));
    queueTransaction(holding(2), hex("01 02"));
    ASSERT_EQ(2, PLC_driver.sendQueue.size());
    EXPECT_EQ(1, PLC_driver.sendQueue.at(0).sendLen);
    EXPECT_EQ(2, PLC_driver.sendQueue.at(1).sendLen);
}

TEST_F(SendQueue, TransactionIsAsNewButForItsFrameAndVariable)
{
    Protocol &transaction = queueTransaction(holding(100).ids(3, 4).data("34 12"), hex("01 06"));
    EXPECT_EQ(&PLC_driver.sendQueue.last(), &transaction);
    EXPECT_EQ(hex("01 06"), transaction.frame);
    EXPECT_EQ(2, transaction.sendLen);
    EXPECT_EQ(0, transaction.replyLen);
    EXPECT_EQ(0, transaction.headerLen);
    EXPECT_EQ(0, transaction.dataLen);
    EXPECT_EQ(0, transaction.spare1 | transaction.spare2 | transaction.spare3);
    EXPECT_EQ(100, transaction.var.address);
    EXPECT_EQ(3, transaction.var.hostId);
    EXPECT_EQ(4, transaction.var.hostSubId);
    EXPECT_EQ(hex("34 12"), transaction.var.data);
}

// The runtime keeps the pointer to the head while it transmits.
TEST_F(SendQueue, HeadStaysWhereItIsWhileOthersAreQueuedBehindIt)
{
    queueTransaction(holding(1), hex("01"));
    const Protocol *head = &PLC_driver.sendQueue.at(0);
    for (int i = 0; i < 1000; ++i)
        queueTransaction(holding(2), hex("01 02"));
    EXPECT_EQ(head, &PLC_driver.sendQueue.at(0));
    EXPECT_EQ(1, head->sendLen);
}

} // namespace
} // namespace plc::test
