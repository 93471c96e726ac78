// bench_frames: time to make, find and check frames.
//
//   bench_frames [--benchmark_filter=REGEX] [--benchmark_min_time=SECONDS]
//
// Unit: time per call. The argument is a number of bytes (checksums) or of registers or bits (frames); 8
// bytes are a read request, 205 the reply with 100 registers, 256 the longest frame. Bytes per second are
// those of the frame. Build and run with scripts/bench, or: cmake --preset release && cmake --build --preset
// release --target benchmarks

#include <benchmark/benchmark.h>

#include <vector>

#include "bench_link.h"
#include "modbus/read_request.h"
#include "modbus/reply_check.h"
#include "modbus/write_request.h"

namespace {

using plc::bench::readReply;
using plc::bench::setUpLink;
using plc::bench::variable;

std::vector<unsigned char> someBytes(benchmark::State &state)
{
    std::vector<unsigned char> bytes(static_cast<std::size_t>(state.range(0)));
    unsigned char next = 17;
    for (unsigned char &byte : bytes)
        byte = next = static_cast<unsigned char>(next * 29 + 7);
    return bytes;
}

void BM_Crc(benchmark::State &state)
{
    std::vector<unsigned char> bytes = someBytes(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(CalCRC(bytes.data(), static_cast<unsigned short>(bytes.size())));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_Crc)->Arg(8)->Arg(205)->Arg(256);

void BM_Sum(benchmark::State &state)
{
    std::vector<unsigned char> bytes = someBytes(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(CalSUM(bytes.data(), static_cast<unsigned short>(bytes.size())));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_Sum)->Arg(8)->Arg(205)->Arg(256);

/// Makes the request of @p var with @p builder and takes it out of the queue again.
template <typename Builder>
void buildFrames(benchmark::State &state, RW_VAR var, Builder builder)
{
    setUpLink();
    qint64 bytes = 0;
    for (auto _ : state) {
        builder(&var);
        bytes += PLC_driver.sendQueue.first().sendLen;
        PLC_driver.sendQueue.clear();
    }
    state.SetBytesProcessed(bytes);
}

void BM_BuildRead(benchmark::State &state)
{
    buildFrames(state, variable(plc::kHoldingRegister, 100, static_cast<int>(state.range(0))), ReadAnalog);
}
BENCHMARK(BM_BuildRead)->Arg(1)->Arg(100);

void BM_BuildRegisterWrite(benchmark::State &state)
{
    RW_VAR var = variable(plc::kHoldingRegister, 100, static_cast<int>(state.range(0)));
    var.direction = 1;
    var.data = QByteArray(2 * var.count, '\x5A');
    buildFrames(state, var, WriteAnalog);
}
BENCHMARK(BM_BuildRegisterWrite)->Arg(1)->Arg(100);

void BM_BuildCoilWrite(benchmark::State &state)
{
    RW_VAR var = variable(plc::kCoil, 100, static_cast<int>(state.range(0)));
    var.direction = 1;
    var.data = QByteArray((var.count + 7) / 8, '\x5A');
    buildFrames(state, var, WriteAnalog);
}
BENCHMARK(BM_BuildCoilWrite)->Arg(1)->Arg(800);

/// Looks for the reply to a read of registers in @p received, with a runtime's buffer that is filled anew
/// each time.
void findReply(benchmark::State &state, const QByteArray &received, int registers, int expected)
{
    setUpLink();
    RW_VAR var = variable(plc::kHoldingRegister, 100, registers);
    ReadAnalog(&var);
    QByteArray buffer;
    buffer.reserve(received.size());
    for (auto _ : state) {
        buffer.resize(0);
        buffer.append(received.constData(), received.size());
        if (check_data(&buffer) != expected)
            state.SkipWithError("check_data judged otherwise");
    }
    PLC_driver.sendQueue.clear();
    state.SetBytesProcessed(state.iterations() * received.size());
}

void BM_FindWholeReply(benchmark::State &state)
{
    const int registers = static_cast<int>(state.range(0));
    findReply(state, readReply(plc::kHoldingRegister, registers, 1000), registers, 1);
}
BENCHMARK(BM_FindWholeReply)->Arg(1)->Arg(100);

void BM_FindReplyBehindNoise(benchmark::State &state)
{
    const int registers = static_cast<int>(state.range(0));
    findReply(state, QByteArray(20, '\x01') + readReply(plc::kHoldingRegister, registers, 1000), registers,
              1);
}
BENCHMARK(BM_FindReplyBehindNoise)->Arg(1)->Arg(100);

/// What every call costs while the last byte of a reply is still on its way.
void BM_LookAtUnfinishedReply(benchmark::State &state)
{
    const int registers = static_cast<int>(state.range(0));
    QByteArray received = readReply(plc::kHoldingRegister, registers, 1000);
    received.chop(1);
    findReply(state, received, registers, 0);
}
BENCHMARK(BM_LookAtUnfinishedReply)->Arg(1)->Arg(100);

} // namespace
