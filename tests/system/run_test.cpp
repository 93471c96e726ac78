// A whole project: planned without a line, and run against eight simulated stations.

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <csignal>
#include <map>

#include "packaging_line.h"

namespace {

using namespace plc::test;
using namespace plc::host;
using ::testing::HasSubstr;
using ::testing::UnorderedElementsAreArray;

class Plan : public ::testing::Test
{
protected:
    QJsonObject plan(const std::string &project, const Words &more = {})
    {
        const TemporaryFile file(project);
        const Finished finished = plchost(Words{"plan", file.path(), "--format", "json"} + more);
        EXPECT_EQ(0, finished.exitCode) << finished.errors;
        return json(finished.output);
    }

    static void expectCost(const QJsonValue &cost, double requests, double bytes, double milliseconds)
    {
        const QJsonObject given = cost.toObject();
        EXPECT_DOUBLE_EQ(requests, given.value("requests").toDouble());
        EXPECT_DOUBLE_EQ(bytes, given.value("bytes").toDouble());
        EXPECT_NEAR(milliseconds, given.value("time_ms").toDouble(), 0.001);
    }

    static void expectRequest(const QJsonValue &request, int station, const std::string &area, int first,
                              int count, int unused, int level, const std::vector<std::string> &variables)
    {
        const QJsonObject given = request.toObject();
        EXPECT_EQ(station, given.value("station").toInt());
        EXPECT_EQ(area, word(given, "area"));
        EXPECT_EQ(first, given.value("first").toInt());
        EXPECT_EQ(count, given.value("count").toInt());
        EXPECT_EQ(unused, given.value("unused").toInt());
        EXPECT_EQ(level, given.value("level").toInt());
        std::vector<std::string> names;
        for (const QJsonValue &name : given.value("variables").toArray())
            names.push_back(name.toString().toStdString());
        EXPECT_EQ(variables, names);
    }
};

// At 19200 baud a character of 11 bits takes 0.5729167 ms and a silence of 3.5 of them 2.0052083 ms.
constexpr char kFiveVariables[] = R"({"link": {"baud": 19200}, "variables": [
    {"name": "A", "area": "4x", "address": "10"},
    {"name": "B", "area": "4x", "address": "14", "count": 2},
    {"name": "C", "area": "0x", "address": "3"},
    {"name": "D", "area": "0x", "address": "9"},
    {"name": "E", "area": "4x_d", "address": "200", "station": 2}]})";

TEST_F(Plan, ShowsTheRequestsOfASmallProject)
{
    const QJsonArray requests = plan(kFiveVariables).value("requests").toArray();
    ASSERT_EQ(3, requests.size());
    expectRequest(requests[0], 1, "0x", 3, 7, 5, 0, {"C", "D"});
    expectRequest(requests[1], 1, "4x", 10, 6, 3, 0, {"A", "B"});
    expectRequest(requests[2], 2, "4x", 200, 2, 0, 0, {"E"});
    // 8 bytes there and 5 and the data back, two silences for each.
    EXPECT_EQ(14, requests[0].toObject().value("bytes").toInt());
    EXPECT_EQ(25, requests[1].toObject().value("bytes").toInt());
    EXPECT_EQ(17, requests[2].toObject().value("bytes").toInt());
    EXPECT_NEAR(18.33333, requests[1].toObject().value("time_ms").toDouble(), 0.001);
}

TEST_F(Plan, ReadsBothRegistersOfEachPair)
{
    const QJsonArray requests =
        plan(R"({"variables": [{"name": "A", "area": "3x_d", "address": "10", "count": 3}]})")
            .value("requests")
            .toArray();
    ASSERT_EQ(1, requests.size());
    expectRequest(requests[0], 1, "3x", 10, 6, 0, 0, {"A"});
}

TEST_F(Plan, ReadsNoValueInTwoPiecesThatFitsIntoARequest)
{
    const QJsonArray requests = plan(R"({"link": {"options": ["one-based"]}, "variables": [
        {"name": "A", "area": "4x", "address": "1"},
        {"name": "B", "area": "4x_d", "address": "100", "count": 50},
        {"name": "C", "area": "0x", "address": "1", "count": 801}]})")
                                    .value("requests")
                                    .toArray();
    ASSERT_EQ(4, requests.size());
    expectRequest(requests[0], 1, "0x", 0, 800, 0, 0, {"C"});
    expectRequest(requests[1], 1, "0x", 800, 1, 0, 0, {"C"});
    expectRequest(requests[2], 1, "4x", 0, 1, 0, 0, {"A"});
    expectRequest(requests[3], 1, "4x", 99, 100, 0, 0, {"B"});
}

