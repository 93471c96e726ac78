// bench_cache: time that a panel's screens spend in the mirror.
//
//   bench_cache [--benchmark_filter=REGEX] [--benchmark_min_time=SECONDS]
//
// Unit: time per call; items are registers or bits, whose number is the argument. The mirror holds 10,000
// registers and 10,000 coils, a large panel's worth, so the look-ups work on a table that does not fit the
// nearest cache. Build and run with scripts/bench, or: cmake --preset release && cmake --build --preset
// release --target benchmarks

#include <benchmark/benchmark.h>

#include "bench_link.h"
#include "mirror/register_cache.h"

namespace {

using plc::bench::kStation;
using plc::bench::setUpLink;
using plc::bench::variable;

constexpr int kMirrored = 10000;

/// Mirrors 10,000 elements of the area as a write would, once per program.
void fillMirror(int regType)
{
    RW_VAR var = variable(regType, 0, kMirrored);
    var.data = QByteArray(regType == plc::kCoil ? kMirrored / 8 : 2 * kMirrored, '\x35');
    WriteDataToLocal(&var);
}

void setUpMirror()
{
    setUpLink();
    fillMirror(plc::kCoil);
    fillMirror(plc::kHoldingRegister);
}

void getValues(benchmark::State &state, int regType, const QString &address)
{
    setUpMirror();
    const int count = static_cast<int>(state.range(0));
    const QString name = QStringLiteral("value");
    for (auto _ : state) {
        QByteArray out;
        benchmark::DoNotOptimize(GetRegisterData(name, regType, address, kStation, &out, count));
        benchmark::DoNotOptimize(out.constData());
    }
    state.SetItemsProcessed(state.iterations() * count);
}

void BM_GetRegisters(benchmark::State &state)
{
    getValues(state, plc::kHoldingRegister, QStringLiteral("4200"));
}
BENCHMARK(BM_GetRegisters)->Arg(1)->Arg(100);

void BM_GetRegisterPairs(benchmark::State &state)
{
    getValues(state, plc::kHoldingRegisterPair, QStringLiteral("4200"));
}
BENCHMARK(BM_GetRegisterPairs)->Arg(2)->Arg(100);

void BM_GetBitsInRegisters(benchmark::State &state)
{
    getValues(state, plc::kHoldingRegisterBit, QStringLiteral("4200.3"));
}
BENCHMARK(BM_GetBitsInRegisters)->Arg(1)->Arg(100);

void BM_GetCoils(benchmark::State &state)
{
    getValues(state, plc::kCoil, QStringLiteral("4200"));
}
BENCHMARK(BM_GetCoils)->Arg(1)->Arg(800);

void BM_GetUnknownRegisters(benchmark::State &state)
{
    getValues(state, plc::kInputRegister, QStringLiteral("4200")); // nothing of this area is in the mirror
}
BENCHMARK(BM_GetUnknownRegisters)->Arg(100);

/// SetRegisterData without communication: the values go to the mirror only.
void setValues(benchmark::State &state, int regType, int bytesPerElement)
{
    setUpMirror();
    COM_INFO &settings = setUpLink();
    settings.writeMode = 0;
    const int count = static_cast<int>(state.range(0));
    const QString name = QStringLiteral("value");
    const QString address = QStringLiteral("4200");
    QByteArray data(count * bytesPerElement, '\1');
    for (auto _ : state)
        benchmark::DoNotOptimize(SetRegisterData(name, regType, address, kStation, &data, count, 1, 2));
    state.SetItemsProcessed(state.iterations() * count);
}

void BM_SetRegisters(benchmark::State &state)
{
    setValues(state, plc::kHoldingRegister, 2);
}
BENCHMARK(BM_SetRegisters)->Arg(1)->Arg(100);

void BM_SetCoils(benchmark::State &state)
{
    setValues(state, plc::kCoil, 1);
}
BENCHMARK(BM_SetCoils)->Arg(1)->Arg(800);

} // namespace
