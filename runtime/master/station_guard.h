/// @file
/// The state of each station: asked, left alone because it does not answer, or switched off.
#ifndef PLC_MASTER_STATION_GUARD_H
#define PLC_MASTER_STATION_GUARD_H

#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "runtime/master/cycle.h"
#include "runtime/master/policies.h"
#include "runtime/master/station_state.h"

namespace plc::runtime {

/// A register or bit that is read to see whether its station is there again.
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

/// Owns the state of each station, and tells when an offline station is probed.
///
/// A dead station costs the others a time-out with each of its requests. So after some failures in a row it
/// is offline, and only probes go to it, at growing intervals. All probes that cost the others time share a
/// budget of a tenth of the time. Told the time; it has neither clock nor driver. Not locked.
class StationGuard
{
public:
    /// @param quiet     how long the line is listened to after a probe that nobody answers.
    /// @param ownQuiet  the same for stations that differ from the others.
    explicit StationGuard(const OfflineSettings &settings, Time quiet = Time::zero(),
                          std::map<int, Time> ownQuiet = {})
        : settings_(settings), quiet_(quiet), ownQuiet_(std::move(ownQuiet))
    {}

    /// The user switches a station off or on. What was known of it is forgotten; on, it counts as never
    /// asked.
    /// @return whether it was offline until now.
    bool setEnabled(int station, bool enabled);

    /// Takes the end of a transaction. Any answer shows that the station is there, an exception as well. Two
    /// exceptions do not: a gateway says that nobody is behind it, or the station says that it is busy. A
    /// station that is busy for ever is as little use as a dead one. A request that was never sent shows
    /// nothing, nor does any end of a station that is switched off.
    StationChange transactionEnded(const TransactionReport &report);

    /// The station has said that it is busy: its cyclic reads are left out until then.
    void noteBusy(int station, Time until) { stations_[station].busyUntil = until; }
    bool isBusy(int station, Time now) const;

    StationState state(int station) const;
    /// Stations that are offline or switched off, the lowest number first.
    std::vector<int> leftAlone() const;

    /// The probe to be sent now; nothing when none is due. The station with the shortest interval comes
    /// first, since what has just gone is most likely to be back; of several, the station that has waited
    /// longest.
    std::optional<Probe> due(Time now) const;
    /// When the station went offline last; 0 = never.
    Time offlineSince(int station) const;
    /// Requests in a row that have failed.
    int failuresOf(int station) const;
    /// Of an offline station, from the last probe to the next, which comes later where the budget has no
    /// room.
    Time probeInterval(int station) const;

private:
    struct Record
    {
        StationState state = StationState::On;
        int failures = 0;
        bool wentWithTheLine = false; ///< and the line is back: to be probed at once
        Time busyUntil{};             ///< 0 = has never said so
        Time since{};                 ///< when it went offline
        Time lastAnswer{};            ///< of any kind; 0 = never
        Time nextProbe{};             ///< only while offline
        Time interval{};              ///< from the last probe to the next
        Probe probe;                  ///< what the last failed request had asked for
    };

    Record recordOf(int station) const;
    StationChange failed(const TransactionReport &report);
    StationChange answered(int station, Time now);
    void noteAnswer(int station, Time now);
    bool isPaidByOthers(const Record &record) const;
    void putOff(const TransactionReport &report);
    bool isBudgeted(const Record &record) const;
    void spend(const TransactionReport &report);

    Time quietAfter(int station) const;

    OfflineSettings settings_;
    Time quiet_;
    std::map<int, Time> ownQuiet_;
    std::map<int, Record> stations_;
    Time lastAnswer_{}; ///< of any station; 0 = never
    Time spentUntil_{}; ///< until then the budget has no room for another probe
};

} // namespace plc::runtime

#endif
