#include "communication.h"

#include <algorithm>
#include <cstdio>

#include "exception_codes.h"
#include "request_map.h"

namespace plc::host {

namespace {

constexpr Time kLongestWait = std::chrono::milliseconds(50);
constexpr int kOutcomeDone = 1;

Communication *active = nullptr;

CycleSettings cycleSettings(const LinkSettings &link)
{
    CycleSettings settings;
    settings.timing = LineTiming(link.baud);
    settings.responseTimeout = link.timeout;
    settings.lateReplyGuard = link.timeout;
    settings.turnaround = link.turnaround;
    settings.removeEcho = link.echo;
    settings.strictWrites = !link.anyWriteReply;
    return settings;
}

std::string endText(AttemptEnd end, int exceptionCode)
{
    switch (end) {
    case AttemptEnd::Good:
        return "good";
    case AttemptEnd::NoReplyDue:
        return "sent, no reply due";
    case AttemptEnd::Exception:
        return "refused: " + std::string(exceptionMeaning(exceptionCode).name);
    case AttemptEnd::Unusable:
        return "no usable reply";
    case AttemptEnd::LineBusy:
        return "not sent: the line never fell silent";
    case AttemptEnd::NoReply:
        break;
    }
    return "time-out";
}

} // namespace

std::string hexText(const QByteArray &bytes)
{
    return bytes.toHex(' ').toUpper().toStdString();
}

bool isGroupedRead(const Request &request)
{
    return request.hostId == kCyclicHostId && request.hostSubId == kGroupedSubId && request.direction == 0;
}

Communication::Communication(DriverLibrary &driver, COM_INFO &info, const LinkSettings &settings,
                             Mailbox<News> &mailbox)
    : driver_(driver), info_(info), settings_(settings), mailbox_(mailbox)
{
    active = this;
    driver_.registerCallbacks(onResult, nullptr);
}

Communication::~Communication()
{
    stop();
    driver_.registerCallbacks(nullptr, nullptr);
    active = nullptr;
}

void Communication::start(int cyclicReads, bool trace)
{
    pacer_ = ScanPacer(cyclicReads, settings_.pollInterval);
    trace_ = trace;
    startedAt_ = steadyNow();
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
    port_ = &port;
    opened.set_value();
    Cycle cycle(*this, info_, cycleSettings(settings_), this);
    statistics_ = &cycle.statistics();
    News last;
    try {
        exchange(cycle);
    } catch (const Failure &failure) {
        last.portLost = failure.what();
    }
    last.statistics = cycle.statistics();
    mailbox_.put(std::move(last));
}

void Communication::exchange(Cycle &cycle)
{
    QByteArray arrived;
    while (!stopping_) {
        const Instruction todo = cycle.advance(steadyNow(), arrived);
        if (!todo.send.isEmpty()) {
            port_->send(todo.send);
            cycle.transmitted(steadyNow());
        }
        arrived = port_->receive(std::min(todo.wakeAt, steadyNow() + kLongestWait));
    }
}

Protocol *Communication::next()
{
    if (openOperations_ == 0 && pacer_.isPausing(steadyNow()))
        return nullptr;
    Protocol *const head = driver_.comCommunication(0);
    if (head)
        pacer_.stepBegun();
    return head;
}

int Communication::judge(QByteArray *reply, int length)
{
    result_ = driver_.dataCom(reply, length);
    return result_->status;
}

/// Runs inside DataCom with the driver's lists locked: only notes what it is told.
void Communication::onResult(int, int hostId, int hostSubId, int outcome)
{
    if (active && hostId == kOperationHostId)
        active->ended_.emplace_back(hostSubId, outcome);
}

void Communication::stepEnded(const StepReport &report)
{
    pacer_.stepEnded();
    if (report.request.hostId == kCyclicHostId)
        pacer_.readEnded(report.startedAt);
    // What the driver cannot know: a station refused a write whose reply nobody was to wait for, or such a write
    // never went out.
    const bool isFine = report.cause == AttemptEnd::Good || report.cause == AttemptEnd::NoReplyDue;
    if (report.done && !isFine)
        failed_.emplace(report.request.hostSubId, resultOf(report));
    News news;
    news.step = report;
    const Request &request = report.request;
    news.ordinaryRead =
        isOrdinaryRead(*result_, {request.station, request.regType, request.address, request.count});
    news.statistics = *statistics_;
    for (const auto &[ticket, outcome] : ended_) {
        OperationResult result = resultOf(report);
        const auto failure = failed_.find(ticket);
        if (failure != failed_.end())
            result = failure->second;
        else if (outcome == kOutcomeDone)
            result.end = OperationEnd::Good;
        failed_.erase(ticket);
        news.operations.push_back({ticket, result});
    }
    ended_.clear();
    mailbox_.put(std::move(news));
}

void Communication::sent(Time now, const QByteArray &frame, int attempt)
{
    trace(now, "->", hexText(frame) + (attempt > 1 ? "  (attempt " + std::to_string(attempt) + ")" : ""));
}

void Communication::received(Time now, const QByteArray &bytes)
{
    trace(now, "<-", hexText(bytes));
}

void Communication::discarded(Time now, int bytes, const char *why)
{
    trace(now, "--", std::to_string(bytes) + " bytes thrown away: " + why);
}

void Communication::attemptEnded(Time now, AttemptEnd end, int exceptionCode)
{
    trace(now, "--", endText(end, exceptionCode));
}

void Communication::trace(Time now, const char *mark, const std::string &text)
{
    if (!trace_)
        return;
    char head[32];
    std::snprintf(head, sizeof head, "%13.6f %s ", seconds(now - startedAt_), mark);
    News news;
    news.trace = head + text;
    mailbox_.put(std::move(news));
}

} // namespace plc::host
