#include <QJsonDocument>
#include <QJsonObject>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "host/commands/command_options.h"
#include "host/commands/commands.h"
#include "host/commands/console.h"
#include "host/commands/input_lines.h"
#include "host/commands/interrupt.h"
#include "host/commands/output.h"
#include "host/commands/paged_table.h"
#include "host/commands/result_text.h"
#include "host/commands/run_report.h"
#include "host/driver_search.h"
#include "host/option_words.h"
#include "host/project/project_file.h"
#include "host/project/project_input.h"
#include "host/project/project_monitor.h"
#include "runtime/master/driver_library.h"
#include "runtime/panel/session.h"

namespace plc::host {

namespace {

/// How long Ctrl-C may go unnoticed. Each wake-up takes time from the thread of the line.
constexpr Time kSlice = std::chrono::milliseconds(200);
/// The same while something is waited for.
constexpr Time kPromptSlice = std::chrono::milliseconds(20);
constexpr Time kTableInterval = std::chrono::milliseconds(250);
constexpr Time kLineInterval = std::chrono::seconds(1); ///< until it is told what is waited for

/// A write on its way.
struct OpenWrite
{
    Ticket ticket;
    int variable;
    Values values;
};

/// One run of the command.
class Run
{
public:
    Run(const RunOptions &options, Project project)
        : options_(options), project_(std::move(project)), driver_(driverToLoad(options.driver)),
          session_(driver_, project_.link, systemSurroundings(options.verbose, options.realtime)),
          monitor_(project_), input_(project_.variables), lines_(STDIN_FILENO),
          onTerminal_(isatty(STDOUT_FILENO) != 0 && options.outputFormat() == Format::Text && !options.quiet),
          printer_(options.outputFormat(), options.numberStyle(), haveMeanings(project_.variables)),
          table_(options.numberStyle())
    {
        session_.registerVariables(project_.variables, project_.rows);
        session_.setLevelStations(levelStations(project_.variables, project_.rows, project_.link));
        session_.setListener([this](const News &news) {
            monitor_.note(news);
            if (news.station)
                tell("plchost: " + describe(*news.station), stderr);
            if (news.port && project_.link.reopen)
                tell("plchost: " + describe(*news.port, project_.link.port), stderr);
        });
    }

    ExitCode run()
    {
        session_.start(traceOnStandardError(options_.verbose));
        const Time start = steadyNow();
        const Time end = options_.forSeconds > 0 ? start + fromSeconds(options_.forSeconds) : Time::max();
        const Time interval = onTerminal_ ? kTableInterval : fromSeconds(options_.everySeconds);
        Time nextShow = start + interval;
        while (!isOver(end)) {
            const Time next = interval > Time::zero() ? std::min(end, nextShow) : end;
            for (const InputLine &line : lines_.take(std::clamp(next - steadyNow(), Time::zero(), slice())))
                takeLine(line);
            pump();
            if (interval == Time::zero() || steadyNow() < nextShow)
                continue;
            show(steadyNow() - start);
            nextShow = std::max(nextShow + interval, steadyNow());
        }
        finishWrites();
        session_.stop();
        endedAt_ = steadyNow();
        reportUnfinished();
        show(endedAt_ - start);
        return finish();
    }

private:
    bool isOver(Time end) const
    {
        const bool isPortGone = !project_.link.reopen && !session_.portLost().empty();
        if (quit_ || isInterrupted() || steadyNow() >= end || isPortGone)
            return true;
        return options_.scans > 0 && monitor_.scans().scans() >= static_cast<std::uint64_t>(options_.scans);
    }

    Time slice() const
    {
        return options_.verbose || options_.scans > 0 || !writes_.empty() ? kPromptSlice : kSlice;
    }

    /// Waits for the writes that are open, and says so where that may take long.
    void finishWrites()
    {
        const Time told = steadyNow() + kLineInterval;
        for (bool tell = true; !writes_.empty() && !isInterrupted() && session_.portLost().empty();) {
            session_.pump(steadyNow() + kPromptSlice);
            reportEnded();
            if (!tell || writes_.empty() || steadyNow() < told)
                continue;
            tell = false;
            this->tell("plchost: " + std::to_string(writes_.size()) +
                           " writes have not ended yet; Ctrl-C gives them up",
                       stderr);
        }
    }

