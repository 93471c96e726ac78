// bench_cycle: time of whole operations, from choosing the variable to the value in the mirror.
//
//   bench_cycle [--benchmark_filter=REGEX] [--benchmark_min_time=SECONDS]
//
// Unit: time per operation, that is ComCommunication() and the calls of DataCom() that a reply takes; the
// line and the station take no time. Items are registers or bits, whose number is the argument. Eight
// variables come round. Build and run with scripts/bench, or: cmake --preset release && cmake --build
// --preset release --target benchmarks

#include <benchmark/benchmark.h>

#include "bench_link.h"

namespace {

using plc::bench::CyclicRead;
using plc::bench::kStation;
using plc::bench::setUpLink;

/// Empties the lists that an earlier benchmark of this program has filled.
void clearLists()
{
    PLC_driver.readList.clear();
    PLC_driver.writeList.clear();
    PLC_driver.onceReadList.clear();
    PLC_driver.sendQueue.clear();
}

void readCyclically(benchmark::State &state, int regType)
{
    clearLists();
    setUpLink();
    const int count = static_cast<int>(state.range(0));
    CyclicRead read(regType, count);
    for (auto _ : state) {
        if (!read.serveNext())
            state.SkipWithError("a cyclic read failed");
    }
    state.SetItemsProcessed(state.iterations() * count);
}

void BM_ReadRegisters(benchmark::State &state)
{
    readCyclically(state, plc::kHoldingRegister);
}
BENCHMARK(BM_ReadRegisters)->Arg(1)->Arg(100);

void BM_ReadCoils(benchmark::State &state)
{
    readCyclically(state, plc::kCoil);
}
BENCHMARK(BM_ReadCoils)->Arg(1)->Arg(800);

/// SetRegisterData() by the panel, then the write request and its reply.
void BM_WriteRegisters(benchmark::State &state)
{
    clearLists();
    setUpLink();
    const int count = static_cast<int>(state.range(0));
    const QString name = QStringLiteral("value");
    const QString address = QStringLiteral("4200");
    QByteArray data(2 * count, '\x5A');
    QByteArray reply;
    for (auto _ : state) {
        SetRegisterData(name, plc::kHoldingRegister, address, kStation, &data, count, 1, 2);
        const Protocol *request = plc::bench::nextRequest();
        if (request == nullptr) {
            state.SkipWithError("no write request");
            break;
        }
        if (reply.isEmpty())
            reply = plc::bench::writeReply(request->frame);
        DataCom(&reply, reply.size());
        if (DataCom(&reply, reply.size())->status != plc::kResultDone)
            state.SkipWithError("a write failed");
    }
    state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(BM_WriteRegisters)->Arg(1)->Arg(100);

/// What the cycle costs on an idle link.
void BM_NothingToDo(benchmark::State &state)
{
    clearLists();
    setUpLink();
    for (auto _ : state)
        benchmark::DoNotOptimize(ComCommunication(0));
}
BENCHMARK(BM_NothingToDo);

} // namespace
