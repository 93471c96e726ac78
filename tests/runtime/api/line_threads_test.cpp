// A line that several threads use at once, over a port of the program's own.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "plcruntime/plcruntime.h"
#include "runtime/api/line_access.h"
#include "runtime/api/line_port.h"
#include "runtime/line/reply_search.h"
#include "runtime/master/communication.h"

namespace {

using namespace plcruntime;
using ::testing::HasSubstr;

/// A device whose station answers at once; the test pulls it out and plugs it in.
class Device
{
public:
    static ::plcruntime::Port *open(void *context, const LineSettings &, Error *error)
    {
        auto &self = *static_cast<Device *>(context);
        const std::lock_guard<std::mutex> lock(self.mutex_);
        if (self.isPlugged_)
            return new OpenPort(self);
        *error = Error(ErrorKind::PortAbsent, QString::fromLatin1("it is not plugged in"));
        return nullptr;
    }

    void plug(bool isPlugged)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isPlugged_ = isPlugged;
        arrived_.notify_all();
    }

private:
    class OpenPort : public ::plcruntime::Port
    {
    public:
        explicit OpenPort(Device &device) : device_(device) {}

        bool send(const QByteArray &bytes, QString *reason) override
        {
            const std::lock_guard<std::mutex> lock(device_.mutex_);
            replies_.push_back(answerTo(bytes));
            return isThere(reason);
        }
        bool receive(QByteArray *bytes, qint64 atMostUs, QString *reason) override
        {
            std::unique_lock<std::mutex> lock(device_.mutex_);
            if (replies_.empty() && device_.isPlugged_)
                device_.arrived_.wait_for(lock, std::chrono::microseconds(atMostUs));
            if (!replies_.empty()) {
                *bytes = replies_.front();
                replies_.pop_front();
            }
            return isThere(reason);
        }

    private:
        bool isThere(QString *reason) const
        {
            if (!device_.isPlugged_)
                *reason = QString::fromLatin1("it was pulled out");
            return device_.isPlugged_;
        }
        static QByteArray answerTo(const QByteArray &request)
        {
            QByteArray reply = request.left(6);
            if (request.at(1) == 3) {
                const int count = static_cast<unsigned char>(request.at(5));
                reply = request.left(2);
                reply.append(static_cast<char>(2 * count));
                reply.append(QByteArray(2 * count, '\x01'));
            }
            const std::uint16_t crc = plc::runtime::crcOf(reply.constData(), reply.size());
            reply.append(static_cast<char>(crc & 0xFF));
            reply.append(static_cast<char>(crc >> 8));
            return reply;
        }

        Device &device_;
        std::deque<QByteArray> replies_;
    };

    std::mutex mutex_;
    std::condition_variable arrived_;
    bool isPlugged_ = true;
};

LineSettings settingsFor(Delivery delivery)
{
    LineSettings settings;
    settings.driverFile = QString::fromLatin1(PLC_DRIVER_PATH);
    settings.delivery = delivery;
    settings.baud = 4000000;
    settings.maxBlock = 3; // so that values have to be kept whole
    return settings;
}

TEST(LineThreads, AreWokenWhereTheyWait)
{
    for (const Delivery delivery : {Delivery::OwnThread, Delivery::Poll}) {
        Device device;
        Line line(settingsFor(delivery), &Device::open, &device);
        ASSERT_FALSE(line.open());
        std::thread polling([&line] { line.poll(-1); });
        line.wake(); // before it polls or meanwhile
        polling.join();
    }
}

TEST(LineThreads, HearWhatHappensAlsoWhereTheyNeverWait)
{
    Device device;
    Line line(settingsFor(Delivery::Poll), &Device::open, &device);
    const VariableId id = line.addVariable("4x:1@1");
    ASSERT_FALSE(line.open());
    const OrderId order = line.write(id, Value(1), 60000);
    while (line.result(order).end == OrderEnd::Open)
        line.poll(0); // as a program with a loop of its own does
    EXPECT_EQ(OrderEnd::Good, line.result(order).end);
    line.close();
}

/// A port that the system holds up while it is being opened.
struct HeldUp
{
    static ::plcruntime::Port *open(void *context, const LineSettings &, Error *error)
    {
        auto &self = *static_cast<HeldUp *>(context);
        self.entered.set_value();
        self.release.get_future().wait();
        *error = Error(ErrorKind::Port, QString::fromLatin1("nobody hears this any more"));
        self.left.set_value();
        return nullptr;
    }
    std::promise<void> entered;
    std::promise<void> release;
    std::promise<void> left;
};

