#include "station/rtu_text.h"
#include "station/station.h"

#include <gtest/gtest.h>

#include <ostream>

#include <numeric>

namespace {

using namespace plc::station;
using plc::test::bytes;
using plc::test::operator+;

using Values = std::vector<std::uint16_t>;

class StationTest : public ::testing::Test
{
protected:
    Bytes execute(const std::string &pdu) { return station_.execute(bytes(pdu)); }
    void fill(Area area, int address, const Values &values)
    {
        ASSERT_TRUE(station_.registers().write(area, address, values));
    }
    Values stored(Area area, int address, int count)
    {
        return station_.registers().read(area, address, count).value_or(Values());
    }

    Station station_;
};

// One request of each function, and its reply.

TEST_F(StationTest, ReadsCoilsLowestBitFirstWithSpareBitsZero)
{
    fill(Area::Coils, 0x20, {1, 0, 1, 0, 0, 1, 0, 1, 0, 0, 1, 1, 1, 1, 1, 1});
    EXPECT_EQ(bytes("01 02 A5 1C"), execute("01 0020 000D"));
}

TEST_F(StationTest, ReadsDiscreteInputs)
{
    fill(Area::DiscreteInputs, 0x40, {1, 0, 0, 0, 0, 0, 0, 1, 1});
    EXPECT_EQ(bytes("02 02 81 01"), execute("02 0040 0009"));
}

TEST_F(StationTest, ReadsHoldingRegistersHighByteFirst)
{
    fill(Area::HoldingRegisters, 100, {0x1234, 0xABCD});
    EXPECT_EQ(bytes("03 04 12 34 AB CD"), execute("03 0064 0002"));
}

TEST_F(StationTest, ReadsInputRegisters)
{
    fill(Area::InputRegisters, 7, {42});
    EXPECT_EQ(bytes("04 02 00 2A"), execute("04 0007 0001"));
}

TEST_F(StationTest, SetsAndClearsASingleCoilAndEchoesTheRequest)
{
    EXPECT_EQ(bytes("05 0013 FF00"), execute("05 0013 FF00"));
    EXPECT_EQ(Values({1}), stored(Area::Coils, 0x13, 1));
    EXPECT_EQ(bytes("01 01 01"), execute("01 0013 0001"));
    EXPECT_EQ(bytes("05 0013 0000"), execute("05 0013 0000"));
    EXPECT_EQ(Values({0}), stored(Area::Coils, 0x13, 1));
}

TEST_F(StationTest, WritesASingleRegisterAndEchoesTheRequest)
{
    EXPECT_EQ(bytes("06 0064 1234"), execute("06 0064 1234"));
    EXPECT_EQ(Values({0x1234}), stored(Area::HoldingRegisters, 100, 1));
}

TEST_F(StationTest, WritesCoilsAndRepliesAddressAndQuantity)
{
    EXPECT_EQ(bytes("0F 0013 000A"), execute("0F 0013 000A 02 A5 03"));
    EXPECT_EQ(Values({1, 0, 1, 0, 0, 1, 0, 1, 1, 1}), stored(Area::Coils, 0x13, 10));
}

TEST_F(StationTest, LeavesCoilsBehindTheLastOneAloneWhateverTheSpareBitsAre)
{
    execute("0F 0000 0003 01 FF");
    EXPECT_EQ(Values({1, 1, 1, 0, 0}), stored(Area::Coils, 0, 5));
}

TEST_F(StationTest, WritesRegistersAndRepliesAddressAndQuantity)
{
    EXPECT_EQ(bytes("10 0064 0002"), execute("10 0064 0002 04 12 34 AB CD"));
    EXPECT_EQ(Values({0x1234, 0xABCD}), stored(Area::HoldingRegisters, 100, 2));
}

TEST_F(StationTest, MasksARegister)
{
    fill(Area::HoldingRegisters, 100, {0x1200});
    EXPECT_EQ(bytes("16 0064 FFF7 0008"), execute("16 0064 FFF7 0008"));
    EXPECT_EQ(Values({0x1208}), stored(Area::HoldingRegisters, 100, 1));
}

TEST_F(StationTest, TakesOrMaskBitsOnlyWhereTheAndMaskIsClear)
{
    fill(Area::HoldingRegisters, 4, {0x0012});
    execute("16 0004 00F2 0025");
    EXPECT_EQ(Values({0x0017}), stored(Area::HoldingRegisters, 4, 1));
}

TEST_F(StationTest, KeepsTheFourAreasApart)
{
    execute("06 0005 0007");
    EXPECT_EQ(bytes("04 02 00 00"), execute("04 0005 0001"));
    execute("05 0005 FF00");
    EXPECT_EQ(bytes("02 01 00"), execute("02 0005 0001"));
}

// Limits: the request and what it gets.

struct LimitCase
{
    const char *name;
    const char *request;
    std::size_t dataSize; ///< zero bytes that follow the request's text
    const char *replyBegins;
    std::size_t replySize;
};

void PrintTo(const LimitCase &row, std::ostream *stream)
{
    *stream << row.name;
}

class StationLimits : public ::testing::TestWithParam<LimitCase>
{};

TEST_P(StationLimits, AreThoseOfTheStandard)
{
    Station station;
    const Bytes request = bytes(GetParam().request) + Bytes(GetParam().dataSize);
    const Bytes reply = station.execute(request);
    const Bytes begin = bytes(GetParam().replyBegins);
    ASSERT_EQ(GetParam().replySize, reply.size()) << hexText(reply);
    EXPECT_EQ(begin, Bytes(reply.begin(), reply.begin() + static_cast<std::ptrdiff_t>(begin.size())));
}

const LimitCase kLimits[] = {
    {"CoilsZero", "01 0000 0000", 0, "81 03", 2},
    {"CoilsMost", "01 0000 07D0", 0, "01 FA", 252},
    {"CoilsTooMany", "01 0000 07D1", 0, "81 03", 2},
    {"CoilsLast", "01 FFFF 0001", 0, "01 01 00", 3},
    {"CoilsBeyondTheEnd", "01 FFFF 0002", 0, "81 02", 2},
    {"CoilsRequestShort", "01 0000 00", 0, "81 03", 2},
    {"CoilsRequestLong", "01 0000 0001 00", 0, "81 03", 2},
    {"InputsZero", "02 0000 0000", 0, "82 03", 2},
    {"InputsMost", "02 0000 07D0", 0, "02 FA", 252},
    {"InputsTooMany", "02 0000 07D1", 0, "82 03", 2},
    {"InputsBeyondTheEnd", "02 FFF8 0009", 0, "82 02", 2},
    {"HoldingZero", "03 0000 0000", 0, "83 03", 2},
    {"HoldingMost", "03 0000 007D", 0, "03 FA", 252},
    {"HoldingTooMany", "03 0000 007E", 0, "83 03", 2},
    {"HoldingLast", "03 FFFF 0001", 0, "03 02 00 00", 4},
    {"HoldingBeyondTheEnd", "03 FFFF 0002", 0, "83 02", 2},
    {"HoldingRequestLong", "03 0000 0001 00", 0, "83 03", 2},
    {"InputRegistersZero", "04 0000 0000", 0, "84 03", 2},
    {"InputRegistersMost", "04 0000 007D", 0, "04 FA", 252},
    {"InputRegistersTooMany", "04 0000 007E", 0, "84 03", 2},
    {"InputRegistersBeyondTheEnd", "04 FFFF 0002", 0, "84 02", 2},
    {"SingleCoilNeitherOnNorOff", "05 0000 0001", 0, "85 03", 2},
    {"SingleCoilOnWithRest", "05 0000 FF01", 0, "85 03", 2},
    {"SingleCoilShort", "05 0000 FF", 0, "85 03", 2},
    {"SingleRegisterLast", "06 FFFF FFFF", 0, "06 FFFF FFFF", 5},
    {"SingleRegisterLong", "06 0000 0000 00", 0, "86 03", 2},
    {"WriteCoilsZero", "0F 0000 0000 00", 0, "8F 03", 2},
    {"WriteCoilsMost", "0F 0000 07B0 F6", 246, "0F 0000 07B0", 5},
    {"WriteCoilsTooMany", "0F 0000 07B1 F7", 247, "8F 03", 2},
    {"WriteCoilsByteCountTooLarge", "0F 0000 0001 02", 2, "8F 03", 2},
    {"WriteCoilsByteCountTooSmall", "0F 0000 0009 01", 1, "8F 03", 2},
    {"WriteCoilsDataShort", "0F 0000 0009 02", 1, "8F 03", 2},
    {"WriteCoilsBeyondTheEnd", "0F FFFF 0002 01", 1, "8F 02", 2},
    {"WriteRegistersZero", "10 0000 0000 00", 0, "90 03", 2},
    {"WriteRegistersMost", "10 0000 007B F6", 246, "10 0000 007B", 5},
    {"WriteRegistersTooMany", "10 0000 007C F8", 248, "90 03", 2},
    {"WriteRegistersByteCountOdd", "10 0000 0001 01", 1, "90 03", 2},
    {"WriteRegistersByteCountTooLarge", "10 0000 0001 04", 4, "90 03", 2},
    {"WriteRegistersDataLong", "10 0000 0001 02", 4, "90 03", 2},
    {"WriteRegistersNothingBehindTheCode", "10", 0, "90 03", 2},
    {"WriteRegistersBeyondTheEnd", "10 FFFF 0002 04", 4, "90 02", 2},
    {"MaskShort", "16 0000 FFFF 00", 0, "96 03", 2},
};

INSTANTIATE_TEST_SUITE_P(All, StationLimits, ::testing::ValuesIn(kLimits),
                         [](const auto &row) { return std::string(row.param.name); });

TEST(StationSize, PutsTheEndOfEveryAreaWhereItIsAsked)
{
    Station station(100);
    EXPECT_EQ(bytes("03 02 00 00"), station.execute(bytes("03 0063 0001")));
    EXPECT_EQ(bytes("83 02"), station.execute(bytes("03 0063 0002")));
    EXPECT_EQ(bytes("81 02"), station.execute(bytes("01 0064 0001")));
    EXPECT_EQ(bytes("85 02"), station.execute(bytes("05 0064 FF00")));
    EXPECT_EQ(bytes("86 02"), station.execute(bytes("06 0064 0001")));
    EXPECT_EQ(bytes("96 02"), station.execute(bytes("16 0064 0000 0001")));
}

TEST_F(StationTest, StoresNothingOfAWriteThatGoesBeyondTheEnd)
{
    execute("10 FFFF 0002 04 11 11 22 22");
    EXPECT_EQ(Values({0}), stored(Area::HoldingRegisters, 65535, 1));
}

class UnknownFunction : public ::testing::TestWithParam<int>
{};

TEST_P(UnknownFunction, GetsException01)
{
    Station station;
    const auto code = static_cast<std::uint8_t>(GetParam());
    const Bytes request = Bytes(1, code) + bytes("0000 0001 0000 0001 02 0000");
    EXPECT_EQ((Bytes{static_cast<std::uint8_t>(code | 0x80), 1}), station.execute(request));
}

// 7, 11, 12, 17, 20, 23, 24 and 43 exist in the standard, and some of them in Qt's server, but not here.
INSTANTIATE_TEST_SUITE_P(Codes, UnknownFunction,
                         ::testing::Values(0, 7, 9, 11, 12, 17, 20, 21, 23, 24, 43, 65, 127),
                         [](const auto &row) { return "Function" + std::to_string(row.param); });

TEST(RegisterModel, RefusesRangesOutsideTheArea)
{
    RegisterModel model(10);
    EXPECT_FALSE(model.read(Area::Coils, -1, 1));
    EXPECT_FALSE(model.read(Area::Coils, 0, 0));
    EXPECT_FALSE(model.read(Area::Coils, 9, 2));
    EXPECT_FALSE(model.read(Area::Coils, 10, 1));
    EXPECT_FALSE(model.write(Area::HoldingRegisters, -1, {1}));
    EXPECT_FALSE(model.write(Area::HoldingRegisters, 9, {1, 2}));
    EXPECT_FALSE(model.write(Area::HoldingRegisters, 0, {}));
    EXPECT_TRUE(model.write(Area::HoldingRegisters, 9, {1}));
}

TEST(RegisterModel, HoldsAWholeArea)
{
    RegisterModel model;
    Values all(65536);
    std::iota(all.begin(), all.end(), std::uint16_t(0));
    ASSERT_TRUE(model.write(Area::InputRegisters, 0, all));
    EXPECT_EQ(all, model.read(Area::InputRegisters, 0, 65536));
}

TEST(RegisterModel, TakesAnyValueButZeroForASetBit)
{
    RegisterModel model;
    ASSERT_TRUE(model.write(Area::DiscreteInputs, 0, {2, 0, 0xFF00}));
    EXPECT_EQ(Values({1, 0, 1}), model.read(Area::DiscreteInputs, 0, 3));
}

TEST(AreaText, IsReadAndWritten)
{
    EXPECT_EQ(Area::Coils, areaFromText("0x"));
    EXPECT_EQ(Area::DiscreteInputs, areaFromText("1x"));
    EXPECT_EQ(Area::InputRegisters, areaFromText("3x"));
    EXPECT_EQ(Area::HoldingRegisters, areaFromText("4x"));
    EXPECT_FALSE(areaFromText("2x"));
    EXPECT_FALSE(areaFromText("4x_d"));
    EXPECT_EQ("3x", areaText(Area::InputRegisters));
}

// Diagnostics.

TEST_F(StationTest, EchoesDiagnosticDataOfAnyWholeWords)
{
    EXPECT_EQ(bytes("08 0000 5AC3"), execute("08 0000 5AC3"));
    EXPECT_EQ(bytes("08 0000 0102 0304"), execute("08 0000 0102 0304"));
}

TEST_F(StationTest, RefusesDiagnosticsOfWrongShape)
{
    EXPECT_EQ(bytes("88 03"), execute("08 00"));
    EXPECT_EQ(bytes("88 03"), execute("08 0000"));
    EXPECT_EQ(bytes("88 03"), execute("08 0000 01"));
    EXPECT_EQ(bytes("88 03"), execute("08 000B 0001"));
    EXPECT_EQ(bytes("88 03"), execute("08 000B 0000 0000"));
    EXPECT_EQ(bytes("88 03"), execute("08 0001 1234"));
}

TEST_F(StationTest, RefusesSubFunctionsThatItLacks)
{
    EXPECT_EQ(bytes("88 01"), execute("08 0003 0000"));
    EXPECT_EQ(bytes("88 01"), execute("08 0013 0000"));
    EXPECT_EQ(bytes("88 01"), execute("08 0015 0000"));
}

TEST_F(StationTest, ReportsItsDiagnosticRegisterAsZero)
{
    EXPECT_EQ(bytes("08 0002 0000"), execute("08 0002 0000"));
}

TEST_F(StationTest, CountsMessagesAndExceptions)
{
    execute("03 0000 0001");
    execute("03 FFFF 0002");
    execute("41");
    EXPECT_EQ(bytes("08 000E 0004"), execute("08 000E 0000"));
    EXPECT_EQ(bytes("08 000D 0002"), execute("08 000D 0000"));
}

TEST_F(StationTest, CountsBusyRefusalsOnTheirOwnToo)
{
    EXPECT_EQ(bytes("83 06"), station_.refuse(3, 6));
    EXPECT_EQ(bytes("08 0011 0001"), execute("08 0011 0000"));
    EXPECT_EQ(bytes("08 000D 0001"), execute("08 000D 0000"));
}

TEST_F(StationTest, ClearsItsCountersWhenAsked)
{
    execute("41");
    EXPECT_EQ(bytes("08 000A 0000"), execute("08 000A 0000"));
    EXPECT_EQ(bytes("08 000D 0000"), execute("08 000D 0000"));
    EXPECT_EQ(bytes("08 000E 0002"), execute("08 000E 0000"));
}

TEST_F(StationTest, ClearsOverrunsAlone)
{
    station_.diagnostics().overruns = 3;
    station_.diagnostics().busy = 2;
    EXPECT_EQ(bytes("08 0014 0000"), execute("08 0014 0000"));
    EXPECT_EQ(bytes("08 0012 0000"), execute("08 0012 0000"));
    EXPECT_EQ(bytes("08 0011 0002"), execute("08 0011 0000"));
}

TEST_F(StationTest, IsSilentInListenOnlyModeUntilItIsRestarted)
{
    EXPECT_EQ(Bytes(), execute("08 0004 0000"));
    EXPECT_EQ(Bytes(), execute("06 0000 0007"));
    EXPECT_EQ(Values({0}), stored(Area::HoldingRegisters, 0, 1));
    EXPECT_EQ(Bytes(), execute("08 0000 1234"));
    EXPECT_EQ(Bytes(), execute("08 0001 1234")) << "a restart with bad data is none";
    EXPECT_EQ(4, station_.diagnostics().unanswered);
    EXPECT_EQ(Bytes(), execute("08 0001 0000")) << "the restart itself is not answered";
    EXPECT_EQ(bytes("08 000F 0000"), execute("08 000F 0000"));
}

TEST_F(StationTest, AnswersARestartWhenItWasNotListeningOnly)
{
    execute("41");
    EXPECT_EQ(bytes("08 0001 FF00"), execute("08 0001 FF00"));
    EXPECT_EQ(0, station_.diagnostics().exceptions);
}

// Broadcasts.

TEST_F(StationTest, ExecutesEveryWriteFunctionOfABroadcast)
{
    station_.executeBroadcast(bytes("05 0001 FF00"));
    station_.executeBroadcast(bytes("06 0001 0001"));
    station_.executeBroadcast(bytes("0F 0008 0002 01 03"));
    station_.executeBroadcast(bytes("10 0002 0001 02 0002"));
    station_.executeBroadcast(bytes("16 0003 0000 0003"));
    EXPECT_EQ(Values({1}), stored(Area::Coils, 1, 1));
    EXPECT_EQ(Values({1, 1}), stored(Area::Coils, 8, 2));
    EXPECT_EQ(Values({1, 2, 3}), stored(Area::HoldingRegisters, 1, 3));
    EXPECT_EQ(5, station_.diagnostics().stationMessages);
    EXPECT_EQ(5, station_.diagnostics().unanswered);
    EXPECT_EQ(0, station_.diagnostics().exceptions);
}

TEST_F(StationTest, CountsBroadcastsThatCannotBeDoneAsExceptions)
{
    station_.executeBroadcast(bytes("03 0000 0001"));
    station_.executeBroadcast(bytes("08 0004 0000"));
    station_.executeBroadcast(bytes("41"));
    station_.executeBroadcast(bytes("06 0000"));
    EXPECT_EQ(4, station_.diagnostics().exceptions);
    EXPECT_FALSE(station_.diagnostics().listenOnly);
}

TEST_F(StationTest, IgnoresBroadcastsInListenOnlyMode)
{
    execute("08 0004 0000");
    station_.executeBroadcast(bytes("06 0001 0001"));
    EXPECT_EQ(Values({0}), stored(Area::HoldingRegisters, 1, 1));
}

// Moving items.

TEST_F(StationTest, MovesRegistersByTheirStepAndWraps)
{
    fill(Area::HoldingRegisters, 10, {65535, 5, 9});
    ASSERT_TRUE(station_.addMoving({Area::HoldingRegisters, 10, 2, 3}));
    station_.moveAll();
    EXPECT_EQ(Values({2, 8, 9}), stored(Area::HoldingRegisters, 10, 3));
}

TEST_F(StationTest, TogglesMovingBits)
{
    execute("05 0000 FF00");
    ASSERT_TRUE(station_.addMoving({Area::Coils, 0, 2, 1}));
    station_.moveAll();
    EXPECT_EQ(Values({0, 1}), stored(Area::Coils, 0, 2));
    station_.moveAll();
    EXPECT_EQ(Values({1, 0}), stored(Area::Coils, 0, 2));
}

TEST_F(StationTest, RefusesAMovingRangeThatLeavesTheArea)
{
    EXPECT_FALSE(station_.addMoving({Area::HoldingRegisters, 65535, 2, 1}));
    station_.moveAll();
    EXPECT_EQ(Values({0}), stored(Area::HoldingRegisters, 65535, 1));
}

} // namespace
