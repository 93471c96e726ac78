/// @file
/// How long something took, over and over: least, most, mean and percentiles.
#ifndef PLC_LINE_HISTOGRAM_H
#define PLC_LINE_HISTOGRAM_H

#include <cstdint>
#include <map>

#include "runtime/line/link_time.h"

namespace plc::runtime {

/// Durations, counted in buckets of one per cent instead of kept one by one: a run of days needs no more
/// memory than one of minutes. Without a duration everything is 0.
class Histogram
{
public:
    /// @param duration  a negative one counts as that, but among the percentiles like the shortest of all.
    void add(Time duration);

    std::uint64_t count() const { return count_; }
    Time least() const { return least_; }
    Time most() const { return most_; }
    Time mean() const;
    /// The shortest duration that @p percent of all do not exceed, to within one per cent; never outside of
    /// least() to most().
    /// @param percent  0 to 100; 50 is the median, of an even number of durations the lower one.
    Time percentile(int percent) const;

private:
    std::uint64_t count_ = 0;
    Time least_{};
    Time most_{};
    double sum_ = 0; ///< in nanoseconds
    std::map<int, std::uint64_t>
        buckets_; ///< number of durations by bucket; a higher one is of longer durations
};

} // namespace plc::runtime

#endif
