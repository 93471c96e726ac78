#include "host/commands/command_line.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <string>

#include "cli/manual.h"
#include "cli/parsing.h"
#include "host/commands/command_options.h"
#include "host/commands/commands.h"
#include "host/commands/completed_values.h"
#include "host/commands/help_texts.h"
#include "host/commands/option_groups.h"
#include "host/commands/standard_streams.h"
#include "runtime/line/rtu_layout.h"

namespace plc::host {

namespace {

void addReadCommand(CLI::App *program, cli::Book *book, Command *chosen)
{
    auto options = std::make_shared<CommandOptions>();
    CLI::App *command = program->add_subcommand("read", "read each variable once and print its values");
    addPortOptions(command, options.get());
    addVariableOptions(command, options.get());
    addLinkOptions(command, options.get());
    addOutputOptions(command, options.get());
    book->of(command) = readManual();
    command->callback([command, options, chosen] {
        noteTyped(*command, options.get());
        *chosen = [options] {
            options->takeProject();
            return readVariables(*options);
        };
    });
}

void addWriteCommand(CLI::App *program, cli::Book *book, Command *chosen)
{
    auto options = std::make_shared<WriteOptions>();
    CLI::App *command = program->add_subcommand("write", "write values and wait until each write has ended");
    addPortOptions(command, options.get());
    command
        ->add_option("WRITE", options->assignments,
                     "what to write: VARIABLE=VALUE[,VALUE...], the variable as it is read")
        ->type_name("");
    command
        ->add_option("--from", options->from,
                     "write what read --format csv has printed into this file, - for standard input; values "
                     "of areas that cannot be written are skipped and counted; addresses count as at the "
                     "reading, with --option one-based from 1")
        ->type_name("FILE");
    command->add_flag("--dry-run", options->dryRun,
                      "write nothing; read what the stations hold and tell what would change");
    command->add_flag(
        "--verify", options->verify,
        "read back what was written and compare; on a line that hands back what is sent only --echo "
        "makes sure that a single write was answered, and --verify that it was done");
    addLinkOptions(command, options.get());
    addOutputOptions(command, options.get());
    addAuditOption(command, options.get());
    book->of(command) = writeManual();
    command->callback([command, options, chosen] {
        noteTyped(*command, options.get());
        *chosen = [options] {
            options->takeProject();
            return writeVariables(*options);
        };
    });
}

void addWatchCommand(CLI::App *program, cli::Book *book, Command *chosen)
{
    auto options = std::make_shared<WatchOptions>();
    CLI::App *command = program->add_subcommand("watch", "read variables over and over and show them");
    addPortOptions(command, options.get());
    addVariableOptions(command, options.get());
    addNumber(command, "-l,--interval", &options->intervalMs, kPollIntervalMsLimits, "MS",
              "from the start of a scan to the start of the next (ms); 0 = without pause")
        ->capture_default_str();
    addNumber(command, "--for", &options->forSeconds, 0.1, 1e6, "S", "end after that many seconds");
    command->add_flag("-1,--once", options->once, "end when each variable has been read once");
    addLinkOptions(command, options.get());
    addRealtimeOption(command, &options->realtime);
    addPlainOption(command, &options->plain);
    addOfflineOptions(command, options.get());
    addReopenOption(command, &options->noReopen);
    addOutputOptions(command, options.get());
    addLogOption(command, options.get());
    book->of(command) = watchManual();
    command->callback([command, options, chosen] {
        noteTyped(*command, options.get());
        *chosen = [options] {
            options->takeProject();
            return watchVariables(*options);
        };
    });
}

void addRunCommand(CLI::App *program, cli::Book *book, Command *chosen)
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
              "print all values every S seconds where there is no screen");
    addReopenOption(command, &options->noReopen);
    addReadOnlyOption(command, &options->readOnly);
    addEchoCheckOption(command, &options->noEchoCheck);
    addRealtimeOption(command, &options->realtime);
    addPlainOption(command, &options->plain);
    addDriverOption(command, &options->driver);
    addVerbosityOptions(command, options.get());
    addOutputOptions(command, options.get());
    addLogOption(command, options.get());
    addAuditOption(command, options.get());
    book->of(command) = runManual();
    command->callback([options, chosen] { *chosen = [options] { return runProject(*options); }; });
}

