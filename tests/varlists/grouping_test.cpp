// Packing neighbours into few requests: the two functions that do it, side by side, and their helpers.
#include "varlists/grouping.h"

#include <climits>
#include <cmath>
#include <cstdio>
#include <random>
#include <utility>

#include "support/lock_probe.h"
#include "varlists/panel.h"

namespace plc::test {

namespace {

typedef std::vector<std::pair<int, int>> Spans; // address, count

RW_VAR named(int address, int count, const char *name)
{
    RW_VAR var = holding(address).count(count);
    var.varName = QString::fromLatin1(name);
    return var;
}

QList<RW_VAR> listOf(const Spans &entries)
{
    QList<RW_VAR> list;
    for (const auto &entry : entries)
        list.append(holding(entry.first).count(entry.second));
    return list;
}

std::string namesOf(const QList<RW_VAR> &list)
{
    std::string names;
    for (const RW_VAR &var : list)
        names += var.varName.toStdString();
    return names;
}

} // namespace

// ---- sorting

class Sort : public FreshDriver
{};

TEST_F(Sort, OrdersByAscendingAddress)
{
    QList<RW_VAR> list = listOf({{30, 1}, {10, 2}, {20, 3}, {5, 4}});
    Bubble_Sort(&list);
    EXPECT_EQ("5+4 10+2 20+3 30+1", spans(list));
}

TEST_F(Sort, KeepsTheOrderOfEqualAddresses)
{
    QList<RW_VAR> list;
    list << named(7, 1, "a") << named(3, 1, "b") << named(7, 1, "c") << named(3, 1, "d") << named(7, 1, "e");
    Bubble_Sort(&list);
    EXPECT_EQ("bdace", namesOf(list));
}

TEST_F(Sort, KeepsTheOrderOfManyEqualAddresses)
{
    QList<RW_VAR> list;
    for (int i = 0; i < 1000; ++i)
        list.append(holding(i % 3).count(i));
    Bubble_Sort(&list);
    for (int i = 1; i < 1000; ++i) {
        ASSERT_LE(list.at(i - 1).address, list.at(i).address);
        if (list.at(i - 1).address == list.at(i).address) {
            ASSERT_LT(list.at(i - 1).count, list.at(i).count);
        }
    }
}

TEST_F(Sort, ComparesNothingButTheAddress)
{
    QList<RW_VAR> list;
    list << coil(4).station(9).count(50) << holding(4).station(1).count(1)
         << discreteInput(4).station(3).count(7);
    Bubble_Sort(&list);
    EXPECT_EQ("9/0:4+50 1/5:4+1 3/1:4+7", shown(list));
}

TEST_F(Sort, OrdersTheWholeRangeOfAddresses)
{
    QList<RW_VAR> list = listOf({{INT_MAX, 1}, {0, 1}, {INT_MIN, 1}, {-1, 1}, {1, 1}});
    Bubble_Sort(&list);
    EXPECT_EQ("-2147483648+1 -1+1 0+1 1+1 2147483647+1", spans(list));
}

TEST_F(Sort, LeavesAnEmptyListAndASingleEntryAlone)
{
    QList<RW_VAR> none;
    Bubble_Sort(&none);
    EXPECT_TRUE(none.isEmpty());
    QList<RW_VAR> one = listOf({{8, 2}});
    Bubble_Sort(&one);
    EXPECT_EQ("8+2", spans(one));
}

TEST_F(Sort, IgnoresNull)
{
    Bubble_Sort(nullptr);
}

TEST_F(Sort, CarriesAllFieldsAlong)
{
    QList<RW_VAR> list;
    RW_VAR full = holding(9).ids(1, 2).linkId(3).direction(4).relayArgs(5, 6).text("nine").data("AB CD");
    full.status = -1;
    list << full << holding(2);
    Bubble_Sort(&list);
    const RW_VAR &moved = list.at(1);
    EXPECT_EQ(1, moved.hostId);
    EXPECT_EQ(2, moved.hostSubId);
    EXPECT_EQ(3, moved.linkId);
    EXPECT_EQ(1, moved.direction);
    EXPECT_EQ(5, moved.relayArg1);
    EXPECT_EQ(6, moved.relayArg2);
    EXPECT_EQ("nine", moved.addrText.toStdString());
    EXPECT_EQ(hex("AB CD"), moved.data);
    EXPECT_EQ(-1, moved.status);
}

TEST_F(Sort, LeavesACopyOfTheListAlone)
{
    QList<RW_VAR> list = listOf({{2, 1}, {1, 1}});
    const QList<RW_VAR> before = list;
    Bubble_Sort(&list);
    EXPECT_EQ("2+1 1+1", spans(before));
    EXPECT_EQ("1+1 2+1", spans(list));
}

// Ten thousand passes over a hundred thousand entries would not end before the test's time limit.
TEST_F(Sort, OrdersAHundredThousandEntriesHandedOverBackwards)
{
    constexpr int kEntries = 100000;
    QList<RW_VAR> list;
    for (int i = 0; i < kEntries; ++i)
        list.append(holding(kEntries - i));
    Bubble_Sort(&list);
    for (int i = 0; i < kEntries; ++i)
        ASSERT_EQ(i + 1, list.at(i).address);
}

class SortCost : public FreshDriver
{
protected:
    static constexpr int kEntries = 10000;

