/// @file
/// Register maps: the variables of a project as a table that a spreadsheet opens (CSV, RFC 4180).
/// docs/projects.md has the columns.
#ifndef PLC_PROJECT_REGISTER_MAP_H
#define PLC_PROJECT_REGISTER_MAP_H

#include <string>

#include "host/project/project_file.h"

namespace plc::host {

/// Reads a map: a line with the names of the columns, then a line a variable. Cells are separated by what
/// stands between the names: comma, semicolon or tabulator.
/// @param file     how errors call the text.
/// @param link     settings of the project; its station is that of variables that name none.
/// @throw Failure  (wrong usage) with line and column of the first mistake and what is allowed there.
Project parseRegisterMap(const std::string &file, const std::string &text, const LinkSettings &link);

/// The same from the file at @p path.
Project loadRegisterMap(const std::string &path, const LinkSettings &link);

/// The variables of @p project as a map. Neither settings nor name rows have a place in it.
std::string registerMapText(const Project &project);

} // namespace plc::host

#endif
