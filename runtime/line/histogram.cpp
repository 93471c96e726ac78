#include "runtime/line/histogram.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace plc::runtime {

namespace {

/// Between a power of two and the next there are 128 buckets; their numbers grow with the durations.
constexpr int kBits = 7;
constexpr int kPerPower = 1 << kBits;

int bucketOf(Time duration)
{
    auto nanoseconds = static_cast<std::uint64_t>(std::max<std::int64_t>(duration.count(), 1));
    int power = 0;
    // In big steps first: most durations are longer than a microsecond.
    for (; nanoseconds >= (2ULL * kPerPower) << 8; power += 8)
        nanoseconds >>= 8;
    for (; nanoseconds >= 2ULL * kPerPower; ++power)
        nanoseconds >>= 1;
    return power * kPerPower + static_cast<int>(nanoseconds);
}

/// The longest duration of a bucket, in nanoseconds.
double longestOf(int bucket)
{
    const int power = std::max(bucket / kPerPower - 1, 0);
    return std::ldexp(bucket - power * kPerPower + 1, power) - 1;
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
            return within(longestOf(bucket), least_, most_);
    }
    return Time::zero();
}

} // namespace plc::runtime
