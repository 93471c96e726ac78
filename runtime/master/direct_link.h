/// @file
/// A link without a thread: whoever waits runs the line.
#ifndef PLC_MASTER_DIRECT_LINK_H
#define PLC_MASTER_DIRECT_LINK_H

#include <utility>

#include "runtime/master/driver_link.h"
#include "runtime/master/news_box.h"

namespace plc::runtime {

/// The driver on a line, and its news in one list. What is derived from it has the clock and the line, and
/// runs them in start() and wait(). Not locked.
class DirectLink : public Link, protected NewsSink
{
public:
    void setLevelStations(const std::set<int> &stations) override { link_.setLevelStations(stations); }
    void setCyclicReads(const std::map<int, int> &reads) override { link_.setCyclicReads(reads); }
    void setTrace(bool trace) override { link_.setTrace(trace); }
    std::vector<News> take() override { return std::exchange(news_, {}); }
    Statistics statisticsSoFar() override { return link_.statisticsSoFar(); }
    void setOpenOrders(int count) override { link_.setOpenOrders(count); }
    bool setStationEnabled(int station, bool enabled) override
    {
        return link_.setStationEnabled(station, enabled);
    }
    bool betweenRequests(const std::function<void()> &work) override { return link_.betweenRequests(work); }
    int rebuild(const std::function<void()> &work) override { return link_.rebuild(work); }
    void setDeadline(Ticket ticket, Time deadline) override { link_.setDeadline(ticket, deadline); }
    void takeLoss(const std::vector<Ticket> &tickets) override { link_.takeLoss(tickets); }
    void withdraw(const std::vector<Ticket> &tickets) override { link_.withdraw(tickets); }
    std::set<Ticket> unconfirmed() override { return link_.unconfirmed(); }

protected:
    /// As DriverLink.
    DirectLink(DriverLibrary &driver, COM_INFO &info, const LinkSettings &settings)
        : link_(driver, info, settings, *this)
    {}

    void put(News &&news) override { news_.push_back(std::move(news)); }
    bool takeBack(int station) override { return takeBackChanges(&news_, station); }

    std::vector<News> news_;
    DriverLink link_;
};

} // namespace plc::runtime

#endif
