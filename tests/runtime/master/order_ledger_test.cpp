#include "runtime/master/order_ledger.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using namespace plc::runtime;

Footprint write(int station, int first, int count = 1, int pieces = 1)
{
    return {true, station, 5, first, count, pieces};
}

Footprint read(int station, int first, int pieces = 1)
{
    return {false, station, 5, first, 1, pieces};
}

OrderResult ended(OrderEnd end)
{
    OrderResult result;
    result.end = end;
    return result;
}

TEST(OrderLedger, TellsTheOneResultOfAnOperation)
{
    OrderLedger ledger;
    const Ticket ticket = ledger.open(write(1, 100));
    EXPECT_EQ(OrderEnd::Open, ledger.result(ticket).end);
    EXPECT_TRUE(ledger.close(ticket, ended(OrderEnd::Good)));
    EXPECT_FALSE(ledger.close(ticket, ended(OrderEnd::NoReply)));
    EXPECT_EQ(OrderEnd::Good, ledger.result(ticket).end);
    EXPECT_FALSE(ledger.isOpen(ticket));
}

TEST(OrderLedger, CountsWhatTheDriverHasInItsHands)
{
    OrderLedger ledger;
    const Ticket first = ledger.open(write(1, 100));
    const Ticket second = ledger.open(write(2, 100));
    EXPECT_EQ(0, ledger.startedCount());
    ledger.start(first);
    ledger.start(second);
    EXPECT_EQ(2, ledger.startedCount());
    ledger.close(first, ended(OrderEnd::Good));
    EXPECT_EQ(1, ledger.startedCount());
    ledger.close(ledger.open(write(3, 100)), ended(OrderEnd::Dropped));
    EXPECT_EQ(1, ledger.startedCount()) << "the third was never handed over";
    ledger.close(second, ended(OrderEnd::NoReply));
    EXPECT_EQ(0, ledger.startedCount());
}

TEST(OrderLedger, LetsAWriteThatWaitsForRoomTakeNoneOfTheReads)
{
    OrderLedger ledger;
    const Ticket most = ledger.open(write(1, 0, 1, OrderLedger::listSize(true)));
    EXPECT_EQ(most, ledger.nextToStart());
    ledger.start(most);
    const Ticket cramped = ledger.open(write(2, 0));
    EXPECT_EQ(std::nullopt, ledger.nextToStart());
    const Ticket reading = ledger.open(read(3, 0, OrderLedger::listSize(false)));
    EXPECT_EQ(reading, ledger.nextToStart());
    ledger.start(reading);
    ledger.close(most, ended(OrderEnd::Good));
    EXPECT_EQ(cramped, ledger.nextToStart());
}

TEST(OrderLedger, KeepsThePlaceOfAnOrderThatEndsWhileTheDriverHasIt)
{
    OrderLedger ledger;
    const Ticket first = ledger.open(write(1, 100));
    ledger.start(first);
    EXPECT_TRUE(ledger.closeAndWithdraw(first, ended(OrderEnd::Expired)));
    EXPECT_FALSE(ledger.closeAndWithdraw(first, ended(OrderEnd::Good)));
    EXPECT_EQ(OrderEnd::Expired, ledger.result(first).end);
    EXPECT_EQ(1, ledger.startedCount());
    const Ticket second = ledger.open(write(1, 100));
    EXPECT_FALSE(ledger.mayStart(second)) << "the driver would put it in place of the first";
    ledger.release({first});
    EXPECT_TRUE(ledger.mayStart(second));
    EXPECT_TRUE(ledger.closeAndWithdraw(second, ended(OrderEnd::Expired))) << "one that waits has no place";
    EXPECT_EQ(0, ledger.startedCount());
}

TEST(OrderLedger, TellsWhichOrdersHaveEndedInTheirOrder)
{
    OrderLedger ledger;
    const Ticket first = ledger.open(write(1, 100));
    const Ticket second = ledger.open(write(2, 100));
    const Ticket third = ledger.open(write(3, 100));
    ledger.close(third, ended(OrderEnd::Good));
    ledger.close(first, ended(OrderEnd::Good));
    EXPECT_EQ((std::vector<Ticket>{third, first}), ledger.endedSince(0));
    EXPECT_TRUE(ledger.endedSince(ledger.endedCount()).empty());
    ledger.closeAll(-1, OrderEnd::Closed);
    EXPECT_EQ(std::vector<Ticket>{second}, ledger.endedSince(2));
}

