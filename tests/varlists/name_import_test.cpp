// Priority addresses out of the runtime's table of names.

#include "support/lock_probe.h"
#include "varlists/panel.h"

namespace plc::test {

namespace {

struct Name
{
    const char *text;
    int regType;
    int address;
};

const Name kNames[] = {
    {"4x_d100", 5, 100},
    {"3x_d100", 4, 100},
    {"4x_bit12", 5, 12},
    {"3x_bit12", 4, 12},
    {"4x100", 5, 100},
    {"3x20", 4, 20},
    {"4x0", 5, 0},
    {"4x65535", 5, 65535},
    {"4x65536", 5, 65536},
    {"4x2147483647", 5, 2147483647},
    // Numbers of coils and inputs are divided by 8.
    {"0x17", 0, 2},
    {"1x7", 1, 0},
    {"1x8", 1, 1},
    {"0x0", 0, 0},
    {"0x65535", 0, 8191},
    // ... rounding down, not toward zero.
    {"0x-17", 0, -3},
    {"1x-1", 1, -1},
    // Capitals.
    {"4X_D100", 5, 100},
    {"3X_d100", 4, 100},
    {"4X_BIT12", 5, 12},
    {"3x_BiT12", 4, 12},
    {"4X100", 5, 100},
    {"3X20", 4, 20},
    {"0X17", 0, 2},
    {"1X17", 1, 2},
    // Everything from the first point on is dropped.
    {"4X_BIT12.3", 5, 12},
    {"3x_bit12.15", 4, 12},
    {"4x100.7", 5, 100},
    {"4x_d100.0", 5, 100},
    {"0x17.1", 0, 2},
    {"4x_bit12.3.7", 5, 12},
    {"4x_bit12.", 5, 12},
    {"4x12.abc", 5, 12},
    {"4x.12", 5, 0},
    // A rest that is no number is 0.
    {"4xABC", 5, 0},
    {"4x", 5, 0},
    {"4x_d", 5, 0},
    {"4x_bit", 5, 0},
    {"0x", 0, 0},
    {"1xy", 1, 0},
    {"4x12a", 5, 0},
    {"4x1 2", 5, 0},
    {"4x2147483648", 5, 0},
    {"0x2147483648", 0, 0},
    {"4x0x10", 5, 0},
    {"4x1,5", 5, 0},
    // Only whole prefixes count: what follows a shorter one is its number.
    {"4x_bi12", 5, 0},
    {"4x_b12", 5, 0},
    {"4x_12", 5, 0},
    {"4x_dbit12", 5, 0},
    {"0x_bit17", 0, 0},
    {"1x_d17", 1, 0},
    {"4x_bit_d12", 5, 0},
    // A number may have a sign and white space around it, no area is too small for it.
    {"4x-5", 5, -5},
    {"4x+5", 5, 5},
    {"4x 12", 5, 12},
    {"4x12 ", 5, 12},
    {"4x_d 12", 5, 12},
    {"4x007", 5, 7},
    {"3x_bit-4", 4, -4},
};

const char *const kNoNames[] = {"",      "5x10",  "2x10",           "x10",   "4",     "4y10",
                                "_d10",  "10",    " 4x10",          "D4x10", "04x10", ".4x10",
                                "4 x10", "4.x10", "name of a tank", "LW100"};

struct Level
{
    const char *text;
    int level; ///< 0: none
};

const Level kLevels[] = {
    {"1", 1},   {"2", 2},  {"3", 3},  {"4", 4},          {"0", 0},          {"5", 0},   {"-1", 0},  {"-4", 0},
    {"", 0},    {" ", 0},  {"a", 0},  {"2a", 0},         {"2.0", 0},        {"2 3", 0}, {"0x2", 0}, {"44", 0},
    {" 2 ", 2}, {"+3", 3}, {"04", 4}, {"4294967297", 0}, {"2147483647", 0}, {"two", 0},
};

} // namespace

class NameImport : public PanelTest
{
protected:
    static int imported()
    {
        int entries = 0;
        for (int level = 1; level <= 4; ++level)
            entries += priorityAddresses(level).size();
        return entries;
    }

