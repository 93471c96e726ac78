// What becomes of writes and one-shot reads that several threads queue while the cycle runs: each is reported
// exactly once, or not at all for a reason that the interface states.
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "threads/beside_the_cycle.h"

namespace plc::test {

namespace {

constexpr int kThreads = 4;
constexpr int kWrites = 250; ///< of each thread
constexpr int kDone = 1;
constexpr int kFailed = 2;

/// Every write of these tests has a value of its own, so the stations tell which they took. Thread and number
/// are its identifiers.
int valueOf(int thread, int number)
{
    return 1 + thread * kWrites + number;
}

bool isIn(const std::set<int> &values, int value)
{
    return values.count(value) != 0;
}

class Writes : public BesideTheCycle
{
protected:
    /// One task for each thread, from a function of the thread's number.
    static std::vector<Task> onAllThreads(const std::function<void(int)> &job)
    {
        std::vector<Task> tasks;
        for (int thread = 0; thread < kThreads; ++thread)
            tasks.push_back([job, thread] { job(thread); });
        return tasks;
    }

    void addReads()
    {
        addRead(holding(0).count(20));
        addRead(holding(0).count(20).station(2));
        addRead(coil(0).count(20).station(3));
    }

    std::set<int> valuesTaken() const
    {
        std::set<int> values;
        for (const Taken &taken : stations.taken())
            EXPECT_TRUE(values.insert(taken.value).second) << "taken twice: " << taken.value;
        return values;
    }

    /// The values of the writes that were reported. A second report fails the test, and so does one that is
    /// not what became of the write.
    std::set<int> valuesReported() const
    {
        const std::set<int> taken = valuesTaken();
        std::set<int> reported;
        for (const Outcome &outcome : outcomes) {
            const int value = valueOf(outcome.hostId, outcome.hostSubId);
            EXPECT_TRUE(reported.insert(value).second) << "reported twice: " << value;
            EXPECT_EQ(isIn(taken, value) ? kDone : kFailed, outcome.outcome) << value;
        }
        for (const int value : taken)
            EXPECT_TRUE(isIn(reported, value)) << "taken and not reported: " << value;
        return reported;
    }

    int numberOf(int outcome) const
    {
        int number = 0;
        for (const Outcome &reported : outcomes)
            number += reported.outcome == outcome;
        return number;
    }

