/// @file
/// A port that is being opened, which may take as long as the system likes.
#ifndef PLC_LINE_PORT_OPENING_H
#define PLC_LINE_PORT_OPENING_H

#include <future>
#include <optional>
#include <string>

#include "runtime/line/failure.h"
#include "runtime/line/port.h"

namespace plc::runtime {

/// Opens a port on a thread of its own, so that nobody has to wait for the system. Where this object goes
/// first, that thread is left behind and closes what it has opened.
class PortOpening
{
public:
    /// @throw Failure  (port) when no thread can be made.
    PortOpening(const OpenPort &open, const LineSettings &settings);

    /// Waits until the port is open or refused, at most for @p atMost.
    /// @return whether it is.
    bool wait(Time atMost) const { return outcome_.wait_for(atMost) == std::future_status::ready; }

    /// The port, once.
    /// @throw Failure  that says why it cannot be opened.
    std::unique_ptr<Port> take();

private:
    /// Own values only: two threads that share an exception would count its owners inside the C++ library,
    /// where ThreadSanitizer sees nothing.
    struct Outcome
    {
        std::unique_ptr<Port> port;
        bool isAbsent = false;
        FailureKind kind = FailureKind::Port;
        std::string reason;
    };
    static Outcome outcomeOf(const OpenPort &open, const LineSettings &settings) noexcept;
    static Outcome tryTo(const OpenPort &open, const LineSettings &settings);

    std::future<Outcome> outcome_;
};

/// What to throw where the system makes no thread.
Failure noThreadFor(const std::string &port);

} // namespace plc::runtime

#endif
