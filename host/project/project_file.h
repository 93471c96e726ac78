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

/// More would take the library minutes to pack, and an hour to read on most lines.
constexpr unsigned kMostVariables = 100000;

struct Project
{
    std::string name;
    LinkSettings link;
    std::vector<Variable> variables; ///< each with its name as `label` and `text`, and with its station
    std::vector<int> rates;          ///< rate class of each variable: 0, or 1 to 4
    std::vector<PriorityRow> rows;   ///< those that the file has, then those that the rate classes make
    std::size_t writtenRows = 0;     ///< rows that the file has
};

class LocatedJson;

/// Reads a project.
/// @param file     how errors call the text.
/// @throw Failure  (wrong usage) with line and column of the first mistake and what is allowed there.
Project parseProject(const std::string &file, const QByteArray &text);

/// The same of what has been taken from a text already.
/// @param link  settings where the text has none of its own.
Project projectFrom(const LocatedJson &json, const LinkSettings &link);

/// The same from the file at @p path, see textOfFile().
Project loadProject(const std::string &path);

/// Settings that are allowed but hardly meant, a line each.
std::vector<std::string> projectWarnings(const Project &project);

} // namespace plc::host

#endif
