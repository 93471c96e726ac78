#include "host/screen/table.h"

#include "host/screen/text_columns.h"

namespace plc::host {

namespace {

void putCell(Picture *picture, int row, const PlacedColumn &placed, const TableCell &cell)
{
    const std::string text = cutTo(cell.text, placed.width);
    const int indent = placed.column.isRight ? placed.width - columnsOf(text) : 0;
    picture->put(row, placed.from + indent, text, cell.style);
}

} // namespace

void putTitles(Picture *picture, int row, const std::vector<PlacedColumn> &columns)
{
    Style title;
    title.isBold = true;
    for (const PlacedColumn &placed : columns)
        putCell(picture, row, placed, {placed.column.title, title});
}

void putRow(Picture *picture, int row, const std::vector<PlacedColumn> &columns,
            const std::function<TableCell(int)> &cellOf)
{
    for (const PlacedColumn &placed : columns)
        putCell(picture, row, placed, cellOf(placed.column.id));
}

} // namespace plc::host
