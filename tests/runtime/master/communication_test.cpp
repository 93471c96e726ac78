// The communication thread where its port does not open at once, or goes and comes.

#include "runtime/master/communication.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <new>

namespace {

using namespace plc::runtime;
using ::testing::ElementsAre;

constexpr Time kPatience = std::chrono::seconds(120);

TEST(Communication, IsCancelledAlsoWhileThePortIsBeingOpened)
{
    DriverLibrary library(PLC_DRIVER_PATH);
    COM_INFO info;
    LinkSettings settings;
    settings.port = "/dev/slow";
    const auto release = std::make_shared<std::promise<void>>();
    const auto isOver = std::make_shared<std::promise<void>>();
    const auto isOpening = std::make_shared<std::atomic<bool>>(false);
    Surroundings surroundings;
    surroundings.isCancelled = [isOpening] { return isOpening->load(); };
    surroundings.openPort = [release, isOver, isOpening](const LineSettings &) -> std::unique_ptr<Port> {
        *isOpening = true;
        release->get_future().wait();
        isOver->set_value();
        throw Failure(FailureKind::Port, "nobody hears this any more");
    };
    auto communication = std::make_unique<Communication>(library, info, settings, surroundings);
    try {
        communication->start({}, false);
        ADD_FAILURE() << "it has started without a port";
    } catch (const Failure &failure) {
        EXPECT_EQ(FailureKind::Port, failure.kind());
        EXPECT_STREQ("interrupted while port '/dev/slow' was being opened", failure.what());
    }
    communication.reset();
    release->set_value();
    isOver->get_future().wait();
}

/// A device that the test pulls out and plugs in; outlives the ports that were opened on it.
class Device
{
public:
    std::unique_ptr<Port> open(const LineSettings &settings)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        wanted_.push_back(settings.identity);
        changed_.notify_all();
        changed_.wait(lock, [this] { return !hangs_; });
        if (!isPlugged_)
            throw PortAbsent("there is no such port");
        if (!refusal_.empty())
            throw Failure(FailureKind::Port, refusal_);
        return std::make_unique<OpenPort>(*this);
    }

    void set(bool isPlugged, const std::string &refusal = "", bool hangs = false)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isPlugged_ = isPlugged;
        refusal_ = refusal;
        hangs_ = hangs;
        changed_.notify_all();
    }

    /// The thread that listens finds the memory used up, once.
    void useUpMemory()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isMemoryUsedUp_ = true;
        changed_.notify_all();
    }

    /// Waits for so many tries from the beginning.
    /// @return whether there were.
    bool awaitTries(std::size_t count)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, kPatience, [&] { return wanted_.size() >= count; });
    }

    /// The identity that each try has asked for.
    std::vector<std::string> wanted()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return wanted_;
    }
    int opened()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return opened_;
    }

private:
    class OpenPort : public Port
    {
    public:
        explicit OpenPort(Device &device) : device_(device) { ++device_.opened_; }
        void send(const QByteArray &) override { check("sending"); }
        QByteArray receive(Time until) override
        {
            std::unique_lock<std::mutex> lock(device_.mutex_);
            device_.changed_.wait_for(lock, std::max(until - steadyNow(), Time::zero()),
                                      [this] { return !device_.isPlugged_ || device_.isMemoryUsedUp_; });
            if (std::exchange(device_.isMemoryUsedUp_, false))
                throw std::bad_alloc();
            lock.unlock();
            check("listening");
            return QByteArray();
        }
        std::string identity() const override { return "/by-id/one"; }

    private:
        void check(const char *doing)
        {
            const std::lock_guard<std::mutex> lock(device_.mutex_);
            if (!device_.isPlugged_)
                throw Failure(FailureKind::Port, std::string("lost while ") + doing);
        }

        Device &device_;
    };

    std::mutex mutex_;
    std::condition_variable changed_;
    bool isPlugged_ = true;
    bool isMemoryUsedUp_ = false;
    bool hangs_ = false; ///< while somebody opens it
    std::string refusal_;
    std::vector<std::string> wanted_;
    int opened_ = 0;
};

class CommunicationWithAPlug : public ::testing::Test
{
protected:
    Communication &communication()
    {
        if (!communication_) {
            settings.port = "/dev/ttyX";
            Surroundings surroundings;
            surroundings.openPort = [device = device](const LineSettings &line) {
                return device->open(line);
            };
            communication_ = std::make_unique<Communication>(library, info, settings, surroundings);
        }
        return *communication_;
    }