TEST(LineThreads, AreWokenWhileThePortIsBeingOpened)
{
    static std::array<HeldUp, 2> ports; // a thread that nobody waits for is in there last
    for (const bool byClose : {false, true}) {
        HeldUp &port = ports[byClose ? 1 : 0];
        Line line(settingsFor(Delivery::Poll), &HeldUp::open, &port);
        std::thread opening([&line] {
            const Error error = line.open();
            EXPECT_EQ(ErrorKind::Interrupted, error.kind);
            EXPECT_THAT(error.text.toStdString(), HasSubstr(" was being opened")) << "which port it was";
        });
        port.entered.get_future().wait();
        if (byClose)
            line.close();
        else
            line.wake();
        opening.join();
        EXPECT_FALSE(line.isOpen());
        port.release.set_value();
        port.left.get_future().wait();
    }
}

TEST(LineThreads, AreFreedByAClose)
{
    Device device;
    Line line(settingsFor(Delivery::OwnThread), &Device::open, &device);
    const VariableId id = line.addVariable("4x:1@1");
    ASSERT_FALSE(line.open());
    std::thread waiting([&line, id] {
        while (line.isOpen())
            line.wait(line.write(id, Value(1)));
    });
    line.close();
    line.close();
    waiting.join();
}

struct Restarts
{
    static void take(void *context, const Event &event)
    {
        auto &self = *static_cast<Restarts *>(context);
        if (!event.order)
            return;
        const std::lock_guard<std::mutex> lock(self.mutex);
        self.changed.notify_all();
        if (++self.times > 3)
            return;
        self.line->close();
        EXPECT_FALSE(self.line->open());
        EXPECT_EQ(OrderEnd::Good, self.line->wait(self.line->write(self.id, Value(1))).end);
        throw std::runtime_error("and at last it throws");
    }
    Line *line = nullptr;
    VariableId id = 0;
    std::mutex mutex;
    std::condition_variable changed;
    int times = 0;
};

TEST(LineThreads, LetAHandlerCloseOpenAndWaitOnTheThreadOfTheLibrary)
{
    Device device;
    Line line(settingsFor(Delivery::OwnThread), &Device::open, &device);
    Restarts restarts;
    restarts.line = &line;
    restarts.id = line.addVariable("4x:1@1");
    line.setEventHandler(&Restarts::take, &restarts);
    ASSERT_FALSE(line.open());
    line.write(restarts.id, Value(1));
    {
        std::unique_lock<std::mutex> lock(restarts.mutex);
        restarts.changed.wait(lock, [&restarts] { return restarts.times > 3; });
    }
    line.close();
    EXPECT_FALSE(line.isOpen());
}

/// The thread that takes its news finds the memory used up a few times.
class LinkWithoutMemory : public plc::runtime::Communication
{
public:
    using Communication::Communication;
    std::vector<plc::runtime::News> take() override
    {
        if (left_-- > 0)
            throw std::bad_alloc();
        return Communication::take();
    }

private:
    std::atomic<int> left_{3};
};

struct EndAndWarning
{
    static void take(void *context, const Event &event)
    {
        auto &self = *static_cast<EndAndWarning *>(context);
        if (event.order)
            self.end.set_value(event.order->end);
        if (event.log && !std::exchange(self.isWarned, true))
            self.warning.set_value(event.log->text.toStdString());
    }
    std::promise<OrderEnd> end;
    std::promise<std::string> warning;
    bool isWarned = false;
};

TEST(LineThreads, GoOnWhereMemoryRunsOutOnTheThreadOfTheLibrary)
{
    Device device;
    const LineSettings settings = settingsFor(Delivery::OwnThread);
    LineGround ground;
    ground.makeLink = [&](plc::runtime::DriverLibrary &driver, COM_INFO &info,
                          const plc::runtime::LinkSettings &link) {
        return std::make_unique<LinkWithoutMemory>(
            driver, info, link,
            plc::api::portSurroundings(settings, &Device::open, &device,
                                       std::make_shared<plc::api::PortNotes>(), [] { return false; }));
    };
    const std::unique_ptr<Line> line(LineAccess::make(settings, ground));
    EndAndWarning told;
    line->setEventHandler(&EndAndWarning::take, &told, EventOrder | EventLog);
    const VariableId id = line->addVariable("4x:1@1");
    ASSERT_FALSE(line->open());
    line->write(id, Value(1));
    EXPECT_EQ(OrderEnd::Good, told.end.get_future().get());
    EXPECT_EQ("the memory was used up; events may be missing", told.warning.get_future().get());
}

TEST(LineThreads, GetFuturesFromTheThreadOfTheLibrary)
{
    Device device;
    Line line(settingsFor(Delivery::OwnThread), &Device::open, &device);
    const VariableId id = line.addVariable("4x:1@1");
    ASSERT_FALSE(line.open());
    Listener listener(line);
    std::vector<std::future<OrderResult>> written;
    for (int i = 0; i < 20; ++i)
        written.push_back(listener.write(id, Value(i)));
    for (std::future<OrderResult> &result : written)
        EXPECT_EQ(OrderEnd::Good, result.get().end);
}

} // namespace
