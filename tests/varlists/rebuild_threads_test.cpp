// The panel hands over new variables while the cycle runs and screens read and write values.
#include <atomic>
#include <set>
#include <thread>
#include <tuple>

#include <QMutexLocker>

#include "varlists/panel.h"

namespace plc::test {

namespace {

constexpr int kRebuilds = 200;
constexpr int kRebuildsOfSmallTables = 400;
constexpr int kTurnsBetween = 3; ///< turns that the cycle gets before every other rebuild

typedef std::tuple<int, int, int, int> Request; // station, type, address, count

/// The cyclic reads and the four levels, each in an order of its own: the cycle rotates them.
typedef std::vector<std::multiset<Request>> Lists;

Request requestOf(const RW_VAR &var)
{
    return Request(var.station, var.regType, var.address, var.count);
}

std::multiset<Request> requestsOf(const QList<RW_VAR> &list)
{
    std::multiset<Request> requests;
    for (const RW_VAR &var : list)
        requests.insert(requestOf(var));
    return requests;
}

/// What the driver holds at this moment.
Lists heldLists()
{
    QMutexLocker lock(&PLC_driver.listMutex);
    Lists lists;
    lists.push_back(requestsOf(PLC_driver.readList));
    for (const QList<RW_VAR> &level : PLC_driver.priorityReads)
        lists.push_back(requestsOf(level));
    return lists;
}

bool contains(const Lists &lists, const Request &request)
{
    for (const std::multiset<Request> &list : lists) {
        if (list.count(request) != 0)
            return true;
    }
    return false;
}

/// A table on 8 stations, all areas, with a gap of @p step between variables: another step gives other
/// requests.
void fillTable(VariableTable &table, int step)
{
    const int types[] = {5, 0, 4, 1, 7, 3, 6, 9};
    for (int station = 1; station <= 8; ++station) {
        for (int i = 0; i < 60; ++i) {
            const int type = types[i % 8];
            const int address = (i * 37 % 60) * step;
            const std::string text = std::to_string(address) + (type == 3 ? ".4" : "");
            table.add(type, text, 1 + i % 3, station, "variable " + std::to_string(i));
        }
    }
}

/// Four requests; those of levels 2 and 3 fold back, the one of level 1 stays.
void fillSmallTable(VariableTable &table, int step)
{
    table.add(5, 0, step).add(5, 1000 * step).add(4, 77 - step, 1 + step).add(0, 77 - step, 1 + step);
}

QByteArray goodReply(const Protocol &head)
{
    QByteArray reply;
    if (head.dataLen > 0) {
        reply.append(static_cast<char>(head.var.station));
        reply.append(static_cast<char>(head.var.regType == 5   ? 3
                                       : head.var.regType == 4 ? 4
                                                               : head.var.regType + 1));
        reply.append(static_cast<char>(head.dataLen));
        reply.append(QByteArray(head.dataLen, '\x11'));
    } else {
        reply = head.frame.left(6); // an echo
    }
    return withCrc(toHex(reply).c_str());
}

} // namespace

/// The parameter says whether the tables are small.
class RebuildBesideTheCycle : public PanelTest, public ::testing::WithParamInterface<bool>
{
protected:
    RebuildBesideTheCycle() : rebuilds_(GetParam() ? kRebuildsOfSmallTables : kRebuilds)
    {
        if (GetParam()) {
            fillSmallTable(tables_[0], 7);
            fillSmallTable(tables_[1], 11);
        } else {
            fillTable(tables_[0], 7);
            fillTable(tables_[1], 11);
        }
        // Levels 1 and 4 claim few requests, levels 2 and 3 some of every station.
        NameTable names;
        PassVarName(names.add(1, "4x0")
                        .add(2, "3x77")
                        .add(3, "0x616")
                        .add(4, "1x2400")
                        .add(3, "4x300")
                        .add(2, "4x385")
                        .rows());
        for (int i = 0; i < 2; ++i) {
            ReCreatReadVarList(tables_[i].records());
            complete_[i] = heldLists();
        }
    }

    /// Hands over the two tables in turn. #generation_ is even while a table is in force: half of it is its
    /// number.
    void rebuildRepeatedly()
    {
        for (int i = 0; i < rebuilds_; ++i) {
            if (i % 2 == 0)
                letTheCycleRun();
            ++generation_;
            const int length = ReCreatReadVarList(tables_[i % 2].records());
            ++generation_;
            if (length != static_cast<int>(complete_[i % 2].front().size()))
                wrongLengths_++;
        }
        done_ = true;
    }

