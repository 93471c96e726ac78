#include "host/capture/heard_line.h"

#include <gtest/gtest.h>

#include "support/hex.h"

namespace {

using namespace plc::host;
using plc::test::withCrc;
using std::chrono::milliseconds;

/// A line whose characters take 1 ms.
class HeardLineTest : public ::testing::Test
{
protected:
    Heard add(const char *content, FrameRole role, Time end, PieceKind kind = PieceKind::Frame)
    {
        HeardFrame frame;
        frame.kind = kind;
        frame.role = role;
        frame.bytes = withCrc(content);
        frame.station = static_cast<unsigned char>(frame.bytes.at(0));
        frame.function = static_cast<unsigned char>(frame.bytes.at(1)) & 0x7F;
        if ((frame.bytes.at(1) & 0x80) != 0)
            frame.exceptionCode = frame.bytes.at(2);
        frame.end = end;
        return line_.add(frame);
    }
    Heard request(const char *content, Time end) { return add(content, FrameRole::Request, end); }
    Heard reply(const char *content, Time end) { return add(content, FrameRole::Reply, end); }

    HeardLine line_{milliseconds(1)};
};

TEST_F(HeardLineTest, ReplyTimeGoesFromTheEndOfTheRequestToTheBeginningOfTheReply)
{
    request("11 03 0064 0002", milliseconds(108));
    const Heard heard = reply("11 03 04 1234 ABCD", milliseconds(137)); // 9 characters: begins at 128
    EXPECT_EQ(Heard::Kind::Answer, heard.kind);
    EXPECT_EQ(milliseconds(20), heard.replyTime);
    EXPECT_EQ(withCrc("11 03 0064 0002"), heard.request);
    EXPECT_EQ(1u, line_.stations().at(17).requests);
    EXPECT_EQ(1u, line_.stations().at(17).replies);
    EXPECT_EQ(milliseconds(20), line_.stations().at(17).replyTimes.most());
}

TEST_F(HeardLineTest, ReplyThatCameTogetherWithItsRequestTookNoTime)
{
    request("11 03 0064 0002", milliseconds(108));
    EXPECT_EQ(Time::zero(), reply("11 03 04 1234 ABCD", milliseconds(108)).replyTime);
}

TEST_F(HeardLineTest, TimesThatGoBackwardsTakeNoTime)
{
    const std::chrono::nanoseconds latest(INT64_MAX / 2);
    request("11 03 0064 0002", Time::zero());
    request("11 03 0064 0002", latest);
    EXPECT_EQ(latest + milliseconds(8), line_.duration());
    EXPECT_EQ(Time::zero(), reply("11 03 04 1234 ABCD", Time::zero()).replyTime);
    request("11 03 0064 0002", Time::zero());
    request("11 03 0064 0003", Time::zero());
    EXPECT_EQ(latest + milliseconds(8), line_.duration());
    EXPECT_EQ(Time::zero(), line_.stations().at(17).replyTimes.least());
    EXPECT_EQ(Time::zero(), line_.pauses().least());
    EXPECT_EQ(Time::zero(), line_.vainWaits().least());
}

TEST_F(HeardLineTest, ExceptionIsAnAnswerAndCountsByItsCode)
{
    request("11 03 0064 0002", milliseconds(108));
    EXPECT_EQ(Heard::Kind::Answer,
              add("11 83 02", FrameRole::Reply, milliseconds(120), PieceKind::Exception).kind);
    const HeardStation &station = line_.stations().at(17);
    EXPECT_EQ(0u, station.replies);
    EXPECT_EQ(1u, station.exceptions);
    EXPECT_EQ(1u, station.exceptionsByCode.at(2));
    EXPECT_EQ(0u, station.unanswered);
}

TEST_F(HeardLineTest, RequestBehindARequestSaysThatNobodyAnswered)
{
    request("11 03 0064 0002", milliseconds(108));
    EXPECT_EQ(Heard::Kind::Repeat, request("11 03 0064 0002", milliseconds(1116)).kind);
    EXPECT_EQ(Heard::Kind::Request, request("12 03 0064 0002", milliseconds(2124)).kind);
    EXPECT_EQ(2u, line_.stations().at(17).unanswered);
    EXPECT_EQ(1u, line_.stations().at(17).repeats);
    EXPECT_EQ(0u, line_.stations().at(18).unanswered) << "the answer may still come";
    EXPECT_EQ(2u, line_.vainWaits().count());
    EXPECT_EQ(milliseconds(1000), line_.vainWaits().most());
    EXPECT_EQ(0u, line_.pauses().count());
}

TEST_F(HeardLineTest, PauseOfTheMasterGoesFromTheAnswerToTheNextRequest)
{
    request("11 03 0064 0002", milliseconds(108));
    reply("11 03 04 1234 ABCD", milliseconds(137));
    request("11 03 0064 0002", milliseconds(150));
    EXPECT_EQ(1u, line_.pauses().count());
    EXPECT_EQ(milliseconds(5), line_.pauses().most());
}

TEST_F(HeardLineTest, NobodyOwesAnAnswerToABroadcast)
{
    EXPECT_EQ(Heard::Kind::Broadcast, request("00 06 0001 0002", milliseconds(8)).kind);
    request("11 03 0064 0002", milliseconds(108));
    EXPECT_EQ(1u, line_.broadcasts());
    EXPECT_EQ(0u, line_.vainWaits().count());
    EXPECT_EQ(1u, line_.stations().size());
}

TEST_F(HeardLineTest, ReplyOfAnotherStationOrFunctionIsUnasked)
{
    request("11 03 0064 0002", milliseconds(108));
    EXPECT_EQ(Heard::Kind::Unasked, reply("12 03 04 1234 ABCD", milliseconds(137)).kind);
    EXPECT_EQ(Heard::Kind::Unasked, reply("11 04 04 1234 ABCD", milliseconds(167)).kind);
    EXPECT_EQ(Heard::Kind::Answer, reply("11 03 04 1234 ABCD", milliseconds(197)).kind);
    EXPECT_EQ(Heard::Kind::Unasked, reply("11 03 04 1234 ABCD", milliseconds(217)).kind) << "only once";
    EXPECT_EQ(1u, line_.stations().at(18).unasked);
    EXPECT_EQ(2u, line_.stations().at(17).unasked);
}

TEST_F(HeardLineTest, DamagedReplyIsThatOfTheStationThatWasAsked)
{
    request("11 03 0064 0002", milliseconds(108));
    EXPECT_EQ(Heard::Kind::Damaged,
              add("91 03 04 1234 ABCD", FrameRole::Reply, milliseconds(137), PieceKind::Damaged).kind);
    request("11 03 0064 0002", milliseconds(250));
    EXPECT_EQ(1u, line_.stations().at(17).damaged);
    EXPECT_EQ(0u, line_.stations().at(17).unanswered);
    EXPECT_EQ(1u, line_.damaged());
    EXPECT_EQ(2u, line_.frames());
}

TEST_F(HeardLineTest, ShareIsThatOfAllCharactersFromTheFirstToTheLast)
{
    EXPECT_EQ(std::nullopt, line_.lineShare());
    request("11 03 0064 0002", milliseconds(108));                     // 100 to 108
    add("AA", FrameRole::Either, milliseconds(140), PieceKind::Noise); // with its CRC 3 characters
    EXPECT_EQ(milliseconds(40), line_.duration());
    EXPECT_DOUBLE_EQ(11.0 / 40.0, *line_.lineShare());
    EXPECT_EQ(3u, line_.noiseBytes());
    EXPECT_EQ(std::nullopt, HeardLine(Time::zero()).lineShare()) << "a pseudo-terminal has no rate";
}

} // namespace
