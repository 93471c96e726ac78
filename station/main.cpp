// plcstation: simulated Modbus RTU stations on a pseudo-terminal, with faults on demand.

#include "abilities.h"
#include "areas_file.h"
#include "help_text.h"
#include "modbus_codes.h"
#include "number_list.h"
#include "serve.h"
#include "standard_output.h"

#include <CLI/CLI.hpp>

#include "cli/manual.h"
#include "cli/parsing.h"

#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <limits>

#include <sys/prctl.h>
#include <unistd.h>

namespace plc::station {

namespace {

constexpr int kExitFine = 0;
constexpr int kExitUsage = 1;
constexpr int kExitNoTerminal = 5;
constexpr int kExitOutput = 7;

constexpr int kMaxBaud = 4000000;
constexpr int kMaxMilliseconds = 3600000;
constexpr int kLastReserved = 255;

constexpr std::size_t kLongestServerId = 240;

constexpr char kFaultGroup[] = "Faults";
constexpr char kProgramGroup[] = "Output";

struct Options
{
    std::string addresses = "1";
    bool allowReserved = false;
    std::string areas;
    int size = kWholeArea;
    std::vector<std::string> counters;
    int tickMs = 0;
    int delayMs = 0;
    int delaySpreadMs = 0;
    int leastPauseMs = 0;
    Abilities abilities;
    std::string functions;
    std::vector<std::string> present;
    std::vector<std::string> objects;
    std::string lacking = "refuse";
    int silenceMs = 0;
    int baud = 0;
    bool relay = false;
    bool crcHighFirst = false;
    bool requestCrcHighFirst = false;
    bool replyCrcHighFirst = false;
    FaultSettings faults;
    int cutPauseMs = 50;
    int lateByMs = 1500;
    int exceptionCode = kServerBusy;
    std::string link;
    bool commands = false;
    bool dieWithParent = false;
    bool verbose = false;
    bool quiet = false;
};

/// Check of the seed. The option's own conversion would take -3 for 2^64 - 3.
std::string seedMistake(const std::string &text)
{
    std::uint64_t seed = 0;
    const char *end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, seed);
    if (parsed.ec == std::errc() && parsed.ptr == end)
        return {};
    return "'" + text + "' is no whole number from 0 to " +
           std::to_string(std::numeric_limits<std::uint64_t>::max());
}

/// Check of a percentage. CLI::Range lets "nan" pass, which no comparison finds out of range.
std::string percentMistake(const std::string &text)
{
    char *end = nullptr;
    const double percent = std::strtod(text.c_str(), &end);
    if (!text.empty() && *end == '\0' && percent >= 0 && percent <= 100)
        return {};
    return "'" + text + "' is no percentage from 0 to 100";
}

void addFaultOptions(CLI::App *app, Options *options)
{
    const std::string group = kFaultGroup;
    for (const FaultName &row : kFaultNames) {
        app->add_option(std::string("--") + row.option, options->faults.share(row.fault), row.help)
            ->check(percentMistake)
            ->type_name("P")
            ->group(group);
    }
    app->add_option("--cut-pause", options->cutPauseMs, "pause in a reply that is cut and completed (ms)")
        ->check(CLI::Range(0, kMaxMilliseconds))
        ->type_name("MS")
        ->capture_default_str()
        ->group(cli::rare(group));
    app->add_option("--late-by", options->lateByMs, "how late a late reply is (ms)")
        ->check(CLI::Range(0, kMaxMilliseconds))
        ->type_name("MS")
        ->capture_default_str()
        ->group(cli::rare(group));
    app->add_option("--exception-code", options->exceptionCode, "code of the exceptions of --exception")
        ->check(CLI::Range(1, 255))
        ->type_name("N")
        ->capture_default_str()
        ->group(cli::rare(group));
    app->add_option("--seed", options->faults.seed,
                    "start of the random numbers; the same seed is the same run")
        ->check(seedMistake)
        ->type_name("N")
        ->capture_default_str()
        ->group(group);
}

void addStationOptions(CLI::App *app, Options *options)
{
    const std::string group = "Stations";
    app->add_option("-a,--address", options->addresses, "station numbers, as 1,2,5-7")
        ->type_name("LIST")
        ->capture_default_str()
        ->group(group);
    app->add_flag("--allow-reserved", options->allowReserved, "allow the reserved numbers 248 to 255 too")
        ->group(cli::rare(group));
    app->add_option("--areas", options->areas, "JSON file with initial values")
        ->type_name("FILE")
        ->group(group);
    app->add_option("--size", options->size, "items in each area; beyond them is exception 02")
        ->check(CLI::Range(1, kWholeArea))
        ->type_name("N")
        ->capture_default_str()
        ->group(group);
    app->add_option(
           "--counters", options->counters,
           "items that move by themselves, AREA:ADDRESS[:COUNT[:STEP]]; a register grows by STEP, a bit "
           "changes, with every reply; repeatable")
        ->type_name("RANGE")
        ->group(group);
    app->add_option("--tick", options->tickMs, "move them every MS milliseconds instead")
        ->check(CLI::Range(1, kMaxMilliseconds))
        ->type_name("MS")
        ->group(group);
}

void addAbilityOptions(CLI::App *app, Options *options)
{
    const std::string group = "Abilities";
    app->add_option("--only", options->present,
                    "items that there are in an area, AREA:FIRST-LAST; others of that area are lacking; "
                    "repeatable")
        ->type_name("RANGE")
        ->group(group);
    app->add_option("--lacking", options->lacking,
                    "what becomes of a request for items that are lacking: refuse (exception 02), silent, or "
                    "zeros (reads are answered where some of the items are there)")
        ->check(CLI::IsMember({"refuse", "silent", "zeros"}))
        ->type_name("NAME")
        ->capture_default_str()
        ->group(group);
    app->add_option("--max-registers", options->abilities.mostRegisters,
                    "most registers in one read; more get exception 03")
        ->check(CLI::Range(1, kMaxReadRegisters))
        ->type_name("N")
        ->capture_default_str()
        ->group(group);
    app->add_option("--max-bits", options->abilities.mostBits, "the same for bits")
        ->check(CLI::Range(1, kMaxReadBits))
        ->type_name("N")
        ->capture_default_str()
        ->group(group);
    app->add_option("--functions", options->functions,
                    "functions that are known, as 1-4,8; others get "
                    "exception 01")
        ->type_name("LIST")
        ->group(group);
    app->add_option("--server-id", options->abilities.serverId,
                    "what function 17 tells; without it function 17 is not known")
        ->type_name("TEXT")
        ->check([](const std::string &text) {
            return text.size() > kLongestServerId ? "is longer than 240 bytes" : "";
        })
        ->group(group);
    app->add_option("--identity", options->objects,
                    "an object of the device identification (43/14), NUMBER=TEXT; repeatable; without one "
                    "function 43 is not known")
        ->type_name("OBJECT")
        ->group(group);
    app->add_flag("--endless-identity", options->abilities.endlessObjects,
                  "every reply of the device identification says that more follow")
        ->group(cli::rare(group));
}

void addLineOptions(CLI::App *app, Options *options)
{
    const std::string group = "Line";
    app->add_option("--delay", options->delayMs, "pause before each reply (ms)")
        ->check(CLI::Range(0, kMaxMilliseconds))
        ->type_name("MS")
        ->capture_default_str()
        ->group(group);
    app->add_option("--delay-spread", options->delaySpreadMs,
                    "a reply starts up to that much later, by chance (ms)")
        ->check(CLI::Range(0, kMaxMilliseconds))
        ->type_name("MS")
        ->capture_default_str()
        ->group(cli::rare(group));
    app->add_option("--least-pause", options->leastPauseMs,
                    "a request that begins sooner behind a reply is not heard (ms)")
        ->check(CLI::Range(0, kMaxMilliseconds))
        ->type_name("MS")
        ->capture_default_str()
        ->group(cli::rare(group));
    app->add_option("--pace", options->baud, "bytes take as long as at this rate, 11 bits a character")
        ->check(CLI::Range(1, kMaxBaud))
        ->type_name("BAUD")
        ->group(group);
    app->add_option("--silence", options->silenceMs,
                    "silence that ends an unfinished frame (default 20 or more)")
        ->check(CLI::Range(1, kMaxMilliseconds))
        ->type_name("MS")
        ->group(cli::rare(group));
    app->add_flag("--relay", options->relay,
                  "requests are relay frames, in the wrapping of a peer that carries them on to stations; "
                  "replies stay in Modbus form")
        ->group(cli::rare(group));
    app->add_flag("--crc-high-first", options->crcHighFirst, "CRC high byte first in requests and replies")
        ->group(cli::rare(group));
    app->add_flag("--request-crc-high-first", options->requestCrcHighFirst, "the same for requests only")
        ->group(cli::rare(group));
    app->add_flag("--reply-crc-high-first", options->replyCrcHighFirst, "the same for replies only")
        ->group(cli::rare(group));
    app->add_option("--link", options->link, "symbolic link to the pseudo-terminal, removed at the end")
        ->type_name("PATH")
        ->group(group);
}

void addOptions(CLI::App *app, Options *options)
{
    addStationOptions(app, options);
    addAbilityOptions(app, options);
    addLineOptions(app, options);
    addFaultOptions(app, options);
    app->add_flag("--commands", options->commands,
                  "take commands from standard input: dead, alive, refuse, refuse-writes, set, get")
        ->excludes("--relay");
    app->add_flag("--die-with-parent", options->dieWithParent,
                  "end when the program that started this one ends")
        ->group(cli::rare(kProgramGroup));
    app->add_flag("-v,--verbose", options->verbose, "trace every frame on standard error")
        ->group(kProgramGroup);
    app->add_flag("-q,--quiet", options->quiet, "no statistics at the end")->group(kProgramGroup);
}

CrcOrder orderOf(bool highFirst)
{
    return highFirst ? CrcOrder::HighFirst : CrcOrder::LowFirst;
}

/// One line on standard error, as every failure of this program has it.
int failed(int code, const std::string &what)
{
    std::cerr << "plcstation: " << what << '\n';
    return code;
}

std::string addCounters(const std::vector<std::string> &texts, StationBus *bus)
{
    for (const std::string &text : texts) {
        MovingRange range;
        const std::string wrong = parseMovingRange(text, &range);
        if (!wrong.empty())
            return "--counters: " + wrong;
        for (auto &[number, station] : bus->stations()) {
            if (!station.addMoving(range))
                return "--counters: '" + text + "' goes beyond the end of the area";
        }
    }
    return {};
}

/// Completes the abilities by what was typed as text, and gives them to all stations.
std::string setAbilities(const Options &options, StationBus *bus)
{
    Abilities abilities = options.abilities;
    std::string wrong;
    for (const std::string &text : options.present) {
        if (wrong.empty() && !(wrong = addPresent(text, &abilities)).empty())
            wrong = "--only: " + wrong;
    }
    for (const std::string &text : options.objects) {
        if (wrong.empty() && !(wrong = addObject(text, &abilities)).empty())
            wrong = "--identity: " + wrong;
    }
    if (wrong.empty() && !options.functions.empty()) {
        constexpr int kLastFunction = 127;
        std::vector<int> functions;
        wrong = parseStationList(options.functions, kLastFunction, &functions);
        if (!wrong.empty())
            wrong =
                "--functions: '" + options.functions + "' is no list of functions from 1 to 127, as 1-4,8";
        abilities.functions.insert(functions.begin(), functions.end());
    }
    abilities.lacking = options.lacking == "silent"  ? Lacking::IsSilent
                        : options.lacking == "zeros" ? Lacking::ReadsZeros
                                                     : Lacking::Refuses;
    for (auto &[number, station] : bus->stations())
        station.setAbilities(abilities);
    return wrong;
}

LineSettings lineSettings(const Options &options)
{
    LineSettings settings;
    settings.baud = options.baud;
    settings.answerDelay = std::chrono::milliseconds(options.delayMs);
    settings.delaySpread = std::chrono::milliseconds(options.delaySpreadMs);
    settings.seed = options.faults.seed;
    settings.leastPause = std::chrono::milliseconds(options.leastPauseMs);
    settings.silence = std::chrono::milliseconds(options.silenceMs);
    settings.tick = std::chrono::milliseconds(options.tickMs);
    settings.relay = options.relay;
    settings.requestOrder = orderOf(options.crcHighFirst || options.requestCrcHighFirst);
    return settings;
}

FaultSettings faultSettings(const Options &options)
{
    FaultSettings settings = options.faults;
    settings.cutPause = std::chrono::milliseconds(options.cutPauseMs);
    settings.lateBy = std::chrono::milliseconds(options.lateByMs);
    settings.exceptionCode = static_cast<std::uint8_t>(options.exceptionCode);
    return settings;
}

/// "2026-03-29T01:59:59.123456+01:00": ISO 8601, in the time zone of the user.
std::string isoTime(std::chrono::system_clock::time_point time)
{
    const auto second = std::chrono::floor<std::chrono::seconds>(time);
    const auto fraction = std::chrono::duration_cast<std::chrono::microseconds>(time - second);
    const std::time_t since = std::chrono::system_clock::to_time_t(second);
    std::tm local{};
    localtime_r(&since, &local);
    char date[32];
    std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &local);
    const long offset = std::labs(local.tm_gmtoff) / 60;
    char rest[48];
    std::snprintf(rest, sizeof rest, ".%06ld%c%02ld:%02ld", static_cast<long>(fraction.count()),
                  local.tm_gmtoff < 0 ? '-' : '+', offset / 60, offset % 60);
    return std::string(date) + rest;
}

