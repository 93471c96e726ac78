// The built program, seen from outside: its options, its pseudo-terminal, its end.

#include "station/pty_line.h"
#include "station/rtu_text.h"
#include "station/station_process.h"

#include <gtest/gtest.h>

#include <ostream>
#include <sstream>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <regex>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace {

using namespace plc::station;
using namespace plc::test;
using namespace std::chrono_literals;

using Arguments = std::vector<std::string>;
using Clock = std::chrono::steady_clock;

/// True once @p path is gone; waits for that up to 10 s.
bool goes(const std::string &path)
{
    struct stat info;
    for (int i = 0; i < 1000 && lstat(path.c_str(), &info) == 0; ++i)
        usleep(10000);
    return lstat(path.c_str(), &info) != 0;
}

/// A folder of its own, removed with what is in it.
class TemporaryFolder
{
public:
    TemporaryFolder()
    {
        char name[] = "/tmp/plcstation-test-XXXXXX";
        path_ = mkdtemp(name) != nullptr ? name : "";
    }
    ~TemporaryFolder()
    {
        for (const std::string &file : files_)
            unlink(file.c_str());
        rmdir(path_.c_str());
    }

    std::string file(const std::string &name)
    {
        files_.push_back(path_ + "/" + name);
        return files_.back();
    }
    std::string file(const std::string &name, const std::string &text)
    {
        std::ofstream(file(name)) << text;
        return files_.back();
    }

private:
    std::string path_;
    std::vector<std::string> files_;
};

