// What a transaction costs the system: calls, over a terminal that counts them and in which time is set by
// hand.

#include "runtime/master/turn.h"

#include <asm/ioctls.h>

#include <cerrno>
#include <cstring>
#include <deque>

#include "cycle_script.h"
#include "runtime/line/serial_port.h"
#include "runtime/line/terminal_mode.h"

namespace {

using namespace plc::test;
using namespace plc::runtime;

constexpr int kLastWait = 1; ///< behind the last transaction

/// A terminal with a station behind it that answers each request; bytes arrive piece by piece.
class AnsweringSystem : public TerminalSystem
{
public:
    int open(const std::string &) override { return 7; }
    int openToWait(int) override { return kWaiting; }
    void close(int) override {}
    int control(int, unsigned long request, void *argument) override
    {
        if (request == TCGETS2)
            std::memcpy(argument, &mode, sizeof mode);
        else if (request == TCSETS2)
            std::memcpy(&mode, argument, sizeof mode);
        else
            return -1;
        return 0;
    }
    int control(int, unsigned long, int) override { return 0; }
    int lock(int) override { return 0; }
    std::string holder(const std::string &) override { return ""; }
    bool isPseudoTerminal(int) override { return false; }
    int fifoTrigger(int) override { return -1; }
    Time now() override { return clock; }

    long write(int, const void *, std::size_t count) override
    {
        ++calls;
        ++requests;
        Time at = clock + delay;
        for (int done = 0; done < reply.size(); done += piece) {
            const QByteArray bytes = reply.mid(done, piece);
            at += character * bytes.size();
            coming.emplace_back(at, bytes);
        }
        return static_cast<long>(count);
    }
    long read(int descriptor, void *bytes, std::size_t) override
    {
        ++calls;
        const Time limit = descriptor == kWaiting ? clock + milliseconds(100) : clock;
        clock = std::max(clock, std::min(nextAt(), limit));
        QByteArray there;
        while (nextAt() <= clock) {
            there += coming.front().second;
            coming.pop_front();
        }
        std::memcpy(bytes, there.constData(), static_cast<std::size_t>(there.size()));
        errno = EAGAIN;
        return there.isEmpty() && descriptor != kWaiting ? -1 : there.size();
    }
    Readiness waitToRead(int, Time until) override
    {
        ++calls;
        clock = std::max(clock, std::min(nextAt(), until));
        return nextAt() <= clock ? Readiness::Ready : Readiness::TimedOut;
    }
    void sleepUntil(Time until) override
    {
        ++calls;
        clock = std::max(clock, until);
    }

    static constexpr int kWaiting = 8;

    termios2 mode{};
    Time clock = std::chrono::seconds(1000);
    int calls = 0;
    int requests = 0;
    QByteArray reply;
    Time delay{};     ///< from the write to the reply
    Time character{}; ///< that each byte of it takes
    int piece = 256;  ///< bytes of the reply that are handed over together

private:
    Time nextAt() const { return coming.empty() ? Time::max() : coming.front().first; }

    std::deque<std::pair<Time, QByteArray>> coming;
};

class Turns : public CycleScript
{
protected:
    Turns()
    {
        settings.timing = LineTiming(115200);
        line.port = "/dev/ttyX";
        line.baud = 115200;
        system.reply = withCrc(("01 03 C8" + QByteArray(" 5A").repeated(200)).constData());
        EXPECT_EQ(205, system.reply.size());
    }

    /// Reads 100 registers so many times.
    void exchange(int times)
    {
        SerialPort port(line, nullptr, system);
        QByteArray arrived;
        for (int i = 0; i < times; ++i) {
            queue(hex("01 03 00 00 00 64 44 21"), 205);
            verdicts({1});
        }
        for (int turns = 0; turns < 1000 && witness.reports.size() < static_cast<std::size_t>(times); ++turns)
            arrived = takeTurn(
                cycle(), port, [this] { return system.clock; }, arrived, milliseconds(150));
        ASSERT_EQ(static_cast<std::size_t>(times), witness.reports.size());
        for (const TransactionReport &report : witness.reports)
            EXPECT_EQ(AttemptEnd::Good, report.cause);
    }

    AnsweringSystem system;
    LineSettings line;
};

TEST_F(Turns, TakeThreeCallsATransactionWhereTheReplyComesWhole)
{
    exchange(100);
    EXPECT_EQ(100, system.requests);
    EXPECT_LE(system.calls, 3 * 100 + kLastWait);
}

TEST_F(Turns, TakeFiveCallsATransactionHoweverManyPiecesTheReplyComesIn)
{
    system.delay = milliseconds(3);
    system.character = nanoseconds(95486);
    for (const int piece : {4, 10, 62}) {
        system.piece = piece;
        system.calls = 0;
        witness.reports.clear();
        exchange(100);
        EXPECT_LE(system.calls, 5 * 100 + kLastWait) << "in pieces of " << piece << " bytes";
    }
}

TEST_F(Turns, LoseNoTimeWithAReplyThatComesInPieces)
{
    system.delay = milliseconds(3);
    system.character = nanoseconds(95486);
    system.piece = 10;
    exchange(1);
    const TransactionReport &report = witness.reports.at(0);
    const Time wire = 205 * system.character;
    EXPECT_GE(report.endedAt - report.startedAt, milliseconds(3) + wire);
    EXPECT_LT(report.endedAt - report.startedAt, milliseconds(3) + wire + microseconds(10));
}

} // namespace
