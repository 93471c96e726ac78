/// @file
/// What a terminal is to show: rows of cells.
#ifndef PLC_SCREEN_PICTURE_H
#define PLC_SCREEN_PICTURE_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace plc::host {

/// What a state is to people. Only states that want somebody's attention have a colour.
enum class Health
{
    Good,
    Doubtful, ///< there is a value, but an old one
    Bad,
    Absent ///< nobody asks, or nobody has asked yet
};

struct Style
{
    Health health = Health::Good;
    bool isBold = false;
    bool isReversed = false;

    friend bool operator==(const Style &a, const Style &b)
    {
        return a.health == b.health && a.isBold == b.isBold && a.isReversed == b.isReversed;
    }
    friend bool operator!=(const Style &a, const Style &b) { return !(a == b); }
};

struct Cell
{
    std::string text = " "; ///< one character in UTF-8; empty behind one that takes two columns
    Style style;
};

/// Rows of cells, all blank at first.
class Picture
{
public:
    Picture(int width, int height);

    int width() const { return width_; }
    int height() const { return height_; }
    const Cell &at(int row, int column) const;

    /// Writes a text; what lies outside of the picture is left out, with a wide character of which only a
    /// half would fit.
    /// @return the column behind it, inside the picture or not.
    int put(int row, int column, const std::string &utf8, Style style = {});
    /// Gives a whole row that style, and keeps its colours.
    void reverse(int row);

    /// A row as text, without the blanks at its end.
    std::string line(int row) const;

    std::optional<std::pair<int, int>> cursor; ///< row and column; none: it is not to be seen

private:
    std::size_t indexOf(int row, int column) const
    {
        return static_cast<std::size_t>(row) * static_cast<std::size_t>(width_) +
               static_cast<std::size_t>(column);
    }

    Cell *find(int row, int column);

    int width_;
    int height_;
    std::vector<Cell> cells_;
};

} // namespace plc::host

#endif