bool contains(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

const Bytes &readOne()
{
    static const Bytes request = rtu("11 03 0000 0001");
    return request;
}

const Bytes &zero()
{
    static const Bytes reply = bytes("11 03 02 00 00 79 87");
    return reply;
}

TEST(StationProgram, AnswersOnThePseudoTerminalItNames)
{
    StationProcess station({"-a", "17"});
    MasterPort port(station.path());
    ASSERT_TRUE(port.isOpen()) << station.path();
    EXPECT_EQ(zero(), port.ask(readOne(), 7));
    EXPECT_EQ(bytes("11 10 00 64 00 02 02 87"), port.ask(bytes("11 10 00 64 00 02 04 12 34 AB CD 5A A7"), 8));
    EXPECT_EQ(bytes("11 03 04 12 34 AB CD 11 E1"), port.ask(bytes("11 03 00 64 00 02 87 44"), 9));
}

TEST(StationProgram, TakesCommandsFromItsStandardInputAndOutlivesItsEnd)
{
    // The shell gives the input, and becomes the station.
    Program station("/bin/sh",
                    {"-c",
                     "exec \"$0\" --commands --die-with-parent <<'END'\nset 1 4x:0 7 8\nget 1 4x:0 2\n"
                     "kill 1\nget 1 4x:1\nEND\n",
                     PLC_STATION_PROGRAM});
    const std::string path = station.readLine();
    EXPECT_EQ("1 4x:0 7 8", station.readLine());
    EXPECT_EQ("1 4x:1 8", station.readLine());
    MasterPort port(path);
    EXPECT_EQ(rtu("01 03 02 0007"), port.ask(rtu("01 03 0000 0001"), 7));
    station.signal(SIGTERM);
    const ProgramResult result = station.wait();
    EXPECT_EQ(0, result.exitCode);
    EXPECT_TRUE(contains(result.errors, "plcstation: 'kill 1': there is no command 'kill'")) << result.errors;
}

TEST(StationProgram, OpensARawTerminalWithoutEcho)
{
    StationProcess station({});
    const int terminal = open(station.path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_GE(terminal, 0);
    termios mode;
    EXPECT_EQ(0, tcgetattr(terminal, &mode));
    close(terminal);
    EXPECT_EQ(0u, mode.c_lflag & static_cast<tcflag_t>(ECHO | ICANON | ISIG));
    EXPECT_EQ(0u, mode.c_iflag & static_cast<tcflag_t>(ICRNL | IXON | ISTRIP));
    EXPECT_EQ(0u, mode.c_oflag & static_cast<tcflag_t>(OPOST));
}

TEST(StationProgram, PassesEveryByteValueUnchangedInBothDirections)
{
    StationProcess station({"-a", "17"});
    MasterPort port(station.path());
    for (int first = 0; first < 256; first += 64) {
        Bytes echo = bytes("11 08 0000");
        for (int value = first; value < first + 64; ++value)
            echo.push_back(static_cast<std::uint8_t>(value));
        const Bytes request = rtu(hexText(echo));
        EXPECT_EQ(request, port.ask(request, request.size()));
    }
}

TEST(StationProgram, EndsWellOnSigtermAndTellsWhatItDid)
{
    StationProcess station({"-a", "17,18"});
    MasterPort port(station.path());
    port.ask(readOne(), 7);
    port.ask(rtu("12 03 0000 0000"), 5);
    const ProgramResult result = station.stop();
    EXPECT_EQ(0, result.exitCode);
    EXPECT_EQ("", result.output) << "the path is the only line";
    EXPECT_EQ("answered 1, exceptions 1, broadcasts 0, for other stations 0, listening only 0, bad frames 0, "
              "bytes in 16, bytes out 12\n",
              result.errors);
}

TEST(StationProgram, EndsWellOnSigint)
{
    StationProcess station({"-q"});
    kill(station.pid(), SIGINT);
    const ProgramResult result = station.stop();
    EXPECT_EQ(0, result.exitCode);
    EXPECT_EQ("", result.errors);
}

TEST(StationProgram, OutlivesAClientThatGoesAndServesTheNext)
{
    StationProcess station({"-a", "17"});
    for (int i = 0; i < 3; ++i) {
        MasterPort port(station.path());
        EXPECT_EQ(zero(), port.ask(readOne(), 7)) << i;
    }
}

TEST(StationProgram, MakesTheLineOpenAgainAfterAClientThatClaimedItAndDied)
{
    StationProcess station({"-a", "17"});
    MasterPort first(station.path());
    ASSERT_EQ(0, ioctl(first.descriptor(), TIOCEXCL));
    int exclusive = 1;
    for (int i = 0; i < 100 && exclusive != 0; ++i) {
        usleep(50000);
        ASSERT_EQ(0, ioctl(first.descriptor(), TIOCGEXCL, &exclusive));
    }
    EXPECT_EQ(0, exclusive);
}

TEST(StationProgram, LoadsAreasAndCounters)
{
    TemporaryFolder folder;
    const std::string file = folder.file("areas.json", R"({ "3x": { "7": 42 }, "4x": { "0": 10 } })");
    StationProcess station({"-a", "17", "--areas", file, "--counters", "4x:0:2:5"});
    MasterPort port(station.path());
    EXPECT_EQ(bytes("11 04 02 00 2A F9 2C"), port.ask(bytes("11 04 00 07 00 01 82 9B"), 7));
    EXPECT_EQ(rtu("11 03 04 000F 0005"), port.ask(rtu("11 03 0000 0002"), 9));
    EXPECT_EQ(rtu("11 03 04 0014 000A"), port.ask(rtu("11 03 0000 0002"), 9));
}

TEST(StationProgram, MovesCountersByTimeWhenAsked)
{
    StationProcess station({"-a", "17", "--counters", "4x:0", "--tick", "1"});
    MasterPort port(station.path());
    int value = 0;
    for (int i = 0; i < 1000 && value < 3; ++i) {
        const Bytes reply = port.ask(readOne(), 7);
        ASSERT_EQ(7u, reply.size());
        ASSERT_GE(getBe16(reply, 3), value);
        value = getBe16(reply, 3);
        usleep(1000);
    }
    EXPECT_GE(value, 3);
}

TEST(StationProgram, LimitsItsAreas)
{
    StationProcess station({"-a", "17", "--size", "100"});
    MasterPort port(station.path());
    EXPECT_EQ(bytes("11 83 02 C1 34"), port.ask(bytes("11 03 00 64 00 02 87 44"), 5));
}

TEST(StationProgram, PacesRequestAndReply)
{
    // 8 + 7 characters and a silence of 3.5 at 2400 baud take 84.8 ms.
    StationProcess station({"-a", "17", "--pace", "2400"});
    MasterPort port(station.path());
    const auto start = Clock::now();
    EXPECT_EQ(zero(), port.ask(readOne(), 7));
    EXPECT_GE(Clock::now() - start, 84ms);
}

TEST(StationProgram, WaitsTheAnswerDelay)
{
    StationProcess station({"-a", "17", "--delay", "60"});
    MasterPort port(station.path());
    const auto start = Clock::now();
    EXPECT_EQ(zero(), port.ask(readOne(), 7));
    EXPECT_GE(Clock::now() - start, 60ms);
}

TEST(StationProgram, SpeaksRelayFrames)
{
    StationProcess station({"-a", "7", "--relay"});
    MasterPort port(station.path());
    EXPECT_EQ(
        rtu("07 10 0064 0002"),
        port.ask(bytes("1A 05 01 02 07 00 05 00 00 00 64 00 02 00 00 00 00 00 00 00 00 12 34 56 78 A8"), 8));
    EXPECT_EQ(rtu("07 01 02 00 00"),
              port.ask(bytes("16 01 00 02 07 00 00 00 00 01 00 00 0A 00 00 00 00 00 00 00 00 2B"), 7));
}

TEST(StationProgram, ExchangesTheCrcBytesOfRequestsRepliesOrBoth)
{
    const Bytes low = bytes("11 06 00 64 12 34 C7 F2");
    const Bytes high = bytes("11 06 00 64 12 34 F2 C7");
    StationProcess both({"-a", "17", "--crc-high-first"});
    EXPECT_EQ(high, MasterPort(both.path()).ask(high, 8));
    StationProcess requests({"-a", "17", "--request-crc-high-first"});
    EXPECT_EQ(low, MasterPort(requests.path()).ask(high, 8));
    StationProcess replies({"-a", "17", "--reply-crc-high-first"});
    EXPECT_EQ(high, MasterPort(replies.path()).ask(low, 8));
}

struct FaultRun
{
    const char *option;
    const char *reply; ///< to readOne(); null where chance decides about the bytes
    std::size_t least;
    std::size_t most;
};

void PrintTo(const FaultRun &run, std::ostream *stream)
{
    *stream << run.option;
}

class ProgramFaults : public ::testing::TestWithParam<FaultRun>
{};

TEST_P(ProgramFaults, AreDoneAndCounted)
{
    const FaultRun &run = GetParam();
    StationProcess station(
        {"-a", "17", std::string("--") + run.option, "100", "--cut-pause", "1", "--late-by", "1"});
    MasterPort port(station.path());
    port.send(readOne());
    Bytes reply = port.receive(run.least);
    const Bytes rest = port.receive(run.most + 1 - run.least, 50ms);
    reply.insert(reply.end(), rest.begin(), rest.end());
    EXPECT_GE(reply.size(), run.least) << hexText(reply);
    EXPECT_LE(reply.size(), run.most) << hexText(reply);
    if (run.reply != nullptr) {
        EXPECT_EQ(bytes(run.reply), reply) << hexText(reply);
    }
    const ProgramResult result = station.stop();
    EXPECT_TRUE(contains(result.errors, std::string("fault ") + run.option + " 1\n")) << result.errors;
}

const FaultRun kFaultRuns[] = {
    {"drop", "", 0, 0},
    {"cut", "11 03 02 00 00 79 87", 7, 7},
    {"cut-forever", nullptr, 1, 6},
    {"bad-crc", nullptr, 7, 7},
    {"swap-crc", "11 03 02 00 00 87 79", 7, 7},
    {"noise-before", nullptr, 8, 15},
    {"noise-after", nullptr, 8, 15},
    {"foreign", "12 03 02 00 00 3D 87", 7, 7},
    {"exception", "11 83 06 C0 F7", 5, 5},
    {"twice", "11 03 02 00 00 79 87 11 03 02 00 00 79 87", 14, 14},
    {"late", "11 03 02 00 00 79 87", 7, 7},
};

INSTANTIATE_TEST_SUITE_P(All, ProgramFaults, ::testing::ValuesIn(kFaultRuns), [](const auto &row) {
    std::string name = row.param.option;
    for (std::size_t dash = name.find('-'); dash != std::string::npos; dash = name.find('-'))
        name.replace(dash, 1, "_");
    return name;
});

Bytes noisyRun(const char *seed)
{
    // Replies of one length, so that nothing has to be waited for that does not come.
    StationProcess station({"-a", "17", "--bad-crc", "50", "--seed", seed, "-q"});
    MasterPort port(station.path());
    Bytes all;
    for (int i = 0; i < 20; ++i) {
        const Bytes reply = port.ask(readOne(), 7);
        all.insert(all.end(), reply.begin(), reply.end());
    }
    return all;
}

TEST(StationProgram, RepeatsARunWithTheSameSeed)
{
    const Bytes run = noisyRun("5");
    EXPECT_EQ(20u * 7u, run.size());
    EXPECT_EQ(run, noisyRun("5"));
    EXPECT_NE(run, noisyRun("6"));
}

TEST(StationProgram, TakesTheLargestSeed)
{
    StationProcess station({"--seed", "18446744073709551615", "-q"});
    EXPECT_NE("", station.path());
    EXPECT_EQ(0, station.stop().exitCode);
}

TEST(StationProgram, TracesFramesOnStandardError)
{
    StationProcess station({"-a", "17", "-v", "-q"});
    MasterPort port(station.path());
    port.ask(bytes("11 06 00 64 12 34 C7 F2"), 8);
    const ProgramResult result = station.stop();
    EXPECT_TRUE(contains(result.errors, " -> 11 06 00 64 12 34 C7 F2\n")) << result.errors;
    const std::regex times(
        "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6}[-+][0-9]{2}:[0-9]{2} "
        " *[0-9]+\\.[0-9]{6} -> 11 06");
    EXPECT_TRUE(std::regex_search(result.errors, times)) << result.errors;
    EXPECT_TRUE(contains(result.errors, " <- 11 06 00 64 12 34 C7 F2\n")) << result.errors;
    EXPECT_FALSE(contains(result.errors, "answered")) << result.errors;
}

TEST(StationProgram, LinksItsPseudoTerminalAndRemovesTheLink)
{
    TemporaryFolder folder;
    const std::string link = folder.file("line");
    {
        StationProcess station({"-a", "17", "--link", link});
        MasterPort port(link);
        EXPECT_EQ(zero(), port.ask(readOne(), 7));
        EXPECT_EQ(0, station.stop().exitCode);
    }
    struct stat info;
    EXPECT_NE(0, lstat(link.c_str(), &info));
}

TEST(StationProgram, ReplacesALinkThatLeadsNowhere)
{
    TemporaryFolder folder;
    const std::string link = folder.file("line");
    ASSERT_EQ(0, symlink("/nowhere/at/all", link.c_str()));
    StationProcess station({"-a", "17", "--link", link});
    EXPECT_EQ(zero(), MasterPort(link).ask(readOne(), 7));
}

TEST(StationLink, ReplacesOneThatAlreadyLeadsToItsOwnTerminal)
{
    TemporaryFolder folder;
    const std::string link = folder.file("line");
    PtyLine line;
    ASSERT_EQ("", line.open());
    ASSERT_EQ(0, symlink(line.path().c_str(), link.c_str()));
    EXPECT_EQ("", line.linkAs(link));
}

TEST(StationLink, LeavesOneThatLeadsToAnotherLivingTerminal)
{
    TemporaryFolder folder;
    const std::string link = folder.file("line");
    PtyLine first;
    ASSERT_EQ("", first.open());
    ASSERT_EQ("", first.linkAs(link));
    PtyLine second;
    ASSERT_EQ("", second.open());
    EXPECT_EQ(link + ": File exists", second.linkAs(link));
    char target[64] = {};
    EXPECT_LT(0, readlink(link.c_str(), target, sizeof target - 1));
    EXPECT_EQ(first.path(), target);
}

TEST(StationProgram, LeavesWhatStandsWhereItsLinkShouldGo)
{
    TemporaryFolder folder;
    const std::string file = folder.file("line", "precious");
    const ProgramResult result = runStation({"--link", file});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_EQ("plcstation: --link: " + file + ": File exists; choose a path at which nothing stands yet\n",
              result.errors);
    std::string text;
    std::ifstream(file) >> text;
    EXPECT_EQ("precious", text);
}

TEST(StationProgram, EndsWithTheProgramThatStartedItWhenAsked)
{
    // The shell starts the station, hands on its path, and goes when it is told to.
    TemporaryFolder folder;
    const std::string sign = folder.file("go");
    Program parent("/bin/sh",
                   {"-c", "\"$0\" --die-with-parent -q & while [ ! -e \"$1\" ]; do sleep 0.05; done",
                    PLC_STATION_PROGRAM, sign});
    const std::string path = parent.readLine();
    ASSERT_FALSE(path.empty());
    std::ofstream(sign) << "go";
    EXPECT_EQ(0, parent.wait().exitCode);
    EXPECT_TRUE(goes(path)) << "the pseudo-terminal is gone with the station";
}

// How the tests themselves treat what they start.

TEST(StartedProgram, IsAskedToEndWhenItsOwnerGoes)
{
    TemporaryFolder folder;
    const std::string link = folder.file("line");
    struct stat info;
    pid_t pid = -1;
    {
        StationProcess station({"--link", link});
        pid = station.pid();
        ASSERT_EQ(0, lstat(link.c_str(), &info));
    }
    EXPECT_NE(0, kill(pid, 0));
    EXPECT_NE(0, lstat(link.c_str(), &info)) << "the station was not left the time to clean up";
}

TEST(StartedProgram, IsKilledWhenItDoesNotListen)
{
    pid_t pid = -1;
    {
        Program deaf("/bin/sh", {"-c", "trap '' TERM; echo deaf; while :; do sleep 0.05; done"});
        ASSERT_EQ("deaf", deaf.readLine());
        pid = deaf.pid();
    }
    EXPECT_NE(0, kill(pid, 0));
}

TEST(StartedProgram, StationEndsWithATestThatIsKilled)
{
    TemporaryFolder folder;
    const std::string link = folder.file("line");
    const pid_t test = fork();
    ASSERT_GE(test, 0);
    if (test == 0) {
        StationProcess station({"--link", link, "-q"});
        if (station.path().empty())
            _exit(1);
        kill(getpid(), SIGKILL);
    }
    int status = 0;
    ASSERT_EQ(test, waitpid(test, &status, 0));
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_TRUE(goes(link));
}

TEST(StationProgram, EndsWithExitCode5WhenThereIsNoPseudoTerminal)
{
    // Standard streams and two descriptors more: too few for a terminal. What was inherited is closed first.
    const char *script =
        "exec 3>&- 4>&- 5>&- 6>&- 7>&- 8>&- 9>&-; ulimit -n 5 && exec \"$0\" --die-with-parent";
    Program program("/bin/sh", {"-c", script, PLC_STATION_PROGRAM});
    const ProgramResult result = program.wait();
    EXPECT_EQ(5, result.exitCode);
    EXPECT_EQ(0u, result.errors.find("plcstation: ")) << result.errors;
    EXPECT_TRUE(contains(result.errors, ": Too many open files\n")) << result.errors;
}

TEST(StationProgram, HelpsWithAnExample)
{
    const ProgramResult result = runStation({"--help"});
    EXPECT_EQ(0, result.exitCode);
    EXPECT_EQ("", result.errors);
    for (const char *part : {"Example:", "plcstation -a 1,2", "--cut-forever", "--areas", "Exit codes:"})
        EXPECT_TRUE(contains(result.output, part)) << part;
}

TEST(StationProgram, HelpsWithin80Columns)
{
    for (const char *option : {"--help", "--help-all"}) {
        std::istringstream help(runStation({option}).output);
        for (std::string line; std::getline(help, line);)
            EXPECT_LE(line.size(), 80u) << line;
    }
}

TEST(StationProgram, KeepsForFullHelpWhatFewPeopleNeed)
{
    const std::string everyday = runStation({"--help"}).output;
    const std::string all = runStation({"--help-all"}).output;
    for (const char *rare : {"--relay", "--die-with-parent", "\"moving\""}) {
        EXPECT_FALSE(contains(everyday, rare)) << rare;
        EXPECT_TRUE(contains(all, rare)) << rare;
    }
    EXPECT_EQ(everyday, runStation({"help"}).output);
    EXPECT_EQ(all, runStation({"help", "--all"}).output);
}

TEST(StationProgram, TellsItsVersion)
{
    const ProgramResult result = runStation({"--version"});
    EXPECT_EQ(0, result.exitCode);
    EXPECT_EQ(0u, result.output.find("plcstation ")) << result.output;
    EXPECT_EQ(2, std::count(result.output.begin(), result.output.end(), '.')) << result.output;
}

TEST(StationProgram, HelpsWithAnAreasFileThatWorks)
{
    const std::string help = runStation({"--help-all"}).output;
    const std::size_t begin = help.find("{ \"4x\"");
    const std::size_t end = help.find("\n  What stands at the top");
    ASSERT_LT(begin, end) << help;
    ASSERT_NE(std::string::npos, end);
    TemporaryFolder folder;
    const std::string file = folder.file("areas.json", help.substr(begin, end - begin));
    StationProcess station({"-a", "1,2", "--areas", file});
    ASSERT_NE("", station.path()) << station.stop().errors;
    MasterPort port(station.path());
    EXPECT_EQ(rtu("01 03 04 1234 FFFB"), port.ask(rtu("01 03 0064 0002"), 9));
    EXPECT_EQ(rtu("02 03 04 0001 FFFB"), port.ask(rtu("02 03 0064 0002"), 9));
}

struct BadCall
{
    const char *name;
    Arguments arguments;
    const char *message;
};

void PrintTo(const BadCall &call, std::ostream *stream)
{
    *stream << call.name;
}

class ProgramRefuses : public ::testing::TestWithParam<BadCall>
{};

TEST_P(ProgramRefuses, WithOneLineAndExitCode1)
{
    const ProgramResult result = runStation(GetParam().arguments);
    EXPECT_EQ(1, result.exitCode);
    EXPECT_EQ("", result.output);
    EXPECT_TRUE(contains(result.errors, std::string("plcstation: ") + GetParam().message)) << result.errors;
    EXPECT_EQ(result.errors.size() - 1, result.errors.find('\n')) << result.errors;
}

const BadCall kBadCalls[] = {
    {"StationZero", {"-a", "0"}, "--address: '0' is no station number"},
    {"StationReserved", {"-a", "248"}, "--address: '248' is no station number"},
    {"FileMissing", {"--areas", "/nowhere.json"}, "/nowhere.json: cannot be read"},
    {"CounterMisspelt", {"--counters", "4x"}, "--counters: '4x' is no moving range"},
    {"CounterBeyondTheEnd",
     {"--counters", "4x:9:2", "--size", "10"},
     "--counters: '4x:9:2' goes beyond the end"},
    {"PercentTooLarge", {"--drop", "100.5"}, "--drop: '100.5' is no percentage from 0 to 100"},
    {"PercentNotANumber", {"--drop", "nan"}, "--drop: 'nan' is no percentage"},
    {"PercentWithRest", {"--drop", "10%"}, "--drop: '10%' is no percentage"},
    {"PercentNegative", {"--bad-crc", "-1"}, "--bad-crc: "},
    {"SeedNegative", {"--seed", "-3"}, "--seed: '-3' is no whole number from 0 to 18446744073709551615"},
    {"SeedTooLarge", {"--seed", "18446744073709551616"}, "--seed: '18446744073709551616' is no whole number"},
    {"SeedFraction", {"--seed", "1.5"}, "--seed: '1.5' is no whole number"},
    {"SizeZero", {"--size", "0"}, "--size: "},
    {"PaceZero", {"--pace", "0"}, "--pace: "},
    {"NotANumber", {"--delay", "soon"}, "--delay: 'soon' is not possible; it takes a whole number"},
    {"UnknownOption", {"--frobnicate"}, "--frobnicate is no option of plcstation (plcstation --help shows"},
    {"MistypedOption", {"--adress", "1"}, "--adress is no option of plcstation; did you mean '--address'?"},
    {"WordTooMany", {"1,2"}, "'1,2' is one word too many for plcstation"},
};

INSTANTIATE_TEST_SUITE_P(All, ProgramRefuses, ::testing::ValuesIn(kBadCalls),
                         [](const auto &row) { return std::string(row.param.name); });

TEST(StationProgram, TellsThePlaceOfAMistakeInItsAreasFile)
{
    TemporaryFolder folder;
    const std::string file = folder.file("areas.json", "{ \"4x\": { \"0\": 70000 } }");
    const ProgramResult result = runStation({"--areas", file});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_EQ("plcstation: " + file + ":1:16: 4x.0: a register is a whole number from -32768 to 65535\n",
              result.errors);
}

TEST(StationProgram, AllowsReservedStationsWhenAsked)
{
    StationProcess station({"-a", "248", "--allow-reserved"});
    MasterPort port(station.path());
    EXPECT_EQ(rtu("F8 03 02 0000"), port.ask(rtu("F8 03 0000 0001"), 7));
}

} // namespace
