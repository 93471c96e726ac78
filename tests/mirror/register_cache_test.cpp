// The mirror: keys, entries, and how a write request shows in it at once.
#include "mirror/register_cache.h"

#include <climits>

#include "core/register_types.h"
#include "support/driver_fixture.h"
#include "support/lock_probe.h"

namespace plc::test {

namespace {

RW_VAR write(int regType, int address, const char *data, int count = 1)
{
    return Variable(regType, address).count(count).data(data);
}

// ---------------------------------------------------------------------------------------------- base types

TEST(BaseType, OfEveryCodeIsTheAreaItsElementsAreStoredIn)
{
    const int expected[10] = {0, 1, 4, 5, 4, 5, 4, 5, 5, 5};
    for (int regType = 0; regType < 10; ++regType) {
        SCOPED_TRACE(regType);
        EXPECT_EQ(expected[regType], getPlcReg(regType));
    }
}

TEST(BaseType, OfAnyOtherCodeIsTheCodeItself)
{
    for (const int regType : {10, 11, 12, 255, INT_MAX, -1, -4, INT_MIN}) {
        SCOPED_TRACE(regType);
        EXPECT_EQ(regType, getPlcReg(regType));
    }
}

// ---------------------------------------------------------------------------------------------------- keys

TEST(CacheKey, HoldsStationBaseTypeAndAddress)
{
    EXPECT_EQ(Q_UINT64_C(0x0105000000000064), makeCacheKey(1, 5, 100));
    EXPECT_EQ(Q_UINT64_C(0xF700000000000000), makeCacheKey(247, 0, 0));
    EXPECT_EQ(Q_UINT64_C(0x1101000000001234), makeCacheKey(17, 1, 0x1234));
}

TEST(CacheKey, KeepsAllThirtyTwoBitsOfTheAddress)
{
    EXPECT_EQ(Q_UINT64_C(0x010500007FFFFFFF), makeCacheKey(1, 5, INT_MAX));
    EXPECT_EQ(Q_UINT64_C(0x0105000000010000), makeCacheKey(1, 5, 65536));
}

TEST(CacheKey, OfEveryTypeUsesItsBaseType)
{
    const quint64 expected[10] = {Q_UINT64_C(0x0300000000000007), Q_UINT64_C(0x0301000000000007),
                                  Q_UINT64_C(0x0304000000000007), Q_UINT64_C(0x0305000000000007),
                                  Q_UINT64_C(0x0304000000000007), Q_UINT64_C(0x0305000000000007),
                                  Q_UINT64_C(0x0304000000000007), Q_UINT64_C(0x0305000000000007),
                                  Q_UINT64_C(0x0305000000000007), Q_UINT64_C(0x0305000000000007)};
    for (int regType = 0; regType < 10; ++regType) {
        SCOPED_TRACE(regType);
        EXPECT_EQ(expected[regType], makeCacheKey(3, regType, 7));
    }
}

TEST(CacheKey, OfAnUnknownTypeCarriesTheCode)
{
    EXPECT_EQ(Q_UINT64_C(0x010C000000000001), makeCacheKey(1, 12, 1));
}

TEST(CacheKey, KeepsOnlyTheLowEightBitsOfTheStation)
{
    EXPECT_EQ(makeCacheKey(1, 5, 9), makeCacheKey(257, 5, 9));
    EXPECT_EQ(Q_UINT64_C(0xFF05000000000009), makeCacheKey(-1, 5, 9));
    EXPECT_EQ(Q_UINT64_C(0x0005000000000009), makeCacheKey(256, 5, 9));
}

TEST(CacheKey, OfANegativeAddressIsSignExtendedOverStationAndType)
{
    EXPECT_EQ(Q_UINT64_C(0xFFFFFFFFFFFFFFFF), makeCacheKey(1, 5, -1));
    EXPECT_EQ(Q_UINT64_C(0xFFFFFFFFFFFFFFFE), makeCacheKey(9, 0, -2));
    EXPECT_EQ(Q_UINT64_C(0xFFFFFFFF80000000), makeCacheKey(1, 5, INT_MIN));
}

// -------------------------------------------------------------------------------------------- store helpers

TEST(ByteAt, BehindTheEndOrBeforeTheStartIsZero)
{
    const QByteArray two = hex("12 FF");
    EXPECT_EQ(0x12, byteAt(two, 0));
    EXPECT_EQ(0xFF, byteAt(two, 1));
    EXPECT_EQ(0, byteAt(two, 2));
    EXPECT_EQ(0, byteAt(two, -1));
    EXPECT_EQ(0, byteAt(QByteArray(), 0));
}

class RegisterCache : public SetUpDriver
{};

TEST_F(RegisterCache, IsEmptyAfterConstruction)
{
    EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
}

TEST_F(RegisterCache, StoringARegisterWritesLowByteFirst)
{
    storeRegisterLocked(makeCacheKey(1, 5, 7), 0x1234);
    EXPECT_EQ(hex("34 12"), mirrored(1, 5, 7));
}

TEST_F(RegisterCache, StoringDoesNotChangeCopiesHandedOutBefore)
{
    mirror(1, 5, 7, hex("11 22"));
    const QByteArray before = mirrored(1, 5, 7);
    storeRegisterLocked(makeCacheKey(1, 5, 7), 0x1234);
    EXPECT_EQ(hex("11 22"), before);
}

// What stands on the line high byte first: new entries, short ones, entries of somebody who holds a copy, all
// in one run.
TEST_F(RegisterCache, StoringARunMakesLengthensAndReplacesEntries)
{
    mirror(1, 5, 8, hex("AA"));
    mirror(1, 5, 9, hex("BB BB CC"));
    mirror(1, 5, 11, hex("EE EE"));
    const QByteArray before = mirrored(1, 5, 9);
    const QHash<quint64, QByteArray> copy = PLC_driver.registerCache;
    const uchar data[] = {0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0};
    storeRunLocked(makeCacheKey(1, 5, 7), data, 4);
    EXPECT_EQ(hex("34 12"), mirrored(1, 5, 7));
    EXPECT_EQ(hex("78 56"), mirrored(1, 5, 8));
    EXPECT_EQ(hex("BC 9A CC"), mirrored(1, 5, 9));
    EXPECT_EQ(hex("F0 DE"), mirrored(1, 5, 10));
    EXPECT_EQ(hex("EE EE"), mirrored(1, 5, 11));
    EXPECT_EQ(hex("BB BB CC"), before);
    EXPECT_EQ(3, copy.size());
    EXPECT_EQ(hex("BB BB CC"), copy.value(makeCacheKey(1, 5, 9)));
}

// ---------------------------------------------------------------------------------------- write: coils

class WriteDataToLocalTest : public SetUpDriver
{
protected:
    void show(RW_VAR var) { WriteDataToLocal(&var); }

