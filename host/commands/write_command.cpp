#include <algorithm>
#include <cstdio>
#include <optional>
#include <utility>

#include "host/commands/audit.h"
#include "host/commands/command_options.h"
#include "host/commands/commands.h"
#include "host/commands/interrupt.h"
#include "host/commands/panel_line.h"
#include "host/commands/result_text.h"
#include "host/commands/typed_values.h"
#include "host/project/input_file.h"
#include "host/project/saved_values.h"
#include "host/project/written_values.h"
#include "runtime/line/failure.h"
#include "runtime/panel/pieces.h"

namespace plc::host {

namespace {

/// Orders of a file that are given at a time: as many as can be open, and whose results are kept.
constexpr std::size_t kBatch = 4096;
constexpr int kMostDifferences = 8; ///< that are told of one variable

/// One write as it was typed, or as it stands in a file.
struct Assignment
{
    Variable variable;
    Values values;
    bool isFromFile = false;
    std::vector<std::string> typed{}; ///< see typedValues()
    VariableId id = 0;
    OrderId order = 0;         ///< 0 where none was given
    std::uint64_t audited = 0; ///< its number in the audit
    OrderResult result{};
    std::string refusal{}; ///< why no order was given; empty where the result says it
};

Assignment parseAssignment(const std::string &argument, const WriteOptions &options, bool oneBased)
{
    const std::size_t equals = argument.find('=');
    if (equals == std::string::npos) {
        options.refuseOption(argument);
        throw Failure(FailureKind::Usage,
                      "'" + argument + "' is no write; it must be VARIABLE=VALUE[,VALUE...], as 4x:100=1,2");
    }
    Assignment assignment;
    const std::string name = argument.substr(0, equals);
    const std::string typed = argument.substr(equals + 1);
    assignment.variable = options.variableOf(name, oneBased);
    Variable &variable = assignment.variable;
    const bool isText = variable.format && variable.format->isText();
    const std::size_t station = typed.rfind('@');
    if (!isText && station != std::string::npos)
        throw Failure(FailureKind::Usage, "'" + argument + "': the station stands in front of =, as " + name +
                                              typed.substr(station) + "=" + typed.substr(0, station));
    assignment.values = parseValues(typed, variable, argument);
    const int given = valueCount(variable, assignment.values);
    // A variable of a project has the count that it has there.
    const bool isFixed = variable.countGiven || !variable.label.empty();
    if (isFixed && variable.count != given)
        throw Failure(FailureKind::Usage, "'" + argument + "': the count is " +
                                              std::to_string(variable.count) + ", but " +
                                              std::to_string(given) + " values are given");
    if (!isFixed && given > 1) {
        // The variable is checked again with its count: it must not reach beyond the area.
        const std::size_t at = std::min(name.find_first_of("/@"), name.size());
        variable =
            parseVariable(name.substr(0, at) + ":" + std::to_string(given) + name.substr(at), oneBased);
        variable.text = name;
    }
    assignment.typed = typedValues(typed, variable, assignment.values);
    return assignment;
}

bool haveMeanings(const std::vector<Assignment> &assignments)
{
    std::vector<Variable> variables;
    for (const Assignment &assignment : assignments)
        variables.push_back(assignment.variable);
    return plc::host::haveMeanings(variables);
}

/// "4x:101 holds 4 instead of 5": which values differ.
std::string differences(const Variable &variable, const Values &found, const Values &wanted,
                        NumberStyle style)
{
    std::string text;
    int count = 0;
    for (int i = 0; i < variable.count; ++i) {
        const std::string held = formatValue(variable, found, i, style);
        const std::string due = formatValue(variable, wanted, i, style);
        if (held == due || ++count > kMostDifferences)
            continue;
        text += (text.empty() ? "" : ", ") + variable.nameOf(i) + " holds " + held + " instead of " + due;
    }
    const int more = count - kMostDifferences;
    return more > 0 ? text + ", and " + std::to_string(more) + " more" : text;
}

/// One run of the command.
class Write
{
public:
    explicit Write(const WriteOptions &options)
        : options_(options), link_(options.link()), assignments_(gather()), line_(link_, manner()),
          printer_(options.outputFormat(), options.numberStyle(), haveMeanings(assignments_),
                   link_.oneBased())
    {
        for (Assignment &assignment : assignments_)
            admit(&assignment);
        const auto isBroadcast = [this](const Assignment &given) { return stationOf(given) == 0; };
        if (std::any_of(assignments_.begin(), assignments_.end(), isBroadcast))
            options.adviseOnBroadcasts(link_);
    }

