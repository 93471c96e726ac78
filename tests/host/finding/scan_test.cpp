/// @file
/// A scan on lines in virtual time: what it finds, and what it takes.
#include "host/finding/scan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "scan_line.h"

namespace plc::host {
namespace {

using namespace std::chrono_literals; // NOLINT(google-build-using-namespace)
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr ScanSetting k9600Even{9600, Parity::Even, 1};
constexpr ScanSetting k19200Even{19200, Parity::Even, 1};

std::vector<int> allStations()
{
    std::vector<int> all;
    for (int station = 1; station <= 247; ++station)
        all.push_back(station);
    return all;
}

/// What a scan tells, kept.
class Told : public ScanObserver
{
public:
    void heard(const LineUse &use) override { uses.push_back(use); }
    void settingBegins(const ScanSetting &setting) override { begun.push_back(setting.text()); }
    void stationAnswers(const ScanSetting &, int station) override { answering.push_back(station); }
    void settingEnds(const SettingReport &report) override { reports.push_back(report); }

    std::vector<Find> finds() const
    {
        std::vector<Find> all;
        for (const SettingReport &report : reports)
            all.insert(all.end(), report.finds.begin(), report.finds.end());
        return all;
    }
    /// "5 good at 9600 8E1".
    std::vector<std::string> words() const
    {
        const char *const states[] = {"good", "bad link", "two stations", "heard"};
        std::vector<std::string> words;
        for (const Find &find : finds())
            words.push_back(std::to_string(find.station) + " " + states[static_cast<int>(find.state)] +
                            " at " + find.setting.text());
        return words;
    }

    std::vector<LineUse> uses;
    std::vector<std::string> begun;
    std::vector<int> answering;
    std::vector<SettingReport> reports;
};

ScannedStation stationAt(int address, Time delay = 10ms, const ScanSetting &setting = k9600Even)
{
    ScannedStation station;
    station.address = address;
    station.setting = setting;
    station.delay = delay;
    station.value = 0x1234;
    return station;
}

/// A scan of all stations at 9600 8E1 without listening, unless the plan is changed.
class ScanTest : public testing::Test
{
protected:
    ScanTest()
    {
        plan.stations = allStations();
        plan.settings = {k9600Even};
        plan.listen = Time::zero();
    }
    Time run(std::vector<ScannedStation> stations, LineManners manners = LineManners(),
             std::uint64_t seed = 1)
    {
        ScanLine line(std::move(stations), manners, seed);
        Scan scan(plan, told);
        const Time took = line.run(&scan);
        requests = line.requests();
        return took;
    }

