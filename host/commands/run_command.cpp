#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <utility>

#include "host/commands/audit.h"
#include "host/commands/command_options.h"
#include "host/commands/commands.h"
#include "host/commands/input_lines.h"
#include "host/commands/interrupt.h"
#include "host/commands/live_screen.h"
#include "host/commands/next_tick.h"
#include "host/commands/output.h"
#include "host/commands/panel_line.h"
#include "host/commands/result_text.h"
#include "host/commands/run_log.h"
#include "host/commands/run_report.h"
#include "host/commands/standard_streams.h"
#include "host/commands/typed_values.h"
#include "host/option_words.h"
#include "host/project/project_file.h"
#include "host/project/project_input.h"
#include "host/project/scan_monitor.h"
#include "runtime/line/failure.h"
#include "runtime/line/terminal_system.h"

namespace plc::host {

namespace {

/// How long Ctrl-C may go unnoticed. Each wake-up takes time from the thread of the line.
constexpr Time kSlice = std::chrono::milliseconds(200);
/// The same while something is waited for.
constexpr Time kPromptSlice = std::chrono::milliseconds(20);
constexpr Time kLineInterval = std::chrono::seconds(1); ///< until it is told what is waited for

/// A write on its way.
struct OpenWrite
{
    OrderId order;
    int variable;
    Values values;
    std::string typed;
    std::uint64_t audited; ///< its number there
};

/// One run of the command.
class Run
{
public:
    Run(const RunOptions &options, Project project)
        : options_(options), project_(std::move(project)),
          hasScreen_(LiveScreen::isWanted(options, options.plain)), monitor_(project_),
          log_(options.logFile, options.everySeconds > 0 ? fromSeconds(options.everySeconds) : kLineInterval,
               options.numberStyle()),
          audit_(options.auditFile, project_.link.port), line_(project_.link, manner()),
          input_(project_.variables), lines_(STDIN_FILENO),
          printer_(options.outputFormat(), options.numberStyle(), haveMeanings(project_.variables),
                   project_.link.oneBased())
    {
        for (const Variable &variable : project_.variables)
            ids_.push_back(line_.add(variable));
        line_.show(ids_);
        if (hasScreen_)
            screen_ = std::make_unique<LiveScreen>(
                LiveScreen::Content{"plchost run", project_.link, project_.variables, ids_,
                                    options_.numberStyle(), true, options_.verbose},
                line_, monitor_);
    }

    /// What the end of the line tells, the screen still hears.
    ~Run() { line_.close(); }
    Run(const Run &) = delete;
    Run &operator=(const Run &) = delete;

    ExitCode run()
    {
        line_.open();
        hasRate_ = !runtime::isPseudoTerminal(project_.link.port);
        const Time start = steadyNow();
        start_ = start;
        const Time end = options_.forSeconds > 0 ? start + fromSeconds(options_.forSeconds) : Time::max();
        if (hasScreen_)
            runScreen(start, end);
        else
            runLines(start, end);
        finishWrites();
        if (hasScreen_)
            screen_->end();
        // Behind close() nobody asks any more, and no station is offline or switched off.
        for (int i = 0; i < count(); ++i)
            lastStates_.push_back(stateOf(i));
        line_.close();
        isOver_ = true;
        const Time endedAt = steadyNow();
        reportUnfinished();
        log_.addRows(endedAt - start, [this] { return rows(); });
        if (!hasScreen_)
            show(endedAt - start);
        return finish(endedAt - start);
    }

private:
    void runScreen(Time start, Time end)
    {
        screen_->begin();
        while (!isOver(end) && !screen_->isOver()) {
            for (const std::string &order : screen_->turn(std::min(steadyNow() + slice(), end)))
                takeLine({order, false});
            pump();
            attendLog(steadyNow() - start);
        }
    }

