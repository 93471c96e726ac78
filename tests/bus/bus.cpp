#include "bus.h"

#include <algorithm>

#include "choices.h"
#include "core/register_types.h"
#include "runtime/panel/pieces.h"
#include "runtime/panel/registration.h"

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

Bus::Bus(const BusPlan &plan, runtime::DriverLibrary &driver)
    : plan_(plan), journal_(plan.trace ? kTraced : kUntraced), wire_(plan.link.baud, plan.seed * 2 + 1),
      witness_(witnessPlan(plan, wire_), journal_,
               [&driver](int station, int baseType, int first, int count) {
                   return mirrorOf(driver, station, baseType, first, count);
               }),
      stations_(plan.field, plan.seed * 2),
      field_(plan.field, stations_, wire_, journal_, witness_, plan.seed * 2),
      session_(driver, plan.link,
               [this](runtime::DriverLibrary &library, COM_INFO &info, const runtime::LinkSettings &link) {
                   auto made =
                       std::make_unique<VirtualLink>(library, info, link,
                                                     simulation::Line{wire_, field_, witness_, journal_, now_,
                                                                      plan_.burst, plan_.echo, plan_.trace});
                   lookAtChoicesOf(library);
                   link_ = made.get();
                   return made;
               })
{
    witness_.setField(&field_);
    witness_.setStations(&stations_);
    watch(driver);
    session_.setListener([this](const runtime::News &news) {
        if (news.transaction && keepTransactions_)
            transactions_.push_back(*news.transaction);
        if (news.station && news.station->offline) {
            note("station " + std::to_string(news.station->station) + " is offline");
            ++wentOffline_;
        }
        if (news.station && !news.station->offline)
            note("station " + std::to_string(news.station->station) + " is back");
        if (news.port)
            note(news.port->change == runtime::PortNews::Change::Back ? "the port is back"
                                                                      : "the port is lost");
    });
}

void Bus::watch(runtime::DriverLibrary &driver)
{
    std::vector<runtime::PriorityRow> rows;
    std::vector<runtime::Variable> packed;
    int reads = 0;
    for (const std::string &text : plan_.watched) {
        watched_.push_back(runtime::parseVariable(text, false));
        const runtime::Variable &variable = watched_.back();
        if (plan_.packed)
            packed.push_back(variable);
        else
            session_.watch(variable);
        firstReads_.push_back(reads);
        reads += runtime::readPieces(variable, plan_.link);
        witness_.watched(session_.stationOf(variable), variable.area->baseType, variable.baseFirst(),
                         variable.baseCount());
    }
    constexpr int kTexts = 10;
    constexpr int kLevelText = 8;
    for (const auto &[name, level] : plan_.priorities) {
        runtime::PriorityRow row;
        for (int i = 0; i < kTexts; ++i)
            row.texts.append(QString());
        row.texts[kLevelText] = QString::number(level);
        row.texts.last() = QString::fromStdString(name);
        const runtime::Variable place =
            runtime::parseVariable(name.substr(0, 2) + ":" + name.substr(2), false);
        row.level = level;
        row.baseType = place.area->baseType;
        rows.push_back(row);
    }
    if (!plan_.packed)
        return;
    runtime::registerVariables(driver, packed, rows);
    session_.setLevelStations(runtime::levelStations(packed, rows, plan_.link));
}

void Bus::runUntil(Time until)
{
    while (now() < until && witness_.complaint().empty()) {
        session_.pump(until);
        digestEnds();
    }
}

void Bus::note(const std::string &what)
{
    journal_.note(now(), "runtime", 0, Bytes(), what.c_str());
}

void Bus::digestEnds()
{
    for (auto order = open_.begin(); order != open_.end();) {
        const runtime::OrderResult result = session_.result(order->first);
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
        session_.forget(ticket);
    ended_.clear();
    witness_.forget(now());
}

runtime::Ticket Bus::write(const std::string &variable, const runtime::Values &values)
{
    return write(runtime::parseVariable(variable, false), values);
}

runtime::Ticket Bus::write(const runtime::Variable &variable, const runtime::Values &values)
{
    const int station = session_.stationOf(variable);
    const runtime::Ticket ticket = session_.write(variable, values);
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
        witness_.mustBeLost(now(), ticket, session_.result(ticket));
    else if (isOffline(station))
        witness_.mustBeOffline(now(), ticket, session_.result(ticket));
}

runtime::Ticket Bus::read(const std::string &text)
{
    const runtime::Variable variable = runtime::parseVariable(text, false);
    const runtime::Ticket ticket = session_.read(variable);
    note("orders reading " + std::to_string(ticket) + " of " + text);
    witness_.orderedRead(now(), ticket);
    open_.emplace(ticket, now());
    checkRefused(ticket, session_.stationOf(variable));
    digestEnds();
    return ticket;
}

runtime::Values Bus::valuesOf(const std::string &variable) const
{
    return session_.values(runtime::parseVariable(variable, false));
}

void Bus::setStationEnabled(int station, bool enabled)
{
    note("switches station " + std::to_string(station) + (enabled ? " on" : " off"));
    session_.setStationEnabled(station, enabled);
    witness_.switched(now(), station, enabled);
    digestEnds();
}

void Bus::losePort(Time lasts)
{
    field_.notePortGone(now());
    link_->losePort(now() + lasts);
    session_.pump(now());
    digestEnds();
    if (!open_.empty())
        witness_.complain(now(), "(s) order " + std::to_string(open_.begin()->first) +
                                     " has not ended when the port was lost");
}

void Bus::lookAt(std::size_t number)
{
    const runtime::Variable &variable = watched_[number];
    witness_.lookAt(now(), session_.stationOf(variable), variable.area->baseType, variable.baseFirst(),
                    variable.baseCount());
    // What the driver has packed has no status in the session.
    if (!plan_.packed)
        witness_.checkStatus(now(), variable.text, session_.stationOf(variable), firstReads_[number],
                             runtime::readPieces(variable, plan_.link),
                             session_.status(static_cast<int>(number)));
}

} // namespace plc::bus
