#include "host/project/register_map.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <optional>
#include <set>

#include "host/project/csv_cell.h"
#include "host/project/csv_table.h"
#include "host/project/input_file.h"
#include "host/project/located_json.h"
#include "host/project/variable_meaning.h"
#include "runtime/line/failure.h"
#include "runtime/panel/utf8.h"
#include "runtime/panel/value_text.h"

namespace plc::host {

namespace {

constexpr const char *kColumns[] = {"name", "area",   "address", "station",     "count",
                                    "rate", "format", "scale",   "offset",      "unit",
                                    "min",  "max",    "texts",   "description", "kind"};
constexpr std::size_t kUsualColumns = 6; ///< that every map has; the others only where they are used
constexpr char kKindColumn[] = "kind";   ///< what a line is: empty for a variable
constexpr char kHoleKind[] = "hole";
constexpr const char *kHoleColumns[] = {"station", "area", "address", "count"};
constexpr char kTextSeparator = '|';
constexpr std::size_t kMostDigits = 9; ///< more would not fit an int

std::string columnNames()
{
    std::string names;
    for (const char *column : kColumns)
        names += (names.empty() ? "" : ", ") + std::string(column);
    return names;
}

/// Columns of the table, in its order.
std::vector<std::string> columnsOf(const LocatedJson &place, const CsvLine &header)
{
    std::vector<std::string> columns;
    for (const CsvCell &cell : header) {
        const std::string name = inSmallLetters(cell.text);
        if (std::find(std::begin(kColumns), std::end(kColumns), name) == std::end(kColumns))
            place.refuseAt(cell.offset,
                           "'" + cell.text + "' is no column of a map; columns are " + columnNames());
        if (std::find(columns.begin(), columns.end(), name) != columns.end())
            place.refuseAt(cell.offset, "the column '" + name + "' is there already");
        columns.push_back(name);
    }
    return columns;
}

Json::Value at(std::size_t offset, Json::Value value)
{
    value.setOffsetStart(static_cast<std::ptrdiff_t>(offset));
    return value;
}

/// A whole number where the text is nothing but digits.
Json::Value wholeOrText(const std::string &text)
{
    const bool hasDigits = !text.empty() && text.size() <= kMostDigits &&
                           text.find_first_not_of("0123456789") == std::string::npos;
    return hasDigits ? Json::Value(std::stoi(text)) : Json::Value(text);
}

/// A number where the text is one as projects have it.
Json::Value numberOrText(const std::string &text)
{
    double number = 0;
    const char *const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    const bool isNumber = read.ptr == end && read.ec == std::errc() && std::isfinite(number);
    return isNumber ? Json::Value(number) : Json::Value(text);
}

/// The texts of "0=off|1=on".
Json::Value textsOf(const LocatedJson &place, const CsvCell &cell)
{
    Json::Value texts(Json::objectValue);
    for (std::size_t from = 0; from <= cell.text.size();) {
        const std::size_t end = std::min(cell.text.find(kTextSeparator, from), cell.text.size());
        const std::string one = cell.text.substr(from, end - from);
        const std::size_t equals = one.find('=');
        if (equals == std::string::npos)
            place.refuseAt(cell.offset, "texts are VALUE=TEXT with | between them, as 0=off|1=on");
        const std::string value = one.substr(0, equals);
        if (texts.isMember(value))
            place.refuseAt(cell.offset, "the value '" + value + "' has two texts");
        // Each a place of its own, so that they keep their order.
        texts[value] = at(cell.offset + from, one.substr(equals + 1));
        from = end + 1;
    }
    return texts;
}

/// What the cell says, in the type that is due where it can be read so.
Json::Value valueOf(const LocatedJson &place, const CsvCell &cell, const std::string &column)
{
    if (column == "texts")
        return at(cell.offset, textsOf(place, cell));
    if (column == "station" || column == "count" || column == "rate")
        return at(cell.offset, wholeOrText(cell.text));
    const bool isReal = column == "scale" || column == "offset" || column == "min" || column == "max";
    return at(cell.offset, isReal ? numberOrText(cell.text) : Json::Value(cell.text));
}

/// The variable that a line is, as a project file has it; empty cells are as good as none.
Json::Value variableOf(const LocatedJson &place, const CsvLine &line, const std::vector<std::string> &columns)
{
    Json::Value variable(Json::objectValue);
    variable.setOffsetStart(static_cast<std::ptrdiff_t>(line.front().offset));
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i].text.empty())
            continue;
        if (i >= columns.size())
            place.refuseAt(line[i].offset, "this line has more cells than there are columns");
        variable[columns[i]] = valueOf(place, line[i], columns[i]);
    }
    return variable;
}

