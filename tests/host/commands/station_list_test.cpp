#include "host/commands/station_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using plc::host::stationListMistake;
using ::testing::ElementsAre;

std::vector<int> listOf(const std::string &text)
{
    std::vector<int> list;
    EXPECT_EQ("", stationListMistake(text, &list)) << text;
    return list;
}

std::string mistakeIn(const std::string &text)
{
    std::vector<int> list;
    return stationListMistake(text, &list);
}

TEST(StationList, HasNumbersAndRangesInTheOrderTyped)
{
    EXPECT_THAT(listOf("5"), ElementsAre(5));
    EXPECT_THAT(listOf("0"), ElementsAre(0));
    EXPECT_THAT(listOf("1,3,5-8"), ElementsAre(1, 3, 5, 6, 7, 8));
    EXPECT_THAT(listOf("247,9-9"), ElementsAre(247, 9));
}

TEST(StationList, HasNothingElse)
{
    for (const char *text : {"", ",", "1,", "248", "-1", "1-", "8-5", "1-300", "1 2", "one", "1,,2", "1--2"})
        EXPECT_NE(std::string::npos,
                  mistakeIn(text).find("' is no station from 0 to 247, nor a range of them"))
            << text;
    EXPECT_EQ("station 6 is given twice", mistakeIn("5-8,6"));
}

TEST(StationList, LeavesTheBroadcastOutWhereNothingIsBroadcast)
{
    std::vector<int> list;
    EXPECT_EQ("'248' is no station from 1 to 247, nor a range of them, as 5-8",
              stationListMistake("248", &list, 1));
    EXPECT_EQ("'0-3' is no station from 1 to 247, nor a range of them, as 5-8",
              stationListMistake("0-3", &list, 1));
    EXPECT_EQ("", stationListMistake("1", &list, 1));
}

} // namespace
