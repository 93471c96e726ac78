#include "bus.h"

#include <algorithm>

#include "choices.h"
#include "core/register_types.h"

namespace plc::bus {

namespace {

constexpr int kLongestFrame = 256;
/// Entries of the journal.
constexpr std::size_t kUntraced = 80;
constexpr std::size_t kTraced = 400;
/// A late reply begins so long before the master stops listening that it has heard of it by then.
constexpr Time kNotice = std::chrono::milliseconds(60);

std::vector<std::uint16_t> mirrorOf(const runtime::DriverLibrary &driver, int station, int baseType,
                                    int first, int count)
{
    QByteArray bytes;
    driver.getRegisterData(QString(), baseType, QString::number(first), station, &bytes, count);
    const bool bits = isBitArea(baseType);
    std::vector<std::uint16_t> values;
    for (int i = 0; i < count; ++i) {
        const int at = bits ? i : 2 * i;
        const auto low = static_cast<unsigned char>(bytes.at(at));
        const auto high = static_cast<unsigned char>(bits ? '\0' : bytes.at(at + 1));
        values.push_back(static_cast<std::uint16_t>(low | high << 8));
    }
    return values;
}

/// The elements that a write touches.
std::vector<Element> elementsOf(const runtime::Variable &variable, const runtime::Values &values)
{
    std::vector<Element> elements;
    for (std::size_t i = 0; i < values.size(); ++i) {
        const int place = variable.first + static_cast<int>(i);
        const std::uint32_t value = values[i];
        if (variable.area->insideRegister) {
            elements.push_back({5, place / 16, place % 16, static_cast<std::uint16_t>(value)});
        } else if (variable.area->unit == runtime::Unit::RegisterPair) {
            // The register with the lower address has the upper half.
            const int pair = variable.first + 2 * static_cast<int>(i);
            elements.push_back({5, pair, -1, static_cast<std::uint16_t>(value >> 16)});
            elements.push_back({5, pair + 1, -1, static_cast<std::uint16_t>(value & 0xFFFFu)});
        } else {
            elements.push_back({variable.area->baseType, place, -1, static_cast<std::uint16_t>(value)});
        }
    }
    return elements;
}

const char *endName(runtime::OrderEnd end)
{
    switch (end) {
    case runtime::OrderEnd::Good:
        return "done";
    case runtime::OrderEnd::NoReply:
        return "no reply";
    case runtime::OrderEnd::Refused:
        return "refused";
    case runtime::OrderEnd::Unusable:
        return "no usable reply";
    case runtime::OrderEnd::LineBusy:
        return "the line was never silent";
    case runtime::OrderEnd::PortLost:
        return "port lost";
    case runtime::OrderEnd::Unconfirmed:
        return "sent and not confirmed";
    case runtime::OrderEnd::Dropped:
        return "its station was switched off";
    case runtime::OrderEnd::Offline:
        return "its station is offline";
    case runtime::OrderEnd::Expired:
        return "its deadline has come";
    case runtime::OrderEnd::Closed:
        return "the line was closed";
    case runtime::OrderEnd::OnlyEcho:
        return "not sent, since nothing but an echo came";
    case runtime::OrderEnd::NotTaken:
        return "the driver refused it";
    case runtime::OrderEnd::Open:
        break;
    }
    return "open";
}

Witness::Plan witnessPlan(const BusPlan &plan, const Wire &wire)
{
    Witness::Plan watched;
    watched.silence = wire.silence();
    watched.latest = plan.field.latest;
    watched.longestReply = wire.duration(kLongestFrame) + plan.burst;
    watched.echo = plan.echo;
    watched.mustCheckEcho = !plan.link.echo;
    watched.turnaround = plan.link.turnaround;
    watched.timeout = plan.link.timeout;
    if (plan.link.policies.lateReplyGuard)
        watched.guard = plan.link.lateGuard.value_or(plan.link.timeout);
    for (const auto &[station, settings] : plan.link.stations) {
        if (settings.pause > Time::zero())
            watched.pauses.emplace(station, settings.pause);
    }
    return watched;
}

} // namespace

BusPlan agreed(BusPlan plan)
{
    plan.field.baud = plan.link.baud;
    plan.field.timeout = plan.link.timeout;
    plan.field.latest = plan.link.timeout + plan.link.lateGuard.value_or(plan.link.timeout) - kNotice;
    plan.field.handsOverInBursts = plan.burst > Time::zero();
    plan.field.items = kItems;
    plan.field.requestCrcHighFirst = hasOption(plan.link.options, kOptionSwapRequestCrc);
    plan.field.replyCrcHighFirst = hasOption(plan.link.options, kOptionSwapReplyCrc);
    plan.link.echo = plan.echo;
    return plan;
}

Bus::Bus(const BusPlan &plan)
    : plan_(plan), journal_(plan.trace ? kTraced : kUntraced), wire_(plan.link.baud, plan.seed * 2 + 1),
      witness_(witnessPlan(plan, wire_), journal_,
               [this](int station, int baseType, int first, int count) {
                   return mirrorOf(front_->driver(), station, baseType, first, count);
               }),
      stations_(plan.field, plan.seed * 2),
      field_(plan.field, stations_, wire_, journal_, witness_, plan.seed * 2)
{
    witness_.setField(&field_);
    witness_.setStations(&stations_);
    watch();
}

Bus::Bus(const BusPlan &plan, runtime::DriverLibrary &driver) : Bus(plan)
{
    front_ = std::make_unique<SessionFront>(driver, plan.link, linkFactory(), listener(), watched_,
                                            plan.packed, plan.priorities);
}

Bus::Bus(const BusPlan &plan, const std::string &driverFile) : Bus(plan)
{
    LineFront::Ground ground;
    ground.makeLink = linkFactory();
    ground.clock = [this] { return now_; };
    ground.wait = [this](Time until) {
        if (link_) // otherwise the line could not be opened, and the witness knows why
            link_->wait(until);
    };
    ground.complain = [this](const std::string &what) { witness_.complain(now_, what); };
    front_ =
        std::make_unique<LineFront>(driverFile, plan.link, ground, listener(), watched_, plan.priorities);
}

runtime::LinkFactory Bus::linkFactory()
{
    return [this](runtime::DriverLibrary &driver, COM_INFO &info, const runtime::LinkSettings &link) {
        auto made = std::make_unique<VirtualLink>(
            driver, info, link,
            simulation::Line{wire_, field_, witness_, journal_, now_, plan_.burst, plan_.echo, plan_.trace});
        lookAtChoicesOf(driver);
        link_ = made.get();
        return made;
    };
}

Front::Listener Bus::listener()
{
    Front::Listener listener;
    listener.transaction = [this](const runtime::TransactionReport &report) {
        if (keepTransactions_)
            transactions_.push_back(report);
    };
    listener.station = [this](int station, bool offline) {
        note("station " + std::to_string(station) + (offline ? " is offline" : " is back"));
        wentOffline_ += offline ? 1u : 0u;
    };
    listener.port = [this](bool isBack) { note(isBack ? "the port is back" : "the port is lost"); };
    return listener;
}

void Bus::watch()
{
    for (const std::string &text : plan_.watched) {
        watched_.push_back(runtime::parseVariable(text, false));
        const runtime::Variable &variable = watched_.back();
        witness_.watched(stationOf(variable), variable.area->baseType, variable.baseFirst(),
                         variable.baseCount());
    }
}

void Bus::runUntil(Time until)
{
    while (now() < until && witness_.complaint().empty()) {
        front_->pump(until);
        digestEnds();
        front_->checkChanges(now(), witness_);
    }
}

void Bus::note(const std::string &what)
{
    journal_.note(now(), "runtime", 0, Bytes(), what.c_str());
}

void Bus::digestEnds()
{
    for (auto order = open_.begin(); order != open_.end();) {
        const runtime::OrderResult result = front_->result(order->first);
        if (result.end == runtime::OrderEnd::Open) {
            ++order;
            continue;
        }
        note("order " + std::to_string(order->first) + " has ended: " + endName(result.end));
        witness_.ended(now(), order->first, result);
        ended_.push_back(order->first);
        order = open_.erase(order);
    }
}

void Bus::forgetEnds()
{
    for (const runtime::Ticket ticket : ended_)
        front_->forget(ticket);
    ended_.clear();
    witness_.forget(now());
}

runtime::Ticket Bus::write(const std::string &variable, const runtime::Values &values)
{
    return write(runtime::parseVariable(variable, false), values);
}

runtime::Ticket Bus::write(const runtime::Variable &variable, const runtime::Values &values)
{
    const int station = stationOf(variable);
    const runtime::Ticket ticket = front_->write(variable, values);
    note("orders write " + std::to_string(ticket) + " to " + variable.text);
    witness_.ordered(now(), {ticket, station, elementsOf(variable, values)});
    open_.emplace(ticket, now());
    checkRefused(ticket, station);
    digestEnds();
    return ticket;
}

void Bus::checkRefused(runtime::Ticket ticket, int station)
{
    if (isPortLost())
        witness_.mustBeLost(now(), ticket, front_->result(ticket));
    else if (isOffline(station))
        witness_.mustBeOffline(now(), ticket, front_->result(ticket));
}

runtime::Ticket Bus::read(const std::string &text)
{
    const runtime::Variable variable = runtime::parseVariable(text, false);
    const runtime::Ticket ticket = front_->read(variable);
    note("orders reading " + std::to_string(ticket) + " of " + text);
    witness_.orderedRead(now(), ticket);
    open_.emplace(ticket, now());
    checkRefused(ticket, stationOf(variable));
    digestEnds();
    return ticket;
}

runtime::Values Bus::valuesOf(const std::string &variable)
{
    return session().values(runtime::parseVariable(variable, false));
}

void Bus::setStationEnabled(int station, bool enabled)
{
    note("switches station " + std::to_string(station) + (enabled ? " on" : " off"));
    front_->setStationEnabled(station, enabled);
    witness_.switched(now(), station, enabled);
    digestEnds();
}

void Bus::losePort(Time lasts)
{
    field_.notePortGone(now());
    link_->losePort(now() + lasts);
    front_->pump(now());
    digestEnds();
    if (!open_.empty())
        witness_.complain(now(), "(s) order " + std::to_string(open_.begin()->first) +
                                     " has not ended when the port was lost");
}

const runtime::Statistics &Bus::statistics() const
{
    static const runtime::Statistics kNone;
    return link_ ? link_->statistics() : kNone;
}

void Bus::lookAt(std::size_t number)
{
    const runtime::Variable &variable = watched_[number];
    witness_.lookAt(now(), stationOf(variable), variable.area->baseType, variable.baseFirst(),
                    variable.baseCount());
    front_->checkStatus(now(), number, witness_);
}

} // namespace plc::bus
