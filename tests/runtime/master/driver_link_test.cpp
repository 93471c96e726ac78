// The real driver, loaded as a runtime loads it, on a line that the test makes: stations that answer after 20
// ms or not at all, and a clock that jumps from event to event.

#include "runtime/master/driver_link.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <future>
#include <memory>
#include <thread>

#include "runtime/master/request_ids.h"
#include "runtime/master/trace_line.h"
#include "runtime/panel/registration.h"
#include "support/hex.h"

namespace {

using namespace plc::runtime;
using namespace plc::test;
using std::chrono::milliseconds;
using std::chrono::seconds;
using ::testing::ElementsAre;

/// "05", ... as it stands in a frame.
std::string byteText(int value)
{
    return toHex(QByteArray(1, static_cast<char>(value)));
}

struct Sent
{
    Time at;
    QByteArray frame;
    int station() const { return static_cast<unsigned char>(frame.at(0)); }
    int function() const { return static_cast<unsigned char>(frame.at(1)); }
};

class DriverLinkTest : public ::testing::Test, protected NewsSink
{
protected:
    DriverLinkTest() : library(PLC_DRIVER_PATH), words(50501, 0)
    {
        info.maxBlock = 100;
        info.stationMode = 1;
        info.writeMode = 2;
        settings.timeout = milliseconds(200);
        settings.retries = 1;
        settings.policies.echoCheck = false; // most tests of writes begin with the write; see EchoCheckTest
    }

    void setUpDriver()
    {
        info.retryLimit = settings.retries;
        library.setComInfo(&info);
        library.flashLocalRegister(nullptr, words.data(), nullptr);
    }

    DriverLink &link()
    {
        if (!link_) {
            setUpDriver();
            NewsSink &sink = *this;
            link_ = std::make_unique<DriverLink>(library, info, settings, sink);
            link_->begin(now, reads_, false);
        }
        return *link_;
    }

    void put(News &&news) override
    {
        if (news.frame)
            traces.push_back(traceLine(*news.frame));
        if (news.station && onChange)
            std::exchange(onChange, nullptr)();
        if (news.transaction) {
            transactions.push_back(*news.transaction);
            carried.emplace_back(news.requestsSoFar, news.bytesSoFar);
        }
        if (news.station)
            stations.push_back(*news.station);
        for (const OrderNews &order : news.orders)
            orders.push_back(order);
        released.insert(released.end(), news.released.begin(), news.released.end());
        if (news.port)
            ports.push_back(*news.port);
    }

    bool takeBack(int station) override
    {
        takenBack.push_back(station);
        toldBefore = stations.size();
        return takesBackItsGoing;
    }

    /// A register of @p station, or some, are read over and over.
    void watch(int station, int address = 7, int count = 1)
    {
        RW_VAR read;
        read.hostId = kCyclicHostId;
        read.regType = 5;
        read.address = address;
        read.station = station;
        read.count = count;
        library.addListReadVar(&read);
        ++reads_[station];
    }

    void write(int ticket, int station, int address, int value)
    {
        QByteArray bytes;
        bytes.append(static_cast<char>(value & 0xFF)).append(static_cast<char>(value >> 8));
        ASSERT_GT(library.setRegisterData(QString(), 5, QString::number(address), station, &bytes, 1,
                                          kOrderHostId, ticket),
                  0);
    }

    /// What the station answers; empty for nothing.
    QByteArray answerTo(const Sent &request) const
    {
        if (std::count(dead.begin(), dead.end(), request.station()) > 0)
            return QByteArray();
        if (std::count(refusing.begin(), refusing.end(), request.station()) > 0)
            return withCrc((byteText(request.station()) + " 83 " + refusal).c_str());
        if (request.function() == 6)
            return request.frame;
        return withCrc((byteText(request.station()) + " 03 02 0007").c_str());
    }

    void losePort()
    {
        replyAt_.reset();
        link().portLost(now, "gone");
    }

    void findPort() { link().portFound(now); }

    /// How order @p ticket has ended, as often as that was told.
    std::vector<OrderEnd> endsOf(int ticket) const
    {
        std::vector<OrderEnd> ends;
        for (const OrderNews &order : orders) {
            if (order.ticket == ticket)
                ends.push_back(order.result.end);
        }
        return ends;
    }

    void runFor(Time duration)
    {
        const Time end = now + duration;
        while (now < end) {
            QByteArray arrived;
            if (replyAt_ && *replyAt_ <= now) {
                arrived = reply_;
                replyAt_.reset();
            }
            const Instruction todo = link().advance(now, arrived);
            if (!todo.send.isEmpty()) {
                sent.push_back({now, todo.send});
                reply_ = (echoes ? sent.back().frame : noise) + answerTo(sent.back());
                if (!reply_.isEmpty())
                    replyAt_ = now + milliseconds(20);
            }
            now = std::min({todo.wakeAt, replyAt_.value_or(Time::max()), end});
        }
    }

    std::vector<Sent> sentTo(int station, Time since = Time::zero()) const
    {
        std::vector<Sent> frames;
        for (const Sent &frame : sent) {
            if (frame.station() == station && frame.at >= since)
                frames.push_back(frame);
        }
        return frames;
    }

