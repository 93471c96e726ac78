/// @file
/// plchost is written in the words of libplcruntime, so their names need no prefix here.
#ifndef PLC_HOST_RUNTIME_NAMES_H
#define PLC_HOST_RUNTIME_NAMES_H

namespace plc::runtime {}

namespace plc::host {

using namespace plc::runtime; // NOLINT(google-build-using-namespace)

} // namespace plc::host

#endif
