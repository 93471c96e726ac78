#include "runtime/master/news_box.h"

#include <algorithm>
#include <utility>

namespace plc::runtime {

namespace {

bool mustNotBeLost(const News &news)
{
    return !news.orders.empty() || !news.released.empty() || news.station || news.port;
}

} // namespace

void NewsBox::put(News &&news)
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const bool mustBeKept = mustNotBeLost(news);
        if (news_.size() >= kMostWaiting) {
            ++dropped_;
            news.transaction.reset();
            news.frame.reset();
            if (!mustBeKept)
                return;
        }
        news_.push_back(std::move(news));
        if (!mustBeKept && news_.size() < kManyWaiting)
            return;
        isUrgent_ = true;
    }
    filled_.notify_one();
}

bool takeBackChanges(std::vector<News> *news, int station)
{
    bool wentOffline = false;
    for (News &item : *news) {
        if (!item.station || item.station->station != station)
            continue;
        wentOffline = wentOffline || item.station->offline;
        item.station.reset();
    }
    return wentOffline;
}

bool NewsBox::takeBack(int station)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return takeBackChanges(&news_, station);
}

void NewsBox::wait(Time until)
{
    std::unique_lock<std::mutex> lock(mutex_);
    // The condition waits by another clock than the session, so it is told how long, not until when.
    filled_.wait_for(lock, std::max(until - steadyNow(), Time::zero()),
                     [this] { return isUrgent_ || isWoken_; });
    isWoken_ = false;
}

void NewsBox::wake()
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isWoken_ = true;
    }
    filled_.notify_one();
}

std::vector<News> NewsBox::take()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (dropped_ > 0) {
        News gap;
        gap.gap = "-- " + std::to_string(dropped_) + " events are not shown: the output was stopped";
        news_.push_back(std::move(gap));
        dropped_ = 0;
    }
    std::vector<News> next;
    next.reserve(news_.size()); // as many may come again
    isUrgent_ = false;
    return std::exchange(news_, std::move(next));
}

} // namespace plc::runtime
