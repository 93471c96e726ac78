// A 32-bit value that one thread stores and another reads is never half old, whichever way it was stored and
// in whichever order its two registers are read.
#include "threads/beside_the_cycle.h"

namespace plc::test {

namespace {

constexpr int kPairs = 20;          ///< registers 0 to 39
constexpr int kPairsRead = 15000;   ///< by each reader, at least
constexpr int kTurnsMeanwhile = 50; ///< of the cycle, at least
constexpr int kPairsWritten = 3000; ///< by each writer

int wordAt(const QByteArray &bytes, int index)
{
    return static_cast<unsigned char>(bytes.at(index)) +
           256 * static_cast<unsigned char>(bytes.at(index + 1));
}

/// Registers of the pairs are n at even addresses and the complement of n at odd ones; pairs that nobody has
/// stored yet are 0.
bool isWhole(int even, int odd)
{
    return (even ^ odd) == 0xFFFF || (even == 0 && odd == 0);
}

/// How a reader sees pairs.
struct View
{
    const char *name;
    int inputType;   ///< register type for input registers
    int holdingType; ///< register type for holding registers
    bool bits;       ///< the address names a bit, and the count is of bits
    int evenAt;      ///< byte of the register with the even address, in bytes of packed values
    int oddAt;
};

const View kViews[] = {{"as 32-bit values", 6, 7, false, 2, 0},
                       {"as registers", 4, 5, false, 0, 2},
                       {"as bits", 2, 3, true, 0, 2}};

/// One byte a bit, to eight bits a byte.
QByteArray packed(const QByteArray &bits)
{
    QByteArray bytes(bits.size() / 8, '\0');
    for (int i = 0; i < bits.size(); ++i)
        bytes[i / 8] = static_cast<char>(bytes.at(i / 8) | bits.at(i) << i % 8);
    return bytes;
}

/// Reads the first @p pairs pairs in one call.
QByteArray readPairs(const View &view, int type, int pairs)
{
    QByteArray out;
    const QString address = QString::fromLatin1(view.bits ? "0.0" : "0");
    const int count = 2 * pairs * (view.bits ? 16 : 1);
    EXPECT_EQ(1, GetRegisterData(QString(), type, address, 1, &out, count));
    return view.bits ? packed(out) : out;
}

int numberOfTornPairs(const View &view, const QByteArray &bytes)
{
    int torn = 0;
    for (int at = 0; at < bytes.size(); at += 4)
        torn += !isWhole(wordAt(bytes, at + view.evenAt), wordAt(bytes, at + view.oddAt));
    return torn;
}

/// The pair that says @p n, as a 32-bit value (type 7) or as two registers.
QByteArray pairSaying(int n, int type)
{
    const QByteArray even = wordBytes(n);
    const QByteArray odd = wordBytes(~n & 0xFFFF);
    return type == 7 ? odd + even : even + odd;
}

class Pairs : public BesideTheCycle
{
protected:
    /// Runs the writers and, for each view, a reader of input or holding registers; #torn counts what they
    /// find.
    void readBeside(int View::*type, const std::vector<Task> &writers = {}, int pairs = kPairs)
    {
        std::vector<Task> tasks = writers;
        for (const View &view : kViews)
            tasks.push_back([this, &view, type, pairs] {
                for (int i = 0; i * pairs < kPairsRead || turns() < kTurnsMeanwhile; ++i) {
                    const int found = numberOfTornPairs(view, readPairs(view, view.*type, pairs));
                    torn.fetch_add(found, std::memory_order_relaxed);
                }
            });
        runBeside(tasks);
    }

    /// Writes every pair over and over, one a call, as 32-bit values (type 7) or as two registers (type 5).
    static Task writer(int type)
    {
        return [type] {
            for (int i = 0; i < kPairsWritten; ++i) {
                QByteArray data = pairSaying(1 + 10 * i + type, type);
                const QString address = QString::number(i % kPairs * 2);
                SetRegisterData(QString(), type, address, 1, &data, 2, type, i);
            }
        };
    }

    /// Writes @p pairs pairs with one call, over and over.
    static Task writerOfMany(int type, int pairs)
    {
        return [type, pairs] {
            for (int i = 0; i * pairs < 10 * kPairsWritten; ++i) {
                QByteArray data = pairSaying(1 + 10 * i + type, type).repeated(pairs);
                SetRegisterData(QString(), type, QString::fromLatin1("0"), 1, &data, 2 * pairs, type, i);
            }
        };
    }

    /// The last pair of those that were to be stored is there.
    void expectStored(int type, int pairs = kPairs) const
    {
        const QByteArray even = mirrored(1, type, 2 * pairs - 2);
        const QByteArray odd = mirrored(1, type, 2 * pairs - 1);
        ASSERT_EQ(2, even.size());
        ASSERT_EQ(2, odd.size());
        EXPECT_EQ(0xFFFF, wordAt(even, 0) ^ wordAt(odd, 0));
    }

    std::atomic<int> torn{0};
};

TEST_F(Pairs, AreStoredWholeByReplies)
{
    addRead(inputRegister(0).count(2 * kPairs));
    readBeside(&View::inputType);
    EXPECT_EQ(0, torn.load());
    expectStored(4);
}

TEST_F(Pairs, AreShownWholeWhenTheyAreOnlyShown)
{
    info.writeMode = 0;
    readBeside(&View::holdingType, {writer(7), writer(5)});
    EXPECT_EQ(0, torn.load());
    expectStored(5);
}

TEST_F(Pairs, AreShownWholeWhenTheyAreWrittenAndReadBack)
{
    addRead(holding(0).count(2 * kPairs));
    readBeside(&View::holdingType, {writer(7), writer(5)});
    emptyTheLists();
    EXPECT_EQ(0, torn.load());
    expectStored(5);
    for (int address = 0; address < 2 * kPairs; address += 2)
        EXPECT_EQ(0xFFFF, stations.holdingRegister(1, address) ^ stations.holdingRegister(1, address + 1));
}

TEST_F(Pairs, AreShownWholeWhenTheStationHasFailed)
{
    // Beside them a bit is written, from the mirror that this thread and the cycle's both use.
    Task bitWriter = [] {
        for (int i = 0; i < kPairsWritten / 10; ++i) {
            QByteArray bit(1, static_cast<char>(i % 2));
            SetRegisterData(QString(), 3, QString::fromLatin1("100.7"), 1, &bit, 1, 3, i);
        }
    };
    setOptions(kOptionBitFromMirror);
    stations.loseEvery(1);
    addRead(holding(0).count(2 * kPairs));
    turn();
    readBeside(&View::holdingType, {writer(7), writer(5), bitWriter});
    EXPECT_EQ(0, torn.load());
    expectStored(5);
}

TEST_F(Pairs, OfAWriteThatIsSplitAreEachShownWhole)
{
    constexpr int kMany = 130; ///< two whole requests of 32-bit values and some
    info.writeMode = 0;
    readBeside(&View::holdingType, {writerOfMany(7, kMany), writerOfMany(5, kMany)}, kMany);
    EXPECT_EQ(0, torn.load());
    expectStored(5, kMany);
}

} // namespace

} // namespace plc::test
