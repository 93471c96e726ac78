#include "runtime/api/event_queue.h"

#include <gmock/gmock.h>

namespace {

using namespace plc::api;
using plcruntime::EventKind;
using ::testing::HasSubstr;

QueuedEvent eventOf(EventKind kind, int variable = 0)
{
    QueuedEvent event;
    event.kind = kind;
    event.variable = variable;
    return event;
}

TEST(EventQueue, KeepsTheOrderAndHasAVariableOnce)
{
    EventQueue queue;
    queue.want(plcruntime::EventsAll);
    for (int i = 0; i < 3; ++i) {
        queue.put(eventOf(plcruntime::EventValue, 7));
        queue.put(eventOf(plcruntime::EventQuality, 7));
        queue.put(eventOf(plcruntime::EventValue, 8));
    }
    EXPECT_EQ(3u, queue.size());
    EXPECT_EQ(7, queue.take()->variable);
    EXPECT_EQ(plcruntime::EventQuality, queue.take()->kind);
    queue.put(eventOf(plcruntime::EventValue, 7));
    EXPECT_EQ(8, queue.take()->variable);
    EXPECT_EQ(7, queue.take()->variable) << "what is taken may wait again";
    EXPECT_FALSE(queue.take());
}

TEST(EventQueue, DropsFramesBeyondItsRoomAndSaysSo)
{
    EventQueue queue;
    queue.want(plcruntime::EventsAll);
    for (std::size_t i = 0; i < EventQueue::kMostFrames + 5; ++i)
        queue.put(eventOf(plcruntime::EventFrame));
    EXPECT_EQ(EventQueue::kMostFrames, queue.size());
    while (const auto event = queue.take()) {
        if (queue.isEmpty()) {
            EXPECT_THAT(std::get<plcruntime::Frame>(event->detail).text.toStdString(),
                        HasSubstr("5 frames and log lines are not told"));
        }
    }
}

TEST(EventQueue, TellsWhatItHasDroppedAsAWarningWhereNoFramesAreWanted)
{
    EventQueue queue;
    queue.want(plcruntime::EventLog);
    for (std::size_t i = 0; i < EventQueue::kMostFrames + 1; ++i)
        queue.put(eventOf(plcruntime::EventLog));
    std::optional<QueuedEvent> last;
    while (auto event = queue.take())
        last = std::move(event);
    ASSERT_TRUE(last);
    EXPECT_TRUE(std::get<plcruntime::LogLine>(last->detail).isWarning);
    EXPECT_THAT(std::get<plcruntime::LogLine>(last->detail).text.toStdString(),
                HasSubstr("1 frames and log lines are not told"));
}

TEST(EventQueue, HasAVariableOnceThoughItsQualityIsTakenBefore)
{
    EventQueue queue;
    queue.want(plcruntime::EventsAll);
    queue.put(eventOf(plcruntime::EventQuality, 7));
    queue.put(eventOf(plcruntime::EventValue, 7));
    EXPECT_EQ(plcruntime::EventQuality, queue.take()->kind);
    queue.put(eventOf(plcruntime::EventValue, 7));
    EXPECT_EQ(1u, queue.size());
    queue.put(eventOf(plcruntime::EventQuality, 7));
    EXPECT_EQ(plcruntime::EventValue, queue.take()->kind);
    queue.put(eventOf(plcruntime::EventQuality, 7));
    EXPECT_EQ(1u, queue.size());
}

TEST(EventQueue, IsFullWithEndsOfOrders)
{
    EventQueue queue;
    queue.want(plcruntime::EventsOfPanel);
    for (std::size_t i = 0; i < EventQueue::kMostOrders; ++i) {
        EXPECT_FALSE(queue.isFull());
        queue.put(eventOf(plcruntime::EventOrder));
    }
    EXPECT_TRUE(queue.isFull());
    queue.take();
    EXPECT_FALSE(queue.isFull());
}

TEST(EventQueue, KeepsOnlyWhatIsWanted)
{
    EventQueue queue;
    queue.put(eventOf(plcruntime::EventOrder));
    EXPECT_TRUE(queue.isEmpty()) << "nobody has asked";
    queue.want(plcruntime::EventsOfPanel);
    queue.put(eventOf(plcruntime::EventOrder));
    queue.put(eventOf(plcruntime::EventValue, 7));
    queue.put(eventOf(plcruntime::EventFrame));
    queue.want(plcruntime::EventOrder);
    EXPECT_EQ(1u, queue.size());
    queue.want(plcruntime::EventsOfPanel);
    queue.put(eventOf(plcruntime::EventValue, 7));
    EXPECT_EQ(2u, queue.size()) << "the variable does not count as waiting any more";
}

TEST(EventQueue, HasAllItsRoomAgainWhenWhatFilledItIsWantedNoMore)
{
    EventQueue queue;
    queue.want(plcruntime::EventsAll);
    for (std::size_t i = 0; i < EventQueue::kMostOrders; ++i)
        queue.put(eventOf(plcruntime::EventOrder));
    for (std::size_t i = 0; i < EventQueue::kMostFrames; ++i)
        queue.put(eventOf(plcruntime::EventFrame));
    queue.want(0);
    EXPECT_TRUE(queue.isEmpty());
    EXPECT_FALSE(queue.isFull());
    queue.want(plcruntime::EventsAll);
    for (std::size_t i = 0; i < EventQueue::kMostFrames; ++i)
        queue.put(eventOf(plcruntime::EventFrame));
    EXPECT_EQ(EventQueue::kMostFrames, queue.size());
    EXPECT_FALSE(queue.isFull());
}

} // namespace
