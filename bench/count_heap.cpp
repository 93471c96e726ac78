// count_heap: what the driver takes from the heap.
//
//   count_heap allocations
//       Prints "mean M most N": calls of malloc, calloc and realloc per cyclic read of 100 holding registers,
//       over 10,000 reads after the lists and the mirror have grown.
//   count_heap retries
//       The same for a request that is sent again after silence: ComCommunication() and DataCom() with
//       nothing.
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
#include <limits>

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

template <typename Operation>
void countAllocations(Operation carryOut, const char *what)
{
    constexpr int kTimes = 10000;
    std::size_t most = 0;
    const std::size_t before = allocationCount();
    for (int i = 0; i < kTimes; ++i) {
        const std::size_t start = allocationCount();
        require(carryOut(), what);
        most = std::max(most, allocationCount() - start);
    }
    const auto all = static_cast<double>(allocationCount() - before);
    std::printf("mean %.2f most %zu\n", all / kTimes, most);
}

void countAllocationsOfReads()
{
    CyclicRead read(plc::kHoldingRegister, kMostRegisters);
    countAllocations([&read] { return read.serveNext(); }, "a cyclic read");
}

void countAllocationsOfRetries(COM_INFO &settings)
{
    const CyclicRead read(plc::kHoldingRegister, kMostRegisters);
    settings.retryLimit = std::numeric_limits<qint32>::max();
    QByteArray nothing;
    const Protocol *const head = ComCommunication(0);
    countAllocations(
        [head, &nothing] {
            return DataCom(&nothing, 0)->status == plc::kResultPending && ComCommunication(0) == head;
        },
        "a retry");
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
    COM_INFO &settings = plc::bench::setUpLink();
    if (argc == 2 && std::strcmp(argv[1], "allocations") == 0) {
        countAllocationsOfReads();
        return 0;
    }
    if (argc == 2 && std::strcmp(argv[1], "retries") == 0) {
        countAllocationsOfRetries(settings);
        return 0;
    }
    const int registers = argc == 3 && std::strcmp(argv[1], "mirror") == 0 ? std::atoi(argv[2]) : 0;
    if (registers >= kMostRegisters && registers <= 65500 && registers % kMostRegisters == 0) {
        measureMirror(registers);
        return 0;
    }
    std::fputs("usage: count_heap allocations | count_heap retries | count_heap mirror REGISTERS (a multiple "
               "of 100, at most 65500)\n",
               stderr);
    return 2;
}
