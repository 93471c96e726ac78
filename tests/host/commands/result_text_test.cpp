#include "host/commands/result_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace plc::host;
using ::testing::HasSubstr;

TEST(OrderText, SaysWhatIsWrongAndWhatToTry)
{
    LinkSettings settings;
    settings.timeout = std::chrono::milliseconds(250);
    OrderResult result;
    result.end = OrderEnd::NoReply;
    result.attempts = 3;
    EXPECT_EQ("no answer from station 5 after 3 attempts of 250 ms; check station number, wiring, baud rate "
              "and parity, "
              "or give it more time with --timeout",
              describeResult(result, 5, settings));
    result.end = OrderEnd::Refused;
    result.exceptionCode = 2;
    result.function = 3;
    EXPECT_THAT(describeResult(result, 5, settings),
                HasSubstr("station 5 refused with exception 02 (illegal data address) to function 3"));
    result.end = OrderEnd::Unusable;
    result.attempts = 1;
    EXPECT_THAT(describeResult(result, 5, settings),
                HasSubstr("no usable reply from station 5 after 1 attempt;"));
    result.echoMissing = true;
    EXPECT_THAT(describeResult(result, 5, settings), HasSubstr("--echo"));
}

TEST(OrderText, NamesTheMissingEchoOption)
{
    OrderResult result;
    result.end = OrderEnd::Unusable;
    result.echoHeard = true;
    EXPECT_THAT(describeResult(result, 5, LinkSettings()),
                HasSubstr("the line hands back what is sent; add --echo"));
}

TEST(DescribeResult, TellsThatAReplyLikeItsRequestMayBeTheEcho)
{
    TransactionReport report;
    report.cause = AttemptEnd::Unusable;
    report.attempts = 1;
    report.echoHeard = true;
    report.mayBeEcho = true;
    EXPECT_THAT(describeResult(resultOf(report), 5, LinkSettings()),
                HasSubstr("what came is like the request, and so soon that it may be the request itself"));
}

TEST(DescribeResult, SaysThatAWriteIsNotConfirmed)
{
    OrderResult result;
    result.end = OrderEnd::Unconfirmed;
    EXPECT_THAT(describeResult(result, 5, LinkSettings()), HasSubstr("sent to station 5 and not confirmed"));
}

TEST(DescribeResult, TellsABusyLineFromASilentStation)
{
    OrderResult result;
    result.end = OrderEnd::LineBusy;
    EXPECT_THAT(describeResult(result, 5, LinkSettings()),
                HasSubstr("the line never fell silent, so that the request to station 5 could not go out"));
}

StationNews newsOf(int station, bool offline)
{
    StationNews news;
    news.station = station;
    news.offline = offline;
    return news;
}

TEST(DescribeStation, TellsWhyItIsLeftAloneAndWhenItIsTriedNext)
{
    StationNews news = newsOf(2, true);
    news.failures = 3;
    news.nextProbe = std::chrono::milliseconds(500);
    EXPECT_EQ("station 2 is offline after 3 failures in a row; next try in 0.5 s", describe(news));
    news.failures = 1;
    news.nextProbe = std::chrono::seconds(20);
    EXPECT_EQ("station 2 is offline after 1 failure; next try in 20 s", describe(news));
}

TEST(DescribeStation, TellsHowLongItWasAway)
{
    StationNews news = newsOf(2, false);
    news.lasted = std::chrono::seconds(10);
    EXPECT_EQ("station 2 is back after 10 s", describe(news));
}

TEST(ResultText, TellsOfAPortThatIsLookedFor)
{
    PortNews news;
    news.reason = "port 'X' is lost while listening; is it still plugged in?";
    EXPECT_EQ("port 'X' is lost while listening; is it still plugged in? It is looked for until it is back",
              describe(news, "X"));
    news.change = PortNews::Change::Refused;
    news.reason = "port 'X' cannot be opened at 19200 baud: it is in use by process 7 (minicom)";
    EXPECT_EQ(
        "port 'X' cannot be opened at 19200 baud: it is in use by process 7 (minicom); it is tried again "
        "and again",
        describe(news, "X"));
    news.change = PortNews::Change::Back;
    news.reason.clear();
    news.lasted = std::chrono::milliseconds(3210);
    EXPECT_EQ("port 'X' is back after 3.2 s", describe(news, "X"));
}

} // namespace
