#include "host/screen/head_line.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include "host/screen/durations.h"
#include "host/screen/text_columns.h"

namespace plc::host {

namespace {

constexpr std::size_t kRatePart = 2;
constexpr Time kRateOver = std::chrono::seconds(5);

struct Part
{
    std::string text;
    std::string shortText;
    Health health = Health::Good;
};

std::string perSecond(double rate)
{
    char text[32];
    std::snprintf(text, sizeof text, rate < 99.95 ? "%.1f" : "%.0f", rate);
    return text;
}

/// Digits as far as seven columns go.
std::string shortNumber(std::uint64_t number)
{
    return number < 1000000 ? std::to_string(number) : std::to_string(number / 1000000) + "M";
}

int gapOf(bool isShort)
{
    return isShort ? 1 : 2;
}

std::string joined(const std::vector<Part> &parts, std::size_t first, bool isShort)
{
    std::string line;
    for (std::size_t i = first; i < parts.size(); ++i) {
        line += i == first ? "" : std::string(static_cast<std::size_t>(gapOf(isShort)), ' ');
        line += isShort ? parts[i].shortText : parts[i].text;
    }
    return line;
}

} // namespace

/// Requests per second of the last few seconds.
double HeadLine::requestRate(const LineFigures &figures)
{
    if (counted_.empty() || figures.running > counted_.back().first)
        counted_.emplace_back(figures.running, figures.counted.requests);
    while (counted_.size() > 2 && counted_[1].first <= figures.running - kRateOver)
        counted_.pop_front();
    const auto &[since, before] = counted_.front();
    const double passed = seconds(figures.running - since);
    if (passed <= 0)
        return figures.running > Time::zero()
                   ? static_cast<double>(figures.counted.requests) / seconds(figures.running)
                   : 0;
    return static_cast<double>(figures.counted.requests - before) / passed;
}

void HeadLine::draw(Picture *picture, int row, const LineFigures &figures)
{
    const std::uint64_t errors = errorsOf(figures.counted);
    const std::string scan = figures.scan ? shortDuration(*figures.scan) : "-";
    const std::string rate = perSecond(requestRate(figures));
    // In their order on the line. What does not fit goes from the left: command and port first, then the rest
    // gets shorter.
    std::vector<Part> parts = {
        {title_.command, "", Health::Good},
        {title_.port, "", Health::Good},
        {title_.rate, title_.rate, Health::Good},
        {"scan " + scan, scan, Health::Good},
        {rate + " requests/s", rate + "/s", Health::Good},
        {"errors " + std::to_string(errors), shortNumber(errors) + " err", Health::Good},
        {clockText(figures.running), clockText(figures.running), Health::Good},
    };
    if (!figures.portLost.empty())
        parts[kRatePart] = {"PORT LOST", "PORT LOST", Health::Bad};
    std::size_t first = 0;
    bool isShort = false;
    while (first + 1 < parts.size() && columnsOf(joined(parts, first, isShort)) > picture->width()) {
        if (first == kRatePart && !isShort)
            isShort = true;
        else
            ++first;
    }
    int column = 0;
    for (std::size_t i = first; i < parts.size(); ++i) {
        Style style;
        style.isBold = true;
        style.health = parts[i].health;
        const std::string &text = isShort ? parts[i].shortText : parts[i].text;
        // The time stands at the right, so that nothing moves while the numbers change their lengths.
        if (i + 1 == parts.size())
            column = std::max(column, picture->width() - columnsOf(text));
        column = picture->put(row, column, text, style) + gapOf(isShort);
    }
    picture->reverse(row);
}

} // namespace plc::host