    /// Comparisons per n * log2(n) for addresses given by @p address.
    template <typename AddressOf>
    static double comparisonsPerStep(AddressOf address)
    {
        QList<RW_VAR> list;
        for (int i = 0; i < kEntries; ++i)
            list.append(holding(address(i)));
        static long comparisons;
        comparisons = 0;
        plc::sortStable(list, [](const RW_VAR &a, const RW_VAR &b) {
            ++comparisons;
            return a.address < b.address;
        });
        for (int i = 1; i < kEntries; ++i)
            EXPECT_LE(list.at(i - 1).address, list.at(i).address);
        return static_cast<double>(comparisons) / (kEntries * std::log2(kEntries));
    }

    static constexpr double kMost = 1.5;
};

TEST_F(SortCost, GrowsAsNLogNForRandomAddresses)
{
    std::mt19937 random(20240611);
    EXPECT_LE(comparisonsPerStep([&](int) { return static_cast<int>(random() % 65536); }), kMost);
}

TEST_F(SortCost, GrowsAsNLogNForSortedAddresses)
{
    EXPECT_LE(comparisonsPerStep([](int i) { return i; }), kMost);
}

TEST_F(SortCost, GrowsAsNLogNForReversedAddresses)
{
    EXPECT_LE(comparisonsPerStep([](int i) { return kEntries - i; }), kMost);
}

TEST_F(SortCost, GrowsAsNLogNForEqualAddresses)
{
    EXPECT_LE(comparisonsPerStep([](int) { return 7; }), kMost);
}

TEST_F(SortCost, GrowsAsNLogNForTwoRunsThatInterleave)
{
    EXPECT_LE(comparisonsPerStep([](int i) { return i < kEntries / 2 ? 2 * i : 2 * (i - kEntries / 2) + 1; }),
              kMost);
}

// ---- packing, both functions

struct GroupingCase
{
    const char *claim;
    int limit;
    Spans entries;
    const char *requests;
};

void PrintTo(const GroupingCase &groupingCase, std::ostream *out)
{
    *out << groupingCase.claim;
}

const GroupingCase kGroupingCases[] = {
    {"the worked example",
     100,
     {{0, 10}, {5, 2}, {50, 10}, {95, 20}, {300, 250}},
     "0+100 100+15 300+100 400+100 500+50"},
    // An entry joins the last request when it starts less than the limit behind its start.
    {"the last address that joins", 100, {{0, 1}, {99, 1}}, "0+100"},
    {"the first address that does not join", 100, {{0, 1}, {100, 1}}, "0+1 100+1"},
    {"joining and reaching one beyond the limit", 100, {{0, 1}, {99, 2}}, "0+100 100+1"},
    {"distance counts from the request's start, not its end", 100, {{0, 100}, {100, 1}}, "0+100 100+1"},
    {"distance counts from the request's start however short it is", 10, {{50, 1}, {59, 1}}, "50+10"},
    {"one unit more and it stands alone", 10, {{50, 1}, {60, 1}}, "50+1 60+1"},
    {"chains do not move the start", 10, {{0, 1}, {6, 1}, {12, 1}, {18, 1}}, "0+7 12+7"},
    {"a piece that was appended is the new last request",
     10,
     {{0, 1}, {9, 5}, {12, 1}, {19, 1}, {20, 1}},
     "0+10 10+10 20+1"},
    {"a gap is read along", 100, {{10, 1}, {60, 1}}, "10+51"},
    // Covered entries.
    {"a covered entry changes nothing", 100, {{0, 50}, {10, 5}}, "0+50"},
    {"an entry that ends with the request changes nothing", 100, {{0, 50}, {40, 10}}, "0+50"},
    {"an entry that ends one behind the request extends it", 100, {{0, 50}, {40, 11}}, "0+51"},
    {"an equal entry changes nothing", 100, {{7, 3}, {7, 3}}, "7+3"},
    {"a longer entry at the same address extends it", 100, {{7, 3}, {7, 9}}, "7+9"},
    {"a shorter entry at the same address changes nothing", 100, {{7, 9}, {7, 3}}, "7+9"},
    // Splitting.
    {"exactly the limit is one request", 100, {{0, 100}}, "0+100"},
    {"one beyond the limit is two", 100, {{0, 101}}, "0+100 100+1"},
    {"a multiple of the limit leaves no rest", 100, {{5, 300}}, "5+100 105+100 205+100"},
    {"an extended span is split from the request's start", 10, {{3, 4}, {5, 30}}, "3+10 13+10 23+10 33+2"},
    {"an extended span that is a multiple of the limit", 10, {{0, 1}, {5, 15}}, "0+10 10+10"},
    {"an entry inside a request that was split joins its last piece",
     10,
     {{0, 25}, {22, 9}},
     "0+10 10+10 20+10 30+1"},
    {"an entry in front of the last piece is compared with the last piece only",
     10,
     {{0, 25}, {5, 2}},
     "0+10 10+10 20+5"},
    {"an entry in front of the last piece that reaches beyond it", 10, {{0, 25}, {5, 22}}, "0+10 10+10 20+7"},
    {"the smallest limit that packs", 2, {{0, 1}, {1, 1}, {2, 1}, {3, 3}}, "0+2 2+2 4+2"},
    // Counts below 1.
    {"a count of 0 opens nothing", 100, {{5, 0}}, ""},
    {"a negative count opens nothing", 100, {{5, -7}}, ""},
    {"the entry behind an empty one opens the request", 100, {{5, 0}, {6, -1}, {8, 2}}, "8+2"},
    {"an empty entry far behind opens nothing", 100, {{0, 5}, {200, 0}, {250, 1}}, "0+5 250+1"},
    {"an empty entry inside changes nothing", 100, {{0, 5}, {3, 0}}, "0+5"},
    {"an empty entry at the end changes nothing", 100, {{0, 5}, {5, 0}}, "0+5"},
    {"an empty entry in the gap extends the request up to it", 100, {{0, 5}, {9, 0}}, "0+9"},
    {"a negative entry whose end is covered changes nothing", 100, {{0, 5}, {9, -4}}, "0+5"},
    // Large numbers.
    {"the end of an area", 100, {{65500, 36}, {65535, 1}}, "65500+36"},
    {"the whole area", 32768, {{0, 65536}}, "0+32768 32768+32768"},
    {"near the int limit", 100, {{INT_MAX - 9, 1}, {INT_MAX - 1, 1}}, "2147483638+9"},
    {"a limit as large as an int", INT_MAX, {{0, 1}, {INT_MAX - 1, 1}}, "0+2147483647"},
    // Nothing is packed with a limit of 1.
    {"neighbours stay alone", 1, {{0, 1}, {1, 1}, {2, 1}}, "0+1 1+1 2+1"},
    {"a count is not split", 1, {{0, 10}}, "0+10"},
    {"overlapping entries stay apart", 1, {{0, 10}, {5, 10}}, "0+10 5+10"},
    {"covered entries stay", 1, {{0, 10}, {5, 1}}, "0+10 5+1"},
    {"one request an address, with the larger count", 1, {{4, 1}, {4, 7}}, "4+7"},
    {"a smaller count is dropped", 1, {{4, 7}, {4, 1}}, "4+7"},
    {"an equal count is dropped", 1, {{4, 7}, {4, 7}}, "4+7"},
    {"the largest of many counts", 1, {{4, 2}, {4, 9}, {4, 5}, {5, 1}, {5, 3}}, "4+9 5+3"},
    {"a count of 0 is a request of its own", 1, {{4, 0}, {5, 1}}, "4+0 5+1"},
    {"a negative count is a request of its own", 1, {{4, -3}, {6, 1}}, "4+-3 6+1"},
    {"a count of 0 is raised like any other", 1, {{4, 0}, {4, 2}}, "4+2"},
    // Limits that are no limits count as 1.
    {"a limit of 0", 0, {{0, 10}, {0, 12}, {1, 1}}, "0+12 1+1"},
    {"a negative limit", -100, {{0, 10}, {0, 12}, {1, 1}}, "0+12 1+1"},
    {"the smallest int as a limit", INT_MIN, {{0, 10}, {0, 12}, {1, 1}}, "0+12 1+1"},
    {"nothing in", 100, {}, ""},
    {"nothing in without packing", 1, {}, ""},
};

enum class Destination
{
    ReadList,
    OwnList
};

class Grouping : public FreshDriver, public ::testing::WithParamInterface<Destination>
{
protected:
    QList<RW_VAR> &destination() { return GetParam() == Destination::ReadList ? PLC_driver.readList : own_; }
    QList<RW_VAR> &other() { return GetParam() == Destination::ReadList ? own_ : PLC_driver.readList; }

