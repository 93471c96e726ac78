/// @file
/// A cycle told as a script: a driver that says what it is told to, a clock that is set by hand.
#ifndef PLC_TESTS_HOST_CYCLE_SCRIPT_H
#define PLC_TESTS_HOST_CYCLE_SCRIPT_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "runtime/master/cycle.h"
#include "support/hex.h"

namespace plc::test {

using runtime::AttemptEnd;
using runtime::CycleState;
using runtime::Time;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;

/// A driver with transactions and verdicts prepared by the test.
class ScriptedDriver : public runtime::CycleDriver
{
public:
    Protocol *next() override
    {
        ++asked;
        return transactions.empty() ? nullptr : transactions.front().get();
    }

    int judge(QByteArray *reply, int length) override
    {
        calls.push_back(*reply);
        EXPECT_EQ(reply->size(), length);
        if (verdicts.empty()) {
            ADD_FAILURE() << "the driver was called once too often, with [" << toHex(*reply) << "]";
            return 200;
        }
        const int status = verdicts.front();
        verdicts.pop_front();
        Protocol &head = *transactions.front();
        const bool found = head.replyLen == -1 && status == 1 && !reply->isEmpty();
        if (found)
            head.replyLen = trimTo;
        if (found && reply->size() > trimTo)
            *reply = reply->right(trimTo);
        if (!found && status != 0)
            transactions.pop_front();
        return status;
    }

    runtime::Permit permit(const runtime::Request &, bool) override
    {
        ++permitsAsked;
        return permitted;
    }

    runtime::Permit permitted = runtime::Permit::Send;
    int permitsAsked = 0;
    std::deque<std::unique_ptr<Protocol>> transactions;
    std::deque<int> verdicts;
    std::vector<QByteArray> calls; ///< what each call of judge() was given
    int trimTo = 0;                ///< length of the reply that it finds
    int asked = 0;
};

/// Keeps what the cycle tells.
class Witness : public runtime::CycleObserver
{
public:
    void sent(Time, const QByteArray &frame, int attempt) override
    {
        sentFrames.emplace_back(frame, attempt);
    }
    void received(Time, const QByteArray &) override {}
    void discarded(Time, int bytes, const char *why) override
    {
        discardedBytes += bytes;
        reasons.emplace_back(why);
    }
    void attemptEnded(Time, AttemptEnd end, const runtime::Miss &miss) override
    {
        ends.push_back(end);
        misses.push_back(describe(miss));
    }
    void transactionEnded(const runtime::TransactionReport &report) override { reports.push_back(report); }

    std::vector<std::pair<QByteArray, int>> sentFrames;
    std::vector<AttemptEnd> ends;
    std::vector<std::string> misses; ///< why attempts brought no good reply, in words
    std::vector<runtime::TransactionReport> reports;
    int discardedBytes = 0;
    std::vector<std::string> reasons; ///< why they were discarded
};

/// At 9600 baud: a character takes 1.145833 ms, a silence 4.010417 ms. Response time-out 300 ms, turnaround
/// 100 ms, late reply guard 200 ms, delivery slack 20 ms.
class CycleScript : public ::testing::Test
{
protected:
    CycleScript()
    {
        settings.timing = runtime::LineTiming(9600);
        settings.responseTimeout = milliseconds(300);
        settings.turnaround = milliseconds(100);
        settings.lateReplyGuard = milliseconds(200);
        settings.deliverySlack = milliseconds(20);
        settings.idlePause = milliseconds(2);
    }

    /// Prepares a transaction with this request.
    Protocol &queue(const QByteArray &frame, int replyLen = -1)
    {
        auto transaction = std::make_unique<Protocol>();
        transaction->frame = frame;
        transaction->sendLen = frame.size();
        transaction->replyLen = replyLen;
        driver.transactions.push_back(std::move(transaction));
        return *driver.transactions.back();
    }

    /// The verdicts of the driver's next calls, in this order.
    void verdicts(std::initializer_list<int> list) { driver.verdicts.insert(driver.verdicts.end(), list); }

    runtime::Cycle &cycle()
    {
        if (!cycle_)
            cycle_ = std::make_unique<runtime::Cycle>(driver, info, settings, &witness);
        return *cycle_;
    }

    /// Lets time pass until @p moment, waking the cycle whenever it wants to be.
    /// @return the frame that it sent meanwhile, if any; a second one fails the test.
    QByteArray runUntil(Time moment)
    {
        QByteArray sent;
        for (int turns = 0; turns < 100000; ++turns) {
            const runtime::Instruction todo = cycle().advance(now, QByteArray());
            if (!todo.send.isEmpty()) {
                EXPECT_TRUE(sent.isEmpty()) << "two frames were sent";
                sent = todo.send;
                sentAt = now;
            }
            EXPECT_GT(todo.wakeAt, now) << "the cycle wants to be woken without end";
            if (todo.wakeAt > moment || HasFailure()) {
                now = moment;
                return sent;
            }
            now = todo.wakeAt;
        }
        ADD_FAILURE() << "the cycle does not come to an end";
        return sent;
    }

    QByteArray run(Time duration) { return runUntil(now + duration); }

    /// Bytes arrive now.
    QByteArray arrive(const QByteArray &bytes)
    {
        const runtime::Instruction todo = cycle().advance(now, bytes);
        if (!todo.send.isEmpty())
            sentAt = now;
        return todo.send;
    }

    /// Lets time pass until a frame goes out, at most for ten seconds.
    QByteArray runUntilSent()
    {
        for (const Time limit = now + seconds(10); now < limit;) {
            const runtime::Instruction todo = cycle().advance(now, QByteArray());
            if (!todo.send.isEmpty()) {
                sentAt = now;
                return todo.send;
            }
            now = todo.wakeAt;
        }
        ADD_FAILURE() << "nothing was sent";
        return QByteArray();
    }

    const runtime::Counters &total() { return cycle().statistics().total; }

    runtime::CycleSettings settings;
    COM_INFO info{};
    ScriptedDriver driver;
    Witness witness;
    Time now = seconds(1000);
    Time sentAt{};

private:
    std::unique_ptr<runtime::Cycle> cycle_;
};

} // namespace plc::test

#endif
