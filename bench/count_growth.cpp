// count_growth: carries out one operation on lists of a given size, for counting how its cost grows.
//
//   count_growth OPERATION SIZE TIMES
//   count_growth memory SIZE
//
// OPERATION is one of
//   rebuild         ReCreatReadVarList of SIZE variables at every second register, 10,000 a station
//   rebuild-station the same of 20 variables, five in each area, on each of SIZE stations
//   rebuild-block   the same of 1,000 registers side by side in blocks of at most SIZE
//   read            cyclic read of one register, one of SIZE that come round, each of a station of its own
//   read-off        the same where every station but one is switched off
//   read-block      cyclic read of SIZE registers
//   write           SetRegisterData and its request and echo, with SIZE writes pending
//   replace         SetRegisterData of a value that replaces the newest of SIZE pending writes
//   fail            filling the write list with SIZE writes of two operations by turns; the first fails,
//                   which takes others along, then the list is emptied
//   fill            the same without the failure: what to take off
//   each            SetRegisterData of SIZE registers that go out one a request, then the same once more,
//                   which replaces the values in the list; then the list is emptied
//   split           AddListOnceReadVar of a variable that makes SIZE requests; the list is emptied
//
// Two runs under callgrind, one with TIMES doubled, differ by the instructions of TIMES operations. 'memory'
// prints "requests R held H most M": the requests of 'rebuild', the bytes that the driver has asked for and
// keeps, and the most that it had at any time. scripts/bench --growth makes the tables of docs/performance.md
// of all that. Exit codes: 0 every operation succeeded, 1 one did not, 2 wrong usage.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "bench_link.h"
#include "heap_watch.h"

namespace {

using plc::bench::nextRequest;

/// The runtime's table of variables.
class Variables
{
public:
    explicit Variables(int most) { owned_.reserve(static_cast<std::size_t>(most)); }

    void add(int regType, int address, int station)
    {
        owned_.emplace_back();
        HostVariable &variable = owned_.back();
        variable.regType = static_cast<quint8>(regType);
        variable.station = static_cast<quint8>(station);
        variable.addrText = QString::number(address);
        variable.varName = name_;
        variable.count = 1;
        records_.append(&variable);
    }

