/// @file
/// News on their way from the communication thread to the main thread.
#ifndef PLC_MASTER_NEWS_BOX_H
#define PLC_MASTER_NEWS_BOX_H

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

#include "runtime/master/link.h"

namespace plc::runtime {

/// Bounded queue between two threads. The line goes on while the main thread stands still, as behind a terminal that
/// is stopped; then step reports, lines of the trace and older statistics are dropped. Ends of operations, of which
/// there is a bounded number, changes of stations, which are rare and short, and the loss of the port never are.
class NewsBox
{
public:
    static constexpr std::size_t kMostWaiting = 1000;

    void put(News &&news);

    /// Waits until something is there, at most until @p until, and takes it all. Behind what was kept stands a line
    /// of the trace that tells how much was dropped.
    std::vector<News> take(Time until);

private:
    std::mutex mutex_;
    std::condition_variable filled_;
    std::vector<News> news_;
    std::uint64_t dropped_ = 0;
};

} // namespace plc::runtime

#endif