    void runLines(Time start, Time end)
    {
        const Time interval = fromSeconds(options_.everySeconds);
        Time nextShow = start + interval;
        while (!isOver(end)) {
            const Time next = interval > Time::zero() ? std::min(end, nextShow) : end;
            for (const InputLine &line : lines_.take(std::clamp(next - steadyNow(), Time::zero(), slice())))
                takeLine(line);
            pump();
            attendLog(steadyNow() - start);
            if (interval == Time::zero() || steadyNow() < nextShow)
                continue;
            show(steadyNow() - start);
            nextShow = nextTick(nextShow, interval, steadyNow());
        }
    }

    LineManner manner()
    {
        LineManner manner;
        manner.verbose = options_.verbose;
        manner.captureFile = options_.captureFile;
        manner.realtime = options_.realtime;
        manner.readOnly = options_.readOnly;
        manner.rows = project_.rows;
        if (!options_.logFile.empty())
            manner.onRecord = [this](const std::string &record) { log_.add(record); };
        manner.newsListener = [this](const News &news) {
            monitor_.note(news);
            if (screen_)
                screen_->note(news);
        };
        manner.onStation = [this](const StationChange &change) {
            // What the user has switched needs no telling, and has not lasted.
            if (change.state == plcruntime::StationState::Offline || change.lastedMs > 0)
                tell("plchost: " + describe(change), stderr);
        };
        if (project_.link.reopen)
            manner.onPort = [this](const PortChange &change) {
                tell("plchost: " + describe(change, project_.link.port), stderr);
            };
        if (!hasScreen_)
            return manner;
        manner.onLine = [this](const std::string &line) { tell(line, stderr); };
        manner.onTrace = [this](const std::string &line) { screen_->trace(line); };
        return manner;
    }

