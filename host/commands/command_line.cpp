#include "host/commands/command_line.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <string>

#include "host/commands/command_options.h"
#include "host/commands/commands.h"
#include "host/commands/help_texts.h"
#include "host/commands/option_groups.h"
#include "host/commands/standard_streams.h"
#include "host/project/project_input.h"

namespace plc::host {

namespace {

void addReadCommand(CLI::App *program, Command *chosen)
{
    auto options = std::make_shared<CommandOptions>();
    CLI::App *command = program->add_subcommand("read", "read each variable once and print its values");
    addPortOptions(command, options.get());
    addVariableOptions(command, options.get());
    addLinkOptions(command, options.get());
    addOutputOptions(command, options.get());
    command->footer(kReadExample + commonHelp());
    command->callback([command, options, chosen] {
        noteTyped(*command, options.get());
        *chosen = [options] {
            options->takeProject();
            return readVariables(*options);
        };
    });
}

void addWriteCommand(CLI::App *program, Command *chosen)
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
                     "of areas that cannot be written are skipped and counted")
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
    command->footer(kWriteExample + std::string(kWrittenValuesHelp) + commonHelp());
    command->callback([command, options, chosen] {
        noteTyped(*command, options.get());
        *chosen = [options] {
            options->takeProject();
            return writeVariables(*options);
        };
    });
}

void addWatchCommand(CLI::App *program, Command *chosen)
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
    command->footer(kWatchExample + commonHelp());
    command->callback([command, options, chosen] {
        noteTyped(*command, options.get());
        *chosen = [options] {
            options->takeProject();
            return watchVariables(*options);
        };
    });
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

void addProjectCommand(CLI::App *program, Command *chosen)
{
    CLI::App *command =
        program->add_subcommand("project", "make a project of a register map, or a map of a project");
    command->require_subcommand(1);
    command->footer(kProjectExample);

    auto options = std::make_shared<MapOptions>();
    CLI::App *fromCsv = command->add_subcommand("from-csv", "write the project file of a register map");
    fromCsv->add_option("MAP", options->file, "register map: a table in CSV")->type_name("")->required();
    fromCsv->add_option("--name", options->name, "name of the project, for people")->type_name("TEXT");
    fromCsv->add_option("-p,--port", options->port, "serial port or pseudo-terminal")->type_name("PATH");
    addSettingOptions(fromCsv, options.get());
    addOfflineOptions(fromCsv, options.get());
    fromCsv->footer(kProjectExample + commonHelp());
    fromCsv->callback([options, chosen] { *chosen = [options] { return projectFromMap(*options); }; });

    auto file = std::make_shared<std::string>();
    CLI::App *toCsv = command->add_subcommand("to-csv", "write the variables of a project as a register map");
    toCsv->add_option("PROJECT", *file, "project file")->type_name("")->required();
    toCsv->footer(kProjectExample);
    toCsv->callback([file, chosen] { *chosen = [file] { return mapFromProject(*file); }; });
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

/// What was typed of commands, the innermost last.
std::vector<CLI::App *> chosenCommands(const CLI::App &program)
{
    std::vector<CLI::App *> commands;
    for (auto inner = program.get_subcommands(); !inner.empty(); inner = commands.back()->get_subcommands())
        commands.push_back(inner.front());
    return commands;
}

/// The words that show the help on what was typed.
std::string helpFor(const CLI::App &program)
{
    std::string words = "plchost ";
    for (const CLI::App *command : chosenCommands(program))
        words += command->get_name() + " ";
    return words + "--help";
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
    addProjectCommand(&program, &chosen);
    addDemoCommand(&program, &chosen);
    const std::string unknown = unknownCommand(program, argc, argv);
    if (!unknown.empty())
        throw Failure(FailureKind::Usage, unknown);
    try {
        program.parse(argc, argv);
        return chosen;
    } catch (const CLI::CallForHelp &) {
        std::vector<CLI::App *> commands = chosenCommands(program);
        std::string outer = program.get_name();
        for (std::size_t i = 0; i + 1 < commands.size(); ++i)
            outer += " " + commands[i]->get_name();
        const std::string help = commands.empty() ? program.help() : commands.back()->help(outer);
        return [help] {
            print(help);
            return kExitGood;
        };
    } catch (const CLI::ParseError &error) {
        throw Failure(FailureKind::Usage,
                      std::string(error.what()) + " (" + helpFor(program) + " shows what is possible)");
    }
}

} // namespace plc::host
