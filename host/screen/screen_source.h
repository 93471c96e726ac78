/// @file
/// Where the screen has from what it shows.
#ifndef PLC_SCREEN_SCREEN_SOURCE_H
#define PLC_SCREEN_SCREEN_SOURCE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/runtime_names.h"
#include "host/screen/picture.h"
#include "runtime/line/link_time.h"
#include "runtime/panel/values.h"
#include "runtime/panel/variable.h"

namespace plc::host {

/// What is known of a variable now.
struct Reading
{
    std::optional<Values> values; ///< the last good ones, whatever has happened since
    std::vector<bool> missing;    ///< which of the values were never read; empty = none
    std::optional<Time> age;
    std::string state;  ///< "good", "refused: 02 illegal data address"
    std::string reason; ///< a line for people where it is not good: why, and what to try
    Health health = Health::Absent;
    bool isUnread = false; ///< nobody has answered for it yet
};

struct StationFigures
{
    Counters counted;
    std::string state; ///< "on", "offline", "switched off"
    Health health = Health::Good;
    /// From the begin of a request to the end of its reply, where the first attempt was answered.
    Time median{};
    Time percentile99{};
    Time longest{};
};

struct LineFigures
{
    Time running{};           ///< since the line was opened
    Counters counted;         ///< of the whole line
    std::optional<Time> scan; ///< how long the last one took; none: there was none yet
    std::string portLost;     ///< why; empty while the port is there
    std::vector<StationFigures> stations;
};

/// Attempts that have got no good reply though one was due.
std::uint64_t errorsOf(const Counters &counted);

class ScreenSource
{
public:
    virtual ~ScreenSource() = default;

    virtual int count() const = 0;
    /// @param number  0 to count() - 1, here and below.
    virtual const Variable &variable(int number) const = 0;
    virtual int station(int number) const = 0;
    virtual Reading reading(int number) const = 0;
    virtual LineFigures figures() const = 0;
};

} // namespace plc::host

#endif
