#include <algorithm>
#include <cstdio>
#include <optional>
#include <thread>

#include "host/commands/child_process.h"
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

/// One reading of a variable.
struct Reading
{
    OrderResult result;
    std::optional<Values> values; ///< only of a good one
};

/// One run of the demo.
class Demo
{
public:
    Demo(const DemoOptions &options, const LinkSettings &link)
        : options_(options), driver_(driverToLoad(link.driverPath)),
          session_(driver_, link, systemSurroundings(options.verbose))
    {
        for (const Act &act : kActs) {
            variables_.push_back(parseVariable(act.variable, link.oneBased()));
            session_.watch(variables_.back());
        }
    }

    ExitCode run()
    {
        session_.start(traceOnStandardError(options_.verbose));
        awaitScans(1);
        remember(&before_);
        writeAll();
        awaitScans(fewestScansAfterNow());
        remember(&after_);
        session_.stop();
        if (isInterrupted())
            std::fputs("plchost: interrupted before everything was read back\n", stderr);
        show();
        explain();
        if (!options_.quiet)
            std::fputs(
                describeStatistics(session_.statistics(), session_.runningFor(), options_.verbose).c_str(),
                stderr);
        return allCameBack() ? kExitGood : failureCode();
    }

private:
    /// A scan under way may have read a variable before the write; the next scan reads it afterwards.
    std::uint64_t fewestScansAfterNow() const
    {
        std::uint64_t most = 0;
        for (int i = 0; i < count(); ++i)
            most = std::max(most, session_.status(i).scans);
        return most + 2;
    }

    /// Longer than two scans take in which no request is answered.
    Time patience() const
    {
        const LinkSettings &link = session_.settings();
        return kPatience + 4 * count() * (1 + link.retries) * link.timeout;
    }

    void awaitScans(std::uint64_t scans)
    {
        const Time limit = steadyNow() + patience();
        const auto isBehind = [&](int i) { return session_.status(i).scans < scans; };
        for (;;) {
            session_.pump(steadyNow());
            bool done = true;
            for (int i = 0; i < count(); ++i)
                done = done && !isBehind(i);
            if (done)
                return;
            if (!session_.portLost().empty())
                throw Failure(FailureKind::Port, session_.portLost());
            if (isInterrupted())
                return;
            if (steadyNow() > limit)
                throw Failure(FailureKind::NoReply,
                              "the variables were not read in time; -v shows what happens on the line");
            std::this_thread::sleep_for(kSlice);
        }
    }

    void writeAll()
    {
        std::vector<Ticket> tickets;
        for (std::size_t i = 0; i < variables_.size(); ++i) {
            const bool written = kActs[i].values[0] != '\0';
            wanted_.push_back(written ? parseValues(kActs[i].values, variables_[i], kActs[i].values)
                                      : Values());
            tickets.push_back(written ? session_.write(variables_[i], wanted_.back()) : 0);
        }
        for (const Ticket ticket : tickets)
            writes_.push_back(ticket == 0 ? std::nullopt : std::make_optional(session_.await(ticket)));
        if (!session_.portLost().empty())
            throw Failure(FailureKind::Port, session_.portLost());
    }

    /// What each variable was read to be; nothing where its last reading did not succeed.
    void remember(std::vector<Reading> *into) const
    {
        for (int i = 0; i < count(); ++i) {
            const WatchStatus status = session_.status(i);
            const bool isRead = status.hasValue && status.last.end == OrderEnd::Good;
            Reading reading{status.last, std::nullopt};
            if (isRead)
                reading.values = session_.values(variables_[static_cast<std::size_t>(i)]);
            into->push_back(reading);
        }
    }

    bool cameBack(std::size_t i) const
    {
        if (writes_[i] && writes_[i]->end != OrderEnd::Good)
            return false;
        return after_[i].values && (wanted_[i].empty() || *after_[i].values == wanted_[i]);
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
        for (const Reading &reading : after_)
            ends.push_back(reading.result.end);
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
            const OrderResult &result = isUnwritten ? *writes_[i] : after_[i].result;
            const std::string reason =
                result.end == OrderEnd::Good
                    ? "the station holds other values than were written"
                    : describeResult(result, session_.stationOf(variables_[i]), session_.settings());
            std::fprintf(stderr, "plchost: %s: %s%s\n", variables_[i].text.c_str(),
                         writes_[i] ? (isUnwritten ? "write: " : "read back: ") : "", reason.c_str());
        }
    }

    std::string text(const Reading &reading, const Variable &variable) const
    {
        return reading.values ? formatValues(variable, *reading.values, options_.numberStyle(), " ") : "?";
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
            std::printf("%s\n", line.c_str());
        std::fflush(stdout);
    }

    int count() const { return static_cast<int>(variables_.size()); }

    const DemoOptions &options_;
    DriverLibrary driver_;
    Session session_;
    std::vector<Variable> variables_;
    std::vector<Reading> before_;
    std::vector<Values> wanted_;
    std::vector<Reading> after_;
    std::vector<std::optional<OrderResult>> writes_; ///< nothing for variables that are only read
};

} // namespace

ExitCode runDemo(const DemoOptions &options)
{
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
