/// @file
/// plchost is written in the words of libplcruntime, so their names need no prefix here: those of its public
/// interface, and behind them those of the rooms below.
#ifndef PLC_HOST_RUNTIME_NAMES_H
#define PLC_HOST_RUNTIME_NAMES_H

#include "plcruntime/plcruntime.h"

namespace plc::runtime {}

namespace plc::host {

using namespace plc::runtime; // NOLINT(google-build-using-namespace)

// Where both have a word, it is the public one.
using plcruntime::Counters;
using plcruntime::OrderEnd;
using plcruntime::OrderResult;
using plcruntime::Statistics;
using plcruntime::VariableState;

using plcruntime::OrderId;
using plcruntime::PortChange;
using plcruntime::Quality;
using plcruntime::StationChange;
using plcruntime::VariableId;

} // namespace plc::host

#endif
