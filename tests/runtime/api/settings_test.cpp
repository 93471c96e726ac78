// What a line makes of the settings that a program gives.

#include "runtime/api/settings.h"

#include <gmock/gmock.h>

namespace {

using namespace plcruntime;
using plc::api::linkSettings;
using plc::runtime::Failure;
using plc::runtime::LinkSettings;
using plc::runtime::Policies;
using std::chrono::milliseconds;
using ::testing::HasSubstr;

std::string refusalOf(const LineSettings &settings)
{
    try {
        linkSettings(settings);
    } catch (const Failure &failure) {
        return failure.what();
    }
    return "";
}

TEST(Settings, OfTheLineReachTheLink)
{
    LineSettings given;
    given.port = QString::fromLatin1("/dev/ttyS7");
    given.baud = 9600;
    given.parity = Parity::Odd;
    given.stopBits = 2;
    given.anyRate = true;
    given.timeoutMs = 250;
    given.retries = 5;
    given.station = 17;
    given.turnaroundMs = 40;
    given.maxBlock = 12;
    given.relay = true;
    given.echo = true;
    given.driverOptions = 0x11;
    given.offlineFailures = 7;
    given.firstProbeMs = 3000;
    given.longestProbeMs = 90000;
    given.pollIntervalMs = 700;
    given.reopen = false;
    const LinkSettings link = linkSettings(given);
    EXPECT_EQ("/dev/ttyS7", link.port);
    EXPECT_EQ(9600, link.baud);
    EXPECT_EQ(plc::runtime::Parity::Odd, link.parity);
    EXPECT_EQ(2, link.stopBits);
    EXPECT_TRUE(link.anyRate);
    EXPECT_FALSE(link.rs485);
    EXPECT_EQ(milliseconds(250), link.timeout);
    EXPECT_EQ(5, link.retries);
    EXPECT_EQ(17, link.station);
    EXPECT_EQ(milliseconds(40), link.turnaround);
    EXPECT_FALSE(link.lateGuard);
    EXPECT_EQ(12, link.maxBlock);
    EXPECT_EQ(1, link.linkMode);
    EXPECT_TRUE(link.echo);
    EXPECT_EQ(0x11u, link.options);
    EXPECT_EQ(7, link.offline.failures);
    EXPECT_EQ(milliseconds(3000), link.offline.firstProbe);
    EXPECT_EQ(milliseconds(90000), link.offline.longestProbe);
    EXPECT_EQ(milliseconds(700), link.pollInterval);
    EXPECT_FALSE(link.reopen);
    EXPECT_TRUE(link.stations.empty());
    given.lateGuardMs = 0;
    EXPECT_EQ(milliseconds(0), linkSettings(given).lateGuard);
    given.parity = Parity::None;
    EXPECT_EQ(plc::runtime::Parity::None, linkSettings(given).parity);
    EXPECT_EQ(plc::runtime::Parity::Even, linkSettings(LineSettings()).parity);
}

TEST(Settings, OfATwoWireLineReachTheLink)
{
    LineSettings given;
    given.rs485 = true;
    given.rs485RtsOnSend = false;
    given.rs485BeforeMs = 3;
    given.rs485AfterMs = 4;
    const LinkSettings link = linkSettings(given);
    ASSERT_TRUE(link.rs485);
    EXPECT_FALSE(link.rs485->rtsOnSend);
    EXPECT_EQ(3, link.rs485->beforeMs);
    EXPECT_EQ(4, link.rs485->afterMs);
}

TEST(Settings, OfAStationReachTheLinkWhereTheyAreItsOwn)
{
    LineSettings given;
    StationSettings slow;
    slow.station = 7;
    slow.timeoutMs = 3000;
    slow.retries = 0;
    slow.pauseMs = 20;
    StationSettings plain;
    plain.station = 9;
    given.stations << slow << plain;
    const LinkSettings link = linkSettings(given);
    ASSERT_EQ(2u, link.stations.size());
    EXPECT_EQ(milliseconds(3000), link.stations.at(7).timeout);
    EXPECT_EQ(0, link.stations.at(7).retries);
    EXPECT_EQ(milliseconds(20), link.stations.at(7).pause);
    EXPECT_FALSE(link.stations.at(9).timeout);
    EXPECT_FALSE(link.stations.at(9).retries);
    given.stations << slow;
    EXPECT_EQ("setting 'stations' has station 7 twice", refusalOf(given));
}

TEST(Settings, SwitchEachPolicyOffByABitOfItsOwn)
{
    const std::vector<std::pair<Policy, bool Policies::*>> all = {
        {PolicyDiscardInput, &Policies::discardInput},
        {PolicyLateReplyGuard, &Policies::lateReplyGuard},
        {PolicyCheckReplies, &Policies::checkReplies},
        {PolicyStrictWrites, &Policies::strictWrites},
        {PolicyEndOnException, &Policies::endOnException},
        {PolicyEndOnDamage, &Policies::endOnDamage},
        {PolicyAbsoluteDeadline, &Policies::absoluteDeadline},
        {PolicyOffline, &Policies::offline},
        {PolicyEchoCheck, &Policies::echoCheck}};
    for (const auto &[off, unused] : all) {
        LineSettings given;
        given.policiesOff = off;
        const Policies policies = linkSettings(given).policies;
        for (const auto &[bit, policy] : all)
            EXPECT_EQ(bit != off, policies.*policy) << off << " " << bit;
    }
}

struct Range
{
    const char *name;
    int LineSettings::*setting;
    int least;
    int most;
    bool hasDefault; ///< one below the least stands for something else
};

TEST(Settings, AreRefusedBeyondTheirRanges)
{
    const Range ranges[] = {
        {"baud", &LineSettings::baud, 300, 4000000, false},
        {"stopBits", &LineSettings::stopBits, 1, 2, true},
        {"rs485BeforeMs", &LineSettings::rs485BeforeMs, 0, 1000, false},
        {"rs485AfterMs", &LineSettings::rs485AfterMs, 0, 1000, false},
        {"timeoutMs", &LineSettings::timeoutMs, 10, 60000, false},
        {"retries", &LineSettings::retries, 0, 100, false},
        {"station", &LineSettings::station, 1, 247, false},
        {"turnaroundMs", &LineSettings::turnaroundMs, 0, 60000, false},
        {"lateGuardMs", &LineSettings::lateGuardMs, 0, 60000, true},
        {"maxBlock", &LineSettings::maxBlock, 1, 100, false},
        {"offlineFailures", &LineSettings::offlineFailures, 1, 1000, false},
        {"firstProbeMs", &LineSettings::firstProbeMs, 100, 3600000, false},
        {"longestProbeMs", &LineSettings::longestProbeMs, 100, 3600000, false},
        {"pollIntervalMs", &LineSettings::pollIntervalMs, 0, 3600000, false},
    };
    for (const Range &range : ranges) {
        LineSettings given;
        given.*range.setting = range.least;
        EXPECT_EQ("", refusalOf(given));
        given.*range.setting = range.most;
        EXPECT_EQ("", refusalOf(given));
        for (const int wrong : {range.least - (range.hasDefault ? 2 : 1), range.most + 1}) {
            given.*range.setting = wrong;
            EXPECT_THAT(refusalOf(given),
                        HasSubstr("setting '" + std::string(range.name) + "' is " +
                                  std::to_string(range.least) + " to " + std::to_string(range.most)));
        }
    }
}

TEST(Settings, OfAStationAreRefusedBeyondTheirRanges)
{
    const std::vector<std::pair<int StationSettings::*, std::pair<int, int>>> ranges = {
        {&StationSettings::station, {1, 247}},
        {&StationSettings::timeoutMs, {10, 60000}},
        {&StationSettings::retries, {0, 100}},
        {&StationSettings::pauseMs, {0, 400}}};
    for (const auto &[setting, range] : ranges) {
        for (const int value : {range.first, range.second, range.first - 2, range.second + 1}) {
            LineSettings given;
            StationSettings station;
            station.station = 1;
            station.*setting = value;
            given.stations << station;
            EXPECT_EQ(value >= range.first && value <= range.second, refusalOf(given).empty()) << value;
        }
    }
}

} // namespace
