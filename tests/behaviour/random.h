/// @file
/// Random numbers that are the same on every machine and with every compiler.
#ifndef PLC_TESTS_BEHAVIOUR_RANDOM_H
#define PLC_TESTS_BEHAVIOUR_RANDOM_H

#include <cstdint>
#include <initializer_list>

namespace plc::behaviour {

/// A counter whose bits are mixed. The language's own distributions differ from library to library.
class Random
{
public:
    /// The seed is mixed too: the streams of neighbouring seeds would otherwise be one stream, begun a number
    /// later.
    explicit Random(std::uint64_t seed) : state_(mixed(seed * kStep)) {}

    std::uint32_t bits()
    {
        state_ += kStep;
        return static_cast<std::uint32_t>(mixed(state_) >> 16);
    }
    /// 0 to @p count - 1. @pre count is at least 1.
    int below(int count)
    {
        return static_cast<int>((static_cast<std::uint64_t>(bits()) * static_cast<std::uint64_t>(count)) >>
                                32);
    }
    /// Both ends included.
    int between(int least, int most) { return least + below(most - least + 1); }
    bool oneIn(int count) { return below(count) == 0; }
    bool percent(int chance) { return below(100) < chance; }
    char byte() { return static_cast<char>(static_cast<unsigned char>(below(256))); }
    template <typename Item>
    Item pick(std::initializer_list<Item> items)
    {
        return *(items.begin() + below(static_cast<int>(items.size())));
    }

private:
    static constexpr std::uint64_t kStep = 0x9E3779B97F4A7C15u;

    static std::uint64_t mixed(std::uint64_t bits)
    {
        bits = (bits ^ (bits >> 30)) * 0xBF58476D1CE4E5B9u;
        bits = (bits ^ (bits >> 27)) * 0x94D049BB133111EBu;
        return bits ^ (bits >> 31);
    }

    std::uint64_t state_;
};

} // namespace plc::behaviour

#endif
