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

/// @p attempts attempts that all ended like the first of them.
MissedAttempts missed(Miss::Kind kind, int attempts = 1)
{
    MissedAttempts alike;
    alike.last = attempts;
    alike.miss.kind = kind;
    return alike;
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
    OrderResult result = ended(OrderEnd::Unusable);
    result.missed = {missed(Miss::Kind::EchoMissing)};
    EXPECT_EQ(
        "no usable reply from station 5 after 1 attempt: the echo of the request was not heard, or came "
        "damaged; is setting 'echo' right for this line?",
        reasonOf(result));
    result.missed = {missed(Miss::Kind::Echo)};
    EXPECT_EQ(
        "no usable reply from station 5 after 1 attempt: nothing but the request itself; the line hands "
        "back what is sent: add setting 'echo'",
        reasonOf(result));
    result.missed = {missed(Miss::Kind::NoFrame)};
    result.missed[0].miss.alsoEcho = true;
    EXPECT_THAT(reasonOf(result), HasSubstr("; the line hands back what is sent: add setting 'echo'"));
}

TEST(Reasons, TellThatAReplyLikeItsRequestMayBeTheEcho)
{
    TransactionReport report;
    report.cause = AttemptEnd::Unusable;
    report.attempts = 1;
    report.missed = {missed(Miss::Kind::MayBeEcho)};
    EXPECT_THAT(reasonOf(resultOf(report)),
                HasSubstr("what came is like the request, and so soon that it may be the request itself; add "
                          "setting 'echo' if the line hands back what is sent"));
}

TEST(Reasons, OfEachAttemptAreTold)
{
    OrderResult result = ended(OrderEnd::NoReply, 3);
    result.missed = {missed(Miss::Kind::NothingHeard, 3)};
    EXPECT_THAT(reasonOf(result),
                HasSubstr("no answer from station 5 after 3 attempts of 250 ms: nothing heard; check"));
    result.end = OrderEnd::Unusable;
    result.missed[0].last = 2;
    result.missed.push_back(missed(Miss::Kind::OtherStation));
    result.missed[1].first = result.missed[1].last = 3;
    result.missed[1].miss.station = 2;
    result.missed[1].miss.asked = 5;
    EXPECT_EQ(
        "no usable reply from station 5 after 3 attempts: attempts 1 and 2: nothing heard; attempt 3: a "
        "good frame of station 2, where station 5 was asked; check the station number, and whether the "
        "line has a second master",
        reasonOf(result));
    result.end = OrderEnd::Refused;
    result.exceptionCode = 6;
    result.function = 3;
    result.missed[1].miss.kind = Miss::Kind::Refused;
    result.missed[1].miss.exceptionCode = 6;
    EXPECT_THAT(reasonOf(result),
                HasSubstr("ask again (attempts 1 and 2: nothing heard; attempt 3: exception 06 server device "
                          "busy)"));
}

TEST(Reasons, GiveTheAdviceThatFitsWhatWasHeard)
{
    const auto told = [](Miss::Kind kind, bool crcHighFirst = false) {
        OrderResult result = ended(OrderEnd::Unusable);
        result.missed = {missed(kind)};
        result.missed[0].miss.crcHighFirst = crcHighFirst;
        return reasonOf(result);
    };
    EXPECT_THAT(told(Miss::Kind::NoFrame), HasSubstr("; check baud rate, parity and stop bits, and wiring"));
    EXPECT_THAT(told(Miss::Kind::WrongCrc), HasSubstr("; check wiring and termination"));
    EXPECT_THAT(told(Miss::Kind::SwappedCrc, true),
                HasSubstr("; add setting 'driverOptions' crc-swap-replies"));
    EXPECT_THAT(told(Miss::Kind::SwappedCrc, false),
                HasSubstr("; leave out setting 'driverOptions' crc-swap-replies"));
    EXPECT_THAT(told(Miss::Kind::OtherMaster), HasSubstr("; a line has one master: find the other one"));
    EXPECT_THAT(told(Miss::Kind::OtherLength), HasSubstr("more time with setting 'timeoutMs'"));
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
