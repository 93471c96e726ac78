#include "line_front.h"

#include <chrono>

#include "core/options.h"
#include "runtime/api/line_access.h"
#include "witness.h"

namespace plc::bus {

namespace {

using plcruntime::Quality;
using std::chrono::milliseconds;

int msOf(Time time)
{
    return static_cast<int>(time / milliseconds(1));
}

unsigned policiesOff(const runtime::Policies &policies)
{
    unsigned off = 0;
    const auto add = [&off](bool isOn, plcruntime::Policy policy) {
        off |= isOn ? 0u : static_cast<unsigned>(policy);
    };
    add(policies.discardInput, plcruntime::PolicyDiscardInput);
    add(policies.lateReplyGuard, plcruntime::PolicyLateReplyGuard);
    add(policies.checkReplies, plcruntime::PolicyCheckReplies);
    add(policies.strictWrites, plcruntime::PolicyStrictWrites);
    add(policies.endOnException, plcruntime::PolicyEndOnException);
    add(policies.endOnDamage, plcruntime::PolicyEndOnDamage);
    add(policies.absoluteDeadline, plcruntime::PolicyAbsoluteDeadline);
    add(policies.offline, plcruntime::PolicyOffline);
    add(policies.echoCheck, plcruntime::PolicyEchoCheck);
    return off;
}

plcruntime::LineSettings lineSettings(const runtime::LinkSettings &link)
{
    plcruntime::LineSettings line;
    line.baud = link.baud;
    line.timeoutMs = msOf(link.timeout);
    line.retries = link.retries;
    line.station = link.station;
    line.turnaroundMs = msOf(link.turnaround);
    line.lateGuardMs = link.lateGuard ? msOf(*link.lateGuard) : -1;
    line.maxBlock = link.maxBlock;
    line.echo = link.echo;
    line.driverOptions = link.options;
    line.policiesOff = policiesOff(link.policies);
    line.offlineFailures = link.offline.failures;
    line.firstProbeMs = msOf(link.offline.firstProbe);
    line.longestProbeMs = msOf(link.offline.longestProbe);
    line.pollIntervalMs = msOf(link.pollInterval);
    line.delivery = plcruntime::Delivery::Poll;
    for (const auto &[number, own] : link.stations) {
        plcruntime::StationSettings station;
        station.station = number;
        station.timeoutMs = own.timeout ? msOf(*own.timeout) : -1;
        station.retries = own.retries.value_or(-1);
        station.pauseMs = msOf(own.pause);
        line.stations.append(station);
    }
    return line;
}

runtime::OrderEnd endOf(plcruntime::OrderEnd end)
{
    switch (end) {
    case plcruntime::OrderEnd::Open:
        return runtime::OrderEnd::Open;
    case plcruntime::OrderEnd::Good:
        return runtime::OrderEnd::Good;
    case plcruntime::OrderEnd::Refused:
        return runtime::OrderEnd::Refused;
    case plcruntime::OrderEnd::NoAnswer:
        return runtime::OrderEnd::NoReply;
    case plcruntime::OrderEnd::BadReply:
        return runtime::OrderEnd::Unusable;
    case plcruntime::OrderEnd::LineBusy:
        return runtime::OrderEnd::LineBusy;
    case plcruntime::OrderEnd::Offline:
        return runtime::OrderEnd::Offline;
    case plcruntime::OrderEnd::SwitchedOff:
        return runtime::OrderEnd::Dropped;
    case plcruntime::OrderEnd::PortLost:
        return runtime::OrderEnd::PortLost;
    case plcruntime::OrderEnd::Expired:
        return runtime::OrderEnd::Expired;
    case plcruntime::OrderEnd::Unconfirmed:
        return runtime::OrderEnd::Unconfirmed;
    case plcruntime::OrderEnd::Closed:
        return runtime::OrderEnd::Closed;
    case plcruntime::OrderEnd::OnlyEcho:
        return runtime::OrderEnd::OnlyEcho;
    case plcruntime::OrderEnd::NotTaken:
        break;
    }
    return runtime::OrderEnd::NotTaken;
}

/// Of the states that the witness tells apart.
runtime::VariableState stateOf(Quality quality)
{
    switch (quality) {
    case Quality::NeverRead:
        return runtime::VariableState::NeverRead;
    case Quality::Good:
        return runtime::VariableState::Good;
    case Quality::Stale:
        return runtime::VariableState::Stale;
    case Quality::Refused:
        return runtime::VariableState::Refused;
    case Quality::NoAnswer:
        return runtime::VariableState::NoAnswer;
    case Quality::Offline:
        return runtime::VariableState::Offline;
    case Quality::SwitchedOff:
        return runtime::VariableState::SwitchedOff;
    case Quality::PortLost:
        return runtime::VariableState::PortLost;
    case Quality::BadReply:
        break;
    }
    return runtime::VariableState::BadReply;
}

} // namespace

LineFront::LineFront(const std::string &driverFile, const runtime::LinkSettings &settings, Ground ground,
                     Listener listener, const std::vector<runtime::Variable> &watched,
                     const std::vector<std::pair<std::string, int>> &priorities)
    : ground_(std::move(ground)), listener_(std::move(listener)), station_(settings.station),
      watched_(watched)
{
    plcruntime::LineGround below;
    below.clock = ground_.clock;
    below.makeLink = [this](runtime::DriverLibrary &driver, COM_INFO &info,
                            const runtime::LinkSettings &link) {
        driver_ = &driver;
        return ground_.makeLink(driver, info, link);
    };
    plcruntime::LineSettings line = lineSettings(settings);
    line.driverFile = QString::fromStdString(driverFile);
    line_.reset(plcruntime::LineAccess::make(line, below));
    line_->setEventHandler(&LineFront::take, this);

    QList<plcruntime::VariableId> screen;
    for (const runtime::Variable &variable : watched_) {
        plcruntime::Error error;
        ids_.push_back(line_->addVariable(QString::fromStdString(variable.text), &error));
        mustSucceed(error);
        screen.append(ids_.back());
    }
    // A priority belongs to a place, on the screen or not.
    for (const auto &[name, level] : priorities) {
        // The driver divides the numbers of bits in its names by 8.
        const std::string area = name.substr(0, 2);
        const int number = std::stoi(name.substr(2)) / (area == "0x" || area == "1x" ? 8 : 1);
        plcruntime::VariableSettings place(QString::fromStdString(area + ":" + std::to_string(number)));
        place.priority = level;
        plcruntime::Error error;
        line_->addVariable(place, &error);
        mustSucceed(error);
    }
    mustSucceed(line_->showScreen(screen));
}

LineFront::~LineFront()
{
    line_.reset(); // its last events come here
}

void LineFront::mustSucceed(const plcruntime::Error &error) const
{
    if (error)
        ground_.complain("a call is refused: " + error.text.toStdString());
}

void LineFront::start()
{
    mustSucceed(line_->open());
}

void LineFront::pump(Time until)
{
    ground_.wait(until);
    line_->poll(0);
}

void LineFront::take(void *context, const plcruntime::Event &event)
{
    static_cast<LineFront *>(context)->digest(event);
}

void LineFront::digest(const plcruntime::Event &event)
{
    if (event.order && ++told_[static_cast<runtime::Ticket>(event.order->order)] > 1)
        ground_.complain("(b) the end of order " + std::to_string(event.order->order) + " is told twice");
    if (event.kind == plcruntime::EventValue)
        changed_.insert(event.variable->id);
    if (event.station && event.station->state != plcruntime::StationState::SwitchedOff)
        listener_.station(event.station->station, event.station->state == plcruntime::StationState::Offline);
    if (event.port)
        listener_.port(event.port->state == plcruntime::PortState::Open);
}

plcruntime::VariableId LineFront::idOf(const runtime::Variable &variable)
{
    plcruntime::VariableId &id = places_[variable.text];
    plcruntime::Error error;
    if (id == 0)
        id = line_->addVariable(QString::fromStdString(variable.text), &error);
    mustSucceed(error);
    return id;
}

runtime::Ticket LineFront::taken(plcruntime::OrderId order, const plcruntime::Error &error)
{
    mustSucceed(error);
    const auto ticket = static_cast<runtime::Ticket>(order);
    told_.emplace(ticket, 0);
    line_->poll(0); // it may have ended at once
    return ticket;
}

runtime::Ticket LineFront::write(const runtime::Variable &variable, const runtime::Values &values)
{
    QList<plcruntime::Value> wanted;
    for (const auto value : values)
        wanted.append(plcruntime::Value(static_cast<unsigned long long>(value)));
    plcruntime::Error error;
    const plcruntime::OrderId order = line_->write(idOf(variable), wanted, -1, &error);
    return taken(order, error);
}

runtime::Ticket LineFront::read(const runtime::Variable &variable)
{
    plcruntime::Error error;
    const plcruntime::OrderId order = line_->readOnce(idOf(variable), -1, &error);
    return taken(order, error);
}

runtime::OrderResult LineFront::result(runtime::Ticket ticket) const
{
    const plcruntime::OrderResult told = line_->result(ticket);
    runtime::OrderResult result;
    result.end = endOf(told.end);
    result.exceptionCode = told.exceptionCode;
    result.attempts = told.attempts;
    return result;
}

void LineFront::forget(runtime::Ticket ticket)
{
    const auto told = told_.find(ticket);
    if (told == told_.end() || told->second != 1)
        ground_.complain("(b) the end of order " + std::to_string(ticket) + " is not told");
    told_.erase(ticket);
}

void LineFront::setStationEnabled(int station, bool enabled)
{
    mustSucceed(line_->setStationEnabled(station, enabled));
    line_->poll(0);
}

bool LineFront::isOffline(int station) const
{
    return line_->stationState(station) == plcruntime::StationState::Offline;
}

bool LineFront::isPortLost() const
{
    return line_->portState() == plcruntime::PortState::Lost;
}

void LineFront::checkStatus(Time now, std::size_t number, Witness &witness) const
{
    const runtime::Variable &variable = watched_[number];
    const plcruntime::VariableState state = line_->value(ids_[number]);
    const int station = variable.station.value_or(station_);
    const auto reads =
        witness.readsOfPlaces(station, variable.area->baseType, variable.baseFirst(), variable.baseCount());
    witness.checkStatus(now, variable.text, station, reads,
                        {stateOf(state.quality), !state.values.isEmpty(), milliseconds(state.ageMs),
                         milliseconds(1), true,
                         witness.isWrittenSince(station, variable.area->baseType, variable.baseFirst(),
                                                variable.baseCount())});
    checkValues(now, number, witness);
}

void LineFront::checkValues(Time now, std::size_t number, Witness &witness) const
{
    const runtime::Variable &variable = watched_[number];
    std::vector<std::uint64_t> values;
    for (const plcruntime::Value &value : line_->value(ids_[number]).values)
        values.push_back(static_cast<std::uint64_t>(value.toInteger()));
    witness.checkValues(now, variable, variable.station.value_or(station_), values);
}

/// With a write that fails a wrong value stands there only until the next reading.
void LineFront::checkChanges(Time now, Witness &witness)
{
    for (std::size_t i = 0; i < ids_.size(); ++i) {
        if (changed_.count(ids_[i]) > 0)
            checkValues(now, i, witness);
    }
    changed_.clear();
}

} // namespace plc::bus
