/// @file
/// What leaves a function of the library, and what does not: exceptions stay inside, since a panel must not
/// end because memory ran out; the end of a cancelled thread passes.
#ifndef PLC_CORE_GUARDED_H
#define PLC_CORE_GUARDED_H

#include <cxxabi.h>

// The end of a thread is caught as a reference to nothing, which the sanitizer of undefined behaviour would
// report.
#define PLC_CATCHES_END_OF_THREAD
#if defined(__has_attribute)
#if __has_attribute(no_sanitize)
#undef PLC_CATCHES_END_OF_THREAD
#define PLC_CATCHES_END_OF_THREAD __attribute__((no_sanitize("null")))
#endif
#endif

namespace plc {

/// Runs @p body and returns its result, or @p refusal when it throws.
///
/// A thread that is cancelled inside (pthread_cancel, QThread::terminate) unwinds through here: swallowing
/// that would end the whole process, and so would noexcept.
template <typename Result, typename Body>
PLC_CATCHES_END_OF_THREAD Result guarded(Result refusal, Body body)
{
    try {
        return body();
    } catch (abi::__forced_unwind &) {
        throw;
    } catch (...) {
        return refusal;
    }
}

/// Runs its work when the scope is left in whatever way, also by an exception or by the end of a cancelled
/// thread. The work has no point at which a thread can be cancelled.
template <typename Work>
class OnLeaving
{
public:
    explicit OnLeaving(Work work) : work_(work) {}
    ~OnLeaving()
    {
        const Work &work = work_;
        guarded(0, [&work] {
            work();
            return 0;
        });
    }
    OnLeaving(const OnLeaving &) = delete;
    OnLeaving &operator=(const OnLeaving &) = delete;

private:
    const Work work_;
};

} // namespace plc

#undef PLC_CATCHES_END_OF_THREAD

#endif
