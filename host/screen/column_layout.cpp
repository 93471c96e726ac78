#include "host/screen/column_layout.h"

#include <algorithm>

namespace plc::host {

namespace {

constexpr int kWide = 60; ///< from here on there is room for air between columns

int gapOf(int width)
{
    return width < kWide ? 1 : 2;
}

bool isLess(const Column &a, const Column &b)
{
    return a.rank < b.rank;
}

/// The width that a column gets at first.
int firstWidth(const Column &column, bool hasLuxury)
{
    return column.rank == 0 && !hasLuxury ? column.least : column.usual;
}

/// What the columns need.
int needOf(const std::vector<Column> &columns, int gap)
{
    const bool hasLuxury = std::any_of(columns.begin(), columns.end(),
                                       [](const Column &column) { return column.rank >= kLuxury; });
    int need = -gap;
    for (const Column &column : columns)
        need += gap + firstWidth(column, hasLuxury);
    return need;
}

std::vector<PlacedColumn *> byRank(std::vector<PlacedColumn> *placed)
{
    std::vector<PlacedColumn *> order;
    for (PlacedColumn &column : *placed)
        order.push_back(&column);
    std::stable_sort(order.begin(), order.end(), [](const PlacedColumn *a, const PlacedColumn *b) {
        return a->column.rank < b->column.rank;
    });
    return order;
}

} // namespace

std::vector<PlacedColumn> layOutColumns(std::vector<Column> columns, int width)
{
    const int gap = gapOf(width);
    while (!columns.empty() && needOf(columns, gap) > width) {
        const auto first = std::max_element(columns.begin(), columns.end(), isLess);
        if (first->rank == 0)
            break;
        columns.erase(first);
    }
    std::vector<PlacedColumn> placed;
    int left = width + gap;
    for (const Column &column : columns) {
        placed.push_back({column, 0, firstWidth(column, false)});
        left -= gap + placed.back().width;
    }
    for (; left < 0 && !placed.empty(); ++left) {
        const auto widest =
            std::max_element(placed.begin(), placed.end(),
                             [](const PlacedColumn &a, const PlacedColumn &b) { return a.width < b.width; });
        widest->width -= widest->width > 1 ? 1 : 0;
    }
    for (const int Column::*goal : {&Column::usual, &Column::most}) {
        for (PlacedColumn *column : byRank(&placed)) {
            const int more = std::clamp(column->column.*goal - column->width, 0, left);
            column->width += more;
            left -= more;
        }
    }
    int from = 0;
    for (PlacedColumn &column : placed) {
        column.from = from;
        from += column.width + gap;
    }
    return placed;
}

} // namespace plc::host
