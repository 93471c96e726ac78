#include "transcript.h"

#include <climits>
#include <cstdio>

namespace plc::behaviour {

namespace {

constexpr std::size_t kParts = 8;
constexpr std::size_t kCallsPerPart = 20;
constexpr std::size_t kWholeDigits = 8;

/// FNV-1a, 64 bits.
class Digest
{
public:
    void add(const std::string &text)
    {
        for (const char letter : text)
            addByte(static_cast<unsigned char>(letter));
        addByte('\n');
    }
    /// The halves folded, since the lowest bits alone know only the lowest bits of what was added.
    std::uint32_t value() const { return static_cast<std::uint32_t>(state_ ^ (state_ >> 32)); }

private:
    void addByte(unsigned char byte) { state_ = (state_ ^ byte) * 0x100000001B3u; }

    std::uint64_t state_ = 0xCBF29CE484222325u;
};

} // namespace

std::string fingerprintOf(const Transcript &transcript)
{
    Digest digest;
    std::string places;
    std::size_t done = 0;
    const auto addUpTo = [&](std::size_t end) {
        for (; done < end && done < transcript.size(); ++done) {
            digest.add(transcript[done].asked);
            digest.add(transcript[done].found);
        }
    };
    for (std::size_t part = 1; part <= kParts; ++part) {
        addUpTo(part * kCallsPerPart);
        places += "0123456789abcdef"[(digest.value() >> 13) & 15u];
    }
    addUpTo(transcript.size());
    char whole[kWholeDigits + 1];
    std::snprintf(whole, sizeof whole, "%08x", static_cast<unsigned>(digest.value()));
    return whole + places;
}

Stretch firstDifference(const std::string &expected, const std::string &found)
{
    std::size_t part = 0;
    while (part < kParts &&
           expected.substr(kWholeDigits).compare(part, 1, found, kWholeDigits + part, 1) == 0)
        ++part;
    const auto first = static_cast<int>(part * kCallsPerPart);
    return {first, part < kParts ? first + static_cast<int>(kCallsPerPart) : INT_MAX};
}

} // namespace plc::behaviour
