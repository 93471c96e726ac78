// plchost against plcstation over a pseudo-terminal: values, outcomes, exit codes.

#include <csignal>

#include "programs.h"

namespace {

using namespace plc::test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

// Registers and bits that a station starts with; every test below states what it expects of them by hand.
const char kAreas[] = R"({
  "4x": { "100": [4660, 43981, 1, 65535, 0], "200": [4660, 22136, 65535, 65534], "300-546": 7, "547": [70, 71, 72] },
  "3x": { "7": [42, 43], "20": [1, 2] },
  "0x": { "16": [1, 0, 1, 1, 0, 0, 1, 0, 1, 1] },
  "1x": { "8": [0, 1, 1] },
  "stations": { "5": { "4x": { "100": 555 } } }
})";

const Words kShortWait{"-o", "0.3"};

class HostAndStation : public ::testing::Test
{
protected:
    void serve(const Words &arguments)
    {
        station = startStation(Words{"-a", "1,5", "--areas", areas.path()} + arguments);
    }
    Finished host(const std::string &command, const Words &arguments)
    {
        return plchost(Words{command, "-p", station->terminal()} + arguments);
    }

    TemporaryFile areas{kAreas};
    std::unique_ptr<Server> station;
};

TEST_F(HostAndStation, ReadsEveryAreaAsTheStationHasIt)
{
    serve({});
    const Finished run =
        host("read", {"4x:100:5", "4x_bit:100.2:4", "4x_d:200:2", "3x:7:2", "3x_bit:7.1", "3x_d:20",
                      "0x:16:10", "1x:8:3", "4x_single:101", "4x_block:101:2", "4x:300:250"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    const Words lines = run.lines();
    ASSERT_EQ(11u, lines.size()) << run.output;
    EXPECT_EQ("4x:100:5 = 4660 43981 1 65535 0", lines[0]);
    EXPECT_EQ("4x_bit:100.2:4 = 1 0 1 1", lines[1]);
    EXPECT_EQ("4x_d:200:2 = 305419896 4294967294", lines[2]);
    EXPECT_EQ("3x:7:2 = 42 43", lines[3]);
    EXPECT_EQ("3x_bit:7.1 = 1", lines[4]);
    EXPECT_EQ("3x_d:20 = 65538", lines[5]);
    EXPECT_EQ("0x:16:10 = 1 0 1 1 0 0 1 0 1 1", lines[6]);
    EXPECT_EQ("1x:8:3 = 0 1 1", lines[7]);
    EXPECT_EQ("4x_single:101 = 43981", lines[8]);
    EXPECT_EQ("4x_block:101:2 = 43981 1", lines[9]);
    EXPECT_THAT(lines[10], StartsWith("4x:300:250 = 7 7 7 7 7"));
    EXPECT_THAT(lines[10], MatchesRegex(".* 7 70 71 72"));
    EXPECT_THAT(run.errors, IsEmpty());
}

TEST_F(HostAndStation, ShowsValuesAsAsked)
{
    serve({});
    EXPECT_EQ("4x:100:2 = 0x1234 0xABCD\n", host("read", {"4x:100:2", "--hex"}).output);
    EXPECT_EQ("4x:101:3 = -21555 1 -1\n", host("read", {"4x:101:3", "--signed"}).output);
    EXPECT_EQ("name,station,value,state,time,exception_code,exception_name\n4x:100,1,4660,good,TIME,,\n"
              "4x:101,1,43981,good,TIME,,\n",
              withoutWallTimes(host("read", {"4x:100:2", "--format", "csv"}).output));
    EXPECT_EQ("{\"kind\":\"value\",\"time\":\"TIME\",\"variable\":\"4x:100:2\",\"station\":1,"
              "\"state\":\"good\",\"values\":[4660,43981]}\n",
              withoutWallTimes(host("read", {"4x:100:2", "--format", "ndjson"}).output));
}

TEST_F(HostAndStation, TakesTypeStartAndCountAsOtherMastersDo)
{
    serve({});
    EXPECT_EQ("4x:100:2 = 4660 43981\n", host("read", {"-t", "4", "-r", "100", "-c", "2"}).output);
    EXPECT_EQ("1x:8:3 = 0 1 1\n", host("read", {"-t", "1", "-r", "8", "-c", "3"}).output);
}

TEST_F(HostAndStation, TakesTheWordsOfOtherMastersForFormats)
{
    serve({});
    EXPECT_EQ("4x:200:2/i32 = 305419896 -2\n", host("read", {"-t", "4:int", "-r", "200", "-c", "2"}).output);
    EXPECT_EQ("4x:100:2/hex = 0x1234 0xABCD\n", host("read", {"-t", "4:hex", "-r", "100", "-c", "2"}).output);
    EXPECT_EQ("4x:103:1/i16 = -1\n", host("read", {"-t", "4:int16", "-r", "103"}).output);
    EXPECT_EQ("3x:20:1/f32 = 9.1838e-41\n", host("read", {"-t", "3:float", "-r", "20"}).output);
    EXPECT_EQ("3x:20:1/u32.cdab = 131073\n", host("read", {"-t", "3/u32.cdab", "-r", "20"}).output);
    const Finished wrong = host("read", {"-t", "4:string", "-r", "0"});
    EXPECT_EQ(1, wrong.exitCode);
    EXPECT_THAT(wrong.errors, HasSubstr("behind : stands one of float, int, int16, hex, not 'string'"));
}

TEST_F(HostAndStation, ReadsWhatItWroteInEachFormat)
{
    serve({});
    const Words values = {"4x:700/i16=-2",      "4x:702/bcd=1234",       "4x:704/hex=0xABCD",
                          "4x:706/bin=0b101",   "4x:708/u32.dcba=70000", "4x:710:2/f32.cdab=12.5,-0.1",
                          "4x:714/i64.badc=-5", "4x:718/f64=0.1",        "4x:722/str7=PUMP \xC3\xBC",
                          "4x_d:730/f32=-12.5", "4x_block:732/i32=-7",   "4x_single:734/u32=65537"};
    const Finished written = host("write", values + Words{"--verify"});
    EXPECT_EQ(0, written.exitCode) << written.errors;
    EXPECT_EQ("4x:700:2 = 65534 0\n4x:702:3/hex = 0x1234 0x0000 0xABCD\n4x:708:2/hex = 0x7011 0x0100\n"
              "4x:710:4/hex = 0x0000 0x4148 0xCCCD 0xBDCC\n4x:714:4/hex = 0xFFFF 0xFFFF 0xFFFF 0xFBFF\n"
              "4x:718:4/hex = 0x3FB9 0x9999 0x9999 0x999A\n4x:722:4/hex = 0x5055 0x4D50 0x20FC 0x0000\n"
              "4x:730:2/hex = 0xC148 0x0000\n4x:732:4 = 65535 65529 1 1\n",
              host("read", {"4x:700:2", "4x:702:3/hex", "4x:708:2/hex", "4x:710:4/hex", "4x:714:4/hex",
                            "4x:718:4/hex", "4x:722:4/hex", "4x:730:2/hex", "4x:732:4"})
                  .output);
    EXPECT_EQ("4x:710:2/f32.cdab = 12.5 -0.1\n4x:718/f64 = 0.1\n4x:722/str7 = \"PUMP \xC3\xBC\"\n",
              host("read", {"4x:710:2/f32.cdab", "4x:718/f64", "4x:722/str7"}).output);
}

TEST_F(HostAndStation, CutsNoValueThatFitsIntoARequest)
{
    serve({});
    const Finished written = host("write", {"--max-block", "5", "4x:800/f32=1,2,3,4,5", "-v"});
    EXPECT_EQ(0, written.exitCode) << written.errors;
    EXPECT_THAT(written.errors, HasSubstr("01 10 03 20 00 04 08")) << "two values";
    EXPECT_THAT(written.errors, HasSubstr("01 10 03 24 00 04 08"));
    EXPECT_THAT(written.errors, HasSubstr("01 10 03 28 00 02 04"));
    const Finished read = host("read", {"--max-block", "5", "4x:800:5/f32", "-v"});
    EXPECT_EQ("4x:800:5/f32 = 1 2 3 4 5\n", read.output);
    EXPECT_THAT(read.errors, HasSubstr("01 03 03 20 00 04"));
    EXPECT_THAT(read.errors, HasSubstr("01 03 03 24 00 04"));
    const Finished watched = host("watch", {"--max-block", "5", "4x:800:5/f32", "-1", "-v"});
    EXPECT_THAT(watched.output, HasSubstr("4x:800:5/f32 = 1 2 3 4 5  (good, "));
    EXPECT_THAT(watched.errors, HasSubstr("01 03 03 24 00 04"));
}

TEST_F(HostAndStation, SaysWhereAValueWasReadInPieces)
{
    serve({});
    EXPECT_EQ("4x_d:200 = 305419896  (good, read in pieces)\n",
              host("read", {"--max-block", "1", "4x_d:200"}).output);
    EXPECT_THAT(host("watch", {"--max-block", "1", "4x:200/u32", "-1", "-q"}).output,
                HasSubstr("4x:200/u32 = 305419896  (good, read in pieces, "));
    EXPECT_EQ("4x:100:2 = 4660 43981\n", host("read", {"--max-block", "1", "4x:100:2"}).output);
}

TEST_F(HostAndStation, CountsAddressesFromOneWhenTold)
{
    serve({});
    EXPECT_EQ("4x:101 = 4660\n", host("read", {"4x:101", "--option", "one-based"}).output);
}

TEST_F(HostAndStation, AsksTheStationThatTheVariableNames)
{
    serve({});
    EXPECT_EQ("4x:100 = 4660\n4x:100@5 = 555\n", host("read", {"4x:100", "4x:100@5"}).output);
    EXPECT_EQ("4x:100 = 555\n", host("read", {"-a", "5", "4x:100"}).output);
}

TEST_F(HostAndStation, WritesEveryAreaAndReadsItBack)
{
    serve({});
    const Finished run =
        host("write", {"4x:600:5=1,22,333,4444,55555", "4x:610=-2", "4x_bit:620.3=1",
                       "4x_bit:621.14:4=1,0,0,1", "4x_d:630:2=305419896,-70000", "4x_single:640=7,8",
                       "4x_block:650=0x09,10", "0x:660=1,0,1,1,0,0,1,0,1,1", "0x:680=on", "--verify"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_THAT(
        run.lines(),
        ElementsAre(
            "4x:600:5 = 1 22 333 4444 55555  (written and read back)", "4x:610 = -2  (written and read back)",
            "4x_bit:620.3 = 1  (written and read back)", "4x_bit:621.14:4 = 1 0 0 1  (written and read back)",
            "4x_d:630:2 = 305419896 -70000  (written and read back)",
            "4x_single:640 = 7 8  (written and read back)", "4x_block:650 = 0x09 10  (written and read back)",
            "0x:660 = 1 0 1 1 0 0 1 0 1 1  (written and read back)", "0x:680 = on  (written and read back)"));
    // Another run has a mirror of its own, so what it shows comes from the station.
    EXPECT_EQ("4x:630:4 = 4660 22136 65534 61072\n", host("read", {"4x:630:4"}).output);
    EXPECT_EQ("4x:620:3 = 8 16384 2\n", host("read", {"4x:620:3"}).output);
}

TEST_F(HostAndStation, WritesTheSamePlaceTwiceInOrderAndReportsBoth)
{
    serve({});
    Words writes;
    for (int i = 1; i <= 20; ++i)
        writes.push_back("4x:600=" + std::to_string(i));
    const Finished run = host("write", writes);
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ(20u, run.lines().size());
    EXPECT_EQ("4x:600 = 20\n", host("read", {"4x:600"}).output);
}

TEST_F(HostAndStation, BroadcastsAWriteToAllStations)
{
    serve({});
    EXPECT_EQ(0, host("write", {"4x:600@0=77"}).exitCode);
    EXPECT_EQ("4x:600 = 77\n4x:600@5 = 77\n", host("read", {"4x:600", "4x:600@5"}).output);
}

TEST_F(HostAndStation, BroadcastsWhereTheUsualStationIsZero)
{
    serve({});
    EXPECT_EQ("4x:600 = 77  (sent)\n", host("write", {"-a", "0", "-o", "60", "4x:600=77"}).output);
    EXPECT_EQ("4x:600@1 = 77\n4x:600@5 = 77\n",
              host("read", {"-a", "0", "-o", "60", "4x:600@1", "4x:600@5"}).output);
    EXPECT_THAT(host("read", {"-a", "0", "-o", "60", "4x:600"}).errors,
                HasSubstr("nobody answers a read of station 0"));
}

TEST_F(HostAndStation, RefusesMoreOrdersThanCanBeOpenBeforeTheFirst)
{
    serve({});
    Words many;
    for (int i = 0; i < 4097; ++i)
        many.push_back("4x:600=7");
    const Finished run = host("write", many);
    EXPECT_EQ(1, run.exitCode);
    EXPECT_EQ("", run.output);
    EXPECT_THAT(run.errors, HasSubstr("4097 values are asked for at once; at most 4096 are possible"));
    EXPECT_EQ("4x:600 = 0\n", host("read", {"4x:600"}).output);
}

TEST_F(HostAndStation, SpeaksRelayFrames)
{
    serve({"--relay"});
    const Words relay{"--link-mode", "1"};
    const Finished run = host("write", relay + Words{"4x:600:2=1,2", "4x_bit:620.3=1", "4x_d:630=305419896",
                                                     "0x:660=1,0,1", "4x:610=9", "0x:680=1", "--verify"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ(6u, run.lines().size());
    EXPECT_EQ(
        "4x:100:5 = 4660 43981 1 65535 0\n3x:7:2 = 42 43\n1x:8:3 = 0 1 1\n0x:16:10 = 1 0 1 1 0 0 1 0 1 1\n"
        "4x_d:200 = 305419896\n",
        host("read", relay + Words{"4x:100:5", "3x:7:2", "1x:8:3", "0x:16:10", "4x_d:200"}).output);
}

TEST_F(HostAndStation, ObeysTheDriverOptions)
{
    serve({"--crc-high-first"});
    const Finished run = host("write", {"4x:600=1,2,3", "0x:660=1,0,1", "--verify", "--max-block", "2",
                                        "--option", "crc-swap-requests,crc-swap-replies", "--option",
                                        "fc16-single", "--option", "single-coils"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ(2u, run.lines().size());
}

TEST_F(HostAndStation, WritesThatNeedNoReplyAreDoneWhetherAStationAnswersOrNot)
{
    serve({"--drop", "100"});
    const Finished run = host("write", kShortWait + Words{"4x_single:600=5", "--option", "no-reply-single"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_THAT(station->stop().errors, HasSubstr("answered"));
}

// --- exit codes

TEST_F(HostAndStation, EndsWithTwoWhenTheStationIsDead)
{
    serve({});
    station->process().signal(SIGSTOP);
    const Finished run = host("read", kShortWait + Words{"4x:100"});
    EXPECT_EQ(2, run.exitCode);
    EXPECT_EQ("4x:100 = ?  (no answer)\n", run.output);
    EXPECT_THAT(
        run.errors,
        StartsWith(
            "plchost: 4x:100: no answer from station 1 after 3 attempts of 300 ms: nothing heard; check "));
}

TEST_F(HostAndStation, EndsWithTwoWhenNobodyHasTheNumber)
{
    serve({});
    EXPECT_EQ(2, host("write", kShortWait + Words{"-a", "9", "4x:100=1"}).exitCode);
}

TEST_F(HostAndStation, EndsWithThreeWhenTheStationRefuses)
{
    serve({"--size", "1000"});
    const Finished run = host("read", {"4x:1000"});
    EXPECT_EQ(3, run.exitCode);
    EXPECT_THAT(run.errors, HasSubstr("exception 02 (illegal data address) to function 3"));
    EXPECT_EQ(3, host("write", {"0x:1000=1"}).exitCode);
}

TEST_F(HostAndStation, EndsWithThreeLongBeforeTheTimeOut)
{
    serve({"--size", "1000"});
    const auto start = plc::runtime::steadyNow();
    EXPECT_EQ(3, host("read", {"4x:1000", "-o", "60"}).exitCode);
    EXPECT_LT(plc::runtime::steadyNow() - start, std::chrono::seconds(60));
}

TEST_F(HostAndStation, EndsWithThreeInRelayModeToo)
{
    serve({"--relay", "--size", "1000"});
    EXPECT_EQ(3, host("read", {"4x:1000", "--link-mode", "1"}).exitCode);
}

TEST_F(HostAndStation, EndsWithFourWhenEveryReplyIsDamaged)
{
    serve({"--bad-crc", "100"});
    const Finished run = host("read", kShortWait + Words{"4x:100"});
    EXPECT_EQ(4, run.exitCode);
    EXPECT_THAT(run.errors, HasSubstr("no usable reply from station 1 after 3 attempts"));
}

TEST_F(HostAndStation, EndsWithFourWhenTheCrcStandsTheOtherWayRound)
{
    serve({"--reply-crc-high-first"});
    EXPECT_EQ(4, host("read", kShortWait + Words{"4x:100"}).exitCode);
}

TEST_F(HostAndStation, EndsWithFiveWhenThePortIsMissing)
{
    const Finished run = plchost({"read", "-p", "/dev/no_such_port", "4x:100"});
    EXPECT_EQ(5, run.exitCode);
    EXPECT_THAT(run.errors, HasSubstr("'/dev/no_such_port' cannot be opened"));
    EXPECT_THAT(run.output, IsEmpty());
}

TEST_F(HostAndStation, EndsWithFiveWhenThePortIsLostAndNobodyWantsToWaitForIt)
{
    serve({});
    plc::host::ChildProcess watch(PLC_HOST_PROGRAM,
                                  {"watch", "-p", station->terminal(), "4x:100", "--no-reopen"}, true);
    ASSERT_TRUE(watch.readLine(plc::runtime::steadyNow() + kPatience).has_value());
    station->process().signal(SIGKILL);
    EXPECT_EQ(5, watch.waitForEnd(plc::runtime::steadyNow() + kPatience));
    EXPECT_THAT(watch.errors(), HasSubstr("is lost while"));
}

TEST_F(HostAndStation, EndsWithSixWhenSomeIsGoodAndSomeIsNot)
{
    serve({"--size", "1000"});
    const Finished run = host("read", {"4x:100", "4x:1000"});
    EXPECT_EQ(6, run.exitCode);
    EXPECT_EQ("4x:100 = 4660\n4x:1000 = ?  (refused)\n", run.output);
    EXPECT_EQ(6, host("write", {"-o", "2", "--retries", "0", "4x:100=1", "4x:100@9=1"}).exitCode);
}

TEST_F(HostAndStation, SaysWhenAStationDoesNotKeepWhatItTook)
{
    serve({"--counters", "4x:600"});
    const Finished run = host("write", {"4x:600=5", "--verify"});
    EXPECT_EQ(6, run.exitCode);
    EXPECT_THAT(run.errors, HasSubstr("the station holds other values than were written"));
}

TEST_F(HostAndStation, CountsWhatAnInterruptionLeftUndoneAsNoReply)
{
    serve({});
    plc::host::ChildProcess read(PLC_HOST_PROGRAM,
                                 {"read", "-p", station->terminal(), "-o", "60", "4x:100", "4x:100@9"}, true);
    ASSERT_TRUE(read.readLine(plc::runtime::steadyNow() + kPatience).has_value());
    read.signal(SIGINT);
    EXPECT_EQ(6, read.waitForEnd(plc::runtime::steadyNow() + kPatience));
    EXPECT_EQ("4x:100@9 = ?  (interrupted)\n", read.output());
    EXPECT_THAT(read.errors(), HasSubstr("4x:100@9: interrupted before station 9 had answered"));
}

TEST_F(HostAndStation, ShowsWhatItHasReadWhereTheStationRefusesPartOfABlock)
{
    serve({"--size", "1000"});
    EXPECT_EQ(0, host("write", {"4x:996=4660,43981,1,65535", "-o", "60"}).exitCode);
    const Words partly{"-o", "60", "--max-block", "3", "4x:994:9"};
    const Finished text = host("read", partly);
    EXPECT_EQ(6, text.exitCode);
    EXPECT_EQ("4x:994:9 = 0 0 4660 43981 1 65535 ? ? ?  (refused)\n", text.output);
    EXPECT_THAT(text.errors,
                StartsWith("plchost: 4x:994:9: 4x:1000:3: station 1 refused with exception 02 (illegal "
                           "data address) to function 3, address 1000, count 3: "));
    EXPECT_THAT(host("read", partly + Words{"--format", "ndjson"}).output,
                HasSubstr("\"values\":[0,0,4660,43981,1,65535,null,null,null]"));
    const std::string csv = host("read", partly + Words{"--format", "csv"}).output;
    EXPECT_THAT(csv, HasSubstr("\n4x:999,1,65535,good,"));
    EXPECT_THAT(csv, HasSubstr("\n4x:1000,1,,refused,"));
    EXPECT_EQ("4x:996:3/u32 = 305441741 131071 ?  (refused)\n4x:998:2/i16 = 1 -1\n",
              host("read", {"-o", "60", "--max-block", "2", "4x:996:3/u32", "4x:998:2/i16"}).output);
}

TEST_F(HostAndStation, DoesNotWaitForEachPartOfABlockWhereNobodyAnswers)
{
    serve({});
    const Finished run = host("read", {"-a", "9", "--max-block", "1", "4x:100:5", "-o", "0.2", "-v"});
    EXPECT_EQ(2, run.exitCode);
    EXPECT_EQ("4x:100:5 = ?  (no answer)\n", run.output);
    EXPECT_THAT(run.errors, Not(HasSubstr("-> 09 03 00 65")));
}

TEST_F(HostAndStation, ShowsWhatItHasReadOfABlockWhenItIsInterrupted)
{
    // The first reply comes, and no other that is asked for.
    serve({"--drop", "50", "--seed", "6"});
    const Words shell{"-c", "exec \"$0\" \"$@\" 2>&1", PLC_HOST_PROGRAM};
    plc::host::ChildProcess read(
        "/bin/sh",
        shell + Words{"read", "-p", station->terminal(), "-v", "-o", "60", "--max-block", "2", "4x:100:4"},
        true);
    for (std::string line; line.find("-> 01 03 00 66") == std::string::npos;) {
        const auto next = read.readLine(plc::runtime::steadyNow() + kPatience);
        ASSERT_TRUE(next.has_value());
        line = *next;
    }
    read.signal(SIGINT);
    EXPECT_EQ(6, read.waitForEnd(plc::runtime::steadyNow() + kPatience));
    EXPECT_THAT(read.output(), HasSubstr("4x:100:4: 4x:102:2: interrupted before station 1 had answered\n"
                                         "4x:100:4 = 4660 43981 ? ?  (interrupted)\n"));
}

TEST_F(HostAndStation, AsksOnceWhereTheStationRefusesTheRequestItself)
{
    serve({"--size", "1000"});
    const Finished run = host("read", {"4x:1000", "--retries", "5", "-v"});
    EXPECT_EQ(3, run.exitCode);
    EXPECT_THAT(run.errors, Not(HasSubstr("(attempt 2)")));
}

TEST_F(HostAndStation, NamesTheRefusedFunctionOfARelayFrame)
{
    serve({"--relay", "--size", "1000"});
    const Finished run = host("read", {"4x:1000:3", "--link-mode", "1"});
    EXPECT_THAT(run.errors, HasSubstr("(illegal data address) to function 3, address 1000, count 3"));
}

// --- faults

struct FaultCase
{
    const char *name;
    Words station;
    Words host;
    const char *said; ///< in the statistics of plcstation
};

void PrintTo(const FaultCase &fault, std::ostream *out)
{
    *out << fault.name;
}

class HostUnderFaults : public ::testing::TestWithParam<FaultCase>
{};

// Reads and writes of all kinds; the values are those of kAreas.
const Words kManyReads{"4x:100:5", "4x:547:3", "4x_bit:100.2:4", "4x_d:200:2", "3x:7:2",  "3x_bit:7.1",
                       "3x_d:20",  "0x:16:10", "1x:8:3",         "4x:200:4",   "4x:101",  "4x:102",
                       "4x:103",   "4x:104",   "3x:7",           "3x:8",       "0x:18:3", "0x:19:2"};
const char kManyValues[] =
    "4x:100:5 = 4660 43981 1 65535 0\n4x:547:3 = 70 71 72\n4x_bit:100.2:4 = 1 0 1 1\n"
    "4x_d:200:2 = 305419896 4294967294\n3x:7:2 = 42 43\n3x_bit:7.1 = 1\n3x_d:20 = 65538\n"
    "0x:16:10 = 1 0 1 1 0 0 1 0 1 1\n1x:8:3 = 0 1 1\n4x:200:4 = 4660 22136 65535 65534\n"
    "4x:101 = 43981\n4x:102 = 1\n4x:103 = 65535\n4x:104 = 0\n3x:7 = 42\n3x:8 = 43\n"
    "0x:18:3 = 1 1 0\n0x:19:2 = 1 0\n";

TEST_P(HostUnderFaults, ReadsTheStationsValuesAndEndsEveryWriteOnce)
{
    const TemporaryFile areas(kAreas);
    const auto station =
        startStation(Words{"-a", "1,5", "--areas", areas.path(), "--seed", "11"} + GetParam().station);
    const Words common = Words{"-p", station->terminal(), "-o", "0.3", "--retries", "20"} + GetParam().host;

    const Finished read = plchost(Words{"read"} + common + kManyReads);
    EXPECT_EQ(0, read.exitCode) << read.errors;
    EXPECT_EQ(kManyValues, read.output);

    Words writes;
    Words wanted;
    for (int i = 0; i < 12; ++i) {
        const std::string at = std::to_string(600 + i);
        writes.push_back("4x:" + at + "=" + std::to_string(1000 + i));
        wanted.push_back("4x:" + at + " = " + std::to_string(1000 + i) + "  (written and read back)");
    }
    writes.insert(writes.end(), {"4x_bit:620.3=1", "4x_d:630=305419896", "0x:660=1,0,1", "0x:680=1"});
    wanted.insert(wanted.end(),
                  {"4x_bit:620.3 = 1  (written and read back)",
                   "4x_d:630 = 305419896  (written and read back)", "0x:660 = 1 0 1  (written and read back)",
                   "0x:680 = 1  (written and read back)"});
    const Finished written = plchost(Words{"write"} + common + writes + Words{"--verify"});
    EXPECT_EQ(0, written.exitCode) << written.errors;
    EXPECT_EQ(wanted, written.lines());

    EXPECT_THAT(station->stop().errors, HasSubstr(GetParam().said)) << "the fault never happened";
}

const Words kRelayStation{"--relay"};
const Words kRelayHost{"--link-mode", "1"};

INSTANTIATE_TEST_SUITE_P(
    Faults, HostUnderFaults,
    ::testing::Values(
        FaultCase{"None", {}, {}, "exceptions 0"}, FaultCase{"Drop", {"--drop", "10"}, {}, "fault drop"},
        FaultCase{"Cut", {"--cut", "30"}, {}, "fault cut"},
        FaultCase{"CutBeyondTheTimeOut", {"--cut", "10", "--cut-pause", "400"}, {}, "fault cut"},
        FaultCase{"CutForever", {"--cut-forever", "10"}, {}, "fault cut-forever"},
        FaultCase{"BadCrc", {"--bad-crc", "10"}, {}, "fault bad-crc"},
        FaultCase{"SwapCrc", {"--swap-crc", "10"}, {}, "fault swap-crc"},
        FaultCase{"NoiseBefore", {"--noise-before", "50"}, {}, "fault noise-before"},
        FaultCase{"NoiseAfter", {"--noise-after", "50"}, {}, "fault noise-after"},
        FaultCase{"Foreign", {"--foreign", "10"}, {}, "fault foreign"},
        FaultCase{"Exception", {"--exception", "20"}, {}, "fault exception"},
        FaultCase{"Twice", {"--twice", "50"}, {}, "fault twice"},
        // A busy machine makes a late reply later still, and behind the guard it would pass for the next one.
        FaultCase{"Late", {"--late", "10", "--late-by", "400"}, {"--late-guard", "1"}, "fault late"},
        FaultCase{"RelayDrop", kRelayStation + Words{"--drop", "10"}, kRelayHost, "fault drop"},
        FaultCase{"RelayCut", kRelayStation + Words{"--cut", "30"}, kRelayHost, "fault cut"},
        FaultCase{"RelayBadCrc", kRelayStation + Words{"--bad-crc", "10"}, kRelayHost, "fault bad-crc"},
        FaultCase{"RelayNoise", kRelayStation + Words{"--noise-before", "30", "--noise-after", "30"},
                  kRelayHost, "fault noise-before"},
        FaultCase{"RelayTwice", kRelayStation + Words{"--twice", "50"}, kRelayHost, "fault twice"}),
    [](const auto &test) { return test.param.name; });

} // namespace
