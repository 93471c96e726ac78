#include "runtime/api/order_book.h"

#include <utility>

namespace plc::api {

OrderBook::Room OrderBook::makeRoom(OpenOrder &&order)
{
    Orders orders;
    Tickets tickets;
    orders.emplace(0, std::move(order));
    tickets.emplace(0, 0);
    Room room;
    room.order = orders.extract(orders.begin());
    room.ticket = tickets.extract(tickets.begin());
    return room;
}

plcruntime::OrderId OrderBook::open(runtime::Ticket ticket, Room &&room)
{
    room.order.mapped().known.order = ++last_;
    room.order.key() = room.ticket.mapped() = ticket;
    room.ticket.key() = last_;
    open_.insert(std::move(room.order));
    tickets_.insert(std::move(room.ticket));
    return last_;
}

OpenOrder *OrderBook::find(runtime::Ticket ticket)
{
    const auto found = open_.find(ticket);
    return found == open_.end() ? nullptr : &found->second;
}

void OrderBook::keep(const plcruntime::OrderResult &result)
{
    const auto kept = ended_.emplace(result.order, result);
    if (!kept.second)
        return;
    try {
        endedInTurn_.push_back(result.order);
    } catch (...) {
        ended_.erase(kept.first);
        throw;
    }
    if (endedInTurn_.size() <= kMostResults)
        return;
    ended_.erase(endedInTurn_.front());
    endedInTurn_.pop_front();
}

void OrderBook::close(runtime::Ticket ticket)
{
    const auto found = open_.find(ticket);
    tickets_.erase(found->second.known.order);
    open_.erase(found);
}

plcruntime::OrderResult OrderBook::result(plcruntime::OrderId order) const
{
    const auto ended = ended_.find(order);
    if (ended != ended_.end())
        return ended->second;
    const auto ticket = tickets_.find(order);
    return ticket == tickets_.end() ? plcruntime::OrderResult() : open_.at(ticket->second).known;
}

} // namespace plc::api
