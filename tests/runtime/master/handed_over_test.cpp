#include "runtime/master/handed_over.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "runtime/master/request_ids.h"

namespace {

using namespace plc::runtime;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class HandedOverTest : public ::testing::Test
{
protected:
    void serve(int hostId, int hostSubId = 0)
    {
        Protocol head;
        head.var.hostId = hostId;
        head.var.hostSubId = hostSubId;
        handedOver.served(&head);
    }

    HandedOver handedOver;
};

TEST_F(HandedOverTest, IsEmptiedByTwoThatTheDriverServesLastBehindEachDoubt)
{
    for (int time = 0; time < 2; ++time) {
        handedOver.doubt();
        serve(kCyclicHostId);
        EXPECT_FALSE(handedOver.isEmptied());
        handedOver.served(nullptr);
        EXPECT_TRUE(handedOver.isEmptied());
    }
}

TEST_F(HandedOverTest, ReleasesWhatWasWithdrawnAfterTwoThatTheDriverServesLast)
{
    handedOver.withdraw({3, 1});
    serve(kCyclicHostId);
    EXPECT_TRUE(handedOver.isWithdrawn(3))
        << "the cyclic read may have had its turn between two one-shot reads";
    EXPECT_THAT(handedOver.takeReleased(), IsEmpty());
    handedOver.served(nullptr);
    EXPECT_FALSE(handedOver.isWithdrawn(3));
    EXPECT_THAT(handedOver.takeReleased(), ElementsAre(1, 3));
    EXPECT_THAT(handedOver.takeReleased(), IsEmpty()) << "each once";
}

TEST_F(HandedOverTest, ReleasesNothingWhileTheDriverServesOperationsOrProbes)
{
    handedOver.withdraw({1});
    for (const int hostId : {kOrderHostId, kProbeHostId}) {
        serve(kCyclicHostId);
        serve(hostId);
    }
    serve(kCyclicHostId);
    EXPECT_TRUE(handedOver.isWithdrawn(1));
    EXPECT_THAT(handedOver.takeReleased(), IsEmpty());
    serve(kCyclicHostId);
    EXPECT_THAT(handedOver.takeReleased(), ElementsAre(1));
}

TEST_F(HandedOverTest, ReleasesAtOnceWhatIsWithdrawnWhileTheListsStayEmpty)
{
    for (int i = 0; i < 5; ++i)
        handedOver.served(nullptr);
    handedOver.withdraw({1});
    EXPECT_THAT(handedOver.takeReleased(), IsEmpty()) << "its order may be on its way into the list";
    handedOver.served(nullptr);
    EXPECT_THAT(handedOver.takeReleased(), ElementsAre(1));
}

TEST_F(HandedOverTest, KnowsAWriteAsUnconfirmedUntilItsEndIsTold)
{
    handedOver.goesOut(1);
    handedOver.goesOut(2);
    handedOver.goesOut(1); // its second frame
    EXPECT_THAT(handedOver.unconfirmed(), ElementsAre(1, 2));
    handedOver.ended(1);
    EXPECT_THAT(handedOver.unconfirmed(), ElementsAre(2));
}

TEST_F(HandedOverTest, KnowsAWithdrawnWriteAsUnconfirmedUntilItIsReleased)
{
    handedOver.goesOut(1);
    handedOver.goesOut(2);
    handedOver.withdraw({1});
    serve(kCyclicHostId);
    EXPECT_THAT(handedOver.unconfirmed(), ElementsAre(1, 2));
    serve(kCyclicHostId);
    EXPECT_THAT(handedOver.unconfirmed(), ElementsAre(2));
}

TEST_F(HandedOverTest, SendsNothingOfAnOrderAtItsDeadlineAnyMore)
{
    handedOver.setDeadline(1, std::chrono::seconds(5));
    EXPECT_FALSE(handedOver.isExpired(1, std::chrono::seconds(5) - plc::runtime::Time(1)));
    EXPECT_TRUE(handedOver.isExpired(1, std::chrono::seconds(5)));
    EXPECT_FALSE(handedOver.isExpired(2, std::chrono::seconds(500))) << "it has none";
}

TEST_F(HandedOverTest, WantsOneProbeOfAStationAtATimeInTheDriversList)
{
    EXPECT_TRUE(handedOver.addProbe(5));
    EXPECT_FALSE(handedOver.addProbe(5));
    EXPECT_TRUE(handedOver.addProbe(6));
    serve(kProbeHostId, 5);
    EXPECT_TRUE(handedOver.addProbe(5)) << "it is served, and in the list no more";
    serve(kOrderHostId, 6);
    EXPECT_FALSE(handedOver.addProbe(6)) << "that was an operation with this number";
    handedOver.forgetProbe(6);
    EXPECT_TRUE(handedOver.addProbe(6));
}

} // namespace
