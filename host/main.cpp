// plchost: reference host of the driver and commissioning tool. Start at commands.h for what it does, at
// cycle.h for how a host drives the library.

#include <CLI/CLI.hpp>

#include <QCoreApplication>

#include <cstdio>
#include <iostream>
#include <string>

#include "commands.h"
#include "failure.h"
#include "interrupt.h"

namespace {

using namespace plc::host;

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

int failed(int code, std::string what)
{
    // Reasons come from many places; here they become one line.
    for (char &letter : what) {
        if (letter == '\n')
            letter = ' ';
    }
    std::fprintf(stderr, "plchost: %s\n", what.c_str());
    return code;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    CLI::App program("plchost: reads and writes Modbus RTU stations through the panel driver", "plchost");
    program.require_subcommand(1);
    program.footer(
        "plchost COMMAND --help shows the options of a command and an example.\n"
        "Exit codes: 0 all good, 1 wrong usage or file, 2 no reply, 3 exception reply, 4 unusable replies,\n"
        "5 port cannot be opened or is lost, 6 some good, some not.");
    Command command;
    const Choose choose = [&command](Command chosen) { command = std::move(chosen); };
    addReadCommand(&program, choose);
    addWriteCommand(&program, choose);
    addWatchCommand(&program, choose);
    addRunCommand(&program, choose);
    addPlanCommand(&program, choose);
    addDemoCommand(&program, choose);
    const std::string unknown = unknownCommand(program, argc, argv);
    if (!unknown.empty())
        return failed(kExitUsage, unknown);
    try {
        program.parse(argc, argv);
        catchInterrupts();
        return command();
    } catch (const CLI::CallForHelp &) {
        const auto chosen = program.get_subcommands();
        std::cout << (chosen.empty() ? program.help() : chosen.front()->help(program.get_name()));
        return kExitGood;
    } catch (const CLI::ParseError &error) {
        return failed(kExitUsage,
                      std::string(error.what()) + " (" + helpFor(program) + " shows what is possible)");
    } catch (const Failure &failure) {
        return failed(failure.code(), failure.what());
    }
}
