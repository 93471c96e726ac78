#include "runtime/line/histogram.h"

#include <algorithm>
#include <cmath>

namespace plc::runtime {

namespace {

const double kBucketWidth = std::log(1.01);

int bucketOf(Time duration)
{
    const double nanoseconds = std::max(static_cast<double>(duration.count()), 1.0);
    return static_cast<int>(std::lround(std::log(nanoseconds) / kBucketWidth));
}

/// @p nanoseconds as a time, within @p least and @p most. Compared before rounding, since a double next to
/// the longest time of all may lie beyond it.
Time within(double nanoseconds, Time least, Time most)
{
    if (nanoseconds >= static_cast<double>(most.count()))
        return most;
    return std::max(Time(std::llround(nanoseconds)), least);
}

} // namespace

void Histogram::add(Time duration)
{
    least_ = count_ == 0 ? duration : std::min(least_, duration);
    most_ = count_ == 0 ? duration : std::max(most_, duration);
    sum_ += static_cast<double>(duration.count());
    ++count_;
    ++buckets_[bucketOf(duration)];
}

Time Histogram::mean() const
{
    return count_ == 0 ? Time::zero() : within(sum_ / static_cast<double>(count_), least_, most_);
}

Time Histogram::percentile(int percent) const
{
    std::uint64_t upToHere = 0;
    for (const auto &[bucket, number] : buckets_) {
        upToHere += number;
        if (100 * upToHere >= static_cast<std::uint64_t>(percent) * count_)
            return within(std::exp(bucket * kBucketWidth), least_, most_);
    }
    return Time::zero();
}

} // namespace plc::runtime