TEST_F(Plan, ComparesWithOneRequestPerVariable)
{
    const QJsonObject shown = plan(kFiveVariables);
    // 56 * 0.5729167 + 6 * 2.0052083
    expectCost(shown.value("everything_once"), 3, 56, 44.11458);
    // 15 + 17 + 14 + 14 + 17 bytes; 77 * 0.5729167 + 10 * 2.0052083
    expectCost(shown.value("one_per_variable"), 5, 77, 64.16667);
    expectCost(shown.value("ratio"), 5.0 / 3.0, 77.0 / 56.0, 1.454545);
    expectCost(shown.value("scan"), 3, 56, 44.11458);
}

TEST_F(Plan, TakesTheAnswerDelayAndTheBaudRateIntoAccount)
{
    // The delay stands in place of the silence before a reply: 56 * 0.5729167 + 3 * 2.0052083 + 3 * 5
    expectCost(plan(kFiveVariables, {"--answer-delay", "5"}).value("everything_once"), 3, 56, 53.09896);
    // 56 characters of 95.4861 us, and six silences of 1.75 ms
    expectCost(plan(kFiveVariables, {"-b", "115200"}).value("everything_once"), 3, 56, 15.84722);
}

TEST_F(Plan, ServesAPriorityLevelAtItsRate)
{
    // Each request takes 15 bytes and 12.604167 ms. Level 4 goes out after every ordinary request, so that a
    // scan is twice each: urgent, one, urgent, other.
    const QJsonObject shown = plan(R"({"link": {"baud": 19200}, "variables": [
        {"name": "one", "area": "4x", "address": "0"},
        {"name": "other", "area": "4x", "address": "1000"},
        {"name": "urgent", "area": "4x", "address": "2000", "rate": 4}]})");
    const QJsonArray requests = shown.value("requests").toArray();
    ASSERT_EQ(3, requests.size());
    expectRequest(requests[2], 1, "4x", 2000, 1, 0, 4, {"urgent"});
    expectCost(shown.value("everything_once"), 3, 45, 37.8125);
    expectCost(shown.value("scan"), 4, 60, 50.41667);
    const QJsonArray refresh = shown.value("refresh").toArray();
    ASSERT_EQ(2, refresh.size());
    EXPECT_NEAR(50.41667, refresh[0].toObject().value("most_ms").toDouble(), 0.001);
    EXPECT_EQ(4, refresh[1].toObject().value("level").toInt());
    EXPECT_NEAR(25.20833, refresh[1].toObject().value("least_ms").toDouble(), 0.001);
    EXPECT_NEAR(25.20833, refresh[1].toObject().value("most_ms").toDouble(), 0.001);
}

TEST_F(Plan, GivesCoilsThePriorityThatTheirNameAsksFor)
{
    const QJsonArray requests = plan(R"({"variables": [
        {"name": "one", "area": "4x", "address": "0"},
        {"name": "other", "area": "4x", "address": "1000"},
        {"name": "lamp", "area": "0x", "address": "160", "rate": 4}]})")
                                    .value("requests")
                                    .toArray();
    ASSERT_EQ(3, requests.size());
    expectRequest(requests[0], 1, "0x", 160, 1, 0, 4, {"lamp"});
}

TEST_F(Plan, NamesVariablesThatAreNeverRead)
{
    const QJsonObject shown = plan(R"({"link": {"linkMode": 1}, "variables": [
        {"name": "one", "area": "4x", "address": "0"},
        {"name": "other", "area": "4x", "address": "1000"},
        {"name": "urgent", "area": "4x", "address": "2000", "rate": 4}]})");
    EXPECT_EQ(QJsonArray{"urgent"}, shown.value("never_read").toArray());
    EXPECT_EQ(2, shown.value("requests").toArray().size());
    // A relay request of 22 bytes, a reply of 7.
    EXPECT_EQ(29, shown.value("requests").toArray().first().toObject().value("bytes").toInt());
}

