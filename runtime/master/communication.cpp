#include "runtime/master/communication.h"

#include <algorithm>
#include <new>
#include <system_error>

#include "runtime/line/line_thread.h"
#include "runtime/master/turn.h"

namespace plc::runtime {

namespace {

constexpr Time kLongestWait = std::chrono::milliseconds(50);
/// Of the thread of the line: how long the end of communication may go unnoticed.
constexpr Time kLongestTurn = std::chrono::milliseconds(150);
constexpr Time kErrorsInterval = std::chrono::seconds(1);

} // namespace

Communication::Communication(DriverLibrary &driver, COM_INFO &info, const LinkSettings &settings,
                             Surroundings surroundings)
    : LinkOnDriver(driver, info, settings, news_), settings_(settings), surroundings_(std::move(surroundings))
{}

Communication::~Communication()
{
    Communication::stop(); // not that of a derived class, which is gone
}

void Communication::start(const std::map<int, int> &cyclicReads, bool trace)
{
    link_.begin(steadyNow(), cyclicReads, trace);
    stopping_ = false;
    std::unique_ptr<Port> port = open();
    try {
        thread_ = std::thread([this, wanted = LineSettings(settings_)](
                                  std::unique_ptr<Port> opened) mutable { run(std::move(opened), &wanted); },
                              std::move(port));
    } catch (const std::system_error &) {
        throw noThreadFor(settings_.port);
    }
}

/// The system may hold the thread that opens the port for as long as it likes. That is left behind then.
std::unique_ptr<Port> Communication::open() const
{
    PortOpening opening(surroundings_.openPort, settings_);
    while (!opening.wait(kLongestWait)) {
        if (surroundings_.isCancelled())
            throw Failure(FailureKind::Port,
                          "interrupted while port '" + settings_.port + "' was being opened");
    }
    return opening.take();
}

void Communication::stop()
{
    stopping_ = true;
    if (thread_.joinable())
        thread_.join();
}

/// @param wanted  the port; gets the identity that was found behind its name.
void Communication::run(std::unique_ptr<Port> port, LineSettings *wanted)
{
    wakeOnTime();
    try {
        surroundings_.atStart();
    } catch (const std::bad_alloc &) {
        // All goes on without.
    }
    while (port) {
        search_.opened(steadyNow());
        try {
            if (!port->identity().empty())
                wanted->identity = port->identity();
            exchange(*port);
            break;
        } catch (const Failure &failure) {
            lose(failure.what());
        } catch (const std::bad_alloc &) {
            // What was under way is in no state to go on; a port that is opened anew is.
            lose("the memory is used up");
        }
        // A name that is in use is not given to the device when it comes back.
        port.reset();
        if (!settings_.reopen)
            return;
        port = find(*wanted);
    }
}

/// Tells the loss, as soon as there is memory for it.
void Communication::lose(const char *reason)
{
    while (!stopping_) {
        try {
            link_.portLost(steadyNow(), reason);
            return;
        } catch (const std::bad_alloc &) {
            std::this_thread::sleep_for(kLongestWait);
        }
    }
}

/// Waits until the lost port is back, and tells so.
/// @return null when communication is to end.
std::unique_ptr<Port> Communication::find(const LineSettings &wanted)
{
    search_.lost(steadyNow());
    std::optional<PortOpening> opening;
    while (!stopping_) {
        try {
            const Time wakeAt = link_.advance(steadyNow(), QByteArray()).wakeAt;
            const Time until = std::min(wakeAt, steadyNow() + kLongestWait);
            if (std::unique_ptr<Port> port = tryToOpen(wanted, &opening, until)) {
                link_.portFound(steadyNow());
                return port;
            }
        } catch (const std::bad_alloc &) {
            std::this_thread::sleep_for(kLongestWait);
        }
    }
    return nullptr;
}

/// Begins a try when its time has come, or waits for the try that is under way, until @p until at the latest.
/// @return null as long as the port is not there.
std::unique_ptr<Port> Communication::tryToOpen(const LineSettings &wanted,
                                               std::optional<PortOpening> *opening, Time until)
{
    try {
        if (!*opening && steadyNow() >= search_.nextTry())
            opening->emplace(surroundings_.openPort, wanted);
        if (*opening) {
            const bool isOver = (*opening)->wait(std::max(until - steadyNow(), Time::zero()));
            return isOver ? (*opening)->take() : nullptr;
        }
        std::this_thread::sleep_for(std::min(until, search_.nextTry()) - steadyNow());
        return nullptr;
    } catch (const PortAbsent &) {
        search_.absent(steadyNow());
    } catch (const Failure &failure) {
        if (search_.refused(steadyNow(), failure.what()))
            link_.portRefused(failure.what());
    }
    opening->reset();
    return nullptr;
}

void Communication::exchange(Port &port)
{
    const std::optional<LineErrors> before = errors_;
    QByteArray arrived;
    Time errorsDue{};
    while (!stopping_) {
        if (steadyNow() >= errorsDue) {
            noteErrors(port, before);
            errorsDue = steadyNow() + kErrorsInterval;
        }
        arrived = takeTurn(link_, port, steadyNow, arrived, kLongestTurn);
    }
    noteErrors(port, before);
}

/// @param before  errors on earlier ports.
void Communication::noteErrors(Port &port, const std::optional<LineErrors> &before)
{
    if (const std::optional<LineErrors> counted = port.errors())
        errors_ = before.value_or(LineErrors()) + *counted;
    link_.noteLineErrors(errors_);
}

} // namespace plc::runtime