/// "2026-03-29T01:59:59.123456+01:00     12.345678 -> 11 03 ...": the second time in seconds since the start;
/// -> is a request, <- a reply.
StationLine::Trace tracer(Time start)
{
    return [start](Time time, StationLine::Event event, const Bytes &bytes, const std::string &text) {
        const char *mark = event == StationLine::Event::Request ? "->"
                           : event == StationLine::Event::Reply ? "<-"
                                                                : "--";
        const double seconds = std::chrono::duration<double>(time - start).count();
        const std::string shown = bytes.empty() ? text : hexText(bytes);
        char shownTime[32];
        // A reply is told before it is sent: its moment may lie ahead.
        const auto wall = std::chrono::system_clock::now() +
                          std::chrono::duration_cast<std::chrono::system_clock::duration>(time - steadyNow());
        if (std::snprintf(shownTime, sizeof shownTime, "%13.6f", seconds) > 0)
            std::cerr << isoTime(wall) << ' ' << shownTime << ' ' << mark << ' ' << shown << '\n';
    };
}

void printStatistics(const LineStatistics &line, const FaultPlan &faults)
{
    std::cerr << "answered " << line.answered << ", exceptions " << line.refused << ", broadcasts "
              << line.broadcasts << ", for other stations " << line.foreign << ", listening only "
              << line.silent << ", bad frames " << line.bad << ", bytes in " << line.bytesReceived
              << ", bytes out " << line.bytesSent << '\n';
    for (const FaultName &row : kFaultNames) {
        if (faults.count(row.fault) > 0)
            std::cerr << "fault " << row.option << ' ' << faults.count(row.fault) << '\n';
    }
}

