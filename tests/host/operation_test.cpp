#include "host/operation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace plc::host;
using ::testing::HasSubstr;

using Ends = std::vector<OperationEnd>;

StepReport reportWith(AttemptEnd cause, bool done)
{
    StepReport report;
    report.cause = cause;
    report.done = done;
    report.request.function = 3;
    report.exceptionCode = cause == AttemptEnd::Exception ? 2 : 0;
    report.refusedFunction = cause == AttemptEnd::Exception ? 3 : 0;
    report.attempts = 3;
    return report;
}

TEST(OperationResults, FollowTheCauseOfTheLastStep)
{
    EXPECT_EQ(OperationEnd::Good, resultOf(reportWith(AttemptEnd::Good, true)).end);
    EXPECT_EQ(OperationEnd::Good, resultOf(reportWith(AttemptEnd::NoReplyDue, true)).end);
    EXPECT_EQ(OperationEnd::Unusable, resultOf(reportWith(AttemptEnd::Good, false)).end);
    EXPECT_EQ(OperationEnd::Unusable, resultOf(reportWith(AttemptEnd::Unusable, false)).end);
    EXPECT_EQ(OperationEnd::NoReply, resultOf(reportWith(AttemptEnd::NoReply, false)).end);
    const OperationResult refused = resultOf(reportWith(AttemptEnd::Exception, false));
    EXPECT_EQ(OperationEnd::Refused, refused.end);
    EXPECT_EQ(2, refused.exceptionCode);
    EXPECT_EQ(3, refused.function);
    EXPECT_EQ(3, refused.attempts);
}

struct Code
{
    Ends ends;
    ExitCode code;
};

void PrintTo(const Code &code, std::ostream *out)
{
    for (const OperationEnd end : code.ends)
        *out << static_cast<int>(end) << ' ';
    *out << "-> " << code.code;
}

class ExitCodes : public ::testing::TestWithParam<Code>
{};

TEST_P(ExitCodes, SumUpAllOperations)
{
    EXPECT_EQ(GetParam().code, exitCodeOf(GetParam().ends));
}

constexpr OperationEnd kGood = OperationEnd::Good;
constexpr OperationEnd kNone = OperationEnd::NoReply;
constexpr OperationEnd kRefused = OperationEnd::Refused;
constexpr OperationEnd kBad = OperationEnd::Unusable;

INSTANTIATE_TEST_SUITE_P(Sums, ExitCodes,
                         ::testing::Values(Code{{kGood, kGood}, kExitGood}, Code{{kNone}, kExitNoReply},
                                           Code{{kRefused}, kExitException}, Code{{kBad}, kExitUnusable},
                                           Code{{kGood, kNone}, kExitMixed}, Code{{kBad, kGood}, kExitMixed},
                                           Code{{kRefused, kNone}, kExitException},
                                           Code{{kNone, kRefused}, kExitNoReply},
                                           Code{{kGood, OperationEnd::PortLost}, kExitPort},
                                           Code{{OperationEnd::Open}, kExitNoReply},
                                           Code{{OperationEnd::Dropped}, kExitNoReply},
                                           Code{{OperationEnd::Unconfirmed}, kExitNoReply},
                                           Code{{kGood, OperationEnd::Unconfirmed}, kExitMixed}),
                         [](const auto &test) { return "Row" + std::to_string(test.index); });

TEST(OperationText, SaysWhatIsWrongAndWhatToTry)
{
    LinkSettings settings;
    settings.timeout = std::chrono::milliseconds(250);
    OperationResult result;
    result.end = OperationEnd::NoReply;
    result.attempts = 3;
    EXPECT_EQ("no answer from station 5 after 3 attempts of 250 ms; check station number, wiring, baud rate "
              "and parity, "
              "or give it more time with --timeout",
              describeResult(result, 5, settings));
    result.end = OperationEnd::Refused;
    result.exceptionCode = 2;
    result.function = 3;
    EXPECT_THAT(describeResult(result, 5, settings),
                HasSubstr("station 5 refused with exception 02 (illegal data address) to function 3"));
    result.end = OperationEnd::Unusable;
    result.attempts = 1;
    EXPECT_THAT(describeResult(result, 5, settings),
                HasSubstr("no usable reply from station 5 after 1 attempt;"));
    result.echoMissing = true;
    EXPECT_THAT(describeResult(result, 5, settings), HasSubstr("--echo"));
}

TEST(ResultOf, AWriteThatIsWithheldAfterAnAttemptIsNotConfirmed)
{
    StepReport report;
    report.cause = AttemptEnd::Withheld;
    report.request.direction = 1;
    EXPECT_EQ(OperationEnd::Offline, resultOf(report).end);
    report.attempts = 1;
    EXPECT_EQ(OperationEnd::Unconfirmed, resultOf(report).end);
    EXPECT_THAT(describeResult(resultOf(report), 5, LinkSettings()),
                HasSubstr("sent to station 5 and not confirmed"));
}

