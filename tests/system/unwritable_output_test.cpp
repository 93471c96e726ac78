// Standard output that cannot be written: every command of both tools says so in one line and ends with 7. A
// reader that has gone away is no failure.

#include "programs.h"

namespace {

using namespace plc::test;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

const char kProject[] = R"({"link": {"replyTimeoutMs": 60000},
    "variables": [{"name": "Speed", "area": "4x", "address": "100", "count": 3}]})";
const char kMap[] = "name,area,address\nSpeed,4x,100\n";

/// A command whose output goes wrong. PORT, PROJECT and MAP stand for what the test has.
struct Printing
{
    const char *name;
    std::string program;
    Words arguments;
};

void PrintTo(const Printing &command, std::ostream *out)
{
    *out << command.name;
}

const Printing kCommands[] = {
    {"Help", PLC_HOST_PROGRAM, {"--help"}},
    {"HelpOfRead", PLC_HOST_PROGRAM, {"read", "--help"}},
    {"HelpOfWrite", PLC_HOST_PROGRAM, {"write", "--help"}},
    {"HelpOfWatch", PLC_HOST_PROGRAM, {"watch", "--help"}},
    {"HelpOfRun", PLC_HOST_PROGRAM, {"run", "--help"}},
    {"HelpOfListen", PLC_HOST_PROGRAM, {"listen", "--help"}},
    {"HelpOfPlan", PLC_HOST_PROGRAM, {"plan", "--help"}},
    {"HelpOfProject", PLC_HOST_PROGRAM, {"project", "--help"}},
    {"HelpOfFromCsv", PLC_HOST_PROGRAM, {"project", "from-csv", "--help"}},
    {"HelpOfToCsv", PLC_HOST_PROGRAM, {"project", "to-csv", "--help"}},
    {"HelpOfDemo", PLC_HOST_PROGRAM, {"demo", "--help"}},
    {"ReadAsText", PLC_HOST_PROGRAM, {"read", "-p", "PORT", "-o", "60", "4x:100"}},
    {"ReadAsCsv", PLC_HOST_PROGRAM, {"read", "-p", "PORT", "-o", "60", "4x:100", "--format", "csv"}},
    {"ReadAsNdJson", PLC_HOST_PROGRAM, {"read", "-p", "PORT", "-o", "60", "4x:100", "--format", "ndjson"}},
    {"Write", PLC_HOST_PROGRAM, {"write", "-p", "PORT", "-o", "60", "4x:100=1", "--verify"}},
    {"WatchWithoutEnd", PLC_HOST_PROGRAM, {"watch", "-p", "PORT", "-o", "60", "4x:100"}},
    {"WatchOnceAsCsv",
     PLC_HOST_PROGRAM,
     {"watch", "-p", "PORT", "-o", "60", "-1", "4x:100", "--format", "csv"}},
    {"RunWithoutEnd", PLC_HOST_PROGRAM, {"run", "PROJECT", "-p", "PORT", "--every", "0.2"}},
    {"RunOfAScan", PLC_HOST_PROGRAM, {"run", "PROJECT", "-p", "PORT", "--scans", "1", "--format", "ndjson"}},
    {"Plan", PLC_HOST_PROGRAM, {"plan", "PROJECT"}},
    {"PlanAsJson", PLC_HOST_PROGRAM, {"plan", "PROJECT", "--format", "json"}},
    {"FromCsv", PLC_HOST_PROGRAM, {"project", "from-csv", "MAP"}},
    {"ToCsv", PLC_HOST_PROGRAM, {"project", "to-csv", "PROJECT"}},
    {"Demo", PLC_HOST_PROGRAM, {"demo", "-q"}},
    {"HelpOfTheStation", PLC_STATION_PROGRAM, {"--help"}},
    {"TheStation", PLC_STATION_PROGRAM, {"-q"}},
};

/// Runs a command line of the shell with the words of a command behind it, as "$@".
Finished inShell(const std::string &line, const Words &command)
{
    plc::host::ChildProcess shell("/bin/sh", Words{"-c", line, "sh"} + command, true);
    Finished finished;
    const auto code = shell.waitForEnd(plc::runtime::steadyNow() + kPatience);
    finished.exitCode = code.value_or(-1);
    finished.output = shell.output();
    finished.errors = shell.errors();
    EXPECT_TRUE(code) << "still runs";
    return finished;
}

