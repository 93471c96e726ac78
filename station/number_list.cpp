#include "number_list.h"

#include "modbus_codes.h"

#include <algorithm>
#include <charconv>

namespace plc::station {

bool parseNumber(const std::string &text, int min, int max, int *value)
{
    int number = 0;
    const char *end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, number);
    if (text.empty() || parsed.ec != std::errc() || parsed.ptr != end || number < min || number > max)
        return false;
    *value = number;
    return true;
}

std::vector<std::string> splitText(const std::string &text, char separator)
{
    std::vector<std::string> parts(1);
    for (char c : text) {
        if (c == separator)
            parts.emplace_back();
        else
            parts.back() += c;
    }
    return parts;
}

std::string parseStationList(const std::string &text, int last, std::vector<int> *numbers)
{
    std::vector<int> found;
    for (const std::string &part : splitText(text, ',')) {
        const std::vector<std::string> ends = splitText(part, '-');
        int from = 0;
        int to = 0;
        if (ends.size() > 2 || !parseNumber(ends.front(), 1, last, &from) ||
            !parseNumber(ends.back(), from, last, &to))
            return "'" + part + "' is no station number or range of them (1 to " + std::to_string(last) +
                   ", as 1,2,5-7)";
        for (int number = from; number <= to; ++number) {
            if (std::find(found.begin(), found.end(), number) != found.end())
                return "station " + std::to_string(number) + " is given twice";
            found.push_back(number);
        }
    }
    *numbers = found;
    return {};
}

std::string parseMovingRange(const std::string &text, MovingRange *range)
{
    std::string usage =
        "'" + text + "' is no moving range: write area:address[:count[:step]], as 4x:100:10:1";
    const std::vector<std::string> parts = splitText(text, ':');
    if (parts.size() < 2 || parts.size() > 4)
        return usage;
    const std::optional<Area> area = areaFromText(parts[0]);
    MovingRange parsed;
    int step = 1;
    if (!area || !parseNumber(parts[1], 0, kWholeArea - 1, &parsed.address))
        return usage;
    if (parts.size() > 2 && !parseNumber(parts[2], 1, kWholeArea, &parsed.count))
        return usage;
    if (parts.size() > 3 && !parseNumber(parts[3], 0, kWholeArea - 1, &step))
        return usage;
    parsed.area = *area;
    parsed.step = static_cast<std::uint16_t>(step);
    *range = parsed;
    return {};
}

} // namespace plc::station
