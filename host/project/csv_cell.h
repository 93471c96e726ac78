/// @file
/// Cells of lines in CSV (RFC 4180).
#ifndef PLC_PROJECT_CSV_CELL_H
#define PLC_PROJECT_CSV_CELL_H

#include <string>

namespace plc::host {

/// The text as a cell between commas: in quotation marks where it has a comma, a quotation mark, or a blank
/// at one of its ends, which many programs would leave out.
std::string csvCell(const std::string &text);

} // namespace plc::host

#endif
