// Other threads beside the cycle, and calls from inside callbacks.
#include <atomic>
#include <functional>
#include <map>
#include <thread>
#include <utility>
#include <vector>

#include "cycle/station_set.h"
#include "mirror/register_cache.h"
#include "support/driver_fixture.h"
#include "support/lock_probe.h"

namespace plc::test {

namespace {

// ------------------------------------------------------------------------------------------ callbacks

/// What the callbacks of the test below do and see; callbacks carry no pointer of the runtime's.
struct CallbackPlay
{
    int resultCalls = 0;
    int failureCalls = 0;
    int sizeReturned = -1;
    int sizeInList = -1;
    int bytesRead = -1;
    bool listMutexFree = true;
    bool cacheMutexFree = false;
};

CallbackPlay play;

int writeOneRegister(const char *address)
{
    QByteArray data = hex("12 34");
    return SetRegisterData(QString(), 5, QString::fromLatin1(address), 1, &data, 1, 0, 0);
}

void playData()
{
    play.listMutexFree = !isHeld(PLC_driver.listMutex);
    play.cacheMutexFree = !isHeld(PLC_driver.cacheMutex);
    play.sizeReturned = writeOneRegister("500");
    play.sizeInList = PLC_driver.writeList.size();
    QByteArray out;
    GetRegisterData(QString(), 5, QString::fromLatin1("500"), 1, &out, 1);
    play.bytesRead = out.size();
}

void playOnResult(int, int, int, int)
{
    ++play.resultCalls;
    playData();
}

void playOnFailure(QList<RW_VAR> *, int, int)
{
    ++play.failureCalls;
    playData();
}

class InsideCallbacks : public SetUpDriver
{
protected:
    InsideCallbacks()
    {
        play = CallbackPlay();
        info.retryLimit = 0;
        info.writeMode = 1;
    }
};

TEST_F(InsideCallbacks, TheListMutexIsHeldAndTheCacheMutexIsNot)
{
    RegistCallBackFuncIntf(playOnResult, nullptr);
    addWrite(holding(0).data("12 34"));
    next();
    complete(withCrc("01 06 0000 3412"));
    EXPECT_EQ(1, play.resultCalls);
    EXPECT_FALSE(play.listMutexFree);
    EXPECT_TRUE(play.cacheMutexFree);
}

TEST_F(InsideCallbacks, ValuesAreReadAndShownWithoutBlocking)
{
    RegistCallBackFuncIntf(playOnResult, nullptr);
    addWrite(holding(0).data("12 34"));
    next();
    complete(withCrc("01 06 0000 3412"));
    EXPECT_EQ(2, play.bytesRead);
    EXPECT_EQ(hex("12 34"), mirrored(1, 5, 500));
}

TEST_F(InsideCallbacks, OfAResultTheNumberOfPendingWritesIsRight)
{
    RegistCallBackFuncIntf(playOnResult, nullptr);
    addWrite(holding(0).ids(1, 1).data("12 34"));
    addWrite(holding(1).ids(2, 2).data("12 34"));
    addWrite(holding(2).ids(3, 3).data("12 34"));
    next();
    complete(withCrc("01 06 0000 3412"));
    EXPECT_EQ(3, play.sizeInList);
    EXPECT_EQ(3, play.sizeReturned);
}

TEST_F(InsideCallbacks, OfALaterResultTheNumberOfPendingWritesIsRight)
{
    RegistCallBackFuncIntf(playOnResult, nullptr);
    addWrite(holding(0).ids(1, 1).data("12 34"));
    addWrite(holding(0).ids(2, 2).data("12 34"));
    addWrite(holding(0).ids(3, 3).data("12 34"));
    for (int pending = 3; pending >= 1; --pending) {
        SCOPED_TRACE(pending);
        next();
        complete(withCrc("01 06 0000 3412"));
        EXPECT_EQ(pending, play.sizeInList);
        EXPECT_EQ(pending, play.sizeReturned);
    }
}

TEST_F(InsideCallbacks, TheNumberOfPendingWritesIsRightAfterWritesOfASwitchedOffStationWereDropped)
{
    RegistCallBackFuncIntf(playOnResult, nullptr);
    addWrite(holding(0).station(3).ids(1, 1).data("12 34"));
    addWrite(holding(0).station(3).ids(2, 2).data("12 34"));
    addWrite(holding(0).ids(3, 3).data("12 34"));
    EnCommStation(3, 0);
    next();
    complete(withCrc("01 06 0000 3412"));
    EXPECT_EQ(1, play.resultCalls);
    EXPECT_EQ(1, play.sizeReturned);
}

TEST_F(InsideCallbacks, OfAFailureTheNumberOfPendingWritesIsRight)
{
    RegistCallBackFuncIntf(nullptr, playOnFailure);
    addWrite(holding(0).ids(1, 1).data("12 34"));
    addWrite(holding(1).ids(2, 2).data("12 34"));
    next();
    silence();
    EXPECT_EQ(1, play.failureCalls);
    EXPECT_EQ(1, play.sizeInList) << "the failed write has left the list";
    EXPECT_EQ(1, play.sizeReturned);
}

TEST_F(InsideCallbacks, CyclicReadsCanBeRegistered)
{
    RegistCallBackFuncIntf(
        [](int, int, int, int) {
            RW_VAR var = holding(9);
            AddListReadVar(&var);
        },
        nullptr);
    addWrite(holding(0).data("12 34"));
    next();
    complete(withCrc("01 06 0000 3412"));
    EXPECT_EQ(1, PLC_driver.readList.size());
}

TEST_F(InsideCallbacks, StationsCanBeSwitched)
{
    RegistCallBackFuncIntf(
        [](int, int, int, int) {
            EnCommStation(5, 0);
            EnableEthernet(6, 0);
        },
        nullptr);
    addWrite(holding(0).data("12 34"));
    next();
    complete(withCrc("01 06 0000 3412"));
    EXPECT_EQ(1, Ethernetcontains(5));
    EXPECT_EQ(1, Ethernetcontains(6));
}

TEST_F(InsideCallbacks, MutexesAreFreeAfterwards)
{
    RegistCallBackFuncIntf(playOnResult, playOnFailure);
    addWrite(holding(0).data("12 34"));
    next();
    silence();
    EXPECT_EQ(1, play.resultCalls);
    EXPECT_EQ(1, play.failureCalls);
    EXPECT_TRUE(!isHeld(PLC_driver.listMutex));
    EXPECT_TRUE(!isHeld(PLC_driver.cacheMutex));
    EXPECT_TRUE(!isHeld(PLC_driver.stationMutex));
}

// ----------------------------------------------------------------------------------- single mutex scopes

class MutexScopes : public SetUpDriver
{};

TEST_F(MutexScopes, ABitWriteFromTheMirrorLooksItsRegisterUpUnderTheCacheMutex)
{
    setOptions(kOptionBitFromMirror);
    addWrite(holdingBit(16).data("01"));
    EXPECT_TRUE(waitsFor(PLC_driver.cacheMutex, [this] { next(); }));
    EXPECT_TRUE(!isHeld(PLC_driver.cacheMutex));
}

TEST_F(MutexScopes, TheFirstHalfOfAReadModifyWriteIsHandledUnderTheListMutex)
{
    addWrite(holdingBit(16).data("01"));
    next();
    ASSERT_EQ(kResultDone, receive(withCrc("01 03 02 0000")));
    const QByteArray before = queuedFrame(1);
    // The reply is merged from the write list, so nothing may happen to the frame while the list is held.
    PLC_driver.listMutex.lock();
    std::future<int> running = std::async(std::launch::async, [this] { return receive(buffer); });
    EXPECT_EQ(std::future_status::timeout, running.wait_for(std::chrono::milliseconds(20)));
    EXPECT_EQ(before, queuedFrame(1));
    PLC_driver.listMutex.unlock();
    EXPECT_EQ(1, running.get());
    EXPECT_EQ(withCrc("01 06 0001 0001"), queuedFrame(0));
}

TEST_F(MutexScopes, TheListMutexIsNeverTakenUnderTheCacheMutex)
{
    // Data access waits for the mirror without keeping the lists from others, and the other way round.
    info.writeMode = 0;
    EXPECT_TRUE(returnsDespite(PLC_driver.listMutex, [] { writeOneRegister("500"); }));
    EXPECT_TRUE(returnsDespite(PLC_driver.cacheMutex, [this] { addWrite(holding(0).data("12 34")); }));
    EXPECT_TRUE(returnsDespite(PLC_driver.cacheMutex, [this] { addOnceRead(holding(0)); }));
}

TEST_F(MutexScopes, SwitchingStationsTakesTheStationMutexAlone)
{
    EXPECT_TRUE(waitsFor(PLC_driver.stationMutex, [] { EnCommStation(5, 0); }));
    EXPECT_TRUE(waitsFor(PLC_driver.stationMutex, [] { EnableEthernet(5, 1); }));
    EXPECT_TRUE(waitsFor(PLC_driver.stationMutex, [] { Ethernetcontains(5); }));
    EXPECT_TRUE(returnsDespite(PLC_driver.listMutex, [] { EnCommStation(5, 0); }));
    EXPECT_TRUE(returnsDespite(PLC_driver.cacheMutex, [] { EnCommStation(5, 1); }));
}

// ------------------------------------------------------------------------------- many threads and a cycle

/// Outcomes by identifiers; filled on the cycle thread.
std::map<std::pair<int, int>, int> outcomesByIds;

void countOutcome(int, int hostId, int hostSubId, int)
{
    ++outcomesByIds[{hostId, hostSubId}];
}

/// A station that answers every request with registers that all hold the same number, counted up from reply
/// to reply, and sometimes does not answer.
class CountingStation
{
public:
    QByteArray answer(const QByteArray &request)
    {
        const int function = request.at(1);
        if (++requests_ % 23 == 0)
            return QByteArray();
        if (function == 5 || function == 6 || function == 15 || function == 16)
            return withChecksum(request.left(6));
        const int quantity =
            static_cast<unsigned char>(request.at(4)) * 256 + static_cast<unsigned char>(request.at(5));
        const int bytes = function <= 2 ? (quantity + 7) / 8 : quantity * 2;
        QByteArray reply = request.left(2);
        reply.append(static_cast<char>(bytes));
        reply.append(QByteArray(bytes, static_cast<char>(++value_)));
        return withChecksum(reply);
    }

private:
    static QByteArray withChecksum(QByteArray bytes)
    {
        const quint16 crc = witnessCrc(bytes);
        bytes.append(static_cast<char>(crc & 0xFF));
        bytes.append(static_cast<char>(crc >> 8));
        return bytes;
    }

