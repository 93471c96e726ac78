/// @file
/// Reads and writes handed to the driver, each of which ends exactly once.
#ifndef PLC_MASTER_ORDER_LEDGER_H
#define PLC_MASTER_ORDER_LEDGER_H

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <tuple>
#include <vector>

#include "runtime/master/order.h"

namespace plc::runtime {

/// Number of an order; the driver hands it back in its callback. Counts from 1.
using Ticket = int;

/// What an order occupies while it is on its way.
struct Footprint
{
    bool isWrite = false;
    int station = 0;
    int baseType = 0;
    int first = 0; ///< first register or bit
    int count = 0;
    int pieces = 0; ///< entries in the driver's list
};

/// Keeps the books of orders. Not locked: one thread.
///
/// The driver puts a new write in place of a waiting one to the same place, identifiers and all. The older
/// write would end without a report, and so would entries beyond the driver's list size, which it drops. So
/// nextToStart() tells which order has to wait before the driver. Orders keep their order where their places
/// overlap and one of them is a write, and nowhere else; a broadcast is to the places of all stations. A read
/// that is with the driver already may show a write that was ordered after it. The driver serves its lists
/// from the front. A station that has not answered its last order has one at a time in them: the others wait
/// for one of its time-outs at most.
///
/// Where memory runs out, a call throws std::bad_alloc and has done nothing, unless its page says otherwise.
class OrderLedger
{
public:
    /// Orders that may be open; what comes on top is to be refused.
    static constexpr std::size_t kMostOpen = 4096;
    /// Results that are kept: that of an order is dropped when so many younger ones have ended.
    static constexpr std::size_t kMostResults = 4096;
    /// Orders of one station that answers in the driver's hands.
    static constexpr int kMostStarted = 16;

    /// @param last  the ticket before the first.
    explicit OrderLedger(Ticket last = 0) : last_(last) {}

    bool isFull() const { return open_.size() >= kMostOpen; }

    /// Opens an order. It waits before the driver until it is started.
    Ticket open(const Footprint &footprint);
    /// Takes back an order that was just opened: as if it had never been. Throws nothing.
    void abandon(Ticket ticket);

    /// True when the waiting order can be handed to the driver without any order losing its report, before
    /// none that it must not pass.
    bool mayStart(Ticket ticket) const;

    /// An order that may start now, of the stations in turn; nothing when there is none.
    std::optional<Ticket> nextToStart();

    /// Notes that the order has been handed to the driver.
    void start(Ticket ticket);

    bool isOpen(Ticket ticket) const { return open_.count(ticket) > 0; }
    /// True once the order has been handed to the driver, as long as it is open.
    bool isStarted(Ticket ticket) const;

    /// True while the driver holds a write that touches @p place, also one that has ended for its user: at
    /// any time its values may stand in the mirror, and not in the station. A broadcast is mirrored for no
    /// station.
    bool isBeingWritten(const Footprint &place) const;

    /// Ends an order.
    /// @return false when it had ended before, or was never opened; then nothing changes.
    bool close(Ticket ticket, const OrderResult &result);

    /// Ends an order of which the driver may still hold something: what it holds goes on filling its lists
    /// until it is released.
    /// @return false when it had ended before.
    bool closeAndWithdraw(Ticket ticket, const OrderResult &result);

    /// Ends all open orders of @p station; -1 for all stations. @p unconfirmed ones end as that. Those that
    /// the driver has been handed go on filling its lists until they are released.
    /// @return those of them that the driver has been handed.
    std::vector<Ticket> closeAll(int station, OrderEnd end, const std::set<Ticket> &unconfirmed = {});

    /// The driver's lists hold none of these orders any more.
    void release(const std::vector<Ticket> &tickets);

    /// Result of an order; `end` is Open while it is on its way, after it has been forgotten, and once
    /// kMostResults younger ones have ended.
    OrderResult result(Ticket ticket) const;

    /// Orders that have ended so far.
    std::uint64_t endedCount() const { return ended_; }
    /// Those that ended behind the first @p count, in the order of their ends; at most kMostResults.
    std::vector<Ticket> endedSince(std::uint64_t count) const;

    /// Drops the result of an order that has ended and has been reported.
    void forget(Ticket ticket) { closed_.erase(ticket); }

    /// Orders in the driver's hands, ended ones included.
    int startedCount() const { return started_ + static_cast<int>(withdrawn_.size()); }

    /// Pieces that one list of the driver takes, of writes or of reads.
    static int listSize(bool isWrite);

private:
    struct Entry
    {
        Footprint footprint;
        std::uint64_t age = 0; ///< the lower, the older
        bool started = false;
        bool blocked = false;          ///< by an older one, which has it among its followers
        std::vector<Ticket> followers; ///< wait for this one's next change
    };
    using Entries = std::map<Ticket, Entry>;
    /// Orders of one kind in one area of a station, by first register or bit and age.
    struct Places
    {
        std::map<int, std::map<std::uint64_t, Ticket>> byFirst;
        int longest = 0;
    };
    using Area = std::tuple<int, int, bool>; ///< station, area, whether of writes
    struct StationBooks
    {
        std::array<std::deque<Ticket>, 2> ready; ///< of reads, of writes; some may have ended
        int started = 0;
        bool answered = false; ///< its last order
    };

    const Entry *find(Ticket ticket) const;
    Entry *find(Ticket ticket);
    std::optional<Ticket> blockerOf(const Entry &entry) const;
    std::optional<Ticket> blockerAt(int station, const Entry &entry) const;
    std::optional<Ticket> blockerAmong(const Places &places, const Entry &entry) const;
    void admit(Ticket ticket, Entry *entry);
    void wakeFollowers(Entry *entry);
    void admitAll();
    void addPlace(Ticket ticket, const Entry &entry);
    void dropPlace(const Entry &entry);
    void retire(Entry entry);
    void stop(Entries::iterator entry);
    void keep(std::map<Ticket, OrderResult> results);
    bool hasRoom(const Footprint &footprint) const;

    Entries open_;
    Entries withdrawn_;             ///< ended, but still in the driver's lists
    std::map<Area, Places> places_; ///< writes that wait or are with the driver, and reads that wait
    std::map<int, StationBooks> stations_;
    int lastServed_ = -1;             ///< station
    std::array<Ticket, 2> cramped_{}; ///< of reads, of writes: waits for room, and nothing passes it
    std::array<int, 2> pieces_{};     ///< in the driver's lists
    int started_ = 0;
    bool mustAdmitAll_ = false; ///< some that wait stand nowhere
    std::uint64_t age_ = 0;
    std::map<Ticket, OrderResult> closed_;
    std::deque<Ticket> closedInTurn_; ///< oldest first; some may have been forgotten
    std::uint64_t ended_ = 0;
    Ticket last_;
};

} // namespace plc::runtime

#endif
