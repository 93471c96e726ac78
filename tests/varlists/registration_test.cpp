// What becomes of variables that the runtime hands over, one list after the other.
#include "varlists/registration.h"

#include <climits>
#include <functional>
#include <string>
#include <vector>

#include "support/driver_fixture.h"
#include "support/lock_probe.h"

namespace plc::test {

namespace {

/// Every field of a record as text.
std::string describe(const RW_VAR &var)
{
    std::string text;
    for (const int value : {var.hostId, var.hostSubId, var.direction, var.linkMode, var.linkId, var.status,
                            var.regType, var.address, var.station, var.count, var.relayArg1, var.relayArg2})
        text += std::to_string(value) + ", ";
    return text + var.varName.toStdString() + ", " + var.addrText.toStdString() + ", " + toHex(var.data);
}

/// A record in which every field has a value of its own.
RW_VAR distinct(int seed)
{
    RW_VAR var = Variable(5, 100).count(2).station(3).ids(seed + 1, seed + 2).linkId(seed + 3);
    var.direction = seed + 4;
    var.linkMode = seed + 5;
    var.status = seed + 6;
    var.relayArg1 = seed + 7;
    var.relayArg2 = seed + 8;
    var.varName = QString::number(seed + 9);
    var.addrText = QString::number(seed + 10);
    var.data = QByteArray::number(seed + 11);
    return var;
}

/// Type, address and count of every entry: "5: 100 x 2".
std::vector<std::string> places(const QList<RW_VAR> &list)
{
    std::vector<std::string> entries;
    for (const RW_VAR &var : list)
        entries.push_back(std::to_string(var.regType) + ": " + std::to_string(var.address) + " x " +
                          std::to_string(var.count));
    return entries;
}

using Places = std::vector<std::string>;

// =========================================================================================== updateRwVar

class UpdateRwVar : public FreshDriver
{};

TEST_F(UpdateRwVar, ConvertsToTheAreaThatARequestCanRead)
{
    struct Row
    {
        int regType, address, count;
        int newType, newAddress, newCount;
    };
    const Row rows[] = {
        // Plain areas stay.
        {0, 35, 7, 0, 35, 7},
        {1, 35, 7, 1, 35, 7},
        {4, 35, 7, 4, 35, 7},
        {5, 35, 7, 5, 35, 7},
        {5, -35, -7, 5, -35, -7},
        // Bits: registers from the first bit's to the last bit's.
        {3, 35, 1, 5, 2, 1},
        {3, 47, 1, 5, 2, 1},
        {3, 47, 2, 5, 2, 2},
        {3, 32, 16, 5, 2, 1},
        {3, 32, 17, 5, 2, 2},
        {3, 33, 16, 5, 2, 2},
        {3, 0, 1, 5, 0, 1},
        {2, 35, 1, 4, 2, 1},
        {2, 47, 18, 4, 2, 3},
        {3, 32, 0, 5, 2, 0},
        {3, 35, 0, 5, 2, 1},
        {3, 32, -1, 5, 2, 0},
        {3, 32, -16, 5, 2, -1},
        // A negative bit address shifts towards the lower register.
        {3, -1, 1, 5, -1, 1},
        {3, -17, 2, 5, -2, 2},
        // Pairs: whole ones.
        {6, 35, 1, 4, 35, 2},
        {6, 35, 2, 4, 35, 2},
        {7, 35, 3, 5, 35, 4},
        {7, 35, 4, 5, 35, 4},
        {7, 35, 0, 5, 35, 0},
        {7, 35, -1, 5, 35, 0},
        {7, 35, -2, 5, 35, 0},
        {7, 35, -3, 5, 35, -2},
        {7, 35, -4, 5, 35, -2},
        {7, 35, -5, 5, 35, -4},
        // Single and block registers are holding registers.
        {8, 35, 3, 5, 35, 3},
        {9, 35, 3, 5, 35, 3},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(::testing::Message()
                     << "type " << row.regType << ", address " << row.address << ", count " << row.count);
        RW_VAR var = Variable(row.regType, row.address).count(row.count);
        EXPECT_EQ(0, updateRwVar(&var));
        EXPECT_EQ(row.newType, var.regType);
        EXPECT_EQ(row.newAddress, var.address);
        EXPECT_EQ(row.newCount, var.count);
    }
}

TEST_F(UpdateRwVar, RefusesUnknownTypesAndLeavesTheRecordAlone)
{
    for (const int regType : {10, 11, -1, INT_MAX, INT_MIN}) {
        SCOPED_TRACE(regType);
        RW_VAR var = distinct(20);
        var.regType = regType;
        const std::string before = describe(var);
        EXPECT_EQ(1, updateRwVar(&var));
        EXPECT_EQ(before, describe(var));
    }
}

TEST_F(UpdateRwVar, LeavesAllOtherFieldsAlone)
{
    for (int regType = 0; regType < 10; ++regType) {
        SCOPED_TRACE(regType);
        RW_VAR var = distinct(20);
        var.regType = regType;
        const RW_VAR before = var;
        updateRwVar(&var);
        var.regType = before.regType;
        var.address = before.address;
        var.count = before.count;
        EXPECT_EQ(describe(before), describe(var));
    }
}

TEST_F(UpdateRwVar, OfNullIsRefused)
{
    EXPECT_EQ(1, updateRwVar(nullptr));
}

// ======================================================================================== AddListReadVar

class AddListReadVarTest : public SetUpDriver
{};

TEST_F(AddListReadVarTest, AppendsTheRecordAsItIs)
{
    RW_VAR var = distinct(20);
    EXPECT_EQ(1, AddListReadVar(&var));
    EXPECT_EQ(describe(var), describe(PLC_driver.readList.at(0)));
}

TEST_F(AddListReadVarTest, ReturnsTheLengthOfTheList)
{
    EXPECT_EQ(1, addRead(holding(1)));
    EXPECT_EQ(2, addRead(holding(2)));
    EXPECT_EQ(3, addRead(holding(2)));
    EXPECT_EQ((Places{"5: 1 x 1", "5: 2 x 1", "5: 2 x 1"}), places(PLC_driver.readList));
}

TEST_F(AddListReadVarTest, NeitherChecksNorConverts)
{
    info.stationMode = 0;
    info.defaultStation = 9;
    addRead(Variable(12, -5).count(-3).station(0).text("x"));
    const RW_VAR &var = PLC_driver.readList.at(0);
    EXPECT_EQ(12, var.regType);
    EXPECT_EQ(-5, var.address);
    EXPECT_EQ(-3, var.count);
    EXPECT_EQ(0, var.station);
}

TEST_F(AddListReadVarTest, KeepsACopyNotThePointer)
{
    RW_VAR var = holding(1);
    AddListReadVar(&var);
    var.address = 2;
    EXPECT_EQ(1, PLC_driver.readList.at(0).address);
}

TEST_F(AddListReadVarTest, HasNoLimit)
{
    for (int i = 0; i < 1100; ++i)
        addRead(holding(i));
    EXPECT_EQ(1100, PLC_driver.readList.size());
}

TEST_F(AddListReadVarTest, TakesNoMutex)
{
    EXPECT_TRUE(returnsDespite(PLC_driver.listMutex, [this] { addRead(holding(1)); }));
}

TEST_F(AddListReadVarTest, OfNullIsRefused)
{
    addRead(holding(1));
    EXPECT_EQ(0, AddListReadVar(nullptr));
    EXPECT_EQ(1, PLC_driver.readList.size());
}

// ======================================================================================= AddListWriteVar

class AddListWriteVarTest : public SetUpDriver
{
protected:
    void fill(int entries)
    {
        for (int i = 0; i < entries; ++i)
            addWrite(holding(1000 + i).data("00 00"), 1);
    }
};

TEST_F(AddListWriteVarTest, AppendsTheRecordAsItIsInEveryMode)
{
    for (const int mode : {1, 0, 2, -1}) {
        SCOPED_TRACE(mode);
        PLC_driver.writeList.clear();
        RW_VAR var = distinct(20);
        EXPECT_EQ(1, AddListWriteVar(&var, mode));
        EXPECT_EQ(describe(var), describe(PLC_driver.writeList.at(0)));
        EXPECT_EQ(describe(distinct(20)), describe(var)) << "the caller's record is not changed";
    }
}

TEST_F(AddListWriteVarTest, NeitherChecksNorConverts)
{
    info.stationMode = 0;
    info.defaultStation = 9;
    for (const int mode : {0, 1}) {
        SCOPED_TRACE(mode);
        PLC_driver.writeList.clear();
        EXPECT_EQ(1, addWrite(Variable(12, -5).count(-3).station(0).text("x"), mode));
        EXPECT_EQ(12, PLC_driver.writeList.at(0).regType);
        EXPECT_EQ(-5, PLC_driver.writeList.at(0).address);
        EXPECT_EQ(0, PLC_driver.writeList.at(0).station);
    }
}

TEST_F(AddListWriteVarTest, AppendsAWriteOfTheSamePlaceBehindASingleEntry)
{
    // The single entry may be on the wire already.
    EXPECT_EQ(1, addWrite(holding(5).data("01 00"), 0));
    EXPECT_EQ(2, addWrite(holding(5).data("02 00"), 0));
}

TEST_F(AddListWriteVarTest, ReplacesAPendingWriteOfTheSamePlace)
{
    fill(3);
    EXPECT_EQ(4, addWrite(holding(5).data("01 00"), 0));
    EXPECT_EQ(4, addWrite(holding(5).data("02 00"), 0));
    EXPECT_EQ(hex("02 00"), PLC_driver.writeList.at(3).data);
}

TEST_F(AddListWriteVarTest, ReplacesInPlaceWithoutMovingTheWriteInTheQueue)
{
    fill(3);
    EXPECT_EQ(3, addWrite(holding(1001).data("55 55"), 0));
    EXPECT_EQ((Places{"5: 1000 x 1", "5: 1001 x 1", "5: 1002 x 1"}), places(PLC_driver.writeList));
    EXPECT_EQ(hex("55 55"), PLC_driver.writeList.at(1).data);
}

TEST_F(AddListWriteVarTest, ReplacesTheLastEntryToo)
{
    fill(2);
    EXPECT_EQ(2, addWrite(holding(1001).data("55 55"), 0));
    EXPECT_EQ(hex("55 55"), PLC_driver.writeList.at(1).data);
}

TEST_F(AddListWriteVarTest, ReplacesEveryFieldOfAPendingWrite)
{
    fill(1);
    RW_VAR first = distinct(20);
    RW_VAR second = distinct(60);
    AddListWriteVar(&first, 0);
    EXPECT_EQ(2, AddListWriteVar(&second, 0));
    EXPECT_EQ(describe(second), describe(PLC_driver.writeList.at(1)));
}

TEST_F(AddListWriteVarTest, NeverReplacesTheFirstEntry)
{
    // It may be on the wire already, deliberately not asked.
    fill(3);
    EXPECT_EQ(4, addWrite(holding(1000).data("55 55"), 0));
    EXPECT_EQ(hex("00 00"), PLC_driver.writeList.at(0).data);
    EXPECT_EQ(hex("55 55"), PLC_driver.writeList.at(3).data);
}

TEST_F(AddListWriteVarTest, ReplacesOnlyTheFirstOfSeveralMatches)
{
    fill(1);
    addWrite(holding(5).data("01 00"), 1);
    addWrite(holding(5).data("02 00"), 1);
    EXPECT_EQ(3, addWrite(holding(5).data("03 00"), 0));
    EXPECT_EQ(hex("03 00"), PLC_driver.writeList.at(1).data);
    EXPECT_EQ(hex("02 00"), PLC_driver.writeList.at(2).data);
}

TEST_F(AddListWriteVarTest, TellsPlacesApartByStationTypeAddressAndCount)
{
    const std::pair<const char *, std::function<void(RW_VAR &)>> changes[] = {
        {"station", [](RW_VAR &var) { var.station = 2; }},
        {"type", [](RW_VAR &var) { var.regType = 9; }},
        {"address", [](RW_VAR &var) { var.address = 6; }},
        {"count", [](RW_VAR &var) { var.count = 2; }},
    };
    for (const auto &change : changes) {
        SCOPED_TRACE(change.first);
        PLC_driver.writeList.clear();
        fill(1);
        addWrite(holding(5).data("01 00"), 0);
        RW_VAR var = holding(5).data("02 00");
        change.second(var);
        EXPECT_EQ(3, AddListWriteVar(&var, 0));
    }
}

TEST_F(AddListWriteVarTest, DoesNotTellPlacesApartByAnythingElse)
{
    const std::pair<const char *, std::function<void(RW_VAR &)>> changes[] = {
        {"hostId", [](RW_VAR &var) { var.hostId = 9; }},
        {"hostSubId", [](RW_VAR &var) { var.hostSubId = 9; }},
        {"direction", [](RW_VAR &var) { var.direction = 0; }},
        {"linkMode", [](RW_VAR &var) { var.linkMode = 9; }},
        {"linkId", [](RW_VAR &var) { var.linkId = 9; }},
        {"varName", [](RW_VAR &var) { var.varName = QString::fromLatin1("x"); }},
        {"addrText", [](RW_VAR &var) { var.addrText = QString::fromLatin1("x"); }},
        {"relayArg1", [](RW_VAR &var) { var.relayArg1 = 9; }},
        {"relayArg2", [](RW_VAR &var) { var.relayArg2 = 9; }},
    };
    for (const auto &change : changes) {
        SCOPED_TRACE(change.first);
        PLC_driver.writeList.clear();
        fill(1);
        addWrite(holding(5).data("01 00"), 0);
        RW_VAR var = holding(5).data("02 00");
        change.second(var);
        EXPECT_EQ(2, AddListWriteVar(&var, 0));
    }
}

TEST_F(AddListWriteVarTest, MergesInAnyModeButOne)
{
    for (const int mode : {0, 2, -1, INT_MAX}) {
        SCOPED_TRACE(mode);
        PLC_driver.writeList.clear();
        fill(2);
        EXPECT_EQ(2, addWrite(holding(1001).data("55 55"), mode));
    }
    EXPECT_EQ(3, addWrite(holding(1001).data("55 55"), 1));
}

TEST_F(AddListWriteVarTest, TakesTheThousandAndTwentyFourthEntryAndNoMore)
{
    fill(1023);
    EXPECT_EQ(1024, addWrite(holding(1).data("01 00"), 0));
    EXPECT_EQ(1024, addWrite(holding(2).data("02 00"), 0));
    EXPECT_EQ(1, PLC_driver.writeList.last().address);
}

TEST_F(AddListWriteVarTest, StillReplacesInAFullList)
{
    fill(1024);
    EXPECT_EQ(1024, addWrite(holding(1500).data("55 55"), 0));
    EXPECT_EQ(hex("55 55"), PLC_driver.writeList.at(500).data);
}

TEST_F(AddListWriteVarTest, DropsAWriteOfTheFirstPlaceInAFullList)
{
    fill(1024);
    EXPECT_EQ(1024, addWrite(holding(1000).data("55 55"), 0));
    EXPECT_EQ(hex("00 00"), PLC_driver.writeList.at(0).data);
}

TEST_F(AddListWriteVarTest, HasNoLimitWhenItAppends)
{
    fill(1024);
    EXPECT_EQ(1025, addWrite(holding(1).data("01 00"), 1));
    EXPECT_EQ(1025, addWrite(holding(2).data("01 00"), 0));
}

TEST_F(AddListWriteVarTest, KeepsACopyNotThePointer)
{
    for (const int mode : {0, 1}) {
        RW_VAR var = holding(1).data("01 00");
        AddListWriteVar(&var, mode);
        var.data[0] = '\x55';
        EXPECT_EQ(hex("01 00"), PLC_driver.writeList.last().data);
    }
}

TEST_F(AddListWriteVarTest, WaitsForTheListMutexAndReleasesIt)
{
    for (const int mode : {0, 1}) {
        SCOPED_TRACE(mode);
        EXPECT_TRUE(
            waitsFor(PLC_driver.listMutex, [this, mode] { addWrite(holding(1).data("01 00"), mode); }));
        EXPECT_TRUE(!isHeld(PLC_driver.listMutex));
    }
    EXPECT_EQ(2, PLC_driver.writeList.size());
}

TEST_F(AddListWriteVarTest, OfNullIsRefused)
{
    fill(1);
    EXPECT_EQ(0, AddListWriteVar(nullptr, 0));
    EXPECT_EQ(0, AddListWriteVar(nullptr, 1));
    EXPECT_EQ(1, PLC_driver.writeList.size());
}

// ==================================================================================== AddListOnceReadVar

class AddListOnceReadVarTest : public SetUpDriver
{
protected:
    /// A request as the runtime makes it: address as text.
    static Variable request(int regType, const char *text) { return Variable(regType, 77).text(text); }

