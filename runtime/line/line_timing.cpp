#include "runtime/line/line_timing.h"

#include <algorithm>
#include <cstdint>

namespace plc::runtime {

namespace {

constexpr int kFastestProportionalBaud = 19200;
constexpr Time kFixedSilence = std::chrono::microseconds(1750);

Time bits(std::int64_t halfBits, int baud)
{
    // Half bits, since 3.5 characters are 38.5 bits.
    const std::int64_t perSecond = 2LL * baud;
    return Time((halfBits * 1000000000LL + perSecond - 1) / perSecond);
}

} // namespace

LineTiming::LineTiming(int baud) : baud_(std::max(baud, 1)) {}

Time LineTiming::silence() const
{
    return baud_ > kFastestProportionalBaud ? kFixedSilence : bits(7LL * kBitsPerCharacter, baud_);
}

Time LineTiming::wire(int bytes) const
{
    return bits(2LL * kBitsPerCharacter * std::max(bytes, 0), baud_);
}

} // namespace plc::runtime
