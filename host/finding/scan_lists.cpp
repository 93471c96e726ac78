#include "host/finding/scan_lists.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <sstream>

#include "host/project/setting_names.h"
#include "runtime/line/failure.h"
#include "runtime/line/setting_limits.h"
#include "runtime/panel/variable.h"

namespace plc::host {

namespace {

constexpr int kUsualBauds[] = {1200, 2400, 4800, 9600, 19200, 38400, 57600, 115200, 230400};

[[noreturn]] void refuse(const std::string &text)
{
    throw Failure(FailureKind::Usage, text);
}

std::vector<std::string> partsOf(const std::string &text)
{
    std::vector<std::string> parts;
    std::istringstream stream(text + ",");
    for (std::string part; std::getline(stream, part, ',');)
        parts.push_back(part);
    return parts;
}

std::optional<int> numberOf(const std::string &text)
{
    int number = 0;
    const char *const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    return read.ec == std::errc() && read.ptr == end ? std::make_optional(number) : std::nullopt;
}

/// "5" or "5-8" within limits; nothing for anything else.
struct Range
{
    int from = 0;
    int to = 0;
};
std::optional<Range> rangeOf(const std::string &part, Limits limits)
{
    const std::size_t dash = part.find('-', 1);
    const std::optional<int> from = numberOf(part.substr(0, dash));
    const std::optional<int> to = dash == std::string::npos ? from : numberOf(part.substr(dash + 1));
    if (!from || !to || *from > *to || *from < limits.least || *to > limits.most)
        return std::nullopt;
    return Range{*from, *to};
}

template <typename Item>
void addOnce(std::vector<Item> *list, Item item)
{
    if (std::find(list->begin(), list->end(), item) == list->end())
        list->push_back(item);
}

} // namespace

std::vector<int> baudList(const std::string &text)
{
    std::vector<int> bauds;
    for (const std::string &part : partsOf(text)) {
        const std::optional<Range> range = rangeOf(part, kBaudLimits);
        if (!range)
            refuse("--baud: '" + part + "' is no rate from " + std::to_string(kBaudLimits.least) + " to " +
                   std::to_string(kBaudLimits.most) + ", nor a range of them, as 9600-115200");
        addOnce(&bauds, range->from);
        for (const int usual : kUsualBauds) {
            if (usual > range->from && usual < range->to)
                addOnce(&bauds, usual);
        }
        addOnce(&bauds, range->to);
    }
    return bauds;
}

std::vector<Parity> parityList(const std::string &text)
{
    std::vector<Parity> parities;
    for (const std::string &part : partsOf(text))
        addOnce(&parities, parityNamed(part));
    return parities;
}

std::vector<int> stopBitList(const std::string &text)
{
    std::vector<int> list;
    if (text.empty())
        return list;
    for (const std::string &part : partsOf(text)) {
        const std::optional<Range> range = rangeOf(part, kStopBitLimits);
        if (!range)
            refuse("--stop-bits: '" + part + "' is neither 1 nor 2, nor 1-2");
        for (int bits = range->from; bits <= range->to; ++bits)
            addOnce(&list, bits);
    }
    return list;
}

Time timeTyped(const std::string &option, const std::string &text, Time least, Time most)
{
    std::string number = text;
    double unit = 1;
    const auto endsWith = [&](const std::string &end) {
        return number.size() > end.size() && number.compare(number.size() - end.size(), end.size(), end) == 0;
    };
    if (endsWith("ms")) {
        unit = 0.001;
        number.resize(number.size() - 2);
    } else if (endsWith("s")) {
        number.pop_back();
    }
    double value = -1;
    const char *const end = number.data() + number.size();
    const auto read = std::from_chars(number.data(), end, value);
    const bool isNumber = read.ec == std::errc() && read.ptr == end;
    if (!isNumber || !(value * unit >= seconds(least)) || !(value * unit <= seconds(most))) {
        std::ostringstream limits;
        limits << seconds(least) << " to " << seconds(most);
        refuse(option + ": '" + text + "' is no time from " + limits.str() + " s; as 0.05, 1s or 50ms");
    }
    return fromSeconds(value * unit);
}

void setAsked(const std::string &text, ScanPlan *plan)
{
    const Variable variable = parseVariable(text, false);
    if (variable.area->insideRegister || variable.elements() != 1 || variable.station)
        refuse("--ask: '" + text + "' is not one register or bit without a station, as 4x:100");
    const std::string area = areaName(variable.area->baseType);
    plan->function = area == "4x"   ? kReadHoldingRegisters
                     : area == "3x" ? kReadInputRegisters
                     : area == "1x" ? kReadDiscreteInputs
                                    : kReadCoils;
    plan->address = variable.baseFirst();
}

} // namespace plc::host
