/// @file
/// Writes project files. docs/projects.md has their format.
#ifndef PLC_PROJECT_PROJECT_WRITER_H
#define PLC_PROJECT_PROJECT_WRITER_H

#include <string>

#include "host/project/project_file.h"

namespace plc::host {

/// The text that parseProject() reads as @p project, a variable a line. Settings that are the default are
/// left out, but for port, rate and parity.
std::string projectText(const Project &project);

} // namespace plc::host

#endif
