#include "host/project/register_map.h"

#include <csv.h>

#include <algorithm>
#include <cctype>
#include <iterator>

#include "host/project/located_json.h"
#include "host/project/strict_json.h"
#include "runtime/line/failure.h"

namespace plc::host {

namespace {

constexpr const char *kColumns[] = {"name", "area", "address", "station", "count", "rate"};
constexpr std::size_t kMostDigits = 9; ///< more would not fit an int

std::string columnNames()
{
    std::string names;
    for (const char *column : kColumns)
        names += (names.empty() ? "" : ", ") + std::string(column);
    return names;
}

/// An empty value that stands at @p offset.
Json::Value valueAt(std::size_t offset)
{
    Json::Value value;
    value.setOffsetStart(static_cast<std::ptrdiff_t>(offset));
    return value;
}

struct Cell
{
    std::size_t offset = 0;
    std::string text;
};

using Line = std::vector<Cell>;

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

    std::vector<Line> linesOf(const LocatedJson &place, const std::string &text)
    {
        csv_set_delim(&parser_, static_cast<unsigned char>(separatorOf(text)));
        for (std::size_t i = 0; i < text.size(); ++i) {
            if (betweenCells_ && text[i] != '\r' && text[i] != '\n') {
                cell_.offset = i;
                betweenCells_ = false;
            }
            if (csv_parse(&parser_, &text[i], 1, endCell, endLine, this) != 1)
                place.refuse(valueAt(i),
                             "a quotation mark stands inside a cell; write it twice and the cell in "
                             "quotation marks");
        }
        if (csv_fini(&parser_, endCell, endLine, this) != 0)
            place.refuse(valueAt(cell_.offset), "the quotation mark that begins this cell has no other");
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
    Cell cell_;
    Line line_;
    std::vector<Line> lines_;
};

std::string inSmallLetters(std::string text)
{
    for (char &letter : text)
        letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    return text;
}

/// Columns of the table, in its order.
std::vector<std::string> columnsOf(const LocatedJson &place, const Line &header)
{
    std::vector<std::string> columns;
    for (const Cell &cell : header) {
        const std::string name = inSmallLetters(cell.text);
        if (std::find(std::begin(kColumns), std::end(kColumns), name) == std::end(kColumns))
            place.refuse(valueAt(cell.offset),
                         "'" + cell.text + "' is no column of a map; columns are " + columnNames());
        if (std::find(columns.begin(), columns.end(), name) != columns.end())
            place.refuse(valueAt(cell.offset), "the column '" + name + "' is there already");
        columns.push_back(name);
    }
    return columns;
}

/// What the cell says: a number where it has nothing but digits and a number is due.
Json::Value valueOf(const Cell &cell, const std::string &column)
{
    const bool isNumber = column == "station" || column == "count" || column == "rate";
    const bool hasDigits = !cell.text.empty() && cell.text.size() <= kMostDigits &&
                           cell.text.find_first_not_of("0123456789") == std::string::npos;
    Json::Value value = isNumber && hasDigits ? Json::Value(std::stoi(cell.text)) : Json::Value(cell.text);
    value.setOffsetStart(static_cast<std::ptrdiff_t>(cell.offset));
    return value;
}

/// The variable that a line is, as a project file has it; empty cells are as good as none.
Json::Value variableOf(const LocatedJson &place, const Line &line, const std::vector<std::string> &columns)
{
    Json::Value variable(Json::objectValue);
    variable.setOffsetStart(static_cast<std::ptrdiff_t>(line.front().offset));
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i].text.empty())
            continue;
        if (i >= columns.size())
            place.refuse(valueAt(line[i].offset), "this line has more cells than there are columns");
        variable[columns[i]] = valueOf(line[i], columns[i]);
    }
    return variable;
}

/// Complaints have one line, and so have names and addresses.
void refuseControlCharacters(const LocatedJson &place, const std::vector<Line> &lines)
{
    const auto isControl = [](char letter) { return static_cast<unsigned char>(letter) < 0x20; };
    for (const Line &line : lines) {
        for (const Cell &cell : line) {
            if (std::any_of(cell.text.begin(), cell.text.end(), isControl))
                place.refuse(valueAt(cell.offset),
                             "this cell has a line end or another control character in it");
        }
    }
}

bool isEmpty(const Line &line)
{
    return std::all_of(line.begin(), line.end(), [](const Cell &cell) { return cell.text.empty(); });
}

} // namespace

Project parseRegisterMap(const std::string &file, const std::string &text, const LinkSettings &link)
{
    const std::string table = withoutByteOrderMark(text);
    const LocatedJson place(file, table, Json::Value());
    try {
        refuseBadUtf8(table);
    } catch (const JsonFault &fault) {
        place.refuse(valueAt(fault.offset), fault.what + "; let the spreadsheet store the table as UTF-8");
    }
    const std::vector<Line> lines = CellScan().linesOf(place, table);
    refuseControlCharacters(place, lines);
    if (lines.empty())
        place.refuse(valueAt(0), "a map begins with the names of its columns: " + columnNames());
    const std::vector<std::string> columns = columnsOf(place, lines.front());
    Json::Value variables(Json::arrayValue);
    for (auto line = lines.begin() + 1; line != lines.end(); ++line) {
        if (!isEmpty(*line))
            variables.append(variableOf(place, *line, columns));
    }
    Json::Value root(Json::objectValue);
    root["variables"] = std::move(variables);
    return projectFrom(LocatedJson(file, table, std::move(root)), link);
}

Project loadRegisterMap(const std::string &path, const LinkSettings &link)
{
    return parseRegisterMap(path, bytesOfFile(path).toStdString(), link);
}

std::string registerMapText(const Project &project)
{
    std::string text;
    for (const char *column : kColumns)
        text += (text.empty() ? "" : ",") + std::string(column);
    text += "\n";
    for (std::size_t i = 0; i < project.variables.size(); ++i) {
        const Variable &variable = project.variables[i];
        // Neither names nor addresses have a comma or a quotation mark in them.
        text += variable.label + "," + variable.area->name + "," + variable.address.toStdString() + "," +
                std::to_string(*variable.station) + "," + std::to_string(variable.count) + "," +
                std::to_string(project.rates[i]) + "\n";
    }
    return text;
}

} // namespace plc::host
