/// @file
/// What a scan has found, for people and for programs.
#ifndef PLC_COMMANDS_FIND_TABLE_H
#define PLC_COMMANDS_FIND_TABLE_H

#include <string>
#include <vector>

#include "host/commands/output.h"
#include "host/finding/scan.h"

namespace plc::host {

/// "good", "bad link", "two stations", "heard".
const char *stateName(FindState state);

/// What a setting has shown besides stations: an echo, noise, a babbling device; empty for nothing.
std::string remarksOn(const SettingReport &report);

/// Finds as lines, line ends included.
/// @param withHead  of csv: with the names of the columns.
std::string findLines(const std::vector<Find> &finds, Format format, WallTime time, bool withHead);

} // namespace plc::host

#endif
