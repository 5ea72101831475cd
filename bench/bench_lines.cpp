// Cost of the line driver over the bare port: every line change must be one call on the port
// with nothing else in the way. Run: build/test/bench/tamsolvix_bench
#include "bus/PortLines.h"
#include "sim/SimulatedBoard.h"

#include <benchmark/benchmark.h>

namespace {

struct CountingRecorder : LevelRecorder {
    long long records = 0;
    void recordLevel(Line, bool high) override { records += high; }
};

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

void BM_LineOperations(benchmark::State& state) {
    SimulatedBoard board;
    PortLines lines(board);
    CountingRecorder recorder;
    lines.setRecorder(&recorder);
    lines.setAnalysisOn(state.range(0) != 0);
    lines.openPortI2c();
    for (auto _ : state) {
        lines.clockLow();
        lines.dataHigh();
        lines.clockHigh();
        lines.clockLow();
    }
    benchmark::DoNotOptimize(recorder.records);
    state.SetItemsProcessed(state.iterations() * 4);
    state.SetLabel(state.range(0) ? "analysis on (counting recorder)" : "analysis off");
}
BENCHMARK(BM_LineOperations)->Arg(0)->Arg(1);

} // namespace

BENCHMARK_MAIN();
