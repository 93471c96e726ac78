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
    bool fetch(Time now);
    Instruction transmit(Time now);
    void take(Time now, const QByteArray &arrived);
    bool stripEchoes(Time now);
    bool takeForEcho(Time now, const Sighting &sighting);
    bool isEchoMissing() const;
    Time waitEnd() const;
    Time silentBehindDamage() const;
    Time extendedDeadline() const;
    void showAll(Time now);
    bool isListening() const;
    void withhold(Time now);
    void examine(Time now, bool waitIsOver);
    bool offerReply(Time now, const Sighting &sighting);
    void dropBefore(Time now, int bytes, const char *why);
    void expire(Time now);
    void finishUnanswered(Time now);
    void loseAttempt(Time now, AttemptEnd end, int exceptionCode);
    void giveUpAttempt(Time now);
    Time lateAnswersUntil(Time now) const;
    void listenForLateAnswers(Time now);
    Time busyLimit() const;
    void giveUpStale(Time now);
    void giveUpLine(Time now);
    void noteRefusal(const Sighting &sighting);
    void endAttempt(Time now, AttemptEnd end, int exceptionCode);
    void settle(Time now, int status);
    Time silenceDue() const;
    bool replyIsDue() const;
    template <typename Change>
    void count(Change change);

    CycleDriver &driver_;
    COM_INFO &info_;
    CycleSettings settings_;
    CycleObserver *observer_;
    Statistics statistics_;

    CycleState state_ = CycleState::Idle;
    bool started_ = false;
    Time lastActivity_{};           ///< last byte sent or received
    Time holdUntil_{};              ///< no transmission before
    Time freshUntil_ = Time::max(); ///< no transmission of the present transaction after
    Time waitingSince_{};           ///< since when the line should be silent
    Time deadline_{};               ///< end of the present wait
    bool extended_ = false;

    Protocol *head_ = nullptr; ///< transaction in progress; the driver's
    Request request_;
    ReplyShape shape_;
    bool answerIsOpen_ = false; ///< the station may still answer an attempt that counts as unanswered
    bool answered_ = false;     ///< the last attempt ended with an answer
    QByteArray openFrame_;      ///< the request that may be repeated all the same; empty for none
    Time openUntil_{};          ///< until when an answer may come that belongs to none of the next requests
    Time sentUntil_{};          ///< when the last stop bit of the last request left, or will
    StepReport report_;

    QByteArray buffer_;        ///< received in this attempt
    int echoesDue_ = 0;        ///< of this request and of its equals before, and not come yet
    bool echoIsOff_ = false;   ///< an echo was taken off what was received in this attempt
    bool heard_ = false;       ///< something was received in this attempt
    bool isFirstByte_ = false; ///< nothing was received since the last transmission
    bool refused_ = false;     ///< while listening out: the station answered with an exception
    bool damaged_ = false;     ///< what was received last was the reply, damaged on the way
};

} // namespace plc::runtime

#endif
