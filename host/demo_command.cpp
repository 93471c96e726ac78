#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <thread>

#include "child_process.h"
#include "command_options.h"
#include "commands.h"
#include "driver_library.h"
#include "interrupt.h"
#include "session.h"

namespace plc::host {

namespace {

constexpr const char *kExample =
    "Example:\n  plchost demo\n\n"
    "Starts plcstation, reads and writes variables of all kinds over a pseudo-terminal,\n"
    "and shows what came back. Ends with exit code 0 only if all of it is what was "
    "written.\n\n";

constexpr Time kStationStart = std::chrono::seconds(10);
constexpr Time kPatience = std::chrono::seconds(30);
constexpr Time kSlice = std::chrono::milliseconds(20);

struct DemoOptions : CommandOptions
{
    std::string station;
};

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
    {"4x_single:140:2", "7,8", "registers written one by one"},
    {"4x_block:150:2", "9,10", "registers written as blocks"},
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
        : options_(options), driver_(link.driverPath), session_(driver_, link)
    {
        for (const Act &act : kActs) {
            variables_.push_back(parseVariable(act.variable, link.oneBased()));
            session_.watch(variables_.back());
        }
    }

    ExitCode run()
    {
        session_.start(options_.verbose);
        awaitScans(1);
        remember(&before_);
        writeAll();
        awaitScans(fewestScansAfterNow());
        remember(&after_);
        session_.stop();
        show();
        if (!options_.quiet)
            std::fputs(describeStatistics(session_.statistics(), session_.runningFor()).c_str(), stderr);
        return allCameBack() ? kExitGood : failureCode();
    }

private:
    /// A scan under way may have read a variable before it was written; the one after it has not.
    std::uint64_t fewestScansAfterNow() const
    {
        std::uint64_t most = 0;
        for (int i = 0; i < count(); ++i)
            most = std::max(most, session_.status(i).scans);
        return most + 2;
    }

    void awaitScans(std::uint64_t scans)
    {
        const Time limit = steadyNow() + kPatience;
        const auto isBehind = [&](int i) { return session_.status(i).scans < scans; };
        for (;;) {
            session_.pump(steadyNow());
            bool done = true;
            for (int i = 0; i < count(); ++i)
                done = done && !isBehind(i);
            if (done)
                return;
            if (!session_.portLost().empty())
                throw Failure(kExitPort, session_.portLost());
            if (isInterrupted())
                throw Failure(kExitMixed, "interrupted before everything was read back");
            if (steadyNow() > limit)
                throw Failure(kExitNoReply,
                              "the variables were not read in time; -v shows what happens on the line");
            std::this_thread::sleep_for(kSlice);
        }
    }

    void writeAll()
    {
        std::vector<Ticket> tickets;
        for (std::size_t i = 0; i < variables_.size(); ++i) {
            const bool written = kActs[i].values[0] != '\0';
            wanted_.push_back(
                written ? parseValues(kActs[i].values, variables_[i].area->unit, kActs[i].values) : Values());
            tickets.push_back(written ? session_.write(variables_[i], wanted_.back()) : 0);
        }
        for (const Ticket ticket : tickets)
            writes_.push_back(ticket == 0 ? OperationEnd::Good : session_.await(ticket).end);
    }

    void remember(std::vector<Values> *into) const
    {
        for (const Variable &variable : variables_)
            into->push_back(session_.values(variable));
    }

    bool cameBack(std::size_t i) const
    {
        const bool isRead = session_.status(static_cast<int>(i)).last.end == OperationEnd::Good;
        return isRead && writes_[i] == OperationEnd::Good && (wanted_[i].empty() || after_[i] == wanted_[i]);
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
        std::vector<OperationEnd> ends = writes_;
        for (int i = 0; i < count(); ++i)
            ends.push_back(session_.status(i).last.end);
        const ExitCode code = exitCodeOf(ends);
        return code == kExitGood ? kExitMixed : code;
    }

    void show() const
    {
        const NumberStyle style = options_.numberStyle();
        std::vector<std::vector<std::string>> cells{
            {"variable", "before", "written", "read back", "", "what it is"}};
        for (std::size_t i = 0; i < variables_.size(); ++i) {
            const Unit unit = variables_[i].area->unit;
            const bool written = !wanted_[i].empty();
            cells.push_back({variables_[i].text, formatValues(before_[i], unit, style, " "),
                             written ? formatValues(wanted_[i], unit, style, " ") : "-",
                             formatValues(after_[i], unit, style, " "),
                             !cameBack(i) ? "WRONG"
                             : written    ? "as written"
                                          : "read",
                             kActs[i].meaning});
        }
        for (const std::string &line : layOut(cells))
            std::printf("%s\n", line.c_str());
        std::fflush(stdout);
    }

    int count() const { return static_cast<int>(variables_.size()); }

    const DemoOptions &options_;
    DriverLibrary driver_;
    Session session_;
    std::vector<Variable> variables_;
    std::vector<Values> before_;
    std::vector<Values> wanted_;
    std::vector<Values> after_;
    std::vector<OperationEnd> writes_;
};

ExitCode runDemo(const DemoOptions &options)
{
    LinkSettings link = options.link();
    const std::string program = options.station.empty() ? programFolder() + "/plcstation" : options.station;
    std::vector<std::string> arguments{
        "-a",     std::to_string(link.station), "--counters", "3x:0:2", "--counters",
        "1x:8:8", "--die-with-parent",          "-q"};
    if (link.linkMode != 0)
        arguments.emplace_back("--relay");
    ChildProcess station(program, arguments);
    const auto terminal = station.readLine(steadyNow() + kStationStart);
    if (!terminal)
        throw Failure(kExitPort, "'" + program + "' did not name its pseudo-terminal; try it by itself");
    link.port = *terminal;
    if (!options.quiet)
        std::fprintf(stderr, "plcstation serves station %d on %s\n", link.station, terminal->c_str());
    return Demo(options, link).run();
}

} // namespace

void addDemoCommand(CLI::App *program, const Choose &choose)
{
    auto options = std::make_shared<DemoOptions>();
    CLI::App *command =
        program->add_subcommand("demo", "show everything against a simulated station of its own");
    addLineOptions(command, options.get());
    addOutputOptions(command, options.get());
    command
        ->add_option("--station-program", options->station,
                     "plcstation, if it is not the one beside this program")
        ->type_name("PATH");
    command->footer(kExample + commonHelp());
    command->callback([options, choose] { choose([options] { return runDemo(*options); }); });
}

} // namespace plc::host