    DriverLibrary library;
    std::vector<unsigned short> words;
    COM_INFO info{};
    LinkSettings settings;
    Time now = seconds(1);
    bool echoes = false;       ///< the line hands back what is sent
    QByteArray noise;          ///< comes before each answer
    std::vector<int> dead;     ///< stations that do not answer
    std::vector<int> refusing; ///< stations that answer with an exception
    std::string refusal = "02";
    std::vector<Sent> sent;
    std::vector<TransactionReport> transactions;
    std::vector<std::pair<std::uint64_t, std::uint64_t>>
        carried; ///< requests and bytes, with each transaction
    std::vector<std::string> traces;
    std::vector<StationNews> stations;
    std::vector<OrderNews> orders;
    std::vector<Ticket> released;
    std::vector<PortNews> ports;
    std::vector<int> takenBack;     ///< stations of which news are taken back
    std::size_t toldBefore = 0;     ///< changes of stations that were told before that
    bool takesBackItsGoing = false; ///< news that a station had gone offline were among what is taken back
    std::function<void()> onChange; ///< called once, before the next change of a station is told

private:
    std::unique_ptr<DriverLink> link_;
    std::map<int, int> reads_;
    std::optional<Time> replyAt_;
    QByteArray reply_;
};

TEST_F(DriverLinkTest, TakesAStationOfflineAfterThreeFailedRequests)
{
    setUpDriver();
    watch(1);
    watch(2);
    dead = {2};
    runFor(seconds(5));
    EXPECT_EQ(6u, sentTo(2).size()) << "three requests, each sent twice";
    ASSERT_EQ(1u, stations.size());
    EXPECT_EQ(2, stations[0].station);
    EXPECT_TRUE(stations[0].offline);
    EXPECT_EQ(3, stations[0].failures);
    EXPECT_EQ(3, stations[0].failures);
    EXPECT_EQ(seconds(10), stations[0].nextProbe);
    EXPECT_GT(sentTo(1, now - seconds(1)).size(), 20u) << "the other one gets all the time";
}

TEST_F(DriverLinkTest, TracesFramesWithTheTimeSinceTheLineWasOpened)
{
    setUpDriver();
    watch(17, 100);
    now = seconds(500);
    link().setTrace(true);
    runFor(milliseconds(30));
    ASSERT_LE(2u, traces.size());
    // 38.5 bits of silence at 19200 baud, and an answer 20 ms later.
    EXPECT_EQ("     0.002005 -> 11 03 00 64 00 01 C7 45", traces[0]);
    EXPECT_EQ("     0.022005 <- 11 03 02 00 07 38 45", traces[1]);
}

TEST_F(DriverLinkTest, ProbesAnOfflineStationWithSingleFramesAtGrowingIntervals)
{
    setUpDriver();
    watch(1);
    watch(2, 300);
    dead = {2};
    runFor(seconds(5));
    sent.clear();
    runFor(seconds(300));
    const std::vector<Sent> probes = sentTo(2);
    ASSERT_EQ(6u, probes.size()) << "after 10, 20, 40, 60, 60 and 60 s";
    for (const Sent &probe : probes)
        EXPECT_EQ(withCrc("02 03 012C 0001"), probe.frame);
    const int intervals[] = {20, 40, 60, 60, 60};
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_GE(probes[i + 1].at - probes[i].at, seconds(intervals[i]));
        EXPECT_LT(probes[i + 1].at - probes[i].at, seconds(intervals[i] + 1));
    }
    EXPECT_EQ(1u, stations.size());
}

TEST_F(DriverLinkTest, BringsAStationBackWhenItAnswersAProbe)
{
    setUpDriver();
    watch(1);
    watch(2);
    dead = {2};
    runFor(seconds(5));
    dead.clear();
    runFor(seconds(15));
    ASSERT_EQ(2u, stations.size());
    EXPECT_EQ(2, stations[1].station);
    EXPECT_FALSE(stations[1].offline);
    EXPECT_EQ(10, std::lround(plc::runtime::seconds(stations[1].lasted)));
    EXPECT_GT(sentTo(2, now - seconds(1)).size(), 10u) << "it is read again";
}

TEST_F(DriverLinkTest, TakesARefusedProbeForASignOfLife)
{
    setUpDriver();
    watch(1);
    watch(2);
    dead = {2};
    runFor(seconds(5));
    dead.clear();
    refusing = {2};
    runFor(seconds(15));
    ASSERT_EQ(2u, stations.size());
    EXPECT_FALSE(stations[1].offline);
}

TEST_F(DriverLinkTest, GivesTheOthersTheirTurnsWhileAStationIsBusy)
{
    settings.policies.offline = false;
    setUpDriver();
    watch(1);
    watch(2);
    refusing = {2};
    refusal = "06";
    runFor(seconds(5));
    const std::vector<Sent> asked = sentTo(2);
    ASSERT_GT(asked.size(), 20u);
    for (std::size_t i = 1; i < asked.size(); ++i)
        EXPECT_GE(asked[i].at - asked[i - 1].at, milliseconds(100)) << "the turnaround delay";
    EXPECT_GT(sentTo(1).size(), 100u) << "asked in between, some 30 ms each";
}

TEST_F(DriverLinkTest, LeavesAStationAloneThatIsBusyForEver)
{
    setUpDriver();
    watch(1);
    watch(2);
    refusing = {2};
    refusal = "06";
    runFor(seconds(5));
    EXPECT_EQ(3u, sentTo(2).size()) << "three requests, each sent once";
    ASSERT_EQ(1u, stations.size());
    EXPECT_TRUE(stations[0].offline);
    refusing = {};
    runFor(seconds(10));
    ASSERT_EQ(2u, stations.size());
    EXPECT_FALSE(stations[1].offline);
}

TEST_F(DriverLinkTest, AsksADeadStationForEverWithoutThatPolicy)
{
    settings.policies.offline = false;
    setUpDriver();
    watch(1);
    watch(2);
    dead = {2};
    runFor(seconds(30));
    EXPECT_TRUE(stations.empty());
    EXPECT_GT(sentTo(2).size(), 40u);
}

TEST_F(DriverLinkTest, SendsNothingOfAPriorityLevelToAnOfflineStation)
{
    // The driver serves the levels of stations that are switched off.
    std::vector<Variable> variables;
    for (const char *text : {"4x:7@1", "4x:200@1", "4x:400@1", "4x:300@2", "3x:7@2"})
        variables.push_back(parseVariable(text, false));
    PriorityRow row;
    for (int i = 0; i < 10; ++i)
        row.texts.append(QString());
    row.texts[8] = QLatin1String("4");
    row.texts[9] = QLatin1String("4x300");
    setUpDriver();
    registerVariables(library, &info, settings, variables, {row});
    dead = {2};
    runFor(seconds(5));
    ASSERT_EQ(1u, stations.size());
    runFor(seconds(4));
    const std::size_t before = sentTo(2).size();
    const auto withheld = [this] {
        return std::count_if(transactions.begin(), transactions.end(), [](const TransactionReport &report) {
            return report.cause == AttemptEnd::Withheld;
        });
    };
    EXPECT_GT(withheld(), 10) << "the level is served";
    EXPECT_EQ(before, sentTo(2).size());
    EXPECT_GT(sentTo(1, now - seconds(1)).size(), 10u);
}

