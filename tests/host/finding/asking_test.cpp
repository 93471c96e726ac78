#include "host/finding/asking.h"

#include <gmock/gmock.h>

#include <chrono>
#include <utility>

#include "host/finding/reading.h"
#include "host/virtual_port.h"
#include "support/hex.h"

namespace {

using namespace plc;
using namespace plc::host;
using namespace std::chrono_literals;
QByteArray fromHex(const char *text)
{
    return plc::test::hex(text);
}

using Kind = Asking::Step::Kind;

constexpr Time kStart = 1s;

/// A line at 19200 baud, where a character takes 573 us and the silence is 2.006 ms.
class AskingTest : public ::testing::Test
{
protected:
    void begin(const char *request, int retries = 0)
    {
        Question question;
        question.frame = fromHex(request);
        question.retries = retries;
        asking.begin(question, now);
        send();
    }

    void send()
    {
        Asking::Step step = asking.step(now);
        while (step.kind == Kind::Listen) {
            now = step.until;
            step = asking.step(now);
        }
        ASSERT_EQ(Kind::Send, step.kind);
        asking.sent(now, now);
        now += 8 * 573us;
    }

    void hear(const char *bytes, Time after = 5ms)
    {
        now += after;
        asking.heard(fromHex(bytes), now);
    }

    /// Lets time pass until there is something to send, or an answer.
    Kind await()
    {
        for (;;) {
            const Asking::Step step = asking.step(now);
            if (step.kind != Kind::Listen)
                return step.kind;
            now = step.until;
        }
    }

    Time now = kStart;
    AskingSettings settings = test::askingAt(19200);
    Asking asking{settings};
};

constexpr char kRead[] = "11 03 00 64 00 02 87 44";
constexpr char kReply[] = "11 03 04 12 34 AB CD 11 E1";

TEST_F(AskingTest, TakesTheReplyAsSoonAsItIsWhole)
{
    begin(kRead);
    hear("11 03 04 12 34");
    EXPECT_EQ(Kind::Listen, asking.step(now).kind);
    hear("AB CD 11 E1", 2ms);
    ASSERT_EQ(Kind::Over, asking.step(now).kind);
    EXPECT_EQ(AnswerKind::Reply, asking.answer().kind);
    EXPECT_EQ(fromHex("12 34 AB CD"), asking.answer().data());
    EXPECT_EQ(1, asking.answer().attempts);
}

TEST_F(AskingTest, CountsTheReplyTimeFromTheLastStopBitToTheFirstBit)
{
    begin(kRead);
    hear(kReply, 15ms + 9 * settings.character);
    ASSERT_EQ(Kind::Over, asking.step(now).kind);
    EXPECT_LE(14980us, asking.answer().replyTime);
    EXPECT_GE(15020us, asking.answer().replyTime);
}

TEST_F(AskingTest, KeepsTheSilenceOfTheLineAndALongerPause)
{
    begin(kRead);
    hear(kReply);
    Question question;
    question.frame = fromHex(kRead);
    asking.begin(question, now);
    EXPECT_EQ(now + runtime::LineTiming(19200).silence(), asking.step(now).until);
    question.pause = 30ms;
    asking.begin(question, now);
    EXPECT_EQ(now + 30ms, asking.step(now).until);
    EXPECT_EQ(Kind::Send, asking.step(now + 30ms).kind);
}

TEST_F(AskingTest, TakesAnExceptionForAnAnswer)
{
    begin(kRead);
    hear("11 83 02 C1 34");
    ASSERT_EQ(Kind::Over, asking.step(now).kind);
    EXPECT_EQ(AnswerKind::Exception, asking.answer().kind);
    EXPECT_EQ("exception 02 illegal data address", describe(asking.answer()));
}

TEST_F(AskingTest, AsksAgainAsOftenAsItShall)
{
    begin(kRead, 2);
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(Kind::Send, await());
        send();
    }
    EXPECT_EQ(Kind::Over, await());
    EXPECT_EQ(AnswerKind::Nothing, asking.answer().kind);
    EXPECT_EQ(3, asking.answer().attempts);
    EXPECT_EQ("nothing heard", describe(asking.answer()));
}

TEST_F(AskingTest, AReplyThatComesLateIsStillTheAnswer)
{
    begin(kRead);
    now += settings.timeout;
    ASSERT_EQ(Kind::Listen, asking.step(now).kind) << "the line is listened to behind the time-out";
    hear(kReply, 100ms);
    ASSERT_EQ(Kind::Over, asking.step(now).kind);
    EXPECT_EQ(AnswerKind::Reply, asking.answer().kind);
}

