#include "runtime/testing/wire.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "station/crc.h"

namespace plc::simulation {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

Message bytesOf(Bytes bytes)
{
    Message message;
    message.bytes = std::move(bytes);
    return message;
}

std::vector<WireByte> takeAll(Wire *wire)
{
    std::vector<WireByte> all;
    while (wire->nextEnd() < Time::max())
        all.push_back(wire->take());
    return all;
}

Bytes valuesOf(const std::vector<WireByte> &bytes)
{
    Bytes values;
    for (const WireByte &byte : bytes)
        values.push_back(byte.value);
    return values;
}

TEST(Wire, TakesElevenBitsForAByte)
{
    Wire wire(11000, 1);
    EXPECT_EQ(milliseconds(1), wire.duration(1));
    EXPECT_EQ(milliseconds(200), wire.duration(200));
    EXPECT_EQ(microseconds(3500), wire.silence());
    EXPECT_EQ(microseconds(1750), Wire(115200, 1).silence());
}

TEST(Wire, HandsOverBytesAsTheyEnd)
{
    Wire wire(11000, 1);
    EXPECT_EQ(milliseconds(13), wire.send(5, milliseconds(10), bytesOf({1, 2, 3})));
    EXPECT_EQ(milliseconds(11), wire.nextEnd());
    const std::vector<WireByte> bytes = takeAll(&wire);
    EXPECT_EQ((Bytes{1, 2, 3}), valuesOf(bytes));
    EXPECT_EQ(5, bytes[2].source);
    EXPECT_EQ(milliseconds(13), bytes[2].end);
    EXPECT_EQ(milliseconds(13), wire.lastEnd());
}

TEST(Wire, HoldsTheBytesBehindAGapBack)
{
    Wire wire(11000, 1);
    Message message = bytesOf({1, 2, 3});
    message.gapBefore = 1;
    message.gap = milliseconds(5);
    EXPECT_EQ(milliseconds(8), wire.send(5, Time::zero(), message));
    const std::vector<WireByte> bytes = takeAll(&wire);
    EXPECT_EQ(milliseconds(1), bytes[0].end);
    EXPECT_EQ(milliseconds(6), bytes[1].start);
}

TEST(Wire, GarblesBytesThatOverlapAndNoOthers)
{
    Wire wire(11000, 1);
    wire.send(1, Time::zero(), bytesOf({0x10, 0x20, 0x30}));
    wire.send(2, microseconds(2500), bytesOf({0x40, 0x50}));
    const std::vector<WireByte> bytes = takeAll(&wire);
    ASSERT_EQ(5u, bytes.size());
    EXPECT_EQ(0x10, bytes[0].value);
    EXPECT_EQ(0x20, bytes[1].value);
    EXPECT_TRUE(bytes[2].isNoise);
    EXPECT_NE(0x30, bytes[2].value);
    EXPECT_TRUE(bytes[3].isNoise);
    EXPECT_NE(0x40, bytes[3].value);
    EXPECT_EQ(0x50, bytes[4].value);
    EXPECT_EQ(2u, wire.collisions());
}

TEST(Wire, LetsTheSameSenderAddToWhatItSends)
{
    Wire wire(11000, 1);
    wire.send(1, Time::zero(), bytesOf({0x10, 0x20}));
    wire.send(1, milliseconds(2), bytesOf({0x30}));
    EXPECT_EQ((Bytes{0x10, 0x20, 0x30}), valuesOf(takeAll(&wire)));
}

/// Any good CRC over bytes of which one is noise, in either order?
bool hasForgery(const std::vector<WireByte> &bytes)
{
    const Bytes values = valuesOf(bytes);
    for (std::size_t first = 0; first < bytes.size(); ++first) {
        bool noise = false;
        for (std::size_t last = first; last < bytes.size(); ++last) {
            noise = noise || bytes[last].isNoise;
            const station::ByteView frame(values.data() + first, last - first + 1);
            if (noise && frame.size >= 4 &&
                (station::hasGoodCrc(frame, station::CrcOrder::LowFirst) ||
                 station::hasGoodCrc(frame, station::CrcOrder::HighFirst)))
                return true;
        }
    }
    return false;
}

TEST(Wire, NeverForgesAGoodCrcOutOfNoise)
{
    Random random(3);
    Wire wire(11000, 1);
    Time at{};
    bool wouldForge = false;
    for (int round = 0; round < 1500; ++round) {
        Message message;
        for (int i = 0; i < 24; ++i)
            message.bytes.push_back(random.byte());
        message.noise.assign(24, false);
        message.noise[static_cast<std::size_t>(random.below(24))] = true;
        std::vector<WireByte> asMeant;
        for (std::size_t i = 0; i < 24; ++i) {
            WireByte byte;
            byte.value = message.bytes[i];
            byte.isNoise = message.noise[i];
            asMeant.push_back(byte);
        }
        wouldForge = wouldForge || hasForgery(asMeant);
        wire.send(kMaster, at, message);
        EXPECT_FALSE(hasForgery(takeAll(&wire)));
        at += milliseconds(100);
    }
    // Otherwise the test has shown nothing.
    EXPECT_TRUE(wouldForge);
}

TEST(Wire, LeavesGoodFramesAlone)
{
    Wire wire(11000, 1);
    Bytes frame = {0x01, 0x03, 0x02, 0x00, 0x2A};
    station::appendCrc(&frame, station::CrcOrder::LowFirst);
    Message noise = bytesOf({0x77});
    noise.noise = {true};
    wire.send(kNoise, Time::zero(), noise);
    wire.send(1, milliseconds(2), bytesOf(frame));
    const std::vector<WireByte> bytes = takeAll(&wire);
    ASSERT_EQ(frame.size() + 1, bytes.size());
    for (std::size_t i = 0; i < frame.size(); ++i)
        EXPECT_EQ(frame[i], bytes[i + 1].value);
}

TEST(Random, IsTheSameWithEveryLibrary)
{
    Random random(1);
    // The first outputs of the engine are laid down; the mapping is ours.
    EXPECT_EQ(2469588189546311528u, random.bits());
    EXPECT_EQ(2516265689700432462u, random.bits());
    for (int i = 0; i < 1000; ++i)
        EXPECT_THAT(random.between(3, 5), testing::AllOf(testing::Ge(3), testing::Le(5)));
}

TEST(Wire, ForgesNoShortestFrameEither)
{
    for (const auto order : {station::CrcOrder::LowFirst, station::CrcOrder::HighFirst}) {
        Bytes frame = {0x12, 0x34};
        station::appendCrc(&frame, order);
        Message message = bytesOf(frame);
        message.noise = {true, false, false, false};
        Wire wire(11000, 1);
        wire.send(kNoise, Time::zero(), message);
        const std::vector<WireByte> bytes = takeAll(&wire);
        EXPECT_FALSE(hasForgery(bytes));
        EXPECT_TRUE(bytes[3].isNoise);
        Bytes tooShort = {0x12};
        station::appendCrc(&tooShort, order);
        Message noise = bytesOf(tooShort);
        noise.noise = {true, false, false};
        Wire other(11000, 1);
        other.send(kNoise, Time::zero(), noise);
        EXPECT_EQ(tooShort, valuesOf(takeAll(&other))) << "nobody takes three bytes for a frame";
    }
}

TEST(Wire, MayTurnAnyBitsOfAByteThatCollidesButNeverNone)
{
    Wire wire(11000, 1);
    std::set<int> seen;
    Time at{};
    for (int round = 0; round < 4000; ++round) {
        wire.send(kMaster, at, bytesOf({0x5A}));
        wire.send(1, at, bytesOf({0x5A}));
        for (const WireByte &byte : takeAll(&wire))
            seen.insert(byte.value ^ 0x5A);
        at += milliseconds(100);
    }
    EXPECT_EQ(255u, seen.size());
    EXPECT_EQ(0u, seen.count(0));
}

} // namespace
} // namespace plc::simulation
