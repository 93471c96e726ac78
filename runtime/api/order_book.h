/// @file
/// The orders of a line over all its sessions, and how they ended.
#ifndef PLC_API_ORDER_BOOK_H
#define PLC_API_ORDER_BOOK_H

#include <deque>
#include <map>
#include <optional>

#include "plcruntime/plcruntime.h"
#include "runtime/master/order_ledger.h"
#include "runtime/panel/variable.h"

namespace plc::api {

/// An order that is on its way.
struct OpenOrder
{
    plcruntime::OrderResult known; ///< what is known before its end
    runtime::Variable variable;    ///< as it was when the order was given
};

/// A session numbers its orders from 1 on; the numbers here are the line's. Not locked.
class OrderBook
{
public:
    static constexpr std::size_t kMostResults = 4096;

    /// Notes an order that the session has taken under @p ticket.
    plcruntime::OrderId open(runtime::Ticket ticket, OpenOrder &&order);
    /// Takes the order out; nothing where the ticket is no order of ours.
    std::optional<OpenOrder> take(runtime::Ticket ticket);
    /// Keeps a result, and drops the oldest beyond kMostResults.
    void keep(const plcruntime::OrderResult &result);

    std::size_t openCount() const { return open_.size(); }
    bool isOpen(plcruntime::OrderId order) const { return tickets_.count(order) > 0; }
    /// As Line::result().
    plcruntime::OrderResult result(plcruntime::OrderId order) const;

private:
    std::map<runtime::Ticket, OpenOrder> open_;
    std::map<plcruntime::OrderId, runtime::Ticket> tickets_; ///< of open orders
    std::map<plcruntime::OrderId, plcruntime::OrderResult> ended_;
    std::deque<plcruntime::OrderId> endedInTurn_;
    plcruntime::OrderId last_ = 0;
};

} // namespace plc::api

#endif
