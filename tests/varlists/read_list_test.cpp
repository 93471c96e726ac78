// From the panel's variables to the cyclic reads: what is left out, which area and station a variable goes
// to, how much a request may carry, which requests move to a priority level and which of them come back.
#include <climits>

#include "support/lock_probe.h"
#include "varlists/panel.h"

namespace plc::test {

// ---- what a rebuild resets and what it leaves

class Rebuild : public PanelTest
{};

TEST_F(Rebuild, ReplacesTheReadList)
{
    addRead(holding(500));
    panel.add(5, 10, 2);
    EXPECT_EQ(1, rebuild());
    EXPECT_EQ("1/5:10+2", shown(readList()));
    VariableTable other;
    ReCreatReadVarList(other.add(4, 7, 3).records());
    EXPECT_EQ("1/4:7+3", shown(readList()));
}

TEST_F(Rebuild, ReturnsTheLengthOfTheReadList)
{
    panel.add(5, 0).add(5, 200).add(5, 400);
    EXPECT_EQ(3, rebuild());
}

TEST_F(Rebuild, DoesNotCountThePriorityReadsInItsResult)
{
    for (int i = 0; i < 8; ++i)
        panel.add(5, 1000 * i);
    prioritise(2, "4x3000");
    EXPECT_EQ(7, rebuild());
    EXPECT_EQ(7, readList().size());
    EXPECT_EQ(1, priorityReads(2).size());
}

TEST_F(Rebuild, EmptiesTheReadListForAnEmptyInputAndReturnsZero)
{
    addRead(holding(500));
    EXPECT_EQ(0, rebuild());
    EXPECT_TRUE(readList().isEmpty());
}

TEST_F(Rebuild, LeavesCountersAndPrioritiesAloneForAnEmptyInput)
{
    PLC_driver.readsServed = 17;
    info.scanDone = 1;
    priorityReads(1).append(holding(1));
    priorityReads(4).append(holding(4));
    rebuild();
    EXPECT_EQ(17, PLC_driver.readsServed);
    EXPECT_EQ(1, info.scanDone);
    EXPECT_EQ("1/5:1+1", shown(priorityReads(1)));
    EXPECT_EQ("1/5:4+1", shown(priorityReads(4)));
}

TEST_F(Rebuild, ServesNoPriorityReadWhileTheReadListIsEmpty)
{
    priorityReads(1).append(holding(1));
    clock(1).due = true;
    clock(1).remaining = 1;
    rebuild();
    EXPECT_EQ(nullptr, next());
    EXPECT_TRUE(clock(1).due);
}

TEST_F(Rebuild, RestartsTheScan)
{
    PLC_driver.readsServed = 17;
    info.scanDone = 1;
    panel.add(5, 10);
    rebuild();
    EXPECT_EQ(0, PLC_driver.readsServed);
    EXPECT_EQ(0, info.scanDone);
}

TEST_F(Rebuild, RestartsTheScanAndEmptiesThePrioritiesEvenWhenNoVariableIsUsable)
{
    PLC_driver.readsServed = 17;
    info.scanDone = 1;
    for (int level = 1; level <= 4; ++level)
        priorityReads(level).append(holding(level));
    panel.add(5, "no address");
    EXPECT_EQ(0, rebuild());
    EXPECT_EQ(0, PLC_driver.readsServed);
    EXPECT_EQ(0, info.scanDone);
    for (int level = 1; level <= 4; ++level)
        EXPECT_TRUE(priorityReads(level).isEmpty());
}

TEST_F(Rebuild, LeavesThePriorityClocksAsTheyAre)
{
    for (int level = 1; level <= 4; ++level) {
        clock(level).due = level % 2 == 0;
        clock(level).remaining = 10 + level;
        clock(level).tick = 20 + level;
    }
    panel.add(5, 10).add(5, 1000);
    prioritise(3, "4x10");
    rebuild();
    for (int level = 1; level <= 4; ++level) {
        EXPECT_EQ(level % 2 == 0, clock(level).due);
        EXPECT_EQ(10 + level, clock(level).remaining);
        EXPECT_EQ(20 + level, clock(level).tick);
    }
}

TEST_F(Rebuild, LeavesWritesOnceReadsAndTheTransactionInProgressAlone)
{
    addRead(holding(500));
    addWrite(holding(1).data("00 00"));
    addOnceRead(holding(2));
    const Protocol *head = next();
    panel.add(5, 10);
    rebuild();
    EXPECT_EQ(1, PLC_driver.writeList.size());
    EXPECT_EQ(1, PLC_driver.onceReadList.size());
    EXPECT_EQ(head, next());
    EXPECT_EQ(1, PLC_driver.sendQueue.size());
}

// The new head was never sent, so it must not be rotated away by the old head's reply.
TEST_F(Rebuild, DoesNotLoseATurnToAReadThatWasUnderWay)
{
    addRead(holding(500));
    next();
    panel.add(5, 10).add(5, 1000);
    rebuild();
    EXPECT_EQ(kResultDone, complete(withCrc("01 03 02 00 2A")));
    EXPECT_EQ("1/5:10+1 1/5:1000+1", shown(readList()));
    EXPECT_EQ(10, next()->var.address);
}

TEST_F(Rebuild, LeavesTheRuntimesRecordsAlone)
{
    panel.add(7, "10", 3, 4, "tank");
    rebuild();
    const HostVariable &variable = *panel.records()->first();
    EXPECT_EQ(7, variable.regType);
    EXPECT_EQ(4, variable.station);
    EXPECT_EQ("10", variable.addrText.toStdString());
    EXPECT_EQ("tank", variable.varName.toStdString());
    EXPECT_EQ(3, variable.count);
    EXPECT_EQ(0xEE, variable.runtimeByte0);
    for (const quint8 byte : variable.runtimeBytes3)
        EXPECT_EQ(0xEE, byte);
}

TEST_F(Rebuild, KeepsNothingOfTheRuntimesRecords)
{
    {
        VariableTable shortLived;
        ReCreatReadVarList(shortLived.add(5, "10", 3, 1, "tank").records());
        shortLived.records()->first()->varName[0] = QLatin1Char('r');
    }
    ASSERT_EQ(1, readList().size());
    EXPECT_EQ("tank", readList().first().varName.toStdString());
}

TEST_F(Rebuild, GivesTheSameListWhenCalledTwice)
{
    panel.add(5, 0).add(5, 300, 250).add(0, 7).add(3, "9.15", 2);
    prioritise(1, "4x310");
    rebuild();
    const std::string once = shown(readList()) + "|" + shown(priorityReads(1));
    rebuild();
    EXPECT_EQ(once, shown(readList()) + "|" + shown(priorityReads(1)));
}

// ---- refused calls and variables that are left out

TEST_F(Rebuild, RefusesNullAndLeavesEverythingAsItIs)
{
    addRead(holding(500));
    PLC_driver.readsServed = 17;
    info.scanDone = 1;
    EXPECT_EQ(0, ReCreatReadVarList(nullptr));
    EXPECT_EQ("1/5:500+1", shown(readList()));
    EXPECT_EQ(17, PLC_driver.readsServed);
    EXPECT_EQ(1, info.scanDone);
}

TEST(RebuildWithoutSettings, IsRefused)
{
    renewDriver();
    VariableTable panel;
    EXPECT_EQ(0, ReCreatReadVarList(panel.add(5, 10).records()));
    EXPECT_TRUE(PLC_driver.readList.isEmpty());
    EXPECT_TRUE(!isHeld(PLC_driver.listMutex));
    renewDriver();
}

TEST_F(Rebuild, SkipsNullElements)
{
    panel.addNull().add(5, 10).addNull().addNull().add(5, 11).addNull();
    EXPECT_EQ(1, rebuild());
    EXPECT_EQ("1/5:10+2", shown(readList()));
}

TEST_F(Rebuild, TakesATableOfNothingButNullElementsForNoUsableVariable)
{
    info.scanDone = 1;
    panel.addNull().addNull();
    EXPECT_EQ(0, rebuild());
    EXPECT_EQ(0, info.scanDone);
}

TEST_F(Rebuild, LeavesOutAddressesThatDoNotParse)
{
    panel.add(5, "12a")
        .add(5, "")
        .add(5, "-3")
        .add(5, "10.3")
        .add(0, "-1")
        .add(3, "10")
        .add(3, "1.2.3")
        .add(5, 8);
    rebuild();
    EXPECT_EQ("1/5:8+1", shown(readList()));
}

TEST_F(Rebuild, LeavesOutUnknownTypes)
{
    panel.add(10, "1").add(11, "1").add(127, "1").add(128, "1").add(200, "1").add(255, "1").add(9, "8");
    rebuild();
    EXPECT_EQ("1/5:8+1", shown(readList()));
}

TEST_F(Rebuild, LeavesOutStationZero)
{
    panel.add(5, 10, 1, 0).add(5, 20, 1, 1);
    rebuild();
    EXPECT_EQ("1/5:20+1", shown(readList()));
}

TEST_F(Rebuild, TakesTheWholeAreaAsTheLargestCount)
{
    panel.add(5, 0, 65536);
    ASSERT_EQ(656, rebuild()); // 655 requests of 100 registers and one of 36
    EXPECT_EQ("1/5:65500+36", shown(readList().last()));
}

TEST_F(Rebuild, AsksForAllOfACountThatReachesBeyondTheArea)
{
    panel.add(5, 0, 65537);
    ASSERT_EQ(656, rebuild());
    EXPECT_EQ("1/5:65500+37", shown(readList().last()));
}

TEST_F(Rebuild, TakesAVariableOfAsManyRequestsAsAnAreaHasElements)
{
    info.maxBlock = 2;
    panel.add(5, 0, 2 * 65536);
    ASSERT_EQ(65536, rebuild());
    EXPECT_EQ("1/5:131070+2", shown(readList().last()));
}

TEST_F(Rebuild, LeavesOutAVariableOfMoreRequestsThanThat)
{
    info.maxBlock = 2;
    panel.add(5, 0, 2 * 65536 + 1)
        .add(4, 0, INT_MAX)
        .add(0, 0, 16 * 65536 + 1)
        .add(7, 1, INT_MAX - 1)
        .add(5, 9);
    ASSERT_EQ(1, rebuild());
    EXPECT_EQ("1/5:9+1", shown(readList()));
}

TEST_F(Rebuild, CountsTheGapInFrontOfAVariableThatJoinsAmongItsRequests)
{
    info.maxBlock = 2;
    panel.add(5, 0).add(5, 1, 2 * 65536 - 1);
    EXPECT_EQ(65536, rebuild());
    panel.add(4, 0).add(4, 1, 2 * 65536);
    EXPECT_EQ(1 + 65536, rebuild());
    EXPECT_EQ("1/4:0+1", shown(readList().value(0)));
}

TEST_F(Rebuild, SplitsNoCountAtAllWithoutPacking)
{
    info.maxBlock = 1;
    panel.add(5, 0, INT_MAX).add(0, 7, 65537).add(5, 9);
    rebuild();
    EXPECT_EQ("1/0:7+65537 1/5:0+2147483647 1/5:9+1", shown(readList()));
}

TEST_F(Rebuild, AsksForNothingOfACountThatWrapsRoundAsItIsConverted)
{
    panel.add(3, "0.0", INT_MAX)
        .add(2, "0.15", INT_MAX - 20)
        .add(6, 0, INT_MAX)
        .add(7, 700, INT_MAX)
        .add(5, 9);
    ASSERT_EQ(1, rebuild());
    EXPECT_EQ("1/5:9+1", shown(readList()));
}

TEST_F(Rebuild, AsksForNothingOfACountBelowOne)
{
    panel.add(5, 10, 0).add(5, 20, -1).add(5, 30, INT_MIN).add(0, 5, 0).add(7, 40, -3).add(3, "50.0", -40);
    EXPECT_EQ(0, rebuild());
    EXPECT_TRUE(readList().isEmpty());
}

// Counts of bits round down to registers, below zero too.
TEST_F(Rebuild, KeepsACountBelowOneAsItConvertsWithoutPacking)
{
    info.maxBlock = 1;
    panel.add(3, "10.0", -17).add(3, "20.15", -30).add(7, 30, -4).add(5, 40, -1).add(5, 50, 0);
    rebuild();
    EXPECT_EQ("10+-1 20+0 30+-2 40+-1 50+0", spans(readList()));
}

// ---- stations

TEST_F(Rebuild, UsesTheVariablesStationWhenStationsDiffer)
{
    info.defaultStation = 9;
    for (const int mode : {1, 2, -1}) {
        info.stationMode = mode;
        VariableTable table;
        ReCreatReadVarList(table.add(5, 10, 1, 7).records());
        EXPECT_EQ("7/5:10+1", shown(readList())) << "mode " << mode;
    }
}

TEST_F(Rebuild, UsesTheDefaultStationForAllOtherwise)
{
    info.stationMode = 0;
    info.defaultStation = 9;
    panel.add(5, 10, 1, 7).add(5, 11, 1, 0).add(5, 12, 1, 3);
    rebuild();
    EXPECT_EQ("9/5:10+3", shown(readList()));
}

TEST_F(Rebuild, LeavesOutEverythingWhenTheDefaultStationIsZero)
{
    info.stationMode = 0;
    info.defaultStation = 0;
    panel.add(5, 10, 1, 7);
    EXPECT_EQ(0, rebuild());
}

TEST_F(Rebuild, TakesStationsUpTo255)
{
    panel.add(5, 10, 1, 255).add(5, 10, 1, 128);
    rebuild();
    EXPECT_EQ("128/5:10+1 255/5:10+1", shown(readList()));
}

TEST_F(Rebuild, TakesAnyDefaultStationButZero)
{
    info.stationMode = 0;
    for (const int station : {-1, 256, 1000}) {
        info.defaultStation = station;
        VariableTable table;
        ASSERT_EQ(1, ReCreatReadVarList(table.add(5, 10).records()));
        EXPECT_EQ(station, readList().first().station);
    }
}

// ---- the working record

TEST_F(Rebuild, FillsTheRequest)
{
    info.linkMode = 3;
    info.linkId = 8;
    panel.add(7, "100", 3, 6, "tank");
    ASSERT_EQ(1, rebuild());
    const RW_VAR &request = readList().first();
    EXPECT_EQ(0, request.hostId);
    EXPECT_EQ(-1, request.hostSubId);
    EXPECT_EQ(0, request.direction);
    EXPECT_EQ(3, request.linkMode);
    EXPECT_EQ(8, request.linkId);
    EXPECT_EQ(0, request.status);
    EXPECT_EQ("tank", request.varName.toStdString());
    EXPECT_EQ("100", request.addrText.toStdString());
    EXPECT_EQ(5, request.regType);
    EXPECT_EQ(100, request.address);
    EXPECT_EQ(6, request.station);
    EXPECT_EQ(4, request.count);
    EXPECT_EQ(0, request.relayArg1);
    EXPECT_EQ(0, request.relayArg2);
    EXPECT_TRUE(request.data.isEmpty());
}

TEST_F(Rebuild, KeepsTheTextAsTypedThoughTheAddressIsConverted)
{
    setOptions(kOptionOneBased);
    panel.add(3, "10.3");
    ASSERT_EQ(1, rebuild());
    EXPECT_EQ("10.3", readList().first().addrText.toStdString());
    EXPECT_EQ(9, readList().first().address);
}

TEST_F(Rebuild, NamesARequestAfterTheVariableThatOpensIt)
{
    panel.add(5, "20", 1, 1, "second").add(5, "10", 1, 1, "first").add(5, "500", 1, 1, "third");
    rebuild();
    ASSERT_EQ(2, readList().size());
    EXPECT_EQ("first", readList().at(0).varName.toStdString());
    EXPECT_EQ("third", readList().at(1).varName.toStdString());
}

TEST_F(Rebuild, OpensWithTheVariableHandedOverFirstAmongEqualAddresses)
{
    panel.add(5, "10", 1, 1, "a").add(3, "10.4", 1, 1, "b").add(5, "10", 9, 1, "c");
    rebuild();
    ASSERT_EQ("1/5:10+9", shown(readList()));
    EXPECT_EQ("a", readList().first().varName.toStdString());
}

// ---- register types

struct Conversion
{
    int regType;
    const char *text;
    int count;
    const char *zeroBased;
    const char *oneBased;
};

void PrintTo(const Conversion &conversion, std::ostream *out)
{
    *out << "type " << conversion.regType << ", \"" << conversion.text << "\", count " << conversion.count;
}

const Conversion kConversions[] = {
    {0, "35", 3, "1/0:35+3", "1/0:34+3"},
    {1, "35", 3, "1/1:35+3", "1/1:34+3"},
    {4, "35", 3, "1/4:35+3", "1/4:34+3"},
    {5, "35", 3, "1/5:35+3", "1/5:34+3"},
    {5, "0", 3, "1/5:0+3", "1/5:0+3"},
    {5, "1", 3, "1/5:1+3", "1/5:0+3"},
    {5, " 35 ", 3, "1/5:35+3", "1/5:34+3"},
    // Bits become the registers that they lie in.
    {3, "3.5", 1, "1/5:3+1", "1/5:2+1"},
    {2, "3.5", 1, "1/4:3+1", "1/4:2+1"},
    {3, "2.3", 1, "1/5:2+1", "1/5:1+1"},
    {3, "2.15", 1, "1/5:2+1", "1/5:1+1"},
    {3, "2.15", 2, "1/5:2+2", "1/5:1+2"},
    {3, "2.0", 16, "1/5:2+1", "1/5:1+1"},
    {3, "2.0", 17, "1/5:2+2", "1/5:1+2"},
    {3, "2.1", 16, "1/5:2+2", "1/5:1+2"},
    {3, "2.1", 15, "1/5:2+1", "1/5:1+1"},
    {3, "2.20", 1, "1/5:3+1", "1/5:2+1"},
    {3, "2.", 1, "1/5:2+1", "1/5:1+1"},
    {3, "x.5", 1, "1/5:0+1", "1/5:0+1"},
    {3, "0.5", 1, "1/5:0+1", "1/5:0+1"},
    // A bit's count of 0 still reaches into its register, unless it begins one.
    {3, "2.3", 0, "1/5:2+1", "1/5:1+1"},
    {3, "2.0", 0, "", ""},
    // Pairs are rounded up to even.
    {6, "35", 1, "1/4:35+2", "1/4:34+2"},
    {7, "35", 1, "1/5:35+2", "1/5:34+2"},
    {7, "35", 2, "1/5:35+2", "1/5:34+2"},
    {7, "35", 3, "1/5:35+4", "1/5:34+4"},
    {7, "35", 0, "", ""},
    {7, "35", -1, "", ""},
    // Single and block registers read like any other.
    {8, "35", 3, "1/5:35+3", "1/5:34+3"},
    {9, "35", 3, "1/5:35+3", "1/5:34+3"},
};

TEST_F(Rebuild, ConvertsEachTypeToTheAreaThatIsRead)
{
    for (const Conversion &conversion : kConversions) {
        SCOPED_TRACE(::testing::PrintToString(conversion));
        VariableTable table;
        table.add(conversion.regType, conversion.text, conversion.count);
        setOptions(0);
        ReCreatReadVarList(table.records());
        EXPECT_EQ(conversion.zeroBased, shown(readList()));
        setOptions(kOptionOneBased);
        ReCreatReadVarList(table.records());
        EXPECT_EQ(conversion.oneBased, shown(readList()));
    }
}

TEST_F(Rebuild, ReadsAllTypesOfHoldingRegistersTogether)
{
    panel.add(9, 14).add(8, 13).add(7, 11, 1).add(5, 10).add(3, "15.7");
    rebuild();
    EXPECT_EQ("1/5:10+6", shown(readList()));
}

TEST_F(Rebuild, ReadsAllTypesOfInputRegistersTogether)
{
    panel.add(6, 11, 1).add(4, 10).add(2, "13.0", 33);
    rebuild();
    EXPECT_EQ("1/4:10+6", shown(readList()));
}

TEST_F(Rebuild, NeverJoinsDifferentAreas)
{
    panel.add(0, 10).add(1, 10).add(4, 10).add(5, 10);
    rebuild();
    EXPECT_EQ("1/0:10+1 1/1:10+1 1/4:10+1 1/5:10+1", shown(readList()));
}

TEST_F(Rebuild, NeverJoinsDifferentStations)
{
    panel.add(5, 10, 1, 1).add(5, 11, 1, 2).add(5, 12, 1, 1);
    rebuild();
    EXPECT_EQ("1/5:10+3 2/5:11+1", shown(readList()));
}

TEST_F(Rebuild, NeverJoinsAnotherBucketWhoseRequestWouldFit)
{
    panel.add(4, 10, 50).add(5, 20, 0).add(5, 30, 1);
    rebuild();
    EXPECT_EQ("1/4:10+50 1/5:30+1", shown(readList()));
}

TEST_F(Rebuild, KeepsABucketOfEmptyVariablesFromChangingTheLastRequest)
{
    panel.add(4, 10, 5).add(5, 40, 0);
    rebuild();
    EXPECT_EQ("1/4:10+5", shown(readList()));
}

// ---- order

TEST_F(Rebuild, OrdersByStationThenAreaThenAddress)
{
    panel.add(5, 900, 1, 2).add(5, 100, 1, 2).add(0, 5000, 1, 10).add(4, 7, 1, 2).add(1, 3, 1, 2);
    panel.add(0, 9, 1, 2).add(5, 50, 1, 1).add(0, 4000, 1, 10).add(5, 1, 1, 10).add(4, 2, 1, 200);
    rebuild();
    EXPECT_EQ(
        "1/5:50+1 2/0:9+1 2/1:3+1 2/4:7+1 2/5:100+1 2/5:900+1 10/0:4000+1 10/0:5000+1 10/5:1+1 200/4:2+1",
        shown(readList()));
}

// ---- limits

TEST_F(Rebuild, PacksTheWorkedExample)
{
    panel.add(5, 300, 250).add(5, 95, 20).add(5, 5, 2).add(5, 50, 10).add(5, 0, 10);
    EXPECT_EQ(5, rebuild());
    EXPECT_EQ("0+100 100+15 300+100 400+100 500+50", spans(readList()));
}

TEST_F(Rebuild, JoinsRegistersThatStartLessThanMaxBlockApart)
{
    panel.add(5, 0).add(5, 99);
    rebuild();
    EXPECT_EQ("0+100", spans(readList()));
}

TEST_F(Rebuild, SeparatesRegistersThatStartMaxBlockApart)
{
    panel.add(5, 0).add(5, 100);
    rebuild();
    EXPECT_EQ("0+1 100+1", spans(readList()));
}

TEST_F(Rebuild, SplitsASpanOneRegisterTooLong)
{
    panel.add(5, 0, 1).add(5, 99, 2);
    rebuild();
    EXPECT_EQ("0+100 100+1", spans(readList()));
}

TEST_F(Rebuild, JoinsBitsUpToEightTimesMaxBlock)
{
    panel.add(0, 0).add(0, 799).add(1, 0).add(1, 800);
    rebuild();
    EXPECT_EQ("1/0:0+800 1/1:0+1 1/1:800+1", shown(readList()));
}

TEST_F(Rebuild, PacksSixteenCoilsIntoOneRequest)
{
    for (int i = 0; i < 16; ++i)
        panel.add(0, i);
    EXPECT_EQ(1, rebuild());
    EXPECT_EQ("1/0:0+16", shown(readList()));
}

TEST_F(Rebuild, AsksForEachCoilAndInputAloneWithOption11)
{
    setOptions(kOptionNoBitPacking);
    for (int i = 0; i < 16; ++i)
        panel.add(0, i);
    panel.add(1, 3).add(1, 4);
    ASSERT_EQ(18, rebuild());
    EXPECT_EQ("1/0:0+1", shown(readList().first()));
    EXPECT_EQ("1/0:15+1", shown(readList().at(15)));
    EXPECT_EQ("1/1:4+1", shown(readList().last()));
}

TEST_F(Rebuild, KeepsTheLargestCountOfACoilWithOption11)
{
    setOptions(kOptionNoBitPacking);
    panel.add(0, 5, 2).add(0, 5, 9).add(0, 5, 3).add(0, 6, 1);
    rebuild();
    EXPECT_EQ("1/0:5+9 1/0:6+1", shown(readList()));
}

TEST_F(Rebuild, StillPacksRegistersWithOption11)
{
    setOptions(kOptionNoBitPacking);
    panel.add(5, 0).add(5, 99).add(4, 0).add(4, 1).add(3, "5.0");
    rebuild();
    EXPECT_EQ("1/4:0+2 1/5:0+100", shown(readList()));
}

TEST_F(Rebuild, UsesTheOptionsAsLastDecoded)
{
    info.options = kOptionNoBitPacking; // not handed over again
    panel.add(0, 0).add(0, 1);
    rebuild();
    EXPECT_EQ("1/0:0+2", shown(readList()));
}

TEST_F(Rebuild, PacksNothingInAnyAreaWithMaxBlockOne)
{
    info.maxBlock = 1;
    panel.add(0, 0).add(0, 1).add(1, 0, 9).add(4, 7, 2).add(4, 8).add(5, 5, 10).add(5, 6);
    rebuild();
    EXPECT_EQ("1/0:0+1 1/0:1+1 1/1:0+9 1/4:7+2 1/4:8+1 1/5:5+10 1/5:6+1", shown(readList()));
}

TEST_F(Rebuild, SplitsNoCountWithMaxBlockOne)
{
    info.maxBlock = 1;
    panel.add(5, 0, 10).add(5, 0, 4);
    EXPECT_EQ(1, rebuild());
    EXPECT_EQ("0+10", spans(readList()));
}

TEST_F(Rebuild, PacksSixteenBitsAndTwoRegistersWithMaxBlockTwo)
{
    info.maxBlock = 2;
    panel.add(0, 0).add(0, 15).add(0, 16).add(5, 0).add(5, 1).add(5, 2);
    rebuild();
    EXPECT_EQ("1/0:0+16 1/0:16+1 1/5:0+2 1/5:2+1", shown(readList()));
}

TEST_F(Rebuild, ReadsMaxBlockAnewEachTime)
{
    panel.add(5, 0, 60);
    rebuild();
    EXPECT_EQ("0+60", spans(readList()));
    info.maxBlock = 25;
    rebuild();
    EXPECT_EQ("0+25 25+25 50+10", spans(readList()));
}

TEST_F(Rebuild, TakesALaterMaxBlockBelowOneForOne)
{
    for (const int maxBlock : {0, -1, -100, INT_MIN}) {
        SCOPED_TRACE(maxBlock);
        info.maxBlock = maxBlock;
        VariableTable table;
        ReCreatReadVarList(table.add(5, 0, 10).add(5, 1).add(0, 0, 10).add(0, 1).records());
        EXPECT_EQ("1/0:0+10 1/0:1+1 1/5:0+10 1/5:1+1", shown(readList()));
    }
}

TEST_F(Rebuild, TakesALaterMaxBlockAboveOneHundredAsItIs)
{
    info.maxBlock = 250;
    panel.add(5, 0, 300).add(0, 0).add(0, 1999).add(1, 0).add(1, 2000);
    rebuild();
    EXPECT_EQ("1/0:0+2000 1/1:0+1 1/1:2000+1 1/5:0+250 1/5:250+50", shown(readList()));
}

TEST_F(Rebuild, DoesNotOverflowTheBitLimit)
{
    for (const int maxBlock : {INT_MAX, INT_MAX / 8 + 1, 1 << 29}) {
        SCOPED_TRACE(maxBlock);
        info.maxBlock = maxBlock;
        VariableTable table;
        ReCreatReadVarList(table.add(0, 0).add(0, 60000, 5000).records());
        EXPECT_EQ("1/0:0+65000", shown(readList()));
    }
}

TEST_F(Rebuild, TakesAddressesUpToTheIntLimit)
{
    panel.add(5, INT_MAX).add(5, INT_MAX - 5, 2).add(0, INT_MAX).add(7, INT_MAX - 3, 1);
    rebuild();
    EXPECT_EQ("1/0:2147483647+1 1/5:2147483642+6", shown(readList()));
}

TEST_F(Rebuild, RebuildsAHundredThousandVariablesOfOneArea)
{
    constexpr int kVariables = 100000;
    for (int i = 0; i < kVariables; ++i)
        panel.add(
            5, static_cast<int>(static_cast<qint64>(i) * 7919 % kVariables)); // every address once, scattered
    EXPECT_EQ(kVariables / 100, rebuild());
    for (int i = 0; i < readList().size(); ++i) {
        ASSERT_EQ(100 * i, readList().at(i).address);
        ASSERT_EQ(100, readList().at(i).count);
    }
}

// ---- locking

TEST_F(Rebuild, WaitsForTheListMutexAndLeavesItFree)
{
    panel.add(5, 10);
    EXPECT_TRUE(waitsFor(PLC_driver.listMutex, [this] { rebuild(); }));
    EXPECT_TRUE(!isHeld(PLC_driver.listMutex));
    EXPECT_EQ("10+1", spans(readList()));
}

TEST_F(Rebuild, WaitsForTheListMutexBeforeItEmptiesTheList)
{
    addRead(holding(500));
    PLC_driver.listMutex.lock();
    std::future<void> running = std::async(std::launch::async, [this] { rebuild(); });
    EXPECT_EQ(std::future_status::timeout, running.wait_for(std::chrono::milliseconds(20)));
    EXPECT_EQ(1, readList().size());
    PLC_driver.listMutex.unlock();
    running.get();
    EXPECT_TRUE(readList().isEmpty());
    EXPECT_TRUE(!isHeld(PLC_driver.listMutex));
}

TEST_F(Rebuild, TakesNeitherTheCacheMutexNorTheStationMutex)
{
    panel.add(5, 10);
    EXPECT_TRUE(returnsDespite(PLC_driver.cacheMutex, [this] { rebuild(); }));
    EXPECT_TRUE(returnsDespite(PLC_driver.stationMutex, [this] { rebuild(); }));
}

// ---- priorities

class Priorities : public PanelTest
{
protected:
    /// Seven requests far away from everything else, so that nothing folds back.
    void addBackground()
    {
        for (int i = 0; i < 7; ++i)
            panel.add(5, 50000 + 1000 * i);
    }