    ExitCode run()
    {
        audit_.emplace(options_.auditFile, link_.port);
        line_.open();
        // All of them before the first write: where one cannot be noted, nothing is sent.
        for (Assignment &assignment : assignments_) {
            if (!note(&assignment))
                throw Failure(FailureKind::Usage, assignment.variable.text + ": " + assignment.refusal);
        }
        for (std::size_t first = 0; first < assignments_.size(); first += kBatch)
            writeBatch(first, std::min(first + kBatch, assignments_.size()));
        splitRefused();
        settle();
        for (const Assignment &assignment : assignments_) {
            if (assignment.result.end == OrderEnd::Good)
                held_.note(assignment.variable, stationOf(assignment), assignment.values);
        }
        for (const Assignment &assignment : assignments_)
            report(assignment);
        return finish();
    }

    /// Reads in place of writing.
    ExitCode compare()
    {
        line_.open();
        for (const Assignment &assignment : assignments_)
            reportComparison(assignment);
        return finish();
    }

private:
    LineManner manner() const
    {
        LineManner manner;
        manner.verbose = options_.verbose;
        manner.captureFile = options_.captureFile;
        manner.readOnly = options_.readOnly || options_.dryRun;
        return manner;
    }

    std::vector<Assignment> gather()
    {
        PanelLine::checkNumber(options_.assignments.size());
        std::vector<Assignment> all;
        for (const std::string &text : options_.assignments)
            all.push_back(parseAssignment(text, options_, link_.oneBased()));
        if (!options_.from.empty())
            gatherSaved(&all);
        return all;
    }

    void gatherSaved(std::vector<Assignment> *all)
    {
        const std::string file = options_.from == "-" ? "standard input" : options_.from;
        const SavedTable table = parseSavedValues(
            file, textOfInput(options_.from), link_.station, link_.maxBlock, link_.oneBased(),
            [this](const std::string &name) { return options_.variableOf(name, link_.oneBased()); });
        for (const SavedValues &saved : table.values)
            all->push_back({saved.variable, saved.values, true});
        if (table.values.empty())
            throw Failure(FailureKind::Usage, file + " has no value that can be written");
        if (!options_.quiet && table.readOnly + table.unread > 0)
            std::fprintf(stderr,
                         "plchost: %s: skipped are %d values of areas that cannot be written, and %d lines "
                         "without a value\n",
                         file.c_str(), table.readOnly, table.unread);
    }

    void admit(Assignment *assignment)
    {
        const bool isRead = options_.verify || options_.dryRun;
        if (isRead && stationOf(*assignment) == 0)
            throw Failure(FailureKind::Usage, "'" + assignment->variable.text +
                                                  "': a broadcast cannot be read back; leave " +
                                                  (options_.dryRun ? "--dry-run" : "--verify") + " out");
        assignment->id = line_.add(assignment->variable);
        if (options_.dryRun)
            line_.checkRead(assignment->id);
        else
            line_.checkWrite(assignment->id, assignment->values);
    }

    int stationOf(const Assignment &assignment) const
    {
        return assignment.variable.station.value_or(link_.station);
    }

    /// Takes the order down in the audit.
    /// @return false where that cannot be: it must not be given then.
    bool note(Assignment *assignment)
    {
        try {
            assignment->audited = audit_->order(rowOf(*assignment, OrderResult()));
        } catch (const Failure &failure) {
            assignment->refusal = failure.what();
        }
        return assignment->refusal.empty();
    }

