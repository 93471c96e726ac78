#include "runtime/line/miss.h"

#include <gtest/gtest.h>

#include "support/hex.h"

namespace {

using plc::runtime::add;
using plc::runtime::describe;
using plc::runtime::Miss;
using plc::runtime::MissedAttempts;
using plc::runtime::missOf;
using plc::runtime::modbusReplyShape;
using plc::runtime::relayReplyShape;
using plc::test::hex;
using plc::test::withCrc;
using plc::test::withSwappedCrc;

// A read of two holding registers at 100 of station 17, and its reply.
const QByteArray kRequest = hex("11 03 0064 0002 8744");
const QByteArray kReply = hex("11 03 04 1234 ABCD 11E1");
// A write of 0x1234 to register 100 of station 17.
const QByteArray kWrite = hex("11 06 0064 1234 C7F2");

std::string toldOf(const QByteArray &heard, const QByteArray &request = kRequest, bool crcHighFirst = false)
{
    return describe(missOf(heard, modbusReplyShape(request, crcHighFirst, true), request));
}

TEST(MissedReply, OfSilenceIsNothingHeard)
{
    EXPECT_EQ("nothing heard", toldOf(QByteArray()));
}

TEST(MissedReply, ShowsBytesThatAreNoFrame)
{
    EXPECT_EQ("1 byte, but no frame (00)", toldOf(hex("00")));
    EXPECT_EQ("5 bytes, but no frame (FE 3C 80 FE 00)", toldOf(hex("FE 3C 80 FE 00")));
    EXPECT_EQ("17 bytes, but no frame (55 55 55 55 55 55 55 55 55 55 55 55 55 55 55 55 ...)",
              toldOf(QByteArray(17, '\x55')));
    EXPECT_EQ("8 bytes, but no frame (11 03 04 12 34 AB CD 11)", toldOf(kReply.left(8))) << "cut off";
}

TEST(MissedReply, OfAnotherStationNamesBoth)
{
    EXPECT_EQ("a good frame of station 2, where station 17 was asked", toldOf(withCrc("02 03 04 1234 ABCD")));
    EXPECT_EQ("a good frame of station 2, where station 17 was asked", toldOf(withCrc("02 83 02")));
    EXPECT_EQ("a good frame of station 2, where station 17 was asked",
              toldOf(withCrc("02 06 0064 1234"), kWrite))
        << "the station has another number than is asked";
}

TEST(MissedReply, OfAnotherStationIsNoneWithTheCrcOfOtherLines)
{
    EXPECT_EQ("9 bytes, but no frame (02 03 04 12 34 AB CD 33 20)",
              toldOf(withCrc("02 03 04 1234 ABCD"), kRequest, true));
}

TEST(MissedReply, ToAnotherRequestSaysWhatDiffers)
{
    EXPECT_EQ("a good reply to function 4, where function 3 was asked for",
              toldOf(withCrc("11 04 04 1234 ABCD")));
    EXPECT_EQ("a good reply of 11 bytes, where 9 were due: the answer to another request",
              toldOf(withCrc("11 03 06 1234 ABCD 0000")));
    EXPECT_EQ("a good reply that repeats another address or value (11 06 00 65 12 34 96 32): the answer to "
              "another request",
              toldOf(withCrc("11 06 0065 1234"), kWrite));
}

TEST(MissedReply, WithAWrongCrcIsShown)
{
    EXPECT_EQ("the reply with a wrong CRC (11 03 04 12 35 AB CD 11 E1)",
              toldOf(hex("11 03 04 1235 ABCD 11E1")));
    EXPECT_EQ("the reply with a wrong CRC (11 03 04 12 35 AB CD 11 E1)",
              toldOf(hex("00 11 03 04 1235 ABCD 11E1")))
        << "behind noise";
}

TEST(MissedReply, WithItsCrcTheOtherWayRoundSaysWhichWay)
{
    EXPECT_EQ("the reply with its CRC high byte first (11 03 04 12 34 AB CD E1 11)",
              toldOf(withSwappedCrc("11 03 04 1234 ABCD")));
    EXPECT_EQ("the reply with its CRC high byte first (11 83 02 34 C1)", toldOf(withSwappedCrc("11 83 02")));
    EXPECT_EQ("the reply with its CRC low byte first (11 03 04 12 34 AB CD 11 E1)",
              toldOf(kReply, kRequest, true));
}

TEST(MissedReply, ThatIsTheRequestItselfIsAnEcho)
{
    EXPECT_EQ("nothing but the request itself", toldOf(kRequest));
    EXPECT_EQ("the reply with a wrong CRC (11 03 04 12 35 AB CD 11 E1), behind the request itself",
              toldOf(kRequest + hex("11 03 04 1235 ABCD 11E1")));
}

TEST(MissedReply, NamesWhomASecondMasterAsks)
{
    EXPECT_EQ("a second master asks station 4", toldOf(withCrc("04 03 0000 000A")));
    EXPECT_EQ("a second master asks station 4", toldOf(withCrc("04 03 0000 0001") + withCrc("04 03 02 0007")))
        << "its reply belongs to it";
    EXPECT_EQ("a second master asks station 4",
              toldOf(withCrc("04 06 0000 0001") + withCrc("04 06 0000 0001")))
        << "a write comes twice, as request and as reply";
    EXPECT_EQ("a second master asks station 17", toldOf(withCrc("11 03 0000 000A")));
}

TEST(MissedReply, TellsWhatSaysMost)
{
    EXPECT_EQ("a good frame of station 2, where station 17 was asked",
              toldOf(hex("00 FF") + withCrc("02 03 04 1234 ABCD") + hex("FF")));
}

TEST(MissedReply, ToARelayFrameIsToldAsFarAsItsFrameTells)
{
    const QByteArray frame =
        hex("AA 00 00 00 11 00 05 00000064 0001 0000 0000 0000 0000 00"); // a read of one register
    const auto told = [&frame](const QByteArray &heard) {
        return describe(missOf(heard, relayReplyShape(frame, 7, false, true), frame));
    };
    EXPECT_EQ("nothing heard", told(QByteArray()));
    EXPECT_EQ("2 bytes, but no frame (55 55)", told(hex("55 55")));
    EXPECT_EQ("a good frame of station 2, where station 17 was asked", told(withCrc("02 03 02 0001")));
}

TEST(MissedAttempts, ThatEndedAlikeAreToldOnce)
{
    std::vector<MissedAttempts> missed;
    Miss silence;
    silence.kind = Miss::Kind::NothingHeard;
    Miss other;
    other.kind = Miss::Kind::OtherMaster;
    other.station = 4;
    add(silence, 1, &missed);
    add(silence, 2, &missed);
    EXPECT_EQ("nothing heard", describe(missed));
    add(other, 3, &missed);
    EXPECT_EQ("attempts 1 and 2: nothing heard; attempt 3: a second master asks station 4", describe(missed));
    add(Miss(), 4, &missed);
    EXPECT_EQ(2u, missed.size()) << "a good one is none";
}

TEST(MissedAttempts, AreBoundedAndEndWithTheLast)
{
    std::vector<MissedAttempts> missed;
    Miss other;
    other.kind = Miss::Kind::OtherMaster;
    for (int attempt = 1; attempt <= 100; ++attempt) {
        other.station = attempt;
        add(other, attempt, &missed);
    }
    EXPECT_EQ(
        "attempt 1: a second master asks station 1; attempt 2: a second master asks station 2; attempt 3: "
        "a second master asks station 3; attempt 100: a second master asks station 100",
        describe(missed));
}

} // namespace
