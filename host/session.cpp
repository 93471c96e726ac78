#include "session.h"

#include <algorithm>
#include <cstdio>

#include "core/register_types.h"
#include "interrupt.h"

namespace plc::host {

namespace {

constexpr Time kPumpSlice = std::chrono::milliseconds(50);
constexpr Time kStaleAtLeast = std::chrono::seconds(3);
constexpr std::size_t kWordAreaSize = 50501;
constexpr int kWriteModeQueued = 2;
constexpr int kModeParsed = 0;
constexpr int kMostRegistersInOneWrite = 123;
constexpr int kMostCoilsInOneWrite = 1968;

} // namespace

VariableState stateOf(OperationEnd end)
{
    switch (end) {
    case OperationEnd::Good:
        return VariableState::Good;
    case OperationEnd::Refused:
        return VariableState::Refused;
    case OperationEnd::Unusable:
        return VariableState::BadReply;
    case OperationEnd::LineBusy:
        return VariableState::LineBusy;
    case OperationEnd::Open:
        return VariableState::NeverRead;
    case OperationEnd::NoReply:
    case OperationEnd::PortLost:
    case OperationEnd::Dropped:
        break;
    }
    return VariableState::NoAnswer;
}

Session::Session(DriverLibrary &driver, const LinkSettings &settings)
    : driver_(driver), settings_(settings), words_(kWordAreaSize, 0),
      communication_(driver, info_, settings_, mailbox_)
{
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
    stop();
}

int Session::watch(const Variable &variable)
{
    const int station = stationOf(variable);
    if (station == 0)
        throw Failure(kExitUsage, "variable '" + variable.text + "': nobody answers a read of station 0");
    const int number = static_cast<int>(watched_.size());
    watched_.push_back(variable);
    const int limit = isBitArea(variable.area->baseType) ? settings_.bitLimit() : settings_.wordLimit();
    for (int done = 0; done < variable.baseCount(); done += limit) {
        RW_VAR read;
        read.hostId = kCyclicHostId;
        read.hostSubId = static_cast<int>(cyclicReads_.size());
        read.linkMode = settings_.linkMode;
        read.varName = QString::fromStdString(variable.text);
        read.addrText = variable.address;
        read.regType = variable.area->baseType;
        read.address = variable.baseFirst() + done;
        read.station = station;
        read.count = std::min(limit, variable.baseCount() - done);
        driver_.addListReadVar(&read);
        cyclicReads_.emplace_back();
        cyclicReads_.back().variable = number;
    }
    return number;
}

void Session::start(bool trace)
{
    communication_.start(static_cast<int>(cyclicReads_.size()), trace);
    startedAt_ = steadyNow();
    running_ = true;
}

void Session::stop()
{
    if (!running_)
        return;
    communication_.stop();
    pump(steadyNow());
    stoppedAt_ = steadyNow();
    running_ = false;
}

Ticket Session::read(const Variable &variable)
{
    if (stationOf(variable) == 0)
        throw Failure(kExitUsage, "variable '" + variable.text + "': nobody answers a read of station 0");
    return submit(variable, Values(), false);
}

Ticket Session::write(const Variable &variable, const Values &values)
{
    checkWrite(variable);
    return submit(variable, values, true);
}

/// Refuses what the driver would take and then not do, or put into a frame that no station understands.
void Session::checkWrite(const Variable &variable) const
{
    const std::string who = "variable '" + variable.text + "': ";
    if (!variable.area->writable)
        throw Failure(kExitUsage,
                      who + variable.area->name + " (" + variable.area->meaning + ") cannot be written");
    const bool coils = variable.area->regType == kCoil;
    const int most = coils ? kMostCoilsInOneWrite : kMostRegistersInOneWrite;
    const bool blocks = coils || variable.area->regType == kHoldingRegister;
    if (blocks && settings_.maxBlock == 1 && writePieces(variable, settings_) == 1 && variable.count > most)
        throw Failure(kExitUsage, who + "with --max-block 1 a write goes out in one piece, of at most " +
                                      std::to_string(most) + " values");
}

Ticket Session::submit(const Variable &variable, const Values &values, bool isWrite)
{
    Footprint footprint;
    footprint.isWrite = isWrite;
    footprint.station = stationOf(variable);
    footprint.baseType = variable.area->baseType;
    footprint.first = variable.baseFirst();
    footprint.count = variable.baseCount();
    footprint.pieces = isWrite ? writePieces(variable, settings_) : readPieces(variable, settings_);
    if (footprint.pieces > kDriverListSize)
        throw Failure(kExitUsage, "variable '" + variable.text + "' takes " +
                                      std::to_string(footprint.pieces) + " requests, at most " +
                                      std::to_string(kDriverListSize) +
                                      " are possible; take fewer values or a larger --max-block");
    const Ticket ticket = ledger_.open(footprint);
    waiting_.push_back({variable, values, isWrite, ticket});
    startWaiting();
    return ticket;
}

/// Hands waiting orders to the driver, in their order.
void Session::startWaiting()
{
    while (!waiting_.empty()) {
        const Order &order = waiting_.front();
        if (ledger_.isOpen(order.ticket)) {
            if (!ledger_.mayStart(order.ticket))
                return;
            ledger_.start(order.ticket);
            // Before the driver has it, so that its end cannot come first.
            communication_.setOpenOperations(ledger_.startedCount());
            if (order.isWrite)
                handWrite(order);
            else
                handRead(order);
        }
        waiting_.pop_front();
    }
}

void Session::handRead(const Order &order)
{
    RW_VAR read;
    read.hostId = kOperationHostId;
    read.hostSubId = order.ticket;
    read.linkMode = settings_.linkMode;
    read.varName = QString::fromStdString(order.variable.text);
    read.addrText = order.variable.address;
    read.regType = order.variable.area->regType;
    read.station = stationOf(order.variable);
    read.count = order.variable.elements();
    if (driver_.addListOnceReadVar(&read, kModeParsed) == 0)
        throw Failure(kExitUsage, "variable '" + order.variable.text + "' is refused by the driver");
}

void Session::handWrite(const Order &order)
{
    QByteArray bytes = encodeValues(order.values, order.variable.area->unit);
    const int queued = driver_.setRegisterData(
        QString::fromStdString(order.variable.text), order.variable.area->regType, order.variable.address,
        stationOf(order.variable), &bytes, order.variable.elements(), kOperationHostId, order.ticket);
    if (queued == 0)
        throw Failure(kExitUsage, "the write to '" + order.variable.text + "' is refused by the driver");
}

void Session::pump(Time until)
{
    for (const News &news : mailbox_.take(until))
        digest(news);
    communication_.setOpenOperations(ledger_.startedCount());
    startWaiting();
}

void Session::digest(const News &news)
{
    if (!news.trace.empty())
        std::fprintf(stderr, "%s\n", news.trace.c_str());
    if (news.statistics)
        statistics_ = *news.statistics;
    if (news.step && news.step->request.hostId == kCyclicHostId)
        noteCyclic(*news.step);
    if (listener_)
        listener_(news);
    for (const OperationNews &operation : news.operations)
        ledger_.close(operation.ticket, operation.result);
    if (news.portLost.empty())
        return;
    portLost_ = news.portLost;
    ledger_.closeAll(-1, OperationEnd::PortLost);
}

void Session::noteCyclic(const StepReport &report)
{
    const auto index = static_cast<std::size_t>(report.request.hostSubId);
    if (index >= cyclicReads_.size())
        return;
    CyclicRead &read = cyclicReads_[index];
    read.last = resultOf(report);
    ++read.scans;
    if (read.last.end != OperationEnd::Good)
        return;
    read.hasValue = true;
    read.lastGood = report.endedAt;
}

OperationResult Session::await(Ticket ticket)
{
    while (result(ticket).end == OperationEnd::Open && portLost_.empty() && !isInterrupted())
        pump(steadyNow() + kPumpSlice);
    return result(ticket);
}

void Session::setStationEnabled(int station, bool enabled)
{
    driver_.enCommStation(station, enabled ? 1 : 0);
    if (!enabled)
        ledger_.closeAll(station, OperationEnd::Dropped);
}

Values Session::values(const Variable &variable) const
{
    QByteArray bytes;
    driver_.getRegisterData(QString(), variable.area->regType, variable.address, stationOf(variable), &bytes,
                            variable.elements());
    return decodeValues(bytes, variable.area->unit, variable.count);
}

Time Session::staleAfter() const
{
    return std::max(kStaleAtLeast, 2 * (settings_.pollInterval + settings_.timeout));
}

WatchStatus Session::status(int number) const
{
    WatchStatus status;
    bool first = true;
    Time oldest{};
    for (const CyclicRead &read : cyclicReads_) {
        if (read.variable != number)
            continue;
        const bool worse = status.last.end == OperationEnd::Good && read.last.end != OperationEnd::Good;
        if (first || worse)
            status.last = read.last;
        status.hasValue = (first || status.hasValue) && read.hasValue;
        oldest = first ? read.lastGood : std::min(oldest, read.lastGood);
        status.scans = first ? read.scans : std::min(status.scans, read.scans);
        first = false;
    }
    status.state = stateOf(status.last.end);
    if (status.hasValue)
        status.age = steadyNow() - oldest;
    if (status.state == VariableState::Good && status.age > staleAfter())
        status.state = VariableState::Stale;
    return status;
}

} // namespace plc::host
