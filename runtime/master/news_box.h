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

/// NewsSink::takeBack() among these news.
bool takeBackChanges(std::vector<News> *news, int station);

/// Bounded queue between two threads. Reports of transactions and of frames wake nobody: they come
/// hundreds of times a second, and are taken with what comes behind them. When the main thread stands still,
/// as behind a stopped terminal, the line goes on. Then they are dropped. Ends and releases of orders are
/// never dropped, as their number is bounded; nor are changes of stations and of the port, which are rare
/// and short.
class NewsBox : public NewsSink
{
public:
    static constexpr std::size_t kMostWaiting = 1000;
    /// So many wake who waits, whatever they are.
    static constexpr std::size_t kManyWaiting = kMostWaiting / 2;

    void put(News &&news) override;
    bool takeBack(int station) override;

    /// Waits until something is there that must not be dropped, or kManyWaiting, at most until @p until.
    void wait(Time until);
    /// Ends the wait that is under way, or the next one.
    void wake();
    /// Takes all that is there. Behind what was kept stands a News::gap that tells how much was dropped.
    std::vector<News> take();

private:
    std::mutex mutex_;
    std::condition_variable filled_;
    std::vector<News> news_;
    bool isUrgent_ = false; ///< the news are to be taken now
    bool isWoken_ = false;  ///< the next wait is over
    std::uint64_t dropped_ = 0;
};

} // namespace plc::runtime

#endif
