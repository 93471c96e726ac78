/// @file
/// Options that the commands share, and how they become settings.
#ifndef PLC_HOST_COMMAND_OPTIONS_H
#define PLC_HOST_COMMAND_OPTIONS_H

#include <string>
#include <vector>

#include "link_settings.h"
#include "output.h"
#include "values.h"
#include "variable.h"

namespace CLI {
class App;
}

namespace plc::host {

/// As typed. link() and the other functions check and convert.
struct CommandOptions
{
    std::string port;
    int station = 1;
    int baud = 19200;
    std::string parity = "even";
    int dataBits = 8;
    int stopBits = 0;
    double timeoutSeconds = 1.0;
    double lateGuardSeconds = -1; ///< negative = as long as the time-out
    int turnaroundMs = 100;
    int retries = 2;
    int linkMode = 0;
    int maxBlock = 100;
    std::vector<std::string> options;
    bool echo = false;
    std::vector<std::string> without;
    bool asksForEver = false; ///< not every request just once, so that a dead station may be left alone
    int offlineAfter = OfflineSettings().failures;
    double firstProbeSeconds = seconds(OfflineSettings().firstProbe);
    double longestProbeSeconds = seconds(OfflineSettings().longestProbe);
    std::string driver;
    bool verbose = false;
    bool quiet = false;

    std::string format = "text";
    bool hex = false;
    bool isSigned = false;

    std::vector<std::string> variables;
    std::string type;
    std::string start;
    int count = 1;
    int intervalMs = 0;

    /// Settings of the link. Warns on standard error about settings that are allowed and unwise.
    /// @throw Failure  (wrong usage)
    LinkSettings link() const;
    NumberStyle numberStyle() const { return numberStyleOf(hex, isSigned); }
    Format outputFormat() const { return formatOf(format); }
    /// The variables given by name and the one given by -t, -r and -c.
    /// @throw Failure  (wrong usage)
    std::vector<Variable> variableList(bool oneBased) const;
};

/// Options of the line: all but the port.
void addLineOptions(CLI::App *app, CommandOptions *options);

/// -p, without which there is no line.
void addPortOption(CLI::App *app, CommandOptions *options);

/// When a dead station is left alone, for commands that ask over and over.
void addOfflineOptions(CLI::App *app, CommandOptions *options);

/// How values are shown.
void addOutputOptions(CLI::App *app, CommandOptions *options);

/// How numbers are shown, where there is no choice of format.
void addNumberOptions(CLI::App *app, CommandOptions *options);

/// VARIABLE..., -t, -r and -c.
void addVariableOptions(CLI::App *app, CommandOptions *options);

/// How variables are written and what exit codes mean, for the end of a help text.
std::string commonHelp();

} // namespace plc::host

#endif
