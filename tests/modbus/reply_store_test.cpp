#include "modbus/reply_store.h"

#include <chrono>
#include <climits>
#include <future>
#include <utility>
#include <vector>

#include "mirror/register_cache.h"
#include "modbus/exchanges.h"

namespace plc::test {
namespace {

class ReplyStore : public SetUpDriver
{
protected:
    /// Stores @p bytes as the reply of a read of @p var that expects @p dataLen bytes behind @p headerLen.
    /// The mirror is locked meanwhile, as the caller of the storage step has it.
    void store(const RW_VAR &var, int dataLen, const QByteArray &bytes, int headerLen = 3)
    {
        PLC_driver.sendQueue.clear();
        expectReplyTo("01 03 0000 0001 840A", var, headerLen, dataLen);
        QByteArray reply = bytes;
        QMutexLocker cache(&PLC_driver.cacheMutex);
        SaveToLocalDataErea(&reply);
    }

    static int entryCount() { return PLC_driver.registerCache.size(); }
};

// Whole replies of the table.

class ReplyStoreOf : public ReplyStore, public ::testing::WithParamInterface<Exchange>
{};

TEST_P(ReplyStoreOf, PutsEveryElementIntoTheMirrorAndNothingElse)
{
    store(GetParam().variable, GetParam().dataLen, hex(GetParam().reply));
    for (const Element &element : GetParam().elements)
        EXPECT_EQ(hex(element.bytes), mirrored(0x11, GetParam().variable.regType, element.address))
            << element.address;
    EXPECT_EQ(static_cast<int>(GetParam().elements.size()), entryCount());
}

TEST_P(ReplyStoreOf, DoesTheSameTwice)
{
    store(GetParam().variable, GetParam().dataLen, hex(GetParam().reply));
    store(GetParam().variable, GetParam().dataLen, hex(GetParam().reply));
    for (const Element &element : GetParam().elements)
        EXPECT_EQ(hex(element.bytes), mirrored(0x11, GetParam().variable.regType, element.address));
    EXPECT_EQ(static_cast<int>(GetParam().elements.size()), entryCount());
}

TEST_P(ReplyStoreOf, StoresNothingWhenTheReplyEndsBeforeItsData)
{
    const QByteArray reply = hex(GetParam().reply);
    for (int size = 0; size < 3 + GetParam().dataLen; ++size) {
        store(GetParam().variable, GetParam().dataLen, reply.left(size));
        EXPECT_EQ(0, entryCount()) << size << " bytes";
    }
}

TEST_P(ReplyStoreOf, NeedsNoCrcBehindTheData)
{
    store(GetParam().variable, GetParam().dataLen, hex(GetParam().reply).left(3 + GetParam().dataLen));
    EXPECT_EQ(static_cast<int>(GetParam().elements.size()), entryCount());
}

TEST_P(ReplyStoreOf, LooksNeitherAtStationFunctionNorByteCountOfTheReply)
{
    QByteArray reply = hex(GetParam().reply);
    reply.replace(0, 3, hex("63 55 FF"));
    store(GetParam().variable, GetParam().dataLen, reply);
    for (const Element &element : GetParam().elements)
        EXPECT_EQ(hex(element.bytes), mirrored(0x11, GetParam().variable.regType, element.address));
    EXPECT_EQ(static_cast<int>(GetParam().elements.size()), entryCount());
}

TEST_P(ReplyStoreOf, LeavesTheReplyAndThoseWhoShareItAlone)
{
    expectReplyTo(GetParam());
    QByteArray reply = hex(GetParam().reply);
    const QByteArray shared = reply;
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(hex(GetParam().reply), reply);
    EXPECT_EQ(hex(GetParam().reply), shared);
}

INSTANTIATE_TEST_SUITE_P(Each, ReplyStoreOf, ::testing::ValuesIn(readExchanges()), exchangeName);

// Bits.

TEST_F(ReplyStore, UnpacksCoilsLowestBitFirst)
{
    store(coil(16).count(10), 2, hex("01 01 02 A503 0000"));
    const char *expected[] = {"01", "00", "01", "00", "00", "01", "00", "01", "01", "01"};
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(hex(expected[i]), mirrored(1, 0, 16 + i)) << 16 + i;
    EXPECT_EQ(10, entryCount());
}

TEST_F(ReplyStore, UnpacksEveryNumberOfBits)
{
    const QByteArray reply = hex("01 01 04 35 9A C6 5B 0000");
    const quint32 packed = 0x5BC69A35;
    for (int count = 0; count <= 32; ++count) {
        SCOPED_TRACE(count);
        PLC_driver.registerCache.clear();
        store(coil(100).count(count), (count + 7) / 8, reply);
        EXPECT_EQ(count, entryCount());
        for (int bit = 0; bit < count; ++bit)
            EXPECT_EQ(QByteArray(1, static_cast<char>((packed >> bit) & 1)), mirrored(1, 0, 100 + bit))
                << bit;
    }
}

TEST_F(ReplyStore, TakesTheNumberOfBitsFromTheCountNotFromTheDataLength)
{
    store(coil(0).count(3), 2, hex("01 01 02 FFFF 0000"));
    EXPECT_EQ(3, entryCount());
    store(discreteInput(0).count(12), 1, hex("01 02 02 FFFF 0000"));
    EXPECT_EQ(3 + 12, entryCount());
}

TEST_F(ReplyStore, IgnoresSpareBitsOfTheLastByte)
{
    store(coil(0).count(9), 2, hex("01 01 02 00FE 0000"));
    EXPECT_EQ(hex("00"), mirrored(1, 0, 8));
    EXPECT_EQ(9, entryCount());
}

TEST_F(ReplyStore, DoesNotStoreBitsBeyondTheReply)
{
    store(coil(0).count(20), 1, hex("01 01 01 FF"));
    EXPECT_EQ(hex("01"), mirrored(1, 0, 7));
    EXPECT_EQ(8, entryCount());
}

TEST_F(ReplyStore, StoresNoBitOfAReplyThatEndsWithItsHeaderOrBefore)
{
    store(coil(100).count(8), 0, hex("01 01 01"));
    EXPECT_EQ(0, entryCount());
    store(coil(100).count(8), -1, hex("01 01"));
    EXPECT_EQ(0, entryCount());
}

TEST_F(ReplyStore, StoresNothingForACountBelowOne)
{
    for (int count : {0, -1, -7, -8, -9, INT_MIN}) {
        SCOPED_TRACE(count);
        store(coil(100).count(count), 0, hex("01 01 02 FFFF 0000"));
        store(discreteInput(100).count(count), 2, hex("01 02 02 FFFF 0000"));
        EXPECT_EQ(0, entryCount());
    }
}

TEST_F(ReplyStore, KeepsCoilsAndInputsApart)
{
    store(coil(5), 1, hex("01 01 01 01 0000"));
    store(discreteInput(5), 1, hex("01 02 01 00 0000"));
    EXPECT_EQ(hex("01"), mirrored(1, 0, 5));
    EXPECT_EQ(hex("00"), mirrored(1, 1, 5));
}

TEST_F(ReplyStore, WritesOnlyTheFirstByteOfABitsEntry)
{
    mirror(1, 0, 5, hex("00 77 88"));
    store(coil(5), 1, hex("01 01 01 01 0000"));
    EXPECT_EQ(hex("01 77 88"), mirrored(1, 0, 5));
}

TEST_F(ReplyStore, LengthensAnEmptyEntryOfABit)
{
    mirror(1, 0, 5, hex(""));
    store(coil(5), 1, hex("01 01 01 01 0000"));
    EXPECT_EQ(hex("01"), mirrored(1, 0, 5));
}

// Registers.

TEST_F(ReplyStore, TurnsRegistersLowByteFirst)
{
    store(holding(100).count(2), 4, hex("01 03 04 1234 5678 0000"));
    EXPECT_EQ(hex("3412"), mirrored(1, 5, 100));
    EXPECT_EQ(hex("7856"), mirrored(1, 5, 101));
    EXPECT_EQ(2, entryCount());
}

TEST_F(ReplyStore, KeepsInputAndHoldingRegistersApart)
{
    store(holding(100), 2, hex("01 03 02 1234 0000"));
    store(inputRegister(100), 2, hex("01 04 02 5678 0000"));
    EXPECT_EQ(hex("3412"), mirrored(1, 5, 100));
    EXPECT_EQ(hex("7856"), mirrored(1, 4, 100));
}

TEST_F(ReplyStore, TakesTheNumberOfRegistersFromTheDataLengthNotFromTheCount)
{
    store(holding(100).count(1), 4, hex("01 03 04 1234 5678 0000"));
    EXPECT_EQ(2, entryCount());
    store(inputRegister(100).count(5), 4, hex("01 04 04 1234 5678 0000"));
    EXPECT_EQ(2 + 2, entryCount());
}

TEST_F(ReplyStore, StoresAHalfRegisterAtTheEndWithTheMissingByteZero)
{
    store(holding(100).count(2), 3, hex("01 03 03 1234 56"));
    EXPECT_EQ(hex("3412"), mirrored(1, 5, 100));
    EXPECT_EQ(hex("0056"), mirrored(1, 5, 101));
    EXPECT_EQ(2, entryCount());
}

TEST_F(ReplyStore, DoesNotCompleteAHalfRegisterWithTheBytesBehindTheData)
{
    store(holding(100).count(2), 3, hex("01 03 03 1234 56 ABCD"));
    EXPECT_EQ(hex("0056"), mirrored(1, 5, 101));
}

TEST_F(ReplyStore, TakesDataUpToTheVeryEndOfTheReply)
{
    store(holding(100).count(2), 4, hex("01 03 04 1234 5678"));
    EXPECT_EQ(hex("7856"), mirrored(1, 5, 101));
}

TEST_F(ReplyStore, TakesTheRuleLiterallyWhenItsCallerHasNotCutTheCrc)
{
    store(holding(100).count(2), 4, hex("01 03 02 1234 ABCD"));
    EXPECT_EQ(hex("CDAB"), mirrored(1, 5, 101))
        << "who knows that the last two bytes are a CRC must not call";
}

TEST_F(ReplyStore, StoresNothingAtAllOfAReplyThatIsOneByteShort)
{
    store(holding(100).count(2), 4, hex("01 03 04 1234 56"));
    EXPECT_EQ(0, entryCount());
}

TEST_F(ReplyStore, FindsTheDataBehindTheHeaderLength)
{
    store(holding(100), 2, hex("01 03 04 1234 5678 0000"), 5);
    EXPECT_EQ(hex("7856"), mirrored(1, 5, 100));
    store(holding(101), 2, hex("1234"), 0);
    EXPECT_EQ(hex("3412"), mirrored(1, 5, 101));
    store(coil(7), 1, hex("01 01 04 00 01"), 4);
    EXPECT_EQ(hex("01"), mirrored(1, 0, 7));
}

TEST_F(ReplyStore, StoresNothingThatNobodyAskedFor)
{
    QByteArray reply = hex("01 03 02 1234 B533");
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(0, entryCount());
}

TEST_F(ReplyStore, StoresNothingWithoutDataLength)
{
    store(holding(100), 0, hex("01 03 02 1234 0000"));
    store(holding(100), -2, hex("01 03 02 1234 0000"));
    store(holding(100), INT_MAX, hex("01 03 02 1234 0000"));
    EXPECT_EQ(0, entryCount());
}

// Counts that no request can carry: twice as many bytes wrap, to half of a 32-bit address space.
TEST_F(ReplyStore, StoresNothingWhenTheDataLengthHasWrapped)
{
    store(holding(100), -0x40000000, hex("01 03 02 1234 0000"));
    store(holding(100), INT_MIN, hex("01 03 02 1234 0000"));
    EXPECT_EQ(0, entryCount());
}

TEST_F(ReplyStore, KeepsFurtherBytesOfARegistersEntry)
{
    mirror(1, 5, 100, hex("1111 22"));
    store(holding(100), 2, hex("01 03 02 1234 0000"));
    EXPECT_EQ(hex("3412 22"), mirrored(1, 5, 100));
}

TEST_F(ReplyStore, LengthensAShortEntryOfARegister)
{
    mirror(1, 5, 100, hex("11"));
    mirror(1, 5, 101, hex(""));
    store(holding(100).count(2), 4, hex("01 03 04 1234 5678 0000"));
    EXPECT_EQ(hex("3412"), mirrored(1, 5, 100));
    EXPECT_EQ(hex("7856"), mirrored(1, 5, 101));
}

TEST_F(ReplyStore, OverwritesOldValuesAndNoNeighbours)
{
    mirror(1, 5, 99, hex("9999"));
    mirror(1, 5, 100, hex("1111"));
    mirror(1, 5, 102, hex("9999"));
    store(holding(100).count(2), 4, hex("01 03 04 1234 5678 0000"));
    EXPECT_EQ(hex("9999"), mirrored(1, 5, 99));
    EXPECT_EQ(hex("3412"), mirrored(1, 5, 100));
    EXPECT_EQ(hex("9999"), mirrored(1, 5, 102));
}

TEST_F(ReplyStore, LeavesCopiesOfTheMirrorAlone)
{
    mirror(1, 5, 100, hex("1111"));
    const QByteArray entry = mirrored(1, 5, 100);
    const QHash<quint64, QByteArray> whole = PLC_driver.registerCache;
    store(holding(100), 2, hex("01 03 02 1234 0000"));
    EXPECT_EQ(hex("1111"), entry);
    EXPECT_EQ(hex("1111"), whole.value(makeCacheKey(1, 5, 100)));
}

// What is stored at all.

TEST_F(ReplyStore, StoresNothingForTypesThatNoReadIsMadeWith)
{
    for (int regType : {2, 3, 6, 7, 8, 9, 10, 100, -1, INT_MAX, INT_MIN}) {
        SCOPED_TRACE(regType);
        store(Variable(regType, 100).count(1), 2, hex("01 03 02 1234 0000"));
        EXPECT_EQ(0, entryCount());
    }
}

TEST_F(ReplyStore, DoesNotAskForTheDirection)
{
    store(holding(100).direction(1), 2, hex("01 03 02 1234 0000"));
    EXPECT_EQ(hex("3412"), mirrored(1, 5, 100));
}

TEST_F(ReplyStore, StoresNothingForTheReadHalfOfABitWrite)
{
    store(holding(2).relayArgs(-1, 0), 2, hex("01 03 02 1234 0000"));
    EXPECT_EQ(0, entryCount());
}

TEST_F(ReplyStore, StoresForAnyOtherFirstRelayValue)
{
    for (int mark : {0, 1, -2, 255, INT_MIN}) {
        SCOPED_TRACE(mark);
        PLC_driver.registerCache.clear();
        store(holding(2).relayArgs(mark, -1), 2, hex("01 03 02 1234 0000"));
        EXPECT_EQ(1, entryCount());
    }
}

TEST_F(ReplyStore, IgnoresANullReply)
{
    expectReplyTo("01 03 0000 0001 840A", holding(0), 3, 2);
    SaveToLocalDataErea(nullptr);
    SpecialRegisterSave(nullptr);
    EXPECT_EQ(0, entryCount());
}

// Keys.

TEST_F(ReplyStore, SharesEntriesBetweenStationsWithTheSameLowByte)
{
    store(holding(100).station(257), 2, hex("01 03 02 1234 0000"));
    EXPECT_EQ(hex("3412"), mirrored(1, 5, 100));
    store(holding(100).station(1), 2, hex("01 03 02 5678 0000"));
    EXPECT_EQ(1, entryCount());
}

TEST_F(ReplyStore, FilesUnderStationTypeAndAddress)
{
    store(holding(100).station(0xF7), 2, hex("01 03 02 1234 0000"));
    store(inputRegister(0x12345).station(2), 2, hex("01 04 02 5678 0000"));
    store(coil(3).station(0), 1, hex("01 01 01 01 0000"));
    store(discreteInput(0).station(255), 1, hex("01 02 01 01 0000"));
    EXPECT_EQ(hex("3412"), PLC_driver.registerCache.value(0xF705000000000064));
    EXPECT_EQ(hex("7856"), PLC_driver.registerCache.value(0x0204000000012345));
    EXPECT_EQ(hex("01"), PLC_driver.registerCache.value(0x0000000000000003));
    EXPECT_EQ(hex("01"), PLC_driver.registerCache.value(0xFF01000000000000));
    EXPECT_EQ(4, entryCount());
}

TEST_F(ReplyStore, DoesNotWrapAddressesAt65536)
{
    store(holding(65535).count(2), 4, hex("01 03 04 1234 5678 0000"));
    EXPECT_EQ(hex("3412"), mirrored(1, 5, 65535));
    EXPECT_EQ(hex("7856"), mirrored(1, 5, 65536));
}

TEST_F(ReplyStore, CountsKeysOnInSixtyFourBits)
{
    store(holding(INT_MAX).count(2), 4, hex("01 03 04 1234 5678 0000"));
    EXPECT_EQ(hex("3412"), PLC_driver.registerCache.value(0x010500007FFFFFFF));
    EXPECT_EQ(hex("7856"), PLC_driver.registerCache.value(0x0105000080000000));
}

TEST_F(ReplyStore, LosesStationAndTypeForANegativeAddress)
{
    store(holding(-1).count(2), 4, hex("01 03 04 1234 5678 0000"));
    EXPECT_EQ(hex("3412"), PLC_driver.registerCache.value(0xFFFFFFFFFFFFFFFF));
    EXPECT_EQ(hex("7856"), PLC_driver.registerCache.value(0)) << "the key carries over";
}

// The read half of a bit write.

class BitMerge : public SetUpDriver
{
protected:
    /// The two halves in the queue and the variable in the write list, with typed frames.
    void prepare(const RW_VAR &bit, const char *writeFrame = "01 06 0002 0000 280A")
    {
        PLC_driver.sendQueue.clear();
        PLC_driver.writeList.clear();
        PLC_driver.writeList.append(bit);
        expectReplyTo("01 03 0002 0001 25CA", holding(2).relayArgs(-1, 0), 3, 2);
        expectReplyTo(writeFrame, holding(2).direction(1), 0, 0);
    }

