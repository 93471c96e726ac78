/// @file
/// The table of run on a terminal.
#ifndef PLC_COMMANDS_PAGED_TABLE_H
#define PLC_COMMANDS_PAGED_TABLE_H

#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "host/commands/output.h"
#include "host/runtime_names.h"

namespace plc::host {

/// A page of rows on a terminal, with the latest reports under it, redrawn in place. What people type stands
/// in the line below.
class PagedTable
{
public:
    explicit PagedTable(NumberStyle style) : style_(style) {}

    void turnTo(int page) { page_ = page; }
    void turn() { ++page_; }
    /// A line was typed: the cursor stands one line lower now.
    void lineTyped() { moved_ = true; }
    void report(const std::string &text);

    /// Which rows draw() is to get, as many as the terminal is high.
    /// @param count  rows that there are.
    /// @return the first row, from 0, and the row behind the last one.
    std::pair<int, int> visible(int count);
    void draw(const std::vector<Row> &rows);

private:
    void show(const std::vector<std::string> &lines);

    NumberStyle style_;
    int page_ = 1;
    int columns_ = 0; ///< of the terminal, when visible() looked
    std::string title_;
    std::deque<std::string> reports_;
    std::size_t linesDrawn_ = 0;
    bool moved_ = false;
};

} // namespace plc::host

#endif
