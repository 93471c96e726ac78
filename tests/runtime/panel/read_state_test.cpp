#include "runtime/panel/read_state.h"

#include <gtest/gtest.h>

namespace {

using namespace plc::runtime;
using std::chrono::milliseconds;
using std::chrono::seconds;

class ReadStateTest : public ::testing::Test
{
protected:
    void end(ReadState *part, AttemptEnd cause = AttemptEnd::Good, StationState station = StationState::On)
    {
        TransactionReport report;
        report.cause = cause;
        report.done = cause == AttemptEnd::Good;
        report.endedAt = now;
        part->note(report, station);
    }

    /// Their station goes offline, comes back or is switched.
    void interruptBoth()
    {
        a.interrupt();
        b.interrupt();
    }

    WatchStatus status() const { return statusOf({&a, &b}, now, seconds(1)); }

    Time now = seconds(100);
    ReadState a, b;
};

TEST_F(ReadStateTest, IsNeverReadUntilEachPartIs)
{
    EXPECT_EQ(VariableState::NeverRead, status().state);
    EXPECT_EQ(VariableState::NeverRead, statusOf({}, now, seconds(1)).state);
    end(&a);
    EXPECT_EQ(VariableState::NeverRead, status().state);
    EXPECT_FALSE(status().hasValue);
    EXPECT_EQ(0u, status().scans);
    now += seconds(2);
    end(&b);
    EXPECT_EQ(VariableState::Good, status().state);
    EXPECT_TRUE(status().hasValue);
    EXPECT_EQ(1u, status().scans);
    EXPECT_EQ(seconds(2), status().age) << "of its older part";
}

TEST_F(ReadStateTest, IsAsBadAsItsWorstPart)
{
    end(&a);
    end(&b, AttemptEnd::NoReply);
    EXPECT_EQ(VariableState::NoAnswer, status().state);
    EXPECT_FALSE(status().hasValue);
    end(&b);
    end(&a, AttemptEnd::Unusable);
    EXPECT_EQ(VariableState::BadReply, status().state);
    EXPECT_TRUE(status().hasValue) << "the last good one";
}

TEST_F(ReadStateTest, IsNotTouchedByWhatWasNeverSentOrEndedWithItsPort)
{
    end(&a);
    end(&b);
    now += seconds(1);
    end(&a, AttemptEnd::Withheld);
    end(&a, AttemptEnd::PortLost);
    EXPECT_EQ(VariableState::Good, status().state);
    EXPECT_EQ(seconds(1), status().age);
    EXPECT_EQ(1u, status().scans);
}

TEST_F(ReadStateTest, IsStaleThreeSecondsAfterItsTurnOnAQuickLine)
{
    for (int scan = 0; scan < 2; ++scan) {
        now += milliseconds(100);
        end(&a);
        end(&b);
    }
    now += seconds(3);
    EXPECT_EQ(VariableState::Good, status().state);
    now += milliseconds(1);
    EXPECT_EQ(VariableState::Stale, status().state);
    EXPECT_TRUE(status().hasValue);
}

TEST_F(ReadStateTest, IsStaleAfterThreeScansOnASlowLine)
{
    for (int scan = 0; scan < 2; ++scan) {
        now += seconds(20);
        end(&a);
        end(&b);
    }
    now += seconds(60);
    EXPECT_EQ(VariableState::Good, status().state);
    now += milliseconds(1);
    EXPECT_EQ(VariableState::Stale, status().state);
}

TEST_F(ReadStateTest, IsStaleNoEarlierThanAfterTwoTimeOuts)
{
    for (int scan = 0; scan < 2; ++scan) {
        end(&a);
        end(&b);
    }
    now += seconds(20);
    EXPECT_EQ(VariableState::Good, statusOf({&a, &b}, now, seconds(10)).state);
    EXPECT_EQ(VariableState::Stale, statusOf({&a, &b}, now, seconds(9)).state);
}

TEST_F(ReadStateTest, IsNotStaleDuringTheFirstScanHoweverLongThatTakes)
{
    end(&a);
    end(&b);
    now += seconds(1000);
    EXPECT_EQ(VariableState::Good, status().state);
    EXPECT_EQ(seconds(1000), status().age);
}

TEST_F(ReadStateTest, LeavesTimesOutInWhichItsStationWasLeftAlone)
{
    for (int scan = 0; scan < 2; ++scan) {
        now += milliseconds(100);
        end(&a);
        end(&b);
    }
    interruptBoth();
    for (int probe = 0; probe < 5; ++probe) {
        now += seconds(6000);
        end(&a, AttemptEnd::NoReply, StationState::Offline);
        end(&b, AttemptEnd::NoReply, StationState::Offline);
    }
    // Their own turns are the probes that bring the station back.
    now += seconds(6000);
    end(&a, AttemptEnd::Good, StationState::Offline);
    end(&b, AttemptEnd::Good, StationState::Offline);
    interruptBoth();
    end(&a);
    end(&b);
    now += seconds(3);
    EXPECT_EQ(VariableState::Good, status().state);
    now += milliseconds(1);
    EXPECT_EQ(VariableState::Stale, status().state) << "and not only after a day";
}

TEST_F(ReadStateTest, IsStaleWhenItsStationIsAskedAgainUntilItIsRead)
{
    end(&a);
    end(&b);
    interruptBoth();
    now += seconds(28800);
    interruptBoth();
    EXPECT_EQ(VariableState::Stale, status().state);
    EXPECT_EQ(seconds(28800), status().age);
    end(&a);
    end(&b);
    EXPECT_EQ(VariableState::Good, status().state);
}

TEST_F(ReadStateTest, ForgetsHowLongAScanOnceTook)
{
    end(&a);
    end(&b);
    now += seconds(600); // an outage
    end(&a);
    end(&b);
    now += milliseconds(100);
    end(&a);
    end(&b);
    now += seconds(4);
    EXPECT_EQ(VariableState::Stale, status().state);
}

} // namespace
