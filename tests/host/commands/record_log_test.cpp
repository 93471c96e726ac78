// The log: lines reach the file in their order, nobody waits for it, and what is lost is counted.
#include "host/commands/record_log.h"
#include "runtime/line/failure.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/time_zone.h"

namespace {

using namespace plc::host;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

const Time kLong = std::chrono::seconds(60);
const Time kHardly = std::chrono::milliseconds(1);

std::vector<std::string> linesOf(const std::string &text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

class Log : public ::testing::Test
{
protected:
    Log()
    {
        std::string name = ::testing::TempDir() + "plc_log_XXXXXX";
        folder = mkdtemp(name.data());
    }
    ~Log() override
    {
        std::remove(path("log").c_str());
        std::remove(path("old").c_str());
        rmdir(folder.c_str());
    }

    std::string path(const char *name) const { return folder + "/" + name; }
    std::vector<std::string> lines(const char *name) const
    {
        std::ifstream file(path(name));
        std::ostringstream text;
        text << file.rdbuf();
        return linesOf(text.str());
    }
    /// A pipe at the log's path, with its reading end open.
    int makePipe() const
    {
        EXPECT_EQ(0, mkfifo(path("log").c_str(), 0600));
        return open(path("log").c_str(), O_RDONLY | O_NONBLOCK);
    }

    static WallTime newYear() { return WallTime(std::chrono::seconds(1767225600)); }

    const plc::test::TimeZone zone{"UTC0"};
    std::string folder;
};

TEST_F(Log, AppendsLinesToWhatIsThere)
{
    std::ofstream(path("log")) << "before\n";
    RecordLog log(path("log"));
    log.add("one");
    log.add("two");
    log.finish(kLong, kLong);
    EXPECT_THAT(lines("log"), ElementsAre("before", "one", "two"));
    EXPECT_EQ(0u, log.lost());
    EXPECT_THAT(log.complaint(), IsEmpty());
}

TEST_F(Log, OpensTheFileThatStandsThereThen)
{
    RecordLog log(path("log"));
    log.add("old");
    ASSERT_EQ(0, std::rename(path("log").c_str(), path("old").c_str()));
    log.add("older");
    log.reopen();
    log.add("new");
    log.finish(kLong, kLong);
    EXPECT_THAT(lines("old"), ElementsAre("old", "older"));
    EXPECT_THAT(lines("log"), ElementsAre("new"));
}

TEST_F(Log, StaysInItsFileWhereItCannotBeOpenedAgain)
{
    RecordLog log(path("log"));
    ASSERT_EQ(0, std::rename(path("log").c_str(), path("old").c_str()));
    ASSERT_EQ(0, mkdir(path("log").c_str(), 0700));
    log.reopen();
    log.add("one");
    log.finish(kLong, kLong);
    EXPECT_THAT(lines("old"), ElementsAre("one"));
    EXPECT_THAT(log.complaint(), HasSubstr("cannot be opened again: Is a directory"));
    EXPECT_EQ(0u, log.lost());
}

TEST_F(Log, CountsWhatADiskThatIsFullDoesNotTake)
{
    RecordLog log("/dev/full");
    log.add("one");
    log.add("two");
    log.finish(kLong, kLong);
    EXPECT_EQ(2u, log.lost());
    EXPECT_EQ("--log: lines of '/dev/full' are being lost: No space left on device", log.complaint());
    EXPECT_THAT(log.complaint(), IsEmpty()) << "told once";
}

TEST_F(Log, NeverWaitsForAPipeThatNobodyEmptiesAndCountsWhatHasNoRoom)
{
    const int reader = makePipe();
    const std::string line(999, 'x');
    constexpr int kLines = 1000; // of a pipe of 64 KiB, and room for ten lines
    RecordLog log(path("log"), 10 * line.size());
    for (int i = 0; i < kLines; ++i)
        log.add(line);
    log.finish(kHardly, kLong);
    std::string found;
    char bytes[4096];
    for (ssize_t length = 0; (length = read(reader, bytes, sizeof bytes)) > 0;)
        found.append(bytes, static_cast<std::size_t>(length));
    close(reader);
    const std::vector<std::string> arrived = linesOf(found);
    std::uint64_t whole = 0;
    for (const std::string &one : arrived)
        whole += one == line ? 1u : 0u;
    EXPECT_GT(log.lost(), 0u);
    EXPECT_EQ(kLines - whole, log.lost());
    EXPECT_THAT(log.complaint(), HasSubstr("it cannot be written as fast as they come"));
}

TEST_F(Log, SaysHowManyLinesAreMissingWhereTheyAreMissing)
{
    const int reader = makePipe();
    const std::string big(300000, 'x'); // more than the pipe takes
    RecordLog log(path("log"), big.size(), newYear);
    log.add(big);
    log.add("no room");
    log.add("nor here");
    std::string found;
    char bytes[65536];
    pollfd waiting{reader, POLLIN, 0};
    while (found.find('\n') == std::string::npos && poll(&waiting, 1, 60000) > 0) {
        const ssize_t length = read(reader, bytes, sizeof bytes);
        found.append(bytes, length > 0 ? static_cast<std::size_t>(length) : 0);
    }
    // The line may take a moment more to count as written.
    std::uint64_t before = log.lost();
    for (log.add("behind"); log.lost() != before; log.add("behind"))
        before = log.lost();
    log.finish(kLong, kLong);
    for (ssize_t length = 0; (length = read(reader, bytes, sizeof bytes)) > 0;)
        found.append(bytes, static_cast<std::size_t>(length));
    close(reader);
    const std::vector<std::string> arrived = linesOf(found);
    ASSERT_EQ(3u, arrived.size());
    EXPECT_EQ(big, arrived[0]);
    EXPECT_EQ(R"({"kind":"loss","time":"2026-01-01T00:00:00.000+00:00","lines":)" +
                  std::to_string(log.lost()) + "}",
              arrived[1]);
    EXPECT_EQ("behind", arrived[2]);
}

TEST_F(Log, EndsInTimeWhateverPatienceItHasWithEachLine)
{
    const int reader = makePipe();
    RecordLog log(path("log"));
    log.add(std::string(1000000, 'x')); // more than the pipe takes
    log.add("behind");
    log.finish(std::chrono::hours(1), Time::zero());
    EXPECT_EQ(2u, log.lost());
    close(reader);
}

TEST_F(Log, IsOpenedAgainOnceHoweverOftenThatIsAskedForMeanwhile)
{
    const int reader = makePipe();
    const int watcher = inotify_init1(IN_NONBLOCK);
    ASSERT_GE(inotify_add_watch(watcher, path("log").c_str(), IN_OPEN | IN_CLOSE_WRITE), 0);
    const std::string big(300000, 'x'); // more than the pipe takes
    RecordLog log(path("log"));
    log.add(big);
    for (int i = 0; i < 1000; ++i)
        log.reopen();
    std::size_t found = 0;
    char bytes[65536];
    pollfd waiting{reader, POLLIN, 0};
    while (found < big.size() && poll(&waiting, 1, 60000) > 0)
        found += static_cast<std::size_t>(std::max<ssize_t>(read(reader, bytes, sizeof bytes), 0));
    log.finish(kLong, kLong);
    close(reader);
    int closings = 0; // of the file that was open before
    for (ssize_t length = 0; (length = read(watcher, bytes, sizeof bytes)) > 0;) {
        for (ssize_t at = 0; at < length; at += static_cast<ssize_t>(sizeof(inotify_event))) {
            inotify_event event;
            std::memcpy(&event, bytes + at, sizeof event);
            ASSERT_EQ(0u, event.len) << "events without names";
            closings += (event.mask & IN_CLOSE_WRITE) != 0 ? 1 : 0;
        }
    }
    close(watcher);
    EXPECT_EQ(1, closings);
}

TEST_F(Log, IsRefusedWhereNobodyCanWrite)
{
    EXPECT_THROW(RecordLog("/no/such/folder/log"), Failure);
    ASSERT_EQ(0, mkfifo(path("log").c_str(), 0600));
    EXPECT_THROW(RecordLog(path("log")), Failure) << "a pipe without a reader is not waited for";
}

} // namespace
