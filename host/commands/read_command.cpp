#include "host/commands/command_options.h"
#include "host/commands/commands.h"
#include "host/commands/parted_read.h"
#include "host/commands/standard_streams.h"
#include "runtime/line/failure.h"

namespace plc::host {

ExitCode readVariables(const CommandOptions &options)
{
    const LinkSettings link = options.link();
    const std::vector<Variable> variables = options.variableList(link.oneBased());
    LineManner manner;
    manner.verbose = options.verbose;
    manner.captureFile = options.captureFile;
    manner.readOnly = options.readOnly;
    PanelLine line(link, manner);
    PanelLine::checkNumber(variables.size());
    std::vector<PartedRead> reads;
    for (const Variable &variable : variables)
        reads.emplace_back(line, variable, link);
    line.open();
    for (PartedRead &read : reads)
        read.begin();

    RowPrinter printer(options.outputFormat(), options.numberStyle(), haveMeanings(variables),
                       link.oneBased());
    std::vector<OrderEnd> ends;
    for (std::size_t i = 0; i < reads.size() && !isOutputOver(); ++i)
        printer.print(reads[i].await(&ends));
    line.close();
    if (!line.portLost().empty())
        throw Failure(FailureKind::Port, line.portLost());
    return exitCodeOf(ends);
}

} // namespace plc::host
