#include "host/scan_pacer.h"

#include <gtest/gtest.h>

namespace {

using plc::host::ScanPacer;
using std::chrono::milliseconds;

TEST(ScanPacer, LetsAScanRunToItsEnd)
{
    ScanPacer pacer(3, milliseconds(500));
    EXPECT_FALSE(pacer.isPausing(milliseconds(1000)));
    pacer.readEnded(milliseconds(1000));
    pacer.readEnded(milliseconds(1010));
    EXPECT_FALSE(pacer.isPausing(milliseconds(1020)));
}

TEST(ScanPacer, PausesUntilTheIntervalFromTheStartOfTheScanIsOver)
{
    ScanPacer pacer(2, milliseconds(500));
    pacer.readEnded(milliseconds(1000));
    pacer.readEnded(milliseconds(1010));
    EXPECT_TRUE(pacer.isPausing(milliseconds(1499)));
    EXPECT_FALSE(pacer.isPausing(milliseconds(1500)));
}

TEST(ScanPacer, DoesNotPauseWithoutAnInterval)
{
    ScanPacer pacer(1, milliseconds(0));
    pacer.readEnded(milliseconds(1000));
    EXPECT_FALSE(pacer.isPausing(milliseconds(1000)));
}

TEST(ScanPacer, DoesNotPauseWithoutCyclicReads)
{
    EXPECT_FALSE(ScanPacer(0, milliseconds(500)).isPausing(milliseconds(0)));
}

TEST(ScanPacer, DoesNotPauseWhileATransactionIsOpen)
{
    // Otherwise the repetition of a write in the pause would never go out.
    ScanPacer pacer(1, milliseconds(500));
    pacer.readEnded(milliseconds(1000));
    pacer.stepBegun();
    EXPECT_FALSE(pacer.isPausing(milliseconds(1010)));
    pacer.stepEnded();
    EXPECT_TRUE(pacer.isPausing(milliseconds(1020)));
}

} // namespace
