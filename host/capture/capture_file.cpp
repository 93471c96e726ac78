#include "host/capture/capture_file.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "runtime/line/failure.h"

namespace plc::host {

namespace {

constexpr int kSliceMs = 100;
constexpr Time kLastPatience = std::chrono::seconds(2);

constexpr int kOpeningSliceMs = 50;

bool isNamedPipe(const std::string &path)
{
    struct stat status
    {};
    return ::stat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode);
}

/// A blocking call would wait for the reader of a pipe through every Ctrl-C, since signals restart it.
/// @return -1 where it cannot be opened, with the reason in errno, ENXIO for a pipe that nobody reads.
int openForBlocks(const std::string &path, const std::function<bool()> &giveUp)
{
    if (path == "-")
        return fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    for (;;) {
        constexpr int kForAll = 0666; // less what the user's mask takes away
        const int opened =
            open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, kForAll);
        const int mistake = errno;
        if (opened >= 0 || mistake != ENXIO || !isNamedPipe(path) || (giveUp && giveUp())) {
            errno = mistake;
            return opened;
        }
        poll(nullptr, 0, kOpeningSliceMs);
    }
}

} // namespace

struct CaptureFile::Shared
{
    Shared(int opened, std::size_t most) : descriptor(opened), mostWaiting(most) {}
    ~Shared() { close(descriptor); }
    Shared(const Shared &) = delete;
    Shared &operator=(const Shared &) = delete;

    /// @return 0, or the errno of the failure.
    int append(const std::string &block) const
    {
        for (std::size_t done = 0; done < block.size();) {
            // A pipe that is full must not hold the thread: the descriptor may be one that others share.
            pollfd waiting{descriptor, POLLOUT, 0};
            if (poll(&waiting, 1, kSliceMs) <= 0) {
                if (giveUp)
                    return EAGAIN;
                continue;
            }
            constexpr std::size_t kPipePart = 512; // a pipe that is ready takes so much without a wait
            const ssize_t taken =
                ::write(descriptor, block.data() + done, std::min(block.size() - done, kPipePart));
            if (taken >= 0)
                done += static_cast<std::size_t>(taken);
            else if (errno != EINTR && errno != EAGAIN)
                return errno;
        }
        return 0;
    }

    const int descriptor;
    const std::size_t mostWaiting;
    std::atomic<bool> giveUp{false};

    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::string> blocks;
    std::size_t bytesWaiting = 0; ///< the block that is being written included
    std::uint64_t lost = 0;
    std::uint64_t written = 0;
    int error = 0;
    bool isEnding = false;
    bool isDone = false;
};

CaptureFile::CaptureFile(const std::string &path, std::size_t mostWaiting,
                         const std::function<bool()> &giveUp)
{
    const int descriptor = openForBlocks(path, giveUp);
    if (descriptor < 0) {
        const int mistake = errno;
        const std::string reason = mistake == ENXIO ? "nobody reads it" : std::strerror(mistake);
        throw Failure(FailureKind::Usage, "--capture: '" + path + "' cannot be opened: " + reason +
                                              "; name a file that you may write");
    }
    shared_ = std::make_shared<Shared>(descriptor, mostWaiting);
    thread_ = std::thread([shared = shared_] { write(shared); });
}

CaptureFile::~CaptureFile()
{
    finish(kLastPatience);
}

bool CaptureFile::add(std::string block)
{
    const std::lock_guard<std::mutex> lock(shared_->mutex);
    if (shared_->error != 0 || shared_->bytesWaiting + block.size() > shared_->mostWaiting) {
        ++shared_->lost;
        return false;
    }
    shared_->bytesWaiting += block.size();
    shared_->blocks.push_back(std::move(block));
    shared_->changed.notify_all();
    return true;
}

int CaptureFile::error() const
{
    const std::lock_guard<std::mutex> lock(shared_->mutex);
    return shared_->error;
}

bool CaptureFile::isEmpty() const
{
    const std::lock_guard<std::mutex> lock(shared_->mutex);
    return shared_->written == 0;
}

std::uint64_t CaptureFile::lost() const
{
    const std::lock_guard<std::mutex> lock(shared_->mutex);
    return shared_->lost + (shared_->isEnding && !shared_->isDone ? shared_->blocks.size() + 1 : 0);
}

void CaptureFile::finish(Time patience)
{
    if (!thread_.joinable())
        return;
    std::unique_lock<std::mutex> lock(shared_->mutex);
    shared_->isEnding = true;
    shared_->changed.notify_all();
    const auto isDone = [this] { return shared_->isDone; };
    std::uint64_t before = 0;
    do {
        before = shared_->written;
        shared_->changed.wait_for(lock, patience, isDone);
    } while (!shared_->isDone && shared_->written != before);
    if (!shared_->isDone) {
        shared_->giveUp = true;
        shared_->changed.wait_for(lock, kLastPatience, isDone);
    }
    const bool isDoneNow = shared_->isDone;
    lock.unlock();
    if (isDoneNow)
        thread_.join();
    else
        thread_.detach();
}

/// The thread.
void CaptureFile::write(const std::shared_ptr<Shared> &shared)
{
    std::unique_lock<std::mutex> lock(shared->mutex);
    for (;;) {
        shared->changed.wait(lock, [&] { return !shared->blocks.empty() || shared->isEnding; });
        if (shared->blocks.empty())
            break;
        const std::string block = std::move(shared->blocks.front());
        shared->blocks.pop_front();
        const bool isOver = shared->error != 0;
        lock.unlock();
        const int error = isOver ? 0 : shared->append(block);
        lock.lock();
        shared->bytesWaiting -= block.size();
        shared->error = error != 0 ? error : shared->error;
        if (shared->error != 0)
            ++shared->lost;
        else
            ++shared->written;
    }
    shared->isDone = true;
    shared->changed.notify_all();
}

} // namespace plc::host