    void group(QList<RW_VAR> bucket, int limit)
    {
        if (GetParam() == Destination::ReadList)
            BitVarReCreat(&bucket, limit);
        else
            BitVarReCreat_2(&bucket, limit, own_);
    }

private:
    QList<RW_VAR> own_;
};

INSTANTIATE_TEST_SUITE_P(Into, Grouping, ::testing::Values(Destination::ReadList, Destination::OwnList),
                         [](const auto &into) {
                             return into.param == Destination::ReadList ? "TheReadList" : "TheCallersList";
                         });

TEST_P(Grouping, GivesTheRequestsOfEachCase)
{
    for (const GroupingCase &groupingCase : kGroupingCases) {
        SCOPED_TRACE(groupingCase.claim);
        destination().clear();
        group(listOf(groupingCase.entries), groupingCase.limit);
        EXPECT_EQ(groupingCase.requests, spans(destination()));
    }
}

TEST_P(Grouping, NeverJoinsARequestThatWasThereBefore)
{
    for (const GroupingCase &groupingCase : kGroupingCases) {
        SCOPED_TRACE(groupingCase.claim);
        destination().clear();
        const Spans before = {{0, 5}, {4, 1}};
        destination() = listOf(before);
        group(listOf(groupingCase.entries), groupingCase.limit);
        const std::string requests = groupingCase.requests;
        EXPECT_EQ("0+5 4+1" + (requests.empty() ? "" : " " + requests), spans(destination()));
    }
}

TEST_P(Grouping, LeavesTheOtherListAlone)
{
    other() = listOf({{1, 1}});
    group(listOf({{0, 10}, {5, 20}}), 100);
    EXPECT_EQ("1+1", spans(other()));
    EXPECT_EQ("0+25", spans(destination()));
}

TEST_P(Grouping, KeepsTheIdentityOfTheEntryThatOpensARequest)
{
    QList<RW_VAR> bucket;
    RW_VAR opener = holding(0).count(5).ids(11, 12).linkId(13).relayArgs(14, 15).text("0").station(9);
    opener.varName = QString::fromLatin1("opener");
    opener.linkMode = 16;
    RW_VAR joiner = holding(8).count(15).ids(21, 22).linkId(23).relayArgs(24, 25).text("8").station(8);
    joiner.varName = QString::fromLatin1("joiner");
    bucket << opener << joiner;
    group(bucket, 10);
    ASSERT_EQ("0+10 10+10 20+3", spans(destination()));
    for (const RW_VAR &request : std::as_const(destination())) {
        EXPECT_EQ("opener", request.varName.toStdString());
        EXPECT_EQ("0", request.addrText.toStdString());
        EXPECT_EQ(11, request.hostId);
        EXPECT_EQ(12, request.hostSubId);
        EXPECT_EQ(13, request.linkId);
        EXPECT_EQ(14, request.relayArg1);
        EXPECT_EQ(15, request.relayArg2);
        EXPECT_EQ(16, request.linkMode);
        EXPECT_EQ(9, request.station);
        EXPECT_EQ(5, request.regType);
    }
}

TEST_P(Grouping, KeepsTheFirstIdentityWhenALargerCountWinsWithoutPacking)
{
    QList<RW_VAR> bucket;
    bucket << named(4, 1, "first") << named(4, 9, "second");
    group(bucket, 1);
    ASSERT_EQ("4+9", spans(destination()));
    EXPECT_EQ("first", destination().first().varName.toStdString());
}

TEST_P(Grouping, PiecesOfOneEntryAllCarryItsIdentity)
{
    QList<RW_VAR> bucket;
    bucket << named(0, 25, "x");
    group(bucket, 10);
    EXPECT_EQ("xxx", namesOf(destination()));
}

TEST_P(Grouping, TakesNoLock)
{
    EXPECT_TRUE(returnsDespite(PLC_driver.listMutex, [this] { group(listOf({{0, 1}}), 10); }));
    EXPECT_EQ("0+1", spans(destination()));
}

TEST_P(Grouping, SplitsAnEntryIntoAsManyRequestsAsAnAreaHasElements)
{
    group(listOf({{0, 2 * 65536}}), 2);
    EXPECT_EQ(65536, destination().size());
}

TEST_P(Grouping, AppendsNothingOfAnEntryThatWouldBeSplitIntoMore)
{
    group(listOf({{0, 2 * 65536 + 1}, {5, INT_MAX}, {7, 1}}), 2);
    EXPECT_EQ("7+1", spans(destination()));
}

TEST_P(Grouping, LeavesARequestAsItIsWhenAnEntryWouldExtendItIntoMore)
{
    group(listOf({{0, 1}, {1, 2 * 65536}, {5, 1}}), 2);
    EXPECT_EQ("0+1 5+1", spans(destination()));
}

TEST_P(Grouping, AppendsToTheBucketItself)
{
    for (const int limit : {1, 10}) {
        SCOPED_TRACE(limit);
        const Spans entries = {{0, 1}, {5, 1}, {20, 1}};
        destination() = listOf(entries);
        if (GetParam() == Destination::ReadList)
            BitVarReCreat(&destination(), limit);
        else
            BitVarReCreat_2(&destination(), limit, destination());
        EXPECT_EQ(limit == 1 ? "0+1 5+1 20+1 0+1 5+1 20+1" : "0+1 5+1 20+1 0+6 20+1", spans(destination()));
    }
}

TEST_P(Grouping, WrapsThePiecesOfAnEntryThatPassesTheIntLimit)
{
    group(listOf({{INT_MAX - 4, 20}}), 10);
    EXPECT_EQ("2147483643+10 -2147483643+10", spans(destination()));
}

TEST_P(Grouping, JoinsAtTheIntLimitWithoutLosingTheOrder)
{
    group(listOf({{INT_MAX - 4, 1}, {INT_MAX - 2, 1}, {INT_MAX, 1}}), 100);
    EXPECT_EQ("2147483643+5", spans(destination()));
}

TEST(GroupingOfNothing, NullBucketsAreIgnored)
{
    renewDriver();
    QList<RW_VAR> out;
    BitVarReCreat(nullptr, 100);
    BitVarReCreat_2(nullptr, 100, out);
    EXPECT_TRUE(out.isEmpty());
    EXPECT_TRUE(PLC_driver.readList.isEmpty());
    renewDriver();
}

// The two must never drift apart.
TEST(BothGroupings, GiveTheSameRequestsForRandomBuckets)
{
    constexpr unsigned kSeed = 5150;
    std::printf("seed %u\n", kSeed);
    std::mt19937 random(kSeed);
    const int limits[] = {-1, 0, 1, 2, 3, 8, 60, 100, 800};
    for (int round = 0; round < 2000; ++round) {
        SCOPED_TRACE(round);
        renewDriver();
        QList<RW_VAR> bucket;
        const int size = static_cast<int>(random() % 20);
        for (int i = 0; i < size; ++i)
            bucket.append(
                holding(static_cast<int>(random() % 300)).count(static_cast<int>(random() % 120) - 5));
        Bubble_Sort(&bucket);
        const int limit = limits[random() % (sizeof limits / sizeof *limits)];
        QList<RW_VAR> out;
        BitVarReCreat(&bucket, limit);
        BitVarReCreat_2(&bucket, limit, out);
        ASSERT_EQ(shown(out), shown(PLC_driver.readList));
    }
    renewDriver();
}

// ---- splitting one variable

class Split : public FreshDriver
{
protected:
    /// Splits a record at address 10 whose own count is 7.
    std::string split(int count, int limit)
    {
        out.clear();
        var = holding(10).count(7).ids(3, 4).text("ten");
        WhetherGroup(count, limit, &var, &out);
        return spans(out);
    }

