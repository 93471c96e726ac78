#include "host/screen/value_table.h"

#include <algorithm>
#include <cstdio>
#include <set>

#include "host/screen/durations.h"
#include "host/screen/text_columns.h"
#include "runtime/panel/utf8.h"
#include "runtime/panel/value_text.h"

namespace plc::host {

namespace {

enum ColumnId
{
    kName,
    kAddress,
    kValueText,
    kUnitText,
    kRegisters,
    kAge,
    kState,
    kDescription,
    kReason
};

constexpr int kShownRegisters = 4;
/// Behind this, more of a block is to be seen nowhere.
constexpr int kLongestValue = 400;

const Meaning &meaningOf(const Variable &variable)
{
    static const Meaning kNone;
    return variable.meaning ? *variable.meaning : kNone;
}

int formatColumns(const Variable &variable, NumberStyle style)
{
    if (meaningOf(variable).isScaled())
        return 10;
    switch (variable.registerFormat().kind) {
    case ValueKind::U16:
        return style == NumberStyle::Unsigned || variable.format ? 5 : 6;
    case ValueKind::I16:
    case ValueKind::Hex:
    case ValueKind::Bcd:
        return 6;
    case ValueKind::Bin:
        return 18;
    case ValueKind::U32:
    case ValueKind::I32:
        return 11;
    case ValueKind::F32:
        return 13;
    case ValueKind::Text:
        return variable.registerFormat().textBytes + 2;
    case ValueKind::U64:
    case ValueKind::I64:
    case ValueKind::F64:
        break;
    }
    return 20;
}

/// Columns that a value of the variable usually takes.
int valueColumns(const Variable &variable, NumberStyle style)
{
    int columns = variable.area->unit == Unit::Bit || variable.area->insideRegister
                      ? 1
                      : formatColumns(variable, style);
    for (const ValueName &name : meaningOf(variable).names)
        columns = std::max(columns, columnsOf(name.text) + 4);
    return columns;
}

/// Raw elements of one value.
int elementsOf(const Variable &variable)
{
    return variable.area->unit == Unit::RegisterPair ? 1 : variable.valueElements();
}

bool holdsRegisters(const Variable &variable)
{
    return variable.area->unit != Unit::Bit && !variable.area->insideRegister;
}

Style styleOf(Health health)
{
    Style style;
    style.health = health;
    return style;
}

/// What is not good. A station that was switched off is as somebody wants it.
bool isWanted(const Reading &reading)
{
    return reading.health == Health::Bad || reading.health == Health::Doubtful || reading.isUnread;
}

bool isMissing(const Reading &reading, int index)
{
    const auto at = static_cast<std::size_t>(index);
    return at < reading.missing.size() && reading.missing[at];
}

bool holds(const std::string &text, const std::string &part)
{
    return fromUtf8(text).contains(fromUtf8(part), Qt::CaseInsensitive);
}

} // namespace

ValueTable::ValueTable(const ScreenSource &source, NumberStyle style) : source_(source), style_(style)
{
    std::set<int> stations;
    for (int number = 0; number < source_.count(); ++number) {
        firstRow_.push_back(number == 0 ? 0 : firstRow_.back() + source_.variable(number - 1).count);
        hasNames_ = hasNames_ || !source_.variable(number).label.empty();
        stations.insert(source_.station(number));
    }
    firstRow_.push_back(
        source_.count() == 0 ? 0 : firstRow_.back() + source_.variable(source_.count() - 1).count);
    hasManyStations_ = stations.size() > 1;
    measure();
    fit(1);
}

/// The columns are as wide as the variables ask, not the values, so that nothing moves while values change.
void ValueTable::measure()
{
    int name = hasNames_ ? 4 : 7;
    int address = 7;
    int value = 5;
    int unit = 0;
    int registers = 0;
    int description = 0;
    for (int number = 0; number < source_.count(); ++number) {
        const Variable &variable = source_.variable(number);
        const Place last{number, isBlocks_ ? 0 : variable.count - 1};
        name = std::max(name, columnsOf(nameOf(last)));
        if (!variable.label.empty())
            address = std::max(address, columnsOf(addressOf(last)));
        const int shown = isBlocks_ ? variable.count * (valueColumns(variable, style_) + 1) - 1
                                    : valueColumns(variable, style_);
        value = std::min(std::max(value, shown), kLongestValue);
        unit = std::max(unit, columnsOf(meaningOf(variable).unit));
        const int here =
            holdsRegisters(variable) ? 5 * std::min(variable.valueElements(), kShownRegisters) - 1 : 0;
        registers = std::max(registers, here);
        description = std::max(description, columnsOf(meaningOf(variable).description));
    }
    columns_ = {
        {kName, hasNames_ ? "name" : "address", 0, std::min(name, 14), std::min(name, 30), name, false}};
    if (hasNames_)
        columns_.push_back({kAddress, "address", 3, address, address, address, false});
    columns_.push_back({kValueText, "value", 0, std::min(value, 10), std::min(value, 20), value, !isBlocks_});
    if (unit > 0)
        columns_.push_back(
            {kUnitText, "unit", 1, std::max(unit, 4), std::max(unit, 4), std::max(unit, 4), false});
    if (registers > 0 && !isBlocks_)
        columns_.push_back(
            {kRegisters, "registers", 4, 9, std::max(registers, 9), std::max(registers, 9), false});
    columns_.push_back({kAge, "age", 2, 7, 7, 7, true});
    columns_.push_back({kState, "state", 0, 12, 12, 40, false});
    if (description > 0)
        columns_.push_back({kDescription, "description", 5, 11, std::clamp(description, 11, 30),
                            std::max(description, 11), false});
    columns_.push_back({kReason, "reason", 6, 40, 40, 200, false});
}

void ValueTable::toggleBlocks()
{
    const Place chosen = chosenVariable() < 0 ? Place{} : placeOf(rowAt(list_.chosen()));
    isBlocks_ = !isBlocks_;
    measure();
    if (!onlyBad_)
        list_.refill(rowCount(),
                     isBlocks_ ? chosen.variable : firstRow_[static_cast<std::size_t>(chosen.variable)]);
    fit(height_); // the next key may come before the next drawing
}

void ValueTable::toggleOnlyBad()
{
    onlyBad_ = !onlyBad_;
    fit(height_);
}

ValueTable::Place ValueTable::placeOf(int row) const
{
    if (isBlocks_)
        return {row, 0};
    const auto behind = std::upper_bound(firstRow_.begin(), firstRow_.end(), row);
    return {static_cast<int>(behind - firstRow_.begin()) - 1, row - *(behind - 1)};
}

void ValueTable::fit(int rows)
{
    height_ = rows;
    if (!onlyBad_) {
        list_.fit(rowCount(), rows);
        return;
    }
    rows_.clear();
    for (int number = 0; number < source_.count(); ++number) {
        if (!isWanted(source_.reading(number)))
            continue;
        const int first = isBlocks_ ? number : firstRow_[static_cast<std::size_t>(number)];
        const int end = isBlocks_ ? number + 1 : firstRow_[static_cast<std::size_t>(number) + 1];
        for (int row = first; row < end; ++row)
            rows_.push_back(row);
    }
    list_.fit(static_cast<int>(rows_.size()), rows);
}

std::vector<PlacedColumn> ValueTable::columns(int width) const
{
    return layOutColumns(columns_, width);
}

std::string ValueTable::nameOf(const Place &place) const
{
    const Variable &variable = source_.variable(place.variable);
    if (variable.label.empty())
        return addressOf(place);
    return isBlocks_ ? variable.label : variable.nameOf(place.index);
}

std::string ValueTable::addressOf(const Place &place) const
{
    const Variable &variable = source_.variable(place.variable);
    std::string address = std::string(variable.area->name) + ":" + variable.addressOf(place.index);
    if (isBlocks_ && variable.count > 1)
        address += ":" + std::to_string(variable.count);
    if (variable.format)
        address += "/" + runtime::nameOf(*variable.format);
    return hasManyStations_ ? address + "@" + std::to_string(source_.station(place.variable)) : address;
}

std::string ValueTable::valueOf(const Place &place, const Reading &reading) const
{
    const Variable &variable = source_.variable(place.variable);
    if (!reading.values)
        return "-";
    const auto textOf = [&](int index) {
        return isMissing(reading, index) ? "?" : describeValue(variable, *reading.values, index, style_);
    };
    std::string text = textOf(place.index);
    for (int index = 1; isBlocks_ && index < variable.count && text.size() < kLongestValue; ++index)
        text += " " + textOf(index);
    return text;
}

std::string ValueTable::registersOf(const Place &place, const Reading &reading) const
{
    const Variable &variable = source_.variable(place.variable);
    if (!reading.values || isMissing(reading, place.index) || !holdsRegisters(variable))
        return std::string();
    const bool isPair = variable.area->unit == Unit::RegisterPair;
    const int elements = elementsOf(variable);
    const std::size_t first = static_cast<std::size_t>(place.index) * static_cast<std::size_t>(elements);
    std::string text;
    for (int i = 0; i < std::min(elements, kShownRegisters); ++i) {
        const std::uint32_t element = (*reading.values)[first + static_cast<std::size_t>(i)];
        char digits[16];
        if (isPair)
            std::snprintf(digits, sizeof digits, "%04X %04X", element >> 16, element & 0xFFFFu);
        else
            std::snprintf(digits, sizeof digits, "%04X", element);
        text += (text.empty() ? "" : " ") + std::string(digits);
    }
    return elements > kShownRegisters ? text + " ..." : text;
}

TableCell ValueTable::cellOf(int column, const Place &place, const Reading &reading) const
{
    const Variable &variable = source_.variable(place.variable);
    switch (column) {
    case kName:
        return {nameOf(place)};
    case kAddress:
        return {variable.label.empty() ? std::string() : addressOf(place)};
    case kValueText:
        return {valueOf(place, reading), styleOf(reading.health)};
    case kUnitText:
        return {meaningOf(variable).unit};
    case kRegisters:
        return {registersOf(place, reading)};
    case kAge:
        return {reading.age ? ageText(*reading.age) : "-"};
    case kState:
        return {reading.state, styleOf(reading.health)};
    case kDescription:
        return {meaningOf(variable).description};
    default:
        break;
    }
    return {reading.reason, styleOf(reading.health)};
}

void ValueTable::draw(Picture *picture, int titleRow, int firstRow) const
{
    const std::vector<PlacedColumn> placed = columns(picture->width());
    if (titleRow >= 0)
        putTitles(picture, titleRow, placed);
    int known = -1;
    Reading reading;
    for (int listed = list_.top(); listed < list_.end(); ++listed) {
        const Place place = placeOf(rowAt(listed));
        if (place.variable != known)
            reading = source_.reading(place.variable);
        known = place.variable;
        const int row = firstRow + listed - list_.top();
        putRow(picture, row, placed, [&](int column) { return cellOf(column, place, reading); });
        if (listed == list_.chosen())
            picture->reverse(row);
    }
}

std::vector<std::string> ValueTable::lines(int width) const
{
    Picture picture(width, list_.end() - list_.top() + 1);
    draw(&picture, 0, 1);
    std::vector<std::string> lines;
    for (int row = 0; row < picture.height(); ++row)
        lines.push_back(picture.line(row));
    return lines;
}

int ValueTable::chosenVariable() const
{
    return list_.count() == 0 ? -1 : placeOf(rowAt(list_.chosen())).variable;
}

Health ValueTable::chosenHealth() const
{
    return chosenVariable() < 0 ? Health::Absent : source_.reading(chosenVariable()).health;
}

std::string ValueTable::detail() const
{
    if (chosenVariable() < 0)
        return std::string();
    const Place place = placeOf(rowAt(list_.chosen()));
    const Variable &variable = source_.variable(place.variable);
    const Reading reading = source_.reading(place.variable);
    std::string text = nameOf(place);
    if (!variable.label.empty())
        text += " (" + addressOf(place) + ")";
    text += " = " + valueOf(place, reading);
    if (!meaningOf(variable).unit.empty())
        text += " " + meaningOf(variable).unit;
    text += ", " + reading.state;
    if (reading.age)
        text += ", " + ageText(*reading.age) + " old";
    if (!reading.reason.empty())
        text += ": " + reading.reason;
    else if (!meaningOf(variable).description.empty())
        text += ": " + meaningOf(variable).description;
    return text;
}

std::string ValueTable::position() const
{
    if (list_.count() == 0)
        return onlyBad_ ? "nothing is bad" : "no values";
    return std::to_string(list_.top() + 1) + "-" + std::to_string(list_.end()) + " of " +
           std::to_string(list_.count()) + (onlyBad_ ? " not good" : "");
}

bool ValueTable::contains(int row, const std::string &text) const
{
    const Place place = placeOf(row);
    const Meaning &meaning = meaningOf(source_.variable(place.variable));
    return holds(nameOf(place), text) || holds(addressOf(place), text) || holds(meaning.unit, text) ||
           holds(meaning.description, text);
}

bool ValueTable::find(const std::string &text, bool backwards)
{
    const int count = list_.count();
    const int step = backwards ? count - 1 : 1;
    for (int tried = 1, listed = list_.chosen(); tried <= count; ++tried) {
        listed = (listed + step) % count;
        if (!contains(rowAt(listed), text))
            continue;
        list_.choose(listed);
        return true;
    }
    return false;
}

} // namespace plc::host
