#include "command_options.h"

#include <CLI/CLI.hpp>

#include <cstdio>

#include "failure.h"

namespace plc::host {

namespace {

constexpr const char *kLineGroup = "Line";
constexpr const char *kDriverGroup = "Driver";
constexpr const char *kOutputGroup = "Output";

/// Areas by the digits that Modbus command-line masters have for them.
std::string areaOfType(const std::string &type)
{
    if (type == "0" || type == "1" || type == "3" || type == "4")
        return type + "x";
    return type;
}

Parity parityOf(const std::string &name)
{
    if (name == "odd")
        return Parity::Odd;
    return name == "none" ? Parity::None : Parity::Even;
}

} // namespace

void addPortOption(CLI::App *app, CommandOptions *options)
{
    app->add_option("-p,--port", options->port, "serial port or pseudo-terminal, as /dev/ttyUSB0")
        ->type_name("PATH")
        ->required()
        ->check([](const std::string &path) { return path.empty() ? "must name a port" : ""; })
        ->group(kLineGroup);
}

void addLineOptions(CLI::App *app, CommandOptions *options)
{
    app->add_option("-a,--station", options->station,
                    "station of variables that name none, 1 to 247; 0 broadcasts writes")
        ->check(CLI::Range(0, kLastStation))
        ->type_name("N")
        ->capture_default_str()
        ->group(kLineGroup);
    app->add_option("-b,--baud", options->baud, "bits per second")
        ->check(CLI::Range(kSlowestBaud, kFastestBaud))
        ->type_name("RATE")
        ->capture_default_str()
        ->group(kLineGroup);
    app->add_option("-P,--parity", options->parity, "even, odd or none")
        ->check(CLI::IsMember({"even", "odd", "none"}))
        ->type_name("NAME")
        ->capture_default_str()
        ->group(kLineGroup);
    app->add_option("-d,--data-bits", options->dataBits, "always 8: this protocol has no other")
        ->check(CLI::IsMember({8}))
        ->type_name("8")
        ->capture_default_str()
        ->group(kLineGroup);
    app->add_option("-s,--stop-bits", options->stopBits,
                    "1 or 2; without it 2 where there is no parity, else 1")
        ->check(CLI::IsMember({1, 2}))
        ->type_name("N")
        ->group(kLineGroup);
    app->add_option("-o,--timeout", options->timeoutSeconds, "wait for the first byte of a reply, in seconds")
        ->check(CLI::Range(0.01, 60.0))
        ->type_name("S")
        ->capture_default_str()
        ->group(kLineGroup);
    app->add_option(
           "--late-guard", options->lateGuardSeconds,
           "listen that long after a time-out before another request goes out, in seconds; without it "
           "as long as the time-out")
        ->check(CLI::Range(0.0, 60.0))
        ->type_name("S")
        ->group(kLineGroup);
    app->add_option("--turnaround", options->turnaroundMs, "pause after a broadcast (ms)")
        ->check(CLI::Range(0, 60000))
        ->type_name("MS")
        ->capture_default_str()
        ->group(kLineGroup);
    app->add_flag("--echo", options->echo,
                  "the line hands back what is sent on it (two wires); take that off. Without it the echo of "
                  "a write "
                  "of one register or coil passes for the reply, which looks the same")
        ->group(kLineGroup);

    app->add_option("--retries", options->retries, "repetitions of a request that got no usable reply")
        ->check(CLI::Range(0, 100))
        ->type_name("N")
        ->capture_default_str()
        ->group(kDriverGroup);
    app->add_option("--max-block", options->maxBlock,
                    "most registers in one request; eight times as many bits")
        ->check(CLI::Range(1, 100))
        ->type_name("N")
        ->capture_default_str()
        ->group(kDriverGroup);
    app->add_option("--link-mode", options->linkMode, "0 = Modbus frames, 1 = relay frames")
        ->check(CLI::Range(0, 1))
        ->type_name("N")
        ->capture_default_str()
        ->group(kDriverGroup);
    app->add_option("--option", options->options, "option of the driver by name, see below; repeatable")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->type_name("NAME")
        ->group(kDriverGroup);
    app->add_option("--without", options->without, "policy to do without, by name, see below; repeatable")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->type_name("POLICY")
        ->group(kLineGroup);

    app->add_option("--driver", options->driver,
                    "the driver library, if it is not the one beside this program")
        ->type_name("PATH")
        ->group(kDriverGroup);

    app->add_flag("-v,--verbose", options->verbose, "trace every frame on standard error")
        ->group(kOutputGroup);
    app->add_flag("-q,--quiet", options->quiet,
                  "no statistics, advice or live table; values and failures are still told")
        ->group(kOutputGroup);
}

void addOfflineOptions(CLI::App *app, CommandOptions *options)
{
    options->asksForEver = true;
    app->add_option(
           "--offline-after", options->offlineAfter,
           "failed requests in a row after which a station is left alone but for a trial now and then")
        ->check(CLI::Range(1, 1000))
        ->type_name("N")
        ->capture_default_str()
        ->group(kLineGroup);
    app->add_option("--first-trial", options->firstProbeSeconds,
                    "from then to the first trial, in seconds; each trial that fails doubles the distance")
        ->check(CLI::Range(0.1, 3600.0))
        ->type_name("S")
        ->capture_default_str()
        ->group(kLineGroup);
    app->add_option("--longest-trial", options->longestProbeSeconds,
                    "longest distance of the trials, in seconds")
        ->check(CLI::Range(0.1, 3600.0))
        ->type_name("S")
        ->capture_default_str()
        ->group(kLineGroup);
}

void addOutputOptions(CLI::App *app, CommandOptions *options)
{
    app->add_option("--format", options->format, "text, csv or ndjson")
        ->check(CLI::IsMember({"text", "csv", "ndjson"}))
        ->type_name("NAME")
        ->capture_default_str()
        ->group(kOutputGroup);
    addNumberOptions(app, options);
}

void addNumberOptions(CLI::App *app, CommandOptions *options)
{
    auto *hex = app->add_flag("--hex", options->hex, "values in hexadecimal")->group(kOutputGroup);
    app->add_flag("--signed", options->isSigned, "values with a sign")->excludes(hex)->group(kOutputGroup);
}

void addVariableOptions(CLI::App *app, CommandOptions *options)
{
    app->add_option("VARIABLE", options->variables, "what to read: AREA:ADDRESS[:COUNT][@STATION]")
        ->type_name("");
    auto *start = app->add_option("-r,--start", options->start, "address, with -t in place of VARIABLE")
                      ->type_name("ADDRESS");
    auto *type =
        app->add_option("-t,--type", options->type, "area of -r: its name, or 0, 1, 3, 4 for 0x, 1x, 3x, 4x")
            ->type_name("AREA")
            ->needs(start);
    start->needs(type);
    app->add_option("-c,--count", options->count, "number of values from -r on")
        ->check(CLI::Range(1, 65536))
        ->type_name("N")
        ->capture_default_str()
        ->needs(start);
}

std::string commonHelp()
{
    return "Variables are AREA:ADDRESS[:COUNT][@STATION], as 4x:100, 4x:100:10, 4x_bit:35.3, 4x_d:200, "
           "0x:16:8@5.\n"
           "ADDRESS goes out as it is typed, counting from 0 (from 1 with --option one-based). COUNT is a "
           "number of\n"
           "values: bits, registers, or 32-bit values (of two registers, the upper half first). Areas:\n" +
           areaHelp() + "Options of the driver:\n" + optionHelp() +
           "Policies, all of them on without --without:\n" + policyHelp() +
           "Exit codes: 0 all good, 1 wrong usage or file, 2 no reply, 3 exception reply, 4 unusable "
           "replies,\n"
           "5 port cannot be opened or is lost, 6 some good, some not. With several failures and nothing "
           "good the\n"
           "first failure counts. What an interruption (Ctrl-C) has left undone counts as no reply.";
}

LinkSettings CommandOptions::link() const
{
    LinkSettings settings;
    settings.port = port;
    settings.baud = baud;
    settings.parity = parityOf(parity);
    settings.stopBits = stopBits;
    settings.timeout = fromSeconds(timeoutSeconds);
    if (lateGuardSeconds >= 0)
        settings.lateGuard = fromSeconds(lateGuardSeconds);
    settings.turnaround = std::chrono::milliseconds(turnaroundMs);
    settings.retries = retries;
    settings.station = station;
    settings.linkMode = linkMode;
    settings.maxBlock = maxBlock;
    for (const std::string &name : options)
        settings.options |= optionMask(name);
    settings.echo = echo;
    for (const std::string &name : without)
        turnOff(&settings.policies, name);
    settings.policies.offline = settings.policies.offline && asksForEver;
    settings.offline.failures = offlineAfter;
    settings.offline.firstProbe = fromSeconds(firstProbeSeconds);
    settings.offline.longestProbe = fromSeconds(longestProbeSeconds);
    if (settings.offline.firstProbe > settings.offline.longestProbe)
        throw Failure(kExitUsage,
                      "the first trial (--first-trial) comes later than the longest distance of the "
                      "trials (--longest-trial) allows; make it shorter");
    settings.pollInterval = std::chrono::milliseconds(intervalMs);
    settings.driverPath = driver;
    if (settings.turnaround >= settings.timeout && !quiet)
        std::fprintf(
            stderr, "plchost: the pause after a broadcast (--turnaround) should be shorter than the wait for "
                    "a reply (--timeout)\n");
    return settings;
}

std::vector<Variable> CommandOptions::variableList(bool oneBased) const
{
    std::vector<Variable> list;
    for (const std::string &text : variables)
        list.push_back(parseVariable(text, oneBased));
    if (!type.empty())
        list.push_back(parseVariable(areaOfType(type) + ":" + start + ":" + std::to_string(count), oneBased));
    if (list.empty())
        throw Failure(kExitUsage, "no variable is given; name at least one, as 4x:100:10");
    return list;
}

} // namespace plc::host
