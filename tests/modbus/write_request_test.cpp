#include "modbus/write_request.h"

#include <chrono>
#include <climits>
#include <future>
#include <utility>
#include <vector>

#include "mirror/register_cache.h"
#include "modbus/exchanges.h"
#include "modbus/read_request.h"

namespace plc::test {
namespace {

class WriteRequest : public SetUpDriver
{
protected:
    /// Builds one frame and gives the transaction that was queued.
    const Protocol &build(RW_VAR var)
    {
        WriteAnalog(&var);
        return PLC_driver.sendQueue.last();
    }

    QByteArray frameOf(const RW_VAR &var) { return build(var).frame; }

    /// The whole entry: frames and mirror.
    void write(RW_VAR var) { WriteRegister(&var); }
};

class WriteRequestOf : public WriteRequest, public ::testing::WithParamInterface<Exchange>
{};

TEST_P(WriteRequestOf, IsTheFrameOfTheTable)
{
    const Protocol &queued = build(GetParam().variable);
    EXPECT_EQ(hex(GetParam().request), queued.frame);
    EXPECT_EQ(queued.frame.size(), queued.sendLen);
}

TEST_P(WriteRequestOf, GoesOutWithItsCrcHighByteFirstWhenOptionBit7IsSet)
{
    setOptions(kOptionSwapRequestCrc);
    EXPECT_EQ(crcSwapped(hex(GetParam().request)), frameOf(GetParam().variable));
}

TEST_P(WriteRequestOf, DoesNotHeedTheCrcOrderOfReplies)
{
    setOptions(kOptionSwapReplyCrc);
    EXPECT_EQ(hex(GetParam().request), frameOf(GetParam().variable));
}

TEST_P(WriteRequestOf, ComesFromTheWriteListAndIsMirroredAtOnce)
{
    addWrite(GetParam().variable);
    const Protocol *head = next();
    ASSERT_NE(nullptr, head);
    EXPECT_EQ(hex(GetParam().request), head->frame);
    for (const Element &element : GetParam().elements)
        EXPECT_EQ(hex(element.bytes), mirrored(0x11, GetParam().variable.regType, element.address))
            << element.address;
    EXPECT_EQ(static_cast<int>(GetParam().elements.size()), PLC_driver.registerCache.size());
}

TEST_P(WriteRequestOf, GoesToTheOverridingStationWhateverTheVariableSays)
{
    overrideStation(0x0207);
    QByteArray expected = hex(GetParam().request).mid(1);
    expected.prepend('\x07');
    EXPECT_EQ(expected.left(expected.size() - 2), frameOf(GetParam().variable).left(expected.size() - 2));
    EXPECT_EQ(0, witnessCrc(PLC_driver.sendQueue.last().frame));
}

INSTANTIATE_TEST_SUITE_P(Each, WriteRequestOf, ::testing::ValuesIn(writeExchanges()), exchangeName);

// Coils.

TEST_F(WriteRequest, SwitchesOneCoilOnWithFF00)
{
    EXPECT_EQ(hex("01 05 0013 FF00 7DFF"), frameOf(coil(0x13).data("01")));
}

TEST_F(WriteRequest, SwitchesOneCoilOffWith0000)
{
    EXPECT_EQ(hex("01 05 0013 0000 3C0F"), frameOf(coil(0x13).data("00")));
}

TEST_F(WriteRequest, SwitchesOneCoilOnForAnyNonZeroByteEvenWithBit0Clear)
{
    for (const char *byte : {"02", "80", "FE", "FF"})
        EXPECT_EQ(hex("01 05 0013 FF00 7DFF"), frameOf(coil(0x13).data(byte))) << byte;
}

TEST_F(WriteRequest, LooksOnlyAtTheFirstByteOfOneCoil)
{
    EXPECT_EQ(hex("01 05 0013 0000 3C0F"), frameOf(coil(0x13).data("00 FF FF")));
}

TEST_F(WriteRequest, SwitchesOneCoilOffWhenItsByteIsMissing)
{
    EXPECT_EQ(hex("01 05 0013 0000 3C0F"), frameOf(coil(0x13).data("")));
}

TEST_F(WriteRequest, WritesOneCoilWithFunction5WhateverOptionBit1Says)
{
    setOptions(kOptionRegisterAsBlock);
    EXPECT_EQ(hex("01 05 0013 FF00 7DFF"), frameOf(coil(0x13).data("01")));
}

TEST_F(WriteRequest, SendsSeveralCoilsAsTheyArePacked)
{
    EXPECT_EQ(hex("01 0F 0013 000A 02 FF03 E66A"), frameOf(coil(0x13).count(10).data("FF 03")));
}

TEST_F(WriteRequest, SendsSpareCoilBitsAsTheyAre)
{
    EXPECT_EQ(withCrc("01 0F 0013 000A 02 FFFF"), frameOf(coil(0x13).count(10).data("FF FF")));
}

TEST_F(WriteRequest, TakesTheByteCountOfCoilsFromTheDataNotFromTheCount)
{
    EXPECT_EQ(withCrc("01 0F 0013 000A 03 FF0355"), frameOf(coil(0x13).count(10).data("FF 03 55")));
    EXPECT_EQ(withCrc("01 0F 0013 000A 01 FF"), frameOf(coil(0x13).count(10).data("FF")));
}

TEST_F(WriteRequest, SendsCoilsWithoutDataWithoutPadding)
{
    EXPECT_EQ(hex("01 0F 0013 000A 00 091B"), frameOf(coil(0x13).count(10).data("")));
}

TEST_F(WriteRequest, TakesFunction15ForEveryCoilCountOtherThanOne)
{
    EXPECT_EQ(withCrc("01 0F 0013 0000 01 01"), frameOf(coil(0x13).count(0).data("01")));
    EXPECT_EQ(withCrc("01 0F 0013 0002 01 01"), frameOf(coil(0x13).count(2).data("01")));
    EXPECT_EQ(withCrc("01 0F 0013 FFFF 01 01"), frameOf(coil(0x13).count(-1).data("01")));
    EXPECT_EQ(withCrc("01 0F 0013 0001 01 01"), frameOf(coil(0x13).count(65537).data("01")));
}

// Holding registers.

TEST_F(WriteRequest, WritesOneHoldingRegisterWithFunction6HighByteFirst)
{
    const Protocol &queued = build(holding(0x10).data("34 12"));
    EXPECT_EQ(hex("01 06 0010 1234 8578"), queued.frame);
    EXPECT_EQ(8, queued.sendLen);
    EXPECT_EQ(-1, queued.replyLen);
}

TEST_F(WriteRequest, WritesOneHoldingRegisterWithFunction16OnOptionBit1)
{
    setOptions(kOptionRegisterAsBlock);
    const Protocol &queued = build(holding(0x10).data("34 12"));
    EXPECT_EQ(hex("01 10 0010 0001 02 1234 A9B7"), queued.frame);
    EXPECT_EQ(11, queued.sendLen);
}

TEST_F(WriteRequest, WritesSeveralHoldingRegistersEachHighByteFirst)
{
    EXPECT_EQ(hex("01 10 0010 0002 04 1234 5678 8997"), frameOf(holding(0x10).count(2).data("3412 7856")));
}

TEST_F(WriteRequest, DecidesBetweenFunctions6And16ByTheCountNotByTheData)
{
    EXPECT_EQ(hex("01 06 0010 1234 8578"), frameOf(holding(0x10).count(1).data("3412 7856")));
    EXPECT_EQ(withCrc("01 10 0010 0002 02 1234"), frameOf(holding(0x10).count(2).data("3412")));
    EXPECT_EQ(withCrc("01 10 0010 0000 02 1234"), frameOf(holding(0x10).count(0).data("3412")));
    EXPECT_EQ(withCrc("01 10 0010 FFFF 02 1234"), frameOf(holding(0x10).count(-1).data("3412")));
    EXPECT_EQ(withCrc("01 10 0010 0001 02 1234"), frameOf(holding(0x10).count(65537).data("3412")));
}

TEST_F(WriteRequest, ReadsMissingBytesOfOneRegisterAsZero)
{
    EXPECT_EQ(hex("01 06 0010 0034 89D8"), frameOf(holding(0x10).data("34")));
    EXPECT_EQ(hex("01 06 0010 0000 880F"), frameOf(holding(0x10).data("")));
}

TEST_F(WriteRequest, CompletesAnOddLastRegisterWithZeroButCountsTheBytesGiven)
{
    const Protocol &queued = build(holding(0x10).count(2).data("01 02 03"));
    EXPECT_EQ(hex("01 10 0010 0002 03 0201 0003 571A"), queued.frame);
    EXPECT_EQ(13, queued.sendLen);
}

TEST_F(WriteRequest, PadsWithZeroEvenWhenALongerFrameWasBuiltBefore)
{
    build(holding(0).count(100).data(QByteArray(200, '\x5A')));
    EXPECT_EQ(hex("01 10 0010 0002 03 0201 0003 571A"), frameOf(holding(0x10).count(2).data("01 02 03")));
    EXPECT_EQ(hex("01 06 0010 0034 89D8"), frameOf(holding(0x10).data("34")));
    EXPECT_EQ(hex("01 10 0064 0004 05 04030201 00000005 5177"),
              frameOf(holdingPair(100).count(2).data("01020304 05")));
}

TEST_F(WriteRequest, WithoutDataIsNineBytesWithByteCountZero)
{
    EXPECT_EQ(hex("01 10 0010 0000 00 0D90"), frameOf(holding(0x10).count(0).data("")));
    EXPECT_EQ(hex("01 10 0064 0002 00 1700"), frameOf(holdingPair(100).data("")));
    EXPECT_EQ(withCrc("01 10 0010 0001 00"), frameOf(Variable(9, 0x10).data("")));
}

// 32-bit pairs.

TEST_F(WriteRequest, ReversesTheFourBytesOfAPair)
{
    EXPECT_EQ(hex("01 10 0064 0002 04 12345678 8F40"), frameOf(holdingPair(100).data("78563412")));
}

TEST_F(WriteRequest, SendsTwiceTheCountAsTheQuantityOfPairs)
{
    EXPECT_EQ(hex("01 10 0064 0004 08 12345678 9ABCDEF0 28C7"),
              frameOf(holdingPair(100).count(2).data("78563412 F0DEBC9A")));
}

TEST_F(WriteRequest, TakesFunction16ForOnePairWhateverOptionBit1Says)
{
    for (quint32 options : {0u, kOptionRegisterAsBlock}) {
        setOptions(options);
        EXPECT_EQ(hex("01 10 0064 0002 04 12345678 8F40"), frameOf(holdingPair(100).data("78563412")));
    }
}

TEST_F(WriteRequest, SendsTheDoubledCountModulo65536)
{
    EXPECT_EQ(withCrc("01 10 0064 0002 04 12345678"),
              frameOf(holdingPair(100).count(0x8001).data("78563412")));
    EXPECT_EQ(withCrc("01 10 0064 FFFE 04 12345678"), frameOf(holdingPair(100).count(-1).data("78563412")));
    EXPECT_EQ(withCrc("01 10 0064 FFFE 04 12345678"),
              frameOf(holdingPair(100).count(INT_MAX).data("78563412")));
    EXPECT_EQ(withCrc("01 10 0064 0000 04 12345678"),
              frameOf(holdingPair(100).count(INT_MIN).data("78563412")));
}

TEST_F(WriteRequest, CompletesTheLastPairWithZerosButCountsTheBytesGiven)
{
    EXPECT_EQ(hex("01 10 0064 0004 05 04030201 00000005 5177"),
              frameOf(holdingPair(100).count(2).data("01020304 05")));
    EXPECT_EQ(withCrc("01 10 0064 0002 01 00000001"), frameOf(holdingPair(100).data("01")));
    EXPECT_EQ(withCrc("01 10 0064 0002 02 00000201"), frameOf(holdingPair(100).data("0102")));
    EXPECT_EQ(withCrc("01 10 0064 0002 03 00030201"), frameOf(holdingPair(100).data("010203")));
}

// Types with a function code of their own.

TEST_F(WriteRequest, TakesFunction6ForType8WhateverCountAndOptionBit1Say)
{
    for (quint32 options : {0u, kOptionRegisterAsBlock}) {
        setOptions(options);
        for (int count : {0, 1, 2, 100}) {
            SCOPED_TRACE(count);
            EXPECT_EQ(hex("01 06 0010 1234 8578"), frameOf(Variable(8, 0x10).count(count).data("3412 7856")));
        }
    }
}

TEST_F(WriteRequest, ReadsMissingBytesOfType8AsZero)
{
    EXPECT_EQ(hex("01 06 0010 0034 89D8"), frameOf(Variable(8, 0x10).data("34")));
    EXPECT_EQ(hex("01 06 0010 0000 880F"), frameOf(Variable(8, 0x10).data("")));
}

TEST_F(WriteRequest, TakesFunction16ForType9EvenForOneRegister)
{
    for (quint32 options : {0u, kOptionRegisterAsBlock}) {
        setOptions(options);
        EXPECT_EQ(hex("01 10 0010 0001 02 1234 A9B7"), frameOf(Variable(9, 0x10).data("34 12")));
        EXPECT_EQ(hex("01 10 0010 0002 04 1234 5678 8997"),
                  frameOf(Variable(9, 0x10).count(2).data("3412 7856")));
    }
}

TEST_F(WriteRequest, CompletesAnOddLastRegisterOfType9WithZero)
{
    EXPECT_EQ(hex("01 10 0010 0002 03 0201 0003 571A"), frameOf(Variable(9, 0x10).count(2).data("01 02 03")));
}

TEST_F(WriteRequest, OfATypeWithoutWriteFrameIsSixBytesWithTheLastFunctionCode)
{
    for (int regType : {1, 2, 3, 4, 6, 10, 100, -1, INT_MAX, INT_MIN}) {
        SCOPED_TRACE(regType);
        RW_VAR read = holding(0);
        ReadRegister(&read);
        const Protocol &odd = build(Variable(regType, 0x10).count(1).data("34 12"));
        EXPECT_EQ(hex("01 03 0010 F014"), odd.frame);
        EXPECT_EQ(6, odd.sendLen);
        EXPECT_EQ(-1, odd.replyLen);

        build(holding(0).data("0000"));
        EXPECT_EQ(hex("01 06 0010 E015"), frameOf(Variable(regType, 0x10).count(1).data("34 12")));
    }
}

TEST_F(WriteRequest, OfATypeWithoutWriteFrameHasFunctionCodeZeroOnAFreshDriver)
{
    EXPECT_EQ(withCrc("01 00 0010"), frameOf(inputRegister(0x10).data("34 12")));
}

TEST_F(WriteRequest, OfATypeWithoutWriteFrameGoesOutWithItsCrcInTheChosenOrder)
{
    setOptions(kOptionSwapRequestCrc);
    EXPECT_EQ(withSwappedCrc("01 00 0010"), frameOf(inputRegister(0x10).data("34 12")));
}

// Header.

TEST_F(WriteRequest, SendsTheAddressModulo65536HighByteFirst)
{
    const std::vector<std::pair<int, const char *>> cases = {{0x1234, "1234"}, {65535, "FFFF"},
                                                             {65536, "0000"},  {0x12345, "2345"},
                                                             {-1, "FFFF"},     {INT_MAX, "FFFF"}};
    for (const auto &[address, bytes] : cases) {
        SCOPED_TRACE(address);
        EXPECT_EQ(hex(bytes), frameOf(holding(address).data("3412")).mid(2, 2));
        EXPECT_EQ(hex(bytes), frameOf(coil(address).count(9).data("FF01")).mid(2, 2));
    }
}

TEST_F(WriteRequest, GoesToTheLowByteOfTheStation)
{
    EXPECT_EQ(withCrc("F7 06 0010 1234"), frameOf(holding(0x10).station(247).data("3412")));
    EXPECT_EQ(withCrc("01 06 0010 1234"), frameOf(holding(0x10).station(257).data("3412")));
}

TEST_F(WriteRequest, GoesToStationZeroWhenOnlyTheHighByteOfTheOverrideIsSet)
{
    overrideStation(0x0100);
    EXPECT_EQ(hex("00 06 0010 1234 84A9"), frameOf(holding(0x10).data("3412")));
}

TEST_F(WriteRequest, IsNotOverriddenWithoutAWordArea)
{
    FlashLocalRegister(nullptr, nullptr, nullptr);
    EXPECT_EQ(hex("01 06 0010 1234 8578"), frameOf(holding(0x10).data("3412")));
}

// The queued record.

TEST_F(WriteRequest, ToStationZeroAwaitsNoReply)
{
    EXPECT_EQ(0, build(holding(0x10).station(0).data("3412")).replyLen);
    EXPECT_EQ(0, build(coil(0x10).station(0).count(9).data("FF01")).replyLen);
}

TEST_F(WriteRequest, AwaitsNoReplyByTheStationOfTheVariableEvenWhenOverridden)
{
    overrideStation(7);
    const Protocol &queued = build(holding(0x10).station(0).data("3412"));
    EXPECT_EQ(hex("07 06 0010 1234 851E"), queued.frame);
    EXPECT_EQ(0, queued.replyLen);
}

TEST_F(WriteRequest, AwaitsAReplyByTheStationOfTheVariableEvenWhenTheFrameGoesToStationZero)
{
    overrideStation(0x0100);
    EXPECT_EQ(-1, build(holding(0x10).station(1).data("3412")).replyLen);
}

TEST_F(WriteRequest, AwaitsAReplyOfStation256ThoughItsLowByteIsZero)
{
    const Protocol &queued = build(holding(0x10).station(256).data("3412"));
    EXPECT_EQ(hex("00 06 0010 1234 84A9"), queued.frame);
    EXPECT_EQ(-1, queued.replyLen);
}

TEST_F(WriteRequest, AwaitsAReplyOfTypes8And9WhateverOptionBits9And10Say)
{
    setOptions(kOptionNoReplyToSingle | kOptionNoReplyToBlock);
    EXPECT_EQ(-1, build(Variable(8, 0x10).data("3412")).replyLen);
    EXPECT_EQ(-1, build(Variable(9, 0x10).data("3412")).replyLen);
}

TEST_F(WriteRequest, ExpectsNeitherHeaderNorData)
{
    const Protocol &queued = build(holding(0x10).count(2).data("3412 7856"));
    EXPECT_EQ(0, queued.headerLen);
    EXPECT_EQ(0, queued.dataLen);
    EXPECT_EQ(0, queued.spare1);
    EXPECT_EQ(0, queued.spare2);
    EXPECT_EQ(0, queued.spare3);
}

TEST_F(WriteRequest, CarriesACopyOfAllFieldsOfTheVariable)
{
    expectSameFields(everyFieldSet(), build(everyFieldSet()).var);
}

TEST_F(WriteRequest, DoesNotChangeTheVariable)
{
    RW_VAR var = everyFieldSet();
    WriteRegister(&var);
    expectSameFields(everyFieldSet(), var);
}

TEST_F(WriteRequest, DoesNotDisturbThoseWhoShareTheData)
{
    RW_VAR var = holding(0x10).count(2).data("3412 7856");
    const QByteArray shared = var.data;
    WriteRegister(&var);
    EXPECT_EQ(hex("3412 7856"), shared);
    EXPECT_EQ(hex("3412 7856"), var.data);
}

TEST_F(WriteRequest, QueuesBehindWhatIsQueued)
{
    build(holding(1).data("0000"));
    build(holding(2).data("0000"));
    ASSERT_EQ(2, PLC_driver.sendQueue.size());
    EXPECT_EQ(withCrc("01 06 0001 0000"), queuedFrame(0));
    EXPECT_EQ(withCrc("01 06 0002 0000"), queuedFrame(1));
}

TEST_F(WriteRequest, StartsAnOperationOfOneStep)
{
    info.stepTotal = 2;
    info.stepDone = 1;
    build(holding(0x10).data("3412"));
    EXPECT_EQ(1, info.stepTotal);
    EXPECT_EQ(0, info.stepDone);
}

TEST_F(WriteRequest, DoesNotResetTheRetryCounter)
{
    info.retryCount = 2;
    write(holding(0x10).data("3412"));
    EXPECT_EQ(2, info.retryCount);
}

TEST_F(WriteRequest, OfNothingQueuesNothing)
{
    WriteRegister(nullptr);
    WriteAnalog(nullptr);
    EXPECT_TRUE(PLC_driver.sendQueue.isEmpty());
    EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
}

TEST_F(WriteRequest, TakesNeitherTheListMutexNorTheStationMutex)
{
    QMutexLocker lists(&PLC_driver.listMutex);
    QMutexLocker stations(&PLC_driver.stationMutex);
    write(holding(0x10).data("3412"));
    write(holdingBit(35).data("01"));
    EXPECT_EQ(3, PLC_driver.sendQueue.size());
}

// Long data.

TEST_F(WriteRequest, IsCompleteAroundTheSizeOfTheScratchBuffer)
{
    for (int size = 1010; size <= 1040; ++size) {
        SCOPED_TRACE(size);
        QByteArray expected = hex("01 0F 0013 2000");
        expected.append(static_cast<char>(size & 0xFF)).append(QByteArray(size, '\x5A'));
        const Protocol &queued = build(coil(0x13).count(0x2000).data(QByteArray(size, '\x5A')));
        ASSERT_EQ(size + 9, queued.frame.size());
        EXPECT_EQ(size + 9, queued.sendLen);
        EXPECT_EQ(expected, queued.frame.left(size + 7));
        EXPECT_EQ(0, witnessCrc(queued.frame));
    }
}

TEST_F(WriteRequest, SwapsEveryRegisterOf5000Bytes)
{
    QByteArray data;
    QByteArray swapped;
    for (int i = 0; i < 2500; ++i) {
        const char low = static_cast<char>(i & 0xFF);
        const char high = static_cast<char>(i >> 8);
        data.append(low).append(high);
        swapped.append(high).append(low);
    }
    const Protocol &queued = build(holding(0).count(2500).data(data));
    ASSERT_EQ(5009, queued.frame.size());
    EXPECT_EQ(5009, queued.sendLen);
    EXPECT_EQ(hex("01 10 0000 09C4 88"), queued.frame.left(7));
    EXPECT_EQ(swapped, queued.frame.mid(7, 5000));
    EXPECT_EQ(0, witnessCrc(queued.frame));
}

TEST_F(WriteRequest, ReversesEveryPairOf5001BytesAndPadsTheLast)
{
    QByteArray data;
    QByteArray reversed;
    for (int i = 0; i < 1250; ++i) {
        const char low = static_cast<char>(i & 0xFF);
        const char high = static_cast<char>(i >> 8);
        data.append(low).append(high).append('\x33').append('\x44');
        reversed.append('\x44').append('\x33').append(high).append(low);
    }
    data.append('\x77');
    reversed.append(hex("00000077"));
    const Protocol &queued = build(holdingPair(0).count(1251).data(data));
    ASSERT_EQ(5013, queued.frame.size());
    EXPECT_EQ(hex("01 10 0000 09C6 89"), queued.frame.left(7));
    EXPECT_EQ(reversed, queued.frame.mid(7, 5004));
    EXPECT_EQ(0, witnessCrc(queued.frame));
}

TEST_F(WriteRequest, CountsTheBytesModulo256)
{
    EXPECT_EQ('\x00', frameOf(coil(0).count(2048).data(QByteArray(256, '\0'))).at(6));
    EXPECT_EQ('\x2C', frameOf(holding(0).count(150).data(QByteArray(300, '\0'))).at(6));
    EXPECT_EQ('\x04', frameOf(holdingPair(0).count(65).data(QByteArray(260, '\0'))).at(6));
}

TEST_F(WriteRequest, CoversMoreThan65535BytesWithItsCrc)
{
    const Protocol &queued = build(holding(0).count(35000).data(QByteArray(70000, '\x5A')));
    EXPECT_EQ(70009, queued.sendLen);
    ASSERT_EQ(70009, queued.frame.size());
    EXPECT_EQ(0, witnessCrc(queued.frame));
}

TEST_F(WriteRequest, LeavesItsFunctionCodeBehindHoweverLongItWas)
{
    build(holding(0).count(2500).data(QByteArray(5000, '\x5A')));
    EXPECT_EQ(withCrc("01 10 0010"), frameOf(inputRegister(0x10).data("3412")));
    build(coil(0).count(9).data("FF01"));
    EXPECT_EQ(withCrc("01 0F 0010"), frameOf(inputRegister(0x10).data("3412")));
}

// Mirroring.

TEST_F(WriteRequest, ShowsTheNewValueInTheMirrorAtOnce)
{
    write(holding(0x10).count(2).data("3412 7856"));
    EXPECT_EQ(hex("3412"), mirrored(1, 5, 0x10));
    EXPECT_EQ(hex("7856"), mirrored(1, 5, 0x11));
}

TEST_F(WriteRequest, ShowsEveryTypeInTheMirror)
{
    write(Variable(8, 0x20).data("3412"));
    write(Variable(9, 0x21).data("7856"));
    write(holdingPair(0x22).data("78563412"));
    write(coil(0x23).data("01"));
    EXPECT_EQ(hex("3412"), mirrored(1, 5, 0x20));
    EXPECT_EQ(hex("7856"), mirrored(1, 5, 0x21));
    EXPECT_EQ(hex("3412"), mirrored(1, 5, 0x22));
    EXPECT_EQ(hex("7856"), mirrored(1, 5, 0x23));
    EXPECT_EQ(hex("01"), mirrored(1, 0, 0x23));
    EXPECT_EQ(5, PLC_driver.registerCache.size());
}

TEST_F(WriteRequest, ShowsAWriteWithMissingDataAsTheZerosThatItSends)
{
    mirror(1, 0, 0x10, hex("01"));
    write(coil(0x10).data(""));
    EXPECT_EQ(hex("00"), mirrored(1, 0, 0x10));
    write(holding(0x10).count(2).data("01 02 03"));
    EXPECT_EQ(hex("0102"), mirrored(1, 5, 0x10));
    EXPECT_EQ(hex("0300"), mirrored(1, 5, 0x11));
}

TEST_F(WriteRequest, LeavesTheMirrorAloneWhileTheLastTransactionHasFailed)
{
    PLC_driver.failed = true;
    mirror(1, 5, 0x10, hex("1111"));
    write(holding(0x10).data("3412"));
    write(coil(0x10).data("01"));
    write(holdingBit(35).data("01"));
    EXPECT_EQ(hex("1111"), mirrored(1, 5, 0x10));
    EXPECT_EQ(1, PLC_driver.registerCache.size());
}

TEST_F(WriteRequest, GoesOutWhileTheLastTransactionHasFailed)
{
    PLC_driver.failed = true;
    write(holding(0x10).data("3412"));
    EXPECT_EQ(hex("01 06 0010 1234 8578"), queuedFrame());
    EXPECT_TRUE(PLC_driver.failed);
}

TEST_F(WriteRequest, IsMirroredUnderTheStationOfTheVariableNotTheOverridingOne)
{
    overrideStation(7);
    write(holding(0x10).data("3412"));
    EXPECT_EQ(hex("3412"), mirrored(1, 5, 0x10));
    EXPECT_EQ(1, PLC_driver.registerCache.size());
}

TEST_F(WriteRequest, ToStationZeroIsMirroredUnderStationZero)
{
    write(holding(0x10).station(0).data("3412"));
    EXPECT_EQ(hex("3412"), mirrored(0, 5, 0x10));
}

TEST_F(WriteRequest, OfOneFrameAloneDoesNotTouchTheMirror)
{
    build(holding(0x10).data("3412"));
    EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
}

TEST_F(WriteRequest, OfAReadOnlyTypeGoesOutButIsNotMirrored)
{
    write(inputRegister(0x10).data("3412"));
    EXPECT_EQ(1, PLC_driver.sendQueue.size());
    EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
}

// Bits inside registers, over the wire.

TEST_F(WriteRequest, OfABitQueuesAReadAndAWriteOfItsRegister)
{
    write(holdingBit(35).data("01"));
    ASSERT_EQ(2, PLC_driver.sendQueue.size());
    EXPECT_EQ(hex("01 03 0002 0001 25CA"), queuedFrame(0));
    EXPECT_EQ(hex("01 06 0002 0000 280A"), queuedFrame(1));
}

TEST_F(WriteRequest, OfABitQueuesAFunction16WriteOnOptionBit1)
{
    setOptions(kOptionRegisterAsBlock);
    write(holdingBit(35).data("01"));
    ASSERT_EQ(2, PLC_driver.sendQueue.size());
    EXPECT_EQ(hex("01 03 0002 0001 25CA"), queuedFrame(0));
    EXPECT_EQ(hex("01 10 0002 0001 02 0000 A7B2"), queuedFrame(1));
}

TEST_F(WriteRequest, OfABitIsAnOperationOfTwoSteps)
{
    info.stepDone = 1;
    write(holdingBit(35).data("01"));
    EXPECT_EQ(2, info.stepTotal);
    EXPECT_EQ(0, info.stepDone);
}

TEST_F(WriteRequest, OfABitMarksItsReadHalf)
{
    write(holdingBit(35).station(9).relayArgs(29, 30).ids(21, 22).data("01"));
    const Protocol &read = PLC_driver.sendQueue.at(0);
    EXPECT_EQ(-1, read.var.relayArg1);
    EXPECT_EQ(30, read.var.relayArg2);
    EXPECT_EQ(0, read.var.direction);
    EXPECT_EQ(5, read.var.regType);
    EXPECT_EQ(2, read.var.address);
    EXPECT_EQ(1, read.var.count);
    EXPECT_EQ(9, read.var.station);
    EXPECT_EQ(21, read.var.hostId);
    EXPECT_EQ(22, read.var.hostSubId);
    EXPECT_EQ(hex("0000"), read.var.data);
    EXPECT_EQ(-1, read.replyLen);
    EXPECT_EQ(3, read.headerLen);
    EXPECT_EQ(2, read.dataLen);
    EXPECT_EQ(8, read.sendLen);
}

TEST_F(WriteRequest, OfABitMarksItsWriteHalf)
{
    write(holdingBit(35).station(9).relayArgs(29, 30).ids(21, 22).direction(7).data("01"));
    const Protocol &half = PLC_driver.sendQueue.at(1);
    EXPECT_EQ(0, half.var.relayArg1);
    EXPECT_EQ(30, half.var.relayArg2);
    EXPECT_EQ(1, half.var.direction);
    EXPECT_EQ(5, half.var.regType);
    EXPECT_EQ(2, half.var.address);
    EXPECT_EQ(1, half.var.count);
    EXPECT_EQ(9, half.var.station);
    EXPECT_EQ(21, half.var.hostId);
    EXPECT_EQ(22, half.var.hostSubId);
    EXPECT_EQ(hex("0000"), half.var.data);
    EXPECT_EQ(-1, half.replyLen);
    EXPECT_EQ(0, half.headerLen);
    EXPECT_EQ(0, half.dataLen);
    EXPECT_EQ(8, half.sendLen);
}

TEST_F(WriteRequest, OfABitCarriesTheTextsInBothHalves)
{
    RW_VAR var = holdingBit(35).text("2.3").data("01");
    var.varName = QString::fromLatin1("pump");
    var.linkId = 24;
    WriteRegister(&var);
    for (const Protocol &half : PLC_driver.sendQueue) {
        EXPECT_EQ("pump", half.var.varName.toStdString());
        EXPECT_EQ("2.3", half.var.addrText.toStdString());
        EXPECT_EQ(24, half.var.linkId);
    }
}

TEST_F(WriteRequest, OfABitToStationZeroAwaitsAReplyToItsReadHalfOnly)
{
    write(holdingBit(35).station(0).data("01"));
    EXPECT_EQ(-1, PLC_driver.sendQueue.at(0).replyLen);
    EXPECT_EQ(0, PLC_driver.sendQueue.at(1).replyLen);
}

TEST_F(WriteRequest, OfABitFindsTheRegisterBySixteens)
{
    const std::vector<std::pair<int, const char *>> cases = {
        {0, "0000"}, {15, "0000"}, {16, "0001"}, {31, "0001"}, {32, "0002"}, {65535 * 16 + 15, "FFFF"}};
    for (const auto &[address, registerNumber] : cases) {
        SCOPED_TRACE(address);
        PLC_driver.sendQueue.clear();
        write(holdingBit(address).data("01"));
        EXPECT_EQ(hex(registerNumber), queuedFrame(0).mid(2, 2));
        EXPECT_EQ(hex(registerNumber), queuedFrame(1).mid(2, 2));
    }
}

TEST_F(WriteRequest, OfABitDividesANegativeAddressTowardZero)
{
    PLC_driver.failed = true; // a negative address has no place in the mirror
    write(holdingBit(-35).data("01"));
    EXPECT_EQ(hex("FFFE"), queuedFrame(0).mid(2, 2));
    EXPECT_EQ(-2, PLC_driver.sendQueue.at(0).var.address);
    EXPECT_EQ(hex("FFFE"), queuedFrame(1).mid(2, 2));
}

TEST_F(WriteRequest, OfSeveralBitsStillTransfersOneRegister)
{
    write(holdingBit(35).count(20).data("01"));
    EXPECT_EQ(hex("01 03 0002 0001 25CA"), queuedFrame(0));
    EXPECT_EQ(hex("01 06 0002 0000 280A"), queuedFrame(1));
}

TEST_F(WriteRequest, OfABitGoesToTheOverridingStationInBothHalves)
{
    overrideStation(7);
    write(holdingBit(35).data("01"));
    EXPECT_EQ('\x07', queuedFrame(0).at(0));
    EXPECT_EQ('\x07', queuedFrame(1).at(0));
}

TEST_F(WriteRequest, OfABitShowsTheBitInTheMirrorBeforeAnythingWasRead)
{
    write(holdingBit(35).data("01"));
    EXPECT_EQ(hex("0800"), mirrored(1, 5, 2));
    EXPECT_EQ(1, PLC_driver.registerCache.size());
}

TEST_F(WriteRequest, OfABitSendsZeroEvenWhenTheMirrorKnowsTheRegister)
{
    mirror(1, 5, 2, hex("FFFF"));
    write(holdingBit(35).data("01"));
    EXPECT_EQ(hex("01 06 0002 0000 280A"), queuedFrame(1));
}

TEST_F(WriteRequest, OfABitDoesNotChangeTheVariable)
{
    RW_VAR var = everyFieldSet();
    var.regType = 3;
    RW_VAR before = var;
    WriteRegister(&var);
    expectSameFields(before, var);
}

// Bits inside registers, from the mirror.

class BitFromMirror : public WriteRequest
{
protected:
    BitFromMirror() { setOptions(kOptionBitFromMirror); }