TEST_F(Plan, PrintsForPeople)
{
    const TemporaryFile file(kFiveVariables);
    const Finished finished = plchost({"plan", file.path()});
    EXPECT_EQ(0, finished.exitCode);
    EXPECT_THAT(finished.output,
                HasSubstr("1        4x    10     6      3       ordinary  25     18.33  A, B\n"));
    EXPECT_THAT(finished.output, HasSubstr("one request per variable  5         77     64.17\n"));
}

TEST_F(Plan, NamesLineAndColumnOfAMistake)
{
    const TemporaryFile file("{\"variables\": [\n{\"name\": \"A\", \"area\": \"5x\", \"address\": \"1\"}]}");
    const Finished finished = plchost({"plan", file.path()});
    EXPECT_EQ(1, finished.exitCode);
    EXPECT_THAT(finished.errors,
                HasSubstr(file.path() + ", line 2, column 23: '5x' is no area; areas are 0x,"));
}

class RunOfThePackagingLine : public ::testing::Test
{
protected:
    void startStations(const Words &more = {})
    {
        stations = startStation(Words{"-a", "1-8", "--areas", areas.path(), "-q"} + more);
    }

    Words arguments(const Words &more) const
    {
        return Words{kPackagingLine, "-p", stations->terminal()} + more;
    }

    const TemporaryFile areas{areasOfEightStations()};
    const Project project = loadProject(kPackagingLine);
    std::unique_ptr<Server> stations;
};

TEST_F(RunOfThePackagingLine, HasAllValuesAfterOneScan)
{
    startStations();
    RunningProject run(arguments({"--scans", "1"}));
    const QJsonObject last = run.await([](const QJsonObject &line) { return isA("statistics", line); });
    EXPECT_EQ(1.0, last.value("scan").toObject().value("count").toDouble());
    ASSERT_EQ(project.variables.size() + 1, run.seen().size());
    for (std::size_t i = 0; i < project.variables.size(); ++i) {
        const Variable &variable = project.variables[i];
        EXPECT_EQ(variable.label, word(run.seen()[i], "variable"));
        EXPECT_EQ("good", word(run.seen()[i], "state")) << variable.label;
        EXPECT_EQ(knownValues(variable), numbers(run.seen()[i].value("values"))) << variable.label;
    }
}

TEST_F(RunOfThePackagingLine, ServesEachLevelAtARateOfItsOwn)
{
    startStations();
    RunningProject run(arguments({"--scans", "3"}));
    const QJsonObject last = run.await([](const QJsonObject &line) { return isA("statistics", line); });
    const QJsonArray levels = last.value("refresh").toArray();
    const std::vector<int> requests{32, 8, 8, 8, 1};
    ASSERT_EQ(5, levels.size());
    for (int level = 0; level < 5; ++level) {
        EXPECT_EQ(level, levels[level].toObject().value("level").toInt());
        EXPECT_EQ(requests[static_cast<std::size_t>(level)],
                  levels[level].toObject().value("requests").toInt());
    }
    const auto median = [&](int level) { return levels[level].toObject().value("p50_ms").toDouble(); };
    EXPECT_LT(median(4), median(3));
    EXPECT_LT(median(4), median(2));
    EXPECT_LT(median(2), median(0));
    EXPECT_LT(median(0), median(1)) << "three turns of the ordinary requests";
}

TEST_F(RunOfThePackagingLine, ReportsEachWriteDuringTheScanOnce)
{
    startStations();
    RunningProject run(arguments({"--every", "0.2"}));
    run.awaitState("Line.Start", "good");
    const Words names{"Line.Set.Jog speed", "Filler.Set.Jog speed", "Wrapper.Set.Jog speed",
                      "Capper.Total.Good",  "Infeed.Running",       "Palletiser.Horn"};
    Words written;
    for (int round = 0; round < 40; ++round) {
        for (const std::string &name : names) {
            run.say(name + " = " + std::to_string(round % 2));
            written.push_back(name);
        }
    }
    run.say("Filler.Set.Jog speed = 4711");
    written.emplace_back("Filler.Set.Jog speed");
    while (run.countOfWrites() < static_cast<int>(written.size()) && !HasFailure())
        run.await([](const QJsonObject &line) { return isA("write", line); });
    const auto isNew = [](const QJsonObject &line) {
        return isA("value", line) && word(line, "variable") == "Filler.Set.Jog speed" &&
               numbers(line.value("values")) == std::vector<double>{4711};
    };
    run.await(isNew);
    run.awaitAllGood();
    EXPECT_EQ(0, run.end());

    Words reported;
    for (const QJsonObject &line : run.seen()) {
        if (!isA("write", line))
            continue;
        reported.push_back(word(line, "variable"));
        EXPECT_EQ("done", word(line, "result")) << reported.back();
    }
    EXPECT_THAT(reported, UnorderedElementsAreArray(written));
    const Finished witness = plchost({"read", "-p", stations->terminal(), "4x:1006@3"});
    EXPECT_THAT(witness.output, HasSubstr("4x:1006@3 = 4711"));
}

