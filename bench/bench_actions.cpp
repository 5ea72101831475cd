// Cost of whole user actions on the simulated board: a device scan, one 4-cell sequence run,
// and how the window's event loop fares with the non-stop timer at 1 ms running both sequences.
#include "actions/Tester.h"
#include "app/ConsoleDialogs.h"
#include "model/FrontPanel.h"
#include "sim/SimulatedBoard.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <algorithm>

namespace {

struct Bench {
    FrontPanel panel;
    std::unique_ptr<SimulatedBoard> board = SimulatedBoard::fromVariant(QString());
    ConsoleDialogs dialogs;
    Tester tester{panel, *board, dialogs};
    explicit Bench(const Tester::StartSettings& settings = {}) { tester.startUp(settings); }
};

// "Device Detect": 256 x 43 line operations plus the indicator updates.
void BM_DeviceDetect(benchmark::State& state) {
    Bench b;
    for (auto _ : state)
        b.tester.diagnostics().DeviceDetect();
    state.SetItemsProcessed(state.iterations() * 256 * 43);
}
BENCHMARK(BM_DeviceDetect)->Unit(benchmark::kMillisecond);

// One run of a 4-cell I2C sequence (address, word address, two reads) with analysis off (0)
// or on (1): items per second are runs.
void BM_I2cSequenceRun(benchmark::State& state) {
    Bench b;
    const QString cells[] = {QStringLiteral("&hA1"), QStringLiteral("Dump1"),
                             QStringLiteral("Dump1"), QStringLiteral("Indicator")};
    for (int k = 1; k <= 4; ++k)
        b.panel.setText(FrontPanel::cell(1, k), cells[k - 1]);
    if (b.tester.analysisOn() != (state.range(0) != 0))
        b.tester.observation().Anal_be_Click();
    b.tester.power().TogglePower();
    for (auto _ : state) {
        b.tester.runs().RunSequence(1);
        if (b.panel.text(Ctl::Dump1).size() > 4000) {
            state.PauseTiming();
            b.tester.runs().Cl1_Click();
            state.ResumeTiming();
        }
    }
    state.SetItemsProcessed(state.iterations());
    state.SetLabel(state.range(0) ? "analysis on" : "analysis off");
}
BENCHMARK(BM_I2cSequenceRun)->Arg(0)->Arg(1);

// The non-stop timer at 1 ms with Seq12 for half a second of real time, while a posted event
// every millisecond measures how long user input would wait. Counters: ticks per second and
// the worst and mean wait of an event, in microseconds.
void BM_NonStopTimerResponsiveness(benchmark::State& state) {
    Tester::StartSettings settings;
    settings.timer = QStringLiteral("1");
    Bench b(settings);
    b.panel.setText(Ctl::C1, QStringLiteral("&hA0"));
    b.panel.setText(Ctl::C2, QStringLiteral("&h00"));
    b.panel.setText(Ctl::D1, QStringLiteral("&hA1"));
    b.panel.setText(Ctl::D2, QStringLiteral("Dump2"));
    b.tester.power().TogglePower();
    int ticks = 0;
    QObject::connect(&b.tester.timer(), &QTimer::timeout, [&ticks] { ++ticks; });
    for (auto _ : state) {
        ticks = 0;
        double worstUs = 0, totalUs = 0;
        int events = 0;
        QTimer input;
        input.setInterval(1);
        QObject::connect(&input, &QTimer::timeout, [&] {
            QElapsedTimer posted;
            posted.start();
            QTimer::singleShot(0, [&, posted] {
                const double us = static_cast<double>(posted.nsecsElapsed()) / 1000.0;
                worstUs = std::max(worstUs, us);
                totalUs += us;
                ++events;
            });
        });
        b.tester.runs().selectOption(Ctl::Ns12);
        QTimer::singleShot(0, [&] { input.start(); });
        QElapsedTimer wall;
        wall.start();
        while (wall.elapsed() < 500)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        b.tester.runs().selectOption(Ctl::Noff);
        input.stop();
        b.tester.runs().Cl2_Click();
        state.counters["ticks_per_s"] = ticks * 1000.0 / static_cast<double>(wall.elapsed());
        state.counters["event_wait_max_us"] = worstUs;
        state.counters["event_wait_mean_us"] = events ? totalUs / events : 0;
    }
}
BENCHMARK(BM_NonStopTimerResponsiveness)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
