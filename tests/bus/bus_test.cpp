/// @file
/// Runs whole buses in virtual time, each from a seed. A seed is run by a process of its own: the library
/// holds one driver object, and unloading does not give a fresh one.
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bus_run.h"

namespace plc::bus {
namespace {

constexpr std::uint64_t kSeedsForAll = 100;
constexpr Time kTimeForAll = std::chrono::hours(100);

constexpr const char *kHelp =
    "Runs a bus of 1 to 32 simulated stations in virtual time, with faults, and checks what must hold.\n"
    "\n"
    "  bus_test --seed N [options]      one seed; when something is wrong, with a long trace of line and "
    "host\n"
    "  bus_test --seeds A-B [options]   many, on all processors; prints a table, and each seed that fails\n"
    "\n"
    "  --hours H      simulated hours of each seed, at most 10000 (default 2)\n"
    "  --jobs N       processes at once with --seeds, at most 1000 (default: one a processor)\n"
    "  --driver PATH  the driver library, if it is not the one of this build\n"
    "  --session      through a session, below the public interface\n"
    "\n"
    "The same seed and hours give the same run, byte by byte. With 100 seeds and 100 hours and more, a "
    "fault or a "
    "check that never\n"
    "happens is wrong, too.\n"
    "\n"
    "Exit codes: 0 all is well; 1 something is wrong, it is printed; 2 wrong usage, or no such driver.\n"
    "Examples: bus_test --seed 17\n"
    "          bus_test --seeds 1-500 --hours 2\n"
    "          bus_test --seeds 1-20 --hours 0.2 --jobs 1 --driver build/dev/lib/libplcdriver.so\n";

constexpr std::uint64_t kLastSeed = 999999999999999999u;
constexpr std::uint64_t kMostJobs = 1000;
constexpr double kMostHours = 10000;

struct Options
{
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    bool isOne = false;
    bool isRange = false;
    Way way = Way::PublicInterface;
    bool help = false;
    double hours = 2;
    std::uint64_t jobs = 0; ///< 0 = one a processor
    std::string driver = PLC_DRIVER_PATH;
};

/// Digits and nothing else.
bool parseNumber(std::string_view text, std::uint64_t most, std::uint64_t *value)
{
    const auto end = std::from_chars(text.data(), text.data() + text.size(), *value);
    return end.ec == std::errc() && end.ptr == text.data() + text.size() && *value <= most;
}

bool parseHours(std::string_view text, double *hours)
{
    const auto end = std::from_chars(text.data(), text.data() + text.size(), *hours);
    return end.ec == std::errc() && end.ptr == text.data() + text.size() && *hours > 0 &&
           *hours <= kMostHours;
}

bool parseRange(std::string_view text, Options *options)
{
    const std::size_t dash = text.find('-');
    return dash != std::string_view::npos && parseNumber(text.substr(0, dash), kLastSeed, &options->first) &&
           parseNumber(text.substr(dash + 1), kLastSeed, &options->last) && options->first <= options->last;
}

/// Takes one argument.
/// @return what is wrong; empty for nothing.
std::string take(const std::string &name, const std::string &value, Options *options)
{
    bool good = true;
    if (name == "--seed") {
        options->isOne = true;
        good = parseNumber(value, kLastSeed, &options->first);
        options->last = options->first;
    } else if (name == "--seeds") {
        options->isRange = true;
        good = parseRange(value, options);
    } else if (name == "--hours") {
        good = parseHours(value, &options->hours);
    } else if (name == "--jobs") {
        good = parseNumber(value, kMostJobs, &options->jobs) && options->jobs > 0;
    } else if (name == "--driver") {
        options->driver = value;
        good = !value.empty();
    } else {
        return "unknown argument '" + name + "'";
    }
    if (options->isOne && options->isRange)
        return "--seed and --seeds exclude each other";
    return good ? std::string() : "'" + value + "' is no value for " + name;
}

/// @return nothing after a message, when an argument is wrong.
std::optional<Options> parse(int argc, char **argv)
{
    Options options;
    std::string problem;
    for (int i = 1; i < argc && problem.empty(); ++i) {
        const std::string name = argv[i];
        if (name == "--help" || name == "-h") {
            options.help = true;
            return options;
        }
        if (name == "--session") {
            options.way = Way::Session;
            continue;
        }
        const bool hasValue = i + 1 < argc;
        problem = take(name, hasValue ? argv[++i] : "", &options);
        if (!hasValue && problem.compare(0, 7, "unknown") != 0)
            problem = "a value is missing behind " + name;
    }
    if (problem.empty() && !options.isOne && !options.isRange)
        problem = "a seed is missing";
    if (problem.empty())
        return options;
    std::fprintf(stderr, "bus_test: %s; see bus_test --help\n", problem.c_str());
    return std::nullopt;
}

/// What the processes have found together.
struct Total
{
    std::uint64_t runs = 0;
    std::vector<std::uint64_t> failedSeeds;
    std::int64_t mostGrowth = 0;
    RunResult sum;
};

template <typename Number>
void addAll(Number *sums, const Number *numbers, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        sums[i] += numbers[i];
}

void add(Total *total, std::uint64_t seed, const RunResult &run)
{
    ++total->runs;
    if (!run.complaint.empty())
        total->failedSeeds.push_back(seed);
    total->mostGrowth = std::max(total->mostGrowth, run.growth);
    RunResult &sum = total->sum;
    sum.simulated += run.simulated;
    sum.requests += run.requests;
    sum.replies += run.replies;
    sum.orders += run.orders;
    sum.ordersDone += run.ordersDone;
    sum.offline += run.offline;
    sum.collisions += run.collisions;
    sum.memorySamples += run.growthJudged > 0 ? run.memorySamples : 0;
    sum.growthJudged += run.growthJudged;
    addAll(sum.faults.data(), run.faults.data(), run.faults.size());
    Checks &checks = sum.checks;
    checks.values += run.checks.values;
    checks.mirrored += run.checks.mirrored;
    checks.reports += run.checks.reports;
    checks.takenWrites += run.checks.takenWrites;
    checks.requests += run.checks.requests;
    checks.lateReplies += run.checks.lateReplies;
    checks.healthyTransactions += run.checks.healthyTransactions;
    checks.recoveries += run.checks.recoveries;
    checks.refusals += run.checks.refusals;
    checks.probes += run.checks.probes;
    checks.statuses += run.checks.statuses;
    checks.bookedProbes += run.checks.bookedProbes;
    checks.priorityReads += run.checks.priorityReads;
    checks.writeBacks += run.checks.writeBacks;
    checks.broadcasts += run.checks.broadcasts;
    checks.busy += run.checks.busy;
    checks.unconfirmed += run.checks.unconfirmed;
    checks.portOrders += run.checks.portOrders;
    checks.pauses += run.checks.pauses;
    checks.toldValues += run.checks.toldValues;
    checks.firstWrites += run.checks.firstWrites;
}

/// Prints figures and remembers which were 0.
class FigurePrinter
{
public:
    void operator()(const char *name, std::uint64_t value)
    {
        plain(name, value);
        if (value == 0)
            zeros_.emplace_back(name);
    }
    /// One of which 0 says nothing.
    void plain(const char *name, std::uint64_t value) const
    {
        std::printf("  %-58s %14llu\n", name, static_cast<unsigned long long>(value));
    }
    const std::vector<std::string> &zeros() const { return zeros_; }

private:
    std::vector<std::string> zeros_;
};

/// @return what has never happened.
std::vector<std::string> print(const Total &total, Way way, double wallSeconds)
{
    FigurePrinter printFigure;
    const RunResult &sum = total.sum;
    std::printf("%llu seeds, %.1f simulated hours in %.0f s\n", static_cast<unsigned long long>(total.runs),
                runtime::seconds(sum.simulated) / 3600, wallSeconds);
    printFigure("requests sent", sum.requests);
    printFigure("good replies", sum.replies);
    printFigure("cyclic reads of priority levels", sum.checks.priorityReads);
    printFigure("writes and readings ordered", sum.orders);
    printFigure("  of these done", sum.ordersDone);
    printFigure("times that a station went offline", sum.offline);
    printFigure("bytes garbled by collisions", sum.collisions);
    std::printf("faults\n");
    for (int i = 0; i < kFaults; ++i)
        printFigure(nameOf(static_cast<Fault>(i)), sum.faults[static_cast<std::size_t>(i)]);
    std::printf("checks\n");
    printFigure("(a) values in the mirror after a reading", sum.checks.values);
    printFigure("(a) values in the mirror at other times", sum.checks.mirrored);
    printFigure("(b) orders that ended exactly once", sum.checks.reports);
    printFigure("(c) elements written, in order", sum.checks.takenWrites);
    printFigure("(d) requests sent with no reply to come", sum.checks.requests);
    printFigure("(d) late replies that met no other request", sum.checks.lateReplies);
    printFigure("(e) silences before a request", sum.checks.requests);
    printFigure("(f) transactions on a healthy line", sum.checks.healthyTransactions);
    printFigure("(g), (r) elements read again after and beside faults", sum.checks.recoveries);
    printFigure.plain("(h) runs long enough to judge the growth of the heap", sum.growthJudged);
    if (sum.growthJudged > 0) {
        printFigure("(h)   samples of the heap", sum.memorySamples);
        printFigure.plain("(h)   most growth of a run, in bytes",
                          static_cast<std::uint64_t>(total.mostGrowth));
    }
    printFigure("(j) orders for an offline station refused at once", sum.checks.refusals);
    printFigure("(k) requests to stations that were offline or just back", sum.checks.probes);
    printFigure("(l) states and ages of variables", sum.checks.statuses);
    printFigure("(m) registers written back with one bit changed", sum.checks.writeBacks);
    printFigure("(n) broadcasts on lines with an echo", sum.checks.broadcasts);
    printFigure("(o) stations that were left in peace after exception 06", sum.checks.busy);
    printFigure("(p) writes that were on the line when they were taken back", sum.checks.unconfirmed);
    printFigure("(q) probes and relapses that the others pay for", sum.checks.bookedProbes);
    printFigure("(s) orders that ended since the port was gone", sum.checks.portOrders);
    printFigure("(v) reads before a first write", sum.checks.firstWrites);
    printFigure("(t) requests to stations that need a pause", sum.checks.pauses);
    // A session tells no values of what the driver packs.
    if (way == Way::PublicInterface)
        printFigure("(u) values of variables as they were read", sum.checks.toldValues);
    std::printf("%zu of %llu seeds failed\n", total.failedSeeds.size(),
                static_cast<unsigned long long>(total.runs));
    if (total.failedSeeds.empty())
        return printFigure.zeros();
    std::printf("they are:");
    for (const std::uint64_t seed : total.failedSeeds)
        std::printf(" %llu", static_cast<unsigned long long>(seed));
    std::printf("\n");
    return printFigure.zeros();
}

/// @param journal  with the last events.
void printComplaint(std::uint64_t seed, const Options &options, const RunResult &result, bool journal)
{
    std::printf("seed %llu: %s\n  repeat it: bus_test --seed %llu --hours %g%s\n",
                static_cast<unsigned long long>(seed), result.complaint.c_str(),
                static_cast<unsigned long long>(seed), options.hours,
                options.way == Way::Session ? " --session" : "");
    if (journal)
        std::printf("  %s\n%s\n", describe(makeScenario(seed)).c_str(), result.journal.c_str());
}

Time timeOf(double hours)
{
    return Time(static_cast<std::int64_t>(hours * 3600e9));
}

int runOne(const Options &options, runtime::DriverLibrary &driver)
{
    const auto began = std::chrono::steady_clock::now();
    const RunResult result = runSeed(options.first, timeOf(options.hours), driver, options.way, true);
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
    Total total;
    add(&total, options.first, result);
    std::printf("seed %llu: %s\n", static_cast<unsigned long long>(options.first),
                describe(makeScenario(options.first)).c_str());
    print(total, options.way, wall);
    std::printf("digest of the line: %016llx\n", static_cast<unsigned long long>(result.digest));
    if (result.complaint.empty())
        return 0;
    printComplaint(options.first, options, result, true);
    return 1;
}

// A child tells its result as the bytes of the record's numbers, then the two texts with their lengths.

void put(std::string *message, const std::string &text)
{
    const std::size_t length = text.size();
    message->append(reinterpret_cast<const char *>(&length), sizeof length);
    message->append(text);
}

bool takeText(const std::string &message, std::size_t *at, std::string *text)
{
    std::size_t length = 0;
    if (message.size() - *at < sizeof length)
        return false;
    std::memcpy(&length, message.data() + *at, sizeof length);
    *at += sizeof length;
    if (message.size() - *at < length)
        return false;
    *text = message.substr(*at, length);
    *at += length;
    return true;
}

struct Numbers
{
    Time simulated;
    std::uint64_t requests, replies, orders, ordersDone, offline, collisions, memorySamples, growthJudged,
        digest;
    std::int64_t growth;
    FaultCounts faults;
    Checks checks;
};

std::string packed(const RunResult &run)
{
    const Numbers numbers = {run.simulated,    run.requests, run.replies,    run.orders,
                             run.ordersDone,   run.offline,  run.collisions, run.memorySamples,
                             run.growthJudged, run.digest,   run.growth,     run.faults,
                             run.checks};
    std::string message(reinterpret_cast<const char *>(&numbers), sizeof numbers);
    put(&message, run.complaint);
    put(&message, run.journal);
    return message;
}

bool unpack(const std::string &message, RunResult *run)
{
    Numbers numbers;
    if (message.size() < sizeof numbers)
        return false;
    std::memcpy(static_cast<void *>(&numbers), message.data(), sizeof numbers);
    run->simulated = numbers.simulated;
    run->requests = numbers.requests;
    run->replies = numbers.replies;
    run->orders = numbers.orders;
    run->ordersDone = numbers.ordersDone;
    run->offline = numbers.offline;
    run->collisions = numbers.collisions;
    run->memorySamples = numbers.memorySamples;
    run->growthJudged = numbers.growthJudged;
    run->digest = numbers.digest;
    run->growth = numbers.growth;
    run->faults = numbers.faults;
    run->checks = numbers.checks;
    std::size_t at = sizeof numbers;
    return takeText(message, &at, &run->complaint) && takeText(message, &at, &run->journal);
}

/// A process that runs one seed.
struct Child
{
    pid_t pid = -1;
    int pipe = -1;
    std::uint64_t seed = 0;
    std::string message;
};

/// @param driver  loaded and not used: the child has a copy of its own.
Child startChild(std::uint64_t seed, const Options &options, runtime::DriverLibrary &driver)
{
    int ends[2];
    if (pipe(ends) != 0) {
        std::perror("bus_test: pipe");
        std::exit(1);
    }
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid < 0) {
        std::perror("bus_test: fork");
        std::exit(1);
    }
    if (pid > 0) {
        close(ends[1]);
        return {pid, ends[0], seed, std::string()};
    }
    close(ends[0]);
    std::string message;
    try {
        message = packed(runSeed(seed, timeOf(options.hours), driver, options.way));
    } catch (const std::exception &problem) {
        RunResult failed;
        failed.complaint = std::string("exception: ") + problem.what();
        message = packed(failed);
    }
    for (std::size_t sent = 0; sent < message.size();) {
        const ssize_t done = write(ends[1], message.data() + sent, message.size() - sent);
        if (done <= 0)
            _exit(3);
        sent += static_cast<std::size_t>(done);
    }
    _exit(0);
}

/// Takes what the child has to tell.
/// @return false when it has told everything.
bool listen(Child *child)
{
    char buffer[4096];
    const ssize_t got = read(child->pipe, buffer, sizeof buffer);
    if (got > 0)
        child->message.append(buffer, static_cast<std::size_t>(got));
    return got > 0;
}

RunResult finish(const Child &child)
{
    close(child.pipe);
    int status = 0;
    waitpid(child.pid, &status, 0);
    RunResult result;
    if (unpack(child.message, &result) && WIFEXITED(status) && WEXITSTATUS(status) == 0)
        return result;
    result.complaint = WIFSIGNALED(status) ? "the process died of signal " + std::to_string(WTERMSIG(status))
                                           : "the process ended with " + std::to_string(WEXITSTATUS(status));
    return result;
}

int runMany(const Options &options, runtime::DriverLibrary &driver)
{
    constexpr std::size_t kMostTold = 5; ///< with their journals
    const auto processors = static_cast<std::uint64_t>(std::max(1L, sysconf(_SC_NPROCESSORS_ONLN)));
    const std::uint64_t jobs = options.jobs > 0 ? options.jobs : processors;
    const auto began = std::chrono::steady_clock::now();
    Total total;
    std::vector<Child> children;
    std::uint64_t next = options.first;
    while (next <= options.last || !children.empty()) {
        while (children.size() < jobs && next <= options.last)
            children.push_back(startChild(next++, options, driver));
        std::vector<pollfd> pipes;
        for (const Child &child : children)
            pipes.push_back({child.pipe, POLLIN, 0});
        poll(pipes.data(), pipes.size(), -1);
        for (std::size_t i = children.size(); i-- > 0;) {
            if (pipes[i].revents == 0 || listen(&children[i]))
                continue;
            const RunResult result = finish(children[i]);
            add(&total, children[i].seed, result);
            if (!result.complaint.empty())
                printComplaint(children[i].seed, options, result, total.failedSeeds.size() <= kMostTold);
            children.erase(children.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }
    const std::vector<std::string> never = print(
        total, options.way, std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count());
    if (!total.failedSeeds.empty())
        return 1;
    // What never happens proves nothing. Shorter runs may well miss something.
    if (total.runs < kSeedsForAll || total.sum.simulated < kTimeForAll || never.empty())
        return 0;
    for (const std::string &name : never)
        std::printf("in all this time there was nothing of: %s\n", name.c_str());
    return 1;
}

int run(int argc, char **argv)
{
    const std::optional<Options> options = parse(argc, argv);
    if (!options)
        return 2;
    if (options->help) {
        std::printf("%s", kHelp);
        return 0;
    }
    runtime::DriverLibrary driver(options->driver);
    return options->isRange ? runMany(*options, driver) : runOne(*options, driver);
}

} // namespace
} // namespace plc::bus

int main(int argc, char **argv)
{
    try {
        return plc::bus::run(argc, argv);
    } catch (const plc::runtime::Failure &failure) {
        std::fprintf(stderr, "bus_test: %s\n", failure.what());
        return 2;
    } catch (const std::exception &problem) {
        std::fprintf(stderr, "bus_test: %s\n", problem.what());
        return 1;
    }
}
