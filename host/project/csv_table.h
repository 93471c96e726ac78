/// @file
/// Tables in CSV (RFC 4180), taken apart, with the place of each cell.
#ifndef PLC_PROJECT_CSV_TABLE_H
#define PLC_PROJECT_CSV_TABLE_H

#include <cstddef>
#include <string>
#include <vector>

#include "host/project/located_json.h"
#include "host/runtime_names.h"

namespace plc::host {

struct CsvCell
{
    std::size_t offset = 0; ///< in the text of the table
    std::string text;
};

using CsvLine = std::vector<CsvCell>;

/// The lines of a table. Cells are separated by what stands between those of the first line: comma, semicolon
/// or tabulator. Blanks around a cell without quotation marks do not count.
/// @param place  tells where in @p table a mistake is.
/// @param table  without a byte order mark.
/// @throw Failure  (wrong usage) for text that is not UTF-8, quotation marks without their other half, and
///                 control characters in a cell.
std::vector<CsvLine> csvLines(const LocatedJson &place, const std::string &table);

/// True for a line whose cells are all empty.
bool isEmpty(const CsvLine &line);

} // namespace plc::host

#endif
