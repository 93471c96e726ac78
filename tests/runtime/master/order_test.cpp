#include "runtime/master/order.h"

#include <gtest/gtest.h>

namespace {

using namespace plc::runtime;

TransactionReport reportWith(AttemptEnd cause, bool done)
{
    TransactionReport report;
    report.cause = cause;
    report.done = done;
    report.request.function = 3;
    report.exceptionCode = cause == AttemptEnd::Exception ? 2 : 0;
    report.refusedFunction = cause == AttemptEnd::Exception ? 3 : 0;
    report.attempts = 3;
    return report;
}

TEST(OrderResults, FollowTheCauseOfTheLastStep)
{
    EXPECT_EQ(OrderEnd::Good, resultOf(reportWith(AttemptEnd::Good, true)).end);
    EXPECT_EQ(OrderEnd::Good, resultOf(reportWith(AttemptEnd::NoReplyDue, true)).end);
    EXPECT_EQ(OrderEnd::Unusable, resultOf(reportWith(AttemptEnd::Good, false)).end);
    EXPECT_EQ(OrderEnd::Unusable, resultOf(reportWith(AttemptEnd::Unusable, false)).end);
    EXPECT_EQ(OrderEnd::NoReply, resultOf(reportWith(AttemptEnd::NoReply, false)).end);
    const OrderResult refused = resultOf(reportWith(AttemptEnd::Exception, false));
    EXPECT_EQ(OrderEnd::Refused, refused.end);
    EXPECT_EQ(2, refused.exceptionCode);
    EXPECT_EQ(3, refused.function);
    EXPECT_EQ(3, refused.attempts);
}

TEST(ResultOf, AWriteThatIsWithheldAfterAnAttemptIsNotConfirmed)
{
    TransactionReport report;
    report.cause = AttemptEnd::Withheld;
    report.request.direction = 1;
    EXPECT_EQ(OrderEnd::Offline, resultOf(report).end);
    report.attempts = 1;
    EXPECT_EQ(OrderEnd::Unconfirmed, resultOf(report).end);
}

TEST(ResultOf, AWriteThatWasOnTheLineWhenThePortWentIsNotConfirmed)
{
    TransactionReport report;
    report.cause = AttemptEnd::PortLost;
    report.request.direction = 1;
    EXPECT_EQ(OrderEnd::PortLost, resultOf(report).end) << "it was not sent";
    report.attempts = 1;
    EXPECT_EQ(OrderEnd::Unconfirmed, resultOf(report).end);
    report.request.direction = 0;
    EXPECT_EQ(OrderEnd::PortLost, resultOf(report).end) << "a read changes nothing";
}

TEST(OrderResults, TellABusyLineFromASilentStation)
{
    // Nothing went out, although the driver may call it done.
    const OrderResult result = resultOf(reportWith(AttemptEnd::LineBusy, true));
    EXPECT_EQ(OrderEnd::LineBusy, result.end);
}

TEST(OrderResults, NameThePlaceThatWasRefused)
{
    TransactionReport report = reportWith(AttemptEnd::Exception, false);
    report.refusedFunction = 3;
    report.request.frame = QByteArray::fromHex("010303E800140000");
    OrderResult result = resultOf(report);
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

TEST(OrderResults, TakeTheRefusedFunctionOfARelayFrameFromTheReply)
{
    TransactionReport report = reportWith(AttemptEnd::Exception, false);
    report.request.function = 0;
    report.refusedFunction = 16;
    report.request.address = 100;
    report.request.count = 2;
    const OrderResult result = resultOf(report);
    EXPECT_EQ(16, result.function);
    EXPECT_EQ(100, result.address);
    EXPECT_EQ(2, result.count);
}

} // namespace
