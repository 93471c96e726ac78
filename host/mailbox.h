/// @file
/// A queue from one thread to another.
#ifndef PLC_HOST_MAILBOX_H
#define PLC_HOST_MAILBOX_H

#include <condition_variable>
#include <mutex>
#include <utility>
#include <vector>

#include "link_time.h"

namespace plc::host {

template <typename Item>
class Mailbox
{
public:
    void put(Item item)
    {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            items_.push_back(std::move(item));
        }
        filled_.notify_one();
    }

    /// Waits until something is there, at most until @p until, and takes it all.
    std::vector<Item> take(Time until)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        const std::chrono::steady_clock::time_point moment{
            std::chrono::duration_cast<std::chrono::steady_clock::duration>(until)};
        filled_.wait_until(lock, moment, [this] { return !items_.empty(); });
        return std::exchange(items_, {});
    }

private:
    std::mutex mutex_;
    std::condition_variable filled_;
    std::vector<Item> items_;
};

} // namespace plc::host

#endif
