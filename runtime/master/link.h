/// @file
/// What a session and the line tell each other.
#ifndef PLC_MASTER_LINK_H
#define PLC_MASTER_LINK_H

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "runtime/master/cycle.h"
#include "runtime/master/driver_library.h"
#include "runtime/master/link_settings.h"
#include "runtime/master/order_ledger.h"

namespace plc::runtime {

/// The driver said through its callback that an order has ended.
struct OrderNews
{
    Ticket ticket;
    OrderResult result;
};

/// A station has gone offline or come back.
struct StationNews
{
    int station = 0;
    bool offline = false;
    int failures = 0; ///< requests in a row that have failed; when it went offline
    Time lasted{};    ///< how long it was offline; when it came back
    Time nextProbe{}; ///< from now; when it went offline
};

/// The port was lost, cannot be opened again, or is back.
struct PortNews
{
    enum class Change
    {
        Lost,
        Refused, ///< something is there that cannot be opened, and the reason is new
        Back
    };
    Change change = Change::Lost;
    std::string reason;    ///< why the port is gone; empty when it is back
    std::set<Ticket> sent; ///< writes that are unconfirmed; when it was lost
    Time lasted{};         ///< how long it was lost; when it is back
};

/// What the trace tells: bytes, or what became of them. See traceLine() for its text.
struct FrameNews
{
    enum class Kind
    {
        Sent,
        Received,
        Discarded, ///< `text` says why
        AttemptEnd ///< `text` says how
    };
    Kind kind = Kind::Sent;
    Time at{};
    Time sinceStart{}; ///< the same, counted from when communication began
    QByteArray bytes;  ///< of Sent and Received
    int attempt = 0;   ///< of Sent: 1 for the first transmission of a request
    int count = 0;     ///< bytes that it is about
    std::string text;  ///< a few words for people
};

/// One transaction that has ended with all that came of it, a frame of the trace, or a change of the port.
struct News
{
    std::optional<TransactionReport> transaction;
    /// What Link::rebuild() returned when the transaction was chosen; 0 before the first.
    int screen = 0;
    bool ordinaryRead =
        false; ///< the transaction was a read of the driver's read list, not of a priority level
    std::vector<OrderNews> orders;
    std::vector<Ticket> released;       ///< withdrawn orders that the driver holds no more
    std::optional<StationNews> station; ///< behind the orders
    std::string gap;                    ///< a line for people: how much is missing in front of what follows
    std::optional<FrameNews> frame;     ///< alone
    std::optional<PortNews> port;       ///< alone
    /// Carried by the line up to the end of the transaction, repeats included.
    std::uint64_t requestsSoFar = 0;
    std::uint64_t bytesSoFar = 0; ///< in both directions
};

/// Takes news on the thread of the line, and keeps them in their order until the session takes them.
class NewsSink
{
public:
    virtual ~NewsSink() = default;
    virtual void put(News &&news) = 0;
    /// The user switches @p station. Changes of it that the session has not taken yet mean nothing any more,
    /// and are taken out of the news. The rest of these news stays. May come from the session's thread.
    /// @return whether the station had gone offline with one of these changes.
    virtual bool takeBack(int station) = 0;
};

/// The half of a session that talks to the line; all calls on the session's thread.
class Link
{
public:
    virtual ~Link() = default;

    /// These stations have reads with a priority level, which go on where no other read does.
    virtual void setLevelStations(const std::set<int> &) {}
    /// From now on the read list has so many ordinary entries, by station: what a scan is paced by.
    virtual void setCyclicReads(const std::map<int, int> &) {}
    /// From now on there are news of each frame, or none.
    virtual void setTrace(bool) {}
    /// Begins communication.
    /// @param cyclicReads  entries that were put into the read list, by station.
    /// @param trace        there are news of each frame.
    /// @throw Failure      (port) when the port cannot be opened.
    virtual void start(const std::map<int, int> &cyclicReads, bool trace) = 0;
    /// Ends communication. Nothing is sent afterwards.
    virtual void stop() = 0;

    /// The clock of the session and of all times in the news.
    virtual Time now() const = 0;
    /// Waits for news of orders, stations or the port, at most until @p until; reports of reads alone may
    /// wait until then. Takes nothing, so that it may run beside all other calls. One thread at a time.
    virtual void wait(Time until) = 0;
    /// Ends the wait() that is under way, or the next one. Any thread.
    virtual void wake() {}
    /// Takes all news that are there, oldest first, without waiting.
    virtual std::vector<News> take() = 0;
    /// What has been counted up to now.
    virtual Statistics statisticsSoFar() = 0;

    /// Tells how many orders are in the driver's lists: while there are some, a pause between scans is
    /// interrupted.
    virtual void setOpenOrders(int count) = 0;
    /// The user switches a station off or on; on, it counts as one that has not been asked yet. News of its
    /// changes that have not been taken yet are taken back: all that come from now on are of a later time.
    /// @return whether it was offline at some time since the last news that were taken. The driver may then
    ///         have dropped what was queued for it.
    virtual bool setStationEnabled(int station, bool enabled) = 0;
    /// Runs @p work while the driver chooses no request, so that what it hands over in pieces is queued as a
    /// whole.
    /// @return false, with nothing done, from the loss of the port until it is back and takeLoss() was
    /// called:
    ///         what was handed over before must never be sent, and nothing may mix with it.
    virtual bool betweenRequests(const std::function<void()> &work) = 0;
    /// Runs @p work, which rebuilds the driver's read list, while the driver chooses no request; also while
    /// the port is lost.
    /// @return a number above those of earlier calls, which News::screen has from now on.
    virtual int rebuild(const std::function<void()> &work)
    {
        work();
        return 0;
    }
    /// No frame of this order goes out from @p deadline on. Before the order is handed over.
    virtual void setDeadline(Ticket, Time deadline) { (void)deadline; }
    /// The loss of the port has been digested, once for each: withdraw() for all that the driver may hold.
    virtual void takeLoss(const std::vector<Ticket> &tickets) = 0;
    /// These orders are reported as failed while the driver may still hold them: nothing of them is sent any
    /// more. A frame of a write goes out before this call, and is among unconfirmed() then, or never.
    virtual void withdraw(const std::vector<Ticket> &tickets) = 0;
    /// Writes of which a frame has gone out and whose end is not among the news yet: they may have been done.
    virtual std::set<Ticket> unconfirmed() = 0;
};

/// Makes the link of a session. The record is the one that the driver was given.
using LinkFactory = std::function<std::unique_ptr<Link>(DriverLibrary &, COM_INFO &, const LinkSettings &)>;

} // namespace plc::runtime

#endif
