#include "host/commands/capture_option.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "host/commands/interrupt.h"
#include "host/commands/standard_streams.h"
#include "runtime/line/failure.h"
#include "runtime/line/terminal_system.h"

namespace plc::host {

std::shared_ptr<Capture> openCapture(const std::string &path, const LineSettings &settings, bool hasEcho)
{
    try {
        return Capture::open(path, settings, !isPseudoTerminal(settings.port), hasEcho, isInterrupted);
    } catch (const Failure &) {
        failOutput();
        throw;
    }
}

void finishCapture(Capture *capture)
{
    if (!capture)
        return;
    capture->finish();
    const std::uint64_t lost = capture->lost();
    const int error = capture->error();
    if (lost == 0 || error == EPIPE)
        return;
    const bool isSlow = error == 0 || error == EAGAIN;
    if (!capture->hasHead())
        std::fprintf(stderr, "plchost: --capture: '%s' could not be written: %s\n", capture->path().c_str(),
                     isSlow ? "it takes nothing" : std::strerror(error));
    else
        std::fprintf(stderr, "plchost: --capture: %llu %s missing in '%s': %s\n",
                     static_cast<unsigned long long>(lost), lost == 1 ? "packet is" : "packets are",
                     capture->path().c_str(),
                     isSlow ? "it could not be written as fast as they came" : std::strerror(error));
    failOutput();
}

} // namespace plc::host
