// Orders of a line: each ends exactly once, and is told once.

#include <gmock/gmock.h>

#include <dirent.h>

#include <fstream>

#include "bus/heap_use.h"
#include "line_fixture.h"

namespace {

using namespace plcruntime;
using plc::test::ended;
using plc::test::LineTest;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class LineOrders : public LineTest
{};

QList<Value> values(std::initializer_list<int> numbers)
{
    QList<Value> list;
    for (const int number : numbers)
        list.append(Value(number));
    return list;
}

TEST_F(LineOrders, WritesAndTellsTheEndOnce)
{
    const VariableId id = add("4x:10@3");
    open();
    const OrderId order = line().write(id, Value(77));
    EXPECT_NE(0, order);
    EXPECT_TRUE(value(id).pendingWrite);
    EXPECT_EQ(OrderEnd::Open, line().result(order).end);
    EXPECT_EQ(order, line().result(order).order);
    EXPECT_EQ(OrderEnd::Good, line().wait(order).end);
    EXPECT_FALSE(value(id).pendingWrite);
    EXPECT_EQ(77, world.registers.at({3, 10}));
    run(500);
    EXPECT_EQ(1, timesHeard(ended(order, OrderEnd::Good)));
    const OrderResult result = line().result(order);
    EXPECT_TRUE(result.isWrite);
    EXPECT_EQ(id, result.variable);
    EXPECT_EQ(1, result.values.size());
    EXPECT_GT(result.endedUs, 0);
}

TEST_F(LineOrders, CallsAWritePendingUntilTheLastOfSeveralHasEnded)
{
    const VariableId id = add("4x:10@3");
    open();
    const OrderId first = line().write(id, Value(77));
    const OrderId second = line().write(id, Value(78));
    line().wait(first);
    ASSERT_EQ(OrderEnd::Open, line().result(second).end);
    EXPECT_TRUE(value(id).pendingWrite);
    line().wait(second);
    EXPECT_FALSE(value(id).pendingWrite);
}

TEST_F(LineOrders, SaysWhyAnOrderHasFailed)
{
    const VariableId id = add("4x:10@3");
    world.dead = {3};
    open();
    const OrderResult failed = line().wait(line().readOnce(id));
    EXPECT_THAT(failed.reason.toStdString(), ::testing::HasSubstr("no answer from station 3 after "));
    EXPECT_THAT(failed.reason.toStdString(),
                ::testing::HasSubstr(std::to_string(settings.timeoutMs) + " ms"));
    world.dead.clear();
    EXPECT_EQ("", line().wait(line().readOnce(id)).reason.toStdString());
}

TEST_F(LineOrders, TellsHowManyFramesWereSent)
{
    settings.retries = 3;
    const VariableId id = add("4x:10@3");
    open();
    EXPECT_EQ(1, line().wait(line().write(id, Value(77))).attempts);
    world.dead = {3};
    const OrderResult failed = line().wait(line().write(id, Value(78)));
    EXPECT_EQ(OrderEnd::NoAnswer, failed.end);
    EXPECT_EQ(4, failed.attempts);
}

TEST_F(LineOrders, AreWaitedForAsLongAsAsked)
{
    settings.timeoutMs = 1000;
    const VariableId id = add("4x:10@3");
    world.dead = {3};
    open();
    const OrderId order = line().write(id, Value(77));
    const plc::runtime::Time start = world.now;
    EXPECT_EQ(OrderEnd::Open, line().wait(order, 30).end);
    EXPECT_EQ(start + std::chrono::milliseconds(30), world.now);
    EXPECT_EQ(OrderEnd::Open, line().wait(order, 0).end);
    EXPECT_EQ(start + std::chrono::milliseconds(30), world.now);
}

TEST_F(LineOrders, ReadsOnceAndHandsTheValuesOver)
{
    world.registers[{3, 11}] = 9;
    const VariableId id = add("4x:10:2@3");
    open();
    const OrderId order = line().readOnce(id);
    const OrderResult result = line().wait(order);
    EXPECT_EQ(OrderEnd::Good, result.end);
    ASSERT_EQ(2, result.values.size());
    EXPECT_EQ(9, result.values.at(1).toInteger());
    EXPECT_EQ(Quality::Good, value(id).quality) << "also on no screen";
    EXPECT_EQ(2, value(id).values.size());
}

TEST_F(LineOrders, RefusesWhatCannotBeDoneAndSendsNothingOfIt)
{
    const VariableId three = add("4x:10:3@3");
    const VariableId input = add("3x:10@3");
    Error error;
    EXPECT_EQ(0, line().write(three, values({1, 2, 3}), -1, &error));
    EXPECT_EQ(ErrorKind::NotOpen, error.kind);
    open();
    EXPECT_EQ(0, line().write(three, values({1, 2}), -1, &error));
    EXPECT_EQ(ErrorKind::Usage, error.kind);
    EXPECT_EQ(0, line().write(three, values({1, 2, 3, 4}), -1, &error));
    EXPECT_EQ(0, line().write(three, QList<Value>(), -1, &error));
    EXPECT_EQ(0, line().write(input, Value(1), -1, &error));
    EXPECT_EQ(0, line().write(4711, Value(1), -1, &error));
    EXPECT_EQ(0, line().readOnce(add("4x:1@0"), -1, &error));
    run(300);
    EXPECT_THAT(world.frames, IsEmpty());
    EXPECT_NE(0, line().write(three, values({1, 2, 3}), -1, &error));
    EXPECT_EQ(ErrorKind::None, error.kind);
    line().close();
    EXPECT_EQ(0, line().write(three, values({1, 2, 3}), -1, &error));
    EXPECT_EQ(ErrorKind::NotOpen, error.kind);
}

TEST_F(LineOrders, SendsNothingOfAnOrderWhoseDeadlineComesFirst)
{
    const VariableId dead = add("4x:1@9");
    const VariableId id = add("4x:10@3");
    world.dead = {9};
    open();
    line().readOnce(dead); // takes the line for 100 ms
    run(20);
    const OrderId order = line().write(id, Value(1), 30);
    run(1000);
    EXPECT_EQ(OrderEnd::Expired, line().result(order).end);
    EXPECT_EQ(0, world.written(3));
    EXPECT_EQ(1, timesHeard(ended(order, OrderEnd::Expired)));
}

TEST_F(LineOrders, SendsNothingBehindADeadlineAlsoWhereNobodyPolls)
{
    settings.timeoutMs = 1000;
    const VariableId dead = add("4x:1@9");
    const VariableId id = add("4x:10@3");
    world.dead = {9};
    open();
    const OrderId slow = line().readOnce(dead);
    run(20);
    const OrderId order = line().write(id, Value(1), 100);
    line().wait(slow); // wakes nobody at the deadline of the other one but the thread of the line
    run(100);
    EXPECT_EQ(OrderEnd::Expired, line().result(order).end);
    EXPECT_EQ(0, world.written(3));
}

TEST_F(LineOrders, CallsAWriteUnconfirmedThatIsOutWhenItsDeadlineComes)
{
    settings.timeoutMs = 1000;
    settings.policiesOff = PolicyEchoCheck; // the write goes out at once
    settings.policiesOff = PolicyEchoCheck; // the write goes out at once
    const VariableId id = add("4x:10@9");
    world.dead = {9};
    open();
    const OrderId order = line().write(id, Value(1), 300);
    run(290);
    EXPECT_EQ(OrderEnd::Open, line().result(order).end);
    run(20);
    EXPECT_EQ(OrderEnd::Unconfirmed, line().result(order).end);
    EXPECT_EQ(1, world.written(9));
    world.dead.clear();
    run(5000);
    EXPECT_EQ(1, world.written(9)) << "nothing of it is sent later";
    EXPECT_EQ(1, timesHeard(ended(order, OrderEnd::Unconfirmed)));
}

TEST_F(LineOrders, EndsEveryOpenOrderWhenItIsClosed)
{
    settings.timeoutMs = 1000;
    settings.policiesOff = PolicyEchoCheck; // the write goes out at once
    const VariableId dead = add("4x:10@9");
    const VariableId behind = add("4x:10@9");
    world.dead = {9};
    open();
    const OrderId sent = line().write(dead, Value(1));
    run(50);
    const OrderId waiting = line().write(behind, Value(2));
    line().close();
    EXPECT_EQ(OrderEnd::Unconfirmed, line().result(sent).end);
    EXPECT_EQ(OrderEnd::Closed, line().result(waiting).end);
    EXPECT_EQ(1, timesHeard(ended(sent, OrderEnd::Unconfirmed)));
    EXPECT_EQ(1, timesHeard(ended(waiting, OrderEnd::Closed)));
    EXPECT_EQ(OrderEnd::Closed, line().wait(waiting, 1000).end) << "without waiting";
    world.dead.clear();
    open();
    run(3000);
    EXPECT_EQ(1, world.written(9)) << "an order that was given up is not sent by the next open()";
    const OrderId next = line().write(behind, Value(3));
    EXPECT_NE(waiting, next);
    EXPECT_EQ(OrderEnd::Good, line().wait(next).end);
}

TEST_F(LineOrders, EndsOrdersOfAStationThatIsSwitchedOffAndWhileThePortIsLost)
{
    const VariableId id = add("4x:10@3");
    open();
    EXPECT_FALSE(line().setStationEnabled(3, false));
    const OrderId off = line().write(id, Value(1));
    EXPECT_EQ(OrderEnd::SwitchedOff, line().result(off).end) << "at once";
    EXPECT_FALSE(line().setStationEnabled(3, true));
    world.isPortThere = false;
    run(100);
    const OrderId lost = line().write(id, Value(1));
    EXPECT_EQ(OrderEnd::PortLost, line().result(lost).end);
    world.isPortThere = true;
    run(100);
    EXPECT_EQ(OrderEnd::Good, line().wait(line().write(id, Value(2))).end);
    EXPECT_EQ(2, world.registers.at({3, 10}));
    EXPECT_EQ(1, world.written(3));
    EXPECT_EQ(1, timesHeard(ended(off, OrderEnd::SwitchedOff)));
    EXPECT_EQ(1, timesHeard(ended(lost, OrderEnd::PortLost)));
}

TEST_F(LineOrders, KeepsTheResultsOf4096YoungerOnes)
{
    const VariableId id = add("4x:10@3");
    open();
    EXPECT_FALSE(line().setStationEnabled(3, false));
    const OrderId first = line().write(id, Value(1));
    for (int i = 1; i < 4096; ++i) {
        line().write(id, Value(1));
        line().poll(0);
    }
    EXPECT_EQ(OrderEnd::SwitchedOff, line().result(first).end);
    line().write(id, Value(1));
    EXPECT_EQ(OrderEnd::Open, line().result(first).end);
    EXPECT_EQ(0, line().result(first).order);
}

TEST_F(LineOrders, AreRefusedWhereTheEndsOf4096WaitToBeTold)
{
    const VariableId id = add("4x:10@3");
    open();
    EXPECT_FALSE(line().setStationEnabled(3, false));
    Error error;
    for (int i = 0; i < 4096; ++i)
        ASSERT_NE(0, line().write(id, Value(1), -1, &error));
    EXPECT_EQ(0, line().write(id, Value(1), -1, &error));
    EXPECT_EQ(ErrorKind::Full, error.kind);
    line().poll(0);
    EXPECT_NE(0, line().write(id, Value(1), -1, &error));
}

int openFiles()
{
    int count = 0;
    DIR *const folder = opendir("/proc/self/fd");
    while (readdir(folder))
        ++count;
    closedir(folder);
    return count;
}

int driversMapped()
{
    std::ifstream maps("/proc/self/maps");
    int count = 0;
    for (std::string text; std::getline(maps, text);)
        count += text.find("plcdriver") != std::string::npos ? 1 : 0;
    return count;
}

TEST(SeveralLines, AreOpenedAndClosedAHundredTimesWithADriverEach)
{
    constexpr int kLines = 4;
    std::vector<plc::test::SmallWorld> worlds(kLines);
    LineSettings settings;
    settings.delivery = Delivery::Poll;
    settings.driverFile = QString::fromLatin1(PLC_DRIVER_PATH);
    std::vector<std::unique_ptr<Line>> lines;
    for (plc::test::SmallWorld &world : worlds)
        lines.emplace_back(LineAccess::make(settings, plc::test::groundOf(world)));
    const VariableId id = lines[0]->addVariable("4x:5@1");
    for (std::size_t i = 1; i < kLines; ++i)
        ASSERT_EQ(id, lines[i]->addVariable("4x:5@1"));
    int files = 0;
    int maps = 0;
    std::int64_t heap = 0;
    for (int times = 0; times < 100; ++times) {
        for (std::size_t i = 0; i < kLines; ++i) {
            const Error error = lines[i]->open();
            ASSERT_FALSE(error) << error.text.toStdString();
        }
        for (std::size_t i = 0; i < kLines; ++i) {
            const int number = times * kLines + static_cast<int>(i);
            ASSERT_EQ(OrderEnd::Good, lines[i]->wait(lines[i]->write(id, Value(number))).end);
            ASSERT_EQ(number, (worlds[i].registers[{1, 5}])) << "on its own line";
        }
        for (const std::unique_ptr<Line> &line : lines)
            line->close();
        files = times == 0 ? openFiles() : files;
        maps = times == 0 ? driversMapped() : maps;
        heap = times == 20 ? plc::bus::heapInUse() : heap;
    }
    constexpr std::int64_t kMostGrowth = 256 * 1024; // results of 320 orders a line
    EXPECT_LE(plc::bus::heapInUse() - heap, kMostGrowth);
    EXPECT_EQ(files, openFiles());
    EXPECT_EQ(maps, driversMapped());
}

} // namespace
