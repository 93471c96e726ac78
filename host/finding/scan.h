/// @file
/// Which stations are on a line, and at which settings.
///
/// A state machine without clock, thread or port. It is told the time and the bytes that have arrived, and
/// answers what to send, until when to wait, and when the port needs other settings.
///
/// First it listens. A line in use is left alone. Then each station is asked at each setting, with a short
/// wait and without listening for late replies: a reply carries its address and counts for that station,
/// whenever it comes. Where something came that leaves doubt, stations are asked again, one alone:
/// - a reply came late: that station, and whoever was asked meanwhile;
/// - bytes came that are no reply: whoever may have sent them, since a late reply and a request destroy each
///   other;
/// - replies were damaged, or more than there were requests: several times.
#ifndef PLC_FINDING_SCAN_H
#define PLC_FINDING_SCAN_H

#include <QByteArray>

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/finding/scan_evidence.h"
#include "host/finding/scan_plan.h"
#include "host/finding/scan_replies.h"
#include "host/runtime_names.h"
#include "runtime/line/frame_splitter.h"

namespace plc::host {

/// What was heard before anything was sent.
struct LineUse
{
    bool isInUse = false;
    /// At which frames were heard; nothing where the bytes make none at any setting.
    std::optional<ScanSetting> setting;
    std::set<int> stations; ///< that answered somebody
    int frames = 0;
    int bytes = 0; ///< at the setting that was listened to last, damaged characters included
};

/// A setting that is through.
struct SettingReport
{
    ScanSetting setting;
    std::vector<Find> finds; ///< by station
    int asked = 0;           ///< requests
    int disturbed = 0;       ///< requests behind which bytes came that are no reply
    bool isNoisy = false;    ///< so many of them that bytes alone lead to no further request
    bool isBabbling = false; ///< the line never fell silent, and the setting was given up
    bool hasEcho = false;    ///< requests came back
};

/// Told what happens; called inside advance().
class ScanObserver
{
public:
    virtual ~ScanObserver() = default;
    virtual void heard(const LineUse &) = 0;
    virtual void settingBegins(const ScanSetting &) = 0;
    /// A station has answered for the first time at this setting.
    virtual void stationAnswers(const ScanSetting &, int station) = 0;
    virtual void settingEnds(const SettingReport &) = 0;
};

/// What the owner of the port is to do.
struct ScanStep
{
    bool isOver = false;             ///< nothing more
    std::optional<ScanSetting> open; ///< the port needs these settings; then call advance() again
    QByteArray send;                 ///< to be transmitted now in one go; empty for nothing
    Time wakeAt{};                   ///< call advance() then, and earlier whenever bytes arrive
};

class Scan
{
public:
    /// @param observer  outlives the scan.
    Scan(ScanPlan plan, ScanObserver &observer);

    /// Carries on.
    /// @param now      never earlier than in the call before.
    /// @param arrived  bytes received since; none behind a step that opened the port.
    ScanStep advance(Time now, const QByteArray &arrived);
    /// The port has noticed so many damaged characters, which no program gets to see, since the call before.
    void noticed(std::uint64_t damagedCharacters) { damagedCharacters_ += damagedCharacters; }
    /// The port cannot have the settings that it was to be opened with: the next ones follow.
    void skipSetting();
    /// Nothing more is asked: what is known of the setting in progress is told.
    void stop();

    /// About what is still to come, if nothing more is found.
    Time timeLeft() const;
    bool isInUse() const { return use_.isInUse; }

private:
    enum class State
    {
        Opening,   ///< the port gets the settings of setting_
        Listening, ///< nothing has been sent yet
        Pausing,   ///< the line has to be silent before the next request
        Waiting,   ///< for a reply
        Lingering, ///< all are asked; the last ones may answer late
        Over
    };
    /// One request.
    struct Ask
    {
        int station = 0;
        bool isAlone = false; ///< the line is quiet before it, and the wait is long
        bool isFirst = false; ///< in the turn of all stations
    };

    const ScanSetting &setting() const { return plan_.settings[setting_]; }
    Time silence() const;
    ScanStep wake(Time at) const;
    ScanStep open(Time now);
    void begin(Time now);
    bool endListening(Time now);
    void noteHeard(const std::vector<Piece> &pieces);
    bool fetch();
    Time readyAt() const;
    ScanStep send(Time now);
    void take(Time now, const QByteArray &arrived);
    void credit(const ScanReply &reply);
    Time endOfWait() const;
    void endWait();
    void suspectOthers(const ScanRubbish &rubbish);
    void suspectAll(const ScanRubbish &rubbish);
    void suspect(int station, Time took);
    void follow(int station);
    void queue(const Ask &ask);
    Time longWait(const ScanEvidence &evidence) const;
    Time quiet() const;
    bool isNoisy() const;
    bool rubbishIsRare(int asked) const;
    void endSetting();

    ScanPlan plan_;
    ScanObserver &observer_;
    State state_ = State::Opening;
    std::size_t setting_ = 0;
    bool hasListened_ = false;
    LineUse use_;
    std::uint64_t damagedCharacters_ = 0;
    std::unique_ptr<FrameSplitter> splitter_; ///< while listening
    Time until_{};                            ///< of listening and lingering
    Time lastHeard_{};                        ///< or since when the port is open

    // At the setting in progress.
    std::unique_ptr<ScanReplies> replies_;
    std::map<int, ScanEvidence> evidence_;
    std::size_t next_ = 0;   ///< of the stations, in their turn
    std::deque<Ask> again_;  ///< to be asked before
    std::optional<Ask> ask_; ///< to be sent, or waited for
    Time pausingSince_{};
    Time wait_{};
    Time latest_{}; ///< longest time from a request to a reply that came late
    Time sentAt_{};
    Time sentUntil_{};
    int answers_ = 0;                         ///< of the station that was asked
    bool isDisturbed_ = false;                ///< another station answered meanwhile
    std::deque<std::pair<int, Time>> recent_; ///< stations asked, and when that was over
    SettingReport report_;
    int firstAsks_ = 0;
    int firstDisturbed_ = 0; ///< of these
    Time spentForNothing_{}; ///< with stations that were asked alone and said nothing
};

} // namespace plc::host

#endif
