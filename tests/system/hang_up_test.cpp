// How the programs end when their terminal goes.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

#include "packaging_line.h"

namespace {

using namespace plc::test;
using plc::host::ChildProcess;
using plc::runtime::steadyNow;
using ::testing::HasSubstr;

bool exists(const std::string &path)
{
    struct stat info
    {};
    return lstat(path.c_str(), &info) == 0;
}

/// Waits until the program catches SIGTERM; before, that ends every program.
void awaitCatching(const ChildProcess &process)
{
    const auto limit = steadyNow() + kPatience;
    while (steadyNow() < limit) {
        std::ifstream status("/proc/" + std::to_string(process.pid()) + "/status");
        for (std::string line; std::getline(status, line);) {
            if (line.rfind("SigCgt:", 0) == 0 &&
                (std::stoull(line.substr(7), nullptr, 16) >> (SIGTERM - 1) & 1) != 0)
                return;
        }
        usleep(1000);
    }
    ADD_FAILURE() << "the program never catches SIGTERM";
}

/// A pipe with a name, at whose other end nobody is. Gone with its object.
class LonelyPipe
{
public:
    LonelyPipe() { EXPECT_EQ(0, mkfifo(path.c_str(), 0600)); }
    ~LonelyPipe() { unlink(path.c_str()); }
    LonelyPipe(const LonelyPipe &) = delete;
    LonelyPipe &operator=(const LonelyPipe &) = delete;

    const std::string path = ::testing::TempDir() + "lonely_" + std::to_string(getpid());
};

class HangUp : public ::testing::Test
{
protected:
    ~HangUp() override { unlink(port.c_str()); }

    void serve() { station = startStation({"-a", "1", "--link", port, "-q"}); }
    Words watchWords() const { return {"watch", "-p", port, "4x:0"}; }

    static void awaitGood(ChildProcess &watch)
    {
        const auto limit = steadyNow() + kPatience;
        while (const auto line = watch.readLine(limit)) {
            if (line->find("(good, ") != std::string::npos)
                return;
        }
        ADD_FAILURE() << "no value comes; standard error: " << watch.errors();
    }

    const std::string port = ::testing::TempDir() + "hang_up_" + std::to_string(getpid());
    std::unique_ptr<Server> station;
};

TEST_F(HangUp, EndsThePrograms)
{
    serve();
    ChildProcess watch(PLC_HOST_PROGRAM, watchWords(), true);
    awaitGood(watch);
    // A shell passes the hang-up on, and the system tells of it as well.
    for (int i = 0; i < 20; ++i) {
        watch.signal(SIGHUP);
        usleep(200);
    }
    EXPECT_EQ(0, watch.waitForEnd(steadyNow() + kPatience));
    EXPECT_THAT(watch.errors(), HasSubstr("requests per second"));

    const TemporaryFile project(R"({"variables": [{"name": "A", "area": "4x", "address": "7"}]})");
    RunningProject run({project.path(), "-p", port});
    run.say("A = 7");
    EXPECT_EQ("done", word(run.awaitWrite("A"), "result"));
    run.process().signal(SIGHUP);
    run.await([](const QJsonObject &line) { return line.contains("variable"); }); // only at the end
    run.await([](const QJsonObject &line) { return isA("statistics", line); });
    EXPECT_EQ(0, run.process().waitForEnd(steadyNow() + kPatience));

    ChildProcess other(PLC_STATION_PROGRAM, {"--link", port + "_other"}, true);
    ASSERT_TRUE(other.readLine(steadyNow() + kPatience));
    ASSERT_TRUE(exists(port + "_other"));
    other.signal(SIGHUP);
    EXPECT_EQ(0, other.waitForEnd(steadyNow() + kPatience));
    EXPECT_THAT(other.errors(), HasSubstr("answered 0"));
    EXPECT_FALSE(exists(port + "_other"));
}

// As nohup starts them.
TEST_F(HangUp, EndsNoProgramThatIsToOutliveItsTerminal)
{
    const auto before = std::signal(SIGHUP, SIG_IGN);
    serve();
    ChildProcess watch(PLC_HOST_PROGRAM, watchWords(), true);
    std::signal(SIGHUP, before);
    awaitGood(watch);
    watch.signal(SIGHUP);
    station->process().signal(SIGHUP);
    for (int i = 0; i < 2; ++i)
        awaitGood(watch);
    watch.signal(SIGTERM);
    EXPECT_EQ(0, watch.waitForEnd(steadyNow() + kPatience)) << watch.errors();
    EXPECT_EQ(0, station->stop().exitCode);
    EXPECT_FALSE(exists(port));
}

TEST(FirstSignal, EndsListeningToAPipeWithoutAWriter)
{
    const LonelyPipe pipe;
    ChildProcess listen(PLC_HOST_PROGRAM, {"listen", pipe.path}, true);
    awaitCatching(listen);
    listen.signal(SIGTERM);
    EXPECT_EQ(2, listen.waitForEnd(steadyNow() + kPatience));
    EXPECT_EQ("", listen.errors());
}

TEST(FirstSignal, EndsListeningToAPipeWhoseWriterIsSilent)
{
    const LonelyPipe pipe;
    const int writer = open(pipe.path.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_LE(0, writer);
    ChildProcess listen(PLC_HOST_PROGRAM, {"listen", pipe.path}, true);
    awaitCatching(listen);
    listen.signal(SIGTERM);
    EXPECT_EQ(2, listen.waitForEnd(steadyNow() + kPatience));
    EXPECT_EQ("", listen.errors());
    close(writer);
}

TEST(FirstSignal, EndsWaitingForTheReaderOfACapture)
{
    const LonelyPipe pipe;
    const auto station = startStation({"-q"});
    ChildProcess listen(PLC_HOST_PROGRAM, {"listen", "-p", station->terminal(), "--capture", pipe.path},
                        true);
    awaitCatching(listen);
    listen.signal(SIGTERM);
    EXPECT_EQ(7, listen.waitForEnd(steadyNow() + kPatience));
    EXPECT_THAT(listen.errors(), HasSubstr("' cannot be opened: nobody reads it"));
}

TEST(ListeningToAPipe, WaitsForItsFirstWriter)
{
    const LonelyPipe pipe;
    ChildProcess listen(PLC_HOST_PROGRAM, {"listen", pipe.path}, true);
    std::ofstream(pipe.path, std::ios::binary) << "no capture";
    EXPECT_EQ(1, listen.waitForEnd(steadyNow() + kPatience));
    EXPECT_THAT(listen.errors(), HasSubstr(": byte 0: this is no pcapng"));
}

} // namespace
