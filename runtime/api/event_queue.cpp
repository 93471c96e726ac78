#include "runtime/api/event_queue.h"

#include <algorithm>
#include <utility>

namespace plc::api {

namespace {

bool mayBeDropped(const QueuedEvent &event)
{
    return event.kind == plcruntime::EventFrame || event.kind == plcruntime::EventLog;
}

} // namespace

void EventQueue::want(int kinds)
{
    wanted_ = kinds;
    const auto kept = std::stable_partition(events_.begin(), events_.end(),
                                            [this](const QueuedEvent &event) { return wants(event.kind); });
    std::for_each(kept, events_.end(), [this](const QueuedEvent &event) { leave(event); });
    events_.erase(kept, events_.end());
}

void EventQueue::count(const QueuedEvent &event, int change)
{
    if (mayBeDropped(event))
        frames_ += static_cast<std::size_t>(change);
    if (event.kind == plcruntime::EventOrder)
        orders_ += static_cast<std::size_t>(change);
}

/// The variables of such events that wait; null for events that are not coalesced.
std::set<plcruntime::VariableId> *EventQueue::waitingOf(plcruntime::EventKind kind)
{
    if (kind == plcruntime::EventValue)
        return &values_;
    return kind == plcruntime::EventQuality ? &qualities_ : nullptr;
}

/// The event waits no more.
void EventQueue::leave(const QueuedEvent &event)
{
    if (std::set<plcruntime::VariableId> *const waiting = waitingOf(event.kind))
        waiting->erase(event.variable);
    count(event, -1);
}

void EventQueue::put(QueuedEvent &&event)
{
    std::set<plcruntime::VariableId> *const waiting = waitingOf(event.kind);
    if (!wants(event.kind) || (waiting && waiting->count(event.variable) > 0))
        return;
    if (mayBeDropped(event) && frames_ >= kMostFrames) {
        ++dropped_;
        return;
    }
    events_.push_back(std::move(event));
    try {
        if (waiting)
            waiting->insert(events_.back().variable);
    } catch (...) {
        events_.pop_back();
        throw;
    }
    count(events_.back(), 1);
}

const QueuedEvent *EventQueue::front()
{
    if (dropped_ > 0 && frames_ < kMostFrames) {
        QueuedEvent gap;
        gap.kind = wants(plcruntime::EventFrame) ? plcruntime::EventFrame : plcruntime::EventLog;
        const QString text =
            QString::fromLatin1("%1 frames and log lines are not told: the handler was too slow")
                .arg(dropped_);
        if (gap.kind == plcruntime::EventFrame) {
            plcruntime::Frame frame;
            frame.kind = plcruntime::FrameKind::AttemptEnd;
            frame.text = text;
            gap.detail = frame;
        } else {
            plcruntime::LogLine line;
            line.isWarning = true;
            line.text = text;
            gap.detail = line;
        }
        put(std::move(gap));
        dropped_ = 0;
    }
    return events_.empty() ? nullptr : &events_.front();
}

std::optional<QueuedEvent> EventQueue::take()
{
    if (!front())
        return std::nullopt;
    QueuedEvent event = std::move(events_.front());
    events_.pop_front();
    leave(event);
    return event;
}

} // namespace plc::api
