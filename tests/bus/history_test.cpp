#include "history.h"

#include <gtest/gtest.h>

namespace plc::bus {
namespace {

using std::chrono::seconds;

class HistoryTest : public testing::Test
{
protected:
    History history_{42, 5, Time::zero(), seconds(100)};
};

TEST_F(HistoryTest, KnowsAWrittenValueFromItsWriteOn)
{
    history_.write(seconds(10), Area::HoldingRegisters, 130, 7);
    EXPECT_EQ(7, history_.value(Area::HoldingRegisters, 130));
    EXPECT_TRUE(history_.held(Area::HoldingRegisters, 130, 7, seconds(10), seconds(11)));
    EXPECT_FALSE(history_.held(Area::HoldingRegisters, 130, 7, seconds(8), seconds(9)));
}

TEST_F(HistoryTest, KnowsAnOverwrittenValueUntilThen)
{
    history_.write(seconds(10), Area::HoldingRegisters, 130, 7);
    history_.write(seconds(20), Area::HoldingRegisters, 130, 8);
    EXPECT_TRUE(history_.held(Area::HoldingRegisters, 130, 7, seconds(15), seconds(30)));
    EXPECT_FALSE(history_.held(Area::HoldingRegisters, 130, 7, seconds(21), seconds(30)));
}

TEST_F(HistoryTest, MovesMeasuredValuesAndLeavesSetPoints)
{
    const std::uint16_t measured = history_.value(Area::InputRegisters, 3);
    const std::uint16_t setPoint = history_.value(Area::HoldingRegisters, 200);
    history_.move(seconds(5));
    EXPECT_NE(measured, history_.value(Area::InputRegisters, 3));
    EXPECT_EQ(setPoint, history_.value(Area::HoldingRegisters, 200));
    EXPECT_TRUE(history_.held(Area::InputRegisters, 3, measured, seconds(4), seconds(6)));
    EXPECT_FALSE(history_.held(Area::InputRegisters, 3, measured, seconds(6), seconds(7)));
}

TEST_F(HistoryTest, HasOtherValuesAfterARestart)
{
    const std::uint16_t setPoint = history_.value(Area::HoldingRegisters, 200);
    history_.restart(seconds(5));
    EXPECT_NE(setPoint, history_.value(Area::HoldingRegisters, 200));
}

TEST_F(HistoryTest, HasOtherValuesInEveryStation)
{
    const History other(42, 6, Time::zero(), seconds(100));
    EXPECT_NE(history_.value(Area::InputRegisters, 3), other.value(Area::InputRegisters, 3));
    EXPECT_NE(history_.value(Area::InputRegisters, 3), history_.value(Area::InputRegisters, 4));
}

TEST_F(HistoryTest, KeepsCoilsAsBits)
{
    history_.write(seconds(1), Area::Coils, 130, 0xFF00);
    EXPECT_EQ(1, history_.value(Area::Coils, 130));
}

TEST_F(HistoryTest, HoldsNothingOutsideItsAreas)
{
    EXPECT_FALSE(history_.held(Area::Coils, kItems, 0, Time::zero(), seconds(1)));
    EXPECT_FALSE(history_.held(Area::Coils, -1, 0, Time::zero(), seconds(1)));
}

} // namespace
} // namespace plc::bus
