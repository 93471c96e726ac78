// A session from its first order to its last: whose driver it takes, what its end does, who hears of what.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "played_link.h"
#include "runtime/line/failure.h"
#include "runtime/master/own_driver.h"
#include "runtime/panel/session.h"

namespace {

using namespace plc::runtime;
using plc::test::PlayedLink;
using std::chrono::milliseconds;
using std::chrono::seconds;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class SessionLifeTest : public ::testing::Test
{
protected:
    LinkFactory played()
    {
        return [this](DriverLibrary &, COM_INFO &, const LinkSettings &) {
            auto made = std::make_unique<PlayedLink>();
            link = made.get();
            return made;
        };
    }

    static Variable variable(const std::string &text) { return parseVariable(text, false); }
    Ticket write(const std::string &text, Time deadline = Time::max())
    {
        const Variable place = variable(text);
        return session.write(place, Values(static_cast<std::size_t>(place.count), 7), deadline);
    }
    OrderEnd endOf(Ticket ticket) const { return session.result(ticket).end; }
    void pump() { session.pump(link->clock); }

    static std::string refusalOf(const std::function<void()> &call)
    {
        try {
            call();
        } catch (const Failure &failure) {
            return failure.what();
        }
        return "nothing was refused";
    }

    DriverLibrary library{PLC_DRIVER_PATH};
    PlayedLink *link = nullptr;
    Session session{library, LinkSettings(), played()};
};

TEST_F(SessionLifeTest, TakesNoDriverThatAnotherSessionHas)
{
    EXPECT_THAT(refusalOf([this] { Session(library, LinkSettings(), played()); }),
                ::testing::HasSubstr("serves one line in its life"));
    DriverLibrary same(PLC_DRIVER_PATH);
    EXPECT_THAT(refusalOf([this, &same] { Session(same, LinkSettings(), played()); }),
                ::testing::HasSubstr("serves one line in its life"))
        << "loaded twice it is the same driver";
}

TEST(SessionLife, TakesNoDriverThatAnotherSessionHad)
{
    DriverLibrary library(PLC_DRIVER_PATH);
    const LinkFactory played = [](auto &, auto &, auto &) { return std::make_unique<PlayedLink>(); };
    Session(library, LinkSettings(), played).watch(parseVariable("4x:5@9", false));
    EXPECT_THROW(Session(library, LinkSettings(), played), Failure)
        << "it would read what the first one has watched";
}

TEST_F(SessionLifeTest, IsStartedOnce)
{
    session.start();
    EXPECT_THROW(session.start(), Failure);
    session.stop();
    EXPECT_THROW(session.start(), Failure);
    EXPECT_EQ(1, link->starts);
}

TEST_F(SessionLifeTest, CountsTheTimeFromItsStartToItsEnd)
{
    session.start();
    link->clock += std::chrono::seconds(5);
    EXPECT_EQ(std::chrono::seconds(5), session.runningFor());
    session.stop();
    link->clock += std::chrono::seconds(7);
    EXPECT_EQ(std::chrono::seconds(5), session.runningFor());
}

TEST_F(SessionLifeTest, HasItsFramesTracedOnlyForSomebody)
{
    session.start();
    EXPECT_FALSE(link->isTraced);
    OwnDriver fresh(PLC_DRIVER_PATH);
    Session traced(fresh.library(), LinkSettings(), played());
    traced.start([](const std::string &) {});
    EXPECT_TRUE(link->isTraced);
}

TEST_F(SessionLifeTest, EndsEveryOrderWhenItIsStopped)
{
    session.start();
    const Ticket onTheLine = write("4x:7@5");
    const Ticket withTheDriver = write("4x:70@6");
    const Ticket waiting = write("4x:7@5");
    const Ticket reading = session.read(variable("4x:9@8"));
    link->sent = {onTheLine};
    const int handedOver = link->handedOver;
    session.stop();
    EXPECT_EQ(OrderEnd::Unconfirmed, endOf(onTheLine));
    EXPECT_EQ(OrderEnd::Closed, endOf(withTheDriver));
    EXPECT_EQ(OrderEnd::Closed, endOf(waiting));
    EXPECT_EQ(OrderEnd::Closed, endOf(reading));
    EXPECT_EQ(handedOver, link->handedOver) << "nothing more is handed over";
}

TEST_F(SessionLifeTest, TellsTheEndThatAnOrderHadBeforeItIsStopped)
{
    session.start();
    const Ticket done = write("4x:7@5");
    const Ticket behind = write("4x:7@5");
    link->news.push_back(PlayedLink::endOf(done, OrderEnd::Good));
    const int handedOver = link->handedOver;
    session.stop();
    EXPECT_EQ(OrderEnd::Good, endOf(done));
    EXPECT_EQ(OrderEnd::Closed, endOf(behind));
    EXPECT_EQ(handedOver, link->handedOver) << "also where its turn has come with the last news";
}

TEST_F(SessionLifeTest, WaitsForNoOrderOnceItIsStopped)
{
    session.start();
    const Ticket ticket = write("4x:7@5");
    session.stop();
    EXPECT_EQ(OrderEnd::Closed, session.await(ticket).end);
    EXPECT_EQ(OrderEnd::Open, session.await(ticket + 1).end) << "nor for one that it has never had";
    EXPECT_THROW(write("4x:7@5"), Failure);
    EXPECT_THROW(session.read(variable("4x:7@5")), Failure);
}

TEST_F(SessionLifeTest, TellsOfARefusedOrderNobodyButThatOrder)
{
    session.start();
    const Ticket first = write("4x:7@5");
    Variable bad = variable("4x:7@5");
    bad.address = QString::fromLatin1("no address");
    const Ticket behind = session.write(bad, {1}); // not handed over yet: it must not pass the first
    link->news.push_back(PlayedLink::endOf(first, OrderEnd::Good));
    EXPECT_NO_THROW(pump());
    EXPECT_EQ(OrderEnd::NotTaken, endOf(behind));
    EXPECT_NO_THROW(session.stop());
}

TEST_F(SessionLifeTest, KeepsNoResultOfAnOrderThatItHasRefused)
{
    session.start();
    const Ticket before = write("4x:70@6");
    Variable bad = variable("4x:7@5");
    bad.address = QString::fromLatin1("no address");
    EXPECT_THROW(session.write(bad, {1}), Failure);
    EXPECT_EQ(OrderEnd::Open, endOf(before + 1)) << "nobody has its ticket";
}

TEST_F(SessionLifeTest, LosesNoNewsBehindAListenerThatThrows)
{
    session.start();
    const Ticket first = write("4x:7@5");
    const Ticket second = write("4x:70@6");
    bool isFirst = true;
    session.setListener([&isFirst](const News &) {
        if (std::exchange(isFirst, false))
            throw std::runtime_error("a listener that fails");
    });
    link->news = {};
    link->news.push_back(PlayedLink::endOf(first, OrderEnd::Good));
    link->news.push_back(PlayedLink::endOf(second, OrderEnd::Good));
    EXPECT_THROW(pump(), std::runtime_error);
    EXPECT_EQ(OrderEnd::Good, endOf(first));
    pump();
    EXPECT_EQ(OrderEnd::Good, endOf(second));
}

TEST_F(SessionLifeTest, TellsNewsInTheirOrderAlsoWhereAListenerPumps)
{
    session.start();
    std::vector<int> heard;
    session.setListener([this, &heard](const News &news) {
        const int station = news.station->station;
        if (heard.empty()) {
            News later;
            later.station.emplace();
            later.station->station = 9;
            link->news.push_back(std::move(later));
            heard.push_back(station);
            pump();
            return;
        }
        heard.push_back(station);
    });
    for (const int station : {5, 6}) {
        News item;
        item.station.emplace();
        item.station->station = station;
        link->news.push_back(std::move(item));
    }
    pump();
    EXPECT_THAT(heard, ElementsAre(5, 6, 9));
}

TEST_F(SessionLifeTest, KeepsNoMoreResultsThanItSays)
{
    session.start();
    const Ticket first = write("4x:7@5");
    link->news.push_back(PlayedLink::endOf(first, OrderEnd::Good));
    pump();
    session.setStationEnabled(6, false);
    for (std::size_t i = 1; i < OrderLedger::kMostResults; ++i)
        write("4x:7@6");
    EXPECT_EQ(OrderEnd::Good, endOf(first));
    write("4x:7@6");
    EXPECT_EQ(OrderEnd::Open, endOf(first)) << "4096 younger ones have ended";
}

TEST_F(SessionLifeTest, SwitchesNoStationsButThoseThatThereAre)
{
    for (const int station : {-1, 0, 248})
        EXPECT_THROW(session.setStationEnabled(station, false), Failure) << station;
    EXPECT_NO_THROW(session.setStationEnabled(1, false));
    EXPECT_NO_THROW(session.setStationEnabled(247, false));
}

TEST_F(SessionLifeTest, TakesNoWriteWithAnotherNumberOfValues)
{
    EXPECT_THROW(session.write(variable("4x:7:3@5"), {1, 2}), Failure);
    EXPECT_THROW(session.write(variable("4x:7:3@5"), {1, 2, 3, 4}), Failure);
    EXPECT_THROW(session.write(variable("4x:7@5"), {}), Failure);
    EXPECT_EQ(0, link->handedOver);
}

TEST_F(SessionLifeTest, TakesNoWriteThatIsLongerThanARequestWhereItMustGoOutInOne)
{
    OwnDriver fresh(PLC_DRIVER_PATH);
    LinkSettings unpacked;
    unpacked.maxBlock = 1;
    Session plain(fresh.library(), unpacked, played());
    const auto write = [&plain](const std::string &text, std::size_t count) {
        plain.write(variable(text), Values(count, 1));
    };
    EXPECT_NO_THROW(write("4x:0:123@5", 123));
    EXPECT_EQ(
        "variable '4x:200:124@5': with setting 'maxBlock' 1 a write goes out in one piece, of at most 123 "
        "values",
        refusalOf([&write] { write("4x:200:124@5", 124); }));
    EXPECT_NO_THROW(write("0x:0:1968@6", 1968));
    EXPECT_EQ(
        "variable '0x:3000:1969@6': with setting 'maxBlock' 1 a write goes out in one piece, of at most "
        "1968 values",
        refusalOf([&write] { write("0x:3000:1969@6", 1969); }));
}

TEST_F(SessionLifeTest, ForgetsTheDeadlinesOfOrdersThatHaveEnded)
{
    session.start();
    const Time last = link->clock + seconds(3600);
    link->isPortLost = true; // each order ends at once
    for (std::size_t i = 0; i < 2 * OrderLedger::kMostOpen; ++i)
        write("4x:7@5", link->clock + seconds(60));
    EXPECT_EQ(link->clock + seconds(60), session.nextDeadline());
    link->isPortLost = false;
    write("4x:7@5", last);
    EXPECT_EQ(last, session.nextDeadline()) << "they must not pile up until they come";
}

TEST_F(SessionLifeTest, SendsNothingOfAnOrderWhoseDeadlineHasComeBeforeItsTurn)
{
    session.start();
    const Ticket first = write("4x:7@5");
    const Ticket waiting = write("4x:7@5", link->clock + milliseconds(500));
    EXPECT_EQ(link->clock + milliseconds(500), session.nextDeadline());
    link->clock += milliseconds(499);
    pump();
    EXPECT_EQ(OrderEnd::Open, endOf(waiting));
    link->clock += milliseconds(1);
    pump();
    EXPECT_EQ(OrderEnd::Expired, endOf(waiting));
    link->news.push_back(PlayedLink::endOf(first, OrderEnd::Good));
    pump();
    EXPECT_EQ(1, link->handedOver) << "of the second one nothing is left";
    EXPECT_EQ(Time::max(), session.nextDeadline());
}

TEST_F(SessionLifeTest, TakesAnOrderBackThatTheDriverHasWhenItsDeadlineComes)
{
    session.start();
    const Time deadline = link->clock + seconds(1);
    const Ticket unsent = write("4x:7@5", deadline);
    const Ticket onTheLine = write("4x:70@6", deadline);
    const Ticket reading = session.read(variable("4x:9@8"), deadline);
    EXPECT_EQ(deadline, link->deadlines.at(unsent)) << "the link sends nothing from then on";
    link->sent = {onTheLine};
    link->clock = deadline;
    pump();
    EXPECT_EQ(OrderEnd::Expired, endOf(unsent));
    EXPECT_EQ(OrderEnd::Unconfirmed, endOf(onTheLine));
    EXPECT_EQ(OrderEnd::Expired, endOf(reading));
    EXPECT_THAT(link->withdrawn, ::testing::UnorderedElementsAre(unsent, onTheLine, reading));
    EXPECT_EQ(3, link->openOrders) << "the driver still holds them";
}

TEST_F(SessionLifeTest, TellsTheEndThatAnOrderHadBeforeItsDeadline)
{
    session.start();
    const Time deadline = link->clock + seconds(1);
    const Ticket done = write("4x:7@5", deadline);
    const Ticket justDone = write("4x:70@6", deadline);
    link->news.push_back(PlayedLink::endOf(done, OrderEnd::Good));
    link->newsOnceWithdrawn.push_back(PlayedLink::endOf(justDone, OrderEnd::Good));
    link->clock = deadline;
    pump();
    EXPECT_EQ(OrderEnd::Good, endOf(done));
    EXPECT_EQ(OrderEnd::Good, endOf(justDone));
    EXPECT_THAT(link->withdrawn, ElementsAre(justDone));
}

} // namespace
