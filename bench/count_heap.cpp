// count_heap: what the driver takes from the heap.
//
//   count_heap allocations
//       Prints "mean M most N": calls of malloc, calloc and realloc per cyclic read of 100 holding registers,
//       over 10,000 reads after the lists and the mirror have grown.
//   count_heap mirror REGISTERS
//       Reads REGISTERS holding registers (a multiple of 100, at most 65,500) into the empty mirror and
//       prints "requested R chunks C": bytes kept per register, as asked for, and as the allocator's chunks
//       with its rounding and bookkeeping.
//
// Exit codes: 0 measured, 1 an operation failed, 2 wrong usage.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bench_link.h"
#include "heap_watch.h"

namespace {

using plc::bench::allocationCount;
using plc::bench::CyclicRead;
using plc::bench::kMostRegisters;

void require(bool succeeded, const char *what)
{
    if (succeeded)
        return;
    std::fprintf(stderr, "count_heap: %s failed\n", what);
    std::exit(1);
}

void countAllocations()
{
    constexpr int kReads = 10000;
    CyclicRead read(plc::kHoldingRegister, kMostRegisters);
    std::size_t most = 0;
    const std::size_t before = allocationCount();
    for (int i = 0; i < kReads; ++i) {
        const std::size_t start = allocationCount();
        require(read.serveNext(), "a cyclic read");
        most = std::max(most, allocationCount() - start);
    }
    const auto all = static_cast<double>(allocationCount() - before);
    std::printf("mean %.2f most %zu\n", all / kReads, most);
}

void readOnce(int address, int registers, QByteArray &reply)
{
    RW_VAR var = plc::bench::variable(plc::kHoldingRegister, address, registers);
    AddListOnceReadVar(&var, 1);
    require(plc::bench::nextRequest() != nullptr, "asking for a request");
    require(DataCom(&reply, reply.size())->status == plc::kResultDone, "finding a reply");
    require(DataCom(&reply, reply.size())->status == plc::kResultDone, "storing a reply");
}

void measureMirror(int registers)
{
    QByteArray one = plc::bench::readReply(plc::kHoldingRegister, 1, 1000);
    readOnce(65535, 1, one); // the lists have their size from here on

    QByteArray reply = plc::bench::readReply(plc::kHoldingRegister, kMostRegisters, 1000);
    const std::size_t chunksBefore = plc::bench::chunkBytes();
    plc::bench::startRecording();
    for (int address = 0; address < registers; address += kMostRegisters)
        readOnce(address, kMostRegisters, reply);
    const auto requested = static_cast<double>(plc::bench::stopRecording());
    const auto chunks = static_cast<double>(plc::bench::chunkBytes() - chunksBefore);
    std::printf("requested %.1f chunks %.1f\n", requested / registers, chunks / registers);
}

} // namespace

int main(int argc, char **argv)
{
    plc::bench::setUpLink();
    if (argc == 2 && std::strcmp(argv[1], "allocations") == 0) {
        countAllocations();
        return 0;
    }
    const int registers = argc == 3 && std::strcmp(argv[1], "mirror") == 0 ? std::atoi(argv[2]) : 0;
    if (registers >= kMostRegisters && registers <= 65500 && registers % kMostRegisters == 0) {
        measureMirror(registers);
        return 0;
    }
    std::fputs(
        "usage: count_heap allocations | count_heap mirror REGISTERS (a multiple of 100, at most 65500)\n",
        stderr);
    return 2;
}
