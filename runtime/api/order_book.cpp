#include "runtime/api/order_book.h"

#include <utility>

namespace plc::api {

plcruntime::OrderId OrderBook::open(runtime::Ticket ticket, OpenOrder &&order)
{
    order.known.order = ++last_;
    tickets_.emplace(last_, ticket);
    open_.insert_or_assign(ticket, std::move(order));
    return last_;
}

std::optional<OpenOrder> OrderBook::take(runtime::Ticket ticket)
{
    const auto found = open_.find(ticket);
    if (found == open_.end())
        return std::nullopt;
    OpenOrder order = std::move(found->second);
    open_.erase(found);
    tickets_.erase(order.known.order);
    return order;
}

void OrderBook::keep(const plcruntime::OrderResult &result)
{
    ended_[result.order] = result;
    endedInTurn_.push_back(result.order);
    if (endedInTurn_.size() <= kMostResults)
        return;
    ended_.erase(endedInTurn_.front());
    endedInTurn_.pop_front();
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
