#include "host/screen/reply_times.h"

#include <gtest/gtest.h>

namespace {

using namespace plc::host;
using plc::runtime::AttemptEnd;
using plc::runtime::TransactionReport;
using std::chrono::milliseconds;

News newsOf(int station, AttemptEnd cause, int attempts, int lasted)
{
    TransactionReport report;
    report.request.station = station;
    report.cause = cause;
    report.attempts = attempts;
    report.startedAt = milliseconds(1000);
    report.endedAt = milliseconds(1000 + lasted);
    News news;
    news.transaction = report;
    return news;
}

TEST(ReplyTimesOfStations, AreThoseOfRepliesAndExceptionsToTheFirstAttempt)
{
    ReplyTimes times;
    for (int i = 1; i <= 99; ++i)
        times.note(newsOf(7, AttemptEnd::Good, 1, 10));
    times.note(newsOf(7, AttemptEnd::Exception, 1, 80));
    times.note(newsOf(7, AttemptEnd::Good, 2, 500));
    times.note(newsOf(7, AttemptEnd::NoReply, 1, 1000));
    times.note(newsOf(7, AttemptEnd::Unusable, 1, 1000));
    times.note(newsOf(7, AttemptEnd::NoReplyDue, 1, 1000));
    times.note(News());
    EXPECT_EQ(100u, times.of(7).count());
    EXPECT_EQ(milliseconds(80), times.of(7).most());
    EXPECT_NEAR(0.01, plc::runtime::seconds(times.of(7).percentile(50)), 0.0002);
}

TEST(ReplyTimesOfStations, AreEachStationsOwn)
{
    ReplyTimes times;
    times.note(newsOf(1, AttemptEnd::Good, 1, 10));
    times.note(newsOf(2, AttemptEnd::Good, 1, 20));
    EXPECT_EQ(milliseconds(10), times.of(1).most());
    EXPECT_EQ(milliseconds(20), times.of(2).most());
    EXPECT_EQ(0u, times.of(3).count());
}

} // namespace