    QList<HostVariable *> *records() { return &records_; }

private:
    const QString name_ = QStringLiteral("variable");
    std::vector<HostVariable> owned_;
    QList<HostVariable *> records_;
};

constexpr int kPerStation = 10000;

Variables scattered(int size)
{
    Variables variables(size);
    for (int i = 0; i < size; ++i) {
        const int first = i / kPerStation * kPerStation;
        const int here = size - first < kPerStation ? size - first : kPerStation;
        // 7919 is a prime, so every place comes once.
        const int place = static_cast<int>(7919LL * (i - first) % here);
        variables.add(plc::kHoldingRegister, 2 * place, 1 + first / kPerStation);
    }
    return variables;
}

bool rebuild(Variables variables, int expected, long times)
{
    for (long i = 0; i < times; ++i) {
        if (ReCreatReadVarList(variables.records()) != expected)
            return false;
    }
    return true;
}

int requestsOfScattered(int size)
{
    int requests = 0;
    for (; size > kPerStation; size -= kPerStation)
        requests += kPerStation / 50;
    return requests + (size + 49) / 50;
}

bool rebuildStations(int stations, long times)
{
    const int areas[] = {plc::kCoil, plc::kDiscreteInput, plc::kInputRegister, plc::kHoldingRegister};
    Variables variables(20 * stations);
    for (int i = 0; i < 20; ++i) {
        for (int station = stations; station >= 1; --station)
            variables.add(areas[i % 4], 7 * i % 5 * 10, station);
    }
    return rebuild(variables, 4 * stations, times);
}

bool rebuildBlocks(COM_INFO &settings, int block, long times)
{
    constexpr int kRegisters = 1000;
    settings.maxBlock = block;
    Variables variables(kRegisters);
    for (int i = 0; i < kRegisters; ++i)
        variables.add(plc::kHoldingRegister, static_cast<int>(7919LL * i % kRegisters), 1);
    return rebuild(variables, (kRegisters + block - 1) / block, times);
}

/// Answers the next request as its station. @p write says which kind of request it is.
bool answer(bool write)
{
    const Protocol *const request = nextRequest();
    if (request == nullptr)
        return false;
    QByteArray reply = write ? plc::bench::writeReply(request->frame) : QByteArray();
    if (!write) {
        reply = plc::bench::readReply(plc::kHoldingRegister, request->var.count, 1000);
        reply[0] = request->frame.at(0);
        reply = plc::bench::withCrc(reply.left(reply.size() - 2));
    }
    const bool found = DataCom(&reply, reply.size())->status == plc::kResultDone;
    return DataCom(&reply, reply.size())->status == plc::kResultDone && found;
}

bool readStations(int stations, bool onlyOne, long times)
{
    for (int station = 1; station <= stations; ++station) {
        RW_VAR var = plc::bench::variable(plc::kHoldingRegister, 0, 1);
        var.station = station;
        AddListReadVar(&var);
        if (onlyOne && station > 1)
            EnCommStation(station, 0);
    }
    for (long i = 0; i < times; ++i) {
        if (!answer(false))
            return false;
    }
    return true;
}

bool readBlock(int registers, long times)
{
    plc::bench::CyclicRead read(plc::kHoldingRegister, registers);
    for (long i = 0; i < times; ++i) {
        if (!read.serveNext())
            return false;
    }
    return true;
}

const QString kName = QStringLiteral("value");

/// Queues a write of register @p address.
int order(const QString &address, int hostId)
{
    static QByteArray value(2, '\x5A');
    return SetRegisterData(kName, plc::kHoldingRegister, address, plc::bench::kStation, &value, 1, hostId, 0);
}

std::vector<QString> addresses(int number)
{
    std::vector<QString> texts;
    for (int i = 0; i < number; ++i)
        texts.push_back(QString::number(i));
    return texts;
}

bool writeAmong(int pending, long times)
{
    const std::vector<QString> places = addresses(pending + 1);
    std::size_t next = 0;
    for (int i = 0; i < pending; ++i)
        order(places[next++], i);
    for (long i = 0; i < times; ++i) {
        if (order(places[next], 5000 + static_cast<int>(i)) == 0 || !answer(true))
            return false;
        next = (next + 1) % places.size();
    }
    return true;
}

bool replaceNewest(int pending, long times)
{
    const std::vector<QString> places = addresses(pending);
    for (int i = 0; i < pending; ++i)
        order(places[static_cast<std::size_t>(i)], i);
    const int expected = pending == 1 ? 2 : pending; // the first is never replaced
    order(places.back(), pending);
    for (long i = 0; i < times; ++i) {
        if (order(places.back(), pending) != expected)
            return false;
    }
    return true;
}

bool failAmong(COM_INFO &settings, int pending, bool failing, long times)
{
    settings.retryLimit = 0;
    QByteArray nothing;
    RW_VAR write = plc::bench::variable(plc::kHoldingRegister, 0, 1);
    write.direction = 1;
    write.data = QByteArray(2, '\x5A');
    for (long i = 0; i < times; ++i) {
        for (int k = 0; k < pending; ++k) {
            write.hostId = k % 2;
            AddListWriteVar(&write, 1);
        }
        if (failing && (nextRequest() == nullptr || DataCom(&nothing, 0)->status != plc::kResultNoReply))
            return false;
        if (failing && PLC_driver.writeList.size() != pending / 2)
            return false;
        PLC_driver.writeList.clear();
    }
    return true;
}

bool splitRead(COM_INFO &settings, int requests, long times)
{
    settings.maxBlock = 1;
    for (long i = 0; i < times; ++i) {
        RW_VAR var = plc::bench::variable(plc::kHoldingRegister, 0, requests);
        if (AddListOnceReadVar(&var, 0) != requests)
            return false;
        PLC_driver.onceReadList.clear();
    }
    return true;
}

bool writeEach(int registers, long times)
{
    QByteArray values(2 * registers, '\x5A');
    const QString address = QStringLiteral("0");
    for (long i = 0; i < times; ++i) {
        for (int k = 0; k < 2; ++k)
            SetRegisterData(kName, plc::kHoldingSingle, address, plc::bench::kStation, &values, registers, 0,
                            0);
        if (PLC_driver.writeList.size() < std::min(registers, 1024))
            return false;
        PLC_driver.writeList.clear();
    }
    return true;
}

int printMemory(int size)
{
    Variables variables = scattered(size);
    plc::bench::startRecording();
    const int requests = ReCreatReadVarList(variables.records());
    const std::size_t held = plc::bench::stopRecording();
    std::printf("requests %d held %zu most %zu\n", requests, held, plc::bench::mostRecorded());
    return requests == requestsOfScattered(size) ? 0 : 1;
}

bool carryOut(COM_INFO &settings, const char *operation, int size, long times)
{
    const auto is = [operation](const char *name) { return std::strcmp(operation, name) == 0; };
    if (is("rebuild"))
        return rebuild(scattered(size), requestsOfScattered(size), times);
    if (is("rebuild-station"))
        return rebuildStations(size, times);
    if (is("rebuild-block"))
        return rebuildBlocks(settings, size, times);
    if (is("read") || is("read-off"))
        return readStations(size, is("read-off"), times);
    if (is("read-block"))
        return readBlock(size, times);
    if (is("write"))
        return writeAmong(size, times);
    if (is("replace"))
        return replaceNewest(size, times);
    if (is("fail") || is("fill"))
        return failAmong(settings, size, is("fail"), times);
    if (is("each"))
        return writeEach(size, times);
    if (is("split"))
        return splitRead(settings, size, times);
    std::fprintf(stderr, "count_growth: unknown operation '%s'\n", operation);
    std::exit(2);
}

} // namespace

int main(int argc, char **argv)
{
    COM_INFO &settings = plc::bench::setUpLink();
    const int size = argc >= 3 ? std::atoi(argv[2]) : 0;
    const long times = argc == 4 ? std::strtol(argv[3], nullptr, 10) : 0;
    if (argc == 3 && std::strcmp(argv[1], "memory") == 0 && size >= 1)
        return printMemory(size);
    if (size < 1 || times < 1) {
        std::fputs("usage: count_growth OPERATION SIZE TIMES | count_growth memory SIZE\n", stderr);
        return 2;
    }
    if (carryOut(settings, argv[1], size, times))
        return 0;
    std::fprintf(stderr, "count_growth: an operation of '%s %d' failed\n", argv[1], size);
    return 1;
}
