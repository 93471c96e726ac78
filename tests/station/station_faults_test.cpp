#include "station/faults.h"
#include "station/rtu_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

using namespace plc::station;
using namespace std::chrono_literals;
using plc::test::bytes;
using plc::test::rtu;
using plc::test::operator+;

const Bytes &reply()
{
    static const Bytes frame = bytes("11 03 04 12 34 AB CD 11 E1");
    return frame;
}

/// A plan that does @p fault to @p percent of the replies and nothing else.
FaultPlan only(Fault fault, double percent = 100, std::uint64_t seed = 1)
{
    FaultSettings settings;
    settings.share(fault) = percent;
    settings.seed = seed;
    return FaultPlan(settings);
}

Bytes sent(const std::vector<Piece> &pieces)
{
    Bytes all;
    for (const Piece &piece : pieces)
        all = std::move(all) + piece.bytes;
    return all;
}

/// The one piece of a reply that is not cut.
Bytes sentWhole(FaultPlan &plan)
{
    const std::vector<Piece> pieces = plan.spoil(reply());
    EXPECT_EQ(1u, pieces.size());
    EXPECT_EQ(0ns, pieces.front().quiet);
    return sent(pieces);
}

constexpr int kRuns = 200;

TEST(FaultPlan, LeavesRepliesAloneWithoutFaults)
{
    FaultPlan plan{FaultSettings()};
    for (int i = 0; i < kRuns; ++i) {
        EXPECT_FALSE(plan.refusal());
        EXPECT_EQ(reply(), sentWhole(plan));
    }
    for (const FaultName &row : kFaultNames)
        EXPECT_EQ(0u, plan.count(row.fault)) << row.option;
}

TEST(FaultPlan, NamesEveryFaultInItsPlace)
{
    for (std::size_t i = 0; i < kFaultCount; ++i)
        EXPECT_EQ(i, static_cast<std::size_t>(kFaultNames[i].fault)) << kFaultNames[i].option;
}

TEST(FaultPlan, DropsReplies)
{
    FaultPlan plan = only(Fault::Drop);
    EXPECT_TRUE(plan.spoil(reply()).empty());
    EXPECT_EQ(1u, plan.count(Fault::Drop));
}

TEST(FaultPlan, CutsAReplyAndCompletesItAfterThePause)
{
    FaultSettings settings;
    settings.share(Fault::Cut) = 100;
    settings.cutPause = 70ms;
    FaultPlan plan(settings);
    for (int i = 0; i < kRuns; ++i) {
        const std::vector<Piece> pieces = plan.spoil(reply());
        ASSERT_EQ(2u, pieces.size());
        EXPECT_EQ(0ns, pieces[0].quiet);
        EXPECT_EQ(70ms, pieces[1].quiet);
        EXPECT_FALSE(pieces[0].bytes.empty());
        EXPECT_FALSE(pieces[1].bytes.empty());
        EXPECT_EQ(reply(), sent(pieces));
    }
    EXPECT_EQ(std::uint64_t(kRuns), plan.count(Fault::Cut));
}

TEST(FaultPlan, CutsAReplyForEver)
{
    FaultPlan plan = only(Fault::CutForever);
    for (int i = 0; i < kRuns; ++i) {
        const Bytes short_ = sentWhole(plan);
        ASSERT_LT(short_.size(), reply().size());
        ASSERT_GE(short_.size(), 1u);
        EXPECT_TRUE(std::equal(short_.begin(), short_.end(), reply().begin()));
    }
}

TEST(FaultPlan, SpoilsTheCrcAlone)
{
    FaultPlan plan = only(Fault::BadCrc);
    for (int i = 0; i < kRuns; ++i) {
        const Bytes spoiled = sentWhole(plan);
        ASSERT_EQ(reply().size(), spoiled.size());
        EXPECT_TRUE(std::equal(spoiled.begin(), spoiled.end() - 2, reply().begin()));
        EXPECT_FALSE(hasGoodCrc(spoiled, CrcOrder::LowFirst));
        EXPECT_FALSE(hasGoodCrc(spoiled, CrcOrder::HighFirst));
    }
}

TEST(FaultPlan, ExchangesTheCrcBytes)
{
    FaultPlan plan = only(Fault::SwapCrc);
    EXPECT_EQ(bytes("11 03 04 12 34 AB CD E1 11"), sentWhole(plan));
}

TEST(FaultPlan, CannotExchangeEqualCrcBytesAndDoesNotSayItDid)
{
    const Bytes twins = bytes("11 03 02 00 54 78 78");
    FaultPlan plan = only(Fault::SwapCrc);
    EXPECT_EQ(twins, sent(plan.spoil(twins)));
    EXPECT_EQ(0u, plan.count(Fault::SwapCrc));
}

TEST(FaultPlan, PutsNoiseInFront)
{
    FaultPlan plan = only(Fault::NoiseBefore);
    for (int i = 0; i < kRuns; ++i) {
        const Bytes noisy = sentWhole(plan);
        ASSERT_GT(noisy.size(), reply().size());
        ASSERT_LE(noisy.size(), reply().size() + 8);
        EXPECT_TRUE(std::equal(reply().rbegin(), reply().rend(), noisy.rbegin()));
    }
}

TEST(FaultPlan, PutsNoiseBehind)
{
    FaultPlan plan = only(Fault::NoiseAfter);
    for (int i = 0; i < kRuns; ++i) {
        const Bytes noisy = sentWhole(plan);
        ASSERT_GT(noisy.size(), reply().size());
        ASSERT_LE(noisy.size(), reply().size() + 8);
        EXPECT_TRUE(std::equal(reply().begin(), reply().end(), noisy.begin()));
    }
}

