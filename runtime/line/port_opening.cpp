#include "runtime/line/port_opening.h"

#include <new>
#include <system_error>
#include <thread>
#include <utility>

namespace plc::runtime {

PortOpening::PortOpening(const OpenPort &open, const LineSettings &settings)
{
    std::promise<Outcome> promise;
    outcome_ = promise.get_future();
    const auto work = [open, settings](std::promise<Outcome> result) {
        result.set_value(outcomeOf(open, settings));
    };
    try {
        std::thread(work, std::move(promise)).detach();
    } catch (const std::system_error &) {
        throw noThreadFor(settings.port);
    }
}

PortOpening::Outcome PortOpening::outcomeOf(const OpenPort &open, const LineSettings &settings) noexcept
{
    try {
        return tryTo(open, settings);
    } catch (const std::bad_alloc &) {
        return Outcome(); // there is no memory for the reason
    }
}

PortOpening::Outcome PortOpening::tryTo(const OpenPort &open, const LineSettings &settings)
{
    Outcome outcome;
    try {
        outcome.port = open(settings);
        if (!outcome.port)
            outcome.reason = "port '" + settings.port + "' cannot be opened";
    } catch (const PortAbsent &absent) {
        outcome.isAbsent = true;
        outcome.reason = absent.what();
    } catch (const Failure &failure) {
        outcome.kind = failure.kind();
        outcome.reason = failure.what();
    } catch (const std::exception &exception) {
        outcome.reason = "port '" + settings.port + "' cannot be opened: " + exception.what();
    }
    return outcome;
}

std::unique_ptr<Port> PortOpening::take()
{
    Outcome outcome = outcome_.get();
    if (outcome.port)
        return std::move(outcome.port);
    if (outcome.isAbsent)
        throw PortAbsent(outcome.reason);
    throw Failure(outcome.kind, outcome.reason.empty() ? "the memory is used up" : outcome.reason);
}

Failure noThreadFor(const std::string &port)
{
    return Failure(FailureKind::Port,
                   "no thread can be made to serve port '" + port +
                       "'; the system is short of memory, or this user has too many processes");
}

} // namespace plc::runtime
