#include "host/project/saved_values.h"

#include <algorithm>
#include <map>
#include <optional>
#include <tuple>

#include "host/project/csv_table.h"
#include "host/project/located_json.h"
#include "runtime/line/failure.h"
#include "runtime/line/setting_limits.h"
#include "runtime/panel/utf8.h"

namespace plc::host {

namespace {

constexpr char kNamed[] = "name";
constexpr char kStation[] = "station";
constexpr char kValue[] = "value";
constexpr char kState[] = "state";
constexpr char kAddressesFrom[] = "addresses_from";
constexpr char kGood[] = "good";

/// The value as people type it. Of a text the table has all characters but quotation marks as they are typed.
std::string typedValue(const std::string &cell, const Variable &variable)
{
    if (!variable.format || !variable.format->isText())
        return cell;
    std::string typed = "\"";
    for (const char letter : cell)
        typed += letter == '"' ? std::string("\\\"") : std::string(1, letter);
    return typed + "\"";
}

/// The variable of the one value at @p index of @p variable.
Variable partOf(const Variable &variable, int index, int station)
{
    std::string text = variable.area->name + (":" + variable.addressOf(index));
    if (variable.format)
        text += "/" + nameOf(*variable.format);
    Variable part = variable;
    part.text = text + "@" + std::to_string(station);
    part.address = QString::fromStdString(variable.addressOf(index));
    part.first = variable.first + index * variable.valueElements();
    part.count = 1;
    part.station = station;
    part.label = variable.label.empty() ? "" : variable.nameOf(index);
    if (!part.label.empty())
        part.text = part.label;
    return part;
}

/// Reads one table; the first mistake ends it.
class TableReader
{
public:
    TableReader(const LocatedJson &place, int station, int mostElements, bool oneBased,
                const FindVariable &find)
        : place_(place), station_(station), mostElements_(mostElements), oneBased_(oneBased), find_(find)
    {}

    SavedTable read(const std::vector<CsvLine> &lines)
    {
        readColumns(lines);
        for (auto line = lines.begin() + 1; line != lines.end(); ++line) {
            if (!isEmpty(*line))
                readLine(*line);
        }
        return std::move(table_);
    }

private:
    void readColumns(const std::vector<CsvLine> &lines)
    {
        if (!lines.empty()) {
            for (std::size_t i = 0; i < lines.front().size(); ++i)
                columns_.emplace(inSmallLetters(lines.front()[i].text), i);
        }
        if (columns_.count(kNamed) == 0 || columns_.count(kValue) == 0)
            place_.refuseAt(0, "a table of values begins with the names of its columns, as read --format csv "
                               "prints them: name,station,value,state");
    }

    /// The cell of that column, null where there is none.
    const CsvCell *cellOf(const CsvLine &line, const char *column) const
    {
        const auto found = columns_.find(column);
        const bool isThere = found != columns_.end() && found->second < line.size();
        return isThere ? &line[found->second] : nullptr;
    }

    std::string textOf(const CsvLine &line, const char *column) const
    {
        const CsvCell *const cell = cellOf(line, column);
        return cell ? cell->text : std::string();
    }

    void readLine(const CsvLine &line)
    {
        const CsvCell *const name = cellOf(line, kNamed);
        if (!name || name->text.empty())
            place_.refuseAt(line.front().offset, "this line names no variable");
        checkCounting(line);
        const Variable variable = variableOf(*name, stationOf(line));
        const auto [first, isNew] =
            places_.emplace(std::make_tuple(*variable.station, variable.area->regType, variable.first),
                            place_.lineAt(name->offset));
        if (!isNew)
            place_.refuseAt(name->offset,
                            "'" + name->text + "' of station " + std::to_string(*variable.station) +
                                " has a value already, in line " + std::to_string(first->second));
        const CsvCell *const value = cellOf(line, kValue);
        const bool isGood = textOf(line, kState).rfind(kGood, 0) == 0;
        const bool isEmptyText = isGood && variable.format && variable.format->isText();
        if (!variable.area->writable)
            ++table_.readOnly;
        else if (!value || (value->text.empty() && !isEmptyText))
            ++table_.unread;
        else
            append(variable, valuesOf(*value, variable));
    }

    /// Values that were read with addresses from 1 would go one place too far, and the other way round.
    void checkCounting(const CsvLine &line) const
    {
        const CsvCell *const cell = cellOf(line, kAddressesFrom);
        if (cell && cell->text == "1" && !oneBased_)
            place_.refuseAt(cell->offset, "the addresses of this table count from 1; add --option one-based");
        if (cell && cell->text == "0" && oneBased_)
            place_.refuseAt(cell->offset,
                            "the addresses of this table count from 0; leave --option one-based out");
    }

