/// @file
/// The communication thread: a serial port and the driver on it.
#ifndef PLC_HOST_COMMUNICATION_H
#define PLC_HOST_COMMUNICATION_H

#include <QThread>

#include <atomic>
#include <future>

#include "driver_link.h"
#include "news_box.h"

namespace plc::host {

/// A link over a serial port, with a thread of its own. One object at a time, as DriverLink.
class Communication : public Link
{
public:
    /// @param info  the record that the driver was given; `retryCount` is written by the thread.
    Communication(DriverLibrary &driver, COM_INFO &info, const LinkSettings &settings);
    ~Communication() override;

    /// Starts the thread and waits until it has opened the port.
    void start(const std::map<int, int> &cyclicReads, bool trace) override;
    /// Ends the thread and waits for it.
    void stop() override;
    void setLevelStations(const std::set<int> &stations) override { link_.setLevelStations(stations); }
    Time now() const override { return steadyNow(); }
    std::vector<News> take(Time until) override { return news_.take(until); }
    void setOpenOperations(int count) override { link_.setOpenOperations(count); }
    bool setStationEnabled(int station, bool enabled) override
    {
        return link_.setStationEnabled(station, enabled);
    }
    void betweenRequests(const std::function<void()> &work) override { link_.betweenRequests(work); }
    void withdraw(const std::vector<Ticket> &tickets) override { link_.withdraw(tickets); }

private:
    void run(std::promise<void> &opened);
    void exchange(class SerialPort &port);

    const LinkSettings settings_;
    NewsBox news_;
    DriverLink link_;
    std::unique_ptr<QThread> thread_;
    std::atomic<bool> stopping_{false};
};

} // namespace plc::host

#endif
