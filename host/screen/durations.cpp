#include "host/screen/durations.h"

#include <algorithm>
#include <cstdio>

namespace plc::host {

namespace {

std::string measured(double number, int digits, const char *unit)
{
    char text[48];
    std::snprintf(text, sizeof text, "%.*f %s", digits, number, unit);
    return text;
}

} // namespace

std::string shortDuration(Time duration)
{
    const double inSeconds = std::max(seconds(duration), 0.0);
    if (inSeconds < 0.00995)
        return measured(inSeconds * 1000, 1, "ms");
    if (inSeconds < 0.9995)
        return measured(inSeconds * 1000, 0, "ms");
    if (inSeconds < 99.95)
        return measured(inSeconds, 1, "s");
    if (inSeconds < 600)
        return measured(inSeconds, 0, "s");
    if (inSeconds < 36000)
        return measured(inSeconds / 60, 0, "min");
    if (inSeconds < 360000)
        return measured(inSeconds / 3600, 0, "h");
    return measured(std::min(inSeconds / 86400, 99999.0), 0, "d");
}

std::string ageText(Time age)
{
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(age).count();
    return ms < 10 ? std::to_string(std::max<long long>(ms, 0)) + " ms" : shortDuration(age);
}

std::string clockText(Time duration)
{
    const auto all = std::chrono::duration_cast<std::chrono::seconds>(duration).count();
    char text[48];
    if (all >= 3600)
        std::snprintf(text, sizeof text, "%lld:%02d:%02d", static_cast<long long>(all / 3600),
                      static_cast<int>(all / 60 % 60), static_cast<int>(all % 60));
    else
        std::snprintf(text, sizeof text, "%d:%02d", static_cast<int>(all / 60), static_cast<int>(all % 60));
    return text;
}

} // namespace plc::host
