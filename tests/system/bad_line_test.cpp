// plchost on lines that lose, spoil and repeat: what is reported as written stands in the station.

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <set>
#include <sstream>
#include <thread>

#include "programs.h"

namespace {

using namespace plc::test;
using ::testing::HasSubstr;
using ::testing::Not;

/// A pseudo-terminal whose other end is the test.
class TestLine
{
public:
    TestLine() : master_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK))
    {
        if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0)
            throw std::runtime_error("no pseudo-terminal");
        path_ = ptsname(master_);
        // Kept open, so that the line outlives each run of plchost.
        slave_ = open(path_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        makeRaw(slave_);
    }
    virtual ~TestLine()
    {
        close(slave_);
        close(master_);
    }
    TestLine(const TestLine &) = delete;
    TestLine &operator=(const TestLine &) = delete;

    const std::string &path() const { return path_; }
    int master() const { return master_; }

    static void makeRaw(int descriptor)
    {
        termios mode{};
        ASSERT_EQ(0, tcgetattr(descriptor, &mode));
        cfmakeraw(&mode);
        ASSERT_EQ(0, tcsetattr(descriptor, TCSANOW, &mode));
    }

private:
    int master_;
    int slave_ = -1;
    std::string path_;
};

/// Makes noise all the time.
class NoisyLine : public TestLine
{
public:
    plc::runtime::Time longestPause() const { return longestPause_; }
    ~NoisyLine() override
    {
        over_ = true;
        thread_.join();
    }

private:
    void babble()
    {
        plc::runtime::Time before = plc::runtime::steadyNow();
        while (!over_) {
            // A full line is as noisy as one can be.
            [[maybe_unused]] const ssize_t written = write(master(), "\x55", 1);
            const plc::runtime::Time now = plc::runtime::steadyNow();
            longestPause_ = std::max(longestPause_.load(), now - before);
            before = now;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }

    std::atomic<bool> over_{false};
    std::atomic<plc::runtime::Time> longestPause_{plc::runtime::Time{}};
    std::thread thread_{[this] { babble(); }};
};

/// Hands back what is sent, and carries it to a station and the answer back, where there is one.
class EchoingLine : public TestLine
{
public:
    explicit EchoingLine(const std::string &station = std::string())
    {
        if (!station.empty())
            station_ = open(station.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
        thread_ = std::thread([this] { carry(); });
    }
    ~EchoingLine() override
    {
        over_ = true;
        thread_.join();
        if (station_ >= 0)
            close(station_);
    }

private:
    static void pass(int from, int to, int copyTo)
    {
        char bytes[512];
        const ssize_t length = read(from, bytes, sizeof bytes);
        if (length <= 0)
            return;
        const auto size = static_cast<std::size_t>(length);
        EXPECT_EQ(length, write(to, bytes, size));
        if (copyTo >= 0) {
            EXPECT_EQ(length, write(copyTo, bytes, size));
        }
    }

    void carry()
    {
        while (!over_) {
            pollfd ends[] = {{master(), POLLIN, 0}, {station_, POLLIN, 0}};
            if (poll(ends, 2, 20) <= 0)
                continue;
            if ((ends[0].revents & POLLIN) != 0)
                pass(master(), master(), station_);
            if ((ends[1].revents & POLLIN) != 0)
                pass(station_, master(), -1);
        }
    }

    int station_ = -1;
    std::atomic<bool> over_{false};
    std::thread thread_;
};

// At 300 baud a silence takes 128 ms, so that no gap in the noise passes for one.
const Words kSlow{"-b", "300", "-o", "0.5", "--retries", "1"};

/// Runs plchost with a port that never falls silent. A machine that is too busy for the noise makes a
/// silence, and such a run tells nothing.
Finished plchostInNoise(const std::string &command, const Words &more)
{
    for (int run = 0;; ++run) {
        const NoisyLine line;
        Finished finished = plchost(Words{command, "-p", line.path()} + more + kSlow);
        if (line.longestPause() < std::chrono::milliseconds(100) || run == 20)
            return finished;
    }
}

TEST(NoisyLine, LetsNoRequestOutAndNoneIsReportedAsWritten)
{
    const Finished run = plchostInNoise("write", {"4x:100@0=1", "4x:101=1"});
    EXPECT_EQ(4, run.exitCode) << run.errors;
    EXPECT_EQ("4x:100@0 = 1  (line busy)\n4x:101 = 1  (line busy)\n", run.output);
    EXPECT_THAT(run.errors, HasSubstr("4x:100@0: the line never fell silent"));
    EXPECT_THAT(run.errors, HasSubstr("noise or a second master"));
}

TEST(NoisyLine, IsNamedInTheTrace)
{
    const Finished run = plchostInNoise("read", {"-v", "4x:100"});
    EXPECT_EQ(4, run.exitCode) << run.errors;
    EXPECT_THAT(run.errors, HasSubstr("not sent: the line never fell silent"));
    EXPECT_THAT(run.errors, Not(HasSubstr(" -> ")));
}

TEST(EchoingLine, WithoutAStationGivesNoValues)
{
    // The request for 24 coils at 768 has the form of its reply. One that comes no sooner than a reply could
    // is taken for a reply; a machine that is too busy to hand it back at once tells nothing.
    const auto read = [] {
        const EchoingLine line;
        return plchost({"read", "-p", line.path(), "0x:768:24", "4x:100", "-o", "0.3", "--retries", "0"});
    };
    Finished run = read();
    for (int again = 0; again < 20 && run.output.find("0x:768:24 = 0 0") == 0; ++again)
        run = read();
    EXPECT_EQ(4, run.exitCode) << run.errors;
    EXPECT_EQ("0x:768:24 = ?  (bad reply)\n4x:100 = ?  (bad reply)\n", run.output);
    EXPECT_THAT(run.errors,
                HasSubstr("nothing but the request itself; the line hands back what is sent: add --echo"));
}

TEST(EchoingLine, WithoutAStationTakesNoWriteOnceTheEchoIsTakenOff)
{
    const EchoingLine line;
    const Words words{"write", "-p", line.path(), "4x:100=1", "-o", "0.3", "--retries", "0"};
    EXPECT_EQ(2, plchost(words + Words{"--echo"}).exitCode);
    EXPECT_EQ(4, plchost({"write", "-p", line.path(), "4x:100=1,2", "-o", "0.3", "--retries", "0"}).exitCode);
}

TEST(EchoingLine, WithoutAStationTakesNoWriteForDone)
{
    const EchoingLine line;
    const Words words{"write", "-p", line.path(), "4x:100=1", "0x:7=1", "-o", "0.3", "--retries", "0"};
    const Finished run = plchost(words);
    EXPECT_EQ(4, run.exitCode) << run.output;
    EXPECT_EQ("4x:100 = 1  (not sent)\n0x:7 = 1  (not sent)\n", run.output);
    EXPECT_THAT(run.errors,
                HasSubstr("nothing but the echo came back, and the echo of a write would pass for its "
                          "reply; the line hands back what is sent: add --echo"));
}

TEST(EchoingLine, WithoutAStationFailsVerificationEvenWithoutTheCheck)
{
    const EchoingLine line;
    const Words words{"write", "-p",        line.path(), "4x:100=1",       "-o",
                      "0.3",   "--retries", "0",         "--no-echo-check"};
    const Finished run = plchost(words + Words{"--verify"});
    EXPECT_EQ(4, run.exitCode) << run.output;
    EXPECT_THAT(run.output, HasSubstr("written, not read back"));
    EXPECT_EQ("4x:100 = 1  (written)\n", plchost(words).output) << "why there is a check";
}

TEST(EchoingLine, WithAStationWorksWithTheOption)
{
    const auto station = startStation({});
    const EchoingLine line(station->terminal());
    const Finished run = plchost({"write", "-p", line.path(), "--echo", "4x:100=7", "4x:110=1,2,3",
                                  "0x:768=1,0,1", "0x:800=1", "--verify"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ(4u, run.lines().size());
}

// --- every outcome is true

struct OutcomeCase
{
    const char *name;
    Words station;
    Words host;
    int fewestFailures;
    int mostFailures; ///< of 100
};

void PrintTo(const OutcomeCase &fault, std::ostream *out)
{
    *out << fault.name;
}

class OutcomesUnderFaults : public ::testing::TestWithParam<OutcomeCase>
{};

TEST_P(OutcomesUnderFaults, AreOneAWriteAndTrue)
{
    constexpr int kWrites = 100;
    const auto station =
        startStation(Words{"--seed", "5", "--late-by", "300", "--cut-pause", "20"} + GetParam().station);
    const Words common = Words{"-p", station->terminal(), "-b", "115200", "-o", "0.2"} + GetParam().host;
    Words writes{"write", "--retries", "0"};
    for (int i = 0; i < kWrites; ++i)
        writes.push_back("4x:" + std::to_string(600 + i) + "=" + std::to_string(1000 + i));
    const Finished written = plchost(writes + common);
    const Words lines = written.lines();
    ASSERT_EQ(static_cast<std::size_t>(kWrites), lines.size()) << written.output;

    const Finished read = plchost(Words{"read", "4x:600:100", "--retries", "100"} + common);
    ASSERT_EQ(0, read.exitCode) << read.errors;
    std::istringstream values(read.output.substr(read.output.find('=') + 1));
    int failures = 0;
    for (int i = 0; i < kWrites; ++i) {
        int found = -1;
        ASSERT_TRUE(values >> found);
        const std::string head = "4x:" + std::to_string(600 + i) + " = " + std::to_string(1000 + i) + "  (";
        const std::string &line = lines[static_cast<std::size_t>(i)];
        EXPECT_EQ(0u, line.find(head)) << line;
        if (line == head + "written)") {
            EXPECT_EQ(1000 + i, found) << line;
        } else {
            ++failures;
        }
    }
    EXPECT_GE(failures, GetParam().fewestFailures);
    EXPECT_LE(failures, GetParam().mostFailures) << written.errors;
    EXPECT_EQ(failures == 0 ? 0 : 6, written.exitCode);
}

const Words kRelayStation{"--relay"};
const Words kRelayHost{"--link-mode", "1"};

// A fault that takes the reply makes a failure each time, the others need not make one.
INSTANTIATE_TEST_SUITE_P(
    Faults, OutcomesUnderFaults,
    ::testing::Values(
        OutcomeCase{"Drop", {"--drop", "10"}, {}, 2, 40}, OutcomeCase{"Cut", {"--cut", "20"}, {}, 0, 40},
        OutcomeCase{"CutForever", {"--cut-forever", "10"}, {}, 2, 40},
        OutcomeCase{"BadCrc", {"--bad-crc", "10"}, {}, 2, 40},
        OutcomeCase{"SwapCrc", {"--swap-crc", "10"}, {}, 2, 40},
        OutcomeCase{"NoiseBefore", {"--noise-before", "30"}, {}, 0, 40},
        OutcomeCase{"NoiseAfter", {"--noise-after", "30"}, {}, 0, 40},
        OutcomeCase{"Foreign", {"--foreign", "10"}, {}, 2, 40},
        OutcomeCase{"Exception", {"--exception", "10"}, {}, 2, 40},
        OutcomeCase{"Twice", {"--twice", "30"}, {}, 0, 40}, OutcomeCase{"Late", {"--late", "10"}, {}, 2, 40},
        OutcomeCase{"RelayDrop", kRelayStation + Words{"--drop", "10"}, kRelayHost, 2, 40},
        OutcomeCase{"RelayForeign", kRelayStation + Words{"--foreign", "10"}, kRelayHost, 2, 40},
        OutcomeCase{"RelayException", kRelayStation + Words{"--exception", "10"}, kRelayHost, 2, 40},
        OutcomeCase{"RelayCutForever", kRelayStation + Words{"--cut-forever", "10"}, kRelayHost, 2, 40},
        OutcomeCase{"RelayLate", kRelayStation + Words{"--late", "10"}, kRelayHost, 2, 40},
        OutcomeCase{"RelaySwapCrc", kRelayStation + Words{"--swap-crc", "10"}, kRelayHost, 2, 40}),
    [](const auto &test) { return test.param.name; });

} // namespace
