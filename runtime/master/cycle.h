/// @file
/// The cycle of a Modbus master: which request goes out when, and what becomes of the bytes that come back.
///
/// A state machine without clock, thread or port. It is told the time and the bytes that have arrived, and
/// answers what to send now and when it wants to be called again. Whoever owns a port, real or simulated, can
/// drive it. docs/cycle.md tells its story and has the table of its states.
#ifndef PLC_MASTER_CYCLE_H
#define PLC_MASTER_CYCLE_H

#include <QByteArray>

#include "core/records.h"
#include "runtime/line/line_timing.h"
#include "runtime/line/link_time.h"
#include "runtime/line/miss.h"
#include "runtime/line/reply_search.h"
#include "runtime/master/echoes.h"
#include "runtime/master/late_reply_guard.h"
#include "runtime/master/other_master.h"
#include "runtime/master/policies.h"
#include "runtime/master/station_settings.h"
#include "runtime/master/statistics.h"

namespace plc::runtime {

/// What may become of a transaction that the driver has chosen.
enum class Permit
{
    Send,
    SendOnce, ///< without repeats, whatever the driver has left of them
    Withhold  ///< the transaction fails at once, without a byte on the line
};

struct Request;

/// The two calls of the driver that make a cycle; see ComCommunication and DataCom in plcdriver.h.
class CycleDriver
{
public:
    virtual ~CycleDriver() = default;
    /// The transaction to carry out now, null for none. While a transaction is in progress, always that one.
    virtual Protocol *next() = 0;
    /// Asked when a transaction has been chosen, and again before each of its transmissions: while it waited
    /// for the line, it may have been withdrawn.
    /// @param goesOut  the frame is on the line next, unless it is withheld.
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
    Withheld,   ///< not sent, or not sent again: not permitted
    PortLost    ///< not sent, or not answered yet, when the port was lost
};

/// True where the end tells nothing of the station, which may not even have been asked.
constexpr bool tellsNothing(AttemptEnd end)
{
    return end == AttemptEnd::Withheld || end == AttemptEnd::PortLost;
}

/// A request as it stood on the line; a copy, since the driver's record is gone when the transaction is over.
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
    /// Reads the register that the next transaction, the write half, writes back with one bit changed.
    bool isReadHalf = false;
};

/// The request of a transaction that the driver has chosen.
/// @param relay  it is a relay frame.
Request requestOf(const Protocol &head, bool relay);

/// What became of a transaction.
struct TransactionReport
{
    Request request;
    /// The driver counts it as done; otherwise it has failed for good. A request that needs no reply counts
    /// as done even where `cause` tells that it went wrong.
    bool done = false;
    int status = 0;          ///< the driver's result code
    AttemptEnd cause{};      ///< how it ended; where it failed, the end of the attempt that tells most
    int exceptionCode = 0;   ///< of the last exception; 0 = there was none
    int refusedFunction = 0; ///< function code that this exception is about
    int attempts = 0;        ///< frames sent
    /// The last attempt did not hear its echo. Where a reply was due, it heard something else.
    bool echoMissing = false;
    /// The last attempt heard its own request, on a line that was said to have no echoes.
    bool echoHeard = false;
    /// The last attempt heard bytes that are both its request and a good reply, too soon to tell which.
    bool mayBeEcho = false;
    std::vector<MissedAttempts> missed; ///< why attempts brought no good reply
    Time startedAt{};                   ///< first transmission
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
    /// Received bytes were thrown away; @p why is a few words for people.
    virtual void discarded(Time, int bytes, const char *why) = 0;
    /// Among bytes that were thrown away a request to @p station was found, which is not ours.
    virtual void otherMasterAsked(Time, int station) { (void)station; }
    /// @param miss  why there is no good reply.
    virtual void attemptEnded(Time, AttemptEnd, const Miss &miss) = 0;
    virtual void transactionEnded(const TransactionReport &) = 0;
};

/// The rules are those of stations that have none of their own.
struct CycleSettings : StationRules
{
    LineTiming timing{19200};
    std::map<int, StationRules> stations; ///< that have rules of their own, by number
    /// On the wire, start and stop bits included. Silences count 11 whatever this says.
    int bitsPerCharacter = 11;
    /// Silence granted to the stations after a broadcast (MODBUS over Serial Line V1.02, 2.4.1), and to
    /// stations that are said not to answer a write; an answer that comes within is taken.
    Time turnaround = std::chrono::milliseconds(100);
    /// Pause when the driver has nothing to do.
    Time idlePause = std::chrono::milliseconds(2);
    /// Granted once to a reply that has begun, on top of its own time on the wire: converters hand bytes over
    /// in bursts.
    Time deliverySlack = std::chrono::milliseconds(20);
    /// Between the reply to a read half and the start of the write half's frame. An older value is not
    /// written: somebody else may have changed the other bits.
    Time writeBackWithin = std::chrono::milliseconds(500);
    /// The line hands back what is sent on it. Each transmission owes one echo.
    bool removeEcho = false;
    /// `lateReplyGuard`, `offline` and `echoCheck` mean nothing here.
    Policies policies;
};

