#include "runtime/master/trace_line.h"

#include <gtest/gtest.h>

namespace {

using namespace plc::runtime;

FrameNews frame(FrameNews::Kind kind, const QByteArray &bytes, const char *text)
{
    FrameNews news;
    news.kind = kind;
    news.at = std::chrono::hours(1);
    news.sinceStart = std::chrono::microseconds(2500001);
    news.bytes = bytes;
    news.attempt = 1;
    news.count = 3;
    news.text = text;
    return news;
}

TEST(TraceLine, HasTheTimeSinceCommunicationBeganAndWhatTheFrameIs)
{
    const QByteArray bytes("\x11\x03\xC0", 3);
    EXPECT_EQ("     2.500001 -> 11 03 C0", traceLine(frame(FrameNews::Kind::Sent, bytes, "")));
    EXPECT_EQ("     2.500001 <- 11 03 C0", traceLine(frame(FrameNews::Kind::Received, bytes, "")));
    EXPECT_EQ("     2.500001 -- 3 bytes thrown away: late",
              traceLine(frame(FrameNews::Kind::Discarded, QByteArray(), "late")));
    EXPECT_EQ("     2.500001 -- time-out",
              traceLine(frame(FrameNews::Kind::AttemptEnd, QByteArray(), "time-out")));
}

TEST(FrameText, CountsTheAttemptsFromTheSecondOn)
{
    FrameNews news = frame(FrameNews::Kind::Sent, QByteArray("\x11", 1), "");
    EXPECT_EQ("-> 11", frameText(news));
    news.attempt = 2;
    EXPECT_EQ("-> 11  (attempt 2)", frameText(news));
}

} // namespace
