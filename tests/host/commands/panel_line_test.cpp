#include "host/commands/panel_line.h"

#include <gtest/gtest.h>

#include "support/time_zone.h"

namespace {

using namespace plc::host;
using std::chrono::milliseconds;

TEST(PublicSettings, AreThoseThatWereTyped)
{
    LinkSettings link;
    link.port = "/dev/ttyUSB7";
    link.baud = 38400;
    link.parity = plc::runtime::Parity::None;
    link.stopBits = 2;
    link.anyRate = true;
    link.rs485 = plc::runtime::Rs485{false, 3, 4};
    link.timeout = milliseconds(250);
    link.lateGuard = milliseconds(70);
    link.turnaround = milliseconds(90);
    link.retries = 5;
    link.station = 9;
    link.linkMode = 1;
    link.maxBlock = 33;
    link.options = 6;
    link.echo = true;
    link.policies.strictWrites = false;
    link.policies.offline = false;
    link.offline.failures = 4;
    link.offline.firstProbe = milliseconds(1500);
    link.offline.longestProbe = milliseconds(2500);
    link.reopen = false;
    link.pollInterval = milliseconds(600);
    link.stations[3].timeout = milliseconds(50);
    link.stations[4].retries = 1;
    link.stations[4].pause = milliseconds(20);
    link.driverPath = "/somewhere/libplcdriver.so";

    const plcruntime::LineSettings line = publicSettings(link);
    EXPECT_EQ("/dev/ttyUSB7", line.port.toStdString());
    EXPECT_EQ(38400, line.baud);
    EXPECT_EQ(plcruntime::Parity::None, line.parity);
    EXPECT_EQ(2, line.stopBits);
    EXPECT_TRUE(line.anyRate);
    EXPECT_TRUE(line.rs485);
    EXPECT_FALSE(line.rs485RtsOnSend);
    EXPECT_EQ(3, line.rs485BeforeMs);
    EXPECT_EQ(4, line.rs485AfterMs);
    EXPECT_EQ(250, line.timeoutMs);
    EXPECT_EQ(70, line.lateGuardMs);
    EXPECT_EQ(90, line.turnaroundMs);
    EXPECT_EQ(5, line.retries);
    EXPECT_EQ(9, line.station);
    EXPECT_TRUE(line.relay);
    EXPECT_EQ(33, line.maxBlock);
    EXPECT_EQ(6u, line.driverOptions);
    EXPECT_TRUE(line.echo);
    EXPECT_EQ(static_cast<unsigned>(plcruntime::PolicyStrictWrites | plcruntime::PolicyOffline),
              line.policiesOff);
    EXPECT_EQ(4, line.offlineFailures);
    EXPECT_EQ(1500, line.firstProbeMs);
    EXPECT_EQ(2500, line.longestProbeMs);
    EXPECT_FALSE(line.reopen);
    EXPECT_EQ(600, line.pollIntervalMs);
    ASSERT_EQ(2, line.stations.size());
    EXPECT_EQ(3, line.stations[0].station);
    EXPECT_EQ(50, line.stations[0].timeoutMs);
    EXPECT_EQ(-1, line.stations[0].retries);
    EXPECT_EQ(4, line.stations[1].station);
    EXPECT_EQ(-1, line.stations[1].timeoutMs);
    EXPECT_EQ(1, line.stations[1].retries);
    EXPECT_EQ(20, line.stations[1].pauseMs);
    EXPECT_EQ("/somewhere/libplcdriver.so", line.driverFile.toStdString());
}

TEST(PublicSettings, OfAPlainLineAreTheDefaults)
{
    const plcruntime::LineSettings line = publicSettings(LinkSettings());
    const plcruntime::LineSettings usual;
    EXPECT_EQ(usual.timeoutMs, line.timeoutMs);
    EXPECT_EQ(-1, line.lateGuardMs);
    EXPECT_EQ(0u, line.policiesOff);
    EXPECT_FALSE(line.rs485);
    EXPECT_FALSE(line.relay);
}

TEST(TraceLine, HasTheTimesADirectionAndTheBytes)
{
    const plc::test::TimeZone zone("UTC0");
    const WallTime time(std::chrono::microseconds(1774745999123456));
    const std::string wall = "2026-03-29T00:59:59.123456+00:00 ";
    plcruntime::Frame frame;
    frame.atUs = 1001234567;
    frame.kind = plcruntime::FrameKind::Sent;
    frame.bytes = QByteArray::fromHex("0103000a0001a408");
    frame.attempt = 1;
    EXPECT_EQ(wall + "     1.234567 -> 01 03 00 0A 00 01 A4 08", traceLine(frame, 1000000000, time));
    frame.attempt = 2;
    EXPECT_EQ(wall + "     1.234567 -> 01 03 00 0A 00 01 A4 08  (attempt 2)",
              traceLine(frame, 1000000000, time));
    frame.kind = plcruntime::FrameKind::Received;
    EXPECT_EQ(wall + "     1.234567 <- 01 03 00 0A 00 01 A4 08", traceLine(frame, 1000000000, time));
    frame.kind = plcruntime::FrameKind::Discarded;
    frame.count = 3;
    frame.text = QString::fromLatin1("they came unasked");
    EXPECT_EQ(wall + "     1.234567 -- 3 bytes thrown away: they came unasked",
              traceLine(frame, 1000000000, time));
    frame.kind = plcruntime::FrameKind::AttemptEnd;
    frame.text = QString::fromLatin1("no reply");
    EXPECT_EQ(wall + "     1.234567 -- no reply", traceLine(frame, 1000000000, time));
}

TEST(RawValues, AreReadHighByteFirst)
{
    EXPECT_EQ((Values{0x0102, 0xFF00}),
              valuesOf(parseVariable("4x:0:2", false), QByteArray::fromHex("0102ff00")));
    EXPECT_EQ((Values{0x01020304}),
              valuesOf(parseVariable("4x_d:0", false), QByteArray::fromHex("01020304")));
    EXPECT_EQ((Values{1, 0, 1}), valuesOf(parseVariable("0x:0:3", false), QByteArray::fromHex("010001")));
}

} // namespace