enum class CycleState
{
    Idle,              ///< nothing to do
    WaitingSilence,    ///< a request is ready, the line must be silent first
    WaitingReply,      ///< sent, a reply is due
    WaitingTurnaround, ///< broadcast sent, no reply can come
    ListeningOut       ///< sent to a station that need not answer, but may
};

/// What the owner of the port is to do.
struct Instruction
{
    QByteArray send; ///< to be transmitted now in one go; empty for nothing
    Time wakeAt{};   ///< call advance() again at this time, and earlier whenever bytes arrive
    /// Bytes that arrive before this time may wait until then: alone they decide nothing. 0 = there is none.
    Time restUntil{};
};

/// States and their names follow MODBUS over Serial Line V1.02, 2.4.1.
class Cycle
{
public:
    /// @param driver    outlives the cycle.
    /// @param info      the settings record that the driver was given; outlives the cycle. `retryCount` is
    ///                  set to 0 for each new transaction, so that each has all its repeats. It is set to the
    ///                  limit where the request is not to be repeated. Where any station has rules of its
    ///                  own, `retryLimit` is set for each transaction as well.
    /// @param observer  may be null; outlives the cycle.
    Cycle(CycleDriver &driver, COM_INFO &info, const CycleSettings &settings, CycleObserver *observer);

    /// Carries on.
    /// @param now      never earlier than in the call before.
    /// @param arrived  bytes received since the call before; empty for none.
    Instruction advance(Time now, const QByteArray &arrived);

    /// Tells that the bytes of the last instruction have left at @p now, later than the baud rate says.
    /// Without this call they count as sent at line speed from the moment of the instruction on.
    void transmitted(Time now);

    /// The port is lost: the transaction in progress fails at once and without another attempt, and nothing
    /// that has arrived counts any more. advance() may be called all the same, as long as nothing is
    /// permitted to be sent.
    void portLost(Time now);
    /// The port is open again: the line has to fall silent first, as before the first frame.
    void portFound() { started_ = false; }

    CycleState state() const { return state_; }
    const Statistics &statistics() const { return statistics_; }

private:
    /// One transmission and the wait behind it.
    struct Attempt
    {
        ReplyShape shape;          ///< of the reply that is due
        Time lateness{};           ///< by which it went out later than the silence allowed
        Time sentUntil{};          ///< when the last stop bit left, or will
        Time deadline{};           ///< end of the wait
        Time completeAt{};         ///< when the reply that has begun will be there; 0 = at any time
        bool hasRested = false;    ///< completeAt was told
        bool isExtended = false;   ///< the deadline was put off, or must not be
        bool anythingCame = false; ///< at least a byte, of the echo perhaps
        bool heard = false;        ///< at least a byte that was not the echo
        bool isRefused = false;    ///< the station answered with an exception
        bool isDamaged = false;    ///< what came last was the reply, damaged on the way
        bool echoMissing = false;  ///< these three as in TransactionReport
        bool echoHeard = false;
        bool mayBeEcho = false;
        QByteArray passedOver; ///< received and thrown away; the first kBufferKept bytes
    };

    // Up to the line.
    bool fetch(Time now);
    void waitForSilence(Time now);
    Time silenceDue() const;
    Time heldUntil() const;
    Time stationPausedUntil() const;
    Time busyLimit() const;
    bool replyIsDue() const;
    Instruction transmit(Time now);
    CycleState stateWhenSent() const;
    Time waitWhenSent() const;
    ReplyShape shapeOfReply() const;

    // What comes back.
    void take(Time now, const QByteArray &arrived);
    bool stripEchoes(Time now);
    void examine(Time now, bool waitIsOver);
    void takeException(Time now, const Sighting &sighting);
    void takeUnwanted(Time now, const Sighting &sighting);
    bool offerReply(Time now, const Sighting &sighting);
    int judgeNothing();
    void discardBefore(Time now, int bytes, const char *why);
    void noteForeign(Time now, int bytes, const char *why);
    void noteOtherMaster(Time now, const std::vector<int> &asked);
    Time completionOf(Time now, const Sighting &begun) const;
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
    void endAttempt(Time now, AttemptEnd end, const Miss &miss = Miss());
    Miss missAt(AttemptEnd end, int exceptionCode) const;
    void showNothing(Time now);
    void goOn(Time now, int status);
    void endTransaction(Time now, int status);
    void useUpRepeats();
    void chooseRules();
    void noteStationPause(Time since);

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
    OtherMaster otherMaster_;

    CycleState state_ = CycleState::Idle;
    bool started_ = false;
    Time lastActivity_{};                    ///< last byte sent or received
    Time waitingSince_{};                    ///< since when the line should be silent
    Time pauseUntil_{};                      ///< nothing goes out before
    std::map<int, Time> stationPausedUntil_; ///< nothing goes out to these stations before
    Time freshUntil_ = Time::max();          ///< what the transaction writes back is too old afterwards
    QByteArray buffer_;                      ///< received and not yet used

    Protocol *head_ = nullptr; ///< transaction in progress; the driver's
    StationRules rules_;       ///< for the transaction in progress
    TransactionReport report_; ///< on the transaction in progress
    Attempt attempt_;          ///< the last that was sent of the transaction in progress
};

} // namespace plc::runtime

#endif
