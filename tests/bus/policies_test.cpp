/// @file
/// What each policy of the host is good for: with it the bus is as it should be, without it something breaks.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <malloc.h>

#include <algorithm>
#include <memory>

#include "bus.h"
#include "fresh_driver.h"
#include "station/crc.h"

namespace plc::bus {
namespace {

using host::OperationEnd;
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

/// Stations 1 to @p count; a time-out of 200 ms and no repetitions, so that a test's story is short.
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
    std::vector<host::StepReport> stepsOf(int station, Time time)
    {
        bus_->keepSteps(true);
        bus_->runFor(time);
        std::vector<host::StepReport> steps = bus_->steps();
        steps.erase(std::remove_if(steps.begin(), steps.end(),
                                   [station](const auto &step) { return step.request.station != station; }),
                    steps.end());
        return steps;
    }

    void TearDown() override
    {
        if (HasFailure() && bus_ && !bus_->witness().complaint().empty())
            std::printf("%s", bus_->journal().text().c_str());
    }

    std::unique_ptr<FreshDriver> driver_;
    std::unique_ptr<Bus> bus_;
};

std::vector<double> milliseconds_of(const std::vector<host::StepReport> &steps)
{
    std::vector<double> times;
    for (const host::StepReport &step : steps)
        times.push_back(host::seconds(step.endedAt - step.startedAt) * 1000);
    return times;
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

TEST_F(BusPolicy, LateReplyGuardHoldsWithRepetitions)
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
    for (const bool told : {true, false}) {
        plan.link.echo = told;
        Bus &bus = build(plan);
        bus.start();
        bus.field().muteStation(1, hours(1));
        const host::Ticket ticket = bus.write("4x:130@1", {17});
        bus.runFor(seconds(5));
        if (told) {
            EXPECT_EQ("", bus.witness().complaint());
            EXPECT_EQ(OperationEnd::NoReply, bus.endOf(ticket));
        } else {
            EXPECT_THAT(bus.witness().complaint(),
                        HasSubstr("is reported as done, but the station has not taken"));
        }
    }
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
        const host::Ticket ticket = bus.write("4x:130@1", {17});
        bus.runFor(seconds(5));
        if (strict) {
            EXPECT_EQ("", bus.witness().complaint());
            EXPECT_EQ(OperationEnd::Unusable, bus.endOf(ticket));
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
    EXPECT_THAT(milliseconds_of(stepsOf(1, seconds(20))), AllOf(testing::SizeIs(Gt(200u)), Each(Lt(100.0))));
    EXPECT_EQ(2, bus_->steps().back().exceptionCode);
    EXPECT_EQ("", bus_->witness().complaint());

    plan.link.policies.endOnException = false;
    build(plan).start();
    EXPECT_THAT(milliseconds_of(stepsOf(1, seconds(20))), AllOf(testing::SizeIs(Gt(20u)), Each(Ge(200.0))));
}

TEST_F(BusPolicy, ABabblingLineDoesNotLengthenTheWait)
{
    BusPlan plan = planOf(2, {"4x:0:4@1"});
    for (const bool absolute : {true, false}) {
        plan.link.policies.absoluteDeadline = absolute;
        Bus &bus = build(plan);
        bus.field().muteStation(1, hours(1));
        for (int i = 1; i <= 60; ++i) {
            Message noise;
            noise.bytes = {0x55};
            noise.noise = {true};
            bus.field().sendAt(milliseconds(100) * i, kNoise, noise);
        }
        bus.start();
        const std::vector<double> times = milliseconds_of(stepsOf(1, seconds(10)));
        ASSERT_THAT(times, testing::Not(IsEmpty()));
        if (absolute)
            EXPECT_THAT(times, Each(Lt(300.0)));
        else
            EXPECT_GT(times.front(), 5000.0);
        EXPECT_EQ("", bus.witness().complaint());
    }
}

/// Long enough for the distance between trials to have grown to its full length.
constexpr Time kCompared = minutes(30);

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
    const host::LinkSettings defaults;
    plan.link.timeout = defaults.timeout;
    plan.link.retries = defaults.retries;
    for (int station = 1; station <= (readTheEighth ? 8 : 7); ++station)
        plan.watched.push_back("4x:0:100@" + std::to_string(station));
    return agreed(plan);
}

TEST_F(BusPolicy, ADeadStationOfEightCostsTheOthersAtMostOneTwentieth)
{
    Bus &alone = build(eightStations(false));
    alone.start();
    alone.runFor(kCompared);
    const auto without = static_cast<double>(goodReadings(alone));

    Bus &bus = build(eightStations(true));
    bus.field().muteStation(8, hours(2));
    bus.start();
    bus.runFor(kCompared);
    EXPECT_EQ("", bus.witness().complaint());
    const double kept = static_cast<double>(goodReadings(bus)) / without;
    RecordProperty("loss_percent", std::to_string(100 * (1 - kept)));
    EXPECT_GE(kept, 0.95);

    BusPlan plan = eightStations(true);
    plan.link.policies.offline = false;
    Bus &unguarded = build(plan);
    unguarded.field().muteStation(8, hours(2));
    unguarded.start();
    unguarded.runFor(kCompared);
    EXPECT_LT(static_cast<double>(goodReadings(unguarded)) / without, 0.95);
}

TEST_F(BusPolicy, ADeadStationIsTriedAtGrowingDistances)
{
    BusPlan plan = planOf(2, {"4x:0:4@1", "4x:0:4@2"});
    plan.link.pollInterval = seconds(1);
    Bus &bus = build(plan);
    bus.field().muteStation(2, hours(2));
    bus.start();
    const std::vector<host::StepReport> steps = stepsOf(2, minutes(10));
    // Three failures in a row, then trials: after 10, 20 and 40 seconds, and then every minute.
    ASSERT_THAT(steps, testing::SizeIs(Ge(10u)));
    std::vector<double> distances;
    for (std::size_t i = 3; i < steps.size(); ++i)
        distances.push_back(host::seconds(steps[i].startedAt - steps[i - 1].startedAt));
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
    std::vector<host::Ticket> tickets;
    for (std::uint32_t i = 0; i < 40; ++i)
        tickets.push_back(bus.write("4x:" + std::to_string(130 + i) + "@2", {i}));
    bus.runFor(seconds(10));
    EXPECT_TRUE(bus.isOffline(2));
    for (const host::Ticket ticket : tickets)
        EXPECT_NE(OperationEnd::Open, bus.endOf(ticket)) << ticket;
    EXPECT_EQ(OperationEnd::Offline, bus.endOf(tickets.back()));

    const Time before = bus.now();
    EXPECT_EQ(OperationEnd::Offline, bus.endOf(bus.write("4x:131@2", {7})));
    EXPECT_EQ(OperationEnd::Offline, bus.endOf(bus.read("4x:131@2")));
    EXPECT_EQ(before, bus.now());
    EXPECT_EQ(host::VariableState::Offline, bus.session().status(1).state);

    bus.runFor(minutes(6));
    EXPECT_FALSE(bus.isOffline(2));
    EXPECT_EQ(host::VariableState::Good, bus.session().status(1).state);
    const host::Ticket again = bus.write("4x:131@2", {99});
    bus.runFor(seconds(5));
    EXPECT_EQ(OperationEnd::Good, bus.endOf(again));
    EXPECT_EQ(99, bus.field().history(2).value(Area::HoldingRegisters, 131));
    EXPECT_EQ("", bus.witness().complaint());
}

TEST_F(BusPolicy, AnOrderThatIsDroppedWhileTheLineIsWaitedForIsNotSent)
{
    Bus &bus = build(planOf(2, {}));
    bus.start();
    bus.field().muteStation(1, hours(1));
    bus.read("4x:0@1");
    bus.runFor(milliseconds(250)); // the reading has failed, and the line is listened to for a late answer
    const host::Ticket ticket = bus.write("4x:130@2", {4711});
    bus.runFor(milliseconds(50));
    bus.setStationEnabled(2, false);
    EXPECT_EQ(OperationEnd::Dropped, bus.endOf(ticket));
    bus.runFor(seconds(5));
    EXPECT_EQ("", bus.witness().complaint());
    EXPECT_NE(4711, bus.field().history(2).value(Area::HoldingRegisters, 130));
}

TEST_F(BusPolicy, WhenTheLineIsBackAllStationsAreBackSoon)
{
    BusPlan plan = planOf(8, {});
    for (int station = 1; station <= 8; ++station)
        plan.watched.push_back("4x:0:4@" + std::to_string(station));
    Bus &bus = build(plan);
    bus.start();
    bus.runFor(seconds(5));
    bus.field().cutLine(true);
    bus.runFor(minutes(10));
    for (int station = 1; station <= 8; ++station)
        EXPECT_TRUE(bus.isOffline(station)) << station;
    bus.field().cutLine(false);
    const Time since = bus.now();
    bus.runFor(plan.link.offline.longestProbe + seconds(5));
    bus.witness().checkRecovery(bus.now(), since, bus.watchedStations());
    EXPECT_EQ("", bus.witness().complaint());
}

/// A line on which nothing goes wrong.
class HealthyBus : public BusPolicy
{
protected:
    void runHealthy(BusPlan plan, Time time)
    {
        Bus &bus = build(agreed(plan));
        bus.witness().setHealthy(true);
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
    const std::size_t before = mallinfo2().uordblks;
    order(2000);
    const std::size_t after = mallinfo2().uordblks;
    EXPECT_EQ("", bus.witness().complaint());
    EXPECT_LT(after, before + 16 * 1024);
}

} // namespace
} // namespace plc::bus