int run(const Options &options)
{
    std::vector<int> numbers;
    const std::string wrongList =
        parseStationList(options.addresses, options.allowReserved ? kLastReserved : kLastStation, &numbers);
    if (!wrongList.empty())
        return failed(kExitUsage, "--address: " + wrongList);

    const LineSettings settings = lineSettings(options);
    const CrcOrder replyOrder = orderOf(options.crcHighFirst || options.replyCrcHighFirst);
    StationBus bus(numbers, options.size, settings.requestOrder, replyOrder);
    std::string wrong = options.areas.empty() ? std::string() : loadAreasFile(options.areas, &bus);
    if (wrong.empty())
        wrong = addCounters(options.counters, &bus);
    if (wrong.empty())
        wrong = setAbilities(options, &bus);
    if (!wrong.empty())
        return failed(kExitUsage, wrong);

    const StopSignal stop;
    PtyLine pty;
    std::string broken = stop.descriptor() < 0 ? "signals cannot be received" : pty.open();
    if (!broken.empty())
        return failed(kExitNoTerminal, broken);
    if (!options.link.empty()) {
        const std::string wrongLink = pty.linkAs(options.link);
        if (!wrongLink.empty())
            return failed(kExitUsage, "--link: " + wrongLink + "; choose a path at which nothing stands yet");
    }

    FaultPlan faults(faultSettings(options), replyOrder);
    StationLine line(settings, &bus, &faults, options.verbose ? tracer(steadyNow()) : StationLine::Trace());
    const std::string unwritten = print(pty.path() + "\n");
    if (!unwritten.empty())
        return failed(kExitOutput, unwritten);
    CommandInput commands(options.commands ? STDIN_FILENO : -1, &bus);
    broken = serve(&pty, &line, &commands, stop);
    if (!options.quiet)
        printStatistics(line.statistics(), faults);
    if (!commands.unwritten().empty())
        return failed(kExitOutput, commands.unwritten());
    return broken.empty() ? kExitFine : failed(kExitNoTerminal, broken);
}

