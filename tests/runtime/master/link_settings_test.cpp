#include "runtime/master/link_settings.h"

#include <gtest/gtest.h>

namespace {

using namespace plc::runtime;
TEST(Defaults, AreThoseOfTheStandard)
{
    // MODBUS over Serial Line V1.02, 2.4.1, 2.5.1 and 3.2.
    const LinkSettings settings;
    EXPECT_EQ(19200, settings.baud);
    EXPECT_EQ(Parity::Even, settings.parity);
    EXPECT_EQ(1, settings.effectiveStopBits());
    EXPECT_EQ(std::chrono::seconds(1), settings.timeout);
    EXPECT_EQ(std::chrono::milliseconds(100), settings.turnaround);
    EXPECT_LT(settings.turnaround, settings.timeout);
    EXPECT_EQ(0, settings.linkMode);
    EXPECT_EQ(0u, settings.options) << "CRC low byte first";
}

TEST(StopBits, AreTwoWithoutParityUnlessAskedOtherwise)
{
    LinkSettings settings;
    EXPECT_EQ(1, settings.effectiveStopBits());
    settings.parity = Parity::Odd;
    EXPECT_EQ(1, settings.effectiveStopBits());
    settings.parity = Parity::None;
    EXPECT_EQ(2, settings.effectiveStopBits());
    settings.stopBits = 1;
    EXPECT_EQ(1, settings.effectiveStopBits());
}

TEST(BitLimit, IsEightTimesTheWordLimitOrOne)
{
    LinkSettings settings;
    settings.maxBlock = 100;
    EXPECT_EQ(800, settings.bitLimit());
    settings.options = plc::kOptionNoBitPacking;
    EXPECT_EQ(1, settings.bitLimit());
}

TEST(RulesOfAStation, AreThoseOfTheLinkWhereItHasNone)
{
    LinkSettings settings;
    settings.timeout = std::chrono::milliseconds(300);
    settings.retries = 5;
    settings.stations[7].pause = std::chrono::milliseconds(20);
    for (const int station : {7, 8}) {
        const StationRules rules = settings.rulesOf(station);
        EXPECT_EQ(std::chrono::milliseconds(300), rules.responseTimeout);
        EXPECT_EQ(std::chrono::milliseconds(300), rules.lateReplyGuard) << "as long as the time-out";
        EXPECT_EQ(5, rules.retryLimit);
        EXPECT_EQ(std::chrono::milliseconds(station == 7 ? 20 : 0), rules.pause);
    }
}

TEST(RulesOfAStation, GoBeforeThoseOfTheLink)
{
    LinkSettings settings;
    settings.stations[7].timeout = std::chrono::seconds(4);
    settings.stations[7].retries = 0;
    EXPECT_EQ(std::chrono::seconds(4), settings.rulesOf(7).responseTimeout);
    EXPECT_EQ(std::chrono::seconds(4), settings.rulesOf(7).lateReplyGuard) << "as long as its own time-out";
    EXPECT_EQ(0, settings.rulesOf(7).retryLimit);
    settings.lateGuard = std::chrono::milliseconds(100);
    EXPECT_EQ(std::chrono::milliseconds(100), settings.rulesOf(7).lateReplyGuard);
    settings.policies.lateReplyGuard = false;
    EXPECT_EQ(Time::zero(), settings.rulesOf(7).lateReplyGuard);
}

} // namespace
