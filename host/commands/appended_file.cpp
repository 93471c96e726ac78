#include "host/commands/appended_file.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "host/commands/standard_streams.h"
#include "runtime/line/failure.h"

namespace plc::host {

namespace {

constexpr int kSliceMs = 100;

/// A pipe that nobody reads is refused instead of waited for, and a full one does not hold the thread up.
int openForLines(const std::string &path)
{
    constexpr int kForAll = 0666; // less what the user's mask takes away
    return open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, kForAll);
}

} // namespace

AppendedFile::AppendedFile(std::string path, const char *option)
    : path_(std::move(path)), descriptor_(openForLines(path_))
{
    if (descriptor_ >= 0)
        return;
    const std::string reason = std::strerror(errno);
    failOutput();
    throw Failure(FailureKind::Usage, std::string(option) + ": '" + path_ + "' cannot be opened: " + reason +
                                          "; name a file that you may write");
}

AppendedFile::~AppendedFile()
{
    close(descriptor_);
}

int AppendedFile::append(const std::string &line, const std::function<bool()> &giveUp)
{
    const std::string text = (isCut_ ? "\n" : "") + line + "\n";
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t written = write(descriptor_, text.data() + done, text.size() - done);
        if (written >= 0) {
            done += static_cast<std::size_t>(written);
            isCut_ = done < text.size();
            continue;
        }
        if (errno == EINTR)
            continue;
        if (errno != EAGAIN || (giveUp && giveUp()))
            return errno;
        pollfd waiting{descriptor_, POLLOUT, 0};
        poll(&waiting, 1, kSliceMs);
    }
    return 0;
}

int AppendedFile::reopen()
{
    const int opened = openForLines(path_);
    if (opened < 0)
        return errno;
    close(descriptor_);
    descriptor_ = opened;
    isCut_ = false;
    return 0;
}

} // namespace plc::host