    void writeBatch(std::size_t from, std::size_t to)
    {
        for (std::size_t i = from; i < to; ++i)
            give(&assignments_[i]);
        for (std::size_t i = from; i < to; ++i)
            await(&assignments_[i]);
    }

    void give(Assignment *assignment)
    {
        if (!isInterrupted())
            assignment->order = line_.write(assignment->id, assignment->values);
    }

    void await(Assignment *assignment)
    {
        if (assignment->order != 0)
            assignment->result = line_.await(assignment->order);
        else
            assignment->result.end = OrderEnd::Closed;
    }

    /// A station that has lost or locked one register refuses all that were to be written with it. Values of
    /// a file are then written one by one.
    void splitRefused()
    {
        std::vector<Assignment> all;
        bool isAudited = true;
        for (Assignment &assignment : std::exchange(assignments_, {})) {
            const bool isBlock = assignment.isFromFile && assignment.variable.count > 1;
            if (!isBlock || assignment.result.end != OrderEnd::Refused || isInterrupted() || !isAudited) {
                all.push_back(std::move(assignment));
                continue;
            }
            audit_->end(assignment.audited, rowOf(assignment, assignment.result));
            for (const SavedValues &single : singlesOf({assignment.variable, assignment.values})) {
                all.push_back({single.variable, single.values, true});
                Assignment &last = all.back();
                last.id = line_.add(last.variable);
                // Those that are done already are told all the same.
                isAudited = isAudited && note(&last);
                if (isAudited)
                    give(&last);
                await(&last);
            }
        }
        assignments_ = std::move(all);
    }

    /// Only behind the end of the line it is known whether what an interruption has left open was sent.
    void settle()
    {
        const auto isOpen = [](const Assignment &given) { return given.result.end == OrderEnd::Open; };
        if (std::none_of(assignments_.begin(), assignments_.end(), isOpen))
            return;
        line_.close();
        isOver_ = true;
        for (Assignment &assignment : assignments_) {
            if (isOpen(assignment))
                assignment.result = line_.result(assignment.order);
        }
    }

    Row rowOf(const Assignment &assignment, const OrderResult &result) const
    {
        Row row;
        row.variable = assignment.variable;
        row.station = stationOf(assignment);
        row.isWrite = true;
        row.values = assignment.values;
        row.typed = assignment.typed;
        row.exceptionCode = result.exceptionCode;
        row.time = line_.endOf(result);
        row.isDone = result.end == OrderEnd::Good;
        // Nobody confirms a broadcast.
        row.state = !row.isDone ? stateName(result.end) : row.station == 0 ? "sent" : "written";
        if (!row.isDone)
            row.reason = assignment.refusal.empty() ? describe(result, row.station) : assignment.refusal;
        return row;
    }

    void report(const Assignment &assignment)
    {
        Row row = rowOf(assignment, assignment.result);
        const OrderEnd end = row.isDone && options_.verify ? verify(assignment, &row) : assignment.result.end;
        print(&row, end);
        audit_->end(assignment.audited, row);
    }

    void print(Row *row, OrderEnd end)
    {
        ends_.push_back(end);
        if (!row->reason.empty() && end != OrderEnd::PortLost)
            std::fprintf(stderr, "plchost: %s: %s\n", row->variable.text.c_str(), row->reason.c_str());
        printer_.print(*row);
    }