    /// Of the writes that the end of the run has ended, says whether they were sent.
    void reportUnfinished()
    {
        std::size_t unsent = 0;
        for (OpenWrite &write : std::exchange(writes_, {})) {
            const OrderEnd end = session_.result(write.ticket).end;
            unsent += end == OrderEnd::Closed ? 1 : 0;
            if (end == OrderEnd::Closed)
                report(write, OrderEnd::Open, "not sent: the run was ended before its turn");
            else if (end == OrderEnd::Unconfirmed)
                report(write, OrderEnd::Open,
                       "the run was ended before the write had; it may have been sent");
            else
                writes_.push_back(std::move(write));
        }
        reportEnded();
        if (unsent > 0)
            tell("plchost: " + std::to_string(unsent) + (unsent == 1 ? " write was" : " writes were") +
                     " not sent",
                 stderr);
    }

    void pump()
    {
        session_.pump(steadyNow());
        reportEnded();
    }

    void takeLine(const InputLine &line)
    {
        if (isatty(STDIN_FILENO) != 0)
            table_.lineTyped();
        ++linesTaken_;
        try {
            if (line.isTooLong)
                throw Failure(FailureKind::Usage, "it is longer than " +
                                                      std::to_string(InputLines::kLongest) +
                                                      " bytes and is passed over up to its end");
            obey(input_.parse(line.text));
        } catch (const Failure &failure) {
            ends_.add(OrderEnd::Unusable);
            tell("plchost: input line " + std::to_string(linesTaken_) + ": " + inOptions(failure.what()),
                 stderr);
        }
    }

    void obey(const ProjectOrder &order)
    {
        switch (order.kind) {
        case ProjectOrder::Kind::Write:
            write(order);
            break;
        case ProjectOrder::Kind::Station:
            switchStation(order.station, order.enabled);
            break;
        case ProjectOrder::Kind::NextPage:
            table_.turn();
            break;
        case ProjectOrder::Kind::Page:
            table_.turnTo(order.page);
            break;
        case ProjectOrder::Kind::Quit:
            quit_ = true;
            break;
        case ProjectOrder::Kind::Nothing:
            break;
        }
    }

    void write(const ProjectOrder &order)
    {
        const Variable &variable = variableAt(order.variable);
        writes_.push_back({session_.write(variable, order.values), order.variable, order.values});
    }

    void switchStation(int station, bool enabled)
    {
        // The session first digests what became of the station before. Told earlier, the monitor would take
        // that for news of a later time.
        session_.setStationEnabled(station, enabled);
        monitor_.setStationEnabled(station, enabled);
        reportEnded();
    }

    /// Reports the writes that have ended and forgets them, so that each is reported once.
    void reportEnded()
    {
        std::vector<OpenWrite> open;
        for (OpenWrite &write : writes_) {
            const OrderResult result = session_.result(write.ticket);
            if (result.end == OrderEnd::Open) {
                open.push_back(std::move(write));
                continue;
            }
            session_.forget(write.ticket);
            report(
                write, result.end,
                result.end == OrderEnd::Good
                    ? ""
                    : describeResult(result, session_.stationOf(variableAt(write.variable)), project_.link));
        }
        writes_ = std::move(open);
    }

    void report(const OpenWrite &write, OrderEnd end, const std::string &reason)
    {
        const Variable &variable = variableAt(write.variable);
        const bool done = end == OrderEnd::Good;
        ends_.add(end);
        if (options_.outputFormat() == Format::NdJson) {
            // Qt's numbers have 53 bits, these up to 64.
            const std::string line =
                (done ? "{\"result\":\"done\"" : "{\"reason\":" + inJson(reason) + ",\"result\":\"failed\"") +
                ",\"values\":" + valuesInJson(variable, write.values, NumberStyle::Unsigned) +
                ",\"write\":" + inJson(variable.label) + "}\n";
            std::fputs(line.c_str(), stdout);
            std::fflush(stdout);
            return;
        }
        tell("write " + variable.label + " = " +
                 formatValues(variable, write.values, options_.numberStyle(), ",") +
                 (done ? ": done" : ": failed: " + reason),
             options_.outputFormat() == Format::Csv ? stderr : stdout);
    }

