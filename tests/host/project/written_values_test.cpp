#include "host/project/written_values.h"

#include <gtest/gtest.h>

namespace {

using plc::host::WrittenValues;
using plc::runtime::parseVariable;
using plc::runtime::Values;

class WrittenValuesTest : public ::testing::Test
{
protected:
    void write(const char *variable, const Values &values, int station = 1)
    {
        written.note(parseVariable(variable, false), station, values);
    }
    Values held(const char *variable, int station = 1) const
    {
        return written.heldOf(parseVariable(variable, false), station);
    }

    WrittenValues written;
};

TEST_F(WrittenValuesTest, AreThoseOfTheLastWrite)
{
    write("4x:1", {1});
    write("4x:1", {2});
    EXPECT_EQ(Values({2}), held("4x:1"));
}

TEST_F(WrittenValuesTest, KeepWhatALaterWriteLeavesAlone)
{
    write("4x:100:3", {1, 2, 3});
    write("4x:101", {9});
    EXPECT_EQ(Values({1, 9, 3}), held("4x:100:3"));
}

TEST_F(WrittenValuesTest, OfPairsBitsAndFormatsAreTheSameRegisters)
{
    write("4x:10:2", {0, 0});
    write("4x_d:10", {0x12345678});
    EXPECT_EQ(Values({0x1234, 0x5678}), held("4x:10:2"));
    write("4x_single:11", {0x00FF});
    EXPECT_EQ(Values({0x123400FF}), held("4x_d:10"));
    write("4x_bit:10.15:2", {1, 0});
    EXPECT_EQ(Values({0x9234, 0x00FE}), held("4x:10:2/hex"));
    EXPECT_EQ(Values({1, 0}), held("4x_bit:10.15:2"));
}

TEST_F(WrittenValuesTest, OfStationsAndAreasAreApart)
{
    write("4x:5", {7}, 1);
    write("4x:5", {8}, 2);
    write("0x:5", {1}, 1);
    EXPECT_EQ(Values({7}), held("4x:5", 1));
    EXPECT_EQ(Values({8}), held("4x:5", 2));
    EXPECT_EQ(Values({1}), held("0x:5", 1));
}

} // namespace
