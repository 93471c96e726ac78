/// @file
/// Random numbers that are the same with every compiler and library.
#ifndef PLC_RUNTIME_TESTING_RANDOM_H
#define PLC_RUNTIME_TESTING_RANDOM_H

#include <cstdint>
#include <random>
#include <vector>

#include "runtime/line/link_time.h"

namespace plc::simulation {

using runtime::Time;

/// One stream of random numbers. The engine is laid down by the language, its distributions are not: so the
/// mapping to ranges is done here.
class Random
{
public:
    explicit Random(std::uint64_t seed) : engine_(seed) {}

    std::uint64_t bits() { return engine_(); }
    /// 0 to @p count - 1. @pre count is at least 1.
    int below(int count)
    {
        // The upper half of the product is evenly spread but for one part in 2^32.
        return static_cast<int>(((engine_() >> 32) * static_cast<std::uint64_t>(count)) >> 32);
    }
    /// Both ends included.
    int between(int least, int most) { return least + below(most - least + 1); }
    /// From @p least on and before @p most, or @p least when there is nothing between.
    Time between(Time least, Time most)
    {
        if (most <= least)
            return least;
        const auto range = static_cast<std::uint64_t>((most - least).count());
        return least + Time(static_cast<std::int64_t>(engine_() % range));
    }
    bool oneIn(int count) { return below(count) == 0; }
    bool permille(int chance) { return below(1000) < chance; }
    template <typename Item>
    const Item &pick(const std::vector<Item> &items)
    {
        return items[static_cast<std::size_t>(below(static_cast<int>(items.size())))];
    }
    std::uint8_t byte() { return static_cast<std::uint8_t>(below(256)); }

private:
    std::mt19937_64 engine_;
};

} // namespace plc::simulation

#endif
