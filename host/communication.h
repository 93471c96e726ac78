/// @file
/// The communication thread: a serial port and the driver on it.
#ifndef PLC_HOST_COMMUNICATION_H
#define PLC_HOST_COMMUNICATION_H

#include <QThread>

#include <atomic>
#include <functional>
#include <future>

#include "driver_link.h"
#include "news_box.h"
#include "serial_port.h"

namespace plc::host {

/// As SerialPort::open().
using OpenPort = std::function<void(SerialPort &, const LinkSettings &)>;

/// A link over a serial port, with a thread of its own. One object at a time, as DriverLink.
class Communication : public Link
{
public:
    /// @param info  the record that the driver was given; `retryCount` is written by the thread.
    /// @param open  opens the port.
    Communication(DriverLibrary &driver, COM_INFO &info, const LinkSettings &settings,
                  OpenPort open = &SerialPort::open);
    ~Communication() override;

    /// Starts the thread and waits until it has opened the port, or the program is interrupted.
    /// @throw Failure  (port) also when no thread can be made, and when the program is interrupted.
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
    void exchange(SerialPort &port);

    const LinkSettings settings_;
    const OpenPort open_;
    NewsBox news_;
    DriverLink link_;
    std::unique_ptr<QThread> thread_;
    std::atomic<bool> stopping_{false};
};

} // namespace plc::host

#endif
