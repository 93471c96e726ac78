/// @file
/// What each policy of the host is good for: with it the bus is as it should be, without it something breaks.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "bus.h"
#include "fresh_driver.h"
#include "heap_use.h"
#include "station/crc.h"

namespace plc::bus {
namespace {

using runtime::OrderEnd;
using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;
using testing::AllOf;
using testing::Each;
using testing::Ge;
using testing::Gt;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Le;
using testing::Lt;

/// Stations 1 to @p count; a time-out of 200 ms and no repeats, so that a test's story is short.
BusPlan planOf(int count, std::vector<std::string> watched)
{
    BusPlan plan;
    plan.seed = 7;
    plan.link.timeout = milliseconds(200);
    plan.link.retries = 0;
    for (int number = 1; number <= count; ++number) {
        StationPlan station;
        station.number = number;
        station.moveEvery = milliseconds(700);
        plan.field.stations.push_back(station);
    }
    plan.watched = std::move(watched);
    return agreed(plan);
}

/// The same with one fault in every tenth exchange.
BusPlan withFault(BusPlan plan, std::vector<Fault> faults)
{
    plan.field.faults = std::move(faults);
    plan.field.faultPermille = 100;
    return plan;
}

class BusPolicy : public testing::Test
{
protected:
    /// Puts a bus together; it takes the place of the one before.
    Bus &build(const BusPlan &plan)
    {
        bus_.reset();
        driver_ = std::make_unique<FreshDriver>(PLC_DRIVER_PATH);
        bus_ = std::make_unique<Bus>(plan, driver_->library());
        return *bus_;
    }

    /// What is wrong after ten minutes with the plan's faults.
    std::string complaintAfterFaults(const BusPlan &plan, const std::string &overlooked = "(none)")
    {
        Bus &bus = build(plan);
        bus.witness().overlook(overlooked);
        bus.start();
        bus.field().setFaults(bus.now(), true);
        bus.runFor(minutes(10));
        return bus.witness().complaint();
    }

    /// The transactions of the bus with one station while @p time passes.
    std::vector<runtime::TransactionReport> transactionsOf(int station, Time time)
    {
        bus_->keepTransactions(true);
        bus_->runFor(time);
        std::vector<runtime::TransactionReport> transactions = bus_->transactions();
        transactions.erase(
            std::remove_if(transactions.begin(), transactions.end(),
                           [station](const auto &report) { return report.request.station != station; }),
            transactions.end());
        return transactions;
    }

    void TearDown() override
    {
        if (HasFailure() && bus_ && !bus_->witness().complaint().empty())
            std::printf("%s", bus_->journal().text().c_str());
    }

