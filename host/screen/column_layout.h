/// @file
/// Which columns of a table fit into a width, and how wide each is.
#ifndef PLC_SCREEN_COLUMN_LAYOUT_H
#define PLC_SCREEN_COLUMN_LAYOUT_H

#include <string>
#include <vector>

namespace plc::host {

struct Column
{
    int id = 0; ///< whatever the table calls it
    std::string title;
    int rank = 0;         ///< columns of rank 0 stay; of the others the one with the highest rank goes first
    int least = 1;        ///< columns of the terminal that are enough to be of use
    int usual = 1;        ///< what its usual content takes, at least `least`
    int most = 1;         ///< what its longest content takes, at least `usual`
    bool isRight = false; ///< its content stands at the right, as numbers do
};

struct PlacedColumn
{
    Column column;
    int from = 0;
    int width = 0;
};

/// Columns of this rank and above are there only where all others have their usual widths.
constexpr int kLuxury = 4;

/// Lays columns out in their order.
///
/// Columns go, highest rank first, until the rest fits with its usual widths, those of rank 0 with their
/// least ones where no luxury is left. What is left over goes to the columns by rank, up to `usual`, and then
/// up to `most`. Where not even the columns of rank 0 fit, the widest of them get narrower.
std::vector<PlacedColumn> layOutColumns(std::vector<Column> columns, int width);

} // namespace plc::host

#endif
