// Four threads call whatever a runtime may call from any thread, in any order, while a fifth runs the cycle
// and its callbacks call back.
#include <QMutexLocker>

#include <random>

#include "cycle/station_set.h"
#include "support/lock_probe.h"
#include "threads/beside_the_cycle.h"
#include "varlists/panel.h"

namespace plc::test {

namespace {

constexpr int kThreads = 4;
constexpr int kCalls = 500; ///< of each thread

/// What the callbacks do; they carry no pointer of the runtime's.
int callbacksRun = 0;

void useDriver()
{
    ++callbacksRun;
    QByteArray out;
    EXPECT_EQ(1, GetRegisterData(QString(), 7, QString::fromLatin1("4"), 1, &out, 8));
    EnCommStation(3, callbacksRun % 2);
    RW_VAR var = holding(callbacksRun % 50);
    EXPECT_LT(0, AddListReadVar(&var));
    // While writes are queued this one would wait for the lists, which are held.
    if (PLC_driver.comInfo->writeMode != 2) {
        QByteArray data = wordBytes(callbacksRun % 50);
        SetRegisterData(QString(), 5, QString::fromLatin1("5"), 1, &data, 1, 0, 0);
    }
}

void onResult(int, int, int, int)
{
    useDriver();
}

void onFailure(QList<RW_VAR> *, int, int)
{
    useDriver();
}

/// The calls of one thread, drawn from its own numbers.
class Screens
{
public:
    explicit Screens(unsigned seed) : random_(seed)
    {
        for (int i = 0; i < 30; ++i)
            table_.add(draw(2) == 0 ? 5 : 7, draw(300), 1 + draw(4), 1 + draw(3));
        names_.add(1 + draw(4), "4x" + std::to_string(draw(300)));
    }

    void use()
    {
        for (int i = 0; i < kCalls; ++i)
            call(i);
    }

private:
    int draw(int below) { return static_cast<int>(random_() % static_cast<unsigned>(below)); }

    QString address(int type)
    {
        const bool namesBit = type == 2 || type == 3;
        return QString::number(draw(100)) + QString::fromLatin1(namesBit ? ".7" : "");
    }

    void call(int number)
    {
        switch (draw(20)) {
        case 0:
            EnCommStation(1 + draw(3), draw(2));
            return;
        case 1:
            EnableEthernet(draw(5) - 1, 1);
            return;
        case 2:
            ReCreatReadVarList(table_.records());
            return;
        case 3:
            if (number < kCalls / 10)
                PassVarName(names_.rows());
            EXPECT_EQ(1, QueryFinishFlag());
            return;
        case 4:
        case 5:
            readOnce(number);
            return;
        case 6:
        case 7:
            addWrite(number);
            return;
        case 8:
        case 9:
        case 10:
        case 11:
        case 12:
            write(number);
            return;
        default:
            read();
            return;
        }
    }

    void readOnce(int number)
    {
        RW_VAR var = holding(draw(100)).text("3").count(1 + draw(150)).station(1 + draw(3)).ids(9, number);
        AddListOnceReadVar(&var, draw(2));
    }

    void addWrite(int number)
    {
        RW_VAR var = holdingPair(draw(100)).station(1 + draw(3)).ids(8, number).data("11 22 33 44");
        EXPECT_LT(0, AddListWriteVar(&var, draw(2)));
    }

    void write(int number)
    {
        const int types[] = {0, 3, 5, 7, 8, 9};
        const int type = types[draw(6)];
        QByteArray data(8, static_cast<char>(draw(2)));
        SetRegisterData(QString(), type, address(type), 1 + draw(3), &data, 1 + draw(4), 7, number);
    }

    void read()
    {
        const int type = draw(10);
        QByteArray out;
        const int count = 1 + draw(40);
        EXPECT_EQ(1, GetRegisterData(QString(), type, address(type), 1 + draw(3), &out, count));
        EXPECT_LE(count, out.size());
        EXPECT_LE(0, PLCAddressChangeIntef(type, address(type)));
    }

    std::mt19937 random_;
    VariableTable table_;
    NameTable names_;
};

struct Link
{
    const char *name;
    int writeMode;
    int linkMode;
    int lossEvery;
    quint32 options;
};

void PrintTo(const Link &link, std::ostream *out)
{
    *out << link.name;
}

class EntryPoints : public BesideTheCycle, public ::testing::WithParamInterface<Link>
{};

// A relay's replies look different from what the stations send: nothing but failures there. With option bit 4
// bits are written from the mirror.
INSTANTIATE_TEST_SUITE_P(Over, EntryPoints,
                         ::testing::Values(Link{"AGoodLine", 2, 0, 0, 0},
                                           Link{"ABadLine", 2, 0, 5, kOptionBitFromMirror},
                                           Link{"ABadLineWithoutWrites", 0, 0, 5, 0},
                                           Link{"ADeadRelay", 2, 1, 1, 0}),
                         [](const auto &link) { return link.param.name; });

TEST_P(EntryPoints, MayBeCalledFromAllThreadsAtOnce)
{
    callbacksRun = 0;
    info.writeMode = GetParam().writeMode;
    info.linkMode = GetParam().linkMode;
    setOptions(GetParam().options);
    stations.loseEvery(GetParam().lossEvery);
    RegistCallBackFuncIntf(onResult, onFailure);
    addRead(holding(0).count(10));
    std::vector<Task> tasks;
    for (unsigned thread = 0; thread < kThreads; ++thread)
        tasks.push_back([thread] { Screens(thread).use(); });
    runBeside(tasks);
    emptyTheLists();

    EXPECT_LT(0, callbacksRun);
    EXPECT_EQ(0, PLC_driver.writeCount.load());
    EXPECT_FALSE(isHeld(PLC_driver.listMutex));
    EXPECT_FALSE(isHeld(PLC_driver.cacheMutex));
    EXPECT_FALSE(isHeld(PLC_driver.stationMutex));
}

} // namespace

} // namespace plc::test
