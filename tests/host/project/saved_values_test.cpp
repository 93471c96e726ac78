#include "host/project/saved_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "runtime/line/failure.h"

namespace {

using plc::host::parseSavedValues;
using plc::host::SavedTable;
using plc::host::SavedValues;
using plc::host::singlesOf;
using plc::runtime::Failure;
using plc::runtime::parseVariable;
using plc::runtime::Values;
using plc::runtime::Variable;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr char kHead[] = "name,station,value,state\n";

Variable find(const std::string &name)
{
    if (name != "Steps")
        return parseVariable(name, false);
    Variable steps = parseVariable("4x:50:2", false);
    steps.label = "Steps";
    return steps;
}

SavedTable tableOf(const std::string &text, int mostElements = 100)
{
    return parseSavedValues("saved.csv", text, 9, mostElements, false, find);
}

std::vector<std::string> textsOf(const SavedTable &table)
{
    std::vector<std::string> texts;
    for (const SavedValues &saved : table.values)
        texts.push_back(saved.variable.text);
    return texts;
}

std::string mistakeIn(const std::string &text)
{
    try {
        tableOf(text);
    } catch (const Failure &failure) {
        return failure.what();
    }
    return "";
}

TEST(SavedValues, OfOnePlaceAfterTheOtherAreOneVariable)
{
    const SavedTable table = tableOf(kHead + std::string("4x:100,5,7,good\n4x:101,5,0x00FF,good\n"
                                                         "4x:103,5,-1,good\n4x:104,6,2,good\n"));
    EXPECT_THAT(textsOf(table), ElementsAre("4x:100:2@5", "4x:103@5", "4x:104@6"));
    EXPECT_EQ(Values({7, 255}), table.values[0].values);
    EXPECT_EQ(2, table.values[0].variable.count);
    EXPECT_EQ(5, table.values[0].variable.station);
    EXPECT_EQ(Values({65535}), table.values[1].values);
}

TEST(SavedValues, MakeNoVariableLargerThanARequest)
{
    const std::string text = kHead + std::string("4x:1,5,1,good\n4x:2,5,2,good\n4x:3,5,3,good\n");
    EXPECT_THAT(textsOf(tableOf(text, 2)), ElementsAre("4x:1:2@5", "4x:3@5"));
}

TEST(SavedValues, KeepFormatsApart)
{
    const SavedTable table =
        tableOf(kHead + std::string("4x:10/f32.cdab,5,1.5,good\n4x:12/f32.cdab,5,2,good\n"
                                    "4x:14,5,3,good\n0x:15,5,1,good\n0x:16,5,0,good\n"
                                    "4x_bit:20.15,5,1,good\n4x_bit:21.0,5,1,good\n"));
    EXPECT_THAT(textsOf(table),
                ElementsAre("4x:10:2/f32.cdab@5", "4x:14@5", "0x:15:2@5", "4x_bit:20.15:2@5"));
    EXPECT_EQ(Values({0x0000, 0x3FC0, 0x0000, 0x4000}), table.values[0].values);
}

TEST(SavedValues, AreCountedWhereTheyCannotBeWritten)
{
    const SavedTable table = tableOf(kHead + std::string("3x:1,5,1,good\n1x:1,5,1,good\n3x_d:2,5,,refused\n"
                                                         "4x:1,5,,no answer\n4x:2,5,4,good\n"));
    EXPECT_EQ(3, table.readOnly);
    EXPECT_EQ(1, table.unread);
    EXPECT_THAT(textsOf(table), ElementsAre("4x:2@5"));
}

TEST(SavedValues, MayBeTextsWithEveryCharacter)
{
    const SavedTable table =
        tableOf(kHead + std::string("4x:40/str8,5,\"a,\"\"b\\\\\\x0A\",good\n4x:50/str4,5,,good\n"
                                    "4x:60/str4,5,\" x \",good\n"));
    ASSERT_EQ(3u, table.values.size());
    EXPECT_EQ(Values({0x612C, 0x2262, 0x5C0A, 0x0000}), table.values[0].values);
    EXPECT_EQ(Values({0, 0}), table.values[1].values) << "an empty text was read";
    EXPECT_EQ(Values({0x2078, 0x2000}), table.values[2].values);
}

TEST(SavedValues, MayBelongToNamedVariables)
{
    const SavedTable table = tableOf(kHead + std::string("Steps[0],5,7,good\nSteps[1],5,8,good\n"));
    EXPECT_THAT(textsOf(table), ElementsAre("Steps[0]", "Steps[1]"));
    EXPECT_EQ(51, table.values[1].variable.first);
    EXPECT_EQ(Values({8}), table.values[1].values);
}

TEST(SavedValues, AreAtTheUsualStationWithoutAColumnThatSaysOtherwise)
{
    const SavedTable table = tableOf("value;name\n3;4x:1\n");
    ASSERT_EQ(1u, table.values.size());
    EXPECT_EQ(9, table.values[0].variable.station);
}

TEST(SavedValues, OfABlockCanBeTakenOneByOne)
{
    const SavedTable table = tableOf(
        kHead + std::string("4x:10/i32,5,1,good\n4x:12/i32,5,-1,good\n4x_d:20,5,3,good\n4x_d:22,5,4,good\n"));
    ASSERT_EQ(2u, table.values.size());
    const std::vector<SavedValues> singles = singlesOf(table.values[0]);
    ASSERT_EQ(2u, singles.size());
    EXPECT_EQ("4x:12/i32@5", singles[1].variable.text);
    EXPECT_EQ(Values({0xFFFF, 0xFFFF}), singles[1].values);
    EXPECT_EQ(Values({4}), singlesOf(table.values[1])[1].values);
}

TEST(SavedValues, ThatAreNoneAreToldWithTheirPlace)
{
    EXPECT_THAT(mistakeIn(""),
                HasSubstr("saved.csv, line 1, column 1: a table of values begins with the names"));
    EXPECT_THAT(mistakeIn("name,station\n"), HasSubstr("line 1, column 1: a table of values begins with"));
    EXPECT_THAT(mistakeIn(kHead + std::string("4x:1,5,1,good\n4x:1,5,2,good\n")),
                HasSubstr("line 3, column 1: '4x:1' of station 5 has a value already, in line 2"));
    EXPECT_THAT(mistakeIn(kHead + std::string("4x:1,5,65536,good\n")),
                HasSubstr("line 2, column 8: '4x:1@5': value '65536' is not allowed"));
    EXPECT_THAT(mistakeIn(kHead + std::string("4x:1,5,\"1,2\",good\n")), HasSubstr("a line has one value"));
    EXPECT_THAT(mistakeIn(kHead + std::string("4x:1:2,5,1,good\n")),
                HasSubstr("line 2, column 1: a line has one value, and '4x:1:2' has 2"));
    EXPECT_THAT(mistakeIn(kHead + std::string("4x:1,0,1,good\n")), HasSubstr("'0' is no station, 1 to 247"));
    EXPECT_THAT(mistakeIn(kHead + std::string("Steps[2],5,1,good\n")),
                HasSubstr("'Steps[2]' has no value of that number"));
    EXPECT_THAT(mistakeIn(kHead + std::string(",5,1,good\n")), HasSubstr("this line names no variable"));
    EXPECT_THAT(mistakeIn(kHead + std::string("5x:1,5,1,good\n")),
                HasSubstr("line 2, column 1: variable '5x:1'"));
}

TEST(SavedValues, AreRefusedWhereTheirAddressesCountOtherwise)
{
    const auto refusal = [](const std::string &from, bool oneBased) -> std::string {
        try {
            parseSavedValues("saved.csv", "name,value,addresses_from\n4x:5,7," + from + "\n", 1, 100,
                             oneBased, find);
        } catch (const Failure &failure) {
            return failure.what();
        }
        return "";
    };
    EXPECT_EQ("saved.csv, line 2, column 8: the addresses of this table count from 1; add --option one-based",
              refusal("1", false));
    EXPECT_EQ(
        "saved.csv, line 2, column 8: the addresses of this table count from 0; leave --option one-based "
        "out",
        refusal("0", true));
    EXPECT_EQ("", refusal("1", true));
    EXPECT_EQ("", refusal("0", false));
    EXPECT_EQ("", refusal("", true)) << "nobody knows";
}

} // namespace
