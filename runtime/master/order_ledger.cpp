#include "runtime/master/order_ledger.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

namespace plc::runtime {

namespace {

/// A write to station 0 is done by every station.
constexpr int kEverybody = 0;

/// Of the same area.
bool overlap(const Footprint &a, const Footprint &b)
{
    return a.first < b.first + b.count && b.first < a.first + a.count;
}

/// Probes of offline stations share the list of one-shot reads.
constexpr int kMostProbes = 256;

} // namespace

int OrderLedger::listSize(bool isWrite)
{
    return isWrite ? kDriverListSize : kDriverListSize - kMostProbes;
}

Ticket OrderLedger::open(const Footprint &footprint)
{
    do {
        last_ = last_ < std::numeric_limits<Ticket>::max() ? last_ + 1 : 1;
    } while (open_.count(last_) + withdrawn_.count(last_) + closed_.count(last_) > 0);
    Entry &entry = open_[last_];
    entry.footprint = footprint;
    entry.age = ++age_;
    try {
        addPlace(last_, entry);
        admit(last_, &entry);
    } catch (...) {
        abandon(last_);
        throw;
    }
    return last_;
}

void OrderLedger::abandon(Ticket ticket)
{
    const auto found = open_.find(ticket);
    dropPlace(found->second);
    open_.erase(found);
}

OrderLedger::Entry *OrderLedger::find(Ticket ticket)
{
    const auto open = open_.find(ticket);
    if (open != open_.end())
        return &open->second;
    const auto withdrawn = withdrawn_.find(ticket);
    return withdrawn == withdrawn_.end() ? nullptr : &withdrawn->second;
}

const OrderLedger::Entry *OrderLedger::find(Ticket ticket) const
{
    return const_cast<OrderLedger *>(this)->find(ticket);
}

void OrderLedger::addPlace(Ticket ticket, const Entry &entry)
{
    const Footprint &place = entry.footprint;
    Places &places = places_[{place.station, place.baseType, place.isWrite}];
    places.byFirst[place.first].emplace(entry.age, ticket);
    places.longest = std::max(places.longest, place.count);
}

void OrderLedger::dropPlace(const Entry &entry)
{
    const Footprint &place = entry.footprint;
    const auto places = places_.find({place.station, place.baseType, place.isWrite});
    if (places == places_.end())
        return;
    const auto sameFirst = places->second.byFirst.find(place.first);
    if (sameFirst == places->second.byFirst.end())
        return;
    sameFirst->second.erase(entry.age);
    if (sameFirst->second.empty())
        places->second.byFirst.erase(sameFirst);
    if (places->second.byFirst.empty())
        places_.erase(places);
}

/// The order that a waiting one must not pass, if there is one: it is to be looked at again when that
/// changes.
std::optional<Ticket> OrderLedger::blockerOf(const Entry &entry) const
{
    const Footprint &wanted = entry.footprint;
    if (wanted.station != kEverybody) {
        for (const int station : {wanted.station, kEverybody}) {
            if (const auto blocker = blockerAt(station, entry))
                return blocker;
        }
        return std::nullopt;
    }
    for (auto places = places_.begin(); places != places_.end();) {
        const int station = std::get<0>(places->first);
        if (const auto blocker = blockerAt(station, entry))
            return blocker;
        places = places_.upper_bound({station, std::numeric_limits<int>::max(), true});
    }
    return std::nullopt;
}

std::optional<Ticket> OrderLedger::blockerAt(int station, const Entry &entry) const
{
    for (const bool isWrite : {true, false}) {
        // Reads may pass each other.
        const bool mayPass = !isWrite && !entry.footprint.isWrite;
        const auto places = places_.find({station, entry.footprint.baseType, isWrite});
        if (mayPass || places == places_.end())
            continue;
        if (const auto blocker = blockerAmong(places->second, entry))
            return blocker;
    }
    return std::nullopt;
}

std::optional<Ticket> OrderLedger::blockerAmong(const Places &places, const Entry &entry) const
{
    const Footprint &wanted = entry.footprint;
    auto sameFirst = places.byFirst.lower_bound(wanted.first - places.longest + 1);
    for (; sameFirst != places.byFirst.end() && sameFirst->first < wanted.first + wanted.count; ++sameFirst) {
        // All that begin at one place overlap each other, so that the youngest of those before this one is
        // the last to go.
        auto older = sameFirst->second.lower_bound(entry.age);
        while (older != sameFirst->second.begin()) {
            --older;
            const Entry &other = *find(older->second);
            if (!overlap(wanted, other.footprint))
                continue; // a short one
            // The driver serves the writes that it has in their order, and a read that it has behind them;
            // but it puts a write in place of another one to the same station.
            if (!other.started || (wanted.isWrite && wanted.station == other.footprint.station))
                return older->second;
            break;
        }
    }
    return std::nullopt;
}

/// Lets a waiting order stand among those that may start, or behind the one that it must not pass.
void OrderLedger::admit(Ticket ticket, Entry *entry)
{
    const std::optional<Ticket> blocker = blockerOf(*entry);
    entry->blocked = blocker.has_value();
    if (blocker)
        find(*blocker)->followers.push_back(ticket);
    else
        stations_[entry->footprint.station].ready[entry->footprint.isWrite ? 1 : 0].push_back(ticket);
}

/// Throws nothing: where memory runs out, all that wait are admitted anew with the next order that starts.
void OrderLedger::wakeFollowers(Entry *entry)
{
    const std::vector<Ticket> followers = std::move(entry->followers);
    entry->followers.clear();
    try {
        for (const Ticket ticket : followers) {
            const auto follower = open_.find(ticket);
            if (follower != open_.end())
                admit(ticket, &follower->second);
        }
    } catch (const std::bad_alloc &) {
        mustAdmitAll_ = true;
    }
}

void OrderLedger::admitAll()
{
    for (auto &[station, books] : stations_) {
        for (std::deque<Ticket> &ready : books.ready)
            ready.clear();
    }
    for (Entries *entries : {&open_, &withdrawn_}) {
        for (auto &[ticket, entry] : *entries)
            entry.followers.clear();
    }
    std::map<std::uint64_t, Ticket> byAge;
    for (const auto &[ticket, entry] : open_) {
        if (!entry.started)
            byAge.emplace(entry.age, ticket);
    }
    for (const auto &[age, ticket] : byAge)
        admit(ticket, &open_.at(ticket));
    mustAdmitAll_ = false;
}

bool OrderLedger::hasRoom(const Footprint &footprint) const
{
    const bool isWrite = footprint.isWrite;
    return pieces_[isWrite ? 1 : 0] + footprint.pieces <= listSize(isWrite);
}

bool OrderLedger::mayStart(Ticket ticket) const
{
    const auto found = open_.find(ticket);
    return found != open_.end() && !found->second.started && !found->second.blocked &&
           hasRoom(found->second.footprint);
}

std::optional<Ticket> OrderLedger::nextToStart()
{
    if (mustAdmitAll_)
        admitAll();
    auto station = stations_.upper_bound(lastServed_);
    for (std::size_t looked = 0; looked < stations_.size(); ++looked, ++station) {
        if (station == stations_.end())
            station = stations_.begin();
        StationBooks &books = station->second;
        if (books.started >= (books.answered ? kMostStarted : 1))
            continue;
        for (const std::size_t kind : {1u, 0u}) {
            std::deque<Ticket> &ready = books.ready[kind];
            while (!ready.empty() && (!isOpen(ready.front()) || isStarted(ready.front())))
                ready.pop_front();
            if (ready.empty())
                continue;
            const Ticket ticket = ready.front();
            // A large one would otherwise wait for ever for room that small ones take.
            Ticket &cramped = cramped_[kind];
            if (cramped != ticket && isOpen(cramped) && !isStarted(cramped))
                continue;
            if (mayStart(ticket)) {
                lastServed_ = station->first;
                return ticket;
            }
            cramped = ticket;
        }
    }
    return std::nullopt;
}

void OrderLedger::start(Ticket ticket)
{
    const auto found = open_.find(ticket);
    if (found == open_.end() || found->second.started)
        return;
    Entry &entry = found->second;
    StationBooks &books = stations_[entry.footprint.station];
    entry.started = true;
    ++started_;
    ++books.started;
    pieces_[entry.footprint.isWrite ? 1 : 0] += entry.footprint.pieces;
    if (!entry.footprint.isWrite)
        dropPlace(entry);
    wakeFollowers(&entry);
}

bool OrderLedger::isStarted(Ticket ticket) const
{
    const auto found = open_.find(ticket);
    return found != open_.end() && found->second.started;
}

bool OrderLedger::isBeingWritten(const Footprint &place) const
{
    const auto places = places_.find({place.station, place.baseType, true});
    if (places == places_.end())
        return false;
    const auto &byFirst = places->second.byFirst;
    auto sameFirst = byFirst.lower_bound(place.first - places->second.longest + 1);
    for (; sameFirst != byFirst.end() && sameFirst->first < place.first + place.count; ++sameFirst) {
        for (const auto &[age, ticket] : sameFirst->second) {
            const Entry &write = *find(ticket);
            if (write.started && overlap(place, write.footprint))
                return true;
        }
    }
    return false;
}

/// An order of which the driver holds nothing leaves the books.
void OrderLedger::retire(Entry entry)
{
    if (entry.started)
        pieces_[entry.footprint.isWrite ? 1 : 0] -= entry.footprint.pieces;
    dropPlace(entry);
    wakeFollowers(&entry);
}

bool OrderLedger::close(Ticket ticket, const OrderResult &result)
{
    const auto found = open_.find(ticket);
    if (found == open_.end())
        return false;
    keep({{ticket, result}});
    Entry entry = std::move(found->second);
    open_.erase(found);
    if (entry.started) {
        --started_;
        StationBooks &books = stations_.at(entry.footprint.station);
        --books.started;
        books.answered = result.end == OrderEnd::Good || result.end == OrderEnd::Refused;
    }
    retire(std::move(entry));
    return true;
}

/// Keeps all results or, where it throws, none. Results that nobody asks for must not pile up.
void OrderLedger::keep(std::map<Ticket, OrderResult> results)
{
    const std::size_t before = closedInTurn_.size();
    try {
        for (const auto &[ticket, result] : results)
            closedInTurn_.push_back(ticket);
    } catch (...) {
        closedInTurn_.resize(before);
        throw;
    }
    ended_ += results.size();
    closed_.merge(results);
    for (; closedInTurn_.size() > kMostResults; closedInTurn_.pop_front())
        closed_.erase(closedInTurn_.front());
}

std::vector<Ticket> OrderLedger::endedSince(std::uint64_t count) const
{
    const auto last = static_cast<std::ptrdiff_t>(
        std::min<std::uint64_t>(ended_ - count, static_cast<std::uint64_t>(closedInTurn_.size())));
    return std::vector<Ticket>(closedInTurn_.end() - last, closedInTurn_.end());
}

/// An order that the driver has been handed ends while the driver may still hold it. Throws nothing.
void OrderLedger::stop(Entries::iterator entry)
{
    --started_;
    StationBooks &books = stations_.at(entry->second.footprint.station);
    --books.started;
    books.answered = false;
    withdrawn_.insert(open_.extract(entry));
}

bool OrderLedger::closeAndWithdraw(Ticket ticket, const OrderResult &result)
{
    const auto found = open_.find(ticket);
    if (found == open_.end() || !found->second.started)
        return close(ticket, result);
    keep({{ticket, result}});
    stop(found);
    return true;
}

std::vector<Ticket> OrderLedger::closeAll(int station, OrderEnd end, const std::set<Ticket> &unconfirmed)
{
    std::map<Ticket, OrderResult> results;
    for (const auto &[ticket, entry] : open_) {
        if (station < 0 || entry.footprint.station == station)
            results[ticket].end = unconfirmed.count(ticket) > 0 ? OrderEnd::Unconfirmed : end;
    }
    std::vector<Ticket> withDriver;
    std::vector<Entry> neverStarted;
    withDriver.reserve(results.size());
    neverStarted.reserve(results.size());
    std::vector<Ticket> tickets;
    tickets.reserve(results.size());
    for (const auto &[ticket, result] : results)
        tickets.push_back(ticket);
    keep(std::move(results));
    // From here on nothing throws.
    for (const Ticket ticket : tickets) {
        const auto entry = open_.find(ticket);
        if (entry->second.started) {
            withDriver.push_back(ticket);
            stop(entry);
            continue;
        }
        dropPlace(entry->second);
        neverStarted.push_back(std::move(entry->second));
        open_.erase(entry);
    }
    // Not before all of them have left their places: who is woken looks there for the next one to wait for.
    for (Entry &entry : neverStarted)
        wakeFollowers(&entry);
    return withDriver;
}

void OrderLedger::release(const std::vector<Ticket> &tickets)
{
    for (const Ticket ticket : tickets) {
        const auto found = withdrawn_.find(ticket);
        if (found == withdrawn_.end())
            continue;
        Entry entry = std::move(found->second);
        withdrawn_.erase(found);
        retire(std::move(entry));
    }
}

OrderResult OrderLedger::result(Ticket ticket) const
{
    const auto found = closed_.find(ticket);
    return found == closed_.end() ? OrderResult() : found->second;
}

} // namespace plc::runtime
