/// @file
/// Which mutex a call waits for, seen from outside.
#ifndef PLC_TESTS_SUPPORT_LOCK_PROBE_H
#define PLC_TESTS_SUPPORT_LOCK_PROBE_H

#include <QMutex>

#include <chrono>
#include <future>

namespace plc::test {

/// True when @p call, run on another thread, is still waiting after a moment while this thread holds @p
/// mutex. The call is let go and finished before this returns.
template <typename Call>
bool waitsFor(QMutex &mutex, Call call)
{
    mutex.lock();
    std::future<void> running = std::async(std::launch::async, call);
    const bool waited = running.wait_for(std::chrono::milliseconds(20)) == std::future_status::timeout;
    mutex.unlock();
    running.get();
    return waited;
}

/// True when @p call, run on another thread, returns while this thread holds @p mutex. Gives up after some
/// seconds, which are spent only when the answer is no.
template <typename Call>
bool returnsDespite(QMutex &mutex, Call call)
{
    mutex.lock();
    std::future<void> running = std::async(std::launch::async, call);
    const bool returned = running.wait_for(std::chrono::seconds(5)) == std::future_status::ready;
    mutex.unlock();
    running.get();
    return returned;
}

/// True when nobody holds @p mutex.
inline bool isFree(QMutex &mutex)
{
    if (!mutex.tryLock())
        return false;
    mutex.unlock();
    return true;
}

} // namespace plc::test

#endif