    void merge(const QByteArray &bytes)
    {
        QByteArray reply = bytes;
        SpecialRegisterSave(&reply);
    }
};

TEST_F(BitMerge, SetsTheBitInTheValueReadAndRenewsTheCrc)
{
    prepare(holdingBit(35).data("01"));
    merge(hex("01 03 02 0001 7984"));
    EXPECT_EQ(hex("01 06 0002 0009 E80C"), queuedFrame(1));
}

TEST_F(BitMerge, ClearsTheBitInTheValueRead)
{
    prepare(holdingBit(35).data("00"));
    merge(hex("01 03 02 0009 7842"));
    EXPECT_EQ(hex("01 06 0002 0001 E9CA"), queuedFrame(1));
}

TEST_F(BitMerge, PatchesAFunction16FrameFurtherBack)
{
    prepare(holdingBit(35).data("01"), "01 10 0002 0001 02 0000 A7B2");
    merge(hex("01 03 02 0001 7984"));
    EXPECT_EQ(hex("01 10 0002 0001 02 0009 67B4"), queuedFrame(1));
}

TEST_F(BitMerge, TakesEveryOtherFunctionForABlockWrite)
{
    for (const char *function : {"00", "05", "0F", "90"}) {
        SCOPED_TRACE(function);
        const std::string frame = std::string("01 ") + function + " 0002 0001 02 0000 0000";
        prepare(holdingBit(35).data("01"), frame.c_str());
        merge(hex("01 03 02 0001 7984"));
        const std::string expected = std::string("01 ") + function + " 0002 0001 02 0009";
        EXPECT_EQ(withCrc(expected.c_str()), queuedFrame(1));
    }
}

TEST_F(BitMerge, PutsTheCrcHighByteFirstOnOptionBit7)
{
    setOptions(kOptionSwapRequestCrc);
    prepare(holdingBit(35).data("01"));
    merge(hex("01 03 02 0001 7984"));
    EXPECT_EQ(hex("01 06 0002 0009 0CE8"), queuedFrame(1));
    prepare(holdingBit(35).data("01"), "01 10 0002 0001 02 0000 B2A7");
    merge(hex("01 03 02 0001 7984"));
    EXPECT_EQ(hex("01 10 0002 0001 02 0009 B467"), queuedFrame(1));
}

TEST_F(BitMerge, DoesNotHeedTheCrcOrderOfReplies)
{
    setOptions(kOptionSwapReplyCrc);
    prepare(holdingBit(35).data("01"));
    merge(hex("01 03 02 0001 8479"));
    EXPECT_EQ(hex("01 06 0002 0009 E80C"), queuedFrame(1));
}

TEST_F(BitMerge, ReachesEveryBit)
{
    for (int bit = 0; bit < 16; ++bit) {
        SCOPED_TRACE(bit);
        prepare(holdingBit(32 + bit).data("01"));
        merge(hex("01 03 02 0000 0000"));
        EXPECT_EQ(static_cast<char>((1 << bit) >> 8), queuedFrame(1).at(4));
        EXPECT_EQ(static_cast<char>((1 << bit) & 0xFF), queuedFrame(1).at(5));
        EXPECT_EQ(0, witnessCrc(queuedFrame(1)));

        prepare(holdingBit(32 + bit).data("00"));
        merge(hex("01 03 02 FFFF 0000"));
        EXPECT_EQ(static_cast<char>(~(1 << bit) >> 8), queuedFrame(1).at(4));
        EXPECT_EQ(static_cast<char>(~(1 << bit)), queuedFrame(1).at(5));
        EXPECT_EQ(0, witnessCrc(queuedFrame(1)));
    }
}

TEST_F(BitMerge, TakesTheValueHighByteFirst)
{
    prepare(holdingBit(32).data("01"));
    merge(hex("01 03 02 8234 0000"));
    EXPECT_EQ(withCrc("01 06 0002 8235"), queuedFrame(1));
}

TEST_F(BitMerge, KeepsABitThatIsAsItShouldBe)
{
    prepare(holdingBit(35).data("01"));
    merge(hex("01 03 02 0009 7842"));
    EXPECT_EQ(hex("01 06 0002 0009 E80C"), queuedFrame(1));
    prepare(holdingBit(35).data("00"));
    merge(hex("01 03 02 0001 7984"));
    EXPECT_EQ(hex("01 06 0002 0001 E9CA"), queuedFrame(1));
}

TEST_F(BitMerge, SetsForAnyNonZeroByteAndClearsForAMissingOne)
{
    for (const char *byte : {"02", "80", "FF", "01 00"}) {
        prepare(holdingBit(35).data(byte));
        merge(hex("01 03 02 0001 7984"));
        EXPECT_EQ(hex("01 06 0002 0009 E80C"), queuedFrame(1)) << byte;
    }
    for (const char *byte : {"00", "00 01", ""}) {
        prepare(holdingBit(35).data(byte));
        merge(hex("01 03 02 0009 7842"));
        EXPECT_EQ(hex("01 06 0002 0001 E9CA"), queuedFrame(1)) << byte;
    }
}

TEST_F(BitMerge, TakesTheBitFromTheFirstEntryOfTheWriteListNotFromTheTransactions)
{
    prepare(holdingBit(35).data("01"));
    PLC_driver.writeList.append(holdingBit(36).data("01"));
    PLC_driver.sendQueue[0].var.address = 40;
    PLC_driver.sendQueue[1].var.address = 41;
    PLC_driver.sendQueue[1].var.data = hex("0000");
    merge(hex("01 03 02 0001 7984"));
    EXPECT_EQ(hex("01 06 0002 0009 E80C"), queuedFrame(1));
}

TEST_F(BitMerge, DoesNotAskWhatTheFirstEntryOfTheWriteListIs)
{
    prepare(Variable(0, 35).station(9).data("01"));
    merge(hex("01 03 02 0001 7984"));
    EXPECT_EQ(hex("01 06 0002 0009 E80C"), queuedFrame(1));
}

TEST_F(BitMerge, LooksNeitherAtStationFunctionByteCountNorCrcOfTheReply)
{
    prepare(holdingBit(35).data("01"));
    merge(hex("63 55 FF 0001 0000"));
    EXPECT_EQ(hex("01 06 0002 0009 E80C"), queuedFrame(1));
}

TEST_F(BitMerge, NeedsSixBytesOfReply)
{
    const QByteArray reply = hex("01 03 02 0001 7984");
    for (int size = 0; size <= 5; ++size) {
        prepare(holdingBit(35).data("01"));
        merge(reply.left(size));
        EXPECT_EQ(hex("01 06 0002 0000 280A"), queuedFrame(1)) << size;
    }
    merge(reply.left(6));
    EXPECT_EQ(hex("01 06 0002 0009 E80C"), queuedFrame(1));
}

TEST_F(BitMerge, ChangesNothingWhenTheWriteListIsEmpty)
{
    prepare(holdingBit(35).data("01"));
    PLC_driver.writeList.clear();
    merge(hex("01 03 02 0001 7984"));
    EXPECT_EQ(hex("01 06 0002 0000 280A"), queuedFrame(1));
}

TEST_F(BitMerge, ChangesNothingWhenOnlyOneTransactionIsQueued)
{
    prepare(holdingBit(35).data("01"));
    PLC_driver.sendQueue.removeAt(1);
    merge(hex("01 03 02 0001 7984"));
    ASSERT_EQ(1, PLC_driver.sendQueue.size());
    EXPECT_EQ(hex("01 03 0002 0001 25CA"), queuedFrame(0));
}

TEST_F(BitMerge, ChangesNothingWhenNothingIsQueued)
{
    prepare(holdingBit(35).data("01"));
    PLC_driver.sendQueue.clear();
    merge(hex("01 03 02 0001 7984"));
    EXPECT_TRUE(PLC_driver.sendQueue.isEmpty());
}

TEST_F(BitMerge, ChangesTheSecondFrameAndNothingElse)
{
    prepare(holdingBit(35).ids(21, 22).data("01"));
    expectReplyTo("01 06 0002 0000 280A", holding(2).direction(1), 0, 0);
    info.stepTotal = 2;
    merge(hex("01 03 02 0001 7984"));
    ASSERT_EQ(3, PLC_driver.sendQueue.size());
    EXPECT_EQ(hex("01 03 0002 0001 25CA"), queuedFrame(0));
    EXPECT_EQ(hex("01 06 0002 0000 280A"), queuedFrame(2));
    EXPECT_EQ(8, PLC_driver.sendQueue.at(1).sendLen);
    EXPECT_EQ(-1, PLC_driver.sendQueue.at(1).replyLen);
    EXPECT_EQ(QByteArray(), PLC_driver.sendQueue.at(1).var.data);
    ASSERT_EQ(1, PLC_driver.writeList.size());
    EXPECT_EQ(35, PLC_driver.writeList.at(0).address);
    EXPECT_EQ(hex("01"), PLC_driver.writeList.at(0).data);
    EXPECT_EQ(2, info.stepTotal);
    EXPECT_EQ(0, info.stepDone);
    EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
}

TEST_F(BitMerge, LeavesThoseWhoShareTheFrameAlone)
{
    prepare(holdingBit(35).data("01"));
    const QByteArray before = queuedFrame(1);
    merge(hex("01 03 02 0001 7984"));
    EXPECT_EQ(hex("01 06 0002 0000 280A"), before);
}

TEST_F(BitMerge, LengthensAFrameThatIsTooShort)
{
    prepare(holdingBit(35).data("01"), "01 06 0002");
    merge(hex("01 03 02 0001 7984"));
    EXPECT_EQ(hex("01 06 0002 0009 E80C"), queuedFrame(1));
    prepare(holdingBit(35).data("01"), "01 10 0002 0001 02");
    merge(hex("01 03 02 0001 7984"));
    EXPECT_EQ(hex("01 10 0002 0001 02 0009 67B4"), queuedFrame(1));
}

TEST_F(BitMerge, PadsAShortFrameWithZeros)
{
    prepare(holdingBit(35).data("01"), "01 10");
    merge(hex("01 03 02 0001 7984"));
    EXPECT_EQ(withCrc("01 10 0000 0000 00 0009"), queuedFrame(1));
    prepare(holdingBit(35).data("01"), "");
    merge(hex("01 03 02 0001 7984"));
    EXPECT_EQ(withCrc("00 00 0000 0000 00 0009"), queuedFrame(1));
}

TEST_F(BitMerge, LeavesALongerFramesFurtherBytes)
{
    prepare(holdingBit(35).data("01"), "01 06 0002 0000 280A 77");
    merge(hex("01 03 02 0001 7984"));
    EXPECT_EQ(hex("01 06 0002 0009 E80C 77"), queuedFrame(1));
}

TEST_F(BitMerge, StaysSoundForANegativeAddress)
{
    prepare(holdingBit(-35).data("01"));
    merge(hex("01 03 02 0001 7984"));
    EXPECT_EQ(hex("01 06 0002"), queuedFrame(1).left(4));
    EXPECT_EQ(0, witnessCrc(queuedFrame(1)));
}

TEST_F(BitMerge, IsReachedThroughTheStorageStepByItsMark)
{
    prepare(holdingBit(35).data("01"));
    QByteArray reply = hex("01 03 02 0001 7984");
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(hex("01 06 0002 0009 E80C"), queuedFrame(1));
    EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
}

TEST_F(BitMerge, IsNotReachedThroughTheStorageStepWithoutItsMark)
{
    prepare(holdingBit(35).data("01"));
    PLC_driver.sendQueue[0].var.relayArg1 = 0;
    QByteArray reply = hex("01 03 02 0001 7984");
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(hex("01 06 0002 0000 280A"), queuedFrame(1));
    EXPECT_EQ(hex("0100"), mirrored(1, 5, 2));
}

TEST_F(BitMerge, TakesNoLock)
{
    prepare(holdingBit(35).data("01"));
    QMutexLocker lists(&PLC_driver.listMutex);
    QMutexLocker cache(&PLC_driver.cacheMutex);
    QByteArray reply = hex("01 03 02 0001 7984");
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(hex("01 06 0002 0009 E80C"), queuedFrame(1));
}

// The whole handshake.

class BitWrite : public SetUpDriver
{
protected:
    /// Queues the variable, checks that its read half goes out, and answers it.
    void begin(const RW_VAR &bit, const char *reply)
    {
        addWrite(bit);
        const Protocol *read = next();
        ASSERT_NE(nullptr, read);
        ASSERT_EQ(hex("01 03 0002 0001 25CA"), read->frame);
        EXPECT_EQ(kResultDone, complete(hex(reply)));
    }
};

TEST_F(BitWrite, ReadsMergesAndWrites)
{
    begin(holdingBit(35).ids(21, 22).data("01"), "01 03 02 0001 7984");
    EXPECT_TRUE(outcomes.empty()) << "only the second step completes the operation";
    const Protocol *write = next();
    ASSERT_NE(nullptr, write);
    EXPECT_EQ(hex("01 06 0002 0009 E80C"), write->frame);
    EXPECT_EQ(8, write->sendLen);
    EXPECT_EQ(kResultDone, complete(hex("01 06 0002 0009 E80C")));
    EXPECT_EQ((std::vector<Outcome>{{77, 21, 22, 1}}), outcomes);
    EXPECT_TRUE(PLC_driver.sendQueue.isEmpty());
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
}

TEST_F(BitWrite, ReadsMergesAndWritesWithFunction16)
{
    setOptions(kOptionRegisterAsBlock);
    begin(holdingBit(35).ids(21, 22).data("01"), "01 03 02 0001 7984");
    const Protocol *write = next();
    ASSERT_NE(nullptr, write);
    EXPECT_EQ(hex("01 10 0002 0001 02 0009 67B4"), write->frame);
    EXPECT_EQ(kResultDone, complete(withCrc("01 10 0002 0001")));
    EXPECT_EQ((std::vector<Outcome>{{77, 21, 22, 1}}), outcomes);
}

TEST_F(BitWrite, ShowsTheBitInTheMirrorButNotTheRegisterThatWasRead)
{
    begin(holdingBit(35).data("01"), "01 03 02 0001 7984");
    EXPECT_EQ(hex("0800"), mirrored(1, 5, 2));
    next();
    complete(hex("01 06 0002 0009 E80C"));
    EXPECT_EQ(hex("0800"), mirrored(1, 5, 2));
    EXPECT_EQ(1, PLC_driver.registerCache.size());
}

TEST_F(BitWrite, FindsTheReplyToItsReadHalfInNoise)
{
    begin(holdingBit(35).data("01"), "00 FF 01 03 01 03 02 0001 7984 01 03");
    EXPECT_EQ(hex("01 06 0002 0009 E80C"), next()->frame);
}

TEST_F(BitWrite, WritesTheOtherBitsAsTheStationHasThemNow)
{
    mirror(1, 5, 2, hex("FFFF"));
    begin(holdingBit(35).data("00"), "01 03 02 0009 7842");
    EXPECT_EQ(hex("01 06 0002 0001 E9CA"), next()->frame);
}

TEST_F(BitWrite, IsNotMergedWhenTheReadHalfIsRetried)
{
    addWrite(holdingBit(35).ids(21, 22).data("01"));
    ASSERT_NE(nullptr, next());
    EXPECT_EQ(kResultPending, silence());
    EXPECT_EQ(hex("01 03 0002 0001 25CA"), next()->frame);
    EXPECT_EQ(hex("01 06 0002 0000 280A"), queuedFrame(1));
    EXPECT_EQ(kResultDone, complete(hex("01 03 02 0001 7984")));
    EXPECT_EQ(hex("01 06 0002 0009 E80C"), next()->frame);
}

TEST_F(BitWrite, IsAbandonedWholeWhenItsReadHalfFails)
{
    addWrite(holdingBit(35).ids(21, 22).data("01"));
    ASSERT_NE(nullptr, next());
    silence();
    silence();
    EXPECT_EQ(kResultNoReply, silence());
    EXPECT_TRUE(PLC_driver.sendQueue.isEmpty());
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
    EXPECT_EQ((std::vector<Outcome>{{77, 21, 22, 2}}), outcomes);
}

TEST_F(BitWrite, ThatReadsLessThanTheRegisterFailsOnceAndWritesNothing)
{
    addWrite(holdingBit(35).ids(21, 22).data("01"));
    for (int attempt = 0; attempt < 2; ++attempt) {
        ASSERT_EQ(hex("01 03 0002 0001 25CA"), next()->frame);
        EXPECT_EQ(kResultPending, receive(withCrc("01 03 01 AB"))) << "more may follow";
        EXPECT_EQ(kResultPending, silence()) << "an attempt is left";
    }
    ASSERT_EQ(hex("01 03 0002 0001 25CA"), next()->frame);
    EXPECT_EQ(kResultPending, receive(withCrc("01 03 01 AB")));
    EXPECT_EQ(kResultNoReply, silence());
    EXPECT_EQ((std::vector<Outcome>{{77, 21, 22, 2}}), outcomes);
    EXPECT_EQ(nullptr, next()) << "no write goes out";
}

TEST_F(BitWrite, ReadsAgainAfterHalfARegister)
{
    addWrite(holdingBit(35).ids(21, 22).data("01"));
    ASSERT_NE(nullptr, next());
    EXPECT_EQ(kResultPending, receive(withCrc("01 03 01 AB")));
    EXPECT_EQ(kResultPending, silence());
    EXPECT_EQ(hex("01 03 0002 0001 25CA"), next()->frame);
    EXPECT_EQ(kResultDone, complete(hex("01 03 02 0001 7984")));
    EXPECT_EQ(hex("01 06 0002 0009 E80C"), next()->frame);
}

TEST_F(BitWrite, WaitsForTheListMutexBeforeItMerges)
{
    addWrite(holdingBit(35).data("01"));
    ASSERT_NE(nullptr, next());
    ASSERT_EQ(kResultDone, receive(hex("01 03 02 0001 7984")));
    PLC_driver.listMutex.lock();
    std::future<int> result = std::async(std::launch::async, [this] { return receive(buffer); });
    EXPECT_EQ(std::future_status::timeout, result.wait_for(std::chrono::milliseconds(30)));
    EXPECT_EQ(hex("01 06 0002 0000 280A"), PLC_driver.sendQueue.last().frame);
    PLC_driver.listMutex.unlock();
    EXPECT_EQ(1, result.get());
    EXPECT_EQ(hex("01 06 0002 0009 E80C"), PLC_driver.sendQueue.last().frame);
}

TEST_F(BitWrite, TakesItsEchoByAnyValue)
{
    begin(holdingBit(35).ids(21, 22).data("01"), "01 03 02 0001 7984");
    next();
    EXPECT_EQ(kResultDone, complete(withCrc("01 06 0002 0000")));
    EXPECT_EQ(hex("0800"), mirrored(1, 5, 2));
    EXPECT_EQ((std::vector<Outcome>{{77, 21, 22, 1}}), outcomes);
}

} // namespace
} // namespace plc::test
