// count_operations: carries out one operation of the driver a number of times, for counting its instructions.
//
//   count_operations OPERATION TIMES
//
// OPERATION is one of
//   read-100   cyclic read of 100 holding registers: ComCommunication and both calls of DataCom
//   read-1     the same for one register
//   get-100    GetRegisterData of 100 holding registers into a byte array of its own
//
// Two runs under callgrind, one with TIMES doubled, differ by the instructions of TIMES operations; loading
// and set-up cancel out. scripts/bench does that. The program uses the shared library, as a runtime does.
// Exit codes: 0 every operation succeeded, 1 one did not, 2 wrong usage.

#include <cstdio>
#include <cstdlib>
#include <cstring>

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
    for (long i = 0; i < times; ++i) {
        QByteArray out;
        const int parsed =
            GetRegisterData(name, plc::kHoldingRegister, address, plc::bench::kStation, &out, registers);
        if (parsed != 1 || out.size() != 2 * registers || out.at(2) == 0)
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
    std::fprintf(stderr, "count_operations: unknown operation '%s'; say read-100, read-1 or get-100\n",
                 operation);
    std::exit(2);
}

} // namespace

int main(int argc, char **argv)
{
    const long times = argc == 3 ? std::strtol(argv[2], nullptr, 10) : 0;
    if (times < 1) {
        std::fprintf(stderr, "usage: count_operations read-100|read-1|get-100 TIMES\n");
        return 2;
    }
    plc::bench::setUpLink();
    if (carryOut(argv[1], times))
        return 0;
    std::fprintf(stderr, "count_operations: an operation of '%s' failed\n", argv[1]);
    return 1;
}
