#include "runtime/master/driver_library.h"

#include <dlfcn.h>

#include <cstring>

#include "runtime/line/failure.h"

namespace plc::runtime {

namespace {

std::string loadError()
{
    const char *text = dlerror();
    return text ? text : "no reason given";
}

} // namespace

DriverLibrary::DriverLibrary(const std::string &path)
    : handle_(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)), path_(path)
{
    if (!handle_)
        throw Failure(FailureKind::Driver,
                      "the driver cannot be loaded: " + loadError() + "; name it with setting 'driverFile'");
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

void DriverLibrary::claim()
{
    // Set up by the bare calls, or by another copy of this runtime, it has a word area.
    auto *const words = static_cast<unsigned short **>(dlsym(handle_, "LW"));
    if (isClaimed_ || (words && *words))
        throw Failure(FailureKind::Driver, "the driver '" + path_ +
                                               "' is in use in this process already, or was, and serves one "
                                               "line in its life; another line needs a copy of its own");
    isClaimed_ = true;
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
            throw Failure(FailureKind::Driver,
                          "'" + path_ + "' is not the driver: it has no entry point " + row.name);
        // Data pointers and function pointers have the same representation wherever dlsym exists.
        std::memcpy(row.pointer, &found, sizeof found);
    }
}

} // namespace plc::runtime
