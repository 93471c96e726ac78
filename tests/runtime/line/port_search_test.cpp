#include "runtime/line/port_search.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace plc::runtime;
using std::chrono::milliseconds;
using std::chrono::seconds;
using ::testing::ElementsAre;

class PortSearchTest : public ::testing::Test
{
protected:
    PortSearchTest() { search.opened(seconds(100)); }

    /// How long each of @p count tries in vain waits for the next.
    std::vector<long> distances(int count)
    {
        std::vector<long> list;
        for (int i = 0; i < count; ++i) {
            list.push_back(static_cast<long>((search.nextTry() - now).count() / 1000000));
            now = search.nextTry();
            search.absent(now);
        }
        return list;
    }

    void lose() { search.lost(now); }

    PortSearch search;
    Time now = seconds(200);
};

TEST_F(PortSearchTest, LooksForAPortAtGrowingDistancesOfAtMostTwoSeconds)
{
    lose();
    EXPECT_THAT(distances(8), ElementsAre(100, 200, 400, 800, 1600, 2000, 2000, 2000));
}

TEST_F(PortSearchTest, BeginsWithTheShortestDistanceWhenThePortHadBeenThereForAWhile)
{
    lose();
    distances(8);
    search.opened(now);
    now += seconds(2);
    lose();
    EXPECT_THAT(distances(2), ElementsAre(100, 200));
}

TEST_F(PortSearchTest, GoesOnWithItsDistancesWhereThePortIsLostAsSoonAsItIsBack)
{
    lose();
    distances(2);
    search.opened(now);
    now += milliseconds(1999);
    lose();
    EXPECT_THAT(distances(2), ElementsAre(800, 1600));
}

TEST_F(PortSearchTest, CountsTheDistanceFromTheEndOfATryWhichMayTakeLong)
{
    lose();
    now += seconds(30);
    search.refused(now, "in use");
    EXPECT_EQ(now + milliseconds(200), search.nextTry());
}

TEST_F(PortSearchTest, TellsAReasonOnceAndAgainWhenItHasChanged)
{
    lose();
    EXPECT_TRUE(search.refused(now, "in use by process 1"));
    EXPECT_FALSE(search.refused(now, "in use by process 1"));
    EXPECT_TRUE(search.refused(now, "in use by process 2"));
    search.absent(now);
    EXPECT_TRUE(search.refused(now, "in use by process 2")) << "it was pulled out meanwhile";
    lose();
    EXPECT_TRUE(search.refused(now, "in use by process 2")) << "it was there meanwhile";
}

} // namespace