TEST(OrderLedger, KnowsNothingOfAnOperationThatWasNeverOpened)
{
    OrderLedger ledger;
    EXPECT_FALSE(ledger.close(1, ended(OrderEnd::Good)));
    EXPECT_FALSE(ledger.mayStart(1));
}

TEST(OrderLedger, HoldsAWriteBackWhileAnotherOneToTheSamePlaceIsOnItsWay)
{
    OrderLedger ledger;
    const Ticket first = ledger.open(write(1, 100, 10));
    ledger.start(first);
    const Ticket second = ledger.open(write(1, 109));
    EXPECT_FALSE(ledger.mayStart(second));
    ledger.close(first, ended(OrderEnd::NoReply));
    EXPECT_TRUE(ledger.mayStart(second));
}

TEST(OrderLedger, LetsWritesToOtherPlacesAndStationsGo)
{
    OrderLedger ledger;
    ledger.start(ledger.open(write(1, 100, 10)));
    EXPECT_TRUE(ledger.mayStart(ledger.open(write(1, 110))));
    EXPECT_TRUE(ledger.mayStart(ledger.open(write(1, 99))));
    EXPECT_TRUE(ledger.mayStart(ledger.open(write(2, 100))));
    Footprint coil = write(1, 100);
    coil.baseType = 0;
    EXPECT_TRUE(ledger.mayStart(ledger.open(coil)));
    EXPECT_TRUE(ledger.mayStart(ledger.open(read(1, 100))));
}

TEST(OrderLedger, LetsOthersPassAnOperationThatWaitsForItsPlace)
{
    OrderLedger ledger;
    const Ticket first = ledger.open(write(5, 100));
    const Ticket second = ledger.open(write(5, 100));
    const Ticket other = ledger.open(write(6, 100));
    EXPECT_EQ(first, ledger.nextToStart());
    ledger.start(first);
    EXPECT_EQ(other, ledger.nextToStart());
    ledger.start(other);
    EXPECT_EQ(std::nullopt, ledger.nextToStart());
    ledger.close(first, ended(OrderEnd::NoReply));
    EXPECT_EQ(second, ledger.nextToStart());
}

TEST(OrderLedger, KeepsTheOrderWherePlacesOverlap)
{
    OrderLedger ledger;
    const Ticket large = ledger.open(write(1, 0, 10));
    const Ticket inner = ledger.open(write(1, 5));
    const Ticket wider = ledger.open(write(1, 4, 3));
    const Ticket reading = ledger.open(read(1, 6));
    const Ticket behind = ledger.open(write(1, 6));
    const std::vector<Ticket> all = {large, inner, wider, reading, behind};
    ledger.start(large);
    for (std::size_t i = 1; i < all.size(); ++i)
        EXPECT_FALSE(ledger.mayStart(all[i])) << i;
    ledger.close(large, ended(OrderEnd::Good));
    EXPECT_TRUE(ledger.mayStart(inner));
    EXPECT_FALSE(ledger.mayStart(wider));
    ledger.start(inner);
    EXPECT_FALSE(ledger.mayStart(wider));
    ledger.close(inner, ended(OrderEnd::Good));
    EXPECT_TRUE(ledger.mayStart(wider));
    EXPECT_FALSE(ledger.mayStart(reading)) << "it is to see what is written before it";
    ledger.start(wider);
    EXPECT_TRUE(ledger.mayStart(reading)) << "the driver serves writes first";
    EXPECT_FALSE(ledger.mayStart(behind)) << "it would be read too early";
    ledger.start(reading);
    EXPECT_FALSE(ledger.mayStart(behind));
    ledger.close(wider, ended(OrderEnd::Good));
    EXPECT_TRUE(ledger.mayStart(behind));
}

