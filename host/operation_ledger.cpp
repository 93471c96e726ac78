#include "operation_ledger.h"

#include <algorithm>
#include <limits>

namespace plc::host {

namespace {

bool samePlace(const Footprint &a, const Footprint &b)
{
    return a.station == b.station && a.baseType == b.baseType && a.first < b.first + b.count &&
           b.first < a.first + a.count;
}

/// Trials of offline stations share the list of one-shot reads.
constexpr int kMostTrials = 256;

} // namespace

int OperationLedger::listSize(bool isWrite)
{
    return isWrite ? kDriverListSize : kDriverListSize - kMostTrials;
}

Ticket OperationLedger::open(const Footprint &footprint)
{
    do {
        last_ = last_ < std::numeric_limits<Ticket>::max() ? last_ + 1 : 1;
    } while (open_.count(last_) + withdrawn_.count(last_) + closed_.count(last_) > 0);
    open_.emplace(last_, Entry{footprint, false});
    return last_;
}

bool OperationLedger::mayStart(Ticket ticket) const
{
    const auto entry = open_.find(ticket);
    if (entry == open_.end())
        return false;
    const Footprint &wanted = entry->second.footprint;
    if (wanted.isWrite && !(isFree(open_, wanted) && isFree(withdrawn_, wanted)))
        return false;
    const int pieces = piecesIn(open_, wanted.isWrite) + piecesIn(withdrawn_, wanted.isWrite);
    return pieces + wanted.pieces <= listSize(wanted.isWrite);
}

/// True when no write in the driver's list is to the same place.
bool OperationLedger::isFree(const Entries &entries, const Footprint &wanted)
{
    return std::none_of(entries.begin(), entries.end(), [&wanted](const auto &other) {
        const Footprint &taken = other.second.footprint;
        return other.second.started && taken.isWrite && samePlace(wanted, taken);
    });
}

int OperationLedger::piecesIn(const Entries &entries, bool isWrite)
{
    int pieces = 0;
    for (const auto &[ticket, entry] : entries) {
        if (entry.started && entry.footprint.isWrite == isWrite)
            pieces += entry.footprint.pieces;
    }
    return pieces;
}

void OperationLedger::start(Ticket ticket)
{
    const auto entry = open_.find(ticket);
    if (entry != open_.end())
        entry->second.started = true;
}

int OperationLedger::startedCount() const
{
    const auto started =
        std::count_if(open_.begin(), open_.end(), [](const auto &entry) { return entry.second.started; });
    return static_cast<int>(started) + static_cast<int>(withdrawn_.size());
}

bool OperationLedger::close(Ticket ticket, const OperationResult &result)
{
    if (open_.erase(ticket) == 0)
        return false;
    closed_.emplace(ticket, result);
    return true;
}

std::vector<Ticket> OperationLedger::closeAll(int station, OperationEnd end,
                                              const std::set<Ticket> &unconfirmed)
{
    std::vector<Ticket> withDriver;
    for (auto entry = open_.begin(); entry != open_.end();) {
        if (station >= 0 && entry->second.footprint.station != station) {
            ++entry;
            continue;
        }
        if (entry->second.started) {
            withDriver.push_back(entry->first);
            withdrawn_.insert(*entry);
        }
        OperationResult result;
        result.end = unconfirmed.count(entry->first) > 0 ? OperationEnd::Unconfirmed : end;
        closed_.emplace(entry->first, result);
        entry = open_.erase(entry);
    }
    return withDriver;
}

void OperationLedger::release(const std::vector<Ticket> &tickets)
{
    for (const Ticket ticket : tickets)
        withdrawn_.erase(ticket);
}

OperationResult OperationLedger::result(Ticket ticket) const
{
    const auto found = closed_.find(ticket);
    return found == closed_.end() ? OperationResult() : found->second;
}

} // namespace plc::host
