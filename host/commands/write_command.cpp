#include <algorithm>
#include <cstdio>

#include "host/commands/audit.h"
#include "host/commands/command_options.h"
#include "host/commands/commands.h"
#include "host/commands/panel_line.h"
#include "host/commands/result_text.h"
#include "host/commands/typed_values.h"
#include "runtime/line/failure.h"
#include "runtime/panel/pieces.h"

namespace plc::host {

namespace {

/// One write as it was typed.
struct Assignment
{
    Variable variable;
    Values values;
    std::vector<std::string> typed; ///< see typedValues()
    VariableId id = 0;
};

Assignment parseAssignment(const std::string &text, const WriteOptions &options, bool oneBased)
{
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos)
        throw Failure(FailureKind::Usage,
                      "'" + text + "' is no write; it must be VARIABLE=VALUE[,VALUE...], as 4x:100=1,2");
    Assignment assignment;
    const std::string name = text.substr(0, equals);
    assignment.variable = options.variableOf(name, oneBased);
    Variable &variable = assignment.variable;
    assignment.values = parseValues(text.substr(equals + 1), variable, text);
    const int given = valueCount(variable, assignment.values);
    // A variable of a project has the count that it has there.
    const bool isFixed = variable.countGiven || !variable.label.empty();
    if (isFixed && variable.count != given)
        throw Failure(FailureKind::Usage, "'" + text + "': the count is " + std::to_string(variable.count) +
                                              ", but " + std::to_string(given) + " values are given");
    if (!isFixed && given > 1) {
        // The variable is checked again with its count: it must not reach beyond the area.
        const std::size_t at = std::min(name.find_first_of("/@"), name.size());
        variable =
            parseVariable(name.substr(0, at) + ":" + std::to_string(given) + name.substr(at), oneBased);
        variable.text = name;
    }
    assignment.typed = typedValues(text.substr(equals + 1), variable, assignment.values);
    return assignment;
}

std::vector<Assignment> parseAssignments(const WriteOptions &options, bool oneBased)
{
    std::vector<Assignment> assignments;
    for (const std::string &text : options.assignments)
        assignments.push_back(parseAssignment(text, options, oneBased));
    return assignments;
}

bool haveMeanings(const std::vector<Assignment> &assignments)
{
    std::vector<Variable> variables;
    for (const Assignment &assignment : assignments)
        variables.push_back(assignment.variable);
    return plc::host::haveMeanings(variables);
}

Row rowOf(const Assignment &assignment, const OrderResult &result, const LinkSettings &link,
          const PanelLine &line)
{
    Row row;
    row.variable = assignment.variable;
    row.station = row.variable.station.value_or(link.station);
    row.isWrite = true;
    row.values = assignment.values;
    row.typed = assignment.typed;
    row.exceptionCode = result.exceptionCode;
    row.time = line.endOf(result);
    row.isDone = result.end == OrderEnd::Good;
    // Nobody confirms a broadcast.
    row.state = !row.isDone ? stateName(result.end) : row.station == 0 ? "sent" : "written";
    if (!row.isDone)
        row.reason = describe(result, row.station);
    return row;
}

/// Reads back what was written. Fills in the row of the write.
/// @param differs  is set when the station has other values.
/// @return how reading ended.
OrderEnd verify(PanelLine &line, const Assignment &assignment, const LinkSettings &link, Row *row,
                bool *differs)
{
    const OrderResult result = line.await(line.read(assignment.id));
    if (result.end != OrderEnd::Good) {
        row->state = "written, not read back";
        row->exceptionCode = result.exceptionCode;
        row->isDone = false;
        row->reason = describe(result, row->station);
        return result.end;
    }
    const Values found = valuesOf(assignment.variable, result.raw);
    row->values = found;
    if (found != assignment.values)
        row->typed.clear();
    row->isInPieces = cutsValues(assignment.variable, link);
    if (found == assignment.values) {
        row->state = "written and read back";
        return OrderEnd::Good;
    }
    row->state = "differs";
    row->isDone = false;
    row->reason = "the station holds other values than were written";
    *differs = true;
    return OrderEnd::Good;
}

} // namespace

ExitCode writeVariables(const WriteOptions &options)
{
    const LinkSettings link = options.link();
    std::vector<Assignment> assignments = parseAssignments(options, link.oneBased());
    LineManner manner;
    manner.verbose = options.verbose;
    PanelLine line(link, manner);
    PanelLine::checkNumber(assignments.size());
    for (Assignment &assignment : assignments) {
        if (options.verify && assignment.variable.station.value_or(link.station) == 0)
            throw Failure(FailureKind::Usage, "'" + assignment.variable.text +
                                                  "': a broadcast cannot be read back; leave --verify out");
        assignment.id = line.add(assignment.variable);
        line.checkWrite(assignment.id, assignment.values);
    }
    const bool isBroadcast =
        std::any_of(assignments.begin(), assignments.end(), [&](const Assignment &given) {
            return given.variable.station.value_or(link.station) == 0;
        });
    if (isBroadcast)
        options.adviseOnBroadcasts(link);
    Audit audit(options.auditFile, link.port);
    line.open();
    // All of them before the first write: where one cannot be noted, nothing is sent.
    std::vector<std::uint64_t> audited;
    for (const Assignment &assignment : assignments)
        audited.push_back(audit.order(rowOf(assignment, OrderResult(), link, line)));
    std::vector<OrderId> orders;
    for (const Assignment &assignment : assignments)
        orders.push_back(line.write(assignment.id, assignment.values));

    std::vector<OrderResult> written;
    for (const OrderId order : orders)
        written.push_back(line.await(order));

    RowPrinter printer(options.outputFormat(), options.numberStyle(), haveMeanings(assignments));
    std::vector<OrderEnd> ends;
    bool differs = false;
    for (std::size_t i = 0; i < assignments.size(); ++i) {
        Row row = rowOf(assignments[i], written[i], link, line);
        OrderEnd end = written[i].end;
        if (row.isDone && options.verify)
            end = verify(line, assignments[i], link, &row, &differs);
        ends.push_back(end);
        if (!row.reason.empty() && end != OrderEnd::PortLost)
            std::fprintf(stderr, "plchost: %s: %s\n", row.variable.text.c_str(), row.reason.c_str());
        printer.print(row);
        if (end != OrderEnd::Open)
            audit.end(audited[i], row);
    }
    line.close();
    // Only now it is known whether those that an interruption has left open were sent.
    for (std::size_t i = 0; i < assignments.size(); ++i)
        audit.end(audited[i], rowOf(assignments[i], line.result(orders[i]), link, line));
    if (!line.portLost().empty())
        throw Failure(FailureKind::Port, line.portLost());
    // A station that acknowledges a write and does not keep the value has done half of the order.
    return differs ? kExitMixed : exitCodeOf(ends);
}

} // namespace plc::host
