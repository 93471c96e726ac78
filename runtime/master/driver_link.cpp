#include "runtime/master/driver_link.h"

#include <algorithm>
#include <utility>

#include "core/result_codes.h"
#include "runtime/line/exception_codes.h"
#include "runtime/line/rtu_layout.h"
#include "runtime/master/request_ids.h"

namespace plc::runtime {

namespace {

constexpr int kRawMode = 1;
/// Has no settings of its own.
constexpr int kNoStation = -1;

/// The link whose call into the driver this thread is in. The driver's callbacks carry no object; but they
/// run inside such calls, on the same thread.
thread_local DriverLink *calling = nullptr;

class Calling
{
public:
    explicit Calling(DriverLink *link) : before_(std::exchange(calling, link)) {}
    ~Calling() { calling = before_; }
    Calling(const Calling &) = delete;
    Calling &operator=(const Calling &) = delete;

private:
    DriverLink *before_;
};

CycleSettings cycleSettings(const LinkSettings &link)
{
    CycleSettings settings;
    static_cast<StationRules &>(settings) = link.rulesOf(kNoStation);
    for (const auto &[station, own] : link.stations)
        settings.stations.emplace(station, link.rulesOf(station));
    settings.timing = LineTiming(link.baud);
    settings.bitsPerCharacter = link.bitsPerCharacter();
    settings.turnaround = link.turnaround;
    settings.removeEcho = link.echo;
    settings.policies = link.policies;
    return settings;
}

/// How long the line is listened to after stations that have settings of their own.
std::map<int, Time> ownGuards(const LinkSettings &link)
{
    std::map<int, Time> guards;
    for (const auto &[station, own] : link.stations)
        guards.emplace(station, link.rulesOf(station).lateReplyGuard);
    return guards;
}

std::string endText(AttemptEnd end, const Miss &miss)
{
    switch (end) {
    case AttemptEnd::Good:
        return "good";
    case AttemptEnd::NoReplyDue:
        return "sent, no reply due";
    case AttemptEnd::Exception:
        return "refused: " + describe(miss);
    case AttemptEnd::Unusable:
        return "no usable reply: " + describe(miss);
    case AttemptEnd::LineBusy:
        return "not sent: the line never fell silent";
    case AttemptEnd::Withheld:
        return "not sent: withdrawn, or its station is offline or switched off";
    case AttemptEnd::PortLost:
        return "the port is lost";
    case AttemptEnd::NoReply:
        break;
    }
    return "time-out: " + describe(miss);
}

/// What the end of the read that goes before a write means for the write.
std::string checkText(const TransactionReport &report)
{
    switch (report.cause) {
    case AttemptEnd::Good:
    case AttemptEnd::Exception:
        return "echo check: the station answers, the write goes out";
    case AttemptEnd::NoReply:
        return "echo check: no echo, the write goes out";
    case AttemptEnd::Unusable:
        return report.echoHeard ? "echo check: nothing but the echo came, the write does not go out"
                                : "echo check: no echo, the write goes out";
    default:
        return "echo check: it could not be made, the write does not go out";
    }
}

} // namespace

bool isGroupedRead(const Request &request)
{
    return request.hostId == kCyclicHostId && request.hostSubId == kGroupedSubId && request.direction == 0;
}

DriverLink::DriverLink(DriverLibrary &driver, COM_INFO &info, const LinkSettings &settings, NewsSink &sink)
    : driver_(driver), settings_(settings), sink_(sink), cycle_(*this, info, cycleSettings(settings), this),
      pacer_(settings.pollInterval),
      stations_(settings.offline, cycleSettings(settings).lateReplyGuard, ownGuards(settings)),
      // Where echoes are taken off, none passes for a reply.
      echoCheck_(settings.policies.echoCheck && !settings.echo && settings.linkMode == 0, info)
{
    driver_.registerCallbacks(onResult, nullptr);
}

DriverLink::~DriverLink()
{
    driver_.registerCallbacks(nullptr, nullptr);
}

void DriverLink::begin(Time now, const std::map<int, int> &cyclicReads, bool trace)
{
    trace_ = trace;
    startedAt_ = now;
    setCyclicReads(cyclicReads);
}

void DriverLink::setLevelStations(const std::set<int> &stations)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    levelStations_ = stations;
}

void DriverLink::setCyclicReads(const std::map<int, int> &reads)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    cyclicReads_ = reads;
    setPace();
}

