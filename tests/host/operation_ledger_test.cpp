#include "host/operation_ledger.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using namespace plc::host;

Footprint write(int station, int first, int count = 1, int pieces = 1)
{
    return {true, station, 5, first, count, pieces};
}

Footprint read(int station, int first, int pieces = 1)
{
    return {false, station, 5, first, 1, pieces};
}

OperationResult ended(OperationEnd end)
{
    OperationResult result;
    result.end = end;
    return result;
}

TEST(OperationLedger, TellsTheOneResultOfAnOperation)
{
    OperationLedger ledger;
    const Ticket ticket = ledger.open(write(1, 100));
    EXPECT_EQ(OperationEnd::Open, ledger.result(ticket).end);
    EXPECT_TRUE(ledger.close(ticket, ended(OperationEnd::Good)));
    EXPECT_FALSE(ledger.close(ticket, ended(OperationEnd::NoReply)));
    EXPECT_EQ(OperationEnd::Good, ledger.result(ticket).end);
    EXPECT_FALSE(ledger.isOpen(ticket));
}

TEST(OperationLedger, KnowsNothingOfAnOperationThatWasNeverOpened)
{
    OperationLedger ledger;
    EXPECT_FALSE(ledger.close(1, ended(OperationEnd::Good)));
    EXPECT_FALSE(ledger.mayStart(1));
}

TEST(OperationLedger, HoldsAWriteBackWhileAnotherOneToTheSamePlaceIsOnItsWay)
{
    OperationLedger ledger;
    const Ticket first = ledger.open(write(1, 100, 10));
    ledger.start(first);
    const Ticket second = ledger.open(write(1, 109));
    EXPECT_FALSE(ledger.mayStart(second));
    ledger.close(first, ended(OperationEnd::NoReply));
    EXPECT_TRUE(ledger.mayStart(second));
}

TEST(OperationLedger, LetsWritesToOtherPlacesAndStationsGo)
{
    OperationLedger ledger;
    ledger.start(ledger.open(write(1, 100, 10)));
    EXPECT_TRUE(ledger.mayStart(ledger.open(write(1, 110))));
    EXPECT_TRUE(ledger.mayStart(ledger.open(write(1, 99))));
    EXPECT_TRUE(ledger.mayStart(ledger.open(write(2, 100))));
    Footprint coil = write(1, 100);
    coil.baseType = 0;
    EXPECT_TRUE(ledger.mayStart(ledger.open(coil)));
    EXPECT_TRUE(ledger.mayStart(ledger.open(read(1, 100))));
}

TEST(OperationLedger, NeverFillsTheDriversListBeyondItsEnd)
{
    OperationLedger ledger;
    ledger.start(ledger.open(write(1, 0, 1000, 1000)));
    EXPECT_TRUE(ledger.mayStart(ledger.open(write(1, 5000, 24, 24))));
    EXPECT_FALSE(ledger.mayStart(ledger.open(write(1, 5000, 25, 25))));
    EXPECT_TRUE(ledger.mayStart(ledger.open(read(1, 0, 768)))) << "reads have a list of their own";
    EXPECT_FALSE(ledger.mayStart(ledger.open(read(1, 0, 769)))) << "with room for trials of offline stations";
}

TEST(OperationLedger, CountsWhatIsWithdrawnUntilTheDriverHasDroppedIt)
{
    OperationLedger ledger;
    const Ticket big = ledger.open(write(5, 0, 1000, 1000));
    ledger.start(big);
    EXPECT_EQ(std::vector<Ticket>{big}, ledger.closeAll(5, OperationEnd::Dropped));
    const Ticket other = ledger.open(write(1, 0, 500, 500));
    const Ticket samePlace = ledger.open(write(5, 999));
    EXPECT_FALSE(ledger.mayStart(other));
    EXPECT_FALSE(ledger.mayStart(samePlace)) << "it would end with the old one's reply";
    EXPECT_EQ(1, ledger.startedCount());
    ledger.release({big});
    EXPECT_TRUE(ledger.mayStart(other));
    EXPECT_TRUE(ledger.mayStart(samePlace));
    EXPECT_EQ(0, ledger.startedCount());
    EXPECT_EQ(OperationEnd::Dropped, ledger.result(big).end);
}

TEST(OperationLedger, BeginsAgainAtOneWhenTheTicketsRunOut)
{
    OperationLedger ledger(std::numeric_limits<Ticket>::max() - 1);
    EXPECT_EQ(std::numeric_limits<Ticket>::max(), ledger.open(write(1, 100)));
    EXPECT_EQ(1, ledger.open(write(1, 101)));

    OperationLedger again(std::numeric_limits<Ticket>::max() - 2);
    const Ticket old = again.open(write(1, 100));
    const Ticket oldest = again.open(write(1, 101));
    EXPECT_EQ(std::numeric_limits<Ticket>::max(), oldest);
    EXPECT_NE(old, again.open(write(1, 102)));
}

TEST(OperationLedger, EndsEverythingOfAStation)
{
    OperationLedger ledger;
    const Ticket off = ledger.open(write(5, 100));
    const Ticket on = ledger.open(write(6, 100));
    ledger.start(off);
    ledger.start(on);
    ledger.closeAll(5, OperationEnd::Dropped);
    EXPECT_EQ(OperationEnd::Dropped, ledger.result(off).end);
    EXPECT_EQ(OperationEnd::Open, ledger.result(on).end);
    EXPECT_EQ(2, ledger.startedCount()) << "the driver has not dropped it yet";
    EXPECT_FALSE(ledger.close(off, ended(OperationEnd::Good))) << "it has been reported already";
}

TEST(OperationLedger, EndsEverything)
{
    OperationLedger ledger;
    const Ticket started = ledger.open(write(5, 100));
    ledger.start(started);
    const Ticket waiting = ledger.open(write(6, 100));
    ledger.closeAll(-1, OperationEnd::PortLost);
    EXPECT_EQ(OperationEnd::PortLost, ledger.result(started).end);
    EXPECT_EQ(OperationEnd::PortLost, ledger.result(waiting).end);
}

} // namespace
