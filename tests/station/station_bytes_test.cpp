#include "station/bytes.h"
#include "station/crc.h"
#include "station/rtu_text.h"

#include <gtest/gtest.h>

namespace {

using namespace plc::station;
using plc::test::bytes;

TEST(StationBytes, ReadHighByteFirst)
{
    const Bytes frame = bytes("12 34 56 78 9A");
    EXPECT_EQ(0x3456, getBe16(frame, 1));
    EXPECT_EQ(0x3456789Au, getBe32(frame, 1));
}

TEST(StationBytes, ReadLowByteFirst)
{
    EXPECT_EQ(0x5634, getLe16(bytes("12 34 56"), 1));
}

TEST(StationBytes, AppendHighByteFirst)
{
    Bytes frame = bytes("01");
    putBe16(&frame, 0xFF00);
    EXPECT_EQ(bytes("01 FF 00"), frame);
}

TEST(StationBytes, AreShownAsCapitalHexWithBlanks)
{
    EXPECT_EQ("0A FF 00", hexText(bytes("0AFF00")));
    EXPECT_EQ("", hexText(Bytes()));
}

// 02 07 with CRC 0x1241 is the worked example of MODBUS over Serial Line V1.02, 6.2.2.
TEST(StationCrc, OfTheStandardsExample)
{
    EXPECT_EQ(0x1241, crc16(bytes("02 07")));
}

TEST(StationCrc, OfNothingIsItsStartValue)
{
    EXPECT_EQ(0xFFFF, crc16(Bytes()));
}

TEST(StationCrc, IsAppendedLowByteFirst)
{
    Bytes frame = bytes("11 03 00 64 00 02");
    appendCrc(&frame, CrcOrder::LowFirst);
    EXPECT_EQ(bytes("11 03 00 64 00 02 87 44"), frame);
}

TEST(StationCrc, IsAppendedHighByteFirstWhenAsked)
{
    Bytes frame = bytes("11 03 00 64 00 02");
    appendCrc(&frame, CrcOrder::HighFirst);
    EXPECT_EQ(bytes("11 03 00 64 00 02 44 87"), frame);
}

TEST(StationCrc, IsGoodInOneOrderOnly)
{
    EXPECT_TRUE(hasGoodCrc(bytes("11 83 02 C1 34"), CrcOrder::LowFirst));
    EXPECT_FALSE(hasGoodCrc(bytes("11 83 02 C1 34"), CrcOrder::HighFirst));
    EXPECT_TRUE(hasGoodCrc(bytes("11 83 02 34 C1"), CrcOrder::HighFirst));
}

TEST(StationCrc, OfOneFlippedBitIsBad)
{
    EXPECT_FALSE(hasGoodCrc(bytes("11 83 03 C1 34"), CrcOrder::LowFirst));
}

TEST(StationCrc, NeedsAByteBeforeIt)
{
    EXPECT_FALSE(hasGoodCrc(bytes("FF FF"), CrcOrder::LowFirst));
    EXPECT_FALSE(hasGoodCrc(Bytes(), CrcOrder::LowFirst));
}

} // namespace
