// Several threads replace the cyclic reads, hand over priority names, switch stations and read values while
// the cycle runs: what is served always comes from one whole table.
#include <QMutexLocker>

#include <set>
#include <string>

#include "threads/beside_the_cycle.h"
#include "varlists/panel.h"

namespace plc::test {

namespace {

constexpr int kTables = 2;
constexpr int kNames = 4;     ///< handed over one by one
constexpr int kRebuilds = 60; ///< of each thread

/// A set of requests: the cycle turns the lists round, so their order says nothing.
typedef std::multiset<std::string> Requests;

/// The cyclic reads and those of the four levels.
typedef std::vector<Requests> Lists;

Requests requestsOf(const QList<RW_VAR> &list)
{
    Requests requests;
    for (const RW_VAR &request : list)
        requests.insert(shown(request));
    return requests;
}

Lists heldLists()
{
    QMutexLocker lock(&PLC_driver.listMutex);
    Lists lists = {requestsOf(PLC_driver.readList)};
    for (const QList<RW_VAR> &level : PLC_driver.priorityReads)
        lists.push_back(requestsOf(level));
    return lists;
}

/// Variables of three stations with a gap of @p step between them: another step gives other requests.
void fillTable(VariableTable &table, int step)
{
    const int types[] = {5, 4, 0, 7, 3};
    for (int station = 1; station <= 3; ++station) {
        for (int i = 0; i < 20; ++i) {
            const int type = types[i % 5];
            table.add(type, std::to_string(i * step) + (type == 3 ? ".4" : ""), 2, station);
        }
    }
}

void handOverName(int number)
{
    const char *const names[kNames] = {"4x0", "3x60", "0x800", "4x150"};
    NameTable table;
    PassVarName(table.add(1 + number, names[number]).rows());
}

/// Two tables and the lists that each gives once so many of the names are known.
class ReadLists : public BesideTheCycle
{
protected:
    ReadLists()
    {
        fillTable(tables_[0], 11);
        fillTable(tables_[1], 13);
        for (int names = 0; names <= kNames; ++names) {
            for (VariableTable &table : tables_) {
                ReCreatReadVarList(table.records());
                whole_.insert(heldLists());
            }
            if (names < kNames)
                handOverName(names);
        }
        for (QList<RW_VAR> &addresses : PLC_driver.priorityAddresses)
            addresses.clear();
        ReCreatReadVarList(tables_[0].records());
    }

    Task rebuilder(int first)
    {
        return [this, first] {
            for (int i = 0; i < kRebuilds; ++i) {
                EXPECT_LT(0, ReCreatReadVarList(tables_[(first + i) % kTables].records()));
                letTheCycleTurn();
            }
        };
    }

    bool isWhole(const Lists &lists) const { return whole_.count(lists) != 0; }
    std::size_t numberOfWholeLists() const { return whole_.size(); }

private:
    VariableTable tables_[kTables];
    std::set<Lists> whole_;
};

TEST_F(ReadLists, OfTheTwoTablesDifferWithEveryName)
{
    EXPECT_EQ(static_cast<std::size_t>(kTables * (kNames + 1)), numberOfWholeLists());
}

TEST_F(ReadLists, StayWholeWhileThreadsReplaceThemAndHandOverNames)
{
    int torn = 0;
    afterTurn = [this, &torn] { torn += !isWhole(heldLists()); };
    Task namesAndStations = [this] {
        for (int i = 0; i < kRebuilds; ++i) {
            if (i % (kRebuilds / kNames) == 0)
                handOverName(i / (kRebuilds / kNames));
            EnCommStation(2, i % 2);
            letTheCycleTurn();
        }
    };
    Task reader = [] {
        for (int i = 0; i < 20 * kRebuilds; ++i) {
            QByteArray out;
            EXPECT_EQ(1, GetRegisterData(QString(), 5, QString::number(i % 200), 1 + i % 3, &out, 20));
        }
    };
    runBeside({rebuilder(0), rebuilder(1), namesAndStations, reader});
    EXPECT_EQ(0, torn);
    EXPECT_LT(kRebuilds, turns());
}

} // namespace

} // namespace plc::test