int DriverLink::rebuild(const std::function<void()> &work)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    work();
    return ++screen_;
}

void DriverLink::setDeadline(Ticket ticket, Time deadline)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    handedOver_.setDeadline(ticket, deadline);
}

Instruction DriverLink::advance(Time now, const QByteArray &arrived)
{
    now_ = now;
    const Calling here(this);
    Instruction todo;
    {
        const std::lock_guard<std::mutex> lock(counting_);
        todo = cycle_.advance(now, arrived);
    }
    tellReleased();
    const std::lock_guard<std::mutex> lock(mutex_);
    if (isPortLost_ && handedOver_.isEmptied())
        todo.wakeAt = Time::max();
    return todo;
}

void DriverLink::portLost(Time now, const std::string &reason)
{
    now_ = now;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isPortLost_ = true;
        portLostAt_ = now;
        handedOver_.doubt();
        echoCheck_.forget();
    }
    const Calling here(this);
    {
        const std::lock_guard<std::mutex> lock(counting_);
        cycle_.portLost(now);
    }
    if (trace_)
        tell({FrameNews::Kind::AttemptEnd, now, Time(), QByteArray(), 0, 0, reason});
    News news;
    news.port.emplace();
    news.port->reason = reason;
    const std::lock_guard<std::mutex> lock(mutex_);
    // Later on the driver gives back pieces of orders of which other pieces had been sent.
    news.port->sent = handedOver_.unconfirmed();
    sink_.put(std::move(news));
    ++lossesToTake_; // that was told: where memory runs out, all this is done again
}

void DriverLink::portRefused(const std::string &reason)
{
    News news;
    news.port.emplace();
    news.port->change = PortNews::Change::Refused;
    news.port->reason = reason;
    sink_.put(std::move(news));
}

void DriverLink::portFound(Time now)
{
    now_ = now;
    cycle_.portFound();
    News news;
    news.port.emplace();
    news.port->change = PortNews::Change::Back;
    const std::lock_guard<std::mutex> lock(mutex_);
    news.port->lasted = now - portLostAt_;
    sink_.put(std::move(news));
    isPortLost_ = false;
}

void DriverLink::noteLineErrors(const std::optional<LineErrors> &errors)
{
    const std::lock_guard<std::mutex> lock(counting_);
    lineErrors_ = errors;
}

Statistics DriverLink::statisticsSoFar()
{
    const std::lock_guard<std::mutex> lock(counting_);
    Statistics counted = cycle_.statistics();
    counted.lineErrors = lineErrors_;
    return counted;
}

bool DriverLink::setStationEnabled(int station, bool enabled)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const bool isOffline = stations_.setEnabled(station, enabled);
    // A station that went and is back by now has lost what was queued for it, too.
    const bool wasOffline = sink_.takeBack(station) || isOffline;
    handedOver_.forgetProbe(station);
    stateChanged(station);
    return wasOffline;
}

/// Tells the driver, which chooses nothing for a station that is left alone, and the pacer.
void DriverLink::stateChanged(int station)
{
    driver_.enCommStation(station, isLeftAlone(stations_.state(station)) ? 0 : 1);
    setPace();
}

bool DriverLink::betweenRequests(const std::function<void()> &work)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (isOrderLost())
        return false;
    work();
    return true;
}

void DriverLink::takeLoss(const std::vector<Ticket> &tickets)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    handedOver_.withdraw(tickets);
    --lossesToTake_;
}

void DriverLink::withdraw(const std::vector<Ticket> &tickets)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    handedOver_.withdraw(tickets);
}

std::set<Ticket> DriverLink::unconfirmed()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return handedOver_.unconfirmed();
}

/// A scan has no reads of stations that are left alone.
void DriverLink::setPace()
{
    int reads = 0;
    for (const auto &[station, count] : cyclicReads_) {
        if (!isLeftAlone(stations_.state(station)))
            reads += count;
    }
    pacer_.setReads(reads);
}

Protocol *DriverLink::next()
{
    if (transactionOpen_)
        return echoCheck_.isUnderWay() ? echoCheck_.head() : driver_.comCommunication(0);
    fate_ = EchoCheck::Fate::Free;
    const std::lock_guard<std::mutex> lock(mutex_);
    chosenScreen_ = screen_;
    if (isPortLost_)
        return nextWithoutPort();
    const std::optional<Probe> probe = stations_.due(now_);
    if (openOrders_ == 0 && !probe && pacer_.isPausing(now_))
        return nullptr;
    probedStation_ = -1;
    Protocol *head = probe ? sendProbe(*probe) : driver_.comCommunication(0);
    const bool isIdle = !head;
    if (isIdle)
        head = nextOfLevels();
    onlyLevels_ = isIdle && !HandedOver::isServedFirst(head);
    handedOver_.served(head);
    transactionOpen_ = head != nullptr;
    return head ? checkedFirst(head) : nullptr;
}

