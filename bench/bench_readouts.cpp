// What one more byte in a read-out costs when the read-out already holds 1,000 or 100,000 bytes:
// in the model alone (the command-line tool) and through the window's read-out boxes as well.
// Each iteration appends one byte as a "Dump1" cell does (its hexadecimal entry to Hex1, its
// decimal entry to Dump1), starting from the given number of bytes; the time per iteration
// should not depend on that number.
#include "actions/Tester.h"
#include "app/ConsoleDialogs.h"
#include "model/FrontPanel.h"
#include "sim/SimulatedBoard.h"
#include "ui/MainWindow.h"

#include <QCoreApplication>

#include <benchmark/benchmark.h>

namespace {

constexpr int kAppends = 1000; // iterations per run: the read-out grows by that many bytes

void appendByte(FrontPanel& panel, int n) {
    const int byte = n % 256;
    panel.appendText(Ctl::Hex1, QStringLiteral("%1 ").arg(byte, 2, 16, QLatin1Char('0')).toUpper());
    panel.appendText(Ctl::Dump1, QStringLiteral("%1 ").arg(byte, 3, 10, QLatin1Char('0')));
}

void BM_ReadoutAppendModel(benchmark::State& state) {
    FrontPanel panel;
    const int start = static_cast<int>(state.range(0));
    for (int n = 0; n < start; ++n)
        appendByte(panel, n);
    int n = start;
    for (auto _ : state)
        appendByte(panel, n++);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ReadoutAppendModel)->Arg(1000)->Arg(100000)->Iterations(kAppends);

// The window shown on the offscreen platform; every append is followed by the event loop's
// turn, so the boxes are laid out and painted as often as the window would be.
void BM_ReadoutAppendWindow(benchmark::State& state) {
    FrontPanel panel;
    auto board = SimulatedBoard::fromVariant(QString());
    ConsoleDialogs dialogs;
    Tester tester(panel, *board, dialogs);
    tester.startUp({});
    MainWindow window(panel, tester);
    window.show();
    QCoreApplication::processEvents();
    const int start = static_cast<int>(state.range(0));
    for (int n = 0; n < start; ++n)
        appendByte(panel, n);
    QCoreApplication::processEvents();
    int n = start;
    for (auto _ : state) {
        appendByte(panel, n++);
        QCoreApplication::processEvents();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ReadoutAppendWindow)
    ->Arg(1000)
    ->Arg(100000)
    ->Iterations(kAppends)
    ->Unit(benchmark::kMicrosecond);

} // namespace