    /// Reads back what was written. Fills in the row of the write.
    /// @return how reading ended.
    OrderEnd verify(const Assignment &assignment, Row *row)
    {
        OrderResult result;
        result.end = line_.portLost().empty() ? OrderEnd::Open : OrderEnd::PortLost;
        if (!isOver_ && !isInterrupted())
            result = line_.await(line_.read(assignment.id));
        if (result.end != OrderEnd::Good) {
            row->state = "written, not read back";
            row->exceptionCode = result.exceptionCode;
            row->isDone = false;
            row->reason = result.end == OrderEnd::Open ? "written; interrupted before it was read back"
                                                       : describe(result, row->station);
            ++unread_;
            return result.end;
        }
        const Values due = held_.heldOf(assignment.variable, row->station);
        const Values found = valuesOf(assignment.variable, result.raw);
        row->values = found;
        if (found != assignment.values)
            row->typed.clear();
        row->isInPieces = cutsValues(assignment.variable, link_);
        if (found != due) {
            row->state = "differs";
            row->isDone = false;
            row->reason = "the station holds other values than were written: " +
                          differences(assignment.variable, found, due, options_.numberStyle());
            ++differing_;
        } else if (due != assignment.values) {
            row->state = "written, then changed by a later write";
        } else {
            row->state = "written and read back";
        }
        return OrderEnd::Good;
    }

    void reportComparison(const Assignment &assignment)
    {
        const OrderResult result = line_.await(line_.read(assignment.id));
        Row row;
        row.variable = assignment.variable;
        row.station = stationOf(assignment);
        row.state = stateName(result.end);
        row.exceptionCode = result.exceptionCode;
        row.time = line_.endOf(result);
        if (result.end != OrderEnd::Good) {
            row.reason = describe(result, row.station);
        } else {
            const Values found = valuesOf(assignment.variable, result.raw);
            row.values = found;
            row.isInPieces = cutsValues(assignment.variable, link_);
            row.state = found == assignment.values ? "would stay" : "would change";
            if (found != assignment.values) {
                row.reason =
                    differences(assignment.variable, found, assignment.values, options_.numberStyle());
                ++differing_;
            }
        }
        print(&row, result.end);
    }

    ExitCode finish()
    {
        line_.close();
        if (!line_.portLost().empty())
            throw Failure(FailureKind::Port, line_.portLost());
        if (!options_.quiet && !options_.from.empty())
            summarise();
        // A station that acknowledges a write and does not keep the value has done half of the order.
        return differing_ > 0 && !options_.dryRun ? kExitMixed : exitCodeOf(ends_);
    }

    void summarise() const
    {
        const auto good = std::count(ends_.begin(), ends_.end(), OrderEnd::Good);
        const int failed = static_cast<int>(ends_.size()) - static_cast<int>(good);
        const int fine = static_cast<int>(good) - differing_;
        if (options_.dryRun)
            std::fprintf(stderr,
                         "plchost: nothing was written; %d would change, %d would stay, %d not read\n",
                         differing_, fine, failed);
        else if (options_.verify)
            std::fprintf(
                stderr, "plchost: %d written and read back, %d differ%s, %d failed\n", fine, differing_,
                unread_ > 0 ? (", " + std::to_string(unread_) + " written, but not read back").c_str() : "",
                failed - unread_);
        else
            std::fprintf(stderr, "plchost: %d written, %d failed; --verify reads them back\n", fine, failed);
    }

    const WriteOptions &options_;
    LinkSettings link_;
    std::vector<Assignment> assignments_;
    PanelLine line_;
    RowPrinter printer_;
    std::optional<Audit> audit_; ///< while something is written
    WrittenValues held_;         ///< by the stations, when all writes have ended
    std::vector<OrderEnd> ends_;
    int differing_ = 0;
    bool isOver_ = false; ///< the line is closed before its time
    int unread_ = 0;      ///< written, and not read back where that was wanted
};

} // namespace

ExitCode writeVariables(const WriteOptions &options)
{
    if (options.readOnly && !options.dryRun)
        throw Failure(FailureKind::Usage, "--read-only: nothing is written; leave the option out, or take "
                                          "--dry-run to see what would change");
    if (options.assignments.empty() && options.from.empty())
        throw Failure(FailureKind::Usage,
                      "nothing is to be written; name a variable and its value, as 4x:100=5, or --from FILE");
    Write write(options);
    return options.dryRun ? write.compare() : write.run();
}

} // namespace plc::host