    std::unique_ptr<FreshDriver> driver_;
    std::unique_ptr<Bus> bus_;
};

std::vector<double> milliseconds_of(const std::vector<runtime::TransactionReport> &transactions)
{
    std::vector<double> times;
    for (const runtime::TransactionReport &report : transactions)
        times.push_back(runtime::seconds(report.endedAt - report.startedAt) * 1000);
    return times;
}

/// An exception reply of the station that is asked.
Message refusal(const Bytes &request, std::uint8_t code)
{
    Message reply;
    reply.bytes = {request[0], static_cast<std::uint8_t>(request[1] | 0x80), code};
    appendCrc(&reply.bytes, CrcOrder::LowFirst);
    return reply;
}

Message noiseOf(std::size_t bytes)
{
    Message message;
    message.bytes.assign(bytes, 0x55);
    message.noise.assign(bytes, true);
    return message;
}

std::vector<int> attemptsOf(const std::vector<runtime::TransactionReport> &transactions)
{
    std::vector<int> attempts;
    for (const runtime::TransactionReport &report : transactions)
        attempts.push_back(report.attempts);
    return attempts;
}

const std::vector<std::string> kTwins = {"4x:0:4@1", "4x:50:4@1"};

TEST_F(BusPolicy, LateReplyGuardKeepsLateAnswersFromTheNextRequest)
{
    BusPlan plan = withFault(planOf(1, kTwins), {Fault::LateReply});
    EXPECT_EQ("", complaintAfterFaults(plan));
    EXPECT_GT(bus_->witness().checks().lateReplies, 20u);

    plan.link.policies.lateReplyGuard = false;
    EXPECT_THAT(complaintAfterFaults(plan), HasSubstr("falls into the exchange of another request"));
    EXPECT_THAT(complaintAfterFaults(plan, "(d)"), HasSubstr("(a) the mirror shows"));
}

TEST_F(BusPolicy, LateReplyGuardHoldsWithRepeats)
{
    BusPlan plan = withFault(planOf(1, kTwins), {Fault::LateReply});
    plan.field.faultPermille = 500;
    plan.link.retries = 2;
    plan.link.offline.failures = 100;
    EXPECT_EQ("", complaintAfterFaults(plan));
}

TEST_F(BusPolicy, InputBetweenExchangesIsNotTakenForTheNextReply)
{
    BusPlan plan = withFault(planOf(1, kTwins), {Fault::DoubledReply});
    EXPECT_EQ("", complaintAfterFaults(plan));
    plan.link.policies.discardInput = false;
    EXPECT_THAT(complaintAfterFaults(plan), HasSubstr("(a) the mirror shows"));
}

TEST_F(BusPolicy, RepliesOfAnotherLengthDoNotPassForTheReply)
{
    BusPlan plan = withFault(planOf(2, {"4x:0:4@1", "4x:0:4@2"}), {Fault::WrongLength, Fault::ForeignReply});
    EXPECT_EQ("", complaintAfterFaults(plan));
    EXPECT_GT(bus_->statistics().total.ignoredReplies, 20u);
    plan.link.policies.checkReplies = false;
    EXPECT_THAT(complaintAfterFaults(plan), HasSubstr("(a) the mirror shows"));
}

TEST_F(BusPolicy, TheEchoOfAWriteIsNotItsReply)
{
    BusPlan plan = planOf(1, {});
    plan.echo = true;
    plan = agreed(plan);
    plan.link.policies.echoCheck = false;
    for (const bool told : {true, false}) {
        plan.link.echo = told;
        Bus &bus = build(plan);
        bus.witness().overlook("(v)");
        bus.start();
        bus.field().muteStation(1, hours(1));
        const runtime::Ticket ticket = bus.write("4x:130@1", {17});
        bus.runFor(seconds(5));
        if (told) {
            EXPECT_EQ("", bus.witness().complaint());
            EXPECT_EQ(OrderEnd::NoReply, bus.endOf(ticket));
        } else {
            EXPECT_THAT(bus.witness().complaint(),
                        HasSubstr("is reported as done, but the station has not taken"));
        }
    }
}

TEST_F(BusPolicy, NoWriteIsReportedAsDoneOnALineThatEchoesUntold)
{
    BusPlan plan = planOf(2, {});
    plan.echo = true;
    plan = agreed(plan);
    plan.link.echo = false;
    for (const char *place : {"4x:130@1", "0x:20@1"}) {
        Bus &bus = build(plan);
        bus.start();
        bus.field().muteStation(1, hours(1));
        std::vector<runtime::Ticket> tickets;
        for (int i = 0; i < 5; ++i) {
            tickets.push_back(bus.write(place, {1}));
            bus.runFor(seconds(4));
        }
        EXPECT_EQ("", bus.witness().complaint());
        for (const runtime::Ticket ticket : tickets)
            EXPECT_EQ(OrderEnd::OnlyEcho, bus.endOf(ticket)) << place;
        EXPECT_EQ(2u, bus.witness().checks().firstWrites) << "asked again after a while";
    }
    plan.link.policies.echoCheck = false;
    build(plan).start();
    bus_->field().muteStation(1, hours(1));
    bus_->write("4x:130@1", {1});
    bus_->runFor(seconds(4));
    EXPECT_THAT(bus_->witness().complaint(), HasSubstr("(v) a write goes to station 1"));
}

TEST_F(BusPolicy, AFirstWriteWaitsForAReadOfItsStationAndNoLonger)
{
    // One answers, one is silent, one refuses all.
    BusPlan plan = planOf(3, {});
    Bus &bus = build(plan);
    bus.start();
    bus.field().muteStation(2, hours(1));
    bus.keepTransactions(true);
    for (int round = 0; round < 3; ++round) {
        for (const char *place : {"4x:130@1", "4x:130@2", "4x:130@3", "4x:130@0"})
            bus.write(place, {static_cast<std::uint32_t>(round)});
        bus.runFor(seconds(5));
    }
    EXPECT_EQ("", bus.witness().complaint());
    EXPECT_EQ(3u, bus.witness().checks().firstWrites) << "of each station once";
}

TEST_F(BusPolicy, EchoesThatComeLateAreNoReplies)
{
    BusPlan plan = withFault(planOf(2, {"4x:0:4@2"}), {Fault::LateEcho});
    plan.echo = true;
    plan.link.retries = 3;
    plan.link.offline.failures = 100;
    plan.field.faultPermille = 700;
    Bus &bus = build(agreed(plan));
    bus.start();
    bus.field().muteStation(1, hours(10));
    bus.field().setFaults(bus.now(), true);
    bus.field().muteStation(1, hours(10));
    std::map<OrderEnd, int> ends;
    for (int i = 0; i < 300 && bus.witness().complaint().empty(); ++i) {
        // The same values over and over: the frames are like each other.
        const runtime::Ticket ticket =
            bus.write(i % 3 == 0 ? "4x:130@0" : "4x:131@" + std::to_string(1 + i % 2), {17});
        for (int turn = 0; turn < 100 && bus.endOf(ticket) == OrderEnd::Open; ++turn)
            bus.runFor(milliseconds(200));
        ++ends[bus.endOf(ticket)];
    }
    EXPECT_EQ("", bus.witness().complaint());
    EXPECT_GT(ends[OrderEnd::Good], 30);
    EXPECT_GT(ends[OrderEnd::NoReply] + ends[OrderEnd::Unusable], 150);
    EXPECT_GT(bus.witness().checks().broadcasts, 90u);
}

TEST_F(BusPolicy, AReplyThatRepeatsAnotherWriteDoesNotCount)
{
    BusPlan plan = planOf(1, {});
    for (const bool strict : {true, false}) {
        plan.link.policies.strictWrites = strict;
        Bus &bus = build(plan);
        bus.field().setAnswering([](Time, const Bytes &request) {
            Message other;
            other.bytes.assign(request.begin(), request.end() - 2);
            ++other.bytes[5];
            appendCrc(&other.bytes, CrcOrder::LowFirst);
            return other;
        });
        bus.start();
        const runtime::Ticket ticket = bus.write("4x:130@1", {17});
        bus.runFor(seconds(5));
        if (strict) {
            EXPECT_EQ("", bus.witness().complaint());
            EXPECT_EQ(OrderEnd::Unusable, bus.endOf(ticket));
        } else {
            EXPECT_THAT(bus.witness().complaint(),
                        HasSubstr("is reported as done, but the station has not taken"));
        }
    }
}

TEST_F(BusPolicy, AnExceptionReplyEndsTheWaitAtOnce)
{
    // The area of the stations ends before 300.
    BusPlan plan = planOf(1, {"4x:300:2@1"});
    build(plan).start();
    EXPECT_THAT(milliseconds_of(transactionsOf(1, seconds(20))),
                AllOf(testing::SizeIs(Gt(200u)), Each(Lt(100.0))));
    EXPECT_EQ(2, bus_->transactions().back().exceptionCode);
    EXPECT_EQ("", bus_->witness().complaint());

    plan.link.policies.endOnException = false;
    build(plan).start();
    EXPECT_THAT(milliseconds_of(transactionsOf(1, seconds(20))),
                AllOf(testing::SizeIs(Gt(20u)), Each(Ge(200.0))));
}

TEST_F(BusPolicy, ABabblingLineDoesNotLengthenTheWait)
{
    BusPlan plan = planOf(2, {"4x:0:4@1"});
    for (const bool absolute : {true, false}) {
        plan.link.policies.absoluteDeadline = absolute;
        Bus &bus = build(plan);
        bus.field().muteStation(1, hours(1));
        for (int i = 1; i <= 60; ++i)
            bus.field().sendAt(milliseconds(100) * i, kNoise, noiseOf(1));
        bus.start();
        const std::vector<double> times = milliseconds_of(transactionsOf(1, seconds(10)));
        ASSERT_THAT(times, testing::Not(IsEmpty()));
        if (absolute)
            EXPECT_THAT(times, Each(Lt(300.0)));
        else
            EXPECT_GT(times.front(), 5000.0);
        EXPECT_EQ("", bus.witness().complaint());
    }
}

TEST_F(BusPolicy, ARefusalForGoodIsNotRepeated)
{
    BusPlan plan = planOf(1, {"4x:0:4@1"});
    plan.link.retries = 2;
    plan.link.offline.failures = 1000;
    for (const int code : {1, 2, 3, 4, 6}) {
        Bus &bus = build(plan);
        bus.field().setAnswering(
            [code](Time, const Bytes &request) { return refusal(request, static_cast<std::uint8_t>(code)); });
        bus.start();
        std::vector<runtime::TransactionReport> transactions = transactionsOf(1, seconds(10));
        // What is left out while the station is busy.
        const auto isWithheld = [](const auto &report) {
            return report.cause == runtime::AttemptEnd::Withheld;
        };
        transactions.erase(std::remove_if(transactions.begin(), transactions.end(), isWithheld),
                           transactions.end());
        ASSERT_THAT(transactions, testing::SizeIs(Gt(20u)));
        EXPECT_EQ(code, transactions.back().exceptionCode);
        // 04 may pass: the device has failed for once.
        EXPECT_THAT(attemptsOf(transactions), Each(code == 4 ? 3 : 1)) << code;
        EXPECT_EQ("", bus.witness().complaint());
    }
}

TEST_F(BusPolicy, RepeatsBringLostRepliesHome)
{
    BusPlan plan = withFault(planOf(2, kTwins), {Fault::LostReply});
    plan.link.retries = 2;
    Bus &bus = build(plan);
    bus.start();
    bus.field().setFaults(bus.now(), true);
    const std::vector<runtime::TransactionReport> transactions = transactionsOf(1, minutes(10));
    EXPECT_EQ("", bus.witness().complaint());
    const auto isRepeated = [](const auto &report) { return report.done && report.attempts == 2; };
    EXPECT_GT(std::count_if(transactions.begin(), transactions.end(), isRepeated), 100);
    for (const runtime::TransactionReport &report : transactions) {
        EXPECT_LE(report.attempts, 3);
        EXPECT_TRUE(report.done || report.attempts == 3) << report.attempts;
    }
}

TEST_F(BusPolicy, ABroadcastIsGivenItsTurnaround)
{
    BusPlan plan = planOf(1, {"4x:0:4@1"});
    plan.link.turnaround = milliseconds(300);
    Bus &bus = build(plan);
    bus.keepTransactions(true);
    bus.start();
    bus.runFor(seconds(1));
    const runtime::Ticket ticket = bus.write("4x:130@0", {17});
    bus.runFor(seconds(2));
    EXPECT_EQ(OrderEnd::Good, bus.endOf(ticket));
    EXPECT_EQ(17, bus.history(1).value(Area::HoldingRegisters, 130));
    const std::vector<runtime::TransactionReport> &transactions = bus.transactions();
    const auto broadcast = std::find_if(transactions.begin(), transactions.end(),
                                        [](const auto &report) { return report.request.station == 0; });
    ASSERT_LT(broadcast, transactions.end() - 1);
    const Time left = broadcast->startedAt + bus.wire().duration(broadcast->request.frame.size());
    EXPECT_GE((broadcast + 1)->startedAt, left + milliseconds(300));
    EXPECT_EQ("", bus.witness().complaint());
}

TEST_F(BusPolicy, AWriteThatNoReplyIsDueToCostsThePauseAndNoTimeOut)
{
    BusPlan plan = planOf(2, {"4x:0:4@2"});
    plan.link.timeout = seconds(10);
    plan.link.options |= kOptionNoReplyToSingle | kOptionNoReplyToBlock;
    plan.link.policies.echoCheck = false; // which costs a time-out, once
    plan = agreed(plan);
    // Stations that do as the option says, answer all the same, refuse.
    for (const int kind : {0, 1, 2}) {
        Bus &bus = build(plan);
        if (kind == 2)
            bus.field().setAnswering([](Time, const Bytes &request) {
                return request[0] == 1 ? std::optional<Message>(refusal(request, 2)) : std::nullopt;
            });
        bus.witness().overlook("(v)");
        bus.start();
        bus.keepTransactions(true);
        for (int i = 0; i < 20; ++i) {
            if (kind == 0)
                bus.field().makeNext(Fault::LostReply, 1);
            const runtime::Ticket ticket =
                bus.write(i % 2 == 0 ? "4x_single:130@1" : "4x_block:140@1", {static_cast<std::uint32_t>(i)});
            bus.runFor(milliseconds(400));
            EXPECT_EQ(kind == 2 ? OrderEnd::Refused : OrderEnd::Good, bus.endOf(ticket)) << kind;
        }
        EXPECT_EQ("", bus.witness().complaint());
        EXPECT_EQ(0u, bus.statistics().total.timeouts);
    }
}

TEST_F(BusPolicy, ALineThatNeverFallsSilentIsNotWaitedForWithoutEnd)
{
    Bus &bus = build(planOf(1, {}));
    bus.start();
    bus.field().sendAt(milliseconds(20), kNoise, noiseOf(9000)); // more than five seconds
    bus.runFor(milliseconds(100));
    const runtime::Ticket written = bus.write("4x:130@1", {17});
    const runtime::Ticket read = bus.read("4x:140:5@1");
    bus.runFor(seconds(1));
    EXPECT_EQ(OrderEnd::LineBusy, bus.endOf(written));
    EXPECT_EQ(OrderEnd::LineBusy, bus.endOf(read));
    EXPECT_TRUE(bus.wire().isBusy());
    EXPECT_EQ(0u, bus.statistics().total.requests);
    EXPECT_EQ(2u, bus.statistics().total.lineBusy);
    EXPECT_FALSE(bus.isOffline(1));

    bus.runFor(seconds(10));
    const runtime::Ticket again = bus.write("4x:130@1", {18});
    bus.runFor(seconds(1));
    EXPECT_EQ(OrderEnd::Good, bus.endOf(again));
    EXPECT_EQ("", bus.witness().complaint());
}

/// Long enough for the distance between probes to have grown to its full length.
constexpr Time kUntilSteady = minutes(3);
constexpr Time kCompared = minutes(8);

/// Readings of stations 1 to 7.
std::uint64_t goodReadings(Bus &bus)
{
    std::uint64_t readings = 0;
    for (int station = 1; station <= 7; ++station)
        readings += bus.statistics().stations.at(station).good;
    return readings;
}

/// Eight stations at default settings, all but the last with one block that is read.
BusPlan eightStations(bool readTheEighth)
{
    BusPlan plan = planOf(8, {});
    const runtime::LinkSettings defaults;
    plan.link.timeout = defaults.timeout;
    plan.link.retries = defaults.retries;
    for (int station = 1; station <= (readTheEighth ? 8 : 7); ++station)
        plan.watched.push_back("4x:0:100@" + std::to_string(station));
    return agreed(plan);
}

class EightStations : public BusPolicy
{
protected:
    /// Of the readings that stations 1 to 7 get where the eighth is not read, those that they get on the bus.
    double shareKept(Bus &bus)
    {
        const std::uint64_t with = readingsWhenSteady(bus);
        wentOffline = bus.wentOffline();
        if (readingsAlone == 0)
            readingsAlone = readingsWhenSteady(build(eightStations(false)));
        const double kept = static_cast<double>(with) / static_cast<double>(readingsAlone);
        RecordProperty("loss_percent", std::to_string(100 * (1 - kept)));
        return kept;
    }

