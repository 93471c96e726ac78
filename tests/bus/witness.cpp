#include "witness.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "choices.h"
#include "runtime/line/exception_codes.h"
#include "runtime/master/driver_link.h"
#include "runtime/master/request_ids.h"
#include "station/modbus_codes.h"

namespace plc::bus {

namespace {

using runtime::AttemptEnd;
using runtime::OrderEnd;

/// How long the driver may still hold an order that has been withdrawn: it drops it when its turn comes.
constexpr Time kWithdrawn = std::chrono::minutes(2);

/// From the reply with a register to the start of the frame that writes the register back.
constexpr Time kWriteBackWithin = std::chrono::milliseconds(500);

std::string nameOf(int station, int baseType, int address)
{
    return areaText(areaOfBaseType(baseType)) + ":" + std::to_string(address) + "@" + std::to_string(station);
}

std::string hex(std::uint16_t value)
{
    char text[8];
    std::snprintf(text, sizeof text, "%04X", value);
    return text;
}

bool bitOf(std::uint16_t value, int bit)
{
    return (value >> bit & 1) != 0;
}

/// The host has taken the order back before the driver reported anything.
bool isWithdrawn(const runtime::OrderResult &result)
{
    return result.end == OrderEnd::Offline || result.end == OrderEnd::Dropped ||
           result.end == OrderEnd::Unconfirmed || result.end == OrderEnd::PortLost;
}

} // namespace

Witness::Witness(const Plan &plan, Journal &journal, ReadMirror readMirror)
    : plan_(plan), journal_(journal), readMirror_(std::move(readMirror))
{}

void Witness::complain(Time now, const std::string &what)
{
    const auto begins = [&what](const std::string &rule) { return what.compare(0, rule.size(), rule) == 0; };
    if (!complaint_.empty() || std::any_of(overlooked_.begin(), overlooked_.end(), begins))
        return;
    char time[32];
    std::snprintf(time, sizeof time, "%.6f s: ", runtime::seconds(now));
    complaint_ = time + what;
    journal_.note(now, "WITNESS", 0, Bytes(), what.c_str());
}

const Witness::Sent *Witness::sentWith(int tag) const
{
    if (sent_.tag == tag)
        return &sent_;
    const auto found =
        std::find_if(earlier_.rbegin(), earlier_.rend(), [tag](const Sent &sent) { return sent.tag == tag; });
    return found == earlier_.rend() ? nullptr : &*found;
}

void Witness::timeStandsStill(Time now)
{
    complain(now, "the time stands still: the link wants to be woken in the past again and again");
}

void Witness::masterSends(Time now, Time lastHeard, const Bytes &frame)
{
    const Choice &choice = lastChoice();
    ++checks_.requests;
    if (isPortLost_)
        complain(now, "(s) a request goes out while the port is gone");
    if (now - lastHeard < plan_.silence)
        complain(now, "(e) the line was silent for " + std::to_string((now - lastHeard).count() / 1000) +
                          " us only, not for " + std::to_string(plan_.silence.count() / 1000));
    if (field_->isReplyOpen(now))
        complain(now,
                 "(d) a request goes out while the reply to the one before is under way or still to come");

    Sent sent;
    sent.tag = sent_.tag + 1;
    sent.start = now;
    sent.chainStart = frame == sent_.frame ? sent_.chainStart : now;
    sent.frame = frame;
    // The driver has chosen a write, and a read that it does not know of goes out before.
    const bool isCheck = choice.isWrite && isReadFunction(frame[1]);
    sent.hostId = isCheck ? runtime::kEchoCheckHostId : choice.hostId;
    sent.ticket = sent.hostId == runtime::kOrderHostId ? choice.hostSubId : 0;
    sent.isWrite = choice.isWrite && !isCheck;
    if (sent_.tag >= 0)
        earlier_.push_back(std::move(sent_));
    sent_ = std::move(sent);
    while (!earlier_.empty() && earlier_.front().start < now - 2 * plan_.latest - plan_.longestReply)
        earlier_.pop_front();

    const auto order = orders_.find(sent_.ticket);
    const auto reading = reads_.find(sent_.ticket);
    const bool isOverOrder = order != orders_.end() && order->second.ended && order->second.endedAt < now;
    const bool isOverReading =
        reading != reads_.end() && reading->second.ended && reading->second.endedAt < now;
    if (isOverOrder || isOverReading)
        complain(now,
                 "(j) order " + std::to_string(sent_.ticket) + " is sent after it was reported as ended");
    noteHalf(now);
    checkLeftAlone(now);
    checkPauses(now);
    checkFirstWrite(now);
}

void Witness::checkFirstWrite(Time now)
{
    const int station = sent_.frame[0];
    if (plan_.mustCheckEcho && sent_.isWrite && station != 0 && mayBeWritten_.count(station) == 0)
        complain(now, "(v) a write goes to station " + std::to_string(station) +
                          ", which has not answered yet, and whose echo would pass for its reply");
}

/// Whether what has become of a transaction lets writes go to its station.
void Witness::noteEchoCheck(const runtime::TransactionReport &report)
{
    const bool isCheck = report.request.hostId == runtime::kEchoCheckHostId;
    const bool isAnswered = report.cause == AttemptEnd::Good || report.cause == AttemptEnd::Exception;
    const bool hasPassed = report.cause == AttemptEnd::NoReply || report.cause == AttemptEnd::Unusable;
    checks_.firstWrites += isCheck ? 1 : 0;
    if (isAnswered || (isCheck && hasPassed && !sent_.isHeard))
        mayBeWritten_.insert(report.request.station);
}

void Witness::checkPauses(Time now)
{
    const int station = sent_.frame[0];
    for (const auto &[number, pause] : plan_.pauses) {
        if (station != number && station != 0)
            continue;
        const auto rested = restedFrom_.find(number);
        if (rested == restedFrom_.end())
            continue;
        ++checks_.pauses;
        if (now - rested->second < pause)
            complain(now, "(t) station " + std::to_string(number) + " had a pause of " +
                              std::to_string(runtime::seconds(now - rested->second)) + " s only");
    }
}

void Witness::noteRest(Time now, const runtime::TransactionReport &report)
{
    // Otherwise the last attempt may have ended before.
    const bool isAnswered = report.cause == AttemptEnd::Good || report.cause == AttemptEnd::NoReplyDue;
    if (!isAnswered)
        return;
    for (const auto &[number, pause] : plan_.pauses) {
        if (report.request.station == number || report.request.station == 0)
            restedFrom_[number] = now;
    }
}

/// Is what is sent half of a read-modify-write, and is the value that is written back a new one?
void Witness::noteHalf(Time now)
{
    const auto found = orders_.find(sent_.ticket);
    if (found == orders_.end())
        return;
    Order &order = found->second;
    if (!sent_.isWrite) {
        order.readFrom = now;
        return;
    }
    order.wasSent = true;
    if (!order.readFrom)
        return;
    ++checks_.writeBacks;
    sent_.readFrom = *order.readFrom;
    if (now - order.readEnded > kWriteBackWithin)
        complain(now, "(m) order " + std::to_string(sent_.ticket) + " writes back a register that was read " +
                          std::to_string(runtime::seconds(now - order.readEnded)) + " s ago");
}

/// What goes to a station that is off, offline, or only just back?
void Witness::checkLeftAlone(Time now)
{
    const int station = sent_.frame[0];
    const bool isRepeat = sentInTransaction_++ > 0;
    const std::string who = "station " + std::to_string(station);
    if (switchedOff_.count(station) > 0)
        complain(now, "(k) a request goes to " + who + ", which is switched off");
    const auto busy = busyUntil_.find(station);
    if (busy != busyUntil_.end() && now < busy->second && sent_.hostId == runtime::kCyclicHostId)
        complain(now, "(o) a cyclic read goes to " + who + ", which has just said that it is busy");
    const auto absence = absences_.find(station);
    if (absence == absences_.end())
        return;
    ++checks_.probes;
    const bool isOffline = absence->second == Absence::Offline;
    if (isOffline && sent_.isWrite)
        complain(now, "(k) a write goes to " + who + ", which is offline");
    if (isRepeat && (isOffline || sent_.hostId == runtime::kCyclicHostId))
        complain(now, "(k) a read is repeated to " + who + ", which " +
                          (isOffline ? "is offline" : "was offline and has only answered a probe yet"));
}

void Witness::lateReplyBegins(Time now, int station, int tag)
{
    ++checks_.lateReplies;
    const Sent *const late = sentWith(tag);
    if (!late)
        complain(now, "a late reply is later than any may be");
    else if (late->start < sent_.chainStart)
        complain(now, "(d) a late reply of station " + std::to_string(station) +
                          " falls into the exchange of another request: it answers " + hexText(late->frame) +
                          ", sent at " + std::to_string(runtime::seconds(late->start)) + " s");
}

void Witness::executed(Time now, int station, const Bytes &frame, int tag)
{
    executions_.push_back({now, station, frame});
    while (executions_.front().at < now - 2 * plan_.latest - plan_.longestReply)
        executions_.pop_front();
    const Sent *const sent = sentWith(tag);
    if (!sent || !sent->isWrite || frame != sent->frame) {
        complain(now, "station " + std::to_string(station) +
                          " did a write that the master had not sent: " + hexText(frame));
        return;
    }
    const auto order = orders_.find(sent->ticket);
    if (order == orders_.end()) {
        complain(now, "station " + std::to_string(station) +
                          " did a write that nobody had ordered: " + hexText(frame));
        return;
    }
    const WriteOrder &ordered = order->second.order;
    if (ordered.station != 0 && ordered.station != station)
        complain(now, "(b) order " + std::to_string(ordered.ticket) + " for station " +
                          std::to_string(ordered.station) + " was done by station " +
                          std::to_string(station));
    checkOnlyOrdered(now, frame, ordered);
    const WrittenItems items = writtenItems(frame);
    for (std::size_t i = 0; i < ordered.elements.size(); ++i) {
        const Element &element = ordered.elements[i];
        const std::optional<std::uint16_t> value = items.at(element.baseType, element.address);
        if (value)
            taken(now, station, *sent, &order->second, i, *value);
    }
}

/// A write changes what was ordered and nothing beside it.
void Witness::checkOnlyOrdered(Time now, const Bytes &frame, const WriteOrder &order)
{
    const WrittenItems items = writtenItems(frame);
    const int baseType = baseTypeOf(items.area);
    const int end = items.first + static_cast<int>(items.values.size());
    for (int address = items.first; address < end; ++address) {
        const bool ordered =
            std::any_of(order.elements.begin(), order.elements.end(), [baseType, address](const Element &e) {
                return e.baseType == baseType && e.address == address;
            });
        if (!ordered)
            complain(now, "(b) order " + std::to_string(order.ticket) + " wrote " +
                              nameOf(order.station, baseType, address) + " too, which nobody had ordered");
    }
}

/// The register had held the same but for one bit of the order. By now it holds the written value.
bool Witness::isOneBitAway(Time now, const Sent &sent, int station, const Order &order, int address,
                           std::uint16_t value) const
{
    const History &history = stations_->history(station);
    const Time from = sent.readFrom;
    const Time to = now - Time(1);
    const auto &elements = order.order.elements;
    return history.held(Area::HoldingRegisters, address, value, from, to) ||
           std::any_of(elements.begin(), elements.end(), [&](const Element &element) {
               const auto before = static_cast<std::uint16_t>(value ^ (1u << element.bit));
               return element.address == address && bitOf(value, element.bit) == (element.value != 0) &&
                      history.held(Area::HoldingRegisters, address, before, from, to);
           });
}

/// A station has taken an element of an order.
void Witness::taken(Time now, int station, const Sent &sent, Order *order, std::size_t index,
                    std::uint16_t value)
{
    ++checks_.takenWrites;
    const Element &element = order->order.elements[index];
    const std::string name = nameOf(station, element.baseType, element.address);
    if (element.bit < 0 && value != element.value)
        complain(now, "(b) " + name + " was written " + hex(value) + ", ordered was " + hex(element.value));
    if (element.bit >= 0) {
        if (bitOf(value, element.bit) != (element.value != 0)) {
            // Another bit of the same order, written before or after this one.
            return;
        }
        if (!isOneBitAway(now, sent, station, *order, element.address, value))
            complain(now, "(m) writing a bit of " + name + " changed other bits: " + hex(value));
    }
    if (isHealthySince(order->orderedAt) && order->taken[index] && element.bit < 0 &&
        order->order.station != 0)
        complain(now, "(b) on a healthy line " + name + " was written twice by order " +
                          std::to_string(sent.ticket));
    order->taken[index] = true;
    runtime::Ticket &last = lastTaken_[{station, element.baseType, element.address}];
    if (sent.ticket < last)
        complain(now, "(c) " + name + " takes order " + std::to_string(sent.ticket) + " after order " +
                          std::to_string(last));
    last = std::max(last, sent.ticket);
}

void Witness::news(Time now, const runtime::News &news)
{
    if (news.port) {
        isPortLost_ = news.port->change != runtime::PortNews::Change::Back;
        portLostAt_ = isPortLost_ ? now : portLostAt_;
        mayBeWritten_.clear();
    }
    if (news.transaction)
        transactionEnded(now, *news.transaction);
    if (news.transaction && runtime::isGroupedRead(news.transaction->request) && !news.ordinaryRead)
        ++checks_.priorityReads;
    for (const runtime::OrderNews &order : news.orders)
        reported(now, order);
    if (news.transaction)
        checkBudget(now, *news.transaction);
    if (news.transaction)
        checkProbation(now, *news.transaction, news.station);
    if (!news.station)
        return;
    absences_[news.station->station] = news.station->offline ? Absence::Offline : Absence::Probation;
    changedAt_[news.station->station] = now;
    if (news.station->offline)
        wentAt_[news.station->station] = now;
    probedSince_.erase(news.station->station);
}

/// Probes in vain and relapses.
void Witness::checkBudget(Time now, const runtime::TransactionReport &report)
{
    constexpr double kShare = 0.1;
    constexpr double kRounding = 0.001;
    const int station = report.request.station;
    if (report.cause == AttemptEnd::Good || report.cause == AttemptEnd::Exception)
        lastAnswer_ = answeredAt_[station] = now;
    const auto absence = absences_.find(station);
    const bool isCheck = report.request.hostId == runtime::kEchoCheckHostId;
    const bool failed =
        !isCheck && (report.cause == AttemptEnd::NoReply || report.cause == AttemptEnd::Unusable);
    if (absence == absences_.end() || !failed)
        return;
    const bool isProbe = absence->second == Absence::Offline;
    if (isProbe && (lastAnswer_ <= changedAt_[station] || probedSince_.insert(station).second))
        return;
    const bool isPaidByOthers = std::any_of(answeredAt_.begin(), answeredAt_.end(), [&](const auto &other) {
        return other.first != station && other.second > wentAt_[station];
    });
    if (!isProbe && !isPaidByOthers)
        return;
    ++checks_.bookedProbes;
    booked_ = std::max(0.0, booked_ - kShare * runtime::seconds(report.startedAt - bookedAt_));
    bookedAt_ = report.startedAt;
    if (isProbe && booked_ > kRounding)
        complain(now, "(q) station " + std::to_string(station) + " is tried while earlier probes have cost " +
                          std::to_string(booked_) + " s more than a tenth of the time");
    // Bytes that came, or were damaged, spare the listening.
    const Time guard = report.cause == AttemptEnd::NoReply ? plan_.guard : Time::zero();
    booked_ += runtime::seconds(report.endedAt - report.startedAt + guard);
}

/// The first transaction behind a probe decides.
void Witness::checkProbation(Time now, const runtime::TransactionReport &report,
                             const std::optional<runtime::StationNews> &news)
{
    const int station = report.request.station;
    const auto absence = absences_.find(station);
    if (absence == absences_.end() || absence->second != Absence::Probation)
        return;
    // Nobody is behind the gateway, or the station does nothing of what it is asked.
    const bool isNoAnswer = report.exceptionCode == runtime::kExceptionGatewayPath ||
                            report.exceptionCode == runtime::kExceptionGatewayTarget ||
                            report.exceptionCode == runtime::kExceptionBusy;
    const bool answered =
        report.cause == AttemptEnd::Good || (report.cause == AttemptEnd::Exception && !isNoAnswer);
    // The write that follows a read in vain decides.
    const bool isCheck = report.request.hostId == runtime::kEchoCheckHostId;
    const bool failed = (report.cause == AttemptEnd::NoReply && !isCheck) ||
                        (report.cause == AttemptEnd::Unusable && !isCheck) ||
                        (report.cause == AttemptEnd::Exception && isNoAnswer);
    if (answered)
        absences_.erase(absence);
    if (failed && !(news && news->station == station && news->offline))
        complain(now, "(k) station " + std::to_string(station) +
                          " has answered a probe and nothing else, and is not offline again");
}

bool Witness::isAway(int station) const
{
    const auto absence = absences_.find(station);
    return switchedOff_.count(station) > 0 ||
           (absence != absences_.end() && absence->second == Absence::Offline);
}

/// Nothing has kept the host from asking since the last reading.
bool Witness::wasThere(const CyclicRead &read) const
{
    const auto changed = changedAt_.find(read.station);
    return (changed == changedAt_.end() || changed->second < read.lastEnd) && portLostAt_ < read.lastEnd;
}

/// What was read well last, at that time, may be shown as good.
bool Witness::mayBeGood(Time now, const CyclicRead &read, bool isOfTwo) const
{
    constexpr Time kLeast = std::chrono::seconds(3);
    // How long a scan takes nobody knows before the second reading.
    if (!read.pace && wasThere(read))
        return true;
    const Time scan = read.pace.value_or(Time::zero()) + (isOfTwo ? read.paceBefore : Time::zero());
    return now - read.lastGood.value_or(Time::zero()) <= std::max({kLeast, 2 * plan_.timeout, 3 * scan});
}

void Witness::switched(Time now, int station, bool enabled)
{
    changedAt_[station] = now;
    answeredAt_.erase(station);
    absences_.erase(station);
    busyUntil_.erase(station);
    probedSince_.erase(station);
    if (enabled)
        switchedOff_.erase(station);
    else
        switchedOff_.insert(station);
}

void Witness::noteCyclic(Time now, const runtime::TransactionReport &report, CyclicRead *read) const
{
    read->station = report.request.station;
    const bool isAnswered = report.cause == AttemptEnd::Good || report.cause == AttemptEnd::Exception;
    if (isAnswered && !isAway(read->station) && wasThere(*read) && read->lastEnd > Time::zero()) {
        read->paceBefore = read->pace.value_or(Time::zero());
        read->pace = now - read->lastEnd;
    }
    read->lastEnd = now;
    read->lastEndedWell = report.cause == AttemptEnd::Good;
    if (read->lastEndedWell)
        read->lastGood = now;
}

void Witness::transactionEnded(Time now, const runtime::TransactionReport &report)
{
    sentInTransaction_ = 0;
    noteRest(now, report);
    noteEchoCheck(report);
    if (report.request.hostId == runtime::kCyclicHostId && !runtime::tellsNothing(report.cause)) {
        noteCyclic(now, report, &cyclicReads_[report.request.hostSubId]);
        const int baseType = report.request.regType;
        for (int i = 0; i < report.request.count; ++i) {
            const auto shown = shown_.find({report.request.station, baseType, report.request.address + i});
            if (shown != shown_.end())
                noteCyclic(now, report, &shown->second.cyclic);
        }
    }
    if (isHealthySince(report.startedAt)) {
        ++checks_.healthyTransactions;
        const bool fine = report.cause == AttemptEnd::Good || report.cause == AttemptEnd::NoReplyDue;
        if (!fine || !report.done || report.attempts != 1)
            complain(now, "(f) on a healthy line a request to station " +
                              std::to_string(report.request.station) +
                              " ended badly or was repeated: cause " +
                              std::to_string(static_cast<int>(report.cause)) + ", " +
                              std::to_string(report.attempts) + " attempts");
    }
    noteBusy(now, report);
    if (plan_.echo && report.request.station == 0 && report.cause != AttemptEnd::Withheld) {
        ++checks_.broadcasts;
        if (report.cause == AttemptEnd::NoReplyDue && !sent_.isHeard)
            complain(now, "(n) a broadcast is reported as done, and its echo was not heard");
    }
    const auto read = reads_.find(report.request.hostSubId);
    if (report.request.hostId == runtime::kOrderHostId && read != reads_.end() &&
        report.cause == AttemptEnd::Good)
        ++read->second.transactions;
    const auto order = orders_.find(report.request.hostSubId);
    if (report.request.isReadHalf && order != orders_.end())
        order->second.readEnded = now;
    // What is read before a write reaches no mirror either.
    const bool isHalfOfWrite =
        report.request.hostId == runtime::kEchoCheckHostId ||
        (report.request.hostId == runtime::kOrderHostId && orders_.count(report.request.hostSubId) > 0);
    if (report.cause == AttemptEnd::Good && report.done && report.request.direction == 0 && !isHalfOfWrite)
        checkReading(now, report);
}

void Witness::noteBusy(Time now, const runtime::TransactionReport &report)
{
    if (report.cause != AttemptEnd::Exception || report.exceptionCode != runtime::kExceptionBusy)
        return;
    ++checks_.busy;
    busyUntil_[report.request.station] = now + plan_.turnaround;
}

void Witness::checkReading(Time now, const runtime::TransactionReport &report)
{
    const QByteArray &frame = report.request.frame;
    const Bytes sent(frame.begin(), frame.end());
    if (sent != sent_.frame) {
        complain(now, "a reading ended well that was not the last one sent");
        return;
    }
    const int station = report.request.station;
    const int baseType = baseTypeOf(areaOfFunction(sent[1]));
    const int first = getBe16(sent, 2);
    const int count = getBe16(sent, 4);
    const Time from = std::max(sent_.chainStart, now - plan_.latest - plan_.longestReply);
    const std::vector<std::uint16_t> values = readMirror_(station, baseType, first, count);
    if (static_cast<int>(values.size()) != count) {
        complain(now, "the mirror does not show what was read");
        return;
    }
    const bool isAnyWritten = isWrittenNow(station, baseType, first, count);
    for (int i = 0; i < count; ++i) {
        ++checks_.values;
        const std::uint16_t value = values[static_cast<std::size_t>(i)];
        if (!stations_->history(station).held(areaOfBaseType(baseType), first + i, value, from, now)) {
            complain(now, "(a) the mirror shows " + hex(value) + " at " +
                              nameOf(station, baseType, first + i) +
                              ", which the station did not hold; it holds " +
                              hex(stations_->history(station).value(areaOfBaseType(baseType), first + i)));
            return;
        }
        const auto shown = shown_.find({station, baseType, first + i});
        if (shown == shown_.end())
            continue;
        auto &written = shown->second.written;
        std::vector<Former> &passedOver = shown->second.passedOver;
        // A reading that is ordered brings nothing to a variable that is put off.
        const bool isCyclic = report.request.hostId == runtime::kCyclicHostId;
        shown->second.isWritten = !written.empty() || (!isCyclic && shown->second.isWritten);
        if (isAnyWritten) {
            noteFormer({shown->second.read, confirmed(written)}, &passedOver);
            noteFormer({shown->second.brought, {}}, &passedOver);
        } else if (isCyclic) {
            passedOver.clear();
        }
        shown->second.read = value;
        if (isCyclic)
            shown->second.brought = value;
        written.erase(std::remove_if(written.begin(), written.end(),
                                     [this, now](const Written &entry) { return isOver(entry.ticket, now); }),
                      written.end());
    }
}

/// True when the driver has done with an order, so that it mirrors no value of it any more.
bool Witness::isOver(runtime::Ticket ticket, Time now) const
{
    const auto found = orders_.find(ticket);
    if (found == orders_.end())
        return true;
    const Order &order = found->second;
    return order.reports > 0 || (order.ended && order.endedAt < now - kWithdrawn);
}

void Witness::reported(Time now, const runtime::OrderNews &news)
{
    const auto read = reads_.find(news.ticket);
    if (read != reads_.end()) {
        if (++read->second.reports > 1)
            complain(now, "(b) reading " + std::to_string(news.ticket) + " is reported twice");
        return;
    }
    const auto found = orders_.find(news.ticket);
    if (found == orders_.end())
        return; // reported as ended a while ago
    if (++found->second.reports > 1)
        complain(now, "(b) order " + std::to_string(news.ticket) + " is reported twice");
    // Nobody answers a broadcast.
    const bool done = news.result.end == OrderEnd::Good && found->second.order.station != 0;
    for (std::size_t i = 0; done && i < found->second.order.elements.size(); ++i) {
        if (found->second.taken[i] || wasTaken(found->second, i, now))
            continue;
        const Element &element = found->second.order.elements[i];
        complain(now, "(b) order " + std::to_string(news.ticket) +
                          " is reported as done, but the station has not taken " + hex(element.value) +
                          " at " + nameOf(found->second.order.station, element.baseType, element.address));
    }
}

/// True when the station took an equal frame of an earlier order so late that its reply may have passed for
/// this order's.
bool Witness::wasTaken(const Order &order, std::size_t index, Time now) const
{
    const Element &element = order.order.elements[index];
    const Time from = std::max(sent_.chainStart, now - plan_.latest - plan_.longestReply);
    return std::any_of(executions_.begin(), executions_.end(), [&](const Execution &execution) {
        if (execution.station != order.order.station || execution.at < from || execution.frame != sent_.frame)
            return false;
        const std::optional<std::uint16_t> value =
            writtenItems(execution.frame).at(element.baseType, element.address);
        return value && (element.bit < 0 ? *value == element.value
                                         : bitOf(*value, element.bit) == (element.value != 0));
    });
}

void Witness::watched(int station, int baseType, int first, int count)
{
    for (int i = 0; i < count; ++i)
        shown_[{station, baseType, first + i}];
}

void Witness::ordered(Time now, const WriteOrder &order)
{
    Order entry;
    entry.order = order;
    entry.taken.resize(order.elements.size(), false);
    entry.orderedAt = now;
    for (const Element &element : order.elements) {
        const auto shown = shown_.find({order.station, element.baseType, element.address});
        if (shown != shown_.end())
            shown->second.written.push_back({order.ticket, element, false});
    }
    orders_.emplace(order.ticket, std::move(entry));
}

/// The station has said that it has taken what was ordered.
void Witness::confirm(const WriteOrder &order)
{
    for (const Element &element : order.elements) {
        const auto shown = shown_.find({order.station, element.baseType, element.address});
        if (shown == shown_.end())
            continue;
        for (Written &written : shown->second.written)
            written.isConfirmed = written.isConfirmed || written.ticket == order.ticket;
    }
}

void Witness::orderedRead(Time now, runtime::Ticket ticket)
{
    Reading reading;
    reading.orderedAt = now;
    reads_.emplace(ticket, reading);
}

void Witness::ended(Time now, runtime::Ticket ticket, const runtime::OrderResult &result)
{
    ++checks_.reports;
    if (reads_.count(ticket) > 0) {
        readingEnded(now, ticket, result);
        return;
    }
    const auto found = orders_.find(ticket);
    if (found == orders_.end() || found->second.ended) {
        complain(now, "(b) order " + std::to_string(ticket) + " ended twice");
        return;
    }
    found->second.ended = true;
    found->second.endedAt = now;
    if (result.end == OrderEnd::Good)
        confirm(found->second.order);
    checks_.portOrders += isPortLost_ ? 1u : 0u;
    // Of an order that was on the line when the port went the driver has reported the end.
    if (isWithdrawn(result) && (found->second.reports == 0 || isPortLost_)) {
        checks_.unconfirmed += found->second.wasSent ? 1u : 0u;
        if (found->second.wasSent != (result.end == OrderEnd::Unconfirmed))
            complain(now, "(p) order " + std::to_string(ticket) +
                              (found->second.wasSent ? " was sent, and is said to have been dropped"
                                                     : " was not sent, and is said to be not confirmed"));
    }
    if (result.end != OrderEnd::Good && isHealthySince(found->second.orderedAt))
        complain(now, "(f) on a healthy line order " + std::to_string(ticket) + " is reported as failed");
    if (found->second.reports == 0 && !isWithdrawn(result))
        complain(now, "(b) order " + std::to_string(ticket) + " ended without a report of the driver");
}

void Witness::readingEnded(Time now, runtime::Ticket ticket, const runtime::OrderResult &result)
{
    Reading &reading = reads_.at(ticket);
    const std::string who = "reading " + std::to_string(ticket);
    if (reading.ended)
        complain(now, "(b) " + who + " ended twice");
    reading.ended = true;
    reading.endedAt = now;
    const bool done = result.end == OrderEnd::Good;
    if (done && reading.transactions == 0)
        complain(now, "(b) " + who + " is reported as done, but nobody was asked");
    if (!done && isHealthySince(reading.orderedAt))
        complain(now, "(f) on a healthy line " + who + " is reported as failed");
    if (reading.reports == 0 && !isWithdrawn(result))
        complain(now, "(b) " + who + " ended without a report of the driver");
}

void Witness::mustBeOffline(Time now, runtime::Ticket ticket, const runtime::OrderResult &result)
{
    ++checks_.refusals;
    if (result.end != OrderEnd::Offline)
        complain(now, "(j) order " + std::to_string(ticket) + " for an offline station did not end at once");
}

void Witness::mustBeLost(Time now, runtime::Ticket ticket, const runtime::OrderResult &result)
{
    if (result.end != OrderEnd::PortLost)
        complain(now, "(s) order " + std::to_string(ticket) + " did not end at once without a port");
}

void Witness::lookAt(Time now, int station, int baseType, int first, int count)
{
    const std::vector<std::uint16_t> values = readMirror_(station, baseType, first, count);
    for (int i = 0; i < count; ++i) {
        const auto shown = shown_.find({station, baseType, first + i});
        if (shown == shown_.end())
            continue;
        ++checks_.mirrored;
        const std::uint16_t value = values[static_cast<std::size_t>(i)];
        if (!mayShow(shown->second.read, shown->second.written, value))
            complain(now, "(a) the mirror shows " + hex(value) + " at " +
                              nameOf(station, baseType, first + i) + ", which was neither read last (" +
                              hex(shown->second.read) + ") nor written since");
    }
}

std::vector<const Witness::CyclicRead *> Witness::readsOf(int first, int count)
{
    std::vector<const CyclicRead *> reads;
    for (int number = first; number < first + count; ++number)
        reads.push_back(&cyclicReads_[number]);
    return reads;
}

std::vector<const Witness::CyclicRead *> Witness::readsOfPlaces(int station, int baseType, int first,
                                                                int count)
{
    std::vector<const CyclicRead *> reads;
    for (int address = first; address < first + count; ++address)
        reads.push_back(&shown_.at({station, baseType, address}).cyclic);
    return reads;
}

void Witness::checkStatus(Time now, const std::string &name, int station,
                          const std::vector<const CyclicRead *> &reads, const Told &told)
{
    ++checks_.statuses;
    bool hasValue = true;
    bool allWell = true;
    bool inTime = true;
    Time oldest = now;
    for (const CyclicRead *read : reads) {
        hasValue = hasValue && read->lastGood;
        allWell = allWell && read->lastEndedWell;
        inTime = inTime && mayBeGood(now, *read, told.ofWholeReadings);
        oldest = std::min(oldest, read->lastGood.value_or(now));
    }
    const auto absence = absences_.find(station);
    const bool isOffline = absence != absences_.end() && absence->second == Absence::Offline;
    const bool isOff = switchedOff_.count(station) > 0;
    if (told.state == runtime::VariableState::Good && (!hasValue || !allWell || isOffline || isOff))
        complain(now, "(l) " + name + " is said to be good, and was not read well last");
    if (told.state == runtime::VariableState::Good && !inTime)
        complain(now, "(l) " + name + " is said to be good " +
                          std::to_string(runtime::seconds(now - oldest)) + " s after it was read");
    const bool isLost = isPortLost_ && !isOff;
    if (isOff != (told.state == runtime::VariableState::SwitchedOff) ||
        isLost != (told.state == runtime::VariableState::PortLost) ||
        (isOffline && !isOff && !isLost) != (told.state == runtime::VariableState::Offline))
        complain(now,
                 "(l) " + name + " is not said to be offline, switched off or without a port when it is");
    if (told.hasValue != hasValue)
        complain(now, "(l) whether " + name + " was ever read is told wrongly");
    const bool isOneReading = std::all_of(reads.begin(), reads.end(), [&reads](const CyclicRead *read) {
        return read->lastGood == reads.front()->lastGood;
    });
    const Time age = (now - oldest) / told.precision * told.precision;
    // The public interface shows values that came together: of several requests, those of the last round.
    const bool mayBeOlder = told.mayBeOlder || (told.ofWholeReadings && !isOneReading);
    const bool isRight = told.age == age || (mayBeOlder && told.age > age);
    if (hasValue && !isRight)
        complain(now, "(l) the age of " + name + " is " + std::to_string(runtime::seconds(now - oldest)) +
                          " s, and is said to be " + std::to_string(runtime::seconds(told.age)) + " s");
}

void Witness::checkValues(Time now, const runtime::Variable &variable, int station,
                          const std::vector<std::uint64_t> &values)
{
    const int baseType = variable.area->baseType;
    const Place first{station, baseType, variable.baseFirst()};
    const std::optional<Time> readAt = shown_.at(first).cyclic.lastGood;
    std::vector<const Shown *> places;
    for (int i = 0; i < variable.baseCount(); ++i) {
        places.push_back(&shown_.at({station, baseType, first.address + i}));
        // Where several requests read it, what is whole is the interface's affair.
        if (!readAt || places.back()->cyclic.lastGood != readAt)
            return;
    }
    const bool isPutOff = isWrittenSince(station, baseType, first.address, variable.baseCount());
    bool isRight = values.size() == static_cast<std::size_t>(variable.count);
    for (std::size_t i = 0; isRight && i < values.size(); ++i) {
        ++checks_.toldValues;
        const std::size_t bit = static_cast<std::size_t>(variable.first % 16) + i;
        if (variable.area->insideRegister) {
            const Shown &place = *places[bit / 16];
            isRight = values[i] == (place.brought >> (bit % 16) & 1u) || isPutOff;
        } else if (variable.area->unit == runtime::Unit::RegisterPair) {
            isRight = mayBeTold(*places[2 * i], values[i] >> 16, isPutOff) &&
                      mayBeTold(*places[2 * i + 1], values[i] & 0xFFFFu, isPutOff);
        } else {
            isRight = mayBeTold(*places[i], values[i], isPutOff);
        }
    }
    if (!isRight)
        complain(now, "(u) of " + variable.text + " other values are told than were read or written");
}

bool Witness::isWrittenSince(int station, int baseType, int first, int count) const
{
    for (int address = first; address < first + count; ++address) {
        const Shown &shown = shown_.at({station, baseType, address});
        if (!shown.written.empty() || shown.isWritten)
            return true;
    }
    return false;
}

bool Witness::isWrittenNow(int station, int baseType, int first, int count) const
{
    const auto end = shown_.lower_bound({station, baseType, first + count});
    return std::any_of(shown_.lower_bound({station, baseType, first}), end,
                       [](const auto &shown) { return !shown.second.written.empty(); });
}

/// The last reading has brought it, or it was written since.
/// @param isPutOff  a write to its variable was under way, so that an earlier reading may have brought it.
bool Witness::mayBeTold(const Shown &shown, std::uint64_t value, bool isPutOff)
{
    const auto mayBe = [value](const Former &former) {
        return mayShow(former.read, former.written, static_cast<std::uint16_t>(value));
    };
    return value == shown.brought || mayBe({shown.read, confirmed(shown.written)}) ||
           (isPutOff && std::any_of(shown.passedOver.begin(), shown.passedOver.end(), mayBe));
}

void Witness::noteFormer(const Former &former, std::vector<Former> *list)
{
    const auto isSame = [&former](const Former &other) {
        return other.read == former.read &&
               std::equal(other.written.begin(), other.written.end(), former.written.begin(),
                          former.written.end(),
                          [](const Written &a, const Written &b) { return a.ticket == b.ticket; });
    };
    if (std::none_of(list->begin(), list->end(), isSame))
        list->push_back(former);
}

std::vector<Witness::Written> Witness::confirmed(const std::vector<Written> &written)
{
    std::vector<Written> found;
    std::copy_if(written.begin(), written.end(), std::back_inserter(found),
                 [](const Written &entry) { return entry.isConfirmed; });
    return found;
}

/// The reading has brought it, or it was written since.
bool Witness::mayShow(std::uint16_t read, const std::vector<Written> &written, std::uint16_t value)
{
    std::vector<std::uint16_t> whole = {read};
    for (const Written &entry : written) {
        if (entry.element.bit < 0)
            whole.push_back(entry.element.value);
    }
    return std::any_of(whole.begin(), whole.end(), [&](std::uint16_t base) {
        // A bit that is written is put into the register as the mirror has it.
        for (int bit = 0; bit < 16; ++bit) {
            if (bitOf(value, bit) == bitOf(base, bit))
                continue;
            const bool isWritten = std::any_of(written.begin(), written.end(), [&](const Written &entry) {
                return entry.element.bit == bit && (entry.element.value != 0) == bitOf(value, bit);
            });
            if (!isWritten)
                return false;
        }
        return true;
    });
}

void Witness::checkRecovery(Time now, Time since, const std::set<int> &except)
{
    for (const auto &[place, shown] : shown_) {
        if (except.count(place.station) > 0)
            continue;
        ++checks_.recoveries;
        if (shown.cyclic.lastGood.value_or(Time::zero()) <= since)
            complain(now,
                     (except.empty() ? "(g) " : "(r) ") +
                         nameOf(place.station, place.baseType, place.address) +
                         (except.empty() ? " was not read since the faults ended at "
                                         : " was not read, beside other stations that are dead, since ") +
                         std::to_string(runtime::seconds(since)) + " s");
    }
}

void Witness::setHealthy(Time now, bool healthy)
{
    healthySince_ = healthy ? std::optional<Time>(now) : std::nullopt;
}

bool Witness::isHealthySince(Time time) const
{
    return healthySince_ && *healthySince_ <= time;
}

void Witness::forget(Time now)
{
    for (auto order = orders_.begin(); order != orders_.end();) {
        const bool old = order->second.ended && order->second.endedAt < now - kWithdrawn - 2 * plan_.latest;
        order = old ? orders_.erase(order) : std::next(order);
    }
    for (auto read = reads_.begin(); read != reads_.end();) {
        const bool old = read->second.ended && read->second.endedAt < now - kWithdrawn - 2 * plan_.latest;
        read = old ? reads_.erase(read) : std::next(read);
    }
}

std::size_t Witness::size() const
{
    return earlier_.size() + orders_.size() + reads_.size() + executions_.size();
}

} // namespace plc::bus
