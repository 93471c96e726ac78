#include "host/commands/paged_table.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include "host/commands/standard_streams.h"
#include <algorithm>

namespace plc::host {

namespace {

constexpr std::size_t kReportsShown = 4;
constexpr int kUsualRows = 24;
constexpr int kUsualColumns = 80;
constexpr int kOtherLines = 5; ///< of a table: headings, page, hint, and some air
constexpr char kSaveCursor[] = "\x1b\x37";
constexpr char kRestoreCursor[] = "\x1b\x38";

} // namespace

void PagedTable::report(const std::string &text)
{
    reports_.push_back(text);
    if (reports_.size() > kReportsShown)
        reports_.pop_front();
}

std::pair<int, int> PagedTable::visible(int count)
{
    winsize size{};
    const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0 && size.ws_col > 0;
    columns_ = known ? size.ws_col : kUsualColumns;
    const int height = known ? size.ws_row : kUsualRows;
    const int rows = std::max(1, height - kOtherLines - static_cast<int>(kReportsShown));
    const int pages = (count + rows - 1) / rows;
    page_ = page_ > pages ? 1 : std::max(page_, 1);
    const int from = (page_ - 1) * rows;
    const int end = std::min(from + rows, count);
    title_ = "variables " + std::to_string(from + 1) + " to " + std::to_string(end) + " of " +
             std::to_string(count);
    if (pages > 1)
        title_ += ", page " + std::to_string(page_) + " of " + std::to_string(pages) + " (Enter turns it)";
    return {from, end};
}

void PagedTable::draw(const std::vector<Row> &rows)
{
    std::vector<std::vector<std::string>> cells{{"variable", "station", "value", "age", "state"}};
    for (const Row &row : rows)
        cells.push_back({row.variable.text, std::to_string(row.station),
                         row.values ? formatValues(row.variable, *row.values, style_, " ") : "-",
                         row.age ? formatAge(*row.age) : "-", fullState(row)});
    std::vector<std::string> lines = layOut(cells);
    lines.push_back(title_);
    lines.insert(lines.end(), reports_.begin(), reports_.end());
    show(lines);
}

void PagedTable::show(const std::vector<std::string> &lines)
{
    // What was typed of a line stays on the screen as long as the picture keeps its height.
    const bool inPlace = !moved_ && linesDrawn_ == lines.size();
    std::string screen = inPlace ? kSaveCursor : "";
    const std::size_t up = linesDrawn_ + (moved_ ? 1 : 0);
    if (up > 0)
        screen += "\r\x1b[" + std::to_string(up) + "A";
    for (const std::string &line : lines)
        screen += "\r" + firstCharacters(line, static_cast<std::size_t>(columns_ - 1)) + "\x1b[K\n";
    screen += inPlace ? kRestoreCursor : "\r\x1b[J";
    print(screen);
    linesDrawn_ = lines.size();
    moved_ = false;
}

} // namespace plc::host
