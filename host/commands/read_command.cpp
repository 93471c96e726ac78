#include <cstdio>

#include "host/commands/command_options.h"
#include "host/commands/commands.h"
#include "host/commands/panel_line.h"
#include "host/commands/result_text.h"
#include "host/commands/standard_streams.h"
#include "runtime/line/failure.h"
#include "runtime/panel/pieces.h"

namespace plc::host {

ExitCode readVariables(const CommandOptions &options)
{
    const LinkSettings link = options.link();
    const std::vector<Variable> variables = options.variableList(link.oneBased());
    LineManner manner;
    manner.verbose = options.verbose;
    manner.readOnly = options.readOnly;
    PanelLine line(link, manner);
    PanelLine::checkNumber(variables.size());
    std::vector<VariableId> ids;
    for (const Variable &variable : variables) {
        ids.push_back(line.add(variable));
        line.checkRead(ids.back());
    }
    line.open();
    std::vector<OrderId> orders;
    for (const VariableId id : ids)
        orders.push_back(line.read(id));

    RowPrinter printer(options.outputFormat(), options.numberStyle(), haveMeanings(variables));
    std::vector<OrderEnd> ends;
    for (std::size_t i = 0; i < variables.size() && !isOutputOver(); ++i) {
        const OrderResult result = line.await(orders[i]);
        ends.push_back(result.end);
        Row row;
        row.variable = variables[i];
        row.station = variables[i].station.value_or(link.station);
        row.state = stateName(result.end);
        row.isInPieces = cutsValues(row.variable, link);
        row.exceptionCode = result.exceptionCode;
        row.time = line.endOf(result);
        if (result.end == OrderEnd::Good) {
            row.values = valuesOf(variables[i], result.raw);
        } else {
            row.reason = describe(result, row.station);
            if (result.end != OrderEnd::PortLost)
                std::fprintf(stderr, "plchost: %s: %s\n", row.variable.text.c_str(), row.reason.c_str());
        }
        printer.print(row);
    }
    line.close();
    if (!line.portLost().empty())
        throw Failure(FailureKind::Port, line.portLost());
    return exitCodeOf(ends);
}

} // namespace plc::host