void addListenCommand(CLI::App *program, cli::Book *book, Command *chosen)
{
    auto options = std::make_shared<ListenOptions>();
    CLI::App *command = program->add_subcommand(
        "listen", "show what goes over a line and who answers how fast, without sending anything");
    addListenOptions(command, options.get());
    addFormatOption(command, options.get());
    addNumberOptions(command, options.get());
    book->of(command) = listenManual();
    command->callback([options, chosen] { *chosen = [options] { return listenToLine(*options); }; });
}

void addPlanCommand(CLI::App *program, cli::Book *book, Command *chosen)
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
    book->of(command) = planManual();
    command->callback([options, chosen] { *chosen = [options] { return planProject(*options); }; });
}

void addProjectCommand(CLI::App *program, cli::Book *book, Command *chosen)
{
    CLI::App *command =
        program->add_subcommand("project", "make a project of a register map, or a map of a project");
    command->require_subcommand(1);
    book->of(command) = projectManual();

    auto options = std::make_shared<MapOptions>();
    CLI::App *fromCsv = command->add_subcommand("from-csv", "write the project file of a register map");
    fromCsv->add_option("MAP", options->file, "register map: a table in CSV")->type_name("")->required();
    fromCsv->add_option("--name", options->name, "name of the project, for people")->type_name("TEXT");
    fromCsv->add_option("-p,--port", options->port, "serial port or pseudo-terminal")->type_name("PATH");
    addSettingOptions(fromCsv, options.get());
    addOfflineOptions(fromCsv, options.get());
    book->of(fromCsv) = fromCsvManual();
    fromCsv->callback([options, chosen] { *chosen = [options] { return projectFromMap(*options); }; });

    auto file = std::make_shared<std::string>();
    CLI::App *toCsv = command->add_subcommand("to-csv", "write the variables of a project as a register map");
    toCsv->add_option("PROJECT", *file, "project file")->type_name("")->required();
    book->of(toCsv) = toCsvManual();
    toCsv->callback([file, chosen] { *chosen = [file] { return mapFromProject(*file); }; });
}

void addDemoCommand(CLI::App *program, cli::Book *book, Command *chosen)
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
    book->of(command) = demoManual();
    command->callback([options, chosen] { *chosen = [options] { return runDemo(*options); }; });
}

void addScanCommand(CLI::App *program, cli::Book *book, Command *chosen)
{
    auto options = std::make_shared<ScanOptions>();
    CLI::App *command =
        program->add_subcommand("scan", "find the stations on a line, and the settings that they have");
    addScanOptions(command, options.get());
    addVerbosityOptions(command, options.get());
    addFormatOption(command, options.get());
    book->of(command) = scanManual();
    command->callback([options, chosen] { *chosen = [options] { return scanLine(*options); }; });
}

/// Reads the project, then runs the command.
template <typename Options>
void chooseAsking(CLI::App *command, const std::shared_ptr<Options> &options, Command *chosen,
                  ExitCode (*run)(const Options &))
{
    command->callback([command, options, chosen, run] {
        noteTyped(*command, options.get());
        *chosen = [options, run] {
            options->takeProject();
            return run(*options);
        };
    });
}

void addIdentifyCommand(CLI::App *program, cli::Book *book, Command *chosen)
{
    auto options = std::make_shared<AskOptions>();
    options->takesSeveralStations = true;
    CLI::App *command = program->add_subcommand("identify", "ask stations who they are");
    addAskedStationOption(command, options.get());
    addAskOptions(command, options.get());
    addTextFormatOption(command, options.get());
    book->of(command) = identifyManual();
    chooseAsking(command, options, chosen, identifyStations);
}

void addLimitsCommand(CLI::App *program, cli::Book *book, Command *chosen)
{
    auto options = std::make_shared<LimitsOptions>();
    CLI::App *command =
        program->add_subcommand("limits", "find out by reads what a station can do, and how fast");
    addNumber(command, "-r,--start", &options->address, 0, kAddresses - 1, "ADDRESS",
              "an address that exists, with others behind it")
        ->capture_default_str();
    addNumber(command, "--samples", &options->samples, 1, 100000, "N", "reads whose reply times are taken")
        ->capture_default_str();
    addAskedStationOption(command, options.get());
    addAskOptions(command, options.get());
    addTextFormatOption(command, options.get());
    book->of(command) = limitsManual();
    chooseAsking(command, options, chosen, findLimits);
}