    /// One line for people; under the table where there is one.
    void tell(const std::string &text, std::FILE *stream)
    {
        if (onTerminal_) {
            table_.report(text);
            return;
        }
        std::fprintf(stream, "%s\n", text.c_str());
        std::fflush(stream);
    }

    static void printJson(const QJsonObject &object)
    {
        std::printf("%s\n", QJsonDocument(object).toJson(QJsonDocument::Compact).constData());
        std::fflush(stdout);
    }

    Row rowAt(int number) const
    {
        const Variable &variable = variableAt(number);
        return rowOf(variable, session_.stationOf(variable), statusOf(number), session_.values(variable));
    }

    void show(Time moment)
    {
        if (onTerminal_) {
            const auto [from, end] = table_.visible(count());
            std::vector<Row> rows;
            for (int i = from; i < end; ++i)
                rows.push_back(rowAt(i));
            table_.draw(rows);
            if (endedAt_ != Time::zero())
                std::fputs("\r\x1b[K", stdout); // a line that was begun
            return;
        }
        for (int i = 0; i < count(); ++i) {
            Row row = rowAt(i);
            row.moment = moment;
            printer_.print(row);
        }
    }

    RunReport runReport(const Statistics &counted) const
    {
        return {monitor_.scans(), counted, session_.runningFor(), project_.link.baud, options_.verbose};
    }

    ExitCode finish()
    {
        const Statistics counted = session_.statistics();
        if (options_.outputFormat() == Format::NdJson)
            printJson({{"statistics", jsonOf(runReport(counted))}});
        if (!options_.quiet)
            std::fputs((describeStatistics(counted, session_.runningFor(), options_.verbose) +
                        describeScans(runReport(counted)))
                           .c_str(),
                       stderr);
        if (!session_.portLost().empty())
            throw Failure(FailureKind::Port, session_.portLost());
        for (int i = 0; i < count(); ++i) {
            const WatchStatus status = statusOf(i);
            if (status.state == VariableState::SwitchedOff)
                continue;
            ends_.add(status.last.end);
            tellFailure(variableAt(i), status);
        }
        return ends_.exitCode();
    }

    /// What is wrong with a variable, and what to try.
    void tellFailure(const Variable &variable, const WatchStatus &status) const
    {
        if (status.last.end != OrderEnd::Good)
            std::fprintf(stderr, "plchost: %s: %s\n", variable.label.c_str(),
                         describeResult(status.last, session_.stationOf(variable), project_.link).c_str());
    }

    WatchStatus statusOf(int number) const
    {
        return monitor_.status(number, endedAt_ != Time::zero() ? endedAt_ : steadyNow());
    }
    int count() const { return static_cast<int>(project_.variables.size()); }
    const Variable &variableAt(int number) const
    {
        return project_.variables[static_cast<std::size_t>(number)];
    }

    const RunOptions &options_;
    Project project_;
    DriverLibrary driver_;
    Session session_;
    ProjectMonitor monitor_;
    ProjectInput input_;
    InputLines lines_;
    bool onTerminal_;
    RowPrinter printer_;
    PagedTable table_;
    std::vector<OpenWrite> writes_;
    EndTally ends_; ///< of writes and of lines that were not understood
    std::uint64_t linesTaken_ = 0;
    bool quit_ = false;
    Time endedAt_{};
};

} // namespace

ExitCode runProject(const RunOptions &options)
{
    Project project = loadProject(options.file);
    if (!options.port.empty())
        project.link.port = options.port;
    if (project.link.port.empty())
        throw Failure(FailureKind::Usage,
                      options.file + " names no port; give one with -p PATH, or as 'port' of its 'link'");
    project.link.driverPath = options.driver;
    project.link.reopen = !options.noReopen;
    for (const std::string &warning : projectWarnings(project))
        std::fprintf(stderr, "plchost: %s: %s\n", options.file.c_str(), warning.c_str());
    return Run(options, std::move(project)).run();
}

} // namespace plc::host
