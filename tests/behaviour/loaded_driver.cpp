#include "loaded_driver.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace plc::behaviour {

namespace {

/// A copy of a file, gone as soon as it is loaded.
class Copy
{
public:
    explicit Copy(const std::string &original)
    {
        const char *const folder = std::getenv("TMPDIR");
        path = std::string(folder ? folder : "/tmp") + "/plcdriver.XXXXXX";
        const int file = mkstemp(path.data());
        if (file < 0)
            throw std::runtime_error("no file can be made: " + path);
        close(file);
        std::ifstream from(original, std::ios::binary);
        if (!from)
            throw std::runtime_error("cannot be read: " + original);
        std::ofstream(path, std::ios::binary) << from.rdbuf();
    }
    ~Copy() { unlink(path.c_str()); }
    Copy(const Copy &) = delete;
    Copy &operator=(const Copy &) = delete;

    std::string path;
};

} // namespace

LoadedDriver::LoadedDriver(const std::string &path)
{
    const Copy copy(path);
    library_ = dlopen(copy.path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library_)
        throw std::runtime_error(path + " cannot be loaded: " + dlerror());
    object = static_cast<Communication_Protocol *>(find("PLC_driver"));
    construct_ = reinterpret_cast<void (*)(void *)>(find("_ZN22Communication_ProtocolC1Ev"));
    destroy_ = reinterpret_cast<void (*)(void *)>(find("_ZN22Communication_ProtocolD1Ev"));
#define PLC_NAME(name) name = reinterpret_cast<decltype(name)>(find(#name));
    PLC_ALL_NAMES
#undef PLC_NAME
}

LoadedDriver::~LoadedDriver()
{
    dlclose(library_);
}

void *LoadedDriver::find(const char *name) const
{
    void *const found = dlsym(library_, name);
    if (!found)
        throw std::runtime_error(std::string("the library has no name ") + name);
    return found;
}

void LoadedDriver::renew()
{
    destroy_(object);
    construct_(object);
    FlashLocalRegister(nullptr, nullptr, nullptr);
}

} // namespace plc::behaviour
