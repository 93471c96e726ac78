// Values of a machine that are saved with one command and restored with another; and commands that write
// nothing.

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

#include "packaging_line.h"

namespace {

using namespace plc::test;
using plc::host::ChildProcess;
using plc::runtime::steadyNow;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

const char kAreas[] = R"({"4x": {"100": [11, 22, 33, 16712, 0], "200": [20565, 19792]},
                          "3x": {"7": [42, 43]}, "0x": {"16": [1, 0, 1]}, "1x": {"8": 1}})";

class Saved : public ::testing::Test
{
protected:
    Finished on(const std::string &line, const std::string &command, const Words &arguments) const
    {
        return plchost(Words{command, "-p", line, "-o", "60"} + arguments);
    }
    std::string readAll(const std::string &line) const
    {
        return on(line, "read",
                  {"--format", "csv", "4x:100:3", "4x:103/f32", "4x:200/str4", "0x:16:3", "3x:7:2", "1x:8",
                   "4x:100@2"})
            .output;
    }

    TemporaryFile areas{kAreas};
    std::unique_ptr<Server> machine{startStation({"-a", "1,2", "--areas", areas.path(), "-q"})};
    std::unique_ptr<Server> other{startStation({"-a", "1,2", "-v", "-q"})};
};

TEST_F(Saved, ValuesAreRestoredAndReadBack)
{
    const std::string values = readAll(machine->terminal());
    const TemporaryFile file(values);
    const Finished run = on(other->terminal(), "write", {"--from", file.path(), "--verify"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_THAT(run.lines(), ElementsAre("4x:100:3@1 = 11 22 33  (written and read back)",
                                         "4x:103/f32@1 = 12.5  (written and read back)",
                                         "4x:200/str4@1 = \"PUMP\"  (written and read back)",
                                         "0x:16:3@1 = 1 0 1  (written and read back)",
                                         "4x:100@2 = 11  (written and read back)"));
    EXPECT_THAT(run.errors, HasSubstr("plchost: " + file.path() +
                                      ": skipped are 3 values of areas that cannot be written, and 0 lines"));
    EXPECT_THAT(run.errors, HasSubstr("plchost: 5 written and read back, 0 differ, 0 failed\n"));
    const Words places{"4x:100:3", "4x:103/f32", "4x:200/str4", "0x:16:3", "4x:100@2"};
    EXPECT_EQ(on(machine->terminal(), "read", places).output, on(other->terminal(), "read", places).output);
}

TEST_F(Saved, ValuesMayComeFromStandardInput)
{
    const TemporaryFile file("name,value\n4x:5,6\n");
    ChildProcess process("/bin/sh",
                         {"-c", "exec \"$0\" write -p \"$1\" -o 60 -q --from - <\"$2\"", PLC_HOST_PROGRAM,
                          other->terminal(), file.path()},
                         true);
    EXPECT_EQ(0, process.waitForEnd(steadyNow() + kPatience)) << process.errors();
    EXPECT_EQ("4x:5@1 = 6  (written)\n", process.output());
    EXPECT_THAT(process.errors(), IsEmpty());
}

TEST_F(Saved, ValuesWhoseAddressesCountFromOneAreNotWrittenOnePlaceTooFar)
{
    const Words oneBased{"--option", "one-based"};
    const Finished saved = on(machine->terminal(), "read", oneBased + Words{"--format", "csv", "4x:101:2"});
    EXPECT_THAT(saved.lines()[0], ::testing::EndsWith(",exception_name,addresses_from"));
    const TemporaryFile file(saved.output);
    const Finished refused = on(other->terminal(), "write", {"--from", file.path()});
    EXPECT_EQ(1, refused.exitCode);
    EXPECT_THAT(refused.errors,
                HasSubstr("the addresses of this table count from 1; add --option one-based"));
    EXPECT_EQ(0, on(other->terminal(), "write", oneBased + Words{"--from", file.path()}).exitCode);
    EXPECT_EQ("4x:100:2 = 11 22\n", on(other->terminal(), "read", {"4x:100:2"}).output);
}

TEST_F(Saved, ValuesThatWouldChangeAreToldAndNothingIsWritten)
{
    const TemporaryFile file("name,station,value,state\n4x:100,1,11,good\n4x:101,1,5,good\n0x:16,1,0,good\n");
    const Finished run = on(machine->terminal(), "write", {"--from", file.path(), "--dry-run"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_THAT(run.lines(),
                ElementsAre("4x:100:2@1 = 11 22  (would change)", "0x:16@1 = 1  (would change)"));
    EXPECT_THAT(run.errors, HasSubstr("plchost: 4x:100:2@1: 4x:101 holds 22 instead of 5\n"));
    EXPECT_THAT(run.errors, HasSubstr("nothing was written; 2 would change, 0 would stay, 0 not read"));
    EXPECT_EQ("4x:100:2 = 11 22\n", on(machine->terminal(), "read", {"4x:100:2"}).output);
}

TEST_F(Saved, BlocksThatAreRefusedAreWrittenValueByValue)
{
    const auto small = startStation({"-a", "1", "--size", "102", "-q"});
    const TemporaryFile file("name,station,value,state\n4x:100,1,1,good\n4x:101,1,2,good\n4x:102,1,3,good\n");
    const Finished run = on(small->terminal(), "write", {"--from", file.path()});
    EXPECT_EQ(6, run.exitCode);
    EXPECT_THAT(run.lines(),
                ElementsAre("4x:100@1 = 1  (written)", "4x:101@1 = 2  (written)", "4x:102@1 = 3  (refused)"));
    EXPECT_THAT(run.errors, HasSubstr("plchost: 2 written, 1 failed; --verify reads them back\n"));
}

/// A station that confirms writes of single coils, whose reply is the request, and answers nothing else.
/// Tells the first request that it does not answer.
std::string firstUnanswered(int line)
{
    constexpr std::size_t kRequest = 8;
    constexpr char kWriteCoil = 5;
    std::string request;
    char bytes[256];
    pollfd waiting{line, POLLIN, 0};
    while (poll(&waiting, 1, 60000) > 0) {
        const ssize_t length = read(line, bytes, sizeof bytes);
        request.append(bytes, static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
        if (request.size() < kRequest)
            continue;
        if (request[1] != kWriteCoil)
            break;
        EXPECT_EQ(static_cast<ssize_t>(kRequest), write(line, request.data(), kRequest));
        request.clear();
    }
    return request;
}

TEST(Restoring, TellsWhatIsWrittenWhereReadingBackIsInterrupted)
{
    const int line = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_EQ(0, grantpt(line));
    ASSERT_EQ(0, unlockpt(line));
    const TemporaryFile file("name,value\n0x:5,1\n0x:9,1\n");
    const TemporaryFile audit("");
    ChildProcess write(PLC_HOST_PROGRAM,
                       {"write", "-p", ptsname(line), "-o", "60", "--no-echo-check", "--from", file.path(),
                        "--verify", "--audit", audit.path()},
                       true);
    ASSERT_EQ(1, firstUnanswered(line).at(1)) << "a read";
    write.signal(SIGINT);
    EXPECT_EQ(2, write.waitForEnd(steadyNow() + kPatience));
    close(line);
    EXPECT_EQ("0x:5@1 = 1  (written, not read back)\n0x:9@1 = 1  (written, not read back)\n", write.output());
    EXPECT_EQ("plchost: 0x:5@1: written; interrupted before it was read back\n"
              "plchost: 0x:9@1: written; interrupted before it was read back\n"
              "plchost: 0 written and read back, 0 differ, 2 written, but not read back, 0 failed\n",
              write.errors());
}

TEST_F(Saved, TablesOfNothingThatCanBeWrittenAreAMistake)
{
    const TemporaryFile file("name,station,value,state\n3x:1,1,5,good\n");
    const Finished run = on(other->terminal(), "write", {"--from", file.path()});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_EQ("plchost: " + file.path() + " has no value that can be written\n", run.errors);
}

TEST_F(Saved, WritesThatOverlapAreComparedWithTheLast)
{
    const Finished run =
        on(other->terminal(), "write", {"--verify", "4x:10=1,2,3", "4x:11=9", "4x:20=1", "4x:20=2"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_THAT(run.lines(), ElementsAre("4x:10 = 1 9 3  (written, then changed by a later write)",
                                         "4x:11 = 9  (written and read back)",
                                         "4x:20 = 2  (written, then changed by a later write)",
                                         "4x:20 = 2  (written and read back)"));
}

TEST_F(Saved, SeveralStationsAreAskedForTheSameVariables)
{
    const Finished run = on(machine->terminal(), "read", {"-a", "1-2", "4x:100", "0x:16@2"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_THAT(run.lines(), ElementsAre("4x:100@1 = 11", "0x:16@2 = 1", "4x:100@2 = 11"));
    const Finished watched =
        on(machine->terminal(), "watch", {"-1", "-a", "2,1", "-t", "4", "-r", "101", "--format", "csv"});
    EXPECT_EQ(0, watched.exitCode) << watched.errors;
    ASSERT_EQ(3u, watched.lines().size());
    EXPECT_THAT(watched.lines()[1], HasSubstr(",4x:101,2,22,good,"));
    EXPECT_THAT(watched.lines()[2], HasSubstr(",4x:101,1,22,good,"));
}

/// Every request that plcstation has traced on standard error begins with these station and function codes.
bool wroteAnything(const std::string &trace)
{
    for (const char *function : {" -> 01 05 ", " -> 01 06 ", " -> 01 0F ", " -> 01 10 ", " -> 00 "}) {
        if (trace.find(function) != std::string::npos)
            return true;
    }
    return false;
}

TEST_F(Saved, ValuesAreSafeFromAReadOnlyRun)
{
    const TemporaryFile project(R"({"link": {"replyTimeoutMs": 60000}, "variables": [
        {"name": "A", "area": "4x", "address": "10"}, {"name": "Bit", "area": "4x_bit", "address": "11.3"}]})");
    RunningProject run({project.path(), "-p", other->terminal(), "--every", "0.2", "--read-only"});
    run.say("A = 5");
    run.say("Bit = 1");
    run.say("quit");
    run.process().waitForEnd(steadyNow() + kPatience);
    const std::string errors = run.process().errors();
    EXPECT_THAT(
        errors,
        HasSubstr("plchost: input line 1: variable 'A' is not written: with --read-only nothing is\n"));
    EXPECT_THAT(errors, HasSubstr("plchost: input line 2: variable 'Bit' is not written"));
    const Finished read = on(other->terminal(), "read", {"--read-only", "4x:10:2"});
    EXPECT_EQ("4x:10:2 = 0 0\n", read.output);
    const std::string trace = other->stop().errors;
    EXPECT_THAT(trace, HasSubstr(" -> 01 03 "));
    EXPECT_FALSE(wroteAnything(trace)) << trace;
}

TEST_F(Saved, ValuesAreSafeFromEveryReadOnlyCommand)
{
    for (const Words &words :
         {Words{"write", "-p", other->terminal(), "4x:1=1", "--read-only"},
          Words{"write", "-p", other->terminal(), "4x:1@0=1", "--read-only"}, Words{"demo", "--read-only"}}) {
        const Finished run = plchost(words);
        EXPECT_EQ(1, run.exitCode);
        EXPECT_THAT(run.errors, HasSubstr("plchost: --read-only: "));
        EXPECT_EQ(run.errors.size() - 1, run.errors.find('\n')) << "not one line";
    }
    for (const Words &words :
         {Words{"watch", "-1", "4x:1", "--read-only"}, Words{"write", "4x:1=1", "--dry-run", "--read-only"}})
        EXPECT_EQ(0, plchost(words + Words{"-p", other->terminal(), "-o", "60"}).exitCode);
    const std::string trace = other->stop().errors;
    EXPECT_THAT(trace, HasSubstr(" -> 01 03 "));
    EXPECT_FALSE(wroteAnything(trace)) << trace;
}

} // namespace
