// Projects whose values have formats, scales, units and texts: by name in read, write and watch, and in run.

#include "packaging_line.h"

namespace {

using namespace plc::test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

const char kAreas[] = R"({"4x": {"100": [125, 2, 16712, 0, 20565, 19792, 7, 65535]}, "0x": {"3": 1}})";

const char kVariables[] = R"("variables": [
    {"name": "Set.Feed rate", "area": "4x", "address": "100", "format": "i16", "scale": 0.1, "unit": "mm/s",
     "min": 0, "max": 500},
    {"name": "Mode", "area": "4x", "address": "101", "texts": {"0": "stopped", "2": "running fast"}},
    {"name": "Flow", "area": "4x", "address": "102", "format": "f32"},
    {"name": "Order", "area": "4x", "address": "104", "format": "str4"},
    {"name": "Steps", "area": "4x", "address": "106", "count": 2, "format": "i16"},
    {"name": "Lamp", "area": "0x", "address": "3", "texts": {"0": "dark", "1": "lit"}}]})";

class NamedVariables : public ::testing::Test
{
protected:
    Finished host(const std::string &command, const Words &arguments) const
    {
        return plchost(Words{command, "--project", project.path()} + arguments);
    }

    TemporaryFile areas{kAreas};
    std::unique_ptr<Server> station{startStation({"-a", "7", "--areas", areas.path()})};
    TemporaryFile project{"{\"link\": {\"station\": 7, \"replyTimeoutMs\": 60000, \"port\": \"" +
                          station->terminal() + "\"}, " + kVariables};
};

