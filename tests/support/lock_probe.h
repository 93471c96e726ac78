/// @file
/// Which mutex a call waits for, seen from outside.
#ifndef PLC_TESTS_SUPPORT_LOCK_PROBE_H
#define PLC_TESTS_SUPPORT_LOCK_PROBE_H

#include <QMutex>

#include <chrono>
#include <future>
#include <thread>

namespace plc::test {

/// Whether anybody holds @p mutex now, asked from a thread that does not.
inline bool isHeld(QMutex &mutex)
{
    return std::async(std::launch::async,
                      [&mutex] {
                          if (!mutex.tryLock())
                              return true;
                          mutex.unlock();
                          return false;
                      })
        .get();
}

/// Runs @p call on another thread while this one holds @p mutex. True when the call is still waiting after a
/// moment; then the mutex is released and the call ends.
template <typename Call>
bool waitsFor(QMutex &mutex, Call call)
{
    mutex.lock();
    auto running = std::async(std::launch::async, call);
    const bool waiting = running.wait_for(std::chrono::milliseconds(40)) == std::future_status::timeout;
    mutex.unlock();
    running.wait();
    return waiting;
}

/// Runs @p call on another thread while this one holds @p mutex. True when the call ends all the same.
template <typename Call>
bool returnsDespite(QMutex &mutex, Call call)
{
    mutex.lock();
    auto running = std::async(std::launch::async, call);
    const bool ended = running.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
    mutex.unlock();
    running.wait();
    return ended;
}

/// Waits until @p condition holds, at most ten seconds.
template <typename Condition>
bool becomesTrue(Condition condition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::yield();
    }
    return true;
}

} // namespace plc::test

#endif