    int add(RW_VAR var) { return AddListOnceReadVar(&var, 0); }

    Places queued() const { return places(PLC_driver.onceReadList); }
};

TEST_F(AddListOnceReadVarTest, InModeOneAppendsTheRecordAsItIs)
{
    info.stationMode = 0;
    RW_VAR var = distinct(20);
    var.regType = 12;
    var.station = 0;
    var.count = 70000;
    EXPECT_EQ(1, AddListOnceReadVar(&var, 1));
    EXPECT_EQ(2, AddListOnceReadVar(&var, 1));
    EXPECT_EQ(describe(var), describe(PLC_driver.onceReadList.at(0)));
    EXPECT_EQ(describe(var), describe(PLC_driver.onceReadList.at(1)));
}

TEST_F(AddListOnceReadVarTest, InModeOneHasNoLimit)
{
    for (int i = 0; i < 1025; ++i)
        addOnceRead(holding(i), 1);
    EXPECT_EQ(1026, addOnceRead(holding(0), 1));
}

TEST_F(AddListOnceReadVarTest, InAnyOtherModeParses)
{
    for (const int mode : {0, 2, -1}) {
        SCOPED_TRACE(mode);
        PLC_driver.onceReadList.clear();
        EXPECT_EQ(1, addOnceRead(request(5, "10"), mode));
        EXPECT_EQ((Places{"5: 10 x 1"}), queued());
    }
}

TEST_F(AddListOnceReadVarTest, CutsALongReadIntoPieces)
{
    EXPECT_EQ(3, add(request(5, "10").count(250)));
    EXPECT_EQ((Places{"5: 10 x 100", "5: 110 x 100", "5: 210 x 50"}), queued());
}

TEST_F(AddListOnceReadVarTest, CutsExactlyFullPiecesWithoutAnEmptyOne)
{
    EXPECT_EQ(2, add(request(4, "0").count(200)));
    EXPECT_EQ((Places{"4: 0 x 100", "4: 100 x 100"}), queued());
}

TEST_F(AddListOnceReadVarTest, RewritesTheCallersRecord)
{
    RW_VAR var = request(3, "3.5").count(1700).station(4).relayArgs(5, 6).ids(7, 8).linkId(9);
    info.stationMode = 0;
    info.defaultStation = 12;
    AddListOnceReadVar(&var, 0);
    EXPECT_EQ(5, var.regType);
    EXPECT_EQ(7, var.count) << "the last piece";
    EXPECT_EQ(110, var.address) << "just past the end";
    EXPECT_EQ(12, var.station);
    EXPECT_EQ(0, var.relayArg1);
    EXPECT_EQ(0, var.relayArg2);
    EXPECT_EQ(7, var.hostId);
    EXPECT_EQ(8, var.hostSubId);
    EXPECT_EQ(9, var.linkId);
    EXPECT_EQ(QString::fromLatin1("3.5"), var.addrText);
}

TEST_F(AddListOnceReadVarTest, CarriesTheOtherFieldsIntoEveryPiece)
{
    RW_VAR var = distinct(20);
    var.addrText = QString::fromLatin1("10");
    var.count = 101;
    add(var);
    ASSERT_EQ(2, PLC_driver.onceReadList.size());
    RW_VAR piece = var;
    piece.relayArg1 = piece.relayArg2 = 0;
    piece.address = 10;
    piece.count = 100;
    EXPECT_EQ(describe(piece), describe(PLC_driver.onceReadList.at(0)));
    piece.address = 110;
    piece.count = 1;
    EXPECT_EQ(describe(piece), describe(PLC_driver.onceReadList.at(1)));
}

TEST_F(AddListOnceReadVarTest, ConvertsDerivedTypes)
{
    struct Row
    {
        int regType;
        const char *text;
        int count;
        const char *place;
    };
    const Row rows[] = {{3, "3.5", 1, "5: 3 x 1"}, {2, "3.5", 12, "4: 3 x 2"}, {6, "20", 3, "4: 20 x 4"},
                        {7, "20", 4, "5: 20 x 4"}, {8, "20", 3, "5: 20 x 3"},  {9, "20", 3, "5: 20 x 3"},
                        {0, "20", 3, "0: 20 x 3"}, {1, "20", 3, "1: 20 x 3"}};
    for (const Row &row : rows) {
        SCOPED_TRACE(row.regType);
        PLC_driver.onceReadList.clear();
        EXPECT_EQ(1, add(request(row.regType, row.text).count(row.count)));
        EXPECT_EQ((Places{row.place}), queued());
    }
}

TEST_F(AddListOnceReadVarTest, TakesTheNumberOfRegistersBehindTheBitsForTheLimit)
{
    info.maxBlock = 2;
    // Bits 5 to 52 of register 3: four registers.
    EXPECT_EQ(2, add(request(3, "3.5").count(48)));
    EXPECT_EQ((Places{"5: 3 x 2", "5: 5 x 2"}), queued());
}

TEST_F(AddListOnceReadVarTest, TakesAddressesOneBasedWhenTheyAreTypedSo)
{
    setOptions(kOptionOneBased);
    add(request(5, "10"));
    add(request(3, "3.5"));
    EXPECT_EQ((Places{"5: 9 x 1", "5: 2 x 1"}), queued());
}

TEST_F(AddListOnceReadVarTest, CutsBitsAtEightTimesTheBlockLimit)
{
    info.maxBlock = 2;
    EXPECT_EQ(2, add(request(0, "5").count(20)));
    EXPECT_EQ((Places{"0: 5 x 16", "0: 21 x 4"}), queued());
    PLC_driver.onceReadList.clear();
    EXPECT_EQ(2, add(request(1, "5").count(17)));
    EXPECT_EQ((Places{"1: 5 x 16", "1: 21 x 1"}), queued());
}

TEST_F(AddListOnceReadVarTest, KeepsBitsWithinTheLimitTogether)
{
    EXPECT_EQ(1, add(request(0, "5").count(20)));
    PLC_driver.onceReadList.clear();
    EXPECT_EQ(1, add(request(0, "5").count(800)));
    PLC_driver.onceReadList.clear();
    EXPECT_EQ(2, add(request(0, "5").count(801)));
}

TEST_F(AddListOnceReadVarTest, CutsBitsAtEightAlsoAtABlockLimitOfOne)
{
    // A limit of 1 does not mean single bits here.
    info.maxBlock = 1;
    EXPECT_EQ(2, add(request(0, "5").count(9)));
    EXPECT_EQ((Places{"0: 5 x 8", "0: 13 x 1"}), queued());
}

TEST_F(AddListOnceReadVarTest, CutsRegistersOneByOneAtABlockLimitOfOne)
{
    // A limit of 1 does split here.
    info.maxBlock = 1;
    EXPECT_EQ(3, add(request(5, "5").count(3)));
    EXPECT_EQ((Places{"5: 5 x 1", "5: 6 x 1", "5: 7 x 1"}), queued());
}

TEST_F(AddListOnceReadVarTest, WithOptionElevenCutsBitsOneByOne)
{
    setOptions(kOptionNoBitPacking);
    EXPECT_EQ(20, add(request(0, "5").count(20)));
    EXPECT_EQ("0: 5 x 1", queued().front());
    EXPECT_EQ("0: 24 x 1", queued().back());
    PLC_driver.onceReadList.clear();
    EXPECT_EQ(2, add(request(1, "5").count(2)));
}

TEST_F(AddListOnceReadVarTest, WithOptionElevenStillPacksRegisters)
{
    setOptions(kOptionNoBitPacking);
    EXPECT_EQ(1, add(request(5, "5").count(20)));
    PLC_driver.onceReadList.clear();
    EXPECT_EQ(1, add(request(3, "5.0").count(20)));
    EXPECT_EQ((Places{"5: 5 x 2"}), queued());
}

// --------------------------------------------------------------------------------------------- stations

TEST_F(AddListOnceReadVarTest, UsesTheStationOfTheRecord)
{
    info.defaultStation = 9;
    add(request(5, "10").station(4));
    EXPECT_EQ(4, PLC_driver.onceReadList.at(0).station);
}

TEST_F(AddListOnceReadVarTest, UsesTheDefaultStationWhenAllVariablesShareOne)
{
    info.stationMode = 0;
    info.defaultStation = 9;
    EXPECT_EQ(1, add(request(5, "10").station(0)));
    EXPECT_EQ(9, PLC_driver.onceReadList.at(0).station);
}

TEST_F(AddListOnceReadVarTest, RefusesStationZero)
{
    add(request(5, "10"));
    EXPECT_EQ(0, add(request(5, "20").station(0)));
    EXPECT_EQ(1, PLC_driver.onceReadList.size());
}

TEST_F(AddListOnceReadVarTest, RefusesADefaultStationOfZero)
{
    info.stationMode = 0;
    info.defaultStation = 0;
    EXPECT_EQ(0, add(request(5, "10").station(4)));
    EXPECT_TRUE(PLC_driver.onceReadList.isEmpty());
}

TEST_F(AddListOnceReadVarTest, RefusesOnlyStationZeroNotNegativeOnesOrMultiplesOfTwoHundredFiftySix)
{
    EXPECT_EQ(1, add(request(5, "10").station(-1)));
    EXPECT_EQ(2, add(request(5, "10").station(256)));
}

TEST_F(AddListOnceReadVarTest, OfStationZeroHasAlreadyParsedTheAddressButNotConverted)
{
    RW_VAR var = request(3, "3.5").station(0).relayArgs(5, 6).count(20);
    EXPECT_EQ(0, AddListOnceReadVar(&var, 0));
    EXPECT_EQ(53, var.address);
    EXPECT_EQ(0, var.relayArg1);
    EXPECT_EQ(0, var.relayArg2);
    EXPECT_EQ(3, var.regType);
    EXPECT_EQ(20, var.count);
}

// --------------------------------------------------------------------------------------------- refusals

TEST_F(AddListOnceReadVarTest, RefusesABadAddressAndLeavesTheRecordAlone)
{
    add(request(5, "10"));
    for (const char *text : {"", "x", "-1", "10.3"}) {
        SCOPED_TRACE(text);
        RW_VAR var = request(5, text).station(4).relayArgs(5, 6);
        const std::string before = describe(var);
        EXPECT_EQ(0, AddListOnceReadVar(&var, 0));
        EXPECT_EQ(before, describe(var));
        EXPECT_EQ(1, PLC_driver.onceReadList.size());
    }
}

TEST_F(AddListOnceReadVarTest, RefusesUnknownTypes)
{
    for (const int regType : {10, -1}) {
        SCOPED_TRACE(regType);
        EXPECT_EQ(0, add(request(regType, "10")));
        EXPECT_TRUE(PLC_driver.onceReadList.isEmpty());
    }
}

TEST_F(AddListOnceReadVarTest, DropsThePiecesThatAFullListCannotTake)
{
    // 1025 pieces of 100 registers: the last one finds the list full.
    EXPECT_EQ(1024, add(request(5, "0").count(102500)));
    EXPECT_EQ("5: 102300 x 100", queued().back());
}

TEST_F(AddListOnceReadVarTest, LeavesTheRecordBehindTheDroppedPiecesToo)
{
    RW_VAR var = request(5, "7").count(102450);
    AddListOnceReadVar(&var, 0);
    EXPECT_EQ(7 + 102450, var.address);
    EXPECT_EQ(50, var.count);
}

TEST_F(AddListOnceReadVarTest, OfTheLargestCountFillsTheListAndReturns)
{
    RW_VAR var = request(5, "0").count(INT_MAX);
    EXPECT_EQ(1024, AddListOnceReadVar(&var, 0));
    EXPECT_EQ(INT_MAX, var.address);
    EXPECT_EQ(47, var.count); // 2147483647 = 21474836 pieces of 100 and 47
}

TEST_F(AddListOnceReadVarTest, ReturnsAtOnceWithTheLargestCountWhenTheListIsFull)
{
    add(request(5, "0").count(102400));
    setOptions(kOptionNoBitPacking);
    RW_VAR var = request(0, "0").count(INT_MAX);
    EXPECT_EQ(1024, AddListOnceReadVar(&var, 0));
    EXPECT_EQ(1, var.count);
}

TEST_F(AddListOnceReadVarTest, TakesAWholeArea)
{
    EXPECT_EQ(656, add(request(5, "0").count(65536)));
    EXPECT_EQ("5: 65500 x 36", queued().back());
    PLC_driver.onceReadList.clear();
    EXPECT_EQ(82, add(request(0, "0").count(65536)));
}

TEST_F(AddListOnceReadVarTest, OfACountBelowOneQueuesNothing)
{
    add(request(5, "10"));
    for (const int regType : {0, 1, 4, 5, 6, 7, 8, 9}) {
        for (const int count : {0, -1, -2, -100, INT_MIN}) {
            SCOPED_TRACE(::testing::Message() << "type " << regType << ", count " << count);
            EXPECT_EQ(1, add(request(regType, "20").count(count)));
            EXPECT_EQ(1, PLC_driver.onceReadList.size());
        }
    }
}

TEST_F(AddListOnceReadVarTest, OfNullIsRefused)
{
    EXPECT_EQ(0, AddListOnceReadVar(nullptr, 0));
    EXPECT_EQ(0, AddListOnceReadVar(nullptr, 1));
    EXPECT_TRUE(PLC_driver.onceReadList.isEmpty());
}

// -------------------------------------------------------------------------------- pieces queued already

TEST_F(AddListOnceReadVarTest, QueuesNothingTheSecondTimeForAnEqualRecord)
{
    EXPECT_EQ(3, add(request(5, "10").count(250)));
    EXPECT_EQ(3, add(request(5, "10").count(250)));
}

TEST_F(AddListOnceReadVarTest, CalledAgainWithTheRewrittenRecordAsksForTheLastPiecesCount)
{
    RW_VAR var = request(5, "10").count(250);
    AddListOnceReadVar(&var, 0);
    EXPECT_EQ(4, AddListOnceReadVar(&var, 0));
    EXPECT_EQ("5: 10 x 50", queued().back());
}

TEST_F(AddListOnceReadVarTest, LeavesOutASinglePieceThatIsQueuedAlready)
{
    EXPECT_EQ(1, add(request(5, "110").count(100)));
    EXPECT_EQ(3, add(request(5, "10").count(250)));
    EXPECT_EQ((Places{"5: 110 x 100", "5: 10 x 100", "5: 210 x 50"}), queued());
}

TEST_F(AddListOnceReadVarTest, LeavesOutPiecesThatAreQueuedInAnyOrder)
{
    EXPECT_EQ(1, add(request(5, "210").count(50)));
    EXPECT_EQ(2, add(request(5, "10").count(100)));
    EXPECT_EQ(3, add(request(5, "10").count(250)));
    EXPECT_EQ((Places{"5: 210 x 50", "5: 10 x 100", "5: 110 x 100"}), queued());
}

TEST_F(AddListOnceReadVarTest, LeavesOutNoPieceForReadsThatOnlyOverlap)
{
    EXPECT_EQ(1, add(request(5, "60").count(100)));
    EXPECT_EQ(2, add(request(5, "210").count(51)));
    EXPECT_EQ(3, add(request(5, "260").count(100)));
    EXPECT_EQ(6, add(request(5, "10").count(250)));
    EXPECT_EQ(
        (Places{"5: 60 x 100", "5: 210 x 51", "5: 260 x 100", "5: 10 x 100", "5: 110 x 100", "5: 210 x 50"}),
        queued());
}

TEST_F(AddListOnceReadVarTest, LooksAtTheFirstEntryToo)
{
    // Unlike the write list, whose first entry is never asked.
    EXPECT_EQ(1, add(request(5, "10")));
    EXPECT_EQ(1, add(request(5, "10")));
}

TEST_F(AddListOnceReadVarTest, ComparesThePieceAfterConversion)
{
    EXPECT_EQ(1, add(request(5, "3")));
    EXPECT_EQ(1, add(request(3, "3.5")));
    EXPECT_EQ(1, add(request(9, "3")));
    EXPECT_EQ(2, add(request(2, "3.5")));
}

TEST_F(AddListOnceReadVarTest, TellsPiecesApartByIdentifiersLinkAndPlace)
{
    const std::pair<const char *, std::function<void(RW_VAR &)>> changes[] = {
        {"hostId", [](RW_VAR &var) { var.hostId = 9; }},
        {"hostSubId", [](RW_VAR &var) { var.hostSubId = 9; }},
        {"station", [](RW_VAR &var) { var.station = 2; }},
        {"type", [](RW_VAR &var) { var.regType = 4; }},
        {"address", [](RW_VAR &var) { var.addrText = QString::fromLatin1("11"); }},
        {"count", [](RW_VAR &var) { var.count = 2; }},
        {"linkId", [](RW_VAR &var) { var.linkId = 9; }},
    };
    for (const auto &change : changes) {
        SCOPED_TRACE(change.first);
        PLC_driver.onceReadList.clear();
        add(request(5, "10"));
        RW_VAR var = request(5, "10");
        change.second(var);
        EXPECT_EQ(2, AddListOnceReadVar(&var, 0));
    }
}

TEST_F(AddListOnceReadVarTest, DoesNotTellPiecesApartByAnythingElse)
{
    const std::pair<const char *, std::function<void(RW_VAR &)>> changes[] = {
        {"direction", [](RW_VAR &var) { var.direction = 1; }},
        {"linkMode", [](RW_VAR &var) { var.linkMode = 9; }},
        {"status", [](RW_VAR &var) { var.status = -1; }},
        {"varName", [](RW_VAR &var) { var.varName = QString::fromLatin1("x"); }},
        {"addrText", [](RW_VAR &var) { var.addrText = QString::fromLatin1(" 10 "); }},
        {"relayArg1", [](RW_VAR &var) { var.relayArg1 = 9; }},
        {"relayArg2", [](RW_VAR &var) { var.relayArg2 = 9; }},
        {"data", [](RW_VAR &var) { var.data = hex("12 34"); }},
    };
    for (const auto &change : changes) {
        SCOPED_TRACE(change.first);
        PLC_driver.onceReadList.clear();
        add(request(5, "10"));
        RW_VAR var = request(5, "10");
        change.second(var);
        EXPECT_EQ(1, AddListOnceReadVar(&var, 0));
    }
}

TEST_F(AddListOnceReadVarTest, DropsPiecesBeyondAThousandAndTwentyFour)
{
    info.maxBlock = 1;
    RW_VAR var = request(5, "0").count(1030);
    EXPECT_EQ(1024, AddListOnceReadVar(&var, 0));
    EXPECT_EQ("5: 1023 x 1", queued().back());
    EXPECT_EQ(1030, var.address) << "the dropped pieces are passed over, not waited for";
    EXPECT_EQ(1024, add(request(5, "5000")));
}

TEST_F(AddListOnceReadVarTest, TakesTheThousandAndTwentyFourthEntry)
{
    for (int i = 0; i < 1023; ++i)
        addOnceRead(holding(i), 1);
    EXPECT_EQ(1024, add(request(5, "5000")));
    EXPECT_EQ(1024, add(request(5, "5001")));
}

// ------------------------------------------------------------------------------------------------ locks

TEST_F(AddListOnceReadVarTest, WaitsForTheListMutexAndReleasesIt)
{
    EXPECT_TRUE(waitsFor(PLC_driver.listMutex, [this] { add(request(5, "10")); }));
    EXPECT_TRUE(waitsFor(PLC_driver.listMutex, [this] { addOnceRead(holding(5), 1); }));
    EXPECT_EQ(2, PLC_driver.onceReadList.size());
    EXPECT_TRUE(!isHeld(PLC_driver.listMutex));
}

TEST_F(AddListOnceReadVarTest, RefusesWithoutTheListMutex)
{
    EXPECT_TRUE(returnsDespite(PLC_driver.listMutex, [this] { add(request(5, "x")); }));
    EXPECT_TRUE(returnsDespite(PLC_driver.listMutex, [this] { add(request(5, "10").station(0)); }));
}

} // namespace

} // namespace plc::test
