/// @file
/// How plchost, tests, and virtual time, get below a Line.
#ifndef PLC_API_LINE_ACCESS_H
#define PLC_API_LINE_ACCESS_H

#include <functional>
#include <memory>
#include <vector>

#include "plcruntime/plcruntime.h"
#include "runtime/line/port.h"
#include "runtime/master/link.h"
#include "runtime/panel/registration.h"

namespace plcruntime {

/// What a line stands on. As it is, a real port and the clock of the machine.
struct LineGround
{
    /// Makes the link of each open(). Null: a link over the port, with a thread of its own.
    ///
    /// Of a link that simulates its line, Link::wait() advances the virtual time, as far as it is told or
    /// until something is to be told, and Link::take() takes what is there. All other calls take no time.
    plc::runtime::LinkFactory makeLink;
    /// The clock where no link is open; of a simulated link, its own clock.
    std::function<plc::runtime::Time()> clock = plc::runtime::steadyNow;
    /// Asked several times a second while open() waits for the port; true ends the wait. For programs that
    /// learn of an interruption in a signal handler, where nobody may call wake().
    std::function<bool()> isCancelled = [] { return false; };
    /// No frame goes out that may change anything at a station; writes are refused when they are ordered.
    bool readOnly = false;
    /// Name rows that the driver is given before those of the variables with a priority.
    std::vector<plc::runtime::PriorityRow> rows = {};
    /// What no cyclic read may reach over.
    std::vector<plc::runtime::Hole> holes = {};
    /// Gets each real port as it is opened, and gives the one that the line uses: the same, or another that
    /// stands before it. Called on the thread that opens the port, which may outlive the line. Null: the port
    /// as it is.
    std::function<std::unique_ptr<plc::runtime::Port>(std::unique_ptr<plc::runtime::Port>)> wrapPort =
        nullptr;
    /// Gets all news of the session, with the lock of the line held: it calls nothing of the line.
    std::function<void(const plc::runtime::News &)> listener = nullptr;
};

/// What is known of a variable that takes several requests, of which not all have been good yet.
struct KnownParts
{
    QByteArray raw;            ///< as VariableState::raw; what is missing means nothing
    std::vector<bool> missing; ///< by value; empty: nothing is known, or everything
    qint64 ageMs = -1;         ///< since the oldest part was read
};

/// Makes lines over another ground.
///
///     LineSettings settings;
///     settings.delivery = Delivery::Poll;      // nobody but poll(), wait() and close() advances the time
///     settings.driverFile = "...";
///     const std::unique_ptr<Line> line = LineAccess::make(settings, ground);
///     line->open();
///     line->poll(1000);                        // a second of virtual time, less where something happens
///
/// With Delivery::OwnThread the thread of the library waits on the link, so that a simulated line runs as
/// fast as it can. Tests that count on the time take Delivery::Poll.
struct LineAccess
{
    static Line *make(const LineSettings &settings, const LineGround &ground);
    /// As Line::value(), of a variable without one.
    static KnownParts partsOf(const Line &line, VariableId id);
};

} // namespace plcruntime

#endif
