/// @file
/// What all links over a driver have in common.
#ifndef PLC_MASTER_LINK_ON_DRIVER_H
#define PLC_MASTER_LINK_ON_DRIVER_H

#include "runtime/master/driver_link.h"

namespace plc::runtime {

/// The driver on a line that somebody else runs. What is derived has the clock, the line and the news.
class LinkOnDriver : public Link
{
public:
    void setLevelStations(const std::set<int> &stations) override { link_.setLevelStations(stations); }
    void setCyclicReads(const std::map<int, int> &reads) override { link_.setCyclicReads(reads); }
    void setTrace(bool trace) override { link_.setTrace(trace); }
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
    /// @param sink  gets no news before the line is run, so that it may be a part of what is derived.
    LinkOnDriver(DriverLibrary &driver, COM_INFO &info, const LinkSettings &settings, NewsSink &sink)
        : link_(driver, info, settings, sink)
    {}

    DriverLink link_;
};

} // namespace plc::runtime

#endif
