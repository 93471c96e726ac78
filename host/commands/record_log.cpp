#include "host/commands/record_log.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "host/commands/json_line.h"
#include "host/commands/standard_streams.h"

namespace plc::host {

namespace {

constexpr Time kPatience = std::chrono::seconds(2);
constexpr Time kLongest = std::chrono::seconds(10);

struct Entry
{
    std::string line;
    std::uint64_t lostBefore = 0; ///< lines that had no room
    bool isReopening = false;     ///< no line
};

} // namespace

struct RecordLog::Shared
{
    Shared(const std::string &path, std::size_t most, WallClock newClock)
        : file(path, "--log"), mostWaiting(most), clock(std::move(newClock))
    {}

    AppendedFile file; ///< the thread's
    const std::size_t mostWaiting;
    const WallClock clock;

    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Entry> entries;
    std::size_t bytesWaiting = 0;  ///< the line that is being written included
    std::uint64_t withoutRoom = 0; ///< lines lost since the last entry
    std::uint64_t lost = 0;
    std::uint64_t linesWritten = 0;
    int error = 0; ///< of the last line that could not be written
    int reopenError = 0;
    bool isWritingLine = false;
    bool isEnding = false;
    bool isDone = false; ///< the thread has ended
    std::atomic<bool> giveUp{false};

    /// Under the lock.
    std::uint64_t linesLeft() const
    {
        const auto isLine = [](const Entry &entry) { return !entry.isReopening; };
        return static_cast<std::uint64_t>(std::count_if(entries.begin(), entries.end(), isLine)) +
               (isWritingLine ? 1 : 0);
    }
};

RecordLog::RecordLog(const std::string &path, std::size_t mostWaiting, WallClock clock)
    : path_(path), shared_(std::make_shared<Shared>(path, mostWaiting, std::move(clock))),
      thread_([shared = shared_] { write(shared); })
{}

RecordLog::~RecordLog()
{
    finish(kPatience, kLongest);
    const std::uint64_t missing = lost();
    if (missing == 0)
        return;
    const std::lock_guard<std::mutex> lock(shared_->mutex);
    std::fprintf(
        stderr, "plchost: --log: %llu %s missing in '%s': %s\n", static_cast<unsigned long long>(missing),
        missing == 1 ? "line is" : "lines are", path_.c_str(),
        shared_->error != 0 ? std::strerror(shared_->error) : "it could not be written as fast as they came");
    failOutput();
}

void RecordLog::add(std::string line)
{
    const std::lock_guard<std::mutex> lock(shared_->mutex);
    if (shared_->bytesWaiting + line.size() > shared_->mostWaiting) {
        ++shared_->withoutRoom;
        ++shared_->lost;
        return;
    }
    shared_->bytesWaiting += line.size();
    shared_->entries.push_back({std::move(line), std::exchange(shared_->withoutRoom, 0), false});
    shared_->changed.notify_all();
}

void RecordLog::reopen()
{
    const std::lock_guard<std::mutex> lock(shared_->mutex);
    // One is as good as several. Between two of them is a line, and lines have their limit.
    if (!shared_->entries.empty() && shared_->entries.back().isReopening)
        return;
    shared_->entries.push_back({std::string(), 0, true});
    shared_->changed.notify_all();
}

std::string RecordLog::complaint()
{
    const std::lock_guard<std::mutex> lock(shared_->mutex);
    if (const int error = std::exchange(shared_->reopenError, 0); error != 0)
        return "--log: '" + path_ + "' cannot be opened again: " + std::strerror(error) +
               "; the file that was open is written on";
    if (shared_->lost == 0 || lossTold_)
        return std::string();
    lossTold_ = true;
    return "--log: lines of '" + path_ + "' are being lost: " +
           (shared_->error != 0 ? std::strerror(shared_->error)
                                : "it cannot be written as fast as they come");
}

void RecordLog::finish(Time patience, Time most)
{
    if (!thread_.joinable())
        return;
    std::unique_lock<std::mutex> lock(shared_->mutex);
    shared_->isEnding = true;
    shared_->changed.notify_all();
    const auto isDone = [this] { return shared_->isDone; };
    const Time limit = runtime::steadyNow() + most;
    std::uint64_t before = 0;
    do {
        before = shared_->linesWritten;
        shared_->changed.wait_for(lock, std::min(patience, limit - runtime::steadyNow()), isDone);
    } while (!shared_->isDone && shared_->linesWritten != before && runtime::steadyNow() < limit);
    if (!shared_->isDone) {
        // A pipe that is full lets go of the thread. A file system that hangs does not.
        shared_->giveUp = true;
        shared_->changed.wait_for(lock, kPatience, isDone);
    }
    const bool isDoneNow = shared_->isDone;
    lost_ = shared_->lost + (isDoneNow ? 0 : shared_->linesLeft());
    lock.unlock();
    if (isDoneNow)
        thread_.join();
    else
        thread_.detach();
}

std::uint64_t RecordLog::lost() const
{
    const std::lock_guard<std::mutex> lock(shared_->mutex);
    return lost_.value_or(shared_->lost);
}

/// The thread.
void RecordLog::write(const std::shared_ptr<Shared> &shared)
{
    std::uint64_t gap = 0; ///< lines lost since the last one that was written
    const auto mustGiveUp = [&shared] { return shared->giveUp.load(); };
    const auto tellGap = [&] {
        if (gap == 0)
            return 0;
        const int error = shared->file.append(
            JsonLine("loss").text("time", isoTime(shared->clock())).number("lines", gap).object(),
            mustGiveUp);
        if (error == 0)
            gap = 0;
        return error;
    };
    std::unique_lock<std::mutex> lock(shared->mutex);
    for (;;) {
        shared->changed.wait(lock, [&] { return !shared->entries.empty() || shared->isEnding; });
        if (shared->entries.empty())
            break;
        const Entry entry = std::move(shared->entries.front());
        shared->entries.pop_front();
        shared->isWritingLine = !entry.isReopening;
        lock.unlock();
        gap += entry.lostBefore;
        int error = 0;
        if (shared->giveUp) {
            // Nobody waits for a file that is slow any more.
            error = entry.isReopening ? 0 : EAGAIN;
            gap += entry.isReopening ? 0 : 1;
        } else if (entry.isReopening) {
            error = shared->file.reopen();
        } else {
            error = tellGap();
            if (error == 0)
                error = shared->file.append(entry.line, mustGiveUp);
            gap += error != 0 ? 1 : 0;
        }
        lock.lock();
        shared->isWritingLine = false;
        if (entry.isReopening) {
            shared->reopenError = error;
        } else {
            shared->bytesWaiting -= entry.line.size();
            shared->lost += error != 0 ? 1 : 0;
            shared->linesWritten += error == 0 ? 1 : 0;
            // A pipe that stays full is only slow.
            shared->error = error != 0 && error != EAGAIN ? error : shared->error;
        }
    }
    gap += std::exchange(shared->withoutRoom, 0);
    lock.unlock();
    tellGap();
    lock.lock();
    shared->isDone = true;
    shared->changed.notify_all();
}

} // namespace plc::host
