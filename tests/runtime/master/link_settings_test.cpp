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

} // namespace
