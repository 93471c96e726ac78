/// @file
/// What the driver has been handed and may still hold: orders and probes.
#ifndef PLC_MASTER_HANDED_OVER_H
#define PLC_MASTER_HANDED_OVER_H

#include <map>
#include <set>
#include <vector>

#include "core/records.h"
#include "runtime/line/link_time.h"
#include "runtime/master/order_ledger.h"

namespace plc::runtime {

/// Keeps the books of the driver's lists of writes and of one-shot reads. The driver cannot be asked what
/// they hold; so that is concluded from what it serves. Not locked.
class HandedOver
{
public:
    /// True for an order or a probe, which the driver serves before all cyclic reads. Null for none.
    static bool isServedFirst(const Protocol *head);

    /// The driver serves @p head now; null for nothing.
    void served(const Protocol *head);

    /// From now on nothing is handed over, and it is asked anew what the driver holds.
    void doubt() { quiet_ = 0; }
    /// The driver holds nothing of what was handed over, as far as nothing has been handed over since
    /// doubt().
    bool isEmptied() const { return quiet_ == 2 && withdrawn_.empty(); }

    /// The end of these orders has been told while the driver may still hold them: nothing of them may be
    /// sent.
    void withdraw(const std::vector<Ticket> &tickets) { withdrawn_.insert(tickets.begin(), tickets.end()); }
    bool isWithdrawn(Ticket ticket) const { return withdrawn_.count(ticket) > 0; }
    /// Withdrawn orders that the driver holds no more; each comes once.
    std::vector<Ticket> takeReleased();

    /// A frame of this write goes out: from now on the write may have been done.
    void goesOut(Ticket ticket) { unconfirmed_.insert(ticket); }
    /// No frame of the order goes out from @p deadline on.
    void setDeadline(Ticket ticket, Time deadline) { deadlines_[ticket] = deadline; }
    bool isExpired(Ticket ticket, Time now) const
    {
        const auto found = deadlines_.find(ticket);
        return found != deadlines_.end() && now >= found->second;
    }
    /// The end of the order is told.
    void ended(Ticket ticket)
    {
        unconfirmed_.erase(ticket);
        deadlines_.erase(ticket);
    }
    /// Writes of which a frame has gone out, and whose end has not been told.
    const std::set<Ticket> &unconfirmed() const { return unconfirmed_; }

    /// A probe of the station is to be in the driver's list.
    /// @return false when there is one already.
    bool addProbe(int station) { return probes_.insert(station).second; }
    /// The driver has dropped the probe of the station, or nobody wants its answer any more.
    void forgetProbe(int station) { probes_.erase(station); }

private:
    std::set<Ticket> withdrawn_;
    std::vector<Ticket> released_;
    std::set<Ticket> unconfirmed_;
    std::map<Ticket, Time> deadlines_;
    std::set<int> probes_; ///< stations
    int quiet_ = 0;        ///< served in a row that was neither order nor probe; 2 stands for more as well
};

} // namespace plc::runtime

#endif
