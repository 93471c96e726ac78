/// @file
/// What the runtime asks of a serial port.
#ifndef PLC_LINE_PORT_H
#define PLC_LINE_PORT_H

#include <QByteArray>

#include <functional>
#include <memory>
#include <optional>

#include "runtime/line/line_errors.h"
#include "runtime/line/line_settings.h"
#include "runtime/line/link_time.h"

namespace plc::runtime {

/// A serial port that is open. All calls on one thread, which need not be the thread that opened it.
class Port
{
public:
    virtual ~Port() = default;

    /// Transmits @p bytes in one go and returns when the system has taken them all.
    /// @throw Failure  (port) when the port is lost.
    virtual void send(const QByteArray &bytes) = 0;

    /// Waits for bytes until @p until at the latest.
    /// @return what has arrived, at once when there is something; empty when the time is over.
    /// @throw Failure  (port) when the port is lost.
    virtual QByteArray receive(Time until) = 0;

    /// What the device is told by when it is lost and looked for, for LineSettings::identity alone; empty:
    /// nothing but its name.
    virtual std::string identity() const { return std::string(); }

    /// Bytes that arrive before @p until are of no use to the caller yet: the port may leave them to the
    /// system and the thread asleep. A port for which that saves nothing returns at once.
    virtual void rest(Time until) { (void)until; }

    /// Errors that the port has noticed on the line since it was opened; nothing where it does not count
    /// them.
    virtual std::optional<LineErrors> errors() { return std::nullopt; }
};

/// Opens the port of the settings, and throws away what it has received so far; called on a thread of its
/// own. May take as long as the system likes.
/// @throw Failure  (port) that says why it cannot be opened; PortAbsent where nothing is there.
using OpenPort = std::function<std::unique_ptr<Port>(const LineSettings &)>;

} // namespace plc::runtime

#endif