/// The transaction that the driver has chosen, or the read that goes before it. Then the driver offers the
/// same again when the read has ended.
Protocol *DriverLink::checkedFirst(Protocol *head)
{
    const Request request = requestOf(*head, settings_.linkMode != 0);
    fate_ = echoCheck_.fateOf(request, now_);
    const bool isToCheck = fate_ == EchoCheck::Fate::ToCheck && permitLocked(request) != Permit::Withhold;
    return isToCheck ? echoCheck_.begin(request) : head;
}

/// Lets the driver choose as long as it holds orders or probes: each of them is withheld, and has left the
/// driver then.
Protocol *DriverLink::nextWithoutPort()
{
    if (handedOver_.isEmptied())
        return nullptr;
    probedStation_ = -1;
    onlyLevels_ = false;
    Protocol *const head = driver_.comCommunication(0);
    handedOver_.served(head);
    transactionOpen_ = head != nullptr;
    return head;
}

/// Switches a station that is left alone on for one call, so that the driver may choose it.
Protocol *DriverLink::chooseThrough(int station)
{
    driver_.enCommStation(station, 1);
    Protocol *const head = driver_.comCommunication(0);
    driver_.enCommStation(station, 0);
    return head;
}

/// The driver serves no priority level while all its ordinary reads belong to stations that are left alone.
/// Where other stations have reads with a level, the driver may choose such an ordinary read in each turn.
/// Its levels so come at their rates; the ordinary read is withheld and costs the line nothing. The read list
/// and its marks stay the driver's.
Protocol *DriverLink::nextOfLevels()
{
    const bool anyServed = std::any_of(levelStations_.begin(), levelStations_.end(), [this](int station) {
        return !isLeftAlone(stations_.state(station));
    });
    if (!anyServed)
        return nullptr;
    for (const int station : stations_.leftAlone()) {
        if (Protocol *const head = chooseThrough(station))
            return head;
    }
    return nullptr;
}

/// Puts a probe into the driver's list of one-shot reads, and lets the driver choose.
Protocol *DriverLink::sendProbe(const Probe &probe)
{
    if (handedOver_.addProbe(probe.station)) {
        RW_VAR read;
        read.hostId = kProbeHostId;
        read.hostSubId = probe.station;
        read.linkMode = settings_.linkMode;
        read.regType = probe.regType;
        read.address = probe.address;
        read.station = probe.station;
        read.count = 1;
        driver_.addListOnceReadVar(&read, kRawMode);
    }
    Protocol *const head = chooseThrough(probe.station);
    if (head && head->var.station == probe.station)
        probedStation_ = probe.station;
    // A driver that serves a cyclic read has dropped the probe, or is about to: in its turn the station was
    // off.
    if (!HandedOver::isServedFirst(head))
        handedOver_.forgetProbe(probe.station);
    return head;
}

void DriverLink::tellReleased()
{
    if (released_.empty()) {
        const std::lock_guard<std::mutex> lock(mutex_);
        released_ = handedOver_.takeReleased();
    }
    if (released_.empty())
        return;
    News news;
    news.released = released_;
    sink_.put(std::move(news));
    // Not before they are told: where memory runs out they are told with the next turn.
    for (const Ticket ticket : released_)
        failed_.erase(ticket);
    released_.clear();
}

Permit DriverLink::permit(const Request &request, bool goesOut)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    // What was not checked when it was chosen is not sent, whatever has changed since.
    const bool isUnchecked = fate_ != EchoCheck::Fate::Free && !echoCheck_.isUnderWay();
    const Permit permit = isUnchecked ? Permit::Withhold : permitLocked(request);
    // Under the same lock as the permission: after a station is switched off, none of its writes goes out
    // unknown.
    if (goesOut && permit != Permit::Withhold && request.hostId == kOrderHostId && request.direction != 0)
        handedOver_.goesOut(request.hostSubId);
    return permit;
}