    std::string background() { return "50000+1 51000+1 52000+1 53000+1 54000+1 55000+1 56000+1"; }
};

TEST_F(Priorities, MoveTheRequestThatCoversTheAddress)
{
    addBackground();
    panel.add(5, 100, 10);
    prioritise(2, "4x105");
    EXPECT_EQ(7, rebuild());
    EXPECT_EQ(background(), spans(readList()));
    EXPECT_EQ("1/5:100+10", shown(priorityReads(2)));
}

TEST_F(Priorities, CoverTheFirstAndTheLastUnitAndNoneBeside)
{
    addBackground();
    panel.add(5, 100, 10);
    const std::pair<const char *, int> edges[] = {{"4x99", 0}, {"4x100", 1}, {"4x109", 1}, {"4x110", 0}};
    for (const auto &edge : edges) {
        SCOPED_TRACE(edge.first);
        priorityAddresses(2).clear();
        prioritise(2, edge.first);
        rebuild();
        EXPECT_EQ(edge.second, priorityReads(2).size());
        EXPECT_EQ(8 - edge.second, readList().size());
    }
}

TEST_F(Priorities, CoverOnlyTheirOwnArea)
{
    addBackground();
    panel.add(0, 100).add(1, 100).add(4, 100).add(5, 100);
    prioritise(2, "3x100");
    rebuild();
    EXPECT_EQ("1/4:100+1", shown(priorityReads(2)));
}

// The name carries no station.
TEST_F(Priorities, CoverTheirAddressOnEveryStation)
{
    addBackground();
    panel.add(5, 100, 1, 3).add(5, 100, 1, 9).add(5, 100, 1, 200);
    prioritise(2, "4x100");
    rebuild();
    EXPECT_EQ("200/5:100+1 9/5:100+1 3/5:100+1", shown(priorityReads(2)));
}

TEST_F(Priorities, DivideTheNumbersOfCoilsByEight)
{
    addBackground();
    panel.add(0, 0, 1).add(0, 2000, 1).add(0, 16000, 1);
    prioritise(2, "0x16000"); // 2000
    rebuild();
    EXPECT_EQ("1/0:2000+1", shown(priorityReads(2)));
}

TEST_F(Priorities, OfBitsAndPairsCoverThePlainRegister)
{
    addBackground();
    panel.add(3, "100.4").add(7, 300, 2).add(2, "7.1").add(6, 900, 2);
    prioritise(1, "4x_bit100.4");
    prioritise(2, "4x_d301");
    prioritise(3, "3x_bit7.1");
    prioritise(4, "3x_d900");
    rebuild();
    EXPECT_EQ("1/5:100+1", shown(priorityReads(1)));
    EXPECT_EQ("1/5:300+2", shown(priorityReads(2)));
    EXPECT_EQ("1/4:7+1", shown(priorityReads(3)));
    EXPECT_EQ("1/4:900+2", shown(priorityReads(4)));
}

TEST_F(Priorities, MoveARequestToTheHighestLevelThatClaimsIt)
{
    for (int highest = 1; highest <= 4; ++highest) {
        SCOPED_TRACE(highest);
        renewDriver();
        SetComInfo(&info);
        VariableTable table;
        for (int i = 0; i < 7; ++i)
            table.add(5, 50000 + 1000 * i);
        table.add(5, 100, 10);
        for (int level = highest; level >= 1; --level)
            prioritise(level, "4x10" + std::to_string(level));
        ReCreatReadVarList(table.records());
        for (int level = 1; level <= 4; ++level)
            EXPECT_EQ(level == highest ? 1 : 0, priorityReads(level).size()) << "level " << level;
        EXPECT_EQ(7, readList().size());
    }
}

TEST_F(Priorities, MoveARequestOnceThoughItCoversManyAddresses)
{
    addBackground();
    panel.add(5, 100, 10);
    for (int i = 0; i < 10; ++i)
        prioritise(2, "4x" + std::to_string(100 + i));
    rebuild();
    EXPECT_EQ("1/5:100+10", shown(priorityReads(2)));
}

TEST_F(Priorities, HoldTheLastRequestFirst)
{
    addBackground();
    panel.add(5, 100).add(5, 300).add(5, 500).add(4, 100);
    prioritise(2, "4x100");
    prioritise(2, "4x300");
    prioritise(2, "4x500");
    prioritise(2, "3x100");
    rebuild();
    EXPECT_EQ("1/5:500+1 1/5:300+1 1/5:100+1 1/4:100+1", shown(priorityReads(2)));
    EXPECT_EQ(background(), spans(readList()));
}

TEST_F(Priorities, MoveTheRequestWithAllItsFields)
{
    info.linkId = 8;
    addBackground();
    panel.add(5, "100", 3, 6, "tank");
    prioritise(2, "4x100");
    rebuild();
    ASSERT_EQ(1, priorityReads(2).size());
    const RW_VAR &request = priorityReads(2).first();
    EXPECT_EQ("6/5:100+3", shown(request));
    EXPECT_EQ(-1, request.hostSubId);
    EXPECT_EQ(8, request.linkId);
    EXPECT_EQ("tank", request.varName.toStdString());
    EXPECT_EQ("100", request.addrText.toStdString());
    EXPECT_EQ(0, request.status);
}

TEST_F(Priorities, LieInRequestsThatAreAsLargeAsWithoutThem)
{
    addBackground();
    panel.add(5, 100).add(5, 110).add(5, 120);
    prioritise(2, "4x115"); // in the gap: the request reads it along
    rebuild();
    EXPECT_EQ("1/5:100+21", shown(priorityReads(2)));
}

TEST_F(Priorities, MoveOnlyThePieceThatHoldsTheAddress)
{
    addBackground();
    panel.add(5, 0, 250);
    prioritise(1, "4x100");
    rebuild();
    EXPECT_EQ("1/5:100+100", shown(priorityReads(1)));
    EXPECT_EQ("0+100 200+50 " + background(), spans(readList()));
}

TEST_F(Priorities, CoverNothingOfARequestWithoutUnits)
{
    info.maxBlock = 1;
    addBackground();
    panel.add(5, 100, 0).add(5, 200, -5);
    prioritise(2, "4x100");
    prioritise(2, "4x200");
    prioritise(2, "4x199");
    rebuild();
    EXPECT_TRUE(priorityReads(2).isEmpty());
}

TEST_F(Priorities, BelowZeroCoverNothing)
{
    addBackground();
    panel.add(5, 0, 10);
    prioritise(2, "4x-1");
    rebuild();
    EXPECT_TRUE(priorityReads(2).isEmpty());
}

TEST_F(Priorities, ReachUpToTheIntLimit)
{
    addBackground();
    panel.add(5, INT_MAX).add(5, INT_MAX - 1);
    prioritise(2, "4x2147483647");
    rebuild();
    EXPECT_EQ("1/5:2147483646+2", shown(priorityReads(2)));
}

TEST_F(Priorities, TakeEffectWithTheNextRebuild)
{
    addBackground();
    panel.add(5, 100);
    rebuild();
    prioritise(2, "4x100");
    EXPECT_TRUE(priorityReads(2).isEmpty());
    EXPECT_EQ(8, readList().size());
    rebuild();
    EXPECT_EQ(1, priorityReads(2).size());
    EXPECT_EQ(7, readList().size());
}

TEST_F(Priorities, LastAcrossRebuildsWhileTheirRequestsAreMadeAnew)
{
    addBackground();
    panel.add(5, 100).add(5, 300);
    prioritise(2, "4x100");
    prioritise(2, "4x300");
    rebuild();
    EXPECT_EQ("1/5:300+1 1/5:100+1", shown(priorityReads(2)));
    VariableTable other;
    for (int i = 0; i < 7; ++i)
        other.add(5, 50000 + 1000 * i);
    ReCreatReadVarList(other.add(5, 299, 3).records());
    EXPECT_EQ("1/5:299+3", shown(priorityReads(2)));
    EXPECT_EQ("100+0 300+0", spans(priorityAddresses(2)));
}

// ---- folding back

struct Folding
{
    int plain;      ///< requests without priority
    int moved[4];   ///< requests that levels 1 to 4 claim
    int kept[4];    ///< what the levels hold in the end
    int readLength; ///< length of the read list in the end
};

void PrintTo(const Folding &folding, std::ostream *out)
{
    *out << folding.plain << " plain, levels " << folding.moved[0] << " " << folding.moved[1] << " "
         << folding.moved[2] << " " << folding.moved[3];
}

const Folding kFoldings[] = {
    // Level 2 comes back up to 6 reads.
    {6, {0, 2, 0, 0}, {0, 0, 0, 0}, 8},
    {7, {0, 2, 0, 0}, {0, 2, 0, 0}, 7},
    {5, {0, 1, 0, 0}, {0, 0, 0, 0}, 6},
    {0, {0, 3, 0, 0}, {0, 0, 0, 0}, 3},
    // Level 3 up to 3.
    {3, {0, 0, 2, 0}, {0, 0, 0, 0}, 5},
    {4, {0, 0, 2, 0}, {0, 0, 2, 0}, 4},
    {6, {0, 0, 2, 0}, {0, 0, 2, 0}, 6},
    {0, {0, 0, 5, 0}, {0, 0, 0, 0}, 5},
    // Level 1 only when there is none.
    {0, {2, 0, 0, 0}, {0, 0, 0, 0}, 2},
    {1, {2, 0, 0, 0}, {2, 0, 0, 0}, 1},
    // Level 4 up to 1.
    {1, {0, 0, 0, 2}, {0, 0, 0, 0}, 3},
    {2, {0, 0, 0, 2}, {0, 0, 0, 2}, 2},
    {0, {0, 0, 0, 2}, {0, 0, 0, 0}, 2},
    // Level 3 sees what level 2 brought back.
    {3, {0, 1, 2, 0}, {0, 0, 2, 0}, 4},
    {2, {0, 1, 2, 0}, {0, 0, 0, 0}, 5},
    {0, {0, 3, 1, 0}, {0, 0, 0, 0}, 4},
    {0, {0, 4, 1, 0}, {0, 0, 1, 0}, 4},
    // Level 2 is asked before level 3 and not again.
    {4, {0, 0, 1, 0}, {0, 0, 1, 0}, 4},
    {7, {0, 1, 1, 0}, {0, 1, 1, 0}, 7},
    // Level 1 sees what levels 2 and 3 brought back.
    {0, {1, 1, 0, 0}, {1, 0, 0, 0}, 1},
    {0, {1, 0, 1, 0}, {1, 0, 0, 0}, 1},
    {0, {3, 1, 1, 0}, {3, 0, 0, 0}, 2},
    // Level 4 sees what the others brought back.
    {0, {1, 0, 0, 1}, {0, 0, 0, 0}, 2},
    {0, {2, 0, 0, 1}, {0, 0, 0, 1}, 2},
    {0, {0, 1, 0, 2}, {0, 0, 0, 0}, 3},
    {0, {0, 2, 0, 2}, {0, 0, 0, 2}, 2},
    {0, {0, 0, 1, 2}, {0, 0, 0, 0}, 3},
    {0, {0, 0, 2, 2}, {0, 0, 0, 2}, 2},
    {1, {0, 1, 0, 1}, {0, 0, 0, 1}, 2},
    // What level 4 brings back does not change what stayed.
    {1, {1, 0, 0, 1}, {1, 0, 0, 0}, 2},
    // All levels.
    {0, {1, 1, 1, 1}, {1, 0, 0, 1}, 2},
    {1, {1, 1, 1, 1}, {1, 0, 0, 1}, 3},
    {2, {1, 1, 1, 1}, {1, 0, 0, 1}, 4},
    {3, {1, 1, 1, 1}, {1, 0, 1, 1}, 4},
    {6, {1, 1, 1, 1}, {1, 0, 1, 1}, 7},
    {7, {1, 1, 1, 1}, {1, 1, 1, 1}, 7},
};

class FoldingBack : public PanelTest
{
protected:
    /// Requests far apart: plain ones at 0, 1000, ..., those of level L at L * 100000 and up.
    void build(int plain, const int (&moved)[4])
    {
        for (int i = 0; i < plain; ++i)
            table_->add(5, 1000 * i);
        for (int level = 1; level <= 4; ++level) {
            for (int i = 0; i < moved[level - 1]; ++i) {
                const int address = 100000 * level + 1000 * i;
                table_->add(5, address);
                prioritise(level, "4x" + std::to_string(address));
            }
        }
        length = ReCreatReadVarList(table_->records());
    }

