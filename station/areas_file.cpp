#include "areas_file.h"

#include "cli/strict_json.h"
#include "modbus_codes.h"
#include "number_list.h"

#include <QtCore/QFile>

#include <algorithm>
#include <cmath>
#include <set>
#include <utility>

namespace plc::station {

namespace {

constexpr char kMovingKey[] = "moving";
constexpr char kStationsKey[] = "stations";
constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";

/// Thrown from deep inside the walk through the document; it never leaves this file.
struct LoadError
{
    std::ptrdiff_t offset; ///< of the value in the text
    bool isKey;            ///< the key in front of the value is what is wrong
    std::string where;
    std::string what;
};

[[noreturn]] void fail(const Json::Value &value, const std::string &where, const std::string &what)
{
    throw LoadError{value.getOffsetStart(), false, where, what};
}

/// @param value  the value that stands behind the key.
[[noreturn]] void failKey(const Json::Value &value, const std::string &where, const std::string &what)
{
    throw LoadError{value.getOffsetStart(), true, where, what};
}

std::string joined(const std::string &path, const std::string &key)
{
    return path.empty() ? key : path + "." + key;
}

std::string itemPath(const std::string &path, Json::ArrayIndex index)
{
    return path + "[" + std::to_string(index) + "]";
}

/// The number of @p value when it is whole and from @p min to @p max.
std::optional<int> wholeNumber(const Json::Value &value, int min, int max)
{
    const double number = value.isNumeric() ? value.asDouble() : std::nan("");
    // A value that is no number gives NaN, which no comparison accepts.
    if (!(number >= min && number <= max) || number != std::floor(number))
        return std::nullopt;
    return static_cast<int>(number);
}

std::uint16_t itemValue(Area area, const Json::Value &value, const std::string &path)
{
    if (isBitArea(area)) {
        if (value.isBool())
            return value.asBool() ? 1 : 0;
        if (const std::optional<int> bit = wholeNumber(value, 0, 1))
            return static_cast<std::uint16_t>(*bit);
        fail(value, path, "a bit is 0, 1, false or true");
    }
    if (const std::optional<int> number = wholeNumber(value, -32768, 65535))
        return static_cast<std::uint16_t>(*number & 0xFFFF);
    fail(value, path, "a register is a whole number from -32768 to 65535");
}

/// First address and number of items that a key such as "100" or "200-299" names; count 0 for a single
/// address.
/// @param value  what stands behind the key.
std::pair<int, int> addressRange(const std::string &key, const Json::Value &value, const std::string &path)
{
    const std::vector<std::string> ends = splitText(key, '-');
    int from = 0;
    int to = 0;
    if (ends.size() > 2 || !parseNumber(ends.front(), 0, kWholeArea - 1, &from) ||
        !parseNumber(ends.back(), from, kWholeArea - 1, &to))
        failKey(value, path, "a key here is an address or a range, as \"100\" or \"200-299\"");
    return {from, ends.size() == 2 ? to - from + 1 : 0};
}

std::vector<std::uint16_t> itemValues(Area area, int count, const Json::Value &value, const std::string &path)
{
    if (!value.isArray()) {
        const auto items = static_cast<std::size_t>(std::max(count, 1));
        return std::vector<std::uint16_t>(items, itemValue(area, value, path));
    }
    if (count > 0)
        fail(value, path,
             "a range takes one number for all its items, a list stands under its first address");
    std::vector<std::uint16_t> values;
    values.reserve(value.size());
    for (Json::ArrayIndex i = 0; i < value.size(); ++i)
        values.push_back(itemValue(area, value[i], itemPath(path, i)));
    if (values.empty())
        fail(value, path, "the list is empty");
    return values;
}

const Json::Value &objectOf(const Json::Value &value, const std::string &path)
{
    if (!value.isObject())
        fail(value, path, "an object { } belongs here");
    return value;
}

void loadArea(Area area, const Json::Value &value, const std::string &path,
              const std::vector<Station *> &stations)
{
    const Json::Value &object = objectOf(value, path);
    std::set<int> filled;
    for (auto entry = object.begin(); entry != object.end(); ++entry) {
        const std::string key = entry.name();
        const std::string entryPath = joined(path, key);
        const auto [address, count] = addressRange(key, *entry, entryPath);
        const std::vector<std::uint16_t> values = itemValues(area, count, *entry, entryPath);
        // The keys of an object have no order, so no value may depend on which of two keys comes later.
        for (int i = 0; i < static_cast<int>(values.size()); ++i) {
            if (!filled.insert(address + i).second)
                fail(*entry, entryPath, "address " + std::to_string(address + i) + " is filled twice");
        }
        for (Station *station : stations) {
            if (!station->registers().write(area, address, values))
                fail(*entry, entryPath, "the values go beyond the end of the area");
        }
    }
}

int intMember(const Json::Value &object, const char *key, int fallback, int min, int max,
              const std::string &path)
{
    if (!object.isMember(key))
        return fallback;
    if (const std::optional<int> number = wholeNumber(object[key], min, max))
        return *number;
    fail(object[key], joined(path, key),
         "a whole number from " + std::to_string(min) + " to " + std::to_string(max) + " belongs here");
}

MovingRange movingRange(const Json::Value &object, const std::string &path)
{
    for (const std::string &key : object.getMemberNames()) {
        if (key != "area" && key != "address" && key != "count" && key != "step")
            failKey(object[key], joined(path, key), "a moving range has area, address, count and step only");
    }
    const Json::Value &areaName = object["area"];
    const std::optional<Area> area = areaFromText(areaName.isString() ? areaName.asString() : std::string());
    if (!area)
        fail(object.isMember("area") ? areaName : object, joined(path, "area"),
             "the area is \"0x\", \"1x\", \"3x\" or \"4x\"");
    if (!object.isMember("address"))
        fail(object, joined(path, "address"), "the address is missing");
    MovingRange range;
    range.area = *area;
    range.address = intMember(object, "address", 0, 0, kWholeArea - 1, path);
    range.count = intMember(object, "count", 1, 1, kWholeArea, path);
    range.step = static_cast<std::uint16_t>(intMember(object, "step", 1, -32768, 65535, path) & 0xFFFF);
    return range;
}

void loadMoving(const Json::Value &value, const std::string &path, const std::vector<Station *> &stations)
{
    if (!value.isArray())
        fail(value, path, "a list [ ] of moving ranges belongs here");
    for (Json::ArrayIndex i = 0; i < value.size(); ++i) {
        const std::string entryPath = itemPath(path, i);
        const MovingRange range = movingRange(objectOf(value[i], entryPath), entryPath);
        for (Station *station : stations) {
            if (!station->addMoving(range))
                fail(value[i], entryPath, "the range goes beyond the end of the area");
        }
    }
}

/// Everything but "stations", which stands at the top only.
void loadValues(const Json::Value &object, const std::string &path, const std::vector<Station *> &stations)
{
    for (auto entry = object.begin(); entry != object.end(); ++entry) {
        const std::string key = entry.name();
        const std::string entryPath = joined(path, key);
        if (const std::optional<Area> area = areaFromText(key))
            loadArea(*area, *entry, entryPath, stations);
        else if (key == kMovingKey)
            loadMoving(*entry, entryPath, stations);
        else if (key != kStationsKey || !path.empty())
            failKey(*entry, entryPath,
                    "unknown key; 0x, 1x, 3x, 4x, moving and (at the top) stations are known");
    }
}

void loadStations(const Json::Value &value, StationBus *bus)
{
    const Json::Value &object = objectOf(value, kStationsKey);
    for (auto entry = object.begin(); entry != object.end(); ++entry) {
        const std::string key = entry.name();
        const std::string path = joined(kStationsKey, key);
        int number = 0;
        if (!parseNumber(key, 1, 255, &number) || bus->station(number) == nullptr)
            failKey(*entry, path, "no such station is simulated here (see --address)");
        loadValues(objectOf(*entry, path), path, {bus->station(number)});
    }
}

/// "3:17", both counted from 1, the column in characters.
std::string lineAndColumn(const std::string &text, std::size_t offset)
{
    int line = 1;
    int column = 1;
    for (std::size_t i = 0; i < std::min(offset, text.size()); ++i) {
        const bool continuesCharacter = (static_cast<unsigned char>(text[i]) & 0xC0) == 0x80;
        if (text[i] == '\n') {
            ++line;
            column = 1;
        } else if (!continuesCharacter) {
            ++column;
        }
    }
    return std::to_string(line) + ":" + std::to_string(column);
}

/// Between a key and its value stand only blanks and a colon. A key with a quotation mark in it is never
/// right; of such a key the line alone is told for sure.
std::string placeOf(const std::string &text, const LoadError &wrong)
{
    const auto offset = static_cast<std::size_t>(wrong.offset);
    const std::size_t keyEnd = wrong.isKey && offset > 0 ? text.rfind('"', offset - 1) : std::string::npos;
    if (keyEnd == std::string::npos || keyEnd == 0)
        return lineAndColumn(text, offset);
    return lineAndColumn(text, text.rfind('"', keyEnd - 1));
}

} // namespace

std::string loadAreas(const std::string &name, const std::string &text, StationBus *bus)
{
    const bool isMarked = text.compare(0, sizeof kByteOrderMark - 1, kByteOrderMark) == 0;
    const std::string json = isMarked ? text.substr(sizeof kByteOrderMark - 1) : text;
    try {
        const Json::Value top = cli::parseStrictJson(json);
        if (!top.isObject())
            fail(top, "the document", "an object { } belongs at the top");
        std::vector<Station *> all;
        for (auto &[number, station] : bus->stations())
            all.push_back(&station);
        loadValues(top, "", all);
        if (top.isMember(kStationsKey))
            loadStations(top[kStationsKey], bus);
    } catch (const cli::JsonFault &fault) {
        return name + ":" + lineAndColumn(json, fault.offset) + ": not JSON: " + fault.what;
    } catch (const LoadError &wrong) {
        return name + ":" + placeOf(json, wrong) + ": " + wrong.where + ": " + wrong.what;
    }
    return {};
}

std::string loadAreasFile(const std::string &path, StationBus *bus)
{
    QFile file(QString::fromStdString(path));
    if (!file.open(QIODevice::ReadOnly))
        return path + ": cannot be read: " + file.errorString().toStdString();
    return loadAreas(path, file.readAll().toStdString(), bus);
}

} // namespace plc::station
