#include "runtime/testing/plain_stations.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "station/crc.h"

namespace plc::simulation {
namespace {

/// The bytes without a CRC, and the CRC that the simulated stations of plcstation work out.
Bytes framed(Bytes frame)
{
    station::appendCrc(&frame, station::CrcOrder::LowFirst);
    return frame;
}

class PlainStationsTest : public testing::Test
{
protected:
    PlainStationsTest() { stations_.add(17); }

    Bytes answerTo(const Bytes &request)
    {
        return stations_.execute(Time::zero(), framed(request), true).reply;
    }

    PlainStations stations_{false};
};

// The requests and replies of MODBUS Application Protocol V1.1b3, chapter 6.

TEST_F(PlainStationsTest, ReadHoldingRegisters)
{
    stations_.setValue(17, Table::HoldingRegisters, 0x6B, 0x022B);
    stations_.setValue(17, Table::HoldingRegisters, 0x6D, 0x0064);
    EXPECT_EQ(framed({0x11, 0x03, 0x06, 0x02, 0x2B, 0x00, 0x00, 0x00, 0x64}),
              answerTo({0x11, 0x03, 0x00, 0x6B, 0x00, 0x03}));
}

TEST_F(PlainStationsTest, ReadInputRegistersOfATableOfTheirOwn)
{
    stations_.setValue(17, Table::HoldingRegisters, 8, 1);
    stations_.setValue(17, Table::InputRegisters, 8, 10);
    EXPECT_EQ(framed({0x11, 0x04, 0x02, 0x00, 0x0A}), answerTo({0x11, 0x04, 0x00, 0x08, 0x00, 0x01}));
}

TEST_F(PlainStationsTest, ReadBitsTheFirstInTheLowestPlace)
{
    for (const int address : {19, 21, 22, 29})
        stations_.setValue(17, Table::Coils, address, 1);
    EXPECT_EQ(framed({0x11, 0x01, 0x02, 0x0D, 0x04}), answerTo({0x11, 0x01, 0x00, 0x13, 0x00, 0x0B}));
    EXPECT_EQ(framed({0x11, 0x02, 0x02, 0x00, 0x00}), answerTo({0x11, 0x02, 0x00, 0x13, 0x00, 0x0B}));
}

TEST_F(PlainStationsTest, TakeEveryKindOfWriteAndRepeatItsHead)
{
    EXPECT_EQ(framed({0x11, 0x05, 0x00, 0xAC, 0xFF, 0x00}), answerTo({0x11, 0x05, 0x00, 0xAC, 0xFF, 0x00}));
    EXPECT_EQ(1, stations_.value(17, Table::Coils, 172));
    EXPECT_EQ(framed({0x11, 0x06, 0x00, 0x01, 0x01, 0x03}), answerTo({0x11, 0x06, 0x00, 0x01, 0x01, 0x03}));
    EXPECT_EQ(0x0103, stations_.value(17, Table::HoldingRegisters, 1));
    EXPECT_EQ(framed({0x11, 0x0F, 0x00, 0x13, 0x00, 0x0A}),
              answerTo({0x11, 0x0F, 0x00, 0x13, 0x00, 0x0A, 0x02, 0xCD, 0x01}));
    EXPECT_EQ(1, stations_.value(17, Table::Coils, 19));
    EXPECT_EQ(0, stations_.value(17, Table::Coils, 20));
    EXPECT_EQ(1, stations_.value(17, Table::Coils, 27));
    EXPECT_EQ(framed({0x11, 0x10, 0x00, 0x01, 0x00, 0x02}),
              answerTo({0x11, 0x10, 0x00, 0x01, 0x00, 0x02, 0x04, 0x00, 0x0A, 0x01, 0x02}));
    EXPECT_EQ(0x0102, stations_.value(17, Table::HoldingRegisters, 2));
    EXPECT_EQ(4, stations_.writesDone(17));
}

TEST_F(PlainStationsTest, RefuseWhatNoStationMayDo)
{
    EXPECT_EQ(framed({0x11, 0x97, 0x01}), answerTo({0x11, 0x17, 0x00, 0x00, 0x00, 0x01}));
    EXPECT_EQ(framed({0x11, 0x83, 0x03}), answerTo({0x11, 0x03, 0x00, 0x00, 0x00, 0x00}));
    EXPECT_EQ(framed({0x11, 0x83, 0x03}), answerTo({0x11, 0x03, 0x00, 0x00, 0x00, 0x7E}));
    EXPECT_EQ(framed({0x11, 0x83, 0x02}), answerTo({0x11, 0x03, 0xFF, 0xFF, 0x00, 0x02}));
    EXPECT_EQ(framed({0x11, 0x85, 0x03}), answerTo({0x11, 0x05, 0x00, 0x00, 0x00, 0x01}));
    EXPECT_EQ(framed({0x11, 0x90, 0x03}), answerTo({0x11, 0x10, 0x00, 0x01, 0x00, 0x02, 0x02, 0x00, 0x0A}));
    EXPECT_EQ(0, stations_.writesDone(17));
}

TEST_F(PlainStationsTest, RefuseThePlacesThatTheyAreToldTo)
{
    stations_.refuseAt(17, Table::HoldingRegisters, 100, 10, 4);
    EXPECT_EQ(framed({0x11, 0x83, 0x04}), answerTo({0x11, 0x03, 0x00, 0x62, 0x00, 0x03})); // 98 to 100
    EXPECT_EQ(framed({0x11, 0x03, 0x02, 0x00, 0x00}), answerTo({0x11, 0x03, 0x00, 0x63, 0x00, 0x01}));
    EXPECT_EQ(framed({0x11, 0x86, 0x04}), answerTo({0x11, 0x06, 0x00, 0x6D, 0x00, 0x01}));
    stations_.refuseAt(17, Table::HoldingRegisters, 100, 10, 0);
    EXPECT_EQ(framed({0x11, 0x06, 0x00, 0x6D, 0x00, 0x01}), answerTo({0x11, 0x06, 0x00, 0x6D, 0x00, 0x01}));
}

TEST_F(PlainStationsTest, TellWhetherTheyHaveWritten)
{
    stations_.refuseAt(17, Table::HoldingRegisters, 100, 1, 4);
    const auto hasWritten = [this](const Bytes &request) {
        return stations_.execute(Time::zero(), framed(request), true).hasWritten;
    };
    EXPECT_TRUE(hasWritten({0x11, 0x06, 0x00, 0x01, 0x01, 0x03}));
    EXPECT_FALSE(hasWritten({0x11, 0x03, 0x00, 0x01, 0x00, 0x01}));
    EXPECT_FALSE(hasWritten({0x11, 0x06, 0x00, 0x64, 0x01, 0x03})) << "refused";
}

TEST_F(PlainStationsTest, DoBroadcastsThatWriteAndNoOthers)
{
    stations_.executeBroadcast(Time::zero(), 17, framed({0x00, 0x06, 0x00, 0x05, 0x00, 0x09}));
    EXPECT_EQ(9, stations_.value(17, Table::HoldingRegisters, 5));
    stations_.executeBroadcast(Time::zero(), 17, framed({0x00, 0x03, 0x00, 0x05, 0x00, 0x01}));
    EXPECT_EQ(1, stations_.writesDone(17));
}

TEST(PlainStationsCrc, GoesOutTheOtherWayRoundWhereTheLineHasItSo)
{
    PlainStations stations(true);
    stations.add(17);
    Bytes reply = {0x11, 0x86, 0x06};
    station::appendCrc(&reply, station::CrcOrder::HighFirst);
    EXPECT_EQ(reply, stations.refuse({0x11, 0x06, 0x00, 0x05, 0x00, 0x09, 0x00, 0x00}, 6));
}

} // namespace
} // namespace plc::simulation
