#include <algorithm>
#include <cstdio>
#include <optional>

#include "host/commands/child_process.h"
#include "host/commands/command_options.h"
#include "host/commands/commands.h"
#include "host/commands/interrupt.h"
#include "host/commands/panel_line.h"
#include "host/commands/result_text.h"
#include "host/commands/standard_streams.h"
#include "host/driver_search.h"
#include "runtime/line/failure.h"

namespace plc::host {

namespace {

constexpr Time kStationStart = std::chrono::seconds(10);
constexpr Time kPatience = std::chrono::seconds(30);
constexpr Time kSlice = std::chrono::milliseconds(20);

/// One variable of the demo and what is done to it.
struct Act
{
    const char *variable;
    const char *values; ///< empty = only read
    const char *meaning;
};

constexpr Act kActs[] = {
    {"4x:100:5", "1,22,333,4444,55555", "holding registers in one request"},
    {"4x:110", "4321", "one holding register"},
    {"4x_bit:120.3", "1", "a bit inside a holding register"},
    {"4x_bit:121.14:4", "1,0,0,1", "bits across two registers"},
    {"4x_d:130:2", "305419896,4000000000", "32-bit values in register pairs"},
    {"4x:134/f32", "-12.5", "a float in two registers"},
    {"4x:136:2/i32.cdab", "-70000,70000", "32-bit values, the lower half first"},
    {"4x_single:140:2", "7,8", "registers written one by one"},
    {"4x_block:150:2", "9,10", "registers written as blocks"},
    {"4x:160/str12", "PUMP 7", "a text of up to 12 characters"},
    {"0x:16:10", "1,0,1,1,0,0,1,0,1,1", "coils in one request"},
    {"0x:40", "1", "one coil"},
    {"3x:0:2", "", "input registers that move by themselves"},
    {"1x:8:8", "", "discrete inputs"},
};

/// One run of the demo.
class Demo
{
public:
    Demo(const DemoOptions &options, const LinkSettings &link)
        : options_(options), link_(link), line_(link, manner())
    {
        for (const Act &act : kActs) {
            variables_.push_back(parseVariable(act.variable, link.oneBased()));
            ids_.push_back(line_.add(variables_.back()));
        }
        line_.show(ids_);
    }

    ExitCode run()
    {
        line_.open();
        awaitScans(1);
        remember(&before_);
        writeAll();
        awaitScans(fewestScansAfterNow());
        remember(&after_);
        line_.close();
        if (isInterrupted())
            std::fputs("plchost: interrupted before everything was read back\n", stderr);
        show();
        explain();
        if (!options_.quiet)
            std::fputs(describeStatistics(line_.statistics(), options_.verbose).c_str(), stderr);
        return allCameBack() ? kExitGood : failureCode();
    }

private:
    LineManner manner() const
    {
        LineManner manner;
        manner.verbose = options_.verbose;
        manner.captureFile = options_.captureFile;
        manner.readOnly = options_.readOnly;
        manner.separateReads = true;
        return manner;
    }

    /// A scan under way may have read a variable before the write; the next scan reads it afterwards.
    std::uint64_t fewestScansAfterNow() const
    {
        std::uint64_t most = 0;
        for (const VariableId id : ids_)
            most = std::max<std::uint64_t>(most, line_.state(id).readings);
        return most + 2;
    }

    /// Longer than two scans take in which no request is answered.
    Time patience() const
    {
        return kPatience + 4 * static_cast<int>(ids_.size()) * (1 + link_.retries) * link_.timeout;
    }

    void awaitScans(std::uint64_t scans)
    {
        const Time limit = steadyNow() + patience();
        const auto isRead = [&](VariableId id) { return line_.state(id).readings >= scans; };
        while (!std::all_of(ids_.begin(), ids_.end(), isRead)) {
            if (!line_.portLost().empty())
                throw Failure(FailureKind::Port, line_.portLost());
            if (isInterrupted())
                return;
            if (steadyNow() > limit)
                throw Failure(FailureKind::NoReply,
                              "the variables were not read in time; -v shows what happens on the line");
            line_.poll(steadyNow() + kSlice);
        }
    }

    void writeAll()
    {
        std::vector<OrderId> orders;
        for (std::size_t i = 0; i < variables_.size(); ++i) {
            const bool written = kActs[i].values[0] != '\0';
            wanted_.push_back(written ? parseValues(kActs[i].values, variables_[i], kActs[i].values)
                                      : Values());
            orders.push_back(written ? line_.write(ids_[i], wanted_.back()) : 0);
        }
        for (const OrderId order : orders)
            writes_.push_back(order == 0 ? std::nullopt : std::make_optional(line_.await(order)));
        if (!line_.portLost().empty())
            throw Failure(FailureKind::Port, line_.portLost());
    }