TEST_F(DriverLinkTest, LeavesTheLineInPeaceWhenOnlyWithheldReadsAreLeft)
{
    setUpDriver();
    watch(2);
    dead = {2};
    runFor(seconds(9));
    ASSERT_EQ(1u, stations.size());
    const std::size_t before = sent.size();
    runFor(seconds(1));
    EXPECT_EQ(before, sent.size());
}

TEST_F(DriverLinkTest, ProbesAllStationsAtOnceWhenTheWireIsBack)
{
    setUpDriver();
    for (const int station : {1, 2, 3, 4})
        watch(station);
    runFor(seconds(1));
    dead = {1, 2, 3, 4};
    runFor(seconds(200));
    ASSERT_EQ(4u, stations.size());
    dead.clear();
    while (stations.size() == 4)
        runFor(seconds(1));
    runFor(seconds(1));
    EXPECT_EQ(8u, stations.size());
}

TEST_F(DriverLinkTest, SendsAWithdrawnWriteNeverAgain)
{
    setUpDriver();
    watch(1);
    runFor(seconds(1));
    write(1, 2, 50, 0x1111);
    link().setStationEnabled(2, false);
    link().withdraw({1});
    link().setStationEnabled(2, true);
    write(2, 2, 60, 0x2222);
    runFor(seconds(1));
    ASSERT_EQ(1u, sentTo(2).size());
    EXPECT_EQ(withCrc("02 06 003C 2222"), sentTo(2)[0].frame);
}

TEST_F(DriverLinkTest, KnowsWhichWritesMayHaveBeenDone)
{
    setUpDriver();
    watch(1);
    runFor(seconds(1));
    dead = {2};
    write(1, 2, 50, 0x1111);
    write(2, 2, 60, 0x2222);
    link().setOpenOrders(2);
    runFor(milliseconds(100));
    ASSERT_EQ(1u, sentTo(2).size());
    EXPECT_THAT(link().unconfirmed(), ElementsAre(1)) << "the other one waits for its turn";
    runFor(milliseconds(2000));
    EXPECT_EQ(2u, orders.size());
    EXPECT_TRUE(link().unconfirmed().empty()) << "their ends are told";
}

TEST_F(DriverLinkTest, KnowsThatAWriteThatWaitsForTheLineHasNotBeenDone)
{
    setUpDriver();
    dead = {1};
    watch(1);
    runFor(seconds(1)); // the line is listened to for a late answer again and again
    while (link().statistics().total.timeouts < 2 || transactions.empty())
        runFor(milliseconds(10));
    write(1, 2, 50, 0x1111);
    link().setOpenOrders(1);
    for (int i = 0; i < 1000 && sentTo(2).empty(); ++i) {
        EXPECT_TRUE(link().unconfirmed().empty());
        runFor(milliseconds(1));
    }
    EXPECT_THAT(link().unconfirmed(), ElementsAre(1));
}

TEST_F(DriverLinkTest, SendsNothingOfAnOrderFromItsDeadlineOn)
{
    setUpDriver();
    dead = {1};
    watch(1);
    runFor(milliseconds(50)); // a read waits for its time-out
    link().setDeadline(1, now + milliseconds(100));
    write(1, 2, 50, 0x1111);
    link().setOpenOrders(1);
    runFor(seconds(5));
    EXPECT_TRUE(sentTo(2).empty());
    EXPECT_THAT(endsOf(1), ElementsAre(OrderEnd::Expired));
}

TEST_F(DriverLinkTest, RepeatsNoWriteBehindItsDeadline)
{
    setUpDriver();
    watch(1);
    dead = {2};
    runFor(milliseconds(50));
    link().setDeadline(1, now + milliseconds(150)); // less than its time-out
    write(1, 2, 50, 0x1111);
    link().setOpenOrders(1);
    runFor(seconds(5));
    EXPECT_EQ(1u, sentTo(2).size());
    EXPECT_THAT(endsOf(1), ElementsAre(OrderEnd::Unconfirmed));
}

TEST_F(DriverLinkTest, ChoosesNoRequestWhileAnOrderIsHandedOver)
{
    setUpDriver();
    watch(1);
    runFor(seconds(1));
    const std::size_t before = sent.size();
    std::promise<void> handing;
    std::promise<void> enough;
    std::thread session([this, &handing, &enough] {
        link().betweenRequests([&handing, &enough] {
            handing.set_value();
            enough.get_future().wait();
        });
    });
    handing.get_future().wait();
    std::atomic<bool> ended{false};
    std::thread line([this, &ended] {
        runFor(seconds(1));
        ended = true;
    });
    std::this_thread::sleep_for(milliseconds(100)); // the simulated second is over much sooner
    EXPECT_FALSE(ended);
    enough.set_value();
    line.join();
    session.join();
    EXPECT_GT(sent.size(), before);
}

TEST_F(DriverLinkTest, LetsNoWriteOutOnAReadOnlyLineWhoeverOrdersIt)
{
    settings.readOnly = true;
    link();
    watch(1);
    write(4, 1, 10, 5);
    QByteArray one(1, '\1');
    ASSERT_GT(library.setRegisterData(QString(), 3, QString::fromLatin1("12.3"), 1, &one, 1, kOrderHostId, 5),
              0);
    runFor(seconds(3));
    EXPECT_THAT(endsOf(4), ElementsAre(OrderEnd::NotTaken));
    EXPECT_THAT(endsOf(5), ElementsAre(OrderEnd::NotTaken)) << "its register was read, and not written back";
    EXPECT_GT(sent.size(), 10u) << "the reads go on";
    for (const Sent &frame : sent)
        EXPECT_EQ(3, frame.function());
}

