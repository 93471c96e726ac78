// Mistakes on the command line of plchost: one line, exit code 1.

#include "programs.h"

#include <algorithm>
#include <optional>

namespace {

using namespace plc::test;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr char kLine[] = "LINE"; ///< stands for the terminal of station 1, which has 100 of everything

struct Mistake
{
    Words words;
    const char *said;
    int exitCode = 1;
    const char *program = PLC_HOST_PROGRAM;
};

void PrintTo(const Mistake &mistake, std::ostream *out)
{
    for (const std::string &word : mistake.words)
        *out << word << ' ';
}

class Usage : public ::testing::TestWithParam<Mistake>
{};

const auto nameOfRow = [](const auto &test) { return "Row" + std::to_string(test.index); };

TEST_P(Usage, MistakesGetOneLineAndTheirExitCode)
{
    const Mistake &mistake = GetParam();
    Words words = mistake.words;
    const auto line = std::find(words.begin(), words.end(), kLine);
    const auto station = line == words.end() ? nullptr : startStation({"-a", "1", "--size", "100", "-q"});
    if (station)
        *line = station->terminal();
    plc::host::ChildProcess process(mistake.program, words, true);
    EXPECT_EQ(mistake.exitCode, process.waitForEnd(plc::runtime::steadyNow() + kPatience));
    const std::string errors = process.errors();
    // What a station refuses, or does not answer, is among the values as well.
    EXPECT_TRUE(station || process.output().empty()) << process.output();
    EXPECT_THAT(errors, HasSubstr(mistake.said));
    const std::string name = std::string(mistake.program) == PLC_HOST_PROGRAM ? "plchost: " : "plcstation: ";
    EXPECT_EQ(0u, errors.find(name)) << errors;
    EXPECT_EQ(errors.size() - 1, errors.find('\n')) << "not one line";
}

/// Runs plchost where the system is set to another language and character set, which it makes first.
/// @return nothing where this system cannot make them.
std::optional<Finished> plchostIn(const std::string &language, const std::string &characters,
                                  const std::string &argument, const std::string &options)
{
    constexpr int kNoLocale = 77;
    plc::host::ChildProcess process(
        "/bin/sh",
        {"-c",
         "mkdir -p \"$2\"; localedef -i " + language + " -f " + characters + " \"$2/" + language + "." +
             characters + "\" >\"$2/log\" 2>&1 || exit 77;" + "LOCPATH=\"$2\" LC_ALL=" + language + "." +
             characters + " exec \"$0\" project from-csv \"$1\" " + options,
         PLC_HOST_PROGRAM, argument, ::testing::TempDir() + "locales"},
        true);
    const auto exitCode = process.waitForEnd(plc::runtime::steadyNow() + kPatience);
    if (exitCode == kNoLocale)
        return std::nullopt;
    return Finished{exitCode.value_or(-1), process.output(), process.errors()};
}

TEST(Numbers, HaveADecimalPointWhateverTheUsersLanguageIs)
{
    const TemporaryFile map("name,area,address,scale\nx,4x,1,0.25\n");
    const auto german = plchostIn("de_DE", "UTF-8", map.path(), "-o 0.25");
    if (!german)
        GTEST_SKIP() << "this system has no German to be made";
    EXPECT_EQ(0, german->exitCode) << german->errors;
    EXPECT_THAT(german->output, HasSubstr("\"replyTimeoutMs\": 250"));
}

TEST(Words, MayHaveCapitalsWhateverTheUsersLanguageIs)
{
    // Turkish has a small letter without a dot for I.
    const TemporaryFile map("NAME,AREA,ADDRESS,FORMAT,UNIT\nx,4X,1,I32,bar\ny,4X_BIT,1.1,,\n");
    const auto turkish = plchostIn("tr_TR", "ISO-8859-9", map.path(), "");
    if (!turkish)
        GTEST_SKIP() << "this system has no Turkish to be made";
    EXPECT_EQ(0, turkish->exitCode) << turkish->errors;
    EXPECT_THAT(turkish->output, HasSubstr("\"format\": \"i32\""));
}

#if !defined(__SANITIZE_THREAD__) // which needs the room that such a stack takes away
TEST(Threads, ThatCannotBeMadeAreToldAndNotWaitedFor)
{
    // No address space has room for a stack of so many KiB.
    const std::string stack = sizeof(void *) == 4 ? "4190000" : "200000000000";
    plc::host::ChildProcess process(
        "/bin/sh", {"-c", "ulimit -s " + stack + " && exec \"$0\" read -p /dev/null 4x:1", PLC_HOST_PROGRAM},
        true);
    EXPECT_EQ(5, process.waitForEnd(plc::runtime::steadyNow() + kPatience));
    EXPECT_THAT(process.errors(), HasSubstr("plchost: no thread can be made to serve port '/dev/null'"));
}
#endif

INSTANTIATE_TEST_SUITE_P(
    Words, Usage,
    ::testing::Values(
        Mistake{{}, "a command is missing; it is read, write, watch, "},
        Mistake{{"frobnicate"}, "'frobnicate' is no command; commands are read, write, watch, "},
        Mistake{{"reed"}, "'reed' is no command; did you mean 'read'?"},
        Mistake{{"help", "projct"}, "'projct' is no command; did you mean 'project'?"},
        Mistake{{"help", "project", "fromcsv"}, "'fromcsv' is no command; did you mean 'from-csv'?"},
        Mistake{{"read", "-p", "x", "4x:1", "--bauds", "9600"},
                "--bauds is no option of plchost read; did you mean '--baud'? (plchost read --help shows"},
        Mistake{{"read", "-p", "x", "4x:1", "--option", "onebased"},
                "--option 'onebased' is unknown; did you mean 'one-based'?"},
        Mistake{{"watch", "-p", "x", "4x:1", "--without", "late-replyguard"},
                "there is no policy 'late-replyguard'; did you mean 'late-reply-guard'?"},
        Mistake{{"read", "-p", "x", "4xbit:1.1"}, "'4xbit' is no area; did you mean '4x_bit'?"},
        Mistake{{"read", "-p", "x", "-t", "4x_singel", "-r", "1"},
                "'4x_singel' is no area; did you mean '4x_single'?"},
        Mistake{{"plan", "a.json", "b.json"}, "'b.json' is one word too many for plchost plan"},
        Mistake{{"listen"}, "nothing is to be listened to: name a port with -p PATH, or a capture"},
        Mistake{{"listen", "-p", "/dev/null"}, "it is no usable serial port", 5},
        Mistake{{"listen", "-p", "/nowhere"}, "'/nowhere'", 5},
        Mistake{{"listen", "x", "-p", "y"}, "leave -p and --capture out, or the file"},
        Mistake{{"listen", "/nowhere"}, "/nowhere: No such file or directory"},
        Mistake{{"listen", "/"}, "/: Is a directory"},
        Mistake{{"listen", "/dev/null"}, "/dev/null: byte 0: this is no pcapng"},
        Mistake{{"listen", "/dev/zero"}, "/dev/zero: byte 0: this is no pcapng"},
        Mistake{{"listen", "-p", "x", "-P", "mark"}, "--parity"},
        Mistake{{"listen", "-p", "x", "-b", "7"}, "--baud: '7' is not possible"},
        Mistake{{"listen", "-p", ""}, "--port"}, Mistake{{"listen", "-p", "x", "--capture", ""}, "--capture"},
        Mistake{{"read", "-p", kLine, "4x:1", "--capture", "-"}, "- is for listen"},
        Mistake{{"read", "-p", kLine, "4x:1", "--capture", "/nowhere/x"},
                "--capture: '/nowhere/x' cannot be opened",
                7},
        Mistake{{"listen", "-p", kLine, "--capture", "/nowhere/x"},
                "--capture: '/nowhere/x' cannot be opened",
                7},
        Mistake{{"read", "4x:1"},
                "no port is named; give one with -p PATH, as -p /dev/ttyUSB0, or a project that"},
        Mistake{{"read", "-p", "x"}, "no variable is given"},
        Mistake{{"read", "-p", "x", "5x:1"}, "'5x' is no area"},
        Mistake{{"read", "-p", "x", "4x:1", "-b", "9601x"}, "--baud"},
        Mistake{
            {"read", "-p", "x", "4x:1", "-b", "7"},
            "--baud: '7' is not possible; it takes a whole number from 300 to 4000000 (plchost read --help"},
        Mistake{{"read", "-p", "x", "4x:1", "-P", "mark"},
                "--parity: 'mark' is not possible; it takes even, odd or none ("},
        Mistake{{"read", "-p", "x", "4x:1", "-d", "7"}, "--data-bits: '7' is not possible; it takes 8 ("},
        Mistake{{"read", "-p", "x", "4x:1", "-s", "3"},
                "--stop-bits: '3' is not possible; it takes 1 or 2 ("},
        Mistake{{"read", "-p", "x", "4x:1", "-a", "248"}, "--station"},
        Mistake{{"read", "-p", "x", "4x:1", "-o", "0"},
                "--timeout: '0' is not possible; it takes a number from 0.01 to 60 ("},
        Mistake{{"read", "-p", "x", "4x:1", "--max-block", "101"},
                "--max-block: '101' is not possible; it takes a whole number from 1 to 100 ("},
        Mistake{{"read", "-p", "x", "4x:1", "--option", "turbo"}, "--option 'turbo' is unknown"},
        Mistake{{"read", "-p", "x", "4x:1", "--format", "xml"},
                "--format: 'xml' is not possible; it takes text, csv or ndjson ("},
        Mistake{{"read", "-p", "x", "4x:1", "--frobnicate"},
                "--frobnicate is no option of plchost read (plchost read --help shows"},
        Mistake{{"read", "-p", "", "4x:1"}, "--port: must name a port"},
        Mistake{{"project"}, "a command is missing; it is from-csv or to-csv (plchost project --help shows"},
        Mistake{{"project", "to-csv"},
                "PROJECT is missing: project file (plchost project to-csv --help shows"},
        Mistake{{"project", "to-csv", "/nowhere.json"}, "'/nowhere.json' cannot be read: No such file"},
        Mistake{{"project", "from-csv", "/nowhere.csv"}, "'/nowhere.csv' cannot be read: No such file"},
        Mistake{{"project", "from-csv", "/nowhere.csv", "-a", "0"}, "the station (-a) is 1 to 247"},
        Mistake{{"demo", "-a", "0", "--station-program", "/nowhere"}, "nobody answers reads of station 0"},
        Mistake{{"demo", "--format", "csv"}, "--format"},
        Mistake{{"read", "-p", "x", "4x:1@0"}, "nobody answers a read of station 0"},
        Mistake{{"write", "-p", "x", "4x_bit:35.3=1", "--option", "bit-from-mirror"},
                "its register has not been read yet"},
        Mistake{{"watch", "-p", "x", "4x:1", "--without", "frobnicate"},
                "there is no policy 'frobnicate'; policies are "},
        Mistake{{"read", "-p", "x", "--without", "reply-check", "5x:1"}, "'5x' is no area"},
        Mistake{{"read", "-p", "x", "--option", "one-based", "5x:1"}, "'5x' is no area"},
        Mistake{{"watch", "-p", "x", "4x:1", "--first-trial", "70"},
                "the first trial (--first-trial) comes later"},
        Mistake{{"read", "-p", "x", "4x:1", "--offline-after", "3"}, "--offline-after"},
        Mistake{{"read", "-p", "x", "4x:0:65536", "--max-block", "1"}, "takes 65536 requests"},
        Mistake{{"read", "-p", "x", "4x:1", "--driver", "/nowhere.so"}, "/nowhere.so"},
        Mistake{{"watch", "-p", "x", "4x:1@0"}, "nobody answers a read of station 0"},
        Mistake{{"write", "-p", "x", "4x:1"}, "'4x:1' is no write"},
        Mistake{{"write", "-p", "x", "4x:1=65536"}, "value '65536' is not allowed"},
        Mistake{{"write", "-p", "x", "3x:1=1"}, "3x (input registers) cannot be written"},
        Mistake{{"write", "-p", "x", "4x_bit:35.3@0=1"}, "which nobody at station 0 tells"},
        Mistake{{"write", "-p", "x", "0x:1:3=1,0"}, "the count is 3, but 2 values are given"},
        Mistake{{"write", "-p", "x", "4x:65535=1,2"}, "the count must be a number from 1 to 1"},
        Mistake{{"read", "-p", "x", "4x:1/f33"}, "character 6: 'f33' is no format"},
        Mistake{{"read", "-p", "x", "0x:1/u16"}, "values in 0x are bits, which have no format"},
        Mistake{{"write", "-p", "x", "4x:1/f32=nan"}, "value 'nan' is not allowed; f32 holds numbers from"},
        Mistake{{"write", "-p", "x", "4x:1/f64=-inf"}, "value '-inf' is not allowed"},
        Mistake{{"write", "-p", "x", "4x:65534/f32=1,2"}, "the count must be a number from 1 to 1"},
        Mistake{{"write", "-p", "x", "4x:1:2/f32=1"}, "the count is 2, but 1 values are given"},
        Mistake{{"read", "--project", "/nowhere.json", "A"}, "'/nowhere.json' cannot be read: No such file"},
        Mistake{{"read", "--project", "", "A"}, "--project: must name a file"},
        Mistake{{"read", "-p", "x", "A"}, "'A' is no area"},
        Mistake{{"write", "-p", "x", "4x:1@0=1", "--verify"}, "a broadcast cannot be read back"}),
    nameOfRow);

INSTANTIATE_TEST_SUITE_P(
    Numbers, Usage,
    ::testing::Values(
        Mistake{{"watch", "-p", "x", "4x:1", "--for", "nan"}, "--for: 'nan' is no number"},
        Mistake{{"watch", "-p", "x", "4x:1", "--for", "inf"}, "--for: 'inf' is no number"},
        Mistake{{"watch", "-p", "x", "4x:1", "-l", "nan"}, "--interval: 'nan' is no number"},
        Mistake{{"watch", "-p", "x", "4x:1", "--first-trial", "nan"}, "--first-trial: 'nan' is no number"},
        Mistake{{"watch", "-p", "x", "4x:1", "--longest-trial", "-inf"},
                "--longest-trial: '-inf' is no number"},
        Mistake{{"read", "-p", "x", "4x:1", "-o", "nan"}, "--timeout: 'nan' is no number"},
        Mistake{{"read", "-p", "x", "4x:1", "-o", "infinity"}, "--timeout: 'infinity' is no number"},
        Mistake{{"read", "-p", "x", "4x:1", "--late-guard", "nan(1)"}, "--late-guard: 'nan(1)' is no number"},
        Mistake{{"read", "-p", "x", "4x:1", "-b", "inf"}, "--baud: 'inf' is no number"},
        Mistake{{"read", "-p", "x", "4x:1", "--retries", "nan"}, "--retries: 'nan' is no number"},
        Mistake{{"read", "-p", "x", "4x:1", "-a", "nan"}, "--station: 'nan' is no station from 0 to 247"},
        Mistake{{"run", "x.json", "--every", "NaN"}, "--every: 'NaN' is no number"},
        Mistake{{"run", "x.json", "--for", "1e400"}, "--for"},
        Mistake{{"plan", "x.json", "--answer-delay", "nan"}, "--answer-delay: 'nan' is no number"},
        Mistake{{"plan", "x.json", "--answer-delay", "inf"}, "--answer-delay: 'inf' is no number"},
        Mistake{{"write", "-p", "x", "4x:1=inf"}, "value 'inf' is not allowed"},
        Mistake{{"write", "-p", "x", "4x:1/f32=-nan"}, "value '-nan' is not allowed"},
        Mistake{{"--drop", "nan"}, "--drop: 'nan' is no percentage from 0 to 100", 1, PLC_STATION_PROGRAM},
        Mistake{{"--late", "inf"}, "--late: 'inf' is no percentage from 0 to 100", 1, PLC_STATION_PROGRAM},
        Mistake{{"--delay", "nan"}, "--delay", 1, PLC_STATION_PROGRAM},
        Mistake{{"--pace", "inf"}, "--pace", 1, PLC_STATION_PROGRAM},
        Mistake{{"--seed", "nan"}, "--seed: 'nan' is no whole number", 1, PLC_STATION_PROGRAM},
        Mistake{{"--size", "0"}, "--size", 1, PLC_STATION_PROGRAM}),
    nameOfRow);

INSTANTIATE_TEST_SUITE_P(
    Options, Usage,
    ::testing::Values(
        Mistake{{"run", "x.json", "--every", "0.05"},
                "--every: '0.05' is not possible; it takes a number from 0.1 to 1000000 (plchost run --help"},
        Mistake{{"plan", "x.json", "--format", "cvs"},
                "--format: 'cvs' is not possible; it takes text or json ("},
        Mistake{{"read", "-p", "x", "4x:1", "--format", "cvs"},
                "--format: 'cvs' is not possible; it takes text, csv or ndjson; did you mean 'csv'?"},
        Mistake{{"read", "-p", "x", "4x:1", "--retries", "1.5"},
                "--retries: '1.5' is not possible; it takes a whole number from 0 to 100"},
        Mistake{{"read", "-p"}, "--port: PATH is missing behind it: serial port or pseudo-terminal"},
        Mistake{{"read", "-p", "x", "-p", "y", "4x:1"}, "--port is given 2 times; once is possible"},
        Mistake{{"read", "-p", "x", "4x:1", "--hex", "--signed"},
                "--hex and --signed contradict each other; leave one of them out"},
        Mistake{{"read", "-p", "x", "4x:1", "-v=4"}, "-=4 is no option of plchost read"},
        Mistake{{"run"}, "PROJECT is missing: project file"},
        Mistake{{"read", "-p", "no_such_line", "4x:1"}, "there is no /dev/no_such_line", 5},
        Mistake{{"--delay", "-1"},
                "--delay: '-1' is not possible; it takes a whole number from 0 to 3600000 (plcstation --help",
                1,
                PLC_STATION_PROGRAM},
        Mistake{{"--pace", "x"},
                "--pace: 'x' is not possible; it takes a whole number from 1 to 4000000",
                1,
                PLC_STATION_PROGRAM},
        Mistake{{"--counters"},
                "--counters: RANGE is missing behind it: items that move",
                1,
                PLC_STATION_PROGRAM},
        Mistake{
            {"-a", "1", "-a", "2"}, "--address is given 2 times; once is possible", 1, PLC_STATION_PROGRAM}),
    nameOfRow);

INSTANTIATE_TEST_SUITE_P(
    Places, Usage,
    ::testing::Values(
        Mistake{{"read", "-p", "x", "--option", "one-based", "4x:0"},
                "the address counts from 1 here (option one-based) and must be a number from 1 to 65536"},
        Mistake{{"write", "-p", "x", "--option", "one-based", "4x_bit:0.3=1"},
                "the register counts from 1 here (option one-based)"},
        Mistake{{"read", "-p", "x", "4x:1", "-0"}, "'-0' is no option: addresses count from 0 without it"},
        Mistake{{"write", "-p", "x", "-0"}, "'-0' is no option: addresses count from 0 without it"},
        Mistake{{"watch", "-p", "x", "-7"}, "'-7' is no option"},
        Mistake{{"write", "-p", "x", "4x:1=5@7"}, "the station stands in front of =, as 4x:1@7=5"},
        Mistake{{"read", "-p", "x", "-t", "9", "-r", "1"}, "--type: '9' is no area; it is 0, 1, 3 or 4 for"},
        Mistake{{"read", "-p", "x", "-t", "2", "-r", "1"}, "--type: '2' is no area"},
        Mistake{{"read", "-p", "x", "-t", "4:float32", "-r", "1"}, "--type: behind : stands one of float"},
        Mistake{{"read", "-p", "x", "-t", "4", "-r", "1@7"}, "--start: '1@7' is no address"},
        Mistake{{"read", "-p", "x", "-t", "4", "-r", "4x:1"}, "--start: '4x:1' is no address"},
        Mistake{{"read", "-p", "x", "-t", "9", "4x:100"},
                "--type belongs to -t AREA -r ADDRESS, as -t 4 -r 100 -c 10; the same as a VARIABLE"},
        Mistake{{"watch", "-p", "x", "-r", "9", "4x:100"}, "--start belongs to -t AREA -r ADDRESS"},
        Mistake{{"read", "-p", "x", "-c", "9", "4x:100"}, "--count belongs to -t AREA -r ADDRESS"},
        Mistake{{"read", "-p", "x", "-a", "1,3-2", "4x:1"}, "--station: '3-2' is no station from 0 to 247"},
        Mistake{{"read", "-p", "x", "-a", "1,2,1", "4x:1"}, "--station: station 1 is given twice"},
        Mistake{{"read", "-p", "x", "-a", "0-2", "4x:1"}, "nobody answers a read of station 0"},
        Mistake{{"watch", "-p", "x", "-a", "1,2", "4x:1@3"}, "each variable has a station of its own"},
        Mistake{{"write", "-p", "x", "-a", "1,2", "4x:1=1"},
                "several stations, as '1,2', are for read and watch"},
        Mistake{{"write", "-p", "x"}, "nothing is to be written; name a variable and its value"},
        Mistake{{"write", "-p", "x", "--from", "/nowhere.csv"},
                "'/nowhere.csv' cannot be read: No such file"},
        Mistake{{"write", "-p", "x", "--from", "/dev/null"},
                "/dev/null, line 1, column 1: a table of values"},
        Mistake{{"write", "-p", "x", "--dry-run", "4x:1@0=1"}, "cannot be read back; leave --dry-run out"},
        Mistake{{"write", "-p", "x", "--read-only", "4x:1=1"}, "--read-only: nothing is written"},
        Mistake{{"demo", "--read-only"}, "--read-only: a demo writes to the station that it starts"},
        Mistake{{"read", "-p", "x", "4x:1:2x"}, "the count must be a number from 1 to 65535, not '2x'"},
        Mistake{{"read", "-p", "x", "4x:1@"}, "the station must be a number from 0 to 247, but is missing"},
        Mistake{{"write", "-p", "x", "4x:1="}, "value '' is not allowed"},
        Mistake{{"write", "-p", "x", "0x:1=2"}, "value '2' is not allowed"},
        Mistake{{"run", "/nowhere.json"}, "'/nowhere.json' cannot be read: No such file"},
        Mistake{{"plan", "/dev/null"}, "/dev/null, line 1, column 1: this is no JSON"},
        Mistake{{"plan", "/tmp"}, "'/tmp' cannot be read"},
        Mistake{{"-a", "1,1"}, "--address: station 1 is given twice", 1, PLC_STATION_PROGRAM},
        Mistake{{"-a", "248"}, "--address: '248' is no station number", 1, PLC_STATION_PROGRAM},
        Mistake{{"--counters", "5x:1"}, "--counters: '5x:1' is no moving range", 1, PLC_STATION_PROGRAM},
        Mistake{{"--areas", "/nowhere.json"},
                "/nowhere.json: cannot be read: No such file",
                1,
                PLC_STATION_PROGRAM},
        Mistake{{"--link", "/dev/null"}, "--link: ", 1, PLC_STATION_PROGRAM}),
    nameOfRow);

// What is wrong shows on the line alone.
INSTANTIATE_TEST_SUITE_P(
    Lines, Usage,
    ::testing::Values(
        Mistake{{"read", "-p", "/dev/no_such_port", "4x:1"}, "no_such_port", 5},
        Mistake{{"write", "-p", "/dev/no_such_port", "4x:1=1"}, "no_such_port", 5},
        Mistake{{"identify", "-p", "/dev/null", "-a", "0"}, "--station: 0 is a broadcast"},
        Mistake{{"identify"}, "no port is named"},
        Mistake{{"identify", "-p", "/dev/null", "--format", "csv"}, "--format"},
        Mistake{{"limits", "-p", "/dev/null", "-a", "1,2"},
                "--station: several stations, as '1,2', are asked one by one; give the command for each"},
        Mistake{{"limits", "-p", "/dev/null", "-a", "0"}, "--station: 0 is a broadcast"},
        Mistake{{"limits", "-p", "/dev/null", "-r", "65536"}, "--start"},
        Mistake{{"limits", "-p", "/dev/null", "--samples", "0"}, "--samples"},
        Mistake{{"limits", "-p", "/dev/null", "--capture", "-"}, "--capture: - is for listen"},
        Mistake{{"map", "-p", "/dev/null", "-a", "5,7"},
                "--station: several stations, as '5,7', are asked one by one; give the command for each"},
        Mistake{{"map", "-p", "/dev/null", "5x"}, "'5x' is no area to map"},
        Mistake{{"map", "-p", "/dev/null", "4x:5-4"}, "'4x:5-4' is no area to map"},
        Mistake{{"map", "-p", "/dev/null", "4x:0-65536"}, "is no area to map"},
        Mistake{{"map", "-p", "/dev/null", "4x:"}, "is no area to map"},
        Mistake{{"map", "-p", "/dev/null", "4x:7"}, "is no area to map"},
        Mistake{{"map", "-p", "/dev/null", "--least", "0"}, "--least"},
        Mistake{{"map", "-p", "/dev/null", "--least", "8", "--exact"}, "--exact"},
        Mistake{{"map", "-p", "/dev/null", "--known", "-1"}, "--known"},
        Mistake{{"map", "-p", "/dev/null", "--write-project", "/dev/null"},
                "--write-project: '/dev/null' exists"},
        Mistake{{"map", "-p", "/dev/null", "--resume", "/proc/version"}, "/proc/version"},
        Mistake{{"map", "-p", "/dev/null", "--resume", "/nosuch/x"},
                "--resume: '/nosuch/x' cannot be written: No such file or directory",
                7},
        Mistake{{"map", "-p", "/dev/null", "--resume", "/dev/null/x"},
                "--resume: '/dev/null/x' cannot be written: Not a directory",
                7},
        Mistake{{"map", "-p", "/dev/null", "--write-project", "/nosuch/x"},
                "--write-project: '/nosuch/x' cannot be written: No such file or directory",
                7},
        Mistake{{"map", "-p", "/dev/null", "4x"}, "/dev/null", 5},
        Mistake{{"raw", "-p", "/dev/null"}, "BYTES is missing"},
        Mistake{{"raw", "-p", "/dev/null", "0103G0"}, "'0103G0' is no row of bytes"},
        Mistake{{"raw", "-p", "/dev/null", "010"}, "'010' is no row of bytes"},
        Mistake{{"raw", "-p", "/dev/null", ""}, "1 to 512 bytes"},
        Mistake{{"raw", "-p", "/dev/null", "--read-only", "01 05 00 00 FF 00"}, "--read-only: "},
        Mistake{{"raw", "-p", "/dev/null", "--read-only", "00 03 00 00 00 01"}, "--read-only: "},
        Mistake{{"raw", "-p", "/dev/null", "--read-only", "--no-crc",
                 "05 03 00 64 00 01 C5 91 05 06 00 64 00 09 09 97"},
                "--read-only: without --no-crc"},
        Mistake{{"raw", "-p", "/dev/null", "--read-only", "--no-crc", "05 03 00 64 00 01 C5 91"},
                "--read-only: without --no-crc"},
        Mistake{{"raw", "-p", "/dev/null", "--read-only", "05 03 00 64 00 01 C5 91 05 06 00 64 00 09"},
                "--read-only: "},
        Mistake{{"raw", "-p", "/dev/null", "--read-only", "05 03 00 64 00 01 C5 91"}, "--read-only: "},
        Mistake{{"raw", "-p", "/dev/null", "--read-only", "05 03 00 64"}, "--read-only: "},
        Mistake{{"raw", "-p", "/dev/null", "--read-only", "05 03 00 64 00 7E"}, "--read-only: "},
        Mistake{{"raw", "-p", "/dev/null", "--read-only", "05 07 06"}, "--read-only: "},
        Mistake{{"raw", "-p", "/dev/null", "--read-only", "05 2B 0E 01 00"}, "/dev/null", 5},
        Mistake{{"raw", "-p", "/dev/null", "--read-only", "05 08 00 00 A5 37"}, "/dev/null", 5},
        Mistake{{"raw", "-p", "/dev/null", "--read-only", "05 18 00 64"}, "/dev/null", 5},
        Mistake{{"raw", "-p", "/dev/null", "-a", "7", "01 03 00 00 00 01"}, "-a is no option of plchost raw"},
        Mistake{{"raw", "-p", "/dev/null", "01 03 00 00 00 01"}, "/dev/null", 5},
        Mistake{{"--only", "4x:9-5"}, "--only: '4x:9-5'", 1, PLC_STATION_PROGRAM},
        Mistake{{"--identity", "1"}, "--identity: '1'", 1, PLC_STATION_PROGRAM},
        Mistake{{"--functions", "0"}, "--functions: '0'", 1, PLC_STATION_PROGRAM},
        Mistake{{"--lacking", "zero"}, "--lacking", 1, PLC_STATION_PROGRAM},
        Mistake{{"--max-registers", "126"}, "--max-registers", 1, PLC_STATION_PROGRAM},
        Mistake{{"watch", "-q", "-p", "/dev/no_such_port", "4x:1"}, "no_such_port", 5},
        Mistake{{"scan", "-p", "/dev/no_such_port"}, "no_such_port", 5}, Mistake{{"scan"}, "--port", 1},
        Mistake{{"scan", "-p", ""}, "must name a port", 1},
        Mistake{{"scan", "-p", "x", "-a", "0-5"}, "--station: '0-5' is no station from 1 to 247", 1},
        Mistake{{"scan", "-p", "x", "-a", "248"}, "--station: '248' is no station from 1 to 247", 1},
        Mistake{{"scan", "-p", "x", "-a", "5-3"}, "--station: '5-3'", 1},
        Mistake{{"scan", "-p", "x", "-b", "fast"}, "--baud: 'fast'", 1},
        Mistake{{"scan", "-p", "x", "-b", "19200-9600"}, "--baud: '19200-9600'", 1},
        Mistake{{"scan", "-p", "x", "-P", "mark"}, "even, odd or none", 1},
        Mistake{{"scan", "-p", "x", "-s", "3"}, "--stop-bits: '3'", 1},
        Mistake{{"scan", "-p", "x", "--wait", "0"}, "--wait: '0'", 1},
        Mistake{{"scan", "-p", "x", "--wait", "nan"}, "--wait: 'nan'", 1},
        Mistake{{"scan", "-p", "x", "--listen", "1h"}, "--listen: '1h'", 1},
        Mistake{{"scan", "-p", "x", "--ask", "4x:0:2"}, "--ask: '4x:0:2'", 1},
        Mistake{{"scan", "-p", "x", "--ask", "9x:0"}, "9x", 1},
        Mistake{{"scan", "-p", "x", "--rs485=rts"}, "rts", 1},
        Mistake{{"scan", "-p", "x", "--format", "xml"}, "--format", 1},
        Mistake{{"scan", "-p", "x", "--capture", "y"}, "a capture has one rate", 1},
        Mistake{{"scan", "-p", "x", "-b", "9600", "-P", "even", "--capture", "-"}, "- is for listen", 1},
        Mistake{{"scan", "-p", "x", "--write-project", "/"}, "is there already", 1},
        Mistake{{"scan", "-p", "x", "--write-project", "/nowhere/x.json"},
                "--write-project: '/nowhere/x.json' cannot be written: No such file or directory",
                1},
        Mistake{{"scan", "-q", "-p", kLine, "-a", "2", "-b", "9600", "-P", "even", "--listen", "0"},
                "no station has answered",
                2},
        Mistake{{"read", "-p", "/dev/null", "4x:1"}, "/dev/null", 5},
        Mistake{{"read", "-p", kLine, "-o", "60", "4x:99:2"}, "plchost: 4x:99:2: ", 3},
        Mistake{{"write", "-p", kLine, "-o", "60", "4x:100=1"}, "plchost: 4x:100: ", 3},
        Mistake{{"read", "-p", kLine, "-o", "0.05", "--turnaround", "10", "--retries", "0", "4x:1@2"},
                "plchost: 4x:1@2: no answer from station 2",
                2}),
    nameOfRow);

/// The program itself and all its commands, as words.
const std::vector<Words> kCommands{{},
                                   {"read"},
                                   {"write"},
                                   {"watch"},
                                   {"run"},
                                   {"plan"},
                                   {"project"},
                                   {"project", "from-csv"},
                                   {"project", "to-csv"},
                                   {"listen"},
                                   {"scan"},
                                   {"identify"},
                                   {"limits"},
                                   {"map"},
                                   {"raw"},
                                   {"ports"},
                                   {"demo"},
                                   {"help"}};

class Help : public ::testing::TestWithParam<Words>
{
protected:
    static std::string shown(const Words &words)
    {
        const Finished run = plchost(words);
        EXPECT_EQ(0, run.exitCode);
        EXPECT_THAT(run.errors, IsEmpty());
        return run.output;
    }
};

TEST_P(Help, TellsWhatTheCommandDoesHowItIsCalledAndHowItEnds)
{
    std::string words = "plchost";
    for (const std::string &word : GetParam())
        words += " " + word;
    const std::string help = shown(GetParam() + Words{"--help"});
    EXPECT_EQ(0u, help.find(words + ": ")) << help;
    EXPECT_THAT(help, HasSubstr("\nUsage: " + words + " "));
    EXPECT_THAT(help, HasSubstr("\nMore: " + words + " --help-all, man plchost\n"));
    if (GetParam() == Words{"help"})
        return;
    EXPECT_THAT(help, HasSubstr("\nExample: "));
    EXPECT_THAT(help, HasSubstr("\nExit code"));
    const bool printsValues = help.find("\nExit codes:") != std::string::npos;
    EXPECT_TRUE(!printsValues || help.find("\n  7  output could not be written\n") != std::string::npos)
        << help;
    EXPECT_THAT(help, HasSubstr("\nDocuments, in docs/"));
}

TEST(HelpOfStations, SaysWhatTheCommandAsks)
{
    const auto help = [](const char *command) { return plchost({command, "--help"}).output; };
    EXPECT_THAT(help("identify"), HasSubstr("stations to ask, 1 to 247, as 1,3,5-8"));
    for (const char *const command : {"limits", "map"})
        EXPECT_THAT(help(command), HasSubstr("station to ask, 1 to 247"));
    EXPECT_THAT(help("raw"), Not(HasSubstr("--station")));
}

TEST_P(Help, IsTheSameByTheCommandHelp)
{
    EXPECT_EQ(shown(GetParam() + Words{"--help"}), shown(Words{"help"} + GetParam()));
    EXPECT_EQ(shown(GetParam() + Words{"--help-all"}), shown(Words{"help", "--all"} + GetParam()));
}

TEST_P(Help, FitsInto80ColumnsInFullToo)
{
    for (const char *option : {"--help", "--help-all"}) {
        for (const std::string &line : plchost(GetParam() + Words{option}).lines())
            EXPECT_LE(line.size(), 80u) << line;
    }
}

INSTANTIATE_TEST_SUITE_P(Commands, Help, ::testing::ValuesIn(kCommands), nameOfRow);

TEST(EverydayHelp, ExplainsEachTermWhereItFirstStands)
{
    const std::string help = plchost({"watch", "--help-all"}).output;
    const auto explains = [&help](const std::string &term, const std::string &explanation) {
        const std::size_t at = help.find(term);
        ASSERT_NE(std::string::npos, at) << term;
        EXPECT_EQ(0u, help.find(explanation) - at) << term;
    };
    explains("Driver", "Driver (the library that packs variables into requests, judges");
    explains("late guard:", "late guard: a reply that comes late must not pass for");
    explains("policy", "policy off, one of the rules by which plchost");
    explains("relay frames", "relay frames: requests in the");
}

TEST(EverydayHelp, LeavesToTheOtherWhatFewPeopleNeed)
{
    const std::string everyday = plchost({"read", "--help"}).output;
    const std::string all = plchost({"read", "--help-all"}).output;
    for (const char *rare : {"--late-guard", "--link-mode", "--any-rate", "absolute-deadline", "4x_single"}) {
        EXPECT_THAT(everyday, ::testing::Not(HasSubstr(rare)));
        EXPECT_THAT(all, HasSubstr(rare));
    }
    EXPECT_THAT(everyday, HasSubstr("--port PATH"));
}

TEST(Version, IsTold)
{
    EXPECT_THAT(plchost({"--version"}).output, ::testing::MatchesRegex("plchost [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST(Advice, IsGivenWhenTheBroadcastPauseOutlastsTheReplyWait)
{
    const std::string advice = "should be shorter than the wait for a reply";
    const auto toldBy = [](std::vector<std::string> what) {
        what.insert(what.end(), {"-p", "/dev/no_such_port", "-o", "0.1", "--turnaround", "100"});
        return plchost(what).errors;
    };
    EXPECT_THAT(toldBy({"write", "4x:1@0=1"}), HasSubstr(advice));
    EXPECT_THAT(toldBy({"write", "4x:1@5=1"}), Not(HasSubstr(advice))) << "nothing is broadcast";
    EXPECT_THAT(toldBy({"read", "4x:1"}), Not(HasSubstr(advice)));
}

} // namespace
