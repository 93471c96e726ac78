/// @file
/// What a port has noticed on its line that no program gets to see: characters that were lost or damaged.
#ifndef PLC_LINE_LINE_ERRORS_H
#define PLC_LINE_LINE_ERRORS_H

#include <cstdint>

namespace plc::runtime {

struct LineErrors
{
    std::uint64_t parity = 0;   ///< characters with a wrong parity bit: another parity, or noise
    std::uint64_t framing = 0;  ///< characters without a stop bit: another rate, or noise
    std::uint64_t overruns = 0; ///< characters that came faster than they were fetched
    std::uint64_t breaks = 0;   ///< the line was held at 0 for longer than a character

    bool any() const { return parity + framing + overruns + breaks > 0; }
};

inline LineErrors operator+(const LineErrors &left, const LineErrors &right)
{
    return {left.parity + right.parity, left.framing + right.framing, left.overruns + right.overruns,
            left.breaks + right.breaks};
}

} // namespace plc::runtime

#endif
