#include "interrupt.h"

#include <csignal>

namespace plc::host {

namespace {

volatile std::sig_atomic_t caught = 0;

void note(int number)
{
    caught = 1;
    // A program that hangs can still be ended.
    std::signal(number, SIG_DFL);
}

} // namespace

void catchInterrupts()
{
    std::signal(SIGINT, note);
    std::signal(SIGTERM, note);
}

bool isInterrupted()
{
    return caught != 0;
}

} // namespace plc::host
