// Memory runs out inside the driver: every allocation of every entry point fails in turn, and all from it on,
// while each list and the mirror are filled.
#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "memory_safety/scarce_memory.h"
#include "mirror/register_cache.h"
#include "support/driver_fixture.h"
#include "support/own_log_file.h"
#include "threads/stations.h"
#include "varlists/grouping.h"
#include "varlists/panel.h"

namespace plc::test {

namespace {

QString text(const char *latin)
{
    return QString::fromLatin1(latin);
}

/// What the runtime was told; room for all of it is there from the start, since memory is short when it
/// comes.
std::vector<Outcome> told;

void tell(int callbackArg, int hostId, int hostSubId, int outcome)
{
    if (told.size() < told.capacity())
        told.push_back({callbackArg, hostId, hostSubId, outcome});
}

void ignoreFailure(QList<RW_VAR> *, int, int) {}

/// A panel in the middle of its day: cyclic reads and reads of each priority level, writes and one-shot reads
/// that wait, a station that is switched off, a mirror of 200 elements, stations that answer.
class BusyPanel
{
public:
    BusyPanel() : words_(51000, 0), info()
    {
        renewDriver();
        told.clear();
        told.reserve(1000);
        info.maxBlock = 10;
        info.stationMode = 1;
        info.retryLimit = 1;
        info.writeMode = 2;
        info.callbackArg = 77;
        SetComInfo(&info);
        FlashLocalRegister(nullptr, words_.data(), nullptr);
        RegistCallBackFuncIntf(tell, ignoreFailure);
        for (int i = 0; i < kReads; ++i) {
            variables.add(5, addressOf(i));
            put(1, addressOf(i), valueOf(i));
        }
        put(2, 50, 0x1200);
        NameTable levels;
        levels.add(1, "4x20").add(2, "4x60").add(3, "4x100").add(4, "4x140");
        PassVarName(levels.rows());
        ReCreatReadVarList(variables.records());
        RW_VAR earlier = holding(2000).ids(1, 0).data("5A5A");
        AddListWriteVar(&earlier, 1);
        turn();
        for (RW_VAR write :
             {RW_VAR(holding(300).ids(1, 1).data("1111")), RW_VAR(holding(301).ids(1, 2).data("2222")),
              RW_VAR(coil(5).ids(1, 3).data("01")), RW_VAR(holding(302).station(9).data("3333"))})
            AddListWriteVar(&write, 1);
        for (RW_VAR read : {RW_VAR(holding(400).count(2).ids(3, 1)), RW_VAR(holding(402).ids(3, 2))})
            AddListOnceReadVar(&read, 1);
        EnCommStation(9, 0);
        RW_VAR shown = holding(1000).count(100).data(QByteArray(200, '\x11'));
        WriteDataToLocal(&shown);
        shown = coil(1000).count(100).data(QByteArray(13, '\x11'));
        WriteDataToLocal(&shown);
    }

    ~BusyPanel() { renewDriver(); }
    BusyPanel(const BusyPanel &) = delete;
    BusyPanel &operator=(const BusyPanel &) = delete;

    /// Sets the option word and lets the driver decode it.
    void setOptions(quint32 options)
    {
        info.options = options;
        SetComInfo(&info);
    }

    /// Makes @p write the next that is served.
    static void writeNext(const RW_VAR &write) { PLC_driver.writeList.prepend(write); }
    /// The writes, and here the one-shot reads as well, have had their turn.
    static void readOnceNext() { PLC_driver.writeBurst = 5; }
    static void readCyclicallyNext() { PLC_driver.writeBurst = PLC_driver.onceBurst = 5; }

    /// Asks for a request and keeps the reply of its station in #reply, with @p noise in front.
    void exchange(const char *noise = "")
    {
        const Protocol *const head = ComCommunication(0);
        reply = hex(noise) + stations.answer(head->frame.left(head->sendLen));
    }

    /// The same up to the reply that is found but not handled yet.
    void find(const char *noise = "")
    {
        exchange(noise);
        hear();
    }

