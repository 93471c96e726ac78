#include "host/commands/command_line.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>
#include <string>

#include "host/commands/command_options.h"
#include "host/commands/commands.h"
#include "host/project/project_input.h"
#include "host/project/setting_names.h"
#include "runtime/line/setting_limits.h"

namespace plc::host {

namespace {

constexpr const char *kLineGroup = "Line";
constexpr const char *kDriverGroup = "Driver";
constexpr const char *kOutputGroup = "Output";

constexpr const char *kExitCodes =
    "Exit codes: 0 all good, 1 wrong usage or file, 2 no reply, 3 exception reply, 4 unusable replies,\n"
    "5 port cannot be opened or is lost, 6 some good, some not.";

constexpr const char *kReadExample = "Example: ten holding registers and a 32-bit value of station 5:\n"
                                     "  plchost read -p /dev/ttyUSB0 -b 9600 -a 5 4x:100:10 4x_d:200\n\n";

constexpr const char *kWriteExample =
    "Example: two registers, a bit inside a register and a 32-bit value, read back "
    "afterwards:\n"
    "  plchost write -p /dev/ttyUSB0 -a 5 4x:100=1,2 4x_bit:35.3=1 4x_d:200=-70000 "
    "--verify\n\n";

constexpr const char *kWatchExample =
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

constexpr const char *kPlanHelp =
    "Example: what a project costs at 115200 baud with stations that think for 5 ms:\n"
    "  plchost plan docs/examples/packaging_line.json -b 115200 --answer-delay 5\n\n"
    "No line is needed: the driver is loaded, gets the project, and its requests are answered with zeros. "
    "Shown are the\n"
    "requests that it makes, the registers or bits among them that no variable wants, and times computed "
    "from the baud\n"
    "rate: 11 bits a character, a silence of 3.5 characters (1.75 ms above 19200 baud) before each request, "
    "and the\n"
    "same or the answer delay before each reply.\n\n"
    "A scan is over when every request, also those of the priority levels, has been served at least once; "
    "meanwhile the\n"
    "levels are served at their rates, so that some requests go out many times.\n\n"
    "The file format is described in docs/projects.md.\n";

constexpr const char *kRunExample =
    "Example: one scan of a project over a simulated line, all values as JSON, a line each:\n"
    "  plcstation -a 1-8 --link /tmp/line & plchost run docs/examples/packaging_line.json -p /tmp/line "
    "--scans 1 "
    "--format ndjson\n\n";

constexpr const char *kScanHelp =
    "A scan is over when, since the scan before it, every variable has been asked for, whether its station "
    "answered or\n"
    "not, those of stations that are switched off or offline left out: every request of the driver's read "
    "list and every request of "
    "its\n"
    "priority levels has been served at least once. Level 1 is the slowest: the driver serves it once in "
    "three turns\n"
    "of the ordinary requests. Levels 2, 3 and 4 are served after every sixth, third and single ordinary "
    "request.\n\n"
    "On a terminal a table is drawn and kept up to date; otherwise the values are printed at the end, and "
    "with --every\n"
    "meanwhile. Writes are reported on standard output in text and ndjson, on standard error in csv. The "
    "statistics at\n"
    "the end go to standard error, and in ndjson to the last line of standard output as well. Writes that "
    "are still\n"
    "waiting when --for, --scans or quit end the run are carried out first.\n\n"
    "The file format is described in docs/projects.md.\n";

constexpr const char *kRunCodes =
    " The last reading of each variable counts, each write,\n"
    "and each line that was not understood. Variables of stations that are switched off do not count.\n";

constexpr const char *kDemoExample =
    "Example:\n  plchost demo\n\n"
    "Starts plcstation, reads and writes variables of all kinds over a pseudo-terminal,\n"
    "and shows what came back, with ? for what was not read. Ends with exit code 0 only if all of it is what "
    "was\n"
    "written; why something is not goes to standard error.\n\n";

/// An option with a number from @p least to @p most.
template <typename Number>
CLI::Option *addNumber(CLI::App *app, const char *name, Number *number, Number least, Number most,
                       const char *unit, const std::string &help, const char *group = "Options")
{
    return app->add_option(name, *number, help)
        ->check(CLI::Range(least, most))
        ->type_name(unit)
        ->group(group);
}

CLI::Option *addNumber(CLI::App *app, const char *name, int *number, Limits limits, const char *unit,
                       const std::string &help, const char *group = "Options")
{
    return addNumber(app, name, number, limits.least, limits.most, unit, help, group);
}

/// An option in seconds, with decimals.
/// @param limits  in milliseconds.
CLI::Option *addSeconds(CLI::App *app, const char *name, double *number, Limits limits,
                        const std::string &help, const char *group)
{
    return addNumber(app, name, number, limits.least / 1000.0, limits.most / 1000.0, "S", help, group);
}

void addLineOptions(CLI::App *app, CommandOptions *options)
{
    addNumber(app, "-a,--station", &options->station, 0, kStationLimits.most, "N",
              "station of variables that name none, 1 to " + std::to_string(kStationLimits.most) +
                  "; 0 broadcasts writes",
              kLineGroup)
        ->capture_default_str();
    addNumber(app, "-b,--baud", &options->baud, kBaudLimits, "RATE", "bits per second", kLineGroup)
        ->capture_default_str();
    app->add_option("-P,--parity", options->parity, "even, odd or none")
        ->check(CLI::IsMember(parityNames()))
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
        ->check(CLI::IsMember({kStopBitLimits.least, kStopBitLimits.most}))
        ->type_name("N")
        ->group(kLineGroup);
    addSeconds(app, "-o,--timeout", &options->timeoutSeconds, kTimeoutMsLimits,
               "wait for the first byte of a reply, in seconds", kLineGroup)
        ->capture_default_str();
    addSeconds(app, "--late-guard", &options->lateGuardSeconds, kLateGuardMsLimits,
               "listen that long after a time-out before another request goes out, in seconds; without it "
               "as long as the time-out",
               kLineGroup);
    addNumber(app, "--turnaround", &options->turnaroundMs, kTurnaroundMsLimits, "MS",
              "pause after a write that nobody answers (ms)", kLineGroup)
        ->capture_default_str();
    app->add_flag("--echo", options->echo,
                  "the line hands back what is sent on it (two wires); take that off. Without it the echo of "
                  "a write "
                  "of one register or coil passes for the reply, which looks the same")
        ->group(kLineGroup);
    app->add_option("--without", options->without, "policy to do without, by name, see below; repeatable")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->type_name("POLICY")
        ->group(kLineGroup);
}

void addDriverOption(CLI::App *app, std::string *path)
{
    app->add_option("--driver", *path, "the driver library, if it is not the one beside this program")
        ->type_name("PATH")
        ->group(kDriverGroup);
}

void addDriverOptions(CLI::App *app, CommandOptions *options)
{
    addNumber(app, "--retries", &options->retries, kRetryLimits, "N",
              "repetitions of a request that got no usable reply", kDriverGroup)
        ->capture_default_str();
    addNumber(app, "--max-block", &options->maxBlock, kMaxBlockLimits, "N",
              "most registers in one request; eight times as many bits", kDriverGroup)
        ->capture_default_str();
    addNumber(app, "--link-mode", &options->linkMode, kLinkModeLimits, "N",
              "0 = Modbus frames, 1 = relay frames", kDriverGroup)
        ->capture_default_str();
    app->add_option("--option", options->options, "option of the driver by name, see below; repeatable")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->type_name("NAME")
        ->group(kDriverGroup);
    addDriverOption(app, &options->driver);
}

/// What is told besides values.
void addVerbosityOptions(CLI::App *app, OutputOptions *options)
{
    app->add_flag("-v,--verbose", options->verbose, "trace every frame on standard error")
        ->group(kOutputGroup);
    app->add_flag("-q,--quiet", options->quiet,
                  "no statistics, advice or live table; values and failures are still told")
        ->group(kOutputGroup);
}

/// -p, without which there is no line.
void addPortOption(CLI::App *app, CommandOptions *options)
{
    app->add_option("-p,--port", options->port, "serial port or pseudo-terminal, as /dev/ttyUSB0")
        ->type_name("PATH")
        ->required()
        ->check([](const std::string &path) { return path.empty() ? "must name a port" : ""; })
        ->group(kLineGroup);
}

/// Options of the line and of the driver and what is told besides values: all but the port.
void addLinkOptions(CLI::App *app, CommandOptions *options)
{
    addLineOptions(app, options);
    addDriverOptions(app, options);
    addVerbosityOptions(app, options);
}

/// When a dead station is left alone, for commands that ask over and over.
void addOfflineOptions(CLI::App *app, CommandOptions *options)
{
    options->asksForEver = true;
    addNumber(app, "--offline-after", &options->offlineAfter, kOfflineFailureLimits, "N",
              "failed requests in a row after which a station is left alone but for a trial now and then",
              kLineGroup)
        ->capture_default_str();
    addSeconds(app, "--first-trial", &options->firstProbeSeconds, kProbeMsLimits,
               "from then to the first trial, in seconds; each trial that fails doubles the distance",
               kLineGroup)
        ->capture_default_str();
    addSeconds(app, "--longest-trial", &options->longestProbeSeconds, kProbeMsLimits,
               "longest distance of the trials, in seconds; more where several stations are offline",
               kLineGroup)
        ->capture_default_str();
}

/// How numbers are shown.
void addNumberOptions(CLI::App *app, OutputOptions *options)
{
    auto *hex = app->add_flag("--hex", options->hex, "values in hexadecimal")->group(kOutputGroup);
    app->add_flag("--signed", options->isSigned, "values with a sign")->excludes(hex)->group(kOutputGroup);
}

/// How values are shown.
void addOutputOptions(CLI::App *app, OutputOptions *options)
{
    app->add_option("--format", options->format, "text, csv or ndjson")
        ->check(CLI::IsMember({"text", "csv", "ndjson"}))
        ->type_name("NAME")
        ->capture_default_str()
        ->group(kOutputGroup);
    addNumberOptions(app, options);
}

/// Variables by name, and one by -t, -r and -c.
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
    addNumber(app, "-c,--count", &options->count, kValueCountLimits, "N", "number of values from -r on")
        ->capture_default_str()
        ->needs(start);
}

/// What the help of the commands ends with that take variables by name.
std::string commonHelp()
{
    return "Variables are AREA:ADDRESS[:COUNT][@STATION], as 4x:100, 4x:100:10, 4x_bit:35.3, 4x_d:200, "
           "0x:16:8@5.\n"
           "ADDRESS goes out as it is typed, counting from 0 (from 1 with --option one-based). COUNT is a "
           "number of\n"
           "values: bits, registers, or 32-bit values (of two registers, the upper half first). Areas:\n" +
           areaHelp() + "Options of the driver:\n" + optionHelp() +
           "Policies, all of them on without --without:\n" + policyHelp() + kExitCodes +
           " With several failures and nothing good the\n"
           "first failure counts. What an interruption (Ctrl-C) has left undone counts as no reply.";
}

void addReadCommand(CLI::App *program, Command *chosen)
{
    auto options = std::make_shared<CommandOptions>();
    CLI::App *command = program->add_subcommand("read", "read each variable once and print its values");
    addPortOption(command, options.get());
    addVariableOptions(command, options.get());
    addLinkOptions(command, options.get());
    addOutputOptions(command, options.get());
    command->footer(kReadExample + commonHelp());
    command->callback([options, chosen] { *chosen = [options] { return readVariables(*options); }; });
}

void addWriteCommand(CLI::App *program, Command *chosen)
{
    auto options = std::make_shared<WriteOptions>();
    CLI::App *command = program->add_subcommand("write", "write values and wait until each write has ended");
    addPortOption(command, options.get());
    command->add_option("WRITE", options->assignments, "what to write: VARIABLE=VALUE[,VALUE...]")
        ->type_name("")
        ->required();
    command->add_flag(
        "--verify", options->verify,
        "read back what was written and compare; on a line that hands back what is sent only --echo "
        "makes sure that a single write was answered, and --verify that it was done");
    addLinkOptions(command, options.get());
    addOutputOptions(command, options.get());
    command->footer(kWriteExample +
                    std::string("Values are decimal (-32768 to 65535 in a register, -2147483648 to "
                                "4294967295 in 32 bits),\nhexadecimal (0x04D2), or for bits 0, 1, off, on, "
                                "false, true.\n\n") +
                    commonHelp());
    command->callback([options, chosen] { *chosen = [options] { return writeVariables(*options); }; });
}

void addWatchCommand(CLI::App *program, Command *chosen)
{
    auto options = std::make_shared<WatchOptions>();
    CLI::App *command = program->add_subcommand("watch", "read variables over and over and show them");
    addPortOption(command, options.get());
    addVariableOptions(command, options.get());
    addNumber(command, "-l,--interval", &options->intervalMs, kPollIntervalMsLimits, "MS",
              "from the start of a scan to the start of the next (ms); 0 = without pause")
        ->capture_default_str();
    addNumber(command, "--for", &options->forSeconds, 0.1, 1e6, "S", "end after that many seconds");
    command->add_flag("-1,--once", options->once, "end when each variable has been read once");
    addLinkOptions(command, options.get());
    addOfflineOptions(command, options.get());
    addOutputOptions(command, options.get());
    command->footer(kWatchExample + commonHelp());
    command->callback([options, chosen] { *chosen = [options] { return watchVariables(*options); }; });
}

void addRunCommand(CLI::App *program, Command *chosen)
{
    auto options = std::make_shared<RunOptions>();
    CLI::App *command =
        program->add_subcommand("run", "play the runtime of a project: read, show and write its variables");
    command->add_option("PROJECT", options->file, "project file")->type_name("")->required();
    command
        ->add_option("-p,--port", options->port, "serial port or pseudo-terminal, in place of the project's")
        ->type_name("PATH");
    addNumber(command, "--for", &options->forSeconds, 0.1, 1e6, "S", "end after that many seconds");
    addNumber(command, "--scans", &options->scans, 1, 1000000000, "N", "end after that many full scans");
    addNumber(command, "--every", &options->everySeconds, 0.1, 1e6, "S",
              "print all values every S seconds where there is no table");
    addDriverOption(command, &options->driver);
    addVerbosityOptions(command, options.get());
    addOutputOptions(command, options.get());
    command->footer(kRunExample + projectInputHelp() + "\n" + kScanHelp + kExitCodes + kRunCodes);
    command->callback([options, chosen] { *chosen = [options] { return runProject(*options); }; });
}

void addPlanCommand(CLI::App *program, Command *chosen)
{
    auto options = std::make_shared<PlanOptions>();
    CLI::App *command =
        program->add_subcommand("plan", "show what a project costs on the line, without a line");
    command->add_option("PROJECT", options->file, "project file")->type_name("")->required();
    addNumber(command, "-b,--baud", &options->baud, kBaudLimits, "RATE",
              "bits per second, in place of the project's");
    addNumber(command, "--answer-delay", &options->answerDelayMs, 0.0, 60000.0, "MS",
              "what stations take from request to reply (ms)")
        ->capture_default_str();
    command->add_option("--format", options->format, "text or json")
        ->check(CLI::IsMember({"text", "json"}))
        ->type_name("NAME")
        ->capture_default_str();
    command->add_flag("--names", options->allNames, "name all variables of a request, however many");
    addDriverOption(command, &options->driver);
    command->footer(kPlanHelp);
    command->callback([options, chosen] { *chosen = [options] { return planProject(*options); }; });
}

void addDemoCommand(CLI::App *program, Command *chosen)
{
    auto options = std::make_shared<DemoOptions>();
    CLI::App *command =
        program->add_subcommand("demo", "show everything against a simulated station of its own");
    addLinkOptions(command, options.get());
    addNumberOptions(command, options.get());
    command
        ->add_option("--station-program", options->stationProgram,
                     "plcstation, if it is not the one beside this program")
        ->type_name("PATH");
    command->footer(kDemoExample + commonHelp());
    command->callback([options, chosen] { *chosen = [options] { return runDemo(*options); }; });
}

/// What is wrong with the first word, where it should be a command and is none.
std::string unknownCommand(const CLI::App &program, int argc, char **argv)
{
    if (argc < 2 || argv[1][0] == '-')
        return std::string();
    std::string names;
    for (const CLI::App *command : program.get_subcommands(nullptr)) {
        if (command->get_name() == argv[1])
            return std::string();
        names += (names.empty() ? "" : ", ") + command->get_name();
    }
    return "'" + std::string(argv[1]) + "' is no command; commands are " + names;
}

/// The words that show the help on what was typed.
std::string helpFor(const CLI::App &program)
{
    const auto chosen = program.get_subcommands();
    return "plchost " + (chosen.empty() ? "" : chosen.front()->get_name() + " ") + "--help";
}

} // namespace

Command parseCommandLine(int argc, char **argv)
{
    CLI::App program("plchost: reads and writes Modbus RTU stations through the panel driver", "plchost");
    program.require_subcommand(1);
    program.footer(std::string("plchost COMMAND --help shows the options of a command and an example.\n") +
                   kExitCodes);
    Command chosen;
    addReadCommand(&program, &chosen);
    addWriteCommand(&program, &chosen);
    addWatchCommand(&program, &chosen);
    addRunCommand(&program, &chosen);
    addPlanCommand(&program, &chosen);
    addDemoCommand(&program, &chosen);
    const std::string unknown = unknownCommand(program, argc, argv);
    if (!unknown.empty())
        throw Failure(FailureKind::Usage, unknown);
    try {
        program.parse(argc, argv);
        return chosen;
    } catch (const CLI::CallForHelp &) {
        const auto commands = program.get_subcommands();
        const std::string help =
            commands.empty() ? program.help() : commands.front()->help(program.get_name());
        return [help] {
            std::cout << help;
            return kExitGood;
        };
    } catch (const CLI::ParseError &error) {
        throw Failure(FailureKind::Usage,
                      std::string(error.what()) + " (" + helpFor(program) + " shows what is possible)");
    }
}

} // namespace plc::host
