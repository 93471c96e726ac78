// The communication thread where its port does not open at once.

#include "runtime/master/communication.h"

#include <gtest/gtest.h>

namespace {

using namespace plc::runtime;

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

} // namespace
