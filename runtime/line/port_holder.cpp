#include "runtime/line/port_holder.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>
#include <vector>

namespace plc::runtime {

namespace {

namespace files = std::filesystem;

/// "process 4711 (plchost)", without the name where it is not known.
std::string describe(const std::string &process, const std::string &processes)
{
    std::ifstream command(processes + "/" + process + "/comm");
    std::string name;
    std::getline(command, name);
    return "process " + process + (name.empty() ? "" : " (" + name + ")");
}

bool isNumber(const std::string &text)
{
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

/// Numbers of the processes, the lowest first.
std::vector<unsigned long> processNumbers(const std::string &processes)
{
    std::vector<unsigned long> numbers;
    std::error_code unreadable;
    for (files::directory_iterator entry(processes, unreadable), end; entry != end;
         entry.increment(unreadable)) {
        const std::string name = entry->path().filename().string();
        if (isNumber(name))
            numbers.push_back(std::strtoul(name.c_str(), nullptr, 10));
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

/// @param folder  of the device. Other files are not looked at: on a network that is gone that may take for
/// ever.
bool hasOpen(const std::string &process, const struct stat &device, const files::path &folder,
             const std::string &processes)
{
    std::error_code unreadable;
    for (files::directory_iterator entry(processes + "/" + process + "/fd", unreadable), end; entry != end;
         entry.increment(unreadable)) {
        if (files::read_symlink(entry->path(), unreadable).parent_path() != folder)
            continue;
        struct stat file
        {};
        if (stat(entry->path().c_str(), &file) == 0 && file.st_dev == device.st_dev &&
            file.st_ino == device.st_ino)
            return true;
    }
    return false;
}

} // namespace

std::string lockHolder(const std::string &path, const std::string &processes)
{
    struct stat device
    {};
    if (stat(path.c_str(), &device) != 0)
        return std::string();
    // "1: FLOCK  ADVISORY  WRITE 4711 00:18:5 0 EOF": process, then file system in hexadecimal and inode.
    std::ifstream locks(processes + "/locks");
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
        if (major == gnu_dev_major(device.st_dev) && minor == gnu_dev_minor(device.st_dev) &&
            inode == device.st_ino)
            return describe(process, processes);
    }
    return std::string();
}

std::string openHolder(const std::string &path, const std::string &processes)
{
    struct stat device
    {};
    if (stat(path.c_str(), &device) != 0)
        return std::string();
    for (const unsigned long number : processNumbers(processes)) {
        if (hasOpen(std::to_string(number), device, files::path(path).parent_path(), processes))
            return describe(std::to_string(number), processes);
    }
    return std::string();
}

} // namespace plc::runtime
