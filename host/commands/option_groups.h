/// @file
/// Options that several commands share, by what they are about.
#ifndef PLC_COMMANDS_OPTION_GROUPS_H
#define PLC_COMMANDS_OPTION_GROUPS_H

#include <CLI/CLI.hpp>

#include <string>

#include "host/commands/command_options.h"
#include "runtime/line/setting_limits.h"

/// An option is declared once, with its text and its group. It is an everyday option, which --help shows,
/// unless its group is cli::rare().
namespace plc::cli {
class Book;
}

namespace plc::host {

/// Check of a number: no comparison finds NaN out of range.
std::string numberMistake(const std::string &text);

/// An option with a number from @p least to @p most.
template <typename Number>
CLI::Option *addNumber(CLI::App *app, const char *name, Number *number, Number least, Number most,
                       const char *unit, const std::string &help, const std::string &group = "Options")
{
    return app->add_option(name, *number, help)
        ->check(numberMistake)
        ->check(CLI::Range(least, most))
        ->type_name(unit)
        ->group(group);
}

/// The same with limits that project files have too.
inline CLI::Option *addNumber(CLI::App *app, const char *name, int *number, Limits limits, const char *unit,
                              const std::string &help, const std::string &group = "Options")
{
    return addNumber(app, name, number, limits.least, limits.most, unit, help, group);
}

/// Tells in the book what the groups are about.
void explainGroups(cli::Book *book);
/// -p and --project, one of which says where the line is.
void addPortOptions(CLI::App *app, CommandOptions *options);
/// Notes which options were typed. In the callback of the command.
/// @throw Failure  (wrong usage) where nothing says where the line is.
void noteTyped(const CLI::App &app, CommandOptions *options);
/// --driver.
void addDriverOption(CLI::App *app, std::string *path);
/// Options of the line and of the driver that project files know too: all but the port.
void addSettingOptions(CLI::App *app, CommandOptions *options);
/// Options of the line and of the driver and what is told besides values: all but the port.
void addLinkOptions(CLI::App *app, CommandOptions *options);
/// -a of commands that ask stations without the driver.
void addAskedStationOption(CLI::App *app, AskOptions *options);
/// Their options of the line; the port among them.
void addAskOptions(CLI::App *app, AskOptions *options);
/// --format of those, which print no tables of values.
void addTextFormatOption(CLI::App *app, OutputOptions *options);
/// When a dead station is left alone, for commands that ask over and over.
void addOfflineOptions(CLI::App *app, CommandOptions *options);
/// --no-reopen, for commands that otherwise wait for a lost port.
void addReopenOption(CLI::App *app, bool *noReopen);
void addEchoCheckOption(CLI::App *app, bool *noEchoCheck);
/// --plain, for commands that have a screen.
void addPlainOption(CLI::App *app, bool *plain);
/// Variables by name, and one by -t, -r and -c.
void addVariableOptions(CLI::App *app, CommandOptions *options);
/// --realtime, for commands that go on for long.
void addRealtimeOption(CLI::App *app, bool *realtime);
/// --read-only.
void addReadOnlyOption(CLI::App *app, bool *readOnly);
/// All options of listen but the format.
void addListenOptions(CLI::App *app, ListenOptions *options);
/// What is told besides values.
void addVerbosityOptions(CLI::App *app, OutputOptions *options);
/// How numbers without a format are shown.
void addNumberOptions(CLI::App *app, OutputOptions *options);
/// Where and what plchost scan asks.
void addScanOptions(CLI::App *app, ScanOptions *options);
/// --format.
void addFormatOption(CLI::App *app, OutputOptions *options);
/// --log, for commands that go on.
void addLogOption(CLI::App *app, OutputOptions *options);
/// --capture, for commands that open a line.
void addCaptureOption(CLI::App *app, std::string *path);
/// --audit, for commands that write.
void addAuditOption(CLI::App *app, OutputOptions *options);
/// How values are shown.
void addOutputOptions(CLI::App *app, OutputOptions *options);

} // namespace plc::host

#endif
