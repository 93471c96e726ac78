#include "host/screen/head_line.h"

#include <gtest/gtest.h>

#include "screen_fixture.h"

namespace {

using namespace plc::host;
using std::chrono::milliseconds;
using std::chrono::seconds;

class HeadLineTest : public ::testing::Test
{
protected:
    HeadLineTest() : head({"plchost watch", "/dev/ttyUSB0", "19200 8E1"})
    {
        plc::test::takeUtf8();
        figures.running = seconds(83);
        figures.counted.requests = 830;
        figures.counted.timeouts = 3;
        figures.scan = milliseconds(123);
    }
    std::string at(int width)
    {
        Picture picture(width, 1);
        head.draw(&picture, 0, figures);
        reversed = picture.at(0, width - 1).style.isReversed;
        return picture.line(0);
    }

    HeadLine head;
    LineFigures figures;
    bool reversed = false;
};

TEST_F(HeadLineTest, HasRateScanRequestsErrorsAndTimeOn40Columns)
{
    EXPECT_EQ("19200 8E1 123 ms 10.0/s 3 err       1:23", at(40));
    EXPECT_TRUE(reversed);
}

TEST_F(HeadLineTest, HasPortAndCommandWhereThereIsRoom)
{
    EXPECT_EQ("/dev/ttyUSB0  19200 8E1  scan 123 ms  10.0 requests/s  errors 3               1:23", at(82));
    EXPECT_EQ("plchost watch  /dev/ttyUSB0  19200 8E1  scan 123 ms  10.0 requests/s  errors 3        1:23",
              at(90));
}

TEST_F(HeadLineTest, KeepsTheTimeLongest)
{
    EXPECT_EQ("10.0/s 3 err    1:23", at(20));
    EXPECT_EQ("1:23", at(4));
    EXPECT_EQ("1", at(1));
}

TEST_F(HeadLineTest, CountsRequestsOfTheLastSeconds)
{
    at(40);
    for (int i = 1; i <= 10; ++i) {
        figures.running += seconds(1);
        figures.counted.requests += 200;
        at(40);
    }
    for (int i = 1; i <= 10; ++i) {
        figures.running += seconds(1);
        figures.counted.requests += 50;
        at(40);
    }
    EXPECT_EQ("19200 8E1 123 ms 50.0/s 3 err       1:43", at(40));
}

TEST_F(HeadLineTest, HasNoScanBeforeTheFirst)
{
    figures.scan.reset();
    EXPECT_EQ("19200 8E1 - 10.0/s 3 err            1:23", at(40));
}

TEST_F(HeadLineTest, SaysThatThePortIsLost)
{
    figures.portLost = "gone";
    Picture picture(80, 1);
    head.draw(&picture, 0, figures);
    EXPECT_EQ(Health::Bad, plc::test::styleAt(picture, 0, "PORT LOST").health);
    EXPECT_EQ(Health::Good, plc::test::styleAt(picture, 0, "errors").health);
}

TEST_F(HeadLineTest, ThatHasJustBegunDividesByNothing)
{
    figures = {};
    EXPECT_EQ("19200 8E1 - 0.0/s 0 err             0:00", at(40));
}

} // namespace