TEST(OrderLedger, KeepsTheOrderOfBroadcastsAndWritesToSingleStations)
{
    OrderLedger ledger;
    const Ticket first = ledger.open(write(5, 100));
    const Ticket second = ledger.open(write(5, 100));
    const Ticket broadcast = ledger.open(write(0, 95, 10));
    const Ticket behind = ledger.open(write(6, 104));
    const Ticket beside = ledger.open(write(6, 105));
    ledger.start(first);
    EXPECT_FALSE(ledger.mayStart(broadcast)) << "one before it still waits";
    EXPECT_FALSE(ledger.mayStart(behind));
    EXPECT_TRUE(ledger.mayStart(beside));
    ledger.close(first, ended(OrderEnd::Good));
    ledger.start(second);
    EXPECT_TRUE(ledger.mayStart(broadcast)) << "the driver keeps their order";
    ledger.start(broadcast);
    EXPECT_TRUE(ledger.mayStart(behind));
}

TEST(OrderLedger, FreesThePlaceOfWhatNeverWent)
{
    OrderLedger ledger;
    ledger.start(ledger.open(write(1, 0)));
    ledger.open(write(5, 0));
    ledger.closeAll(5, OrderEnd::Offline);
    EXPECT_TRUE(ledger.mayStart(ledger.open(write(5, 0))));
}

TEST(OrderLedger, GivesAStationThatHasNotAnsweredOneAtATime)
{
    OrderLedger ledger;
    for (int i = 0; i < 40; ++i)
        ledger.open(write(5, i));
    const auto startAll = [&ledger] {
        std::vector<Ticket> started;
        while (const std::optional<Ticket> next = ledger.nextToStart()) {
            ledger.start(*next);
            started.push_back(*next);
        }
        return started;
    };
    const std::vector<Ticket> first = startAll();
    ASSERT_EQ(1u, first.size());
    ledger.close(first[0], ended(OrderEnd::Good));
    const std::vector<Ticket> more = startAll();
    ASSERT_EQ(16u, more.size());
    for (const Ticket ticket : more)
        ledger.close(ticket, ended(OrderEnd::NoReply));
    EXPECT_EQ(1u, startAll().size());
}

TEST(OrderLedger, LetsNoSmallOnePassALargeOneThatWaitsForRoom)
{
    OrderLedger ledger;
    const Ticket first = ledger.open(write(1, 0, 1000, 1000));
    ledger.start(first);
    const Ticket large = ledger.open(write(2, 0, 500, 500));
    const Ticket small = ledger.open(write(3, 0));
    EXPECT_EQ(std::nullopt, ledger.nextToStart());
    ledger.close(first, ended(OrderEnd::Good));
    EXPECT_EQ(large, ledger.nextToStart());
    ledger.start(large);
    EXPECT_EQ(small, ledger.nextToStart());
}

TEST(OrderLedger, IsFullWithSoManyThatAreOpen)
{
    OrderLedger ledger;
    Ticket last = 0;
    for (int i = 0; i < 4096; ++i) {
        EXPECT_FALSE(ledger.isFull());
        last = ledger.open(write(1 + i % 2, 0));
    }
    EXPECT_TRUE(ledger.isFull());
    ledger.close(last, ended(OrderEnd::Good));
    EXPECT_FALSE(ledger.isFull());
}

TEST(OrderLedger, NeverFillsTheDriversListBeyondItsEnd)
{
    OrderLedger ledger;
    ledger.start(ledger.open(write(1, 0, 1000, 1000)));
    EXPECT_TRUE(ledger.mayStart(ledger.open(write(1, 5000, 24, 24))));
    EXPECT_FALSE(ledger.mayStart(ledger.open(write(1, 5000, 25, 25))));
    EXPECT_TRUE(ledger.mayStart(ledger.open(read(1, 0, 768)))) << "reads have a list of their own";
    EXPECT_FALSE(ledger.mayStart(ledger.open(read(1, 0, 769)))) << "with room for trials of offline stations";
}

TEST(OrderLedger, CountsWhatIsWithdrawnUntilTheDriverHasDroppedIt)
{
    OrderLedger ledger;
    const Ticket big = ledger.open(write(5, 0, 1000, 1000));
    ledger.start(big);
    EXPECT_EQ(std::vector<Ticket>{big}, ledger.closeAll(5, OrderEnd::Dropped));
    const Ticket other = ledger.open(write(1, 0, 500, 500));
    const Ticket samePlace = ledger.open(write(5, 999));
    EXPECT_FALSE(ledger.mayStart(other));
    EXPECT_FALSE(ledger.mayStart(samePlace)) << "it would end with the old one's reply";
    EXPECT_EQ(1, ledger.startedCount());
    ledger.release({big});
    EXPECT_TRUE(ledger.mayStart(other));
    EXPECT_TRUE(ledger.mayStart(samePlace));
    EXPECT_EQ(0, ledger.startedCount());
    EXPECT_EQ(OrderEnd::Dropped, ledger.result(big).end);
}

