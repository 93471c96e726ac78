#include "runtime/line/terminal_system.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace plc::runtime {

namespace {

timespec timespecOf(Time time)
{
    const auto whole = std::chrono::duration_cast<std::chrono::seconds>(time);
    timespec spec{};
    spec.tv_sec = static_cast<time_t>(whole.count());
    spec.tv_nsec = static_cast<long>((time - whole).count());
    return spec;
}

Readiness waitFor(int descriptor, short events, Time until)
{
    for (;;) {
        pollfd entry{descriptor, events, 0};
        const timespec left = timespecOf(std::max(until - steadyNow(), Time::zero()));
        const int ready = ppoll(&entry, 1, &left, nullptr);
        if (ready == 0)
            return Readiness::TimedOut;
        if (ready > 0)
            return (entry.revents & events) != 0 ? Readiness::Ready : Readiness::HungUp;
        if (errno != EINTR)
            return Readiness::HungUp;
    }
}

/// Where the kernel shows and takes the trigger of the device; empty where @p descriptor is none.
std::string triggerPath(int descriptor)
{
    struct stat device
    {};
    if (fstat(descriptor, &device) != 0)
        return std::string();
    return "/sys/dev/char/" + std::to_string(gnu_dev_major(device.st_rdev)) + ":" +
           std::to_string(gnu_dev_minor(device.st_rdev)) + "/rx_trig_bytes";
}

/// Major numbers of the kernel's device list: the ends that programs open.
bool isPseudoTerminalOf(const struct stat &device)
{
    constexpr unsigned kFirst = 136;
    constexpr unsigned kLast = 143;
    const unsigned kind = gnu_dev_major(device.st_rdev);
    return S_ISCHR(device.st_mode) && kind >= kFirst && kind <= kLast;
}

} // namespace

bool isPseudoTerminal(const std::string &path)
{
    struct stat device
    {};
    return stat(path.c_str(), &device) == 0 && isPseudoTerminalOf(device);
}

int TerminalSystem::open(const std::string &path)
{
    return ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
}

void TerminalSystem::close(int descriptor)
{
    ::close(descriptor);
}

int TerminalSystem::control(int descriptor, unsigned long request, void *argument)
{
    return ioctl(descriptor, request, argument);
}

int TerminalSystem::control(int descriptor, unsigned long request, int argument)
{
    return ioctl(descriptor, request, argument);
}

int TerminalSystem::lock(int descriptor)
{
    return flock(descriptor, LOCK_EX | LOCK_NB);
}

std::string TerminalSystem::holder(const std::string &path)
{
    struct stat device
    {};
    if (stat(path.c_str(), &device) != 0)
        return std::string();
    // "1: FLOCK  ADVISORY  WRITE 4711 00:18:5 0 EOF": process, then file system in hexadecimal and inode.
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
        std::istringstream words(line);
        std::string number;
        std::string kind;
        std::string mode;
        std::string access;
        std::string process;
        std::string place;
        words >> number >> kind >> mode >> access >> process >> place;
        if (kind != "FLOCK")
            continue;
        const std::size_t first = place.find(':');
        const std::size_t second = place.rfind(':');
        if (first == std::string::npos || first == second)
            continue;
        const auto major = std::strtoul(place.c_str(), nullptr, 16);
        const auto minor = std::strtoul(place.c_str() + first + 1, nullptr, 16);
        const auto inode = std::strtoull(place.c_str() + second + 1, nullptr, 10);
        if (major != gnu_dev_major(device.st_dev) || minor != gnu_dev_minor(device.st_dev) ||
            inode != device.st_ino)
            continue;
        std::ifstream command("/proc/" + process + "/comm");
        std::string name;
        std::getline(command, name);
        return "process " + process + (name.empty() ? "" : " (" + name + ")");
    }
    return std::string();
}

