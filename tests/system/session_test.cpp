// The panel's view of a link, in one process: the library loaded by name, a plcstation on the other end.

#include "runtime/panel/session.h"

#include <QCoreApplication>

#include "programs.h"
#include "runtime/line/serial_port.h"

namespace {

using namespace plc::test;
using namespace plc::runtime;

Surroundings realPorts()
{
    Surroundings surroundings;
    surroundings.openPort = [](const LineSettings &line) { return std::make_unique<SerialPort>(line); };
    return surroundings;
}

class SessionTest : public ::testing::Test
{
protected:
    SessionTest()
    {
        static int argc = 1;
        static char name[] = "session_test";
        static char *argv[] = {name, nullptr};
        static QCoreApplication application(argc, argv);
        settings.baud = 115200;
        settings.timeout = std::chrono::milliseconds(300);
    }

    void begin(const Words &stationArguments)
    {
        station = startStation(stationArguments);
        settings.port = station->terminal();
        session = std::make_unique<Session>(driver, settings, realPorts());
    }

    Variable variable(const std::string &text) { return parseVariable(text, settings.oneBased()); }
    Ticket write(const std::string &text, Values values) { return session->write(variable(text), values); }
    Values readBack(const std::string &text)
    {
        EXPECT_EQ(OrderEnd::Good, session->await(session->read(variable(text))).end);
        return session->values(variable(text));
    }