TEST_F(RunOfThePackagingLine, GoesOnWhileStationsAreSwitchedOffAndOn)
{
    startStations();
    RunningProject run(arguments({"--every", "0.2"}));
    run.awaitState("Labeller.Start", "good");
    run.say("station 5 off");
    run.awaitState("Labeller.Start", "switched off");
    EXPECT_EQ(std::vector<double>{double(known(6, 4, 0))},
              numbers(run.awaitState("Cartoner.Actual.Speed", "good").value("values")));

    run.say("Labeller.Set.Jog speed = 1");
    const QJsonObject refused = run.awaitWrite("Labeller.Set.Jog speed");
    EXPECT_EQ("failed", word(refused, "result"));
    EXPECT_EQ("station 5 is switched off", word(refused, "reason"));
    run.say("Cartoner.Set.Jog speed = 2");
    EXPECT_EQ("done", word(run.awaitWrite("Cartoner.Set.Jog speed"), "result"));

    run.say("station 5 on");
    run.awaitState("Labeller.Start", "good");
    run.say("Labeller.Set.Jog speed = 3");
    EXPECT_EQ("done", word(run.awaitWrite("Labeller.Set.Jog speed"), "result"));
    run.awaitState("Wrapper.Total.Service due", "good");
    EXPECT_EQ(6, run.end()) << "one write failed";
    EXPECT_EQ(3, run.countOfWrites());
    const Finished witness = plchost({"read", "-p", stations->terminal(), "4x:1006@5"});
    EXPECT_THAT(witness.output, HasSubstr("4x:1006@5 = 3"));
}

TEST_F(RunOfThePackagingLine, ReportsLinesThatItDoesNotUnderstand)
{
    startStations();
    RunningProject run(arguments({"--every", "0.2"}));
    run.say("Nobody = 1");
    run.awaitState("Wrapper.Total.Service due", "good");
    EXPECT_EQ(6, run.end());
    EXPECT_EQ(0, run.countOfWrites());
}

/// Station 1 answers, station 2 is nobody, and is never left alone.
class RunWithANobody : public ::testing::Test
{
protected:
    std::unique_ptr<Server> station = startStation({"-a", "1", "-q"});
    const TemporaryFile project{R"({"link": {"replyTimeoutMs": 60000, "offlineAfter": 1000}, "variables": [
        {"name": "A", "area": "4x", "address": "10", "station": 1},
        {"name": "B", "area": "4x", "address": "10", "station": 2}]})"};
};

TEST_F(RunWithANobody, SaysAtTheEndWhatWasNotSent)
{
    RunningProject run({project.path(), "-p", station->terminal(), "--every", "0.2"});
    run.awaitState("A", "good");
    for (int i = 0; i < 4; ++i)
        run.say("B = " + std::to_string(i));
    run.say("quit");
    // The driver has one of them, and still waits for the answer to its read; by now there is no table.
    const auto hasSaid = [&run] {
        return run.process().errors().find("4 writes have not ended yet; Ctrl-C gives them up") !=
               std::string::npos;
    };
    for (const Time limit = steadyNow() + kPatience; !hasSaid() && steadyNow() < limit;)
        run.process().waitForEnd(steadyNow() + std::chrono::milliseconds(50));
    EXPECT_TRUE(hasSaid()) << run.process().errors();
    run.process().signal(SIGINT);
    std::map<std::string, int> reasons;
    for (int i = 0; i < 4; ++i)
        ++reasons[word(run.awaitWrite("B"), "reason")];
    EXPECT_EQ(4, reasons["not sent: the run was ended before its turn"]);
    run.process().waitForEnd(steadyNow() + kPatience);
    EXPECT_THAT(run.process().errors(), HasSubstr("plchost: 4 writes were not sent"));
}

