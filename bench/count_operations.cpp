// count_operations: carries out one operation of the driver a number of times, for counting its instructions.
//
//   count_operations OPERATION TIMES
//
// OPERATION is one of
//   read-100   cyclic read of 100 holding registers: ComCommunication and both calls of DataCom
//   read-1     the same for one register
//   get-100    GetRegisterData of 100 holding registers into the byte array of the call before
//   write-1    write of one holding register with its echo: SetRegisterData and the calls of the cycle
//   rebuild    ReCreatReadVarList of 10,000 variables, handed over scattered over every second register
//
// Two runs under callgrind, one with TIMES doubled, differ by the instructions of TIMES operations; loading
// and set-up cancel out. scripts/bench does that. The program uses the shared library, as a runtime does.
// Exit codes: 0 every operation succeeded, 1 one did not, 2 wrong usage.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "bench_link.h"

namespace {

bool readCyclically(int registers, long times)
{
    plc::bench::CyclicRead read(plc::kHoldingRegister, registers);
    for (long i = 0; i < times; ++i) {
        if (!read.serveNext())
            return false;
    }
    return true;
}

bool getValues(int registers, long times)
{
    const plc::bench::CyclicRead mirrored(plc::kHoldingRegister, registers, 1);
    const QString name = QStringLiteral("value");
    const QString address = QStringLiteral("0");
    QByteArray out;
    for (long i = 0; i < times; ++i) {
        const int parsed =
            GetRegisterData(name, plc::kHoldingRegister, address, plc::bench::kStation, &out, registers);
        if (parsed != 1 || out.size() != 2 * registers || out.at(2) == 0)
            return false;
    }
    return true;
}

bool writeOne(long times)
{
    const QString name = QStringLiteral("value");
    const QString address = QStringLiteral("100");
    QByteArray value(2, '\0');
    QByteArray echo; // what was received, in the runtime's own buffer
    for (long i = 0; i < times; ++i) {
        value[0] = static_cast<char>(i);
        if (SetRegisterData(name, plc::kHoldingRegister, address, plc::bench::kStation, &value, 1, 7, 0) != 1)
            return false;
        // Five writes in a row make the driver look for cyclic reads once.
        const Protocol *request = plc::bench::nextRequest();
        if (request == nullptr)
            return false;
        echo.replace(0, echo.size(), request->frame.constData(), request->frame.size());
        const bool accepted = DataCom(&echo, echo.size())->status == plc::kResultDone;
        if (!accepted || DataCom(&echo, echo.size())->status != plc::kResultDone)
            return false;
    }
    return true;
}

bool rebuildReads(long times)
{
    constexpr int kVariables = 10000;
    constexpr int kPrime = 7919; // so that every place comes once
    std::vector<HostVariable> variables(kVariables);
    QList<HostVariable *> list;
    for (int i = 0; i < kVariables; ++i) {
        HostVariable &variable = variables[static_cast<std::size_t>(i)];
        variable.regType = plc::kHoldingRegister;
        variable.station = plc::bench::kStation;
        variable.addrText = QString::number(2 * (kPrime * i % kVariables));
        variable.varName = QStringLiteral("variable");
        variable.count = 1;
        list.append(&variable);
    }
    for (long i = 0; i < times; ++i) {
        if (ReCreatReadVarList(&list) != kVariables / 50)
            return false;
    }
    return true;
}

bool carryOut(const char *operation, long times)
{
    if (std::strcmp(operation, "read-100") == 0)
        return readCyclically(100, times);
    if (std::strcmp(operation, "read-1") == 0)
        return readCyclically(1, times);
    if (std::strcmp(operation, "get-100") == 0)
        return getValues(100, times);
    if (std::strcmp(operation, "write-1") == 0)
        return writeOne(times);
    if (std::strcmp(operation, "rebuild") == 0)
        return rebuildReads(times);
    std::fprintf(
        stderr,
        "count_operations: unknown operation '%s'; say read-100, read-1, get-100, write-1 or rebuild\n",
        operation);
    std::exit(2);
}

} // namespace

int main(int argc, char **argv)
{
    const long times = argc == 3 ? std::strtol(argv[2], nullptr, 10) : 0;
    if (times < 1) {
        std::fprintf(stderr, "usage: count_operations read-100|read-1|get-100|write-1|rebuild TIMES\n");
        return 2;
    }
    plc::bench::setUpLink();
    if (carryOut(argv[1], times))
        return 0;
    std::fprintf(stderr, "count_operations: an operation of '%s' failed\n", argv[1]);
    return 1;
}
