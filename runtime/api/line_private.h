/// @file
/// What stands behind a Line: one session, the books around it, and who waits and who delivers.
///
/// One lock guards everything here. It is held while the session digests news and while the books are
/// changed, and never while somebody waits for the line or a handler runs.
///
/// Waiting and delivering are two offices, each held by one thread at a time. Who holds the first waits on
/// the link, without the lock; when it wakes it takes the news and lets the session digest them. All others
/// that wait, wait for it. Who holds the second takes events from the queue, one by one, and hands each to
/// the handler, without the lock. A handler that waits may hold the first office and never the second again:
/// so events keep their order, whatever a handler does.
#ifndef PLC_API_LINE_PRIVATE_H
#define PLC_API_LINE_PRIVATE_H

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <set>
#include <thread>

#include "plcruntime/plcruntime.h"
#include "runtime/api/event_queue.h"
#include "runtime/api/line_access.h"
#include "runtime/api/line_port.h"
#include "runtime/api/order_book.h"
#include "runtime/api/variable_book.h"
#include "runtime/master/own_driver.h"
#include "runtime/panel/session.h"

/// A nested class is visible as the class around it is, unless told otherwise.
#define PLC_HIDDEN __attribute__((visibility("hidden")))

namespace plcruntime {

class PLC_HIDDEN Line::Private
{
public:
    using Time = plc::runtime::Time;
    using Lock = std::unique_lock<std::mutex>;

    Private(const LineSettings &lineSettings, LineGround lineGround, PortOpener portOpener,
            void *portContext);
    ~Private();

    // Each takes the lock, but for those that are handed it. Any of them may throw, as std::bad_alloc; then
    // the next call goes on where it has ended.

    /// @throw Error, plc::runtime::Failure  where it cannot be opened.
    void open();
    void close();
    void setEventHandler(EventHandler newHandler, void *newContext, int wanted);
    int poll(int timeoutMs);
    void wake();
    OrderResult wait(OrderId order, int timeoutMs);

    /// Shows the screen of the book, where the line is open.
    void showScreen();
    /// Gives an order to the session; a write where there are values.
    /// @throw Error, plc::runtime::Failure  where it is refused.
    OrderId order(VariableId id, const QList<Value> *values, int deadlineMs);
    /// As Line::checkWrite(), or Line::checkRead() without values.
    /// @throw plc::runtime::Failure
    void checkOrder(VariableId id, const QList<Value> *values) const;
    plc::runtime::LinkSettings linkSettings() const;
    void setStationEnabled(int station, bool enabled);
    Statistics statistics() const;

    bool isOpen() const { return life == Life::Open; }
    Time now() const { return session ? session->now() : ground.clock(); }

    enum class Life
    {
        Closed,
        Opening,
        Open,
        Closing
    };

    const LineSettings settings;
    mutable std::mutex mutex;
    plc::api::VariableBook variables;
    plc::api::OrderBook orders;
    std::unique_ptr<plc::runtime::Session> session; ///< while the line is open or being closed
    std::set<int> switchedOff;                      ///< stations, also while the line is closed
    std::string lastPortLost;                       ///< of the session before
    Life life = Life::Closed;

private:
    /// Says that a call waits, so that wake() ends it.
    class Waiting;

    plc::runtime::Surroundings surroundings();
    void start(const plc::runtime::LinkSettings &link, const std::vector<plc::runtime::PriorityRow> &rows,
               std::unique_ptr<plc::runtime::OwnDriver> *ownDriver,
               std::unique_ptr<plc::runtime::Session> *made);
    void begin(const std::vector<plc::runtime::PriorityRow> &rows);
    void end();
    bool mayDeliver() const;
    void turn(Lock &lock, Time until);
    void digest();
    void takeNotes();
    void digestAll();
    void hear(const plc::runtime::News &news);
    void noteEndedOrders();
    void noteEnd(plc::runtime::Ticket ticket, plc::api::OpenOrder *order);
    void noteChanges(const plc::api::VariableBook::Changes &changes);
    void notePort(const plc::runtime::PortNews &news);
    void noteStation(const plc::runtime::StationNews &news);
    void put(EventKind kind, Time at, decltype(plc::api::QueuedEvent::detail) &&detail);
    int deliver(Lock &lock);
    void tellNext(Lock &lock);
    void runDelivery();
    Time untilOf(int timeoutMs) const;

    const LineGround ground;
    const PortOpener opener;
    void *const context;

    std::unique_ptr<plc::runtime::OwnDriver> driver;
    std::uint64_t endedOrders = 0; ///< of the session's, that have been noted
    Time nextLook{};               ///< at the ages of all variables
    Statistics lastStatistics;     ///< of the session before
    std::shared_ptr<plc::api::PortNotes> notes = std::make_shared<plc::api::PortNotes>();

    plc::api::EventQueue events;
    bool hasMissed = false; ///< memory ran out where events are made: some may be missing
    EventHandler handler = nullptr;
    void *handlerContext = nullptr;

    /// Something has changed that a thread may wait for.
    mutable std::condition_variable changed;
    bool isWaitedOn = false;    ///< a thread waits on the link
    bool isDelivering = false;  ///< a thread delivers
    std::thread::id deliverer;  ///< while isDelivering
    std::uint64_t told = 0;     ///< events that the handler has had
    std::uint64_t turns = 0;    ///< of waiting that brought something
    std::uint64_t wakes = 0;    ///< calls of wake()
    int waiting = 0;            ///< calls that wake() ends
    bool isWakePending = false; ///< the next call that waits returns at once
    std::atomic<bool> isOpeningCancelled{false};
    bool isEnding = false; ///< nobody waits on the link of the line that is being closed

    std::thread delivery; ///< with Delivery::OwnThread, from the first open() on
    bool isOver = false;  ///< the delivery ends
};

} // namespace plcruntime

#endif