    /// Register value in the single-register write at the head of the queue.
    int writtenValue() const
    {
        return static_cast<uchar>(queuedFrame().at(4)) * 256 + static_cast<uchar>(queuedFrame().at(5));
    }
};

TEST_F(BitFromMirror, IsSetInTheMirroredValueAndWrittenInOneTransaction)
{
    mirror(1, 5, 2, hex("0100"));
    write(holdingBit(35).data("01"));
    ASSERT_EQ(1, PLC_driver.sendQueue.size());
    EXPECT_EQ(hex("01 06 0002 0009 E80C"), queuedFrame());
    EXPECT_EQ(1, info.stepTotal);
    EXPECT_EQ(0, info.stepDone);
}

TEST_F(BitFromMirror, IsClearedInTheMirroredValue)
{
    mirror(1, 5, 2, hex("0900"));
    write(holdingBit(35).data("00"));
    EXPECT_EQ(hex("01 06 0002 0001 E9CA"), queuedFrame());
}

TEST_F(BitFromMirror, GoesOutWithFunction16OnOptionBit1)
{
    setOptions(kOptionBitFromMirror | kOptionRegisterAsBlock);
    mirror(1, 5, 2, hex("0100"));
    write(holdingBit(35).data("01"));
    EXPECT_EQ(hex("01 10 0002 0001 02 0009 67B4"), queuedFrame());
}

TEST_F(BitFromMirror, ReachesEveryBitOfTheRegister)
{
    for (int bit = 0; bit < 16; ++bit) {
        SCOPED_TRACE(bit);
        PLC_driver.sendQueue.clear();
        mirror(1, 5, 2, hex("0000"));
        write(holdingBit(32 + bit).data("01"));
        EXPECT_EQ(1 << bit, writtenValue());

        PLC_driver.sendQueue.clear();
        mirror(1, 5, 2, hex("FFFF"));
        write(holdingBit(32 + bit).data("00"));
        EXPECT_EQ(0xFFFF - (1 << bit), writtenValue());
    }
}

TEST_F(BitFromMirror, TakesTheFirstByteOfTheEntryAsTheLowOne)
{
    mirror(1, 5, 2, hex("3412"));
    write(holdingBit(32).data("01"));
    EXPECT_EQ(withCrc("01 06 0002 1235"), queuedFrame());
}

TEST_F(BitFromMirror, StartsFromZeroWhenTheRegisterIsUnknown)
{
    write(holdingBit(35).data("01"));
    EXPECT_EQ(withCrc("01 06 0002 0008"), queuedFrame());
}

TEST_F(BitFromMirror, ReadsAMissingByteOfAShortEntryAsZero)
{
    mirror(1, 5, 2, hex("21"));
    write(holdingBit(35).data("01"));
    EXPECT_EQ(withCrc("01 06 0002 0029"), queuedFrame());
    PLC_driver.sendQueue.clear();
    mirror(1, 5, 2, hex(""));
    write(holdingBit(35).data("01"));
    EXPECT_EQ(withCrc("01 06 0002 0008"), queuedFrame());
}

TEST_F(BitFromMirror, LooksTheRegisterUpWithoutInsertingIt)
{
    PLC_driver.failed = true; // so that the write itself is not mirrored
    write(holdingBit(35).data("01"));
    EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
}

TEST_F(BitFromMirror, WaitsForTheMirrorsMutexToLookTheRegisterUp)
{
    PLC_driver.failed = true; // so that the look-up alone needs the mutex
    mirror(1, 5, 2, hex("0100"));
    PLC_driver.cacheMutex.lock();
    std::future<void> written = std::async(std::launch::async, [this] { write(holdingBit(35).data("01")); });
    EXPECT_EQ(std::future_status::timeout, written.wait_for(std::chrono::milliseconds(30)));
    PLC_driver.cacheMutex.unlock();
    written.get();
    EXPECT_EQ(hex("01 06 0002 0009 E80C"), queuedFrame());
}

TEST_F(BitFromMirror, LooksUpTheHoldingRegisterOfTheVariablesOwnStation)
{
    overrideStation(7);
    mirror(1, 5, 2, hex("0100"));
    mirror(7, 5, 2, hex("0004"));
    mirror(1, 4, 2, hex("0002"));
    mirror(1, 5, 35, hex("0001"));
    write(holdingBit(35).data("01"));
    EXPECT_EQ(withCrc("07 06 0002 0009"), queuedFrame());
}

TEST_F(BitFromMirror, IsSetByAnyNonZeroByte)
{
    mirror(1, 5, 2, hex("0100"));
    write(holdingBit(35).data("80"));
    EXPECT_EQ(hex("01 06 0002 0009 E80C"), queuedFrame());
}

TEST_F(BitFromMirror, IsClearedByAMissingByte)
{
    mirror(1, 5, 2, hex("0900"));
    write(holdingBit(35).data(""));
    EXPECT_EQ(hex("01 06 0002 0001 E9CA"), queuedFrame());
}

TEST_F(BitFromMirror, BuildsOnTheBitWrittenBefore)
{
    write(holdingBit(35).data("01"));
    write(holdingBit(36).data("01"));
    write(holdingBit(35).data("00"));
    EXPECT_EQ(withCrc("01 06 0002 0008"), queuedFrame(0));
    EXPECT_EQ(withCrc("01 06 0002 0018"), queuedFrame(1));
    EXPECT_EQ(withCrc("01 06 0002 0010"), queuedFrame(2));
    EXPECT_EQ(hex("1000"), mirrored(1, 5, 2));
}

TEST_F(BitFromMirror, StillStartsFromTheMirrorWhileTheLastTransactionHasFailed)
{
    PLC_driver.failed = true;
    mirror(1, 5, 2, hex("0100"));
    write(holdingBit(35).data("01"));
    EXPECT_EQ(hex("01 06 0002 0009 E80C"), queuedFrame());
    EXPECT_EQ(hex("0100"), mirrored(1, 5, 2));
}

TEST_F(BitFromMirror, CarriesTheVariableAsAWriteOfItsRegister)
{
    write(holdingBit(35).station(9).relayArgs(29, 30).ids(21, 22).direction(7).data("01"));
    const RW_VAR &var = PLC_driver.sendQueue.at(0).var;
    EXPECT_EQ(5, var.regType);
    EXPECT_EQ(2, var.address);
    EXPECT_EQ(1, var.count);
    EXPECT_EQ(29, var.relayArg1) << "only the two halves on the wire are marked";
    EXPECT_EQ(30, var.relayArg2);
    EXPECT_EQ(21, var.hostId);
    EXPECT_EQ(hex("0800"), var.data);
}

TEST_F(BitFromMirror, LeavesBytesBehindTheNewValueWhichABlockWriteThenSends)
{
    setOptions(kOptionBitFromMirror | kOptionRegisterAsBlock);
    mirror(1, 5, 2, hex("0100"));
    write(holdingBit(35).data("01 AA BB"));
    EXPECT_EQ(hex("01 10 0002 0001 03 0009 00BB 57F4"), queuedFrame());
}

TEST_F(BitFromMirror, DoesNotChangeTheVariable)
{
    RW_VAR var = everyFieldSet();
    var.regType = 3;
    RW_VAR before = var;
    WriteRegister(&var);
    expectSameFields(before, var);
}

TEST_F(BitFromMirror, ToStationZeroAwaitsNoReply)
{
    write(holdingBit(35).station(0).data("01"));
    EXPECT_EQ(0, PLC_driver.sendQueue.at(0).replyLen);
}

TEST_F(BitFromMirror, StaysSoundForANegativeAddress)
{
    PLC_driver.failed = true; // a negative address has no place in the mirror
    write(holdingBit(-35).data("01"));
    EXPECT_EQ(hex("01 06 FFFE"), queuedFrame().left(4));
    EXPECT_EQ(0, witnessCrc(queuedFrame()));
}

TEST_F(BitFromMirror, OnlyConcernsBitsInHoldingRegisters)
{
    write(holding(0x10).data("3412"));
    write(coil(0x13).data("01"));
    EXPECT_EQ(hex("01 06 0010 1234 8578"), queuedFrame(0));
    EXPECT_EQ(hex("01 05 0013 FF00 7DFF"), queuedFrame(1));
}

} // namespace
} // namespace plc::test
