#include "runtime/api/event_queue.h"

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
    for (std::deque<QueuedEvent> all = std::exchange(events_, {}); !all.empty(); all.pop_front()) {
        if (wants(all.front().kind)) {
            events_.push_back(std::move(all.front()));
            continue;
        }
        values_.erase(all.front().variable);
        qualities_.erase(all.front().variable);
        count(all.front(), -1);
    }
}

void EventQueue::count(const QueuedEvent &event, int change)
{
    if (mayBeDropped(event))
        frames_ += static_cast<std::size_t>(change);
    if (event.kind == plcruntime::EventOrder)
        orders_ += static_cast<std::size_t>(change);
}

/// The variable waits already.
bool EventQueue::isCoalesced(const QueuedEvent &event)
{
    if (event.kind == plcruntime::EventValue)
        return !values_.insert(event.variable).second;
    return event.kind == plcruntime::EventQuality && !qualities_.insert(event.variable).second;
}

void EventQueue::put(QueuedEvent &&event)
{
    if (!wants(event.kind) || isCoalesced(event))
        return;
    if (mayBeDropped(event) && frames_ >= kMostFrames) {
        ++dropped_;
        return;
    }
    count(event, 1);
    events_.push_back(std::move(event));
}

std::optional<QueuedEvent> EventQueue::take()
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
        dropped_ = 0;
        put(std::move(gap));
    }
    if (events_.empty())
        return std::nullopt;
    QueuedEvent event = std::move(events_.front());
    events_.pop_front();
    count(event, -1);
    if (event.kind == plcruntime::EventValue)
        values_.erase(event.variable);
    if (event.kind == plcruntime::EventQuality)
        qualities_.erase(event.variable);
    return event;
}

} // namespace plc::api
