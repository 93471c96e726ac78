// A link that the test plays.
#ifndef PLC_TESTS_PLAYED_LINK_H
#define PLC_TESTS_PLAYED_LINK_H

#include <utility>

#include "runtime/master/link.h"

namespace plc::test {

class PlayedLink : public runtime::Link
{
public:
    using News = runtime::News;
    using Ticket = runtime::Ticket;
    using Time = runtime::Time;

    void start(const std::map<int, int> &, bool trace) override
    {
        ++starts;
        isTraced = trace;
    }
    void stop() override { ++stops; }
    Time now() const override { return clock; }
    void wait(Time) override {}
    std::vector<News> take() override { return std::exchange(news, {}); }
    runtime::Statistics statisticsSoFar() override { return {}; }
    void setOpenOrders(int count) override { openOrders = count; }
    bool setStationEnabled(int station, bool) override
    {
        for (News &item : newsOnceSwitched) {
            if (item.station && item.station->station == station)
                item.station.reset();
            news.push_back(std::move(item));
        }
        newsOnceSwitched.clear();
        return wasOffline;
    }
    bool betweenRequests(const std::function<void()> &work) override
    {
        if (isPortLost)
            return false;
        ++handedOver;
        work();
        return true;
    }
    void setDeadline(Ticket ticket, Time deadline) override { deadlines[ticket] = deadline; }
    void takeLoss(const std::vector<Ticket> &tickets) override
    {
        ++lossesTaken;
        withdrawn = tickets;
    }
    void withdraw(const std::vector<Ticket> &tickets) override
    {
        withdrawn = tickets;
        for (News &item : newsOnceWithdrawn)
            news.push_back(std::move(item));
        newsOnceWithdrawn.clear();
    }
    std::set<Ticket> unconfirmed() override { return sent; }

    /// News that an order has ended.
    static News endOf(Ticket ticket, runtime::OrderEnd end)
    {
        News item;
        runtime::OrderResult result;
        result.end = end;
        item.orders.push_back({ticket, result});
        return item;
    }

    Time clock = std::chrono::seconds(100);
    std::vector<News> news;
    std::vector<News> newsOnceSwitched;  ///< that come between the last look and the switch
    std::vector<News> newsOnceWithdrawn; ///< that come between the last look and the withdrawal
    int openOrders = 0;
    std::vector<Ticket> withdrawn;
    std::map<Ticket, Time> deadlines;
    std::set<Ticket> sent;
    bool wasOffline = false;
    int handedOver = 0;
    bool isPortLost = false;
    int lossesTaken = 0;
    int starts = 0;
    bool isTraced = false;
    int stops = 0;
};

} // namespace plc::test

#endif
