/// @file
/// Cells of lines in CSV (RFC 4180).
#ifndef PLC_PROJECT_CSV_CELL_H
#define PLC_PROJECT_CSV_CELL_H

#include <string>

namespace plc::host {

/// The text as a cell between commas: in quotation marks where it has a comma or a quotation mark in it.
std::string csvCell(const std::string &text);

} // namespace plc::host

#endif