    DriverLibrary driver{PLC_DRIVER_PATH};
    LinkSettings settings;
    std::unique_ptr<Server> station;
    std::unique_ptr<Session> session;
};

TEST_F(SessionTest, EndsEveryOneOfManyWritesInOrder)
{
    begin({});
    session->start();
    std::vector<Ticket> tickets;
    for (std::uint32_t i = 0; i < 300; ++i)
        tickets.push_back(write("4x:" + std::to_string(100 + i % 7), {i}));
    for (const Ticket ticket : tickets)
        EXPECT_EQ(OrderEnd::Good, session->await(ticket).end);
    EXPECT_EQ((Values{294, 295, 296, 297, 298, 299, 293}), readBack("4x:100:7"));
}

TEST_F(SessionTest, ReportsAWriteOfManyPiecesOnce)
{
    settings.maxBlock = 2;
    begin({});
    session->start();
    EXPECT_EQ(OrderEnd::Good, session->await(write("4x:100:9", {1, 2, 3, 4, 5, 6, 7, 8, 9})).end);
    EXPECT_EQ((Values{1, 2, 3, 4, 5, 6, 7, 8, 9}), readBack("4x:100:9"));
}

TEST_F(SessionTest, TellsRefusalFromSilence)
{
    begin({"--size", "1000"});
    session->start();
    const Ticket refused = write("4x:1000", {1});
    const Ticket silent = write("4x:1@9", {1});
    const Ticket good = write("4x:1", {1});
    EXPECT_EQ(OrderEnd::Refused, session->await(refused).end);
    EXPECT_EQ(2, session->result(refused).exceptionCode);
    EXPECT_EQ(OrderEnd::NoReply, session->await(silent).end);
    EXPECT_EQ(OrderEnd::Good, session->await(good).end);
}

TEST_F(SessionTest, EndsTheWritesOfAStationThatIsSwitchedOff)
{
    begin({});
    session->setStationEnabled(9, false);
    session->start();
    const Ticket dropped = write("4x:1@9", {1});
    session->setStationEnabled(9, false);
    EXPECT_EQ(OrderEnd::Dropped, session->result(dropped).end);
    EXPECT_EQ(OrderEnd::Good, session->await(write("4x:1", {1})).end);
    EXPECT_EQ(0u, session->statistics().stations.count(9)) << "nothing was sent to it";
}

TEST_F(SessionTest, FailsOrdersForAStationThatDoesNotAnswerAtOnceUntilItIsBack)
{
    settings.timeout = std::chrono::milliseconds(100);
    settings.retries = 0;
    settings.offline.firstProbe = std::chrono::milliseconds(200);
    begin({"-a", "1,9"});
    session->watch(variable("4x:0@1"));
    const int watched = session->watch(variable("4x:0@9"));
    station->process().signal(SIGSTOP);
    session->start();
    while (!session->isOffline(9))
        session->pump(steadyNow() + std::chrono::milliseconds(20));
    EXPECT_EQ(VariableState::Offline, session->status(watched).state);
    const Ticket lost = write("4x:1@9", {1});
    EXPECT_EQ(OrderEnd::Offline, session->result(lost).end) << "without waiting";
    station->process().signal(SIGCONT);
    while (session->isOffline(9))
        session->pump(steadyNow() + std::chrono::milliseconds(20));
    EXPECT_EQ(OrderEnd::Good, session->await(write("4x:2@9", {2})).end);
    EXPECT_EQ((Values{0, 2}), readBack("4x:1:2@9")) << "the lost one was not written later on";
}

TEST_F(SessionTest, WritesABitFromTheMirrorOnlyWhenItsRegisterIsKnown)
{
    settings.options = plc::kOptionBitFromMirror;
    begin({});
    session->start();
    ASSERT_EQ(OrderEnd::Good, session->await(write("4x:35", {0xFFF0})).end);
    EXPECT_THROW(write("4x_bit:35.0", {1}), Failure);
    EXPECT_EQ((Values{0xFFF0}), readBack("4x:35"));
    EXPECT_EQ(OrderEnd::Good, session->await(write("4x_bit:35.0", {1})).end);
    EXPECT_EQ((Values{0xFFF1}), readBack("4x:35"));
    EXPECT_THROW(write("4x_bit:36.0", {1}), Failure);
}

TEST_F(SessionTest, ForgetsAResultThatNobodyAsksForAnyMore)
{
    begin({});
    session->start();
    const Ticket ticket = write("4x:1", {1});
    ASSERT_EQ(OrderEnd::Good, session->await(ticket).end);
    session->forget(ticket);
    EXPECT_EQ(OrderEnd::Open, session->result(ticket).end);
}

TEST_F(SessionTest, ServesWritesDuringThePauseBetweenScans)
{
    settings.pollInterval = std::chrono::hours(1);
    begin({});
    session->watch(variable("4x:0"));
    session->start();
    EXPECT_EQ(OrderEnd::Good, session->await(write("4x:0", {7})).end);
    EXPECT_EQ((Values{7}), readBack("4x:0"));
}

TEST_F(SessionTest, KeepsTheStateOfEachVariable)
{
    begin({"--size", "1000", "--counters", "4x:0"});
    const int good = session->watch(variable("4x:0:250"));
    const int refused = session->watch(variable("4x:900:150"));
    const int silent = session->watch(variable("4x:0@9"));
    EXPECT_EQ(VariableState::NeverRead, session->status(good).state);
    session->start();
    while (session->status(silent).scans == 0 || session->status(refused).scans == 0)
        session->pump(steadyNow() + std::chrono::milliseconds(20));
    EXPECT_EQ(VariableState::Good, session->status(good).state);
    EXPECT_TRUE(session->status(good).hasValue);
    // The first of its two requests is answered, the second one is not.
    EXPECT_EQ(VariableState::Refused, session->status(refused).state);
    EXPECT_FALSE(session->status(refused).hasValue);
    EXPECT_EQ(VariableState::NoAnswer, session->status(silent).state);
}

TEST_F(SessionTest, EndsEverythingWhenThePortIsLost)
{
    begin({});
    session->start();
    station->process().signal(SIGSTOP);
    const Ticket first = write("4x:1", {1});
    const Ticket second = write("4x:1", {2});
    station->process().signal(SIGKILL);
    // The frame of the first one may have gone out or not; the second one waits for it.
    EXPECT_THAT(session->await(first).end, ::testing::AnyOf(OrderEnd::PortLost, OrderEnd::Unconfirmed));
    EXPECT_EQ(OrderEnd::PortLost, session->await(second).end);
    // The second one may have been refused before the session heard of the loss.
    const auto limit = steadyNow() + kPatience;
    while (session->portLost().empty() && steadyNow() < limit)
        session->pump(steadyNow() + std::chrono::milliseconds(20));
    EXPECT_FALSE(session->portLost().empty());
}

TEST_F(SessionTest, RefusesAWriteThatNoFrameCanCarry)
{
    settings.maxBlock = 1;
    begin({});
    EXPECT_THROW(write("4x:0:124", Values(124, 1)), Failure);
    EXPECT_THROW(write("0x:0:1969", Values(1969, 1)), Failure);
    session->start();
    EXPECT_EQ(OrderEnd::Good, session->await(write("4x:0:123", Values(123, 1))).end);
}

} // namespace
