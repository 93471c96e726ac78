/// @file
/// The driver's log file for one test alone.
#ifndef PLC_TESTS_SUPPORT_OWN_LOG_FILE_H
#define PLC_TESTS_SUPPORT_OWN_LOG_FILE_H

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <system_error>

namespace plc::test {

/// Keeps "/tmp/debug.log" for the holder: tests of other programs wait, and a file that was there before is
/// moved away and comes back at the end. Every test that may write to the log holds one. Throws when the file
/// cannot be had.
class OwnLogFile
{
public:
    OwnLogFile() : keptPath_(std::string(path()) + ".kept-" + std::to_string(getpid()))
    {
        guard_ = open(guardPath(), O_CREAT | O_RDWR | O_CLOEXEC, 0666);
        if (guard_ < 0)
            refuse(guardPath(), errno);
        const bool mine = flock(guard_, LOCK_EX) == 0;
        if (mine && (std::rename(path(), keptPath_.c_str()) == 0 || errno == ENOENT))
            return;
        const int reason = errno;
        close(guard_);
        refuse(path(), reason);
    }

    ~OwnLogFile()
    {
        std::remove(path());
        std::rename(keptPath_.c_str(), path());
        close(guard_);
    }

    OwnLogFile(const OwnLogFile &) = delete;
    OwnLogFile &operator=(const OwnLogFile &) = delete;

    static const char *path() { return "/tmp/debug.log"; }

private:
    static const char *guardPath() { return "/tmp/debug.log.test-guard"; }

    [[noreturn]] static void refuse(const char *what, int reason)
    {
        throw std::system_error(reason, std::generic_category(), what);
    }

    const std::string keptPath_;
    int guard_ = -1;
};

} // namespace plc::test

#endif
