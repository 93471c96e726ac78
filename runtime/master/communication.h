/// @file
/// The communication thread: a port and the driver on it.
#ifndef PLC_MASTER_COMMUNICATION_H
#define PLC_MASTER_COMMUNICATION_H

#include <atomic>
#include <functional>
#include <thread>

#include "runtime/line/port_opening.h"
#include "runtime/line/port_search.h"
#include "runtime/master/link_on_driver.h"
#include "runtime/master/news_box.h"
#include "runtime/master/surroundings.h"

namespace plc::runtime {

/// A link over a port, with a thread of its own.
class Communication : public LinkOnDriver
{
public:
    /// @param info  the record that the driver was given; `retryCount` and `retryLimit` are written by the
    ///              thread.
    Communication(DriverLibrary &driver, COM_INFO &info, const LinkSettings &settings,
                  Surroundings surroundings);
    ~Communication() override;

    /// Starts the thread and waits until it has opened the port, or the wait is cancelled. Once.
    /// @throw Failure  (port) also when no thread can be made, and when the wait is cancelled.
    void start(const std::map<int, int> &cyclicReads, bool trace) override;
    /// Ends the thread and waits for it.
    void stop() override;
    Time now() const override { return steadyNow(); }
    void wait(Time until) override { news_.wait(until); }
    void wake() override { news_.wake(); }
    std::vector<News> take() override { return news_.take(); }

private:
    std::unique_ptr<Port> open() const;
    void run(std::unique_ptr<Port> port, LineSettings *wanted);
    void lose(const char *reason);
    void exchange(Port &port);
    std::unique_ptr<Port> find(const LineSettings &wanted);
    std::unique_ptr<Port> tryToOpen(const LineSettings &wanted, std::optional<PortOpening> *opening,
                                    Time until);
    void noteErrors(Port &port, const std::optional<LineErrors> &before);

    const LinkSettings settings_;
    const Surroundings surroundings_;
    NewsBox news_;
    PortSearch search_;
    std::thread thread_;
    std::atomic<bool> stopping_{false};
    std::optional<LineErrors> errors_; ///< on all ports so far; the thread's
};

} // namespace plc::runtime

#endif
