#include "host/commands/help_texts.h"

#include "host/project/project_input.h"
#include "host/project/setting_names.h"
#include "runtime/panel/value_format.h"
#include "runtime/panel/variable.h"

namespace plc::host {

namespace {

using cli::asTyped;
using cli::Chapter;
using cli::Extent;
using cli::flowing;
using cli::listed;
using cli::Manual;
using cli::Rows;

Chapter example(const std::string &title, const std::string &lines)
{
    return {title, {asTyped(lines)}};
}

Chapter paragraph(const std::string &title, const std::string &text, Extent extent = Extent::Everyday)
{
    return {title, {flowing(text)}, extent};
}

Chapter registerMap()
{
    return paragraph("The map",
                     "Its first line names its columns, in any order: name, area, address, and station, "
                     "count, rate, format, scale, offset, unit, min, max, texts, description where they are "
                     "wanted. Cells are separated by comma, semicolon or tabulator.");
}

Chapter exitCodes()
{
    return {"Exit codes",
            {listed({{"0", "all good"},
                     {"1", "wrong usage or input file"},
                     {"2", "no reply"},
                     {"3", "exception reply: the station refused"},
                     {"4", "unusable replies: wrong CRC, noise, wrong length"},
                     {"5", "the port cannot be opened or is lost"},
                     {"6", "some good, some not"},
                     {"7", "output could not be written"},
                     {"8", "of scan: the line is in use, and nothing was sent"}})}};
}

/// Pages that tell more, in the folder docs of the sources and beside the packages.
Chapter documents(const Rows &pages)
{
    return {"Documents, in docs/ or in /usr/share/doc/plcdriver-tools", {listed(pages)}};
}

const cli::Row kCommissioningPage{"commissioning.md", "a day on site, from the first command to a project"};
const cli::Row kValuesPage{"values.md", "formats, byte orders, units and texts"};
const cli::Row kOutputPage{"output.md", "what CSV and ndjson hold, for programs"};
const cli::Row kScreenPage{"screen.md", "the screen of watch and run, and its keys"};
const cli::Row kPoliciesPage{"host-policies.md", "late replies, noise, dead stations, lost ports, states"};
const cli::Row kListeningPage{"listening.md", "what a line says: listening, and captures for Wireshark"};
const cli::Row kLinePage{"serial_line.md", "ports, rates, RS-485"};
const cli::Row kRecipesPage{"recipes.md", "values to MQTT, SQLite, a spreadsheet; as a service"};
const cli::Row kProjectsPage{"projects.md", "the project file and the register map"};

Rows areaRows()
{
    Rows rows;
    for (const Area &area : areas())
        rows.push_back({area.name, std::string(area.meaning) + (area.writable ? "" : " (read only)")});
    return rows;
}

Chapter variables()
{
    return {"Variables",
            {asTyped("AREA:ADDRESS[:COUNT][/FORMAT[.ORDER]][@STATION]\n"
                     "as 4x:100, 4x:100:10, 4x_bit:35.3, 0x:16:8@5, 4x:200:3/f32.cdab"),
             flowing("AREA is 0x for coils, 1x for discrete inputs, 3x for input registers, 4x for holding "
                     "registers, or one of those that --help-all lists. ADDRESS is the number on the line, "
                     "counting from 0; with --option one-based it counts from 1.")}};
}

Chapter variablesInFull()
{
    return {
        "More on variables",
        {flowing("COUNT is a number of values: bits, registers, 32-bit values (of two registers, the upper "
                 "half first), or what FORMAT is."),
         flowing("Formats: " + formatNames() + "."),
         flowing("ORDER is the order of the bytes, the highest called a: abcd (without it; the upper half at "
                 "the lower address), cdab, badc or dcba. It is the same for -t 4:float and 4:int."),
         flowing("Areas:"), listed(areaRows())},
        Extent::All};
}

Chapter driverOptions()
{
    return {"Options of the driver, for --option", {listed(optionRows())}, Extent::All};
}

Chapter policies()
{
    return {"Policies, all of them on without --without", {listed(policyRows())}, Extent::All};
}

Chapter severalFailures()
{
    return paragraph(
        "Exit code of several failures",
        "With nothing good the first failure counts. What an interruption (Ctrl-C) has left undone "
        "counts as no reply.",
        Extent::All);
}

/// Chapters of the commands that take variables and settings of the line.
void addCommonChapters(Manual *manual, const Rows &pages)
{
    for (const Chapter &chapter : {variables(), variablesInFull(), driverOptions(), policies(), exitCodes(),
                                   severalFailures(), documents(pages)})
        manual->chapters.push_back(chapter);
}

/// What watch and run show: the screen, or else @p lines, and the statistics.
std::string onScreenOr(const std::string &lines)
{
    return "On a terminal a screen is kept up to date, whose keys ? shows. Otherwise, and with --plain or "
           "-q, " +
           lines +
           " The statistics at the end go to standard error, and in ndjson to the last line of standard "
           "output "
           "as well. ";
}

Chapter lostPort(const std::string &meanwhile)
{
    return paragraph("A port that is lost", "It is looked for until it is back, and " + meanwhile +
                                                "; --no-reopen makes it the end.");
}

} // namespace

Manual programManual()
{
    Manual manual;
    manual.examples = {example("which ports there are, and ten holding registers of station 5 on one of them",
                               "plchost ports\n"
                               "plchost read -p /dev/ttyUSB0 -b 9600 -a 5 4x:100:10")};
    manual.chapters = {
        paragraph("Help",
                  "plchost help COMMAND, or plchost COMMAND --help, shows an example and the everyday "
                  "options of a command; --help-all shows all of them."),
        exitCodes(),
        documents(
            {kValuesPage, kScreenPage, kOutputPage, kProjectsPage, kPoliciesPage, kLinePage, kRecipesPage})};
    return manual;
}

Manual readManual()
{
    Manual manual;
    manual.examples = {
        example("ten holding registers and a 32-bit value of station 5",
                "plchost read -p /dev/ttyUSB0 -b 9600 -a 5 4x:100:10 4x_d:200"),
        example("three floats with the lower half first, and a variable of a project by its name",
                "plchost read -p /dev/ttyUSB0 4x:200:3/f32.cdab\n"
                "plchost read --project machine.json \"Set.Feed rate\"")};
    addCommonChapters(&manual, {kValuesPage, kOutputPage, kPoliciesPage, kRecipesPage});
    return manual;
}

Manual writeManual()
{
    Manual manual;
    manual.examples = {
        example("two registers, a bit inside a register and a 32-bit value, read back afterwards",
                "plchost write -p /dev/ttyUSB0 -a 5 --verify 4x:100=1,2 4x_bit:35.3=1 \\\n"
                "    4x_d:200=-70000"),
        example("a float, a text of up to 16 characters, and a variable of a project by its name",
                "plchost write -p /dev/ttyUSB0 4x:200/f32=12.5 4x:40/str16=PUMP\n"
                "plchost write --project machine.json \"Set.Feed rate\"=12.5"),
        example("values saved, and restored on another machine",
                "plchost read -p /dev/ttyUSB0 --format csv 4x:100:40 >saved.csv\n"
                "plchost write -p /dev/ttyUSB0 --from saved.csv --verify")};
    manual.chapters = {
        {"Values",
         {flowing(
              "Decimal (-32768 to 65535 in a register, -2147483648 to 4294967295 in 32 bits), hexadecimal "
              "(0x04D2), or for bits 0, 1, off, on, false, true. A format has its own range: decimals for "
              "floats (12.5, -1e-3), 0b101 too for whole numbers, and for texts whatever stands there, or "
              "stands between quotation marks (4x:40/str16='\"a, b\"', with \\\" \\\\ \\x1B in it)."),
          flowing("A variable of a project also takes the texts that stand for its values; both are checked "
                  "against its limits, and numbers are scaled.")},
         Extent::All}};
    addCommonChapters(&manual, {kValuesPage, kPoliciesPage});
    return manual;
}

Manual watchManual()
{
    Manual manual;
    manual.examples = {example("live values of two stations, ten seconds long, one scan each half second",
                               "plchost watch -p /dev/ttyUSB0 -l 500 --for 10 4x:100:10@1 0x:16:8@2")};
    manual.chapters = {
        paragraph(
            "What is shown",
            onScreenOr(
                "a line for each variable is printed every second, or as often as -l says where that is "
                "longer, and once more at the end; with -1 only at the end.") +
                "The exit code tells how the last reading of each variable ended."),
        lostPort("everything goes on by itself")};
    addCommonChapters(&manual, {kValuesPage, kScreenPage, kOutputPage, kPoliciesPage, kRecipesPage});
    return manual;
}

Manual runManual()
{
    Manual manual;
    manual.examples = {example("one scan of a project over a simulated line, all values as JSON, a line each",
                               "plcstation -a 1-8 --link /tmp/line &\n"
                               "plchost run docs/examples/packaging_line.json -p /tmp/line --scans 1 \\\n"
                               "    --format ndjson")};
    manual.chapters = {
        {"Lines on standard input", {listed(projectInputRows())}},
        paragraph("What is shown",
                  onScreenOr(
                      "the values are printed at the end, and with --every meanwhile. Writes are reported on "
                      "standard output in text and ndjson, on standard error in csv.") +
                      "Writes that are still waiting when --for, --scans or quit end the run are carried out "
                      "first."),
        paragraph("A scan",
                  "It is over when, since the scan before it, every variable has been asked for, whether "
                  "its station answered or not, those of stations that are switched off or offline left "
                  "out: every request of the driver's read list and every request of its priority levels "
                  "has been served at least once. Level 1 is the slowest: the driver serves it once in "
                  "three turns of the ordinary requests. Levels 2, 3 and 4 are served after every sixth, "
                  "third and single ordinary request.",
                  Extent::All),
        lostPort("writes fail meanwhile"),
        exitCodes(),
        paragraph(
            "What the exit code counts",
            "The last reading of each variable, each write, and each line that was not understood. Variables "
            "of stations that are switched off do not count, nor what was not read before quit."),
        documents({kProjectsPage, kScreenPage, kOutputPage, kPoliciesPage, kRecipesPage})};
    return manual;
}

Manual planManual()
{
    Manual manual;
    manual.examples = {example("what a project costs at 115200 baud with stations that think for 5 ms",
                               "plchost plan docs/examples/packaging_line.json -b 115200 --answer-delay 5")};
    manual.chapters = {
        {"What is shown",
         {flowing("No line is needed: the driver, the library that makes the requests, is loaded, gets the "
                  "project, "
                  "and its requests are answered with zeros. Shown are the requests that it makes, the "
                  "registers or "
                  "bits among them that no variable wants, and times computed from the baud rate: 11 bits a "
                  "character, a silence of 3.5 characters (1.75 ms above 19200 baud) before each request, "
                  "and the "
                  "same or the answer delay before each reply."),
          flowing("A scan is over when every request, also those of the priority levels, has been served at "
                  "least "
                  "once; meanwhile the levels are served at their rates, so that some requests go out many "
                  "times.")}},
        exitCodes(),
        documents({kProjectsPage})};
    return manual;
}

Manual identifyManual()
{
    Manual manual;
    manual.examples = {example("who stations 1 to 8 are, for people and for programs",
                               "plchost identify -p /dev/ttyUSB0 -b 9600 -a 1-8\n"
                               "plchost identify -p /dev/ttyUSB0 -a 5 --format ndjson")};
    manual.chapters = {
        paragraph("What is asked",
                  "The device identification (function 43/14), all levels that the station has, in at most "
                  "eight requests; the server id (function 17); the echo test (function 8/0). Nothing is "
                  "written."),
        {"Exit code",
         {listed({{"0", "each station has told something"},
                  {"2", "no station has answered"},
                  {"3", "the stations refuse these functions"},
                  {"6", "some have told something"}})}},
        documents({kCommissioningPage, kOutputPage})};
    return manual;
}

Manual limitsManual()
{
    Manual manual;
    manual.examples = {example("what station 5 can do; its register 100 exists",
                               "plchost limits -p /dev/ttyUSB0 -b 9600 -a 5 -r 100")};
    manual.chapters = {
        paragraph(
            "What is found",
            "The byte order of the CRC, the functions among those that read, the largest block of registers "
            "and bits, whether reads over lacking registers are answered, the least pause between an answer "
            "and the next request, and the reply time. Nothing is written. The block goes to --max-block, "
            "the pause to pauseMs of a project, the order of the CRC to --option."),
        paragraph("A block that ends early",
                  "Where the items behind -r end before the limit does, the block is told as 'at least'; -r "
                  "names an address with more behind it. plchost map finds one."),
        exitCodes(), documents({kCommissioningPage, kOutputPage, kLinePage})};
    return manual;
}

Manual mapManual()
{
    Manual manual;
    manual.examples = {
        example("the holding registers of station 5, and a project file that reads them",
                "plchost map -p /dev/ttyUSB0 -b 9600 -a 5 --write-project machine.json\n"
                "plchost run machine.json"),
        example("a part of the coils, each address asked for, in a file that keeps what is known",
                "plchost map -p /dev/ttyUSB0 -a 5 0x:0-4095 --exact --resume coils.map")};
    manual.chapters = {
        paragraph("How it is found",
                  "Single reads at the distance of --least, borders by halving, and each island whole in "
                  "blocks. So each island of that length is found with its exact borders and holes. A "
                  "shorter one between two reads may be missed; --exact asks every address. Nothing is "
                  "written to the station."),
        paragraph("Ctrl-C", "What was found is printed, and kept in the file of --resume."),
        paragraph(
            "What comes of it",
            "--write-project has a variable for each island, and what lies between them as holes, "
            "which no request of plchost run reads over. --format csv is a register map; where the station "
            "takes short requests only, a line says what --max-block of project from-csv must be."),
        {"Exit code",
         {listed({{"0", "something was found"},
                  {"2", "the station has not answered, or Ctrl-C came before anything was found"},
                  {"3", "everything was refused"},
                  {"6", "a part was found: Ctrl-C, or the station has gone"}})}},
        documents({kCommissioningPage, kProjectsPage, kOutputPage})};
    return manual;
}

Manual rawManual()
{
    Manual manual;
    manual.examples = {example("two holding registers of station 5 from 100 on, and its server id",
                               "plchost raw -p /dev/ttyUSB0 -b 9600 05 03 00 64 00 02\n"
                               "plchost raw -p /dev/ttyUSB0 -b 9600 0511")};
    manual.chapters = {
        paragraph("What is sent",
                  "The bytes with the CRC behind them, once. --no-crc sends them as they are. With "
                  "--read-only nothing is sent but one whole request of which it is known that it only "
                  "reads, and --no-crc is refused. A broadcast, to station 0, is answered by nobody: exit "
                  "code 0."),
        paragraph("What is shown",
                  "The request, the answer, and its fields with what they mean. Where the bytes "
                  "are no request, whatever comes within --timeout is shown."),
        exitCodes(), documents({kCommissioningPage, kOutputPage})};
    return manual;
}

Manual portsManual()
{
    Manual manual;
    manual.examples = {example("which serial ports there are, as a table and for programs",
                               "plchost ports\nplchost ports --format ndjson")};
    manual.chapters = {
        {"What is shown",
         {listed(
             {{"port", "its path, for -p"},
              {"driver", "of the system, as ftdi_sio"},
              {"adapter", "maker, product and serial number, where the port is one of an adapter"},
              {"in use by",
               "the process that has locked the port, or else one that has it open; processes of "
               "other users are seen by root alone"},
              {"name", "a path that stays with the adapter, whatever is plugged in before it; it goes behind "
                       "-p as well"}})}},
        {"Exit code", {listed({{"0", "there is a port"}, {"2", "there is none"}})}},
        documents({kLinePage, kOutputPage})};
    return manual;
}

Manual listenManual()
{
    Manual manual;
    manual.examples = {
        example("who asks what on a line, and how fast the stations answer; Ctrl-C ends it",
                "plchost listen -p /dev/ttyUSB0"),
        example("the same for a minute, for Wireshark, and its statistics once more later",
                "plchost listen -p /dev/ttyUSB0 -b 9600 -P even --for 60 -q \\\n"
                "    --capture line.pcapng\n"
                "plchost listen -q line.pcapng"),
        example("live in a second program", "plchost listen -p /dev/ttyUSB0 --capture - | tshark -i - -l")};
    manual.chapters = {
        paragraph(
            "What is shown",
            "A line for each frame: when its last character ended, -> for a request and <- for a reply, "
            "its station, what it says, and how long the reply took. ?? stands before noise and before "
            "frames that may be either. At the end, what each station was asked and answered. Nothing is "
            "sent."),
        paragraph(
            "Rate and parity",
            "Without -b and -P they are found: the settings are tried while listening, the likely first, "
            "until frames with good CRCs come. On a line where nobody asks there is nothing to find. What "
            "is heard meanwhile is not counted. A pseudo-terminal has no rate."),
        {"Exit code",
         {listed({{"0", "frames were heard"},
                  {"1", "wrong usage or input file"},
                  {"2", "no frame was heard"},
                  {"5", "the port cannot be opened or is lost"},
                  {"7", "output could not be written"}})}},
        documents({kListeningPage, kOutputPage, kLinePage})};
    return manual;
}

Manual scanManual()
{
    Manual manual;
    manual.examples = {example("every station at the usual settings, which takes under four minutes",
                               "plchost scan -p /dev/ttyUSB0"),
                       example("ten stations at one setting, and a project file of those that are there",
                               "plchost scan -p /dev/ttyUSB0 -b 9600 -P even -a 1-10 \\\n"
                               "    --write-project found.json")};
    manual.chapters = {
        paragraph("A line in use",
                  "First the line is listened to. Where others talk on it nothing is sent, since two masters "
                  "spoil each other's replies; the stations that are heard answering are shown."),
        {"What is shown",
         {flowing("A line for each station and setting. A reply counts for the station that it names, "
                  "whenever it comes, and an exception is a reply. An echo is none."),
          listed({{"good", "replies as it should"},
                  {"bad link", "it is there, but replies come damaged"},
                  {"two stations", "two have this number, as far as their replies differ in time or kind"},
                  {"heard", "not asked: it answered somebody else"}})}},
        paragraph(
            "A capture",
            "--capture needs one rate and one parity, named with -b and -P: a capture has one of each."),
        {"Exit code",
         {listed({{"0", "something was found"},
                  {"1", "wrong usage"},
                  {"2", "nothing was found"},
                  {"5", "the port cannot be opened or is lost"},
                  {"7", "output could not be written"},
                  {"8", "the line is in use, and nothing was sent"}})}},
        documents({{"scanning.md", "what a scan does on the line, and what it may miss"}, kOutputPage})};
    return manual;
}

Manual projectManual()
{
    Manual manual;
    manual.examples = {
        example("a project of the table that a machine's maker hands out, and the table of a project",
                "plchost project from-csv registers.csv -b 9600 -a 5 >machine.json\n"
                "plchost project to-csv machine.json >registers.csv")};
    manual.chapters = {registerMap(), exitCodes(), documents({kProjectsPage})};
    return manual;
}

Manual fromCsvManual()
{
    Manual manual;
    manual.examples = {example("the project of a machine at station 5",
                               "plchost project from-csv registers.csv -b 9600 -a 5 >machine.json")};
    manual.chapters = {registerMap(), driverOptions(), policies(), exitCodes(), documents({kProjectsPage})};
    return manual;
}

Manual toCsvManual()
{
    Manual manual;
    manual.examples = {example("the variables of a project, for a spreadsheet",
                               "plchost project to-csv machine.json >registers.csv")};
    manual.chapters = {registerMap(), exitCodes(), documents({kProjectsPage})};
    return manual;
}

Manual demoManual()
{
    Manual manual;
    manual.examples = {example("all kinds of variables, without a machine", "plchost demo")};
    manual.chapters = {
        paragraph(
            "What is shown",
            "plcstation is started, variables of all kinds are read and written over a pseudo-terminal, and "
            "what came back is shown, with ? for what was not read. The exit code is 0 only if all of it is "
            "what was written; why something is not goes to standard error."),
        driverOptions(), policies(), exitCodes(), documents({kValuesPage})};
    return manual;
}

} // namespace plc::host
