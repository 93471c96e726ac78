// plchost watch and demo: live values, states, statistics.

#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "programs.h"

namespace {

using namespace plc::test;
using plc::host::ChildProcess;
using plc::runtime::steadyNow;
using ::testing::AnyOf;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

class Watch : public ::testing::Test
{
protected:
    void serve(const Words &arguments) { station = startStation(arguments); }
    Words watchWords(const Words &arguments) { return Words{"watch", "-p", station->terminal()} + arguments; }

    std::unique_ptr<Server> station;
};

TEST_F(Watch, EndsOnSigintWithStatisticsAndExitCodeZero)
{
    serve({"--counters", "4x:0:3"});
    ChildProcess watch(PLC_HOST_PROGRAM, watchWords({"4x:0:3"}), true);
    const auto line = watch.readLine(steadyNow() + kPatience);
    ASSERT_TRUE(line.has_value());
    EXPECT_THAT(*line, MatchesRegex("[0-9.]+  4x:0:3 = [0-9]+ [0-9]+ [0-9]+  .good, [0-9]+ ms old."));
    watch.signal(SIGINT);
    EXPECT_EQ(0, watch.waitForEnd(steadyNow() + kPatience)) << watch.errors();
    EXPECT_THAT(watch.errors(),
                MatchesRegex("requests [0-9]+, good [0-9]+, time-outs 0, bad 0, exceptions 0, no reply "
                             "due 0, retries 0\nbytes out [0-9]+, in [0-9]+, thrown away 0\n[0-9.]+ "
                             "requests per second over [0-9.]+ s\n"));
}

TEST_F(Watch, RefusesNoVariableForWhatIsRefusedOfAnother)
{
    serve({"--size", "50"});
    const Finished run =
        plchost(watchWords({"-1", "-q", "-o", "60", "4x:0:100", "4x:10", "4x:12/f32", "4x:13"}));
    EXPECT_EQ(6, run.exitCode);
    EXPECT_THAT(run.output, ContainsRegex("  4x:0:100 = [?] +.refused: "));
    EXPECT_THAT(run.output, ContainsRegex("  4x:10 = 0  .good, [0-9]+ ms old."));
    EXPECT_THAT(run.output, ContainsRegex("  4x:12/f32 = 0  .good, [0-9]+ ms old.")) << "and in one piece";
    EXPECT_THAT(run.output, ContainsRegex("  4x:13 = 0  .good, [0-9]+ ms old."));
}

TEST_F(Watch, ShowsWhatIsKnownOfAVariableThatIsRefusedInPart)
{
    serve({"--size", "103"});
    const Words words = watchWords({"-1", "-q", "-o", "60", "4x:1:104"});
    EXPECT_THAT(plchost(words).output,
                ContainsRegex("  4x:1:104 = 0( 0){99}( [?]){4}  .refused: 02 illegal data "
                              "address, [0-9]+ ms old.\n"));
    const Finished run = plchost(words + Words{"--format", "ndjson"});
    EXPECT_THAT(run.lines().front(), HasSubstr("\"state\":\"refused\""));
    EXPECT_THAT(run.lines().front(), ContainsRegex("\"values\":.0(,0){99}(,null){4}."));
}

TEST_F(Watch, ShowsVariablesThatBeginAtOnePlace)
{
    serve({});
    const Finished run =
        plchost(watchWords({"-1", "-q", "-o", "60", "4x:10", "4x:10:3", "4x_bit:10.2", "4x:10"}));
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ(4u, run.lines().size());
}

TEST_F(Watch, ReadsAlsoWhatTakesManyRequests)
{
    serve({});
    const Finished run =
        plchost(watchWords({"-1", "-q", "-o", "60", "--option", "no-bit-packing", "0x:0:800"}));
    EXPECT_EQ(0, run.exitCode) << run.errors;
}

TEST_F(Watch, TellsLineErrorsAndLatenessWithTheStatisticsOnlyWhenAsked)
{
    serve({});
    const Finished plain = plchost(watchWords({"4x:0", "-1"}));
    EXPECT_THAT(plain.errors, Not(AnyOf(HasSubstr("line errors"), HasSubstr("later than"))));
    const Finished detailed = plchost(watchWords({"4x:0", "-1", "-v"}));
    EXPECT_THAT(detailed.errors,
                ContainsRegex("\nline errors: unknown, since the port does not count them\n"
                              "requests later than their silence: p50 [0-9.]+ ms, p99 [0-9.]+ ms, most "
                              "[0-9.]+ ms\n"));
}

// What the system allows depends on who runs the test.
TEST_F(Watch, InRealTimeGoesOnWhereTheSystemRefusesItAndSaysSo)
{
    serve({});
    const Finished run = plchost(watchWords({"4x:0", "-1", "-q", "--realtime"}));
    EXPECT_EQ(0, run.exitCode);
    EXPECT_THAT(run.errors,
                AnyOf(IsEmpty(), MatchesRegex("plchost: --realtime: the system refuses [^\n]+\n")));
}

TEST_F(Watch, ReadsEachVariableOnceWhenAsked)
{
    serve({});
    const Finished run = plchost(watchWords({"4x:0:250", "0x:3", "-1", "--format", "ndjson"}));
    EXPECT_EQ(0, run.exitCode) << run.errors;
    ASSERT_EQ(3u, run.lines().size()) << "two variables and the statistics";
    EXPECT_THAT(run.lines()[0], HasSubstr("\"variable\":\"4x:0:250\",\"station\":1,\"state\":\"good\""));
}

TEST_F(Watch, EndsAfterTheGivenTime)
{
    serve({});
    const Finished run = plchost(watchWords({"4x:0", "--for", "0.3", "-q"}));
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_THAT(run.errors, IsEmpty());
}

TEST_F(Watch, PausesBetweenTheScansWhenAsked)
{
    serve({});
    const Finished run = plchost(watchWords({"4x:0", "4x:500", "-l", "400", "--for", "1"}));
    // Scans begin at 0, 0.4 and 0.8 s, fewer on a busy machine; without the pause there would be hundreds of
    // requests.
    EXPECT_THAT(run.errors, MatchesRegex("requests [0-8], good [0-8],.*"));
}

TEST_F(Watch, ShowsWhyAVariableHasNoValue)
{
    serve({"--size", "1000"});
    const Finished run =
        plchost(watchWords({"4x:0", "4x:1000", "4x:0@9", "-o", "2", "--retries", "0", "-1"}));
    EXPECT_EQ(6, run.exitCode) << run.errors;
    ASSERT_EQ(3u, run.lines().size()) << run.output;
    EXPECT_THAT(run.lines()[0], HasSubstr("  4x:0 = 0  (good, "));
    EXPECT_THAT(run.lines()[1], HasSubstr("  4x:1000 = ?  (refused: 02 illegal data address)"));
    EXPECT_THAT(run.lines()[2], HasSubstr("  4x:0@9 = ?  (no answer)"));
}

TEST_F(Watch, KeepsTheLastValueWhenTheStationFallsSilent)
{
    serve({});
    ChildProcess watch(PLC_HOST_PROGRAM, watchWords({"4x:0", "-o", "0.3", "--retries", "0"}), true);
    // On a busy machine the first reply may come later than the time-out.
    for (bool read = false; !read;) {
        const auto line = watch.readLine(steadyNow() + kPatience);
        ASSERT_TRUE(line.has_value());
        read = line->find("4x:0 = 0  (good, ") != std::string::npos;
    }
    station->process().signal(SIGSTOP);
    bool noticed = false;
    for (int i = 0; i < 60 && !noticed; ++i) {
        const auto line = watch.readLine(steadyNow() + kPatience);
        ASSERT_TRUE(line.has_value());
        noticed = line->find("4x:0 = 0  (offline, ") != std::string::npos;
    }
    EXPECT_TRUE(noticed);
    watch.signal(SIGINT);
    EXPECT_EQ(2, watch.waitForEnd(steadyNow() + kPatience));
}

TEST_F(Watch, TracesTheFramesOnStandardError)
{
    serve({});
    const Finished run = plchost(watchWords({"4x:0", "-1", "-v"}));
    EXPECT_THAT(run.errors, HasSubstr(" -> 01 03 00 00 00 01 84 0A\n"));
    EXPECT_THAT(run.errors, HasSubstr(" <- 01 03 02 00 00 B8 44\n"));
    EXPECT_THAT(run.errors, ContainsRegex("\n[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6}"
                                          "[-+][0-9]{2}:[0-9]{2} +[0-9]+\\.[0-9]{6} -> 01 03"));
}

TEST(Demo, ShowsThatEverythingCameBackAndExitsWithZero)
{
    const Finished run = plchost({"demo"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    const Words lines = run.lines();
    ASSERT_EQ(15u, lines.size()) << run.output;
    EXPECT_THAT(run.output, Not(HasSubstr("WRONG")));
    EXPECT_THAT(lines[1],
                MatchesRegex("4x:100:5 +0 0 0 0 0 +1 22 333 4444 55555 +1 22 333 4444 55555 +as written .*"));
    EXPECT_THAT(run.output, HasSubstr("4x_bit:120.3"));
    EXPECT_THAT(run.output, HasSubstr("305419896 4000000000"));
    EXPECT_THAT(run.output, ContainsRegex("4x:134/f32 +0 +-12.5 +-12.5 +as written"));
    EXPECT_THAT(run.output, ContainsRegex("4x:160/str12 +\"\" +\"PUMP 7\" +\"PUMP 7\" +as written"));
    EXPECT_THAT(run.errors, HasSubstr("requests per second"));
}

TEST(Demo, WorksWithRelayFrames)
{
    const Finished run = plchost({"demo", "--link-mode", "1"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_THAT(run.output, Not(HasSubstr("WRONG")));
}

TEST_F(Watch, TellsFailuresEvenWhenQuiet)
{
    serve({"--size", "1000"});
    const Finished run = plchost(watchWords({"4x:1000", "-1", "-q"}));
    EXPECT_EQ(3, run.exitCode);
    EXPECT_THAT(run.errors, StartsWith("plchost: 4x:1000: station 1 refused with exception 02 (illegal data "
                                       "address) to function 3, address 1000, count 1: "));
}

TEST_F(Watch, PrintsNothingTwiceAtTheEnd)
{
    serve({});
    const Finished run = plchost(watchWords({"4x:0", "-1", "-q"}));
    EXPECT_EQ(1u, run.lines().size()) << run.output;
}

/// A program that starts plcstation with one more option.
class StationScript
{
public:
    explicit StationScript(const std::string &option)
        : file_("#!/bin/sh\nexec '" PLC_STATION_PROGRAM "' \"$@\" " + option + "\n")
    {
        EXPECT_EQ(0, chmod(file_.path().c_str(), 0700));
    }
    const std::string &path() const { return file_.path(); }

private:
    TemporaryFile file_;
};

TEST(Demo, ShowsNoValueThatWasNotRead)
{
    const StationScript station("--bad-crc 100");
    const Finished run =
        plchost({"demo", "--station-program", station.path(), "-o", "0.15", "--retries", "0", "-q"});
    // On a busy machine a spoilt reply may come later than the time-out, which is then what is reported.
    EXPECT_THAT(run.exitCode, AnyOf(2, 4)) << run.errors;
    const Words lines = run.lines();
    ASSERT_EQ(15u, lines.size());
    EXPECT_THAT(lines[1], MatchesRegex("4x:100:5 +\\? +1 22 333 4444 55555 +\\? +WRONG .*"));
    EXPECT_THAT(lines[13], MatchesRegex("3x:0:2 +\\? +- +\\? +WRONG .*"));
    EXPECT_THAT(run.errors,
                ContainsRegex("plchost: 4x:100:5: write: no (usable reply|answer) from station 1"));
    EXPECT_THAT(run.errors, ContainsRegex("plchost: 3x:0:2: no (usable reply|answer) from station 1"));
}

TEST(Demo, TellsWhenTheStationDoesNotKeepWhatItTook)
{
    const StationScript station("--counters 4x:110");
    const Finished run = plchost({"demo", "--station-program", station.path(), "-q"});
    EXPECT_EQ(6, run.exitCode) << run.errors;
    EXPECT_THAT(run.errors,
                StartsWith("plchost: 4x:110: read back: the station holds other values than were written\n"));
}

TEST(Demo, StartsAStationThatHasTheCrcAsTheDriverHasIt)
{
    for (const char *option :
         {"crc-swap-requests", "crc-swap-replies", "crc-swap-requests,crc-swap-replies"}) {
        const Finished run = plchost({"demo", "--option", option, "-q"});
        EXPECT_EQ(0, run.exitCode) << option << run.errors;
    }
}

TEST(Demo, SaysWhenTheStationProgramIsMissing)
{
    const Finished run = plchost({"demo", "--station-program", "/nowhere/plcstation"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_THAT(run.errors, StartsWith("plchost: '/nowhere/plcstation' cannot be started: "));
}

TEST(Demo, FailsWhenTheStationDoesNotServe)
{
    const Finished run = plchost({"demo", "--station-program", "/bin/true"});
    EXPECT_EQ(5, run.exitCode);
}

} // namespace
