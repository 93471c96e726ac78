#include "host/finding/scan_evidence.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace plc::host {
namespace {

using namespace std::chrono_literals; // NOLINT(google-build-using-namespace)

ScanReply value()
{
    return {5, 0, QByteArray::fromHex("050302123444f3"), 0ms};
}

ScanReply exception(int code)
{
    return {5, code, QByteArray(), 0ms};
}

ScanRubbish rubbish(const char *hex)
{
    const QByteArray bytes = QByteArray::fromHex(hex);
    return {bytes, bytes.size(), 0ms};
}

FindState stateOf(const ScanEvidence &evidence)
{
    Find find;
    EXPECT_TRUE(evidence.conclude(true, false, &find));
    return find.state;
}

TEST(ScanEvidence, OfAReplyToEachRequestIsAGoodStation)
{
    ScanEvidence evidence;
    evidence.asked(false);
    evidence.answered(value());
    EXPECT_EQ(2, evidence.asksWanted());
    evidence.asked(false);
    evidence.answered(value());
    EXPECT_EQ(FindState::Good, stateOf(evidence));
}

TEST(ScanEvidence, OfMoreRepliesThanRequestsIsTwoStations)
{
    ScanEvidence evidence;
    evidence.asked(false);
    evidence.answered(value());
    evidence.answered(value());
    EXPECT_EQ(FindState::TwoStations, stateOf(evidence));
    EXPECT_EQ(ScanEvidence::kMostAsks, evidence.asksWanted());
    Find find;
    EXPECT_TRUE(evidence.conclude(true, true, &find)); // replies to another master
    EXPECT_EQ(FindState::Good, find.state);
}

TEST(ScanEvidence, OfAValueAndAnExceptionIsTwoStations)
{
    ScanEvidence evidence;
    evidence.asked(false);
    evidence.answered(value());
    evidence.asked(false);
    evidence.answered(exception(2));
    EXPECT_EQ(FindState::TwoStations, stateOf(evidence));
}

TEST(ScanEvidence, OfAStationThatIsBusyNowAndThenIsOneStation)
{
    ScanEvidence evidence;
    evidence.asked(false);
    evidence.answered(value());
    evidence.asked(false);
    evidence.answered(exception(6));
    EXPECT_EQ(FindState::Good, stateOf(evidence));
}

TEST(ScanEvidence, OfADamagedReplyAmongGoodOnesIsABadLink)
{
    ScanEvidence evidence;
    evidence.asked(false);
    evidence.answered(value());
    evidence.asked(true);
    evidence.damagedBy(rubbish("050302123444f2"), true, 10ms, 7);
    EXPECT_EQ(FindState::BadLink, stateOf(evidence));
}

TEST(ScanEvidence, OfBytesAtAnyTimeIsNoStation)
{
    ScanEvidence evidence;
    for (int i = 0; i < ScanEvidence::kMostAsks; ++i) {
        evidence.asked(true);
        evidence.damagedBy(rubbish("8811"), false, i * 40ms, 7);
    }
    Find find;
    EXPECT_FALSE(evidence.conclude(true, false, &find));
}

TEST(ScanEvidence, OfAStationThatFallsSilentIsNotFollowed)
{
    ScanEvidence evidence;
    evidence.asked(true);
    evidence.damagedBy(rubbish("8811"), false, 10ms, 7);
    EXPECT_EQ(ScanEvidence::kMostAsks, evidence.asksWanted());
    evidence.silent();
    evidence.silent();
    EXPECT_EQ(0, evidence.asksWanted());
}

TEST(ScanEvidence, RubbishResemblesAReplyByItsFirstThreeBytes)
{
    ScanPlan plan;
    EXPECT_TRUE(resemblesReply(rubbish("050302ffff0000"), 5, false, plan));
    EXPECT_TRUE(resemblesReply(rubbish("ff05830200"), 5, false, plan)); // behind a byte of noise
    EXPECT_FALSE(resemblesReply(rubbish("060302ffff0000"), 5, false, plan));
    EXPECT_FALSE(resemblesReply(rubbish("0503000000ff858e"), 5, true, plan)); // a damaged echo
    EXPECT_FALSE(resemblesReply(rubbish("050409"), 5, true, plan));
    EXPECT_FALSE(resemblesReply(rubbish("0503"), 5, true, plan));
    EXPECT_FALSE(resemblesReply(rubbish("ff0302ffff0000"), 5, false, plan));
    EXPECT_TRUE(resemblesReply(rubbish("ff0302ffff0000"), 5, true, plan)); // nobody else may have sent it
}

} // namespace
} // namespace plc::host
