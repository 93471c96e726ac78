// A port that is opened on a thread of its own: how the attempt can end.

#include "runtime/line/port_opening.h"

#include <gtest/gtest.h>

namespace {

using namespace plc::runtime;

constexpr Time kPatience = std::chrono::seconds(120);

/// How @p open ends: "open", or the kind of the failure with its text.
std::string endOf(const OpenPort &open)
{
    LineSettings settings;
    settings.port = "/dev/ttyX";
    PortOpening opening(open, settings);
    if (!opening.wait(kPatience))
        return "still opening";
    try {
        return opening.take() ? "open" : "nothing";
    } catch (const PortAbsent &absent) {
        return std::string("absent: ") + absent.what();
    } catch (const Failure &failure) {
        return std::to_string(static_cast<int>(failure.kind())) + ": " + failure.what();
    }
}

class SilentPort : public Port
{
public:
    void send(const QByteArray &) override {}
    QByteArray receive(Time) override { return QByteArray(); }
};

TEST(PortOpening, GivesThePort)
{
    EXPECT_EQ("open", endOf([](const LineSettings &) { return std::make_unique<SilentPort>(); }));
}

TEST(PortOpening, TellsAnAbsentPortFromOneThatIsRefused)
{
    EXPECT_EQ("absent: not there",
              endOf([](const LineSettings &) -> std::unique_ptr<Port> { throw PortAbsent("not there"); }));
    EXPECT_EQ("1: in use", endOf([](const LineSettings &) -> std::unique_ptr<Port> {
                  throw Failure(FailureKind::Port, "in use");
              }));
}

TEST(PortOpening, KeepsTheKindOfAFailure)
{
    EXPECT_EQ("0: no such rate", endOf([](const LineSettings &) -> std::unique_ptr<Port> {
                  throw Failure(FailureKind::Usage, "no such rate");
              }));
}

TEST(PortOpening, TakesAnyOtherExceptionForARefusal)
{
    EXPECT_EQ(
        "1: port '/dev/ttyX' cannot be opened: no memory",
        endOf([](const LineSettings &) -> std::unique_ptr<Port> { throw std::logic_error("no memory"); }));
}

TEST(PortOpening, TakesAnOpenerThatGivesNothingForARefusal)
{
    EXPECT_EQ("1: port '/dev/ttyX' cannot be opened",
              endOf([](const LineSettings &) { return std::unique_ptr<Port>(); }));
}

// The thread that has opened ends when it likes; what it leaves must be the taker's alone. For
// ThreadSanitizer.
TEST(PortOpening, SharesNoFailureBetweenTheTwoThreads)
{
    for (int round = 0; round < 300; ++round)
        EXPECT_EQ("absent: not there", endOf([](const LineSettings &) -> std::unique_ptr<Port> {
                      throw PortAbsent("not there");
                  }));
}

} // namespace
