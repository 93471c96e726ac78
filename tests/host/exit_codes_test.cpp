#include "host/exit_codes.h"

#include <gtest/gtest.h>

namespace {

using plcruntime::OrderEnd; // not that of the rooms below
using namespace plc::host;

using Ends = std::vector<OrderEnd>;

struct Code
{
    Ends ends;
    ExitCode code;
};

void PrintTo(const Code &code, std::ostream *out)
{
    for (const OrderEnd end : code.ends)
        *out << static_cast<int>(end) << ' ';
    *out << "-> " << code.code;
}

class ExitCodes : public ::testing::TestWithParam<Code>
{};

TEST_P(ExitCodes, SumUpAllOperations)
{
    EXPECT_EQ(GetParam().code, exitCodeOf(GetParam().ends));
}

constexpr OrderEnd kGood = OrderEnd::Good;
constexpr OrderEnd kNone = OrderEnd::NoAnswer;
constexpr OrderEnd kRefused = OrderEnd::Refused;
constexpr OrderEnd kBad = OrderEnd::BadReply;

INSTANTIATE_TEST_SUITE_P(Sums, ExitCodes,
                         ::testing::Values(Code{{kGood, kGood}, kExitGood}, Code{{kNone}, kExitNoReply},
                                           Code{{kRefused}, kExitException}, Code{{kBad}, kExitUnusable},
                                           Code{{kGood, kNone}, kExitMixed}, Code{{kBad, kGood}, kExitMixed},
                                           Code{{kRefused, kNone}, kExitException},
                                           Code{{kNone, kRefused}, kExitNoReply},
                                           Code{{kGood, OrderEnd::PortLost}, kExitPort},
                                           Code{{OrderEnd::Open}, kExitNoReply},
                                           Code{{OrderEnd::SwitchedOff}, kExitNoReply},
                                           Code{{OrderEnd::Unconfirmed}, kExitNoReply},
                                           Code{{kGood, OrderEnd::Unconfirmed}, kExitMixed}),
                         [](const auto &test) { return "Row" + std::to_string(test.index); });

TEST(ExitCodes, TellWhatAFailureIsAbout)
{
    EXPECT_EQ(1, exitCodeOf(FailureKind::Usage));
    EXPECT_EQ(2, exitCodeOf(FailureKind::NoReply));
    EXPECT_EQ(5, exitCodeOf(FailureKind::Port));
}

TEST(ExitCodes, OfABusyLineIsThatOfUnusableReplies)
{
    EXPECT_EQ(4, exitCodeOf(Ends{OrderEnd::LineBusy}));
}

} // namespace
