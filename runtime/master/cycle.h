/// @file
/// The cycle of a Modbus master: which request goes out when, and what becomes of the bytes that come back.
///
/// A state machine without clock, thread or port. It is told the time and the bytes that have arrived, and
/// answers what to send now and when it wants to be called again. Whoever owns a port, real or simulated, can
/// drive it.
#ifndef PLC_MASTER_CYCLE_H
#define PLC_MASTER_CYCLE_H

#include <QByteArray>

#include "core/records.h"
#include "runtime/line/line_timing.h"
#include "runtime/line/link_time.h"
#include "runtime/line/rtu_frame.h"
#include "runtime/master/echoes.h"
#include "runtime/master/late_reply_guard.h"
#include "runtime/master/policies.h"
#include "runtime/master/statistics.h"

namespace plc::runtime {

/// What may become of a transaction that the driver has chosen.
enum class Permit
{
    Send,
    SendOnce, ///< without repetitions, whatever the driver has left of them
    Withhold  ///< fails at once, without a byte on the line
};

struct Request;

/// The two calls of the driver that make a cycle; see ComCommunication and DataCom in plcdriver.h.
class CycleDriver
{
public:
    virtual ~CycleDriver() = default;
    /// The transaction to carry out now, null for none. While one is in progress always that one.
    virtual Protocol *next() = 0;
    /// Asked when a transaction has been chosen, and again before each of its transmissions: it may have waited for
    /// the line, and been withdrawn meanwhile.
    /// @param goesOut  unless it is withheld, the frame is on the line next.
    virtual Permit permit(const Request &, bool goesOut)
    {
        (void)goesOut;
        return Permit::Send;
    }
    /// Judges what was received for the transaction in progress; the status of the result record.
    virtual int judge(QByteArray *reply, int length) = 0;
};

/// How an attempt ended.
enum class AttemptEnd
{
    Good,       ///< the reply was accepted
    NoReplyDue, ///< sent, and nothing was to come back
    Exception,  ///< the station refused
    Unusable,   ///< something came, but no usable reply
    NoReply,    ///< nothing came
    LineBusy,   ///< not even sent: the line never fell silent
    Withheld    ///< not sent, or not sent again: not permitted
};

/// A request as it stood on the line, copied, since the driver's record is gone when the step is over.
struct Request
{
    QByteArray frame;
    int station = 0;  ///< that the frame is addressed to
    int function = 0; ///< Modbus function code; 0 in a relay frame
    int regType = 0;
    int address = 0;
    int count = 0;
    int direction = 0; ///< 0 = read, 1 = write
    int hostId = 0;
    int hostSubId = 0;
    bool isReadHalf =
        false; ///< reads the register that the next transaction writes back with one bit changed
};

/// What became of a transaction.
struct StepReport
{
    Request request;
    bool done = false;        ///< the driver counts it as done; otherwise failed for good. A request that
                              ///< needs no reply counts as done even if `cause` tells that it went wrong.
    int status = 0;           ///< the driver's result code
    AttemptEnd cause{};       ///< how it ended; of a failed one the most telling of its attempts
    int exceptionCode = 0;    ///< of the last exception reply, 0 without one
    int refusedFunction = 0;  ///< function code that this exception reply is about
    int attempts = 0;         ///< frames sent
    bool echoMissing = false; ///< the last attempt heard bytes, but not the echo that was to come first
    bool echoHeard = false;   ///< the last attempt heard its own request, and nobody had asked to take it off
    bool mayBeEcho =
        false;        ///< what was heard so would be the reply as well, and came too soon to be told from it
    Time startedAt{}; ///< first transmission
    Time endedAt{};
};

/// Listens to a cycle; called inside advance(), on its thread.
class CycleObserver
{
public:
    virtual ~CycleObserver() = default;
    /// @param attempt  1 for the first transmission of a request.
    virtual void sent(Time, const QByteArray &frame, int attempt) = 0;
    virtual void received(Time, const QByteArray &bytes) = 0;
    /// Bytes that belong to no reply of ours; @p why is a few words for people.
    virtual void discarded(Time, int bytes, const char *why) = 0;
    virtual void attemptEnded(Time, AttemptEnd, int exceptionCode) = 0;
    virtual void stepEnded(const StepReport &) = 0;
};

struct CycleSettings
{
    LineTiming timing{19200};
    /// Longest wait for the first byte of a reply, from the end of the request's last stop bit.
    Time responseTimeout = std::chrono::seconds(1);
    /// Silence granted to the stations after a broadcast (MODBUS over Serial Line V1.02, 2.4.1), and to
    /// those that are said not to answer a write; an answer that comes within is taken.
    Time turnaround = std::chrono::milliseconds(100);
    /// Pause when the driver has nothing to do.
    Time idlePause = std::chrono::milliseconds(2);
    /// Granted once to a reply that has begun, on top of its own time on the wire: converters hand bytes over
    /// in bursts.
    Time deliverySlack = std::chrono::milliseconds(20);
    /// After a transaction with an unanswered attempt the line is listened to for this long before another
    /// request goes out. RTU numbers nothing: an answer that comes late would be taken for the answer to that
    /// request. Only a transaction that ended without any answer is repeated at once.
    Time lateReplyGuard = std::chrono::seconds(1); ///< 0 = not at all
    /// Between the reply with a register and the start of the frame that writes the register back with one bit
    /// changed. What is older is not written: somebody else may have changed the other bits.
    Time writeBackWithin = std::chrono::milliseconds(500);
    /// The line hands back what is sent on it. Each transmission owes one echo.
    bool removeEcho = false;
    /// `lateReplyGuard` and `offline` mean nothing here.
    Policies policies;
};

enum class CycleState
{
    Idle,              ///< nothing to do
    WaitingSilence,    ///< a request is ready, the line must be silent first
    WaitingReply,      ///< sent, a reply is due
    WaitingTurnaround, ///< broadcast sent, no reply can come
    ListeningOut       ///< sent to a station whose answer nobody wants, but which may answer all the same
};

/// What the owner of the port is to do.
struct Instruction
{
    QByteArray send; ///< to be transmitted now in one go; empty for nothing
    Time wakeAt{};   ///< call advance() again at this time, and earlier whenever bytes arrive
};

/// States and their names follow MODBUS over Serial Line V1.02, 2.4.1.
class Cycle
{
public:
    /// @param driver    outlives the cycle.
    /// @param info      the settings record that the driver was given; outlives the cycle. `retryCount` is
    ///                  set to 0 for every new transaction, so that each has the full number of retries, and
    ///                  to the limit when the same request is not to be sent again at once.
    /// @param observer  may be null; outlives the cycle.
    Cycle(CycleDriver &driver, COM_INFO &info, const CycleSettings &settings, CycleObserver *observer);

