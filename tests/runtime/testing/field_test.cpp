#include "runtime/testing/field.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
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

/// Stations that are told of what happens beside the master.
class ToldStations : public PlainStations
{
public:
    ToldStations() : PlainStations(false) {}
    void restart(Time, int) override { ++restarts; }
    std::optional<int> placeOfOthers(int) const override { return 9; }
    void writeByOthers(Time, int station, int place, std::uint16_t value) override
    {
        setValue(station, Table::HoldingRegisters, place, value);
        ++writesOfOthers;
    }

    int restarts = 0;
    int writesOfOthers = 0;
};

/// Station 7 at 19200 baud, which answers after 5 ms, and a master without a runtime.
class FieldTest : public testing::Test
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
        field_->masterSends(now_, request, ++tag_);
        std::vector<WireByte> heard;
        for (;;) {
            const Time next = std::min(wire_.nextEnd(), field_->nextEvent());
            if (next > end)
                break;
            now_ = next;
            if (wire_.nextEnd() <= now_) {
                const WireByte byte = wire_.take();
                field_->hear(byte);
                if (byte.source == kSecondMaster)
                    noteForeign(byte);
                else
                    lastOfOthers_ = byte.end;
                if (byte.source != kMaster && byte.source != kSecondMaster)
                    heard.push_back(byte);
            }
            field_->run(now_);
        }
        now_ = end;
        return heard;
    }
    void noteForeign(const WireByte &byte)
    {
        const bool isFirst = foreign_.empty() || foreign_.back().end != byte.start;
        outOfTurn_ += isFirst && byte.start - lastOfOthers_ < wire_.silence() ? 1u : 0u;
        foreign_.push_back(byte);
    }
    Bytes answered(const Bytes &request, Time duration = seconds(3))
    {
        Bytes bytes;
        for (const WireByte &byte : exchange(request, duration))
            bytes.push_back(byte.value);
        return bytes;
    }
    /// Faults of one kind, which begin every five seconds or so.
    void makeTroubles(Fault fault)
    {
        FieldPlan troubled = plan();
        troubled.troubles = {fault};
        troubled.troubleEvery = seconds(5);
        field_ = std::make_unique<Field>(troubled, stations_, wire_, journal_, observer_, kSeed);
        field_->setFaults(now_, true);
    }
    std::uint64_t timesMet(Fault fault) const { return field_->faults()[static_cast<std::size_t>(fault)]; }
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
    std::vector<WireByte> foreign_; ///< of the second master
    std::size_t outOfTurn_ = 0; ///< its requests that began within a frame of others, or the silence behind
    Time lastOfOthers_ = -seconds(1);
    Wire wire_{19200, kSeed};
    Journal journal_{2000};
    ToldStations stations_;
    FieldObserver observer_;
    std::unique_ptr<Field> field_ =
        std::make_unique<Field>(plan(), stations_, wire_, journal_, observer_, kSeed);
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
        field_->makeNext(Fault::Exception, 7);
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
        field_->makeNext(Fault::LateReply, 7);
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
    field_->makeNoise(milliseconds(500), 3);
    const std::vector<WireByte> heard = exchange(kRead);
    ASSERT_EQ(kReply.size() + 3, heard.size());
    EXPECT_EQ(kNoise, heard.back().source);
    EXPECT_TRUE(heard.back().isNoise);
    char noise[32];
    std::snprintf(noise, sizeof noise, "0.500000  noise         %02X ", heard[kReply.size()].value);
    EXPECT_THAT(journal_.text(), HasSubstr(noise));
    EXPECT_THAT(journal_.text(), HasSubstr("0.000000  master        07 03 00 01 00 01 "));
    EXPECT_THAT(journal_.text(), HasSubstr("  station 7     07 03 02 12 34 "));
}

TEST_F(FieldTest, GarblesARequestWithOneToFourBytesOfNoise)
{
    std::set<std::size_t> sizes;
    int answers = 0;
    for (int i = 0; i < 100; ++i) {
        field_->makeNext(Fault::NoiseInRequest, 7);
        const std::vector<WireByte> heard = exchange(kRead);
        const bool isAnswered = heard.back().source == 7;
        answers += isAnswered ? 1 : 0;
        sizes.insert(heard.size() - (isAnswered ? kReply.size() : 0));
    }
    EXPECT_THAT(sizes, ElementsAre(1, 2, 3, 4));
    EXPECT_LE(answers, 5) << "noise that begins with the last byte may come too late";
}

