#include "runtime/api/line_private.h"

#include <cxxabi.h>

#include <algorithm>
#include <exception>
#include <new>
#include <system_error>
#include <utility>

#include "runtime/api/public_values.h"
#include "runtime/api/reasons.h"
#include "runtime/api/settings.h"
#include "runtime/line/failure.h"
#include "runtime/line/setting_limits.h"
#include "runtime/panel/order_checks.h"
#include "runtime/panel/utf8.h"

namespace plcruntime {

namespace {

using plc::runtime::Failure;
using plc::runtime::FailureKind;
using plc::runtime::News;
using plc::runtime::Session;
using plc::runtime::Time;
using std::chrono::milliseconds;

/// How long a change of values alone may go unnoticed: it wakes nobody.
constexpr Time kSlice = milliseconds(50);
/// The same where nobody wants to hear of values. Every wake-up takes time from the thread of the line.
constexpr Time kLongSlice = milliseconds(200);
/// From one look at the ages of all variables to the next.
constexpr Time kLookInterval = milliseconds(500);

qint64 microseconds(Time time)
{
    return std::chrono::duration_cast<std::chrono::microseconds>(time).count();
}

qint64 inMilliseconds(Time time)
{
    return std::chrono::duration_cast<milliseconds>(time).count();
}

Counters publicCounters(int station, const plc::runtime::Counters &counted)
{
    Counters counters;
    counters.station = station;
    counters.requests = counted.requests;
    counters.retries = counted.retries;
    counters.good = counted.good;
    counters.timeouts = counted.timeouts;
    counters.bad = counted.bad;
    counters.exceptions = counted.exceptions;
    counters.unanswered = counted.unanswered;
    counters.lineBusy = counted.lineBusy;
    counters.ignoredReplies = counted.ignoredReplies;
    counters.foreignBytes = counted.foreignBytes;
    counters.bytesOut = counted.bytesOut;
    counters.bytesIn = counted.bytesIn;
    return counters;
}

Statistics publicStatistics(const Session &session)
{
    const plc::runtime::Statistics counted = session.statistics();
    Statistics statistics;
    statistics.total = publicCounters(-1, counted.total);
    for (const auto &[station, counters] : counted.stations)
        statistics.stations.append(publicCounters(station, counters));
    statistics.runningUs = microseconds(session.runningFor());
    if (counted.lineErrors) {
        statistics.hasLineErrors = true;
        statistics.parityErrors = counted.lineErrors->parity;
        statistics.framingErrors = counted.lineErrors->framing;
        statistics.overruns = counted.lineErrors->overruns;
        statistics.breaks = counted.lineErrors->breaks;
    }
    statistics.latenessMedianUs = microseconds(counted.lateness.percentile(50));
    statistics.latenessP99Us = microseconds(counted.lateness.percentile(99));
    statistics.latenessMostUs = microseconds(counted.lateness.most());
    for (const auto &[station, requests] : counted.otherMaster) {
        ForeignRequests foreign;
        foreign.station = station;
        foreign.requests = requests;
        statistics.foreignRequests.append(foreign);
    }
    return statistics;
}

Frame publicFrame(const plc::runtime::FrameNews &news)
{
    Frame frame;
    switch (news.kind) {
    case plc::runtime::FrameNews::Kind::Sent:
        frame.kind = FrameKind::Sent;
        break;
    case plc::runtime::FrameNews::Kind::Received:
        frame.kind = FrameKind::Received;
        break;
    case plc::runtime::FrameNews::Kind::Discarded:
        frame.kind = FrameKind::Discarded;
        break;
    case plc::runtime::FrameNews::Kind::AttemptEnd:
        frame.kind = FrameKind::AttemptEnd;
        break;
    }
    frame.atUs = microseconds(news.at);
    frame.bytes = news.bytes;
    frame.attempt = news.attempt;
    frame.count = news.count;
    frame.text = plc::runtime::fromUtf8(news.text);
    return frame;
}

LogLine publicLine(bool isWarning, const std::string &text)
{
    LogLine line;
    line.isWarning = isWarning;
    line.text = plc::runtime::fromUtf8(text);
    return line;
}

/// Calls the handler; what it throws ends here.
/// @return what it has thrown, for people; empty for nothing.
std::string call(EventHandler handler, void *context, const Event &event)
{
    try {
        handler(context, event);
    } catch (const std::exception &exception) {
        return std::string("the event handler has thrown: ") + exception.what();
    } catch (abi::__forced_unwind &) {
        throw; // a cancelled thread
    } catch (...) {
        return "the event handler has thrown something that is no std::exception";
    }
    return std::string();
}

/// The error of a call that was interrupted, in the words of what it has met.
/// @param otherwise  where that has none.
Error interruption(const Error &otherwise)
{
    try {
        throw;
    } catch (const Failure &failure) {
        return Error(ErrorKind::Interrupted, plc::runtime::fromUtf8(failure.what()));
    } catch (...) {
        return otherwise;
    }
}

} // namespace

class Line::Private::Waiting
{
public:
    explicit Waiting(Private *line)
        : line_(line), wakes_(line->wakes), isWokenAlready_(std::exchange(line->isWakePending, false))
    {
        ++line_->waiting;
    }
    ~Waiting() { --line_->waiting; }
    Waiting(const Waiting &) = delete;
    Waiting &operator=(const Waiting &) = delete;

