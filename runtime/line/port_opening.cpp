#include "runtime/line/port_opening.h"

#include <system_error>
#include <thread>
#include <utility>

namespace plc::runtime {

PortOpening::PortOpening(const OpenPort &open, const LineSettings &settings)
{
    std::promise<std::unique_ptr<Port>> promise;
    port_ = promise.get_future();
    const auto work = [open, settings](std::promise<std::unique_ptr<Port>> result) {
        try {
            result.set_value(open(settings));
        } catch (...) {
            result.set_exception(std::current_exception());
        }
    };
    try {
        std::thread(work, std::move(promise)).detach();
    } catch (const std::system_error &) {
        throw noThreadFor(settings.port);
    }
}

Failure noThreadFor(const std::string &port)
{
    return Failure(FailureKind::Port,
                   "no thread can be made to serve port '" + port +
                       "'; the system is short of memory, or this user has too many processes");
}

} // namespace plc::runtime
