#include "frames.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace plc::bus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The examples of MODBUS Application Protocol V1.1b3, 6.5, 6.6, 6.11, 6.12 and 6.3, to station 17.

TEST(WrittenItems, OfOneCoilAreItsBit)
{
    const WrittenItems items = writtenItems({0x11, 0x05, 0x00, 0xAC, 0xFF, 0x00, 0x4E, 0x8B});
    EXPECT_EQ(Area::Coils, items.area);
    EXPECT_EQ(172, items.first);
    EXPECT_THAT(items.values, ElementsAre(1));
}

TEST(WrittenItems, OfOneRegisterAreItsValue)
{
    const WrittenItems items = writtenItems({0x11, 0x06, 0x00, 0x01, 0x01, 0x03, 0x9B, 0x0B});
    EXPECT_EQ(Area::HoldingRegisters, items.area);
    EXPECT_EQ(1, items.first);
    EXPECT_THAT(items.values, ElementsAre(0x0103));
}

TEST(WrittenItems, OfManyCoilsAreTheirBitsTheLowestFirst)
{
    const WrittenItems items =
        writtenItems({0x11, 0x0F, 0x00, 0x13, 0x00, 0x0A, 0x02, 0xCD, 0x01, 0x00, 0x00});
    EXPECT_EQ(Area::Coils, items.area);
    EXPECT_EQ(19, items.first);
    EXPECT_THAT(items.values, ElementsAre(1, 0, 1, 1, 0, 0, 1, 1, 1, 0));
}

TEST(WrittenItems, OfManyRegistersAreTheirValues)
{
    const WrittenItems items =
        writtenItems({0x11, 0x10, 0x00, 0x01, 0x00, 0x02, 0x04, 0x00, 0x0A, 0x01, 0x02, 0x00, 0x00});
    EXPECT_EQ(Area::HoldingRegisters, items.area);
    EXPECT_EQ(1, items.first);
    EXPECT_THAT(items.values, ElementsAre(0x000A, 0x0102));
    EXPECT_EQ(0x0102, items.at(5, 2));
    EXPECT_EQ(std::nullopt, items.at(5, 3));
    EXPECT_EQ(std::nullopt, items.at(5, 0));
    EXPECT_EQ(std::nullopt, items.at(4, 2));
}

TEST(WrittenItems, OfAReadAreNone)
{
    EXPECT_THAT(writtenItems({0x11, 0x03, 0x00, 0x6B, 0x00, 0x03, 0x76, 0x87}).values, IsEmpty());
}

TEST(AreaOfBaseType, IsUndoneByBaseTypeOf)
{
    EXPECT_EQ(Area::Coils, areaOfBaseType(0));
    EXPECT_EQ(Area::DiscreteInputs, areaOfBaseType(1));
    EXPECT_EQ(Area::InputRegisters, areaOfBaseType(4));
    EXPECT_EQ(Area::HoldingRegisters, areaOfBaseType(5));
    for (const int baseType : {0, 1, 4, 5})
        EXPECT_EQ(baseType, baseTypeOf(areaOfBaseType(baseType)));
}

} // namespace
} // namespace plc::bus