TEST_F(DriverLinkTest, TellsWhetherAStationThatIsSwitchedWasOffline)
{
    setUpDriver();
    watch(1);
    watch(2);
    dead = {2};
    while (stations.empty())
        runFor(milliseconds(10));
    EXPECT_TRUE(link().setStationEnabled(2, true));
    EXPECT_FALSE(link().setStationEnabled(2, true));
    EXPECT_FALSE(link().setStationEnabled(1, false));
}

TEST_F(DriverLinkTest, TellsThatASwitchedStationWasOfflineAlsoWhereItIsBackAndNobodyHasTakenTheNews)
{
    watch(2);
    runFor(seconds(1));
    takesBackItsGoing = true;
    EXPECT_TRUE(link().setStationEnabled(2, true)) << "who waits for the end of an order would wait for ever";
}

TEST_F(DriverLinkTest, SendsNothingToAStationThatIsSwitchedOffWhileItsRequestWaitsForTheLine)
{
    setUpDriver();
    watch(1);
    watch(2);
    dead = {1};
    while (transactions.empty() || transactions.back().request.station != 1)
        runFor(milliseconds(10));
    runFor(milliseconds(10)); // now the line is listened to for a late answer, with the next read chosen
    const std::size_t before = sentTo(2).size();
    link().setStationEnabled(2, false);
    runFor(seconds(3));
    EXPECT_EQ(before, sentTo(2).size());
    link().setStationEnabled(2, true);
    runFor(seconds(3));
    EXPECT_GT(sentTo(2).size(), before);
}

TEST_F(DriverLinkTest, TellsOfAWriteThatWasHalfSentWhenItsStationWasSwitchedOffThatItIsNotConfirmed)
{
    constexpr int kSingles = 8;
    setUpDriver();
    watch(1);
    runFor(seconds(1));
    QByteArray two("\x11\x11\x22\x22");
    ASSERT_GT(library.setRegisterData(QString(), kSingles, "50", 2, &two, 2, kOrderHostId, 1), 0);
    link().setOpenOrders(1);
    while (transactions.back().request.station != 2)
        runFor(milliseconds(1));
    link().setStationEnabled(2, false); // the second register waits for a silent line
    runFor(seconds(1));
    EXPECT_EQ(1u, sentTo(2).size());
    ASSERT_EQ(1u, orders.size());
    EXPECT_EQ(OrderEnd::Unconfirmed, orders[0].result.end);
}

TEST_F(DriverLinkTest, TellsOfAWriteThatWasNotSentThatItsStationIsSwitchedOff)
{
    setUpDriver();
    watch(1);
    runFor(seconds(1));
    write(1, 2, 50, 0x1111);
    write(2, 2, 60, 0x2222);
    link().setOpenOrders(2);
    while (transactions.back().request.station != 2)
        runFor(milliseconds(1));
    link().setStationEnabled(2, false); // the second one waits for a silent line
    runFor(seconds(1));
    ASSERT_EQ(2u, orders.size());
    EXPECT_EQ(OrderEnd::Good, orders[0].result.end);
    EXPECT_EQ(OrderEnd::Dropped, orders[1].result.end);
}

TEST_F(DriverLinkTest, TellsWhenTheDriverHoldsAWithdrawnWriteNoMore)
{
    setUpDriver();
    watch(1);
    runFor(seconds(1));
    link().setStationEnabled(2, false);
    write(1, 2, 50, 0x1111);
    write(2, 2, 51, 0x1111);
    link().withdraw({1, 2});
    EXPECT_TRUE(released.empty());
    runFor(seconds(1));
    EXPECT_THAT(released, ElementsAre(1, 2));
    runFor(seconds(1));
    EXPECT_EQ(2u, released.size()) << "once";
    EXPECT_EQ(0u, sentTo(2).size());
}

TEST_F(DriverLinkTest, TakesBackWhatItHasToldOfAStationThatTheUserSwitches)
{
    setUpDriver();
    link().setStationEnabled(2, false);
    link().setStationEnabled(3, true);
    EXPECT_THAT(takenBack, ElementsAre(2, 3));
}

TEST_F(DriverLinkTest, LetsTheUserSwitchNoStationWhileNewsOfItsChangeAreOnTheirWay)
{
    // News that were put behind the switch would be believed, although they are from before it.
    setUpDriver();
    watch(1);
    watch(2);
    dead = {2};
    std::future<bool> wasOffline;
    onChange = [this, &wasOffline] {
        wasOffline = std::async(std::launch::async, [this] { return link().setStationEnabled(2, true); });
        wasOffline.wait_for(milliseconds(100)); // it would be done much sooner, and take nothing back
    };
    while (stations.empty())
        runFor(milliseconds(10));
    EXPECT_TRUE(wasOffline.get());
    EXPECT_THAT(takenBack, ElementsAre(2));
    EXPECT_EQ(1u, toldBefore);
}

TEST_F(DriverLinkTest, TellsWhenTheNextProbeIs)
{
    settings.offline.firstProbe = milliseconds(500);
    setUpDriver();
    watch(1);
    watch(2);
    dead = {2};
    runFor(seconds(5));
    ASSERT_FALSE(stations.empty());
    EXPECT_EQ(3, stations[0].failures);
    EXPECT_EQ(milliseconds(500), stations[0].nextProbe);
}

TEST_F(DriverLinkTest, GoesOnProbingManyStationsWithSingleRegisters)
{
    // The driver serves five one-shot reads in a row and then a cyclic read; what it passes over it drops.
    setUpDriver();
    watch(1);
    for (int station = 2; station <= 21; ++station)
        watch(station, 300, 20);
    for (int station = 1; station <= 21; ++station)
        dead.push_back(station);
    runFor(seconds(300));
    ASSERT_EQ(21u, stations.size());
    dead.erase(dead.begin()); // the line is back, so that all are probed in a row
    runFor(seconds(100));
    ASSERT_EQ(22u, stations.size());
    sent.clear();
    runFor(seconds(3600));
    for (const int station : dead) {
        const std::vector<Sent> probes = sentTo(station);
        // A time-out and a guard of 200 ms each: 20 probes take 8 s, so that a round takes 80 s.
        EXPECT_GT(probes.size(), 40u) << station;
        EXPECT_LT(probes.size(), 50u) << station;
        const auto whole = std::count_if(probes.begin(), probes.end(), [](const Sent &probe) {
            constexpr int kLowByteOfTheQuantity = 5;
            return probe.frame.at(kLowByteOfTheQuantity) == 20;
        });
        EXPECT_LT(whole, 20) << station;
    }
}

