/// @file
/// One request, and its answer or the reason why there is none.
#ifndef PLC_FINDING_ASKING_H
#define PLC_FINDING_ASKING_H

#include <QByteArray>

#include <functional>
#include <optional>

#include "host/runtime_names.h"
#include "runtime/line/line_timing.h"
#include "runtime/line/link_time.h"
#include "runtime/line/miss.h"

namespace plc::host {

/// The frame with its CRC behind it.
QByteArray withCrc(QByteArray bytes, bool highFirst = false);

/// What is asked, and how patiently.
struct Question
{
    QByteArray frame;            ///< as it goes out
    int retries = 2;             ///< attempts behind the first one that had no proper answer
    Time pause{};                ///< silence before each attempt; at least that of the line counts
    std::optional<Time> timeout; ///< nothing: as AskingSettings
    /// Whatever comes is the answer, and is waited for up to the time-out; for frames that are no requests.
    bool takesAnything = false;
};

enum class AnswerKind
{
    Reply,
    Exception,
    Unusable, ///< something came, and it was no answer
    Nothing,
    LineBusy ///< the line never fell silent, so that nothing was sent
};

struct Answer
{
    AnswerKind kind = AnswerKind::Nothing;
    QByteArray frame;          ///< of a reply or an exception, CRC included; of Anything all that came
    int exceptionCode = 0;     ///< of an exception
    bool crcHighFirst = false; ///< how the answer had its CRC
    Time replyTime{};          ///< from the last stop bit of the request to the first bit of the answer
    int attempts = 0;
    Miss miss; ///< of the last attempt that had no answer
    bool isAnswer() const { return kind == AnswerKind::Reply || kind == AnswerKind::Exception; }
    bool isReply() const { return kind == AnswerKind::Reply; }
    /// Data bytes of a reply whose third byte counts them.
    QByteArray data() const { return frame.mid(3, frame.size() - 5); }
};

/// "exception 02 (illegal data address)", "nothing heard".
std::string describe(const Answer &answer);

struct AskingSettings
{
    LineTiming timing{19200};
    Time character{}; ///< on the wire, start bit, parity and stop bits included
    Time timeout = std::chrono::seconds(1);
    /// Behind a time-out the line is listened to that much longer: an answer that comes meanwhile is one to
    /// this request, and none to the next.
    std::optional<Time> lateGuard; ///< nothing: as long as the time-out
    bool echo = false;             ///< the line hands back what is sent
};

/// Asks one question after another. Told the time and the bytes; tells what to send and until when to wait.
/// It has neither clock nor port. Not locked.
///
///     asking.begin(question, now);
///     for (Step step = asking.step(now); step.kind != Step::Kind::Over; step = asking.step(now)) ...
class Asking
{
public:
    struct Step
    {
        enum class Kind
        {
            Send,   ///< `bytes`; then sent()
            Listen, ///< until `until` or until something comes; then heard() if something came
            Over
        };
        Kind kind = Kind::Over;
        QByteArray bytes;
        Time until{};
    };

    explicit Asking(const AskingSettings &settings) : settings_(settings) {}

    void begin(const Question &question, Time now);
    Step step(Time now);
    /// @param from  when the first bit of the request went out.
    void sent(Time from, Time now);
    void heard(const QByteArray &bytes, Time now);

    /// Behind Over.
    const Answer &answer() const { return answer_; }
    /// The line has handed a request back.
    bool hasEcho() const { return settings_.echo; }
    std::uint64_t requests() const { return requests_; }

private:
    enum class Phase
    {
        Silence, ///< before an attempt
        Waiting,
        Guard, ///< behind a time-out
        Over
    };
    Step listen(Time until) const { return {Step::Kind::Listen, {}, until}; }
    Time timeout() const { return question_.timeout.value_or(settings_.timeout); }
    Time guard() const { return settings_.lateGuard.value_or(timeout()); }
    Time silence() const { return std::max(settings_.timing.silence(), question_.pause); }
    int station() const { return static_cast<unsigned char>(question_.frame.at(0)); }
    int function() const { return static_cast<unsigned char>(question_.frame.at(1)); }
    QByteArray withoutEcho() const;
    bool takeAnswer(bool isFinal);
    bool takeAt(const QByteArray &bytes, int at, bool isFinal);
    bool take(const QByteArray &frame, AnswerKind kind);
    void endAttempt(Time now);
    Miss missed() const;
    void end(AnswerKind kind);

    AskingSettings settings_;
    Question question_;
    Phase phase_ = Phase::Over;
    Answer answer_;
    QByteArray heard_;
    Time beganAt_{};
    Time firstAt_{};       ///< when the first byte of an answer came, with its echo taken off
    Time lastAt_{};        ///< of whatever was heard or sent
    bool isKnown_ = false; ///< `lastAt_` is
    Time requestEnd_{};
    Time deadline_{};
    std::uint64_t requests_ = 0;
};

} // namespace plc::host

#endif
