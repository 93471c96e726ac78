/// @file
/// What a fuzz target claims about the code it feeds.
#ifndef PLC_FUZZ_SUPPORT_CLAIM_H
#define PLC_FUZZ_SUPPORT_CLAIM_H

#include <cstdio>
#include <cstdlib>

namespace plc::fuzz {

/// Ends the program when @p holds is false: the fuzzer keeps the input, a replay fails.
/// @param what  the claim, as a sentence that is true of correct code.
inline void claim(bool holds, const char *what)
{
    if (holds)
        return;
    std::fprintf(stderr, "claim does not hold: %s\n", what);
    std::abort();
}

} // namespace plc::fuzz

#endif