TEST_F(DriverLinkTest, RepeatsNothingForAStationThatAnswersOnlyProbes)
{
    setUpDriver();
    watch(1);
    watch(2);
    dead = {2};
    runFor(seconds(5));
    dead.clear();
    while (stations.size() < 2)
        runFor(milliseconds(10));
    dead = {2};
    sent.clear();
    runFor(seconds(3));
    EXPECT_EQ(1u, sentTo(2).size()) << "once, although one repeat is allowed";
    ASSERT_EQ(3u, stations.size());
    EXPECT_EQ(1, stations[2].failures);
    EXPECT_EQ(seconds(20), stations[2].nextProbe);
}

TEST_F(DriverLinkTest, ForgetsWithdrawnWritesOnceTheDriverCannotHoldThemAnyMore)
{
    // A new write under an old number, which a session never gives out twice, shows that the number is
    // forgotten.
    setUpDriver();
    watch(1);
    link().setStationEnabled(2, false);
    write(1, 2, 50, 0x1111);
    link().withdraw({1});
    runFor(seconds(1));
    link().setStationEnabled(2, true);
    write(1, 2, 60, 0x2222);
    runFor(seconds(1));
    EXPECT_EQ(1u, sentTo(2).size());
}

TEST_F(DriverLinkTest, AsksAStationAnewThatTheUserSwitchesOffAndOn)
{
    setUpDriver();
    watch(1);
    watch(2);
    dead = {2};
    runFor(seconds(5));
    dead.clear();
    link().setStationEnabled(2, false);
    runFor(seconds(20));
    EXPECT_EQ(6u, sentTo(2).size()) << "no probe while the user does not want it";
    link().setStationEnabled(2, true);
    runFor(seconds(1));
    EXPECT_GT(sentTo(2).size(), 10u);
    EXPECT_EQ(1u, stations.size()) << "nothing came back: nobody had been told that it was gone for good";
}

TEST_F(DriverLinkTest, RepeatsARequestAlsoInThePauseBetweenTwoScans)
{
    settings.pollInterval = seconds(10);
    setUpDriver();
    watch(1);
    runFor(seconds(1));
    dead = {2};
    link().setOpenOrders(1);
    write(1, 2, 50, 0x1111);
    runFor(milliseconds(150));
    ASSERT_EQ(1u, sentTo(2).size());
    link().setOpenOrders(0);
    runFor(seconds(1));
    EXPECT_EQ(2u, sentTo(2).size());
    ASSERT_EQ(1u, orders.size());
    EXPECT_EQ(OrderEnd::NoReply, orders[0].result.end);
}

TEST_F(DriverLinkTest, CountsNoReadsOfOfflineStationsInAScan)
{
    settings.pollInterval = seconds(1);
    setUpDriver();
    watch(1);
    watch(2);
    dead = {2};
    runFor(seconds(9));
    ASSERT_EQ(1u, stations.size());
    runFor(seconds(20));
    EXPECT_THAT(sentTo(1, now - seconds(10)).size(), ::testing::AllOf(::testing::Ge(9u), ::testing::Le(11u)));
}

TEST_F(DriverLinkTest, SendsNothingWhileThePortIsLostAndNeverWhatWasOrderedBefore)
{
    setUpDriver();
    watch(1);
    runFor(milliseconds(100));
    for (int ticket = 1; ticket <= 30; ++ticket)
        write(ticket, 1, 100 + 2 * ticket, ticket);
    link().setOpenOrders(30);
    losePort();
    link().takeLoss({1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15,
                     16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30});
    sent.clear();
    runFor(seconds(5));
    EXPECT_TRUE(sent.empty());
    EXPECT_EQ(30u, released.size()) << "the driver has given them all back";
    link().setOpenOrders(0);
    findPort();
    runFor(seconds(5));
    EXPECT_GT(sent.size(), 50u);
    for (const Sent &frame : sent)
        EXPECT_EQ(3, frame.function()) << "a write of before";
    EXPECT_TRUE(stations.empty()) << "no station is to blame";
}

TEST_F(DriverLinkTest, LetsALinkWithoutAPortSleepOnceTheDriverHoldsNothing)
{
    setUpDriver();
    watch(1);
    losePort();
    link().takeLoss({});
    runFor(milliseconds(10));
    EXPECT_EQ(Time::max(), link().advance(now, QByteArray()).wakeAt);
    link().withdraw({4711});
    link().advance(now, QByteArray());
    EXPECT_THAT(released, ElementsAre(4711)) << "whatever is withdrawn meanwhile";
}

TEST_F(DriverLinkTest, TellsTheLossOfThePortWithTheWritesThatWereSent)
{
    setUpDriver();
    dead = {2};
    write(1, 2, 100, 1);
    write(2, 3, 200, 1);
    link().setOpenOrders(2);
    runFor(milliseconds(100));
    ASSERT_EQ(1u, sent.size());
    losePort();
    ASSERT_EQ(1u, ports.size());
    EXPECT_EQ(PortNews::Change::Lost, ports[0].change);
    EXPECT_EQ("gone", ports[0].reason);
    EXPECT_THAT(endsOf(1), ElementsAre(OrderEnd::Unconfirmed)) << "told with its transaction, and once";
    EXPECT_TRUE(ports[0].sent.empty()) << "its end is told";
    EXPECT_TRUE(endsOf(2).empty());
    link().portRefused("in use");
    runFor(milliseconds(1500));
    findPort();
    ASSERT_EQ(3u, ports.size());
    EXPECT_EQ(PortNews::Change::Refused, ports[1].change);
    EXPECT_EQ("in use", ports[1].reason);
    EXPECT_EQ(PortNews::Change::Back, ports[2].change);
    EXPECT_EQ(milliseconds(1500), ports[2].lasted);
}