    /// Hands #reply to the driver. True when the driver gave its record.
    bool hear() { return DataCom(&reply, reply.size()) == &PLC_driver.retVar; }

    /// What is wrong with the driver now that there is memory again; empty when nothing is.
    std::string complaint()
    {
        for (QMutex *mutex : {&PLC_driver.listMutex, &PLC_driver.cacheMutex, &PLC_driver.stationMutex}) {
            if (!mutex->tryLock())
                return "a lock is held";
            mutex->unlock();
        }
        // The C library has lost the time zone that it keeps, too, and gets it back here.
        customMessageHandler(QtDebugMsg, "enough memory");
        endRelay();
        for (int i = 0; i < 500 && isBusy(); ++i)
            turn();
        if (isBusy())
            return "the lists do not become empty";
        if (!isWriteCarriedOut())
            return "a write does not reach its station, or is not reported once";
        if (!isReadCyclically())
            return "cyclic reads do not bring the stations' values";
        if (!std::all_of(stations.taken().begin(), stations.taken().end(), isOrdered))
            return "a station took a value that nobody ordered";
        if (!isDoneWhatWasToldDone())
            return "a write was told as done that its station has not taken";
        return std::string();
    }

    /// One transaction from its choice to its end, if there is anything to do.
    void turn()
    {
        const Protocol *const head = ComCommunication(0);
        if (!head)
            return;
        reply = stations.answer(head->frame.left(head->sendLen));
        hear();
        hear();
    }

private:
    static constexpr int kReads = 12;

    std::vector<unsigned short> words_;

    static int addressOf(int read) { return 20 * read; }
    static int valueOf(int read) { return 0x4001 + 0x0101 * read; }

    /// Lets a station have a value, as if it had always had it.
    void put(int station, int address, int value)
    {
        QByteArray write;
        for (const int byte : {station, 6, address >> 8, address & 0xFF, value >> 8, value & 0xFF})
            write.append(static_cast<char>(byte));
        stations.answer(write);
    }

    static bool isBusy()
    {
        return !PLC_driver.sendQueue.isEmpty() || !PLC_driver.writeList.isEmpty() ||
               !PLC_driver.onceReadList.isEmpty();
    }

    /// Nobody answers relay frames: what is on its way fails.
    void endRelay()
    {
        for (int i = 0; i < 10 && info.linkMode != 0 && !PLC_driver.sendQueue.isEmpty(); ++i) {
            reply.clear();
            hear();
        }
        info.linkMode = 0;
    }

    bool isWriteCarriedOut()
    {
        info.writeMode = 2;
        QByteArray value = hex("9210");
        SetRegisterData(QString(), 5, text("900"), 1, &value, 1, 70, 1);
        for (int i = 0; i < 20; ++i)
            turn();
        return stations.holdingRegister(1, 900) == 0x1092 &&
               std::count(told.begin(), told.end(), Outcome{77, 70, 1, kOutcomeDone}) == 1;
    }

    bool isReadCyclically()
    {
        constexpr int kReadsOfNoLevel = 8;
        if (ReCreatReadVarList(variables.records()) != kReadsOfNoLevel)
            return false;
        PLC_driver.registerCache.clear();
        for (int i = 0; i < 60; ++i)
            turn();
        for (int i = 0; i < kReads; ++i) {
            QByteArray value;
            GetRegisterData(QString(), 5, QString::number(addressOf(i)), 1, &value, 1);
            if (value.size() != 2 || value.at(0) != static_cast<char>(valueOf(i) & 0xFF) ||
                value.at(1) != static_cast<char>(valueOf(i) >> 8))
                return false;
        }
        return true;
    }

    bool isDoneWhatWasToldDone() const
    {
        return std::all_of(told.begin(), told.end(), [this](const Outcome &one) {
            if (one.outcome != kOutcomeDone)
                return true;
            if (one.hostId == 4)
                return (stations.holdingRegister(2, 50) & 8) != 0;
            if (one.hostId == 1 && one.hostSubId == 1)
                return stations.holdingRegister(1, 300) == 0x1111;
            return one.hostId != 1 || one.hostSubId != 2 || stations.holdingRegister(1, 301) == 0x2222;
        });
    }

