/// @file
/// The driver as a runtime sees it: a library loaded while the program runs, and entry points looked up by
/// name.
#ifndef PLC_MASTER_DRIVER_LIBRARY_H
#define PLC_MASTER_DRIVER_LIBRARY_H

#include <string>

#include "plcdriver.h"

namespace plc::runtime {

/// The loaded driver. A file of the driver holds one driver object for the whole process, however often it is
/// loaded; see OwnDriver for one that nobody else has.
///
/// The members are pointers to the entry points of the same names in plcdriver.h; all are set.
class DriverLibrary
{
public:
    /// Loads the library.
    /// @param path     of the file; without a slash it is looked for where the system looks.
    /// @throw Failure  (driver) when it cannot be loaded or lacks an entry point.
    explicit DriverLibrary(const std::string &path);
    ~DriverLibrary();
    DriverLibrary(const DriverLibrary &) = delete;
    DriverLibrary &operator=(const DriverLibrary &) = delete;

    /// As it was given.
    const std::string &path() const { return path_; }

    /// Reserves the driver for one user, before its first set-up. It never forgets orders, priorities and
    /// values, so nobody can begin anew with it.
    /// @throw Failure  (driver) when it was reserved before, or somebody has set it up.
    void claim();

    decltype(&::SetComInfo) setComInfo = nullptr;
    decltype(&::FlashLocalRegister) flashLocalRegister = nullptr;
    decltype(&::RegistCallBackFuncIntf) registerCallbacks = nullptr;
    decltype(&::ComCommunication) comCommunication = nullptr;
    decltype(&::DataCom) dataCom = nullptr;
    decltype(&::GetRegisterData) getRegisterData = nullptr;
    decltype(&::SetRegisterData) setRegisterData = nullptr;
    decltype(&::PLCAddressChangeIntef) addressOf = nullptr;
    decltype(&::AddListReadVar) addListReadVar = nullptr;
    decltype(&::AddListOnceReadVar) addListOnceReadVar = nullptr;
    decltype(&::EnCommStation) enCommStation = nullptr;
    decltype(&::PassVarName) passVarName = nullptr;
    decltype(&::ReCreatReadVarList) reCreatReadVarList = nullptr;

private:
    void lookUpAll();

    void *handle_ = nullptr;
    std::string path_;
    bool isClaimed_ = false;
};

} // namespace plc::runtime

#endif
