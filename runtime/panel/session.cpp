#include "runtime/panel/session.h"

#include <algorithm>
#include <iterator>
#include <new>

#include "core/register_types.h"
#include "runtime/line/setting_limits.h"
#include "runtime/master/communication.h"
#include "runtime/master/request_ids.h"
#include "runtime/master/trace_line.h"
#include "runtime/panel/order_checks.h"
#include "runtime/panel/pieces.h"
#include "runtime/panel/registration.h"
#include "runtime/panel/utf8.h"

namespace plc::runtime {

namespace {

constexpr Time kPumpSlice = std::chrono::milliseconds(50);
constexpr std::size_t kWordAreaSize = 50501;
constexpr int kWriteModeQueued = 2;
constexpr int kModeParsed = 0;
constexpr int kModeAsIs = 1;

} // namespace

Session::Session(DriverLibrary &driver, const LinkSettings &settings, const Surroundings &surroundings)
    : Session(driver, settings,
              [&surroundings](DriverLibrary &library, COM_INFO &info, const LinkSettings &link) {
                  return std::make_unique<Communication>(library, info, link, surroundings);
              })
{
    isCancelled_ = surroundings.isCancelled;
}

Session::Session(DriverLibrary &driver, const LinkSettings &settings, const LinkFactory &makeLink)
    : driver_(driver), settings_(settings), words_(kWordAreaSize, 0),
      link_(makeLink(driver, info_, settings_))
{
    driver_.claim();
    info_.maxBlock = settings.maxBlock;
    info_.defaultStation = settings.station;
    info_.stationMode = 1;
    info_.retryLimit = settings.retries;
    info_.linkMode = settings.linkMode;
    info_.writeMode = kWriteModeQueued;
    info_.options = settings.options;
    driver_.setComInfo(&info_);
    driver_.flashLocalRegister(nullptr, words_.data(), nullptr);
}

Session::~Session()
{
    // Who has not stopped the session wants to hear nothing more of it.
    listener_ = nullptr;
    trace_ = nullptr;
    try {
        stop();
    } catch (const std::bad_alloc &) {
        // Nothing is sent any more, and nobody is left to be told.
    }
}

int Session::watch(const Variable &variable)
{
    const int station = stationOf(variable);
    if (station == 0)
        throw Failure(FailureKind::Usage,
                      "variable '" + variable.text + "': nobody answers a read of station 0");
    const int number = static_cast<int>(watched_.size());
    watched_.push_back(variable);
    const int limit = readPieceSize(variable, settings_);
    for (int done = 0; done < variable.baseCount(); done += limit) {
        RW_VAR read;
        read.hostId = kCyclicHostId;
        read.hostSubId = static_cast<int>(cyclicReads_.size());
        read.linkMode = settings_.linkMode;
        read.varName = fromUtf8(variable.text);
        read.addrText = variable.address;
        read.regType = variable.area->baseType;
        read.address = variable.baseFirst() + done;
        read.station = station;
        read.count = std::min(limit, variable.baseCount() - done);
        driver_.addListReadVar(&read);
        cyclicReads_.emplace_back();
        cyclicReads_.back().variable = number;
        cyclicReads_.back().station = station;
    }
    return number;
}

int Session::registerVariables(const std::vector<Variable> &variables, const std::vector<PriorityRow> &rows)
{
    return plc::runtime::registerVariables(driver_, &info_, settings_, variables, rows);
}

void Session::start(TraceListener trace)
{
    if (life_ != Life::Fresh)
        throw Failure(FailureKind::Usage, "a session is started once; another one needs another driver");
    trace_ = std::move(trace);
    std::map<int, int> reads;
    for (const CyclicRead &read : cyclicReads_)
        ++reads[read.station];
    link_->start(reads, trace_ != nullptr);
    startedAt_ = link_->now();
    life_ = Life::Running;
}

void Session::stop()
{
    if (life_ != Life::Over) {
        link_->stop();
        stoppedAt_ = life_ == Life::Running ? link_->now() : startedAt_;
        life_ = Life::Over;
    }
    takeNews();
    endAll(-1, OrderEnd::Closed, link_->unconfirmed());
}

int Session::show(const std::vector<Variable> &variables)
{
    return link_->rebuild([this, &variables] { showVariables(driver_, &info_, settings_, variables); });
}

Ticket Session::read(const Variable &variable, Time deadline)
{
    checkRead(variable, settings_);
    return submit({variable, Values(), false, deadline});
}

Ticket Session::write(const Variable &variable, const Values &values, Time deadline)
{
    checkWrite(variable, values, settings_, knownRegisters_);
    return submit({variable, values, true, deadline});
}

/// Where the variable is, with no pieces.
Footprint Session::placeOf(const Variable &variable) const
{
    Footprint footprint;
    footprint.station = stationOf(variable);
    footprint.baseType = variable.area->baseType;
    footprint.first = variable.baseFirst();
    footprint.count = variable.baseCount();
    return footprint;
}

Footprint Session::footprintOf(const Variable &variable, bool isWrite) const
{
    Footprint footprint = placeOf(variable);
    footprint.isWrite = isWrite;
    footprint.pieces = isWrite ? writePieces(variable, settings_) : readPieces(variable, settings_);
    return footprint;
}

Ticket Session::submit(Order &&order)
{
    const std::string who = "variable '" + order.variable.text + "'";
    const Footprint footprint = footprintOf(order.variable, order.isWrite);
    if (life_ == Life::Over)
        throw Failure(FailureKind::Usage, who + ": the session was stopped, and takes no more orders");
    if (ledger_.isFull())
        throw Failure(FailureKind::Usage,
                      who + ": " + std::to_string(OrderLedger::kMostOpen) +
                          " orders are waiting already; give it again when some have ended");
    const Ticket ticket = ledger_.open(footprint);
    try {
        if (!portLost_.empty()) {
            end(ticket, OrderEnd::PortLost);
            return ticket;
        }
        if (isLeftAlone(stationState(footprint.station))) {
            end(ticket, isOffline(footprint.station) ? OrderEnd::Offline : OrderEnd::Dropped);
            return ticket;
        }
        keepDeadline(ticket, order.deadline);
        waiting_.emplace(ticket, std::move(order));
    } catch (...) {
        ledger_.abandon(ticket);
        throw;
    }
    try {
        startWaiting();
    } catch (const std::bad_alloc &) {
        // What is in the books goes on with the next news.
    }
    if (result(ticket).end == OrderEnd::NotTaken) {
        forget(ticket);
        throw Failure(FailureKind::Usage, who + " is refused by the driver");
    }
    return ticket;
}

/// Hands waiting orders to the driver, as many as it may hold. One that the driver does not take ends as
/// that, and is nobody's business but its own.
void Session::startWaiting()
{
    if (cutShort_ != 0)
        endCutShort();
    while (const std::optional<Ticket> ticket = ledger_.nextToStart()) {
        const auto order = waiting_.extract(*ticket);
        cutShort_ = *ticket;
        handOver(*ticket, order.mapped());
        cutShort_ = 0;
    }
}

/// The driver has refused a piece of the order, or memory ran out before it was asked. It may have other
/// pieces of it, and sends no more of them.
void Session::endCutShort()
{
    withdraw({cutShort_});
    OrderResult result;
    result.end = link_->unconfirmed().count(cutShort_) > 0 ? OrderEnd::Unconfirmed : OrderEnd::NotTaken;
    ledger_.closeAndWithdraw(cutShort_, result);
    cutShort_ = 0;
}

/// Where memory runs out in here, it is done with the next news.
void Session::withdraw(const std::vector<Ticket> &tickets)
{
    toWithdraw_.insert(toWithdraw_.end(), tickets.begin(), tickets.end());
    link_->withdraw(toWithdraw_);
    toWithdraw_.clear();
}

void Session::handOver(Ticket ticket, const Order &order)
{
    ledger_.start(ticket);
    if (order.deadline != Time::max())
        link_->setDeadline(ticket, order.deadline);
    // Must precede the hand-over: the end of the order may come from the other thread at once.
    link_->setOpenOrders(ledger_.startedCount());
    Taken taken = Taken::Nothing;
    // A split order counts as done when its last queued piece ends, so all pieces are queued together.
    const bool isTaken = link_->betweenRequests([this, ticket, &order, &taken] {
        taken = order.isWrite ? handWrite(ticket, order) : handRead(ticket, order);
    });
    if (!isTaken)
        end(ticket, OrderEnd::PortLost);
    else if (taken == Taken::Nothing)
        end(ticket, OrderEnd::NotTaken);
    else if (taken == Taken::Part)
        endCutShort();
}

Session::Taken Session::handRead(Ticket ticket, const Order &order)
{
    const Variable &variable = order.variable;
    RW_VAR read;
    read.hostId = kOrderHostId;
    read.hostSubId = ticket;
    read.linkMode = settings_.linkMode;
    read.varName = fromUtf8(variable.text);
    read.addrText = variable.address;
    read.regType = variable.area->regType;
    read.station = stationOf(variable);
    read.count = variable.elements();
    const int pieces = readPieces(variable, settings_);
    if (pieces == 1 || variable.valueElements() == 1)
        return driver_.addListOnceReadVar(&read, kModeParsed) != 0 ? Taken::All : Taken::Nothing;
    // The driver would cut values that lie across the end of a request.
    const int size = readPieceSize(variable, settings_);
    read.regType = variable.area->baseType;
    for (int done = 0; done < variable.baseCount(); done += size) {
        read.address = variable.baseFirst() + done;
        read.count = std::min(size, variable.baseCount() - done);
        if (driver_.addListOnceReadVar(&read, kModeAsIs) == 0)
            return done == 0 ? Taken::Nothing : Taken::Part;
    }
    return Taken::All;
}

Session::Taken Session::handWrite(Ticket ticket, const Order &order)
{
    const Variable &variable = order.variable;
    const auto write = [&](const Values &values, const QString &address, int elements) {
        QByteArray bytes = encodeValues(values, variable.area->unit);
        return driver_.setRegisterData(fromUtf8(variable.text), variable.area->regType, address,
                                       stationOf(variable), &bytes, elements, kOrderHostId, ticket) != 0;
    };
    const bool isBlock = variable.area->regType == kHoldingRegister && variable.valueElements() > 1;
    const int size = writeBlockSize(variable, settings_);
    if (!isBlock || size >= variable.elements() || size < variable.valueElements())
        return write(order.values, variable.address, variable.elements()) ? Taken::All : Taken::Nothing;
    // The driver would cut values that lie across the end of a request.
    for (int done = 0; done < variable.elements(); done += size) {
        const int count = std::min(size, variable.elements() - done);
        const auto first = order.values.begin() + done;
        if (!write(Values(first, first + count),
                   fromUtf8(variable.addressOf(done / variable.valueElements())), count))
            return done == 0 ? Taken::Nothing : Taken::Part;
    }
    return Taken::All;
}

/// Ends an order of which the driver holds nothing.
void Session::end(Ticket ticket, OrderEnd end)
{
    OrderResult result;
    result.end = end;
    ledger_.close(ticket, result);
}

/// Ends all open orders of @p station, as OrderLedger::closeAll().
std::vector<Ticket> Session::endAll(int station, OrderEnd end, const std::set<Ticket> &sent)
{
    std::vector<Ticket> withDriver = ledger_.closeAll(station, end, sent);
    for (auto order = waiting_.begin(); order != waiting_.end();)
        order = ledger_.isOpen(order->first) ? std::next(order) : waiting_.erase(order);
    return withDriver;
}

/// Digests all news in their order. Inside a listener they wait until it returns.
void Session::takeNews()
{
    news_.emplace_back();
    news_.back() = link_->take();
    if (isDigesting_)
        return;
    struct Digesting
    {
        explicit Digesting(bool *flag) : flag_(flag) { *flag_ = true; }
        ~Digesting() { *flag_ = false; }
        bool *flag_;
    };
    const Digesting digesting(&isDigesting_);
    if (!toWithdraw_.empty())
        withdraw({});
    for (; !news_.empty(); news_.pop_front(), digested_ = 0) {
        while (digested_ < news_.front().size()) {
            // Not over before it is digested: where memory runs out, it is digested again.
            digest(news_.front()[digested_]);
            const News news = std::move(news_.front()[digested_++]);
            if (trace_ && news.frame)
                trace_(traceLine(*news.frame));
            if (trace_ && !news.gap.empty())
                trace_(news.gap);
            if (listener_)
                listener_(news);
        }
    }
}

void Session::pump(Time until)
{
    waitForNews(until);
    digestNews();
}

void Session::digestNews()
{
    takeNews();
    if (life_ == Life::Over)
        return;
    expire();
    link_->setOpenOrders(ledger_.startedCount());
    startWaiting();
}

Time Session::nextDeadline() const
{
    return deadlines_.empty() ? Time::max() : deadlines_.begin()->first;
}

void Session::keepDeadline(Ticket ticket, Time deadline)
{
    if (deadline == Time::max())
        return;
    deadlines_.emplace(deadline, ticket);
    if (deadlines_.size() <= 2 * OrderLedger::kMostOpen)
        return;
    for (auto kept = deadlines_.begin(); kept != deadlines_.end();)
        kept = isOpen(kept->second) ? std::next(kept) : deadlines_.erase(kept);
}

/// Ends the orders whose deadline has come.
void Session::expire()
{
    std::multimap<Time, Ticket> expired;
    while (nextDeadline() <= link_->now())
        expired.insert(expired.end(), deadlines_.extract(deadlines_.begin()));
    try {
        std::vector<Ticket> due;
        for (const auto &[deadline, ticket] : expired) {
            if (ledger_.isOpen(ticket))
                due.push_back(ticket);
        }
        if (!due.empty())
            endExpired(due);
    } catch (...) {
        deadlines_.merge(expired);
        throw;
    }
}

void Session::endExpired(const std::vector<Ticket> &due)
{
    std::set<Ticket> sent = link_->unconfirmed();
    link_->withdraw(due);
    sent.merge(link_->unconfirmed());
    // The end of every order that is no longer unconfirmed is among the news.
    takeNews();
    for (const Ticket ticket : due) {
        OrderResult result;
        result.end = sent.count(ticket) > 0 ? OrderEnd::Unconfirmed : OrderEnd::Expired;
        ledger_.closeAndWithdraw(ticket, result);
        waiting_.erase(ticket);
    }
}

void Session::digest(const News &news)
{
    if (news.transaction)
        noteRegisters(*news.transaction);
    if (news.transaction && news.transaction->request.hostId == kCyclicHostId)
        noteCyclic(*news.transaction);
    for (const OrderNews &order : news.orders) {
        // One that was withdrawn where the memory ran out, so that the link does not know of it.
        if (!ledger_.close(order.ticket, order.result))
            ledger_.release({order.ticket});
    }
    ledger_.release(news.released);
    if (news.station)
        noteStation(*news.station);
    if (news.port)
        notePort(*news.port);
}

void Session::notePort(const PortNews &news)
{
    portLost_ = news.reason;
    if (news.change != PortNews::Change::Lost)
        return;
    for (CyclicRead &read : cyclicReads_)
        read.state.interrupt();
    const std::vector<Ticket> withDriver = endAll(-1, OrderEnd::PortLost, news.sent);
    toWithdraw_.insert(toWithdraw_.end(), withDriver.begin(), withDriver.end());
    link_->takeLoss(toWithdraw_);
    toWithdraw_.clear();
}

void Session::noteRegisters(const TransactionReport &report)
{
    const Request &request = report.request;
    // What is read before a write does not reach the mirror.
    const bool isRead =
        request.direction == 0 && request.regType == kHoldingRegister && request.hostId != kEchoCheckHostId;
    if (!hasOption(settings_.options, kOptionBitFromMirror) || !isRead || report.cause != AttemptEnd::Good)
        return;
    for (int i = 0; i < request.count; ++i)
        knownRegisters_.insert({request.station, request.address + i});
}

StationState Session::stationState(int station) const
{
    const auto found = stations_.find(station);
    return found == stations_.end() ? StationState::On : found->second;
}

void Session::noteStation(const StationNews &news)
{
    noteState(news.station, news.offline ? StationState::Offline : StationState::On);
    if (news.offline)
        withdraw(endAll(news.station, OrderEnd::Offline, link_->unconfirmed()));
}

void Session::noteState(int station, StationState state)
{
    stations_[station] = state;
    for (CyclicRead &read : cyclicReads_) {
        if (read.station == station)
            read.state.interrupt();
    }
}

void Session::noteCyclic(const TransactionReport &report)
{
    const auto index = static_cast<std::size_t>(report.request.hostSubId);
    if (index >= cyclicReads_.size())
        return;
    CyclicRead &read = cyclicReads_[index];
    read.state.note(report, stationState(read.station));
}

OrderResult Session::await(Ticket ticket)
{
    while (isRunning() && isOpen(ticket) && portLost_.empty() && !isCancelled_())
        pump(link_->now() + kPumpSlice);
    return result(ticket);
}

void Session::setStationEnabled(int station, bool enabled)
{
    if (station < kStationLimits.least || station > kStationLimits.most)
        throw Failure(FailureKind::Usage,
                      "a station to be switched off or on is " + std::to_string(kStationLimits.least) +
                          " to " + std::to_string(kStationLimits.most) + ", not " + std::to_string(station));
    digestNews(); // what has become of the station until now still counts
    const bool wasOffline = link_->setStationEnabled(station, enabled);
    noteState(station, enabled ? StationState::On : StationState::SwitchedOff);
    if (enabled && !wasOffline)
        return;
    const std::set<Ticket> sent = link_->unconfirmed();
    // The end of every order that is no longer unconfirmed is among the news. None that waits is handed over
    // here.
    takeNews();
    // Where the station was offline, the news that would have ended its orders may have been taken back.
    withdraw(endAll(station, enabled ? OrderEnd::Offline : OrderEnd::Dropped, sent));
}

Values Session::values(const Variable &variable) const
{
    return decodeValues(bytes(variable), variable.area->unit, variable.rawCount());
}

bool Session::isBeingWritten(const Variable &variable) const
{
    return ledger_.isBeingWritten(placeOf(variable));
}

QByteArray Session::bytes(const Variable &variable) const
{
    QByteArray bytes;
    driver_.getRegisterData(QString(), variable.area->regType, variable.address, stationOf(variable), &bytes,
                            variable.elements());
    return bytes;
}

WatchStatus Session::status(int number) const
{
    std::vector<const ReadState *> parts;
    for (const CyclicRead &read : cyclicReads_) {
        if (read.variable == number)
            parts.push_back(&read.state);
    }
    const Variable &variable = watched_[static_cast<std::size_t>(number)];
    const int station = stationOf(variable);
    WatchStatus status = statusOf(parts, link_->now(), settings_.rulesOf(station).responseTimeout);
    status.isInPieces = cutsValues(variable, settings_);
    overrule(&status, stationState(station), !portLost_.empty());
    return status;
}

} // namespace plc::runtime
