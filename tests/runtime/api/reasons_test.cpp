#include "runtime/api/reasons.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace plc::runtime;
using ::testing::HasSubstr;

std::string reasonOf(const OrderResult &result)
{
    return plc::api::reasonOf(result, 5, std::chrono::milliseconds(250)).toStdString();
}

OrderResult ended(OrderEnd end, int attempts = 1)
{
    OrderResult result;
    result.end = end;
    result.attempts = attempts;
    return result;
}

TEST(Reasons, SayWhatIsWrongAndWhatToTry)
{
    EXPECT_EQ("no answer from station 5 after 3 attempts of 250 ms; check station number, wiring, baud rate "
              "and parity, or give it more time with setting 'timeoutMs'",
              reasonOf(ended(OrderEnd::NoReply, 3)));
    OrderResult refused = ended(OrderEnd::Refused);
    refused.exceptionCode = 2;
    refused.function = 3;
    EXPECT_THAT(reasonOf(refused),
                HasSubstr("station 5 refused with exception 02 (illegal data address) to function 3"));
    EXPECT_EQ(
        "no usable reply from station 5 after 1 attempt; check baud rate, parity and stop bits, wiring, "
        "and whether two stations share the number",
        reasonOf(ended(OrderEnd::Unusable)));
}

TEST(Reasons, NameTheSettingOfALineThatEchoes)
{
    OrderResult missing = ended(OrderEnd::Unusable);
    missing.echoMissing = true;
    EXPECT_THAT(reasonOf(missing), HasSubstr("; is setting 'echo' right for this line?"));
    OrderResult heard = ended(OrderEnd::Unusable);
    heard.echoHeard = true;
    EXPECT_THAT(reasonOf(heard), HasSubstr(": the line hands back what is sent; add setting 'echo'"));
}

TEST(Reasons, TellThatAReplyLikeItsRequestMayBeTheEcho)
{
    TransactionReport report;
    report.cause = AttemptEnd::Unusable;
    report.attempts = 1;
    report.echoHeard = true;
    report.mayBeEcho = true;
    EXPECT_THAT(reasonOf(resultOf(report)),
                HasSubstr("what came is like the request, and so soon that it may be the request itself; add "
                          "setting 'echo' if the line hands back what is sent"));
}

TEST(Reasons, SayThatAWriteIsNotConfirmed)
{
    EXPECT_EQ(
        "sent to station 5 and not confirmed: it was given up before the answer had come; the write may "
        "have been done, read it back",
        reasonOf(ended(OrderEnd::Unconfirmed)));
}

TEST(Reasons, TellABusyLineFromASilentStation)
{
    EXPECT_EQ(
        "the line never fell silent, so that the request to station 5 could not go out after 2 attempts: "
        "noise or a second master",
        reasonOf(ended(OrderEnd::LineBusy, 2)));
    EXPECT_EQ(
        "the line never fell silent, so that the request to station 5 could not go out: noise or a second "
        "master",
        reasonOf(ended(OrderEnd::LineBusy, 0)));
}

TEST(Reasons, OfAnOfflineStationSayHowItsLastReadingEnded)
{
    WatchStatus status;
    status.state = VariableState::Offline;
    const auto text = [&] {
        return plc::api::reasonOf(status, 5, std::chrono::milliseconds(250), "").toStdString();
    };
    status.last = ended(OrderEnd::Offline);
    EXPECT_EQ("station 5 is offline: it has not answered for a while and is tried now and then", text());
    status.last = ended(OrderEnd::NoReply);
    EXPECT_THAT(text(), HasSubstr("station 5 is offline, and tried now and then: no answer from station 5 "
                                  "after 1 attempt of 250 ms; check"));
}

TEST(Reasons, AreEmptyWhereAllIsWell)
{
    EXPECT_EQ("", reasonOf(ended(OrderEnd::Good)));
    EXPECT_EQ("", reasonOf(ended(OrderEnd::Open)));
}

} // namespace
