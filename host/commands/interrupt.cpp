#include "host/commands/interrupt.h"

#include <atomic>
#include <csignal>

namespace plc::host {

namespace {

// The signal may come to any thread, and the main thread asks.
std::atomic<bool> caught{false};
std::atomic<bool> reopening{false};
static_assert(ATOMIC_BOOL_LOCK_FREE == 2, "a signal handler must not wait for a lock");

std::atomic<void (*)()> lastAct{nullptr};
static_assert(ATOMIC_POINTER_LOCK_FREE == 2, "as above");

void endNow(int number)
{
    if (void (*act)() = lastAct)
        act();
    std::signal(number, SIG_DFL);
    std::raise(number);
}

void note(int number)
{
    caught = true;
    // A program that hangs can still be ended. A terminal that goes may send several SIGHUP within a
    // millisecond, of which none must cut the end short.
    if (number != SIGHUP)
        std::signal(number, endNow);
}

} // namespace

void catchInterrupts()
{
    std::signal(SIGINT, note);
    std::signal(SIGTERM, note);
    if (std::signal(SIGHUP, note) == SIG_IGN)
        std::signal(SIGHUP, SIG_IGN);
}

void beforeSecondInterrupt(void (*act)())
{
    lastAct = act;
}

void catchReopening()
{
    std::signal(SIGUSR1, [](int) { reopening = true; });
}

bool takeReopening()
{
    return reopening.exchange(false);
}

bool isInterrupted()
{
    return caught;
}

} // namespace plc::host
