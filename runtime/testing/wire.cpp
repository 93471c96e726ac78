#include "runtime/testing/wire.h"

#include <algorithm>
#include <array>

namespace plc::simulation {

namespace {

constexpr std::int64_t kBitsPerCharacter = 11;
constexpr std::int64_t kNanoseconds = 1000000000;
constexpr int kFastestProportionalBaud = 19200;
constexpr int kShortestFrame = 4;
constexpr std::size_t kLongestFrame = 300; // no frame has more than 256 bytes

std::array<std::uint16_t, 256> makeTable()
{
    std::array<std::uint16_t, 256> table{};
    for (unsigned value = 0; value < table.size(); ++value) {
        unsigned crc = value;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1u) != 0 ? (crc >> 1) ^ 0xA001u : crc >> 1;
        table[value] = static_cast<std::uint16_t>(crc);
    }
    return table;
}

std::uint16_t step(std::uint16_t crc, std::uint8_t value)
{
    static const std::array<std::uint16_t, 256> kTable = makeTable();
    return static_cast<std::uint16_t>((crc >> 8) ^ kTable[(crc ^ value) & 0xFFu]);
}

} // namespace

void ForgeGuard::reset()
{
    clean_.clear();
    starts_.clear();
    tainted_ = 0;
    noisy_ = false;
}

void ForgeGuard::pass(WireByte *byte)
{
    if (!noisy_ && !byte->isNoise) {
        if (clean_.size() == kLongestFrame)
            clean_.erase(clean_.begin());
        clean_.push_back(byte->value);
        return;
    }
    if (!noisy_) {
        noisy_ = true;
        for (const std::uint8_t value : clean_)
            follow(value);
        clean_.clear();
    }
    if (byte->isNoise)
        tainted_ = starts_.size() + 1;
    while (completes(byte->value)) {
        ++byte->value;
        byte->isNoise = true;
        tainted_ = starts_.size() + 1;
    }
    follow(byte->value);
}

/// Would this byte complete a good CRC, in either order of its bytes, over bytes with noise among them? What
/// is compared is the CRC of all but the last two.
bool ForgeGuard::completes(std::uint8_t value) const
{
    for (std::size_t i = 0; i < std::min(tainted_, starts_.size()); ++i) {
        const Start &start = starts_[i];
        if (start.length + 1 < kShortestFrame)
            continue;
        // `crc` ran over the last byte as well: it is 0 exactly if that byte and this one are the CRC, low
        // byte first.
        if (step(start.crc, value) == 0)
            return true;
        const auto high = static_cast<std::uint8_t>(start.before >> 8);
        if (value == (start.before & 0xFFu) && step(start.before, high) == start.crc)
            return true;
    }
    return false;
}

void ForgeGuard::follow(std::uint8_t value)
{
    for (Start &start : starts_) {
        start.before = start.crc;
        start.crc = step(start.crc, value);
        ++start.length;
    }
    starts_.push_back({step(0xFFFF, value), 0xFFFF, 1});
    if (starts_.size() <= kLongestFrame)
        return;
    starts_.erase(starts_.begin());
    tainted_ -= tainted_ > 0 ? 1 : 0;
}

Wire::Wire(int baud, std::uint64_t noiseSeed)
    : baud_(baud), noise_(noiseSeed), lastEnd_(-std::chrono::hours(1))
{}

Time Wire::duration(int bytes) const
{
    const std::int64_t bits = kBitsPerCharacter * bytes;
    return Time((bits * kNanoseconds + baud_ - 1) / baud_);
}

Time Wire::silence() const
{
    if (baud_ > kFastestProportionalBaud)
        return std::chrono::microseconds(1750);
    const std::int64_t doubled = 2LL * baud_;
    return Time((7 * kBitsPerCharacter * kNanoseconds + doubled - 1) / doubled);
}

void Wire::garble(WireByte *byte)
{
    if (!byte->isNoise)
        ++collisions_;
    byte->isNoise = true;
    byte->value = static_cast<std::uint8_t>(byte->value ^ noise_.between(1, 255));
}

Time Wire::send(int source, Time at, const Message &message)
{
    Time held{};
    Time end = at;
    for (int i = 0; i < static_cast<int>(message.bytes.size()); ++i) {
        const auto index = static_cast<std::size_t>(i);
        if (i == message.gapBefore)
            held = message.gap;
        WireByte byte;
        byte.start = at + duration(i) + held;
        byte.end = end = at + duration(i + 1) + held;
        byte.value = message.bytes[index];
        byte.source = source;
        byte.isNoise = !message.noise.empty() && message.noise[index];
        const auto endsAfter = [this](Time moment) {
            return std::upper_bound(pending_.begin(), pending_.end(), moment,
                                    [](Time time, const WireByte &other) { return time < other.end; });
        };
        bool collides = false;
        for (auto other = endsAfter(byte.start); other != pending_.end(); ++other) {
            if (other->source == source || byte.end <= other->start)
                continue;
            garble(&*other);
            collides = true;
        }
        if (collides)
            garble(&byte);
        pending_.insert(endsAfter(byte.end), byte);
    }
    return end;
}

WireByte Wire::take()
{
    WireByte byte = pending_.front();
    pending_.pop_front();
    // A new request begins a new exchange for everybody.
    if (byte.source == kMaster && byte.start - lastEnd_ >= silence())
        guard_.reset();
    guard_.pass(&byte);
    lastEnd_ = std::max(lastEnd_, byte.end);
    constexpr std::uint64_t kPrime = 0x100000001B3u;
    digest_ = (digest_ ^ static_cast<std::uint64_t>(byte.end.count())) * kPrime;
    digest_ = (digest_ ^ byte.value) * kPrime;
    return byte;
}

} // namespace plc::simulation
