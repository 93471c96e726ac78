#include "runtime/panel/packing.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

#include "core/register_types.h"
#include "runtime/panel/pieces.h"

namespace plc::runtime {

namespace {

/// From first to end - 1.
struct Span
{
    int first;
    int end;
};

/// What is wanted of one area of one station.
struct Bucket
{
    std::vector<Span> wanted;
    std::vector<Span> values; ///< of several registers each
};

using Place = std::pair<int, int>; ///< station, base type

void add(const Variable &variable, Bucket *bucket)
{
    const int first = variable.baseFirst();
    bucket->wanted.push_back({first, first + variable.baseCount()});
    const int size = variable.valueElements();
    for (int index = 0; size > 1 && index < variable.count; ++index)
        bucket->values.push_back({first + index * size, first + (index + 1) * size});
}

std::map<Place, Bucket> bucketsOf(const std::vector<Variable> &variables, int usualStation)
{
    std::map<Place, Bucket> buckets;
    for (const Variable &variable : variables)
        add(variable, &buckets[{variable.station.value_or(usualStation), variable.area->baseType}]);
    return buckets;
}

/// Makes one of spans that overlap.
/// @param touching  also of spans that only touch.
std::vector<Span> joined(std::vector<Span> spans, bool touching)
{
    std::sort(spans.begin(), spans.end(), [](const Span &a, const Span &b) { return a.first < b.first; });
    std::vector<Span> result;
    for (const Span &span : spans) {
        const bool joins = !result.empty() &&
                           (span.first < result.back().end || (touching && span.first == result.back().end));
        if (joins)
            result.back().end = std::max(result.back().end, span.end);
        else
            result.push_back(span);
    }
    return result;
}

/// Packs one bucket.
class Packer
{
public:
    /// @param holes  of the bucket's area; nothing between two of its parts is read over them.
    Packer(const Bucket &bucket, int limit, std::vector<Span> holes)
        : wanted_(joined(bucket.wanted, true)), blocks_(joined(bucket.values, false)),
          holes_(std::move(holes)), limit_(limit)
    {}

    std::vector<Span> pack()
    {
        std::vector<Span> requests;
        std::size_t next = 0;
        for (int start = wanted_[0].first; next < wanted_.size();) {
            const int cut = cutAfter(start);
            int end = start;
            while (next < wanted_.size() && wanted_[next].end <= cut && !isBeforeHole(start, end, next))
                end = wanted_[next++].end;
            const bool goesOn =
                next < wanted_.size() && wanted_[next].first < cut && !isBeforeHole(start, end, next);
            requests.push_back({start, goesOn ? cut : end});
            if (next < wanted_.size())
                start = goesOn ? cut : wanted_[next].first;
        }
        return requests;
    }

    /// A request ends earlier than the driver would end it.
    bool hasMovedCuts() const { return hasMovedCuts_; }

private:
    /// Whether a hole lies between what the request has and the next part, so that the request ends here.
    bool isBeforeHole(int start, int end, std::size_t next)
    {
        const int from = end;
        const int to = wanted_[next].first;
        const bool isBefore = end > start && std::any_of(holes_.begin(), holes_.end(), [=](const Span &hole) {
                                  return hole.first < to && from < hole.end;
                              });
        hasMovedCuts_ = hasMovedCuts_ || (isBefore && to < start + limit_);
        return isBefore;
    }

    /// Where a request that begins at @p start has to end.
    int cutAfter(int start)
    {
        const int cut = start + limit_;
        const auto behind =
            std::lower_bound(blocks_.begin(), blocks_.end(), cut,
                             [](const Span &block, int place) { return block.first < place; });
        if (behind == blocks_.begin())
            return cut;
        const Span &block = *(behind - 1);
        if (block.end <= cut || block.first <= start)
            return cut;
        hasMovedCuts_ = true;
        return block.first;
    }

    std::vector<Span> wanted_;
    std::vector<Span> blocks_; ///< values that a cut inside would tear
    std::vector<Span> holes_;
    int limit_;
    bool hasMovedCuts_ = false;
};

std::vector<Span> holesIn(const Place &place, const LinkSettings &settings)
{
    std::vector<Span> holes;
    for (const Hole &hole : settings.holes) {
        if (hole.station == place.first && hole.baseType == place.second)
            holes.push_back({hole.first, hole.first + hole.count});
    }
    return holes;
}

} // namespace

std::vector<ReadSpan> packWholeValues(const std::vector<Variable> &variables, const LinkSettings &settings)
{
    std::vector<ReadSpan> requests;
    const bool hasLongValues = std::any_of(variables.begin(), variables.end(), [](const Variable &variable) {
        return variable.valueElements() > 1;
    });
    // Without packing a variable is one request, no value is cut, and nothing between variables is read.
    if ((!hasLongValues && settings.holes.empty()) || settings.maxBlock == 1)
        return requests;
    bool isOwn = false;
    for (const auto &[place, bucket] : bucketsOf(variables, settings.station)) {
        const bool isBits = isBitArea(place.second);
        const int limit = isBits ? settings.bitLimit() : settings.wordLimit();
        Packer packer(bucket, limit, holesIn(place, settings));
        const std::vector<Span> spans = limit == 1 ? bucket.wanted : packer.pack();
        for (const Span &span : spans)
            requests.push_back({place.first, place.second, span.first, span.end - span.first});
        isOwn = isOwn || packer.hasMovedCuts();
    }
    return isOwn ? requests : std::vector<ReadSpan>();
}

std::vector<ReadSpan> readsOf(const Variable &variable, const LinkSettings &settings)
{
    std::vector<ReadSpan> requests;
    const int size = readPieceSize(variable, settings);
    for (int done = 0; done < variable.baseCount(); done += size)
        requests.push_back({variable.station.value_or(settings.station), variable.area->baseType,
                            variable.baseFirst() + done, std::min(size, variable.baseCount() - done)});
    return requests;
}

std::vector<ReadSpan> readsOfEach(const std::vector<Variable> &variables, const LinkSettings &settings)
{
    std::map<std::array<int, 3>, ReadSpan> longest;
    for (const Variable &variable : variables) {
        for (const ReadSpan &read : readsOf(variable, settings)) {
            ReadSpan &kept =
                longest.emplace(std::array<int, 3>{read.station, read.baseType, read.first}, read)
                    .first->second;
            kept.count = std::max(kept.count, read.count);
        }
    }
    std::vector<ReadSpan> requests;
    for (const auto &[place, read] : longest)
        requests.push_back(read);
    return requests;
}

} // namespace plc::runtime
