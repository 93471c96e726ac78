#include "runtime/master/news_box.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

namespace {

using namespace plc::runtime;
using ::testing::HasSubstr;

News reportNews(int address)
{
    News news;
    news.transaction.emplace();
    news.transaction->request.address = address;
    return news;
}

News endNews(Ticket ticket)
{
    News news = reportNews(0);
    news.orders.push_back({ticket, OrderResult()});
    return news;
}

std::vector<News> waitAndTake(NewsBox &box, Time until)
{
    box.wait(until);
    return box.take();
}

TEST(NewsBox, HandsNewsOverInTheirOrder)
{
    NewsBox box;
    for (int i = 0; i < 5; ++i)
        box.put(reportNews(i));
    const std::vector<News> taken = box.take();
    ASSERT_EQ(5u, taken.size());
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(i, taken[static_cast<std::size_t>(i)].transaction->request.address);
    EXPECT_TRUE(box.take().empty());
}

TEST(NewsBox, WakesWhoWaits)
{
    NewsBox box;
    std::thread other([&box] { box.put(endNews(1)); });
    EXPECT_EQ(1u, waitAndTake(box, steadyNow() + std::chrono::seconds(60)).size());
    other.join();
}

TEST(NewsBox, WakesOnceForEachNews)
{
    NewsBox box;
    box.put(endNews(1));
    EXPECT_EQ(1u, waitAndTake(box, steadyNow() + std::chrono::hours(1)).size());
    const Time until = steadyNow() + std::chrono::milliseconds(20);
    EXPECT_TRUE(waitAndTake(box, until).empty());
    EXPECT_GE(steadyNow(), until) << "woken by news that were taken before";
}

TEST(NewsBox, EndsAWaitWhereItIsWoken)
{
    NewsBox box;
    const Time start = steadyNow();
    box.wake(); // before the wait
    box.wait(start + std::chrono::hours(1));
    std::thread other([&box] { box.wake(); }); // before it or meanwhile
    box.wait(start + std::chrono::hours(1));
    other.join();
    EXPECT_LT(steadyNow(), start + std::chrono::hours(1));
}

TEST(NewsBox, TakesNothingByWaiting)
{
    NewsBox box;
    News change;
    change.station.emplace();
    change.station->station = 5;
    change.station->offline = true;
    box.put(std::move(change));
    box.wait(steadyNow() + std::chrono::hours(1));
    EXPECT_TRUE(box.takeBack(5)) << "it is switched between the wait and the taking";
    EXPECT_FALSE(box.take().at(0).station);
}

TEST(NewsBox, WakesNobodyForReportsAlone)
{
    NewsBox box;
    box.put(reportNews(1));
    News trace;
    trace.frame.emplace();
    box.put(std::move(trace));
    const Time until = steadyNow() + std::chrono::milliseconds(20);
    EXPECT_EQ(2u, waitAndTake(box, until).size());
    EXPECT_GE(steadyNow(), until);
}

TEST(NewsBox, WakesWhoWaitsBeforeItIsFull)
{
    NewsBox box;
    for (std::size_t i = 0; i < NewsBox::kManyWaiting; ++i)
        box.put(reportNews(1));
    const Time start = steadyNow();
    EXPECT_EQ(NewsBox::kManyWaiting, waitAndTake(box, start + std::chrono::hours(1)).size());
    EXPECT_LT(steadyNow(), start + std::chrono::hours(1));
}

TEST(NewsBox, DropsReportsAndTraceWhileNobodyTakesThem)
{
    NewsBox box;
    for (std::size_t i = 0; i < NewsBox::kMostWaiting + 50; ++i)
        box.put(reportNews(static_cast<int>(i)));
    News trace;
    trace.frame.emplace();
    box.put(std::move(trace));
    const std::vector<News> taken = box.take();
    ASSERT_EQ(NewsBox::kMostWaiting + 1, taken.size());
    EXPECT_EQ(0, taken.front().transaction->request.address);
    EXPECT_THAT(taken.back().gap, HasSubstr("51 events are not shown"));
    box.put(reportNews(7));
    EXPECT_EQ(1u, box.take().size()) << "the gap is told once";
}

TEST(NewsBox, KeepsChangesOfStationsAndOfThePort)
{
    NewsBox box;
    for (std::size_t i = 0; i < NewsBox::kMostWaiting; ++i)
        box.put(reportNews(1));
    News change;
    change.station.emplace();
    box.put(std::move(change));
    News loss;
    loss.port.emplace();
    box.put(std::move(loss));
    const std::vector<News> taken = box.take();
    ASSERT_GE(taken.size(), NewsBox::kMostWaiting + 2);
    EXPECT_TRUE(taken[NewsBox::kMostWaiting].station);
    EXPECT_TRUE(taken[NewsBox::kMostWaiting + 1].port);
}

TEST(NewsBox, TakesBackTheChangesOfAStationAndNothingElse)
{
    NewsBox box;
    for (const int station : {5, 6, 5}) {
        News change = endNews(station);
        change.station.emplace();
        change.station->station = station;
        change.station->offline = station == 5;
        box.put(std::move(change));
    }
    EXPECT_TRUE(box.takeBack(5)) << "it had gone offline";
    EXPECT_FALSE(box.takeBack(5)) << "that is taken back already";
    EXPECT_FALSE(box.takeBack(7));
    const std::vector<News> taken = box.take();
    ASSERT_EQ(3u, taken.size());
    EXPECT_FALSE(taken[0].station);
    EXPECT_EQ(5, taken[0].orders.at(0).ticket) << "its orders have ended all the same";
    EXPECT_TRUE(taken[0].transaction);
    EXPECT_TRUE(taken[1].station);
    EXPECT_FALSE(taken[2].station);
}

TEST(NewsBox, NeverDropsWhatIsToldOnlyOnce)
{
    NewsBox box;
    for (std::size_t i = 0; i < NewsBox::kMostWaiting; ++i)
        box.put(reportNews(0));
    box.put(endNews(17));
    News station;
    station.station.emplace();
    station.station->station = 5;
    box.put(std::move(station));
    News released;
    released.released = {3};
    box.put(std::move(released));
    News lost;
    lost.port.emplace();
    lost.port->reason = "gone";
    box.put(std::move(lost));
    const std::vector<News> taken = box.take();
    ASSERT_EQ(NewsBox::kMostWaiting + 5, taken.size());
    const auto at = taken.begin() + static_cast<std::ptrdiff_t>(NewsBox::kMostWaiting);
    EXPECT_EQ(17, at[0].orders.at(0).ticket);
    EXPECT_FALSE(at[0].transaction) << "not more of it than must be";
    EXPECT_EQ(5, at[1].station->station);
    EXPECT_EQ(std::vector<Ticket>{3}, at[2].released);
    EXPECT_EQ("gone", at[3].port->reason);
}

} // namespace
