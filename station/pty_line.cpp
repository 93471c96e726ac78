#include "pty_line.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

namespace plc::station {

namespace {

std::string failure(const char *what)
{
    return std::string(what) + ": " + std::strerror(errno);
}

std::string linkTarget(const std::string &path)
{
    char target[PATH_MAX];
    const ssize_t size = readlink(path.c_str(), target, sizeof target);
    return size < 0 ? std::string() : std::string(target, static_cast<std::size_t>(size));
}

/// True for a symbolic link that leads nowhere.
bool isDeadLink(const std::string &path)
{
    struct stat info;
    return lstat(path.c_str(), &info) == 0 && S_ISLNK(info.st_mode) && stat(path.c_str(), &info) != 0;
}

} // namespace

PtyLine::~PtyLine()
{
    // Somebody else may have put a link of their own there since.
    if (!link_.empty() && linkTarget(link_) == path_)
        unlink(link_.c_str());
    if (slave_ >= 0)
        close(slave_);
    if (master_ >= 0)
        close(master_);
}

std::string PtyLine::open()
{
    master_ = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (master_ < 0)
        return failure("no pseudo-terminal to be had");
    char name[PATH_MAX];
    if (grantpt(master_) != 0 || unlockpt(master_) != 0 || ptsname_r(master_, name, sizeof name) != 0)
        return failure("the pseudo-terminal cannot be set up");
    path_ = name;
    slave_ = ::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (slave_ < 0)
        return failure(name);
    termios mode;
    if (tcgetattr(slave_, &mode) != 0)
        return failure(name);
    cfmakeraw(&mode);
    if (tcsetattr(slave_, TCSANOW, &mode) != 0)
        return failure(name);
    return {};
}

std::string PtyLine::linkAs(const std::string &path)
{
    // A station that was killed leaves its link behind. The number of its terminal is free then. Often this
    // station has got the very same number, so that the old link does not look dead.
    if (isDeadLink(path) || linkTarget(path) == path_)
        unlink(path.c_str());
    if (symlink(path_.c_str(), path.c_str()) != 0)
        return failure(path.c_str());
    link_ = path;
    return {};
}

Bytes PtyLine::read()
{
    Bytes all;
    std::uint8_t chunk[4096];
    ssize_t got = 0;
    // A flood is handed on in pieces, so that the stations come to answer too.
    while (all.size() < sizeof chunk * 4 && (got = ::read(master_, chunk, sizeof chunk)) > 0)
        all.insert(all.end(), chunk, chunk + got);
    return all;
}

std::size_t PtyLine::write(const Bytes &bytes)
{
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t put = ::write(master_, bytes.data() + sent, bytes.size() - sent);
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0)
            break;
        sent += static_cast<std::size_t>(put);
    }
    return sent;
}

void PtyLine::endExclusiveUse()
{
    ioctl(slave_, TIOCNXCL);
}

} // namespace plc::station