TEST(OrderLedger, BeginsAgainAtOneWhenTheTicketsRunOut)
{
    OrderLedger ledger(std::numeric_limits<Ticket>::max() - 1);
    EXPECT_EQ(std::numeric_limits<Ticket>::max(), ledger.open(write(1, 100)));
    EXPECT_EQ(1, ledger.open(write(1, 101)));

    OrderLedger again(std::numeric_limits<Ticket>::max() - 2);
    const Ticket old = again.open(write(1, 100));
    const Ticket oldest = again.open(write(1, 101));
    EXPECT_EQ(std::numeric_limits<Ticket>::max(), oldest);
    EXPECT_NE(old, again.open(write(1, 102)));
}

TEST(OrderLedger, EndsEverythingOfAStation)
{
    OrderLedger ledger;
    const Ticket off = ledger.open(write(5, 100));
    const Ticket on = ledger.open(write(6, 100));
    ledger.start(off);
    ledger.start(on);
    ledger.closeAll(5, OrderEnd::Dropped);
    EXPECT_EQ(OrderEnd::Dropped, ledger.result(off).end);
    EXPECT_EQ(OrderEnd::Open, ledger.result(on).end);
    EXPECT_EQ(2, ledger.startedCount()) << "the driver has not dropped it yet";
    EXPECT_FALSE(ledger.close(off, ended(OrderEnd::Good))) << "it has been reported already";
}

TEST(OrderLedger, ABroadcastGoesOnWhenAllTheWritesOfAStationThatItWaitedForEnd)
{
    OrderLedger ledger;
    const Ticket first = ledger.open(write(5, 100));
    const Ticket second = ledger.open(write(5, 101));
    const Ticket broadcast = ledger.open(write(0, 100, 2));
    EXPECT_TRUE(ledger.closeAll(5, OrderEnd::Offline).empty());
    EXPECT_FALSE(ledger.isOpen(first));
    EXPECT_FALSE(ledger.isOpen(second));
    EXPECT_EQ(broadcast, ledger.nextToStart());
}

TEST(OrderLedger, EndsEverything)
{
    OrderLedger ledger;
    const Ticket started = ledger.open(write(5, 100));
    ledger.start(started);
    const Ticket waiting = ledger.open(write(6, 100));
    ledger.closeAll(-1, OrderEnd::PortLost);
    EXPECT_EQ(OrderEnd::PortLost, ledger.result(started).end);
    EXPECT_EQ(OrderEnd::PortLost, ledger.result(waiting).end);
}

TEST(OrderLedger, KnowsWhereAWriteOfTheDriverMayStandInTheMirror)
{
    OrderLedger ledger;
    const Ticket ticket = ledger.open(write(1, 100, 10));
    EXPECT_FALSE(ledger.isBeingWritten(read(1, 100))) << "it waits";
    ledger.start(ticket);
    EXPECT_TRUE(ledger.isBeingWritten(read(1, 100)));
    EXPECT_TRUE(ledger.isBeingWritten(read(1, 109)));
    EXPECT_FALSE(ledger.isBeingWritten(read(1, 110)));
    EXPECT_FALSE(ledger.isBeingWritten(read(1, 99)));
    EXPECT_FALSE(ledger.isBeingWritten(read(2, 100))) << "another station";
    Footprint coil = read(1, 100);
    coil.baseType = 0;
    EXPECT_FALSE(ledger.isBeingWritten(coil)) << "another area";
    ledger.closeAndWithdraw(ticket, ended(OrderEnd::Expired));
    EXPECT_TRUE(ledger.isBeingWritten(read(1, 105))) << "the driver has it still";
    ledger.release({ticket});
    EXPECT_FALSE(ledger.isBeingWritten(read(1, 105)));
    const Ticket broadcast = ledger.open(write(0, 100));
    ledger.start(broadcast);
    EXPECT_FALSE(ledger.isBeingWritten(read(1, 100))) << "which is mirrored for nobody";
}

} // namespace