/// Takes the kind out of what a line says.
/// @return whether it is a hole, of which the columns of holes alone are left.
bool takeKind(const LocatedJson &place, Json::Value *line)
{
    Json::Value kind;
    if (!line->removeMember(kKindColumn, &kind))
        return false;
    if (kind.asString() != kHoleKind)
        place.refuse(kind, "the kind of a line is empty, or 'hole' for what the station refuses");
    for (const std::string &column : line->getMemberNames()) {
        if (std::find(std::begin(kHoleColumns), std::end(kHoleColumns), column) == std::end(kHoleColumns))
            line->removeMember(column);
    }
    return true;
}

/// The cells of a hole in the order of kColumns.
std::vector<std::string> cellsOf(const Hole &hole, bool oneBased)
{
    std::vector<std::string> cells = {"", areaName(hole.baseType),
                                      std::to_string(hole.first + (oneBased ? 1 : 0)),
                                      std::to_string(hole.station), std::to_string(hole.count)};
    cells.resize(std::size(kColumns));
    cells.back() = kHoleKind;
    return cells;
}

/// Complaints have one line, and so have names and addresses.
std::string textsCell(const Variable &variable)
{
    std::string cell;
    for (const ValueName &name : variable.meaning->names)
        cell +=
            (cell.empty() ? "" : std::string(1, kTextSeparator)) + keyOf(variable, name) + "=" + name.text;
    return cell;
}

/// The cells of a variable in the order of kColumns.
std::vector<std::string> cellsOf(const Variable &variable, int rate)
{
    const auto numberCell = [](const std::optional<double> &number) {
        return number ? shortestText(*number) : std::string();
    };
    const auto unless = [](double usual, double number) {
        return number == usual ? std::nullopt : std::make_optional(number);
    };
    std::vector<std::string> cells = {variable.label,
                                      variable.area->name,
                                      variable.address.toStdString(),
                                      std::to_string(*variable.station),
                                      std::to_string(variable.count),
                                      std::to_string(rate),
                                      variable.format ? nameOf(*variable.format) : ""};
    cells.resize(std::size(kColumns));
    if (!variable.meaning)
        return cells;
    const Meaning &meaning = *variable.meaning;
    const std::vector<std::string> meanings = {numberCell(unless(1, meaning.scale)),
                                               numberCell(unless(0, meaning.offset)),
                                               meaning.unit,
                                               numberCell(meaning.least),
                                               numberCell(meaning.most),
                                               textsCell(variable),
                                               meaning.description};
    std::copy(meanings.begin(), meanings.end(), cells.begin() + kUsualColumns + 1);
    return cells;
}

} // namespace

Project parseRegisterMap(const std::string &file, const std::string &text, const LinkSettings &link)
{
    const std::string table = withoutByteOrderMark(text);
    const LocatedJson place(file, table, Json::Value());
    const std::vector<CsvLine> lines = csvLines(place, table);
    if (lines.empty())
        place.refuseAt(0, "a map begins with the names of its columns: " + columnNames());
    const std::vector<std::string> columns = columnsOf(place, lines.front());
    Json::Value variables(Json::arrayValue);
    Json::Value holes(Json::arrayValue);
    for (auto line = lines.begin() + 1; line != lines.end(); ++line) {
        if (isEmpty(*line))
            continue;
        Json::Value entry = variableOf(place, *line, columns);
        (takeKind(place, &entry) ? holes : variables).append(entry);
    }
    Json::Value root(Json::objectValue);
    root["variables"] = std::move(variables);
    root["holes"] = std::move(holes);
    return projectFrom(LocatedJson(file, table, std::move(root)), link);
}

Project loadRegisterMap(const std::string &path, const LinkSettings &link)
{
    return parseRegisterMap(path, textOfFile(path), link);
}

std::string registerMapText(const Project &project)
{
    std::vector<std::vector<std::string>> lines;
    std::set<std::size_t> used;
    const auto add = [&](const std::vector<std::string> &cells) {
        lines.push_back(cells);
        for (std::size_t column = 0; column < cells.size(); ++column) {
            if (column < kUsualColumns || !cells[column].empty())
                used.insert(column);
        }
    };
    for (std::size_t i = 0; i < project.variables.size(); ++i)
        add(cellsOf(project.variables[i], project.rates[i]));
    for (const Hole &hole : project.link.holes)
        add(cellsOf(hole, project.link.oneBased()));
    lines.insert(lines.begin(), std::vector<std::string>(std::begin(kColumns), std::end(kColumns)));
    std::string text;
    for (const std::vector<std::string> &line : lines) {
        for (const std::size_t column : used)
            text += (column > 0 ? "," : "") + csvCell(line[column]);
        text += "\n";
    }
    return text;
}

} // namespace plc::host