    void letTheCycleRun() const
    {
        const int enough = turns_ + kTurnsBetween;
        while (turns_ < enough)
            std::this_thread::yield();
    }

    /// Serves and answers until the other thread is done.
    void cycle()
    {
        for (; !done_; ++turns_) {
            const unsigned before = generation_;
            const Protocol *head = ComCommunication(0);
            const unsigned after = generation_;
            if (!head) {
                ++empties_;
                continue;
            }
            if (head->var.direction == 0)
                checkServed(requestOf(head->var), before, after);
            answer(*head);
            checkLists();
            ++services_;
        }
    }

    void checkServed(const Request &served, unsigned before, unsigned after)
    {
        if (!contains(complete_[0], served) && !contains(complete_[1], served))
            ++strangers_;
        if (before != after || before % 2 != 0 || before == 0)
            return;
        ++settledServices_;
        if (!contains(complete_[(before / 2 - 1) % 2], served))
            ++stale_;
    }

    void checkLists()
    {
        const Lists lists = heldLists();
        if (lists != complete_[0] && lists != complete_[1])
            ++mixtures_;
    }

    void answer(const Protocol &head)
    {
        QByteArray reply = goodReply(head);
        DataCom(&reply, reply.size());
        if (DataCom(&reply, reply.size())->status != 1)
            ++failures_;
    }

    /// What screens do: one thread reads, and writes a little.
    void useScreens()
    {
        const QString name;
        int round = 0;
        do {
            QByteArray out;
            const QString address = QString::number(round % 500);
            if (GetRegisterData(name, round % 2 == 0 ? 5 : 0, address, 1 + round % 8, &out, 10) != 1)
                ++accessFailures_;
            if (round % 16 == 0 && PLC_driver.writeCount < 20) {
                QByteArray value = hex("34 12");
                if (SetRegisterData(name, 5, address, 1 + round % 8, &value, 1, round, 0) < 1)
                    ++accessFailures_;
                ++writes_;
            }
            ++round;
            std::this_thread::yield();
        } while (!done_);
    }

    const int rebuilds_;
    VariableTable tables_[2];
    Lists complete_[2];
    std::atomic<unsigned> generation_{0};
    std::atomic<bool> done_{false};
    std::atomic<int> turns_{0};
    int services_ = 0;
    std::atomic<int> wrongLengths_{0};
    int empties_ = 0;
    int strangers_ = 0;
    int stale_ = 0;
    int settledServices_ = 0;
    int mixtures_ = 0;
    int failures_ = 0;
    int writes_ = 0;
    int accessFailures_ = 0;
};

INSTANTIATE_TEST_SUITE_P(Of, RebuildBesideTheCycle, ::testing::Bool(),
                         [](const auto &tables) { return tables.param ? "SmallTables" : "LargeTables"; });

TEST_P(RebuildBesideTheCycle, HasTwoTablesThatTellAMixture)
{
    ASSERT_NE(complete_[0], complete_[1]);
    for (const Lists &lists : complete_) {
        for (std::size_t level = 0; level < lists.size(); ++level)
            EXPECT_EQ(GetParam() && level > 1, lists[level].empty()) << "level " << level;
    }
    int common = 0;
    int all = 0;
    for (const std::multiset<Request> &list : complete_[0]) {
        for (const Request &request : list) {
            ++all;
            common += contains(complete_[1], request);
        }
    }
    EXPECT_LT(common, all / 4);
}

TEST_P(RebuildBesideTheCycle, NeverLetsAHalfBuiltListBeServed)
{
    std::thread screens([this] { useScreens(); });
    std::thread communication([this] { cycle(); });
    rebuildRepeatedly();
    communication.join();
    screens.join();

    EXPECT_EQ(0, empties_) << "the read list was seen empty";
    EXPECT_EQ(0, strangers_) << "requests of neither table";
    EXPECT_EQ(0, stale_) << "requests of the table that was replaced";
    EXPECT_EQ(0, mixtures_) << "lists of neither table";
    EXPECT_EQ(0, wrongLengths_);
    EXPECT_EQ(0, failures_);
    EXPECT_EQ(0, accessFailures_);
    EXPECT_GE(services_, rebuilds_);
    EXPECT_GT(settledServices_, 0);
    EXPECT_GT(writes_, 0);
    std::printf("%d services, %d of them between rebuilds, %u rebuilds, %d writes\n", services_,
                settledServices_, generation_.load() / 2, writes_);
}

} // namespace plc::test