    std::uint64_t wentOffline = 0;

private:
    static std::uint64_t readingsWhenSteady(Bus &bus)
    {
        bus.start();
        bus.runFor(kUntilSteady);
        const std::uint64_t before = goodReadings(bus);
        bus.runFor(kCompared);
        EXPECT_EQ("", bus.witness().complaint());
        return goodReadings(bus) - before;
    }

    std::uint64_t readingsAlone = 0;
};

TEST_F(EightStations, OneDeadCostsTheOthersAtMostOneTwentieth)
{
    Bus &bus = build(eightStations(true));
    bus.field().muteStation(8, hours(2));
    EXPECT_GE(shareKept(bus), 0.95);

    BusPlan plan = eightStations(true);
    plan.link.policies.offline = false;
    Bus &unguarded = build(plan);
    unguarded.field().muteStation(8, hours(2));
    EXPECT_LT(shareKept(unguarded), 0.95);
}

TEST_F(EightStations, OneThatIsBusyForEverCostsTheOthersNothing)
{
    for (const bool offline : {true, false}) {
        BusPlan plan = eightStations(true);
        plan.link.policies.offline = offline;
        Bus &bus = build(plan);
        bus.field().makeBusy(8, hours(2));
        // Where it is not left alone, each of its refusals costs the time of an exchange.
        EXPECT_GE(shareKept(bus), offline ? 0.99 : 0.85);
    }
}

TEST_F(BusPolicy, AWriteThatHasBegunIsNotSentAgain)
{
    BusPlan plan = planOf(1, {"4x:0:4@1"});
    plan.link.retries = 2;
    Bus &bus = build(plan);
    bus.field().letAcknowledge(1, hours(1));
    bus.start();
    for (int i = 0; i < 20; ++i) {
        const runtime::Ticket ticket = bus.write("4x:130@1", {static_cast<std::uint32_t>(i)});
        bus.runFor(seconds(1));
        EXPECT_EQ(OrderEnd::Refused, bus.endOf(ticket));
        EXPECT_EQ(i, bus.history(1).value(Area::HoldingRegisters, 130));
    }
    EXPECT_EQ("", bus.witness().complaint());
    EXPECT_EQ(0u, bus.statistics().total.retries);
    EXPECT_FALSE(bus.isOffline(1));
}

TEST_F(BusPolicy, TrialsOfManyDeadStationsTakeATenthOfTheTime)
{
    BusPlan plan = planOf(16, {});
    plan.link.timeout = runtime::LinkSettings().timeout;
    for (int station = 1; station <= 16; ++station)
        plan.watched.push_back("4x:0:100@" + std::to_string(station));
    Bus &bus = build(agreed(plan));
    for (int station = 9; station <= 16; ++station)
        bus.field().muteStation(station, hours(2));
    bus.start();
    bus.runFor(minutes(3)); // until all are offline and have been tried once
    const std::uint64_t before = bus.statistics().total.timeouts;
    bus.runFor(minutes(30));
    EXPECT_EQ("", bus.witness().complaint());
    // Each costs two seconds: a time-out, and as long again to listen for a late answer.
    const std::uint64_t probes = bus.statistics().total.timeouts - before;
    EXPECT_LE(probes, 100u);
    EXPECT_GE(probes, 60u);
}

/// A live station, and dead ones beside it.
class DeadStations : public BusPolicy
{
protected:
    /// Stations 1 to @p count, one block of each read in every second.
    static BusPlan planWith(int count, Time timeout)
    {
        BusPlan plan = planOf(count, {});
        plan.link.timeout = timeout;
        plan.link.pollInterval = seconds(1);
        plan.link.offline.failures = 1;
        for (int station = 1; station <= count; ++station)
            plan.watched.push_back("4x:0:10@" + std::to_string(station));
        return agreed(plan);
    }

