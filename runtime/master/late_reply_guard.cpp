#include "runtime/master/late_reply_guard.h"

#include <algorithm>

namespace plc::runtime {

void LateReplyGuard::begin(Time now, const QByteArray &frame, bool lateAnswerCounts)
{
    frame_ = frame;
    lateAnswerCounts_ = lateAnswerCounts;
    lastAnswer_.reset();
    isAnswerOpen_ = lateAnswerCounts && now < openUntil_ && frame == openFrame_;
}

void LateReplyGuard::attemptEnded(Answer answer, Time timeOutAt)
{
    // The answer may be that to an earlier attempt. Then the answer to this attempt is still to come.
    if (answer == Answer::Came && isAnswerOpen_ && listening_ > Time::zero())
        holdUntil_ = std::max(holdUntil_, timeOutAt);
    isAnswerOpen_ = isAnswerOpen_ || answer == Answer::MayComeLate;
    lastAnswer_ = answer;
    timeOutAt_ = timeOutAt;
}

void LateReplyGuard::repeat(Time now)
{
    if (lateAnswerCounts_ || !isAnswerOpen_ || listening_ <= Time::zero())
        return;
    holdUntil_ = std::max(holdUntil_, lateAnswersUntil(now));
    isAnswerOpen_ = false;
}

void LateReplyGuard::end(Time now)
{
    if (isAnswerOpen_ && lastAnswer_ && listening_ > Time::zero()) {
        // After an answered repeat a second answer may still arrive, and would be paired with the next
        // request.
        openFrame_ = lastAnswer_ == Answer::Came ? QByteArray() : frame_;
        openUntil_ = lateAnswersUntil(now);
    }
    isAnswerOpen_ = false;
}

Time LateReplyGuard::holdUntil() const
{
    // The same frame as before goes out at once.
    return isAnswerOpen_ ? holdUntil_ : std::max(holdUntil_, openUntil_);
}

Time LateReplyGuard::lateAnswersUntil(Time now) const
{
    return std::max(now, timeOutAt_) + listening_;
}

} // namespace plc::runtime
