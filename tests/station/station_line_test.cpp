#include "station/rtu_text.h"
#include "station/station_line.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using namespace plc::station;
using namespace std::chrono_literals;
using plc::test::bytes;
using plc::test::rtu;
using plc::test::operator+;

struct Arrival
{
    Time time;
    std::uint8_t byte;
};

/// Plays a master in virtual time: runs a line from event to event and notes what arrives when.
class VirtualMaster
{
public:
    explicit VirtualMaster(StationLine *line) : line_(line) {}

    void send(const Bytes &request) { line_->receive(now_, request); }

    /// Lets time pass until @p end, stopping at every event of the line.
    void runUntil(Time end)
    {
        take(line_->advance(now_));
        std::optional<Time> next = line_->nextEvent();
        while (next && *next <= end) {
            ASSERT_GE(*next, now_) << "time runs backwards";
            now_ = *next;
            take(line_->advance(now_));
            ASSERT_NE(next, line_->nextEvent()) << "an event that is done must not come again";
            next = line_->nextEvent();
        }
        now_ = end;
        take(line_->advance(now_));
    }
    void run(Time duration) { runUntil(now_ + duration); }

    Bytes received() const
    {
        Bytes all;
        for (const Arrival &arrival : arrivals_)
            all.push_back(arrival.byte);
        return all;
    }
    const std::vector<Arrival> &arrivals() const { return arrivals_; }
    void forget() { arrivals_.clear(); }
    Time now() const { return now_; }

private:
    void take(const Bytes &bytes)
    {
        for (std::uint8_t byte : bytes)
            arrivals_.push_back({now_, byte});
    }

    StationLine *line_;
    Time now_{0};
    std::vector<Arrival> arrivals_;
};

const Bytes &request()
{
    static const Bytes frame = bytes("11 03 00 64 00 02 87 44");
    return frame;
}

const Bytes &zeros()
{
    static const Bytes frame = rtu("11 03 04 0000 0000");
    return frame;
}

class StationLineTest : public ::testing::Test
{
protected:
    StationBus bus_{{0x11, 0x12}};
};

TEST_F(StationLineTest, AnswersAtOnceOnALineThatTakesNoTime)
{
    StationLine line({}, &bus_);
    line.receive(5ms, request());
    EXPECT_EQ(zeros(), line.advance(5ms));
    EXPECT_FALSE(line.nextEvent());
    EXPECT_EQ(1u, line.statistics().answered);
    EXPECT_EQ(8u, line.statistics().bytesReceived);
    EXPECT_EQ(9u, line.statistics().bytesSent);
}

TEST_F(StationLineTest, WaitsTheAnswerDelay)
{
    LineSettings settings;
    settings.answerDelay = 30ms;
    StationLine line(settings, &bus_);
    VirtualMaster master(&line);
    master.send(request());
    master.run(100ms);
    ASSERT_EQ(zeros(), master.received());
    EXPECT_EQ(30ms, master.arrivals().front().time);
}

TEST_F(StationLineTest, AnswersRequestsBackToBackInTheirOrder)
{
    StationLine line({}, &bus_);
    VirtualMaster master(&line);
    master.send(request() + rtu("12 06 0001 0002"));
    master.run(10ms);
    EXPECT_EQ(zeros() + rtu("12 06 0001 0002"), master.received());
}

TEST_F(StationLineTest, TakesARequestInPiecesHoweverTheyCome)
{
    StationLine line({}, &bus_);
    VirtualMaster master(&line);
    for (std::uint8_t byte : request()) {
        master.send(Bytes(1, byte));
        master.run(15ms);
    }
    EXPECT_EQ(zeros(), master.received());
}

TEST_F(StationLineTest, ForgetsAnUnfinishedRequestAfterTheSilence)
{
    StationLine line({}, &bus_);
    VirtualMaster master(&line);
    master.send(bytes("11 03 00 64"));
    master.run(20ms);
    EXPECT_EQ(1u, line.statistics().bad);
    EXPECT_FALSE(line.nextEvent());
    master.send(request());
    master.run(1ms);
    EXPECT_EQ(zeros(), master.received());
    EXPECT_EQ(1, bus_.station(0x11)->diagnostics().communicationErrors);
}

TEST_F(StationLineTest, WaitsWithAnUnfinishedRequestForTheSilenceThatIsSet)
{
    LineSettings settings;
    settings.silence = 200ms;
    StationLine line(settings, &bus_);
    VirtualMaster master(&line);
    master.send(bytes("11 03 00 64"));
    master.run(199ms);
    master.send(bytes("00 02 87 44"));
    master.run(1ms);
    EXPECT_EQ(zeros(), master.received());
}

