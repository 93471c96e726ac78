#include "runtime/master/scan_pacer.h"

#include <gtest/gtest.h>

namespace {

using plc::runtime::ScanPacer;
using std::chrono::milliseconds;

TEST(ScanPacer, LetsAScanRunToItsEnd)
{
    ScanPacer pacer(milliseconds(500), 3);
    EXPECT_FALSE(pacer.isPausing(milliseconds(1000)));
    pacer.readEnded(milliseconds(1000));
    pacer.readEnded(milliseconds(1010));
    EXPECT_FALSE(pacer.isPausing(milliseconds(1020)));
}

TEST(ScanPacer, PausesUntilTheIntervalFromTheStartOfTheScanIsOver)
{
    ScanPacer pacer(milliseconds(500), 2);
    pacer.readEnded(milliseconds(1000));
    pacer.readEnded(milliseconds(1010));
    EXPECT_TRUE(pacer.isPausing(milliseconds(1499)));
    EXPECT_FALSE(pacer.isPausing(milliseconds(1500)));
}

TEST(ScanPacer, DoesNotPauseWithoutAnInterval)
{
    ScanPacer pacer(milliseconds(0), 1);
    pacer.readEnded(milliseconds(1000));
    EXPECT_FALSE(pacer.isPausing(milliseconds(1000)));
}

TEST(ScanPacer, DoesNotPauseWithoutCyclicReads)
{
    EXPECT_FALSE(ScanPacer(milliseconds(500)).isPausing(milliseconds(0)));
}

TEST(ScanPacer, EndsTheScanEarlierWhenThereAreFewerReads)
{
    ScanPacer pacer(milliseconds(500), 3);
    pacer.readEnded(milliseconds(1000));
    EXPECT_FALSE(pacer.isPausing(milliseconds(1010)));
    pacer.setReads(2);
    pacer.readEnded(milliseconds(1010));
    EXPECT_TRUE(pacer.isPausing(milliseconds(1020)));
}

} // namespace
