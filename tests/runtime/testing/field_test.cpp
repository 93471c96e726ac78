#include "runtime/testing/field.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "runtime/testing/plain_stations.h"
#include "station/crc.h"

namespace plc::simulation {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr std::uint64_t kSeed = 4;

Bytes framed(Bytes frame)
{
    station::appendCrc(&frame, station::CrcOrder::LowFirst);
    return frame;
}

/// Station 7 at 19200 baud, which answers after 5 ms, and a master without a runtime.
class FieldTest : public testing::Test, private FieldObserver
{
protected:
    FieldTest()
    {
        stations_.add(7);
        stations_.setValue(7, Table::HoldingRegisters, 1, 0x1234);
    }

    /// What the line hears from the end of a request on.
    std::vector<WireByte> exchange(const Bytes &request, Time duration = seconds(3))
    {
        const Time end = now_ + duration;
        field_.masterSends(now_, request, ++tag_);
        std::vector<WireByte> heard;
        for (;;) {
            const Time next = std::min(wire_.nextEnd(), field_.nextEvent());
            if (next > end)
                break;
            now_ = next;
            if (wire_.nextEnd() <= now_) {
                const WireByte byte = wire_.take();
                field_.hear(byte);
                if (byte.source != kMaster)
                    heard.push_back(byte);
            }
            field_.run(now_);
        }
        now_ = end;
        return heard;
    }
    Bytes answered(const Bytes &request)
    {
        Bytes bytes;
        for (const WireByte &byte : exchange(request))
            bytes.push_back(byte.value);
        return bytes;
    }
    static FieldPlan plan()
    {
        FieldPlan plan;
        StationPlan station;
        station.number = 7;
        station.fastest = station.slowest = milliseconds(5);
        station.moveEvery = Time::zero();
        plan.stations = {station};
        return plan;
    }
    int timesNoted(const std::string &what) const
    {
        const std::string all = journal_.text();
        int times = 0;
        for (std::size_t at = all.find(what); at != std::string::npos; at = all.find(what, at + 1))
            ++times;
        return times;
    }

