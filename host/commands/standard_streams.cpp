#include "host/commands/standard_streams.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "host/commands/interrupt.h"
#include "host/exit_codes.h"

namespace plc::host {

namespace {

constexpr int kSliceMs = 100;     ///< how long Ctrl-C may go unnoticed
constexpr int kPatienceMs = 1000; ///< with a reader, behind Ctrl-C

/// What has become of standard output.
struct OutputState
{
    bool isTerminal = false;
    bool isUsed = false;
    bool isGone = false; ///< the reader, who has enough
    int error = 0;       ///< errno of the first write that failed
    bool hasFileFailed = false;
};

OutputState output;

/// Takes note of a write that failed with @p error.
void noteFailure(int error)
{
    if (error == EPIPE || (error == EIO && output.isTerminal))
        output.isGone = true;
    else if (output.error == 0)
        output.error = error;
}

/// Waits until the descriptor takes some bytes.
/// @return false where it takes none and the program is interrupted.
bool awaitRoom(int descriptor)
{
    pollfd waiting{descriptor, POLLOUT, 0};
    while (poll(&waiting, 1, kSliceMs) <= 0) {
        // A reader that is only slow gets the end of what is printed.
        if (isInterrupted() && poll(&waiting, 1, kPatienceMs) <= 0)
            return false;
    }
    return true;
}

/// @return 0, or the errno of the failure; EAGAIN where nobody takes the bytes and the program is
/// interrupted.
int writeAll(int descriptor, const char *bytes, std::size_t length)
{
    while (length > 0) {
        if (!awaitRoom(descriptor))
            return EAGAIN;
        // So much has room then: a longer piece would wait for a pipe that nobody reads, and so would Ctrl-C.
        const ssize_t written = write(descriptor, bytes, std::min<std::size_t>(length, PIPE_BUF));
        if (written >= 0) {
            bytes += written;
            length -= static_cast<std::size_t>(written);
        } else if (errno != EINTR && errno != EAGAIN) {
            return errno;
        }
    }
    return 0;
}

std::string reasonOf(int error)
{
    return error == EAGAIN ? "nobody has read it before the interruption" : std::strerror(error);
}

/// True where the other end of a pipe has been closed.
bool hasLostReader(int descriptor)
{
    struct stat kind
    {};
    pollfd asked{descriptor, 0, 0};
    return fstat(descriptor, &kind) == 0 && S_ISFIFO(kind.st_mode) && poll(&asked, 1, 0) > 0 &&
           (asked.revents & POLLERR) != 0;
}

} // namespace

void prepareStreams()
{
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        // open() takes the lowest number that is free. The stand-in is for the wrong direction.
        if (fcntl(descriptor, F_GETFD) < 0 && errno == EBADF)
            open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
    output.isTerminal = isatty(STDOUT_FILENO) != 0;
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

void print(const std::string &text)
{
    output.isUsed = true;
    if (output.isGone || output.error != 0)
        return;
    const int error = writeAll(STDOUT_FILENO, text.data(), text.size());
    if (error != 0)
        noteFailure(error);
}

bool isOutputOver()
{
    // Of a terminal that has hung up, SIGHUP says whether that is the end.
    return output.error != 0 || (output.isGone && !output.isTerminal) || hasLostReader(STDOUT_FILENO) ||
           hasLostReader(STDERR_FILENO);
}

int columnsOfErrors()
{
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

void failOutput()
{
    output.hasFileFailed = true;
}

int finishStreams(int code)
{
    // Some file systems tell only here that there was no room.
    if (output.isUsed && output.error == 0 && !output.isGone && close(STDOUT_FILENO) != 0)
        noteFailure(errno);
    if (output.error == 0)
        return output.hasFileFailed ? static_cast<int>(kExitOutput) : code;
    std::fprintf(stderr,
                 "plchost: standard output cannot be written: %s; what was printed is not complete, send it "
                 "elsewhere\n",
                 reasonOf(output.error).c_str());
    return kExitOutput;
}

} // namespace plc::host
