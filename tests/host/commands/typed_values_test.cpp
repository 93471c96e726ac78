#include "host/commands/typed_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/commands/output.h"

namespace {

using namespace plc::host;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

std::vector<std::string> typed(const std::string &place, const std::string &text)
{
    const plc::runtime::Variable variable = plc::runtime::parseVariable(place, false);
    return typedValues(text, variable, plc::runtime::parseValues(text, variable, text));
}

/// A write of `4x:1:2` as it is shown.
Row written()
{
    Row row;
    row.variable = plc::runtime::parseVariable("4x:1:2", false);
    row.station = 1;
    row.values = Values{65535, 16};
    row.typed = {"-1", "0x10"};
    row.state = "written";
    row.isWrite = row.isDone = true;
    return row;
}

TEST(TypedValues, AreTheWordsOfWholeNumbersAndBits)
{
    EXPECT_THAT(typed("4x:1:3", "-1, 0x10 ,7"), ElementsAre("-1", "0x10", "7"));
    EXPECT_THAT(typed("0x:1:2", "on,0"), ElementsAre("on", "0"));
    EXPECT_THAT(typed("4x_d:1", "-70000"), ElementsAre("-70000"));
}

TEST(TypedValues, AreNoneWhereWhatWasWrittenMayBeAnother)
{
    EXPECT_THAT(typed("4x:1/f32", "0.1"), IsEmpty());
    EXPECT_THAT(typed("4x:1/str4", "A,B"), IsEmpty());
}

TEST(TypedValues, StandInTheRowOfAWrite)
{
    EXPECT_EQ("4x:1:2 = -1 0x10  (written)\n",
              RowPrinter(Format::Text, NumberStyle::Unsigned).render(written()));
    EXPECT_EQ("4x:1:2 = 0xFFFF 0x0010  (written)\n",
              RowPrinter(Format::Text, NumberStyle::Hex).render(written()))
        << "that was asked for";
}

TEST(TypedValues, StandForProgramsOnlyWhereTheyAreNumbers)
{
    EXPECT_THAT(RowPrinter(Format::NdJson, NumberStyle::Unsigned).render(written()),
                HasSubstr("\"values\":[-1,16]"));
    EXPECT_THAT(RowPrinter(Format::Csv, NumberStyle::Unsigned).render(written()),
                AllOf(HasSubstr("\n4x:1,1,-1,written,"), HasSubstr("\n4x:2,1,16,written,")));
    EXPECT_TRUE(isPlainNumber("-12"));
    EXPECT_TRUE(isPlainNumber("0"));
    for (const char *word : {"", "-", "on", "0x1", "007", "+1", "1.5"})
        EXPECT_FALSE(isPlainNumber(word)) << word;
}

} // namespace
