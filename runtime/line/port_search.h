/// @file
/// When a lost port is looked for again, and what is worth telling of it.
#ifndef PLC_LINE_PORT_SEARCH_H
#define PLC_LINE_PORT_SEARCH_H

#include <string>

#include "runtime/line/link_time.h"

namespace plc::runtime {

/// The distance from one try to the next doubles, since nobody knows whether the port is back in a moment or
/// tomorrow. Told what happens and when; it has neither clock nor port. Not locked.
class PortSearch
{
public:
    static constexpr Time kFirstDistance = std::chrono::milliseconds(100);
    static constexpr Time kLongestDistance = std::chrono::seconds(2);

    /// The port is open.
    void opened(Time now) { openedAt_ = now; }
    /// The port is lost. Where it was open for less than the longest distance, the distances go on growing: a
    /// loose plug must not keep everybody busy.
    void lost(Time now);

    /// When the port is to be tried next.
    Time nextTry() const { return nextTry_; }

    /// Nothing was there.
    void absent(Time now);
    /// Something was there that cannot be opened.
    /// @return whether people are to be told: the reason is not that of the try before.
    bool refused(Time now, const std::string &reason);

private:
    void putOff(Time now);

    Time openedAt_{};
    Time distance_ = kFirstDistance;
    Time nextTry_{};
    std::string reason_; ///< of the last try; empty where nothing was there
};

} // namespace plc::runtime

#endif
