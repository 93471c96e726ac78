#include "operation_ledger.h"

#include <algorithm>

namespace plc::host {

namespace {

bool samePlace(const Footprint &a, const Footprint &b)
{
    return a.station == b.station && a.baseType == b.baseType && a.first < b.first + b.count &&
           b.first < a.first + a.count;
}

} // namespace

Ticket OperationLedger::open(const Footprint &footprint)
{
    open_.emplace(++last_, Entry{footprint, false});
    return last_;
}

bool OperationLedger::mayStart(Ticket ticket) const
{
    const auto entry = open_.find(ticket);
    if (entry == open_.end())
        return false;
    const Footprint &wanted = entry->second.footprint;
    int pieces = wanted.pieces;
    for (const auto &[otherTicket, other] : open_) {
        if (!other.started || other.footprint.isWrite != wanted.isWrite)
            continue;
        pieces += other.footprint.pieces;
        if (wanted.isWrite && samePlace(wanted, other.footprint))
            return false;
    }
    return pieces <= kDriverListSize;
}

void OperationLedger::start(Ticket ticket)
{
    const auto entry = open_.find(ticket);
    if (entry != open_.end())
        entry->second.started = true;
}

int OperationLedger::startedCount() const
{
    return static_cast<int>(
        std::count_if(open_.begin(), open_.end(), [](const auto &entry) { return entry.second.started; }));
}

bool OperationLedger::close(Ticket ticket, const OperationResult &result)
{
    if (open_.erase(ticket) == 0)
        return false;
    closed_.emplace(ticket, result);
    return true;
}

std::vector<Ticket> OperationLedger::closeAll(int station, OperationEnd end)
{
    std::vector<Ticket> withDriver;
    for (auto entry = open_.begin(); entry != open_.end();) {
        if (station >= 0 && entry->second.footprint.station != station) {
            ++entry;
            continue;
        }
        if (entry->second.started)
            withDriver.push_back(entry->first);
        OperationResult result;
        result.end = end;
        closed_.emplace(entry->first, result);
        entry = open_.erase(entry);
    }
    return withDriver;
}

OperationResult OperationLedger::result(Ticket ticket) const
{
    const auto found = closed_.find(ticket);
    return found == closed_.end() ? OperationResult() : found->second;
}

} // namespace plc::host
