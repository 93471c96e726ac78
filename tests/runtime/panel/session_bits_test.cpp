// Bits of registers that are written together with what the driver has read: which registers count as read.

#include <gtest/gtest.h>

#include <memory>

#include "core/options.h"
#include "core/register_types.h"
#include "played_link.h"
#include "runtime/line/failure.h"
#include "runtime/panel/session.h"

namespace {

using namespace plc::runtime;
using plc::test::PlayedLink;
using std::chrono::seconds;

class SessionBitsTest : public ::testing::Test
{
protected:
    SessionBitsTest()
    {
        LinkSettings settings;
        settings.options = plc::kOptionBitFromMirror;
        session = std::make_unique<Session>(library, settings, [this](auto &, auto &, const auto &) {
            auto made = std::make_unique<PlayedLink>();
            link = made.get();
            return made;
        });
    }

    /// Station 5 has been asked for registers 35 and 36, or sent them.
    static TransactionReport asked()
    {
        TransactionReport report;
        report.request.station = 5;
        report.request.regType = plc::kHoldingRegister;
        report.request.address = 35;
        report.request.count = 2;
        report.cause = AttemptEnd::Good;
        return report;
    }
    void tell(const TransactionReport &report)
    {
        News item;
        item.transaction = report;
        link->news.push_back(std::move(item));
        session->pump(seconds(100));
    }
    bool isTaken(const std::string &place, std::size_t count = 1)
    {
        try {
            session->write(parseVariable(place, false), Values(count, 1));
            return true;
        } catch (const Failure &) {
            return false;
        }
    }

    DriverLibrary library{PLC_DRIVER_PATH};
    PlayedLink *link = nullptr;
    std::unique_ptr<Session> session;
};

TEST_F(SessionBitsTest, AreWrittenWhereTheWholeRegisterHasBeenRead)
{
    EXPECT_FALSE(isTaken("4x_bit:35.3@5"));
    tell(asked());
    EXPECT_TRUE(isTaken("4x_bit:35.3@5"));
    EXPECT_TRUE(isTaken("4x_bit:35.15:2@5", 2));
    EXPECT_FALSE(isTaken("4x_bit:36.15:2@5", 2)) << "register 37 has not been read";
    EXPECT_FALSE(isTaken("4x_bit:34.0@5"));
    EXPECT_FALSE(isTaken("4x_bit:35.3@6"));
}

TEST_F(SessionBitsTest, AreNotWrittenBecauseOfAReadingThatFailed)
{
    for (const AttemptEnd end : {AttemptEnd::NoReply, AttemptEnd::Exception, AttemptEnd::Unusable}) {
        TransactionReport failed = asked();
        failed.cause = end;
        tell(failed);
    }
    EXPECT_FALSE(isTaken("4x_bit:35.3@5"));
}

TEST_F(SessionBitsTest, AreNotWrittenBecauseOfAWriteOrOfAnotherArea)
{
    TransactionReport write = asked();
    write.request.direction = 1;
    tell(write);
    TransactionReport input = asked();
    input.request.regType = plc::kInputRegister;
    tell(input);
    EXPECT_FALSE(isTaken("4x_bit:35.3@5"));
}

} // namespace