class UnwritableOutput : public ::testing::TestWithParam<Printing>
{
protected:
    /// The command's words, with what the test has in place of the words for it.
    Words words()
    {
        Words result{GetParam().program};
        for (const std::string &word : GetParam().arguments)
            result.push_back(word == "PORT"      ? station->terminal()
                             : word == "PROJECT" ? project.path()
                             : word == "MAP"     ? map.path()
                                                 : word);
        return result;
    }

    void expectFailure(const Finished &run, const char *reason)
    {
        const std::string tool = GetParam().program == PLC_HOST_PROGRAM ? "plchost" : "plcstation";
        EXPECT_EQ(7, run.exitCode);
        EXPECT_THAT(run.errors, AllOf(StartsWith(tool + ": standard output cannot be written: " + reason),
                                      EndsWith("\n"), MatchesRegex("[^\n]*\n")));
    }

    std::unique_ptr<Server> station{startStation({})};
    TemporaryFile project{kProject};
    TemporaryFile map{kMap};
};

TEST_P(UnwritableOutput, TellsOfADeviceThatIsFull)
{
    expectFailure(inShell("exec \"$@\" >/dev/full", words()), "No space left on device");
}

TEST_P(UnwritableOutput, TellsOfADescriptorThatIsClosed)
{
    expectFailure(inShell("exec \"$@\" >&-", words()), "Bad file descriptor");
}

// Programs with these sanitizers write files themselves: before they begin, or what was covered at their end.
#if !defined(__SANITIZE_THREAD__) && !defined(__SANITIZE_ADDRESS__)
TEST_P(UnwritableOutput, TellsOfAFileThatMayGrowNoLonger)
{
    const TemporaryFile file("");
    expectFailure(
        inShell("ulimit -f 0; file=$1; shift; exec \"$@\" >>\"$file\"", Words{file.path()} + words()),
        "File too large");
}
#endif

TEST_P(UnwritableOutput, TellsOfAFileSystemThatIsFull)
{
    // A file system of the command's own, full before the command begins.
    const std::string mounted = "mount -t tmpfs -o size=4k tmpfs \"$0\" && ";
    const std::string folder = ::testing::TempDir();
    if (inShell("unshare -m sh -c '" + mounted + "true' \"$1\"", {folder}).exitCode != 0)
        GTEST_SKIP() << "nothing can be mounted here";
    // The files of the test lie in that folder, and the command has to find them.
    const Finished run = inShell("folder=$1; shift; mkdir -p \"$folder/full\"; exec unshare -m sh -c '"
                                 "mount -t tmpfs -o size=4k tmpfs \"$0/full\"; "
                                 "{ cat /dev/zero >\"$0/full/rest\"; } 2>/dev/null; "
                                 "exec \"$@\" >\"$0/full/output\"' \"$folder\" \"$@\"",
                                 Words{folder} + words());
    expectFailure(run, "No space left on device");
}

TEST_P(UnwritableOutput, IsNoFailureWhereTheReaderHasGone)
{
    if (GetParam().program == PLC_STATION_PROGRAM && GetParam().arguments == Words{"-q"})
        GTEST_SKIP() << "the station goes on: its path is wanted once";
    const Finished run = inShell("{ \"$@\"; echo \"code $?\" >&2; } | head -n 1", words());
    EXPECT_THAT(run.errors, AllOf(EndsWith("code 0\n"), Not(HasSubstr("plchost:"))));
    // What ends by itself may have said all before the reader goes.
    if (std::string(GetParam().name).find("WithoutEnd") != std::string::npos) {
        EXPECT_EQ("code 0\n", run.errors);
    }
    EXPECT_THAT(run.output, MatchesRegex("[^\n]+\n"));
}

INSTANTIATE_TEST_SUITE_P(Of, UnwritableOutput, ::testing::ValuesIn(kCommands),
                         [](const auto &command) { return std::string(command.param.name); });

TEST(StandardDescriptorsThatAreClosed, AreNotTakenByThePort)
{
    const std::unique_ptr<Server> station = startStation({"--counters", "4x:0"});
    const Finished run = inShell("exec \"$@\" <&- >&- 2>&-",
                                 {PLC_HOST_PROGRAM, "read", "-p", station->terminal(), "-o", "60", "4x:100"});
    EXPECT_EQ(7, run.exitCode);
    // What was printed has not gone to the station, as it would on the lowest number that is free.
    EXPECT_THAT(station->stop().errors, HasSubstr("bad frames 0, bytes in 8,"));
}