// The port may be back before the session has heard that it was lost.
TEST_F(DriverLinkTest, SendsNoOrderUntilTheLossHasBeenDigestedThoughThePortIsBack)
{
    setUpDriver();
    watch(1);
    write(1, 1, 100, 1);
    link().setOpenOrders(1);
    losePort();
    losePort();
    findPort();
    int handedOver = 0;
    EXPECT_FALSE(link().betweenRequests([&handedOver] { ++handedOver; }));
    runFor(seconds(2));
    EXPECT_GT(sentTo(1).size(), 20u) << "cyclic reads go on";
    link().takeLoss({1});
    EXPECT_FALSE(link().betweenRequests([&handedOver] { ++handedOver; })) << "it was lost twice";
    link().takeLoss({});
    EXPECT_EQ(0, handedOver);
    EXPECT_TRUE(link().betweenRequests([&handedOver] { ++handedOver; }));
    EXPECT_EQ(1, handedOver);
    write(2, 1, 100, 2);
    runFor(seconds(2));
    const auto writes =
        std::count_if(sent.begin(), sent.end(), [](const Sent &s) { return s.function() == 6; });
    EXPECT_EQ(1, writes) << "the new one";
    EXPECT_THAT(endsOf(2), ElementsAre(OrderEnd::Good));
}

/// Order 1 writes two registers in two pieces, and the port is lost when the first one has ended.
class SplitWriteAtALoss : public DriverLinkTest
{
protected:
    void loseAfterTheFirstPieceTo(int station)
    {
        info.options = plc::kOptionSingleRegisters;
        setUpDriver();
        QByteArray bytes(4, '\x01');
        ASSERT_GT(library.setRegisterData(QString(), 5, QString::fromLatin1("100"), station, &bytes, 2,
                                          kOrderHostId, 1),
                  0);
        link().setOpenOrders(1);
        while (transactions.empty()) {
            runFor(milliseconds(1));
            ASSERT_LT(now, seconds(10));
        }
        ASSERT_EQ(1u, sent.size()) << "the second piece waits for the line";
        losePort();
    }
};

TEST_F(SplitWriteAtALoss, IsNotConfirmed)
{
    loseAfterTheFirstPieceTo(1);
    EXPECT_THAT(endsOf(1), ElementsAre(OrderEnd::Unconfirmed));
}

// The driver takes each piece of a broadcast for done.
TEST_F(SplitWriteAtALoss, IsNotConfirmedAsABroadcastEither)
{
    settings.stations[9].pause = milliseconds(50);
    loseAfterTheFirstPieceTo(0);
    EXPECT_THAT(endsOf(1), ElementsAre(OrderEnd::Unconfirmed));
}

TEST_F(DriverLinkTest, KnowsAtTheLossThatAPieceOfAWriteWasSentThoughAnotherRequestIsOnTheLine)
{
    info.options = plc::kOptionSingleRegisters;
    setUpDriver();
    watch(1);
    // The driver serves a cyclic read after five writes.
    QByteArray bytes(14, '\x01');
    ASSERT_GT(
        library.setRegisterData(QString(), 5, QString::fromLatin1("100"), 1, &bytes, 7, kOrderHostId, 1), 0);
    link().setOpenOrders(1);
    while (sent.empty() || sent.back().function() != 3) {
        runFor(milliseconds(1));
        ASSERT_LT(now, seconds(10));
    }
    ASSERT_EQ(6u, sent.size());
    losePort();
    ASSERT_EQ(1u, ports.size());
    EXPECT_THAT(ports[0].sent, ElementsAre(1));
    runFor(seconds(1));
    EXPECT_THAT(endsOf(1), ElementsAre(OrderEnd::Unconfirmed)) << "the driver gives back the rest";
    EXPECT_EQ(6u, sent.size());
}

TEST_F(DriverLinkTest, LeavesTheStateOfStationsAsItIsWhenThePortIsLost)
{
    setUpDriver();
    watch(1);
    watch(2);
    dead = {2};
    runFor(seconds(5));
    ASSERT_EQ(1u, stations.size());
    losePort();
    link().takeLoss({});
    runFor(seconds(60));
    findPort();
    sent.clear();
    runFor(seconds(1));
    EXPECT_EQ(1u, sentTo(2).size()) << "its probe was due";
    EXPECT_GT(sentTo(1).size(), 5u);
    EXPECT_EQ(1u, stations.size());
}

TEST_F(DriverLinkTest, GivesAStationItsOwnTimeOutAndRepeats)
{
    settings.stations[2].timeout = milliseconds(50);
    settings.stations[2].retries = 3;
    settings.policies.offline = false;
    setUpDriver();
    watch(1);
    watch(2);
    watch(3);
    dead = {1, 2};
    runFor(seconds(5));
    int ended = 0;
    for (const TransactionReport &report : transactions) {
        if (report.request.station == 3)
            continue;
        ++ended;
        EXPECT_EQ(report.request.station == 2 ? 4 : 2, report.attempts);
    }
    EXPECT_GT(ended, 4);
    const std::vector<Sent> repeats = sentTo(2);
    EXPECT_LT(repeats.at(1).at - repeats.at(0).at, milliseconds(70));
    EXPECT_GT(sentTo(1).at(1).at - sentTo(1).at(0).at, milliseconds(200));
}

TEST_F(DriverLinkTest, ReckonsAProbeWithTheTimeOutOfItsStation)
{
    settings.timeout = seconds(5);
    settings.stations[2].timeout = milliseconds(50);
    settings.offline.firstProbe = seconds(1);
    settings.offline.longestProbe = seconds(1);
    setUpDriver();
    watch(1);
    watch(2);
    dead = {2};
    runFor(seconds(100));
    EXPECT_GT(sentTo(2).size(), 60u) << "a tenth of the time is enough for a probe in each second";
}

