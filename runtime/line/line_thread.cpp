#include "runtime/line/line_thread.h"

#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>

#include <cerrno>
#include <cstring>

namespace plc::runtime {

namespace {

/// Above ordinary threads and below the threads of the kernel that serve interrupts, which have 50.
constexpr int kPriority = 10;

std::string refusalOf(const char *what, int error)
{
    return error == 0 ? std::string() : std::string(what) + " (" + std::strerror(error) + ")";
}

} // namespace

int ThreadSystem::takePriority()
{
    sched_param wanted{};
    wanted.sched_priority = kPriority;
    return pthread_setschedparam(pthread_self(), SCHED_FIFO | SCHED_RESET_ON_FORK, &wanted);
}

int ThreadSystem::lockMemory()
{
    // Only what has been used: stacks of threads would otherwise be taken whole.
    return mlockall(MCL_CURRENT | MCL_FUTURE | MCL_ONFAULT) == 0 ? 0 : errno;
}

void wakeOnTime()
{
    constexpr unsigned long kNanoseconds = 1;
    prctl(PR_SET_TIMERSLACK, kNanoseconds, 0, 0, 0);
}

std::string runInRealTime(ThreadSystem &system)
{
    const std::string priority = refusalOf("a real-time priority", system.takePriority());
    const std::string memory = refusalOf("memory that stays", system.lockMemory());
    if (priority.empty() && memory.empty())
        return std::string();
    return "the system refuses " + priority + (priority.empty() || memory.empty() ? "" : " and ") + memory +
           ", and all goes on without; root may have both, and users whose limits 'rtprio' and 'memlock' "
           "allow it";
}

std::string runInRealTime()
{
    ThreadSystem system;
    return runInRealTime(system);
}

} // namespace plc::runtime
