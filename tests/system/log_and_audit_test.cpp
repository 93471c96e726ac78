// --log beside what is printed, and --audit of the writes.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "packaging_line.h"

namespace {

using namespace plc::test;
using plc::host::ChildProcess;
using plc::runtime::steadyNow;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

std::string contentOf(const std::string &path)
{
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

Words linesOf(const std::string &path)
{
    Words lines;
    std::istringstream text(contentOf(path));
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    return lines;
}

/// "order 1, write 1 done": what matters of each line of an audit.
Words endsIn(const std::string &path)
{
    Words ends;
    for (const std::string &line : linesOf(path)) {
        const QJsonObject object = json(line);
        ends.push_back(
            word(object, "kind") + " " + std::to_string(object.value("order").toInt()) + " " +
            word(object, "variable") +
            (isA("write", object) ? " " + word(object, "result") + ": " + word(object, "state") : ""));
    }
    return ends;
}

class LogAndAudit : public ::testing::Test
{
protected:
    Words on(const std::string &command, const Words &arguments) const
    {
        return Words{command, "-p", station->terminal(), "-o", "60"} + arguments;
    }
    /// Waits until the file has the text.
    void await(const std::string &path, const std::string &text) const
    {
        const auto limit = steadyNow() + kPatience;
        while (contentOf(path).find(text) == std::string::npos && steadyNow() < limit)
            usleep(10000);
        EXPECT_THAT(contentOf(path), HasSubstr(text));
    }

    std::unique_ptr<Server> station{startStation({"--size", "300"})};
    TemporaryFile file{""};
};

TEST_F(LogAndAudit, OfAWatchHasItsValuesAndStatisticsWhateverIsPrinted)
{
    const Finished run = plchost(on("watch", {"4x:1:2", "-1", "--log", file.path()}));
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_THAT(run.output, HasSubstr("  4x:1:2 = 0 0  (good, "));
    const Words lines = linesOf(file.path());
    ASSERT_THAT(lines, SizeIs(3)) << contentOf(file.path());
    EXPECT_THAT(lines[0], HasSubstr("\"kind\":\"message\"")) << "what the port cannot do";
    EXPECT_THAT(lines[1], AllOf(HasSubstr("\"kind\":\"value\""), HasSubstr("\"values\":[0,0]")));
    EXPECT_THAT(lines[2], HasSubstr("\"kind\":\"statistics\""));
}

TEST_F(LogAndAudit, HaveTheFramesWhereTheyAreTraced)
{
    EXPECT_EQ(0, plchost(on("watch", {"4x:1", "-1", "-v", "--log", file.path()})).exitCode);
    EXPECT_THAT(
        contentOf(file.path()),
        AllOf(HasSubstr("\"direction\":\"sent\",\"attempt\":1,\"bytes\":\"01 03 00 01 00 01 D5 CA\"}"),
              HasSubstr("\"direction\":\"received\",\"bytes\":\"01 03 02 00 00 B8 44\"}")));
}

TEST_F(LogAndAudit, AppendToTheirFiles)
{
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(0, plchost(on("write", {"4x:1=7", "--audit", file.path()})).exitCode);
    EXPECT_THAT(endsIn(file.path()), ElementsAre("order 1 4x:1", "write 1 4x:1 done: written", "order 1 4x:1",
                                                 "write 1 4x:1 done: written"));
}

TEST_F(LogAndAudit, OfAFileThatWasMovedAwayGoOnInANewFileAtSigusr1)
{
    const std::string moved = file.path() + ".1";
    ChildProcess watch(PLC_HOST_PROGRAM, on("watch", {"4x:1", "--log", file.path()}), true);
    await(file.path(), "\"kind\":\"value\"");
    ASSERT_EQ(0, std::rename(file.path().c_str(), moved.c_str()));
    watch.signal(SIGUSR1);
    await(file.path(), "\"kind\":\"value\"");
    watch.signal(SIGINT);
    EXPECT_EQ(0, watch.waitForEnd(steadyNow() + kPatience)) << watch.errors();
    EXPECT_THAT(linesOf(file.path()).back(), HasSubstr("\"kind\":\"statistics\""));
    EXPECT_THAT(contentOf(moved), Not(HasSubstr("\"kind\":\"statistics\"")));
    unlink(moved.c_str());
}

TEST_F(LogAndAudit, OnADiskThatIsFullAreToldAndEndWithSeven)
{
    const Finished run = plchost(on("watch", {"4x:1", "-1", "-q", "--log", "/dev/full"}));
    EXPECT_EQ(7, run.exitCode);
    EXPECT_THAT(run.output, HasSubstr("  4x:1 = 0  (good, ")) << "what is printed is not harmed";
    EXPECT_THAT(run.errors,
                HasSubstr("plchost: --log: 3 lines are missing in '/dev/full': No space left on device\n"));
}

TEST_F(LogAndAudit, ThatCannotBeOpenedAreRefusedBeforeAnythingIsSent)
{
    for (const Words &words : {on("watch", {"4x:1", "--log", "/no/such/log"}),
                               on("write", {"4x:1=1", "--audit", "/no/such/audit"})}) {
        const Finished run = plchost(words);
        EXPECT_EQ(7, run.exitCode);
        EXPECT_THAT(run.errors, HasSubstr("cannot be opened: No such file or directory"));
        EXPECT_THAT(run.output, IsEmpty());
    }
    EXPECT_THAT(station->stop().errors, HasSubstr("bytes in 0,"));
}

TEST_F(LogAndAudit, SendNothingThatCannotBeNoted)
{
    const Finished run = plchost(on("write", {"4x:1=1", "4x:2=2", "--audit", "/dev/full"}));
    EXPECT_EQ(7, run.exitCode);
    EXPECT_EQ("plchost: 4x:1: not sent: --audit: '/dev/full' cannot be written: No space left on device\n",
              run.errors);
    EXPECT_THAT(station->stop().errors, HasSubstr("bytes in 0,"));
}

TEST_F(LogAndAudit, TellHowEachWriteHasEnded)
{
    EXPECT_EQ(6, plchost(on("write", {"4x:1=1", "4x:2@0=2", "4x:400=5", "--audit", file.path()})).exitCode);
    const Words lines = linesOf(file.path());
    ASSERT_THAT(lines, SizeIs(6));
    EXPECT_THAT(endsIn(file.path()),
                ElementsAre("order 1 4x:1", "order 2 4x:2@0", "order 3 4x:400", "write 1 4x:1 done: written",
                            "write 2 4x:2@0 sent: sent", "write 3 4x:400 failed: refused"));
    EXPECT_THAT(lines[0], AllOf(HasSubstr("\"port\":\"" + station->terminal() + "\""),
                                HasSubstr("\"user\":\""), HasSubstr("\"values\":[1]")));
    EXPECT_THAT(lines[5],
                AllOf(HasSubstr("\"exception_code\":2"), HasSubstr("\"reason\":\"station 1 refused")));
}

TEST_F(LogAndAudit, TellOfAWriteThatWasInterruptedWhetherItWasSent)
{
    station->process().signal(SIGSTOP);
    // The first frame is that of the write.
    ChildProcess write(PLC_HOST_PROGRAM,
                       on("write", {"-v", "4x:1=1", "4x:2=2", "--no-echo-check", "--audit", file.path()}),
                       true);
    awaitError(write, " -> ");
    write.signal(SIGINT);
    EXPECT_EQ(2, write.waitForEnd(steadyNow() + kPatience)) << write.errors();
    station->process().signal(SIGCONT);
    EXPECT_EQ("4x:1 = 1  (sent, not confirmed)\n4x:2 = 2  (not sent)\n", write.output());
    EXPECT_THAT(write.errors(), AllOf(HasSubstr("plchost: 4x:1: sent to station 1 and not confirmed"),
                                      HasSubstr("plchost: 4x:2: not sent: ")));
    EXPECT_THAT(endsIn(file.path()),
                ElementsAre("order 1 4x:1", "order 2 4x:2", "write 1 4x:1 failed: sent, not confirmed",
                            "write 2 4x:2 failed: not sent"));
}

#if !defined(__SANITIZE_THREAD__) // which writes a file itself before the program begins
TEST_F(LogAndAudit, TellOfWritesThatWereDoneBeforeTheAuditHadNoRoom)
{
    const auto small = startStation({"--size", "102", "-q"});
    const TemporaryFile values("name,station,value\n4x:100,1,1\n4x:101,1,2\n4x:102,1,3\n");
    const Words write{PLC_HOST_PROGRAM, "write",       "-p",     small->terminal(), "-o", "60",
                      "--from",         values.path(), "--audit"};
    const TemporaryFile whole("");
    ChildProcess first("/bin/sh", Words{"-c", "exec \"$0\" \"$@\""} + write + Words{whole.path()}, true);
    ASSERT_EQ(6, first.waitForEnd(steadyNow() + kPatience)) << first.errors();
    const Words lines = linesOf(whole.path());
    ASSERT_THAT(lines, SizeIs(8)) << "the block and its values, each with its end";
    // Room for the block, its end, the order of the first value, and half of the next.
    const std::size_t room = lines[0].size() + lines[1].size() + lines[2].size() + lines[3].size() / 2;
    constexpr std::size_t kLimit = 8 * 512;
    std::ofstream(file.path()) << std::string(kLimit - room - 1, ' ') << '\n';
    ChildProcess second("/bin/sh",
                        Words{"-c", "ulimit -f 8; exec \"$0\" \"$@\""} + write + Words{file.path()}, true);
    EXPECT_EQ(7, second.waitForEnd(steadyNow() + kPatience));
    EXPECT_EQ("4x:100@1 = 1  (written)\n4x:101@1 = 2  (not sent)\n4x:102@1 = 3  (not sent)\n",
              second.output());
    EXPECT_THAT(second.errors(), HasSubstr("plchost: 4x:101@1: not sent: --audit: '" + file.path() +
                                           "' cannot be written: File too large\n"));
}
#endif

TEST_F(LogAndAudit, IntoAPipeThatNobodyEmptiesEndWithTheFirstInterruption)
{
    const FullPipe pipe;
    ChildProcess write(PLC_HOST_PROGRAM, on("write", {"-v", "4x:1=1", "--audit", pipe.path()}), true);
    awaitError(write, "plchost: "); // what the port cannot do
    write.signal(SIGINT);
    EXPECT_EQ(7, write.waitForEnd(steadyNow() + kPatience));
    EXPECT_THAT(write.errors(), HasSubstr("plchost: 4x:1: not sent: --audit: '" + pipe.path() +
                                          "' cannot be written: nobody has read the pipe before"));
}

TEST_F(LogAndAudit, OfARunHaveItsWrites)
{
    const TemporaryFile project(R"({"link": {"replyTimeoutMs": 60000}, "variables": [
        {"name": "Speed", "area": "4x", "address": "1"}, {"name": "Far", "area": "4x", "address": "400"}]})");
    const TemporaryFile log("");
    RunningProject run({project.path(), "-p", station->terminal(), "--every", "0.2", "--log", log.path(),
                        "--audit", file.path()});
    run.say("Speed = 5");
    EXPECT_EQ("done", word(run.awaitWrite("Speed"), "result"));
    run.say("Far = 5");
    EXPECT_EQ(2.0, run.awaitWrite("Far").value("exception_code").toDouble());
    EXPECT_EQ(6, run.end());
    EXPECT_THAT(endsIn(file.path()), ElementsAre("order 1 Speed", "write 1 Speed done: written",
                                                 "order 2 Far", "write 2 Far failed: refused"));
    EXPECT_THAT(contentOf(log.path()), AllOf(HasSubstr("\"kind\":\"write\""), HasSubstr("\"kind\":\"value\""),
                                             HasSubstr("\"kind\":\"statistics\"")));
}