    /// Carries on.
    /// @param now      never earlier than in the call before.
    /// @param arrived  bytes received since the call before; empty for none.
    Instruction advance(Time now, const QByteArray &arrived);

    /// Tells that the bytes of the last instruction have left only at @p now. Without this call they count as
    /// sent at line speed from the moment of the instruction on.
    void transmitted(Time now);

    CycleState state() const { return state_; }
    const Statistics &statistics() const { return statistics_; }

private:
    /// One transmission and the wait behind it.
    struct Attempt
    {
        ReplyShape shape;          ///< of the reply that is due
        Time sentUntil{};          ///< when the last stop bit left, or will
        Time deadline{};           ///< end of the wait
        bool isExtended = false;   ///< the deadline was put off, or must not be
        bool anythingCame = false; ///< a byte, the echo included
        bool heard = false;        ///< a byte, the echo not included
        bool isRefused = false;    ///< the station answered with an exception
        bool isDamaged = false;    ///< what came last was the reply, damaged on the way
        bool echoMissing = false;  ///< for the report, as the next two
        bool echoHeard = false;
        bool mayBeEcho = false;
    };

    // Up to the line.
    bool fetch(Time now);
    void waitForSilence(Time now);
    Time silenceDue() const;
    Time heldUntil() const;
    Time busyLimit() const;
    bool replyIsDue() const;
    Instruction transmit(Time now);

    // What comes back.
    void take(Time now, const QByteArray &arrived);
    bool stripEchoes(Time now);
    void examine(Time now, bool waitIsOver);
    void takeException(Time now, const Sighting &sighting);
    void takeUnwanted(Time now, const Sighting &sighting);
    bool offerReply(Time now, const Sighting &sighting);
    int judgeNothing();
    void dropBefore(Time now, int bytes, const char *why);
    void noteForeign(Time now, int bytes, const char *why);
    bool isListening() const;

    // The end of a wait.
    Time waitEnd() const;
    Time silentBehindDamage() const;
    Time extendedDeadline() const;
    bool extendWait(Time now);
    void giveUpSending(Time now);
    void endWait(Time now);
    void endUnanswered(Time now);

    // The end of an attempt, and what follows.
    void withhold(Time now);
    void failAttempt(Time now, AttemptEnd end, int exceptionCode);
    void endAttempt(Time now, AttemptEnd end, int exceptionCode);
    void showNothing(Time now);
    void goOn(Time now, int status);
    void endTransaction(Time now, int status);
    void useUpRepeats();

    const Request &request() const { return report_.request; }
    template <typename Change>
    void count(Change change);

    CycleDriver &driver_;
    COM_INFO &info_;
    CycleSettings settings_;
    CycleObserver *observer_;
    Statistics statistics_;
    LateReplyGuard lateReplies_;
    Echoes echoes_;

    CycleState state_ = CycleState::Idle;
    bool started_ = false;
    Time lastActivity_{};           ///< last byte sent or received
    Time waitingSince_{};           ///< since when the line should be silent
    Time pauseUntil_{};             ///< a busy station is left alone until then
    Time freshUntil_ = Time::max(); ///< what the transaction writes back is too old afterwards
    QByteArray buffer_;             ///< received and not yet used

    Protocol *head_ = nullptr; ///< transaction in progress; the driver's
    StepReport report_;        ///< on the transaction in progress
    Attempt attempt_;          ///< the last that was sent of the transaction in progress
};

} // namespace plc::runtime

#endif
