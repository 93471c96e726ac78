/// @file
/// Why something is not good, in a line for people. Names settings of the library and no tool's options.
#ifndef PLC_API_REASONS_H
#define PLC_API_REASONS_H

#include "plcruntime/plcruntime.h"
#include "runtime/master/link.h"
#include "runtime/panel/read_state.h"

namespace plc::api {

/// How an order or a reading of @p station has ended; empty where it is good.
/// @param timeout  of the station.
QString reasonOf(const runtime::OrderResult &result, int station, runtime::Time timeout);

/// Why a variable is what it is; empty where it is good.
/// @param portLost  why the port is lost; empty while it is not.
QString reasonOf(const runtime::WatchStatus &status, int station, runtime::Time timeout,
                 const std::string &portLost);

plcruntime::OrderEnd publicEnd(runtime::OrderEnd end);
plcruntime::Quality publicQuality(runtime::VariableState state);
plcruntime::StationState publicState(runtime::StationState state);

} // namespace plc::api

#endif
