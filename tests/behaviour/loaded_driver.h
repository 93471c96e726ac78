/// @file
/// A copy of the library with a driver object of its own, called through looked-up names as a runtime does.
#ifndef PLC_TESTS_BEHAVIOUR_LOADED_DRIVER_H
#define PLC_TESTS_BEHAVIOUR_LOADED_DRIVER_H

#include <string>

#include "plcdriver.h"

namespace plc::behaviour {

/// Loads a copy under another name: even the same library twice is then two libraries, each with its own
/// driver. Nothing of the library is linked; of its headers only the records are used.
class LoadedDriver
{
public:
    /// @param path  of the library. Throws std::runtime_error when it cannot be loaded or lacks a name.
    explicit LoadedDriver(const std::string &path);
    ~LoadedDriver();
    LoadedDriver(const LoadedDriver &) = delete;
    LoadedDriver &operator=(const LoadedDriver &) = delete;

    /// Destroys the driver object and builds it anew, and forgets the memory areas.
    void renew();

    Communication_Protocol *object = nullptr;

#define PLC_NAME(name) decltype(&::name) name = nullptr;
#define PLC_ALL_NAMES                                                                                        \
    PLC_NAME(SetComInfo)                                                                                     \
    PLC_NAME(FlashLocalRegister)                                                                             \
    PLC_NAME(RegistCallBackFuncIntf)                                                                         \
    PLC_NAME(QueryFinishFlag)                                                                                \
    PLC_NAME(ComCommunication)                                                                               \
    PLC_NAME(DataCom)                                                                                        \
    PLC_NAME(GetRegisterData)                                                                                \
    PLC_NAME(SetRegisterData)                                                                                \
    PLC_NAME(ReCreatReadVarList)                                                                             \
    PLC_NAME(PassVarName)                                                                                    \
    PLC_NAME(PLCAddressChangeIntef)                                                                          \
    PLC_NAME(AddListReadVar)                                                                                 \
    PLC_NAME(AddListWriteVar)                                                                                \
    PLC_NAME(AddListOnceReadVar)                                                                             \
    PLC_NAME(EnCommStation)                                                                                  \
    PLC_NAME(EnableEthernet)                                                                                 \
    PLC_NAME(CalCRC)                                                                                         \
    PLC_NAME(CalSUM)                                                                                         \
    PLC_NAME(CalLRC)                                                                                         \
    PLC_NAME(CalXOR)                                                                                         \
    PLC_NAME(DigitalToASCII)                                                                                 \
    PLC_NAME(ASCIIToDigital)
    PLC_ALL_NAMES
#undef PLC_NAME

private:
    void *find(const char *name) const;

    void *library_ = nullptr;
    void (*construct_)(void *) = nullptr;
    void (*destroy_)(void *) = nullptr;
};

} // namespace plc::behaviour

#endif
