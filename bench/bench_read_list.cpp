// bench_read_list: time that the panel waits when it hands over its variables.
//
//   bench_read_list [--benchmark_filter=REGEX] [--benchmark_min_time=SECONDS]
//
// Unit: time per call of ReCreatReadVarList(); items are variables, whose number is the argument. Variables
// of one area stand at every second register, handed over scattered, ascending or descending; the order must
// make little difference, and a hundred times the variables must take little more than a hundred times as
// long. The packaging line has 600 variables on 8 stations in all areas, with 60 priority addresses on the
// four levels. Build and run with scripts/bench, or: cmake --preset release && cmake --build --preset release
// --target benchmarks

#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "bench_link.h"

namespace {

using plc::bench::kStation;
using plc::bench::setUpLink;

/// The runtime's table of variables.
class Variables
{
public:
    void add(int regType, int address, int station)
    {
        owned_.push_back(std::make_unique<HostVariable>());
        HostVariable &variable = *owned_.back();
        variable.regType = static_cast<quint8>(regType);
        variable.station = static_cast<quint8>(station);
        variable.addrText = QString::number(address);
        variable.varName = QStringLiteral("variable");
        variable.count = 1;
        records_.append(&variable);
    }

    QList<HostVariable *> *records() { return &records_; }

private:
    std::vector<std::unique_ptr<HostVariable>> owned_;
    QList<HostVariable *> records_;
};

/// Empties what an earlier benchmark of this program has left.
void clearLists()
{
    PLC_driver.readList.clear();
    for (int level = 0; level < plc::kPriorityLevels; ++level) {
        PLC_driver.priorityAddresses[level].clear();
        PLC_driver.priorityReads[level].clear();
    }
}

/// Rebuilds again and again from variables whose address is 2 * @p positionOf(i).
template <typename Position>
void rebuild(benchmark::State &state, Position positionOf)
{
    clearLists();
    setUpLink();
    const int number = static_cast<int>(state.range(0));
    Variables variables;
    for (int i = 0; i < number; ++i)
        variables.add(plc::kHoldingRegister, 2 * positionOf(i), kStation);
    for (auto _ : state) {
        if (ReCreatReadVarList(variables.records()) != number / 50)
            state.SkipWithError("another number of requests than fifty variables each make");
    }
    state.SetItemsProcessed(state.iterations() * number);
    state.SetComplexityN(number);
}

void BM_RebuildScattered(benchmark::State &state)
{
    const int number = static_cast<int>(state.range(0));
    // 7919 is a prime, so every position comes once.
    rebuild(state, [number](int i) { return static_cast<int>(7919LL * i % number); });
}
BENCHMARK(BM_RebuildScattered)->RangeMultiplier(10)->Range(1000, 100000)->Complexity();

void BM_RebuildAscending(benchmark::State &state)
{
    rebuild(state, [](int i) { return i; });
}
BENCHMARK(BM_RebuildAscending)->RangeMultiplier(10)->Range(1000, 100000)->Complexity();

void BM_RebuildDescending(benchmark::State &state)
{
    const int number = static_cast<int>(state.range(0));
    rebuild(state, [number](int i) { return number - 1 - i; });
}
BENCHMARK(BM_RebuildDescending)->RangeMultiplier(10)->Range(1000, 100000)->Complexity();

/// Hands over the priority addresses 0, 20, 40, ... of the holding registers, the first fifteen for level 1
/// and so on.
void importPriorities()
{
    std::vector<std::unique_ptr<NameRow>> owned;
    QList<NameRow *> rows;
    for (int i = 0; i < 60; ++i) {
        owned.push_back(std::make_unique<NameRow>());
        for (int text = 0; text < 10; ++text)
            owned.back()->texts.append(QString());
        owned.back()->texts[8] = QString::number(1 + i / 15);
        owned.back()->texts[9] = QStringLiteral("4x") + QString::number(20 * i);
        rows.append(owned.back().get());
    }
    PassVarName(&rows);
}

void BM_RebuildPackagingLine(benchmark::State &state)
{
    clearLists();
    setUpLink();
    importPriorities();
    constexpr int kStations = 8;
    constexpr int kVariables = 600;
    const int areas[] = {plc::kCoil, plc::kDiscreteInput, plc::kInputRegister, plc::kHoldingRegister};
    Variables variables;
    for (int i = 0; i < kVariables; ++i)
        variables.add(areas[i / kStations % 4], 37 * i % kVariables * 3, 1 + i % kStations);
    for (auto _ : state)
        benchmark::DoNotOptimize(ReCreatReadVarList(variables.records()));
    state.SetItemsProcessed(state.iterations() * kVariables);
    state.counters["cyclic reads"] = PLC_driver.readList.size();
    for (int level = 0; level < plc::kPriorityLevels; ++level)
        state.counters["level " + std::to_string(level + 1)] = PLC_driver.priorityReads[level].size();
}
BENCHMARK(BM_RebuildPackagingLine);

} // namespace
