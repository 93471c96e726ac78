#include "runtime/panel/request_map.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace plc::runtime;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<Variable> variables(const std::vector<std::string> &texts)
{
    std::vector<Variable> list;
    for (const std::string &text : texts)
        list.push_back(parseVariable(text, false));
    return list;
}

PriorityRow row(int level, int baseType, int address)
{
    PriorityRow result;
    result.level = level;
    result.baseType = baseType;
    result.address = address;
    return result;
}

TEST(RequestMap, FindsTheVariablesOfARequest)
{
    RequestMap map(variables({"4x:10@1", "4x_bit:14.3@1", "4x:10@2", "3x:10@1", "0x:10@1", "4x_d:15@1"}), {});
    EXPECT_THAT(map.variablesOf(map.note({1, 5, 10, 6}, true)), ElementsAre(0, 1, 5));
    EXPECT_THAT(map.variablesOf(map.note({2, 5, 10, 1}, true)), ElementsAre(2));
    EXPECT_THAT(map.variablesOf(map.note({1, 4, 10, 1}, true)), ElementsAre(3));
    EXPECT_THAT(map.variablesOf(map.note({1, 0, 0, 80}, true)), ElementsAre(4));
    EXPECT_THAT(map.variablesOf(map.note({1, 5, 17, 1}, true)), IsEmpty());
}

TEST(RequestMap, KnowsARequestAgainByItsPlace)
{
    RequestMap map(variables({"4x:10@1"}), {});
    EXPECT_EQ(0, map.note({1, 5, 10, 1}, true));
    EXPECT_EQ(1, map.note({2, 5, 10, 1}, true));
    EXPECT_EQ(2, map.note({1, 4, 10, 1}, true));
    EXPECT_EQ(3, map.note({1, 5, 11, 1}, true));
    EXPECT_EQ(4, map.note({1, 5, 10, 2}, true));
    EXPECT_EQ(0, map.note({1, 5, 10, 1}, true));
    EXPECT_EQ(5, map.requestCount());
}

TEST(RequestMap, CoversAVariableOnceAllItsPartsAreRead)
{
    RequestMap map(variables({"4x:50:100@1"}), {});
    EXPECT_FALSE(map.isCovered(0));
    map.note({1, 5, 0, 100}, true);
    EXPECT_FALSE(map.isCovered(0));
    map.note({1, 5, 101, 100}, true);
    EXPECT_FALSE(map.isCovered(0)) << "register 100 is missing";
    map.note({1, 5, 100, 1}, true);
    EXPECT_TRUE(map.isCovered(0));
    EXPECT_THAT(map.requestsOf(0), ElementsAre(0, 1, 2));
}

TEST(RequestMap, NoticesValuesThatComeFromTwoRequests)
{
    RequestMap map(variables({"4x:98:2/f32@1", "4x_d:99@1", "4x:0:200@1", "4x_bit:99.9:20@1"}), {});
    map.note({1, 5, 0, 100}, true);
    EXPECT_FALSE(map.isInPieces(0)) << "cut between its values";
    EXPECT_TRUE(map.isInPieces(1));
    EXPECT_FALSE(map.isInPieces(2));
    EXPECT_FALSE(map.isInPieces(3));
    map.note({1, 5, 101, 100}, true);
    EXPECT_TRUE(map.isInPieces(0)) << "begins inside its second value";
}

TEST(RequestMap, CountsUnitsThatNoVariableWants)
{
    RequestMap map(variables({"4x:10@1", "4x:12:3@1", "4x_bit:14.0@1", "4x_d:20@1"}), {});
    EXPECT_EQ(1 + 5, map.unusedUnits(map.note({1, 5, 10, 12}, true))) << "11 and 15 to 19";
    EXPECT_EQ(1, map.unusedUnits(map.note({1, 5, 21, 2}, true))) << "22";
}

TEST(RequestMap, CountsAUnitThatSeveralVariablesWantOnce)
{
    RequestMap map(variables({"4x:10:10@1", "4x:11@1", "4x:15:3@1"}), {});
    EXPECT_EQ(2, map.unusedUnits(map.note({1, 5, 10, 12}, true))) << "20 and 21";
}

TEST(RequestMap, GivesAPriorityReadTheHighestLevelThatClaimsIt)
{
    RequestMap map(variables({"4x:0:50@1"}),
                   {row(2, 5, 3), row(4, 5, 9), row(1, 5, 5), row(3, 4, 20), row(0, 5, 30)});
    EXPECT_EQ(4, map.level(map.note({1, 5, 0, 10}, false)));
    EXPECT_EQ(2, map.level(map.note({1, 5, 0, 9}, false))) << "register 9 lies behind it";
    EXPECT_EQ(4, map.level(map.note({2, 5, 9, 1}, false))) << "priorities know no station";
    EXPECT_EQ(3, map.level(map.note({1, 4, 20, 1}, false)));
    EXPECT_EQ(0, map.level(map.note({1, 5, 40, 1}, false))) << "nobody claims it";
    EXPECT_EQ(0, map.level(map.note({1, 5, 9, 2}, true))) << "it came from the read list all the same";
}

TEST(RequestMap, TellsReadsOfTheReadListByTheResultRecord)
{
    RW_VAR result;
    result.hostId = 0;
    result.hostSubId = -1;
    result.regType = 5;
    result.address = 10;
    result.station = 3;
    result.count = 7;
    const RequestPlace place{3, 5, 10, 7};
    EXPECT_TRUE(isOrdinaryRead(result, place));
    for (const RequestPlace &other : {RequestPlace{4, 5, 10, 7}, RequestPlace{3, 4, 10, 7},
                                      RequestPlace{3, 5, 11, 7}, RequestPlace{3, 5, 10, 8}})
        EXPECT_FALSE(isOrdinaryRead(result, other));
    RW_VAR write = result;
    write.direction = 1;
    EXPECT_FALSE(isOrdinaryRead(write, place));
    RW_VAR single = result;
    single.hostId = 100;
    EXPECT_FALSE(isOrdinaryRead(single, place));
}

} // namespace
