/// @file
/// The public interface of libplcruntime, called from several threads while screens change and the port goes
/// and comes.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "plcruntime/plcruntime.h"
#include "runtime/testing/plain_stations.h"

namespace {

using namespace plcruntime;
using plc::simulation::Bytes;
using plc::simulation::PlainStations;

constexpr int kRounds = 60;
constexpr int kFramesOfAPort = 40; ///< then it is pulled out

/// Answers from stations in memory, and is lost after a while. The ports of a line follow each other.
class FleetingPort : public Port
{
public:
    explicit FleetingPort(PlainStations &stations) : stations_(stations) {}

    bool send(const QByteArray &bytes, QString *reason) override
    {
        if (++frames_ > kFramesOfAPort) {
            *reason = QLatin1String("pulled out");
            return false;
        }
        const Bytes frame(bytes.begin(), bytes.end());
        if (stations_.has(frame[0])) {
            const Bytes reply = stations_.execute(plc::runtime::Time::zero(), frame, true).reply;
            arrived_ =
                QByteArray(reinterpret_cast<const char *>(reply.data()), static_cast<int>(reply.size()));
        }
        return true;
    }

    bool receive(QByteArray *bytes, qint64 atMostUs, QString *) override
    {
        if (arrived_.isEmpty())
            std::this_thread::sleep_for(std::chrono::microseconds(atMostUs));
        bytes->swap(arrived_);
        return true;
    }

private:
    PlainStations &stations_;
    QByteArray arrived_;
    int frames_ = 0;
};

Port *openPort(void *context, const LineSettings &, Error *)
{
    return new FleetingPort(*static_cast<PlainStations *>(context));
}

/// How often each order was told to have ended.
class Ends
{
public:
    static void take(void *context, const Event &event)
    {
        auto &self = *static_cast<Ends *>(context);
        EXPECT_EQ(0, self.inside_.fetch_add(1, std::memory_order_relaxed)) << "events come one at a time";
        if (event.order) {
            const std::lock_guard<std::mutex> lock(self.mutex_);
            ++self.ends_[event.order->order];
        }
        self.inside_.fetch_sub(1, std::memory_order_relaxed);
    }
    std::map<OrderId, int> all() const
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return ends_;
    }

private:
    mutable std::mutex mutex_;
    std::map<OrderId, int> ends_;
    std::atomic<int> inside_{0};
};

LineSettings settingsOf(Delivery delivery)
{
    LineSettings settings;
    settings.baud = 1000000;
    settings.timeoutMs = 20;
    settings.retries = 0;
    settings.firstProbeMs = 100;
    settings.delivery = delivery;
    settings.driverFile = QLatin1String(PLC_DRIVER_PATH);
    return settings;
}

class PublicLineThreads : public testing::TestWithParam<Delivery>
{};

TEST_P(PublicLineThreads, CallEverythingAndEveryOrderEndsOnce)
{
    PlainStations stations(false);
    for (const int station : {1, 2}) // and nobody is station 3
        stations.add(station);
    Line line(settingsOf(GetParam()), openPort, &stations);
    Ends ends;
    line.setEventHandler(&Ends::take, &ends, EventsAll);
    QList<VariableId> variables;
    for (int i = 0; i < 12; ++i)
        variables.append(line.addVariable(QString::fromLatin1("4x:%1@%2").arg(100 + 3 * i).arg(1 + i % 3)));
    const Error error = line.open();
    ASSERT_FALSE(error) << error.text.toStdString();

    std::vector<std::vector<OrderId>> orders(2);
    std::vector<std::thread> threads;
    std::atomic<int> atWork{5};
    const auto start = [&threads, &atWork](auto work) {
        threads.emplace_back([work, &atWork] {
            for (int i = 0; i < kRounds; ++i)
                work(i);
            --atWork;
        });
    };
    start([&line, variables](int i) { line.showScreen(variables.mid(i % 6, 4)); });
    for (std::vector<OrderId> &mine : orders) {
        start([&line, &mine, variables](int i) {
            const OrderId order = i % 3 == 0 ? line.readOnce(variables.at(i % 12), i % 4 == 0 ? 50 : -1)
                                             : line.write(variables.at(i % 12), i);
            if (order != 0)
                mine.push_back(order);
            if (i % 8 == 0)
                line.wait(order, 30);
        });
    }
    start([&line, variables](int i) {
        const VariableId own = line.addVariable(QString::fromLatin1("4x:%1@2").arg(500 + i));
        line.value(variables.at(i % 12));
        line.statistics();
        line.findVariable(QLatin1String("nobody"));
        line.removeVariable(own);
    });
    start([&line](int i) {
        line.setStationEnabled(1 + i % 3, i % 4 != 0);
        line.stationState(1);
        line.portReason();
        line.poll(i % 5);
        if (i % 20 == 10)
            line.wake();
    });
    while (atWork.load(std::memory_order_relaxed) > 0)
        line.poll(5);
    for (std::thread &thread : threads)
        thread.join();
    line.close();

    const std::map<OrderId, int> ended = ends.all();
    std::size_t given = 0;
    for (const std::vector<OrderId> &mine : orders) {
        given += mine.size();
        for (const OrderId order : mine) {
            ASSERT_EQ(1u, ended.count(order)) << "order " << order;
            EXPECT_EQ(1, ended.at(order)) << "order " << order;
        }
    }
    EXPECT_GT(given, 0u);
}

INSTANTIATE_TEST_SUITE_P(Deliveries, PublicLineThreads, testing::Values(Delivery::OwnThread, Delivery::Poll));

TEST(PublicLineThreadsOfFour, LinesGoOnSideBySide)
{
    PlainStations stations[4] = {PlainStations(false), PlainStations(false), PlainStations(false),
                                 PlainStations(false)};
    // Copies of the driver come to lie where others lay, and the sanitizer sees no lock of the loader.
    std::mutex loading;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&own = stations[i], &loading, i] {
            own.add(1);
            for (int round = 0; round < 5; ++round) {
                Line line(settingsOf(Delivery::Poll), openPort, &own);
                const VariableId place = line.addVariable("4x:7@1");
                {
                    const std::lock_guard<std::mutex> lock(loading);
                    ASSERT_FALSE(line.open());
                }
                line.wait(line.write(place, 10 * i + round));
                {
                    const std::lock_guard<std::mutex> lock(loading);
                    line.close();
                }
                EXPECT_EQ(10 * i + round, own.value(1, plc::simulation::Table::HoldingRegisters, 7));
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
}

} // namespace
