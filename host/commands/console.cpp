#include "host/commands/console.h"

#include <cstdio>

#include "host/commands/interrupt.h"
#include "host/serial_port.h"

namespace plc::host {

Surroundings systemSurroundings()
{
    return {openSerialPort, isInterrupted};
}

TraceListener traceOnStandardError(bool verbose)
{
    if (!verbose)
        return nullptr;
    return [](const std::string &line) { std::fprintf(stderr, "%s\n", line.c_str()); };
}

} // namespace plc::host
