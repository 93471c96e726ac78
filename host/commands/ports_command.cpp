#include <chrono>
#include <cstdio>

#include "host/commands/command_options.h"
#include "host/commands/commands.h"
#include "host/commands/port_table.h"
#include "host/commands/standard_streams.h"

namespace plc::host {

ExitCode listPorts(const OutputOptions &options)
{
    const std::vector<runtime::ListedPort> ports = runtime::listPorts();
    print(portTable(ports, options.outputFormat(), std::chrono::system_clock::now()));
    if (!ports.empty())
        return kExitGood;
    std::fputs("plchost: there is no serial port; plug an adapter in, or simulate a line with plcstation\n",
               stderr);
    return kExitNoReply;
}

} // namespace plc::host
