#include "host/screen/station_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "screen_fixture.h"

namespace {

using namespace plc::host;
using std::chrono::milliseconds;
using ::testing::ElementsAre;

StationFigures station(int number)
{
    StationFigures figures;
    figures.counted.station = number;
    figures.counted.requests = 120;
    figures.counted.retries = 9;
    figures.counted.good = 100;
    figures.counted.timeouts = 3;
    figures.counted.bad = 5;
    figures.counted.exceptions = 7;
    figures.counted.lineBusy = 2;
    figures.counted.ignoredReplies = 1;
    figures.state = "on";
    figures.median = milliseconds(12);
    figures.percentile99 = milliseconds(40);
    figures.longest = milliseconds(95);
    return figures;
}

StationFigures offlineStation(int number)
{
    StationFigures figures;
    figures.counted.station = number;
    figures.counted.timeouts = 3;
    figures.state = "offline";
    figures.health = Health::Bad;
    return figures;
}

class StationTableTest : public ::testing::Test
{
protected:
    StationTableTest() { plc::test::takeUtf8(); }

    std::vector<std::string> at(int width)
    {
        Picture picture(width, 3);
        table.draw(&picture, 0, 1, 2, figures);
        return plc::test::linesOf(picture);
    }

    StationTable table;
    LineFigures figures;
};

TEST_F(StationTableTest, HasRepliesErrorsAndReplyTimesOn40Columns)
{
    figures.stations = {station(7), offlineStation(9)};
    EXPECT_THAT(at(40), ElementsAre("station  replies errors     p50     p99",
                                    "      7      100     17   12 ms   40 ms",
                                    "      9        0      3       -       -"));
}

TEST_F(StationTableTest, HasKindsOfErrorsByTheirWeightOn80Columns)
{
    figures.stations = {station(7), offlineStation(9)};
    EXPECT_THAT(at(80),
                ElementsAre("station   replies  errors  time-outs     bad      p50      p99  state",
                            "      7       100      17          3       5    12 ms    40 ms  on",
                            "      9         0       3          3       0        -        -  offline"));
}

TEST_F(StationTableTest, HasEverythingOn200Columns)
{
    figures.stations = {station(7)};
    const std::vector<std::string> lines = at(200);
    EXPECT_EQ(
        "station   requests   repeats   replies  errors  time-outs     bad  exceptions  ignored  line busy"
        "      p50      p99  longest  state",
        lines[0]);
    EXPECT_EQ(
        "      7        120         9       100      17          3       5           7        1          2"
        "    12 ms    40 ms    95 ms  on",
        lines[1]);
}

TEST_F(StationTableTest, ShowsInColourWhatIsOffline)
{
    figures.stations = {station(7), offlineStation(9)};
    Picture picture(80, 3);
    table.draw(&picture, 0, 1, 2, figures);
    EXPECT_EQ(Health::Good, plc::test::styleAt(picture, 1, "on").health);
    EXPECT_EQ(Health::Bad, plc::test::styleAt(picture, 2, "offline").health);
}

TEST_F(StationTableTest, Scrolls)
{
    for (int number = 1; number <= 5; ++number)
        figures.stations.push_back(station(number));
    EXPECT_EQ("      1", at(80)[1].substr(0, 7));
    EXPECT_EQ("1-2 of 5 stations", table.position());
    table.press({Key::Kind::End});
    EXPECT_EQ("      4", at(80)[1].substr(0, 7));
    EXPECT_EQ("4-5 of 5 stations", table.position());
}

TEST_F(StationTableTest, IsEmptyBeforeAnybodyWasAsked)
{
    EXPECT_EQ("", at(80)[1]);
    EXPECT_EQ("no station was asked yet", table.position());
}

} // namespace
