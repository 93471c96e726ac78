#include "host/finding/scan_replies.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace plc::host {
namespace {

using namespace std::chrono_literals; // NOLINT(google-build-using-namespace)
using testing::ElementsAre;
using testing::IsEmpty;

QByteArray bytes(const char *hex)
{
    return QByteArray::fromHex(hex);
}

/// To requests for one holding register.
class ScanRepliesTest : public testing::Test
{
protected:
    /// "5" for a value of station 5, "5!2" for its exception 2.
    std::vector<std::string> take(const char *hex)
    {
        std::vector<std::string> words;
        for (const ScanReply &reply : replies.take(bytes(hex), 100ms, 1ms))
            words.push_back(std::to_string(reply.station) +
                            (reply.exceptionCode != 0 ? "!" + std::to_string(reply.exceptionCode) : ""));
        return words;
    }

    ScanReplies replies{3, 2};
};

TEST_F(ScanRepliesTest, AreValuesAndExceptionsOfAnyStation)
{
    EXPECT_THAT(take("050302123444f3"), ElementsAre("5"));
    EXPECT_THAT(take("0583028130"), ElementsAre("5!2"));
    EXPECT_THAT(take("06030200074c460583028130"), ElementsAre("6", "5!2"));
    EXPECT_FALSE(replies.isHolding());
    EXPECT_EQ(0, replies.drop().count);
}

TEST_F(ScanRepliesTest, MayComeInPiecesAndBehindNoise)
{
    EXPECT_THAT(take("00ff0503"), IsEmpty());
    EXPECT_THAT(take("021234"), IsEmpty());
    EXPECT_TRUE(replies.isHolding());
    EXPECT_THAT(take("44f3"), ElementsAre("5"));
    EXPECT_EQ(bytes("00ff"), replies.drop().bytes);
}

TEST_F(ScanRepliesTest, BeganBeforeTheirBytesCame)
{
    const std::vector<ScanReply> found = replies.take(bytes("050302123444f3"), 100ms, 1ms);
    ASSERT_EQ(1u, found.size());
    EXPECT_EQ(93ms, found.front().from);
}

TEST_F(ScanRepliesTest, AreNoFramesOfAnotherLengthOrOfNobody)
{
    EXPECT_THAT(take("050304010203041efc"), IsEmpty()); // two registers
    EXPECT_THAT(take("000302010205d5"), IsEmpty());     // of station 0
    EXPECT_THAT(take("050302123444f2"), IsEmpty());     // a wrong CRC
    EXPECT_EQ(23, replies.drop().count);
}

TEST_F(ScanRepliesTest, AreNoEchoesHoweverLateTheseCome)
{
    replies.sent(bytes("050300000001858e"));
    for (int i = 0; i < 10; ++i)
        replies.sent(bytes("06030000000185bd"));
    EXPECT_THAT(take("050300000001858e"), IsEmpty());
    EXPECT_TRUE(replies.hasEcho());
    EXPECT_FALSE(replies.isHolding());
    EXPECT_EQ(0, replies.drop().count);
}

/// The first seven bytes of this request are a good reply.
TEST_F(ScanRepliesTest, AreNoEchoesThatAreRepliesAsWell)
{
    replies.sent(bytes("5303020000018800"));
    EXPECT_THAT(take("53030200000188"), IsEmpty());
    EXPECT_THAT(take("00"), IsEmpty());
    EXPECT_TRUE(replies.hasEcho());
    ScanReplies others{3, 2};
    EXPECT_EQ(1u, others.take(bytes("53030200000188"), 1s, 1ms).size());
}

TEST_F(ScanRepliesTest, HoldBackNoMoreThanALittleOfABabble)
{
    EXPECT_THAT(replies.take(QByteArray(5000, 'x'), 1s, 1us), IsEmpty());
    const ScanRubbish rubbish = replies.drop();
    EXPECT_EQ(5000, rubbish.count);
    EXPECT_EQ(32, rubbish.bytes.size());
    EXPECT_EQ(1s - 5000us, rubbish.from);
}

} // namespace
} // namespace plc::host
