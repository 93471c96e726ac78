#include <algorithm>
#include <cstdio>
#include <limits>
#include <memory>

#include "host/commands/command_options.h"
#include "host/commands/commands.h"
#include "host/commands/interrupt.h"
#include "host/commands/live_screen.h"
#include "host/commands/next_tick.h"
#include "host/commands/panel_line.h"
#include "host/commands/result_text.h"
#include "host/commands/run_log.h"
#include "host/commands/run_report.h"
#include "host/commands/standard_streams.h"
#include "runtime/line/failure.h"

namespace plc::host {

namespace {

/// How long Ctrl-C may go unnoticed. Each wake-up takes time from the thread of the line.
constexpr Time kSlice = std::chrono::milliseconds(200);
/// The same where something is to be shown as soon as it is there.
constexpr Time kPromptSlice = std::chrono::milliseconds(20);
constexpr Time kLineInterval = std::chrono::seconds(1);
/// Lines that are no older than this need not be repeated at the end.
constexpr Time kFresh = std::chrono::milliseconds(50);

/// One run of the command.
class Watch
{
public:
    explicit Watch(const WatchOptions &options)
        : options_(options), link_(options.link()), variables_(options.variableList(link_.oneBased())),
          hasScreen_(!options.once && LiveScreen::isWanted(options, options.plain)), monitor_(scanned()),
          log_(options.logFile, std::max(link_.pollInterval, kLineInterval), options.numberStyle()),
          line_(link_, manner()),
          printer_(options.outputFormat(), options.numberStyle(), haveMeanings(variables_), link_.oneBased())
    {
        for (const Variable &variable : variables_)
            ids_.push_back(line_.add(variable));
        line_.show(ids_);
        if (hasScreen_)
            screen_ = std::make_unique<LiveScreen>(LiveScreen::Content{"plchost watch", link_, variables_,
                                                                       ids_, options_.numberStyle(), false,
                                                                       options_.verbose},
                                                   line_, monitor_);
    }

    /// What the end of the line tells, the screen still hears.
    ~Watch() { line_.close(); }
    Watch(const Watch &) = delete;
    Watch &operator=(const Watch &) = delete;

    ExitCode run()
    {
        line_.open();
        const Time start = steadyNow();
        const Time end = options_.forSeconds > 0 ? start + fromSeconds(options_.forSeconds) : Time::max();
        if (hasScreen_)
            runScreen(start, end);
        else
            runLines(start, end);
        log_.addRows(steadyNow() - start, [this] { return rows(); });
        // Behind close() nobody asks any more, and no station is offline.
        std::vector<VariableState> states;
        for (int i = 0; i < count(); ++i)
            states.push_back(stateAt(i));
        line_.close();
        return finish(states, steadyNow() - start);
    }

private:
    void runScreen(Time start, Time end)
    {
        screen_->begin();
        while (!isOver(end) && !screen_->isOver()) {
            screen_->turn(std::min(steadyNow() + kSlice, end));
            line_.poll(steadyNow());
            attendLog(steadyNow() - start);
        }
        screen_->end();
    }

    void runLines(Time start, Time end)
    {
        const Time interval = std::max(link_.pollInterval, kLineInterval);
        Time shownAt{};
        Time nextShow = start + interval;
        const Time slice = options_.once || options_.verbose ? kPromptSlice : kSlice;
        while (!isOver(end)) {
            const Time until = std::min(steadyNow() + slice, end);
            line_.poll(options_.once ? until : std::min(until, nextShow));
            attendLog(steadyNow() - start);
            if (steadyNow() < nextShow || options_.once)
                continue;
            shownAt = steadyNow();
            show(shownAt - start);
            nextShow = nextTick(nextShow, interval, steadyNow());
        }
        if (steadyNow() - shownAt >= kFresh)
            show(steadyNow() - start);
    }

    /// What scans are counted over: all variables, with their stations.
    Project scanned() const
    {
        Project project;
        project.link = link_;
        for (Variable variable : variables_) {
            variable.station = variable.station.value_or(link_.station);
            project.variables.push_back(variable);
        }
        return project;
    }

