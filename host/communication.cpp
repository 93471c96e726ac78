#include "communication.h"

#include <algorithm>

#include "serial_port.h"

namespace plc::host {

namespace {

constexpr Time kLongestWait = std::chrono::milliseconds(50);

} // namespace

Communication::Communication(DriverLibrary &driver, COM_INFO &info, const LinkSettings &settings)
    : settings_(settings), link_(driver, info, settings, [this](News &&news) { news_.put(std::move(news)); })
{}

Communication::~Communication()
{
    stopping_ = true;
    if (thread_)
        thread_->wait();
}

void Communication::start(const std::map<int, int> &cyclicReads, bool trace)
{
    link_.begin(steadyNow(), cyclicReads, trace);
    stopping_ = false;
    std::promise<void> opened;
    std::future<void> ready = opened.get_future();
    thread_.reset(QThread::create([this, &opened] { run(opened); }));
    thread_->start();
    try {
        ready.get();
    } catch (...) {
        stop();
        throw;
    }
}

void Communication::stop()
{
    stopping_ = true;
    if (thread_)
        thread_->wait();
    thread_.reset();
}

void Communication::run(std::promise<void> &opened)
{
    SerialPort port;
    try {
        port.open(settings_);
    } catch (const Failure &) {
        opened.set_exception(std::current_exception());
        return;
    }
    opened.set_value();
    News last;
    try {
        exchange(port);
    } catch (const Failure &failure) {
        last.portLost = failure.what();
    }
    last.statistics = link_.statistics();
    news_.put(std::move(last));
}

void Communication::exchange(SerialPort &port)
{
    QByteArray arrived;
    while (!stopping_) {
        const Instruction todo = link_.advance(steadyNow(), arrived);
        if (!todo.send.isEmpty()) {
            port.send(todo.send);
            link_.transmitted(steadyNow());
        }
        arrived = port.receive(std::min(todo.wakeAt, steadyNow() + kLongestWait));
    }
}

} // namespace plc::host