TEST_F(RunWithANobody, RefusesALineThatIsTooLongAndGoesOn)
{
    const TemporaryFile one{R"({"variables": [{"name": "A", "area": "4x", "address": "10"}]})"};
    RunningProject run({one.path(), "-p", station->terminal(), "--every", "0.2"});
    run.say("# " + std::string(1200000, 'x'));
    run.say("A = 7");
    EXPECT_EQ("done", word(run.awaitWrite("A"), "result"));
    run.process().signal(SIGINT);
    run.process().waitForEnd(steadyNow() + kPatience);
    EXPECT_THAT(run.process().errors(), HasSubstr("plchost: input line 1: it is longer than 1048576 bytes"));
    EXPECT_THAT(run.process().errors(), ::testing::Not(HasSubstr("input line 2")));
}

TEST_F(RunOfThePackagingLine, PutsOnAPacedLineWhatWasPlannedAndIsNoFasterThanIt)
{
    // How much longer than planned it takes is up to the machine.
    const TemporaryFile fewStations(R"({"link": {"baud": 19200, "replyTimeoutMs": 60000}, "variables": [
        {"name": "a", "area": "4x", "address": "0", "count": 90, "station": 1},
        {"name": "b", "area": "4x", "address": "1000", "count": 60, "station": 2},
        {"name": "c", "area": "3x", "address": "0", "count": 30, "station": 3},
        {"name": "d", "area": "0x", "address": "0", "count": 200, "station": 4, "rate": 4}]})");
    const Finished finished = plchost({"plan", fewStations.path(), "--format", "json"});
    const QJsonObject planned = json(finished.output).value("scan").toObject();
    startStations({"--pace", "19200"});
    RunningProject run({fewStations.path(), "-p", stations->terminal(), "--scans", "3"});
    const QJsonObject last = run.await([](const QJsonObject &line) { return isA("statistics", line); });
    const QJsonObject measured = last.value("scan").toObject();

    ASSERT_GT(planned.value("requests").toDouble(), 0);
    ASSERT_GT(measured.value("requests").toDouble(), 0);
    const double plannedBytes = planned.value("bytes").toDouble() / planned.value("requests").toDouble();
    const double bytes = measured.value("bytes").toDouble() / measured.value("requests").toDouble();
    EXPECT_NEAR(1, bytes / plannedBytes, 0.1) << "the first scan begins elsewhere than the others";
    const double plannedMs = planned.value("time_ms").toDouble() / planned.value("requests").toDouble();
    const double ms = measured.value("time_ms").toDouble() / measured.value("requests").toDouble();
    EXPECT_GT(ms / plannedMs, 0.9) << "no line is faster than its baud rate";
}

// With the settings of the line the absent station would take minutes.
TEST(Run, GivesASlowStationSettingsOfItsOwn)
{
    const auto station = startStation({"-a", "1", "-q"});
    const TemporaryFile file(R"({"link": {"replyTimeoutMs": 60000, "retryLimit": 3},
        "stations": [{"station": 2, "replyTimeoutMs": 20, "retryLimit": 0, "pauseMs": 5}],
        "variables": [{"name": "A", "area": "4x", "address": "1"},
                      {"name": "B", "area": "4x", "address": "1", "station": 2}]})");
    const Finished finished = plchost({"run", file.path(), "-p", station->terminal(), "--scans", "1", "-v"});
    EXPECT_EQ(6, finished.exitCode) << finished.errors;
    EXPECT_THAT(finished.errors, HasSubstr("plchost: B: no answer from station 2 after 1 attempt of 20 ms"));
    EXPECT_THAT(finished.errors, ::testing::Not(HasSubstr("(attempt 2)")));
}

/// What becomes of a run with these lines on its standard input.
Finished runWith(const std::string &lines, const std::string &port)
{
    const TemporaryFile input(lines);
    const TemporaryFile project(R"({"link": {"replyTimeoutMs": 60000}, "variables": [
        {"name": "A", "area": "4x", "address": "1"}, {"name": "B", "area": "4x", "address": "9", "count": 2}]})");
    ChildProcess process("/bin/sh",
                         {"-c", "exec \"$0\" run \"$1\" -p \"$2\" -q <\"$3\"", PLC_HOST_PROGRAM,
                          project.path(), port, input.path()},
                         true);
    const auto code = process.waitForEnd(steadyNow() + kPatience);
    return {code.value_or(-1), process.output(), process.errors()};
}

