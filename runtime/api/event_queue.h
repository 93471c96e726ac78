/// @file
/// What has happened on a line and has not been told yet.
#ifndef PLC_API_EVENT_QUEUE_H
#define PLC_API_EVENT_QUEUE_H

#include <cstdint>
#include <deque>
#include <optional>
#include <set>
#include <variant>

#include "plcruntime/plcruntime.h"
#include "runtime/line/link_time.h"

namespace plc::api {

/// An event on its way. Of a variable only its number is kept, and what it is like is looked up when it is
/// told: so a variable waits once, however often it changes meanwhile.
struct QueuedEvent
{
    plcruntime::EventKind kind = plcruntime::EventLog;
    runtime::Time at{};
    plcruntime::VariableId variable = 0;
    std::variant<std::monostate, plcruntime::OrderResult, plcruntime::StationChange, plcruntime::PortChange,
                 plcruntime::Frame, plcruntime::LogLine>
        detail;
};

/// Bounded, whatever the handler does: variables by coalescing, frames and log lines by being dropped, and
/// ends of orders by isFull(), which refuses new orders. Changes of stations and of the port are rare. Not
/// locked.
class EventQueue
{
public:
    static constexpr std::size_t kMostFrames = 1000; ///< and log lines
    static constexpr std::size_t kMostOrders = 4096;

    /// From now on these kinds are kept, and what waits of others is dropped; 0 for none.
    void want(int kinds);
    bool wants(plcruntime::EventKind kind) const { return (wanted_ & kind) != 0; }

    /// @throw std::bad_alloc  and the queue is as it was.
    void put(QueuedEvent &&event);
    /// The oldest event; null when there is none.
    const QueuedEvent *front();
    /// Takes the oldest event; nothing when there is none. Behind front() it throws nothing.
    std::optional<QueuedEvent> take();

    bool isEmpty() const { return events_.empty(); }
    std::size_t size() const { return events_.size(); }
    /// So many ends of orders wait that no order may be taken.
    bool isFull() const { return orders_ >= kMostOrders; }

private:
    std::set<plcruntime::VariableId> *waitingOf(plcruntime::EventKind kind);
    void leave(const QueuedEvent &event);
    void count(const QueuedEvent &event, int change);

    std::deque<QueuedEvent> events_;
    std::set<plcruntime::VariableId> values_;    ///< that wait
    std::set<plcruntime::VariableId> qualities_; ///< that wait
    std::size_t frames_ = 0;                     ///< frames and log lines that wait
    std::size_t orders_ = 0;                     ///< ends of orders that wait
    int dropped_ = 0;
    int wanted_ = 0;
};

} // namespace plc::api

#endif
