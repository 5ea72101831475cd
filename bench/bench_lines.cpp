// Cost of the line driver and of the observation trace. Every line change must be one call on
// the port with nothing else in the way; while analysis is on, one trace record is added.
//   cmake -S . -B build/bench -G Ninja -DCMAKE_BUILD_TYPE=Release && cmake --build build/bench
//   build/bench/bench/tamsolvix_bench
#include "bus/I2cBus.h"
#include "bus/PortLines.h"
#include "model/Trace.h"
#include "sim/SimulatedBoard.h"
#include "sim/WireRecorder.h"

#include <QApplication>

#include <benchmark/benchmark.h>

namespace {

constexpr QSize kPicture{533, 37};

// Four port calls: the pattern of one written I2C bit.
void BM_BarePortCalls(benchmark::State& state) {
    SimulatedBoard board;
    PortBackend& port = board;
    QString why;
    port.open(&why);
    for (auto _ : state) {
        port.setRts(false);
        port.setDtr(true);
        port.setRts(true);
        port.setRts(false);
    }
    state.SetItemsProcessed(state.iterations() * 4);
}
BENCHMARK(BM_BarePortCalls);

// The same four calls on the test board with its four chips attached (they watch every edge),
// without (arg 0) and with (arg 1) a wire recorder clipped on.
void BM_PortCallsWithChips(benchmark::State& state) {
    auto board = SimulatedBoard::fromVariant(QString());
    PortBackend& port = *board;
    WireRecorder recorder;
    if (state.range(0) != 0)
        board->setRecorder(&recorder);
    QString why;
    port.open(&why);
    std::size_t n = 0;
    for (auto _ : state) {
        port.setRts(false);
        port.setDtr(true);
        port.setRts(true);
        port.setRts(false);
        if (++n == 100'000) { // keep the recorder's memory bounded
            state.PauseTiming();
            recorder.clear();
            n = 0;
            state.ResumeTiming();
        }
    }
    state.SetItemsProcessed(state.iterations() * 4);
    state.SetLabel(state.range(0) ? "recorder on" : "no recorder");
}
BENCHMARK(BM_PortCallsWithChips)->Arg(0)->Arg(1);

// The device scan on the test board: 256 x (start, address byte, acknowledge, stop).
void BM_ScanWithChips(benchmark::State& state) {
    auto board = SimulatedBoard::fromVariant(QString());
    PortLines lines(*board);
    Trace trace(kPicture);
    I2cBus i2c(lines);
    lines.openPortI2c();
    const std::uint64_t before = board->portCalls();
    for (auto _ : state)
        for (int a = 0; a < 256; ++a) {
            i2c.start();
            benchmark::DoNotOptimize(i2c.writeByte(a));
            i2c.stop();
        }
    state.SetItemsProcessed(static_cast<std::int64_t>(board->portCalls() - before));
}
BENCHMARK(BM_ScanWithChips);

// The same four changes through the line driver, analysis off.
void BM_LineOperations(benchmark::State& state) {
    SimulatedBoard board;
    PortLines lines(board);
    Trace trace(kPicture);
    lines.setRecorder(&trace);
    lines.openPortI2c();
    for (auto _ : state) {
        lines.clockLow();
        lines.dataHigh();
        lines.clockHigh();
        lines.clockLow();
    }
    state.SetItemsProcessed(state.iterations() * 4);
}
BENCHMARK(BM_LineOperations);

// 100 line changes from the start of a fresh strip, with analysis off (arg 0), on (arg 1), or
// on with the time-stamped event log as well (arg 2, as in the program): items per second are
// line changes, each with its trace record (and event) when analysis is on.
void BM_TraceRecords(benchmark::State& state) {
    SimulatedBoard board;
    PortLines lines(board);
    Trace trace(kPicture);
    LineEventLog events;
    trace.init(false);
    lines.setRecorder(&trace);
    if (state.range(0) == 2)
        lines.setEventLog(&events);
    lines.openPortI2c();
    lines.setAnalysisOn(state.range(0) != 0);
    for (auto _ : state) {
        state.PauseTiming();
        trace.begin(false);
        lines.beginRun();
        state.ResumeTiming();
        for (int i = 0; i < 25; ++i) {
            lines.clockLow();
            lines.dataLow();
            lines.clockHigh();
            lines.dataHigh();
        }
    }
    state.SetItemsProcessed(state.iterations() * 100);
    static const char* const labels[] = {"analysis off", "analysis on", "analysis on, events"};
    state.SetLabel(labels[state.range(0)]);
}
BENCHMARK(BM_TraceRecords)->Arg(0)->Arg(1)->Arg(2);

// The 37 port calls of a byte write with its acknowledge, made straight on the port with the
// same choice per bit: what BM_I2cWriteByte costs without the line driver and the I2C code.
void BM_BareWriteByte(benchmark::State& state) {
    SimulatedBoard board;
    PortBackend& port = board;
    QString why;
    port.open(&why);
    unsigned value = 0;
    for (auto _ : state) {
        unsigned bits = value++ & 0xFFu;
        for (int bit = 0; bit < 8; ++bit, bits <<= 1) {
            port.setRts(false);
            port.setDtr((bits & 0x80u) != 0);
            port.setRts(true);
            port.setRts(false);
        }
        port.setDtr(true);
        port.setRts(false);
        port.setRts(true);
        benchmark::DoNotOptimize(port.cts());
        port.setRts(false);
    }
    state.SetItemsProcessed(state.iterations() * 37);
}
BENCHMARK(BM_BareWriteByte);

// One addressed byte write with its acknowledge: 37 line operations.
void BM_I2cWriteByte(benchmark::State& state) {
    SimulatedBoard board;
    PortLines lines(board);
    Trace trace(kPicture);
    I2cBus i2c(lines);
    lines.setRecorder(&trace);
    lines.openPortI2c();
    int value = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(i2c.writeByte(value++));
    state.SetItemsProcessed(state.iterations() * 37);
}
BENCHMARK(BM_I2cWriteByte);

} // namespace

int main(int argc, char** argv) {
    // The trace prints text and the read-out benchmark shows the window: a widget application
    // on the offscreen platform serves both.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
