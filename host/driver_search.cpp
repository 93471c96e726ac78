#include "host/driver_search.h"

#include <dlfcn.h>
#include <unistd.h>

#include <climits>

namespace plc::host {

namespace {

constexpr const char *kFileNames[] = {"libplcdriver.so", "libplcdriver.so.1"};

/// A driver that lies there and is broken must not be passed over in favour of another one.
bool isThere(const std::string &candidate)
{
    if (candidate.find('/') != std::string::npos)
        return access(candidate.c_str(), F_OK) == 0;
    void *const handle = dlopen(candidate.c_str(), RTLD_LAZY | RTLD_LOCAL);
    if (handle)
        dlclose(handle);
    return handle != nullptr;
}

} // namespace

std::string programFolder()
{
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    if (length <= 0)
        return ".";
    const std::string program(path, static_cast<std::size_t>(length));
    return program.substr(0, program.rfind('/'));
}

std::vector<std::string> driverCandidates(const std::string &folder)
{
    std::vector<std::string> candidates;
    for (const char *place : {"/", "/../lib/", "/../" PLC_LIBRARY_FOLDER "/"}) {
        for (const char *name : kFileNames)
            candidates.push_back(folder + place + name);
    }
    // Without a slash the system's own search applies.
    for (const char *name : kFileNames)
        candidates.emplace_back(name);
    return candidates;
}

std::string driverToLoad(const std::string &named)
{
    if (!named.empty())
        return named;
    const std::vector<std::string> candidates = driverCandidates(programFolder());
    for (const std::string &candidate : candidates) {
        if (isThere(candidate))
            return candidate;
    }
    return candidates.back();
}

} // namespace plc::host