TEST_F(AskingTest, TakesTheEchoOffAndKnowsItFromThenOn)
{
    begin(kRead);
    hear(kRead, 1ms);
    EXPECT_EQ(Kind::Listen, asking.step(now).kind) << "the request itself is no answer";
    EXPECT_TRUE(asking.hasEcho());
    hear(kReply);
    EXPECT_EQ(AnswerKind::Reply, asking.answer().kind);
    // From now on what is like the request is the request, where a reply would be the same bytes too.
    begin("11 08 00 00 5A C3 98 6A");
    hear("11 08 00 00 5A C3 98 6A", 1ms);
    EXPECT_EQ(Kind::Listen, asking.step(now).kind);
    hear("11 08 00 00 5A C3 98 6A");
    EXPECT_EQ(Kind::Over, asking.step(now).kind);
    EXPECT_EQ(AnswerKind::Reply, asking.answer().kind);
}

TEST_F(AskingTest, OnlyAnEchoIsNoAnswer)
{
    begin(kRead);
    hear(kRead, 1ms);
    EXPECT_EQ(Kind::Over, await());
    EXPECT_EQ(AnswerKind::Nothing, asking.answer().kind);
    EXPECT_EQ("nothing but the request itself", describe(asking.answer()));
}

TEST_F(AskingTest, ABadCrcIsSomethingAndEndsTheAttemptWithTheSilenceBehindIt)
{
    begin(kRead);
    hear("11 03 04 12 34 AB CD 11 E2");
    const Time before = now;
    EXPECT_EQ(Kind::Over, await());
    EXPECT_LT(now - before, 50ms) << "the time-out is not waited for";
    EXPECT_EQ(AnswerKind::Unusable, asking.answer().kind);
    EXPECT_THAT(describe(asking.answer()), ::testing::HasSubstr("the reply with a wrong CRC"));
}

TEST_F(AskingTest, TellsTheOrderOfTheCrc)
{
    begin(kRead);
    hear("11 03 04 12 34 AB CD E1 11");
    EXPECT_EQ(AnswerKind::Reply, asking.answer().kind);
    EXPECT_TRUE(asking.answer().crcHighFirst);
    EXPECT_EQ(fromHex("11 03 00 64 00 02 44 87"), withCrc(fromHex("11 03 00 64 00 02"), true));
}

TEST_F(AskingTest, PassesOverNoiseInFrontOfTheReply)
{
    begin(kRead);
    hear("00 FF 5A");
    hear(kReply, 30ms);
    EXPECT_EQ(AnswerKind::Reply, asking.answer().kind);
}

TEST_F(AskingTest, TheAnswerOfAnotherStationOrToAnotherQuantityIsNone)
{
    begin(kRead);
    hear("12 03 04 12 34 AB CD 22 E1");
    hear("11 03 02 12 34 F5 30");
    EXPECT_EQ(Kind::Over, await());
    EXPECT_EQ(AnswerKind::Unusable, asking.answer().kind);
}

TEST_F(AskingTest, KnowsHowLongADeviceIdentificationIs)
{
    begin("11 2B 0E 01 00 BA 17");
    const QByteArray reply = withCrc(fromHex("11 2B 0E 01 01 00 00 01 00 04 41 63 6D 65"));
    now += 5ms;
    asking.heard(reply.left(9), now);
    EXPECT_EQ(Kind::Listen, asking.step(now).kind);
    asking.heard(reply.mid(9), now + 2ms);
    EXPECT_EQ(AnswerKind::Reply, asking.answer().kind);
    EXPECT_EQ(reply, asking.answer().frame);
}

TEST_F(AskingTest, OfAFunctionThatNobodyKnowsTheSilenceEndsTheReply)
{
    begin("11 64 01 C7 C0");
    const QByteArray reply = withCrc(fromHex("11 64 07 08 09"));
    now += 5ms;
    asking.heard(reply, now);
    EXPECT_EQ(Kind::Over, await());
    EXPECT_EQ(reply, asking.answer().frame);
}

TEST_F(AskingTest, NeverSendsIntoALineThatIsNotSilent)
{
    Question question;
    question.frame = fromHex(kRead);
    asking.begin(question, now);
    for (int i = 0; i < 3000 && asking.step(now).kind == Kind::Listen; ++i) {
        now += 1ms;
        asking.heard(fromHex("55"), now);
    }
    EXPECT_EQ(Kind::Over, asking.step(now).kind);
    EXPECT_EQ(AnswerKind::LineBusy, asking.answer().kind);
}

} // namespace