    /// The next change of the port; fails the test where none comes.
    PortNews nextChange()
    {
        for (const Time limit = steadyNow() + kPatience; changes_.empty() && steadyNow() < limit;) {
            communication().wait(limit);
            for (News &news : communication().take()) {
                if (news.port && news.port->change == PortNews::Change::Lost)
                    communication().takeLoss({});
                if (news.port)
                    changes_.push_back(*news.port);
            }
        }
        if (changes_.empty()) {
            ADD_FAILURE() << "nothing was told of the port";
            return PortNews();
        }
        const PortNews next = changes_.front();
        changes_.erase(changes_.begin());
        return next;
    }

    std::shared_ptr<Device> device = std::make_shared<Device>();
    DriverLibrary library{PLC_DRIVER_PATH};
    COM_INFO info{};
    LinkSettings settings;

private:
    std::vector<PortNews> changes_;
    std::unique_ptr<Communication> communication_;
};

TEST_F(CommunicationWithAPlug, LooksForALostPortUntilItIsBackAndTellsBothOnce)
{
    communication().start({}, false);
    device->set(false);
    const PortNews lost = nextChange();
    EXPECT_EQ(PortNews::Change::Lost, lost.change);
    EXPECT_EQ("lost while listening", lost.reason);
    ASSERT_TRUE(device->awaitTries(4));
    device->set(true);
    EXPECT_EQ(PortNews::Change::Back, nextChange().change) << "the tries in vain are not told";
    communication().stop();
    EXPECT_EQ(2, device->opened());
}

TEST_F(CommunicationWithAPlug, BeginsAnewWithThePortWhereTheMemoryIsUsedUp)
{
    communication().start({}, false);
    device->useUpMemory();
    const PortNews lost = nextChange();
    EXPECT_EQ(PortNews::Change::Lost, lost.change);
    EXPECT_EQ("the memory is used up", lost.reason);
    EXPECT_EQ(PortNews::Change::Back, nextChange().change);
    communication().stop();
    EXPECT_EQ(2, device->opened());
}

TEST_F(CommunicationWithAPlug, LooksForTheDeviceThatItHadOpened)
{
    communication().start({}, false);
    device->set(false);
    nextChange();
    ASSERT_TRUE(device->awaitTries(2));
    communication().stop();
    EXPECT_EQ("", device->wanted().at(0)) << "whatever is there";
    EXPECT_EQ("/by-id/one", device->wanted().at(1));
}

TEST_F(CommunicationWithAPlug, TellsOnceWhyAPortThatIsBackCannotBeOpened)
{
    communication().start({}, false);
    device->set(false);
    nextChange();
    device->set(true, "in use");
    EXPECT_EQ("in use", nextChange().reason);
    ASSERT_TRUE(device->awaitTries(device->wanted().size() + 1));
    device->set(true, "no such rate");
    const PortNews second = nextChange();
    EXPECT_EQ(PortNews::Change::Refused, second.change);
    EXPECT_EQ("no such rate", second.reason);
    device->set(true);
    EXPECT_EQ(PortNews::Change::Back, nextChange().change);
}

TEST_F(CommunicationWithAPlug, EndsWhileThePortIsLost)
{
    communication().start({}, false);
    device->set(false);
    nextChange();
    communication().stop();
    EXPECT_EQ(1, device->opened());
}

TEST_F(CommunicationWithAPlug, EndsWhileTheSystemHoldsUpWhoOpensThePortAgain)
{
    communication().start({}, false);
    device->set(false, "", true);
    nextChange();
    ASSERT_TRUE(device->awaitTries(2));
    communication().stop();
    device->set(false);
}

TEST_F(CommunicationWithAPlug, EndsWithThePortWhereItIsNotToBeLookedFor)
{
    settings.reopen = false;
    communication().start({}, false);
    device->set(false);
    EXPECT_EQ(PortNews::Change::Lost, nextChange().change);
    communication().stop();
    EXPECT_EQ(1u, device->wanted().size());
}

TEST_F(CommunicationWithAPlug, RefusesToStartWithoutAPort)
{
    device->set(false);
    EXPECT_THROW(communication().start({}, false), PortAbsent);
    communication().stop();
    EXPECT_EQ(1u, device->wanted().size());
}

} // namespace
