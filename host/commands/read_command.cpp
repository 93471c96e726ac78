#include <cstdio>

#include "host/commands/command_options.h"
#include "host/commands/commands.h"
#include "host/commands/console.h"
#include "host/commands/result_text.h"
#include "host/driver_search.h"
#include "runtime/master/driver_library.h"
#include "runtime/panel/pieces.h"
#include "runtime/panel/session.h"

namespace plc::host {

ExitCode readVariables(const CommandOptions &options)
{
    const LinkSettings link = options.link();
    const std::vector<Variable> variables = options.variableList(link.oneBased());
    DriverLibrary driver(driverToLoad(link.driverPath));
    Session session(driver, link, systemSurroundings(options.verbose));
    std::vector<Ticket> tickets;
    for (const Variable &variable : variables)
        tickets.push_back(session.read(variable));
    session.start(traceOnStandardError(options.verbose));

    RowPrinter printer(options.outputFormat(), options.numberStyle(), haveMeanings(variables));
    std::vector<OrderEnd> ends;
    for (std::size_t i = 0; i < variables.size(); ++i) {
        const OrderResult result = session.await(tickets[i]);
        ends.push_back(result.end);
        Row row;
        row.variable = variables[i];
        row.station = session.stationOf(variables[i]);
        row.state = stateName(result.end);
        row.isInPieces = cutsValues(row.variable, link);
        if (result.end == OrderEnd::Good)
            row.values = session.values(variables[i]);
        else if (result.end != OrderEnd::PortLost)
            std::fprintf(stderr, "plchost: %s: %s\n", row.variable.text.c_str(),
                         describeResult(result, row.station, link).c_str());
        printer.print(row);
    }
    session.stop();
    if (!session.portLost().empty())
        throw Failure(FailureKind::Port, session.portLost());
    return exitCodeOf(ends);
}

} // namespace plc::host
