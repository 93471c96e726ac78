// What a program gets that says nothing, and the numbers that programs are compiled with.

#include <gtest/gtest.h>

#include "plcruntime/plcruntime.h"

namespace {

using namespace plcruntime;

TEST(HeaderDefaults, OfALine)
{
    const LineSettings settings;
    EXPECT_EQ("", settings.port.toStdString());
    EXPECT_EQ(19200, settings.baud);
    EXPECT_EQ(Parity::Even, settings.parity);
    EXPECT_EQ(0, settings.stopBits);
    EXPECT_FALSE(settings.anyRate);
    EXPECT_FALSE(settings.rs485);
    EXPECT_TRUE(settings.rs485RtsOnSend);
    EXPECT_EQ(0, settings.rs485BeforeMs);
    EXPECT_EQ(0, settings.rs485AfterMs);
    EXPECT_EQ(1000, settings.timeoutMs);
    EXPECT_EQ(2, settings.retries);
    EXPECT_EQ(1, settings.station);
    EXPECT_EQ(100, settings.turnaroundMs);
    EXPECT_EQ(-1, settings.lateGuardMs);
    EXPECT_EQ(100, settings.maxBlock);
    EXPECT_FALSE(settings.relay);
    EXPECT_FALSE(settings.echo);
    EXPECT_EQ(0u, settings.driverOptions);
    EXPECT_EQ(0u, settings.policiesOff);
    EXPECT_EQ(3, settings.offlineFailures);
    EXPECT_EQ(10000, settings.firstProbeMs);
    EXPECT_EQ(60000, settings.longestProbeMs);
    EXPECT_EQ(0, settings.pollIntervalMs);
    EXPECT_TRUE(settings.stations.isEmpty());
    EXPECT_TRUE(settings.reopen);
    EXPECT_FALSE(settings.realTime);
    EXPECT_EQ("", settings.driverFile.toStdString());
    EXPECT_EQ(Delivery::OwnThread, settings.delivery);
}

TEST(HeaderDefaults, OfAStation)
{
    const StationSettings settings;
    EXPECT_EQ(0, settings.station);
    EXPECT_EQ(-1, settings.timeoutMs);
    EXPECT_EQ(-1, settings.retries);
    EXPECT_EQ(0, settings.pauseMs);
}

TEST(HeaderDefaults, OfAVariableHoweverItsPlaceIsGiven)
{
    const VariableSettings all[] = {VariableSettings(), VariableSettings("4x:1"),
                                    VariableSettings(QString::fromLatin1("4x:1"))};
    for (const VariableSettings &settings : all) {
        EXPECT_EQ("", settings.area.toStdString());
        EXPECT_EQ("", settings.address.toStdString());
        EXPECT_EQ(-1, settings.station);
        EXPECT_EQ(1, settings.count);
        EXPECT_EQ(Format::Default, settings.format);
        EXPECT_EQ(ByteOrder::Abcd, settings.order);
        EXPECT_EQ(0, settings.textBytes);
        EXPECT_EQ("", settings.name.toStdString());
        EXPECT_EQ(1, settings.scale);
        EXPECT_EQ(0, settings.offset);
        EXPECT_EQ(0, settings.priority);
    }
    EXPECT_EQ("", all[0].place.toStdString());
    EXPECT_EQ("4x:1", all[1].place.toStdString());
    EXPECT_EQ("4x:1", all[2].place.toStdString());
}

TEST(HeaderDefaults, OfWhatIsKnownOfAVariable)
{
    const VariableState state;
    EXPECT_EQ(0, state.id);
    EXPECT_TRUE(state.values.isEmpty());
    EXPECT_EQ(Quality::NeverRead, state.quality);
    EXPECT_FALSE(state.pendingWrite);
    EXPECT_FALSE(state.inPieces);
    EXPECT_FALSE(state.onScreen);
    EXPECT_EQ(-1, state.ageMs);
    EXPECT_EQ(0, state.exceptionCode);
    EXPECT_EQ("", state.reason.toStdString());
}

TEST(HeaderDefaults, OfAnOrder)
{
    const OrderResult result;
    EXPECT_EQ(0, result.order);
    EXPECT_EQ(0, result.variable);
    EXPECT_FALSE(result.isWrite);
    EXPECT_EQ(OrderEnd::Open, result.end);
    EXPECT_EQ(0, result.exceptionCode);
    EXPECT_EQ(0, result.attempts);
    EXPECT_EQ(0, result.endedUs);
    EXPECT_TRUE(result.values.isEmpty());
    EXPECT_EQ("", result.reason.toStdString());
}

TEST(HeaderDefaults, OfCountersAreZero)
{
    const Statistics statistics;
    const Counters &total = statistics.total;
    EXPECT_EQ(0, total.station);
    for (const quint64 count : {total.requests, total.retries, total.good, total.timeouts, total.bad,
                                total.exceptions, total.unanswered, total.lineBusy, total.ignoredReplies,
                                total.foreignBytes, total.bytesOut, total.bytesIn})
        EXPECT_EQ(0u, count);
    EXPECT_TRUE(statistics.stations.isEmpty());
    EXPECT_FALSE(statistics.hasLineErrors);
    for (const quint64 count :
         {statistics.parityErrors, statistics.framingErrors, statistics.overruns, statistics.breaks})
        EXPECT_EQ(0u, count);
    for (const qint64 time : {statistics.runningUs, statistics.latenessMedianUs, statistics.latenessMostUs})
        EXPECT_EQ(0, time);
}

TEST(HeaderDefaults, OfEvents)
{
    const Event event;
    EXPECT_EQ(EventLog, event.kind);
    EXPECT_EQ(0, event.atUs);
    EXPECT_EQ(nullptr, event.variable);
    EXPECT_EQ(nullptr, event.order);
    EXPECT_EQ(nullptr, event.station);
    EXPECT_EQ(nullptr, event.port);
    EXPECT_EQ(nullptr, event.frame);
    EXPECT_EQ(nullptr, event.log);

    const StationChange station;
    EXPECT_EQ(0, station.station);
    EXPECT_EQ(StationState::On, station.state);
    EXPECT_EQ(0, station.failures);
    EXPECT_EQ(0, station.lastedMs);
    EXPECT_EQ(0, station.nextProbeMs);

    const PortChange port;
    EXPECT_EQ(PortState::Closed, port.state);
    EXPECT_FALSE(port.isRefused);
    EXPECT_EQ(0, port.lastedMs);

    const Frame frame;
    EXPECT_EQ(FrameKind::Sent, frame.kind);
    EXPECT_EQ(0, frame.atUs);
    EXPECT_EQ(0, frame.attempt);
    EXPECT_EQ(0, frame.count);

    EXPECT_FALSE(LogLine().isWarning);
    EXPECT_FALSE(Error());
    EXPECT_EQ(ErrorKind::None, Error().kind);
    EXPECT_EQ(ValueKind::None, Value().kind);
    EXPECT_FALSE(Value().isBad);
}

// A program that was compiled with an older header hands these numbers to a newer library.
TEST(HeaderNumbers, OfBitsThatAreAddedNeverChange)
{
    EXPECT_EQ(1, PolicyDiscardInput);
    EXPECT_EQ(2, PolicyLateReplyGuard);
    EXPECT_EQ(4, PolicyCheckReplies);
    EXPECT_EQ(8, PolicyStrictWrites);
    EXPECT_EQ(16, PolicyEndOnException);
    EXPECT_EQ(32, PolicyEndOnDamage);
    EXPECT_EQ(64, PolicyAbsoluteDeadline);
    EXPECT_EQ(128, PolicyOffline);
    EXPECT_EQ(256, PolicyEchoCheck);
    EXPECT_EQ(1, EventValue);
    EXPECT_EQ(2, EventQuality);
    EXPECT_EQ(4, EventOrder);
    EXPECT_EQ(8, EventStation);
    EXPECT_EQ(16, EventPort);
    EXPECT_EQ(32, EventFrame);
    EXPECT_EQ(64, EventLog);
    EXPECT_EQ(31, EventsOfPanel);
    EXPECT_EQ(127, EventsAll);
}

} // namespace
