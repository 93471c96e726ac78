#include "host/commands/station_list.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <sstream>

#include "runtime/line/setting_limits.h"

namespace plc::host {

namespace {

/// The station that @p text is; nothing for anything else.
std::optional<int> stationOf(const std::string &text, int least)
{
    int number = 0;
    const char *const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    const bool isStation =
        read.ec == std::errc() && read.ptr == end && number >= least && number <= kStationLimits.most;
    return isStation ? std::make_optional(number) : std::nullopt;
}

} // namespace

std::string stationListMistake(const std::string &text, std::vector<int> *list, int least)
{
    std::istringstream parts(text + ",");
    for (std::string part; std::getline(parts, part, ',');) {
        const std::size_t dash = part.find('-', 1);
        const std::optional<int> from = stationOf(part.substr(0, dash), least);
        const std::optional<int> to =
            dash == std::string::npos ? from : stationOf(part.substr(dash + 1), least);
        if (!from || !to || *from > *to)
            return "'" + part + "' is no station from " + std::to_string(least) + " to " +
                   std::to_string(kStationLimits.most) + ", nor a range of them, as 5-8";
        for (int station = *from; station <= *to; ++station) {
            if (std::find(list->begin(), list->end(), station) != list->end())
                return "station " + std::to_string(station) + " is given twice";
            list->push_back(station);
        }
    }
    return std::string();
}

} // namespace plc::host