    QList<QByteArray> coils(int from, int count, int station = 1) const
    {
        QList<QByteArray> entries;
        for (int i = 0; i < count; ++i)
            entries.append(mirrored(station, 0, from + i));
        return entries;
    }

    static QList<QByteArray> bits(const char *digits)
    {
        QList<QByteArray> entries;
        for (const char *at = digits; *at; ++at)
            entries.append(QByteArray(1, static_cast<char>(*at - '0')));
        return entries;
    }
};

TEST_F(WriteDataToLocalTest, UnpacksCoilsLowestBitFirst)
{
    show(write(0, 16, "A5 03", 10));
    EXPECT_EQ(bits("1010010111"), coils(16, 10));
}

TEST_F(WriteDataToLocalTest, StoresExactlyAsManyCoilsAsCountSays)
{
    for (const int count : {1, 7, 8, 9, 15, 16, 17}) {
        SCOPED_TRACE(count);
        PLC_driver.registerCache.clear();
        show(write(0, 16, "FF FF FF", count));
        EXPECT_EQ(count, PLC_driver.registerCache.size());
        EXPECT_EQ(hex("01"), mirrored(1, 0, 16 + count - 1));
    }
}

TEST_F(WriteDataToLocalTest, TakesTheBitsBehindWholeBytesFromTheNextByte)
{
    show(write(0, 0, "00 FF 05", 19));
    EXPECT_EQ(bits("0000000011111111101"), coils(0, 19));
}

TEST_F(WriteDataToLocalTest, OfASingleCoilStoresOnlyTheLowestBit)
{
    show(write(0, 4, "FE", 1));
    EXPECT_EQ(hex("00"), mirrored(1, 0, 4));
}

TEST_F(WriteDataToLocalTest, OfNoOrNegativeCoilsStoresNothing)
{
    for (const int count : {0, -1, -5, -8, INT_MIN}) {
        SCOPED_TRACE(count);
        show(write(0, 16, "FF FF", count));
        EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
    }
}

TEST_F(WriteDataToLocalTest, ReadsMissingCoilBytesAsZero)
{
    mirror(1, 0, 9, hex("01"));
    show(write(0, 0, "FF", 10));
    EXPECT_EQ(bits("1111111100"), coils(0, 10));
}

TEST_F(WriteDataToLocalTest, OverwritesTheFirstByteOfACoilEntryAndKeepsTheRest)
{
    mirror(1, 0, 3, hex("01 77"));
    show(write(0, 3, "00", 1));
    EXPECT_EQ(hex("00 77"), mirrored(1, 0, 3));
}

// ---------------------------------------------------------------------------- write: bits inside registers

TEST_F(WriteDataToLocalTest, SetsABitOfAnUnknownRegisterInTwoZeroBytes)
{
    show(write(3, 35, "01"));
    EXPECT_EQ(hex("08 00"), mirrored(1, 5, 2));
}

TEST_F(WriteDataToLocalTest, PutsBitsEightToFifteenIntoTheSecondByte)
{
    show(write(3, 35, "01"));
    show(write(3, 43, "01"));
    EXPECT_EQ(hex("08 08"), mirrored(1, 5, 2));
}

TEST_F(WriteDataToLocalTest, ClearsABitAndKeepsTheOthers)
{
    mirror(1, 5, 2, hex("FF FF"));
    show(write(3, 35, "00"));
    EXPECT_EQ(hex("F7 FF"), mirrored(1, 5, 2));
    show(write(3, 47, "00"));
    EXPECT_EQ(hex("F7 7F"), mirrored(1, 5, 2));
}

TEST_F(WriteDataToLocalTest, ClearingABitOfAnUnknownRegisterStillMakesItsEntry)
{
    show(write(3, 35, "00"));
    EXPECT_TRUE(PLC_driver.registerCache.contains(makeCacheKey(1, 5, 2)));
    EXPECT_EQ(hex("00 00"), mirrored(1, 5, 2));
}

TEST_F(WriteDataToLocalTest, EveryBitOfARegisterHasItsPlace)
{
    const char *expected[16] = {"01 00", "02 00", "04 00", "08 00", "10 00", "20 00", "40 00", "80 00",
                                "00 01", "00 02", "00 04", "00 08", "00 10", "00 20", "00 40", "00 80"};
    for (int bit = 0; bit < 16; ++bit) {
        SCOPED_TRACE(bit);
        PLC_driver.registerCache.clear();
        show(write(3, 16 * 7 + bit, "01"));
        EXPECT_EQ(hex(expected[bit]), mirrored(1, 5, 7));
    }
}

TEST_F(WriteDataToLocalTest, AnyNonZeroByteSetsTheBit)
{
    show(write(3, 32, "80"));
    EXPECT_EQ(hex("01 00"), mirrored(1, 5, 2));
}

TEST_F(WriteDataToLocalTest, OfABitLooksAtTheFirstDataByteOnly)
{
    mirror(1, 5, 2, hex("FF FF"));
    show(write(3, 32, "00 01"));
    EXPECT_EQ(hex("FE FF"), mirrored(1, 5, 2));
}

TEST_F(WriteDataToLocalTest, OfABitWritesExactlyOneWhateverCountSays)
{
    for (const int count : {-3, 0, 1, 5, 100}) {
        SCOPED_TRACE(count);
        PLC_driver.registerCache.clear();
        show(write(3, 35, "01 01 01 01 01", count));
        EXPECT_EQ(hex("08 00"), mirrored(1, 5, 2));
        EXPECT_EQ(1, PLC_driver.registerCache.size());
    }
}

TEST_F(WriteDataToLocalTest, OfABitWithoutDataClearsIt)
{
    mirror(1, 5, 2, hex("FF FF"));
    show(write(3, 35, ""));
    EXPECT_EQ(hex("F7 FF"), mirrored(1, 5, 2));
}

TEST_F(WriteDataToLocalTest, OfABitLengthensAShortEntryOnlyAsFarAsNeeded)
{
    mirror(1, 5, 2, QByteArray(""));
    show(write(3, 35, "01"));
    EXPECT_EQ(hex("08"), mirrored(1, 5, 2));
    show(write(3, 43, "01"));
    EXPECT_EQ(hex("08 08"), mirrored(1, 5, 2));
}

TEST_F(WriteDataToLocalTest, OfABitTakesAByteBehindTheEntryAsZero)
{
    mirror(1, 5, 2, QByteArray(""));
    show(write(3, 43, "01"));
    EXPECT_EQ(hex("00 08"), mirrored(1, 5, 2));
}

TEST_F(WriteDataToLocalTest, OfABitAtANegativeAddressShiftsArithmetically)
{
    // Bit -1 is bit 15 of register -1, whose key is all ones.
    show(write(3, -1, "01"));
    EXPECT_EQ(hex("00 80"), PLC_driver.registerCache.value(Q_UINT64_C(0xFFFFFFFFFFFFFFFF)));
    // Bit -17 is bit 15 of register -2.
    show(write(3, -17, "01"));
    EXPECT_EQ(hex("00 80"), PLC_driver.registerCache.value(Q_UINT64_C(0xFFFFFFFFFFFFFFFE)));
}

// ----------------------------------------------------------------------------------------- write: registers

TEST_F(WriteDataToLocalTest, StoresRegistersInTheirByteOrder)
{
    for (const int regType : {5, 8, 9}) {
        SCOPED_TRACE(regType);
        PLC_driver.registerCache.clear();
        show(write(regType, 100, "11 22 33 44", 2));
        EXPECT_EQ(hex("11 22"), mirrored(1, 5, 100));
        EXPECT_EQ(hex("33 44"), mirrored(1, 5, 101));
        EXPECT_EQ(2, PLC_driver.registerCache.size());
    }
}

TEST_F(WriteDataToLocalTest, OfRegistersGoesByTheDataNotByCount)
{
    for (const int regType : {5, 8, 9}) {
        for (const int count : {-1, 0, 1, 7, INT_MAX}) {
            SCOPED_TRACE(::testing::Message() << "type " << regType << ", count " << count);
            PLC_driver.registerCache.clear();
            show(write(regType, 100, "11 22 33 44", count));
            EXPECT_EQ(hex("33 44"), mirrored(1, 5, 101));
            EXPECT_EQ(2, PLC_driver.registerCache.size());
        }
    }
}

TEST_F(WriteDataToLocalTest, CompletesAnOddLastByteWithZero)
{
    for (const int regType : {5, 8, 9}) {
        SCOPED_TRACE(regType);
        mirror(1, 5, 101, hex("AA BB"));
        show(write(regType, 100, "01 02 03", 2));
        EXPECT_EQ(hex("01 02"), mirrored(1, 5, 100));
        EXPECT_EQ(hex("03 00"), mirrored(1, 5, 101));
    }
}

TEST_F(WriteDataToLocalTest, OfRegistersWithoutDataStoresNothing)
{
    for (const int regType : {5, 7, 8, 9}) {
        SCOPED_TRACE(regType);
        show(write(regType, 100, "", 2));
        EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
    }
}

TEST_F(WriteDataToLocalTest, KeepsFurtherBytesOfALongerEntry)
{
    mirror(1, 5, 100, hex("AA BB CC"));
    show(write(5, 100, "12 34"));
    EXPECT_EQ(hex("12 34 CC"), mirrored(1, 5, 100));
}

TEST_F(WriteDataToLocalTest, LengthensAShorterEntry)
{
    mirror(1, 5, 100, hex("AA"));
    show(write(5, 100, "12 34"));
    EXPECT_EQ(hex("12 34"), mirrored(1, 5, 100));
}

TEST_F(WriteDataToLocalTest, CountsTheKeyUpWithCarryOverTheAddress)
{
    show(write(5, INT_MAX, "11 22 33 44", 2));
    EXPECT_EQ(hex("11 22"), PLC_driver.registerCache.value(Q_UINT64_C(0x010500007FFFFFFF)));
    EXPECT_EQ(hex("33 44"), PLC_driver.registerCache.value(Q_UINT64_C(0x0105000080000000)));
}

TEST_F(WriteDataToLocalTest, BehindTheLastKeyOfAllStartsAtZero)
{
    show(write(5, -1, "11 22 33 44", 2));
    EXPECT_EQ(hex("11 22"), PLC_driver.registerCache.value(Q_UINT64_C(0xFFFFFFFFFFFFFFFF)));
    EXPECT_EQ(hex("33 44"), PLC_driver.registerCache.value(0));
}

// --------------------------------------------------------------------------------------------- write: pairs

TEST_F(WriteDataToLocalTest, PutsTheLowHalfOfAPairIntoTheHigherRegister)
{
    show(write(7, 100, "11 22 33 44"));
    EXPECT_EQ(hex("11 22"), mirrored(1, 5, 101));
    EXPECT_EQ(hex("33 44"), mirrored(1, 5, 100));
}

TEST_F(WriteDataToLocalTest, StoresConsecutivePairsTwoRegistersApart)
{
    show(write(7, 100, "11 22 33 44 55 66 77 88", 2));
    EXPECT_EQ(hex("33 44"), mirrored(1, 5, 100));
    EXPECT_EQ(hex("11 22"), mirrored(1, 5, 101));
    EXPECT_EQ(hex("77 88"), mirrored(1, 5, 102));
    EXPECT_EQ(hex("55 66"), mirrored(1, 5, 103));
    EXPECT_EQ(4, PLC_driver.registerCache.size());
}

TEST_F(WriteDataToLocalTest, OfPairsGoesByTheDataNotByCount)
{
    for (const int count : {-1, 0, 1, 5}) {
        SCOPED_TRACE(count);
        PLC_driver.registerCache.clear();
        show(write(7, 100, "11 22 33 44 55 66 77 88", count));
        EXPECT_EQ(4, PLC_driver.registerCache.size());
    }
}

TEST_F(WriteDataToLocalTest, CompletesAShortLastPairWithZeros)
{
    show(write(7, 100, "11 22 33"));
    EXPECT_EQ(hex("11 22"), mirrored(1, 5, 101));
    EXPECT_EQ(hex("33 00"), mirrored(1, 5, 100));
    show(write(7, 200, "11"));
    EXPECT_EQ(hex("11 00"), mirrored(1, 5, 201));
    EXPECT_EQ(hex("00 00"), mirrored(1, 5, 200));
}

// ----------------------------------------------------------------------------------- write: everything else

TEST_F(WriteDataToLocalTest, OfReadOnlyAndUnknownTypesStoresNothing)
{
    for (const int regType : {1, 2, 4, 6, 10, 12, 255, -1, INT_MAX, INT_MIN}) {
        SCOPED_TRACE(regType);
        show(write(regType, 16, "11 22 33 44", 2));
        EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
    }
}

TEST_F(WriteDataToLocalTest, OfStationTwoHundredFiftySevenShowsAtStationOne)
{
    RW_VAR var = Variable(5, 100).station(257).data("12 34");
    show(var);
    EXPECT_EQ(hex("12 34"), mirrored(1, 5, 100));
}

TEST_F(WriteDataToLocalTest, IgnoresTheStationOverride)
{
    overrideStation(7);
    show(write(5, 100, "12 34"));
    EXPECT_EQ(hex("12 34"), mirrored(1, 5, 100));
    EXPECT_EQ(QByteArray(), mirrored(7, 5, 100));
}

TEST_F(WriteDataToLocalTest, StoresAlsoAfterAFailure)
{
    PLC_driver.failed = true;
    show(write(5, 100, "12 34"));
    EXPECT_EQ(hex("12 34"), mirrored(1, 5, 100));
}

TEST_F(WriteDataToLocalTest, ChangesNothingInTheRequest)
{
    RW_VAR var = Variable(7, 100).count(3).station(300).ids(4, 5).linkId(6).relayArgs(7, 8).data("11 22 33");
    WriteDataToLocal(&var);
    EXPECT_EQ(7, var.regType);
    EXPECT_EQ(100, var.address);
    EXPECT_EQ(3, var.count);
    EXPECT_EQ(300, var.station);
    EXPECT_EQ(hex("11 22 33"), var.data);
    EXPECT_EQ(1, var.direction);
}

TEST_F(WriteDataToLocalTest, OfNullDoesNothing)
{
    WriteDataToLocal(nullptr);
    EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
    EXPECT_TRUE(!isHeld(PLC_driver.cacheMutex));
}

TEST_F(WriteDataToLocalTest, WaitsForTheCacheMutexAndReleasesIt)
{
    EXPECT_TRUE(waitsFor(PLC_driver.cacheMutex, [this] { show(write(5, 100, "12 34")); }));
    EXPECT_EQ(hex("12 34"), mirrored(1, 5, 100));
    EXPECT_TRUE(!isHeld(PLC_driver.cacheMutex));
}

TEST_F(WriteDataToLocalTest, NeedsNeitherListNorStationMutex)
{
    EXPECT_TRUE(returnsDespite(PLC_driver.listMutex, [this] { show(write(5, 100, "12 34")); }));
    EXPECT_TRUE(returnsDespite(PLC_driver.stationMutex, [this] { show(write(5, 101, "56 78")); }));
    EXPECT_EQ(hex("12 34"), mirrored(1, 5, 100));
    EXPECT_EQ(hex("56 78"), mirrored(1, 5, 101));
}

// ---------------------------------------------------------------------------------------------------
// lifetime

TEST_F(RegisterCache, KeepsValuesThroughACommunicationFailure)
{
    mirror(1, 5, 100, hex("12 34"));
    info.retryLimit = 0;
    addRead(holding(100));
    ASSERT_NE(nullptr, next());
    ASSERT_EQ(kResultNoReply, silence());
    EXPECT_EQ(hex("12 34"), mirrored(1, 5, 100));
}

TEST_F(RegisterCache, KeepsTheWrittenValueWhenTheWriteFailsOnTheLine)
{
    info.retryLimit = 0;
    addWrite(holding(100).data("12 34"));
    ASSERT_NE(nullptr, next());
    ASSERT_EQ(kResultNoReply, silence());
    EXPECT_EQ(hex("12 34"), mirrored(1, 5, 100));
}

} // namespace

} // namespace plc::test