/// What a fault makes of a reading: how many bytes come, whose, and whether they are the good reply.
TEST_F(FieldTest, MakesEachFaultOfAReplyAsItIsCalled)
{
    const auto with = [this](Fault fault) {
        field_->makeNext(fault, 7);
        const std::uint64_t before = field_->faults()[static_cast<std::size_t>(fault)];
        const Bytes bytes = answered(kRead);
        EXPECT_EQ(before + 1, field_->faults()[static_cast<std::size_t>(fault)]) << nameOf(fault);
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

/// How the exchanges of ten minutes went while a station, or the line, was in trouble now and then.
struct Exchanges
{
    int good = 0;
    int unanswered = 0;
    int busy = 0;
    int acknowledged = 0;
    int other = 0;
};

class FieldTroubles : public FieldTest
{
protected:
    Exchanges exchanges(const Bytes &request, const Bytes &good)
    {
        Exchanges all;
        for (int i = 0; i < 600; ++i) {
            const Bytes bytes = answered(request, seconds(1));
            const bool isRefused = bytes.size() == 5 && (bytes[1] & 0x80u) != 0;
            if (bytes == good)
                ++all.good;
            else if (bytes.empty())
                ++all.unanswered;
            else if (isRefused && bytes[2] == 6)
                ++all.busy;
            else if (isRefused && bytes[2] == 5)
                ++all.acknowledged;
            else
                ++all.other;
        }
        return all;
    }
    Exchanges readings() { return exchanges(kRead, kReply); }

    const Bytes kWrite = framed({0x07, 0x06, 0x00, 0x02, 0x00, 0x09});
};

TEST_F(FieldTroubles, KeepAStationSilentAndNothingElse)
{
    makeTroubles(Fault::Silence);
    const Exchanges all = readings();
    EXPECT_GT(all.unanswered, 100);
    EXPECT_EQ(600, all.good + all.unanswered);
    EXPECT_GT(timesMet(Fault::Silence), 50u);
    EXPECT_EQ(0, stations_.restarts);
    field_->setFaults(now_, false);
    EXPECT_EQ(600, readings().good) << "it ends with the faults";
}

TEST_F(FieldTroubles, BeginAStationAgain)
{
    makeTroubles(Fault::Restart);
    const Exchanges all = readings();
    EXPECT_GT(all.unanswered, 100);
    EXPECT_GT(all.good, 10);
    EXPECT_GT(stations_.restarts, 50);
    EXPECT_EQ(timesMet(Fault::Restart), static_cast<std::uint64_t>(stations_.restarts));
}

TEST_F(FieldTroubles, CutTheLineForSecondsOrMinutes)
{
    makeTroubles(Fault::LineCut);
    const Exchanges all = readings();
    EXPECT_GT(all.unanswered, 100);
    EXPECT_GT(all.good, 10);
    EXPECT_GT(timesMet(Fault::LineCut), 10u);
    field_->setFaults(now_, false);
    EXPECT_FALSE(field_->isLineCut());
}

TEST_F(FieldTroubles, KeepAStationBusy)
{
    makeTroubles(Fault::Busy);
    const Exchanges all = readings();
    EXPECT_GT(all.busy, 100);
    EXPECT_GT(all.good, 10);
    EXPECT_EQ(600, all.good + all.busy);
    EXPECT_GT(timesMet(Fault::Busy), 50u);
    field_->setFaults(now_, false);
    EXPECT_EQ(600, readings().good);
}

TEST_F(FieldTroubles, HaveAStationAcknowledgeWritesAndDoThem)
{
    makeTroubles(Fault::Acknowledge);
    const Exchanges writes = exchanges(kWrite, kWrite);
    EXPECT_GT(writes.acknowledged, 100);
    EXPECT_EQ(600, writes.good + writes.acknowledged);
    EXPECT_EQ(600, stations_.writesDone(7));
    EXPECT_EQ(600, readings().good) << "reads are answered";
    EXPECT_GT(timesMet(Fault::Acknowledge), 50u);
}

TEST_F(FieldTroubles, LetSomebodyElseWrite)
{
    makeTroubles(Fault::OtherWriter);
    EXPECT_EQ(600, readings().good);
    EXPECT_GT(stations_.writesOfOthers, 300);
    EXPECT_GT(timesMet(Fault::OtherWriter), 2u);
    field_->setFaults(now_, false);
    readings();
    const int before = stations_.writesOfOthers;
    EXPECT_EQ(600, readings().good);
    EXPECT_EQ(before, stations_.writesOfOthers);
}

TEST_F(FieldTroubles, FillTheLineWithNoiseForAWhile)
{
    makeTroubles(Fault::Babble);
    const Exchanges all = readings();
    EXPECT_GT(all.other, 100);
    EXPECT_GT(all.good, 100);
    EXPECT_GT(timesMet(Fault::Babble), 50u);
    const std::uint64_t before = timesMet(Fault::Babble);
    field_->setFaults(now_, false);
    exchange(kRead); // what is under way still ends
    EXPECT_EQ(600, readings().good);
    EXPECT_EQ(before, timesMet(Fault::Babble));
}

TEST_F(FieldTroubles, BringASecondMasterThatMostlyWaitsForItsTurn)
{
    makeTroubles(Fault::SecondMaster);
    for (int i = 0; i < 15000; ++i)
        exchange(kRead, milliseconds(40)); // a line that is busy half of the time
    std::vector<std::vector<WireByte>> frames;
    for (const WireByte &byte : foreign_) {
        if (frames.empty() || byte.start != frames.back().back().end)
            frames.emplace_back();
        frames.back().push_back(byte);
    }
    EXPECT_GT(frames.size(), 200u);
    EXPECT_EQ(frames.size(), timesMet(Fault::SecondMaster));
    for (const std::vector<WireByte> &frame : frames) {
        Bytes bytes;
        bool hasNoise = false;
        for (const WireByte &byte : frame) {
            bytes.push_back(byte.value);
            hasNoise = hasNoise || byte.isNoise;
        }
        if (hasNoise)
            continue;
        ASSERT_EQ(8u, bytes.size());
        EXPECT_TRUE(station::hasGoodCrc({bytes.data(), bytes.size()}, station::CrcOrder::LowFirst));
        const int address = bytes[2] * 256 + bytes[3];
        const int quantity = bytes[4] * 256 + bytes[5];
        if (bytes[1] == 6) {
            EXPECT_THAT(address, testing::AllOf(testing::Ge(240), testing::Le(255)));
            continue;
        }
        EXPECT_THAT(static_cast<int>(bytes[1]), testing::AnyOf(3, 4));
        EXPECT_THAT(quantity, testing::AllOf(testing::Ge(101), testing::Le(120)))
            << "the master asks for no such number";
        EXPECT_LE(address + quantity, 256);
    }
    EXPECT_GT(outOfTurn_, 0u) << "it does not always see who is sending";
    EXPECT_LT(outOfTurn_, frames.size() / 8);
}

} // namespace
} // namespace plc::simulation
