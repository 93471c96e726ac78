#include "station/relay.h"
#include "station/rtu_text.h"

#include <gtest/gtest.h>

namespace {

using namespace plc::station;
using plc::test::bytes;
using plc::test::rtu;
using plc::test::operator+;

using Values = std::vector<std::uint16_t>;
using Frames = std::vector<Bytes>;

const char kCoilRead[] = "16 01 00 02 07 00 00 00 00 01 00 00 0A 00 00 00 00 00 00 00 00 2B";
const char kRegisterWrite[] = "1A 05 01 02 07 00 05 00 00 00 64 00 02 00 00 00 00 00 00 00 00 12 34 56 78 A8";

/// A relay frame to @p station, length byte and sum filled in.
Bytes relay(bool writes, int station, int regType, int address, int count, const Bytes &data = {})
{
    Bytes frame = {0, 5, static_cast<std::uint8_t>(writes), 2, static_cast<std::uint8_t>(station), 0};
    frame.push_back(static_cast<std::uint8_t>(regType));
    for (int shift = 24; shift >= 0; shift -= 8)
        frame.push_back(static_cast<std::uint8_t>(address >> shift & 0xFF));
    frame.push_back(static_cast<std::uint8_t>(count >> 8));
    frame.push_back(static_cast<std::uint8_t>(count & 0xFF));
    frame = frame + Bytes(8) + data;
    frame[0] = static_cast<std::uint8_t>((frame.size() + 1) % 256);
    unsigned sum = 0;
    for (unsigned byte : frame)
        sum += byte;
    frame.push_back(static_cast<std::uint8_t>(sum % 256));
    return frame;
}

class RelayTest : public ::testing::Test
{
protected:
    Bytes read(int regType, int address, int count)
    {
        return responder_.answer(relay(false, 7, regType, address, count)).reply;
    }
    Bytes write(int regType, int address, int count, const std::string &data)
    {
        return responder_.answer(relay(true, 7, regType, address, count, bytes(data))).reply;
    }
    void fill(Area area, int address, const Values &values)
    {
        ASSERT_TRUE(bus_.station(7)->registers().write(area, address, values));
    }
    Values stored(Area area, int address, int count, int station = 7)
    {
        return bus_.station(station)->registers().read(area, address, count).value_or(Values());
    }