TEST_F(DriverLinkTest, TellsWhatHasBeenCountedToAnotherThread)
{
    setUpDriver();
    watch(1);
    runFor(seconds(1));
    std::uint64_t seen = 0;
    std::thread other([this, &seen] {
        while (seen < 50)
            seen = link().statisticsSoFar().stations[1].good;
    });
    while (link().statistics().total.good < 100)
        runFor(seconds(1));
    other.join();
    EXPECT_GE(seen, 50u);
    EXPECT_FALSE(link().statisticsSoFar().lineErrors) << "nobody has told any";
    link().noteLineErrors(LineErrors{1, 2, 3, 4});
    ASSERT_TRUE(link().statisticsSoFar().lineErrors);
    EXPECT_EQ(2u, link().statisticsSoFar().lineErrors->framing);
}

TEST_F(DriverLinkTest, TellsWithEachTransactionWhatTheLineHasCarried)
{
    setUpDriver();
    watch(1);
    runFor(seconds(1));
    ASSERT_FALSE(carried.empty());
    // 8 bytes out and 7 in; each is answered at once.
    for (std::size_t i = 0; i < carried.size(); ++i)
        EXPECT_EQ(std::make_pair(std::uint64_t{i + 1}, std::uint64_t{15 * (i + 1)}), carried[i]);
}

class EchoCheckTest : public DriverLinkTest
{
protected:
    EchoCheckTest() { settings.policies.echoCheck = true; }

    /// What went out, as "2:06" for function 6 to station 2.
    std::vector<std::string> functions(Time since = Time::zero()) const
    {
        std::vector<std::string> all;
        for (const Sent &frame : sent) {
            if (frame.at >= since)
                all.push_back(std::to_string(frame.station()) + ":" + byteText(frame.function()));
        }
        return all;
    }

    void writeCoil(int ticket, int station, int address)
    {
        QByteArray bytes(1, '\1');
        ASSERT_GT(library.setRegisterData(QString(), 0, QString::number(address), station, &bytes, 1,
                                          kOrderHostId, ticket),
                  0);
    }
};

TEST_F(EchoCheckTest, ReadsTheRegisterBeforeTheFirstWriteToAStationThatHasNotAnswered)
{
    setUpDriver();
    write(1, 2, 100, 7);
    write(2, 2, 101, 7);
    link().setOpenOrders(2);
    runFor(seconds(1));
    ASSERT_EQ(3u, sent.size());
    EXPECT_EQ(withCrc("02 03 0064 0001"), sent[0].frame);
    EXPECT_EQ(withCrc("02 06 0064 0007"), sent[1].frame);
    EXPECT_EQ(withCrc("02 06 0065 0007"), sent[2].frame) << "it has answered";
    EXPECT_THAT(endsOf(1), ElementsAre(OrderEnd::Good));
    EXPECT_THAT(endsOf(2), ElementsAre(OrderEnd::Good));
    ASSERT_EQ(3u, transactions.size());
    EXPECT_EQ(kEchoCheckHostId, transactions[0].request.hostId);
    EXPECT_EQ(3u, link().statistics().total.good);
}

TEST_F(EchoCheckTest, ReadsACoilBeforeTheWriteOfACoil)
{
    setUpDriver();
    dead = {2};
    writeCoil(1, 2, 19);
    link().setOpenOrders(1);
    runFor(milliseconds(100));
    ASSERT_EQ(1u, sent.size());
    EXPECT_EQ(withCrc("02 01 0013 0001"), sent[0].frame);
}

TEST_F(EchoCheckTest, SendsItsReadInTheOrderOfTheCrcThatRequestsHave)
{
    settings.options = info.options = plc::kOptionSwapRequestCrc;
    setUpDriver();
    dead = {2};
    write(1, 2, 100, 7);
    link().setOpenOrders(1);
    runFor(milliseconds(100));
    ASSERT_EQ(1u, sent.size());
    EXPECT_EQ(withSwappedCrc("02 03 0064 0001"), sent[0].frame);
}

TEST_F(EchoCheckTest, RefusesTheWriteWhereNothingButTheEchoComes)
{
    setUpDriver();
    dead = {2};
    echoes = true;
    link().setTrace(true);
    write(1, 2, 100, 7);
    write(2, 2, 101, 7);
    link().setOpenOrders(2);
    runFor(seconds(5));
    EXPECT_THAT(functions(), ElementsAre("2:03", "2:03")) << "the read is repeated, and asked for once";
    EXPECT_THAT(endsOf(1), ElementsAre(OrderEnd::OnlyEcho));
    EXPECT_THAT(endsOf(2), ElementsAre(OrderEnd::OnlyEcho));
    EXPECT_THAT(traces, ::testing::Contains(::testing::HasSubstr(
                            "-- echo check: nothing but the echo came, the write does not go out")));
    runFor(seconds(10));
    write(3, 2, 102, 7);
    runFor(seconds(5));
    EXPECT_EQ(4u, sent.size()) << "asked again later on";
    EXPECT_THAT(endsOf(3), ElementsAre(OrderEnd::OnlyEcho));
    EXPECT_TRUE(link().unconfirmed().empty());
}

TEST_F(EchoCheckTest, WithoutThePolicyTheEchoOfAWritePassesForItsReply)
{
    settings.policies.echoCheck = false;
    setUpDriver();
    dead = {2};
    echoes = true;
    write(1, 2, 100, 7);
    link().setOpenOrders(1);
    runFor(seconds(5));
    EXPECT_THAT(functions(), ElementsAre("2:06"));
    EXPECT_THAT(endsOf(1), ElementsAre(OrderEnd::Good)) << "the station is dead";
}

TEST_F(EchoCheckTest, LetsTheWriteGoOutBehindAnyAnswer)
{
    setUpDriver();
    echoes = true;
    refusing = {3};
    write(1, 2, 100, 7);
    write(2, 3, 100, 7);
    link().setOpenOrders(2);
    runFor(seconds(1));
    EXPECT_THAT(functions(), ElementsAre("2:03", "2:06", "3:03", "3:06")) << "an exception is an answer";
}

