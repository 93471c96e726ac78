/// @file
/// What a scan has found as a project.
#ifndef PLC_FINDING_SCAN_PROJECT_H
#define PLC_FINDING_SCAN_PROJECT_H

#include <string>
#include <vector>

#include "host/finding/scan_evidence.h"
#include "host/project/project_file.h"

namespace plc::host {

/// The setting at which most stations are, and of several such the first.
/// @param finds  at least one.
ScanSetting mostFound(const std::vector<Find> &finds);

/// A variable for each station at the setting of @p line: a line has one.
/// @param place  what they were asked for, as "4x:100".
Project projectOf(const std::vector<Find> &finds, const LineSettings &line, bool hasEcho,
                  const std::string &place);

} // namespace plc::host

#endif