TEST(FaultPlan, RepliesInTheNameOfAnotherStationWithAGoodCrc)
{
    FaultPlan plan = only(Fault::Foreign);
    EXPECT_EQ(rtu("12 03 04 12 34 AB CD"), sentWhole(plan));
    EXPECT_EQ(rtu("01 06 0000 0001"), sent(plan.spoil(rtu("F7 06 0000 0001")))) << "247 is the last number";
}

TEST(FaultPlan, KeepsTheCrcOrderOfTheLineInAnothersName)
{
    FaultSettings settings;
    settings.share(Fault::Foreign) = 100;
    FaultPlan plan(settings, CrcOrder::HighFirst);
    EXPECT_TRUE(hasGoodCrc(sent(plan.spoil(bytes("11 83 02 34 C1"))), CrcOrder::HighFirst));
}

TEST(FaultPlan, RefusesWithTheCodeThatIsSet)
{
    FaultSettings settings;
    settings.share(Fault::Exception) = 100;
    settings.exceptionCode = 4;
    FaultPlan plan(settings);
    EXPECT_EQ(4, plan.refusal());
    EXPECT_EQ(1u, plan.count(Fault::Exception));
    EXPECT_EQ(reply(), sentWhole(plan)) << "the exception reply itself is left alone";
}

TEST(FaultPlan, SendsAReplyTwiceInOnePiece)
{
    FaultPlan plan = only(Fault::Twice);
    EXPECT_EQ(reply() + reply(), sentWhole(plan));
}

TEST(FaultPlan, HoldsALateReplyBackWhole)
{
    FaultSettings settings;
    settings.share(Fault::Late) = 100;
    settings.lateBy = 900ms;
    FaultPlan plan(settings);
    const std::vector<Piece> pieces = plan.spoil(reply());
    ASSERT_EQ(1u, pieces.size());
    EXPECT_EQ(900ms, pieces[0].quiet);
    EXPECT_EQ(reply(), pieces[0].bytes);
}

TEST(FaultPlan, DoesNothingElseToADroppedReply)
{
    FaultSettings settings;
    settings.percent.fill(100);
    FaultPlan plan(settings);
    EXPECT_TRUE(plan.spoil(reply()).empty());
    EXPECT_EQ(0u, plan.count(Fault::BadCrc));
}

TEST(FaultPlan, LetsSeveralFaultsMeetInOneReply)
{
    FaultSettings settings;
    for (Fault fault : {Fault::Twice, Fault::NoiseBefore, Fault::Cut, Fault::Late})
        settings.share(fault) = 100;
    settings.lateBy = 300ms;
    settings.cutPause = 20ms;
    FaultPlan plan(settings);
    const std::vector<Piece> pieces = plan.spoil(reply());
    ASSERT_EQ(2u, pieces.size());
    EXPECT_EQ(300ms, pieces[0].quiet);
    EXPECT_EQ(20ms, pieces[1].quiet);
    const Bytes all = sent(pieces);
    const Bytes doubled = reply() + reply();
    ASSERT_GT(all.size(), doubled.size());
    EXPECT_TRUE(std::equal(doubled.rbegin(), doubled.rend(), all.rbegin()));
}

TEST(FaultPlan, TakesAShortestReplyInEveryFault)
{
    FaultSettings settings;
    settings.percent.fill(100);
    settings.share(Fault::Drop) = 0;
    FaultPlan plan(settings);
    for (int i = 0; i < kRuns; ++i)
        EXPECT_FALSE(plan.spoil(rtu("11 03")).empty());
}

FaultSettings everyFaultAtTimes(std::uint64_t seed)
{
    FaultSettings settings;
    settings.percent.fill(30);
    settings.seed = seed;
    return settings;
}

Bytes transcript(std::uint64_t seed)
{
    FaultPlan plan(everyFaultAtTimes(seed));
    Bytes all;
    for (int i = 0; i < kRuns; ++i) {
        all.push_back(plan.refusal().value_or(0));
        for (const Piece &piece : plan.spoil(reply())) {
            all.push_back(static_cast<std::uint8_t>(piece.quiet / 10ms));
            all = std::move(all) + piece.bytes;
        }
    }
    return all;
}

TEST(FaultPlan, RepeatsARunWithTheSameSeed)
{
    EXPECT_EQ(transcript(42), transcript(42));
    EXPECT_NE(transcript(42), transcript(43));
}

class FaultShare : public ::testing::TestWithParam<std::string>
{};

Fault faultNamed(const std::string &option)
{
    for (const FaultName &row : kFaultNames) {
        if (option == row.option)
            return row.fault;
    }
    ADD_FAILURE() << "no fault is called " << option;
    return Fault::Drop;
}

TEST_P(FaultShare, IsRoughlyAsSet)
{
    const Fault fault = faultNamed(GetParam());
    FaultPlan plan = only(fault, 12.5);
    constexpr int replies = 8000;
    for (int i = 0; i < replies; ++i) {
        plan.refusal();
        plan.spoil(reply());
    }
    // 1000 expected; the spread of a fair draw is below 30.
    EXPECT_NEAR(1000.0, static_cast<double>(plan.count(fault)), 150.0);
}

INSTANTIATE_TEST_SUITE_P(All, FaultShare,
                         ::testing::Values("drop", "cut", "cut-forever", "bad-crc", "swap-crc",
                                           "noise-before", "noise-after", "foreign", "exception", "twice",
                                           "late"),
                         [](const auto &row) {
                             std::string name = row.param;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

} // namespace
