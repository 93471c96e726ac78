#include "host/commands/console.h"

#include <cstdio>
#include <set>

#include "host/commands/interrupt.h"
#include "host/option_words.h"
#include "runtime/line/line_thread.h"
#include "runtime/line/serial_port.h"

namespace plc::host {

Surroundings systemSurroundings(bool verbose, bool realtime)
{
    // A lost port is opened over and over.
    const auto told = std::make_shared<std::set<std::string>>();
    const auto listener = [verbose, told](const PortNote &note) {
        if ((note.isWarning || verbose) && told->insert(note.text).second)
            std::fprintf(stderr, "plchost: %s\n", inOptions(note.text).c_str());
    };
    const auto hasten = [realtime] {
        const std::string refusal = realtime ? runInRealTime() : std::string();
        if (!refusal.empty())
            std::fprintf(stderr, "plchost: --realtime: %s\n", refusal.c_str());
    };
    return {
        [listener](const LineSettings &settings) { return std::make_unique<SerialPort>(settings, listener); },
        hasten, isInterrupted};
}

TraceListener traceOnStandardError(bool verbose)
{
    if (!verbose)
        return nullptr;
    return [](const std::string &line) { std::fprintf(stderr, "%s\n", line.c_str()); };
}

} // namespace plc::host
