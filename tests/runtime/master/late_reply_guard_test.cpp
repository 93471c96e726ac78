#include <gtest/gtest.h>

#include "runtime/master/late_reply_guard.h"
#include "support/hex.h"

namespace {

using plc::runtime::Answer;
using plc::runtime::LateReplyGuard;
using plc::runtime::Time;
using plc::test::hex;
using std::chrono::milliseconds;

const QByteArray kRequest = hex("11 03 0064 0002 8744");
const QByteArray kOther = hex("11 03 00C8 0002 4765");

/// Times are told in milliseconds. A late answer is listened for 200 ms beyond the time-out.
class LateReplies : public ::testing::Test
{
protected:
    void begin(int now, const QByteArray &frame) { guard.begin(milliseconds(now), frame, true); }
    /// A transaction to which no late answer counts.
    void beginFresh(int now, const QByteArray &frame) { guard.begin(milliseconds(now), frame, false); }
    void attemptEnded(Answer answer, int timeOutAt) { guard.attemptEnded(answer, milliseconds(timeOutAt)); }
    void end(int now) { guard.end(milliseconds(now)); }
    /// A transaction with one attempt that nobody answers within its time-out.
    void failUnanswered(const QByteArray &frame, int timeOutAt)
    {
        begin(timeOutAt - 300, frame);
        attemptEnded(Answer::MayComeLate, timeOutAt);
        end(timeOutAt);
    }