    bool isOver(Time end) const
    {
        const bool isPortGone = !project_.link.reopen && !line_.portLost().empty();
        if (quit_ || isInterrupted() || isOutputOver() || steadyNow() >= end || isPortGone)
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
        for (bool tell = true; !writes_.empty() && !isInterrupted() && line_.portLost().empty();) {
            line_.poll(steadyNow() + kPromptSlice);
            reportEnded();
            if (hasScreen_)
                screen_->turn(steadyNow());
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
            const OrderResult result = line_.result(write.order);
            unsent += result.end == OrderEnd::Closed ? 1 : 0;
            if (result.end == OrderEnd::Closed)
                report(write, result, "not sent: the run was ended before its turn");
            else if (result.end == OrderEnd::Unconfirmed)
                report(write, result, "the run was ended before the write had; it may have been sent");
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
        line_.poll(steadyNow());
        reportEnded();
    }

    void takeLine(const InputLine &line)
    {
        ++linesTaken_;
        try {
            if (line.isTooLong)
                throw Failure(FailureKind::Usage, "it is longer than " +
                                                      std::to_string(InputLines::kLongest) +
                                                      " bytes and is passed over up to its end");
            obey(input_.parse(line.text));
        } catch (const Failure &failure) {
            ++linesRefused_;
            tell(std::string("plchost: ") + (hasScreen_ ? "order " : "input line ") +
                     std::to_string(linesTaken_) + ": " + inOptions(failure.what()),
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
            showPage(0);
            break;
        case ProjectOrder::Kind::Page:
            showPage(order.page);
            break;
        case ProjectOrder::Kind::Quit:
            quit_ = true;
            break;
        case ProjectOrder::Kind::Nothing:
            break;
        }
    }

    void showPage(int page)
    {
        if (screen_)
            screen_->showPage(page);
    }

    void write(const ProjectOrder &order)
    {
        Row row = rowOfWrite(order.variable, order.values, order.typed);
        const std::uint64_t number = audit_.order(row);
        try {
            const OrderId id = line_.write(idOf(order.variable), order.values);
            writes_.push_back({id, order.variable, order.values, order.typed, number});
            showOpen(order.variable);
        } catch (const Failure &failure) {
            row.state = stateName(OrderEnd::NotTaken);
            row.reason = inOptions(failure.what());
            row.time = std::chrono::system_clock::now();
            audit_.end(number, row);
            throw;
        }
    }

    void switchStation(int station, bool enabled)
    {
        // What the line has to tell first is of the time before.
        line_.poll(steadyNow());
        line_.setStationEnabled(station, enabled);
        monitor_.setStationEnabled(station, enabled);
        reportEnded();
        bool isUsed = false;
        for (int i = 0; i < count(); ++i)
            isUsed = isUsed || stationAt(i) == station;
        tell("plchost: station " + std::to_string(station) + " is switched " + (enabled ? "on" : "off") +
                 (isUsed ? "" : "; no variable of the project is at that station"),
             stderr);
    }

    /// Reports the writes that have ended and forgets them, so that each is reported once.
    void reportEnded()
    {
        std::vector<int> ended;
        std::vector<OpenWrite> open;
        for (OpenWrite &write : writes_) {
            const OrderResult result = line_.result(write.order);
            if (result.end == OrderEnd::Open) {
                open.push_back(std::move(write));
                continue;
            }
            ended.push_back(write.variable);
            report(write, result,
                   result.end == OrderEnd::Good ? "" : describe(result, stationAt(write.variable)));
        }
        writes_ = std::move(open);
        for (const int variable : ended)
            showOpen(variable);
    }

    /// On the screen, what the newest open order writes to the variable.
    void showOpen(int variable)
    {
        if (!screen_)
            return;
        const auto newest =
            std::find_if(writes_.rbegin(), writes_.rend(),
                         [variable](const OpenWrite &write) { return write.variable == variable; });
        screen_->showWriting(variable, newest == writes_.rend() ? "" : newest->typed);
    }

    Row rowOfWrite(int variable, const Values &values, const std::string &typed) const
    {
        Row row;
        row.variable = variableAt(variable);
        row.station = stationAt(variable);
        row.values = values;
        row.typed = typedValues(typed, row.variable, values);
        row.isWrite = true;
        return row;
    }

    void report(const OpenWrite &write, const OrderResult &result, const std::string &reason)
    {
        const Variable &variable = variableAt(write.variable);
        const bool done = result.end == OrderEnd::Good;
        // Nobody confirms a broadcast.
        const bool isBroadcast = stationAt(write.variable) == 0;
        ends_.add(result.end);
        Row row = rowOfWrite(write.variable, write.values, write.typed);
        row.isDone = done;
        row.state = !done ? stateName(result.end) : isBroadcast ? "sent" : "written";
        row.exceptionCode = result.exceptionCode;
        row.reason = reason;
        row.moment = steadyNow() - start_;
        row.time = line_.endOf(result);
        audit_.end(write.audited, row);
        const std::string record = recordOf(row, options_.numberStyle());
        log_.add(record);
        if (options_.outputFormat() == Format::NdJson) {
            print(record + "\n");
            return;
        }
        const NumberStyle style = options_.numberStyle();
        const bool isAsTyped = style == NumberStyle::Unsigned && !row.typed.empty();
        tell("write " + variable.label + " = " +
                 (isAsTyped ? write.typed : formatValues(variable, write.values, style, ",")) +
                 (!done         ? ": failed: " + reason
                  : isBroadcast ? ": sent"
                                : ": done"),
             options_.outputFormat() == Format::Csv ? stderr : stdout);
    }

    /// One line for people; on the screen where there is one.
    void tell(const std::string &text, std::FILE *stream)
    {
        if (screen_ && stream == stdout)
            screen_->report(text);
        else if (screen_)
            screen_->tell(text);
        else if (stream == stdout)
            print(text + "\n");
        else
            std::fprintf(stream, "%s\n", text.c_str());
    }

    void attendLog(Time moment)
    {
        const std::string complaint = log_.attend(moment, [this] { return rows(); });
        if (!complaint.empty())
            tell("plchost: " + complaint, stderr);
    }

    std::vector<Row> rows() const
    {
        std::vector<Row> rows;
        for (int i = 0; i < count(); ++i)
            rows.push_back(rowAt(i));
        return rows;
    }

    Row rowAt(int number) const
    {
        return line_.rowOf(idOf(number), variableAt(number), stationAt(number), stateOf(number));
    }

    /// At the end of what was never read one line tells, in place of a row each.
    void show(Time moment)
    {
        const WallTime time = std::chrono::system_clock::now();
        for (int i = 0; i < count(); ++i) {
            if (isOver_ && stateOf(i).quality == Quality::NeverRead)
                continue;
            Row row = rowAt(i);
            row.moment = moment;
            row.time = time;
            printer_.print(row);
        }
    }

    RunReport runReport(const Statistics &counted) const
    {
        return {monitor_.scans(), counted, project_.link.baud, hasRate_};
    }

    ExitCode finish(Time moment)
    {
        const Statistics counted = line_.statistics();
        const RunReport report = runReport(counted);
        const std::string record =
            statisticsRecord(counted, &report, moment, std::chrono::system_clock::now());
        log_.add(record);
        if (options_.outputFormat() == Format::NdJson)
            print(record + "\n");
        if (!options_.quiet && !isOutputOver())
            std::fputs(fitted(describeStatistics(counted, options_.verbose) + describeScans(report),
                              columnsOfErrors())
                           .c_str(),
                       stderr);
        if (!line_.portLost().empty())
            throw Failure(FailureKind::Port, line_.portLost());
        int unread = 0;
        for (int i = 0; i < count(); ++i) {
            const VariableState state = stateOf(i);
            if (state.quality == Quality::SwitchedOff)
                continue;
            if (state.lastRead == OrderEnd::Open) {
                ++unread;
                continue;
            }
            ends_.add(state.lastRead);
            if (state.lastRead != OrderEnd::Good)
                std::fprintf(stderr, "plchost: %s: %s\n", variableAt(i).label.c_str(),
                             describe(state, stationAt(i)).c_str());
        }
        noteUnread(unread);
        return ends_.exitCodeWith(linesRefused_);
    }

    /// Nobody has answered for these yet. Who typed quit, or takes no more output, wanted
    /// no more of them.
    void noteUnread(int unread)
    {
        if (unread == 0)
            return;
        // Who has gone away wants to know nothing of what the end has cut short.
        if (!isOutputOver())
            std::fprintf(stderr, "plchost: the run was ended before %d of %d variables had been read\n",
                         unread, count());
        if (!quit_ && !isOutputOver())
            ends_.add(OrderEnd::Open);
    }

    VariableState stateOf(int number) const
    {
        return isOver_ ? lastStates_[static_cast<std::size_t>(number)] : line_.state(idOf(number));
    }
    int count() const { return static_cast<int>(project_.variables.size()); }
    const Variable &variableAt(int number) const
    {
        return project_.variables[static_cast<std::size_t>(number)];
    }
    VariableId idOf(int number) const { return ids_[static_cast<std::size_t>(number)]; }
    int stationAt(int number) const { return variableAt(number).station.value_or(project_.link.station); }

    const RunOptions &options_;
    Project project_;
    bool hasScreen_;
    ScanMonitor monitor_;
    RunLog log_;
    Audit audit_;
    PanelLine line_;
    std::vector<VariableId> ids_;
    std::vector<VariableState> lastStates_;
    ProjectInput input_;
    InputLines lines_;
    RowPrinter printer_;
    std::unique_ptr<LiveScreen> screen_;
    std::vector<OpenWrite> writes_;
    EndTally ends_; ///< of writes, and of the last readings
    Time start_{};
    std::uint64_t linesTaken_ = 0;
    std::uint64_t linesRefused_ = 0; ///< that were not understood
    bool hasRate_ = true;            ///< of the port
    bool quit_ = false;
    bool isOver_ = false; ///< the line is closed
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
    if (options.noEchoCheck)
        project.link.policies.echoCheck = false;
    for (const std::string &warning : projectWarnings(project))
        std::fprintf(stderr, "plchost: %s: %s\n", options.file.c_str(), warning.c_str());
    return Run(options, std::move(project)).run();
}

} // namespace plc::host
