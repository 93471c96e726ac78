// When something that is done over and over is due again.
#include "host/commands/next_tick.h"

#include <gtest/gtest.h>

namespace {

using plc::host::nextTick;
using std::chrono::seconds;

TEST(NextTick, IsOneIntervalBehindTheLast)
{
    EXPECT_EQ(seconds(20), nextTick(seconds(10), seconds(10), seconds(10)));
    EXPECT_EQ(seconds(20), nextTick(seconds(10), seconds(10), seconds(19)));
}

TEST(NextTick, LeavesOutThoseThatWereMissed)
{
    EXPECT_EQ(seconds(30), nextTick(seconds(10), seconds(10), seconds(20)));
    EXPECT_EQ(seconds(50), nextTick(seconds(10), seconds(10), seconds(47)));
}

} // namespace
