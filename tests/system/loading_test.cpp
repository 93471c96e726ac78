// Files that are read before anything else happens: how large they may be, how long they take, and that a
// signal ends it all.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <functional>
#include <optional>

#include "programs.h"

namespace {

using namespace plc::test;
using plc::host::ChildProcess;
using plc::runtime::steadyNow;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr int kSignalBase = 128;

/// A pipe with a name, gone with its object.
class Fifo
{
public:
    explicit Fifo(const std::string &name) : path_(::testing::TempDir() + name + std::to_string(getpid()))
    {
        if (mkfifo(path_.c_str(), 0600) != 0)
            ADD_FAILURE() << "no pipe " << path_;
    }
    ~Fifo() { unlink(path_.c_str()); }
    Fifo(const Fifo &) = delete;
    Fifo &operator=(const Fifo &) = delete;
    const std::string &path() const { return path_; }

    /// Opens it for writing, which waits until the program has begun to read.
    int open() const { return ::open(path_.c_str(), O_WRONLY); }

private:
    std::string path_;
};

class Interrupted : public ::testing::TestWithParam<int>
{};

// The program has the file open, and waits for more of it.
TEST_P(Interrupted, EndsEveryCommandThatReadsAFile)
{
    const Fifo fifo("loading_");
    const Words commands[] = {{"plan", fifo.path()},
                              {"run", fifo.path()},
                              {"project", "to-csv", fifo.path()},
                              {"project", "from-csv", fifo.path()},
                              {"read", "--project", fifo.path(), "A"},
                              {"watch", "--project", fifo.path(), "A"},
                              {"write", "--project", fifo.path(), "A=1"},
                              {"write", "-p", "x", "--from", fifo.path()}};
    for (const Words &words : commands) {
        ChildProcess process(PLC_HOST_PROGRAM, words, true);
        const int end = fifo.open();
        process.signal(GetParam());
        EXPECT_EQ(kSignalBase + GetParam(), process.waitForEnd(steadyNow() + kPatience)) << words[0];
        EXPECT_EQ("", process.output() + process.errors());
        close(end);
    }
}

INSTANTIATE_TEST_SUITE_P(By, Interrupted, ::testing::Values(SIGINT, SIGTERM, SIGHUP));

void expectMistake(const Finished &run, const std::string &said)
{
    EXPECT_EQ(1, run.exitCode);
    EXPECT_THAT(run.output, IsEmpty());
    EXPECT_THAT(run.errors, HasSubstr(said));
    EXPECT_EQ(run.errors.size() - 1, run.errors.find('\n')) << "not one line";
}

TEST(Files, ThatNeverEndAreGivenUp)
{
    expectMistake(plchost({"plan", "/dev/zero"}),
                  "plchost: '/dev/zero' is larger than 32 MiB, and no larger file is read");
    expectMistake(plchost({"project", "from-csv", "/dev/zero"}), "'/dev/zero' is larger than 32 MiB");
    expectMistake(plchost({"write", "-p", "x", "--from", "/dev/zero"}), "'/dev/zero' is larger than 32 MiB");
}

/// A project with so many variables.
std::string projectOf(int variables, const char *separator)
{
    std::string text = "{\"variables\": [";
    for (int i = 0; i < variables; ++i)
        text += std::string(i > 0 ? "," : "") + separator + "{\"name\": \"Part." + std::to_string(i) +
                "\", \"area\": \"4x\", \"address\": " + std::to_string(i % 65536) +
                ", \"station\": " + std::to_string(1 + i / 65536) + ", \"unit\": \"mm\"}";
    return text + "]}";
}

TEST(Projects, MayHaveAHundredThousandVariablesAndNoMore)
{
    const TemporaryFile largest(projectOf(100000, "\n"));
    const Finished run = plchost({"project", "to-csv", largest.path()});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ(100001u, run.lines().size());
    const TemporaryFile tooLarge(projectOf(100001, "\n"));
    expectMistake(plchost({"plan", tooLarge.path()}),
                  "line 1, column 15: the project has 100001 variables; at most 100000 are possible");
}

/// Instructions that a command takes; 0 where they cannot be counted.
double instructionsOf(const Words &command)
{
    const TemporaryFile counts("");
    ChildProcess process(
        "/bin/sh",
        Words{"-c", "counts=$0; exec valgrind --tool=callgrind --callgrind-out-file=\"$counts\" \"$@\"",
              counts.path(), PLC_HOST_PROGRAM} +
            command,
        true);
    if (process.waitForEnd(steadyNow() + 5 * kPatience) != 0)
        return 0;
    std::ifstream lines(counts.path());
    for (std::string word; lines >> word;) {
        double count = 0;
        if ((word == "totals:" || word == "summary:") && lines >> count)
            return count;
    }
    return 0;
}

/// How a command grows with the variables of the project that it loads: how many times as many instructions
/// it takes from 2000 to 4000 of them as from 1000 to 2000; nothing where they cannot be counted. For n log n
/// that is 2.2, for n squared four.
std::optional<double> growthOf(const std::function<Words(const std::string &file)> &command,
                               const char *separator)
{
    std::vector<double> counts;
    for (const int variables : {1000, 2000, 4000}) {
        const TemporaryFile file(projectOf(variables, separator));
        counts.push_back(instructionsOf(command(file.path())));
        const bool isMore = counts.size() == 1 || counts.back() > counts[counts.size() - 2];
        if (counts.back() <= 0 || !isMore)
            return std::nullopt;
    }
    return (counts[2] - counts[1]) / (counts[1] - counts[0]);
}

constexpr char kNoCounts[] = "valgrind does not run here, or not with this build";

class Loading : public ::testing::TestWithParam<const char *>
{};

TEST_P(Loading, GrowsWithTheNumberOfVariablesAndNotWithItsSquare)
{
    const auto growth = growthOf(
        [](const auto &file) {
            return Words{"project", "to-csv", file};
        },
        GetParam());
    if (!growth)
        GTEST_SKIP() << kNoCounts;
    EXPECT_LT(*growth, 2.4);
}

INSTANTIATE_TEST_SUITE_P(LinesEnd, Loading, ::testing::Values("\n", " "),
                         [](const auto &test) { return test.index == 0 ? "BehindEachVariable" : "Nowhere"; });

TEST(Planning, GrowsWithTheNumberOfVariablesAndNotWithItsSquare)
{
    const auto growth = growthOf([](const auto &file) { return Words{"plan", file}; }, "\n");
    if (!growth)
        GTEST_SKIP() << kNoCounts;
    EXPECT_LT(*growth, 2.2);
}

// How often the program looks whether the scan is over depends on the machine, and hardly counts.
TEST(Running, GrowsWithTheNumberOfVariablesAndNotWithItsSquare)
{
    const auto station = startStation({"-q"});
    const auto growth = growthOf(
        [&](const auto &file) { return Words{"run", file, "-p", station->terminal(), "--scans", "1"}; },
        "\n");
    if (!growth)
        GTEST_SKIP() << kNoCounts;
    EXPECT_LT(*growth, 2.6);
}

} // namespace