void addMapCommand(CLI::App *program, cli::Book *book, Command *chosen)
{
    auto options = std::make_shared<AreaMapOptions>();
    CLI::App *command =
        program->add_subcommand("map", "find out which registers or bits a station has, by few reads");
    command->add_option("AREA", options->area, "0x, 1x, 3x or 4x, or a part of it, as 4x:0-999")
        ->type_name("")
        ->capture_default_str();
    auto *least = addNumber(command, "--least", &options->least, 1, 2000, "N",
                            "islands of at least so many registers or bits are found")
                      ->capture_default_str();
    command->add_flag("--exact", options->exact, "ask every address")->excludes(least);
    addNumber(command, "--known", &options->known, 0, kAddresses - 1, "ADDRESS",
              "an address that exists, for a station that is silent about what it lacks");
    command
        ->add_option("--resume", options->resume,
                     "keep what is known in this file meanwhile, and go on from there if it exists")
        ->type_name("FILE")
        ->check([](const std::string &path) { return path.empty() ? "must name a file" : ""; });
    command
        ->add_option("--write-project", options->writeProject,
                     "write a project file that reads all that was found")
        ->type_name("FILE")
        ->check([](const std::string &path) { return path.empty() ? "must name a file" : ""; });
    addAskedStationOption(command, options.get());
    addAskOptions(command, options.get());
    addFormatOption(command, options.get());
    book->of(command) = mapManual();
    chooseAsking(command, options, chosen, mapArea);
}

void addRawCommand(CLI::App *program, cli::Book *book, Command *chosen)
{
    auto options = std::make_shared<RawOptions>();
    CLI::App *command = program->add_subcommand("raw", "send any bytes and show the answer field by field");
    command
        ->add_option("BYTES", options->bytes,
                     "station, function and data in hexadecimal, as 05 03 00 64 00 02 or 050300640002")
        ->type_name("")
        ->required();
    command->add_flag("--no-crc", options->noCrc, "send the bytes as they are, without a CRC behind them");
    addAskOptions(command, options.get());
    addTextFormatOption(command, options.get());
    book->of(command) = rawManual();
    chooseAsking(command, options, chosen, sendRaw);
}

void addPortsCommand(CLI::App *program, cli::Book *book, Command *chosen)
{
    auto options = std::make_shared<OutputOptions>();
    CLI::App *command =
        program->add_subcommand("ports", "list the serial ports with their adapters and who uses them");
    addFormatOption(command, options.get());
    book->of(command) = portsManual();
    command->callback([options, chosen] { *chosen = [options] { return listPorts(*options); }; });
}

} // namespace

Command parseCommandLine(int argc, char **argv)
{
    CLI::App program("read and write Modbus RTU stations on a serial line", "plchost");
    cli::Book book(program);
    cli::addHelpOptions(&program);
    program.require_subcommand(1);
    book.of(&program) = programManual();
    explainGroups(&book);
    Command chosen;
    addReadCommand(&program, &book, &chosen);
    addWriteCommand(&program, &book, &chosen);
    addWatchCommand(&program, &book, &chosen);
    addRunCommand(&program, &book, &chosen);
    addListenCommand(&program, &book, &chosen);
    addPlanCommand(&program, &book, &chosen);
    addProjectCommand(&program, &book, &chosen);
    addScanCommand(&program, &book, &chosen);
    addIdentifyCommand(&program, &book, &chosen);
    addLimitsCommand(&program, &book, &chosen);
    addMapCommand(&program, &book, &chosen);
    addRawCommand(&program, &book, &chosen);
    addPortsCommand(&program, &book, &chosen);
    addDemoCommand(&program, &book, &chosen);
    const cli::Parsed parsed = cli::parse(&program, &book, argc, argv, valuesOf);
    if (!parsed.mistake.empty())
        throw Failure(FailureKind::Usage, parsed.mistake);
    if (!parsed.isAnswered)
        return chosen;
    return [parsed] {
        print(parsed.answer);
        return kExitGood;
    };
}

} // namespace plc::host
