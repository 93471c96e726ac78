/// @file
/// The communication thread: a port and the driver on it.
#ifndef PLC_MASTER_COMMUNICATION_H
#define PLC_MASTER_COMMUNICATION_H

#include <atomic>
#include <functional>
#include <future>
#include <thread>

#include "runtime/master/driver_link.h"
#include "runtime/master/news_box.h"
#include "runtime/master/surroundings.h"

namespace plc::runtime {

/// A link over a port, with a thread of its own.
class Communication : public Link
{
public:
    /// @param info  the record that the driver was given; `retryCount` is written by the thread.
    Communication(DriverLibrary &driver, COM_INFO &info, const LinkSettings &settings,
                  Surroundings surroundings);
    ~Communication() override;

    /// Starts the thread and waits until it has opened the port, or the wait is cancelled.
    /// @throw Failure  (port) also when no thread can be made, and when the wait is cancelled.
    void start(const std::map<int, int> &cyclicReads, bool trace) override;
    /// Ends the thread and waits for it.
    void stop() override;
    void setLevelStations(const std::set<int> &stations) override { link_.setLevelStations(stations); }
    Time now() const override { return steadyNow(); }
    std::vector<News> take(Time until) override { return news_.take(until); }
    Statistics statisticsSoFar() override { return link_.statisticsSoFar(); }
    void setOpenOrders(int count) override { link_.setOpenOrders(count); }
    bool setStationEnabled(int station, bool enabled) override
    {
        return link_.setStationEnabled(station, enabled);
    }
    void betweenRequests(const std::function<void()> &work) override { link_.betweenRequests(work); }
    std::set<Ticket> unconfirmed() override { return link_.unconfirmed(); }
    void withdraw(const std::vector<Ticket> &tickets) override { link_.withdraw(tickets); }

private:
    /// Between the two threads while the port is being opened; outlives the one that goes first.
    struct Opening
    {
        std::promise<void> done;
        std::atomic<bool> isSettled{false}; ///< it is opened, refused or given up
    };
    void run(Opening &opening, const OpenPort &open, const LinkSettings &settings);
    void abandon(Opening &opening);
    void exchange(Port &port);
    void noteErrors(Port &port, const std::optional<LineErrors> &before);

    const LinkSettings settings_;
    const Surroundings surroundings_;
    NewsBox news_;
    DriverLink link_;
    std::thread thread_;
    std::atomic<bool> stopping_{false};
    std::optional<LineErrors> errors_; ///< on all ports so far; the thread's
};

} // namespace plc::runtime

#endif
