/// @file
/// What is known of variables that are read over and over, besides their values.
#ifndef PLC_PANEL_READ_STATE_H
#define PLC_PANEL_READ_STATE_H

#include <cstdint>
#include <optional>
#include <vector>

#include "runtime/line/link_time.h"
#include "runtime/master/order.h"
#include "runtime/master/station_state.h"

namespace plc::runtime {

enum class VariableState
{
    NeverRead,
    Good,
    Stale,   ///< the last answer was good and is too long ago
    Refused, ///< by the station
    NoAnswer,
    BadReply,
    LineBusy,    ///< the line never fell silent
    SwitchedOff, ///< by the user: nobody asks its station
    Offline,     ///< its station does not answer and is left alone but for a probe now and then
    PortLost     ///< nobody can be asked until the port is back
};

/// Age from which on a good value is stale at the earliest, however fast a scan is.
/// @param timeout  of its station.
Time staleAtLeast(Time timeout);

/// State of a variable whose last reading ended so.
VariableState stateOf(OrderEnd end);

/// What is known of a cyclically read variable besides its value.
struct WatchStatus
{
    VariableState state = VariableState::NeverRead;
    OrderResult last;        ///< of the last attempt to read it
    bool hasValue = false;   ///< it was read completely at least once
    Time age{};              ///< since its oldest part was read; only with hasValue
    std::uint64_t scans = 0; ///< how often each part of it was asked for at least, with any result
    /// A single value of it comes from two requests or more, so that its halves may not belong together.
    bool isInPieces = false;
};

/// A station that is not asked, and a port that is lost, count for more than how the last reading ended.
void overrule(WatchStatus *status, StationState station, bool isPortLost);

/// The history of one cyclic request.
class ReadState
{
public:
    /// The request has ended. A request that was never sent, or ended with its port, does not count.
    /// @param station  state of its station.
    void note(const TransactionReport &report, StationState station);

    /// Its station has gone offline, has come back or was switched, or the port was lost: the time between
    /// the last end and the next tells nothing of how long a scan takes.
    void interrupt() { isInterrupted_ = true; }

    /// A reading of it was good.
    bool hasValue() const { return hasValue_; }
    /// When the last of these ended; only with hasValue().
    Time lastGood() const { return lastGood_; }

private:
    friend WatchStatus statusOf(const std::vector<const ReadState *> &parts, Time now, Time timeout);
    bool isStale(Time now, Time timeout) const;

    OrderResult last_;
    bool hasValue_ = false;
    Time lastGood_{};
    Time lastEnd_{};
    /// How long a scan takes: from the end before to the last answer, where no interruption lay between.
    /// Nothing before the second end.
    std::optional<Time> revisit_;
    bool isInterrupted_ = false; ///< since the last end while its station was asked
    std::uint64_t times_ = 0;
};

/// Status of a variable that is read in these parts; the worst of them counts. The caller adds whether its
/// station is asked at all.
WatchStatus statusOf(const std::vector<const ReadState *> &parts, Time now, Time timeout);

} // namespace plc::runtime

#endif
