/// @file
/// What is known of variables that are read over and over, besides their values.
#ifndef PLC_PANEL_READ_STATE_H
#define PLC_PANEL_READ_STATE_H

#include <cstdint>
#include <optional>
#include <vector>

#include "runtime/line/link_time.h"
#include "runtime/master/operation.h"

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
    Offline      ///< its station does not answer and is left alone but for a trial now and then
};

/// State of a variable whose last reading ended so.
VariableState stateOf(OperationEnd end);

/// What is known of a cyclically read variable besides its value.
struct WatchStatus
{
    VariableState state = VariableState::NeverRead;
    OperationResult last;    ///< of the last attempt to read it
    bool hasValue = false;   ///< it was read completely at least once
    Time age{};              ///< since its oldest part was read; only with hasValue
    std::uint64_t scans = 0; ///< how often each part of it was asked for at least, with any result
};

/// The history of one cyclic request.
class ReadState
{
public:
    /// The request has ended; one that was never sent does not count.
    void note(const StepReport &report);

    /// Its station is left alone from now on, offline or switched off, or asked again.
    void setServed(bool served);

private:
    friend WatchStatus statusOf(const std::vector<const ReadState *> &parts, Time now, Time timeout);
    bool isStale(Time now, Time timeout) const;

    OperationResult last_;
    bool hasValue_ = false;
    Time lastGood_{};
    Time lastEnd_{};
    /// From the end before to the last answer, which is how long a scan takes; nothing before the second. No distance in
    /// which its station was left alone counts.
    std::optional<Time> revisit_;
    bool isServed_ = true;
    bool wasLeftAlone_ = false; ///< since the last end
    std::uint64_t times_ = 0;
};

/// Status of a variable that is read in these parts; the worst of them counts. Whether its station is asked at all
/// is for the caller to say.
WatchStatus statusOf(const std::vector<const ReadState *> &parts, Time now, Time timeout);

} // namespace plc::runtime

#endif
