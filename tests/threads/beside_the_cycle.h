/// @file
/// The threads of a runtime: one runs the cycle, the others use the driver beside it.
#ifndef PLC_TESTS_THREADS_BESIDE_THE_CYCLE_H
#define PLC_TESTS_THREADS_BESIDE_THE_CYCLE_H

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "support/driver_fixture.h"
#include "threads/stations.h"

namespace plc::test {

/// A value of a holding register as it is handed over, low byte first.
inline QByteArray wordBytes(int value)
{
    QByteArray bytes;
    bytes.append(static_cast<char>(value & 0xFF));
    bytes.append(static_cast<char>(value >> 8));
    return bytes;
}

/// A set-up driver (no failed attempt is tolerated), stations, and threads that are bounded by what they do,
/// never by time.
///
/// What the threads of a test share is either theirs alone until they are joined, or atomic in relaxed order:
/// anything stronger would put their calls in order and hide from ThreadSanitizer what the driver forgets.
class BesideTheCycle : public SetUpDriver
{
protected:
    typedef std::function<void()> Task;

    BesideTheCycle() { info.retryLimit = 0; }

    /// Runs each task on a thread of its own, all at once, and the cycle on this thread until they are done.
    void runBeside(const std::vector<Task> &tasks)
    {
        run(tasks, [this] { turn(); });
    }

    /// The same while the cycle stands still.
    void runWithoutCycle(const std::vector<Task> &tasks) { run(tasks, std::this_thread::yield); }

    /// Runs the cycle until no write and no one-shot read is left.
    void emptyTheLists()
    {
        constexpr int kMostTurns = 100000;
        for (int i = 0; i < kMostTurns && isAnythingQueued(); ++i)
            turn();
        EXPECT_FALSE(isAnythingQueued());
    }

    /// One transaction from its choice to its end, if there is anything to do.
    void turn()
    {
        if (const Protocol *head = next())
            exchange(*head);
        turns_.fetch_add(1, std::memory_order_relaxed);
        if (afterTurn)
            afterTurn();
    }

    /// Turns of the cycle so far; any thread.
    int turns() const { return turns_.load(std::memory_order_relaxed); }

    /// Waits, on another thread than the cycle's, until it has made a turn.
    void letTheCycleTurn() const
    {
        const int seen = turns();
        while (turns() == seen)
            std::this_thread::yield();
    }

    Stations stations;
    Task afterTurn; ///< runs on the cycle's thread after each turn, if set

private:
    static void run(const std::vector<Task> &tasks, const Task &meanwhile)
    {
        std::atomic<std::size_t> waiting(tasks.size());
        std::atomic<std::size_t> running(tasks.size());
        std::vector<std::thread> threads;
        for (const Task &task : tasks)
            threads.emplace_back([&waiting, &running, &task] {
                waiting.fetch_sub(1, std::memory_order_relaxed);
                while (waiting.load(std::memory_order_relaxed) != 0)
                    std::this_thread::yield();
                task();
                running.fetch_sub(1, std::memory_order_relaxed);
            });
        while (running.load(std::memory_order_relaxed) != 0)
            meanwhile();
        for (std::thread &thread : threads)
            thread.join();
    }

    void exchange(const Protocol &head)
    {
        QByteArray reply = stations.answer(head.frame.left(head.sendLen));
        const int length = reply.size();
        // While a request is on the line the others have all the time.
        std::this_thread::yield();
        const int status = DataCom(&reply, length)->status;
        if (length == 0)
            return;
        // A reply that was found is handled by the next call; one that was not is waited for in vain.
        if (status == 0)
            reply.clear();
        DataCom(&reply, reply.size());
    }

    static bool isAnythingQueued()
    {
        return !PLC_driver.sendQueue.isEmpty() || !PLC_driver.writeList.isEmpty() ||
               !PLC_driver.onceReadList.isEmpty();
    }

    std::atomic<int> turns_{0};
};

} // namespace plc::test

#endif
