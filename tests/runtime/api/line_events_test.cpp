// What a handler is told, and what it may do meanwhile.

#include <gmock/gmock.h>

#include <stdexcept>

#include "line_fixture.h"

namespace {

using namespace plcruntime;
using plc::test::ended;
using plc::test::LineTest;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

class LineEvents : public LineTest
{};

TEST_F(LineEvents, ComeInTheirOrderAlsoWhereAHandlerWaitsForAnOrder)
{
    const VariableId a = add("4x:1@3");
    const VariableId b = add("4x:2@3");
    open();
    OrderId inner = 0;
    OrderEnd innerEnd = OrderEnd::Open;
    bool isFirst = true;
    then = [&](const Event &event) {
        if (!event.order || !std::exchange(isFirst, false))
            return;
        inner = line().write(b, Value(5));
        innerEnd = line().wait(inner).end;
        EXPECT_EQ(0, line().poll(0)) << "inside a handler nothing is delivered";
        heard.push_back("behind the wait");
    };
    const OrderId first = line().write(a, Value(1));
    const OrderId second = line().write(a, Value(2));
    line().wait(second);
    run(100);
    EXPECT_EQ(OrderEnd::Good, innerEnd);
    std::vector<std::string> told;
    for (const std::string &text : heard) {
        if (text.find("order") == 0 || text.find("behind") == 0)
            told.push_back(text);
    }
    EXPECT_EQ(4u, told.size());
    EXPECT_EQ(ended(first, OrderEnd::Good), told.at(0));
    EXPECT_EQ("behind the wait", told.at(1)) << "no other event comes while a handler runs";
    EXPECT_THAT(told, Contains(ended(second, OrderEnd::Good)));
    EXPECT_THAT(told, Contains(ended(inner, OrderEnd::Good)));
}

TEST_F(LineEvents, AreNotLostBehindAHandlerThatThrows)
{
    wanted = EventsOfPanel | EventLog;
    const VariableId id = add("4x:1@3");
    open();
    bool isFirst = true;
    then = [&](const Event &event) {
        if (event.order && std::exchange(isFirst, false))
            throw std::runtime_error("a handler that fails");
    };
    const OrderId first = line().write(id, Value(1));
    const OrderId second = line().write(id, Value(2));
    EXPECT_EQ(OrderEnd::Good, line().wait(second).end);
    run(100);
    EXPECT_EQ(1, timesHeard(ended(first, OrderEnd::Good)));
    EXPECT_EQ(1, timesHeard(ended(second, OrderEnd::Good)));
    EXPECT_EQ(1, timesHeard("log the event handler has thrown: a handler that fails"));
}

TEST_F(LineEvents, LetAHandlerChangeTheScreenRemoveItsVariableAndCloseTheLine)
{
    const VariableId id = shown("4x:1@3");
    const VariableId other = shown("4x:1@4");
    open();
    then = [&](const Event &event) {
        if (event.kind != EventValue)
            return;
        EXPECT_FALSE(line().removeVariable(event.variable->id));
        EXPECT_FALSE(line().setStationEnabled(9, false));
        line().setEventHandler(&LineEvents::take, this, EventsAll);
        if (event.variable->id == other)
            line().close();
    };
    run(2000);
    EXPECT_FALSE(line().isOpen());
    EXPECT_TRUE(line().variables().isEmpty()) << id;
    then = nullptr;
    open();
    EXPECT_TRUE(line().isOpen());
}

TEST_F(LineEvents, LetAHandlerCloseTheLineAndOpenItAgain)
{
    const VariableId id = add("4x:1@3");
    open();
    int times = 0;
    then = [&](const Event &event) {
        if (!event.order || ++times > 3)
            return;
        line().close();
        EXPECT_FALSE(line().open());
        EXPECT_NE(0, line().write(id, Value(times)));
    };
    line().write(id, Value(9));
    run(1000);
    EXPECT_EQ(4, times);
    EXPECT_EQ(3, (world.registers[{3, 1}]));
}

TEST_F(LineEvents, BringFramesAndLogLinesToWhoAsks)
{
    const VariableId id = add("4x:1@3");
    open();
    EXPECT_EQ(OrderEnd::Good, line().wait(line().write(id, Value(1))).end);
    EXPECT_THAT(heard, Not(Contains(StartsWith("frame"))));
    line().setEventHandler(&LineEvents::take, this, EventsAll);
    EXPECT_EQ(OrderEnd::Good, line().wait(line().write(id, Value(2))).end);
    run(50);
    EXPECT_THAT(heard, Contains("frame 0306000100025829"));
    EXPECT_EQ(2, timesHeard("frame 0306000100025829")) << "sent, and repeated by the station";
    line().setEventHandler(&LineEvents::take, this, EventsOfPanel);
    heard.clear();
    EXPECT_EQ(OrderEnd::Good, line().wait(line().write(id, Value(3))).end);
    EXPECT_THAT(heard, Not(Contains(StartsWith("frame"))));
}

TEST_F(LineEvents, EndWithTheHandler)
{
    const VariableId id = shown("4x:1@3");
    open();
    line().setEventHandler(nullptr, nullptr);
    run(500);
    EXPECT_EQ(0, number(id)) << "it goes on";
    EXPECT_THAT(heard, IsEmpty());
}

TEST_F(LineEvents, AreToldWhileAnOrderIsWaitedFor)
{
    const VariableId quick = add("4x:1@3");
    const VariableId slow = add("4x:1@9");
    world.dead = {9};
    open();
    const OrderId first = line().write(quick, Value(1));
    const OrderId second = line().write(slow, Value(1));
    then = [&](const Event &event) {
        if (event.order && event.order->order == first)
            line().wake();
    };
    EXPECT_EQ(OrderEnd::Open, line().wait(second).end) << "the handler has ended the wait";
    EXPECT_NE(OrderEnd::Good, line().wait(second).end);
}

TEST_F(LineEvents, DoNotWakeWhoPollsLongerThanHeSays)
{
    open();
    const auto before = world.now;
    EXPECT_EQ(0, line().poll(300));
    EXPECT_EQ(before + std::chrono::milliseconds(300), world.now);
    EXPECT_EQ(0, line().poll(0));
    EXPECT_EQ(before + std::chrono::milliseconds(300), world.now);
}

TEST_F(LineEvents, AreNotWaitedForWhereTheLineIsWoken)
{
    settings.timeoutMs = 10000;
    world.dead = {3};
    const VariableId id = add("4x:1@3");
    open();
    const OrderId order = line().write(id, Value(1));
    const auto before = world.now;
    line().wake();
    EXPECT_EQ(OrderEnd::Open, line().wait(order).end) << "the next one that waits returns at once";
    EXPECT_EQ(before, world.now);
    EXPECT_EQ(OrderEnd::NoAnswer, line().wait(order).end);
    line().close();
    line().wake();
    EXPECT_EQ(ErrorKind::Interrupted, line().open().kind);
    EXPECT_FALSE(line().open());
}

TEST_F(LineEvents, CountWhatGoesOverTheLine)
{
    shown("4x:1@3");
    open();
    run(1000);
    const Statistics statistics = line().statistics();
    EXPECT_EQ(world.frames.size(), statistics.total.requests);
    EXPECT_EQ(-1, statistics.total.station);
    ASSERT_EQ(1, statistics.stations.size());
    EXPECT_EQ(3, statistics.stations.at(0).station);
    EXPECT_GE(statistics.stations.at(0).good, statistics.total.requests - 1);
    EXPECT_GE(statistics.runningUs, 1000000);
    line().close();
    EXPECT_EQ(statistics.total.requests, line().statistics().total.requests) << "also behind close()";
}

TEST_F(LineEvents, SayWhatIsWrongWithSettingsAndPort)
{
    settings.baud = 299;
    EXPECT_EQ(ErrorKind::Usage, line().open().kind);
    EXPECT_THAT(line().open().text.toStdString(), HasSubstr("setting 'baud' is 300 to 4000000, not 299"));
}

TEST_F(LineEvents, SayThatThePortIsNotThere)
{
    world.isPortThere = false;
    EXPECT_EQ(ErrorKind::PortAbsent, line().open().kind);
    EXPECT_FALSE(line().isOpen());
    world.isPortThere = true;
    EXPECT_FALSE(line().open()) << "another try has another driver";
    EXPECT_EQ(ErrorKind::Usage, line().open().kind) << "it is open already";
}

TEST_F(LineEvents, SayThatThereIsNoSuchDriver)
{
    settings.driverFile = QString::fromLatin1("/nowhere/driver.so");
    EXPECT_EQ(ErrorKind::Driver, line().open().kind);
}

TEST(Listener, KeepsThePromiseOfEveryOrder)
{
    plc::test::SmallWorld world;
    LineSettings settings;
    settings.delivery = Delivery::Poll;
    settings.driverFile = QString::fromLatin1(PLC_DRIVER_PATH);
    const std::unique_ptr<Line> line(LineAccess::make(settings, plc::test::groundOf(world)));
    const VariableId id = line->addVariable("4x:1@3");
    std::future<OrderResult> left;
    {
        Listener listener(*line);
        int heard = 0;
        listener.onOrder = [&heard](const OrderResult &) { ++heard; };
        EXPECT_EQ(OrderEnd::NotTaken, listener.write(id, Value(1)).get().end) << "the line is not open";
        ASSERT_FALSE(line->open());
        std::future<OrderResult> written = listener.write(id, Value(1));
        std::future<OrderResult> read = listener.readOnce(id);
        for (int times = 0; heard < 2 && times < 100; ++times)
            line->poll(100);
        EXPECT_EQ(OrderEnd::Good, written.get().end);
        EXPECT_EQ(1, read.get().values.first().toInteger());
        world.dead = {3};
        left = listener.write(id, Value(2));
    }
    EXPECT_EQ(OrderEnd::Closed, left.get().end) << "the listener went before its end";
}

} // namespace
