#include "host/screen/picture.h"

#include <algorithm>

#include "host/screen/text_columns.h"

namespace plc::host {

Picture::Picture(int width, int height)
    : width_(std::max(width, 1)), height_(std::max(height, 1)),
      cells_(static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_))
{}

const Cell &Picture::at(int row, int column) const
{
    return cells_[indexOf(row, column)];
}

Cell *Picture::find(int row, int column)
{
    const bool isInside = row >= 0 && row < height_ && column >= 0 && column < width_;
    return isInside ? &cells_[indexOf(row, column)] : nullptr;
}

int Picture::put(int row, int column, const std::string &utf8, Style style)
{
    for (const Glyph &glyph : glyphsOf(utf8)) {
        Cell *const first = find(row, column);
        Cell *const last = find(row, column + glyph.columns - 1);
        if (first && last) {
            *last = {std::string(), style};
            *first = {glyph.text, style};
        }
        column += glyph.columns;
    }
    return column;
}

void Picture::reverse(int row)
{
    for (int column = 0; column < width_; ++column) {
        if (Cell *const cell = find(row, column))
            cell->style.isReversed = true;
    }
}

std::string Picture::line(int row) const
{
    std::string text;
    for (int column = 0; column < width_; ++column)
        text += at(row, column).text;
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

} // namespace plc::host
