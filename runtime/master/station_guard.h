/// @file
/// Which stations are left alone because they do not answer, and when they are tried again.
#ifndef PLC_MASTER_STATION_GUARD_H
#define PLC_MASTER_STATION_GUARD_H

#include <map>
#include <optional>
#include <vector>

#include "runtime/master/cycle.h"
#include "runtime/master/policies.h"

namespace plc::runtime {

/// A register or bit that is asked for to see whether its station is there again.
struct Probe
{
    int station = 0;
    int regType = 0; ///< 0, 1, 4 or 5
    int address = 0;
};

enum class StationChange
{
    None,
    WentOffline,
    CameBack
};

/// Keeps the books of stations that fail. A dead station costs the others a time-out with each of its requests;
/// so after some failures in a row it is offline, and only single requests at growing distances try it. All trials
/// that cost others time have one budget, a tenth of the time. Told the time; neither clock nor driver inside. Not
/// locked.
class StationGuard
{
public:
    /// @param quiet  how long the line is listened to after a trial that nobody answers.
    explicit StationGuard(const OfflineSettings &settings, Time quiet = Time::zero())
        : settings_(settings), quiet_(quiet)
    {}

    /// Takes the end of a transaction. An answer of any kind, an exception as well, shows that the station is
    /// there, unless it is a gateway's, which says that nobody is behind it, or says that the station is busy: one that
    /// is so for ever is as little use as a dead one. A request that was never sent, since the
    /// line did not fall silent or for another reason, shows nothing.
    StationChange stepEnded(const StepReport &report);

    bool isOffline(int station) const;
    /// It has answered a trial, and nothing of what it is asked otherwise yet.
    bool isOnProbation(int station) const;
    /// The station that is to be tried now; nothing when there is none. The one with the shortest distance comes
    /// first, and of several the one that has waited longest: what has just gone is most likely to be back.
    std::optional<Probe> due(Time now) const;
    /// How long the station has been offline, or was.
    Time offlineSince(int station) const;
    int failuresOf(int station) const;
    /// Of an offline station, from the last trial to the next, which comes later where the budget has no room.
    Time nextDistance(int station) const;
    /// Stations that are offline, the lowest number first.
    std::vector<int> offlineStations() const;

    /// Forgets what is known of a station: it counts as one that has not been asked yet.
    void forget(int station) { stations_.erase(station); }

private:
    struct Record
    {
        int failures = 0;
        bool offline = false;
        bool onProbation = false;
        bool wentWithTheLine = false; ///< and the line is back: to be tried at once
        Time since{};                 ///< when it went offline
        Time lastAnswer{};            ///< of any kind; 0 = never
        Time nextProbe{};             ///< only while offline
        Time distance{};              ///< from the last trial to the next
        Probe probe;                  ///< what the last failed request had asked for
    };

    StationChange failed(const StepReport &report);
    StationChange answered(int station, Time now);
    void noteAnswer(int station, Time now);
    bool isPaidByOthers(const Record &record) const;
    void putOff(const StepReport &report);
    bool isBudgeted(const Record &record) const;
    void spend(const StepReport &report);

    OfflineSettings settings_;
    Time quiet_;
    std::map<int, Record> stations_;
    Time lastAnswer_{}; ///< of any station; 0 = never
    Time spentUntil_{}; ///< until then the budget has no room for another trial
};

} // namespace plc::runtime

#endif