TEST_F(EchoCheckTest, LetsTheWriteGoOutBehindPlainSilenceAndDoesNotAskAgain)
{
    setUpDriver();
    dead = {2};
    write(1, 2, 100, 7);
    link().setOpenOrders(1);
    runFor(seconds(3));
    EXPECT_THAT(functions(), ElementsAre("2:03", "2:06", "2:06")) << "the read is not repeated";
    EXPECT_GE(sent[1].at - sent[0].at, milliseconds(400)) << "a late answer is listened for";
    EXPECT_THAT(endsOf(1), ElementsAre(OrderEnd::NoReply));
    write(2, 2, 100, 8);
    runFor(seconds(3));
    EXPECT_THAT(functions(), ElementsAre("2:03", "2:06", "2:06", "2:06", "2:06"));
    EXPECT_TRUE(stations.empty()) << "a read in vain before a write is no failure of its own";
}

TEST_F(EchoCheckTest, LetsTheWriteGoOutBehindNoiseThatIsNoEcho)
{
    setUpDriver();
    dead = {2};
    noise = hex("55 55");
    write(1, 2, 100, 7);
    link().setOpenOrders(1);
    runFor(seconds(3));
    EXPECT_THAT(functions(), ElementsAre("2:03", "2:03", "2:06", "2:06"));
}

TEST_F(EchoCheckTest, IsNotMadeOfAStationThatHasAnsweredAnything)
{
    setUpDriver();
    watch(1);
    runFor(milliseconds(100));
    const Time since = now;
    write(1, 1, 100, 7);
    runFor(milliseconds(60));
    EXPECT_THAT(functions(since), ::testing::Contains("1:06"));
    EXPECT_THAT(endsOf(1), ElementsAre(OrderEnd::Good));
    for (const TransactionReport &report : transactions)
        EXPECT_NE(kEchoCheckHostId, report.request.hostId);
}

TEST_F(EchoCheckTest, IsNotMadeForBroadcasts)
{
    setUpDriver();
    dead = {0};
    write(1, 0, 100, 7);
    link().setOpenOrders(1);
    runFor(seconds(1));
    EXPECT_THAT(functions(), ElementsAre("0:06"));
}

TEST_F(EchoCheckTest, IsNotMadeWhereEchoesAreTakenOff)
{
    settings.echo = true;
    setUpDriver();
    echoes = true;
    write(1, 2, 100, 7);
    link().setOpenOrders(1);
    runFor(seconds(1));
    EXPECT_THAT(functions(), ElementsAre("2:06"));
    EXPECT_THAT(endsOf(1), ElementsAre(OrderEnd::Good));
}

TEST_F(EchoCheckTest, IsMadeAnewWhenThePortIsBack)
{
    setUpDriver();
    write(1, 2, 100, 7);
    link().setOpenOrders(1);
    runFor(seconds(1));
    losePort();
    runFor(seconds(1));
    findPort();
    link().takeLoss({});
    const Time since = now;
    write(2, 2, 100, 8);
    runFor(seconds(1));
    EXPECT_THAT(functions(since), ElementsAre("2:03", "2:06")) << "there may be another line behind it";
}

TEST_F(EchoCheckTest, UnderWayWhenThePortIsLostLeavesNothingOfTheWrite)
{
    setUpDriver();
    dead = {2};
    write(1, 2, 100, 7);
    link().setOpenOrders(1);
    runFor(milliseconds(100));
    ASSERT_EQ(1u, sent.size());
    losePort();
    EXPECT_TRUE(ports[0].sent.empty()) << "the read is no part of the write";
    link().takeLoss({1});
    runFor(seconds(1));
    findPort();
    runFor(seconds(5));
    EXPECT_THAT(functions(), ElementsAre("2:03"));
    EXPECT_THAT(endsOf(1), ElementsAre(OrderEnd::PortLost));
}

TEST_F(EchoCheckTest, OfAWriteThatIsWithdrawnMeanwhileEndsWithoutTheWrite)
{
    setUpDriver();
    dead = {2};
    write(1, 2, 100, 7);
    link().setOpenOrders(1);
    runFor(milliseconds(100));
    link().withdraw({1});
    EXPECT_TRUE(link().unconfirmed().empty());
    runFor(seconds(5));
    EXPECT_THAT(functions(), ElementsAre("2:03"));
    write(2, 2, 101, 7);
    runFor(seconds(5));
    EXPECT_EQ("2:06", functions().at(1)) << "the silence counts";
}

TEST_F(EchoCheckTest, OfAWriteToAStationThatIsSwitchedOffIsNotMade)
{
    setUpDriver();
    link().setStationEnabled(2, false);
    write(1, 2, 100, 7);
    link().setOpenOrders(1);
    runFor(seconds(1));
    EXPECT_TRUE(sent.empty());
}

TEST_F(EchoCheckTest, ForWhichTheLineNeverFallsSilentEndsTheWriteAsThat)
{
    setUpDriver();
    write(1, 2, 100, 7);
    link().setOpenOrders(1);
    for (int i = 0; i < 4000 && endsOf(1).empty(); ++i, now += milliseconds(1))
        EXPECT_TRUE(link().advance(now, hex("55")).send.isEmpty());
    EXPECT_THAT(endsOf(1), ElementsAre(OrderEnd::LineBusy));
    runFor(seconds(1));
    write(2, 2, 100, 8);
    runFor(seconds(1));
    EXPECT_THAT(functions(), ElementsAre("2:03", "2:06")) << "the next write has its own";
}

TEST_F(EchoCheckTest, AlsoHoldsWhereRepliesAreNotChecked)
{
    settings.policies.checkReplies = false;
    setUpDriver();
    dead = {2};
    echoes = true;
    write(1, 2, 100, 7);
    link().setOpenOrders(1);
    runFor(seconds(5));
    EXPECT_THAT(endsOf(1), ElementsAre(OrderEnd::OnlyEcho));
}

} // namespace
