#include "host/commands/option_groups.h"

#include "cli/manual.h"
#include "host/commands/station_list.h"
#include "host/project/setting_names.h"
#include "runtime/line/failure.h"

namespace plc::host {

namespace {

constexpr const char *kLineGroup = "Line";
constexpr const char *kDriverGroup = "Driver";
constexpr const char *kOutputGroup = "Output";

using cli::rare;

/// An option in seconds, with decimals.
/// @param limits  in milliseconds.
CLI::Option *addSeconds(CLI::App *app, const char *name, double *number, Limits limits,
                        const std::string &help, const std::string &group)
{
    return addNumber(app, name, number, limits.least / 1000.0, limits.most / 1000.0, "S", help, group);
}

void addStationOption(CLI::App *app, CommandOptions *options, const std::string &help)
{
    app->add_option("-a,--station", options->stations, help)
        ->check([](const std::string &text) {
            std::vector<int> list;
            return stationListMistake(text, &list);
        })
        ->type_name("N")
        ->capture_default_str()
        ->group(kLineGroup);
}

/// What the port and the line are like.
void addWireOptions(CLI::App *app, CommandOptions *options)
{
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
        ->group(rare(kLineGroup));
    app->add_option("-s,--stop-bits", options->stopBits,
                    "1 or 2; without it 2 where there is no parity, else 1")
        ->check(CLI::IsMember({kStopBitLimits.least, kStopBitLimits.most}))
        ->type_name("N")
        ->group(kLineGroup);
    app->add_flag(
           "--any-rate", options->anyRate,
           "take a port that runs more than 3 % off the rate, with a warning; stations may not understand it")
        ->group(rare(kLineGroup));
    app->add_flag("--rs485{rts-on-send}", options->rs485,
                  "the port switches the direction of the line by RTS; with other settings as "
                  "--rs485=rts-after-send,1,2: delays before and after sending in ms")
        ->group(rare(kLineGroup));
    addSeconds(app, "-o,--timeout", &options->timeoutSeconds, kTimeoutMsLimits,
               "wait for the first byte of a reply, in seconds", kLineGroup)
        ->capture_default_str();
}

void addRetriesOption(CLI::App *app, CommandOptions *options, const char *group)
{
    addNumber(app, "--retries", &options->retries, kRetryLimits, "N",
              "repetitions of a request that got no usable reply", group)
        ->capture_default_str();
}

void addEchoOption(CLI::App *app, CommandOptions *options)
{
    app->add_flag("--echo", options->echo,
                  "the line hands back what is sent on it (two wires); take that off")
        ->group(kLineGroup);
}

void addLineOptions(CLI::App *app, CommandOptions *options)
{
    addStationOption(app, options,
                     "station of variables that name none, 1 to " + std::to_string(kStationLimits.most) +
                         "; 0 broadcasts writes; for read and watch also several, as 1,3,5-8");
    addWireOptions(app, options);
    addSeconds(
        app, "--late-guard", &options->lateGuardSeconds, kLateGuardMsLimits,
        "late guard: a reply that comes late must not pass for the reply to the next request, so after a "
        "time-out the line is listened to that long, in seconds, before another request goes out; without it "
        "as long as the time-out",
        rare(kLineGroup));
    addNumber(app, "--turnaround", &options->turnaroundMs, kTurnaroundMsLimits, "MS",
              "pause after a write that nobody answers, such as a broadcast (ms)", rare(kLineGroup))
        ->capture_default_str();
    addEchoOption(app, options);
    addEchoCheckOption(app, &options->noEchoCheck);
    app->add_option(
           "--without", options->without,
           "turn a policy off, one of the rules by which plchost treats the line, by its name, see below; "
           "repeatable")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->type_name("POLICY")
        ->group(rare(kLineGroup));
}

void addDriverOptions(CLI::App *app, CommandOptions *options)
{
    addRetriesOption(app, options, kDriverGroup);
    addNumber(app, "--max-block", &options->maxBlock, kMaxBlockLimits, "N",
              "most registers in one request; eight times as many bits", rare(kDriverGroup))
        ->capture_default_str();
    addNumber(
        app, "--link-mode", &options->linkMode, kLinkModeLimits, "N",
        "0 = Modbus frames, 1 = relay frames: requests in the wrapping of a peer that carries them on to "
        "the stations",
        rare(kDriverGroup))
        ->capture_default_str();
    app->add_option("--option", options->options,
                    "option of the driver by its name, as one-based; --help-all lists them; repeatable")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->type_name("NAME")
        ->group(kDriverGroup);
}

} // namespace

void explainGroups(cli::Book *book)
{
    book->explain(kDriverGroup,
                  "the library that packs variables into requests, judges replies and repeats requests");
}

std::string numberMistake(const std::string &text)
{
    const bool isNumber = text.find_first_of("0123456789") != std::string::npos &&
                          text.find_first_not_of("0123456789.eE+-") == std::string::npos;
    return isNumber ? "" : "'" + text + "' is no number";
}

void addPortOptions(CLI::App *app, CommandOptions *options)
{
    app->add_option("-p,--port", options->port,
                    "serial port or pseudo-terminal, as /dev/ttyUSB0; without it the project's")
        ->type_name("PATH")
        ->check([](const std::string &path) { return path.empty() ? "must name a port" : ""; })
        ->group(kLineGroup);
    app->add_option("--project", options->projectFile,
                    "project file: its variables go by their names, its settings count where none is typed")
        ->type_name("FILE")
        ->check([](const std::string &path) { return path.empty() ? "must name a file" : ""; })
        ->group(kLineGroup);
}

void noteTyped(const CLI::App &app, CommandOptions *options)
{
    for (const CLI::Option *option : app.get_options()) {
        for (const std::string &name : option->get_lnames()) {
            if (option->count() > 0)
                options->typed.insert("--" + name);
        }
    }
    if (options->port.empty() && options->projectFile.empty())
        throw Failure(FailureKind::Usage, "no port is named; give one with -p PATH, as -p /dev/ttyUSB0, or a "
                                          "project that names one with --project FILE");
}

void addDriverOption(CLI::App *app, std::string *path)
{
    app->add_option("--driver", *path, "the driver library, if it is not the one beside this program")
        ->type_name("PATH")
        ->group(rare(kDriverGroup));
}

void addSettingOptions(CLI::App *app, CommandOptions *options)
{
    addLineOptions(app, options);
    addDriverOptions(app, options);
}

void addLinkOptions(CLI::App *app, CommandOptions *options)
{
    addSettingOptions(app, options);
    addReadOnlyOption(app, &options->readOnly);
    addDriverOption(app, &options->driver);
    addVerbosityOptions(app, options);
}

void addAskedStationOption(CLI::App *app, AskOptions *options)
{
    options->forSeveralStations = "are asked one by one; give the command for each";
    const std::string range = "to ask, 1 to " + std::to_string(kStationLimits.most);
    addStationOption(app, options,
                     options->takesSeveralStations ? "stations " + range + ", as 1,3,5-8"
                                                   : "station " + range);
}

void addAskOptions(CLI::App *app, AskOptions *options)
{
    // What comes of it may be a project, which runs for ever.
    options->asksForEver = true;
    addPortOptions(app, options);
    addWireOptions(app, options);
    addEchoOption(app, options);
    addRetriesOption(app, options, rare(kLineGroup).c_str());
    app->add_flag("--crc-high-first", options->crcHighFirst,
                  "requests have the high byte of their CRC first; replies may have it either way")
        ->group(rare(kLineGroup));
    addReadOnlyOption(app, &options->readOnly);
    addVerbosityOptions(app, options);
}

void addTextFormatOption(CLI::App *app, OutputOptions *options)
{
    app->add_option("--format", options->format, "text or ndjson")
        ->check(CLI::IsMember({"text", "ndjson"}))
        ->type_name("NAME")
        ->capture_default_str()
        ->group(kOutputGroup);
}

void addOfflineOptions(CLI::App *app, CommandOptions *options)
{
    options->asksForEver = true;
    addNumber(app, "--offline-after", &options->offlineAfter, kOfflineFailureLimits, "N",
              "failed requests in a row after which a station is left alone but for a trial now and then",
              rare(kLineGroup))
        ->capture_default_str();
    addSeconds(app, "--first-trial", &options->firstProbeSeconds, kProbeMsLimits,
               "from then to the first trial, in seconds; each trial that fails doubles the distance",
               rare(kLineGroup))
        ->capture_default_str();
    addSeconds(app, "--longest-trial", &options->longestProbeSeconds, kProbeMsLimits,
               "longest distance of the trials, in seconds; more where several stations are offline",
               rare(kLineGroup))
        ->capture_default_str();
}

void addReopenOption(CLI::App *app, bool *noReopen)
{
    app->add_flag("--no-reopen", *noReopen,
                  "end with exit code 5 when the port is lost, instead of looking for it until it is back")
        ->group(kLineGroup);
}

void addEchoCheckOption(CLI::App *app, bool *noEchoCheck)
{
    app->add_flag(
           "--no-echo-check", *noEchoCheck,
           "no read before the first write to a station that has not answered yet, which shows whether "
           "the line hands back what is sent")
        ->group(kLineGroup);
}

void addRealtimeOption(CLI::App *app, bool *realtime)
{
    app->add_flag(
           "--realtime", *realtime,
           "requests go out in time on a busy machine too: the thread of the line goes before all ordinary "
           "programs, and memory stays in place; a line on standard error tells where the system refuses")
        ->group(rare(kLineGroup));
}

void addPlainOption(CLI::App *app, bool *plain)
{
    app->add_flag("--plain", *plain, "print lines on a terminal, too, instead of the screen")
        ->group(kOutputGroup);
}

void addVariableOptions(CLI::App *app, CommandOptions *options)
{
    options->takesSeveralStations = true;
    app->add_option("VARIABLE", options->variables,
                    "what to read: AREA:ADDRESS[:COUNT][/FORMAT][@STATION], or a name of the project")
        ->type_name("");
    app->add_option("-r,--start", options->start, "address, with -t in place of VARIABLE")
        ->type_name("ADDRESS");
    app->add_option("-t,--type", options->type,
                    "area of -r: its name, or 0, 1, 3, 4 for 0x, 1x, 3x, 4x; a format behind /, as "
                    "4/f32, or as a word: 4:float, 4:int, 4:int16, 4:hex")
        ->type_name("AREA");
    addNumber(app, "-c,--count", &options->count, kValueCountLimits, "N", "number of values from -r on")
        ->capture_default_str();
}

void addReadOnlyOption(CLI::App *app, bool *readOnly)
{
    app->add_flag("--read-only", *readOnly,
                  "nothing is written, whatever is asked for: no frame goes out but such that read")
        ->group(kLineGroup);
}

void addVerbosityOptions(CLI::App *app, OutputOptions *options)
{
    app->add_flag(
           "-v,--verbose", options->verbose,
           "trace every frame on standard error, and tell what the port can do; the statistics also say "
           "which errors it has noticed and how late requests were")
        ->group(kOutputGroup);
    app->add_flag("-q,--quiet", options->quiet,
                  "no statistics, advice or screen; values and failures are still told")
        ->group(kOutputGroup);
    addCaptureOption(app, &options->captureFile);
}

void addListenOptions(CLI::App *app, ListenOptions *options)
{
    const auto named = [](const std::string &path) { return path.empty() ? "must name a file" : ""; };
    app->add_option("CAPTURE", options->file, "a capture that was made before, in place of a port")
        ->type_name("")
        ->check(named);
    app->add_option("-p,--port", options->port,
                    "serial port or pseudo-terminal, as /dev/ttyUSB0; without it the project's")
        ->type_name("PATH")
        ->check([](const std::string &path) { return path.empty() ? "must name a port" : ""; })
        ->group(kLineGroup);
    app->add_option("--project", options->projectFile,
                    "project file: values go by the names of its variables, its settings count where none is "
                    "typed")
        ->type_name("FILE")
        ->check(named)
        ->group(kLineGroup);
    addNumber(app, "-b,--baud", &options->baud, kBaudLimits, "RATE",
              "bits per second; without it the rate is found by listening", kLineGroup);
    app->add_option("-P,--parity", options->parity,
                    "even, odd or none; without it the parity is found by listening")
        ->check(CLI::IsMember(parityNames()))
        ->type_name("NAME")
        ->group(kLineGroup);
    app->add_flag("--any-rate", options->anyRate,
                  "take a port that runs more than 3 % off the rate, with a warning")
        ->group(rare(kLineGroup));
    addNumber(app, "--for", &options->forSeconds, 0.1, 1e6, "S", "end after that many seconds");
    app->add_flag("-v,--verbose", options->verbose, "show the bytes of each frame, and what the port can do")
        ->group(kOutputGroup);
    app->add_flag("-q,--quiet", options->quiet, "no frames: only the statistics at the end")
        ->group(kOutputGroup);
    app->add_option("--capture", options->captureFile,
                    "keep all that goes over the line in a file that Wireshark opens, as line.pcapng; - for "
                    "standard output, where nothing else is printed then")
        ->type_name("FILE")
        ->check(named)
        ->group(kOutputGroup);
}

void addCaptureOption(CLI::App *app, std::string *path)
{
    app->add_option("--capture", *path,
                    "keep all that goes over the line in a file that Wireshark opens, as line.pcapng")
        ->type_name("FILE")
        ->check([](const std::string &name) { return name.empty() ? "must name a file" : ""; })
        ->group(kOutputGroup);
}

void addNumberOptions(CLI::App *app, OutputOptions *options)
{
    auto *hex =
        app->add_flag("--hex", options->hex, "values without a format in hexadecimal")->group(kOutputGroup);
    app->add_flag("--signed", options->isSigned, "values without a format with a sign")
        ->excludes(hex)
        ->group(kOutputGroup);
}

void addLogOption(CLI::App *app, OutputOptions *options)
{
    app->add_option("--log", options->logFile,
                    "append values and events to a file too, as ndjson; SIGUSR1 has it opened again")
        ->type_name("FILE")
        ->check([](const std::string &path) { return path.empty() ? "must name a file" : ""; })
        ->group(kOutputGroup);
}

void addAuditOption(CLI::App *app, OutputOptions *options)
{
    app->add_option("--audit", options->auditFile,
                    "append every write that is ordered, and how it ended, to a file, as ndjson; what "
                    "cannot be noted there is not written")
        ->type_name("FILE")
        ->check([](const std::string &path) { return path.empty() ? "must name a file" : ""; })
        ->group(kOutputGroup);
}

void addScanOptions(CLI::App *app, ScanOptions *options)
{
    app->add_option("-p,--port", options->port, "serial port or pseudo-terminal, as /dev/ttyUSB0")
        ->type_name("PATH")
        ->check([](const std::string &path) { return path.empty() ? "must name a port" : ""; })
        ->required()
        ->group(kLineGroup);
    app->add_option("-a,--station", options->stations, "stations to ask, as 1,3,5-8")
        ->type_name("LIST")
        ->capture_default_str()
        ->group(kLineGroup);
    app->add_option("-b,--baud", options->bauds,
                    "rates to try; a range has the usual rates in it, as 9600-115200")
        ->type_name("LIST")
        ->capture_default_str()
        ->group(kLineGroup);
    app->add_option("-P,--parity", options->parities, "parities to try, of even, odd and none")
        ->type_name("LIST")
        ->capture_default_str()
        ->group(kLineGroup);
    app->add_option("-s,--stop-bits", options->stopBits,
                    "1, 2 or 1,2; without it 2 where there is no parity, else 1")
        ->type_name("LIST")
        ->group(kLineGroup);
    app->add_option("--ask", options->ask, "the register or bit that is read, as 4x:100")
        ->type_name("PLACE")
        ->capture_default_str()
        ->group(kLineGroup);
    app->add_option("--wait", options->wait,
                    "least wait for a reply, as 50ms or 0.05; grows with the replies seen")
        ->type_name("TIME")
        ->capture_default_str()
        ->group(kLineGroup);
    app->add_option("--listen", options->listen, "listen before anything is sent; 0 = not at all")
        ->type_name("TIME")
        ->capture_default_str()
        ->group(kLineGroup);
    app->add_flag("--anyway", options->anyway, "ask on a line in use, too, which may disturb it")
        ->group(kLineGroup);
    app->add_flag("--any-rate", options->anyRate, "take a port that runs more than 3 % off a rate")
        ->group(rare(kLineGroup));
    app->add_flag("--rs485{rts-on-send}", options->rs485,
                  "the port switches the direction of the line by RTS; with other settings as "
                  "--rs485=rts-after-send,1,2")
        ->group(rare(kLineGroup));
    app->add_option("--write-project", options->projectFile,
                    "make a project file of the stations found, which run takes")
        ->type_name("FILE")
        ->check([](const std::string &path) { return path.empty() ? "must name a file" : ""; })
        ->group(kOutputGroup);
}

void addFormatOption(CLI::App *app, OutputOptions *options)
{
    app->add_option("--format", options->format, "text, csv or ndjson")
        ->check(CLI::IsMember({"text", "csv", "ndjson"}))
        ->type_name("NAME")
        ->capture_default_str()
        ->group(kOutputGroup);
}

void addOutputOptions(CLI::App *app, OutputOptions *options)
{
    addFormatOption(app, options);
    addNumberOptions(app, options);
}

} // namespace plc::host
