/// @file
/// The driver on a line: its two cycle calls, the policies around them, and the news that come of them.
#ifndef PLC_MASTER_DRIVER_LINK_H
#define PLC_MASTER_DRIVER_LINK_H

#include <atomic>
#include <mutex>
#include <set>

#include "runtime/master/echo_check.h"
#include "runtime/master/handed_over.h"
#include "runtime/master/link.h"
#include "runtime/master/scan_pacer.h"
#include "runtime/master/station_guard.h"

namespace plc::runtime {

/// True for a cyclic read that the driver has made of several variables.
bool isGroupedRead(const Request &request);

/// Couples the cycle with the loaded driver. Like the cycle it has no clock, thread or port: told the time
/// and the bytes, it answers what to send and when to wake it. A driver has one link at a time, since its
/// callbacks carry no object.
///
/// advance(), transmitted() and noteLineErrors() belong to one thread. The functions from setLevelStations()
/// on may come from another.
class DriverLink : private CycleDriver, private CycleObserver
{
public:
    /// @param info  the record that the driver was given; `retryCount` and `retryLimit` are written by
    ///              advance().
    /// @param sink  gets all news, inside advance(). Calls nothing of the link: some news come with the lock
    ///              held.
    DriverLink(DriverLibrary &driver, COM_INFO &info, const LinkSettings &settings, NewsSink &sink);
    ~DriverLink() override;

    /// Before the first advance().
    void begin(Time now, const std::map<int, int> &cyclicReads, bool trace);
    /// As Cycle::advance().
    Instruction advance(Time now, const QByteArray &arrived);
    /// As Cycle::transmitted().
    void transmitted(Time now) { cycle_.transmitted(now); }
    const Statistics &statistics() const { return cycle_.statistics(); }
    /// What the port has counted since communication began; see Port::errors().
    void noteLineErrors(const std::optional<LineErrors> &errors);

    /// The port is lost. What is under way ends, and nothing more is permitted. advance() goes on, without
    /// bytes and with nothing to send, until the port is back: so the driver gives back what it holds of the
    /// orders, which nobody may send any more.
    void portLost(Time now, const std::string &reason);
    /// The port cannot be opened, for a reason that has not been told yet.
    void portRefused(const std::string &reason);
    /// The port is open again.
    void portFound(Time now);

    /// As in Link.
    void setLevelStations(const std::set<int> &stations);
    void setCyclicReads(const std::map<int, int> &reads);
    void setTrace(bool trace) { trace_ = trace; }
    int rebuild(const std::function<void()> &work);
    void setDeadline(Ticket ticket, Time deadline);
    Statistics statisticsSoFar();
    void setOpenOrders(int count) { openOrders_ = count; }
    bool setStationEnabled(int station, bool enabled);
    bool betweenRequests(const std::function<void()> &work);
    void takeLoss(const std::vector<Ticket> &tickets);
    void withdraw(const std::vector<Ticket> &tickets);
    std::set<Ticket> unconfirmed();

private:
    Protocol *next() override;
    Permit permit(const Request &request, bool goesOut) override;
    int judge(QByteArray *reply, int length) override;
    void sent(Time now, const QByteArray &frame, int attempt) override;
    void received(Time now, const QByteArray &bytes) override;
    void discarded(Time now, int bytes, const char *why) override;
    void otherMasterAsked(Time now, int station) override;
    void attemptEnded(Time now, AttemptEnd end, const Miss &miss) override;
    void transactionEnded(const TransactionReport &report) override;

    void tellReleased();
    void checkEnded(const TransactionReport &report);
    /// Only where somebody wants frames.
    void tell(FrameNews frame);

    // With the lock held.
    Protocol *nextWithoutPort();
    Protocol *checkedFirst(Protocol *head);
    bool isOrderLost() const { return isPortLost_ || lossesToTake_ > 0; }
    Protocol *sendProbe(const Probe &probe);
    Protocol *chooseThrough(int station);
    Protocol *nextOfLevels();
    Permit permitLocked(const Request &request) const;
    bool isForbidden(const Request &request) const;
    bool isStillWanted(Ticket ticket) const;
    std::vector<OrderNews> endedWith(const TransactionReport &report);
    OrderResult resultOfFailed(const TransactionReport &report) const;
    OrderEnd endOfWithheld(Ticket ticket, int station) const;
    std::optional<StationNews> changeOf(const TransactionReport &report);
    void stateChanged(int station);
    void setPace();

    static void onResult(int callbackArg, int hostId, int hostSubId, int outcome);

    DriverLibrary &driver_;
    const LinkSettings settings_;
    NewsSink &sink_;
    Cycle cycle_;
    std::atomic<int> openOrders_{0};

    // Set before the first advance().
    Time startedAt_{};
    std::atomic<bool> trace_{false};

    // The thread of advance().
    Time now_{};
    bool transactionOpen_ = false;
    bool onlyLevels_ = false; ///< the transaction in progress only brings the driver to serve its levels
    const RW_VAR *result_ = nullptr;            ///< what the driver returned last; its own record
    std::vector<std::pair<Ticket, int>> ended_; ///< orders and outcomes that the callback brought
    std::vector<Ticket> released_;              ///< by the driver, and not told yet
    /// Orders of which a request has failed that the driver counts as done.
    std::map<Ticket, OrderResult> failed_;

    /// For the counters of the cycle and what follows. Taken before any other lock.
    std::mutex counting_;
    std::optional<LineErrors> lineErrors_;

    /// For what follows. Taken before any lock of the driver or the sink, and never inside the driver's
    /// callback. News of a change are put while it is held: whoever finds the change made finds its news in
    /// the sink as well.
    std::mutex mutex_;
    ScanPacer pacer_;
    StationGuard stations_;
    EchoCheck echoCheck_;
    EchoCheck::Fate fate_ = EchoCheck::Fate::Free; ///< of the transaction in progress
    HandedOver handedOver_;
    std::map<int, int> cyclicReads_; ///< how many there are, by station
    std::set<int> levelStations_;
    int screen_ = 0;         ///< rebuilds of the read list so far
    int chosenScreen_ = 0;   ///< when the transaction in progress was chosen
    int probedStation_ = -1; ///< by the transaction in progress; -1 = that is no probe
    bool isPortLost_ = false;
    int lossesToTake_ = 0; ///< told, and not digested by the session yet
    Time portLostAt_{};
};

} // namespace plc::runtime

#endif
