// What the clock does while the machine sleeps, shown in a time namespace: the clock of the time since the
// machine was switched on is put forward there by eight hours, as a night's sleep does, and the clock that
// stops meanwhile is not.

#include "runtime/line/link_time.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>

#include "runtime/master/news_box.h"

#ifndef CLONE_NEWTIME
#define CLONE_NEWTIME 0x00000080
#endif

namespace {

using namespace plc::runtime;
using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::minutes;

constexpr int kNotAllowed = 77;

/// Runs @p question in a child that has slept for eight hours. @return its answer, or kNotAllowed
template <typename Question>
int askAfterSleep(Question question)
{
    const pid_t child = fork();
    if (child == 0) {
        constexpr char kOffset[] = "boottime 28800 0\n";
        if (unshare(CLONE_NEWTIME) != 0)
            _exit(kNotAllowed);
        const int offsets = open("/proc/self/timens_offsets", O_WRONLY | O_CLOEXEC);
        if (offsets < 0 || write(offsets, kOffset, std::strlen(kOffset)) < 0)
            _exit(kNotAllowed);
        close(offsets);
        // Only children of this process live in the new namespace.
        const pid_t sleeper = fork();
        if (sleeper == 0)
            _exit(question() ? 0 : 1);
        int status = 0;
        waitpid(sleeper, &status, 0);
        _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

TEST(LinkTime, GoesOnWhileTheMachineSleeps)
{
    const Time before = steadyNow();
    const int answer = askAfterSleep([before] {
        const Time passed = steadyNow() - before;
        return passed >= hours(8) && passed < hours(8) + minutes(10);
    });
    if (answer == kNotAllowed)
        GTEST_SKIP() << "this system has no time namespaces, or not for this user";
    EXPECT_EQ(0, answer);
}

TEST(LinkTime, OfWaitingIsNotLongerForIt)
{
    const int answer = askAfterSleep([] {
        NewsBox box;
        box.wait(steadyNow() + milliseconds(10));
        return box.take().empty();
    });
    if (answer == kNotAllowed)
        GTEST_SKIP() << "this system has no time namespaces, or not for this user";
    EXPECT_EQ(0, answer);
}

} // namespace