std::string TerminalSystem::lastingName(int descriptor)
{
    struct stat device
    {};
    if (fstat(descriptor, &device) != 0)
        return std::string();
    std::string found;
    std::error_code unreadable; // a system without such names has no such folder
    for (const auto &link : std::filesystem::directory_iterator(lastingNames_, unreadable)) {
        struct stat target
        {};
        const std::string path = link.path().string();
        const bool isDevice = stat(path.c_str(), &target) == 0 && S_ISCHR(target.st_mode);
        // Of several names always the same one.
        if (isDevice && target.st_rdev == device.st_rdev && (found.empty() || path < found))
            found = path;
    }
    return found;
}

std::string TerminalSystem::linkAt(const std::string &path)
{
    struct stat link
    {};
    if (lstat(path.c_str(), &link) != 0 || !S_ISLNK(link.st_mode))
        return std::string();
    // The inode alone may be given to the next link.
    return std::to_string(link.st_ino) + " " + std::to_string(link.st_ctim.tv_sec) + "." +
           std::to_string(link.st_ctim.tv_nsec);
}

bool TerminalSystem::isPseudoTerminal(int descriptor)
{
    struct stat device
    {};
    return fstat(descriptor, &device) == 0 && isPseudoTerminalOf(device);
}

std::vector<std::string> TerminalSystem::ports()
{
    namespace fs = std::filesystem;
    std::vector<std::string> found;
    std::error_code error;
    for (fs::directory_iterator entry(devices_, error), end; !error && entry != end; entry.increment(error)) {
        std::error_code unknown;
        // Consoles and pseudo-terminals have no device.
        if (!fs::exists(entry->path() / "device", unknown))
            continue;
        int chip = -1;
        std::ifstream(entry->path() / "type") >> chip;
        if (chip != 0)
            found.push_back("/dev/" + entry->path().filename().string());
    }
    // ttyUSB2 stands before ttyUSB10.
    std::sort(found.begin(), found.end(), [](const std::string &a, const std::string &b) {
        return std::make_pair(a.size(), a) < std::make_pair(b.size(), b);
    });
    return found;
}

int TerminalSystem::openToWait(int descriptor)
{
    // Opening must not wait for a carrier, as it would without O_NONBLOCK; reading has to wait.
    const int second = open("/proc/self/fd/" + std::to_string(descriptor));
    const int flags = second >= 0 ? fcntl(second, F_GETFL) : -1;
    if (flags >= 0 && fcntl(second, F_SETFL, flags & ~O_NONBLOCK) == 0)
        return second;
    if (second >= 0)
        close(second);
    return -1;
}

long TerminalSystem::read(int descriptor, void *bytes, std::size_t count)
{
    return ::read(descriptor, bytes, count);
}

long TerminalSystem::write(int descriptor, const void *bytes, std::size_t count)
{
    return ::write(descriptor, bytes, count);
}

Readiness TerminalSystem::waitToRead(int descriptor, Time until)
{
    return waitFor(descriptor, POLLIN, until);
}

Readiness TerminalSystem::waitToWrite(int descriptor, Time until)
{
    return waitFor(descriptor, POLLOUT, until);
}

void TerminalSystem::sleepUntil(Time until)
{
    const timespec left = timespecOf(std::max(until - steadyNow(), Time::zero()));
    nanosleep(&left, nullptr);
}

Time TerminalSystem::now()
{
    return steadyNow();
}

int TerminalSystem::fifoTrigger(int descriptor)
{
    int bytes = -1;
    std::ifstream(triggerPath(descriptor)) >> bytes;
    return bytes > 0 ? bytes : -1;
}

bool TerminalSystem::setFifoTrigger(int descriptor, int bytes)
{
    // Unbuffered, so that the kernel's answer is that of this call.
    const int file = ::open(triggerPath(descriptor).c_str(), O_WRONLY | O_CLOEXEC);
    if (file < 0)
        return false;
    const std::string text = std::to_string(bytes);
    const bool isTaken = ::write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    ::close(file);
    return isTaken;
}

} // namespace plc::runtime
