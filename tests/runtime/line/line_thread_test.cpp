#include "runtime/line/line_thread.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>

#include <cerrno>
#include <thread>

namespace {

using namespace plc::runtime;

class RefusingSystem : public ThreadSystem
{
public:
    int takePriority() override { return priorityError; }
    int lockMemory() override { return memoryError; }

    int priorityError = 0;
    int memoryError = 0;
};

TEST(LineThread, IsWokenWhenItsWaitsAreDue)
{
    int slack = 0;
    std::thread([&slack] {
        wakeOnTime();
        slack = prctl(PR_GET_TIMERSLACK, 0, 0, 0, 0);
    }).join();
    EXPECT_EQ(1, slack) << "nanoseconds";
}

TEST(RealTime, SaysNothingWhereTheSystemAllowsIt)
{
    RefusingSystem system;
    EXPECT_EQ("", runInRealTime(system));
}

TEST(RealTime, NamesInOneLineWhatTheSystemRefuses)
{
    RefusingSystem system;
    system.priorityError = EPERM;
    EXPECT_EQ(
        "the system refuses a real-time priority (Operation not permitted), and all goes on without; root "
        "may have both, and users whose limits 'rtprio' and 'memlock' allow it",
        runInRealTime(system));
    system.memoryError = ENOMEM;
    EXPECT_EQ(
        "the system refuses a real-time priority (Operation not permitted) and memory that stays (Cannot "
        "allocate memory), and all goes on without; root may have both, and users whose limits 'rtprio' and "
        "'memlock' allow it",
        runInRealTime(system));
    system.priorityError = 0;
    EXPECT_EQ(
        "the system refuses memory that stays (Cannot allocate memory), and all goes on without; root may "
        "have both, and users whose limits 'rtprio' and 'memlock' allow it",
        runInRealTime(system));
}

} // namespace
