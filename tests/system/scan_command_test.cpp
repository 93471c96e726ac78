// plchost scan as people run it, on stations that are ours and on others.

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

#include "programs.h"

namespace {

using namespace plc::test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

/// A wait that a busy machine does not use up: only those stations are asked that are there.
const Words kPatient{"-b", "19200", "-P", "even", "--wait", "1s", "--listen", "0"};

Finished scan(const Server &server, const Words &arguments)
{
    return plchost(Words{"scan", "-p", server.terminal()} + arguments);
}

/// "5 good" for each line of CSV.
Words finds(const Finished &run)
{
    Words all;
    for (const std::string &line : run.lines()) {
        std::istringstream cells(line);
        std::string cell;
        Words words;
        while (std::getline(cells, cell, ','))
            words.push_back(cell);
        if (words.front() != "station")
            all.push_back(words.at(0) + " " + words.at(4));
    }
    return all;
}

TEST(Scan, FindsStationsOfPlcstation)
{
    const auto station = startStation({"-q", "-a", "5,17"});
    const Finished run = scan(*station, kPatient + Words{"-a", "5,17", "--format", "csv"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_THAT(finds(run), ElementsAre("5 good", "17 good"));
    EXPECT_THAT(run.errors, HasSubstr("plchost: station 17 answers at 19200 8E1\n"));
}

TEST(Scan, FindsAStationOfLibmodbus)
{
    Server station(PLC_LIBMODBUS_STATION, {});
    const Finished run = scan(station, kPatient + Words{"-a", "17", "--format", "csv"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_THAT(finds(run), ElementsAre("17 good"));
    EXPECT_THAT(station.stop().lines(), Not(::testing::IsEmpty()));
}

TEST(Scan, TakesAnExceptionOfLibmodbusForAReply)
{
    Server station(PLC_LIBMODBUS_STATION, {});
    const Finished run =
        scan(station, kPatient + Words{"-a", "17", "--ask", "4x:5000", "--format", "ndjson"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_THAT(run.output, HasSubstr("\"state\":\"good\""));
    EXPECT_THAT(run.output, HasSubstr("\"exception_code\":2,\"exception_name\":\"illegal data address\""));
}

TEST(Scan, FindsStationsOfPymodbus)
{
    Server stations("/usr/bin/python3", {PLC_PYMODBUS_STATIONS, "3", "200", "247"});
    const Finished run = scan(stations, kPatient + Words{"-a", "3,200,247", "--format", "csv"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_THAT(finds(run), ElementsAre("3 good", "200 good", "247 good"));
}

TEST(Scan, NothingFoundIsExitCode2)
{
    const auto station = startStation({"-q", "-a", "5"});
    const Finished run = scan(*station, {"-a", "6", "-b", "19200", "-P", "even", "--listen", "0"});
    EXPECT_EQ(2, run.exitCode);
    EXPECT_EQ("", run.output);
    EXPECT_THAT(run.errors, HasSubstr("no station has answered"));
}

TEST(Scan, APseudoTerminalHasOneSettingForAll)
{
    const auto station = startStation({"-q", "-a", "5"});
    const Finished run = scan(*station, {"-a", "5", "--wait", "1s", "--listen", "0", "--format", "csv"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_THAT(finds(run), ElementsAre("5 good"));
    EXPECT_THAT(run.errors, HasSubstr("is a pseudo-terminal, which has neither rate nor parity"));
}

TEST(Scan, ABadCrcIsAStationWithABadLink)
{
    const auto station = startStation({"-q", "-a", "5", "--bad-crc", "100"});
    const Finished run = scan(*station, kPatient + Words{"-a", "5", "--format", "csv"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_THAT(finds(run), ElementsAre("5 bad link"));
}

TEST(Scan, WritesAProjectThatRuns)
{
    const auto station = startStation({"-q", "-a", "5,17"});
    const std::string file = ::testing::TempDir() + "found.json";
    std::remove(file.c_str());
    const Finished run = scan(*station, kPatient + Words{"-a", "5,17", "--write-project", file});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_THAT(run.output, HasSubstr("\n17       19200 8E1  "));
    std::ifstream stream(file);
    std::string text((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    const std::string::size_type port = text.find("\"port\"");
    ASSERT_NE(std::string::npos, port) << text;
    const TemporaryFile patient(text.insert(port, "\"replyTimeoutMs\": 60000, "));
    const Finished played = plchost({"run", patient.path(), "--scans", "1", "-q"});
    EXPECT_EQ(0, played.exitCode) << played.errors;
    EXPECT_THAT(played.output, HasSubstr("Station 17 = "));
    const Finished again = scan(*station, kPatient + Words{"-a", "5", "--write-project", file});
    EXPECT_EQ(1, again.exitCode);
    EXPECT_THAT(again.errors, HasSubstr("is there already"));
    std::remove(file.c_str());
}

/// A pseudo-terminal on which somebody else talks.
class TalkedLine
{
public:
    TalkedLine()
    {
        char name[128];
        EXPECT_EQ(0, openpty(&master_, &slave_, name, nullptr, nullptr));
        termios mode{};
        tcgetattr(slave_, &mode);
        cfmakeraw(&mode);
        tcsetattr(slave_, TCSANOW, &mode);
        fcntl(master_, F_SETFL, O_NONBLOCK);
        terminal = name;
    }
    ~TalkedLine()
    {
        close(master_);
        close(slave_);
    }
    TalkedLine(const TalkedLine &) = delete;
    TalkedLine &operator=(const TalkedLine &) = delete;

    /// Says it again and again until the program has ended.
    int talk(plc::host::ChildProcess *process, const std::string &bytes) const
    {
        const auto patience = plc::runtime::steadyNow() + kPatience;
        while (plc::runtime::steadyNow() < patience) {
            if (write(master_, bytes.data(), bytes.size()) < 0 && errno != EAGAIN)
                return -1;
            const auto code = process->waitForEnd(plc::runtime::steadyNow() + std::chrono::milliseconds(20));
            if (code)
                return *code;
        }
        return -1;
    }
    /// Says it without a pause until the program has ended: whenever that looks, more is there.
    int babble(plc::host::ChildProcess *process, const std::string &bytes) const
    {
        std::atomic<bool> isOver{false};
        std::thread speaker([&] {
            while (!isOver) {
                // A terminal that is full takes nothing until the program has read.
                pollfd room{master_, POLLOUT, 0};
                if (write(master_, bytes.data(), bytes.size()) < 0)
                    poll(&room, 1, 1);
            }
        });
        const auto code = process->waitForEnd(plc::runtime::steadyNow() + kPatience);
        isOver = true;
        speaker.join();
        return code.value_or(-1);
    }
    /// Whether the program has sent anything.
    bool hasHeard() const
    {
        char byte = 0;
        return read(master_, &byte, 1) == 1;
    }

    std::string terminal;

private:
    int master_ = -1;
    int slave_ = -1;
};

TEST(Scan, ALineInUseIsExitCode8AndNothingIsSent)
{
    const TalkedLine line;
    plc::host::ChildProcess process(
        PLC_HOST_PROGRAM,
        {"scan", "-p", line.terminal, "-b", "19200", "-P", "even", "--listen", "3s", "--format", "csv"},
        true);
    const std::string exchange("\x05\x03\x00\x00\x00\x01\x85\x8E\x05\x03\x02\x12\x34\x44\xF3", 15);
    EXPECT_EQ(8, line.talk(&process, exchange));
    EXPECT_FALSE(line.hasHeard());
    EXPECT_THAT(process.output(), HasSubstr("\n5,19200,even,1,heard,"));
    EXPECT_THAT(process.errors(), HasSubstr("the line is in use: "));
    EXPECT_THAT(process.errors(), HasSubstr("nothing was sent, --anyway asks all the same"));
}

TEST(Scan, ABabblingDeviceIsToldAndNothingIsFound)
{
    const TalkedLine line;
    plc::host::ChildProcess process(
        PLC_HOST_PROGRAM,
        {"scan", "-p", line.terminal, "-a", "1-5", "-b", "1200", "-P", "even", "--listen", "3s", "--anyway"},
        true);
    EXPECT_EQ(2, line.babble(&process, "babblebabblebabble"));
    EXPECT_EQ("", process.output());
    EXPECT_THAT(process.errors(), HasSubstr("the line is in use: "));
    EXPECT_THAT(process.errors(), HasSubstr("bytes that are no frame"));
}

TEST(Scan, KeepsACapture)
{
    const auto station = startStation({"-q", "-a", "5"});
    const std::string file = ::testing::TempDir() + "scan.pcapng";
    const Finished run = scan(*station, kPatient + Words{"-a", "5", "--capture", file});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    std::ifstream stream(file, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    // The station is asked twice.
    const std::string request("\x05\x03\x00\x00\x00\x01\x85\x8E", 8);
    const std::size_t first = bytes.find(request);
    ASSERT_NE(std::string::npos, first);
    EXPECT_NE(std::string::npos, bytes.find(request, first + 1));
    EXPECT_NE(std::string::npos, bytes.find(std::string("\x05\x03\x02", 3)));
    std::remove(file.c_str());
}

TEST(Scan, AProjectThatCannotBeWrittenIsExitCode7)
{
    const auto station = startStation({"-q", "-a", "5"});
    const std::string longName = ::testing::TempDir() + std::string(300, 'x');
    const Finished run = scan(*station, kPatient + Words{"-a", "5", "--write-project", longName});
    EXPECT_EQ(7, run.exitCode);
    EXPECT_THAT(run.output, HasSubstr("good"));
    EXPECT_THAT(run.errors, HasSubstr("' cannot be written: File name too long"));
}

TEST(Scan, CtrlCKeepsTheFinds)
{
    const auto station = startStation({"-q", "-a", "5"});
    plc::host::ChildProcess process(PLC_HOST_PROGRAM,
                                    {"scan", "-p", station->terminal(), "-a", "5-247", "-b", "19200", "-P",
                                     "even", "--wait", "1s", "--listen", "0", "--format", "csv"},
                                    true);
    const auto patience = plc::runtime::steadyNow() + kPatience;
    while (process.errors().find("station 5 answers") == std::string::npos &&
           plc::runtime::steadyNow() < patience)
        process.waitForEnd(plc::runtime::steadyNow() + std::chrono::milliseconds(20));
    process.signal(SIGINT);
    EXPECT_EQ(0, process.waitForEnd(patience));
    EXPECT_THAT(process.output(), HasSubstr("\n5,19200,even,1,good,"));
}

} // namespace