Permit DriverLink::permitLocked(const Request &request) const
{
    const bool isCheck = request.hostId == kEchoCheckHostId;
    const bool isOrder = request.hostId == kOrderHostId || isCheck;
    if (isForbidden(request))
        return Permit::Withhold;
    if (isPortLost_ || (isOrder && !isStillWanted(request.hostSubId)))
        return Permit::Withhold;
    // The driver serves the priority levels of a station that is off all the same, and what it chose before.
    const StationState state = stations_.state(request.station);
    if (state == StationState::SwitchedOff)
        return Permit::Withhold;
    const bool isCyclic = request.hostId == kCyclicHostId;
    if (state == StationState::Offline) {
        const bool isProbe = request.station == probedStation_ && !isOrder;
        return isProbe ? Permit::SendOnce : Permit::Withhold;
    }
    // The turn of a busy station comes again with the next scan; meanwhile the others have theirs.
    if (isCyclic && stations_.isBusy(request.station, now_))
        return Permit::Withhold;
    if (isCyclic && state == StationState::OnProbation)
        return Permit::SendOnce;
    return Permit::Send;
}

/// Every frame passes here, whoever has asked for it. What goes out is judged by its function code; a relay
/// frame has none that is known here.
bool DriverLink::isForbidden(const Request &request) const
{
    const bool isRead = settings_.linkMode == 0 ? isReadFunction(request.function) : request.direction == 0;
    return settings_.readOnly && !isRead;
}

/// False for an order of which nothing more may be sent.
bool DriverLink::isStillWanted(Ticket ticket) const
{
    return !isOrderLost() && !handedOver_.isWithdrawn(ticket) && !handedOver_.isExpired(ticket, now_);
}

int DriverLink::judge(QByteArray *reply, int length)
{
    if (echoCheck_.isUnderWay())
        return echoCheck_.judge(*reply);
    result_ = driver_.dataCom(reply, length);
    return result_->status;
}

/// Only notes what it is told: it runs inside DataCom, with the driver's lists locked.
void DriverLink::onResult(int, int hostId, int hostSubId, int outcome)
{
    if (calling && hostId == kOrderHostId)
        calling->ended_.emplace_back(hostSubId, outcome);
}

void DriverLink::transactionEnded(const TransactionReport &report)
{
    transactionOpen_ = false;
    if (echoCheck_.isUnderWay()) {
        checkEnded(report);
        return;
    }
    // Turns that only bring the driver to serve its levels may come thousands of times a second.
    if (onlyLevels_ && report.cause == AttemptEnd::Withheld)
        return;
    News news;
    news.transaction = report;
    const Request &request = report.request;
    news.ordinaryRead =
        isOrdinaryRead(*result_, {request.station, request.regType, request.address, request.count});
    const Counters &total = cycle_.statistics().total;
    news.requestsSoFar = total.requests;
    news.bytesSoFar = total.bytesOut + total.bytesIn;
    const std::lock_guard<std::mutex> lock(mutex_);
    echoCheck_.ended(report);
    news.screen = chosenScreen_;
    news.orders = endedWith(report);
    news.station = changeOf(report);
    for (const OrderNews &order : news.orders)
        handedOver_.ended(order.ticket);
    sink_.put(std::move(news));
}

/// The read has ended that goes before a write. An answer is a sign of life. That there was none is no
/// failure of the station: the write follows, and counts.
void DriverLink::checkEnded(const TransactionReport &report)
{
    {
        // Before anything that memory may run out for: the write must not go out in the place of its read.
        const std::lock_guard<std::mutex> lock(mutex_);
        echoCheck_.ended(report);
    }
    if (trace_)
        tell({FrameNews::Kind::AttemptEnd, now_, Time(), QByteArray(), 0, 0, checkText(report)});
    News news;
    news.transaction = report;
    const Counters &total = cycle_.statistics().total;
    news.requestsSoFar = total.requests;
    news.bytesSoFar = total.bytesOut + total.bytesIn;
    const std::lock_guard<std::mutex> lock(mutex_);
    news.screen = chosenScreen_;
    if (report.cause == AttemptEnd::Good || report.cause == AttemptEnd::Exception)
        news.station = changeOf(report);
    sink_.put(std::move(news));
}

