// Reading values from the mirror, and splitting the runtime's writes into requests.
#include <climits>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "mirror/register_cache.h"
#include "support/driver_fixture.h"
#include "support/lock_probe.h"

namespace plc::test {

namespace {

class DataAccess : public SetUpDriver
{
protected:
    int get(int regType, const char *address, int count, int station = 1)
    {
        return GetRegisterData(QString(), regType, QString::fromLatin1(address), station, &out, count);
    }

    int set(int regType, const char *address, QByteArray data, int count, int station = 1)
    {
        return SetRegisterData(QString::fromLatin1("Name"), regType, QString::fromLatin1(address), station,
                               &data, count, 11, 12);
    }

    /// Address, count and data of every queued write: "100 x 2: 12 34 56 78".
    std::vector<std::string> queued() const
    {
        std::vector<std::string> writes;
        for (const RW_VAR &var : PLC_driver.writeList)
            writes.push_back(std::to_string(var.address) + " x " + std::to_string(var.count) + ": " +
                             toHex(var.data));
        return writes;
    }

    /// Address and count of every queued write: "100 x 2".
    std::vector<std::string> queuedPlaces() const
    {
        std::vector<std::string> writes;
        for (const RW_VAR &var : PLC_driver.writeList)
            writes.push_back(std::to_string(var.address) + " x " + std::to_string(var.count));
        return writes;
    }

