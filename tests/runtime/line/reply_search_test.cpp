#include "runtime/line/reply_search.h"

#include <gtest/gtest.h>

#include "support/hex.h"

namespace {

using plc::runtime::findReply;
using plc::runtime::Found;
using plc::runtime::modbusReplyShape;
using plc::runtime::relayReplyShape;
using plc::runtime::ReplyShape;
using plc::runtime::Sighting;
using plc::test::hex;
using plc::test::withCrc;
using plc::test::withSwappedCrc;

// A read of two holding registers at 100 of station 17, and its reply.
const QByteArray kRequest = hex("11 03 0064 0002 8744");
const QByteArray kReply = hex("11 03 04 1234 ABCD 11E1");

Sighting look(const QByteArray &bytes, bool lookPastBeginnings = false)
{
    return findReply(bytes, modbusReplyShape(kRequest, false, true), lookPastBeginnings);
}

TEST(HostCrc, AgreesWithTheBitwiseWitness)
{
    for (const char *text : {"", "00", "0207", "11 03 0064 0002", "FF FF FF FF 00"}) {
        const QByteArray bytes = hex(text);
        EXPECT_EQ(plc::test::witnessCrc(bytes), plc::runtime::crcOf(bytes.constData(), bytes.size())) << text;
    }
    EXPECT_EQ(0x1241, plc::runtime::crcOf("\x02\x07", 2));
}

TEST(DamagedReply, HasEverythingOfTheReplyButItsCrc)
{
    const ReplyShape shape = modbusReplyShape(kRequest, false, true);
    const auto isDamaged = [&shape](const char *text) {
        return plc::runtime::endWithDamagedReply(hex(text), shape);
    };
    EXPECT_TRUE(isDamaged("11 03 04 1235 ABCD 11E1"));
    EXPECT_TRUE(isDamaged("11 03 04 1234 ABCD E111"));
    EXPECT_TRUE(isDamaged("55 00 11 03 04 1235 ABCD 11E1")) << "behind noise";
    EXPECT_FALSE(isDamaged("11 03 04 1234 ABCD 11E1")) << "it is good";
    EXPECT_FALSE(isDamaged("11 03 04 1235 ABCD 11")) << "it is not complete";
    EXPECT_FALSE(isDamaged("11 03 04 1235 ABCD 11E1 55")) << "something follows";
    EXPECT_FALSE(isDamaged("12 03 04 1235 ABCD 11E1")) << "another station";
    EXPECT_FALSE(isDamaged("11 04 04 1235 ABCD 11E1")) << "another function";
    EXPECT_FALSE(isDamaged("11 03 05 1235 ABCD 11E1")) << "another byte count";
    EXPECT_FALSE(isDamaged(""));
    EXPECT_FALSE(plc::runtime::endWithDamagedReply(hex("11 03 04 1235 ABCD 11E1"), ReplyShape()));
}

TEST(DamagedReply, OfAWriteRepeatsWhatWasWritten)
{
    const ReplyShape shape = modbusReplyShape(hex("11 06 0064 1234 C7F2"), false, true);
    EXPECT_TRUE(plc::runtime::endWithDamagedReply(hex("11 06 0064 1234 C7F3"), shape));
    EXPECT_FALSE(plc::runtime::endWithDamagedReply(hex("11 06 0064 1235 C7F2"), shape));
    EXPECT_FALSE(plc::runtime::endWithDamagedReply(hex("11 06 0064 1234 C7F2"), shape));
}

TEST(DamagedReply, ToARelayFrameMayHaveAnyNormalFunction)
{
    ReplyShape shape;
    shape.station = 0x11;
    shape.length = 9;
    shape.isRead = true;
    EXPECT_TRUE(plc::runtime::endWithDamagedReply(hex("11 03 04 1235 ABCD 11E1"), shape));
    EXPECT_FALSE(plc::runtime::endWithDamagedReply(hex("11 83 04 1235 ABCD 11E1"), shape));
}

struct Length
{
    const char *name;
    const char *request;
    int reply;
};

void PrintTo(const Length &length, std::ostream *out)
{
    *out << length.request;
}

class ReplyLengths : public ::testing::TestWithParam<Length>
{};

TEST_P(ReplyLengths, FollowTheRequest)
{
    EXPECT_EQ(GetParam().reply, modbusReplyShape(hex(GetParam().request), false, true).length);
}

INSTANTIATE_TEST_SUITE_P(Functions, ReplyLengths,
                         ::testing::Values(Length{"ThirteenCoils", "11 01 0020 000D FE95", 7},
                                           Length{"EightCoils", "11 01 0020 0008 3E96", 6},
                                           Length{"NineInputs", "11 02 0040 0009 BB48", 7},
                                           Length{"TwoHoldingRegisters", "11 03 0064 0002 8744", 9},
                                           Length{"OneInputRegister", "11 04 0007 0001 829B", 7},
                                           Length{"HundredRegisters", "11 03 0000 0064 0000", 205},
                                           Length{"OneCoilWritten", "11 05 0013 FF00 7F6F", 8},
                                           Length{"OneRegisterWritten", "11 06 0064 1234 C7F2", 8},
                                           Length{"CoilsWritten", "11 0F 0013 000A 02 A503 110A", 8},
                                           Length{"RegistersWritten", "11 10 0064 0002 04 1234 ABCD 5AA7", 8},
                                           Length{"UnknownFunction", "11 08 0000 5AC3 986A", 0},
                                           Length{"TooShort", "11 03 00", 0}),
                         [](const auto &test) { return test.param.name; });

TEST(FindReply, FindsTheReplyAlone)
{
    const Sighting seen = look(kReply);
    EXPECT_EQ(Found::Reply, seen.found);
    EXPECT_EQ(0, seen.at);
    EXPECT_EQ(9, seen.length);
}

TEST(FindReply, SeesABeginningInEveryPartOfTheReply)
{
    for (int length = 1; length < kReply.size(); ++length)
        EXPECT_EQ(Found::Beginning, look(kReply.left(length)).found) << length;
    EXPECT_EQ(Found::Nothing, look(QByteArray()).found);
}

TEST(FindReply, FindsTheReplyBetweenNoise)
{
    const Sighting seen = look(hex("00 FF") + kReply + hex("AA"));
    EXPECT_EQ(Found::Reply, seen.found);
    EXPECT_EQ(2, seen.at);
    EXPECT_EQ(9, seen.length);
}

TEST(FindReply, TakesTheFirstOfTwoReplies)
{
    EXPECT_EQ(0, look(kReply + kReply).at);
}

TEST(FindReply, CallsAReplyOfAnotherByteCountWrong)
{
    const Sighting seen = look(withCrc("11 03 02 1234"));
    EXPECT_EQ(Found::WrongReply, seen.found);
    EXPECT_EQ(7, seen.length);
    EXPECT_EQ(Found::WrongReply, look(withCrc("11 03 06 1234 5678 9ABC")).found);
}

TEST(FindReply, DoesNotWaitForTheRestOfAReplyOfAnotherByteCount)
{
    EXPECT_EQ(Found::Nothing, look(hex("11 03 06 1234")).found);
    EXPECT_EQ(Found::Exception, look(hex("11 03 06") + hex("11 83 02 C134")).found);
}

TEST(FindReply, PassesOverABadCrc)
{
    QByteArray damaged = kReply;
    damaged[4] = static_cast<char>(damaged[4] ^ 0x03);
    EXPECT_EQ(Found::Nothing, look(damaged).found);
    EXPECT_EQ(9, look(damaged + kReply).at);
}

TEST(FindReply, PassesOverAnotherStationAndAnotherFunction)
{
    EXPECT_EQ(Found::Nothing, look(withCrc("12 03 04 1234 ABCD")).found);
    EXPECT_EQ(Found::Nothing, look(withCrc("11 04 04 1234 ABCD")).found);
}

TEST(FindReply, SeesAnExceptionAndItsCode)
{
    const Sighting seen = look(hex("00") + hex("11 83 02 C134"));
    EXPECT_EQ(Found::Exception, seen.found);
    EXPECT_EQ(1, seen.at);
    EXPECT_EQ(5, seen.length);
    EXPECT_EQ(2, seen.exceptionCode);
}

TEST(FindReply, WantsAnExceptionToHaveAGoodCrcAndToConcernThisFunction)
{
    EXPECT_EQ(Found::Nothing, look(hex("11 83 02 C135")).found);
    EXPECT_EQ(Found::Nothing, look(withCrc("11 84 02")).found);
    EXPECT_EQ(Found::Nothing, look(withCrc("12 83 02")).found);
}

TEST(FindReply, TakesNothingInsideAReplyThatHasBegun)
{
    // Registers may hold what looks like an exception or like a shorter reply.
    const QByteArray request = withCrc("11 03 0000 0005");
    const ReplyShape shape = modbusReplyShape(request, false, true);
    const QByteArray reply = withCrc("11 03 0A 0000 1183 02C1 3400 0000");
    EXPECT_EQ(Found::Beginning, findReply(reply.left(12), shape, false).found);
    EXPECT_EQ(Found::Reply, findReply(reply, shape, false).found);
    EXPECT_EQ(Found::Exception, findReply(reply.left(12), shape, true).found);
}

TEST(FindReply, KeepsTheBeginningInMindWhenNothingStandsBehindIt)
{
    EXPECT_EQ(Found::Beginning, look(kReply.left(6), true).found);
}

TEST(FindReply, WantsAWriteReplyToRepeatAddressAndValue)
{
    const ReplyShape strict = modbusReplyShape(hex("11 06 0064 1234 C7F2"), false, true);
    EXPECT_EQ(Found::Reply, findReply(hex("11 06 0064 1234 C7F2"), strict, false).found);
    EXPECT_EQ(Found::WrongReply, findReply(withCrc("11 06 0065 1234"), strict, false).found);
    EXPECT_EQ(Found::WrongReply, findReply(withCrc("11 06 0064 1235"), strict, false).found);
}

TEST(FindReply, LetsOddDevicesRepeatSomethingElseWhenTold)
{
    const ReplyShape lenient = modbusReplyShape(hex("11 06 0064 1234 C7F2"), false, false);
    EXPECT_EQ(Found::Reply, findReply(withCrc("11 06 0000 0000"), lenient, false).found);
}

TEST(FindReply, WantsABlockWriteToRepeatAddressAndQuantityOnly)
{
    const ReplyShape strict = modbusReplyShape(hex("11 10 0064 0002 04 1234 ABCD 5AA7"), false, true);
    EXPECT_EQ(Found::Reply, findReply(hex("11 10 0064 0002 0287"), strict, false).found);
    EXPECT_EQ(Found::WrongReply, findReply(withCrc("11 10 0064 0001"), strict, false).found);
}

TEST(FindReply, ReadsASwappedCrcWhenToldSo)
{
    const ReplyShape swapped = modbusReplyShape(kRequest, true, true);
    EXPECT_EQ(Found::Reply, findReply(withSwappedCrc("11 03 04 1234 ABCD"), swapped, false).found);
    EXPECT_EQ(Found::Nothing, findReply(kReply, swapped, false).found);
    EXPECT_EQ(Found::Exception, findReply(withSwappedCrc("11 83 02"), swapped, false).found);
}

TEST(FindReply, FindsNothingForAFunctionThatItDoesNotKnow)
{
    const ReplyShape shape = modbusReplyShape(hex("11 08 0000 5AC3 986A"), false, true);
    EXPECT_EQ(Found::Nothing, findReply(hex("11 08 0000 5AC3 986A"), shape, false).found);
}

// A relay frame that reads 10 coils at 256 of station 7, and one that writes two registers at 100.
const QByteArray kRelayRead = hex("16 01 00 02 07 0000 00000100 000A 0000000000000000 2B");
const QByteArray kRelayWrite = hex("1A 05 01 02 07 0005 00000064 0002 0000000000000000 12345678 A8");

TEST(FindRelayReply, FindsAReadReplyOfTheStationInsideTheFrame)
{
    const ReplyShape shape = relayReplyShape(kRelayRead, 7, false, true);
    EXPECT_EQ(Found::Reply, findReply(hex("FF") + withCrc("07 01 02 A503"), shape, false).found);
    EXPECT_EQ(Found::Nothing, findReply(withCrc("02 01 02 A503"), shape, false).found);
    EXPECT_EQ(Found::WrongReply, findReply(withCrc("07 01 01 A5"), shape, false).found);
}

TEST(FindRelayReply, FindsAWriteReply)
{
    const ReplyShape shape = relayReplyShape(kRelayWrite, 8, false, true);
    EXPECT_EQ(Found::Reply, findReply(withCrc("07 10 0064 0002"), shape, false).found);
}

TEST(FindRelayReply, RefusesAWriteReplyThatRepeatsSomethingElse)
{
    const ReplyShape block = relayReplyShape(kRelayWrite, 8, false, true);
    EXPECT_EQ(Found::WrongReply, findReply(withCrc("07 10 0065 0002"), block, false).found);
    EXPECT_EQ(Found::WrongReply, findReply(withCrc("07 10 0064 0003"), block, false).found);
    const ReplyShape tolerant = relayReplyShape(kRelayWrite, 8, false, false);
    EXPECT_EQ(Found::Reply, findReply(withCrc("07 10 0065 0003"), tolerant, false).found);
}

struct RelayEcho
{
    const char *frame; ///< without its sum, which is not looked at
    const char *good;
    const char *wrong;
};

void PrintTo(const RelayEcho &echo, std::ostream *out)
{
    *out << echo.frame;
}

class RelayWrites : public ::testing::TestWithParam<RelayEcho>
{};

TEST_P(RelayWrites, AreRepeatedInModbusForm)
{
    const ReplyShape shape = relayReplyShape(hex(GetParam().frame), 8, false, true);
    EXPECT_EQ(Found::Reply, findReply(withCrc(GetParam().good), shape, false).found);
    EXPECT_EQ(Found::WrongReply, findReply(withCrc(GetParam().wrong), shape, false).found);
}

// One register at 100, as a single write and as a block of one; a coil at 100 on and off; three coils; bit 3
// of register 100, whose new value the frame does not tell; a pair of registers.
INSTANTIATE_TEST_SUITE_P(
    Types, RelayWrites,
    ::testing::Values(RelayEcho{"18 05 01 02 07 0005 00000064 0001 0000000000000000 3412 00",
                                "07 06 0064 1234", "07 06 0064 1235"},
                      RelayEcho{"18 05 01 02 07 0009 00000064 0001 0000000000000000 3412 00",
                                "07 10 0064 0001", "07 10 0064 0002"},
                      RelayEcho{"17 05 01 02 07 0000 00000064 0001 0000000000000000 01 00", "07 05 0064 FF00",
                                "07 05 0064 0000"},
                      RelayEcho{"17 05 01 02 07 0000 00000064 0001 0000000000000000 00 00", "07 05 0064 0000",
                                "07 05 0064 FF00"},
                      RelayEcho{"17 05 01 02 07 0000 00000064 0003 0000000000000000 05 00", "07 0F 0064 0003",
                                "07 0F 0064 0004"},
                      RelayEcho{"17 05 01 02 07 0003 00000643 0001 0000000000000000 01 00", "07 06 0064 ABCD",
                                "07 06 0065 ABCD"},
                      RelayEcho{"1A 05 01 02 07 0007 00000064 0001 0000000000000000 12345678 00",
                                "07 10 0064 0002", "07 10 0064 0001"}),
    [](const auto &test) { return "Row" + std::to_string(test.index); });

TEST(FindRelayReply, FindsAnExceptionToAnyFunction)
{
    const Sighting seen = findReply(withCrc("07 90 02"), relayReplyShape(kRelayWrite, 8, false, true), false);
    EXPECT_EQ(Found::Exception, seen.found);
    EXPECT_EQ(2, seen.exceptionCode);
}

TEST(FindRelayReply, FindsNothingForAFrameThatIsNoRelayFrame)
{
    EXPECT_EQ(0, relayReplyShape(hex("16 01 00"), 7, false, true).length);
}

} // namespace