/// The orders that have ended with this transaction.
std::vector<OrderNews> DriverLink::endedWith(const TransactionReport &report)
{
    // The driver cannot know that a station refused a write without a reply to wait for, or that such a write
    // never went out.
    const bool isFine = report.cause == AttemptEnd::Good || report.cause == AttemptEnd::NoReplyDue;
    if (report.done && !isFine && report.request.hostId == kOrderHostId)
        failed_.emplace(report.request.hostSubId, resultOfFailed(report));
    std::vector<OrderNews> orders;
    for (const auto &[ticket, outcome] : ended_) {
        OrderResult result = resultOfFailed(report);
        const auto failure = failed_.find(ticket);
        if (failure != failed_.end())
            result = failure->second;
        else if (outcome == kOutcomeDone)
            result.end = OrderEnd::Good;
        failed_.erase(ticket);
        orders.push_back({ticket, result});
    }
    ended_.clear();
    return orders;
}

/// What the end of a transaction means for its order, which has not succeeded.
OrderResult DriverLink::resultOfFailed(const TransactionReport &report) const
{
    OrderResult result = resultOf(report);
    if (tellsNothing(report.cause))
        result.end = isForbidden(report.request)
                         ? OrderEnd::NotTaken
                         : endOfWithheld(report.request.hostSubId, report.request.station);
    return result;
}

/// How an order ended whose last request was withheld, or ended with its port. An earlier request of it may
/// have gone out.
OrderEnd DriverLink::endOfWithheld(Ticket ticket, int station) const
{
    if (handedOver_.unconfirmed().count(ticket) > 0)
        return OrderEnd::Unconfirmed;
    if (isOrderLost())
        return OrderEnd::PortLost;
    if (handedOver_.isExpired(ticket, now_))
        return OrderEnd::Expired;
    if (fate_ == EchoCheck::Fate::OnlyEcho)
        return OrderEnd::OnlyEcho;
    if (fate_ == EchoCheck::Fate::LineBusy)
        return OrderEnd::LineBusy;
    return stations_.state(station) == StationState::SwitchedOff ? OrderEnd::Dropped : OrderEnd::Offline;
}

/// What the end of the transaction means for its station; nothing while the station's state stays.
std::optional<StationNews> DriverLink::changeOf(const TransactionReport &report)
{
    const int station = report.request.station;
    if (report.request.hostId == kCyclicHostId && report.cause != AttemptEnd::Withheld)
        pacer_.readEnded(report.startedAt);
    const bool isBusy = report.cause == AttemptEnd::Exception && report.exceptionCode == kExceptionBusy;
    if (isBusy && settings_.policies.endOnException)
        stations_.noteBusy(station, report.endedAt + settings_.turnaround);
    if (!settings_.policies.offline)
        return std::nullopt;
    const StationChange change = stations_.transactionEnded(report);
    if (change == StationChange::None)
        return std::nullopt;
    StationNews news;
    news.station = station;
    news.offline = change == StationChange::WentOffline;
    news.failures = stations_.failuresOf(station);
    news.nextProbe = stations_.probeInterval(station);
    news.lasted = report.endedAt - stations_.offlineSince(station);
    stateChanged(station);
    return news;
}

void DriverLink::sent(Time now, const QByteArray &frame, int attempt)
{
    if (trace_)
        tell({FrameNews::Kind::Sent, now, Time(), frame, attempt, frame.size(), std::string()});
}

void DriverLink::received(Time now, const QByteArray &bytes)
{
    if (trace_)
        tell({FrameNews::Kind::Received, now, Time(), bytes, 0, bytes.size(), std::string()});
}

void DriverLink::discarded(Time now, int bytes, const char *why)
{
    if (trace_)
        tell({FrameNews::Kind::Discarded, now, Time(), QByteArray(), 0, bytes, why});
}

void DriverLink::otherMasterAsked(Time now, int station)
{
    if (trace_)
        tell({FrameNews::Kind::AttemptEnd, now, Time(), QByteArray(), 0, 0, describeOtherMaster(station)});
}

void DriverLink::attemptEnded(Time now, AttemptEnd end, const Miss &miss)
{
    if (echoCheck_.isUnderWay())
        echoCheck_.attemptEnded(end);
    if (trace_ && !(onlyLevels_ && end == AttemptEnd::Withheld))
        tell({FrameNews::Kind::AttemptEnd, now, Time(), QByteArray(), 0, 0, endText(end, miss)});
}

void DriverLink::tell(FrameNews frame)
{
    frame.sinceStart = frame.at - startedAt_;
    News news;
    news.frame = std::move(frame);
    sink_.put(std::move(news));
}

} // namespace plc::runtime