    QByteArray out;
};

using Writes = std::vector<std::string>;

// ======================================================================================== GetRegisterData

class GetRegisterDataTest : public DataAccess
{};

TEST_F(GetRegisterDataTest, OfUnknownRegistersGivesZeros)
{
    EXPECT_EQ(1, get(5, "100", 3));
    EXPECT_EQ(hex("00 00 00 00 00 00"), out);
}

TEST_F(GetRegisterDataTest, SizesTheOutputByType)
{
    struct Row
    {
        int regType;
        int count;
        int bytes;
    };
    const Row rows[] = {{0, 3, 3}, {1, 3, 3}, {2, 3, 3}, {3, 3, 3}, {4, 3, 6},  {5, 3, 6},
                        {8, 3, 6}, {9, 3, 6}, {6, 1, 4}, {6, 2, 4}, {6, 3, 8},  {6, 4, 8},
                        {7, 1, 4}, {7, 2, 4}, {7, 3, 8}, {7, 4, 8}, {7, 5, 12}, {0, 1, 1},
                        {5, 1, 2}, {0, 0, 0}, {2, 0, 0}, {5, 0, 0}, {7, 0, 0}};
    for (const Row &row : rows) {
        SCOPED_TRACE(::testing::Message() << "type " << row.regType << ", count " << row.count);
        EXPECT_EQ(1, get(row.regType, row.regType == 2 || row.regType == 3 ? "6.4" : "100", row.count));
        EXPECT_EQ(QByteArray(row.bytes, '\0'), out);
    }
}

TEST_F(GetRegisterDataTest, LeavesTheByteBehindTheOutputAlone)
{
    // Qt keeps a zero there, which text functions rely on.
    for (int address = 0; address < 40; ++address) {
        for (const int area : {0, 1, 4, 5})
            mirror(1, area, address, hex(area < 4 ? "01" : "FF FF"));
    }
    for (int regType = 0; regType <= 9; ++regType) {
        for (const int count : {1, 2, 3, 16, 17}) {
            const char *const address = regType == 2 || regType == 3 ? "3.0" : "3";
            get(regType, address, count);
            EXPECT_EQ('\0', out.constData()[out.size()]) << "type " << regType << ", count " << count;
        }
    }
}

TEST_F(GetRegisterDataTest, ReplacesWhatTheOutputHeld)
{
    out = QByteArray(50, 'x');
    EXPECT_EQ(1, get(5, "100", 1));
    EXPECT_EQ(hex("00 00"), out);
}

TEST_F(GetRegisterDataTest, OfABadAddressGivesTwoZeroBytesPerElementForEveryType)
{
    for (int regType = -1; regType <= 11; ++regType) {
        SCOPED_TRACE(regType);
        out = QByteArray(50, 'x');
        EXPECT_EQ(0, get(regType, "x", 3));
        EXPECT_EQ(hex("00 00 00 00 00 00"), out);
    }
}

TEST_F(GetRegisterDataTest, RefusesANegativeAddress)
{
    out = QByteArray("x");
    EXPECT_EQ(0, get(5, "-3", 1));
    EXPECT_EQ(hex("00 00"), out);
}

TEST_F(GetRegisterDataTest, RefusesATypeOutsideTheTable)
{
    for (const int regType : {10, -1, 12, INT_MAX}) {
        SCOPED_TRACE(regType);
        EXPECT_EQ(0, get(regType, "100", 2));
        EXPECT_EQ(hex("00 00 00 00"), out);
    }
}

TEST_F(GetRegisterDataTest, GivesOneByteForEachCoil)
{
    mirror(1, 0, 16, hex("01"));
    mirror(1, 0, 18, hex("01"));
    mirror(1, 0, 19, hex("00"));
    EXPECT_EQ(1, get(0, "16", 4));
    EXPECT_EQ(hex("01 00 01 00"), out);
}

TEST_F(GetRegisterDataTest, GivesTheByteOfABitEntryAsItStands)
{
    mirror(1, 1, 16, hex("05 FF"));
    EXPECT_EQ(1, get(1, "16", 2));
    EXPECT_EQ(hex("05 00"), out);
}

TEST_F(GetRegisterDataTest, TakesAnEmptyEntryAsZero)
{
    mirror(1, 0, 16, QByteArray(""));
    mirror(1, 5, 16, QByteArray(""));
    EXPECT_EQ(1, get(0, "16", 1));
    EXPECT_EQ(hex("00"), out);
    EXPECT_EQ(1, get(5, "16", 1));
    EXPECT_EQ(hex("00 00"), out);
    EXPECT_EQ(1, get(3, "16.15", 1));
    EXPECT_EQ(hex("00"), out);
    EXPECT_EQ(1, get(7, "16", 1));
    EXPECT_EQ(hex("00 00 00 00"), out);
}

TEST_F(GetRegisterDataTest, KeepsTheFourAreasApart)
{
    mirror(1, 0, 7, hex("01"));
    mirror(1, 1, 8, hex("01"));
    mirror(1, 4, 7, hex("44 40"));
    mirror(1, 5, 7, hex("55 50"));
    EXPECT_EQ(1, get(0, "7", 2));
    EXPECT_EQ(hex("01 00"), out);
    EXPECT_EQ(1, get(1, "7", 2));
    EXPECT_EQ(hex("00 01"), out);
    EXPECT_EQ(1, get(4, "7", 1));
    EXPECT_EQ(hex("44 40"), out);
    EXPECT_EQ(1, get(5, "7", 1));
    EXPECT_EQ(hex("55 50"), out);
}

TEST_F(GetRegisterDataTest, FindsBitsInsideRegisters)
{
    mirror(1, 5, 2, hex("08 80"));
    EXPECT_EQ(1, get(3, "2.0", 16));
    EXPECT_EQ(hex("00 00 00 01 00 00 00 00 00 00 00 00 00 00 00 01"), out);
}

TEST_F(GetRegisterDataTest, ReadsBitsAcrossARegisterBorder)
{
    mirror(1, 5, 2, hex("00 C0"));
    mirror(1, 5, 3, hex("05 00"));
    EXPECT_EQ(1, get(3, "2.14", 6));
    EXPECT_EQ(hex("01 01 01 00 01 00"), out);
}

TEST_F(GetRegisterDataTest, TakesBitsOfTypeTwoFromInputRegisters)
{
    mirror(1, 4, 2, hex("01 00"));
    mirror(1, 5, 2, hex("02 00"));
    EXPECT_EQ(1, get(2, "2.0", 2));
    EXPECT_EQ(hex("01 00"), out);
    EXPECT_EQ(1, get(3, "2.0", 2));
    EXPECT_EQ(hex("00 01"), out);
}

TEST_F(GetRegisterDataTest, TakesBitsBehindAShortEntryAsZero)
{
    mirror(1, 5, 2, hex("FF"));
    EXPECT_EQ(1, get(3, "2.7", 2));
    EXPECT_EQ(hex("01 00"), out);
}

TEST_F(GetRegisterDataTest, GivesRegistersLowByteFirst)
{
    mirror(1, 5, 100, hex("34 12"));
    mirror(1, 5, 102, hex("78 56 99"));
    for (const int regType : {5, 8, 9}) {
        SCOPED_TRACE(regType);
        EXPECT_EQ(1, get(regType, "100", 3));
        EXPECT_EQ(hex("34 12 00 00 78 56"), out);
    }
}

TEST_F(GetRegisterDataTest, CompletesAShortRegisterEntryWithZero)
{
    mirror(1, 4, 100, hex("34"));
    EXPECT_EQ(1, get(4, "100", 1));
    EXPECT_EQ(hex("34 00"), out);
}

TEST_F(GetRegisterDataTest, TakesTwoBytesOfALongRegisterEntry)
{
    mirror(1, 5, 100, hex("34 12 FF"));
    EXPECT_EQ(1, get(5, "100", 2));
    EXPECT_EQ(hex("34 12 00 00"), out);
}

TEST_F(GetRegisterDataTest, PutsTheHigherRegisterOfAPairFirst)
{
    mirror(1, 5, 100, hex("33 44"));
    mirror(1, 5, 101, hex("11 22"));
    EXPECT_EQ(1, get(7, "100", 2));
    EXPECT_EQ(hex("11 22 33 44"), out);
}

TEST_F(GetRegisterDataTest, GivesAHalfKnownPairWithZerosForTheOtherHalf)
{
    mirror(1, 4, 100, hex("33 44"));
    mirror(1, 4, 103, hex("55 66"));
    EXPECT_EQ(1, get(6, "100", 4));
    EXPECT_EQ(hex("00 00 33 44 55 66 00 00"), out);
}

TEST_F(GetRegisterDataTest, OfAnOddCountOfPairRegistersGivesTheLastPairWhole)
{
    for (int address = 100; address < 104; ++address)
        mirror(1, 5, address, QByteArray(1, static_cast<char>(address)) + hex("EE"));
    EXPECT_EQ(1, get(7, "100", 3));
    EXPECT_EQ(hex("65 EE 64 EE 67 EE 66 EE"), out);
}

TEST_F(GetRegisterDataTest, UsesTheStationOfTheCall)
{
    mirror(3, 5, 100, hex("12 34"));
    EXPECT_EQ(1, get(5, "100", 1, 3));
    EXPECT_EQ(hex("12 34"), out);
    EXPECT_EQ(1, get(5, "100", 1, 4));
    EXPECT_EQ(hex("00 00"), out);
}

TEST_F(GetRegisterDataTest, UsesTheDefaultStationWhenAllVariablesShareOne)
{
    mirror(9, 5, 100, hex("12 34"));
    info.stationMode = 0;
    info.defaultStation = 9;
    EXPECT_EQ(1, get(5, "100", 1, 3));
    EXPECT_EQ(hex("12 34"), out);
}

TEST_F(GetRegisterDataTest, TakesAnyOtherStationModeAsOwnStations)
{
    mirror(3, 5, 100, hex("12 34"));
    info.defaultStation = 9;
    for (const int mode : {1, 2, -1}) {
        SCOPED_TRACE(mode);
        info.stationMode = mode;
        EXPECT_EQ(1, get(5, "100", 1, 3));
        EXPECT_EQ(hex("12 34"), out);
    }
}

TEST_F(GetRegisterDataTest, IgnoresTheStationOverride)
{
    overrideStation(7);
    mirror(1, 5, 100, hex("12 34"));
    EXPECT_EQ(1, get(5, "100", 1));
    EXPECT_EQ(hex("12 34"), out);
}

TEST_F(GetRegisterDataTest, SharesTheValuesOfStationsWithTheSameLowByte)
{
    mirror(1, 5, 100, hex("12 34"));
    EXPECT_EQ(1, get(5, "100", 1, 257));
    EXPECT_EQ(hex("12 34"), out);
}

TEST_F(GetRegisterDataTest, TakesAddressesOneBasedWhenTheyAreTypedSo)
{
    mirror(1, 5, 99, hex("12 34"));
    setOptions(kOptionOneBased);
    EXPECT_EQ(1, get(5, "100", 1));
    EXPECT_EQ(hex("12 34"), out);
}

TEST_F(GetRegisterDataTest, NeverMakesAnEntry)
{
    for (int regType = 0; regType < 10; ++regType)
        get(regType, regType == 2 || regType == 3 ? "6.4" : "100", 40);
    EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
}

TEST_F(GetRegisterDataTest, CausesNoTraffic)
{
    get(5, "100", 10);
    EXPECT_TRUE(PLC_driver.readList.isEmpty());
    EXPECT_TRUE(PLC_driver.onceReadList.isEmpty());
    EXPECT_TRUE(PLC_driver.sendQueue.isEmpty());
    EXPECT_EQ(nullptr, next());
}

TEST_F(GetRegisterDataTest, DoesNotLookAtTheName)
{
    mirror(1, 5, 100, hex("12 34"));
    EXPECT_EQ(1, GetRegisterData(QString::fromLatin1("4x 200"), 5, QString::fromLatin1("100"), 1, &out, 1));
    EXPECT_EQ(hex("12 34"), out);
}

TEST_F(GetRegisterDataTest, OfANegativeCountGivesNothing)
{
    for (const int regType : {0, 1, 3, 4, 5, 7}) {
        for (const int count : {-1, -2, -3, -100, INT_MIN}) {
            SCOPED_TRACE(::testing::Message() << "type " << regType << ", count " << count);
            out = QByteArray(5, 'x');
            EXPECT_EQ(1, get(regType, regType == 3 ? "6.4" : "100", count));
            EXPECT_EQ(QByteArray(), out);
        }
    }
}

TEST_F(GetRegisterDataTest, WaitsForTheCacheMutexAndReleasesIt)
{
    EXPECT_TRUE(waitsFor(PLC_driver.cacheMutex, [this] { get(5, "100", 1); }));
    EXPECT_TRUE(!isHeld(PLC_driver.cacheMutex));
}

TEST_F(GetRegisterDataTest, OfABadAddressDoesNotTakeTheCacheMutex)
{
    EXPECT_TRUE(returnsDespite(PLC_driver.cacheMutex, [this] { get(5, "x", 1); }));
}

TEST_F(GetRegisterDataTest, NeedsNoListMutex)
{
    EXPECT_TRUE(returnsDespite(PLC_driver.listMutex, [this] { get(5, "100", 1); }));
}

// ======================================================================================== SetRegisterData

class SetRegisterDataTest : public DataAccess
{};

// ------------------------------------------------------------------------------------- the request it makes

TEST_F(SetRegisterDataTest, FillsEveryFieldOfTheRequest)
{
    info.linkMode = 5;
    info.linkId = 6;
    EXPECT_EQ(1, set(5, "100", hex("12 34"), 1, 3));
    ASSERT_EQ(1, PLC_driver.writeList.size());
    const RW_VAR &var = PLC_driver.writeList.at(0);
    EXPECT_EQ(11, var.hostId);
    EXPECT_EQ(12, var.hostSubId);
    EXPECT_EQ(1, var.direction);
    EXPECT_EQ(5, var.linkMode);
    EXPECT_EQ(6, var.linkId);
    EXPECT_EQ(0, var.status);
    EXPECT_EQ(QString::fromLatin1("Name"), var.varName);
    EXPECT_EQ(QString::fromLatin1("100"), var.addrText);
    EXPECT_EQ(5, var.regType);
    EXPECT_EQ(100, var.address);
    EXPECT_EQ(3, var.station);
    EXPECT_EQ(1, var.count);
    EXPECT_EQ(0, var.relayArg1);
    EXPECT_EQ(0, var.relayArg2);
    EXPECT_EQ(hex("12 34"), var.data);
}

TEST_F(SetRegisterDataTest, CarriesTheTypedAddressTextInEveryPieceAlthoughTheAddressMovesOn)
{
    info.maxBlock = 2;
    set(5, "100", QByteArray(6, 'x'), 3);
    ASSERT_EQ(2, PLC_driver.writeList.size());
    EXPECT_EQ(QString::fromLatin1("100"), PLC_driver.writeList.at(1).addrText);
    EXPECT_EQ(102, PLC_driver.writeList.at(1).address);
    EXPECT_EQ(11, PLC_driver.writeList.at(1).hostId);
    EXPECT_EQ(12, PLC_driver.writeList.at(1).hostSubId);
}

TEST_F(SetRegisterDataTest, KeepsTheTypeOfABitInARegister)
{
    set(3, "2.3", hex("01"), 1);
    ASSERT_EQ(1, PLC_driver.writeList.size());
    EXPECT_EQ(3, PLC_driver.writeList.at(0).regType);
    EXPECT_EQ(35, PLC_driver.writeList.at(0).address);
}

TEST_F(SetRegisterDataTest, UsesTheDefaultStationWhenAllVariablesShareOne)
{
    info.stationMode = 0;
    info.defaultStation = 9;
    set(5, "100", hex("12 34"), 1, 3);
    EXPECT_EQ(9, PLC_driver.writeList.at(0).station);
}

TEST_F(SetRegisterDataTest, TakesAddressesOneBasedWhenTheyAreTypedSo)
{
    setOptions(kOptionOneBased);
    set(5, "100", hex("12 34"), 1);
    EXPECT_EQ(99, PLC_driver.writeList.at(0).address);
}

TEST_F(SetRegisterDataTest, LeavesTheCallersDataAlone)
{
    QByteArray data = hex("01 00 01 01 00 00 00 01");
    SetRegisterData(QString(), 0, QString::fromLatin1("0"), 1, &data, 8, 0, 0);
    EXPECT_EQ(hex("01 00 01 01 00 00 00 01"), data);
}

TEST_F(SetRegisterDataTest, OfABadAddressReturnsZeroAndChangesNothing)
{
    set(5, "1", hex("12 34"), 1);
    const struct
    {
        int regType;
        const char *text;
    } rows[] = {{5, "x"}, {5, ""}, {5, "-1"}, {3, "10"}, {10, "1"}, {-1, "1"}};
    for (const auto &row : rows) {
        SCOPED_TRACE(::testing::Message() << "type " << row.regType << ", text " << row.text);
        EXPECT_EQ(0, set(row.regType, row.text, hex("12 34"), 1));
        EXPECT_EQ(1, PLC_driver.writeList.size());
        EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
    }
}

TEST_F(SetRegisterDataTest, ReturnsTheLengthOfTheWriteList)
{
    EXPECT_EQ(1, set(5, "1", hex("12 34"), 1));
    EXPECT_EQ(2, set(5, "2", hex("12 34"), 1));
    info.maxBlock = 2;
    EXPECT_EQ(5, set(5, "10", hex("12 34"), 5));
}

// ------------------------------------------------------------------------------------------------- coils

TEST_F(SetRegisterDataTest, PacksCoilsEightToAByteLowestBitFirst)
{
    set(0, "16", hex("01 00 01 00 00 01 00 01 01 01"), 10);
    EXPECT_EQ((Writes{"16 x 10: A5 03"}), queued());
}

TEST_F(SetRegisterDataTest, SplitsCoilsAtEightTimesTheBlockLimit)
{
    info.maxBlock = 2;
    EXPECT_EQ(2, set(0, "5", QByteArray(20, 1), 20));
    EXPECT_EQ((Writes{"5 x 16: FF FF", "21 x 4: 0F"}), queued());
}

TEST_F(SetRegisterDataTest, TakesTheSecondPieceOfCoilsFromWhereTheFirstEnded)
{
    info.maxBlock = 2;
    set(0, "0", QByteArray(16, 0) + hex("01 00 00 01"), 20);
    EXPECT_EQ((Writes{"0 x 16: 00 00", "16 x 4: 09"}), queued());
}

TEST_F(SetRegisterDataTest, DoesNotSplitCoilsWithABlockLimitOfOne)
{
    info.maxBlock = 1;
    EXPECT_EQ(1, set(0, "5", QByteArray(20, 1), 20));
    EXPECT_EQ((Writes{"5 x 20: FF FF 0F"}), queued());
}

TEST_F(SetRegisterDataTest, QueuesExactlyFullPiecesOfCoilsWithoutAnEmptyOne)
{
    info.maxBlock = 2;
    set(0, "0", QByteArray(32, 1), 32);
    EXPECT_EQ((Writes{"0 x 16: FF FF", "16 x 16: FF FF"}), queued());
}

TEST_F(SetRegisterDataTest, LeavesTheZeroBehindExactlyFullBytesOfCoils)
{
    // Whoever takes the bytes for a text of C relies on it.
    info.maxBlock = 2;
    set(0, "0", QByteArray(32, 1), 32);
    EXPECT_EQ('\0', PLC_driver.writeList.at(0).data.constData()[2]);
}

TEST_F(SetRegisterDataTest, ShiftsTheBytesOfAWholeGroupOfCoilsUnmasked)
{
    // A 2 spills into the next coil, deliberately: coils are 0 or 1, and the caller knows.
    set(0, "0", hex("02 00 00 00 00 00 00 00"), 8);
    EXPECT_EQ((Writes{"0 x 8: 02"}), queued());
}

TEST_F(SetRegisterDataTest, DropsWhatSpillsOutOfAWholeGroup)
{
    set(0, "0", hex("00 00 00 00 00 00 00 FF 00 00 00 00 00 00 00 00"), 16);
    EXPECT_EQ((Writes{"0 x 16: 80 00"}), queued());
}

TEST_F(SetRegisterDataTest, OrsTheBytesOfAWholeGroup)
{
    set(0, "0", hex("03 03 00 00 80 00 00 00"), 8);
    EXPECT_EQ((Writes{"0 x 8: 07"}), queued());
}

TEST_F(SetRegisterDataTest, SetsABitForEveryNonZeroByteOfThePartialGroup)
{
    set(0, "0", hex("02 00 80"), 3);
    EXPECT_EQ((Writes{"0 x 3: 05"}), queued());
}

TEST_F(SetRegisterDataTest, TakesCoilsBehindTheCallersBufferAsZero)
{
    set(0, "0", hex("01 01 01 01 01 01 01 01 01 01"), 20);
    EXPECT_EQ((Writes{"0 x 20: FF 03 00"}), queued());
    EXPECT_EQ(2, set(0, "100", QByteArray(), 3));
    EXPECT_EQ("100 x 3: 00", queued().at(1));
}

TEST_F(SetRegisterDataTest, IgnoresCoilsOfTheBufferBeyondCount)
{
    set(0, "0", QByteArray(20, 1), 9);
    EXPECT_EQ((Writes{"0 x 9: FF 01"}), queued());
}

TEST_F(SetRegisterDataTest, WithOptionSixWritesCoilsOneByOne)
{
    setOptions(kOptionSingleCoils);
    EXPECT_EQ(4, set(0, "5", hex("01 00 02 FF"), 4));
    EXPECT_EQ((Writes{"5 x 1: 01", "6 x 1: 00", "7 x 1: 01", "8 x 1: 01"}), queued());
}

TEST_F(SetRegisterDataTest, WithOptionSixTakesMissingCoilsAsZero)
{
    setOptions(kOptionSingleCoils);
    set(0, "5", hex("01"), 2);
    EXPECT_EQ((Writes{"5 x 1: 01", "6 x 1: 00"}), queued());
}

TEST_F(SetRegisterDataTest, WithOptionFiveStillPacksCoils)
{
    setOptions(kOptionSingleRegisters);
    set(0, "5", hex("01 01"), 2);
    EXPECT_EQ((Writes{"5 x 2: 03"}), queued());
}

// -------------------------------------------------------------------------------- bits inside registers

TEST_F(SetRegisterDataTest, WritesBitsInsideRegistersOneByOne)
{
    EXPECT_EQ(3, set(3, "2.14", hex("01 00 7F"), 3));
    EXPECT_EQ((Writes{"46 x 1: 01", "47 x 1: 00", "48 x 1: 01"}), queued());
}

TEST_F(SetRegisterDataTest, TakesMissingBitsInsideRegistersAsZero)
{
    set(3, "2.0", hex("01"), 3);
    EXPECT_EQ((Writes{"32 x 1: 01", "33 x 1: 00", "34 x 1: 00"}), queued());
}

// ------------------------------------------------------------------------------------- holding registers

TEST_F(SetRegisterDataTest, SplitsRegistersAtTheBlockLimit)
{
    info.maxBlock = 2;
    EXPECT_EQ(3, set(5, "100", hex("01 02 03 04 05 06 07 08 09 0A"), 5));
    EXPECT_EQ((Writes{"100 x 2: 01 02 03 04", "102 x 2: 05 06 07 08", "104 x 1: 09 0A"}), queued());
}

TEST_F(SetRegisterDataTest, DoesNotSplitRegistersWithABlockLimitOfOne)
{
    info.maxBlock = 1;
    EXPECT_EQ(1, set(5, "100", hex("01 02 03 04 05 06"), 3));
    EXPECT_EQ((Writes{"100 x 3: 01 02 03 04 05 06"}), queued());
}

TEST_F(SetRegisterDataTest, WithOptionFiveWritesRegistersOneByOne)
{
    setOptions(kOptionSingleRegisters);
    info.maxBlock = 2;
    EXPECT_EQ(5, set(5, "100", hex("01 02 03 04 05 06 07 08 09 0A"), 5));
    EXPECT_EQ(
        (Writes{"100 x 1: 01 02", "101 x 1: 03 04", "102 x 1: 05 06", "103 x 1: 07 08", "104 x 1: 09 0A"}),
        queued());
}

TEST_F(SetRegisterDataTest, WithOptionFiveWritesRegistersOneByOneAlsoAtABlockLimitOfOne)
{
    setOptions(kOptionSingleRegisters);
    info.maxBlock = 1;
    EXPECT_EQ(2, set(5, "100", hex("01 02 03 04"), 2));
    EXPECT_EQ((Writes{"100 x 1: 01 02", "101 x 1: 03 04"}), queued());
}

TEST_F(SetRegisterDataTest, WithOptionSixStillPacksRegisters)
{
    setOptions(kOptionSingleCoils);
    set(5, "100", hex("01 02 03 04"), 2);
    EXPECT_EQ((Writes{"100 x 2: 01 02 03 04"}), queued());
}

TEST_F(SetRegisterDataTest, CompletesMissingRegisterBytesWithZeros)
{
    info.maxBlock = 2;
    set(5, "100", hex("01 02 03"), 5);
    EXPECT_EQ((Writes{"100 x 2: 01 02 03 00", "102 x 2: 00 00 00 00", "104 x 1: 00 00"}), queued());
}

TEST_F(SetRegisterDataTest, IgnoresRegisterBytesBeyondCount)
{
    set(5, "100", hex("01 02 03 04"), 1);
    EXPECT_EQ((Writes{"100 x 1: 01 02"}), queued());
}

// ------------------------------------------------------------------------------------------------- pairs

TEST_F(SetRegisterDataTest, CountsTheRequestOfPairsInValues)
{
    EXPECT_EQ(1, set(7, "100", hex("01 02 03 04 05 06 07 08"), 4));
    EXPECT_EQ((Writes{"100 x 2: 01 02 03 04 05 06 07 08"}), queued());
}

TEST_F(SetRegisterDataTest, RoundsAnOddCountOfPairRegistersUp)
{
    set(7, "100", hex("01 02 03 04 05 06 07 08"), 3);
    EXPECT_EQ((Writes{"100 x 2: 01 02 03 04 05 06 07 08"}), queued());
}

TEST_F(SetRegisterDataTest, SplitsPairsAtSixtyValues)
{
    EXPECT_EQ(3, set(7, "100", QByteArray(500, 'x'), 250));
    EXPECT_EQ((Writes{"100 x 60", "220 x 60", "340 x 5"}), queuedPlaces());
    EXPECT_EQ(QByteArray(240, 'x'), PLC_driver.writeList.at(1).data);
    EXPECT_EQ(QByteArray(20, 'x'), PLC_driver.writeList.at(2).data);
}

TEST_F(SetRegisterDataTest, SplitsPairsAtSixtyValuesAlsoAtABlockLimitOfOne)
{
    info.maxBlock = 1;
    set(7, "0", QByteArray(500, 'x'), 250);
    EXPECT_EQ((Writes{"0 x 60", "120 x 60", "240 x 5"}), queuedPlaces());
}

TEST_F(SetRegisterDataTest, TakesABlockLimitBelowSixtyAsANumberOfValuesNotOfRegisters)
{
    info.maxBlock = 2;
    set(7, "100", hex("01 02 03 04 05 06 07 08 09 0A 0B 0C"), 6);
    EXPECT_EQ((Writes{"100 x 2: 01 02 03 04 05 06 07 08", "104 x 1: 09 0A 0B 0C"}), queued());
}

TEST_F(SetRegisterDataTest, OfPairsAtABlockLimitOfSixtyOneStillSplitsAtSixty)
{
    info.maxBlock = 61;
    set(7, "0", QByteArray(244, 'x'), 122);
    EXPECT_EQ((Writes{"0 x 60", "120 x 1"}), queuedPlaces());
}

TEST_F(SetRegisterDataTest, CompletesMissingPairBytesWithZeros)
{
    info.maxBlock = 2;
    set(7, "100", hex("01 02 03 04 05"), 6);
    EXPECT_EQ((Writes{"100 x 2: 01 02 03 04 05 00 00 00", "104 x 1: 00 00 00 00"}), queued());
}

TEST_F(SetRegisterDataTest, WithOptionFiveStillPacksPairs)
{
    setOptions(kOptionSingleRegisters);
    set(7, "100", hex("01 02 03 04 05 06 07 08"), 4);
    EXPECT_EQ((Writes{"100 x 2: 01 02 03 04 05 06 07 08"}), queued());
}

// ------------------------------------------------------------------------------- single and block registers

TEST_F(SetRegisterDataTest, WritesSingleAndBlockRegistersOneARequest)
{
    for (const int regType : {8, 9}) {
        SCOPED_TRACE(regType);
        PLC_driver.writeList.clear();
        EXPECT_EQ(2, set(regType, "100", hex("01 02 03 04"), 2));
        EXPECT_EQ((Writes{"100 x 1: 01 02", "101 x 1: 03 04"}), queued());
        EXPECT_EQ(regType, PLC_driver.writeList.at(1).regType);
    }
}

TEST_F(SetRegisterDataTest, CompletesSingleAndBlockRegistersWithZeros)
{
    for (const int regType : {8, 9}) {
        SCOPED_TRACE(regType);
        PLC_driver.writeList.clear();
        set(regType, "100", hex("01 02 03"), 3);
        EXPECT_EQ((Writes{"100 x 1: 01 02", "101 x 1: 03 00", "102 x 1: 00 00"}), queued());
    }
}

// --------------------------------------------------------------------------- read-only types and odd counts

TEST_F(SetRegisterDataTest, OfReadOnlyTypesIsAcceptedAndDoesNothing)
{
    set(5, "1", hex("12 34"), 1);
    for (const int writeMode : {2, 0}) {
        for (const int regType : {1, 2, 4, 6}) {
            SCOPED_TRACE(::testing::Message() << "type " << regType << ", writeMode " << writeMode);
            info.writeMode = writeMode;
            EXPECT_EQ(1, set(regType, regType == 2 ? "6.4" : "100", hex("01 02 03 04"), 2));
            EXPECT_EQ(1, PLC_driver.writeList.size());
            EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
        }
    }
}

TEST_F(SetRegisterDataTest, OfACountBelowOneWritesNothing)
{
    set(5, "1", hex("12 34"), 1);
    for (const int regType : {0, 3, 5, 7, 8, 9}) {
        for (const int count : {0, -1, -2, -100, INT_MIN}) {
            for (const quint32 options : {0u, kOptionSingleRegisters, kOptionSingleCoils}) {
                SCOPED_TRACE(::testing::Message() << "type " << regType << ", count " << count);
                setOptions(options);
                EXPECT_EQ(1, set(regType, regType == 3 ? "6.4" : "100", hex("01 02 03 04"), count));
                EXPECT_EQ(1, PLC_driver.writeList.size());
            }
        }
    }
}

TEST_F(SetRegisterDataTest, OfACountBelowOneWritesNothingAtABlockLimitOfOne)
{
    info.maxBlock = 1;
    for (const int regType : {0, 3, 5, 7, 8, 9}) {
        for (const int count : {0, -1, -100}) {
            SCOPED_TRACE(::testing::Message() << "type " << regType << ", count " << count);
            EXPECT_EQ(0, set(regType, regType == 3 ? "6.4" : "100", hex("01 02 03 04"), count));
        }
    }
}

// ------------------------------------------------------------------------------ queueing and mirroring

TEST_F(SetRegisterDataTest, MergesWithAPendingWriteBehindTheFirst)
{
    EXPECT_EQ(1, set(5, "100", hex("01 00"), 1));
    EXPECT_EQ(2, set(5, "100", hex("02 00"), 1));
    EXPECT_EQ(2, set(5, "100", hex("03 00"), 1));
    EXPECT_EQ((Writes{"100 x 1: 01 00", "100 x 1: 03 00"}), queued());
}

TEST_F(SetRegisterDataTest, StopsAtAThousandAndTwentyFourPendingWrites)
{
    EXPECT_EQ(1024, set(8, "0", QByteArray(), 1100));
    EXPECT_EQ(1024, PLC_driver.writeList.size());
    EXPECT_EQ(1023, PLC_driver.writeList.at(1023).address);
}

/// A write that goes out in several requests.
struct SplitWrite
{
    const char *name;
    int regType;
    int maxBlock;
    int count;        // as the runtime gives it
    int countInCall;  // of one request, likewise
    int countInEntry; // of one request in the list
    int step;         // from one request's address to the next
    int bytesInCall;  // of one request
};

const SplitWrite kSplitWrites[] = {
    {"single registers", 8, 100, 10, 1, 1, 1, 2},
    {"registers", 5, 3, 20, 3, 3, 3, 6},
    {"pairs", 7, 3, 20, 6, 3, 6, 12},
    {"coils", 0, 2, 100, 16, 16, 16, 16},
};

TEST_F(SetRegisterDataTest, OfSeveralRequestsLeavesTheListAsOneCallForEachWould)
{
    for (const SplitWrite &form : kSplitWrites) {
        info.maxBlock = form.maxBlock;
        const int pieces = (form.count + form.countInCall - 1) / form.countInCall;
        for (int run = 0; run < 150; ++run) {
            const int full = (run % 3) * 507; // others in the list: none, many, nearly as many as fit
            SCOPED_TRACE(form.name + (" after " + std::to_string(full)) + ", run " + std::to_string(run));
            std::mt19937 random(static_cast<unsigned>(run) + 1);
            const auto oneIn = [&random](unsigned n) { return random() % n == 0; };
            const auto pend = [](int station, int type, int address, int count) {
                RW_VAR var = holding(address).count(count).data("EE EE");
                var.station = station;
                var.regType = type;
                AddListWriteVar(&var, 1);
            };
            PLC_driver.writeList.clear();
            for (int i = 0; i < full; ++i)
                pend(1, 5, 1000 + i, 7);
            // Places on either side of those written, some twice, and some that differ in one thing.
            for (int i = 0; i < 12; ++i) {
                const int piece = static_cast<int>(random() % static_cast<unsigned>(pieces + 4)) - 2;
                const int count =
                    piece == pieces - 1 ? (form.count - 1) % form.countInCall + 1 : form.countInCall;
                pend(oneIn(8) ? 2 : 1, oneIn(8) ? 4 : form.regType,
                     200 + piece * form.step + (oneIn(8) ? 1 : 0),
                     count * form.countInEntry / form.countInCall + (oneIn(8) ? 1 : 0));
            }
            const QList<RW_VAR> before = PLC_driver.writeList;
            QByteArray values;
            for (int i = 0; i < pieces * form.bytesInCall; ++i)
                values.append(static_cast<char>(form.regType == 0 ? i % 3 % 2 : i + 0x10));
            const int length = set(form.regType, "200", values, form.count);
            const Writes together = queued();

            PLC_driver.writeList = before;
            for (int i = 0; i < pieces; ++i)
                set(form.regType, std::to_string(200 + (i * form.step)).c_str(),
                    values.mid(i * form.bytesInCall, form.bytesInCall),
                    std::min(form.countInCall, form.count - i * form.countInCall));
            EXPECT_EQ(queued(), together);
            EXPECT_EQ(PLC_driver.writeList.size(), length);
        }
    }
}

TEST_F(SetRegisterDataTest, OfSeveralRequestsShowsEachValueAtOnceAfterAFailure)
{
    PLC_driver.failed = true;
    EXPECT_EQ(2, set(8, "100", hex("12 34 56 78"), 2));
    EXPECT_EQ(hex("12 34"), mirrored(1, 5, 100));
    EXPECT_EQ(hex("56 78"), mirrored(1, 5, 101));
}

TEST_F(SetRegisterDataTest, OfSeveralRequestsQueuesMoreThanGoInOneLookThroughTheList)
{
    // The list takes what fits; the values of all show after a failure.
    PLC_driver.failed = true;
    EXPECT_EQ(1024, set(8, "0", QByteArray(2 * 1030, 'x'), 1030));
    EXPECT_EQ(1023, PLC_driver.writeList.at(1023).address);
    for (const int address : {1023, 1024, 1029})
        EXPECT_EQ(QByteArray("xx"), mirrored(1, 5, address)) << address;
}

TEST_F(SetRegisterDataTest, ThatQueuesDoesNotShowTheValueYet)
{
    set(5, "100", hex("12 34"), 1);
    EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
}

TEST_F(SetRegisterDataTest, ThatQueuesShowsTheValueAtOnceAfterAFailure)
{
    // The request builder will not show it while the failure lasts.
    PLC_driver.failed = true;
    EXPECT_EQ(1, set(5, "100", hex("12 34"), 1));
    EXPECT_EQ(hex("12 34"), mirrored(1, 5, 100));
}

TEST_F(SetRegisterDataTest, InAnyOtherModeShowsTheValueAndQueuesNothing)
{
    for (const int writeMode : {0, 1, 3, -1, -2}) {
        SCOPED_TRACE(writeMode);
        PLC_driver.registerCache.clear();
        info.writeMode = writeMode;
        EXPECT_EQ(0, set(5, "100", hex("12 34"), 1));
        EXPECT_TRUE(PLC_driver.writeList.isEmpty());
        EXPECT_EQ(hex("12 34"), mirrored(1, 5, 100));
    }
}

TEST_F(SetRegisterDataTest, OfSeveralRequestsInAnyOtherModeShowsTheValuesAndQueuesNothing)
{
    info.writeMode = 0;
    EXPECT_EQ(0, set(8, "100", hex("12 34 56 78"), 2));
    EXPECT_EQ(hex("12 34"), mirrored(1, 5, 100));
    EXPECT_EQ(hex("56 78"), mirrored(1, 5, 101));
}

TEST_F(SetRegisterDataTest, InAnyOtherModeReturnsHowManyWritesArePending)
{
    addWrite(holding(1).data("00 00"));
    addWrite(holding(2).data("00 00"));
    info.writeMode = 0;
    EXPECT_EQ(2, set(5, "100", hex("12 34"), 1));
    EXPECT_EQ(2, set(4, "100", hex("12 34"), 1));
    EXPECT_EQ(2, set(5, "100", hex("12 34"), 0));
}

TEST_F(SetRegisterDataTest, ReturnsHowManyWritesArePendingAlsoWhenThePendingOnesHaveBeenServed)
{
    addWrite(holding(1).data("00 00"));
    addWrite(holding(2).data("00 00"));
    ASSERT_NE(nullptr, next());
    complete(hex("01 06 0001 0000 D80A"));
    EXPECT_EQ(1, set(4, "100", hex("12 34"), 1));
    ASSERT_NE(nullptr, next());
    complete(hex("01 06 0002 0000 280A"));
    EXPECT_EQ(0, set(4, "100", hex("12 34"), 1));
}

TEST_F(SetRegisterDataTest, ReturnsHowManyWritesArePendingAfterAFailurePurgedSome)
{
    info.retryLimit = 0;
    addWrite(holding(1).ids(4, 5).data("00 00"));
    addWrite(holding(2).ids(4, 5).data("00 00"));
    addWrite(holding(3).ids(6, 7).data("00 00"));
    ASSERT_NE(nullptr, next());
    ASSERT_EQ(kResultNoReply, silence());
    EXPECT_EQ(1, set(4, "100", hex("12 34"), 1));
}

TEST_F(SetRegisterDataTest, ReturnsHowManyWritesArePendingAfterASwitchedOffStationsWereDropped)
{
    addWrite(holding(1).station(3).data("00 00"));
    addWrite(holding(2).station(3).data("00 00"));
    EnCommStation(3, 0);
    ASSERT_EQ(nullptr, next());
    EXPECT_EQ(0, set(4, "100", hex("12 34"), 1));
}

TEST_F(SetRegisterDataTest, ComesBackByteForByteFromTheMirror)
{
    info.writeMode = 0;
    const struct
    {
        int regType;
        const char *address;
        const char *data;
        int count;
    } rows[] = {{0, "16", "01 00 01 00 00 01 00 01 01 01 00", 11},
                {3, "2.14", "01 00 01 01", 4},
                {5, "100", "12 34 56 78 9A BC", 3},
                {7, "200", "01 02 03 04 05 06 07 08", 4},
                {8, "300", "12 34 56 78", 2},
                {9, "400", "12 34 56 78", 2}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.regType);
        set(row.regType, row.address, hex(row.data), row.count);
        EXPECT_EQ(1, get(row.regType, row.address, row.count));
        EXPECT_EQ(hex(row.data), out);
    }
}

TEST_F(SetRegisterDataTest, ComesBackByteForByteAlsoAcrossPieces)
{
    info.writeMode = 0;
    QByteArray values;
    for (int i = 0; i < 600; ++i)
        values.append(static_cast<char>(i * 7));
    for (const int maxBlock : {1, 2, 7, 100}) {
        SCOPED_TRACE(maxBlock);
        info.maxBlock = maxBlock;
        PLC_driver.registerCache.clear();
        set(5, "0", values, 300);
        get(5, "0", 300);
        EXPECT_EQ(values, out);
        set(7, "1000", values, 300);
        get(7, "1000", 300);
        EXPECT_EQ(values, out);
    }
}

TEST_F(SetRegisterDataTest, PutsTheStationOfTheCallIntoTheMirror)
{
    info.writeMode = 0;
    overrideStation(7);
    set(5, "100", hex("12 34"), 1, 3);
    EXPECT_EQ(hex("12 34"), mirrored(3, 5, 100));
    info.stationMode = 0;
    info.defaultStation = 9;
    set(5, "100", hex("56 78"), 1, 3);
    EXPECT_EQ(hex("56 78"), mirrored(9, 5, 100));
}

// ----------------------------------------------------------------------------------------- size of an area

TEST_F(SetRegisterDataTest, TakesAWholeAreaAtOnce)
{
    info.writeMode = 0;
    QByteArray values(2 * 65536, 'x');
    EXPECT_EQ(0, set(5, "0", values, 65536));
    EXPECT_EQ(65536, PLC_driver.registerCache.size());
    EXPECT_EQ(hex("78 78"), mirrored(1, 5, 65535));
}

TEST_F(SetRegisterDataTest, RefusesMoreThanAWholeArea)
{
    addWrite(holding(1).data("00 00"));
    for (const int writeMode : {2, 0}) {
        for (const int regType : {0, 3, 5, 7, 8, 9}) {
            for (const int count : {65537, INT_MAX}) {
                SCOPED_TRACE(::testing::Message() << "type " << regType << ", count " << count);
                info.writeMode = writeMode;
                EXPECT_EQ(0, set(regType, regType == 3 ? "0.0" : "0", hex("01 02"), count));
                EXPECT_EQ(1, PLC_driver.writeList.size());
                EXPECT_TRUE(PLC_driver.registerCache.isEmpty());
            }
        }
    }
}

// -------------------------------------------------------------------------------------------------- locks

TEST_F(SetRegisterDataTest, ThatQueuesWaitsForTheListMutex)
{
    EXPECT_TRUE(waitsFor(PLC_driver.listMutex, [this] { set(5, "100", hex("12 34"), 1); }));
    EXPECT_EQ(1, PLC_driver.writeList.size());
    EXPECT_TRUE(!isHeld(PLC_driver.listMutex));
}

TEST_F(SetRegisterDataTest, ThatQueuesNeedsNoCacheMutex)
{
    EXPECT_TRUE(returnsDespite(PLC_driver.cacheMutex, [this] { set(5, "100", hex("12 34"), 1); }));
}

TEST_F(SetRegisterDataTest, ThatOnlyShowsTheValueNeedsNoListMutex)
{
    info.writeMode = 1;
    EXPECT_TRUE(returnsDespite(PLC_driver.listMutex, [this] { set(5, "100", hex("12 34"), 1); }));
    EXPECT_TRUE(waitsFor(PLC_driver.cacheMutex, [this] { set(5, "101", hex("12 34"), 1); }));
}

TEST_F(SetRegisterDataTest, ThatIsRefusedNeedsNoMutexAtAll)
{
    EXPECT_TRUE(returnsDespite(PLC_driver.listMutex, [this] { set(5, "x", hex("12 34"), 1); }));
    EXPECT_TRUE(returnsDespite(PLC_driver.cacheMutex, [this] { set(5, "x", hex("12 34"), 1); }));
}

TEST_F(SetRegisterDataTest, NeverHoldsBothMutexesAtOnce)
{
    // After a failure it waits for the mirror with the write queued already; meanwhile others can queue.
    PLC_driver.failed = true;
    PLC_driver.cacheMutex.lock();
    std::future<int> waiting =
        std::async(std::launch::async, [this] { return set(5, "100", hex("12 34"), 1); });
    while (PLC_driver.writeCount < 1)
        std::this_thread::yield();
    std::future<int> other =
        std::async(std::launch::async, [this] { return addWrite(holding(7).data("00 00")); });
    EXPECT_EQ(std::future_status::ready, other.wait_for(std::chrono::seconds(5)));
    PLC_driver.cacheMutex.unlock();
    waiting.get();
    other.get();
    EXPECT_EQ((Writes{"100 x 1: 12 34", "7 x 1: 00 00"}), queued());
}

} // namespace

} // namespace plc::test
