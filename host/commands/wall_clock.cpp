#include "host/commands/wall_clock.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

namespace plc::host {

namespace {

constexpr int kMicrosecondDigits = 6;

std::string fractionText(std::chrono::microseconds fraction, int digits)
{
    char text[16];
    std::snprintf(text, sizeof text, ".%06ld", static_cast<long>(fraction.count()));
    return digits > 0 ? std::string(text, static_cast<std::size_t>(1 + std::min(digits, kMicrosecondDigits)))
                      : std::string();
}

/// "+01:00".
std::string offsetText(long seconds)
{
    constexpr long kMinute = 60;
    constexpr long kHour = 3600;
    const long size = seconds < 0 ? -seconds : seconds;
    char text[32];
    std::snprintf(text, sizeof text, "%c%02ld:%02ld", seconds < 0 ? '-' : '+', size / kHour,
                  size % kHour / kMinute);
    return text;
}

} // namespace

std::string isoTime(WallTime time, int digits)
{
    const auto second = std::chrono::floor<std::chrono::seconds>(time);
    const std::time_t since = std::chrono::system_clock::to_time_t(second);
    std::tm local{};
    localtime_r(&since, &local);
    char text[48];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &local);
    return text + fractionText(std::chrono::duration_cast<std::chrono::microseconds>(time - second), digits) +
           offsetText(local.tm_gmtoff);
}

} // namespace plc::host
