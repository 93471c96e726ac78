#include "station/rtu_text.h"
#include "station/station_bus.h"

#include <gtest/gtest.h>

#include <ostream>

namespace {

using namespace plc::station;
using plc::test::bytes;
using plc::test::rtu;

using Values = std::vector<std::uint16_t>;

constexpr int kStation = 0x11;

class StationBusTest : public ::testing::Test
{
protected:
    Values holding(int station, int address, int count = 1)
    {
        return bus_.station(station)
            ->registers()
            .read(Area::HoldingRegisters, address, count)
            .value_or(Values());
    }

    StationBus bus_{{kStation, 0x12}};
};

// Whole frames with their CRC typed, one per function.

struct Exchange
{
    const char *name;
    const char *request;
    const char *reply;
};

void PrintTo(const Exchange &exchange, std::ostream *stream)
{
    *stream << exchange.name;
}

class StationExchange : public ::testing::TestWithParam<Exchange>
{};

TEST_P(StationExchange, GivesExactlyThisReply)
{
    StationBus bus({kStation});
    RegisterModel &model = bus.station(kStation)->registers();
    ASSERT_TRUE(model.write(Area::Coils, 0x20, {1, 0, 1, 0, 0, 1, 0, 1, 0, 0, 1, 1, 1}));
    ASSERT_TRUE(model.write(Area::DiscreteInputs, 0x40, {1, 0, 0, 0, 0, 0, 0, 1, 1}));
    ASSERT_TRUE(model.write(Area::HoldingRegisters, 100, {0x1234, 0xABCD}));
    ASSERT_TRUE(model.write(Area::InputRegisters, 7, {42}));
    const Bytes request = bytes(GetParam().request);
    ASSERT_TRUE(bus.expectsReply(request));
    const Answer answer = bus.answer(request);
    EXPECT_EQ(Outcome::Answered, answer.outcome);
    EXPECT_EQ(bytes(GetParam().reply), answer.reply) << hexText(answer.reply);
}

const Exchange kExchanges[] = {
    {"ReadCoils", "11 01 00 20 00 0D FE 95", "11 01 02 A5 1C 02 A6"},
    {"ReadDiscreteInputs", "11 02 00 40 00 09 BB 48", "11 02 02 81 01 D9 EB"},
    {"ReadHoldingRegisters", "11 03 00 64 00 02 87 44", "11 03 04 12 34 AB CD 11 E1"},
    {"ReadInputRegisters", "11 04 00 07 00 01 82 9B", "11 04 02 00 2A F9 2C"},
    {"SingleCoilOn", "11 05 00 13 FF 00 7F 6F", "11 05 00 13 FF 00 7F 6F"},
    {"SingleCoilOff", "11 05 00 13 00 00 3E 9F", "11 05 00 13 00 00 3E 9F"},
    {"SingleRegister", "11 06 00 64 12 34 C7 F2", "11 06 00 64 12 34 C7 F2"},
    {"WriteCoils", "11 0F 00 13 00 0A 02 A5 03 11 0A", "11 0F 00 13 00 0A 26 99"},
    {"WriteRegisters", "11 10 00 64 00 02 04 12 34 AB CD 5A A7", "11 10 00 64 00 02 02 87"},
    {"DiagnosticEcho", "11 08 00 00 5A C3 98 6A", "11 08 00 00 5A C3 98 6A"},
    {"MaskWrite", "11 16 00 64 FF F7 00 08 06 E2", "11 16 00 64 FF F7 00 08 06 E2"},
};

INSTANTIATE_TEST_SUITE_P(All, StationExchange, ::testing::ValuesIn(kExchanges),
                         [](const auto &row) { return std::string(row.param.name); });

TEST(StationBusSize, RefusesAddressesBeyondItWithException02)
{
    StationBus bus({kStation}, 100);
    const Answer answer = bus.answer(bytes("11 03 00 64 00 02 87 44"));
    EXPECT_EQ(Outcome::Refused, answer.outcome);
    EXPECT_EQ(bytes("11 83 02 C1 34"), answer.reply);
}

TEST_F(StationBusTest, WritesABroadcastIntoEveryStationInSilence)
{
    const Answer answer = bus_.answer(bytes("00 06 00 64 00 01 08 04"));
    EXPECT_EQ(Outcome::Broadcast, answer.outcome);
    EXPECT_EQ(Bytes(), answer.reply);
    EXPECT_EQ(Values({1}), holding(0x11, 100));
    EXPECT_EQ(Values({1}), holding(0x12, 100));
    EXPECT_FALSE(bus_.expectsReply(bytes("00 06 00 64 00 01 08 04")));
}

TEST_F(StationBusTest, DropsABroadcastRead)
{
    const Answer answer = bus_.answer(rtu("00 03 0000 0001"));
    EXPECT_EQ(Outcome::Broadcast, answer.outcome);
    EXPECT_EQ(Bytes(), answer.reply);
}

TEST_F(StationBusTest, IsSilentForStationsThatAreNotThere)
{
    const Answer answer = bus_.answer(rtu("13 06 0000 0001"));
    EXPECT_EQ(Outcome::Foreign, answer.outcome);
    EXPECT_EQ(Bytes(), answer.reply);
    EXPECT_FALSE(bus_.expectsReply(rtu("13 06 0000 0001")));
    EXPECT_EQ(Values({0}), holding(0x11, 0));
}

TEST_F(StationBusTest, KeepsTheRegistersOfItsStationsApart)
{
    bus_.answer(rtu("11 06 0000 0001"));
    EXPECT_EQ(rtu("12 03 02 00 00"), bus_.answer(rtu("12 03 0000 0001")).reply);
    EXPECT_EQ(rtu("11 03 02 00 01"), bus_.answer(rtu("11 03 0000 0001")).reply);
}

TEST_F(StationBusTest, IsSilentOnAWrongCrcAndDoesNothing)
{
    const Answer answer = bus_.answer(bytes("11 06 00 64 12 34 C7 F3"));
    EXPECT_EQ(Outcome::Damaged, answer.outcome);
    EXPECT_EQ(Bytes(), answer.reply);
    EXPECT_EQ(Values({0}), holding(0x11, 100));
    EXPECT_FALSE(bus_.expectsReply(bytes("11 06 00 64 12 34 C7 F3")));
}

TEST_F(StationBusTest, IsSilentOnACrcInTheOtherOrder)
{
    EXPECT_EQ(Outcome::Damaged, bus_.answer(bytes("11 06 00 64 12 34 F2 C7")).outcome);
}

TEST_F(StationBusTest, IsSilentOnFragments)
{
    for (const char *fragment : {"", "11", "11 03", "11 C0 5C"})
        EXPECT_EQ(Outcome::Damaged, bus_.answer(bytes(fragment)).outcome) << fragment;
}

TEST_F(StationBusTest, RefusesAnUnknownFunctionWithException01)
{
    const Answer answer = bus_.answer(rtu("11 41"));
    EXPECT_EQ(Outcome::Refused, answer.outcome);
    EXPECT_EQ(rtu("11 C1 01"), answer.reply);
}

TEST_F(StationBusTest, TakesAnExceptionReplyOfSomebodyElseForNoRequest)
{
    EXPECT_EQ(Outcome::Foreign, bus_.answer(bytes("11 83 02 C1 34")).outcome);
    EXPECT_FALSE(bus_.expectsReply(bytes("11 83 02 C1 34")));
}

TEST_F(StationBusTest, RefusesInsteadOfExecutingWhenToldSo)
{
    const Answer answer = bus_.refuse(rtu("11 06 0000 0007"), 6);
    EXPECT_EQ(Outcome::Refused, answer.outcome);
    EXPECT_EQ(rtu("11 86 06"), answer.reply);
    EXPECT_EQ(Values({0}), holding(0x11, 0));
}

TEST_F(StationBusTest, ExpectsNoReplyOfAStationThatListensOnly)
{
    EXPECT_EQ(Outcome::Silent, bus_.answer(rtu("11 08 0004 0000")).outcome);
    EXPECT_FALSE(bus_.expectsReply(rtu("11 03 0000 0001")));
    EXPECT_TRUE(bus_.expectsReply(rtu("12 03 0000 0001")));
}

TEST_F(StationBusTest, CountsBusMessagesWhoeverTheyAreForAndErrorsForAll)
{
    bus_.answer(rtu("12 03 0000 0001"));
    bus_.answer(rtu("63 03 0000 0001"));
    bus_.answer(bytes("11 03 00 00 00 01 00 00"));
    bus_.noteBadFrame();
    EXPECT_EQ(rtu("11 08 000B 0003"), bus_.answer(bytes("11 08 00 0B 00 00 93 59")).reply);
    EXPECT_EQ(rtu("11 08 000C 0002"), bus_.answer(rtu("11 08 000C 0000")).reply);
    EXPECT_EQ(rtu("11 08 000E 0003"), bus_.answer(rtu("11 08 000E 0000")).reply);
}

TEST(StationBusOrder, OfRequestsAndRepliesIsChosenApart)
{
    StationBus bus({kStation}, kWholeArea, CrcOrder::HighFirst, CrcOrder::LowFirst);
    EXPECT_EQ(bytes("11 06 00 64 12 34 C7 F2"), bus.answer(bytes("11 06 00 64 12 34 F2 C7")).reply);
    EXPECT_EQ(Outcome::Damaged, bus.answer(bytes("11 06 00 64 12 34 C7 F2")).outcome);

    StationBus other({kStation}, kWholeArea, CrcOrder::LowFirst, CrcOrder::HighFirst);
    EXPECT_EQ(bytes("11 06 00 64 12 34 F2 C7"), other.answer(bytes("11 06 00 64 12 34 C7 F2")).reply);
}

TEST_F(StationBusTest, MovesTheAnsweringStationOnAfterEachReply)
{
    for (auto &[number, station] : bus_.stations())
        ASSERT_TRUE(station.addMoving({Area::HoldingRegisters, 0, 1, 1}));
    EXPECT_EQ(rtu("11 03 02 00 00"), bus_.answer(rtu("11 03 0000 0001")).reply);
    EXPECT_EQ(rtu("11 03 02 00 01"), bus_.answer(rtu("11 03 0000 0001")).reply);
    bus_.answer(rtu("00 06 0009 0001"));
    bus_.refuse(rtu("11 03 0000 0001"), 6);
    EXPECT_EQ(Values({3}), holding(0x11, 0));
    EXPECT_EQ(Values({0}), holding(0x12, 0));
}

TEST_F(StationBusTest, MovesNothingByRequestsWhenTimeMovesThem)
{
    ASSERT_TRUE(bus_.station(0x11)->addMoving({Area::HoldingRegisters, 0, 1, 1}));
    bus_.setMovesByRequest(false);
    bus_.answer(rtu("11 03 0000 0001"));
    EXPECT_EQ(Values({0}), holding(0x11, 0));
    bus_.moveAll();
    EXPECT_EQ(Values({1}), holding(0x11, 0));
}

} // namespace
