#include "serve.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace plc::station {

namespace {

using namespace std::chrono_literals;

/// How long an idle line sleeps at most; then it is made ready for the next client.
constexpr Time kIdleLimit = 500ms;

timespec asTimespec(Time time)
{
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    timespec spec;
    spec.tv_sec = static_cast<time_t>(seconds.count());
    spec.tv_nsec = static_cast<long>((time - seconds).count());
    return spec;
}

/// Sleeps until @p until, input or a stop.
/// @return false when waiting itself failed
bool waitFor(pollfd *polled, nfds_t count, Time until)
{
    const timespec left = asTimespec(std::max(until - steadyNow(), Time(0)));
    return ppoll(polled, count, &left, nullptr) >= 0 || errno == EINTR;
}

} // namespace

Time steadyNow()
{
    return std::chrono::duration_cast<Time>(std::chrono::steady_clock::now().time_since_epoch());
}

StopSignal::StopSignal()
{
    sigset_t stops;
    sigemptyset(&stops);
    sigaddset(&stops, SIGTERM);
    sigaddset(&stops, SIGINT);
    // Whoever started this may want it to outlive the terminal. What is ignored would come through here all
    // the same.
    struct sigaction hangUp
    {};
    if (sigaction(SIGHUP, nullptr, &hangUp) == 0 && hangUp.sa_handler != SIG_IGN)
        sigaddset(&stops, SIGHUP);
    if (sigprocmask(SIG_BLOCK, &stops, nullptr) == 0)
        descriptor_ = signalfd(-1, &stops, SFD_CLOEXEC);
}

StopSignal::~StopSignal()
{
    if (descriptor_ >= 0)
        close(descriptor_);
}

std::string serve(PtyLine *pty, StationLine *line, CommandInput *commands, const StopSignal &stop)
{
    pollfd polled[] = {
        {pty->descriptor(), POLLIN, 0}, {stop.descriptor(), POLLIN, 0}, {commands->descriptor(), POLLIN, 0}};
    while (polled[1].revents == 0) {
        // Input first: bytes that waited while this process did not run are not late.
        const Bytes received = pty->read();
        const Time now = steadyNow();
        if (!received.empty())
            line->receive(now, received);
        const Bytes due = line->advance(now);
        if (!due.empty())
            pty->write(due);

        if (polled[2].revents != 0)
            commands->takeInput();
        if (!commands->unwritten().empty())
            return commands->unwritten();
        polled[2].fd = commands->descriptor();

        const Time idle = now + kIdleLimit;
        const std::optional<Time> next = line->nextEvent();
        if (!waitFor(polled, std::size(polled), std::min(next.value_or(idle), idle)))
            return std::string("waiting for input: ") + std::strerror(errno);
        if (steadyNow() >= idle)
            pty->endExclusiveUse();
    }
    return {};
}

} // namespace plc::station