    /// Of @p time, the share that waiting for stations 2 and above takes, listening for late answers
    /// included.
    double shareLost(Time time)
    {
        Time lost{};
        bus_->keepTransactions(true);
        const std::size_t before = bus_->transactions().size();
        const Time since = bus_->now();
        bus_->runFor(time);
        EXPECT_EQ("", bus_->witness().complaint());
        for (std::size_t i = before; i < bus_->transactions().size(); ++i) {
            const runtime::TransactionReport &report = bus_->transactions()[i];
            if (report.request.station > 1 && report.cause == runtime::AttemptEnd::NoReply)
                lost += report.endedAt - report.startedAt + bus_->plan().link.timeout;
        }
        return runtime::seconds(lost) / runtime::seconds(bus_->now() - since);
    }
};

TEST_F(DeadStations, OneTakesATenthOfTheTimeWhateverTheTimeOut)
{
    for (const Time timeout :
         {Time(milliseconds(100)), Time(seconds(1)), Time(seconds(10)), Time(seconds(60))}) {
        SCOPED_TRACE(runtime::seconds(timeout));
        Bus &bus = build(planWith(2, timeout));
        bus.field().muteStation(2, hours(100));
        bus.start();
        bus.runFor(50 * timeout);
        EXPECT_TRUE(bus.isOffline(2));
        // A probe costs two time-outs, so that the budget has room for one in 20 of them.
        const Time long_ = std::max<Time>(200 * timeout, minutes(10));
        EXPECT_LE(shareLost(long_), 0.105);
        EXPECT_GE(bus.statistics().stations.at(1).good,
                  static_cast<std::uint64_t>(runtime::seconds(long_) * 0.85));
    }
}

TEST_F(DeadStations, AloneOnTheLineAreTriedAsOftenAsEver)
{
    Bus &bus = build(planWith(2, seconds(10)));
    for (const int station : {1, 2})
        bus.field().muteStation(station, hours(100));
    bus.start();
    bus.runFor(minutes(5));
    // A minute from the end of a probe to the next, each of which takes a time-out and a guard.
    const std::uint64_t before = bus.statistics().total.timeouts;
    bus.runFor(minutes(70));
    EXPECT_GE(bus.statistics().total.timeouts - before, 2 * 55u);
    EXPECT_EQ("", bus.witness().complaint());
}

TEST_F(DeadStations, ThirtyTakeATenthOfTheTimeAlsoWhereTheLiveOneComesAndGoes)
{
    for (const Time gone : {Time(seconds(45)), Time(minutes(7))}) {
        SCOPED_TRACE(runtime::seconds(gone));
        Bus &bus = build(planWith(31, seconds(1)));
        for (int station = 2; station <= 31; ++station)
            bus.field().muteStation(station, hours(100));
        bus.start();
        bus.runFor(minutes(10));
        double lost = 0;
        constexpr int kTimes = 12;
        for (int i = 0; i < kTimes; ++i) {
            bus.field().muteStation(1, bus.now() + gone);
            lost += shareLost(gone + seconds(60)) / kTimes;
        }
        EXPECT_GE(bus.wentOffline(), 30u + kTimes);
        EXPECT_LE(lost, 0.105);
        EXPECT_GE(lost, 0.03) << "they are tried all the same";
    }
}

TEST_F(BusPolicy, ADamagedReplyCostsTheLineLittle)
{
    BusPlan plan = withFault(eightStations(true), {Fault::WrongCrc});
    plan.field.faultPermille = 20;
    std::map<bool, double> readings;
    for (const bool ends : {true, false}) {
        plan.link.policies.endOnDamage = ends;
        Bus &bus = build(plan);
        bus.start();
        bus.field().setFaults(bus.now(), true);
        bus.runFor(minutes(10));
        EXPECT_EQ("", bus.witness().complaint());
        EXPECT_GT(bus.statistics().total.bad, 20u);
        readings[ends] = static_cast<double>(bus.statistics().total.good);
    }
    plan.field.faultPermille = 0;
    Bus &bus = build(plan);
    bus.start();
    bus.runFor(minutes(10));
    const auto undamaged = static_cast<double>(bus.statistics().total.good);
    EXPECT_GE(readings[true], 0.9 * undamaged) << "a repeat and a short wait each";
    EXPECT_LE(readings[false], 0.9 * undamaged);
}

TEST_F(EightStations, OneThatManagesShortFramesOnlyCostsTheOthersLittle)
{
    Bus &bus = build(eightStations(true));
    bus.field().setAnswering([](Time, const Bytes &request) {
        const bool isLong = request[0] == 8 && request[5] != 1;
        return isLong ? std::optional<Message>(Message()) : std::nullopt;
    });
    EXPECT_GE(shareKept(bus), 0.9);
    EXPECT_GT(wentOffline, 3u);
}

TEST_F(BusPolicy, AGatewayThatFindsNobodyOrAStationThatIsBusyForEverTakesItOffline)
{
    for (const int code : {4, 6, 10, 11}) {
        Bus &bus = build(planOf(2, {"4x:0:4@1", "4x:0:4@2"}));
        bus.field().setAnswering([code](Time, const Bytes &request) {
            return request[0] == 2 ? std::optional<Message>(refusal(request, static_cast<std::uint8_t>(code)))
                                   : std::nullopt;
        });
        bus.start();
        bus.runFor(seconds(5));
        EXPECT_EQ(code != 4, bus.isOffline(2)) << code;
        EXPECT_FALSE(bus.isOffline(1)) << code;
        // Its probes are answered in the same way.
        bus.runFor(seconds(60));
        EXPECT_EQ(code != 4, bus.isOffline(2)) << code;
        EXPECT_EQ("", bus.witness().complaint());
    }
}

TEST_F(BusPolicy, AProbeIsSentOnceHoweverManyRepeatsThereAre)
{
    BusPlan plan = planOf(2, {"4x:0:4@1", "4x:0:4@2"});
    plan.link.retries = 4;
    Bus &bus = build(plan);
    bus.field().muteStation(2, hours(2));
    bus.start();
    const std::vector<runtime::TransactionReport> transactions = transactionsOf(2, minutes(10));
    ASSERT_THAT(transactions, testing::SizeIs(Ge(10u)));
    std::vector<int> attempts = attemptsOf(transactions);
    EXPECT_THAT(std::vector<int>(attempts.begin(), attempts.begin() + 3), Each(5));
    EXPECT_THAT(std::vector<int>(attempts.begin() + 3, attempts.end()), Each(1));
    EXPECT_EQ("", bus.witness().complaint());
}

TEST_F(BusPolicy, ADeadStationIsTriedAtGrowingDistances)
{
    BusPlan plan = planOf(2, {"4x:0:4@1", "4x:0:4@2"});
    plan.link.pollInterval = seconds(1);
    Bus &bus = build(plan);
    bus.field().muteStation(2, hours(2));
    bus.start();
    const std::vector<runtime::TransactionReport> transactions = transactionsOf(2, minutes(10));
    // Three failures in a row, then probes: after 10, 20 and 40 seconds, and then every minute.
    ASSERT_THAT(transactions, testing::SizeIs(Ge(10u)));
    std::vector<double> distances;
    for (std::size_t i = 3; i < transactions.size(); ++i)
        distances.push_back(runtime::seconds(transactions[i].startedAt - transactions[i - 1].startedAt));
    const std::vector<double> expected = {10, 20, 40};
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_NEAR(expected[i], distances[i], 1.5);
    distances.erase(distances.begin(), distances.begin() + 3);
    EXPECT_THAT(distances, Each(AllOf(Ge(59.0), Le(62.0))));
    EXPECT_EQ("", bus.witness().complaint());
}

TEST_F(BusPolicy, OrdersForAnOfflineStationFailAtOnceAndItComesBackByItself)
{
    BusPlan plan = planOf(2, {"4x:0:4@1", "4x:0:4@2"});
    plan.link.pollInterval = milliseconds(500);
    Bus &bus = build(plan);
    bus.start();
    bus.runFor(seconds(5));
    bus.field().muteStation(2, minutes(5));
    // Many, so that some are still with the driver when the station is given up.
    std::vector<runtime::Ticket> tickets;
    for (std::uint32_t i = 0; i < 40; ++i)
        tickets.push_back(bus.write("4x:" + std::to_string(130 + i) + "@2", {i}));
    bus.runFor(seconds(10));
    EXPECT_TRUE(bus.isOffline(2));
    for (const runtime::Ticket ticket : tickets)
        EXPECT_NE(OrderEnd::Open, bus.endOf(ticket)) << ticket;
    EXPECT_EQ(OrderEnd::Offline, bus.endOf(tickets.back()));

    EXPECT_EQ(OrderEnd::Offline, bus.endOf(bus.write("4x:131@2", {7})));
    EXPECT_EQ(OrderEnd::Offline, bus.endOf(bus.read("4x:131@2")));
    EXPECT_EQ(runtime::VariableState::Offline, bus.session().status(1).state);

    bus.runFor(minutes(6));
    EXPECT_FALSE(bus.isOffline(2));
    EXPECT_EQ(runtime::VariableState::Good, bus.session().status(1).state);
    const runtime::Ticket again = bus.write("4x:131@2", {99});
    bus.runFor(seconds(5));
    EXPECT_EQ(OrderEnd::Good, bus.endOf(again));
    EXPECT_EQ(99, bus.history(2).value(Area::HoldingRegisters, 131));
    EXPECT_EQ("", bus.witness().complaint());
}

TEST_F(BusPolicy, OrdersToOtherPlacesDoNotWaitForOneThatNobodyTakes)
{
    BusPlan plan = planOf(3, {});
    plan.link.timeout = seconds(10);
    plan.link.offline.failures = 1000;
    plan.link.policies.echoCheck = false; // which costs another time-out, once
    Bus &bus = build(agreed(plan));
    bus.witness().overlook("(v)");
    bus.field().muteStation(2, hours(100));
    bus.start();
    std::vector<runtime::Ticket> dead;
    for (std::uint32_t i = 0; i < 20; ++i) {
        dead.push_back(bus.write("4x:130@2", {i}));
        bus.write("4x:" + std::to_string(140 + i) + "@2", {i});
    }
    const runtime::Ticket one = bus.write("4x:130@1", {17});
    const runtime::Ticket other = bus.read("4x:130@3");
    bus.runFor(seconds(25)); // a time-out and a guard of the first
    EXPECT_EQ(OrderEnd::Good, bus.endOf(one));
    bus.runFor(seconds(20));
    EXPECT_EQ(OrderEnd::Good, bus.endOf(other));
    EXPECT_EQ(OrderEnd::Open, bus.endOf(dead.back()));
    bus.runFor(minutes(15));
    EXPECT_EQ(OrderEnd::NoReply, bus.endOf(dead.back()));
    EXPECT_EQ("", bus.witness().complaint());
}

TEST_F(BusPolicy, ThousandsOfOrdersAreTakenAndMoreIsRefused)
{
    Bus &bus = build(planOf(2, {}));
    bus.start();
    std::vector<runtime::Ticket> tickets;
    for (std::uint32_t i = 0; i < 4096; ++i)
        tickets.push_back(
            bus.write("4x:" + std::to_string(130 + i % 50) + "@" + std::to_string(1 + i % 2), {i}));
    try {
        bus.write("4x:130@1", {1});
        ADD_FAILURE() << "one more is taken";
    } catch (const runtime::Failure &failure) {
        EXPECT_THAT(failure.what(), HasSubstr("4096 orders are waiting already"));
    }
    bus.runFor(minutes(5));
    for (const runtime::Ticket ticket : tickets)
        ASSERT_EQ(OrderEnd::Good, bus.endOf(ticket)) << ticket;
    EXPECT_EQ(4050, bus.history(1).value(Area::HoldingRegisters, 130));
    EXPECT_EQ(4095, bus.history(2).value(Area::HoldingRegisters, 175));
    EXPECT_EQ("", bus.witness().complaint());
}

TEST_F(BusPolicy, TheStateOfAVariableTellsOfASilentStationAndItsAgeOfTheLastReading)
{
    BusPlan plan = planOf(2, {"4x:0:4@1", "4x:0:4@2", "3x:0:150@2"});
    plan.link.offline.failures = 10; // so that each read fails before the station is left alone
    Bus &bus = build(plan);
    // With the witness, which has seen the readings.
    const auto stateOf = [&bus](int number) {
        bus.lookAt(static_cast<std::size_t>(number));
        return bus.session().status(number).state;
    };
    EXPECT_EQ(runtime::VariableState::NeverRead, stateOf(1));
    bus.start();
    bus.runFor(seconds(5));
    for (const int number : {0, 1, 2})
        EXPECT_EQ(runtime::VariableState::Good, stateOf(number));
    const Time silentSince = bus.now();
    bus.field().muteStation(2, minutes(5));
    bus.runFor(seconds(2));
    EXPECT_EQ(runtime::VariableState::Good, stateOf(0));
    EXPECT_EQ(runtime::VariableState::NoAnswer, stateOf(1));
    bus.runFor(minutes(1));
    EXPECT_EQ(runtime::VariableState::Good, stateOf(0));
    EXPECT_LT(bus.session().status(0).age, seconds(1));
    for (const int number : {1, 2}) {
        EXPECT_EQ(runtime::VariableState::Offline, stateOf(number));
        EXPECT_GE(bus.session().status(number).age, bus.now() - silentSince);
        EXPECT_LT(bus.session().status(number).age, bus.now() - silentSince + seconds(2));
    }
    bus.setStationEnabled(2, false);
    EXPECT_EQ(runtime::VariableState::SwitchedOff, stateOf(1));
    EXPECT_EQ("", bus.witness().complaint());
    EXPECT_GE(bus.witness().checks().statuses, 10u);
}

TEST_F(BusPolicy, AnEightHourOutageDoesNotMakeValuesGoodForADay)
{
    for (const bool byUser : {true, false}) {
        SCOPED_TRACE(byUser);
        BusPlan plan = planOf(2, {"4x:0:4@1"});
        plan.link.pollInterval = milliseconds(500);
        plan.link.retries = 100;
        Bus &bus = build(plan);
        bus.start();
        bus.runFor(seconds(5));
        const Time back = bus.now() + hours(8);
        if (byUser)
            bus.setStationEnabled(1, false);
        else
            bus.field().muteStation(1, back);
        bus.runUntil(back);
        if (byUser)
            bus.setStationEnabled(1, true);
        const auto reads = [&bus] { return bus.session().status(0).scans; };
        const std::uint64_t before = reads();
        while (bus.session().status(0).state != runtime::VariableState::Good && bus.now() < back + minutes(2))
            bus.runFor(milliseconds(10));
        EXPECT_LE(reads(), before + 1);
        // Its next turn is long in coming: another station is asked a hundred times.
        bus.field().muteStation(2, hours(100));
        bus.write("4x:130@2", {1});
        bus.runFor(seconds(6));
        EXPECT_LE(reads(), before + 1);
        EXPECT_EQ(runtime::VariableState::Stale, bus.session().status(0).state);
        bus.lookAt(0);
        EXPECT_EQ("", bus.witness().complaint());
    }
}

TEST_F(BusPolicy, OrdersThatAreTakenBackFromTheDriverAreNeverSent)
{
    for (const bool byUser : {true, false}) {
        BusPlan plan = planOf(2, {"4x:0:4@1", "4x:0:4@2"});
        plan.link.offline.firstProbe = milliseconds(1);
        Bus &bus = build(plan);
        bus.start();
        bus.runFor(seconds(2));
        bus.field().muteStation(2, hours(1));
        std::vector<runtime::Ticket> tickets;
        for (std::uint32_t i = 0; i < 60; ++i) {
            tickets.push_back(bus.write("4x:" + std::to_string(130 + i) + "@2", {4000 + i}));
            tickets.push_back(bus.read("3x:" + std::to_string(130 + i) + "@2"));
        }
        bus.runFor(milliseconds(300));
        if (byUser) {
            // On again at once: what the driver holds would have its turn.
            bus.setStationEnabled(2, false);
            bus.setStationEnabled(2, true);
        }
        bus.runFor(seconds(10));
        bus.field().muteStation(2, bus.now());
        bus.runFor(minutes(2));
        EXPECT_EQ("", bus.witness().complaint());
        EXPECT_FALSE(bus.isOffline(2));
        const OrderEnd takenBack = byUser ? OrderEnd::Dropped : OrderEnd::Offline;
        std::size_t withdrawn = 0;
        for (std::size_t i = 0; i < tickets.size(); i += 2) {
            if (bus.endOf(tickets[i]) != takenBack)
                continue;
            ++withdrawn;
            const int address = 130 + static_cast<int>(i) / 2;
            EXPECT_NE(4000 + i / 2, bus.history(2).value(Area::HoldingRegisters, address));
        }
        EXPECT_GT(withdrawn, 50u);
    }
}

TEST_F(BusPolicy, NothingIsSentToAStationThatIsOffNotEvenWhatHasPriority)
{
    BusPlan plan = planOf(8, {});
    for (int station = 1; station <= 8; ++station)
        plan.watched.push_back("3x:0:4@" + std::to_string(station));
    plan.watched.emplace_back("4x:100:4@3");
    plan.watched.emplace_back("4x:100:4@4");
    plan.packed = true;
    plan.priorities = {{"4x101", 4}};
    Bus &bus = build(plan);
    bus.start();
    bus.runFor(seconds(5));
    const std::uint64_t before = bus.statistics().stations.at(3).requests;
    EXPECT_GT(before, 20u);
    bus.field().muteStation(4, hours(1));
    bus.setStationEnabled(3, false);
    bus.runFor(minutes(5));
    EXPECT_EQ("", bus.witness().complaint());
    EXPECT_EQ(before, bus.statistics().stations.at(3).requests);
    EXPECT_TRUE(bus.isOffline(4));
    EXPECT_GT(bus.witness().checks().probes, 3u);
    // Three failures, and a probe a minute.
    EXPECT_LT(bus.statistics().stations.at(4).timeouts, 15u);
}

/// Ordinary reads at stations 1 to 7, and a place with a level at the eighth.
class LevelsAlone : public BusPolicy, public testing::WithParamInterface<int>
{
protected:
    static BusPlan plan(int level)
    {
        BusPlan plan = planOf(8, {"4x:100:4@8"});
        for (int station = 1; station <= 7; ++station)
            plan.watched.push_back("3x:0:4@" + std::to_string(station));
        plan.packed = true;
        plan.priorities = {{"4x101", level}};
        return plan;
    }

