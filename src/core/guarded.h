/// @file
/// Keeps exceptions inside the library: a panel must not end because memory ran out.
#ifndef PLC_CORE_GUARDED_H
#define PLC_CORE_GUARDED_H

namespace plc {

/// Runs @p body and returns its result, or @p refusal when it throws.
template <typename Result, typename Body>
Result guarded(Result refusal, Body body) noexcept
{
    try {
        return body();
    } catch (...) {
        return refusal;
    }
}

} // namespace plc

#endif