TEST_F(NamedVariables, AreReadOverTheLineOfTheirProject)
{
    const Finished run =
        host("read", {"Set.Feed rate", "Mode", "Flow", "Order", "Steps", "Lamp", "4x:100", "4x:101:2/hex@7"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_THAT(run.lines(), ElementsAre("Set.Feed rate = 12.5 mm/s", "Mode = running fast (2)",
                                         "Flow = 12.5", "Order = \"PUMP\"", "Steps = 7 -1", "Lamp = lit (1)",
                                         "4x:100 = 125", "4x:101:2/hex@7 = 0x0002 0x4148"));
    EXPECT_THAT(run.errors, IsEmpty());
}

TEST_F(NamedVariables, AreForProgramsToo)
{
    EXPECT_EQ("name,station,value,state,unit,text,time,exception_code,exception_name\n"
              "Set.Feed rate,7,12.5,good,mm/s,,TIME,,\nMode,7,2,good,,running fast,TIME,,\n"
              "Order,7,PUMP,good,,,TIME,,\nSteps[0],7,7,good,,,TIME,,\nSteps[1],7,-1,good,,,TIME,,\n",
              withoutWallTimes(
                  host("read", {"--format", "csv", "Set.Feed rate", "Mode", "Order", "Steps"}).output));
    EXPECT_EQ("name,station,value,state,time,exception_code,exception_name\nFlow,7,12.5,good,TIME,,\n",
              withoutWallTimes(host("read", {"--format", "csv", "Flow"}).output));
    EXPECT_EQ(
        "{\"kind\":\"value\",\"time\":\"TIME\",\"variable\":\"Set.Feed "
        "rate\",\"station\":7,\"state\":\"good\",\"values\":[12.5],\"unit\":\"mm/s\"}\n"
        "{\"kind\":\"value\",\"time\":\"TIME\",\"variable\":\"Mode\",\"station\":7,\"state\":\"good\","
        "\"values\":[2],\"texts\":[\"running fast\"]}\n"
        "{\"kind\":\"value\",\"time\":\"TIME\",\"variable\":\"Order\",\"station\":7,\"state\":\"good\","
        "\"values\":[\"PUMP\"]}\n",
        withoutWallTimes(host("read", {"--format", "ndjson", "Set.Feed rate", "Mode", "Order"}).output));
}

TEST_F(NamedVariables, AreWrittenScaledByTextAndByFormat)
{
    const Finished run = host("write", {"Set.Feed rate=20.46", "Mode=stopped", "Flow=-0.1", "Order=\"a,b\"",
                                        "Lamp=dark", "--verify"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_THAT(run.lines(), ElementsAre("Set.Feed rate = 20.5 mm/s  (written and read back)",
                                         "Mode = stopped (0)  (written and read back)",
                                         "Flow = -0.1  (written and read back)",
                                         "Order = \"a,b\"  (written and read back)",
                                         "Lamp = dark (0)  (written and read back)"));
    EXPECT_EQ("4x:100:6/hex = 0x00CD 0x0000 0xBDCC 0xCCCD 0x612C 0x6200\n",
              plchost({"read", "-p", station->terminal(), "-a", "7", "4x:100:6/hex"}).output);
}

TEST_F(NamedVariables, AreRefusedBeforeAnythingIsSent)
{
    const auto mistake = [this](const char *write) {
        const Finished run = host("write", {write});
        EXPECT_EQ(1, run.exitCode);
        EXPECT_THAT(run.output, IsEmpty());
        return run.errors;
    };
    EXPECT_THAT(mistake("Set.Feed rate=-0.1"), HasSubstr("value '-0.1' is not allowed; the least is 0 mm/s"));
    EXPECT_THAT(mistake("Set.Feed rate=500.1"), HasSubstr("the most is 500 mm/s"));
    EXPECT_THAT(mistake("Steps=1"), HasSubstr("the count is 2, but 1 values are given"));
    EXPECT_THAT(mistake("Mode=running"), HasSubstr("value 'running' is not allowed"));
    EXPECT_THAT(mistake("Mod=1"), HasSubstr("'Mod' is no variable of " + project.path()));
    EXPECT_EQ("Set.Feed rate = 12.5 mm/s\n", host("read", {"Set.Feed rate"}).output);
}

TEST_F(NamedVariables, AreWatched)
{
    const Finished run = host("watch", {"-1", "-q", "Set.Feed rate", "Mode"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_THAT(run.output, HasSubstr("  Set.Feed rate = 12.5 mm/s  (good, "));
    EXPECT_THAT(run.output, HasSubstr("  Mode = running fast (2)  (good, "));
}

TEST_F(NamedVariables, TakeSettingsThatAreTypedBeforeThoseOfTheProject)
{
    const TemporaryFile elsewhere(std::string(R"({"link": {"port": "/dev/no_such_port", "station": 9}, )") +
                                  kVariables);
    const Words typed = {"read", "--project", elsewhere.path(), "-p", station->terminal(), "-a", "7",
                         "-o",   "60"};
    EXPECT_EQ("4x:100 = 125\n", plchost(typed + Words{"4x:100"}).output);
    EXPECT_EQ(5, plchost({"read", "--project", elsewhere.path(), "Mode"}).exitCode);
    const TemporaryFile nowhere(std::string("{") + kVariables);
    const Finished noPort = plchost({"read", "--project", nowhere.path(), "Mode"});
    EXPECT_EQ(1, noPort.exitCode);
    EXPECT_THAT(noPort.errors, HasSubstr(nowhere.path() + " names no port; give one with -p PATH"));
    const Finished oneBased = host("read", {"Mode", "--option", "one-based"});
    EXPECT_EQ(1, oneBased.exitCode);
    EXPECT_THAT(oneBased.errors, HasSubstr("count from 0; leave --option one-based out"));
}

TEST_F(NamedVariables, AreWrittenWhileTheyRun)
{
    RunningProject run({project.path(), "--every", "0.2"});
    run.awaitState("Order", "good");
    run.say("Set.Feed rate = 7.26");
    EXPECT_EQ((std::vector<double>{7.3}), numbers(run.awaitWrite("Set.Feed rate").value("values")));
    run.say("Order = \"A, B\"");
    EXPECT_EQ("done", word(run.awaitWrite("Order"), "result"));
    run.say("Mode = running fast");
    EXPECT_EQ("done", word(run.awaitWrite("Mode"), "result"));
    EXPECT_EQ(0, run.end());
    EXPECT_EQ("Set.Feed rate = 7.3 mm/s\nMode = running fast (2)\nOrder = \"A, B\"\n",
              host("read", {"Set.Feed rate", "Mode", "Order"}).output);
}

TEST(WholeNumbers, Of64BitsAreReportedWithAllTheirDigits)
{
    const std::unique_ptr<Server> station = startStation({});
    const TemporaryFile input("A = 18446744073709551615\n");
    const TemporaryFile project(
        "{\"link\": {\"replyTimeoutMs\": 60000}, \"variables\": [{\"name\": \"A\", \"area\": "
        "\"4x\", \"address\": \"1\", \"format\": \"u64\"}]}");
    plc::host::ChildProcess run("/bin/sh",
                                {"-c", "exec \"$@\" <\"$0\"", input.path(), PLC_HOST_PROGRAM, "run",
                                 "--format", "ndjson", "--scans", "2", "-p", station->terminal(),
                                 project.path()},
                                true);
    EXPECT_EQ(0, run.waitForEnd(plc::runtime::steadyNow() + kPatience));
    EXPECT_THAT(run.output(), HasSubstr("\"result\":\"done\",\"values\":[18446744073709551615]}\n"));
}

TEST(ValuesOfARun, AreReadWholeWhereARequestHasRoomAndSaySoWhereNot)
{
    const TemporaryFile areas(R"({"4x": {"0": 1, "99": [16712, 0], "200": [1, 2, 3]}})");
    const std::unique_ptr<Server> station = startStation({"--areas", areas.path()});
    const TemporaryFile whole(R"({"link": {"replyTimeoutMs": 60000}, "variables": [
        {"name": "A", "area": "4x", "address": "0"},
        {"name": "B", "area": "4x", "address": "99", "format": "f32"}]})");
    const Finished run = plchost({"run", whole.path(), "-p", station->terminal(), "--scans", "1", "-v"});
    EXPECT_THAT(run.output, HasSubstr("  B = 12.5  (good, "));
    EXPECT_THAT(run.errors, HasSubstr("01 03 00 00 00 01"));
    EXPECT_THAT(run.errors, HasSubstr("01 03 00 63 00 02"));
    const TemporaryFile cut(R"({"link": {"replyTimeoutMs": 60000, "maxBlock": 2}, "variables": [
        {"name": "C", "area": "4x", "address": "200", "format": "u64"}]})");
    EXPECT_THAT(plchost({"run", cut.path(), "-p", station->terminal(), "--scans", "1", "-q"}).output,
                HasSubstr("  C = 281483566841856  (good, read in pieces, "));
}

} // namespace
