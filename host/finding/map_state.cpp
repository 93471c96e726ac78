#include "host/finding/map_state.h"

#include <algorithm>
#include <cmath>

#include "host/project/located_json.h"
#include "runtime/line/setting_limits.h"

namespace plc::host {

namespace {

constexpr std::pair<const char *, Place> kLists[] = {{"there", Place::There},
                                                     {"thereInBlocks", Place::ThereInBlock},
                                                     {"lacking", Place::Lacking},
                                                     {"unsettled", Place::Unsettled}};

std::string listOf(const AreaMapper &mapper, const std::vector<Place> &places, Place place)
{
    std::string list;
    for (std::size_t at = 0; at < places.size(); ++at) {
        if (places[at] != place)
            continue;
        const std::size_t first = at;
        while (at + 1 < places.size() && places[at + 1] == place)
            ++at;
        const auto address = [&mapper](std::size_t index) {
            return std::to_string(mapper.wish().first + static_cast<int>(index));
        };
        list += (list.empty() ? "[" : ", [") + address(first) + ", " + address(at) + "]";
    }
    return "[" + list + "]";
}

int wholeNumber(const LocatedJson &json, const Json::Value &value, Limits limits)
{
    const double given = value.isNumeric() ? value.asDouble() : std::nan("");
    if (!(given >= limits.least && given <= limits.most) || given != std::floor(given))
        json.refuse(value, "this must be a whole number from " + std::to_string(limits.least) + " to " +
                               std::to_string(limits.most));
    return static_cast<int>(given);
}

void expectNumber(const LocatedJson &json, const char *key, int wanted)
{
    const Json::Value &value = json.root()[key];
    if (!value.isNumeric() || value.asDouble() != wanted)
        json.refuse(json.root(), std::string("the map is another one: its '") + key + "' is not " +
                                     std::to_string(wanted) + "; name another file");
}

void readList(const LocatedJson &json, const Json::Value &list, Place place, const MapWish &wish,
              MapState *state)
{
    if (!list.isArray())
        json.refuse(json.root(), "this is no map that was kept: a list is missing");
    const int last = wish.first + wish.count - 1;
    for (const Json::Value &stretch : list) {
        if (!stretch.isArray() || stretch.size() != 2)
            json.refuse(stretch, "this must be [FIRST, LAST]");
        const int from = wholeNumber(json, stretch[0], {wish.first, last});
        const int to = wholeNumber(json, stretch[1], {from, last});
        std::fill(state->places.begin() + (from - wish.first), state->places.begin() + (to - wish.first + 1),
                  place);
    }
}

} // namespace

const char *areaOfFunction(int function)
{
    switch (function) {
    case 1:
        return "0x";
    case 2:
        return "1x";
    case 4:
        return "3x";
    default:
        return "4x";
    }
}

std::string mapStateText(const AreaMapper &mapper)
{
    const MapWish &wish = mapper.wish();
    std::string text = "{\n  \"station\": " + std::to_string(wish.station) + ",\n  \"area\": \"" +
                       areaOfFunction(wish.function) + "\",\n  \"first\": " + std::to_string(wish.first) +
                       ",\n  \"count\": " + std::to_string(wish.count) +
                       ",\n  \"block\": " + std::to_string(mapper.block());
    // Silence says something only as long as the station is there.
    const std::vector<Place> places = mapper.confirmedPlaces();
    for (const auto &[name, place] : kLists)
        text += ",\n  \"" + std::string(name) + "\": " + listOf(mapper, places, place);
    return text + "\n}\n";
}

MapState parseMapState(const std::string &file, const std::string &text, const MapWish &wish)
{
    const LocatedJson json(file, text);
    if (!json.root().isObject())
        json.refuse(json.root(), "this is no map that was kept");
    expectNumber(json, "station", wish.station);
    expectNumber(json, "first", wish.first);
    expectNumber(json, "count", wish.count);
    const Json::Value &area = json.root()["area"];
    if (!area.isString() || area.asString() != areaOfFunction(wish.function))
        json.refuse(json.root(), std::string("the map is another one: its 'area' is not ") +
                                     areaOfFunction(wish.function) + "; name another file");
    MapState state;
    state.places.assign(static_cast<std::size_t>(wish.count), Place::Unknown);
    state.block = wholeNumber(json, json.root()["block"], {1, wish.block});
    for (const auto &[name, place] : kLists)
        readList(json, json.root()[name], place, wish, &state);
    return state;
}

} // namespace plc::host
