#include "runtime/panel/registration.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace plc::runtime;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<Variable> variables(const std::vector<std::string> &texts)
{
    std::vector<Variable> all;
    for (const std::string &text : texts)
        all.push_back(parseVariable(text, false));
    return all;
}

PriorityRow rowOf(int baseType, int level)
{
    PriorityRow row;
    row.baseType = baseType;
    row.level = level;
    return row;
}

TEST(LevelStations, AreThoseWithVariablesInAnAreaThatHasALevel)
{
    LinkSettings settings;
    settings.station = 9;
    const std::vector<Variable> all = variables({"4x:1@3", "4x_bit:7.1", "0x:5@4", "3x:5@6"});
    EXPECT_THAT(levelStations(all, {rowOf(5, 2)}, settings), ElementsAre(3, 9));
    EXPECT_THAT(levelStations(all, {rowOf(5, 0), rowOf(4, 1)}, settings), ElementsAre(6))
        << "a row of level 0 gives none";
    EXPECT_THAT(levelStations(all, {}, settings), IsEmpty());
}

TEST(LevelStations, AreNoneWhereFramesAreRelayed)
{
    LinkSettings settings;
    settings.linkMode = 1;
    EXPECT_THAT(levelStations(variables({"4x:1@3"}), {rowOf(5, 2)}, settings), IsEmpty());
}

TEST(RateRows, GiveEachElementOnceWithItsNameAndLevel)
{
    std::vector<Variable> all = variables({"4x:10:2@3", "4x:11@4", "0x:7", "3x:1"});
    all[0].label = "speed";
    const std::vector<PriorityRow> rows = rateRows(all, {3, 3, 1, 0});
    ASSERT_EQ(3u, rows.size());
    EXPECT_EQ(10, rows[0].address);
    EXPECT_EQ(11, rows[1].address);
    EXPECT_EQ(3, rows[1].level);
    EXPECT_EQ("speed", rows[0].texts.first().toStdString());
    EXPECT_EQ("4x10", rows[0].texts.last().toStdString());
    EXPECT_EQ(7, rows[2].address);
    EXPECT_EQ(0, rows[2].baseType);
    EXPECT_EQ("0x56", rows[2].texts.last().toStdString()) << "bits are named by eight times their address";
    EXPECT_EQ("3", rows[1].texts[8].toStdString());
    EXPECT_EQ(1, rows[2].level);
}

} // namespace
