// The communication thread where its port does not open at once.

#include "host/communication.h"

#include <gtest/gtest.h>

#include <csignal>

#include "host/interrupt.h"

namespace {

using namespace plc::host;

TEST(Communication, IsInterruptedAlsoWhileThePortIsBeingOpened)
{
    catchInterrupts();
    DriverLibrary library(PLC_DRIVER_PATH);
    COM_INFO info;
    LinkSettings settings;
    settings.port = "/dev/slow";
    const auto release = std::make_shared<std::promise<void>>();
    const auto isOver = std::make_shared<std::promise<void>>();
    auto communication = std::make_unique<Communication>(
        library, info, settings, [release, isOver](SerialPort &, const LinkSettings &) {
            std::raise(SIGINT);
            release->get_future().wait();
            isOver->set_value();
            throw Failure(kExitPort, "nobody hears this any more");
        });
    try {
        communication->start({}, false);
        ADD_FAILURE() << "it has started without a port";
    } catch (const Failure &failure) {
        EXPECT_EQ(kExitPort, failure.code());
        EXPECT_STREQ("interrupted while port '/dev/slow' was being opened", failure.what());
    }
    communication.reset();
    release->set_value();
    isOver->get_future().wait();
}

} // namespace
