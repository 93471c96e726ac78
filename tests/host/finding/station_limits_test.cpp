#include "host/finding/station_limits.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>

#include "host/virtual_port.h"

namespace {

using namespace plc;
using namespace plc::host;
using namespace std::chrono_literals;

constexpr int kStation = 7;
constexpr int kBauds[] = {1200, 9600, 19200, 38400, 115200};

/// A station as it may be, and what is to be found of it.
struct Device
{
    station::Abilities abilities;
    station::LineSettings line;
    station::CrcOrder replyOrder = station::CrcOrder::LowFirst;
};

double ms(Time time)
{
    return std::chrono::duration<double, std::milli>(time).count();
}

StationLimits limitsOf(const Device &device, int samples = 200, int dropPercent = 0)
{
    station::StationBus bus({kStation}, station::kWholeArea, device.line.requestOrder, device.replyOrder);
    bus.station(kStation)->setAbilities(device.abilities);
    station::FaultSettings faultSettings;
    faultSettings.share(station::Fault::Drop) = dropPercent;
    station::FaultPlan faults(faultSettings, device.replyOrder);
    test::VirtualPort port(device.line, &bus, &faults);
    FindingGround ground = port.ground();
    Asking asking(test::askingAt(device.line.baud));
    LimitsWish wish;
    wish.station = kStation;
    wish.samples = samples;
    LimitsFinder finder(wish);
    EXPECT_TRUE(carryOut(ground, asking, finder));
    const bool highFirst = device.line.requestOrder == station::CrcOrder::HighFirst;
    for (const QByteArray &frame : port.sent()) {
        EXPECT_TRUE(runtime::changesNothing(frame)) << "nothing but reads goes out";
        const bool isAsConfigured = runtime::crcFits(frame.constData(), frame.size(), highFirst);
        EXPECT_TRUE(isAsConfigured || !finder.result().isThere || highFirst);
    }
    return finder.result();
}

Device plain()
{
    Device device;
    device.line.baud = 19200;
    return device;
}

/// Any station; times are at most half as uncertain as they are long.
Device deviceOf(std::uint64_t seed)
{
    std::mt19937_64 random(seed);
    const auto from = [&random](int least, int most) {
        return least + static_cast<int>(random() % static_cast<unsigned>(most - least + 1));
    };
    Device device;
    device.line.baud = kBauds[from(0, 4)];
    device.line.answerDelay = std::chrono::milliseconds(from(5, 60));
    device.line.delaySpread = device.line.answerDelay * from(0, 5) / 10;
    device.line.seed = random();
    if (from(0, 1) == 1)
        device.line.leastPause = std::chrono::milliseconds(from(5, 80));
    device.line.requestOrder = from(0, 3) == 0 ? station::CrcOrder::HighFirst : station::CrcOrder::LowFirst;
    device.replyOrder = from(0, 3) == 0 ? station::CrcOrder::HighFirst : station::CrcOrder::LowFirst;
    station::Abilities &abilities = device.abilities;
    abilities.functions = {from(3, 4)};
    for (const int function : {1, 2, 3, 4, 8, 17, 43}) {
        if (from(0, 1) == 1)
            abilities.functions.insert(function);
    }
    if (from(0, 1) == 1)
        abilities.serverId = "anything";
    if (from(0, 1) == 1)
        abilities.objects = {{0, "Acme"}, {1, "X"}, {2, "1"}};
    abilities.mostRegisters = from(0, 3) == 0 ? 125 : from(2, 124);
    abilities.mostBits = from(0, 3) == 0 ? 2000 : from(2, 1999);
    abilities.lacking = from(0, 1) == 1 ? station::Lacking::ReadsZeros : station::Lacking::Refuses;
    const int last = from(200, 60000);
    for (const station::Area area : {station::Area::HoldingRegisters, station::Area::InputRegisters})
        abilities.present[area] = {{0, last}, {last + from(3, 50), last + 5000}};
    return device;
}

Knowledge knowledgeIn(const station::Abilities &abilities, int function)
{
    const bool isTold =
        function == 17 ? !abilities.serverId.empty() : function != 43 || !abilities.objects.empty();
    return abilities.functions.count(function) > 0 && isTold ? Knowledge::Known : Knowledge::Unknown;
}

/// Within 10 % or 2 ms, whichever is more.
void expectNear(Time expected, Time found, const char *what)
{
    EXPECT_NEAR(ms(expected), ms(found), std::max(2.0, ms(expected) / 10)) << what;
}

void expectAsConfigured(std::uint64_t seed)
{
    SCOPED_TRACE("seed " + std::to_string(seed));
    const Device device = deviceOf(seed);
    const StationLimits found = limitsOf(device);
    ASSERT_TRUE(found.isThere);
    EXPECT_EQ(device.line.requestOrder == station::CrcOrder::HighFirst, found.requestCrcHighFirst);
    EXPECT_EQ(device.replyOrder == station::CrcOrder::HighFirst, found.replyCrcHighFirst);
    for (const int function : {1, 2, 3, 4, 8, 17, 43})
        EXPECT_EQ(knowledgeIn(device.abilities, function), found.functions.at(function))
            << "function " << function;
    EXPECT_EQ(device.abilities.mostRegisters, found.registers.most);
    EXPECT_TRUE(found.registers.isLimit);
    const bool hasBits = device.abilities.functions.count(1) + device.abilities.functions.count(2) > 0;
    EXPECT_EQ(hasBits ? device.abilities.mostBits : 0, found.bits.most);
    EXPECT_EQ(device.abilities.lacking == station::Lacking::ReadsZeros ? GapReads::Answered
                                                                       : GapReads::Refused,
              found.gaps);
    ASSERT_TRUE(found.leastPause);
    const Time silence = runtime::LineTiming(device.line.baud).silence();
    if (device.line.leastPause > silence)
        expectNear(device.line.leastPause, *found.leastPause, "least pause");
    else
        EXPECT_EQ(Time::zero(), *found.leastPause);
    const Time least = std::max<Time>(device.line.answerDelay, silence);
    expectNear(least + device.line.delaySpread / 2, found.replyTimes.percentile(50), "reply time, p50");
    expectNear(least + device.line.delaySpread * 99 / 100, found.replyTimes.percentile(99),
               "reply time, p99");
}

TEST(StationLimitsOfTwenty, AreAsTheStationsAreConfigured)
{
    for (std::uint64_t seed = 1; seed <= 20; ++seed)
        expectAsConfigured(seed);
}

TEST(StationLimitsOfTwenty, AreAsTheStationsAreConfiguredWithSeedsThatNobodyHasSeen)
{
    const std::uint64_t first = test::freshSeed();
    for (std::uint64_t seed = 0; seed < 20; ++seed)
        expectAsConfigured(first + seed);
}

TEST(StationLimits, AStationWithoutLimitsHasThoseOfTheStandard)
{
    const StationLimits found = limitsOf(plain(), 20);
    EXPECT_EQ(125, found.registers.most);
    EXPECT_EQ(2000, found.bits.most);
    EXPECT_EQ(GapReads::NotFound, found.gaps);
    EXPECT_EQ(Time::zero(), *found.leastPause);
    EXPECT_EQ(20u, found.replyTimes.count());
}

TEST(StationLimits, ABlockThatEndsWithTheAreaIsNoLimit)
{
    Device device = plain();
    device.abilities.present[station::Area::HoldingRegisters] = {{0, 9}};
    const StationLimits found = limitsOf(device, 1);
    EXPECT_EQ(10, found.registers.most);
    EXPECT_FALSE(found.registers.isLimit);
    EXPECT_EQ(GapReads::Refused, found.gaps);
    EXPECT_EQ(10, found.gapAt);
}

TEST(StationLimits, ALostReplyIsNoLimit)
{
    Device device = plain();
    device.abilities.mostRegisters = 40;
    device.line.leastPause = 25ms;
    const StationLimits found = limitsOf(device, 20, 3);
    EXPECT_EQ(40, found.registers.most);
    EXPECT_EQ(2000, found.bits.most);
    expectNear(25ms, *found.leastPause, "least pause");
}

TEST(StationLimits, WhereNobodyAnswersNothingIsFound)
{
    Device device = plain();
    device.abilities.lacking = station::Lacking::IsSilent;
    device.abilities.functions = {3};
    device.abilities.present[station::Area::HoldingRegisters] = {{500, 600}};
    EXPECT_TRUE(limitsOf(device).isThere) << "an exception is an answer";
    station::StationBus bus({kStation});
    test::VirtualPort port(device.line, &bus);
    FindingGround ground = port.ground();
    Asking asking(test::askingAt(19200));
    LimitsWish wish;
    wish.station = 8;
    LimitsFinder finder(wish);
    EXPECT_TRUE(carryOut(ground, asking, finder));
    EXPECT_FALSE(finder.result().isThere);
}

} // namespace
