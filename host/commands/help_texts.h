/// @file
/// What the help of the commands says beside their options.
#ifndef PLC_COMMANDS_HELP_TEXTS_H
#define PLC_COMMANDS_HELP_TEXTS_H

#include <string>

namespace plc::host {

constexpr char kExitCodes[] =
    "Exit codes: 0 all good, 1 wrong usage or file, 2 no reply, 3 exception reply, 4 unusable replies,\n"
    "5 port cannot be opened or is lost, 6 some good, some not, 7 output could not be written.";

constexpr char kReadExample[] = "Example: ten holding registers and a 32-bit value of station 5:\n"
                                "  plchost read -p /dev/ttyUSB0 -b 9600 -a 5 4x:100:10 4x_d:200\n"
                                "Three floats with the lower half first, and a variable of a project by its "
                                "name:\n"
                                "  plchost read -p /dev/ttyUSB0 4x:200:3/f32.cdab\n"
                                "  plchost read --project machine.json \"Set.Feed rate\"\n\n";

constexpr char kWriteExample[] =
    "Example: two registers, a bit inside a register and a 32-bit value, read back "
    "afterwards:\n"
    "  plchost write -p /dev/ttyUSB0 -a 5 4x:100=1,2 4x_bit:35.3=1 4x_d:200=-70000 "
    "--verify\n"
    "A float, a text of up to 16 characters, and a variable of a project by its name:\n"
    "  plchost write -p /dev/ttyUSB0 4x:200/f32=12.5 4x:40/str16=PUMP\n"
    "  plchost write --project machine.json \"Set.Feed rate\"=12.5\n"
    "Values saved, and restored on another machine:\n"
    "  plchost read -p /dev/ttyUSB0 --format csv 4x:100:40 >saved.csv\n"
    "  plchost write -p /dev/ttyUSB0 --from saved.csv --verify\n\n";

constexpr char kWrittenValuesHelp[] =
    "Values are decimal (-32768 to 65535 in a register, -2147483648 to 4294967295 in 32 bits),\nhexadecimal "
    "(0x04D2), or for bits 0, 1, off, on, false, true. A format has its own range: decimals for "
    "floats\n(12.5, "
    "-1e-3), 0b101 too for whole numbers, and for texts whatever stands there, or stands between quotation\n"
    "marks (4x:40/str16='\"a, b\"', with \\\" \\\\ \\x1B in it). A variable of a project also takes the "
    "texts that stand for\nits values; both are checked against its limits, and numbers are scaled.\n\n";

constexpr char kWatchExample[] =
    "Example: live values of two stations, ten seconds long, one scan each half second:\n"
    "  plchost watch -p /dev/ttyUSB0 -l 500 --for 10 4x:100:10@1 0x:16:8@2\n\n"
    "On a terminal a screen is kept up to date, whose keys ? shows. Otherwise, and with --plain or -q, a "
    "line "
    "for each variable is printed\n"
    "every second, or as often as -l says where that is longer, and once more at the end; with -1 only at "
    "the "
    "end.\n"
    "The statistics at the end go to standard error, and in ndjson to the last line of standard output as\n"
    "well. The exit code tells how the last reading of each variable ended.\n\n"
    "A port that is lost is looked for until it is back, and everything goes on by itself; --no-reopen makes "
    "it the end.\n\n";

constexpr char kPlanHelp[] =
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

constexpr char kRunExample[] =
    "Example: one scan of a project over a simulated line, all values as JSON, a line each:\n"
    "  plcstation -a 1-8 --link /tmp/line & plchost run docs/examples/packaging_line.json -p /tmp/line "
    "--scans 1 "
    "--format ndjson\n\n";

constexpr char kScanHelp[] =
    "A scan is over when, since the scan before it, every variable has been asked for, whether its station "
    "answered or\n"
    "not, those of stations that are switched off or offline left out: every request of the driver's read "
    "list and every request of "
    "its\n"
    "priority levels has been served at least once. Level 1 is the slowest: the driver serves it once in "
    "three turns\n"
    "of the ordinary requests. Levels 2, 3 and 4 are served after every sixth, third and single ordinary "
    "request.\n\n"
    "On a terminal a screen is kept up to date, whose keys ? shows; otherwise, and with --plain or -q, the "
    "values are printed at the end, and "
    "with --every\n"
    "meanwhile. Writes are reported on standard output in text and ndjson, on standard error in csv. The "
    "statistics at\n"
    "the end go to standard error, and in ndjson to the last line of standard output as well. Writes that "
    "are still\n"
    "waiting when --for, --scans or quit end the run are carried out first. A port that is lost is looked "
    "for until it is\n"
    "back, and writes fail meanwhile; --no-reopen makes it the end.\n\n"
    "The file format is described in docs/projects.md.\n";

constexpr char kRunCodes[] =
    " The last reading of each variable counts, each write,\n"
    "and each line that was not understood. Variables of stations that are switched off do not count,\n"
    "nor what was not read before quit.\n";

constexpr char kProjectExample[] =
    "Example: a project of the table that a machine's maker hands out, and the table of a project:\n"
    "  plchost project from-csv registers.csv -b 9600 -a 5 >machine.json\n"
    "  plchost project to-csv machine.json >registers.csv\n\n"
    "The first line of a map names its columns, in any order: name, area, address, and station, count, "
    "rate,\n"
    "format, scale, offset, unit, min, max, texts, description where they are wanted. Cells are separated by "
    "comma, semicolon or tabulator. docs/projects.md has "
    "more.\n\n";

constexpr char kDemoExample[] =
    "Example:\n  plchost demo\n\n"
    "Starts plcstation, reads and writes variables of all kinds over a pseudo-terminal,\n"
    "and shows what came back, with ? for what was not read. Ends with exit code 0 only if all of it is what "
    "was\n"
    "written; why something is not goes to standard error.\n\n";

/// What the help of the commands ends with that take variables by name.
std::string commonHelp();

} // namespace plc::host

#endif