    int stationOf(const CsvLine &line) const
    {
        const CsvCell *const cell = cellOf(line, kStation);
        if (!cell || cell->text.empty())
            return station_;
        const bool isShort =
            cell->text.size() <= 3 && cell->text.find_first_not_of("0123456789") == std::string::npos;
        const int number = isShort ? std::stoi(cell->text) : 0;
        if (number < kStationLimits.least || number > kStationLimits.most)
            place_.refuseAt(cell->offset, "'" + cell->text + "' is no station, " +
                                              std::to_string(kStationLimits.least) + " to " +
                                              std::to_string(kStationLimits.most));
        return number;
    }

    /// A variable of a project that has several values stands in several lines, as NAME[INDEX].
    Variable variableOf(const CsvCell &name, int station) const
    {
        const std::size_t bracket = name.text.rfind('[');
        const bool hasIndex = bracket != std::string::npos && name.text.back() == ']';
        const std::string digits =
            hasIndex ? name.text.substr(bracket + 1, name.text.size() - bracket - 2) : "";
        const bool isIndex = !digits.empty() && digits.size() < 6 &&
                             digits.find_first_not_of("0123456789") == std::string::npos;
        try {
            if (!isIndex)
                return single(name, find_(name.text), station);
            const Variable all = find_(name.text.substr(0, bracket));
            const int index = std::stoi(digits);
            if (index < all.count)
                return partOf(all, index, station);
        } catch (const Failure &failure) {
            place_.refuseAt(name.offset, failure.what());
        }
        place_.refuseAt(name.offset, "'" + name.text + "' has no value of that number");
    }

    Variable single(const CsvCell &name, const Variable &found, int station) const
    {
        if (found.count != 1)
            place_.refuseAt(name.offset, "a line has one value, and '" + name.text + "' has " +
                                             std::to_string(found.count));
        return partOf(found, 0, station);
    }

    Values valuesOf(const CsvCell &cell, const Variable &variable) const
    {
        try {
            Values values = parseValues(typedValue(cell.text, variable), variable, variable.text);
            if (valueCount(variable, values) == 1)
                return values;
        } catch (const Failure &failure) {
            place_.refuseAt(cell.offset, failure.what());
        }
        place_.refuseAt(cell.offset, "a line has one value");
    }

    void append(const Variable &variable, const Values &values)
    {
        if (table_.values.empty() || !follows(variable)) {
            table_.values.push_back({variable, values});
            return;
        }
        SavedValues &last = table_.values.back();
        last.values.insert(last.values.end(), values.begin(), values.end());
        ++last.variable.count;
        last.variable.text = last.variable.area->name + (":" + last.variable.addressOf(0)) + ":" +
                             std::to_string(last.variable.count);
        if (last.variable.format)
            last.variable.text += "/" + nameOf(*last.variable.format);
        last.variable.text += "@" + std::to_string(*last.variable.station);
    }

    /// Whether the variable lies right behind the last, and is of its kind. Those that people have named stay
    /// apart: each is told by its name.
    bool follows(const Variable &variable) const
    {
        const Variable &last = table_.values.back().variable;
        const auto formatOf = [](const Variable &one) { return one.format ? nameOf(*one.format) : ""; };
        return last.label.empty() && variable.label.empty() && last.area == variable.area &&
               last.station == variable.station && formatOf(last) == formatOf(variable) &&
               variable.first == last.first + last.elements() &&
               last.elements() + variable.elements() <= mostElements_;
    }

    const LocatedJson &place_;
    int station_;
    int mostElements_;
    bool oneBased_;
    const FindVariable &find_;
    std::map<std::string, std::size_t> columns_;
    std::map<std::tuple<int, int, int>, int> places_; ///< and the line of each
    SavedTable table_;
};

} // namespace

SavedTable parseSavedValues(const std::string &file, const std::string &text, int station, int mostElements,
                            bool oneBased, const FindVariable &find)
{
    const std::string table = withoutByteOrderMark(text);
    const LocatedJson place(file, table, Json::Value());
    return TableReader(place, station, mostElements, oneBased, find).read(csvLines(place, table));
}

std::vector<SavedValues> singlesOf(const SavedValues &saved)
{
    std::vector<SavedValues> singles;
    const auto size = static_cast<std::ptrdiff_t>(saved.values.size()) / saved.variable.count;
    for (int i = 0; i < saved.variable.count; ++i) {
        const auto first = saved.values.begin() + i * size;
        singles.push_back({partOf(saved.variable, i, *saved.variable.station), Values(first, first + size)});
    }
    return singles;
}

} // namespace plc::host