    RW_VAR var;
    QList<RW_VAR> out;
};

TEST_F(Split, CutsPiecesOfTheLimitAndARest)
{
    EXPECT_EQ("10+100 110+100 210+50", split(250, 100));
}

TEST_F(Split, CutsAMultipleOfTheLimitWithoutARest)
{
    EXPECT_EQ("10+100 110+100", split(200, 100));
}

TEST_F(Split, AppendsTheRecordUnchangedUpToTheLimit)
{
    EXPECT_EQ("10+7", split(100, 100)); // its own count is not consulted
    EXPECT_EQ("10+7", split(99, 100));
    EXPECT_EQ("10+7", split(1, 100));
}

TEST_F(Split, CutsFromOneAboveTheLimit)
{
    EXPECT_EQ("10+100 110+1", split(101, 100));
}

TEST_F(Split, AppendsTheRecordUnchangedForCountsBelowOne)
{
    EXPECT_EQ("10+7", split(0, 100));
    EXPECT_EQ("10+7", split(-250, 100));
    EXPECT_EQ("10+7", split(INT_MIN, 1));
}

TEST_F(Split, CutsSingleUnits)
{
    EXPECT_EQ("10+1 11+1 12+1", split(3, 1));
}

TEST_F(Split, LeavesTheCallersRecordAsTheLastPiece)
{
    split(250, 100);
    EXPECT_EQ("210+50", spans(QList<RW_VAR>() << var));
}

TEST_F(Split, LeavesTheCallersRecordAloneWhenNothingIsCut)
{
    split(100, 100);
    EXPECT_EQ("10+7", spans(QList<RW_VAR>() << var));
}

TEST_F(Split, PiecesKeepTheOtherFields)
{
    split(25, 10);
    for (const RW_VAR &piece : std::as_const(out)) {
        EXPECT_EQ(3, piece.hostId);
        EXPECT_EQ(4, piece.hostSubId);
        EXPECT_EQ("ten", piece.addrText.toStdString());
        EXPECT_EQ(5, piece.regType);
    }
}

TEST_F(Split, AppendsBehindWhatIsThere)
{
    out = listOf({{1, 1}});
    var = holding(10);
    WhetherGroup(3, 2, &var, &out);
    EXPECT_EQ("1+1 10+2 12+1", spans(out));
}

TEST_F(Split, CountsALimitBelowOneAsOne)
{
    EXPECT_EQ("10+1 11+1 12+1", split(3, 0));
    EXPECT_EQ("10+1 11+1 12+1", split(3, -100));
    EXPECT_EQ("10+1 11+1 12+1", split(3, INT_MIN));
    EXPECT_EQ("10+7", split(1, 0));
    EXPECT_EQ("10+7", split(0, 0));
    EXPECT_EQ("10+7", split(-5, -10));
}

TEST_F(Split, CutsAtMostAsManyPiecesAsAnAreaHasElements)
{
    split(65536, 1);
    ASSERT_EQ(65536, out.size());
    EXPECT_EQ(65545, out.last().address);
}

TEST_F(Split, RefusesMorePiecesThanThat)
{
    EXPECT_EQ("", split(65537, 1));
    EXPECT_EQ("10+7", spans(QList<RW_VAR>() << var));
    EXPECT_EQ("", split(65537, 0));
    EXPECT_EQ("", split(2 * 65536 + 1, 2));
    EXPECT_EQ("", split(INT_MAX, 2));
}

TEST_F(Split, CountsTheRestAsAPieceWhenItRefuses)
{
    split(2 * 65536, 2);
    EXPECT_EQ(65536, out.size());
    split(2 * 65536 - 1, 2);
    ASSERT_EQ(65536, out.size());
    EXPECT_EQ(1, out.last().count);
}

TEST_F(Split, TakesTheLargestCountWholeWithTheLargestLimit)
{
    EXPECT_EQ("10+7", split(INT_MAX, INT_MAX));
    EXPECT_EQ("10+2147483646 -2147483640+1", split(INT_MAX, INT_MAX - 1));
}

TEST_F(Split, CutsARecordOfTheListThatGrows)
{
    out = listOf({{10, 7}});
    WhetherGroup(250, 100, &out.first(), &out);
    EXPECT_EQ("210+50 10+100 110+100 210+50", spans(out));
}

TEST_F(Split, IgnoresNull)
{
    WhetherGroup(250, 100, nullptr, &out);
    EXPECT_TRUE(out.isEmpty());
    var = holding(10).count(7);
    WhetherGroup(250, 100, &var, nullptr);
    EXPECT_EQ("10+7", spans(QList<RW_VAR>() << var));
}

TEST_F(Split, TakesNoLockAndLeavesTheReadListAlone)
{
    EXPECT_TRUE(returnsDespite(PLC_driver.listMutex, [this] { split(250, 100); }));
    EXPECT_TRUE(PLC_driver.readList.isEmpty());
}

// ---- one record per key

TEST(KeyedInsert, KeepsTheFirstRecordOfAKey)
{
    QHash<QString, RW_VAR> records;
    EXPECT_EQ(0, speed_insert(QString::fromLatin1("a"), holding(1), records));
    EXPECT_EQ(1, speed_insert(QString::fromLatin1("a"), holding(2), records));
    ASSERT_EQ(1, records.size());
    EXPECT_EQ(1, records.value(QString::fromLatin1("a")).address);
}

TEST(KeyedInsert, TellsKeysApartByLetterCase)
{
    QHash<QString, RW_VAR> records;
    EXPECT_EQ(0, speed_insert(QString::fromLatin1("a"), holding(1), records));
    EXPECT_EQ(0, speed_insert(QString::fromLatin1("A"), holding(2), records));
    EXPECT_EQ(2, records.size());
}

TEST(KeyedInsert, TakesTheEmptyKeyAsAKey)
{
    QHash<QString, RW_VAR> records;
    EXPECT_EQ(0, speed_insert(QString(), holding(1), records));
    EXPECT_EQ(1, speed_insert(QString::fromLatin1(""), holding(2), records));
    EXPECT_EQ(1, records.size());
}

TEST(KeyedInsert, InsertsTheWholeRecord)
{
    QHash<QString, RW_VAR> records;
    RW_VAR full =
        holding(9).ids(1, 2).linkId(3).relayArgs(5, 6).text("nine").data("AB CD").count(8).station(4);
    speed_insert(QString::fromLatin1("k"), full, records);
    const RW_VAR kept = records.value(QString::fromLatin1("k"));
    EXPECT_EQ("4/5:9+8", shown(kept));
    EXPECT_EQ(1, kept.hostId);
    EXPECT_EQ(2, kept.hostSubId);
    EXPECT_EQ("nine", kept.addrText.toStdString());
    EXPECT_EQ(hex("AB CD"), kept.data);
}

} // namespace plc::test