    runtime::Counters counters(int station) const
    {
        const auto &stations = bus_->statistics().stations;
        const auto found = stations.find(station);
        return found == stations.end() ? runtime::Counters() : found->second;
    }

    std::uint64_t readsOfTheEighth(Time time)
    {
        const auto good = [this] { return counters(8).good; };
        const std::uint64_t before = good();
        bus_->runFor(time);
        return good() - before;
    }

    void goOnAndBack()
    {
        EXPECT_GT(readsOfTheEighth(minutes(1)), 200u) << "nothing else is to be read";
        for (int station = 1; station <= 7; ++station)
            EXPECT_LT(counters(station).requests, 2000u);
        const Time since = bus_->now();
        for (int station = 1; station <= 7; ++station) {
            bus_->field().muteStation(station, since);
            bus_->setStationEnabled(station, true);
        }
        bus_->runFor(seconds(10));
        bus_->witness().checkRecovery(bus_->now(), since);
        EXPECT_EQ("", bus_->witness().complaint());
    }
};

TEST_P(LevelsAlone, GoOnWhereEveryStationWithOrdinaryReadsIsOffline)
{
    Bus &bus = build(plan(GetParam()));
    bus.start();
    bus.runFor(seconds(20));
    for (int station = 1; station <= 7; ++station)
        bus.field().muteStation(station, hours(10));
    bus.runFor(minutes(1));
    for (int station = 1; station <= 7; ++station)
        EXPECT_TRUE(bus.isOffline(station)) << station;
    goOnAndBack();
}

TEST_P(LevelsAlone, GoOnWhereEveryStationWithOrdinaryReadsIsSwitchedOff)
{
    Bus &bus = build(plan(GetParam()));
    bus.start();
    // At once, before any of them has been read.
    for (int station = 1; station <= 7; ++station)
        bus.setStationEnabled(station, false);
    bus.runFor(seconds(1));
    goOnAndBack();
}

INSTANTIATE_TEST_SUITE_P(Each, LevelsAlone, testing::Range(1, 5));

TEST_F(BusPolicy, AnOrderThatIsDroppedWhileTheLineIsWaitedForIsNotSent)
{
    Bus &bus = build(planOf(2, {}));
    bus.start();
    bus.field().muteStation(1, hours(1));
    bus.read("4x:0@1");
    bus.runFor(milliseconds(250)); // the reading has failed, and the line is listened to for a late answer
    const runtime::Ticket ticket = bus.write("4x:130@2", {4711});
    bus.runFor(milliseconds(50));
    bus.setStationEnabled(2, false);
    EXPECT_EQ(OrderEnd::Dropped, bus.endOf(ticket));
    bus.runFor(seconds(5));
    EXPECT_EQ("", bus.witness().complaint());
    EXPECT_NE(4711, bus.history(2).value(Area::HoldingRegisters, 130));
}

TEST_F(BusPolicy, ABitIsNeverWrittenIntoAnOldRegister)
{
    // Somebody else changes the register all the time, and replies get lost: to the read half, to the write
    // half.
    for (const auto timeout : {milliseconds(200), milliseconds(1000), milliseconds(10000)}) {
        BusPlan plan = withFault(planOf(2, {"4x:0:4@1", "4x:0:4@2"}),
                                 {Fault::LostReply, Fault::LateReply, Fault::WrongCrc});
        plan.link.timeout = timeout;
        plan.link.retries = 2;
        plan.link.offline.failures = 100;
        plan.field.faultPermille = 300;
        plan.field.troubles = {};
        Bus &bus = build(agreed(plan));
        bus.start();
        bus.field().setFaults(bus.now(), true);
        bus.field().letOtherWrite(bus.now(), 1, hours(10));
        int done = 0;
        int failed = 0;
        for (int i = 0; i < 200; ++i) {
            const runtime::Ticket ticket =
                bus.write("4x_bit:" + std::to_string(130 + i % 3) + ".4@1", {i % 2 != 0});
            for (int turn = 0; turn < 100 && bus.endOf(ticket) == OrderEnd::Open; ++turn)
                bus.runFor(timeout);
            done += bus.endOf(ticket) == OrderEnd::Good ? 1 : 0;
            failed += bus.endOf(ticket) != OrderEnd::Good ? 1 : 0;
        }
        EXPECT_EQ("", bus.witness().complaint());
        EXPECT_GT(done, 100);
        EXPECT_GT(failed, 10);
        EXPECT_GT(bus.witness().checks().writeBacks, 150u);
    }
}

TEST_F(BusPolicy, AnOrderThatIsOnTheLineWhenItsStationIsSwitchedOffIsNotConfirmed)
{
    Bus &bus = build(planOf(2, {}));
    bus.start();
    bus.read("4x:130@2");
    bus.runFor(milliseconds(100));
    bus.field().makeNext(Fault::LostReply, 2);
    const runtime::Ticket ticket = bus.write("4x:130@2", {4711});
    const runtime::Ticket behind = bus.write("4x:140@2", {4712});
    bus.runFor(milliseconds(100));
    bus.setStationEnabled(2, false);
    EXPECT_EQ(OrderEnd::Unconfirmed, bus.endOf(ticket));
    EXPECT_EQ(OrderEnd::Dropped, bus.endOf(behind));
    bus.runFor(seconds(5));
    EXPECT_EQ("", bus.witness().complaint());
    EXPECT_EQ(4711, bus.history(2).value(Area::HoldingRegisters, 130)) << "it was done";
}

TEST_F(BusPolicy, WhenTheLineIsBackAllStationsAreBackWithTheFirst)
{
    BusPlan plan = planOf(8, {});
    for (int station = 1; station <= 8; ++station)
        plan.watched.push_back("4x:0:4@" + std::to_string(station));
    Bus &bus = build(plan);
    bus.start();
    bus.runFor(seconds(5));
    bus.field().cutLine(true);
    bus.runFor(minutes(1));
    // Each goes offline at a time of its own, so that the probes are spread over a minute.
    for (int station = 1; station <= 8; ++station) {
        bus.setStationEnabled(station, false);
        bus.setStationEnabled(station, true);
        bus.runFor(milliseconds(7500));
    }
    bus.runFor(minutes(10));
    for (int station = 1; station <= 8; ++station)
        EXPECT_TRUE(bus.isOffline(station)) << station;
    bus.field().cutLine(false);
    const Time since = bus.now();
    const auto offline = [&bus] {
        int count = 0;
        for (int station = 1; station <= 8; ++station)
            count += bus.isOffline(station) ? 1 : 0;
        return count;
    };
    while (offline() == 8 && bus.now() < since + 2 * plan.link.offline.longestProbe)
        bus.runFor(milliseconds(100));
    EXPECT_LT(offline(), 8);
    bus.runFor(seconds(5));
    EXPECT_EQ(0, offline());
    bus.witness().checkRecovery(bus.now(), since);
    EXPECT_EQ("", bus.witness().complaint());
}

/// A line on which nothing goes wrong.
class HealthyBus : public BusPolicy
{
protected:
    void runHealthy(BusPlan plan, Time time)
    {
        Bus &bus = build(agreed(plan));
        bus.witness().setHealthy(bus.now(), true);
        bus.start();
        for (Time end = bus.now() + time; bus.now() < end && bus.witness().complaint().empty();) {
            bus.write("4x:130:3@1", {1, 2, 3});
            bus.write("0x:140:9@1", {1, 0, 1, 0, 1, 0, 1, 1, 0});
            bus.write("4x_bit:150.3@1", {1});
            bus.read("3x:7:5@1");
            bus.runFor(seconds(3));
            for (int i = 0; i < bus.watchedCount(); ++i)
                bus.lookAt(static_cast<std::size_t>(i));
        }
        EXPECT_EQ("", bus.witness().complaint());
        // The last one may be under way.
        EXPECT_LE(bus.statistics().total.requests, bus.statistics().total.good + 1);
        EXPECT_GT(bus.witness().checks().values, 100u);
        EXPECT_GT(bus.witness().checks().takenWrites, 10u);
    }
};

TEST_F(HealthyBus, OfThreeStationsNeverReportsAFailure)
{
    runHealthy(planOf(3, {"4x:0:20@1", "0x:120:30@1", "3x:0:60@2", "4x_d:100:5@2", "1x:3:70@3",
                          "4x_bit:128.5:20@3"}),
               minutes(10));
}

TEST_F(HealthyBus, OfThirtyTwoStationsNeverReportsAFailure)
{
    BusPlan plan = planOf(32, {});
    for (int station = 1; station <= 32; ++station)
        plan.watched.push_back("4x:" + std::to_string(4 * station) + ":10@" + std::to_string(station));
    runHealthy(plan, minutes(2));
}

TEST_F(HealthyBus, AtEveryBaudRateNeverReportsAFailure)
{
    for (const int baud : {1200, 9600, 38400, 115200}) {
        BusPlan plan = planOf(2, {"4x:0:20@1", "3x:0:60@2"});
        plan.link.baud = baud;
        plan.link.timeout = seconds(1);
        runHealthy(plan, minutes(1));
    }
}

TEST_F(HealthyBus, BehindAConverterWithEchoNeverReportsAFailure)
{
    BusPlan plan = planOf(2, {"4x:0:20@1", "3x:0:60@2"});
    plan.burst = milliseconds(16);
    plan.echo = true;
    runHealthy(plan, minutes(2));
}

TEST_F(HealthyBus, KeepsNoMemoryOfWhatIsOver)
{
    Bus &bus = build(planOf(1, {"4x:128:20@1"}));
    bus.start();
    const auto order = [&bus](std::uint32_t times) {
        for (std::uint32_t i = 0; i < times; ++i) {
            bus.write("4x:130:3@1", {i & 0xFFFFu, 2, 3});
            bus.read("4x:140:5@1");
            bus.runFor(milliseconds(500));
            bus.forgetEnds();
        }
    };
    order(1200); // enough to fill every list that has a limit
    const std::int64_t before = heapInUse();
    order(2000);
    const std::int64_t after = heapInUse();
    EXPECT_EQ("", bus.witness().complaint());
    EXPECT_LT(after, before + 16 * 1024);
}

TEST_F(HealthyBus, ServesThePriorityLevelsAtTheirRates)
{
    constexpr int kOrdinary = 8;
    // Ordinary reads from one service of a level to the next: the higher the level, the more often. The
    // lowest one comes after three rounds.
    const std::map<int, int> expected = {{1, 3 * kOrdinary}, {2, 6}, {3, 3}, {4, 1}};
    for (const auto &[level, distance] : expected) {
        BusPlan plan = planOf(kOrdinary, {"4x:100:4@1"});
        for (int station = 1; station <= kOrdinary; ++station)
            plan.watched.push_back("3x:0:4@" + std::to_string(station));
        plan.packed = true;
        plan.priorities = {{"4x101", level}};
        Bus &bus = build(plan);
        bus.witness().setHealthy(bus.now(), true);
        bus.keepTransactions(true);
        bus.start();
        bus.runFor(seconds(20));
        EXPECT_EQ("", bus.witness().complaint());
        std::vector<int> distances;
        int ordinary = 0;
        for (const runtime::TransactionReport &report : bus.transactions()) {
            if (report.request.regType == 4) {
                ++ordinary;
                continue;
            }
            distances.push_back(std::exchange(ordinary, 0));
        }
        ASSERT_THAT(distances, testing::SizeIs(Gt(5u))) << "level " << level;
        distances.erase(distances.begin());
        EXPECT_THAT(distances, Each(distance)) << "level " << level;
    }
}

TEST_F(BusPolicy, KeepsNoMemoryOfFailuresAndTrials)
{
    BusPlan plan = planOf(2, {"4x:0:4@1", "4x:0:4@2"});
    plan.link.offline.firstProbe = plan.link.offline.longestProbe = milliseconds(500);
    for (const bool offline : {true, false}) {
        plan.link.policies.offline = offline;
        Bus &bus = build(plan);
        // Both: where one answers, probes of the other one come less often.
        bus.field().muteStation(1, hours(10));
        bus.field().muteStation(2, hours(10));
        bus.start();
        bus.runFor(minutes(10));
        const std::int64_t before = heapInUse();
        bus.runFor(minutes(30));
        EXPECT_EQ("", bus.witness().complaint());
        EXPECT_GT(bus.statistics().total.timeouts, 2000u);
        EXPECT_LT(heapInUse(), before + 16 * 1024);
    }
}

TEST_F(BusPolicy, KeepsNoMemoryOfOrdersThatAreTakenBack)
{
    BusPlan plan = planOf(2, {"4x:0:4@1", "4x:0:4@2"});
    plan.link.offline.firstProbe = plan.link.offline.longestProbe = milliseconds(500);
    Bus &bus = build(plan);
    bus.start();
    const auto goAndReturn = [&bus](int times) {
        for (int i = 0; i < times; ++i) {
            for (int place = 0; place < 5; ++place)
                bus.write("4x:" + std::to_string(130 + place) + "@2", {7});
            bus.field().muteStation(2, bus.now() + seconds(2));
            bus.runFor(seconds(6));
            bus.forgetEnds();
        }
    };
    goAndReturn(100);
    const std::uint64_t wentOffline = bus.wentOffline();
    const std::int64_t before = heapInUse();
    goAndReturn(300);
    EXPECT_EQ("", bus.witness().complaint());
    EXPECT_GE(bus.wentOffline(), wentOffline + 300);
    EXPECT_LT(heapInUse(), before + 16 * 1024);
}

TEST_F(BusPolicy, NoiseZeroAndForeignRepliesInFrontCostNoAttempt)
{
    for (const Fault fault :
         {Fault::LeadingZero, Fault::NoiseBefore, Fault::NoiseAfter, Fault::ForeignReply}) {
        Bus &bus = build(withFault(planOf(2, kTwins), {fault}));
        bus.start();
        bus.field().setFaults(bus.now(), true);
        bus.runFor(minutes(10));
        EXPECT_EQ("", bus.witness().complaint());
        const std::uint64_t met = bus.field().faults()[static_cast<std::size_t>(fault)];
        EXPECT_GT(met, 500u);
        // Some are lost where ForgeGuard has changed a byte, or the noise looks like the beginning of a
        // reply.
        EXPECT_LE(bus.statistics().total.requests, bus.statistics().total.good + 1 + met / 20)
            << nameOf(fault);
    }
}

} // namespace
} // namespace plc::bus
