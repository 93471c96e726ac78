// A port that goes while plchost runs, and comes back.

#include <unistd.h>

#include <array>
#include <csignal>

#include "packaging_line.h"

namespace {

using namespace plc::test;
using plc::host::ChildProcess;
using plc::runtime::steadyNow;
using ::testing::HasSubstr;
using ::testing::Not;

// The port may go while a request is being sent, or while its reply is awaited.
constexpr char kLost[] = "; is it still plugged in? It is looked for until it is back\n";
constexpr char kBack[] = "is back after ";

int countOf(const std::string &part, const std::string &text)
{
    int count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

/// Stations on a port that has a name of its own: the pseudo-terminal behind the name goes with them.
class LostPort : public ::testing::Test
{
protected:
    ~LostPort() override { unlink(port.c_str()); }

    void plugIn() { station = startStation({"-a", "1", "--counters", "4x:0", "--link", port, "-q"}); }
    void pullOut()
    {
        station->stop();
        station.reset();
    }
    Words watchWords(const Words &more) { return Words{"watch", "-p", port, "4x:0"} + more; }

    /// Reads on until a line has @p text.
    static void await(ChildProcess &program, const std::string &text)
    {
        const auto limit = steadyNow() + kPatience;
        while (const auto line = program.readLine(limit)) {
            if (line->find(text) != std::string::npos)
                return;
        }
        ADD_FAILURE() << "no line has '" << text << "'; standard error: " << program.errors();
    }

    const std::string port = ::testing::TempDir() + "lost_port_" + std::to_string(getpid());
    std::unique_ptr<Server> station;
};

TEST_F(LostPort, IsShownAsLostWithTheLastValuesAndFoundAgainUnderItsName)
{
    plugIn();
    ChildProcess watch(PLC_HOST_PROGRAM, watchWords({}), true);
    await(watch, "(good, ");
    pullOut();
    await(watch, "(port lost, ");
    plugIn();
    await(watch, "(good, ");
    watch.signal(SIGINT);
    EXPECT_EQ(0, watch.waitForEnd(steadyNow() + kPatience)) << watch.errors();
    EXPECT_EQ(1, countOf(kLost, watch.errors())) << watch.errors();
    EXPECT_EQ(1, countOf(kBack, watch.errors())) << watch.errors();
    EXPECT_THAT(watch.errors(), Not(HasSubstr("there is no such port"))) << "the tries in vain are not told";
}

TEST_F(LostPort, HasAStateOfItsOwnInCsvAndNdjson)
{
    for (const auto &[format, good, lost] :
         {std::array<std::string, 3>{"csv", ",good,", ",port lost,"},
          std::array<std::string, 3>{"ndjson", R"("state":"good")", R"("state":"port lost","reason":)"}}) {
        plugIn();
        ChildProcess watch(PLC_HOST_PROGRAM, watchWords({"--format", format}), true);
        await(watch, good);
        pullOut();
        await(watch, lost);
    }
}

TEST_F(LostPort, IsToldWhenAnotherProgramHasTakenItMeanwhile)
{
    plugIn();
    ChildProcess watch(PLC_HOST_PROGRAM, watchWords({"--baud", "115200"}), true);
    await(watch, "(good, ");
    watch.signal(SIGSTOP);
    pullOut();
    plugIn();
    ChildProcess other(PLC_HOST_PROGRAM, watchWords({}), true);
    await(other, "(good, ");
    watch.signal(SIGCONT);
    await(watch, "(port lost, ");
    const auto isTold = [&watch] {
        return watch.errors().find("it is in use by process ") != std::string::npos ||
               watch.errors().find("it is in use by another program") != std::string::npos;
    };
    const auto limit = steadyNow() + kPatience;
    while (!isTold() && watch.readLine(limit)) {
    }
    EXPECT_TRUE(isTold()) << watch.errors();
    other.signal(SIGINT);
    EXPECT_EQ(0, other.waitForEnd(steadyNow() + kPatience));
    await(watch, "(good, ");
    // Who has it is told once, and once more where the program that goes can be named no longer.
    const int told = countOf("; it is tried again and again\n", watch.errors());
    EXPECT_TRUE(told == 1 || told == 2) << watch.errors();
    EXPECT_GE(1, countOf("it is in use by another program; it is tried", watch.errors())) << watch.errors();
}

TEST_F(LostPort, EndsTheProgramWithStatisticsAndExitCodeFiveWhenItIsInterruptedMeanwhile)
{
    plugIn();
    ChildProcess watch(PLC_HOST_PROGRAM, watchWords({}), true);
    await(watch, "(good, ");
    pullOut();
    await(watch, "(port lost, ");
    watch.signal(SIGINT);
    EXPECT_EQ(5, watch.waitForEnd(steadyNow() + kPatience));
    EXPECT_THAT(watch.errors(), HasSubstr("requests per second"));
}

TEST_F(LostPort, IsTheEndWhereNobodyWantsToWaitForIt)
{
    plugIn();
    ChildProcess watch(PLC_HOST_PROGRAM, watchWords({"--no-reopen"}), true);
    await(watch, "(good, ");
    pullOut();
    EXPECT_EQ(5, watch.waitForEnd(steadyNow() + kPatience));
    EXPECT_EQ(1, countOf("; is it still plugged in?\n", watch.errors())) << watch.errors();

    plugIn();
    const TemporaryFile project(R"({"variables": [{"name": "A", "area": "4x", "address": "0"}]})");
    RunningProject run({project.path(), "-p", port, "--every", "0.2", "--no-reopen"});
    run.awaitState("A", "good");
    pullOut();
    EXPECT_EQ(5, run.process().waitForEnd(steadyNow() + kPatience));
}

TEST_F(LostPort, IsTheEndOfReadAndWriteAndOfWhatFindsNoneAtItsStart)
{
    plugIn();
    station->process().signal(SIGSTOP);
    for (const Words &words :
         {Words{"read", "-p", port, "4x:0", "-o", "60"}, Words{"write", "-p", port, "4x:1=1", "-o", "60"}}) {
        ChildProcess host(PLC_HOST_PROGRAM, words + Words{"-v"}, true);
        while (host.errors().find(" -> 01 ") == std::string::npos && !HasFailure())
            ASSERT_FALSE(host.waitForEnd(steadyNow() + std::chrono::milliseconds(20))) << host.errors();
        station->process().signal(SIGKILL);
        EXPECT_EQ(5, host.waitForEnd(steadyNow() + kPatience));
        unlink(port.c_str());
        plugIn();
        station->process().signal(SIGSTOP);
    }
    station->process().signal(SIGCONT);
    pullOut();
    for (const std::string command : {"read", "watch"})
        EXPECT_EQ(5, plchost({command, "-p", port, "4x:0"}).exitCode);
}

class LostPortOfAProject : public LostPort
{
protected:
    // A request that was on the line counts as unanswered, so that the line is quiet for the time-out.
    const TemporaryFile project{R"({"link": {"replyTimeoutMs": 10000, "lateGuardMs": 0}, "variables": [
        {"name": "A", "area": "4x", "address": "0"}, {"name": "B", "area": "4x", "address": "100"}]})"};
};