    ScanPlan plan;
    Told told;
    int requests = 0;
};

TEST_F(ScanTest, AsksForOneHoldingRegisterAtZeroOfEachStation)
{
    EXPECT_EQ("010300000001840a", plan.request(1).toHex());
    EXPECT_EQ("f70300000001909c", plan.request(247).toHex());
}

TEST_F(ScanTest, FindsNothingOnAnEmptyLineIn16Seconds)
{
    EXPECT_LE(run({}), 16s);
    EXPECT_THAT(told.words(), IsEmpty());
    EXPECT_EQ(247, requests);
}

TEST_F(ScanTest, FindsEightStationsIn16Seconds)
{
    std::vector<ScannedStation> stations;
    for (const int address : {1, 2, 5, 17, 100, 101, 246, 247})
        stations.push_back(stationAt(address, Time(1ms) * (4 + address % 40)));
    EXPECT_LE(run(stations), 16s);
    EXPECT_THAT(told.words(),
                ElementsAre("1 good at 9600 8E1", "2 good at 9600 8E1", "5 good at 9600 8E1",
                            "17 good at 9600 8E1", "100 good at 9600 8E1", "101 good at 9600 8E1",
                            "246 good at 9600 8E1", "247 good at 9600 8E1"));
}

TEST_F(ScanTest, FindsSixteenStationsIn16Seconds)
{
    std::vector<ScannedStation> stations;
    for (int address = 1; address <= 16; ++address)
        stations.push_back(stationAt(address, 12ms));
    EXPECT_LE(run(stations), 16s);
    EXPECT_EQ(16u, told.words().size());
}

TEST_F(ScanTest, GoesThrough15SettingsWithin4Minutes)
{
    plan.settings =
        likelyFirst({9600, 19200, 38400, 57600, 115200}, {Parity::Even, Parity::Odd, Parity::None}, {});
    ASSERT_EQ(15u, plan.settings.size());
    EXPECT_LE(run({stationAt(3, 12ms, {19200, Parity::None, 1}), stationAt(9, 30ms, {115200, Parity::Odd, 1}),
                   stationAt(247, 8ms)}),
              4min);
    EXPECT_THAT(told.words(),
                ElementsAre("247 good at 9600 8E1", "3 good at 19200 8N2", "9 good at 115200 8O1"));
}

TEST_F(ScanTest, TakesTheLikelySettingsFirst)
{
    std::vector<std::string> order;
    for (const ScanSetting &setting :
         likelyFirst({115200, 9600, 19200}, {Parity::Odd, Parity::None, Parity::Even}, {}))
        order.push_back(setting.text());
    EXPECT_THAT(order, ElementsAre("9600 8E1", "9600 8N2", "19200 8E1", "19200 8N2", "115200 8E1",
                                   "115200 8N2", "9600 8O1", "19200 8O1", "115200 8O1"));
}

TEST_F(ScanTest, AReplyWithinTheWaitIsNotMissedHoweverCloseToItsEnd)
{
    for (Time delay = 48ms; delay <= 50ms; delay += 100us) {
        told = Told();
        run({stationAt(40, delay)});
        EXPECT_THAT(told.words(), ElementsAre("40 good at 9600 8E1")) << delay.count();
    }
}

TEST_F(ScanTest, AnExceptionIsAReply)
{
    ScannedStation station = stationAt(7);
    station.exceptionCode = 2;
    run({station});
    ASSERT_THAT(told.words(), ElementsAre("7 good at 9600 8E1"));
    EXPECT_EQ(2, told.finds().front().exceptionCode);
}

TEST_F(ScanTest, ALateReplyCountsForTheStationThatItNames)
{
    run({stationAt(40, 190ms)});
    ASSERT_THAT(told.words(), ElementsAre("40 good at 9600 8E1"));
    const Find find = told.finds().front();
    EXPECT_TRUE(find.isLate);
    EXPECT_GE(find.replyTimes.least(), 190ms);
    EXPECT_LE(find.replyTimes.most(), 192ms);
}

TEST_F(ScanTest, AStationWhoseRequestALateReplyDestroyedIsFoundAllTheSame)
{
    // The reply of 40 runs into the request to 41, which is never answered.
    for (Time delay = 52500us; delay < 60ms; delay += 500us) {
        told = Told();
        run({stationAt(40, delay), stationAt(41, 10ms)});
        EXPECT_THAT(told.words(), ElementsAre("40 good at 9600 8E1", "41 good at 9600 8E1"))
            << delay.count() / 1000 << " us";
    }
}

TEST_F(ScanTest, AStationOfWhichNoReplyHasAGoodCrcIsThereButItsLinkIsBad)
{
    ScannedStation station = stationAt(12);
    station.damagedPermille = 1000;
    run({station});
    EXPECT_THAT(told.words(), ElementsAre("12 bad link at 9600 8E1"));
}

TEST_F(ScanTest, AnEchoIsNoFind)
{
    LineManners manners;
    manners.hasEcho = true;
    EXPECT_LE(run({stationAt(5)}, manners), 16s);
    EXPECT_THAT(told.words(), ElementsAre("5 good at 9600 8E1"));
    EXPECT_TRUE(told.reports.front().hasEcho);
}

TEST_F(ScanTest, AnEchoThatComesBehindFurtherRequestsIsNoFind)
{
    for (const Time delay : {Time(20ms), Time(55ms), Time(90ms), Time(130ms)}) {
        told = Told();
        LineManners manners;
        manners.hasEcho = true;
        manners.echoDelay = delay;
        manners.batch = 16ms;
        run({stationAt(5)}, manners);
        EXPECT_THAT(told.words(), ElementsAre("5 good at 9600 8E1")) << delay.count();
    }
}

TEST_F(ScanTest, ABabblingDeviceIsToldAndNotScanned)
{
    LineManners manners;
    manners.isBabbling = true;
    EXPECT_LE(run({stationAt(5)}, manners), 10s);
    EXPECT_THAT(told.words(), IsEmpty());
    ASSERT_EQ(1u, told.reports.size());
    EXPECT_TRUE(told.reports.front().isBabbling);
    EXPECT_EQ(0, requests);
}

TEST_F(ScanTest, NoiseIsNoFindAndEndsInTime)
{
    for (const Time every : {Time(20ms), Time(60ms), Time(400ms), Time(5s)}) {
        told = Told();
        LineManners manners;
        manners.noiseEvery = every;
        EXPECT_LE(run({}, manners), 60s) << every.count();
        EXPECT_THAT(told.words(), IsEmpty()) << every.count();
    }
}

TEST_F(ScanTest, TwoStationsAtOneAddressAreNamedWhereTheirRepliesComeApart)
{
    ScannedStation other = stationAt(30, 35ms);
    other.value = 7;
    run({stationAt(30, 10ms), other});
    EXPECT_THAT(told.words(), ElementsAre("30 two stations at 9600 8E1"));
}

TEST_F(ScanTest, TwoStationsAtOneAddressAreNamedWhereTheirRepliesRunIntoEachOther)
{
    ScannedStation other = stationAt(30, 14ms);
    other.value = 7;
    run({stationAt(30, 10ms), other});
    EXPECT_THAT(told.words(), ElementsAre("30 two stations at 9600 8E1"));
}

TEST_F(ScanTest, TwoStationsAtOneAddressAreNamedWhereTheSecondIsLate)
{
    run({stationAt(30, 10ms), stationAt(30, 75ms)});
    EXPECT_THAT(told.words(), ElementsAre("30 two stations at 9600 8E1"));
}

TEST_F(ScanTest, AStationWhoseValueChangesIsOneStation)
{
    ScannedStation station = stationAt(30);
    station.isLive = true;
    run({station});
    EXPECT_THAT(told.words(), ElementsAre("30 good at 9600 8E1"));
}

TEST_F(ScanTest, TheWaitGrowsWithTheRepliesSeenUpToFourTimes)
{
    std::vector<ScannedStation> stations = {stationAt(1, 49ms)};
    const Time grown = run(stations);
    EXPECT_GT(grown, 247 * (59ms + 10ms));
    plan.wait = 10ms;
    told = Told();
    EXPECT_LT(run({stationAt(1, 200ms)}), 247 * (10ms + 40ms) + 5s);
    EXPECT_THAT(told.words(), ElementsAre("1 good at 9600 8E1"));
}

TEST_F(ScanTest, ALineInUseIsLeftAloneAndItsStationsAreFinds)
{
    plan.listen = 1s;
    LineManners manners;
    manners.secondMasterAsks = 5;
    run({stationAt(5), stationAt(6)}, manners);
    EXPECT_EQ(0, requests);
    ASSERT_EQ(1u, told.uses.size());
    EXPECT_TRUE(told.uses.front().isInUse);
    EXPECT_THAT(told.words(), ElementsAre("5 heard at 9600 8E1"));
}

TEST_F(ScanTest, ALineInUseIsListenedToAtOtherSettingsUntilItIsUnderstood)
{
    plan.listen = 1s;
    plan.settings = {k9600Even, {9600, Parity::None, 2}, k19200Even};
    LineManners manners;
    manners.secondMasterAsks = 5;
    run({stationAt(5, 10ms, k19200Even)}, manners);
    EXPECT_EQ(0, requests);
    EXPECT_THAT(told.words(), ElementsAre("5 heard at 19200 8E1"));
}

TEST_F(ScanTest, ALineInUseIsScannedWhereThatIsWanted)
{
    plan.listen = 1s;
    plan.anyway = true;
    plan.stations = {4, 5, 6};
    LineManners manners;
    manners.secondMasterAsks = 5;
    manners.secondMasterEvery = 700ms;
    run({stationAt(5), stationAt(6)}, manners);
    EXPECT_GT(requests, 0);
    EXPECT_THAT(told.words(), testing::Contains("6 good at 9600 8E1"));
}

TEST_F(ScanTest, DamagedCharactersThatThePortCountsAreALineInUse)
{
    plan.listen = 1s;
    Scan scan(plan, told);
    ASSERT_TRUE(scan.advance(0ms, {}).open);
    EXPECT_EQ(1s, scan.advance(0ms, {}).wakeAt);
    scan.noticed(40);
    EXPECT_TRUE(scan.advance(1s, {}).isOver);
    EXPECT_TRUE(scan.isInUse());
}

TEST_F(ScanTest, StoppingKeepsTheFinds)
{
    ScanLine line({stationAt(5), stationAt(200)}, LineManners(), 1);
    Scan scan(plan, told);
    line.stopWhen = [](Time now) { return now > 3s; };
    EXPECT_LE(line.run(&scan), 4s);
    EXPECT_THAT(told.words(), ElementsAre("5 good at 9600 8E1"));
}

TEST_F(ScanTest, TellsHowLongItWillTake)
{
    Scan scan(plan, told);
    scan.advance(0ms, {});
    EXPECT_GT(scan.timeLeft(), 14s);
    EXPECT_LT(scan.timeLeft(), 16s);
}

} // namespace
} // namespace plc::host