    /// The stations took the writes of each thread to one place in the order in which it made them.
    void expectEachThreadsOrder() const
    {
        std::map<std::pair<int, std::pair<int, int>>, int> last; // thread and place
        for (const Taken &taken : stations.taken()) {
            const int thread = (taken.value - 1) / kWrites;
            int &before = last[{thread, {taken.station, taken.address}}];
            EXPECT_LT(before, taken.value);
            before = taken.value;
        }
    }
};

TEST_F(Writes, AreEachReportedOnceAsWhatBecameOfThem)
{
    addReads();
    stations.loseEvery(17);
    runBeside(onAllThreads([](int thread) {
        for (int i = 0; i < kWrites; ++i) {
            RW_VAR var =
                holding(i % 10).station(1 + i % 3).ids(thread, i).data(wordBytes(valueOf(thread, i)));
            EXPECT_LT(0, AddListWriteVar(&var, 1));
        }
    }));
    emptyTheLists();
    EXPECT_EQ(static_cast<std::size_t>(kThreads * kWrites), valuesReported().size());
    expectEachThreadsOrder();
    EXPECT_LT(0, numberOf(kDone));
    EXPECT_LT(0, numberOf(kFailed));
}

TEST_F(Writes, ThatAreNotReportedWereReplacedByNewerOnesToTheirPlace)
{
    constexpr int kPlaces = 5;
    addReads();
    runBeside(onAllThreads([this](int thread) {
        for (int i = 0; i < kWrites; ++i) {
            QByteArray data = wordBytes(valueOf(thread, i));
            const QString address = QString::number(i % kPlaces);
            EXPECT_LT(0, SetRegisterData(QString(), 5, address, 1, &data, 1, thread, i));
            if (i % 2 == 0)
                letTheCycleTurn();
        }
    }));
    emptyTheLists();
    const std::set<int> reported = valuesReported();
    EXPECT_LT(reported.size(), static_cast<std::size_t>(kThreads * kWrites)) << "nothing was replaced";
    expectEachThreadsOrder();

    // The last write of a thread to a place is newer than its others. So a place ends with the last write of
    // some thread, and a last write is missing only where one of another thread took its turn.
    std::set<int> lastWrites;
    for (int thread = 0; thread < kThreads; ++thread) {
        for (int i = kWrites - kPlaces; i < kWrites; ++i)
            lastWrites.insert(valueOf(thread, i));
    }
    for (int place = 0; place < kPlaces; ++place)
        EXPECT_TRUE(isIn(lastWrites, stations.holdingRegister(1, place))) << "place " << place;
}

TEST_F(Writes, BeyondAFullListAreDroppedAndNoOthers)
{
    constexpr int kFull = 1024;
    constexpr int kEach = 400;
    constexpr int kStride = 1000;
    std::vector<std::vector<int>> sizes(kThreads);
    runWithoutCycle(onAllThreads([&sizes](int thread) {
        for (int i = 0; i < kEach; ++i) {
            QByteArray data = wordBytes(1);
            const QString address = QString::number(kStride * thread + i);
            sizes[static_cast<std::size_t>(thread)].push_back(
                SetRegisterData(QString(), 5, address, 1, &data, 1, thread, i));
        }
    }));
    for (const std::vector<int> &own : sizes) {
        for (std::size_t i = 0; i < own.size(); ++i) {
            EXPECT_LE(own[i], kFull);
            EXPECT_LE(i == 0 ? 1 : own[i - 1], own[i]) << "nothing leaves the list meanwhile";
        }
    }
    emptyTheLists();
    ASSERT_EQ(static_cast<std::size_t>(kFull), outcomes.size());
    std::map<int, int> next; // thread and the number that it queued next
    for (const Outcome &outcome : outcomes)
        EXPECT_EQ(next[outcome.hostId]++, outcome.hostSubId) << "of thread " << outcome.hostId;
    EXPECT_EQ(static_cast<std::size_t>(kFull), stations.taken().size());
}

TEST_F(Writes, ToASwitchedOffStationAreTheOnlyOnesThatVanish)
{
    constexpr int kSwitched = 2;
    addReads();
    stations.loseEvery(17);
    std::vector<Task> tasks = onAllThreads([](int thread) {
        for (int i = 0; i < kWrites; ++i) {
            RW_VAR var =
                holding(i % 10).station(1 + i % 3).ids(thread, i).data(wordBytes(valueOf(thread, i)));
            AddListWriteVar(&var, 1);
        }
    });
    tasks.push_back([this] {
        for (int i = 0; i < kWrites; ++i) {
            EnCommStation(kSwitched, i % 2);
            letTheCycleTurn();
        }
    });
    runBeside(tasks);
    EnCommStation(-1, 0);
    emptyTheLists();
    const std::set<int> reported = valuesReported();
    int vanished = 0;
    for (int thread = 0; thread < kThreads; ++thread) {
        for (int i = 0; i < kWrites; ++i) {
            if (isIn(reported, valueOf(thread, i)))
                continue;
            EXPECT_EQ(kSwitched, 1 + i % 3);
            ++vanished;
        }
    }
    EXPECT_LT(0, vanished);
}

TEST_F(Writes, OfOneShotReadsEachIsReportedOnceHoweverManyPiecesItHas)
{
    constexpr int kReads = 120;
    addReads();
    stations.loseEvery(17);
    runBeside(onAllThreads([](int thread) {
        for (int i = 0; i < kReads; ++i) {
            RW_VAR var = holding(i).text("10").count(1 + i % 150).station(1 + i % 3).ids(thread, i);
            EXPECT_LT(0, AddListOnceReadVar(&var, thread % 2));
        }
    }));
    emptyTheLists();
    EXPECT_EQ(static_cast<std::size_t>(kThreads * kReads), outcomes.size());
    std::set<std::pair<int, int>> reported;
    for (const Outcome &outcome : outcomes)
        EXPECT_TRUE(reported.insert({outcome.hostId, outcome.hostSubId}).second);
    EXPECT_LT(0, numberOf(kDone));
    EXPECT_LT(0, numberOf(kFailed));
}

/// The parameter is the option word: bits are written by reading the register first, or from the mirror.
class BitWrites : public Writes, public ::testing::WithParamInterface<quint32>
{};

INSTANTIATE_TEST_SUITE_P(With, BitWrites, ::testing::Values(0u, kOptionBitFromMirror),
                         [](const auto &options) {
                             return options.param == 0 ? "TheRegisterReadFirst" : "TheMirroredRegister";
                         });

TEST_P(BitWrites, OfSeveralThreadsIntoOneRegisterDoNotUndoEachOther)
{
    constexpr int kBits = 4; ///< of each thread
    constexpr int kRegister = 7;
    setOptions(GetParam());
    addRead(holding(0).count(20));
    runBeside(onAllThreads([this](int thread) {
        for (int i = 0; i < kWrites; ++i) {
            QByteArray bit(1, i / kBits % 2 == 0 ? '\1' : '\0');
            const QString address =
                QString::fromLatin1("%1.%2").arg(kRegister).arg(thread * kBits + i % kBits);
            EXPECT_LT(0, SetRegisterData(QString(), 3, address, 1, &bit, 1, thread, i));
            letTheCycleTurn();
        }
        // Each thread leaves bits of its own: 1010 or 0101.
        for (int bit = 0; bit < kBits; ++bit) {
            QByteArray last(1, static_cast<char>((bit + thread) % 2));
            const QString address = QString::fromLatin1("%1.%2").arg(kRegister).arg(thread * kBits + bit);
            EXPECT_LT(0, SetRegisterData(QString(), 3, address, 1, &last, 1, thread, kWrites + bit));
        }
    }));
    emptyTheLists();
    EXPECT_EQ(0x5A5A, stations.holdingRegister(1, kRegister));
}

} // namespace

} // namespace plc::test
