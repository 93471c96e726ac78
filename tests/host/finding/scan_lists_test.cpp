#include "host/finding/scan_lists.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "runtime/line/failure.h"

namespace plc::host {
namespace {

using namespace std::chrono_literals; // NOLINT(google-build-using-namespace)
using testing::ElementsAre;
using testing::IsEmpty;

TEST(ScanLists, TakeRatesAndRangesOfTheUsualOnes)
{
    EXPECT_THAT(baudList("9600"), ElementsAre(9600));
    EXPECT_THAT(baudList("19200,9600,19200"), ElementsAre(19200, 9600));
    EXPECT_THAT(baudList("9600-115200"), ElementsAre(9600, 19200, 38400, 57600, 115200));
    EXPECT_THAT(baudList("31250,4800-9600"), ElementsAre(31250, 4800, 9600));
    for (const char *wrong : {"", "9600,", "fast", "9600-", "-9600", "19200-9600", "299", "4000001", "9600 "})
        EXPECT_THROW(baudList(wrong), Failure) << wrong;
}

TEST(ScanLists, TakeParities)
{
    EXPECT_THAT(parityList("none,even"), ElementsAre(Parity::None, Parity::Even));
    EXPECT_THROW(parityList("mark"), Failure);
    EXPECT_THROW(parityList(""), Failure);
}

TEST(ScanLists, TakeStopBits)
{
    EXPECT_THAT(stopBitList(""), IsEmpty());
    EXPECT_THAT(stopBitList("2"), ElementsAre(2));
    EXPECT_THAT(stopBitList("1-2"), ElementsAre(1, 2));
    for (const char *wrong : {"0", "3", "1,", "1.5"})
        EXPECT_THROW(stopBitList(wrong), Failure) << wrong;
}

TEST(ScanLists, TakeTimesInSecondsAndMilliseconds)
{
    EXPECT_EQ(50ms, timeTyped("--wait", "50ms", 1ms, 10s));
    EXPECT_EQ(50ms, timeTyped("--wait", "0.05", 1ms, 10s));
    EXPECT_EQ(1s, timeTyped("--wait", "1s", 1ms, 10s));
    for (const char *wrong : {"", "ms", "s", "50 ms", "0", "11", "-1", "nan", "1m", "0x10"})
        EXPECT_THROW(timeTyped("--wait", wrong, 1ms, 10s), Failure) << wrong;
}

TEST(ScanLists, TakeOneRegisterOrBitToAskFor)
{
    ScanPlan plan;
    setAsked("4x:258", &plan);
    EXPECT_EQ("05030102000125b2", plan.request(5).toHex());
    setAsked("3x:1", &plan);
    EXPECT_EQ(4, plan.function);
    setAsked("1x:1", &plan);
    EXPECT_EQ(2, plan.function);
    EXPECT_EQ(1, plan.replyDataBytes());
    setAsked("0x:65535", &plan);
    EXPECT_EQ(1, plan.function);
    EXPECT_EQ(65535, plan.address);
    for (const char *wrong : {"", "4x", "4x:0:2", "4x:0@5", "4x_d:0", "4x_bit:0.1", "9x:0", "4x:65536"})
        EXPECT_THROW(setAsked(wrong, &plan), Failure) << wrong;
}

} // namespace
} // namespace plc::host
