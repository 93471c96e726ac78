#include <CLI/CLI.hpp>

#include <cstdio>
#include <memory>

#include "command_options.h"
#include "commands.h"
#include "driver_library.h"
#include "session.h"

namespace plc::host {

namespace {

constexpr const char *kExample = "Example: ten holding registers and a 32-bit value of station 5:\n"
                                 "  plchost read -p /dev/ttyUSB0 -b 9600 -a 5 4x:100:10 4x_d:200\n\n";

ExitCode readOnce(const CommandOptions &options)
{
    const LinkSettings link = options.link();
    const std::vector<Variable> variables = options.variableList(link.oneBased());
    DriverLibrary driver(link.driverPath);
    Session session(driver, link);
    std::vector<Ticket> tickets;
    for (const Variable &variable : variables)
        tickets.push_back(session.read(variable));
    session.start(options.verbose);

    RowPrinter printer(options.outputFormat(), options.numberStyle());
    std::vector<OperationEnd> ends;
    for (std::size_t i = 0; i < variables.size(); ++i) {
        const OperationResult result = session.await(tickets[i]);
        ends.push_back(result.end);
        Row row;
        row.variable = variables[i];
        row.station = session.stationOf(variables[i]);
        row.state = stateName(result.end);
        if (result.end == OperationEnd::Good)
            row.values = session.values(variables[i]);
        else if (result.end != OperationEnd::PortLost)
            std::fprintf(stderr, "plchost: %s: %s\n", row.variable.text.c_str(),
                         describeResult(result, row.station, link).c_str());
        printer.print(row);
    }
    session.stop();
    if (!session.portLost().empty())
        throw Failure(kExitPort, session.portLost());
    return exitCodeOf(ends);
}

} // namespace

void addReadCommand(CLI::App *program, const Choose &choose)
{
    auto options = std::make_shared<CommandOptions>();
    CLI::App *command = program->add_subcommand("read", "read each variable once and print its values");
    addPortOption(command, options.get());
    addVariableOptions(command, options.get());
    addLineOptions(command, options.get());
    addOutputOptions(command, options.get());
    command->footer(kExample + commonHelp());
    command->callback([options, choose] { choose([options] { return readOnce(*options); }); });
}

} // namespace plc::host
