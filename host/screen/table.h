/// @file
/// Tables on a picture: a row of titles, and rows of cells under them.
#ifndef PLC_SCREEN_TABLE_H
#define PLC_SCREEN_TABLE_H

#include <functional>
#include <string>
#include <vector>

#include "host/screen/column_layout.h"
#include "host/screen/picture.h"

namespace plc::host {

struct TableCell
{
    std::string text;
    Style style = {};
};

void putTitles(Picture *picture, int row, const std::vector<PlacedColumn> &columns);

/// @param cellOf  the cell of a column, by its Column::id.
void putRow(Picture *picture, int row, const std::vector<PlacedColumn> &columns,
            const std::function<TableCell(int)> &cellOf);

} // namespace plc::host

#endif
