/// @file
/// The communication thread: a serial port, the cycle, and the driver's two cycle calls.
#ifndef PLC_HOST_COMMUNICATION_H
#define PLC_HOST_COMMUNICATION_H

#include <QThread>

#include <atomic>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cycle.h"
#include "driver_library.h"
#include "link_settings.h"
#include "mailbox.h"
#include "operation_ledger.h"
#include "scan_pacer.h"
#include "serial_port.h"

namespace plc::host {

/// `hostId` of the reads and writes that end in a callback; the number of the operation is their `hostSubId`.
/// Large enough to add nothing to the driver's result codes.
constexpr int kOperationHostId = 100;
/// `hostId` of the cyclic reads; their number is their `hostSubId`.
constexpr int kCyclicHostId = 0;

/// True for a cyclic read that the driver has made of several variables.
bool isGroupedRead(const Request &request);

/// The driver said through its callback that an operation has ended.
struct OperationNews
{
    Ticket ticket;
    OperationResult result;
};

/// What the communication thread tells: one step that has ended, the operations that ended with it, a line of
/// the trace, or the loss of the port.
struct News
{
    std::optional<StepReport> step;
    bool ordinaryRead = false; ///< the step was a read of the driver's read list, not of a priority level
    std::vector<OperationNews> operations;
    std::string trace;
    std::string portLost;
    std::optional<Statistics> statistics;
};

/// Runs the cycle on a thread of its own. One object at a time, since the driver's callbacks carry no object.
class Communication : private CycleDriver, private CycleObserver
{
public:
    /// @param info     the record that the driver was given; `retryCount` is written by the thread.
    /// @param mailbox  gets all news; outlives this object.
    Communication(DriverLibrary &driver, COM_INFO &info, const LinkSettings &settings,
                  Mailbox<News> &mailbox);
    ~Communication() override;

    /// Starts the thread and waits until it has opened the port.
    /// @param cyclicReads  entries that were put into the read list.
    /// @throw Failure      (port) when the port cannot be opened.
    void start(int cyclicReads, bool trace);

    /// Ends the thread and waits for it. Nothing is sent afterwards.
    void stop();

    /// Tells how many operations are in the driver's lists: while there are some, a pause between scans is
    /// interrupted.
    void setOpenOperations(int count) { openOperations_ = count; }

private:
    void run(std::promise<void> &opened);
    void exchange(Cycle &cycle);

    Protocol *next() override;
    int judge(QByteArray *reply, int length) override;
    void sent(Time now, const QByteArray &frame, int attempt) override;
    void received(Time now, const QByteArray &bytes) override;
    void discarded(Time now, int bytes, const char *why) override;
    void attemptEnded(Time now, AttemptEnd end, int exceptionCode) override;
    void stepEnded(const StepReport &report) override;
    void trace(Time now, const char *mark, const std::string &text);

    static void onResult(int callbackArg, int hostId, int hostSubId, int outcome);

    DriverLibrary &driver_;
    COM_INFO &info_;
    LinkSettings settings_;
    Mailbox<News> &mailbox_;
    std::unique_ptr<QThread> thread_;
    std::atomic<bool> stopping_{false};
    std::atomic<int> openOperations_{0};

    // The communication thread's own.
    SerialPort *port_ = nullptr;
    const Statistics *statistics_ = nullptr;
    const RW_VAR *result_ = nullptr; ///< what the driver returned last; its own record
    ScanPacer pacer_{0, Time::zero()};
    bool trace_ = false;
    Time startedAt_{};
    std::vector<std::pair<Ticket, int>> ended_; ///< operations and outcomes that the callback brought
    /// Operations of which a request has failed that the driver counts as done.
    std::map<Ticket, OperationResult> failed_;
};

/// "11 03 00 64": for traces.
std::string hexText(const QByteArray &bytes);

} // namespace plc::host

#endif
