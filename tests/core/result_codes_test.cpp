#include "core/result_codes.h"

#include <climits>

#include "support/driver_fixture.h"

namespace plc::test {
namespace {

class ResultCodes : public FreshDriver
{
protected:
    void judgeTransactionOf(int hostId)
    {
        PLC_driver.sendQueue.clear();
        Protocol head;
        head.var.hostId = hostId;
        PLC_driver.sendQueue.append(head);
    }
};

TEST_F(ResultCodes, AcceptedLocalReplyIsOne)
{
    judgeTransactionOf(0);
    EXPECT_EQ(1, GetDriverReturnValue(0));
}

TEST_F(ResultCodes, AcceptedRelayReplyIsOneHundred)
{
    judgeTransactionOf(0);
    EXPECT_EQ(100, GetDriverReturnValue(4));
}

TEST_F(ResultCodes, SuccessDoesNotDependOnTheHostId)
{
    for (const int hostId : {-1, 0, 1, 11, 12}) {
        SCOPED_TRACE(hostId);
        judgeTransactionOf(hostId);
        EXPECT_EQ(1, GetDriverReturnValue(0));
        EXPECT_EQ(100, GetDriverReturnValue(4));
    }
}

struct Band
{
    int verdict;
    int first;
};

void PrintTo(const Band &band, std::ostream *out)
{
    *out << "verdict " << band.verdict;
}

class ErrorBand : public ResultCodes, public ::testing::WithParamInterface<Band>
{};

TEST_P(ErrorBand, StartsOneAboveItsBaseForHostIdZero)
{
    judgeTransactionOf(0);
    EXPECT_EQ(GetParam().first, GetDriverReturnValue(GetParam().verdict));
}

TEST_P(ErrorBand, AddsHostIdsOneToEleven)
{
    for (int hostId = 1; hostId <= 11; ++hostId) {
        SCOPED_TRACE(hostId);
        judgeTransactionOf(hostId);
        EXPECT_EQ(GetParam().first + hostId, GetDriverReturnValue(GetParam().verdict));
    }
}

TEST_P(ErrorBand, AddsNothingForAnyOtherHostId)
{
    for (const int hostId : {12, 13, 255, 65536 + 4, INT_MAX, -1, -4, -11, INT_MIN}) {
        SCOPED_TRACE(hostId);
        judgeTransactionOf(hostId);
        EXPECT_EQ(GetParam().first, GetDriverReturnValue(GetParam().verdict));
    }
}

INSTANTIATE_TEST_SUITE_P(Verdicts, ErrorBand,
                         ::testing::Values(Band{1, 11}, Band{2, 41}, Band{3, 71}, Band{5, 111}, Band{6, 141},
                                           Band{7, 171}));

TEST_F(ResultCodes, WrongLengthOfHostIdFourIsSeventyFive)
{
    judgeTransactionOf(4);
    EXPECT_EQ(75, GetDriverReturnValue(3));
}

TEST_F(ResultCodes, BadReplyOfHostIdElevenIsTheTopOfItsBand)
{
    judgeTransactionOf(11);
    EXPECT_EQ(22, GetDriverReturnValue(1));
}

TEST_F(ResultCodes, AnyOtherVerdictIsTwoHundredWhateverTheHostId)
{
    for (const int hostId : {0, 4, 12}) {
        judgeTransactionOf(hostId);
        for (const int verdict : {8, 9, 100, 256, INT_MAX, -1, -4, INT_MIN}) {
            SCOPED_TRACE(verdict);
            EXPECT_EQ(200, GetDriverReturnValue(verdict));
        }
    }
}

TEST_F(ResultCodes, HostIdIsThatOfTheHeadNotOfTheTransactionBehindIt)
{
    judgeTransactionOf(4);
    Protocol second;
    second.var.hostId = 9;
    PLC_driver.sendQueue.append(second);
    EXPECT_EQ(15, GetDriverReturnValue(1));
}

TEST_F(ResultCodes, HostIdIsThatOfTheHeadNotOfTheResultRecord)
{
    judgeTransactionOf(4);
    PLC_driver.retVar.hostId = 9;
    EXPECT_EQ(15, GetDriverReturnValue(1));
}

TEST_F(ResultCodes, AnyBaseCanBeSwitched)
{
    judgeTransactionOf(5);
    EXPECT_EQ(6, SwitchErrorReturn(0));
    EXPECT_EQ(16, SwitchErrorReturn(10));
    EXPECT_EQ(1006, SwitchErrorReturn(1000));
    EXPECT_EQ(-44, SwitchErrorReturn(-50));
}

TEST_F(ResultCodes, NothingIsAddedWithoutATransaction)
{
    EXPECT_EQ(11, GetDriverReturnValue(1));
    EXPECT_EQ(1, GetDriverReturnValue(0));
}

TEST(ResultCodeNames, StandForTheNumbersThatRuntimesKnow)
{
    EXPECT_EQ(0, kResultPending);
    EXPECT_EQ(1, kResultDone);
    EXPECT_EQ(100, kResultDoneWithoutData);
    EXPECT_EQ(41, kResultNoReply);
    EXPECT_EQ(200, kResultUnknownVerdict);
    EXPECT_EQ(1, kOutcomeDone);
    EXPECT_EQ(2, kOutcomeFailed);
}

TEST(ResultCodeNames, OfDoneStepsAreTwo)
{
    for (int code = -1; code <= 201; ++code)
        EXPECT_EQ(code == 1 || code == 100, isDone(code)) << code;
}

TEST(ResultCodeNames, OfBandsHoldTwelveCodesEach)
{
    struct Row
    {
        int band;
        int first;
        int last;
    };
    for (const Row &row : {Row{kBandBadReply, 11, 22}, Row{kBandReplyMissing, 41, 52},
                           Row{kBandWrongLength, 71, 82}, Row{kBandRelayBadReply, 111, 122},
                           Row{kBandRelayReplyMissing, 141, 152}, Row{kBandRelayWrongLength, 171, 182}}) {
        for (int code = 0; code <= 201; ++code)
            EXPECT_EQ(code >= row.first && code <= row.last, isInBand(code, row.band)) << code;
    }
}

TEST_F(ResultCodes, JudgingChangesNothingInTheQueue)
{
    judgeTransactionOf(4);
    GetDriverReturnValue(1);
    ASSERT_EQ(1, PLC_driver.sendQueue.size());
    EXPECT_EQ(4, PLC_driver.sendQueue.first().var.hostId);
}

} // namespace
} // namespace plc::test
