/// @file
/// The table of values.
#ifndef PLC_SCREEN_VALUE_TABLE_H
#define PLC_SCREEN_VALUE_TABLE_H

#include <string>
#include <vector>

#include "host/screen/cursor_list.h"
#include "host/screen/picture.h"
#include "host/screen/screen_source.h"
#include "host/screen/table.h"

namespace plc::host {

/// A row for each value with its address, or for each variable with its first address, whatever the width. At
/// 38 columns a row still has its name (of a variable without one, its address), value and state. As the
/// width shrinks, these go before: reason, description, registers, address of what has a name, age, unit.
/// Registers and what goes before them are there only where nothing else is cut that is not very long.
class ValueTable
{
public:
    /// @param source  outlives this object; its variables do not change.
    ValueTable(const ScreenSource &source, NumberStyle style);

    /// A key that moves the chosen row.
    bool press(const Key &key) { return list_.press(key); }
    /// @param page  counted from 1.
    void showPage(int page) { list_.showPage(page); }
    void nextPage() { list_.next(); }

    /// A row a value, or a row a variable.
    void toggleBlocks();
    /// Only what is not good: bad, doubtful or never read; or everything.
    void toggleOnlyBad();
    bool isOnlyBad() const { return onlyBad_; }

    /// Chooses the next row whose name, address, unit or description contains @p text, capital or small,
    /// from the chosen one on and round.
    /// @return false where there is none.
    bool find(const std::string &text, bool backwards = false);

    /// Takes note of what is to be seen now. Before draw() and what tells of it.
    void fit(int rows);
    /// Draws the titles into @p titleRow, below 0 for none, and the rows from @p firstRow on.
    void draw(Picture *picture, int titleRow, int firstRow) const;
    /// The same without colours, a line a row, for a terminal that the screen has left.
    std::vector<std::string> lines(int width) const;

    /// All that is known of the chosen row; empty where there is none.
    std::string detail() const;
    Health chosenHealth() const;
    /// Number of the variable that is chosen; -1 for none.
    int chosenVariable() const;
    /// "1-18 of 120".
    std::string position() const;

private:
    struct Place
    {
        int variable = 0;
        int index = 0; ///< of the value; always 0 where a row is a variable
    };

    int rowCount() const { return isBlocks_ ? source_.count() : firstRow_.back(); }
    Place placeOf(int row) const;
    /// Row number of what stands at that place of the list.
    int rowAt(int listed) const { return onlyBad_ ? rows_[static_cast<std::size_t>(listed)] : listed; }
    std::string nameOf(const Place &place) const;
    std::string addressOf(const Place &place) const;
    std::string valueOf(const Place &place, const Reading &reading) const;
    std::string registersOf(const Place &place, const Reading &reading) const;
    bool contains(int row, const std::string &text) const;
    TableCell cellOf(int column, const Place &place, const Reading &reading) const;
    std::vector<PlacedColumn> columns(int width) const;
    void measure();

    const ScreenSource &source_;
    NumberStyle style_;
    bool hasNames_ = false;
    bool hasManyStations_ = false;
    std::vector<int> firstRow_; ///< by variable, where a row is a value; one more than there are
    std::vector<Column> columns_;
    bool isBlocks_ = false;
    bool onlyBad_ = false;
    std::vector<int> rows_; ///< that are bad, of onlyBad_
    int height_ = 1;        ///< rows that there is room for
    CursorList list_;
};

} // namespace plc::host

#endif