// Nobody serves this line, so that nothing can have been read.
class RunThatQuitsAtOnce : public ::testing::Test
{
protected:
    const std::string unread = "plchost: the run was ended before 2 of 2 variables had been read\n";
    std::unique_ptr<Server> nobody = startStation({"-a", "9", "-q"});
};

TEST_F(RunThatQuitsAtOnce, TellsInOneLineThatNothingWasRead)
{
    const Finished run = runWith("quit\n", nobody->terminal());
    EXPECT_EQ(0, run.exitCode);
    EXPECT_EQ(unread, run.errors);
    EXPECT_EQ("", run.output);
}

TEST_F(RunThatQuitsAtOnce, TellsOfALineThatItDoesNotUnderstandAsWrongUsage)
{
    const Finished run = runWith("nonsense\nquit\n", nobody->terminal());
    EXPECT_EQ(1, run.exitCode);
    EXPECT_THAT(run.errors, HasSubstr("plchost: input line 1: 'nonsense' is not understood"));
    EXPECT_THAT(run.errors, ::testing::EndsWith("next, quit\n" + unread));
    EXPECT_EQ("", run.output);
}

TEST_F(RunThatQuitsAtOnce, ConfirmsThatAStationIsSwitched)
{
    const Finished run = runWith("station 1 off\nstation 1 on\nstation 8 off\nquit\n", nobody->terminal());
    EXPECT_EQ(0, run.exitCode);
    EXPECT_EQ("plchost: station 1 is switched off\nplchost: station 1 is switched on\n"
              "plchost: station 8 is switched off; no variable of the project is at that station\n" +
                  unread,
              run.errors);
}

TEST(Run, ShowsWhatIsKnownOfAVariableThatIsRefusedInPart)
{
    const auto station = startStation({"-q", "--size", "103"});
    const TemporaryFile file(R"({"link": {"replyTimeoutMs": 60000}, "variables": [
        {"name": "Table", "area": "4x", "address": "1", "count": 104}]})");
    const Finished run = plchost({"run", file.path(), "-p", station->terminal(), "--scans", "1", "-q"});
    EXPECT_EQ(3, run.exitCode) << run.errors;
    EXPECT_THAT(run.output, ::testing::ContainsRegex("  Table = 0( 0){99}( [?]){4}  .refused: "));
}

TEST(Run, NeedsAPort)
{
    const TemporaryFile file(R"({"variables": [{"name": "A", "area": "4x", "address": "1"}]})");
    const Finished finished = plchost({"run", file.path()});
    EXPECT_EQ(1, finished.exitCode);
    EXPECT_THAT(finished.errors, HasSubstr("names no port; give one with -p PATH"));
}

TEST(Run, PrintsCsvWithTheNamesOfTheProject)
{
    const auto station = startStation({"-a", "1", "-q"});
    const TemporaryFile file(
        R"({"variables": [{"name": "Line speed", "area": "4x", "address": "1", "count": 2}]})");
    const Finished finished =
        plchost({"run", file.path(), "-p", station->terminal(), "--scans", "1", "--format", "csv"});
    EXPECT_EQ(0, finished.exitCode) << finished.errors;
    ASSERT_EQ(3u, finished.lines().size());
    EXPECT_EQ("time_s,name,station,value,state,age_ms,time,exception_code,exception_name",
              finished.lines()[0]);
    EXPECT_THAT(finished.lines()[1], HasSubstr(",Line speed[0],1,0,good,"));
    EXPECT_THAT(finished.lines()[2], HasSubstr(",Line speed[1],1,0,good,"));
}

TEST(Examples, CanAllBePlanned)
{
    const std::map<std::string, int> variables{
        {"small_machine", 30}, {"packaging_line", 600}, {"worst_case", 240}};
    for (const auto &[name, number] : variables) {
        const Finished finished = plchost({"plan", PLC_EXAMPLES "/" + name + ".json", "--format", "json"});
        EXPECT_EQ(0, finished.exitCode) << finished.errors;
        const QJsonObject shown = json(finished.output);
        EXPECT_EQ(number, shown.value("variables").toInt());
        EXPECT_TRUE(shown.value("never_read").toArray().isEmpty());
    }
}

} // namespace
