#include "runtime/master/communication.h"

#include <algorithm>
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
    : settings_(settings), surroundings_(std::move(surroundings)), link_(driver, info, settings, news_)
{}

Communication::~Communication()
{
    Communication::stop(); // not that of a derived class, which is gone
}

void Communication::start(const std::map<int, int> &cyclicReads, bool trace)
{
    link_.begin(steadyNow(), cyclicReads, trace);
    stopping_ = false;
    const auto opening = std::make_shared<Opening>();
    std::future<void> ready = opening->done.get_future();
    try {
        thread_ = std::thread([this, opening, open = surroundings_.openPort, settings = settings_] {
            run(*opening, open, settings);
        });
    } catch (const std::system_error &) {
        throw Failure(FailureKind::Port,
                      "no thread can be made to serve port '" + settings_.port +
                          "'; the system is short of memory, or this user has too many processes");
    }
    while (ready.wait_for(kLongestWait) != std::future_status::ready) {
        if (surroundings_.isCancelled())
            abandon(*opening);
    }
    try {
        ready.get();
    } catch (...) {
        stop();
        throw;
    }
}

/// The system may hold the thread in the opening of the port for as long as it likes. It is left behind then.
/// @throw Failure  (port) unless the port has just been opened, or refused.
void Communication::abandon(Opening &opening)
{
    if (opening.isSettled.exchange(true))
        return; // the promise is about to be kept
    thread_.detach();
    throw Failure(FailureKind::Port, "interrupted while port '" + settings_.port + "' was being opened");
}

void Communication::stop()
{
    stopping_ = true;
    if (thread_.joinable())
        thread_.join();
}

/// @param open, settings  copies: while the port is being opened, this object may go.
void Communication::run(Opening &opening, const OpenPort &open, const LinkSettings &settings)
{
    std::unique_ptr<Port> port;
    std::exception_ptr refused;
    try {
        port = open(settings);
    } catch (const Failure &) {
        refused = std::current_exception();
    }
    if (opening.isSettled.exchange(true))
        return;
    if (refused) {
        opening.done.set_exception(refused);
        return;
    }
    opening.done.set_value();
    News last;
    wakeOnTime();
    surroundings_.atStart();
    try {
        exchange(*port);
    } catch (const Failure &failure) {
        last.portLost = failure.what();
    }
    news_.put(std::move(last));
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
