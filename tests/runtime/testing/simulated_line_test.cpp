#include "plcruntime/testing.h"

#include <gtest/gtest.h>

#include <vector>

namespace plcruntime {
namespace {

LineSettings settings()
{
    LineSettings settings;
    settings.retries = 0;
    settings.driverFile = QLatin1String(PLC_DRIVER_PATH);
    return settings;
}

/// A line with station 7, whose holding register 200 holds 1234 and is on the screen.
class SimulatedLineTest : public testing::Test
{
protected:
    SimulatedLineTest()
    {
        bench_.addStation(7);
        bench_.setValue(7, Table::HoldingRegisters, 200, 1234);
        speed_ = line_.addVariable("4x:200@7");
        line_.showScreen(QList<VariableId>() << speed_);
    }

    void open()
    {
        const Error error = line_.open();
        ASSERT_FALSE(error) << error.text.toStdString();
        bench_.advance(1000);
        ASSERT_EQ(Quality::Good, state().quality) << bench_.journal().toStdString();
    }
    VariableState state() { return line_.value(speed_); }
    OrderResult written(int value) { return line_.wait(line_.write(speed_, value)); }

    SimulatedLine bench_{settings()};
    Line &line_ = bench_.line();
    VariableId speed_ = 0;
};

TEST_F(SimulatedLineTest, HoldsTheTimeUntilTheTestLetsItPass)
{
    ASSERT_FALSE(line_.open());
    EXPECT_EQ(0, bench_.nowMs());
    EXPECT_EQ(Quality::NeverRead, state().quality);
    bench_.advance(1000);
    EXPECT_EQ(1000, bench_.nowMs());
    EXPECT_EQ(Quality::Good, state().quality);
    EXPECT_EQ(1234, state().values.first().toInteger());
    for (int i = 0; i < 100; ++i)
        bench_.advance(7);
    EXPECT_EQ(1700, bench_.nowMs());
}

TEST_F(SimulatedLineTest, TellsTheFramesThatAHandlerWants)
{
    QList<QByteArray> frames;
    line_.setEventHandler(
        [](void *context, const Event &event) {
            if (event.frame && event.frame->kind != FrameKind::AttemptEnd)
                static_cast<QList<QByteArray> *>(context)->append(event.frame->bytes);
        },
        &frames, EventFrame);
    ASSERT_NO_FATAL_FAILURE(open());
    ASSERT_LE(2, frames.size());
    EXPECT_EQ(QByteArray::fromHex("070300c80001"), frames.at(0).left(6));
    line_.setEventHandler(nullptr, nullptr);
}

TEST_F(SimulatedLineTest, GoesOnWhileTheLineIsClosed)
{
    open();
    line_.close();
    bench_.advance(60000);
    EXPECT_EQ(61000, bench_.nowMs());
    EXPECT_GE(state().ageMs, 60000);
    ASSERT_FALSE(line_.open());
    bench_.advance(1000);
    EXPECT_EQ(Quality::Good, state().quality);
}

TEST_F(SimulatedLineTest, RunsTheSameTwice)
{
    const auto run = [] {
        SimulatedLine bench(settings());
        bench.addStation(1);
        bench.line().showScreen(QList<VariableId>() << bench.line().addVariable("4x:0:10@1"));
        bench.line().open();
        bench.setMishaps(300);
        bench.advance(120000);
        return bench.journal();
    };
    const QString first = run();
    EXPECT_FALSE(first.isEmpty());
    EXPECT_EQ(first, run());
}

TEST_F(SimulatedLineTest, TakesWritesIntoItsStations)
{
    open();
    EXPECT_EQ(OrderEnd::Good, written(77).end);
    EXPECT_EQ(77, bench_.value(7, Table::HoldingRegisters, 200));
    EXPECT_EQ(1, bench_.writesDone(7));
}

TEST_F(SimulatedLineTest, HasDeadStationsThatComeBack)
{
    open();
    bench_.setDead(7);
    bench_.advance(30000);
    EXPECT_EQ(Quality::Offline, state().quality);
    EXPECT_EQ(OrderEnd::Offline, written(1).end);
    bench_.setDead(7, false);
    bench_.advance(120000);
    EXPECT_EQ(Quality::Good, state().quality);
    bench_.silence(7, 5000);
    bench_.advance(4000);
    EXPECT_NE(Quality::Good, state().quality);
    bench_.advance(120000);
    EXPECT_EQ(Quality::Good, state().quality);
}

TEST_F(SimulatedLineTest, AnswersLateWithoutHarm)
{
    open();
    bench_.once(7, Mishap::LateAnswer);
    bench_.advance(10000);
    EXPECT_EQ(Quality::Good, state().quality);
    EXPECT_EQ(1u, line_.statistics().total.timeouts);
    bench_.setAnswerTime(7, 1500); // each answer is late from now on
    EXPECT_EQ(OrderEnd::NoAnswer, written(5).end);
    EXPECT_EQ(5, bench_.value(7, Table::HoldingRegisters, 200)) << "the station has done it all the same";
}

TEST_F(SimulatedLineTest, RefusesThePlacesThatItIsToldTo)
{
    open();
    bench_.refuse(7, Table::HoldingRegisters, 200, 1, 4);
    bench_.advance(5000);
    EXPECT_EQ(Quality::Refused, state().quality);
    EXPECT_EQ(4, state().exceptionCode);
    EXPECT_EQ(1234, state().values.first().toInteger());
    bench_.refuse(7, Table::HoldingRegisters, 200, 1, 0);
    bench_.advance(5000);
    EXPECT_EQ(Quality::Good, state().quality);
}

TEST_F(SimulatedLineTest, HasStationsThatAreBusy)
{
    open();
    bench_.makeBusy(7, 3000);
    bench_.advance(100);
    EXPECT_EQ(Quality::Refused, state().quality);
    EXPECT_EQ(6, state().exceptionCode);
}

TEST_F(SimulatedLineTest, DamagesAnswersAndRequests)
{
    const std::vector<Mishap> mishaps = {Mishap::LostAnswer,    Mishap::WrongCrc,      Mishap::CutAnswer,
                                         Mishap::PauseInAnswer, Mishap::DoubledAnswer, Mishap::WrongLength,
                                         Mishap::ForeignAnswer, Mishap::NoiseBefore,   Mishap::NoiseWithin,
                                         Mishap::NoiseAfter,    Mishap::NoiseInRequest};
    open();
    for (const Mishap mishap : mishaps) {
        const QString before = bench_.journal();
        bench_.once(7, mishap);
        bench_.advance(10000);
        EXPECT_NE(before, bench_.journal());
        EXPECT_EQ(Quality::Good, state().quality) << static_cast<int>(mishap);
        EXPECT_EQ(1234, state().values.first().toInteger()) << static_cast<int>(mishap);
    }
    EXPECT_GT(line_.statistics().total.timeouts + line_.statistics().total.bad, 4u);
}

TEST_F(SimulatedLineTest, LosesItsPortUntilItIsPutBack)
{
    open();
    bench_.pullPort();
    bench_.advance(10000);
    EXPECT_EQ(PortState::Lost, line_.portState());
    EXPECT_EQ(Quality::PortLost, state().quality);
    EXPECT_EQ(OrderEnd::PortLost, written(9).end);
    bench_.plugPort();
    bench_.advance(5000);
    EXPECT_EQ(PortState::Open, line_.portState());
    EXPECT_EQ(Quality::Good, state().quality);
    EXPECT_EQ(0, bench_.writesDone(7)) << "nothing that has ended is sent later";
}

TEST_F(SimulatedLineTest, CutsTheLineAndMakesNoise)
{
    open();
    bench_.cutLine();
    bench_.advance(3000);
    EXPECT_EQ(Quality::NoAnswer, state().quality);
    bench_.cutLine(false);
    bench_.makeNoise(100);
    bench_.advance(60000);
    EXPECT_EQ(Quality::Good, state().quality);
    EXPECT_GT(line_.statistics().total.foreignBytes, 0u);
}

TEST_F(SimulatedLineTest, HearsItselfWhereTheLineHasAnEcho)
{
    open();
    bench_.setEcho(true); // the line was not told
    bench_.advance(1000);
    EXPECT_GE(line_.statistics().total.foreignBytes, 8u);
}

TEST_F(SimulatedLineTest, IgnoresWhatIsOutOfRange)
{
    bench_.addStation(0);
    bench_.addStation(248);
    bench_.setValue(8, Table::HoldingRegisters, 0, 1);
    bench_.setValue(7, Table::HoldingRegisters, 65536, 1);
    bench_.setValue(7, Table::HoldingRegisters, 200, 65536);
    bench_.setDead(9);
    bench_.once(9, Mishap::WrongCrc);
    bench_.makeNoise(0);
    bench_.setMishaps(1001);
    bench_.pullPort();
    bench_.advance(-1);
    EXPECT_EQ(-1, bench_.value(8, Table::HoldingRegisters, 0));
    EXPECT_EQ(-1, bench_.value(7, Table::HoldingRegisters, 65536));
    EXPECT_EQ(1234, bench_.value(7, Table::HoldingRegisters, 200));
    EXPECT_EQ(0, bench_.nowMs());
    open();
}

TEST_F(SimulatedLineTest, CountsTheRequestsForWhichTheLineNeverFellSilent)
{
    open();
    EXPECT_EQ(0u, line_.statistics().total.lineBusy);
    bench_.makeNoise(10000); // more than five seconds
    bench_.advance(5000);
    EXPECT_GT(line_.statistics().total.lineBusy, 0u);
    EXPECT_EQ(line_.statistics().total.lineBusy, line_.statistics().stations.first().lineBusy);
    EXPECT_EQ(Quality::NoAnswer, state().quality);
}

TEST_F(SimulatedLineTest, TakesATimeOfZeroAtItsWord)
{
    open();
    bench_.setDead(7);
    bench_.silence(7, 0);
    bench_.makeBusy(7, 60000);
    bench_.makeBusy(7, 0);
    bench_.setAnswerTime(7, 1500);
    bench_.setAnswerTime(7, 0);
    bench_.advance(3000);
    EXPECT_EQ(Quality::Good, state().quality);
    EXPECT_EQ(OrderEnd::Good, written(3).end);
}

TEST_F(SimulatedLineTest, HasAMishapWithAsManyRequestsAsItIsTold)
{
    open();
    bench_.setMishaps(1000);
    bench_.advance(60000);
    const Counters bad = line_.statistics().total;
    EXPECT_GT(bad.timeouts + bad.bad + bad.ignoredReplies + bad.foreignBytes, 10u);
    bench_.setMishaps(0);
    bench_.advance(120000);
    const Counters before = line_.statistics().total;
    bench_.advance(10000);
    const Counters after = line_.statistics().total;
    EXPECT_EQ(after.requests - before.requests, after.good - before.good);
    EXPECT_GT(after.good, before.good + 100);
}

TEST_F(SimulatedLineTest, CountsTheTimeThatThePassingOfPollsTakesBesideThatOfTheTest)
{
    open();
    const qint64 before = bench_.nowMs();
    line_.poll(1);
    EXPECT_EQ(before + 1, bench_.nowMs());
    bench_.advance(10);
    EXPECT_EQ(before + 11, bench_.nowMs());
}

} // namespace
} // namespace plcruntime
