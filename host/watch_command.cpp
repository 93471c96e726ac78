#include <CLI/CLI.hpp>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <limits>
#include <memory>
#include <thread>

#include "command_options.h"
#include "commands.h"
#include "driver_library.h"
#include "interrupt.h"
#include "session.h"

namespace plc::host {

namespace {

constexpr const char *kExample =
    "Example: live values of two stations, ten seconds long, one scan each half second:\n"
    "  plchost watch -p /dev/ttyUSB0 -l 500 --for 10 4x:100:10@1 0x:16:8@2\n\n"
    "On a terminal a table is drawn and kept up to date. Otherwise, and with -q, a line for each variable is "
    "printed\n"
    "every second, or as often as -l says where that is longer, and once more at the end; with -1 only at "
    "the "
    "end.\n"
    "The statistics at the end go to standard error. The exit code tells how the last reading of each "
    "variable "
    "ended.\n\n";

constexpr Time kSlice = std::chrono::milliseconds(20);
constexpr Time kTableInterval = std::chrono::milliseconds(250);
constexpr Time kLineInterval = std::chrono::seconds(1);
/// Lines that are no older than this need not be repeated at the end.
constexpr Time kFresh = std::chrono::milliseconds(50);

struct WatchOptions : CommandOptions
{
    double forSeconds = 0;
    bool once = false;
};

OperationEnd endOf(const WatchStatus &status)
{
    return status.last.end;
}

/// One run of the command.
class Watch
{
public:
    explicit Watch(const WatchOptions &options)
        : options_(options), link_(options.link()), variables_(options.variableList(link_.oneBased())),
          driver_(link_.driverPath), session_(driver_, link_),
          onTerminal_(isatty(STDOUT_FILENO) != 0 && options.outputFormat() == Format::Text &&
                      !options.quiet && !options.once),
          printer_(options.outputFormat(), options.numberStyle()), table_(options.numberStyle())
    {
        for (const Variable &variable : variables_)
            session_.watch(variable);
        session_.setListener([this](const News &news) {
            if (news.station && !onTerminal_)
                std::fprintf(stderr, "plchost: %s\n", describe(*news.station).c_str());
        });
    }

    ExitCode run()
    {
        session_.start(options_.verbose);
        const Time start = steadyNow();
        const Time end = options_.forSeconds > 0 ? start + fromSeconds(options_.forSeconds) : Time::max();
        const Time interval = onTerminal_ ? kTableInterval : std::max(link_.pollInterval, kLineInterval);
        Time shownAt{};
        Time nextShow = start + (onTerminal_ ? Time::zero() : interval);
        while (!isOver(end)) {
            // News come hundreds of times a second; looking at them in bundles leaves the machine to the
            // line.
            std::this_thread::sleep_for(kSlice);
            session_.pump(steadyNow());
            if (steadyNow() < nextShow || options_.once)
                continue;
            shownAt = steadyNow();
            show(shownAt - start);
            nextShow += interval;
        }
        session_.stop();
        if (onTerminal_ || steadyNow() - shownAt >= kFresh)
            show(steadyNow() - start);
        return finish();
    }

private:
    bool isOver(Time end) const
    {
        if (isInterrupted() || steadyNow() >= end || !session_.portLost().empty())
            return true;
        if (!options_.once)
            return false;
        for (int i = 0; i < count(); ++i) {
            const WatchStatus status = session_.status(i);
            if (status.scans == 0 && status.state != VariableState::Offline)
                return false;
        }
        return true;
    }

    void show(Time moment)
    {
        std::vector<Row> rows;
        for (int i = 0; i < count(); ++i) {
            const Variable &variable = variables_[static_cast<std::size_t>(i)];
            rows.push_back(
                rowOf(variable, session_.stationOf(variable), session_.status(i), session_.values(variable)));
        }
        if (onTerminal_) {
            table_.draw(rows);
            return;
        }
        for (Row &row : rows) {
            row.moment = moment;
            printer_.print(row);
        }
    }

    ExitCode finish() const
    {
        if (!options_.quiet)
            std::fputs(describeStatistics(session_.statistics(), session_.runningFor()).c_str(), stderr);
        if (!session_.portLost().empty())
            throw Failure(kExitPort, session_.portLost());
        std::vector<OperationEnd> ends;
        for (int i = 0; i < count(); ++i) {
            const WatchStatus status = session_.status(i);
            ends.push_back(endOf(status));
            if (ends.back() != OperationEnd::Good)
                std::fprintf(
                    stderr, "plchost: %s: %s\n", variables_[static_cast<std::size_t>(i)].text.c_str(),
                    describeResult(status.last, session_.stationOf(variables_[static_cast<std::size_t>(i)]),
                                   link_)
                        .c_str());
        }
        return exitCodeOf(ends);
    }

    int count() const { return static_cast<int>(variables_.size()); }

    const WatchOptions &options_;
    LinkSettings link_;
    std::vector<Variable> variables_;
    DriverLibrary driver_;
    Session session_;
    bool onTerminal_;
    RowPrinter printer_;
    LiveTable table_;
};

} // namespace

void addWatchCommand(CLI::App *program, const Choose &choose)
{
    auto options = std::make_shared<WatchOptions>();
    CLI::App *command = program->add_subcommand("watch", "read variables over and over and show them");
    addPortOption(command, options.get());
    addVariableOptions(command, options.get());
    command
        ->add_option("-l,--interval", options->intervalMs,
                     "from the start of a scan to the start of the next (ms); 0 = without pause")
        ->check(CLI::Range(0, 3600000))
        ->type_name("MS")
        ->capture_default_str();
    command->add_option("--for", options->forSeconds, "end after that many seconds")
        ->check(CLI::Range(0.1, 1e6))
        ->type_name("S");
    command->add_flag("-1,--once", options->once, "end when each variable has been read once");
    addLineOptions(command, options.get());
    addOfflineOptions(command, options.get());
    addOutputOptions(command, options.get());
    command->footer(kExample + commonHelp());
    command->callback([options, choose] { choose([options] { return Watch(*options).run(); }); });
}

} // namespace plc::host