TEST_F(StationLineTest, DoesNotTakeItsOwnersAbsenceForSilence)
{
    StationLine line({}, &bus_);
    line.receive(0ms, bytes("11 03 00 64"));
    line.advance(0ms);
    // The owner comes back late and finds the rest waiting: that is no gap on the line.
    line.receive(500ms, bytes("00 02 87 44"));
    EXPECT_EQ(zeros(), line.advance(500ms));
}

TEST_F(StationLineTest, AnswersAnUnknownFunctionAfterTheSilence)
{
    StationLine line({}, &bus_);
    VirtualMaster master(&line);
    master.send(rtu("11 41"));
    master.run(19ms);
    EXPECT_EQ(Bytes(), master.received());
    master.run(1ms);
    EXPECT_EQ(rtu("11 C1 01"), master.received());
    EXPECT_EQ(1u, line.statistics().refused);
}

TEST_F(StationLineTest, CountsWhatBecomesOfEveryFrame)
{
    StationLine line({}, &bus_);
    VirtualMaster master(&line);
    master.send(rtu("00 06 0000 0001"));
    master.send(rtu("63 06 0000 0001"));
    master.send(rtu("12 08 0004 0000"));
    master.send(rtu("12 03 0000 0001"));
    master.send(rtu("11 03 0000 0000"));
    master.send(bytes("11 03 00 00 00 01 00 00"));
    master.run(20ms);
    EXPECT_EQ(rtu("11 83 03"), master.received());
    EXPECT_EQ(1u, line.statistics().broadcasts);
    EXPECT_EQ(1u, line.statistics().foreign);
    EXPECT_EQ(2u, line.statistics().silent);
    EXPECT_EQ(1u, line.statistics().refused);
    EXPECT_EQ(1u, line.statistics().bad);
    EXPECT_EQ(0u, line.statistics().answered);
}

// Time on the wire. 1000 baud makes 11 ms of every character.

LineSettings slow()
{
    LineSettings settings;
    settings.baud = 1000;
    return settings;
}

TEST_F(StationLineTest, LetsEveryByteTakeItsTimeInBothDirections)
{
    StationLine line(slow(), &bus_);
    VirtualMaster master(&line);
    master.send(request());
    master.run(10s);
    ASSERT_EQ(zeros(), master.received());
    // Eight characters, 3.5 of silence, and then one more with every byte.
    for (std::size_t i = 0; i < 9; ++i)
        EXPECT_EQ(88ms + 38500us + 11ms * (i + 1), master.arrivals()[i].time) << i;
}

TEST_F(StationLineTest, LetsAnAnswerDelayBelowTheSilenceDisappearInIt)
{
    LineSettings settings = slow();
    settings.answerDelay = 10ms;
    StationLine line(settings, &bus_);
    VirtualMaster master(&line);
    master.send(request());
    master.run(10s);
    EXPECT_EQ(88ms + 38500us + 11ms, master.arrivals().front().time);
}

TEST_F(StationLineTest, StartsTheAnswerDelayAtTheEndOfTheRequest)
{
    LineSettings settings = slow();
    settings.answerDelay = 100ms;
    StationLine line(settings, &bus_);
    VirtualMaster master(&line);
    master.send(request());
    master.run(10s);
    EXPECT_EQ(88ms + 100ms + 11ms, master.arrivals().front().time);
}

TEST_F(StationLineTest, HandsFastBytesOverByTheMillisecondButNoByteEarlyAndTheLastOneOnTime)
{
    LineSettings settings;
    settings.baud = 110000; // 100 us a character
    StationLine line(settings, &bus_);
    VirtualMaster master(&line);
    master.send(rtu("11 03 0000 007D"));
    master.run(1s);
    ASSERT_EQ(255u, master.arrivals().size());
    const Time start = 800us + 1750us;
    std::size_t handovers = 1;
    for (std::size_t i = 0; i < 255; ++i) {
        const Time due = start + 100us * (i + 1);
        EXPECT_GE(master.arrivals()[i].time, due) << i;
        EXPECT_LE(master.arrivals()[i].time, due + 1ms) << i;
        if (i > 0 && master.arrivals()[i].time != master.arrivals()[i - 1].time)
            ++handovers;
    }
    EXPECT_EQ(start + 25500us, master.arrivals().back().time);
    EXPECT_LE(handovers, 28u);
}

