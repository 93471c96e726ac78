#include "runtime/master/driver_library.h"

#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <cstring>

#include "runtime/line/failure.h"

namespace plc::runtime {

namespace {

constexpr const char *kFileNames[] = {"libplcdriver.so", "libplcdriver.so.1"};

std::string loadError()
{
    const char *text = dlerror();
    return text ? text : "no reason given";
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

DriverLibrary::DriverLibrary(const std::string &path)
{
    const std::vector<std::string> candidates =
        path.empty() ? driverCandidates(programFolder()) : std::vector<std::string>{path};
    for (const std::string &candidate : candidates) {
        const bool isFile = candidate.find('/') != std::string::npos;
        if (path.empty() && isFile && access(candidate.c_str(), F_OK) != 0)
            continue;
        path_ = candidate;
        handle_ = dlopen(candidate.c_str(), RTLD_NOW | RTLD_LOCAL);
        // A driver that lies there and is broken must not be passed over in favour of another one.
        if (handle_ || isFile)
            break;
    }
    if (!handle_)
        throw Failure(FailureKind::Usage,
                      "the driver cannot be loaded: " + loadError() + "; name it with --driver PATH");
    try {
        lookUpAll();
    } catch (...) {
        dlclose(handle_);
        throw;
    }
}

DriverLibrary::~DriverLibrary()
{
    dlclose(handle_);
}

void DriverLibrary::lookUpAll()
{
    struct Row
    {
        const char *name;
        void *pointer; ///< to the member that is to be set
    };
    const Row rows[] = {
        {"SetComInfo", &setComInfo},
        {"FlashLocalRegister", &flashLocalRegister},
        {"RegistCallBackFuncIntf", &registerCallbacks},
        {"ComCommunication", &comCommunication},
        {"DataCom", &dataCom},
        {"GetRegisterData", &getRegisterData},
        {"SetRegisterData", &setRegisterData},
        {"PLCAddressChangeIntef", &addressOf},
        {"AddListReadVar", &addListReadVar},
        {"AddListOnceReadVar", &addListOnceReadVar},
        {"EnCommStation", &enCommStation},
        {"PassVarName", &passVarName},
        {"ReCreatReadVarList", &reCreatReadVarList},
    };
    for (const Row &row : rows) {
        void *const found = dlsym(handle_, row.name);
        if (!found)
            throw Failure(FailureKind::Usage,
                          "'" + path_ + "' is not the driver: it has no entry point " + row.name);
        // Data pointers and function pointers have the same representation wherever dlsym exists.
        std::memcpy(row.pointer, &found, sizeof found);
    }
}

} // namespace plc::runtime
