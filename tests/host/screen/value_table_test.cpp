#include "host/screen/value_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "screen_fixture.h"

namespace {

using namespace plc::host;
using plc::runtime::Meaning;
using plc::runtime::ValueName;
using plc::test::FakeSource;
using plc::test::linesOf;
using plc::test::styleAt;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

Meaning unit(const std::string &name, const std::string &description = "")
{
    Meaning meaning;
    meaning.unit = name;
    meaning.description = description;
    return meaning;
}

class ValueTableTest : public ::testing::Test
{
protected:
    Picture draw(int width, int rows = 3)
    {
        if (!table)
            table = std::make_unique<ValueTable>(source, NumberStyle::Unsigned);
        table->fit(rows);
        Picture picture(width, rows + 1);
        table->draw(&picture, 0, 1);
        return picture;
    }
    std::vector<std::string> at(int width, int rows = 3) { return linesOf(draw(width, rows)); }
    void press(Key::Kind kind) { EXPECT_TRUE(table->press({kind})); }

    FakeSource source;
    std::unique_ptr<ValueTable> table;
};

TEST_F(ValueTableTest, HasARowForEachValueWithItsOwnAddress)
{
    source.add("4x:100:2");
    source.readings[0].values = Values{7, 65535};
    source.add("4x_bit:35.3");
    EXPECT_THAT(at(80), ElementsAre("address      value  registers      age  state",
                                    "4x:100           7  0007         12 ms  good",
                                    "4x:101       65535  FFFF         12 ms  good",
                                    "4x_bit:35.3      0               12 ms  good"));
}

TEST_F(ValueTableTest, HasARowForEachVariableWhenAsked)
{
    source.add("4x:100:3");
    source.readings[0].values = Values{7, 8, 9};
    source.add("0x:5");
    at(80);
    table->toggleBlocks();
    EXPECT_THAT(at(80), ElementsAre("address   value                  age  state",
                                    "4x:100:3  7 8 9                12 ms  good",
                                    "0x:5      0                    12 ms  good", ""));
    table->toggleBlocks();
    EXPECT_THAT(at(80)[1], StartsWith("4x:100 "));
}

TEST_F(ValueTableTest, StaysAtTheVariableThatWasChosenWhenRowsBecomeBlocks)
{
    source.add("4x:100:5");
    source.add("4x:200:5");
    at(80);
    for (int i = 0; i < 6; ++i)
        press(Key::Kind::Down);
    EXPECT_THAT(table->detail(), StartsWith("4x:201 "));
    table->toggleBlocks();
    at(80);
    EXPECT_THAT(table->detail(), StartsWith("4x:200:5 "));
    table->toggleBlocks();
    at(80);
    EXPECT_THAT(table->detail(), StartsWith("4x:200 "));
}

TEST_F(ValueTableTest, LeavesColumnsOutInItsOrder)
{
    source.add("4x:100/i16", "Set.Speed", unit("rpm", "Set point of the main drive"));
    source.fail(0, "no answer", "no answer from station 1 after 3 attempts; check the wiring");
    EXPECT_EQ(
        "name       address      value  unit  registers      age  state                                     "
        "description                  reason",
        at(200)[0]);
    EXPECT_EQ(
        "Set.Speed  4x:100/i16       0  rpm   0000         12 ms  no answer                                 "
        "Set point of the main drive  no answer from station 1 after 3 attempts; check the wiring",
        at(200)[1]);
    EXPECT_THAT(at(130)[0], EndsWith("description"));
    EXPECT_EQ("name       address      value  unit  registers      age  state", at(80)[0]);
    EXPECT_EQ("name      address     value unit     age state", at(55)[0]);
    EXPECT_EQ("name       value unit     age state", at(46)[0]);
    EXPECT_EQ("name       value unit state", at(36)[0]);
    EXPECT_EQ("name       value state", at(30)[0]);
}

TEST_F(ValueTableTest, KeepsNameValueAndStateOn40Columns)
{
    source.add("4x:100", "Actual.Spindle temperature at the front bearing",
               unit("\xC2\xB0"
                    "C"));
    source.readings[0].values = Values{1234};
    source.fail(0, "switched off", "");
    const std::string line = at(40)[1];
    EXPECT_THAT(line, StartsWith("Actual.Spindl"));
    EXPECT_THAT(line, HasSubstr(" 1234 "));
    EXPECT_THAT(line, EndsWith(" switched off"));
}

TEST_F(ValueTableTest, NamesStationsWhereThereAreSeveral)
{
    source.add("4x:100@1");
    source.add("4x:100@2");
    EXPECT_THAT(at(80)[1], StartsWith("4x:100@1 "));
    EXPECT_THAT(at(80)[2], StartsWith("4x:100@2 "));
}

TEST_F(ValueTableTest, KeepsColumnsUnderEachOtherWhateverTheLanguage)
{
    source.add("4x:1", "Gr\xC3\xB6\xC3\x9F"
                       "e");
    source.add("4x:2", "\xE6\xB8\xA9\xE5\xBA\xA6");
    source.add("4x:3", "Laenge");
    const Picture picture = draw(80);
    EXPECT_EQ("Gr\xC3\xB6\xC3\x9F"
              "e   4x:1         0  0000         12 ms  good",
              picture.line(1));
    EXPECT_EQ("\xE6\xB8\xA9\xE5\xBA\xA6    4x:2         0  0000         12 ms  good", picture.line(2));
    EXPECT_EQ("4", picture.at(2, 8).text);
    EXPECT_EQ("4", picture.at(3, 8).text);
}

TEST_F(ValueTableTest, ShowsTextsThatStandForValues)
{
    Meaning meaning;
    meaning.names = {ValueName{plc::runtime::Value::ofUnsigned(2), "running"}};
    source.add("4x:1", "Mode", meaning);
    source.readings[0].values = Values{2};
    EXPECT_THAT(at(80)[1], HasSubstr("running (2)"));
}

TEST_F(ValueTableTest, ShowsTheRegistersOfAValueInTheirOrder)
{
    source.add("4x:200/f32.cdab");
    source.readings[0].values = Values{0x0000, 0x4148};
    EXPECT_THAT(at(80)[1], HasSubstr(" 12.5  0000 4148 "));
    source.add("4x_d:300");
    source.readings[1].values = Values{0x00012345};
    table.reset();
    EXPECT_THAT(at(80)[2], HasSubstr(" 74565  0001 2345 "));
}

TEST_F(ValueTableTest, ShowsADashWhereNothingIsKnown)
{
    source.add("4x:100");
    source.readings[0].values.reset();
    source.readings[0].age.reset();
    source.readings[0].state = "never read";
    EXPECT_EQ("4x:100       -                   -  never read", at(80)[1]);
}

TEST_F(ValueTableTest, ColoursWhatIsBadAndNothingElse)
{
    source.add("4x:100");
    source.add("4x:101");
    source.add("4x:102");
    source.fail(1, "refused", "");
    source.readings[2].state = "stale";
    source.readings[2].health = Health::Doubtful;
    const Picture picture = draw(80);
    for (int column = 0; column < picture.width(); ++column)
        EXPECT_EQ(Health::Good, picture.at(1, column).style.health);
    EXPECT_EQ(Health::Bad, styleAt(picture, 2, "refused").health);
    EXPECT_EQ(Health::Good, styleAt(picture, 2, "4x:101").health);
    EXPECT_EQ(Health::Doubtful, styleAt(picture, 3, "stale").health);
}

TEST_F(ValueTableTest, ShowsWhatIsKnownOfABlock)
{
    source.add("4x:100:3");
    source.readings[0].missing = {false, true, false};
    EXPECT_THAT(at(80)[1], StartsWith("4x:100       0 "));
    EXPECT_THAT(at(80)[2], StartsWith("4x:101       ? "));
    table->toggleBlocks();
    EXPECT_THAT(at(80)[1], HasSubstr(" 0 ? 0 "));
}

TEST_F(ValueTableTest, CountsWhatWasNeverReadAmongWhatIsNotGood)
{
    source.add("4x:100:2");
    source.add("4x:300");
    source.readings[1].health = Health::Absent;
    source.readings[1].isUnread = true;
    at(80);
    table->toggleOnlyBad();
    EXPECT_THAT(at(80)[1], StartsWith("4x:300 "));
    EXPECT_EQ("1-1 of 1 not good", table->position());
}

TEST_F(ValueTableTest, ShowsOnlyWhatIsBadWhenAsked)
{
    source.add("4x:100:2");
    source.add("4x:200:2");
    source.add("4x:300");
    source.fail(1, "refused", "");
    source.readings[2].health = Health::Absent; // somebody has switched its station off
    at(80);
    table->toggleOnlyBad();
    EXPECT_THAT(at(80)[1], StartsWith("4x:200 "));
    EXPECT_THAT(at(80)[2], StartsWith("4x:201 "));
    EXPECT_EQ("", at(80)[3]);
    EXPECT_EQ("1-2 of 2 not good", table->position());
    table->toggleBlocks();
    EXPECT_THAT(at(80)[1], StartsWith("4x:200:2 "));
    source.readings[1].health = Health::Good;
    EXPECT_EQ("", at(80)[1]);
    EXPECT_EQ("nothing is bad", table->position());
    EXPECT_EQ("", table->detail());
    EXPECT_EQ(-1, table->chosenVariable());
    EXPECT_FALSE(table->find("4x"));
}

TEST_F(ValueTableTest, ScrollsWithTheChosenRow)
{
    source.add("4x:0:10");
    at(80);
    EXPECT_EQ("1-3 of 10", table->position());
    for (int i = 0; i < 3; ++i)
        press(Key::Kind::Down);
    const Picture picture = draw(80);
    EXPECT_THAT(picture.line(1), StartsWith("4x:1 "));
    EXPECT_TRUE(picture.at(3, 0).style.isReversed);
    EXPECT_FALSE(picture.at(2, 0).style.isReversed);
    press(Key::Kind::End);
    EXPECT_THAT(at(80)[3], StartsWith("4x:9 "));
    press(Key::Kind::PageUp);
    EXPECT_THAT(at(80)[1], StartsWith("4x:4 "));
    press(Key::Kind::Home);
    press(Key::Kind::Up);
    EXPECT_THAT(at(80)[1], StartsWith("4x:0 "));
}

TEST_F(ValueTableTest, TurnsToPagesAndBeginsAgainBehindTheLast)
{
    source.add("4x:0:7");
    at(80);
    table->showPage(2);
    EXPECT_THAT(at(80)[1], StartsWith("4x:3 "));
    table->nextPage();
    EXPECT_THAT(at(80)[3], StartsWith("4x:6 "));
    table->nextPage();
    EXPECT_THAT(at(80)[1], StartsWith("4x:0 "));
    table->showPage(99);
    EXPECT_THAT(at(80)[1], StartsWith("4x:0 "));
}

TEST_F(ValueTableTest, FindsNamesAddressesUnitsAndDescriptions)
{
    source.add("4x:100", "Motor");
    source.add("4x:101", "Pump", unit("bar"));
    source.add("4x:102", "Valve", unit("", "Cooling water"));
    at(80);
    EXPECT_TRUE(table->find("COOLING"));
    EXPECT_EQ(2, table->chosenVariable());
    EXPECT_TRUE(table->find("bar"));
    EXPECT_EQ(1, table->chosenVariable());
    EXPECT_TRUE(table->find("4x:100"));
    EXPECT_EQ(0, table->chosenVariable());
    EXPECT_FALSE(table->find("nothing like that"));
    EXPECT_EQ(0, table->chosenVariable());
    EXPECT_TRUE(table->find("4x:10", true));
    EXPECT_EQ(2, table->chosenVariable());
}

TEST_F(ValueTableTest, TellsAllOfTheChosenValue)
{
    source.add("4x:100", "Motor", unit("rpm", "Main drive"));
    source.readings[0].values = Values{1200};
    at(80);
    EXPECT_EQ("Motor (4x:100) = 1200 rpm, good, 12 ms old: Main drive", table->detail());
    source.fail(0, "no answer", "no answer from station 1");
    EXPECT_EQ("Motor (4x:100) = 1200 rpm, no answer, 12 ms old: no answer from station 1", table->detail());
    EXPECT_EQ(Health::Bad, table->chosenHealth());
}

TEST_F(ValueTableTest, OfNothingIsEmpty)
{
    EXPECT_EQ("", at(80)[1]);
    EXPECT_EQ("no values", table->position());
}

} // namespace