TEST_F(StationLineTest, PutsTwoRepliesOneAfterTheOtherOnTheWire)
{
    StationLine line(slow(), &bus_);
    VirtualMaster master(&line);
    master.send(request() + request());
    master.run(10s);
    ASSERT_EQ(zeros() + zeros(), master.received());
    const Time first = 88ms + 38500us;
    EXPECT_EQ(first + 99ms, master.arrivals()[8].time);
    EXPECT_EQ(first + 99ms + 99ms, master.arrivals()[17].time);
}

TEST_F(StationLineTest, KnowsAGapFromTheTimesOfTheBytesEvenWhenNobodyCalledInBetween)
{
    StationLine line(slow(), &bus_);
    // The start of a long block write, at the end at 77 ms; its silence is over at 115.5 ms.
    line.receive(0ms, bytes("11 10 00 00 00 7B F6"));
    line.receive(200ms, request());
    EXPECT_EQ(zeros(), line.advance(200ms + 88ms + 38500us + 99ms));
    EXPECT_EQ(1u, line.statistics().bad);
}

TEST(LineTimes, FollowTheBaudRateUpTo19200AndAreFixedAbove)
{
    EXPECT_EQ(0ns, characterTime(0));
    EXPECT_EQ(1145833ns, characterTime(9600));
    EXPECT_EQ(20ms, defaultSilence(0));
    EXPECT_EQ(20ms, defaultSilence(115200));
    EXPECT_EQ(38500us, defaultSilence(1000));
}

TEST_F(StationLineTest, AnswersOnAFastLineAfterTheFixedSilence)
{
    LineSettings settings;
    settings.baud = 38500; // 285714 ns a character
    StationLine line(settings, &bus_);
    VirtualMaster master(&line);
    master.send(request());
    master.run(1s);
    EXPECT_EQ(285714ns * 9 + 1750us, master.arrivals().front().time);
}

// Faults in time.

TEST_F(StationLineTest, KeepsTheLineQuietBetweenThePiecesOfACutReply)
{
    FaultSettings settings;
    settings.share(Fault::Cut) = 100;
    settings.cutPause = 500ms;
    FaultPlan faults(settings);
    StationLine line(slow(), &bus_, &faults);
    VirtualMaster master(&line);
    master.send(request());
    master.run(10s);
    ASSERT_EQ(zeros(), master.received());
    int pauses = 0;
    for (std::size_t i = 1; i < 9; ++i) {
        const Time step = master.arrivals()[i].time - master.arrivals()[i - 1].time;
        if (step == 511ms)
            ++pauses;
        else
            EXPECT_EQ(11ms, step) << i;
    }
    EXPECT_EQ(1, pauses);
}

TEST_F(StationLineTest, HoldsALateReplyBackForItsTime)
{
    FaultSettings settings;
    settings.share(Fault::Late) = 100;
    settings.lateBy = 700ms;
    FaultPlan faults(settings);
    StationLine line({}, &bus_, &faults);
    VirtualMaster master(&line);
    master.send(request());
    master.run(699ms);
    EXPECT_EQ(Bytes(), master.received());
    master.run(1ms);
    EXPECT_EQ(zeros(), master.received());
}

TEST_F(StationLineTest, DoesNotExecuteWhatTheFaultPlanRefuses)
{
    FaultSettings settings;
    settings.share(Fault::Exception) = 100;
    FaultPlan faults(settings);
    StationLine line({}, &bus_, &faults);
    VirtualMaster master(&line);
    master.send(rtu("11 06 0000 0007"));
    master.run(1ms);
    EXPECT_EQ(rtu("11 86 06"), master.received());
    EXPECT_EQ(0, bus_.station(0x11)->registers().read(Area::HoldingRegisters, 0, 1)->front());
    EXPECT_EQ(1u, line.statistics().refused);
}

TEST_F(StationLineTest, DrawsNoFaultForFramesThatNobodyAnswers)
{
    FaultSettings settings;
    settings.percent.fill(100);
    FaultPlan faults(settings);
    StationLine line({}, &bus_, &faults);
    VirtualMaster master(&line);
    master.send(rtu("00 06 0000 0007") + rtu("63 06 0000 0007"));
    master.run(1ms);
    for (const FaultName &row : kFaultNames)
        EXPECT_EQ(0u, faults.count(row.fault)) << row.option;
    EXPECT_EQ(7, bus_.station(0x11)->registers().read(Area::HoldingRegisters, 0, 1)->front());
}