    LineManner manner()
    {
        LineManner manner;
        manner.verbose = options_.verbose;
        manner.captureFile = options_.captureFile;
        manner.realtime = options_.realtime;
        manner.readOnly = options_.readOnly;
        manner.separateReads = true;
        if (!options_.logFile.empty())
            manner.onRecord = [this](const std::string &record) { log_.add(record); };
        manner.onStation = [this](const StationChange &change) { tell("plchost: " + describe(change)); };
        if (link_.reopen)
            manner.onPort = [this](const PortChange &change) {
                tell("plchost: " + describe(change, link_.port));
            };
        if (!hasScreen_)
            return manner;
        manner.newsListener = [this](const News &news) {
            monitor_.note(news);
            screen_->note(news);
        };
        manner.onLine = [this](const std::string &line) { tell(line); };
        manner.onTrace = [this](const std::string &line) { screen_->trace(line); };
        return manner;
    }

    void tell(const std::string &line)
    {
        if (screen_)
            screen_->tell(line);
        else
            std::fprintf(stderr, "%s\n", line.c_str());
    }

    bool isOver(Time end) const
    {
        const bool isPortGone = !link_.reopen && !line_.portLost().empty();
        if (isInterrupted() || isOutputOver() || steadyNow() >= end || isPortGone)
            return true;
        if (!options_.once)
            return false;
        for (int i = 0; i < count(); ++i) {
            const VariableState state = stateAt(i);
            if (state.readings == 0 && state.quality != Quality::Offline)
                return false;
        }
        return true;
    }

    void attendLog(Time moment)
    {
        const std::string complaint = log_.attend(moment, [this] { return rows(); });
        if (!complaint.empty())
            tell("plchost: " + complaint);
    }

    std::vector<Row> rows() const
    {
        std::vector<Row> rows;
        for (int i = 0; i < count(); ++i)
            rows.push_back(
                line_.rowOf(ids_[static_cast<std::size_t>(i)], variableAt(i), stationAt(i), stateAt(i)));
        return rows;
    }

    void show(Time moment)
    {
        const WallTime time = std::chrono::system_clock::now();
        std::vector<Row> shown = rows();
        for (Row &row : shown) {
            row.moment = moment;
            row.time = time;
            printer_.print(row);
        }
    }

    ExitCode finish(const std::vector<VariableState> &states, Time moment)
    {
        const std::string record =
            statisticsRecord(line_.statistics(), nullptr, moment, std::chrono::system_clock::now());
        log_.add(record);
        if (options_.outputFormat() == Format::NdJson)
            print(record + "\n");
        if (!options_.quiet && !isOutputOver())
            std::fputs(
                fitted(describeStatistics(line_.statistics(), options_.verbose), columnsOfErrors()).c_str(),
                stderr);
        if (!line_.portLost().empty())
            throw Failure(FailureKind::Port, line_.portLost());
        std::vector<OrderEnd> ends;
        for (int i = 0; i < count(); ++i) {
            const VariableState &state = states[static_cast<std::size_t>(i)];
            // Of what the end has cut short, who has gone away wants to know nothing.
            if (state.lastRead == OrderEnd::Open && isOutputOver())
                continue;
            ends.push_back(state.lastRead);
            if (state.lastRead != OrderEnd::Good)
                std::fprintf(stderr, "plchost: %s: %s\n", variableAt(i).text.c_str(),
                             describe(state, stationAt(i)).c_str());
        }
        return exitCodeOf(ends);
    }

    int count() const { return static_cast<int>(variables_.size()); }
    const Variable &variableAt(int i) const { return variables_[static_cast<std::size_t>(i)]; }
    int stationAt(int i) const { return variableAt(i).station.value_or(link_.station); }
    VariableState stateAt(int i) const { return line_.state(ids_[static_cast<std::size_t>(i)]); }

    const WatchOptions &options_;
    LinkSettings link_;
    std::vector<Variable> variables_;
    std::vector<VariableId> ids_;
    bool hasScreen_;
    ScanMonitor monitor_; ///< of a watch with a screen
    RunLog log_;
    PanelLine line_;
    RowPrinter printer_;
    std::unique_ptr<LiveScreen> screen_;
};

} // namespace

ExitCode watchVariables(const WatchOptions &options)
{
    return Watch(options).run();
}

} // namespace plc::host