    StationBus bus_{{7, 8}};
    RelayResponder responder_{&bus_};
};

TEST(RelayFrame, OfAReadIsTakenApart)
{
    const std::optional<RelayRequest> request = unpackRelayFrame(bytes(kCoilRead));
    ASSERT_TRUE(request);
    EXPECT_EQ(1, request->hostId);
    EXPECT_FALSE(request->writes);
    EXPECT_EQ(2, request->linkId);
    EXPECT_EQ(7, request->station);
    EXPECT_EQ(0, request->regType);
    EXPECT_EQ(256u, request->address);
    EXPECT_EQ(10, request->count);
    EXPECT_EQ(0u, request->arg1);
    EXPECT_EQ(0u, request->arg2);
    EXPECT_EQ(Bytes(), request->data);
}

TEST(RelayFrame, OfAWriteIsTakenApart)
{
    const std::optional<RelayRequest> request = unpackRelayFrame(bytes(kRegisterWrite));
    ASSERT_TRUE(request);
    EXPECT_EQ(5, request->hostId);
    EXPECT_TRUE(request->writes);
    EXPECT_EQ(5, request->regType);
    EXPECT_EQ(100u, request->address);
    EXPECT_EQ(2, request->count);
    EXPECT_EQ(bytes("12 34 56 78"), request->data);
}

TEST(RelayFrame, CarriesBothArgumentsHighByteFirst)
{
    const std::optional<RelayRequest> request =
        unpackRelayFrame(bytes("16 01 00 02 07 00 00 00 00 01 00 00 0A FF FF FF FF 01 02 03 04 31"));
    ASSERT_TRUE(request);
    EXPECT_EQ(0xFFFFFFFFu, request->arg1);
    EXPECT_EQ(0x01020304u, request->arg2);
}

TEST(RelayFrame, IsRefusedWithAnyByteChanged)
{
    const Bytes good = bytes(kRegisterWrite);
    for (std::size_t i = 0; i < good.size(); ++i) {
        Bytes bad = good;
        bad[i] ^= 0x10;
        EXPECT_FALSE(unpackRelayFrame(bad)) << "byte " << i;
    }
}

TEST(RelayFrame, IsRefusedWhenItsLengthByteIsWrongThoughTheSumIsGood)
{
    Bytes frame = bytes(kCoilRead);
    frame[0] = 0x17;
    frame[21] = 0x2C;
    EXPECT_FALSE(unpackRelayFrame(frame));
}

TEST(RelayFrame, IsRefusedWhenItIsShorterThanTheShortest)
{
    EXPECT_FALSE(unpackRelayFrame(Bytes()));
    EXPECT_FALSE(unpackRelayFrame(bytes("02 02")));
}

// Reads.

TEST_F(RelayTest, ReadsTenCoils)
{
    fill(Area::Coils, 256, {1, 0, 1, 0, 0, 1, 0, 1, 1, 1});
    const Answer answer = responder_.answer(bytes(kCoilRead));
    EXPECT_EQ(Outcome::Answered, answer.outcome);
    EXPECT_EQ(rtu("07 01 02 A5 03"), answer.reply);
}

TEST_F(RelayTest, ReadsDiscreteInputs)
{
    fill(Area::DiscreteInputs, 3, {1});
    EXPECT_EQ(rtu("07 02 01 08"), read(1, 0, 8));
    EXPECT_EQ(rtu("07 02 02 08 00"), read(1, 0, 9));
}

TEST_F(RelayTest, ReadsRegistersHighByteFirst)
{
    fill(Area::InputRegisters, 10, {0x1234});
    fill(Area::HoldingRegisters, 10, {0x5678, 0x9ABC});
    EXPECT_EQ(rtu("07 04 02 12 34"), read(4, 10, 1));
    EXPECT_EQ(rtu("07 03 04 56 78 9A BC"), read(5, 10, 2));
    EXPECT_EQ(rtu("07 03 04 56 78 9A BC"), read(8, 10, 2));
    EXPECT_EQ(rtu("07 03 04 56 78 9A BC"), read(9, 10, 2));
}

TEST_F(RelayTest, ReadsPairsAsTheirRegisters)
{
    fill(Area::HoldingRegisters, 10, {1, 2, 3, 4});
    fill(Area::InputRegisters, 10, {5, 6});
    EXPECT_EQ(rtu("07 03 08 0001 0002 0003 0004"), read(7, 10, 4));
    EXPECT_EQ(rtu("07 04 04 0005 0006"), read(6, 10, 2));
}

TEST_F(RelayTest, ReadsBitsInRegistersAsTwoBytesForEachFromTheRegisterThatHoldsTheFirst)
{
    fill(Area::HoldingRegisters, 2, {0x0008, 0x0100});
    fill(Area::InputRegisters, 2, {0x8000});
    EXPECT_EQ(rtu("07 03 02 00 08"), read(3, 35, 1));
    EXPECT_EQ(rtu("07 03 04 00 08 01 00"), read(3, 47, 2));
    EXPECT_EQ(rtu("07 04 02 80 00"), read(2, 47, 1));
}

TEST_F(RelayTest, ReadsTheMostThatAReplyCanHold)
{
    EXPECT_EQ(5u + 250u, read(0, 0, 2000).size());
    EXPECT_EQ(rtu("07 81 03"), read(0, 0, 2001));
    EXPECT_EQ(5u + 250u, read(5, 0, 125).size());
    EXPECT_EQ(rtu("07 83 03"), read(5, 0, 126));
    EXPECT_EQ(rtu("07 84 03"), read(4, 0, 0));
}

TEST_F(RelayTest, RefusesAddressesThatModbusDoesNotHave)
{
    EXPECT_EQ(5u + 2u, read(5, 65535, 1).size());
    EXPECT_EQ(rtu("07 83 02"), read(5, 65535, 2));
    EXPECT_EQ(rtu("07 83 02"), read(5, 65536, 1));
    EXPECT_EQ(rtu("07 83 02"), read(5, -1, 1));
    EXPECT_EQ(5u + 2u, read(3, 1048575, 1).size());
    EXPECT_EQ(rtu("07 83 02"), read(3, 1048576, 1));
}

TEST_F(RelayTest, RefusesAReadWithData)
{
    EXPECT_EQ(rtu("07 83 03"), responder_.answer(relay(false, 7, 5, 0, 1, bytes("12 34"))).reply);
}

// Writes.

TEST_F(RelayTest, WritesRegistersThatComeLowByteFirst)
{
    const Answer answer = responder_.answer(bytes(kRegisterWrite));
    EXPECT_EQ(Outcome::Answered, answer.outcome);
    EXPECT_EQ(rtu("07 10 0064 0002"), answer.reply);
    EXPECT_EQ(Values({0x3412, 0x7856}), stored(Area::HoldingRegisters, 100, 2));
}

TEST_F(RelayTest, RepliesToASingleRegisterAsAModbusStationDoes)
{
    EXPECT_EQ(rtu("07 06 0064 1234"), write(5, 100, 1, "34 12"));
    EXPECT_EQ(rtu("07 06 0065 1234"), write(8, 101, 1, "34 12"));
    EXPECT_EQ(rtu("07 10 0066 0001"), write(9, 102, 1, "34 12"));
    EXPECT_EQ(Values({0x1234, 0x1234, 0x1234}), stored(Area::HoldingRegisters, 100, 3));
}

TEST_F(RelayTest, WritesPairsWithTheHighWordAtTheLowerAddress)
{
    EXPECT_EQ(rtu("07 10 00C8 0004"), write(7, 200, 2, "78 56 34 12 01 00 00 00"));
    EXPECT_EQ(Values({0x1234, 0x5678, 0x0000, 0x0001}), stored(Area::HoldingRegisters, 200, 4));
}

TEST_F(RelayTest, WritesCoilsPackedLowestBitFirst)
{
    EXPECT_EQ(rtu("07 0F 0010 000A"), write(0, 16, 10, "A5 03"));
    EXPECT_EQ(Values({1, 0, 1, 0, 0, 1, 0, 1, 1, 1, 0}), stored(Area::Coils, 16, 11));
}

TEST_F(RelayTest, WritesASingleCoilForAnyByteButZero)
{
    EXPECT_EQ(rtu("07 05 0003 FF00"), write(0, 3, 1, "02"));
    EXPECT_EQ(Values({1}), stored(Area::Coils, 3, 1));
    EXPECT_EQ(rtu("07 05 0003 0000"), write(0, 3, 1, "00"));
    EXPECT_EQ(Values({0}), stored(Area::Coils, 3, 1));
}

TEST_F(RelayTest, SetsAndClearsOneBitOfARegister)
{
    fill(Area::HoldingRegisters, 2, {0x0101});
    EXPECT_EQ(rtu("07 06 0002 0109"), write(3, 35, 1, "01"));
    EXPECT_EQ(rtu("07 06 0002 8109"), write(3, 47, 1, "01"));
    EXPECT_EQ(rtu("07 06 0002 8108"), write(3, 32, 1, "00"));
    EXPECT_EQ(Values({0x8108}), stored(Area::HoldingRegisters, 2, 1));
}

TEST_F(RelayTest, WritesMoreRegistersThanAModbusFrameHolds)
{
    const Answer answer = responder_.answer(relay(true, 7, 5, 0, 2500, Bytes(5000, 0x11)));
    EXPECT_EQ(rtu("07 10 0000 09C4"), answer.reply);
    EXPECT_EQ(Values({0x1111}), stored(Area::HoldingRegisters, 2499, 1));
}

TEST_F(RelayTest, RefusesWritesToAreasThatCanOnlyBeRead)
{
    EXPECT_EQ(rtu("07 85 01"), write(1, 0, 1, "01"));
    EXPECT_EQ(rtu("07 86 01"), write(2, 0, 1, "01"));
    EXPECT_EQ(rtu("07 90 01"), write(4, 0, 2, "11 11 22 22"));
    EXPECT_EQ(rtu("07 90 01"), write(6, 0, 1, "11 11 22 22"));
    EXPECT_EQ(Values({0}), stored(Area::DiscreteInputs, 0, 1));
    EXPECT_EQ(Values({0, 0}), stored(Area::InputRegisters, 0, 2));
}

TEST_F(RelayTest, RefusesDataThatDoNotFitTheCount)
{
    EXPECT_EQ(rtu("07 90 03"), write(5, 0, 2, "11 11"));
    EXPECT_EQ(rtu("07 90 03"), write(5, 0, 0, ""));
    EXPECT_EQ(rtu("07 86 03"), write(5, 0, 1, ""));
    EXPECT_EQ(rtu("07 8F 03"), write(0, 0, 9, "11"));
    EXPECT_EQ(rtu("07 90 03"), write(7, 0, 1, "11 11"));
    EXPECT_EQ(rtu("07 86 03"), write(3, 0, 2, "01"));
    EXPECT_EQ(rtu("07 86 03"), write(8, 0, 2, "11 11 22 22"));
    EXPECT_EQ(Values({0, 0}), stored(Area::HoldingRegisters, 0, 2));
}

TEST_F(RelayTest, RefusesWritesBeyondTheEnd)
{
    EXPECT_EQ(rtu("07 90 02"), write(5, 65535, 2, "11 11 22 22"));
    EXPECT_EQ(rtu("07 86 02"), write(3, 1048576, 1, "01"));
    EXPECT_EQ(Values({0}), stored(Area::HoldingRegisters, 65535, 1));
}

TEST_F(RelayTest, RefusesTypesThatDoNotExist)
{
    EXPECT_EQ(rtu("07 83 01"), read(10, 0, 1));
    EXPECT_EQ(rtu("07 90 01"), write(10, 0, 1, "01"));
}

// Who answers.

TEST_F(RelayTest, WritesForStationZeroReachEveryStationInSilence)
{
    const Answer answer = responder_.answer(relay(true, 0, 5, 100, 1, bytes("34 12")));
    EXPECT_EQ(Outcome::Broadcast, answer.outcome);
    EXPECT_EQ(Bytes(), answer.reply);
    EXPECT_EQ(Values({0x1234}), stored(Area::HoldingRegisters, 100, 1, 7));
    EXPECT_EQ(Values({0x1234}), stored(Area::HoldingRegisters, 100, 1, 8));
}

TEST_F(RelayTest, ReadsForStationZeroAreDropped)
{
    const Bytes frame = relay(false, 0, 5, 100, 1);
    EXPECT_FALSE(responder_.expectsReply(frame));
    EXPECT_EQ(Bytes(), responder_.answer(frame).reply);
}

TEST_F(RelayTest, IsSilentForStationsThatAreNotThere)
{
    const Answer answer = responder_.answer(relay(false, 9, 5, 100, 1));
    EXPECT_EQ(Outcome::Foreign, answer.outcome);
    EXPECT_EQ(Bytes(), answer.reply);
    EXPECT_FALSE(responder_.expectsReply(relay(false, 9, 5, 100, 1)));
    EXPECT_TRUE(responder_.expectsReply(relay(false, 8, 5, 100, 1)));
}

TEST_F(RelayTest, IsSilentOnABadChecksumAndDoesNothing)
{
    Bytes frame = bytes(kRegisterWrite);
    frame.back() = 0xA9;
    EXPECT_EQ(Outcome::Damaged, responder_.answer(frame).outcome);
    EXPECT_FALSE(responder_.expectsReply(frame));
    EXPECT_EQ(Values({0, 0}), stored(Area::HoldingRegisters, 100, 2));
    EXPECT_EQ(1, bus_.station(7)->diagnostics().communicationErrors);
}

TEST_F(RelayTest, RefusesInsteadOfExecutingWhenToldSo)
{
    const Answer answer = responder_.refuse(bytes(kRegisterWrite), 6);
    EXPECT_EQ(Outcome::Refused, answer.outcome);
    EXPECT_EQ(rtu("07 90 06"), answer.reply);
    EXPECT_EQ(Values({0, 0}), stored(Area::HoldingRegisters, 100, 2));
}

TEST_F(RelayTest, MovesTheStationOnOncePerReply)
{
    ASSERT_TRUE(bus_.station(7)->addMoving({Area::HoldingRegisters, 0, 1, 1}));
    read(5, 0, 1);
    read(5, 0, 0);
    EXPECT_EQ(Values({2}), stored(Area::HoldingRegisters, 0, 1));
}

TEST(RelayCrcOrder, OfRepliesIsTheBuses)
{
    StationBus bus({7}, kWholeArea, CrcOrder::LowFirst, CrcOrder::HighFirst);
    RelayResponder responder(&bus);
    // 07 03 02 00 00 has the CRC 0x4430.
    EXPECT_EQ(bytes("07 03 02 00 00 44 30"), responder.answer(relay(false, 7, 5, 0, 1)).reply);
}

// Framing.

class RelayFraming : public ::testing::Test
{
protected:
    Framer framer_{relayRequestRule()};
};

TEST_F(RelayFraming, TakesFramesWholeByteByByteAndBackToBack)
{
    const Bytes first = bytes(kRegisterWrite);
    const Bytes second = bytes(kCoilRead);
    EXPECT_EQ(Frames({first, second}), framer_.push(first + second));
    for (std::size_t i = 0; i + 1 < first.size(); ++i)
        EXPECT_EQ(Frames(), framer_.push(Bytes(1, first[i]))) << i;
    EXPECT_EQ(Frames({first}), framer_.push(Bytes(1, first.back())));
}

TEST_F(RelayFraming, TakesTheTrueLengthOfALongWriteFromTypeAndCount)
{
    const Bytes registers = relay(true, 7, 5, 0, 125, Bytes(250, 0x5A));
    ASSERT_EQ(272u, registers.size());
    ASSERT_EQ(0x10, registers[0]);
    EXPECT_EQ(Frames({registers}), framer_.push(registers));

    const Bytes pairs = relay(true, 7, 7, 0, 60, Bytes(240, 0x5A));
    EXPECT_EQ(Frames({pairs}), framer_.push(pairs));

    const Bytes coils = relay(true, 7, 0, 0, 2400, Bytes(300, 0x5A));
    EXPECT_EQ(Frames({coils}), framer_.push(coils));

    const Bytes many = relay(true, 7, 9, 0, 2500, Bytes(5000, 0x5A));
    EXPECT_EQ(Frames({many}), framer_.push(many));
}

TEST_F(RelayFraming, WaitsForTheWholeOfALongWrite)
{
    const Bytes registers = relay(true, 7, 5, 0, 125, Bytes(250, 0x5A));
    EXPECT_EQ(Frames(), framer_.push(Bytes(registers.begin(), registers.end() - 1)));
    EXPECT_EQ(Frames({registers}), framer_.push(Bytes(1, registers.back())));
}

TEST_F(RelayFraming, TakesAFrameWhoseDataDisagreeWithItsCountByItsLengthByte)
{
    const Bytes frame = relay(true, 7, 5, 0, 3, bytes("11 11"));
    EXPECT_EQ(Frames({frame}), framer_.push(frame));
    const Bytes readWithData = relay(false, 7, 5, 0, 1, bytes("11 11"));
    EXPECT_EQ(Frames({readWithData}), framer_.push(readWithData));
    const Bytes unknownType = relay(true, 7, 10, 0, 1, bytes("11 11"));
    EXPECT_EQ(Frames({unknownType}), framer_.push(unknownType));
}

TEST_F(RelayFraming, FindsAFrameBehindGarbageAndBehindADamagedFrame)
{
    const Bytes good = bytes(kCoilRead);
    EXPECT_EQ(Frames({good}), framer_.push(bytes("FF FF FF") + good));
    Bytes damaged = bytes(kRegisterWrite);
    damaged.back() ^= 1;
    EXPECT_EQ(Frames({good}), framer_.push(damaged + good));
    EXPECT_EQ(2u, framer_.badFrames());
}

TEST_F(RelayFraming, DoesNotWaitForMoreThanItsBufferHolds)
{
    // 65535 pairs would be 262162 bytes, whose low byte is 12.
    const Bytes endless = bytes("12 05 01 02 07 00 07 00 00 00 00 FF FF");
    EXPECT_EQ(Frames({bytes(kCoilRead)}), framer_.push(endless + bytes(kCoilRead)));
}

TEST_F(RelayFraming, DropsAnUnfinishedFrameInTheSilence)
{
    const Bytes good = bytes(kCoilRead);
    EXPECT_EQ(Frames(), framer_.push(Bytes(good.begin(), good.end() - 1)));
    EXPECT_EQ(Frames(), framer_.silence());
    EXPECT_EQ(1u, framer_.badFrames());
    EXPECT_EQ(Frames({good}), framer_.push(good));
}

TEST_F(RelayFraming, TakesNoSilenceForTheEndOfAFrame)
{
    EXPECT_EQ(Frames(), framer_.push(rtu("07 41")));
    EXPECT_EQ(Frames(), framer_.silence());
}

} // namespace