TEST_F(StationLineTest, SendsNothingForADroppedReplyButDoesTheWrite)
{
    FaultSettings settings;
    settings.share(Fault::Drop) = 100;
    FaultPlan faults(settings);
    StationLine line({}, &bus_, &faults);
    VirtualMaster master(&line);
    master.send(rtu("11 06 0000 0007"));
    master.run(1s);
    EXPECT_EQ(Bytes(), master.received());
    EXPECT_EQ(7, bus_.station(0x11)->registers().read(Area::HoldingRegisters, 0, 1)->front());
}

// Moving items, relay frames, trace.

TEST_F(StationLineTest, MovesItemsByTheTickInsteadOfByReplies)
{
    ASSERT_TRUE(bus_.station(0x11)->addMoving({Area::HoldingRegisters, 0, 1, 1}));
    LineSettings settings;
    settings.tick = 100ms;
    StationLine line(settings, &bus_);
    VirtualMaster master(&line);
    master.run(350ms);
    master.send(rtu("11 03 0000 0001"));
    master.run(1ms);
    EXPECT_EQ(rtu("11 03 02 0003"), master.received());
    master.forget();
    master.send(rtu("11 03 0000 0001"));
    master.run(1ms);
    EXPECT_EQ(rtu("11 03 02 0003"), master.received());
}

TEST_F(StationLineTest, AnswersRelayFramesInModbusForm)
{
    LineSettings settings;
    settings.relay = true;
    StationLine line(settings, &bus_);
    VirtualMaster master(&line);
    master.send(bytes("18 05 01 02 11 00 05 00 00 00 64 00 01 00 00 00 00 00 00 00 00 34 12 E1"));
    master.run(1ms);
    EXPECT_EQ(rtu("11 06 0064 1234"), master.received());
    EXPECT_EQ(1u, line.statistics().answered);
}

TEST_F(StationLineTest, TakesNoModbusFrameOnARelayLine)
{
    LineSettings settings;
    settings.relay = true;
    StationLine line(settings, &bus_);
    VirtualMaster master(&line);
    master.send(request());
    master.run(1s);
    EXPECT_EQ(Bytes(), master.received());
    EXPECT_EQ(1u, line.statistics().bad);
}

/// Sends random bytes in random portions, then a good request; returns the answer to that.
Bytes answerAfterNoise(StationLine *line, const Bytes &good, std::uint64_t seed)
{
    std::mt19937_64 random(seed);
    VirtualMaster master(line);
    for (int burst = 0; burst < 300; ++burst) {
        Bytes noise(static_cast<std::size_t>(1 + random() % 40));
        for (std::uint8_t &byte : noise)
            byte = static_cast<std::uint8_t>(random() % 4 == 0 ? random() % 256 : random() % 24);
        master.send(noise);
        master.run(std::chrono::milliseconds(random() % 30));
    }
    master.run(1s);
    master.forget();
    master.send(good);
    master.run(1s);
    return master.received();
}

TEST_F(StationLineTest, AnswersAfterAnyNoise)
{
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        StationBus bus({0x11});
        StationLine line({}, &bus);
        EXPECT_EQ(rtu("11 06 0064 1234"), answerAfterNoise(&line, rtu("11 06 0064 1234"), seed)) << seed;
        EXPECT_GT(line.statistics().bad, 10u);
    }
}

TEST_F(StationLineTest, AnswersRelayFramesAfterAnyNoise)
{
    LineSettings settings;
    settings.relay = true;
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        StationBus bus({0x11});
        StationLine line(settings, &bus);
        const Bytes good = bytes("18 05 01 02 11 00 05 00 00 00 64 00 01 00 00 00 00 00 00 00 00 34 12 E1");
        EXPECT_EQ(rtu("11 06 0064 1234"), answerAfterNoise(&line, good, seed)) << seed;
    }
}

TEST_F(StationLineTest, TellsOfRequestsRepliesAndRemarks)
{
    std::vector<std::string> told;
    const auto trace = [&told](Time time, StationLine::Event event, const Bytes &frame,
                               const std::string &text) {
        const char *mark = event == StationLine::Event::Request ? ">"
                           : event == StationLine::Event::Reply ? "<"
                                                                : "!";
        told.push_back(mark + std::to_string(time / 1ms) + " " + hexText(frame) + text);
    };
    StationLine line({}, &bus_, nullptr, trace);
    VirtualMaster master(&line);
    master.run(3ms);
    master.send(rtu("11 06 0000 0001"));
    master.send(rtu("63 06 0000 0001"));
    master.run(100ms);
    const std::vector<std::string> expected = {">3 11 06 00 00 00 01 4A 9A", ">3 63 06 00 00 00 01 40 48",
                                               "!3 no such station here", "<3 11 06 00 00 00 01 4A 9A"};
    EXPECT_EQ(expected, told);
}

} // namespace