TEST_F(LogAndAudit, OfARunThatCannotBeNotedKeepWritesBack)
{
    const TemporaryFile project(
        R"({"link": {"replyTimeoutMs": 60000}, "variables": [{"name": "Speed", "area": "4x", "address": "1"}]})");
    RunningProject run({project.path(), "-p", station->terminal(), "--every", "0.2", "--audit", "/dev/full"});
    run.say("Speed = 5");
    EXPECT_EQ(7, run.end());
    EXPECT_THAT(run.process().errors(),
                HasSubstr("plchost: input line 1: not sent: --audit: '/dev/full' cannot be written"));
    EXPECT_EQ("4x:1 = 0\n", plchost(on("read", {"4x:1"})).output);
}

TEST_F(LogAndAudit, IntoAPipeThatNobodyEmptiesNeverHoldTheLineUp)
{
    const std::string pipe = file.path() + ".pipe";
    ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
    const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    const TemporaryFile project(
        R"({"link": {"replyTimeoutMs": 60000}, "variables": [{"name": "Speed", "area": "4x", "address": "1"}]})");
    // Each scan has three lines of trace, together far more than a pipe holds.
    const Finished run =
        plchost({"run", project.path(), "-p", station->terminal(), "--scans", "500", "-v", "--log", pipe});
    EXPECT_EQ(7, run.exitCode);
    EXPECT_THAT(run.errors, AllOf(HasSubstr("\nfull scans 5"),
                                  HasSubstr(" missing in '" + pipe +
                                            "': it could not be written as fast as they came\n")));
    close(reader);
    unlink(pipe.c_str());
}

} // namespace