    LateReplyGuard guard{milliseconds(200)};
};

TEST_F(LateReplies, HoldNothingBackWhereEachAttemptIsAnswered)
{
    begin(1000, kRequest);
    attemptEnded(Answer::Came, 1300);
    end(1020);
    begin(1020, kOther);
    EXPECT_EQ(Time::zero(), guard.holdUntil());
    EXPECT_FALSE(guard.isAnswerOpen());
}

TEST_F(LateReplies, HoldAnotherRequestBackUntilNoAnswerCanComeAnyMore)
{
    failUnanswered(kRequest, 1300);
    begin(1300, kOther);
    EXPECT_EQ(milliseconds(1500), guard.holdUntil());
    EXPECT_FALSE(guard.isAnswerOpen());
}

TEST_F(LateReplies, AreListenedForFromTheTimeOutOnWhereTheAttemptEndedBeforeIt)
{
    begin(1000, kRequest);
    attemptEnded(Answer::MayComeLate, 1300);
    end(1020);
    begin(1020, kOther);
    EXPECT_EQ(milliseconds(1500), guard.holdUntil());
}

TEST_F(LateReplies, AreListenedForFromTheEndOfTheTransactionOnWhereThatIsLater)
{
    begin(1000, kRequest);
    attemptEnded(Answer::MayComeLate, 1300);
    end(1600);
    begin(1600, kOther);
    EXPECT_EQ(milliseconds(1800), guard.holdUntil());
}

TEST_F(LateReplies, LetTheSameRequestOutAtOnceSinceTheyAnswerItAsWell)
{
    failUnanswered(kRequest, 1300);
    begin(1300, kRequest);
    EXPECT_EQ(Time::zero(), guard.holdUntil());
    EXPECT_TRUE(guard.isAnswerOpen());
}

TEST_F(LateReplies, ToTheSameRequestAreForgottenWhenTheirTimeIsOver)
{
    failUnanswered(kRequest, 1300);
    begin(1499, kRequest);
    EXPECT_TRUE(guard.isAnswerOpen());
    begin(1500, kRequest);
    EXPECT_FALSE(guard.isAnswerOpen());
}

TEST_F(LateReplies, LetARepeatOutAtOnce)
{
    begin(1000, kRequest);
    attemptEnded(Answer::MayComeLate, 1300);
    guard.repeat(milliseconds(1300));
    EXPECT_EQ(Time::zero(), guard.holdUntil());
    EXPECT_TRUE(guard.isAnswerOpen());
}

TEST_F(LateReplies, LeaveAnAnsweredRepeatItsOwnWait)
{
    begin(1000, kRequest);
    attemptEnded(Answer::MayComeLate, 1300);
    attemptEnded(Answer::Came, 1650);
    EXPECT_EQ(milliseconds(1650), guard.holdUntil());
}

TEST_F(LateReplies, HoldEvenTheSameRequestBackBehindAnAnsweredRepeat)
{
    begin(1000, kRequest);
    attemptEnded(Answer::MayComeLate, 1300);
    attemptEnded(Answer::Came, 1650);
    end(1400);
    begin(1400, kRequest);
    EXPECT_EQ(milliseconds(1850), guard.holdUntil());
    EXPECT_FALSE(guard.isAnswerOpen());
}

TEST_F(LateReplies, StayOpenFromOneTransactionToTheNextWithTheSameRequest)
{
    failUnanswered(kRequest, 1300);
    begin(1300, kRequest);
    attemptEnded(Answer::Came, 1650);
    end(1400);
    begin(1400, kRequest);
    EXPECT_EQ(milliseconds(1850), guard.holdUntil());
}

TEST_F(LateReplies, AreNotListenedForWhereNoneCanCome)
{
    begin(1000, kRequest);
    attemptEnded(Answer::WillNotCome, 1300);
    EXPECT_FALSE(guard.isAnswerOpen());
    end(1040);
    begin(1040, kOther);
    EXPECT_EQ(Time::zero(), guard.holdUntil());
}

TEST_F(LateReplies, ToAnEarlierAttemptAreListenedForWhateverTheLastAttemptBrings)
{
    begin(1000, kRequest);
    attemptEnded(Answer::MayComeLate, 1300);
    attemptEnded(Answer::WillNotCome, 1650);
    EXPECT_TRUE(guard.isAnswerOpen());
    end(1400);
    begin(1400, kOther);
    EXPECT_EQ(milliseconds(1850), guard.holdUntil());
}

TEST_F(LateReplies, HoldARepeatBackWhereTheyDoNotCount)
{
    beginFresh(1000, kRequest);
    attemptEnded(Answer::MayComeLate, 1300);
    guard.repeat(milliseconds(1300));
    EXPECT_EQ(milliseconds(1500), guard.holdUntil());
    EXPECT_FALSE(guard.isAnswerOpen()) << "the repeat goes out when nothing can come any more";
}

TEST_F(LateReplies, HoldNoRepeatBackThatFollowsAnAnswer)
{
    beginFresh(1000, kRequest);
    attemptEnded(Answer::Came, 1300);
    guard.repeat(milliseconds(1020));
    EXPECT_EQ(Time::zero(), guard.holdUntil());
}

TEST_F(LateReplies, HoldTheSameRequestBackWhereTheyDoNotCount)
{
    failUnanswered(kRequest, 1300);
    beginFresh(1300, kRequest);
    EXPECT_EQ(milliseconds(1500), guard.holdUntil());
    EXPECT_FALSE(guard.isAnswerOpen());
}

TEST_F(LateReplies, ArePairedWithTheSameRequestAfterATransactionThatSentNothing)
{
    failUnanswered(kRequest, 1300);
    begin(1300, kOther);
    end(1300);
    begin(1300, kRequest);
    EXPECT_TRUE(guard.isAnswerOpen());
    EXPECT_EQ(Time::zero(), guard.holdUntil());
}

TEST_F(LateReplies, AreNotListenedForLongerByATransactionThatSentNothing)
{
    failUnanswered(kRequest, 1300);
    begin(1300, kRequest);
    end(1490);
    begin(1490, kOther);
    EXPECT_EQ(milliseconds(1500), guard.holdUntil());
}

TEST_F(LateReplies, HoldNothingBackWhereNobodyListensForThem)
{
    guard = LateReplyGuard(Time::zero());
    beginFresh(1000, kRequest);
    attemptEnded(Answer::MayComeLate, 1300);
    EXPECT_TRUE(guard.isAnswerOpen()) << "they may come all the same";
    guard.repeat(milliseconds(1300));
    EXPECT_EQ(Time::zero(), guard.holdUntil());
    attemptEnded(Answer::Came, 1650);
    EXPECT_EQ(Time::zero(), guard.holdUntil());
    end(1650);
    begin(1400, kOther);
    EXPECT_EQ(Time::zero(), guard.holdUntil());
}

} // namespace
