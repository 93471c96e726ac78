#include "host/screen/column_layout.h"

#include <gtest/gtest.h>

#include <map>
#include <vector>

namespace {

using namespace plc::host;

/// Three columns that stay, and three that go: first the luxury of a note, then the age, then the unit.
std::vector<Column> columns()
{
    return {{1, "name", 0, 10, 20, 30, false}, {2, "unit", 1, 4, 4, 4, false},
            {3, "value", 0, 6, 8, 8, true},    {4, "age", 2, 7, 7, 7, true},
            {5, "state", 0, 9, 12, 40, false}, {6, "note", 4, 10, 10, 10, false}};
}

using Widths = std::map<int, int>;

/// Widths by column.
Widths widths(int width)
{
    Widths result;
    for (const PlacedColumn &placed : layOutColumns(columns(), width))
        result[placed.column.id] = placed.width;
    return result;
}

TEST(ColumnLayout, LeavesOutTheColumnsThatMatterLeast)
{
    // With a column of air between them, five need 10 + 4 + 6 + 7 + 9 + 4 columns.
    EXPECT_EQ((Widths{{1, 10}, {2, 4}, {3, 6}, {4, 7}, {5, 9}}), widths(40));
    EXPECT_EQ((Widths{{1, 17}, {2, 4}, {3, 6}, {5, 9}}), widths(39));
    EXPECT_EQ((Widths{{1, 10}, {2, 4}, {3, 6}, {5, 9}}), widths(32));
    EXPECT_EQ((Widths{{1, 14}, {3, 6}, {5, 9}}), widths(31));
    EXPECT_EQ((Widths{{1, 10}, {3, 6}, {5, 9}}), widths(27));
}

TEST(ColumnLayout, HasLuxuriesOnlyWhereAllOthersHaveWhatTheyUsuallyNeed)
{
    // From 60 columns on there are two columns of air: 20 + 4 + 8 + 7 + 12 + 10 + 10 = 71.
    EXPECT_EQ((Widths{{1, 30}, {2, 4}, {3, 8}, {4, 7}, {5, 13}}), widths(70));
    EXPECT_EQ((Widths{{1, 20}, {2, 4}, {3, 8}, {4, 7}, {5, 12}, {6, 10}}), widths(71));
}

TEST(ColumnLayout, GivesWhatIsLeftFirstToWhatColumnsUsuallyNeed)
{
    // From 60 columns on there are two columns of air: 20 + 4 + 8 + 7 + 12 + 8 = 59 is what is usual.
    EXPECT_EQ((Widths{{1, 21}, {2, 4}, {3, 8}, {4, 7}, {5, 12}}), widths(60));
    EXPECT_EQ((Widths{{1, 29}, {2, 4}, {3, 8}, {4, 7}, {5, 12}, {6, 10}}), widths(80));
    EXPECT_EQ((Widths{{1, 30}, {2, 4}, {3, 8}, {4, 7}, {5, 40}, {6, 10}}), widths(200));
}

TEST(ColumnLayout, PutsColumnsInTheirOrderWithAirBetweenThem)
{
    int from = 0;
    for (const PlacedColumn &placed : layOutColumns(columns(), 80)) {
        EXPECT_EQ(from, placed.from);
        from += placed.width + 2;
    }
    EXPECT_EQ(82, from);
}

TEST(ColumnLayout, OfTooLittleRoomMakesTheWidestColumnsNarrower)
{
    EXPECT_EQ((Widths{{1, 9}, {3, 6}, {5, 9}}), widths(26));
    EXPECT_EQ((Widths{{1, 6}, {3, 6}, {5, 6}}), widths(20));
    EXPECT_EQ((Widths{{1, 1}, {3, 1}, {5, 1}}), widths(5));
    EXPECT_EQ((Widths{{1, 1}, {3, 1}, {5, 1}}), widths(-1));
    EXPECT_TRUE(layOutColumns({}, 80).empty());
}

} // namespace
