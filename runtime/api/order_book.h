/// @file
/// The orders of a line over all its sessions, and how they ended.
#ifndef PLC_API_ORDER_BOOK_H
#define PLC_API_ORDER_BOOK_H

#include <deque>
#include <map>

#include "plcruntime/plcruntime.h"
#include "runtime/master/order_ledger.h"
#include "runtime/panel/variable.h"

namespace plc::api {

/// An order that is on its way.
struct OpenOrder
{
    plcruntime::OrderResult known; ///< what is known before its end
    runtime::Variable variable;    ///< as it was when the order was given
    bool isEndNoted = false;       ///< of its variable
};

/// A session numbers its orders from 1 on; the numbers here are the line's. Not locked.
class OrderBook
{
public:
    static constexpr std::size_t kMostResults = 4096;

    /// Room for an order that the session has not taken yet.
    class Room;
    Room makeRoom(OpenOrder &&order);
    /// Notes that the session has taken the order under @p ticket. Throws nothing: an order that was taken
    /// must not be lost.
    plcruntime::OrderId open(runtime::Ticket ticket, Room &&room);
    /// The order; null where the ticket is no open order of ours.
    OpenOrder *find(runtime::Ticket ticket);
    /// Keeps a result, once for each order, and drops the oldest beyond kMostResults.
    void keep(const plcruntime::OrderResult &result);
    /// All that comes of the end of the order has been done. Throws nothing.
    void close(runtime::Ticket ticket);

    std::size_t openCount() const { return open_.size(); }
    bool isOpen(plcruntime::OrderId order) const { return tickets_.count(order) > 0; }
    /// As Line::result().
    plcruntime::OrderResult result(plcruntime::OrderId order) const;

private:
    using Orders = std::map<runtime::Ticket, OpenOrder>;
    using Tickets = std::map<plcruntime::OrderId, runtime::Ticket>;

    Orders open_;
    Tickets tickets_; ///< of open orders
    std::map<plcruntime::OrderId, plcruntime::OrderResult> ended_;
    std::deque<plcruntime::OrderId> endedInTurn_;
    plcruntime::OrderId last_ = 0;
};

class OrderBook::Room
{
    friend class OrderBook;
    Orders::node_type order;
    Tickets::node_type ticket;
};

} // namespace plc::api

#endif
