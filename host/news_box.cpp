#include "news_box.h"

#include <utility>

namespace plc::host {

namespace {

bool mustNotBeLost(const News &news)
{
    return !news.operations.empty() || !news.released.empty() || news.station || !news.portLost.empty();
}

} // namespace

void NewsBox::put(News &&news)
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (news_.size() >= kMostWaiting) {
            ++dropped_;
            news.step.reset();
            news.trace.clear();
            if (news.portLost.empty())
                news.statistics.reset();
            if (!mustNotBeLost(news))
                return;
        }
        news_.push_back(std::move(news));
    }
    filled_.notify_one();
}

std::vector<News> NewsBox::take(Time until)
{
    std::unique_lock<std::mutex> lock(mutex_);
    const std::chrono::steady_clock::time_point moment{
        std::chrono::duration_cast<std::chrono::steady_clock::duration>(until)};
    filled_.wait_until(lock, moment, [this] { return !news_.empty(); });
    std::vector<News> taken = std::exchange(news_, {});
    const std::uint64_t dropped = std::exchange(dropped_, 0);
    lock.unlock();
    if (dropped > 0) {
        News gap;
        gap.trace = "-- " + std::to_string(dropped) + " events are not shown: the output was stopped";
        taken.push_back(std::move(gap));
    }
    return taken;
}

} // namespace plc::host
