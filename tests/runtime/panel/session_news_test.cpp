// A session on a link that the test plays: what it makes of news that come late or not yet.

#include <gtest/gtest.h>

#include <memory>

#include "played_link.h"
#include "runtime/master/request_ids.h"
#include "runtime/panel/session.h"

namespace {

using namespace plc::runtime;
using std::chrono::seconds;

using plc::test::PlayedLink;

class SessionNewsTest : public ::testing::Test
{
protected:
    SessionNewsTest()
        : library(PLC_DRIVER_PATH), session(library, LinkSettings(), [this](auto &, auto &, const auto &) {
              auto made = std::make_unique<PlayedLink>();
              link = made.get();
              return made;
          })
    {}

    /// News that a station has gone offline, or come back.
    static News changeOf(int station, bool offline)
    {
        News item;
        item.station.emplace();
        item.station->station = station;
        item.station->offline = offline;
        return item;
    }

    void tellPort(PortNews::Change change, const std::set<Ticket> &sent = {})
    {
        News item;
        item.port.emplace();
        item.port->change = change;
        item.port->sent = sent;
        if (change != PortNews::Change::Back)
            item.port->reason = change == PortNews::Change::Lost ? "gone" : "in use";
        link->news.push_back(std::move(item));
        session.pump(seconds(100));
    }

    void tell(int station, bool offline)
    {
        link->news.push_back(changeOf(station, offline));
        session.pump(seconds(100));
    }

    Ticket writeSingles(int count, int station)
    {
        const std::string text = "4x_single:0:" + std::to_string(count) + "@" + std::to_string(station);
        return session.write(parseVariable(text, false), Values(static_cast<std::size_t>(count), 7));
    }

