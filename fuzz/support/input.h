/// @file
/// The bytes of one fuzz input, taken apart from the front.
#ifndef PLC_FUZZ_SUPPORT_INPUT_H
#define PLC_FUZZ_SUPPORT_INPUT_H

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>

namespace plc::fuzz {

/// Callers take one thing in a statement: of two in one expression, compilers choose which comes first.
///
/// Every call takes what it needs; when the bytes are used up, zeros are taken, so that any input is a good
/// one.
class Input
{
public:
    Input(const std::uint8_t *data, std::size_t size) : at_(data), end_(data + size) {}

    bool isEmpty() const { return at_ == end_; }
    std::size_t left() const { return static_cast<std::size_t>(end_ - at_); }

    int byte() { return isEmpty() ? 0 : *at_++; }
    bool flag() { return (byte() & 1) != 0; }
    /// 0 to @p limit - 1; @p limit is at most 256.
    int below(int limit) { return byte() % limit; }
    int twoBytes()
    {
        const int high = byte();
        return high * 256 + byte();
    }

    /// Any int: mostly small, often one at which something ends.
    int number()
    {
        static const int kBorders[] = {INT_MIN, INT_MIN + 1, -65536,  -256,   -17,   -1,
                                       255,     256,         2000,    32767,  65535, 65536,
                                       1048575, 1048576,     1 << 30, INT_MAX};
        const int first = byte();
        if (first < 200)
            return first;
        if (first < 232)
            return kBorders[first % static_cast<int>(std::size(kBorders))];
        if (first < 248)
            return twoBytes();
        const unsigned high = static_cast<unsigned>(twoBytes());
        return static_cast<int>(high << 16 | static_cast<unsigned>(twoBytes()));
    }

    /// At most @p most bytes, 255 or fewer: a byte says how many.
    std::string bytes(int most)
    {
        const auto wanted = static_cast<std::size_t>(below(most + 1));
        const std::size_t size = std::min(wanted, left());
        const std::string taken(at_, at_ + size);
        at_ += size;
        return taken;
    }

    /// Everything that is left.
    std::string rest()
    {
        const std::string taken(at_, end_);
        at_ = end_;
        return taken;
    }

private:
    const std::uint8_t *at_;
    const std::uint8_t *end_;
};

} // namespace plc::fuzz

#endif
