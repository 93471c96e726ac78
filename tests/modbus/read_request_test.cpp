#include "modbus/read_request.h"

#include <climits>
#include <vector>

#include "modbus/exchanges.h"
#include "modbus/write_request.h"

namespace plc::test {
namespace {

class ReadRequest : public SetUpDriver
{
protected:
    /// Builds the request of @p var and gives the transaction that was queued.
    const Protocol &build(RW_VAR var)
    {
        ReadRegister(&var);
        return PLC_driver.sendQueue.last();
    }

    QByteArray frameOf(const RW_VAR &var) { return build(var).frame; }
    int dataLenOf(const RW_VAR &var) { return build(var).dataLen; }
};

class ReadRequestOf : public ReadRequest, public ::testing::WithParamInterface<Exchange>
{};

TEST_P(ReadRequestOf, IsTheFrameOfTheTable)
{
    EXPECT_EQ(hex(GetParam().request), frameOf(GetParam().variable));
}

TEST_P(ReadRequestOf, ExpectsTheDataOfTheTableBehindThreeBytes)
{
    const Protocol &queued = build(GetParam().variable);
    EXPECT_EQ(3, queued.headerLen);
    EXPECT_EQ(GetParam().dataLen, queued.dataLen);
}

TEST_P(ReadRequestOf, GoesOutWithItsCrcHighByteFirstWhenOptionBit7IsSet)
{
    setOptions(kOptionSwapRequestCrc);
    EXPECT_EQ(crcSwapped(hex(GetParam().request)), frameOf(GetParam().variable));
}

TEST_P(ReadRequestOf, ComesFromTheCyclicReads)
{
    addRead(GetParam().variable);
    const Protocol *head = next();
    ASSERT_NE(nullptr, head);
    EXPECT_EQ(hex(GetParam().request), head->frame);
    EXPECT_EQ(8, head->sendLen);
}

TEST_P(ReadRequestOf, ComesFromTheOneShotReads)
{
    addOnceRead(GetParam().variable);
    const Protocol *head = next();
    ASSERT_NE(nullptr, head);
    EXPECT_EQ(hex(GetParam().request), head->frame);
}

INSTANTIATE_TEST_SUITE_P(Each, ReadRequestOf, ::testing::ValuesIn(readExchanges()), exchangeName);

TEST_F(ReadRequest, AsksForTenHoldingRegistersWithCrcLowByteFirst)
{
    EXPECT_EQ(hex("01 03 0000 000A C5CD"), frameOf(holding(0).count(10)));
}

TEST_F(ReadRequest, AsksForTenHoldingRegistersWithCrcHighByteFirstOnOptionBit7)
{
    setOptions(kOptionSwapRequestCrc);
    EXPECT_EQ(hex("01 03 0000 000A CDC5"), frameOf(holding(0).count(10)));
}

TEST_F(ReadRequest, DoesNotHeedTheCrcOrderOfReplies)
{
    setOptions(kOptionSwapReplyCrc);
    EXPECT_EQ(hex("01 03 0000 000A C5CD"), frameOf(holding(0).count(10)));
}

TEST_F(ReadRequest, HeedsNoOptionButBit7)
{
    setOptions(~kOptionSwapRequestCrc);
    EXPECT_EQ(hex("01 03 0000 000A C5CD"), frameOf(holding(0).count(10)));
}

TEST_F(ReadRequest, DoesNotHeedOptionsThatWereNotHandedOver)
{
    info.options = kOptionSwapRequestCrc;
    EXPECT_EQ(hex("01 03 0000 000A C5CD"), frameOf(holding(0).count(10)));
}

TEST_F(ReadRequest, IsBuiltAlikeUnderItsInnerName)
{
    RW_VAR var = holding(0).count(10);
    ReadAnalog(&var);
    EXPECT_EQ(hex("01 03 0000 000A C5CD"), queuedFrame());
}

TEST_F(ReadRequest, SendsAddressAndQuantityHighByteFirst)
{
    EXPECT_EQ(withCrc("01 03 1234 0156"), frameOf(holding(0x1234).count(0x156)));
}

TEST_F(ReadRequest, SendsTheAddressModulo65536)
{
    EXPECT_EQ(withCrc("01 03 FFFF 0001"), frameOf(holding(65535)));
    EXPECT_EQ(withCrc("01 03 0000 0001"), frameOf(holding(65536)));
    EXPECT_EQ(withCrc("01 03 2345 0001"), frameOf(holding(0x12345)));
    EXPECT_EQ(withCrc("01 03 FFFF 0001"), frameOf(holding(-1)));
    EXPECT_EQ(withCrc("01 03 FFFF 0001"), frameOf(holding(INT_MAX)));
    EXPECT_EQ(withCrc("01 03 0000 0001"), frameOf(holding(INT_MIN)));
}

TEST_F(ReadRequest, SendsTheQuantityModulo65536)
{
    EXPECT_EQ(withCrc("01 03 0000 FFFF"), frameOf(holding(0).count(65535)));
    EXPECT_EQ(withCrc("01 03 0000 0000"), frameOf(holding(0).count(65536)));
    EXPECT_EQ(withCrc("01 03 0000 0002"), frameOf(holding(0).count(65538)));
    EXPECT_EQ(withCrc("01 03 0000 FFFF"), frameOf(holding(0).count(-1)));
}

TEST_F(ReadRequest, SurvivesTheExtremeCounts)
{
    for (int regType : {0, 1, 4, 5}) {
        SCOPED_TRACE(regType);
        EXPECT_EQ(hex("FFFF"), frameOf(Variable(regType, 0).count(INT_MAX)).mid(4, 2));
        EXPECT_EQ(hex("0000"), frameOf(Variable(regType, 0).count(INT_MIN)).mid(4, 2));
    }
}

TEST_F(ReadRequest, ExpectsOneDataByteForEightBitsBegun)
{
    const std::vector<std::pair<int, int>> cases = {{0, 0},  {1, 1},  {7, 1},     {8, 1},    {9, 2},
                                                    {16, 2}, {17, 3}, {800, 100}, {801, 101}};
    for (const auto &[count, bytes] : cases) {
        SCOPED_TRACE(count);
        EXPECT_EQ(bytes, dataLenOf(coil(0).count(count)));
        EXPECT_EQ(bytes, dataLenOf(discreteInput(0).count(count)));
    }
}

TEST_F(ReadRequest, RoundsTheDataLengthOfANegativeBitCountTowardZero)
{
    EXPECT_EQ(0, dataLenOf(coil(0).count(-1)));
    EXPECT_EQ(0, dataLenOf(coil(0).count(-7)));
    EXPECT_EQ(0, dataLenOf(coil(0).count(-8)));
    EXPECT_EQ(0, dataLenOf(coil(0).count(-14)));
    EXPECT_EQ(-1, dataLenOf(coil(0).count(-15)));
    EXPECT_EQ(-1, dataLenOf(discreteInput(0).count(-16)));
}

TEST_F(ReadRequest, ExpectsTwoDataBytesForEachRegister)
{
    for (int count : {0, 1, 2, 100, 125}) {
        SCOPED_TRACE(count);
        EXPECT_EQ(count * 2, dataLenOf(holding(0).count(count)));
        EXPECT_EQ(count * 2, dataLenOf(inputRegister(0).count(count)));
    }
}

TEST_F(ReadRequest, StillGoesOutWhenTheQuantityIsZero)
{
    const Protocol &queued = build(coil(0).count(0));
    EXPECT_EQ(withCrc("01 01 0000 0000"), queued.frame);
    EXPECT_EQ(0, queued.dataLen);
}

TEST_F(ReadRequest, GoesToTheLowByteOfTheStation)
{
    EXPECT_EQ(withCrc("F7 03 0000 0001"), frameOf(holding(0).station(247)));
    EXPECT_EQ(withCrc("FF 03 0000 0001"), frameOf(holding(0).station(255)));
    EXPECT_EQ(withCrc("00 03 0000 0001"), frameOf(holding(0).station(256)));
    EXPECT_EQ(withCrc("01 03 0000 0001"), frameOf(holding(0).station(257)));
    EXPECT_EQ(withCrc("FF 03 0000 0001"), frameOf(holding(0).station(-1)));
}

TEST_F(ReadRequest, GoesToTheOverridingStationWhateverTheVariableSays)
{
    overrideStation(0x0107);
    EXPECT_EQ(hex("07 03 0000 000A C5AB"), frameOf(holding(0).count(10).station(1)));
    EXPECT_EQ(hex("07 03 0000 000A C5AB"), frameOf(holding(0).count(10).station(0)));
}

TEST_F(ReadRequest, GoesToStationZeroWhenOnlyTheHighByteOfTheOverrideIsSet)
{
    overrideStation(0x0100);
    EXPECT_EQ(hex("00 03 0000 000A C41C"), frameOf(holding(0).count(10).station(1)));
}

TEST_F(ReadRequest, IsNotOverriddenByZero)
{
    words[50499] = 9;
    words[50501] = 9;
    overrideStation(0);
    EXPECT_EQ(hex("01 03 0000 000A C5CD"), frameOf(holding(0).count(10).station(1)));
}

TEST_F(ReadRequest, LooksAtTheOverrideEachTime)
{
    overrideStation(7);
    EXPECT_EQ(withCrc("07 03 0000 0001"), frameOf(holding(0)));
    overrideStation(8);
    EXPECT_EQ(withCrc("08 03 0000 0001"), frameOf(holding(0)));
    overrideStation(0);
    EXPECT_EQ(withCrc("01 03 0000 0001"), frameOf(holding(0)));
}

TEST_F(ReadRequest, IsNotOverriddenWithoutAWordArea)
{
    FlashLocalRegister(nullptr, nullptr, nullptr);
    EXPECT_EQ(hex("01 03 0000 000A C5CD"), frameOf(holding(0).count(10)));
}

TEST_F(ReadRequest, KeepsTheStationOfTheVariableInTheQueuedRecordWhenOverridden)
{
    overrideStation(7);
    EXPECT_EQ(1, build(holding(0)).var.station);
}

TEST_F(ReadRequest, AwaitsAReply)
{
    EXPECT_EQ(-1, build(holding(0)).replyLen);
}

TEST_F(ReadRequest, AwaitsAReplyEvenOfStationZero)
{
    EXPECT_EQ(-1, build(holding(0).station(0)).replyLen);
}

TEST_F(ReadRequest, HasEightBytesToTransmit)
{
    EXPECT_EQ(8, build(holding(0)).sendLen);
    EXPECT_EQ(8, build(coil(0).count(800)).sendLen);
}

TEST_F(ReadRequest, LeavesTheReservedFieldsZero)
{
    const Protocol &queued = build(holding(0));
    EXPECT_EQ(0, queued.spare1);
    EXPECT_EQ(0, queued.spare2);
    EXPECT_EQ(0, queued.spare3);
}

TEST_F(ReadRequest, CarriesACopyOfAllFieldsOfTheVariable)
{
    expectSameFields(everyFieldSet(), build(everyFieldSet()).var);
}

TEST_F(ReadRequest, DoesNotChangeTheVariable)
{
    RW_VAR var = everyFieldSet();
    ReadRegister(&var);
    expectSameFields(everyFieldSet(), var);
}

TEST_F(ReadRequest, DoesNotFollowLaterChangesOfTheVariable)
{
    RW_VAR var = everyFieldSet();
    ReadRegister(&var);
    var.data[0] = '\x77';
    var.varName.append(QLatin1Char('!'));
    var.count = 9;
    expectSameFields(everyFieldSet(), PLC_driver.sendQueue.at(0).var);
}

TEST_F(ReadRequest, QueuesBehindWhatIsQueued)
{
    build(holding(1));
    build(holding(2));
    ASSERT_EQ(2, PLC_driver.sendQueue.size());
    EXPECT_EQ(withCrc("01 03 0001 0001"), queuedFrame(0));
    EXPECT_EQ(withCrc("01 03 0002 0001"), queuedFrame(1));
}

TEST_F(ReadRequest, LeavesTheHeadWhereItIsWhenOthersFollow)
{
    build(holding(1));
    const Protocol *head = &PLC_driver.sendQueue.first();
    for (int i = 0; i < 200; ++i)
        build(holding(2));
    EXPECT_EQ(head, &PLC_driver.sendQueue.first());
    EXPECT_EQ(withCrc("01 03 0001 0001"), head->frame);
}

TEST_F(ReadRequest, StartsAnOperationOfOneStep)
{
    info.stepTotal = 2;
    info.stepDone = 1;
    build(holding(0));
    EXPECT_EQ(1, info.stepTotal);
    EXPECT_EQ(0, info.stepDone);
}

TEST_F(ReadRequest, DoesNotResetTheRetryCounter)
{
    info.retryCount = 2;
    build(holding(0));
    EXPECT_EQ(2, info.retryCount);
}

TEST_F(ReadRequest, DoesNotTouchTheMirror)
{
    build(holding(0).count(10));
    EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
}

TEST_F(ReadRequest, OfAnUnsupportedTypeRepeatsTheLastFunctionCodeAndExpectsNoData)
{
    for (int regType : {2, 3, 6, 7, 8, 9, 10, 100, -1, INT_MAX, INT_MIN}) {
        SCOPED_TRACE(regType);
        build(holding(0));
        const Protocol &odd = build(Variable(regType, 0x21).count(2).station(4));
        EXPECT_EQ(withCrc("04 03 0021 0002"), odd.frame);
        EXPECT_EQ(0, odd.dataLen);
        EXPECT_EQ(3, odd.headerLen);
        EXPECT_EQ(-1, odd.replyLen);
        EXPECT_EQ(8, odd.sendLen);

        build(discreteInput(0));
        EXPECT_EQ(withCrc("04 02 0021 0002"), frameOf(Variable(regType, 0x21).count(2).station(4)));
    }
}

TEST_F(ReadRequest, OfAnUnsupportedTypeHasFunctionCodeZeroOnAFreshDriver)
{
    EXPECT_EQ(withCrc("01 00 0021 0002"), frameOf(holdingBit(0x21).count(2)));
}

TEST_F(ReadRequest, OfAnUnsupportedTypeRepeatsTheFunctionCodeOfAWriteToo)
{
    RW_VAR write = holding(0).count(2).data("01000200");
    WriteAnalog(&write);
    EXPECT_EQ(withCrc("01 10 0021 0002"), frameOf(holdingBit(0x21).count(2)));
}

TEST_F(ReadRequest, OfAnUnsupportedTypeStillStartsAnOperationOfOneStep)
{
    info.stepTotal = 2;
    info.stepDone = 1;
    build(holdingBit(0));
    EXPECT_EQ(1, info.stepTotal);
    EXPECT_EQ(0, info.stepDone);
}

TEST_F(ReadRequest, IsEightBytesLongAfterALongWrite)
{
    RW_VAR write = holding(0).count(100).data(QByteArray(200, '\x5A'));
    WriteAnalog(&write);
    EXPECT_EQ(hex("01 03 0000 000A C5CD"), frameOf(holding(0).count(10)));
}

TEST_F(ReadRequest, OfNothingQueuesNothing)
{
    info.stepTotal = 2;
    ReadRegister(nullptr);
    ReadAnalog(nullptr);
    EXPECT_TRUE(PLC_driver.sendQueue.isEmpty());
    EXPECT_EQ(2, info.stepTotal);
}

TEST_F(ReadRequest, TakesNoLockOfItsOwn)
{
    QMutexLocker lists(&PLC_driver.listMutex);
    QMutexLocker cache(&PLC_driver.cacheMutex);
    QMutexLocker stations(&PLC_driver.stationMutex);
    EXPECT_EQ(hex("01 03 0000 000A C5CD"), frameOf(holding(0).count(10)));
}

} // namespace
} // namespace plc::test
