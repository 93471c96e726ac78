// What happens on a line, for programs.
#include "host/commands/event_records.h"

#include <gtest/gtest.h>

#include "support/time_zone.h"

namespace {

using namespace plc::host;

const plc::test::TimeZone kZone("UTC0");

std::string record(const plcruntime::Event &event)
{
    return recordOf(event, WallTime(std::chrono::microseconds(1767225600123456)), 1000000, "/dev/ttyS0");
}

std::string record(const StationChange &change)
{
    plcruntime::Event event;
    event.station = &change;
    return record(event);
}

std::string record(const PortChange &change)
{
    plcruntime::Event event;
    event.port = &change;
    return record(event);
}

std::string record(const plcruntime::Frame &frame)
{
    plcruntime::Event event;
    event.frame = &frame;
    return record(event);
}

TEST(RecordsOfStations, SayWhenTheyAreTriedAgainAndHowLongTheyWereGone)
{
    StationChange change;
    change.station = 5;
    change.state = plcruntime::StationState::Offline;
    change.failures = 3;
    change.nextProbeMs = 10000;
    EXPECT_EQ(R"({"kind":"station","time":"2026-01-01T00:00:00.123+00:00","station":5,"state":"offline",)"
              R"("failures":3,"next_probe_ms":10000})",
              record(change));
    change.state = plcruntime::StationState::On;
    change.lastedMs = 1234;
    EXPECT_EQ(R"({"kind":"station","time":"2026-01-01T00:00:00.123+00:00","station":5,"state":"on",)"
              R"("lasted_ms":1234})",
              record(change));
    change.state = plcruntime::StationState::SwitchedOff;
    change.lastedMs = 0;
    EXPECT_EQ(
        R"({"kind":"station","time":"2026-01-01T00:00:00.123+00:00","station":5,"state":"switched off"})",
        record(change));
}

TEST(RecordsOfThePort, SayWhyItIsGone)
{
    PortChange change;
    change.state = plcruntime::PortState::Lost;
    change.reason = "it was\npulled out";
    EXPECT_EQ(R"({"kind":"port","time":"2026-01-01T00:00:00.123+00:00","port":"/dev/ttyS0","state":"lost",)"
              R"("reason":"it was pulled out"})",
              record(change));
    change.isRefused = true;
    EXPECT_EQ(
        R"({"kind":"port","time":"2026-01-01T00:00:00.123+00:00","port":"/dev/ttyS0","state":"refused",)"
        R"("reason":"it was pulled out"})",
        record(change));
    change.state = plcruntime::PortState::Open;
    change.lastedMs = 7;
    EXPECT_EQ(R"({"kind":"port","time":"2026-01-01T00:00:00.123+00:00","port":"/dev/ttyS0","state":"open",)"
              R"("lasted_ms":7})",
              record(change));
}

TEST(RecordsOfMessages, NameOptionsAsTheToolDoes)
{
    plcruntime::LogLine line;
    line.isWarning = true;
    line.text = "give it more time with setting 'timeoutMs'";
    plcruntime::Event event;
    event.log = &line;
    EXPECT_EQ(R"({"kind":"message","time":"2026-01-01T00:00:00.123+00:00","is_warning":true,)"
              R"("text":"give it more time with --timeout"})",
              record(event));
}

TEST(RecordsOfFrames, HaveTheirBytesAndBothTimes)
{
    plcruntime::Frame frame;
    frame.atUs = 1001234;
    frame.bytes = QByteArray::fromHex("0103ff");
    frame.attempt = 2;
    EXPECT_EQ(R"({"kind":"frame","time_s":0.001234,"time":"2026-01-01T00:00:00.123456+00:00",)"
              R"("direction":"sent","attempt":2,"bytes":"01 03 FF"})",
              record(frame));
    frame.kind = plcruntime::FrameKind::Received;
    EXPECT_EQ(R"({"kind":"frame","time_s":0.001234,"time":"2026-01-01T00:00:00.123456+00:00",)"
              R"("direction":"received","bytes":"01 03 FF"})",
              record(frame));
    frame.kind = plcruntime::FrameKind::Discarded;
    frame.bytes.clear();
    frame.count = 3;
    frame.text = "they came unasked";
    EXPECT_EQ(R"({"kind":"frame","time_s":0.001234,"time":"2026-01-01T00:00:00.123456+00:00",)"
              R"("direction":"discarded","count":3,"text":"they came unasked"})",
              record(frame));
    frame.kind = plcruntime::FrameKind::AttemptEnd;
    frame.text = "no reply";
    EXPECT_EQ(R"({"kind":"frame","time_s":0.001234,"time":"2026-01-01T00:00:00.123456+00:00",)"
              R"("direction":"attempt end","text":"no reply"})",
              record(frame));
}

} // namespace
