/// @file
/// Which rate and parity a line has, found by listening alone.
#ifndef PLC_CAPTURE_SETTING_SEARCH_H
#define PLC_CAPTURE_SETTING_SEARCH_H

#include <QByteArray>

#include <algorithm>
#include <utility>
#include <vector>

#include "host/capture/listener.h"
#include "host/runtime_names.h"
#include "runtime/line/line_settings.h"

namespace plc::host {

struct LineSetup
{
    int baud = 0;
    Parity parity = Parity::Even;
};

/// All settings that are tried, the likely first. Stop bits make no difference to who listens.
std::vector<LineSetup> likelySetups();

/// Says which setting to listen with, and learns from what is heard. Without a clock.
///
/// Some good frames in a row, with not a byte between them, make a setting the right one. With a wrong parity
/// whole frames get through whose bytes all happen to fit, and what others say lies between them in pieces.
/// A setting is left when its time is over, or when many bytes have come and no good frame. Each round
/// through the settings gives them twice the time, since a master may ask seldom. The time is at least that
/// of the longest request and the longest reply.
class SettingSearch
{
public:
    static constexpr Time kFirstWindow = std::chrono::seconds(1);
    static constexpr Time kLongestWindow = std::chrono::seconds(16);
    static constexpr int kEnoughBytes = 600; ///< two of the longest frames, and what came before the first
    static constexpr int kEnoughFrames = 4;

    enum class Step
    {
        Listen, ///< with the same setting
        Next,   ///< current() is another one now: begin() is called when the port has it
        Found   ///< current() is that of the line
    };

    /// @param setups  at least one.
    explicit SettingSearch(std::vector<LineSetup> setups) : setups_(std::move(setups))
    {
        begin(Time::zero());
    }

    const LineSetup &current() const { return setups_[at_]; }
    /// The port listens with current() from @p now on.
    void begin(Time now);
    /// Bytes that came at @p now, or none that came until then.
    Step take(const QByteArray &bytes, Time now);
    /// The port cannot have current(): goes on to the next setting.
    void skip();
    /// When take() is to be called at the latest.
    Time wakeAt() const { return std::min(endsAt_, listener_.wakeAt()); }
    int rounds() const { return rounds_; }

private:
    Time window() const;

    std::vector<LineSetup> setups_;
    std::size_t at_ = 0;
    int rounds_ = 0;
    Time window_ = kFirstWindow; ///< of this round, for fast settings
    Time endsAt_{0};
    Listener listener_{9600, true};
    int goodFrames_ = 0;
    int inARow_ = 0; ///< good frames with nothing between them
    int bytes_ = 0;  ///< since the last good frame
};

} // namespace plc::host

#endif
