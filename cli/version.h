/// @file
/// Which version of the tools this is.
#ifndef PLC_CLI_VERSION_H
#define PLC_CLI_VERSION_H

#include <string>

namespace plc::cli {

/// "plchost 1.0.0".
std::string versionLine(const std::string &program);
/// Day on which this was configured, as "2026-11-22".
std::string versionDate();

} // namespace plc::cli

#endif
