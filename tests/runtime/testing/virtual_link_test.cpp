#include "runtime/testing/virtual_link.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>

#include "runtime/panel/session.h"
#include "runtime/testing/plain_stations.h"

namespace plc::simulation {
namespace {

using runtime::LinkSettings;
using runtime::OrderEnd;
using runtime::Session;
using runtime::Ticket;
using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::HasSubstr;
using testing::Not;

constexpr std::uint64_t kSeed = 4;

/// A session over the virtual line with station 7, which answers after 5 ms.
class VirtualLinkTest : public testing::Test, private FieldObserver, protected LinkObserver
{
protected:
    VirtualLinkTest()
    {
        stations_.add(7);
        settings_.policies.echoCheck = false; // the first frame is that of the order
    }

    Session &session()
    {
        if (!session_) {
            session_ = std::make_unique<Session>(
                library_, settings_,
                [this](runtime::DriverLibrary &driver, COM_INFO &info, const LinkSettings &link) {
                    auto made = std::make_unique<VirtualLink>(
                        driver, info, link,
                        Line{wire_, field_, *this, journal_, now_, burst_, settings_.echo, trace_});
                    link_ = made.get();
                    return made;
                });
            session_->start();
        }
        return *session_;
    }
    void run(Time duration)
    {
        for (const Time end = now_ + duration; now_ < end;)
            session().pump(end);
    }
    OrderEnd written()
    {
        const Ticket ticket = session().write(runtime::parseVariable("4x:5@7", false), {1});
        return session().await(ticket).end;
    }
    static FieldPlan plan()
    {
        FieldPlan plan;
        StationPlan station;
        station.number = 7;
        station.fastest = station.slowest = milliseconds(5);
        station.moveEvery = Time::zero();
        plan.stations = {station};
        return plan;
    }

    bool isOver() const override
    {
        ++looks_;
        return false;
    }
    void masterSends(Time now, Time lastHeard, const Bytes &) override
    {
        sentAt_ = now;
        ++sent_;
        sentUnaware_ += lastHeard != wire_.lastEnd() ? 1 : 0;
    }

    LinkSettings settings_;
    Time burst_{};
    bool trace_ = false;
    mutable int looks_ = 0; ///< at whether the run is over: steps of the line
    Time sentAt_{};
    int sent_ = 0;
    int sentUnaware_ = 0; ///< requests before which the master had not heard all that was on the line
    Time now_ = seconds(1);
    Wire wire_{19200, kSeed};
    Journal journal_{1000};
    PlainStations stations_{false};
    Field field_{plan(), stations_, wire_, journal_, *this, kSeed};
    runtime::DriverLibrary library_{PLC_DRIVER_PATH};
    VirtualLink *link_ = nullptr;
    std::unique_ptr<Session> session_;
};

TEST_F(VirtualLinkTest, PutsTheTraceIntoTheJournalWhereAskedWithoutWhatTheLineTellsAnyhow)
{
    trace_ = true;
    EXPECT_EQ(OrderEnd::Good, written());
    EXPECT_THAT(journal_.text(), HasSubstr("  host          -> 07 06 00 05 00 01 "));
    EXPECT_THAT(journal_.text(), Not(HasSubstr("<- ")));
}

TEST_F(VirtualLinkTest, TracesWhatTheMasterHearsWhereAConverterHoldsItBack)
{
    trace_ = true;
    burst_ = milliseconds(16);
    EXPECT_EQ(OrderEnd::Good, written());
    EXPECT_THAT(journal_.text(), HasSubstr("  host          <- 07 06 00 05 00 01 "));
}

TEST_F(VirtualLinkTest, KeepsTheTraceToItselfWhereNobodyAsks)
{
    EXPECT_EQ(OrderEnd::Good, written());
    EXPECT_THAT(journal_.text(), Not(HasSubstr("host")));
}

TEST_F(VirtualLinkTest, LetsNoTimePassOnceItIsStopped)
{
    session().stop();
    const Time before = now_;
    link_->wait(before + seconds(1));
    EXPECT_EQ(before, now_);
}

TEST_F(VirtualLinkTest, LooksSeldomWhileNothingIsToBeDoneAndAtOnceForAnOrder)
{
    session();
    run(seconds(60));
    EXPECT_LE(looks_, 60000 / 64 + 50);
    const Time ordered = now_;
    EXPECT_EQ(OrderEnd::Good, written());
    EXPECT_LE(sentAt_ - ordered, milliseconds(2));
}

TEST_F(VirtualLinkTest, FindsThePortAtTheFirstTryFromTheMomentOnThatItIsBack)
{
    session();
    run(seconds(3));
    link_->losePort(now_ + milliseconds(100)); // just when it is tried first
    run(milliseconds(99));
    EXPECT_FALSE(session().portLost().empty());
    run(milliseconds(2));
    EXPECT_EQ("", session().portLost());
}

TEST_F(VirtualLinkTest, KnowsTheEndOfAnAnswerThatAConverterHoldsBack)
{
    burst_ = milliseconds(16);
    EXPECT_EQ(OrderEnd::Good, written());
    EXPECT_EQ(OrderEnd::Good, written());
    EXPECT_EQ(2, sent_);
    EXPECT_EQ(0, sentUnaware_);
}

TEST_F(VirtualLinkTest, KnowsTheEndOfAnAnswerThatAConverterHoldsBackWithTheEcho)
{
    settings_.echo = true;
    settings_.retries = 0;
    field_.makeNext(Fault::LateEcho, 7);
    written();
    run(seconds(3));
    EXPECT_EQ(OrderEnd::Good, written());
    EXPECT_EQ(2, sent_);
    EXPECT_EQ(0, sentUnaware_);
}

} // namespace
} // namespace plc::simulation