TEST(DescribeResult, TellsThatAReplyLikeItsRequestMayBeTheEcho)
{
    StepReport report;
    report.cause = AttemptEnd::Unusable;
    report.attempts = 1;
    report.echoHeard = true;
    report.mayBeEcho = true;
    EXPECT_THAT(describeResult(resultOf(report), 5, LinkSettings()),
                HasSubstr("what came is like the request, and so soon that it may be the request itself"));
}

int reads(const char *variable, int maxBlock, quint32 options = 0)
{
    LinkSettings settings;
    settings.maxBlock = maxBlock;
    settings.options = options;
    return readPieces(parseVariable(variable, false), settings);
}

int writes(const char *variable, int maxBlock, quint32 options = 0)
{
    LinkSettings settings;
    settings.maxBlock = maxBlock;
    settings.options = options;
    return writePieces(parseVariable(variable, false), settings);
}

TEST(ReadPieces, AreCutAtTheBlockLimit)
{
    EXPECT_EQ(1, reads("4x:0:100", 100));
    EXPECT_EQ(3, reads("4x:0:250", 100));
    EXPECT_EQ(4, reads("4x_d:0:2", 1));
    EXPECT_EQ(2, reads("4x_bit:35.15:2", 1));
    EXPECT_EQ(1, reads("0x:0:800", 100));
    EXPECT_EQ(2, reads("0x:0:801", 100));
    EXPECT_EQ(20, reads("0x:0:20", 100, plc::kOptionNoBitPacking));
}

TEST(WritePieces, AreCutAsTheDriverCutsThem)
{
    EXPECT_EQ(3, writes("4x:0:250", 100));
    EXPECT_EQ(1, writes("4x:0:120", 1));
    EXPECT_EQ(5, writes("4x:0:5", 100, plc::kOptionSingleRegisters));
    EXPECT_EQ(3, writes("4x_d:0:125", 100));
    EXPECT_EQ(3, writes("4x_d:0:125", 1));
    EXPECT_EQ(4, writes("4x_bit:3.0:4", 100));
    EXPECT_EQ(4, writes("4x_single:3:4", 100));
    EXPECT_EQ(4, writes("4x_block:3:4", 100));
    EXPECT_EQ(2, writes("0x:0:20", 2));
    EXPECT_EQ(1, writes("0x:0:20", 1));
    EXPECT_EQ(20, writes("0x:0:20", 100, plc::kOptionSingleCoils));
}

TEST(OperationResults, TellABusyLineFromASilentStation)
{
    // Nothing went out, although the driver may call it done.
    const OperationResult result = resultOf(reportWith(AttemptEnd::LineBusy, true));
    EXPECT_EQ(OperationEnd::LineBusy, result.end);
    EXPECT_EQ(kExitUnusable, exitCodeOf({result.end}));
    EXPECT_THAT(describeResult(result, 5, LinkSettings()),
                HasSubstr("the line never fell silent, so that the request to station 5 could not go out"));
}

TEST(OperationText, NamesTheMissingEchoOption)
{
    OperationResult result;
    result.end = OperationEnd::Unusable;
    result.echoHeard = true;
    EXPECT_THAT(describeResult(result, 5, LinkSettings()),
                HasSubstr("the line hands back what is sent; add --echo"));
}

TEST(OperationResults, NameThePlaceThatWasRefused)
{
    StepReport report = reportWith(AttemptEnd::Exception, false);
    report.refusedFunction = 3;
    report.request.frame = QByteArray::fromHex("010303E800140000");
    OperationResult result = resultOf(report);
    EXPECT_EQ(3, result.function);
    EXPECT_EQ(1000, result.address);
    EXPECT_EQ(20, result.count);
    report.request.function = 6;
    report.refusedFunction = 6;
    report.request.frame = QByteArray::fromHex("010603E812340000");
    result = resultOf(report);
    EXPECT_EQ(1000, result.address);
    EXPECT_EQ(1, result.count);
}

TEST(OperationResults, TakeTheRefusedFunctionOfARelayFrameFromTheReply)
{
    StepReport report = reportWith(AttemptEnd::Exception, false);
    report.request.function = 0;
    report.refusedFunction = 16;
    report.request.address = 100;
    report.request.count = 2;
    const OperationResult result = resultOf(report);
    EXPECT_EQ(16, result.function);
    EXPECT_EQ(100, result.address);
    EXPECT_EQ(2, result.count);
}

} // namespace