TEST(ACaptureThatCannotBeWritten, EndsWithSevenAndTheValuesAreReadAllTheSame)
{
    const std::unique_ptr<Server> station = startStation({"-q"});
    const Finished run = inShell("\"$@\"", {PLC_HOST_PROGRAM, "read", "-p", station->terminal(), "-o", "60",
                                            "4x:100", "--capture", "/dev/full"});
    EXPECT_EQ(7, run.exitCode);
    EXPECT_EQ("4x:100 = 0\n", run.output);
    EXPECT_EQ("plchost: --capture: '/dev/full' could not be written: No space left on device\n", run.errors);
}

TEST(ACaptureThatCannotBeWritten, IsToldOfWhereNothingIsHeardToo)
{
    const std::unique_ptr<Server> station = startStation({"-q"});
    const Finished run = inShell("\"$@\"", {PLC_HOST_PROGRAM, "listen", "-p", station->terminal(), "--for",
                                            "60", "--capture", "/dev/full"});
    EXPECT_EQ(7, run.exitCode);
    EXPECT_EQ("plchost: --capture: '/dev/full' could not be written: No space left on device\n", run.errors);
}

TEST(ValuesThatTheStationCannotPrint, EndItWithSeven)
{
    const TemporaryFile file("");
    // Room for the path of the pseudo-terminal and some values.
    const Finished run = inShell("ulimit -f 1; file=$1; shift; "
                                 "yes 'get 1 4x:0' | head -n 1000 | \"$@\" >\"$file\"",
                                 {file.path(), PLC_STATION_PROGRAM, "--commands", "-q"});
    EXPECT_EQ(7, run.exitCode);
    EXPECT_EQ("plcstation: standard output cannot be written: File too large; send it elsewhere\n",
              run.errors);
}

TEST(AWriteWhoseOutputIsLost, IsCarriedOutAndVerifiedAllTheSame)
{
    const std::unique_ptr<Server> station = startStation({});
    const Words write{PLC_HOST_PROGRAM, "write",  "-p",      station->terminal(), "-o", "60",
                      "4x:1=7",         "4x:2=8", "--verify"};
    EXPECT_EQ("code 0\n", inShell("{ \"$@\"; echo \"code $?\" >&2; } | head -n 1", write).errors);
    EXPECT_EQ("4x:1:2 = 7 8\n", plchost({"read", "-p", station->terminal(), "-o", "60", "4x:1:2"}).output);
}

TEST(AReadWhoseOutputNobodyTakes, EndsWithTheFirstInterruption)
{
    const std::unique_ptr<Server> station = startStation({});
    const FullPipe pipe;
    plc::host::ChildProcess read("/bin/sh",
                                 {"-c", "exec \"$0\" read -v -p \"$1\" -o 60 4x:1 >\"$2\"", PLC_HOST_PROGRAM,
                                  station->terminal(), pipe.path()},
                                 true);
    awaitError(read, " <- ");
    read.signal(SIGINT);
    EXPECT_EQ(7, read.waitForEnd(plc::runtime::steadyNow() + kPatience));
    EXPECT_THAT(read.errors(), HasSubstr("plchost: standard output cannot be written: nobody has read it "
                                         "before the interruption"));
}

TEST(AWatchThatHasReadNothing, EndsQuietlyWhereItsReaderHasGone)
{
    const std::unique_ptr<Server> nobody = startStation({"-a", "9"});
    const TemporaryFile project(kProject);
    for (const Words &words : {Words{"watch", "4x:1", "-o", "60"}, Words{"run", project.path()}}) {
        const Finished run = inShell("{ \"$@\"; echo \"code $?\" >&2; } | true",
                                     Words{PLC_HOST_PROGRAM} + words + Words{"-p", nobody->terminal()});
        EXPECT_EQ("code 0\n", run.errors);
    }
}

TEST(AWatchWhoseTraceNobodyReads, Ends)
{
    const std::unique_ptr<Server> station = startStation({});
    const Words watch{PLC_HOST_PROGRAM, "watch", "-v", "-p", station->terminal(), "-o", "60", "4x:1"};
    const Finished run = inShell("\"$@\" 2>&1 >/dev/null | head -n 1", watch);
    EXPECT_THAT(run.output, MatchesRegex("[^\n]+\n"));
}

} // namespace
