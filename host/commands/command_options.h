/// @file
/// Options of the commands as they were typed, and how they become settings.
#ifndef PLC_COMMANDS_COMMAND_OPTIONS_H
#define PLC_COMMANDS_COMMAND_OPTIONS_H

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "host/commands/output.h"
#include "host/project/project_file.h"
#include "host/runtime_names.h"
#include "runtime/master/link_settings.h"
#include "runtime/panel/values.h"
#include "runtime/panel/variable.h"

namespace plc::host {

/// How values are shown and what is told besides them.
struct OutputOptions
{
    std::string format = "text";
    bool hex = false;
    bool isSigned = false;
    bool verbose = false;
    bool quiet = false;
    bool readOnly = false;   ///< nothing is written, whatever is asked for
    std::string logFile;     ///< of --log; empty = none
    std::string auditFile;   ///< of --audit; empty = none
    std::string captureFile; ///< of --capture; empty = none

    NumberStyle numberStyle() const { return numberStyleOf(hex, isSigned); }
    Format outputFormat() const { return formatOf(format); }
};

/// As typed. link() and the other functions check and convert.
struct CommandOptions : OutputOptions
{
    std::string port;
    std::string stations = "1"; ///< see stationList()
    bool takesSeveralStations = false;
    /// What to do in place of naming several stations, where the command takes one.
    const char *forSeveralStations =
        "are for read and watch; here name a variable's station behind @, as 4x:100@3";
    int baud = 19200;
    std::string parity = "even";
    std::string rs485; ///< empty: not asked for
    bool anyRate = false;
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
    bool noReopen = false; ///< a lost port is the end, also where requests are asked for ever
    bool noEchoCheck = false;
    std::string driver;
    std::string projectFile;     ///< of --project; empty = none
    std::set<std::string> typed; ///< long names of the options that were typed, as "--baud"

    std::vector<std::string> variables;
    std::string type;
    std::string start;
    int count = 1;
    int intervalMs = 0;

    /// Reads the project where one is named. Before the others.
    /// @throw Failure  (wrong usage)
    void takeProject();
    /// Settings of the link: what was typed, then what the project has. Warns on standard error about
    /// settings that are allowed and unwise.
    /// @throw Failure  (wrong usage)
    LinkSettings link() const;
    /// The stations of -a, in the order typed.
    /// @throw Failure  (wrong usage) for several, where the command takes one.
    std::vector<int> stationList() const;
    /// Refuses a word that looks like an option, and is none of the command.
    /// @throw Failure  (wrong usage)
    static void refuseOption(const std::string &text);
    /// Warns on standard error about settings that are allowed and unwise where something is broadcast.
    void adviseOnBroadcasts(const LinkSettings &link) const;
    /// The variable of that name in the project, or the one that @p text describes.
    /// @throw Failure  (wrong usage)
    Variable variableOf(const std::string &text, bool oneBased) const;
    /// The variables given by name and the one given by -t, -r and -c. Those that name no station are there
    /// once for each station of -a where it has several.
    /// @throw Failure  (wrong usage)
    std::vector<Variable> variableList(bool oneBased) const;

private:
    const Variable *inProject(const std::string &name) const;

    std::shared_ptr<const Project> project_;
    std::map<std::string, const Variable *> byName_; ///< of the project
};

struct WriteOptions : CommandOptions
{
    std::vector<std::string> assignments;
    std::string from; ///< file of values that were saved; "-" = standard input, empty = none
    bool verify = false;
    bool dryRun = false;
};

/// Of a scan: lists, see scan_lists.h.
struct ScanOptions : OutputOptions
{
    std::string port;
    std::string stations = "1-247";
    std::string bauds = "9600,19200,38400,57600,115200";
    std::string parities = "even,none,odd";
    std::string stopBits; ///< empty: as the parity asks
    std::string rs485;    ///< empty: not asked for
    bool anyRate = false;
    std::string ask = "4x:0";
    std::string wait = "50ms";
    std::string listen = "1s";
    bool anyway = false;     ///< a line in use is scanned, too
    std::string projectFile; ///< of --write-project; empty = none
};

struct WatchOptions : CommandOptions
{
    double forSeconds = 0; ///< 0 = without end
    bool once = false;
    bool realtime = false;
    bool plain = false; ///< no screen
};

struct ListenOptions : OutputOptions
{
    std::string file; ///< a capture; empty = the port
    std::string port;
    std::string projectFile; ///< empty = none
    int baud = 0;            ///< 0 = to be found
    std::string parity;      ///< empty = to be found
    bool anyRate = false;
    double forSeconds = 0; ///< 0 = without end
};

struct DemoOptions : CommandOptions
{
    std::string stationProgram; ///< empty = the one beside this program
};

struct MapOptions : CommandOptions
{
    std::string file;
    std::string name; ///< of the project; empty = none
};

/// Of commands that ask stations themselves, without the driver.
struct AskOptions : CommandOptions
{
    bool crcHighFirst = false;

    /// The stations of -a.
    /// @throw Failure  (wrong usage) as stationList(), and for a broadcast.
    std::vector<int> askedStations() const;
    bool wantsCrcHighFirst(const LinkSettings &link) const
    {
        return crcHighFirst || hasOption(link.options, kOptionSwapRequestCrc);
    }
};

struct RawOptions : AskOptions
{
    std::vector<std::string> bytes;
    bool noCrc = false;
};

struct LimitsOptions : AskOptions
{
    int address = 0;
    int samples = 200;
};

struct AreaMapOptions : AskOptions
{
    std::string area = "4x";
    int least = 32;
    bool exact = false;
    int known = -1;           ///< -1 = none
    std::string resume;       ///< empty = nothing is kept
    std::string writeProject; ///< empty = none
};

struct RunOptions : OutputOptions
{
    std::string file;
    std::string port;        ///< empty = the project's
    std::string driver;      ///< empty = the one beside this program
    double forSeconds = 0;   ///< 0 = without end
    double everySeconds = 0; ///< 0 = only at the end
    int scans = 0;           ///< 0 = without end
    bool noReopen = false;   ///< a lost port is the end
    bool noEchoCheck = false;
    bool realtime = false;
    bool plain = false; ///< no screen
};

struct PlanOptions
{
    std::string file;
    std::string driver; ///< empty = the one beside this program
    std::string format = "text";
    int baud = 0; ///< 0 = the project's
    double answerDelayMs = 0;
    bool allNames = false;
};

} // namespace plc::host

#endif