    const Bytes kRead = framed({0x07, 0x03, 0x00, 0x01, 0x00, 0x01});
    const Bytes kReply = framed({0x07, 0x03, 0x02, 0x12, 0x34});
    Time now_{};
    int tag_ = 0;
    Wire wire_{19200, kSeed};
    Journal journal_{2000};
    PlainStations stations_{false};
    Field field_{plan(), stations_, wire_, journal_, *this, kSeed};
};

TEST_F(FieldTest, AnswersBehindTheSilenceAndTheTimeOfTheStation)
{
    const std::vector<WireByte> heard = exchange(kRead);
    ASSERT_EQ(kReply.size(), heard.size());
    EXPECT_EQ(wire_.duration(8) + wire_.silence() + milliseconds(5), heard.front().start);
    EXPECT_EQ(7, heard.front().source);
    EXPECT_FALSE(heard.front().isNoise);
}

TEST_F(FieldTest, RefusesWithEveryExceptionThatAStationMayHave)
{
    std::set<int> codes;
    for (int i = 0; i < 200; ++i) {
        field_.makeNext(Fault::Exception, 7);
        const Bytes reply = answered(kRead);
        ASSERT_EQ(5u, reply.size());
        EXPECT_EQ(0x83, reply[1]);
        codes.insert(reply[2]);
    }
    EXPECT_THAT(codes, ElementsAre(1, 2, 3, 4, 5, 6, 8, 10, 11));
}

TEST_F(FieldTest, HasHalfOfTheLateAnswersDoneLate)
{
    constexpr int kRounds = 400;
    for (int i = 0; i < kRounds; ++i) {
        field_.makeNext(Fault::LateReply, 7);
        const std::vector<WireByte> heard = exchange(kRead);
        ASSERT_EQ(kReply.size(), heard.size());
        EXPECT_GE(heard.front().start, now_ - seconds(3) + milliseconds(900));
    }
    const int doneLate = timesNoted("  done late");
    EXPECT_EQ(kRounds, doneLate + timesNoted("  late\n"));
    EXPECT_GE(doneLate, kRounds * 2 / 5);
    EXPECT_LE(doneLate, kRounds * 3 / 5);
}

TEST_F(FieldTest, NotesTheNoiseThatItMakes)
{
    field_.makeNoise(milliseconds(500), 3);
    const std::vector<WireByte> heard = exchange(kRead);
    ASSERT_EQ(kReply.size() + 3, heard.size());
    EXPECT_EQ(kNoise, heard.back().source);
    EXPECT_TRUE(heard.back().isNoise);
    char noise[32];
    std::snprintf(noise, sizeof noise, "0.500000  noise         %02X ", heard[kReply.size()].value);
    EXPECT_THAT(journal_.text(), HasSubstr(noise));
}

/// What a fault makes of a reading: how many bytes come, whose, and whether they are the good reply.
TEST_F(FieldTest, MakesEachFaultOfAReplyAsItIsCalled)
{
    const auto with = [this](Fault fault) {
        field_.makeNext(fault, 7);
        const std::uint64_t before = field_.faults()[static_cast<std::size_t>(fault)];
        const Bytes bytes = answered(kRead);
        EXPECT_EQ(before + 1, field_.faults()[static_cast<std::size_t>(fault)]) << nameOf(fault);
        return bytes;
    };
    const auto endsWithReply = [this](const Bytes &bytes) {
        return bytes.size() >= kReply.size() && std::equal(kReply.rbegin(), kReply.rend(), bytes.rbegin());
    };
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(Bytes(), with(Fault::LostReply));
        EXPECT_EQ(2 * kReply.size(), with(Fault::DoubledReply).size());
        EXPECT_EQ(kReply, with(Fault::ByteGap));
        const Bytes cut = with(Fault::CutFrame);
        EXPECT_LT(cut.size(), kReply.size());
        EXPECT_LE(1u, cut.size());
        EXPECT_TRUE(std::equal(cut.begin(), cut.end(), kReply.begin()));
        const Bytes wrong = with(Fault::WrongCrc);
        EXPECT_EQ(kReply.size(), wrong.size());
        EXPECT_NE(kReply, wrong);
        Bytes swapped = with(Fault::SwappedCrc);
        std::swap(swapped[5], swapped[6]);
        EXPECT_EQ(kReply, swapped);
        const Bytes zero = with(Fault::LeadingZero);
        EXPECT_EQ(kReply.size() + 1, zero.size());
        EXPECT_EQ(0, zero[0]);
        EXPECT_TRUE(endsWithReply(zero));
        const Bytes other = with(Fault::WrongLength);
        EXPECT_NE(kReply.size(), other.size());
        EXPECT_EQ(other[2] + 5u, other.size());
        EXPECT_TRUE(station::hasGoodCrc({other.data(), other.size()}, station::CrcOrder::LowFirst));
        const Bytes before = with(Fault::NoiseBefore);
        EXPECT_GT(before.size(), kReply.size());
        EXPECT_TRUE(endsWithReply(before));
        const Bytes behind = with(Fault::NoiseAfter);
        EXPECT_GT(behind.size(), kReply.size());
        EXPECT_TRUE(std::equal(kReply.begin(), kReply.end(), behind.begin()));
        const std::uint64_t collisions = wire_.collisions();
        EXPECT_GT(with(Fault::NoiseWithin).size(), kReply.size());
        EXPECT_LT(collisions, wire_.collisions());
        const Bytes foreign = with(Fault::ForeignReply);
        EXPECT_EQ(2 * kReply.size(), foreign.size());
        EXPECT_EQ(8, foreign[0]);
        EXPECT_TRUE(endsWithReply(foreign));
    }
}

} // namespace
} // namespace plc::simulation