    DriverLibrary library;
    PlayedLink *link = nullptr;
    Session session;
};

TEST_F(SessionNewsTest, GoesByWhatItIsToldOfAStation)
{
    tell(5, true);
    EXPECT_TRUE(session.isOffline(5));
    EXPECT_FALSE(session.isOffline(6));
    tell(5, false);
    EXPECT_FALSE(session.isOffline(5));
}

TEST_F(SessionNewsTest, EndsTheOrdersOfAStationThatGoesOfflineAndNoOthers)
{
    const Ticket sent = writeSingles(1, 5);
    const Ticket behind = session.write(parseVariable("4x:70@5", false), {2});
    const Ticket other = writeSingles(1, 6);
    link->sent = {sent};
    tell(6, false);
    EXPECT_EQ(OrderEnd::Open, session.result(other).end) << "it has come back";
    tell(5, true);
    EXPECT_EQ(OrderEnd::Unconfirmed, session.result(sent).end);
    EXPECT_EQ(OrderEnd::Offline, session.result(behind).end);
    EXPECT_EQ(OrderEnd::Open, session.result(other).end);
    EXPECT_EQ(std::vector<Ticket>{sent}, link->withdrawn);
}

TEST_F(SessionNewsTest, DoesNotBelieveNewsFromBeforeTheUserSwitchedTheStation)
{
    int heard = 0;
    session.setListener([&heard](const News &news) { heard += news.station ? 1 : 0; });
    for (const bool enabled : {false, true}) {
        link->newsOnceSwitched.push_back(changeOf(5, true));
        session.setStationEnabled(5, enabled);
        session.pump(seconds(100));
        EXPECT_FALSE(session.isOffline(5)) << "nothing would ever bring it back";
    }
    EXPECT_EQ(0, heard);
    tell(5, true);
    EXPECT_TRUE(session.isOffline(5));
    EXPECT_EQ(1, heard);
}

TEST_F(SessionNewsTest, BelievesNewsOfOtherStationsThatComeWhileTheUserSwitchesAStation)
{
    link->newsOnceSwitched.push_back(changeOf(6, true));
    session.setStationEnabled(5, false);
    EXPECT_TRUE(session.isOffline(6));
    EXPECT_EQ(StationState::SwitchedOff, session.stationState(5));
}

TEST_F(SessionNewsTest, ForgetsThatAStationWasOfflineWhenTheUserSwitchesIt)
{
    for (const bool enabled : {false, true}) {
        tell(5, true);
        session.setStationEnabled(5, enabled);
        EXPECT_EQ(enabled ? StationState::On : StationState::SwitchedOff, session.stationState(5));
        session.setStationEnabled(5, true);
    }
}

TEST_F(SessionNewsTest, CallsAValueStaleThatWasReadBeforeItsStationWasSwitchedOrCameBack)
{
    const int switched = session.watch(parseVariable("4x:7@5", false));
    const int back = session.watch(parseVariable("4x:7@6", false));
    const int other = session.watch(parseVariable("4x:7@7", false));
    for (int i = 0; i < 3; ++i) {
        News item;
        item.transaction.emplace();
        item.transaction->request.hostId = kCyclicHostId;
        item.transaction->request.hostSubId = i;
        item.transaction->cause = AttemptEnd::Good;
        item.transaction->done = true;
        item.transaction->endedAt = seconds(90); // ten seconds ago
        link->news.push_back(std::move(item));
    }
    session.pump(seconds(100));
    EXPECT_EQ(VariableState::Good, session.status(switched).state)
        << "nobody knows yet how long a scan takes";
    session.setStationEnabled(5, true);
    tell(6, true);
    EXPECT_EQ(VariableState::Offline, session.status(back).state);
    tell(6, false);
    EXPECT_EQ(VariableState::Stale, session.status(switched).state);
    EXPECT_EQ(VariableState::Stale, session.status(back).state);
    EXPECT_EQ(VariableState::Good, session.status(other).state);
    EXPECT_EQ(seconds(10), session.status(other).age);
}

TEST_F(SessionNewsTest, EndsTheOrdersThatTheDriverHasDroppedBeforeTheNewsOfItCame)
{
    const Ticket ticket = writeSingles(3, 5);
    link->wasOffline = true;
    session.setStationEnabled(5, true);
    EXPECT_EQ(OrderEnd::Offline, session.result(ticket).end);
    EXPECT_EQ(std::vector<Ticket>{ticket}, link->withdrawn);
    EXPECT_FALSE(session.isOffline(5)) << "that was before";
}

TEST_F(SessionNewsTest, TellsOfAWriteOnTheLineThatItIsNotConfirmed)
{
    const Ticket onTheLine = writeSingles(1, 5);
    const Ticket behind = session.write(parseVariable("4x:70@5", false), {2});
    link->sent = {onTheLine};
    session.setStationEnabled(5, false);
    EXPECT_EQ(OrderEnd::Unconfirmed, session.result(onTheLine).end);
    EXPECT_EQ(OrderEnd::Dropped, session.result(behind).end);
}

TEST_F(SessionNewsTest, TellsOfAWriteOnTheLineThatItIsNotConfirmedWhenThePortGoes)
{
    const Ticket onTheLine = writeSingles(1, 5);
    const Ticket behind = session.write(parseVariable("4x:70@6", false), {2});
    tellPort(PortNews::Change::Lost, {onTheLine});
    EXPECT_EQ(OrderEnd::Unconfirmed, session.result(onTheLine).end);
    EXPECT_EQ(OrderEnd::PortLost, session.result(behind).end);
    EXPECT_EQ((std::vector<Ticket>{onTheLine, behind}), link->withdrawn);
    EXPECT_EQ(1, link->lossesTaken);
}

TEST_F(SessionNewsTest, EndsOrdersAtOnceWhileThePortIsLostAndTakesThemAgainWhenItIsBack)
{
    tellPort(PortNews::Change::Lost);
    tellPort(PortNews::Change::Refused);
    EXPECT_EQ("in use", session.portLost());
    EXPECT_EQ(1, link->lossesTaken) << "it was lost once";
    EXPECT_EQ(OrderEnd::PortLost, session.result(writeSingles(1, 5)).end);
    EXPECT_EQ(OrderEnd::PortLost, session.result(session.read(parseVariable("4x:7", false))).end);
    EXPECT_EQ(0, link->handedOver);
    tellPort(PortNews::Change::Back);
    EXPECT_EQ("", session.portLost());
    EXPECT_EQ(OrderEnd::Open, session.result(writeSingles(1, 5)).end);
    EXPECT_EQ(1, link->handedOver);
}

TEST_F(SessionNewsTest, EndsAnOrderThatComesBeforeTheNewsOfTheLoss)
{
    link->isPortLost = true;
    const Ticket ticket = writeSingles(1, 5);
    EXPECT_EQ(OrderEnd::PortLost, session.result(ticket).end);
    tellPort(PortNews::Change::Lost);
    EXPECT_EQ(OrderEnd::PortLost, session.result(ticket).end);
    EXPECT_TRUE(link->withdrawn.empty()) << "the driver has never had it";
}

TEST_F(SessionNewsTest, ShowsEveryVariableAsLostWithItsValueUntilThePortIsBack)
{
    const int read = session.watch(parseVariable("4x:7@5", false));
    const int unread = session.watch(parseVariable("4x:7@6", false));
    const int off = session.watch(parseVariable("4x:7@7", false));
    session.setStationEnabled(7, false);
    tell(6, true);
    News item;
    item.transaction.emplace();
    item.transaction->request.hostId = kCyclicHostId;
    item.transaction->request.hostSubId = 0;
    item.transaction->cause = AttemptEnd::Good;
    item.transaction->done = true;
    item.transaction->endedAt = seconds(90); // ten seconds ago
    link->news.push_back(std::move(item));
    tellPort(PortNews::Change::Lost);
    EXPECT_EQ(VariableState::PortLost, session.status(read).state);
    EXPECT_TRUE(session.status(read).hasValue);
    EXPECT_EQ(seconds(10), session.status(read).age);
    EXPECT_EQ(VariableState::PortLost, session.status(unread).state);
    EXPECT_EQ(VariableState::SwitchedOff, session.status(off).state) << "nobody wants it to be asked";
    tellPort(PortNews::Change::Back);
    EXPECT_EQ(VariableState::Stale, session.status(read).state) << "until it is read again";
    EXPECT_EQ(VariableState::Offline, session.status(unread).state);
}

TEST_F(SessionNewsTest, TellsTheEndOfAWriteThatWasConfirmedBeforeItsStationWasSwitchedOff)
{
    const Ticket ticket = writeSingles(1, 5);
    News item;
    OrderResult good;
    good.end = OrderEnd::Good;
    item.orders.push_back({ticket, good});
    link->newsOnceSwitched.push_back(std::move(item));
    session.setStationEnabled(5, false);
    EXPECT_EQ(OrderEnd::Good, session.result(ticket).end);
}

TEST_F(SessionNewsTest, TellsTheEndOfAWriteThatHadTakenItsStationOfflineBeforeItWasSwitchedOn)
{
    const Ticket ticket = writeSingles(1, 5);
    News item;
    OrderResult failed;
    failed.end = OrderEnd::NoReply;
    item.orders.push_back({ticket, failed});
    link->newsOnceSwitched.push_back(std::move(item));
    link->wasOffline = true;
    session.setStationEnabled(5, true);
    EXPECT_EQ(OrderEnd::NoReply, session.result(ticket).end) << "it was sent";
}

TEST_F(SessionNewsTest, BelievesWhatHadHappenedBeforeTheUserSwitchesTheStationOn)
{
    const Ticket ticket = writeSingles(3, 5);
    for (const bool offline : {true, false})
        link->news.push_back(changeOf(5, offline));
    session.setStationEnabled(5, true);
    EXPECT_EQ(OrderEnd::Offline, session.result(ticket).end) << "the driver had dropped it";
}

TEST_F(SessionNewsTest, HoldsNobodyUpWithAnOrderThatTheDriverRefuses)
{
    Variable bad = parseVariable("4x:7@5", false);
    bad.address = QString::fromLatin1("no address");
    EXPECT_THROW(session.write(bad, {1}), Failure);
    const Ticket next = session.write(parseVariable("4x:7@5", false), {2});
    EXPECT_EQ(2, link->handedOver) << "to the same place";
    EXPECT_EQ(OrderEnd::Open, session.result(next).end);
}

TEST_F(SessionNewsTest, KeepsTheOrdersOfAStationThatIsSwitchedOnOnceMore)
{
    const Ticket ticket = writeSingles(3, 5);
    session.setStationEnabled(5, true);
    EXPECT_EQ(OrderEnd::Open, session.result(ticket).end);
}

TEST_F(SessionNewsTest, HandsOrdersOverBetweenTwoRequests)
{
    writeSingles(3, 5);
    EXPECT_EQ(1, link->handedOver);
}

TEST_F(SessionNewsTest, HandsTheDriverNoMoreThanItsListTakesBesideWhatWasWithdrawn)
{
    const Ticket big = writeSingles(1000, 2);
    EXPECT_EQ(1, link->openOrders);
    session.setStationEnabled(2, false);
    EXPECT_EQ(std::vector<Ticket>{big}, link->withdrawn);
    EXPECT_EQ(OrderEnd::Dropped, session.result(big).end);

    writeSingles(500, 1);
    session.pump(seconds(100));
    EXPECT_EQ(1, link->openOrders) << "the driver still holds the first one, and has no room for the second";

    News item;
    item.released = {big};
    link->news.push_back(std::move(item));
    session.pump(seconds(100));
    EXPECT_EQ(1, link->openOrders) << "the second one";
    session.setStationEnabled(1, false);
    EXPECT_EQ(1u, link->withdrawn.size()) << "it was with the driver";
}

} // namespace
