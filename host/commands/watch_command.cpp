#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <limits>

#include "host/commands/command_options.h"
#include "host/commands/commands.h"
#include "host/commands/console.h"
#include "host/commands/interrupt.h"
#include "host/commands/result_text.h"
#include "host/driver_search.h"
#include "runtime/master/driver_library.h"
#include "runtime/panel/session.h"

namespace plc::host {

namespace {

/// How long Ctrl-C may go unnoticed. Each wake-up takes time from the thread of the line.
constexpr Time kSlice = std::chrono::milliseconds(200);
/// The same where something is to be shown as soon as it is there.
constexpr Time kPromptSlice = std::chrono::milliseconds(20);
constexpr Time kTableInterval = std::chrono::milliseconds(250);
constexpr Time kLineInterval = std::chrono::seconds(1);
/// Lines that are no older than this need not be repeated at the end.
constexpr Time kFresh = std::chrono::milliseconds(50);

OrderEnd endOf(const WatchStatus &status)
{
    return status.last.end;
}

/// One run of the command.
class Watch
{
public:
    explicit Watch(const WatchOptions &options)
        : options_(options), link_(options.link()), variables_(options.variableList(link_.oneBased())),
          driver_(driverToLoad(link_.driverPath)),
          session_(driver_, link_, systemSurroundings(options.verbose, options.realtime)),
          onTerminal_(isatty(STDOUT_FILENO) != 0 && options.outputFormat() == Format::Text &&
                      !options.quiet && !options.once),
          printer_(options.outputFormat(), options.numberStyle(), haveMeanings(variables_)),
          table_(options.numberStyle())
    {
        for (const Variable &variable : variables_)
            session_.watch(variable);
        session_.setListener([this](const News &news) {
            if (news.station && !onTerminal_)
                std::fprintf(stderr, "plchost: %s\n", describe(*news.station).c_str());
            if (news.port && link_.reopen && !onTerminal_)
                std::fprintf(stderr, "plchost: %s\n", describe(*news.port, link_.port).c_str());
        });
    }

    ExitCode run()
    {
        session_.start(traceOnStandardError(options_.verbose));
        const Time start = steadyNow();
        const Time end = options_.forSeconds > 0 ? start + fromSeconds(options_.forSeconds) : Time::max();
        const Time interval = onTerminal_ ? kTableInterval : std::max(link_.pollInterval, kLineInterval);
        Time shownAt{};
        Time nextShow = start + (onTerminal_ ? Time::zero() : interval);
        const Time slice = options_.once || options_.verbose ? kPromptSlice : kSlice;
        while (!isOver(end)) {
            const Time until = std::min(steadyNow() + slice, end);
            session_.pump(options_.once ? until : std::min(until, nextShow));
            if (steadyNow() < nextShow || options_.once)
                continue;
            shownAt = steadyNow();
            show(shownAt - start);
            nextShow = std::max(nextShow + interval, steadyNow());
        }
        session_.stop();
        if (onTerminal_ || steadyNow() - shownAt >= kFresh)
            show(steadyNow() - start);
        return finish();
    }

private:
    bool isOver(Time end) const
    {
        const bool isPortGone = !link_.reopen && !session_.portLost().empty();
        if (isInterrupted() || steadyNow() >= end || isPortGone)
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
            std::fputs(
                describeStatistics(session_.statistics(), session_.runningFor(), options_.verbose).c_str(),
                stderr);
        if (!session_.portLost().empty())
            throw Failure(FailureKind::Port, session_.portLost());
        std::vector<OrderEnd> ends;
        for (int i = 0; i < count(); ++i) {
            const WatchStatus status = session_.status(i);
            ends.push_back(endOf(status));
            if (ends.back() != OrderEnd::Good)
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

ExitCode watchVariables(const WatchOptions &options)
{
    return Watch(options).run();
}

} // namespace plc::host
