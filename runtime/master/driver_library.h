/// @file
/// The driver as a runtime sees it: a library loaded while the program runs, and entry points looked up by
/// name.
#ifndef PLC_MASTER_DRIVER_LIBRARY_H
#define PLC_MASTER_DRIVER_LIBRARY_H

#include <string>
#include <vector>

#include "plcdriver.h"

namespace plc::runtime {

/// The loaded driver. The library holds one driver object for the whole process, so one of these is enough.
///
/// The members are pointers to the entry points of the same names in plcdriver.h; all are set.
class DriverLibrary
{
public:
    /// Loads the library.
    /// @param path  of the file. Empty = the first that is found beside the program, in the lib folder next
    /// to
    ///              the program's folder, or where the system looks.
    /// @throw Failure  (wrong usage) when it cannot be loaded or lacks an entry point.
    explicit DriverLibrary(const std::string &path);
    ~DriverLibrary();
    DriverLibrary(const DriverLibrary &) = delete;
    DriverLibrary &operator=(const DriverLibrary &) = delete;

    /// Where the library was found.
    const std::string &path() const { return path_; }

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
};

/// Folder that the running program lies in.
std::string programFolder();

/// Where a driver is looked for, in this order.
std::vector<std::string> driverCandidates(const std::string &folder);

} // namespace plc::runtime

#endif