    void remember(std::vector<VariableState> *into) const
    {
        for (const VariableId id : ids_)
            into->push_back(line_.state(id));
    }

    /// What it was read to be; nothing where its last reading did not succeed.
    static std::optional<Values> valuesIn(const VariableState &state, const Variable &variable)
    {
        const bool isRead = state.ageMs >= 0 && state.lastRead == OrderEnd::Good;
        return isRead ? std::make_optional(valuesOf(variable, state.raw)) : std::nullopt;
    }

    bool cameBack(std::size_t i) const
    {
        if (writes_[i] && writes_[i]->end != OrderEnd::Good)
            return false;
        const std::optional<Values> values = valuesIn(after_[i], variables_[i]);
        return values && (wanted_[i].empty() || *values == wanted_[i]);
    }

    bool allCameBack() const
    {
        for (std::size_t i = 0; i < variables_.size(); ++i) {
            if (!cameBack(i))
                return false;
        }
        return true;
    }

    ExitCode failureCode() const
    {
        std::vector<OrderEnd> ends;
        for (const auto &write : writes_) {
            if (write)
                ends.push_back(write->end);
        }
        for (const VariableState &state : after_)
            ends.push_back(state.lastRead);
        const ExitCode code = exitCodeOf(ends);
        return code == kExitGood ? kExitMixed : code;
    }

    /// Tells the reason of each row that is wrong.
    void explain() const
    {
        for (std::size_t i = 0; i < variables_.size(); ++i) {
            if (cameBack(i))
                continue;
            const bool isUnwritten = writes_[i] && writes_[i]->end != OrderEnd::Good;
            const int station = link_.station;
            const std::string reason = isUnwritten ? describe(*writes_[i], station)
                                       : after_[i].lastRead == OrderEnd::Good
                                           ? "the station holds other values than were written"
                                           : describe(after_[i], station);
            std::fprintf(stderr, "plchost: %s: %s%s\n", variables_[i].text.c_str(),
                         writes_[i] ? (isUnwritten ? "write: " : "read back: ") : "", reason.c_str());
        }
    }

    std::string text(const VariableState &state, const Variable &variable) const
    {
        const std::optional<Values> values = valuesIn(state, variable);
        return values ? formatValues(variable, *values, options_.numberStyle(), " ") : "?";
    }

    void show() const
    {
        const NumberStyle style = options_.numberStyle();
        std::vector<std::vector<std::string>> cells{
            {"variable", "before", "written", "read back", "", "what it is"}};
        for (std::size_t i = 0; i < variables_.size(); ++i) {
            const Variable &variable = variables_[i];
            const bool written = !wanted_[i].empty();
            cells.push_back({variable.text, text(before_[i], variable),
                             written ? formatValues(variable, wanted_[i], style, " ") : "-",
                             text(after_[i], variable),
                             !cameBack(i) ? "WRONG"
                             : written    ? "as written"
                                          : "read",
                             kActs[i].meaning});
        }
        for (const std::string &line : layOut(cells))
            print(line + "\n");
    }

    const DemoOptions &options_;
    LinkSettings link_;
    PanelLine line_;
    std::vector<Variable> variables_;
    std::vector<VariableId> ids_;
    std::vector<VariableState> before_;
    std::vector<Values> wanted_;
    std::vector<VariableState> after_;
    std::vector<std::optional<OrderResult>> writes_; ///< nothing for variables that are only read
};

} // namespace

ExitCode runDemo(const DemoOptions &options)
{
    if (options.readOnly)
        throw Failure(FailureKind::Usage,
                      "--read-only: a demo writes to the station that it starts, and to no "
                      "other; leave the option out");
    LinkSettings link = options.link();
    if (link.station == 0)
        throw Failure(FailureKind::Usage, "--station 0: nobody answers reads of station 0; take 1 to 247");
    const std::string program =
        options.stationProgram.empty() ? programFolder() + "/plcstation" : options.stationProgram;
    std::vector<std::string> arguments{
        "-a",     std::to_string(link.station), "--counters", "3x:0:2", "--counters",
        "1x:8:8", "--die-with-parent",          "-q"};
    if (link.linkMode != 0)
        arguments.emplace_back("--relay");
    if (hasOption(link.options, kOptionSwapRequestCrc))
        arguments.emplace_back("--request-crc-high-first");
    if (hasOption(link.options, kOptionSwapReplyCrc))
        arguments.emplace_back("--reply-crc-high-first");
    ChildProcess station(program, arguments);
    const auto terminal = station.readLine(steadyNow() + kStationStart);
    if (!terminal)
        throw Failure(FailureKind::Port,
                      "'" + program + "' did not name its pseudo-terminal; try it by itself");
    link.port = *terminal;
    if (!options.quiet)
        std::fprintf(stderr, "plcstation serves station %d on %s\n", link.station, terminal->c_str());
    return Demo(options, link).run();
}

} // namespace plc::host
