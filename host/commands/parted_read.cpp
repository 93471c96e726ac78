#include "host/commands/parted_read.h"

#include <algorithm>
#include <cstdio>

#include "host/commands/result_text.h"
#include "runtime/panel/pieces.h"
#include "runtime/panel/utf8.h"

namespace plc::host {

namespace {

/// Values of @p variable that one request reads; all where they cannot be told apart.
int valuesInOneRequest(const Variable &variable, const LinkSettings &link)
{
    if (variable.area->insideRegister || runtime::cutsValues(variable, link))
        return variable.count;
    return runtime::readPieceSize(variable, link) / variable.valueElements();
}

} // namespace

PartedRead::PartedRead(PanelLine &line, const Variable &variable, const LinkSettings &link)
    : line_(line), variable_(variable), station_(variable.station.value_or(link.station)),
      isInPieces_(runtime::cutsValues(variable, link))
{
    const VariableId whole = line_.add(variable_);
    line_.checkRead(whole);
    const int size = valuesInOneRequest(variable_, link);
    if (size >= variable_.count) {
        parts_.push_back({whole, 0, variable_.count});
        return;
    }
    for (int first = 0; first < variable_.count; first += size) {
        Variable part = variable_;
        part.address = runtime::fromUtf8(variable_.addressOf(first));
        part.first = variable_.first + first * variable_.valueElements();
        part.count = std::min(size, variable_.count - first);
        parts_.push_back({line_.add(part), first, part.count});
    }
}

void PartedRead::begin()
{
    begun_ = line_.read(parts_.front().id);
}

Row PartedRead::await(std::vector<OrderEnd> *ends)
{
    Row row;
    row.variable = variable_;
    row.station = station_;
    row.state = stateName(OrderEnd::Good);
    row.isInPieces = isInPieces_;
    Values values(static_cast<std::size_t>(variable_.rawCount()), 0);
    std::vector<bool> missing(static_cast<std::size_t>(variable_.count), false);
    bool isAllMissing = true;
    for (const Part &part : parts_) {
        const OrderResult result = line_.await(part.first == 0 ? begun_ : line_.read(part.id));
        ends->push_back(result.end);
        row.time = line_.endOf(result);
        if (result.end == OrderEnd::Good) {
            Variable read = variable_;
            read.count = part.count;
            const Values found = valuesOf(read, result.raw);
            const auto raw = static_cast<std::ptrdiff_t>(found.size()) / part.count * part.first;
            std::copy(found.begin(), found.end(), values.begin() + raw);
            isAllMissing = false;
            continue;
        }
        const bool isTheEnd = result.end != OrderEnd::Refused;
        const int count = isTheEnd ? variable_.count - part.first : part.count;
        std::fill_n(missing.begin() + part.first, count, true);
        if (row.reason.empty()) {
            row.state = stateName(result.end);
            row.exceptionCode = result.exceptionCode;
        }
        const std::string where = count < variable_.count ? rangeOf(part.first, count) + ": " : "";
        const std::string reason = where + describe(result, station_);
        row.reason += (row.reason.empty() ? "" : "; ") + reason;
        if (result.end != OrderEnd::PortLost)
            std::fprintf(stderr, "plchost: %s: %s\n", variable_.text.c_str(), reason.c_str());
        if (isTheEnd)
            break;
    }
    if (isAllMissing)
        return row;
    row.values = std::move(values);
    if (!row.reason.empty())
        row.missing = std::move(missing);
    return row;
}

/// "4x:110:10".
std::string PartedRead::rangeOf(int first, int count) const
{
    return std::string(variable_.area->name) + ":" + variable_.addressOf(first) +
           (count > 1 ? ":" + std::to_string(count) : "");
}

} // namespace plc::host
