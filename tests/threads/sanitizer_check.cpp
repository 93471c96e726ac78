// Proof that ThreadSanitizer sees the driver's locks, and no more than its locks: a program that touches the
// driver's data from two threads, deliberately wrongly or rightly.
//
//     sanitizer_check DEED
//
// Exit codes: 0 the deed is done, 2 there is no such deed; the sanitizer's own if it had something to report.
#include <QBasicMutex>
#include <QMutexLocker>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>

#include "threads/beside_the_cycle.h"

namespace plc::test {

namespace {

/// Orders nothing for the sanitizer, so what it sees depends on the locks alone and never on who came first.
class Signal
{
public:
    void give() { given_.store(true, std::memory_order_relaxed); }
    void await() const
    {
        while (!given_.load(std::memory_order_relaxed))
            std::this_thread::yield();
    }

private:
    std::atomic<bool> given_{false};
};

// ------------------------------------------------------------------------------ what the driver guards

void addWrite()
{
    RW_VAR var = holding(3).data("12 34");
    AddListWriteVar(&var, 1);
}

[[gnu::noinline]] int walkWriteList()
{
    int sum = 0;
    for (int i = 0; i < PLC_driver.writeList.size(); ++i)
        sum += PLC_driver.writeList.at(i).address;
    return sum;
}

[[gnu::noinline]] int askWriteListLength()
{
    return PLC_driver.writeList.size();
}

void showValue()
{
    QByteArray data = hex("12 34");
    SetRegisterData(QString(), 5, QString::fromLatin1("3"), 1, &data, 1, 0, 0);
}

[[gnu::noinline]] int walkMirror()
{
    int sum = 0;
    const QHash<quint64, QByteArray> &mirror = PLC_driver.registerCache;
    for (auto entry = mirror.begin(); entry != mirror.end(); ++entry)
        sum += entry->size();
    return sum;
}

void switchStationOff()
{
    EnCommStation(3, 0);
}

[[gnu::noinline]] int walkStations()
{
    int sum = 0;
    const QMap<int, int> &stations = PLC_driver.disabledStations;
    for (auto station = stations.begin(); station != stations.end(); ++station)
        sum += station.key();
    return sum;
}

/// Walks over data that the driver has changed on another thread, with the lock that is given, if any.
int walkAfter(void (*change)(), int (*walk)(), QMutex *lock)
{
    Signal changed;
    std::thread other([change, &changed] {
        change();
        changed.give();
    });
    changed.await();
    QMutexLocker locker(lock);
    const int sum = walk();
    locker.unlock();
    other.join();
    return sum;
}

/// Takes the mirror's lock before that of the lists, while the driver does it the other way round.
int lockInWrongOrder()
{
    PLC_driver.comInfo->writeMode = 2;
    showValue();
    ComCommunication(0);
    QMutexLocker lock(&PLC_driver.cacheMutex);
    addWrite();
    return PLC_driver.registerCache.size();
}

// ------------------------------------------------------------------------------------------ Qt's slow roads

/// Changes a value on another thread, which makes this one wait for the lock, and reads it with the lock.
template <typename Mutex>
int waitFor(Mutex &mutex)
{
    int value = 0;
    Signal locked;
    std::thread other([&mutex, &value, &locked] {
        mutex.lock();
        locked.give();
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        value = 3;
        mutex.unlock();
    });
    locked.await();
    mutex.lock();
    const int seen = value;
    mutex.unlock();
    other.join();
    return seen;
}

/// A mutex that is waited for with a limit.
struct TriedMutex
{
    QMutex mutex;

    void lock()
    {
        while (!mutex.tryLock(5))
            continue;
    }
    void unlock() { mutex.unlock(); }
};

int waitForMutex()
{
    QMutex mutex;
    return waitFor(mutex);
}

int waitForBasicMutex()
{
    QBasicMutex mutex;
    return waitFor(mutex);
}

int waitForTriedMutex()
{
    TriedMutex mutex;
    return waitFor(mutex);
}

// --------------------------------------------------------------------------------------------------- deeds

struct Deed
{
    const char *name;
    int (*run)(); ///< gives 3
};

const Deed kDeeds[] = {
    {"write_list_without_lock", [] { return walkAfter(addWrite, walkWriteList, nullptr); }},
    {"write_list_with_wrong_lock", [] { return walkAfter(addWrite, walkWriteList, &PLC_driver.cacheMutex); }},
    {"write_list_with_its_lock", [] { return walkAfter(addWrite, walkWriteList, &PLC_driver.listMutex); }},
    {"write_list_length_without_lock", [] { return 2 + walkAfter(addWrite, askWriteListLength, nullptr); }},
    {"write_list_length_with_its_lock",
     [] { return 2 + walkAfter(addWrite, askWriteListLength, &PLC_driver.listMutex); }},
    {"mirror_without_lock", [] { return 1 + walkAfter(showValue, walkMirror, nullptr); }},
    {"mirror_with_wrong_lock", [] { return 1 + walkAfter(showValue, walkMirror, &PLC_driver.stationMutex); }},
    {"mirror_with_its_lock", [] { return 1 + walkAfter(showValue, walkMirror, &PLC_driver.cacheMutex); }},
    {"stations_without_lock", [] { return walkAfter(switchStationOff, walkStations, nullptr); }},
    {"stations_with_wrong_lock",
     [] { return walkAfter(switchStationOff, walkStations, &PLC_driver.listMutex); }},
    {"stations_with_its_lock",
     [] { return walkAfter(switchStationOff, walkStations, &PLC_driver.stationMutex); }},
    {"locks_in_wrong_order", [] { return 2 + lockInWrongOrder(); }},
    {"wait_for_mutex", waitForMutex},
    {"wait_for_basic_mutex", waitForBasicMutex},
    {"wait_for_tried_mutex", waitForTriedMutex},
};

int run(const char *name)
{
    COM_INFO info;
    std::memset(&info, 0, sizeof info);
    info.maxBlock = 100;
    info.stationMode = 1;
    SetComInfo(&info);
    for (const Deed &deed : kDeeds) {
        if (std::strcmp(deed.name, name) != 0)
            continue;
        const int result = deed.run();
        std::printf("%s: %d\n", name, result);
        return result == 3 ? 0 : 1;
    }
    std::fprintf(stderr, "sanitizer_check: unknown deed '%s'\n", name);
    return 2;
}

} // namespace

} // namespace plc::test

int main(int argc, char **argv)
{
    if (argc == 2)
        return plc::test::run(argv[1]);
    std::fprintf(stderr, "usage: sanitizer_check DEED\n");
    return 2;
}
