#include "runtime/panel/request_map.h"

#include <algorithm>

#include "core/register_types.h"
#include "runtime/panel/packing.h"

namespace plc::runtime {

namespace {

/// Bits or registers of an area, from first to end - 1.
struct Span
{
    int first;
    int end;
};

Span spanOf(const RequestPlace &place)
{
    return {place.first, place.first + place.count};
}

Span spanOf(const Variable &variable)
{
    return {variable.baseFirst(), variable.baseFirst() + variable.baseCount()};
}

bool overlap(const Span &a, const Span &b)
{
    return a.first < b.end && b.first < a.end;
}

/// @p place lies inside a value of the variable, neither at its begin nor at its end.
bool isInsideValue(int place, const Variable &variable)
{
    const Span span = spanOf(variable);
    return place > span.first && place < span.end && (place - span.first) % variable.valueElements() != 0;
}

bool cuts(const Span &request, const Variable &variable)
{
    return isInsideValue(request.first, variable) || isInsideValue(request.end, variable);
}

/// Units of @p whole that none of @p parts has.
int unitsOutside(const Span &whole, std::vector<Span> parts)
{
    std::sort(parts.begin(), parts.end(), [](const Span &a, const Span &b) { return a.first < b.first; });
    int missing = 0;
    int reached = whole.first;
    for (const Span &part : parts) {
        missing += std::max(0, std::min(part.first, whole.end) - reached);
        reached = std::max(reached, std::min(part.end, whole.end));
    }
    return missing + whole.end - reached;
}

} // namespace

RequestMap::RequestMap(std::vector<Variable> variables, std::vector<PriorityRow> rows)
    : variables_(std::move(variables)), rows_(std::move(rows)), readers_(variables_.size()),
      covered_(variables_.size(), false), inPieces_(variables_.size(), false)
{
    for (int i = 0; i < variableCount(); ++i) {
        Places &places = places_[{stationOf(i), variable(i).area->baseType}];
        places.byFirst.emplace_back(variable(i).baseFirst(), i);
        places.longest = std::max(places.longest, variable(i).baseCount());
    }
    for (auto &[area, places] : places_)
        std::sort(places.byFirst.begin(), places.byFirst.end());
}

RequestMap::RequestMap(std::vector<Variable> variables, std::vector<PriorityRow> rows,
                       const LinkSettings &settings)
    : RequestMap(std::move(variables), std::move(rows))
{
    isSeparate_ = settings.separateReads;
    for (int i = 0; isSeparate_ && i < variableCount(); ++i) {
        for (const ReadSpan &read : readsOf(variable(i), settings))
            own_[{read.station, read.baseType, read.first}].push_back(i);
    }
}

/// Variables of which a part lies in @p place, in their order.
std::vector<int> RequestMap::variablesIn(const RequestPlace &place) const
{
    std::vector<int> found;
    if (isSeparate_) {
        const auto own = own_.find({place.station, place.baseType, place.first});
        return own == own_.end() ? found : own->second;
    }
    const auto places = places_.find({place.station, place.baseType});
    if (places == places_.end())
        return found;
    const auto &byFirst = places->second.byFirst;
    const std::pair<int, int> earliest(place.first - places->second.longest + 1, 0);
    for (auto next = std::lower_bound(byFirst.begin(), byFirst.end(), earliest);
         next != byFirst.end() && next->first < place.first + place.count; ++next) {
        if (overlap(spanOf(variable(next->second)), spanOf(place)))
            found.push_back(next->second);
    }
    std::sort(found.begin(), found.end());
    return found;
}

int RequestMap::note(const RequestPlace &place, bool ordinary)
{
    const auto [known, isNew] = numbers_.emplace(place, requestCount());
    if (!isNew)
        return known->second;
    const int number = known->second;
    Request request;
    request.place = place;
    request.level = ordinary ? 0 : levelOf(place);
    request.variables = variablesIn(place);
    request.unused = unusedIn(request);
    requests_.push_back(request);
    for (const int i : request.variables) {
        readers_[static_cast<std::size_t>(i)].push_back(number);
        covered_[static_cast<std::size_t>(i)] = isFullyRead(i);
        if (cuts(spanOf(place), variable(i)))
            inPieces_[static_cast<std::size_t>(i)] = true;
    }
    return number;
}

/// A request that several levels claim belongs to the highest of them.
int RequestMap::levelOf(const RequestPlace &place) const
{
    int level = 0;
    for (const PriorityRow &row : rows_) {
        if (row.baseType == place.baseType && overlap({row.address, row.address + 1}, spanOf(place)))
            level = std::max(level, row.level);
    }
    return level;
}

int RequestMap::unusedIn(const Request &request) const
{
    std::vector<Span> wanted;
    for (const int i : request.variables)
        wanted.push_back(spanOf(variable(i)));
    return unitsOutside(spanOf(request.place), wanted);
}

bool RequestMap::isFullyRead(int variable) const
{
    std::vector<Span> read;
    for (const int request : requestsOf(variable))
        read.push_back(spanOf(place(request)));
    return unitsOutside(spanOf(this->variable(variable)), read) == 0;
}

} // namespace plc::runtime