    bool isWoken() const { return isWokenAlready_ || line_->wakes != wakes_; }

private:
    Private *line_;
    std::uint64_t wakes_;
    bool isWokenAlready_;
};

Line::Private::Private(const LineSettings &lineSettings, LineGround lineGround, PortOpener portOpener,
                       void *portContext)
    : settings(lineSettings), variables(settings), ground(std::move(lineGround)), opener(portOpener),
      context(portContext)
{}

Line::Private::~Private()
{
    try {
        close();
    } catch (const std::exception &) {
        // Nothing is sent any more, and for the rest there is no memory.
    }
    {
        const Lock lock(mutex);
        isOver = true;
    }
    changed.notify_all();
    if (delivery.joinable())
        delivery.join();
    session.reset(); // while the driver is there
}

/// Of a real port.
plc::runtime::Surroundings Line::Private::surroundings()
{
    plc::runtime::Surroundings real = plc::api::portSurroundings(settings, opener, context, notes, [this] {
        return isOpeningCancelled.load() || ground.isCancelled();
    });
    if (ground.wrapPort) {
        real.openPort = [open = real.openPort, wrap = ground.wrapPort](
                            const plc::runtime::LineSettings &line) { return wrap(open(line)); };
    }
    return real;
}

/// Waits without the lock, which nobody needs to hold: what it makes is not the line's yet.
/// @throw Failure  where it cannot be; then it has made nothing.
void Line::Private::start(const plc::runtime::LinkSettings &link,
                          const std::vector<plc::runtime::PriorityRow> &rows,
                          std::unique_ptr<plc::runtime::OwnDriver> *ownDriver, std::unique_ptr<Session> *made)
{
    try {
        *ownDriver = std::make_unique<plc::runtime::OwnDriver>(plc::api::driverFile(settings));
        plc::runtime::DriverLibrary &library = (*ownDriver)->library();
        if (ground.makeLink)
            *made = std::make_unique<Session>(library, link, ground.makeLink);
        else
            *made = std::make_unique<Session>(library, link, surroundings());
        (*made)->registerVariables({}, rows);
        (*made)->start();
    } catch (...) {
        made->reset();
        ownDriver->reset();
        throw;
    }
}

void Line::Private::open()
{
    Lock lock(mutex);
    if (isEnding)
        end();
    if (life != Life::Closed)
        throw Error(ErrorKind::Usage, QString::fromLatin1("the line is open already"));
    lastPortLost.clear();
    const plc::runtime::LinkSettings link = linkSettings();
    std::vector<plc::runtime::PriorityRow> rows = ground.rows;
    const std::vector<plc::runtime::PriorityRow> asked = variables.priorityRows();
    rows.insert(rows.end(), asked.begin(), asked.end());
    const Error interrupted(ErrorKind::Interrupted, QString::fromLatin1("open() was interrupted"));
    const Waiting waitingHere(this);
    if (waitingHere.isWoken())
        throw Error(interrupted);
    if (settings.delivery == Delivery::OwnThread && !delivery.joinable()) {
        try {
            delivery = std::thread([this] { runDelivery(); });
        } catch (const std::system_error &) {
            throw Error(ErrorKind::Full, QString::fromLatin1("no thread can be made to deliver events"));
        }
    }
    life = Life::Opening;
    isOpeningCancelled = false;
    std::unique_ptr<plc::runtime::OwnDriver> ownDriver;
    std::unique_ptr<Session> made;
    try {
        lock.unlock();
        start(link, rows, &ownDriver, &made);
        lock.lock();
        if (!isOpeningCancelled) {
            driver = std::move(ownDriver);
            session = std::move(made);
            begin(rows);
        }
    } catch (...) {
        if (!lock.owns_lock())
            lock.lock();
        session.reset();
        driver.reset();
        life = Life::Closed;
        changed.notify_all();
        takeNotes();
        if (isOpeningCancelled || ground.isCancelled())
            throw interruption(interrupted);
        throw;
    }
    life = isOpeningCancelled ? Life::Closed : Life::Open;
    changed.notify_all();
    takeNotes();
    if (isOpeningCancelled) {
        made.reset();
        throw Error(interrupted);
    }
    try {
        deliver(lock);
    } catch (const std::exception &) {
        // The line is open, and the events come with the next call.
    }
}

/// What a session is told when it has started.
void Line::Private::begin(const std::vector<plc::runtime::PriorityRow> &rows)
{
    endedOrders = 0;
    session->setListener([this](const News &news) { hear(news); });
    session->setTrace(events.wants(EventFrame));
    for (const int station : switchedOff)
        session->setStationEnabled(station, false);
    nextLook = session->now() + kLookInterval;
    variables.setRows(rows);
    variables.show(*session);
}

void Line::Private::close()
{
    Lock lock(mutex);
    const bool isInHandler = isDelivering && deliverer == std::this_thread::get_id();
    if (life == Life::Opening) {
        isOpeningCancelled = true;
        changed.wait(lock, [this] { return life != Life::Opening; });
    }
    if (life == Life::Open) {
        life = Life::Closing;
        session->wake();
        changed.notify_all();
        changed.wait(lock, [this] { return !isWaitedOn; });
        isEnding = true;
    }
    if (isEnding)
        end();
    // Another call may be closing the line; and another may have opened it again.
    while (!isInHandler && ((life == Life::Closing && !isEnding) ||
                            (life == Life::Closed && (isDelivering || !events.isEmpty())))) {
        if (deliver(lock) == 0)
            changed.wait(lock);
    }
}

/// Ends the session, and takes from it what is to stay. Where memory runs out, nothing is sent any more, and
/// the next call of open() or close() does the rest.
void Line::Private::end()
{
    changed.notify_all();
    session->stop();
    noteEndedOrders();
    lastStatistics = publicStatistics(*session);
    lastPortLost = session->portLost();
    variables.keep(*session);
    session.reset();
    driver.reset();
    life = Life::Closed;
    isEnding = false;
    ++turns;
}

void Line::Private::setEventHandler(EventHandler newHandler, void *newContext, int wanted)
{
    Lock lock(mutex);
    handler = newHandler;
    handlerContext = newContext;
    events.want(newHandler ? wanted : 0);
    if (session)
        session->setTrace(events.wants(EventFrame));
    changed.notify_all();
    if (!isDelivering || deliverer == std::this_thread::get_id())
        return;
    // One event at most is with the handler before.
    const std::uint64_t before = told;
    changed.wait(lock, [this, before] { return !isDelivering || told != before; });
}

Time Line::Private::untilOf(int timeoutMs) const
{
    return timeoutMs < 0 ? Time::max() : now() + milliseconds(timeoutMs);
}

int Line::Private::poll(int timeoutMs)
{
    Lock lock(mutex);
    const Waiting waitingHere(this);
    const Time until = untilOf(timeoutMs);
    const std::uint64_t before = turns;
    for (bool isFirst = true;; isFirst = false) {
        if (isFirst && session)
            digest();
        const int delivered = deliver(lock);
        const bool hasHappened = !mayDeliver() && turns != before;
        if (delivered > 0 || hasHappened || waitingHere.isWoken() || now() >= until)
            return delivered;
        if (!isOpen() && ground.makeLink)
            return delivered;
        turn(lock, until);
    }
}

OrderResult Line::Private::wait(OrderId order, int timeoutMs)
{
    Lock lock(mutex);
    const Waiting waitingHere(this);
    const Time until = untilOf(timeoutMs);
    while (orders.isOpen(order) && isOpen() && !waitingHere.isWoken() && now() < until) {
        turn(lock, until);
        deliver(lock);
    }
    deliver(lock);
    return orders.result(order);
}

void Line::Private::wake()
{
    {
        const Lock lock(mutex);
        ++wakes;
        isWakePending = isWakePending || waiting == 0;
        if (life == Life::Opening)
            isOpeningCancelled = true;
        if (session)
            session->wake();
    }
    changed.notify_all();
}

/// With Delivery::OwnThread that thread alone delivers; nobody does so inside a handler.
bool Line::Private::mayDeliver() const
{
    const bool isHere =
        settings.delivery == Delivery::Poll || std::this_thread::get_id() == delivery.get_id();
    return isHere && !isDelivering;
}

/// Waits until something may have changed, at most until @p until.
void Line::Private::turn(Lock &lock, Time until)
{
    // What a scan is made of is learned from the first one.
    const bool isCurious =
        events.wants(EventValue) || events.wants(EventQuality) || settings.pollIntervalMs > 0;
    const Time longest = isCurious ? kSlice : kLongSlice;
    const Time slice = std::min(until - std::min(until, now()), longest);
    if (isWaitedOn || !isOpen()) {
        changed.wait_for(lock, slice);
        return;
    }
    Session &waitedFor = *session;
    const Time end = std::min(now() + slice, std::max(waitedFor.nextDeadline(), now()));
    struct Office
    {
        Office(Private *newLine, Lock *newLock) : line(newLine), lock(newLock)
        {
            line->isWaitedOn = true;
            lock->unlock();
        }
        ~Office()
        {
            lock->lock();
            line->isWaitedOn = false;
            line->changed.notify_all(); // they look when the news are digested
        }
        Private *line;
        Lock *lock;
    };
    {
        const Office office(this, &lock);
        waitedFor.waitForNews(end);
    }
    if (isOpen())
        digest();
}

/// Lets the session digest its news, and looks at what changes by itself. Where it throws, the rest comes
/// with the next call.
void Line::Private::digest()
{
    try {
        digestAll();
    } catch (...) {
        hasMissed = true;
        throw;
    }
}

void Line::Private::digestAll()
{
    if (hasMissed) {
        put(EventLog, now(), publicLine(true, "the memory was used up; events may be missing"));
        plc::api::VariableBook::Changes changes;
        for (const VariableId id : variables.ids())
            changes.push_back({id, true, true});
        noteChanges(changes);
        hasMissed = false;
    }
    session->digestNews();
    noteEndedOrders();
    takeNotes();
    if (now() < nextLook)
        return;
    nextLook = now() + kLookInterval;
    noteChanges(variables.look(session.get(), now()));
}

void Line::Private::takeNotes()
{
    for (const LogLine &line : notes->take())
        put(EventLog, now(), line);
}

/// News that the session has digested.
void Line::Private::hear(const News &news)
{
    noteEndedOrders();
    if (news.frame)
        put(EventFrame, news.frame->at, publicFrame(*news.frame));
    else if (!news.gap.empty())
        put(EventLog, now(), publicLine(true, news.gap));
    // Before what it means for each variable.
    if (news.station)
        noteStation(*news.station);
    if (news.port)
        notePort(*news.port);
    noteChanges(variables.note(news, *session));
    if (ground.listener)
        ground.listener(news);
}

void Line::Private::noteEndedOrders()
{
    std::uint64_t count = endedOrders;
    const std::vector<plc::runtime::Ticket> tickets = session->endedSince(&count);
    endedOrders = count - tickets.size();
    for (const plc::runtime::Ticket ticket : tickets) {
        if (plc::api::OpenOrder *const order = orders.find(ticket)) {
            noteEnd(ticket, order);
            orders.close(ticket);
        }
        ++endedOrders; // not before all has been done that throws
    }
}

/// May be called again where it throws.
void Line::Private::noteEnd(plc::runtime::Ticket ticket, plc::api::OpenOrder *order)
{
    const plc::runtime::OrderResult result = session->result(ticket);
    const int station = session->stationOf(order->variable);
    OrderResult ended = order->known;
    ended.end = plc::api::publicEnd(result.end);
    ended.exceptionCode = result.exceptionCode;
    ended.attempts = result.attempts;
    ended.endedUs = microseconds(now());
    ended.reason = plc::api::reasonOf(result, station, session->settings().rulesOf(station).responseTimeout);
    if (ended.end == OrderEnd::Good && !ended.isWrite) {
        const QByteArray bytes = session->bytes(order->variable);
        ended.values = plc::api::publicValues(order->variable, bytes);
        ended.raw = plc::runtime::turnedRound(bytes, order->variable.area->unit);
    }
    orders.keep(ended);
    ++turns;
    if (ended.isWrite)
        noteChanges(variables.noteWritten(order->variable, ended.end == OrderEnd::Good, *session));
    if (!std::exchange(order->isEndNoted, true))
        noteChanges(ended.isWrite ? variables.notePending(ended.variable, -1, session.get(), now())
                                  : variables.noteReading(ended.variable, result, *session));
    put(EventOrder, now(), std::move(ended));
}

void Line::Private::noteChanges(const plc::api::VariableBook::Changes &changes)
{
    for (const plc::api::VariableChange &change : changes) {
        plc::api::QueuedEvent event;
        event.at = now();
        event.variable = change.id;
        for (const EventKind kind : {EventValue, EventQuality}) {
            if (!(kind == EventValue ? change.value : change.quality))
                continue;
            event.kind = kind;
            events.put(plc::api::QueuedEvent(event));
        }
    }
    turns += changes.size();
}

void Line::Private::noteStation(const plc::runtime::StationNews &news)
{
    StationChange change;
    change.station = news.station;
    change.state = news.offline ? StationState::Offline : StationState::On;
    change.failures = news.offline ? news.failures : 0;
    change.lastedMs = news.offline ? 0 : inMilliseconds(news.lasted);
    change.nextProbeMs = news.offline ? inMilliseconds(news.nextProbe) : 0;
    put(EventStation, now(), change);
}

void Line::Private::notePort(const plc::runtime::PortNews &news)
{
    const bool isBack = news.change == plc::runtime::PortNews::Change::Back;
    PortChange change;
    change.state = isBack ? PortState::Open : PortState::Lost;
    change.isRefused = news.change == plc::runtime::PortNews::Change::Refused;
    change.lastedMs = isBack ? inMilliseconds(news.lasted) : 0;
    change.reason = plc::runtime::fromUtf8(news.reason);
    put(EventPort, now(), change);
}

void Line::Private::put(EventKind kind, Time at, decltype(plc::api::QueuedEvent::detail) &&detail)
{
    plc::api::QueuedEvent event;
    event.kind = kind;
    event.at = at;
    event.detail = std::move(detail);
    events.put(std::move(event));
    ++turns;
}

/// Hands the events that wait to the handler; those that come meanwhile wait for the next time.
int Line::Private::deliver(Lock &lock)
{
    if (!mayDeliver())
        return 0;
    isDelivering = true;
    deliverer = std::this_thread::get_id();
    struct Office
    {
        ~Office()
        {
            if (!lock->owns_lock())
                lock->lock();
            line->isDelivering = false;
            line->changed.notify_all();
        }
        Private *line;
        Lock *lock;
    };
    const Office office{this, &lock};
    int count = 0;
    for (std::size_t left = events.size(); left > 0 && events.front(); --left, ++count)
        tellNext(lock);
    return count;
}

/// Takes the oldest event and tells it. Where it throws before the handler is called, the event is still
/// there.
void Line::Private::tellNext(Lock &lock)
{
    const VariableId variable = events.front()->variable;
    const VariableState state =
        variable == 0 ? VariableState() : variables.state(variable, session.get(), now());
    const plc::api::QueuedEvent queued = *events.take();
    if (!handler)
        return;
    Event event;
    event.kind = queued.kind;
    event.atUs = microseconds(queued.at);
    event.order = std::get_if<OrderResult>(&queued.detail);
    event.station = std::get_if<StationChange>(&queued.detail);
    event.port = std::get_if<PortChange>(&queued.detail);
    event.frame = std::get_if<Frame>(&queued.detail);
    event.log = std::get_if<LogLine>(&queued.detail);
    if (variable != 0) {
        if (state.id == 0)
            return; // removed meanwhile
        event.variable = &state;
    }
    const EventHandler called = handler;
    void *const calledWith = handlerContext;
    lock.unlock();
    const std::string thrown = call(called, calledWith, event);
    lock.lock();
    ++told;
    changed.notify_all();
    if (thrown.empty())
        return;
    put(EventLog, now(), publicLine(true, thrown));
}

/// The thread of the library.
void Line::Private::runDelivery()
{
    Lock lock(mutex);
    while (!isOver) {
        if (events.isEmpty() && !isOpen()) {
            changed.wait(lock);
            continue;
        }
        try {
            if (isOpen())
                turn(lock, Time::max());
            deliver(lock);
        } catch (const std::exception &) {
            hasMissed = true;
            changed.wait_for(lock, kSlice); // for memory that others give back
        }
    }
}

void Line::Private::showScreen()
{
    if (isOpen())
        variables.show(*session);
}

OrderId Line::Private::order(VariableId id, const QList<Value> *values, int deadlineMs)
{
    if (!isOpen())
        throw Error(ErrorKind::NotOpen, QString::fromLatin1("the line is not open"));
    if (events.isFull() || orders.openCount() >= plc::runtime::OrderLedger::kMostOpen)
        throw Error(
            ErrorKind::Full,
            QString::fromLatin1("%1 orders are open, or have ended and wait to be told; give it again "
                                "when some are done")
                .arg(static_cast<int>(plc::runtime::OrderLedger::kMostOpen)));
    const plc::runtime::Variable *const variable = variables.variable(id);
    if (!variable)
        throw Failure(FailureKind::Usage, "there is no variable " + std::to_string(id));
    const Time deadline = deadlineMs < 0 ? Time::max() : now() + milliseconds(deadlineMs);
    plc::api::OpenOrder order;
    order.variable = *variable;
    order.known.variable = id;
    order.known.isWrite = values != nullptr;
    if (values)
        order.known.values = *values;
    plc::api::OrderBook::Room room = orders.makeRoom(std::move(order));
    const plc::runtime::Ticket ticket =
        values ? session->write(*variable, plc::api::writtenValues(*variable, *values), deadline)
               : session->read(*variable, deadline);
    const OrderId given = orders.open(ticket, std::move(room));
    try {
        if (values)
            noteChanges(variables.notePending(id, 1, session.get(), now()));
        noteEndedOrders();
    } catch (const std::bad_alloc &) {
        hasMissed = true; // and the order is given
    }
    // Who waits on the link does not know of its deadline.
    if (deadline != Time::max())
        session->wake();
    changed.notify_all();
    return given;
}

plc::runtime::LinkSettings Line::Private::linkSettings() const
{
    plc::runtime::LinkSettings link = plc::api::linkSettings(settings);
    link.readOnly = ground.readOnly;
    link.holes = ground.holes;
    return link;
}

void Line::Private::checkOrder(VariableId id, const QList<Value> *values) const
{
    const plc::runtime::Variable *const variable = variables.variable(id);
    if (!variable)
        throw Failure(FailureKind::Usage, "there is no variable " + std::to_string(id));
    const plc::runtime::LinkSettings link = linkSettings();
    if (values)
        plc::runtime::checkWrite(*variable, plc::api::writtenValues(*variable, *values), link,
                                 session ? session->knownRegisters() : plc::runtime::KnownRegisters());
    else
        plc::runtime::checkRead(*variable, link);
}

void Line::Private::setStationEnabled(int station, bool enabled)
{
    if (station < plc::runtime::kStationLimits.least || station > plc::runtime::kStationLimits.most)
        throw Failure(FailureKind::Usage,
                      "a station to be switched off or on is 1 to 247, not " + std::to_string(station));
    const bool wasOff = switchedOff.count(station) > 0;
    if (!enabled)
        switchedOff.insert(station);
    if (session) {
        session->setStationEnabled(station, enabled);
        noteEndedOrders();
        variables.interrupt(station);
        noteChanges(variables.look(session.get(), now()));
    }
    if (enabled)
        switchedOff.erase(station);
    if (wasOff != enabled)
        return;
    StationChange change;
    change.station = station;
    change.state = enabled ? StationState::On : StationState::SwitchedOff;
    put(EventStation, now(), change);
    changed.notify_all();
}

Statistics Line::Private::statistics() const
{
    return session ? publicStatistics(*session) : lastStatistics;
}

} // namespace plcruntime
