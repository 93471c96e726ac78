/// @file
/// When the next request may go out, so that no late answer is taken for the answer to another request.
#ifndef PLC_MASTER_LATE_REPLY_GUARD_H
#define PLC_MASTER_LATE_REPLY_GUARD_H

#include <QByteArray>

#include <optional>

#include "runtime/line/link_time.h"

namespace plc::runtime {

/// What is known of the answer to an attempt when the attempt ends. An exception is an answer, too.
enum class Answer
{
    Came,
    MayComeLate, ///< nothing came, or nothing usable
    WillNotCome  ///< none was due, or it came and was damaged on the way
};

/// RTU numbers nothing: an answer of the right station, function and length is taken for the answer to the
/// last request. So after an attempt without an answer the line is listened to before another request goes
/// out. The same frame may go out at once: a late answer to the first also answers the repeat.
///
/// Told what happens and when; no clock inside. Not locked.
class LateReplyGuard
{
public:
    /// @param listening  how long a late answer is listened for, beyond the time-out of the last attempt;
    ///                   0 = nothing is held back.
    explicit LateReplyGuard(Time listening) : listening_(listening) {}

    /// The transactions that begin from now on are of a station that takes another time.
    void setListening(Time listening) { listening_ = listening; }

    /// A transaction begins.
    /// @param frame              is to go out, in all attempts of the transaction.
    /// @param lateAnswerCounts   an answer to an earlier attempt is good enough for this transaction.
    void begin(Time now, const QByteArray &frame, bool lateAnswerCounts);

    /// An attempt has ended. Not called for an attempt of which nothing was sent.
    /// @param timeOutAt  when its time-out passes, or would have passed without an answer.
    void attemptEnded(Answer answer, Time timeOutAt);

    /// The transaction goes on with a repeat.
    void repeat(Time now);

    /// The transaction is over.
    void end(Time now);

    /// An earlier attempt may still be answered, in a way that counts for the present transaction.
    bool isAnswerOpen() const { return isAnswerOpen_; }
    /// The next frame may not go out before.
    Time holdUntil() const;

private:
    Time lateAnswersUntil(Time now) const;

    Time listening_;
    Time holdUntil_{}; ///< for what attempts of the present and of former transactions have left open

    // The present transaction.
    QByteArray frame_;
    bool lateAnswerCounts_ = true;
    bool isAnswerOpen_ = false;
    std::optional<Answer> lastAnswer_; ///< nothing while no attempt has ended
    Time timeOutAt_{};                 ///< of the last attempt

    // The last transaction that left an answer open.
    QByteArray openFrame_; ///< may go out again at once; empty where no frame may
    Time openUntil_{};     ///< its answer may come until then
};

} // namespace plc::runtime

#endif