    static bool isOrdered(const Taken &taken)
    {
        switch (taken.address) {
        case 50: // bits 3 and 5 are set in some tests
            return taken.station == 2 && (taken.value & ~0x28) == 0x1200;
        case 300:
            return taken.value == 0x1111;
        case 301:
            return taken.value == 0x2222;
        case 302: // where the station has been switched on
            return taken.value == 0x3333;
        case 900:
            return taken.value == 0x1092;
        default:
            return taken.value == 0x5A5A ||
                   (taken.address % 20 == 0 && taken.value == valueOf(taken.address / 20));
        }
    }

public:
    COM_INFO info;
    Stations stations;
    VariableTable variables;
    VariableTable others;
    QByteArray reply;
    QByteArray data = QByteArray(100, '\x5A'); ///< values to write
    QByteArray out;
    QList<RW_VAR> bucket;
    QList<RW_VAR> list;
    QHash<QString, RW_VAR> records;
    NameTable names;
    RW_VAR var;
    QString typed; ///< an address text
};

/// A call of the runtime with short memory, what must be so before it, and what the interface promises of it.
struct Deed
{
    const char *name;
    std::function<void(BusyPanel &)> prepare;
    std::function<int(BusyPanel &)> call;
    std::function<bool(BusyPanel &, int)> isAsPromised; ///< told the result of the call
};

void PrintTo(const Deed &deed, std::ostream *out)
{
    *out << deed.name;
}

std::string nameOfDeed(const ::testing::TestParamInfo<Deed> &deed)
{
    return deed.param.name;
}

void prepareNothing(BusyPanel &) {}

RW_VAR bitOfRegister50()
{
    return holdingBit(50 * 16 + 3).station(2).ids(4, 1).data("01");
}

int ask(BusyPanel &)
{
    return ComCommunication(0) ? 1 : 0;
}

/// A request that is given is whole; none that is not given seems to be on its way.
bool isWholeOrNothing(BusyPanel &panel, int given)
{
    if (given == 0)
        return PLC_driver.sendQueue.isEmpty() && PLC_driver.readList.first().status == kIdle;
    const QByteArray &frame = PLC_driver.sendQueue.first().frame;
    const int size = frame.size();
    if (PLC_driver.sendQueue.first().sendLen != size || size < 8)
        return false;
    if (panel.info.linkMode != 0)
        return static_cast<unsigned char>(frame.at(0)) == size;
    const int last = static_cast<unsigned char>(frame.at(size - 1));
    return last * 256 + static_cast<unsigned char>(frame.at(size - 2)) == witnessCrc(frame.left(size - 2));
}

Deed asking(const char *name, std::function<void(BusyPanel &)> prepare)
{
    return {name, std::move(prepare), ask, isWholeOrNothing};
}

bool isDone(BusyPanel &, int done)
{
    return done != 0;
}

Deed hearing(const char *name, std::function<void(BusyPanel &)> prepare)
{
    return {name, std::move(prepare), [](BusyPanel &panel) { return panel.hear() ? 1 : 0; }, isDone};
}

std::vector<Deed> callsOfTheCycle()
{
    return {
        asking("ComCommunicationAsksForAWrite", prepareNothing),
        asking("ComCommunicationAsksForAWriteOfManyRegisters",
               [](BusyPanel &panel) { panel.writeNext(holding(2000).count(10).data(panel.data.left(20))); }),
        asking(
            "ComCommunicationAsksForAWriteOfPairs",
            [](BusyPanel &panel) { panel.writeNext(holdingPair(2000).count(2).data(panel.data.left(8))); }),
        asking("ComCommunicationAsksForAWriteOfCoils",
               [](BusyPanel &panel) { panel.writeNext(coil(2000).count(80).data(panel.data.left(10))); }),
        asking("ComCommunicationAsksForABitOfARegister",
               [](BusyPanel &panel) { panel.writeNext(bitOfRegister50()); }),
        asking("ComCommunicationAsksForABitFromTheMirror",
               [](BusyPanel &panel) {
                   panel.setOptions(1u << 4);
                   RW_VAR shown = holding(50).station(2).data("0012");
                   WriteDataToLocal(&shown);
                   panel.writeNext(bitOfRegister50());
               }),
        asking("ComCommunicationAsksForAOneShotRead", [](BusyPanel &panel) { panel.readOnceNext(); }),
        asking("ComCommunicationAsksForACyclicRead", [](BusyPanel &panel) { panel.readCyclicallyNext(); }),
        asking("ComCommunicationAsksForAReadOfALevel",
               [](BusyPanel &panel) {
                   panel.readCyclicallyNext();
                   PLC_driver.priorityClocks[1].due = true;
               }),
        asking("ComCommunicationAsksForARelayedWrite",
               [](BusyPanel &panel) {
                   panel.info.linkMode = 1;
                   panel.writeNext(holding(2000).count(10).data(panel.data.left(20)));
               }),
        asking("ComCommunicationAsksForARelayedRead",
               [](BusyPanel &panel) {
                   panel.info.linkMode = 1;
                   panel.readCyclicallyNext();
               }),
        hearing("DataComFindsAReply",
                [](BusyPanel &panel) {
                    panel.readCyclicallyNext();
                    panel.exchange();
                }),
        hearing("DataComFindsAReplyInNoise",
                [](BusyPanel &panel) {
                    panel.readCyclicallyNext();
                    panel.exchange("FF 01 03 FF FF");
                }),
        hearing("DataComStoresRegistersThatAreNew",
                [](BusyPanel &panel) {
                    PLC_driver.onceReadList.prepend(holding(3000).count(100).ids(5, 1));
                    panel.readOnceNext();
                    panel.find();
                }),
        hearing("DataComStoresRegistersThatAreKnown",
                [](BusyPanel &panel) {
                    PLC_driver.onceReadList.prepend(holding(1000).count(100).ids(5, 1));
                    panel.readOnceNext();
                    panel.find();
                }),
        hearing("DataComStoresCoilsThatAreNew",
                [](BusyPanel &panel) {
                    PLC_driver.onceReadList.prepend(coil(3000).count(100).ids(5, 1));
                    panel.readOnceNext();
                    panel.find();
                }),
        hearing("DataComEndsACyclicRead",
                [](BusyPanel &panel) {
                    panel.readCyclicallyNext();
                    panel.find();
                }),
        hearing("DataComEndsAWrite", [](BusyPanel &panel) { panel.find(); }),
        hearing("DataComEndsAWriteWithoutReply",
                [](BusyPanel &panel) {
                    panel.setOptions(1u << 9);
                    panel.writeNext(Variable(8, 2000).data("5A5A"));
                    panel.exchange();
                    panel.reply.clear();
                }),
        hearing("DataComFillsABitIn",
                [](BusyPanel &panel) {
                    panel.writeNext(bitOfRegister50());
                    panel.find();
                }),
        hearing("DataComFillsABitInAFrameThatTheRuntimeKeeps",
                [](BusyPanel &panel) {
                    panel.writeNext(bitOfRegister50());
                    panel.find();
                    panel.out = PLC_driver.sendQueue.last().frame;
                }),
        hearing("DataComEndsABitOfARegister",
                [](BusyPanel &panel) {
                    panel.writeNext(bitOfRegister50());
                    panel.find();
                    panel.hear();
                    panel.find();
                }),
        hearing("DataComGivesAWriteUp",
                [](BusyPanel &panel) {
                    panel.info.retryLimit = 0;
                    panel.exchange();
                    panel.reply.clear();
                }),
        hearing("DataComGivesABitUp",
                [](BusyPanel &panel) {
                    panel.info.retryLimit = 0;
                    panel.writeNext(bitOfRegister50());
                    panel.exchange();
                    panel.reply.clear();
                }),
        hearing("DataComGivesACyclicReadUp",
                [](BusyPanel &panel) {
                    panel.info.retryLimit = 0;
                    panel.readCyclicallyNext();
                    panel.exchange();
                    panel.reply.clear();
                }),
        hearing("DataComHearsNothing",
                [](BusyPanel &panel) {
                    panel.exchange();
                    panel.reply.clear();
                }),
        hearing("DataComEndsARelayedRead",
                [](BusyPanel &panel) {
                    panel.info.linkMode = 1;
                    PLC_driver.onceReadList.prepend(holding(3000).linkId(7));
                    panel.readOnceNext();
                    panel.exchange();
                    panel.reply = withCrc("01 03 02 5A5A");
                }),
    };
}

Deed getting(const char *name, int regType, const char *typed, int bytes)
{
    const QString address = text(typed);
    return {name, prepareNothing,
            [=](BusyPanel &panel) { return GetRegisterData(QString(), regType, address, 1, &panel.out, 20); },
            [=](BusyPanel &panel, int result) {
                return result == 1 ? panel.out.size() == bytes : panel.out.isEmpty();
            }};
}

Deed setting(const char *name, int regType, const char *typed, int station, int count,
             std::function<void(BusyPanel &)> prepare = prepareNothing)
{
    const QString address = text(typed);
    return {name,
            [prepare, regType](BusyPanel &panel) {
                if (regType == 0 || regType == 3)
                    panel.data = hex("01 00 01 00 01 00 01 00 01 00 01 00 01 00 01 00 01 00 01 00");
                prepare(panel);
            },
            [=](BusyPanel &panel) {
                return SetRegisterData(address, regType, address, station, &panel.data, count, 6, 1);
            },
            [](BusyPanel &, int result) { return result == 0 || result == PLC_driver.writeList.size(); }};
}

void showOnly(BusyPanel &panel)
{
    panel.info.writeMode = 0;
}

void failBefore(BusyPanel &)
{
    PLC_driver.failed.store(true);
}

std::vector<Deed> callsForData()
{
    return {
        getting("GetRegisterDataOfCoils", 0, "1000", 20),
        getting("GetRegisterDataOfBitsInRegisters", 3, "1000.3", 20),
        getting("GetRegisterDataOfRegisters", 5, "1000", 40),
        getting("GetRegisterDataOfPairs", 7, "1000", 40),
        {"GetRegisterDataOfABadAddress", [](BusyPanel &panel) { panel.typed = text("x"); },
         [](BusyPanel &panel) { return GetRegisterData(QString(), 5, panel.typed, 1, &panel.out, 20); },
         [](BusyPanel &panel, int result) {
             return result == 0 && (panel.out.isEmpty() || panel.out == QByteArray(40, '\0'));
         }},
        setting("SetRegisterDataOfCoils", 0, "2000", 1, 20),
        setting("SetRegisterDataOfSingleCoils", 0, "2000", 1, 4,
                [](BusyPanel &panel) { panel.setOptions(1u << 6); }),
        setting("SetRegisterDataOfBitsInRegisters", 3, "50.3", 2, 3),
        setting("SetRegisterDataOfRegisters", 5, "2000", 1, 25),
        setting("SetRegisterDataOfSingleRegisters", 5, "2000", 1, 4,
                [](BusyPanel &panel) { panel.setOptions(1u << 5); }),
        setting("SetRegisterDataOfPairs", 7, "2000", 1, 24),
        setting("SetRegisterDataOfType8", 8, "2000", 1, 3),
        setting("SetRegisterDataAfterAFailure", 5, "2000", 1, 25, failBefore),
        setting("SetRegisterDataShowsCoils", 0, "2000", 1, 20, showOnly),
        setting("SetRegisterDataShowsBitsInRegisters", 3, "50.3", 2, 3, showOnly),
        setting("SetRegisterDataShowsRegisters", 5, "2000", 1, 25, showOnly),
        setting("SetRegisterDataShowsPairs", 7, "2000", 1, 24, showOnly),
    };
}

/// A call whose result is @p length or, when it is refused, 0.
bool isLengthOrRefused(const QList<RW_VAR> &list, int result)
{
    return result == 0 || result == list.size();
}

/// A list of 12 requests of which the levels have 4, or nothing.
bool isRebuiltOrEmpty(BusyPanel &, int result)
{
    return result == PLC_driver.readList.size() && (result == 8 || result == 0);
}

bool isLengthOfReadsOrRefused(BusyPanel &, int result)
{
    return isLengthOrRefused(PLC_driver.readList, result);
}

bool isLengthOfWritesOrRefused(BusyPanel &, int result)
{
    return isLengthOrRefused(PLC_driver.writeList, result);
}

bool isLengthOfOnceReadsOrRefused(BusyPanel &, int result)
{
    return isLengthOrRefused(PLC_driver.onceReadList, result);
}

Deed parsing(const char *name, int regType, const char *typed, int number)
{
    const QString address = text(typed);
    return {name, prepareNothing, [=](BusyPanel &) { return PLCAddressChangeIntef(regType, address); },
            [=](BusyPanel &, int result) { return result == number || result == -1; }};
}

/// A call without a result.
template <typename Call>
Deed calling(const char *name, Call call)
{
    return {name, prepareNothing, [call](BusyPanel &panel) { return call(panel), 1; }, isDone};
}

std::vector<Deed> callsForVariables()
{
    return {
        {"ReCreatReadVarList", prepareNothing,
         [](BusyPanel &panel) { return ReCreatReadVarList(panel.variables.records()); }, isRebuiltOrEmpty},
        {"ReCreatReadVarListOfAllAreas",
         [](BusyPanel &panel) {
             panel.others.add(0, "5", 30)
                 .add(1, "7", 100, 2)
                 .add(2, "3.5", 40, 3)
                 .add(4, "9")
                 .add(6, "11", 7);
         },
         [](BusyPanel &panel) { return ReCreatReadVarList(panel.others.records()); },
         isLengthOfReadsOrRefused},
        {"PassVarName",
         [](BusyPanel &panel) { panel.names.add(1, "4x_bit5000.3").add(2, "0x8000").add(4, "3x_d6000"); },
         [](BusyPanel &panel) { return PassVarName(panel.names.rows()), 1; }, isDone},
        parsing("PLCAddressChangeIntefOfABit", 3, "12.3", 195),
        parsing("PLCAddressChangeIntefOfANumberWithBlanks", 5, " 12 ", 12),
        {"AddListReadVar", [](BusyPanel &panel) { panel.var = holding(500); },
         [](BusyPanel &panel) { return AddListReadVar(&panel.var); }, isLengthOfReadsOrRefused},
        {"AddListWriteVarAppends", [](BusyPanel &panel) { panel.var = holding(2000).data("5A5A"); },
         [](BusyPanel &panel) { return AddListWriteVar(&panel.var, 1); }, isLengthOfWritesOrRefused},
        {"AddListWriteVarReplaces", [](BusyPanel &panel) { panel.var = holding(301).data("2222"); },
         [](BusyPanel &panel) { return AddListWriteVar(&panel.var, 0); }, isLengthOfWritesOrRefused},
        {"AddListOnceReadVarAppends", [](BusyPanel &panel) { panel.var = holding(500).ids(5, 1); },
         [](BusyPanel &panel) { return AddListOnceReadVar(&panel.var, 1); }, isLengthOfOnceReadsOrRefused},
        {"AddListOnceReadVarSplits",
         [](BusyPanel &panel) { panel.var = Variable(2, 0).text("500.7").count(400).ids(5, 1); },
         [](BusyPanel &panel) { return AddListOnceReadVar(&panel.var, 0); }, isLengthOfOnceReadsOrRefused},
        calling("EnCommStationOff", [](BusyPanel &) { EnCommStation(8, 0); }),
        calling("EnCommStationOn", [](BusyPanel &) { EnCommStation(9, 1); }),
        calling("EnableEthernetOnForAll", [](BusyPanel &) { EnableEthernet(-1, 1); }),
    };
}

int checksums(BusyPanel &)
{
    unsigned char bytes[] = {1, 2};
    return CalCRC(bytes, 2) == 0xE181 && CalSUM(bytes, 2) == 3 && CalLRC(bytes, 2) == 0xFD &&
                   CalXOR(bytes, 2) == 3 && DigitalToASCII(1) == '1' && ASCIIToDigital('1') == 1
               ? 1
               : 0;
}

std::vector<Deed> otherCalls()
{
    return {
        calling("SetComInfo", [](BusyPanel &panel) { SetComInfo(&panel.info); }),
        calling("RegistCallBackFuncIntf", [](BusyPanel &) { RegistCallBackFuncIntf(tell, ignoreFailure); }),
        calling("FlashLocalRegister", [](BusyPanel &) { FlashLocalRegister(nullptr, nullptr, nullptr); }),
        {"QueryFinishFlag", prepareNothing, [](BusyPanel &) { return QueryFinishFlag(); }, isDone},
        {"Checksums", prepareNothing, checksums, isDone},
        calling("customMessageHandler", [](BusyPanel &) { customMessageHandler(QtDebugMsg, "x"); }),
        {"BitVarReCreat_2", [](BusyPanel &panel) { panel.bucket << holding(10).count(9) << holding(20); },
         [](BusyPanel &panel) { return BitVarReCreat_2(&panel.bucket, 5, panel.list), 1; },
         [](BusyPanel &panel, int) { return panel.list.size() <= 3 && panel.bucket.size() == 2; }},
        {"BitVarReCreat",
         [](BusyPanel &panel) {
             PLC_driver.readList.clear();
             panel.bucket << holding(10).count(9) << holding(20);
         },
         [](BusyPanel &panel) { return BitVarReCreat(&panel.bucket, 5), 1; },
         [](BusyPanel &panel, int) { return PLC_driver.readList.size() <= 3 && panel.bucket.size() == 2; }},
        {"Bubble_Sort", [](BusyPanel &panel) { panel.bucket << holding(20) << holding(10); },
         [](BusyPanel &panel) { return Bubble_Sort(&panel.bucket), 1; },
         [](BusyPanel &panel, int) {
             return panel.bucket.size() == 2 &&
                    panel.bucket.first().address + panel.bucket.last().address == 30;
         }},
        {"WhetherGroup", [](BusyPanel &panel) { panel.var = holding(10); },
         [](BusyPanel &panel) { return WhetherGroup(250, 100, &panel.var, &panel.list), 1; },
         [](BusyPanel &panel, int) { return panel.var.address == (panel.list.size() == 3 ? 210 : 10); }},
        {"speed_insert",
         [](BusyPanel &panel) {
             panel.records.insert(text("old"), holding(1));
             panel.typed = text("new");
         },
         [](BusyPanel &panel) { return speed_insert(panel.typed, panel.var, panel.records); },
         [](BusyPanel &panel, int result) { return result == (panel.records.size() == 2 ? 0 : 1); }},
    };
}

std::vector<Deed> allCalls()
{
    std::vector<Deed> all;
    for (const std::vector<Deed> &some :
         {callsOfTheCycle(), callsForData(), callsForVariables(), otherCalls()})
        all.insert(all.end(), some.begin(), some.end());
    return all;
}

/// What one attempt came to.
struct Attempt
{
    bool ranOut = false; ///< otherwise the call needs fewer allocations than that
    int kept = 0;        ///< blocks that nobody gave back
    std::string complaint;
};

/// A whole morning with short memory: variables, orders, and 40 turns of the cycle.
Attempt spendAMorning(int first, Shortage shortage)
{
    Attempt result;
    const int before = heldBlocks();
    {
        BusyPanel panel;
        panel.names.add(3, "4x5000");
        panel.typed = text("2000");
        panel.var = holding(0).text("500").count(35).ids(5, 1);
        panel.writeNext(bitOfRegister50());
        ScarceMemory memory(first, shortage);
        memory.during([&] {
            PassVarName(panel.names.rows());
            ReCreatReadVarList(panel.variables.records());
            SetRegisterData(QString(), 5, panel.typed, 1, &panel.data, 25, 6, 1);
            AddListOnceReadVar(&panel.var, 0);
        });
        for (int i = 0; i < 40; ++i) {
            const Protocol *const head = memory.during([] { return ComCommunication(0); });
            if (head)
                panel.reply = panel.stations.answer(head->frame.left(head->sendLen));
            memory.during([&] {
                panel.hear();
                panel.hear();
                GetRegisterData(QString(), 5, panel.typed, 1, &panel.out, 25);
            });
        }
        result.ranOut = ScarceMemory::ranOut();
        result.complaint = panel.complaint();
    }
    result.kept = heldBlocks() - before;
    return result;
}

Attempt attempt(const Deed &deed, int first, Shortage shortage)
{
    Attempt result;
    const int before = heldBlocks();
    {
        BusyPanel panel;
        deed.prepare(panel);
        ScarceMemory memory(first, shortage);
        const int given = memory.during([&] { return deed.call(panel); });
        result.ranOut = ScarceMemory::ranOut();
        result.complaint =
            deed.isAsPromised(panel, given) ? panel.complaint() : "the interface promises another result";
    }
    result.kept = heldBlocks() - before;
    return result;
}

/// Lets each allocation fail in turn, until an attempt needs fewer.
template <typename Try>
void failEach(Shortage shortage, Try tryWith)
{
    const OwnLogFile logFile;
    told.reserve(1000);
    tryWith(0, shortage); // whatever is made once in a process is there from here on
    constexpr int kMost = 10000;
    int first = 0;
    for (bool ranOut = true; ranOut && first < kMost;) {
        ++first;
        SCOPED_TRACE(first);
        const Attempt result = tryWith(first, shortage);
        ASSERT_EQ("", result.complaint);
        ASSERT_EQ(0, result.kept) << "blocks were not given back";
        ranOut = result.ranOut;
    }
    ASSERT_LT(first, kMost);
    ::testing::Test::RecordProperty("allocations", first - 1);
}

class ShortMemory : public ::testing::TestWithParam<Deed>
{
protected:
    static void failEachAllocation(Shortage shortage)
    {
        failEach(shortage, [](int first, Shortage how) { return attempt(GetParam(), first, how); });
    }
};

template <typename Body>
void withoutMemory(Body body)
{
    ScarceMemory none(1);
    none.during(body);
}

} // namespace

TEST_P(ShortMemory, ForAnyOneAllocationDoesNoHarm)
{
    failEachAllocation(Shortage::Once);
}

TEST_P(ShortMemory, FromAnyAllocationOnDoesNoHarm)
{
    failEachAllocation(Shortage::FromThenOn);
}

INSTANTIATE_TEST_SUITE_P(Calls, ShortMemory, ::testing::ValuesIn(allCalls()), nameOfDeed);

TEST(MemoryShortage, ForAnyOneAllocationOfAMorningDoesNoHarm)
{
    failEach(Shortage::Once, spendAMorning);
}

TEST(MemoryShortage, FromAnyAllocationOfAMorningOnDoesNoHarm)
{
    failEach(Shortage::FromThenOn, spendAMorning);
}

TEST(MemoryShortage, EndsTheGroupingOfTheCallersList)
{
    QList<RW_VAR> bucket, out;
    bucket << holding(10) << holding(20);
    withoutMemory([&] { BitVarReCreat_2(&bucket, 5, out); });
    EXPECT_EQ(0, out.size());
    BitVarReCreat_2(&bucket, 5, out);
    EXPECT_EQ(2, out.size());
}

TEST(MemoryShortage, EndsTheSplitOfAVariable)
{
    QList<RW_VAR> out;
    RW_VAR var = holding(10);
    withoutMemory([&] { WhetherGroup(250, 100, &var, &out); });
    withoutMemory([&] { WhetherGroup(1, 100, &var, &out); });
    EXPECT_EQ(0, out.size());
    EXPECT_EQ(10, var.address);
}

TEST(MemoryShortage, LeavesAKeyUninserted)
{
    QHash<QString, RW_VAR> records;
    const QString key = QString::fromLatin1("key");
    const RW_VAR var = holding(1);
    int result = 0;
    withoutMemory([&] { result = speed_insert(key, var, records); });
    EXPECT_EQ(1, result);
    EXPECT_EQ(0, records.size());
    EXPECT_EQ(0, speed_insert(key, var, records));
}

} // namespace plc::test
