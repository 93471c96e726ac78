#include "station/number_list.h"

#include <gtest/gtest.h>

namespace {

using namespace plc::station;

std::vector<int> stations(const std::string &text, int last = 247)
{
    std::vector<int> numbers;
    EXPECT_EQ("", parseStationList(text, last, &numbers));
    return numbers;
}

std::string complaint(const std::string &text, int last = 247)
{
    std::vector<int> numbers = {99};
    const std::string message = parseStationList(text, last, &numbers);
    EXPECT_EQ(std::vector<int>({99}), numbers) << "a refused list changes nothing";
    return message;
}

TEST(StationList, TakesNumbersAndRanges)
{
    EXPECT_EQ(std::vector<int>({1}), stations("1"));
    EXPECT_EQ(std::vector<int>({1, 2, 5, 6, 7}), stations("1,2,5-7"));
    EXPECT_EQ(std::vector<int>({247, 3}), stations("247,3-3"));
    EXPECT_EQ(247u, stations("1-247").size());
}

TEST(StationList, TakesReservedNumbersOnlyWhenTheyAreAllowed)
{
    EXPECT_EQ("'248' is no station number or range of them (1 to 247, as 1,2,5-7)", complaint("248"));
    EXPECT_EQ(std::vector<int>({248, 255}), stations("248,255", 255));
    EXPECT_NE("", complaint("256", 255));
}

TEST(StationList, RefusesEverythingElse)
{
    for (const char *text : {"", "0", "-1", "1,", ",1", "1,,2", "7-5", "1-2-3", "1-", "a", "1 ", "+1", "1.5",
                             "99999999999", "0x01"})
        EXPECT_NE("", complaint(text)) << '\'' << text << '\'';
}

TEST(StationList, RefusesANumberGivenTwice)
{
    EXPECT_EQ("station 6 is given twice", complaint("6,5-7"));
}

TEST(MovingRangeText, TakesAreaAddressCountAndStep)
{
    MovingRange range;
    ASSERT_EQ("", parseMovingRange("3x:7", &range));
    EXPECT_EQ(Area::InputRegisters, range.area);
    EXPECT_EQ(7, range.address);
    EXPECT_EQ(1, range.count);
    EXPECT_EQ(1, range.step);
    ASSERT_EQ("", parseMovingRange("4x:65535:10:65535", &range));
    EXPECT_EQ(65535, range.address);
    EXPECT_EQ(10, range.count);
    EXPECT_EQ(65535, range.step);
}

TEST(MovingRangeText, RefusesEverythingElse)
{
    for (const char *text :
         {"", "4x", "4x:", "5x:1", "4x:65536", "4x:1:0", "4x:1:2:-1", "4x:1:2:3:4", "4x_d:1"}) {
        MovingRange range;
        EXPECT_EQ(std::string("'") + text +
                      "' is no moving range: write area:address[:count[:step]], as 4x:100:10:1",
                  parseMovingRange(text, &range));
    }
}

} // namespace