    NameTable names;
};

TEST_F(NameImport, TakesAreaAndNumberFromTheName)
{
    for (const Name &name : kNames) {
        SCOPED_TRACE(name.text);
        priorityAddresses(2).clear();
        prioritise(2, name.text);
        ASSERT_EQ(1, imported());
        EXPECT_EQ(name.regType, priorityAddresses(2).first().regType);
        EXPECT_EQ(name.address, priorityAddresses(2).first().address);
    }
}

TEST_F(NameImport, IgnoresNamesWithoutAKnownPrefix)
{
    for (const char *name : kNoNames) {
        SCOPED_TRACE(name);
        prioritise(2, name);
        EXPECT_EQ(0, imported());
    }
}

TEST_F(NameImport, TakesTheLevelFromTheNinthText)
{
    for (const Level &level : kLevels) {
        SCOPED_TRACE(level.text);
        for (int i = 1; i <= 4; ++i)
            priorityAddresses(i).clear();
        NameTable table;
        PassVarName(table.add(level.text, "4x10").rows());
        EXPECT_EQ(level.level == 0 ? 0 : 1, imported());
        if (level.level != 0) {
            EXPECT_EQ(1, priorityAddresses(level.level).size());
        }
    }
}

TEST_F(NameImport, FillsNothingButTypeAndAddress)
{
    info.linkId = 9;
    info.linkMode = 1;
    info.defaultStation = 7;
    prioritise(1, "4x100");
    ASSERT_EQ(1, priorityAddresses(1).size());
    const RW_VAR &place = priorityAddresses(1).first();
    EXPECT_EQ(0, place.hostId);
    EXPECT_EQ(0, place.hostSubId);
    EXPECT_EQ(0, place.direction);
    EXPECT_EQ(0, place.linkMode);
    EXPECT_EQ(0, place.linkId);
    EXPECT_EQ(0, place.status);
    EXPECT_EQ("", place.varName.toStdString());
    EXPECT_EQ("", place.addrText.toStdString());
    EXPECT_EQ(0, place.station);
    EXPECT_EQ(0, place.count);
    EXPECT_EQ(0, place.relayArg1);
    EXPECT_EQ(0, place.relayArg2);
    EXPECT_TRUE(place.data.isEmpty());
}

TEST_F(NameImport, IgnoresRowsOfFewerThanTenTexts)
{
    for (int length = 0; length <= 9; ++length)
        names.add("2", "4x10", length);
    PassVarName(names.rows());
    EXPECT_EQ(0, imported());
}

TEST_F(NameImport, TakesTheLastTextOfALongerRowAsTheName)
{
    names.add("3", "4x100", 14);
    names.rows()->first()->texts[9] = QString::fromLatin1("3x5");
    PassVarName(names.rows());
    ASSERT_EQ(1, priorityAddresses(3).size());
    EXPECT_EQ(5, priorityAddresses(3).first().regType);
    EXPECT_EQ(100, priorityAddresses(3).first().address);
}

TEST_F(NameImport, KeepsTheOrderOfTheRowsInEachLevel)
{
    names.add(2, "4x3").add(1, "4x8").add(2, "4x1").add(2, "4x2").add(1, "4x7");
    PassVarName(names.rows());
    EXPECT_EQ("3+0 1+0 2+0", spans(priorityAddresses(2)));
    EXPECT_EQ("8+0 7+0", spans(priorityAddresses(1)));
}

TEST_F(NameImport, GoesOnBehindARowThatIsLeftOut)
{
    names.add(2, "5x3").add("9", "4x1").add("2", "4x9", 9).add(2, "4x4");
    PassVarName(names.rows());
    EXPECT_EQ("4+0", spans(priorityAddresses(2)));
}

TEST_F(NameImport, AddsTheSameAddressesAgainWhenCalledAgain)
{
    names.add(2, "4x3").add(4, "0x80");
    PassVarName(names.rows());
    PassVarName(names.rows());
    EXPECT_EQ("3+0 3+0", spans(priorityAddresses(2)));
    EXPECT_EQ("10+0 10+0", spans(priorityAddresses(4)));
}

TEST_F(NameImport, NeverClearsWhatWasHandedOverBefore)
{
    prioritise(2, "4x3");
    NameTable none;
    PassVarName(none.rows());
    PassVarName(nullptr);
    prioritise(1, "4x9");
    EXPECT_EQ("3+0", spans(priorityAddresses(2)));
}

TEST_F(NameImport, DoesNotApplyTheOneBasedOption)
{
    setOptions(kOptionOneBased);
    prioritise(2, "4x100");
    prioritise(2, "0x8");
    EXPECT_EQ("100+0 1+0", spans(priorityAddresses(2)));
}

TEST_F(NameImport, IgnoresNullAndEmptyTables)
{
    PassVarName(nullptr);
    PassVarName(names.rows());
    EXPECT_EQ(0, imported());
}

TEST_F(NameImport, SkipsNullRows)
{
    PassVarName(names.addNull().add(2, "4x3").addNull().addNull().add(2, "4x4").addNull().rows());
    EXPECT_EQ("3+0 4+0", spans(priorityAddresses(2)));
}

TEST_F(NameImport, LeavesTheRowsAlone)
{
    names.add(2, "4X_BIT12.3");
    PassVarName(names.rows());
    ASSERT_EQ(1, names.rows()->size());
    const NameRow &row = *names.rows()->first();
    ASSERT_EQ(10, row.texts.size());
    EXPECT_EQ("4X_BIT12.3", row.texts.last().toStdString());
    EXPECT_EQ("2", row.texts.at(8).toStdString());
    for (const quint8 byte : row.runtimeBytes)
        EXPECT_EQ(0xEE, byte);
}

TEST_F(NameImport, TouchesNoOtherList)
{
    panel.add(5, 3);
    rebuild();
    prioritise(2, "4x3");
    EXPECT_EQ("1/5:3+1", shown(readList()));
    for (int level = 1; level <= 4; ++level)
        EXPECT_TRUE(priorityReads(level).isEmpty());
}

TEST_F(NameImport, WaitsForTheListMutex)
{
    names.add(2, "4x3");
    EXPECT_TRUE(waitsFor(PLC_driver.listMutex, [this] { PassVarName(names.rows()); }));
    EXPECT_TRUE(!isHeld(PLC_driver.listMutex));
    EXPECT_EQ("3+0", spans(priorityAddresses(2)));
}

TEST_F(NameImport, TakesTenThousandRows)
{
    for (int i = 0; i < 10000; ++i)
        names.add(1 + i % 4, "4x" + std::to_string(i));
    PassVarName(names.rows());
    for (int level = 1; level <= 4; ++level) {
        ASSERT_EQ(2500, priorityAddresses(level).size());
        EXPECT_EQ(9996 + level - 1, priorityAddresses(level).last().address);
    }
}

TEST(NameImportWithoutSettings, WorksBeforeTheSettingsAreThere)
{
    renewDriver();
    NameTable names;
    PassVarName(names.add(2, "4x3").rows());
    EXPECT_EQ("3+0", spans(PLC_driver.priorityAddresses[1]));
    renewDriver();
}

} // namespace plc::test