    int requests_ = 0;
    unsigned char value_ = 0;
};

class ManyThreads : public SetUpDriver
{
protected:
    ManyThreads()
    {
        outcomesByIds.clear();
        info.retryLimit = 0;
        RegistCallBackFuncIntf(countOutcome, nullptr);
        addRead(holding(0).count(10));
        addRead(holding(50).count(10).station(2));
        addRead(coil(0).count(20).station(3));
    }

    /// One step of the cycle. False when there was nothing to do.
    bool cycle()
    {
        Protocol *head = next();
        if (!head)
            return false;
        QByteArray bytes = station_.answer(head->frame.left(head->sendLen));
        const int length = bytes.size();
        if (DataCom(&bytes, length)->status == 1 && length > 0)
            DataCom(&bytes, length);
        return true;
    }

    static bool isPending() { return !PLC_driver.writeList.isEmpty() || !PLC_driver.onceReadList.isEmpty(); }

    /// Runs @p calls, each on a thread of its own, while this thread runs the cycle; then empties the write
    /// list.
    void runBeside(const std::vector<std::function<void()>> &calls)
    {
        std::atomic<int> running(static_cast<int>(calls.size()));
        std::vector<std::thread> threads;
        for (const std::function<void()> &call : calls)
            threads.emplace_back([&running, &call] {
                call();
                --running;
            });
        while (running > 0)
            cycle();
        for (std::thread &thread : threads)
            thread.join();
        EnCommStation(-1, 0);
        PLC_driver.readList.clear();
        // A pause follows five writes in a row, so nothing to send does not mean nothing pending.
        for (int i = 0; i < 100000 && (cycle() || isPending()); ++i)
            continue;
    }

private:
    CountingStation station_;
};

constexpr int kRounds = 400;

TEST_F(ManyThreads, EveryWriteEndsInExactlyOneOutcome)
{
    auto writer = [](int hostId) {
        return [hostId] {
            for (int i = 0; i < kRounds; ++i) {
                RW_VAR var = holding(1000 + i).ids(hostId, i).data("12 34");
                EXPECT_LT(0, AddListWriteVar(&var, 1));
            }
        };
    };
    runBeside({writer(1), writer(2), writer(3)});
    EXPECT_EQ(3u * kRounds, outcomesByIds.size());
    for (const auto &entry : outcomesByIds)
        EXPECT_EQ(1, entry.second) << entry.first.first << "/" << entry.first.second;
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
}

TEST_F(ManyThreads, EveryBitWriteEndsInExactlyOneOutcome)
{
    auto writer = [](int hostId) {
        return [hostId] {
            for (int i = 0; i < kRounds; ++i) {
                RW_VAR var = holdingBit(i).ids(hostId, i).data("01");
                EXPECT_LT(0, AddListWriteVar(&var, 1));
            }
        };
    };
    runBeside({writer(1), writer(2)});
    EXPECT_EQ(2u * kRounds, outcomesByIds.size());
    for (const auto &entry : outcomesByIds)
        EXPECT_EQ(1, entry.second) << entry.first.first << "/" << entry.first.second;
}

TEST_F(ManyThreads, AReaderNeverSeesHalfAReply)
{
    std::atomic<int> torn(0);
    auto reader = [&torn] {
        for (int i = 0; i < 20 * kRounds; ++i) {
            QByteArray out;
            if (GetRegisterData(QString(), 5, QString::fromLatin1("0"), 1, &out, 10) != 1 ||
                out.size() != 20 || out != QByteArray(20, out.at(0)))
                ++torn;
        }
    };
    runBeside({reader, reader});
    EXPECT_EQ(0, torn);
}

TEST_F(ManyThreads, AllEntryPointsRunBesideTheCycle)
{
    auto writer = [this](int from) {
        return [this, from] {
            for (int i = 0; i < kRounds; ++i) {
                QByteArray data = hex("01 00 01 00");
                const QString address = QString::number(from + i % 7);
                SetRegisterData(QString(), 5, address, 1 + i % 3, &data, 2, from, i);
                SetRegisterData(QString(), 0, address, 1 + i % 3, &data, 4, from, i);
                SetRegisterData(QString(), 3, address + QString::fromLatin1(".3"), 1, &data, 1, from, i);
                SetRegisterData(QString(), 4, address, 1, &data, 1, from, i);
            }
        };
    };
    auto reader = [] {
        for (int i = 0; i < kRounds; ++i) {
            QByteArray out;
            EXPECT_EQ(1, GetRegisterData(QString(), 5, QString::number(i % 60), 1 + i % 3, &out, 20));
            EXPECT_EQ(1, GetRegisterData(QString(), 3, QString::fromLatin1("3.2"), 1, &out, 20));
        }
    };
    auto once = [] {
        for (int i = 0; i < kRounds; ++i) {
            RW_VAR var = holding(0).text("10").count(1 + i % 150).station(1 + i % 3).ids(50, i);
            EXPECT_LT(0, AddListOnceReadVar(&var, 0));
            RW_VAR raw = holding(5).ids(51, i);
            EXPECT_LT(0, AddListOnceReadVar(&raw, 1));
        }
    };
    auto switcher = [] {
        for (int i = 0; i < kRounds; ++i) {
            EnCommStation(2, i % 2);
            EnableEthernet(3, i % 2);
            EnCommStation(i % 50 == 0 ? -1 : 77, 0);
            std::this_thread::yield();
        }
    };
    runBeside({writer(100), writer(200), reader, once, switcher});
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
    EXPECT_TRUE(PLC_driver.onceReadList.isEmpty());
    EXPECT_TRUE(PLC_driver.sendQueue.isEmpty());
    EXPECT_EQ(0, PLC_driver.writeCount);
}

TEST_F(ManyThreads, CanOnlyShowValuesBesideTheCycle)
{
    info.writeMode = 0;
    auto writer = [](int from) {
        return [from] {
            for (int i = 0; i < kRounds; ++i) {
                QByteArray data(8, static_cast<char>(i));
                SetRegisterData(QString(), 5, QString::number(from), 1, &data, 4, 0, 0);
                QByteArray out;
                GetRegisterData(QString(), 5, QString::number(from), 1, &out, 4);
                EXPECT_EQ(data, out) << "nobody else writes here";
            }
        };
    };
    runBeside({writer(100), writer(200), writer(300)});
}

} // namespace

} // namespace plc::test