TEST_F(LostPortOfAProject, FailsWritesAtOnceAndTakesThemAgainWhenItIsBack)
{
    plugIn();
    RunningProject run({project.path(), "-p", port, "--every", "0.2"});
    run.awaitState("B", "good");
    pullOut();
    run.awaitState("B", "port lost");
    run.say("B = 7");
    EXPECT_EQ("the port was lost", word(run.awaitWrite("B"), "reason"));
    plugIn();
    run.awaitState("B", "good");
    run.say("B = 8");
    EXPECT_EQ("done", word(run.awaitWrite("B"), "result"));
    EXPECT_EQ(5, run.end()) << "a write was lost with the port";
    EXPECT_EQ(2, run.countOfWrites());
    EXPECT_EQ(1, countOf(kLost, run.process().errors()));
    EXPECT_EQ(1, countOf(kBack, run.process().errors()));
}

TEST_F(LostPortOfAProject, FailsTheWritesThatWaitAndSendsThemNeverAgain)
{
    plugIn();
    RunningProject run({project.path(), "-p", port, "--every", "0.2"});
    run.awaitState("B", "good");
    station->process().signal(SIGSTOP);
    for (int i = 1; i <= 40; ++i)
        run.say("B = " + std::to_string(i));
    station->process().signal(SIGKILL);
    station.reset();
    unlink(port.c_str());
    int lost = 0;
    for (int i = 0; i < 40; ++i) {
        const std::string reason = word(run.awaitWrite("B"), "reason");
        lost += reason == "the port was lost" ? 1 : 0;
        EXPECT_TRUE(reason == "the port was lost" || reason.find("not confirmed") != std::string::npos)
            << reason;
    }
    EXPECT_GE(lost, 39) << "one may have been on the line";
    plugIn();
    const QJsonObject back = run.awaitState("B", "good");
    EXPECT_EQ(std::vector<double>{0}, numbers(back.value("values")))
        << "a new station, that nobody has written";
    run.awaitState("B", "good");
    EXPECT_EQ(5, run.end());
    EXPECT_EQ(40, run.countOfWrites());
}

} // namespace