/// The whole program; the exit code is the result.
int runProgram(int argc, char **argv)
{
    // Whoever reads the trace or the path may go away; that is no reason to end.
    prepareStreams();
    Options options;
    CLI::App app("simulate Modbus RTU stations on a pseudo-terminal, with faults on demand", "plcstation");
    cli::Book book(app);
    cli::addHelpOptions(&app);
    addOptions(&app, &options);
    book.of(&app) = manual();
    book.explain(kFaultGroup, "percent of the replies, 0 to 100");
    const cli::Parsed parsed = cli::parse(&app, &book, argc, argv, [](const cli::Typing &typing) {
        const bool isRange = typing.option->get_name() == "--counters";
        return isRange ? std::vector<std::string>{"0x:", "1x:", "3x:", "4x:"} : std::vector<std::string>();
    });
    if (!parsed.mistake.empty())
        return failed(kExitUsage, parsed.mistake);
    if (parsed.isAnswered) {
        const std::string unwritten = print(parsed.answer);
        return unwritten.empty() ? kExitFine : failed(kExitOutput, unwritten);
    }
    if (options.dieWithParent)
        prctl(PR_SET_PDEATHSIG, SIGTERM);
    return run(options);
}

} // namespace

} // namespace plc::station

int main(int argc, char **argv)
{
    return plc::station::runProgram(argc, argv);
}