    void renew()
    {
        renewDriver();
        SetComInfo(&info);
        table_ = std::make_unique<VariableTable>();
    }

    int length = -1;

private:
    std::unique_ptr<VariableTable> table_ = std::make_unique<VariableTable>();
};

TEST_F(FoldingBack, FollowsItsThresholdsInTheirOrder)
{
    for (const Folding &folding : kFoldings) {
        SCOPED_TRACE(::testing::PrintToString(folding));
        renew();
        build(folding.plain, folding.moved);
        EXPECT_EQ(folding.readLength, length);
        EXPECT_EQ(folding.readLength, readList().size());
        for (int level = 1; level <= 4; ++level)
            EXPECT_EQ(folding.kept[level - 1], priorityReads(level).size()) << "level " << level;
    }
}

TEST_F(FoldingBack, AppendsTheRequestsInTheOrderOfTheirLevel)
{
    build(2, {0, 2, 0, 0});
    EXPECT_EQ("0+1 1000+1 201000+1 200000+1", spans(readList()));
}

TEST_F(FoldingBack, AppendsLevel2BeforeLevel3)
{
    build(1, {0, 1, 2, 0});
    EXPECT_EQ("0+1 200000+1 301000+1 300000+1", spans(readList()));
}

TEST_F(FoldingBack, AppendsLevel1BeforeLevel4)
{
    build(0, {1, 0, 0, 2});
    EXPECT_EQ("100000+1 401000+1 400000+1", spans(readList()));
}

TEST_F(FoldingBack, KeepsTheOrderOfALevelThatStays)
{
    build(7, {2, 3, 0, 0});
    EXPECT_EQ("101000+1 100000+1", spans(priorityReads(1)));
    EXPECT_EQ("202000+1 201000+1 200000+1", spans(priorityReads(2)));
}

} // namespace plc::test
