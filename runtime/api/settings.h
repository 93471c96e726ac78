/// @file
/// Public settings, checked and in the words of the runtime.
#ifndef PLC_API_SETTINGS_H
#define PLC_API_SETTINGS_H

#include <string>

#include "plcruntime/plcruntime.h"
#include "runtime/line/failure.h"
#include "runtime/master/link_settings.h"
#include "runtime/panel/variable.h"

namespace plc::api {

/// @throw runtime::Failure  (wrong usage) that names the setting and what it may be.
runtime::LinkSettings linkSettings(const plcruntime::LineSettings &given);

/// The variable with its station.
/// @param line             its settings.
/// @throw runtime::Failure  (wrong usage) that names the place and what is allowed.
runtime::Variable variableOf(const plcruntime::VariableSettings &settings,
                             const plcruntime::LineSettings &line);

/// File of the driver.
std::string driverFile(const plcruntime::LineSettings &settings);

/// The error that a failure becomes.
plcruntime::Error errorOf(const runtime::Failure &failure);

} // namespace plc::api

#endif
