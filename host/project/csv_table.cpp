#include "host/project/csv_table.h"

#include <csv.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "cli/strict_json.h"
#include "runtime/line/failure.h"

namespace plc::host {

namespace {

char separatorOf(const std::string &text)
{
    const std::string names = text.substr(0, text.find_first_of("\r\n"));
    const auto count = [&](char letter) { return std::count(names.begin(), names.end(), letter); };
    constexpr char kSeparators[] = {',', ';', '\t'};
    return *std::max_element(std::begin(kSeparators), std::end(kSeparators),
                             [&](char one, char other) { return count(one) < count(other); });
}

/// Takes a text apart by means of libcsv, which tells no places: it is fed byte by byte, so that they are
/// known.
class CellScan
{
public:
    CellScan() { csv_init(&parser_, CSV_STRICT | CSV_STRICT_FINI); }
    ~CellScan() { csv_free(&parser_); }
    CellScan(const CellScan &) = delete;
    CellScan &operator=(const CellScan &) = delete;

    std::vector<CsvLine> linesOf(const LocatedJson &place, const std::string &text)
    {
        csv_set_delim(&parser_, static_cast<unsigned char>(separatorOf(text)));
        for (std::size_t i = 0; i < text.size(); ++i) {
            if (betweenCells_ && text[i] != '\r' && text[i] != '\n') {
                cell_.offset = i;
                betweenCells_ = false;
            }
            if (csv_parse(&parser_, &text[i], 1, endCell, endLine, this) != 1)
                place.refuseAt(i, "a quotation mark stands inside a cell; write it twice and the cell in "
                                  "quotation marks");
        }
        if (csv_fini(&parser_, endCell, endLine, this) != 0)
            place.refuseAt(cell_.offset, "the quotation mark that begins this cell has no other");
        return std::move(lines_);
    }

private:
    static void endCell(void *bytes, std::size_t size, void *self)
    {
        auto *scan = static_cast<CellScan *>(self);
        scan->cell_.text.assign(static_cast<const char *>(bytes), size);
        scan->line_.push_back(scan->cell_);
        scan->betweenCells_ = true;
    }

    static void endLine(int, void *self)
    {
        auto *scan = static_cast<CellScan *>(self);
        scan->lines_.push_back(std::move(scan->line_));
        scan->line_.clear();
    }

    csv_parser parser_{};
    bool betweenCells_ = true;
    CsvCell cell_;
    CsvLine line_;
    std::vector<CsvLine> lines_;
};

void refuseControlCharacters(const LocatedJson &place, const std::vector<CsvLine> &lines)
{
    for (const CsvLine &line : lines) {
        for (const CsvCell &cell : line) {
            if (hasControlCharacters(cell.text))
                place.refuseAt(cell.offset, "this cell has a line end or another control character in it");
        }
    }
}

} // namespace

std::vector<CsvLine> csvLines(const LocatedJson &place, const std::string &table)
{
    try {
        cli::refuseBadUtf8(table);
    } catch (const cli::JsonFault &fault) {
        place.refuseAt(fault.offset, fault.what + "; let the spreadsheet store the table as UTF-8");
    }
    std::vector<CsvLine> lines = CellScan().linesOf(place, table);
    refuseControlCharacters(place, lines);
    return lines;
}

bool isEmpty(const CsvLine &line)
{
    return std::all_of(line.begin(), line.end(), [](const CsvCell &cell) { return cell.text.empty(); });
}

} // namespace plc::host
