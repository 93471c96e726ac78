/// @file
/// A panel's project: the settings of its link, its variables, and which of them matter more.
/// docs/projects.md has the file format.
#ifndef PLC_PROJECT_PROJECT_FILE_H
#define PLC_PROJECT_PROJECT_FILE_H

#include <QByteArray>
#include <QList>
#include <QString>

#include <string>
#include <vector>

#include "host/runtime_names.h"
#include "runtime/master/link_settings.h"
#include "runtime/panel/registration.h"
#include "runtime/panel/variable.h"

namespace plc::host {

struct Project
{
    std::string name;
    LinkSettings link;
    std::vector<Variable> variables; ///< each with its name as `label` and `text`, and with its station
    std::vector<PriorityRow> rows;   ///< explicit ones first, then those of the rate classes
};

/// Reads a project.
/// @param file     how errors call the text.
/// @throw Failure  (wrong usage) with line and column of the first mistake and what is allowed there.
Project parseProject(const std::string &file, const QByteArray &text);

/// The same from the file at @p path.
Project loadProject(const std::string &path);

/// Settings that are allowed but hardly meant, a line each.
std::vector<std::string> projectWarnings(const Project &project);

} // namespace plc::host

#endif
