// The real port path: the real backend, QSerialPort and a pseudo-terminal, with the virtual
// adapter (tests/vadapter) answering the modem-line calls from the test board. The program
// starts itself again with the adapter preloaded when it is not.
//   build/bench/bench/tamsolvix_bench_port
// Figures: modem-line calls per device scan (one call per line change and read, against
// QSerialPort's own setters, which read the lines before every change), the time of one line
// change through the backend against the bare call on the same handle, and how long measuring
// the settle time takes on three kinds of adapter.
#include "bus/DeviceScan.h"
#include "bus/I2cBus.h"
#include "bus/PortLines.h"
#include "bus/SerialPortBackend.h"
#include "bus/SettleMeasurement.h"
#include "vadapter/VirtualAdapter.h"

#include <QCoreApplication>
#include <QSerialPort>

#include <benchmark/benchmark.h>

#include <pty.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <vector>

namespace {

// A pseudo-terminal served by the virtual adapter with a timing model (empty: as fast as it
// goes and read live).
struct ServedPty {
    explicit ServedPty(const char* callUs = "", const char* cacheUs = "") {
        if (openpty(&master, &slave, nullptr, nullptr, nullptr) != 0)
            std::abort();
        path = QString::fromLocal8Bit(ttyname(slave));
        setenv("VADAPTER_DEVICE", ttyname(slave), 1);
        setenv("VADAPTER_CALL_US", callUs, 1);
        setenv("VADAPTER_CACHE_US", cacheUs, 1);
        map.mapAll(path);
    }
    ~ServedPty() {
        ::close(slave);
        ::close(master);
    }
    int master = -1;
    int slave = -1;
    QString path;
    PortDeviceMap map;
};

unsigned long long modemCalls() {
    VadapterCounts c{};
    vadapterCounts(c);
    return c.get + c.bis + c.bic + c.set;
}

// The lines through QSerialPort's own setters and pinoutSignals(), as before the backend made
// its own calls.
class QtSetterPort : public PortBackend {
public:
    explicit QtSetterPort(const QString& device) { port_.setPortName(device); }
    void selectPort(int) override {}
    int selectedPort() const override { return 1; }
    bool isOpen() const override { return port_.isOpen(); }
    bool open(QString*) override { return port_.open(QIODevice::ReadWrite); }
    void close() override { port_.close(); }
    void setDtr(bool on) override { port_.setDataTerminalReady(on); }
    void setRts(bool on) override { port_.setRequestToSend(on); }
    bool cts() override { return port_.pinoutSignals().testFlag(QSerialPort::ClearToSendSignal); }
    bool dsr() override { return port_.pinoutSignals().testFlag(QSerialPort::DataSetReadySignal); }
    void sendByte(std::uint8_t) override {}

private:
    QSerialPort port_;
};

// One device scan as the user starts it: the port opens, 256 transfers, the port closes.
void BM_ScanModemCalls(benchmark::State& state) {
    ServedPty pty;
    std::unique_ptr<PortBackend> port;
    if (state.range(0) == 0)
        port = std::make_unique<SerialPortBackend>(pty.map);
    else
        port = std::make_unique<QtSetterPort>(pty.path);
    PortLines lines(*port);
    I2cBus i2c(lines);
    const auto before = modemCalls();
    for (auto _ : state) {
        if (!lines.openPortI2c())
            state.SkipWithError("the pseudo-terminal did not open");
        benchmark::DoNotOptimize(DeviceScan::run(i2c, {}));
        lines.closePort();
    }
    state.counters["calls/scan"] =
        static_cast<double>(modemCalls() - before) / static_cast<double>(state.iterations());
    state.SetLabel(state.range(0) == 0 ? "one call per change" : "QSerialPort's setters");
}
BENCHMARK(BM_ScanModemCalls)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// One line change (RTS on or off): the bare TIOCMBIS/TIOCMBIC on the port's handle (0), and
// through the backend (1). Both reach the same virtual adapter.
void BM_LineChange(benchmark::State& state) {
    ServedPty pty;
    SerialPortBackend port(pty.map);
    if (!port.open(nullptr)) {
        state.SkipWithError("the pseudo-terminal did not open");
        return;
    }
    VadapterCounts c{};
    vadapterCounts(c);
    const int fd = c.servedFd;
    bool on = false;
    int rts = TIOCM_RTS;
    if (state.range(0) == 0)
        for (auto _ : state) {
            on = !on;
            benchmark::DoNotOptimize(::ioctl(fd, on ? TIOCMBIS : TIOCMBIC, &rts));
        }
    else
        for (auto _ : state) {
            on = !on;
            port.setRts(on);
        }
    state.SetLabel(state.range(0) == 0 ? "bare ioctl" : "SerialPortBackend::setRts");
}
BENCHMARK(BM_LineChange)->Arg(0)->Arg(1);

// The settle measurement on an adapter that reads live (0), one that caches its status,
// refreshed every millisecond and 100 us late like a PL2303 (1), and one whose every call is a
// 125 us USB transfer like an FT232H (2).
void BM_SettleMeasurement(benchmark::State& state) {
    static const char* const models[][2] = {{"", ""}, {"", "1000,100"}, {"125", ""}};
    const auto model = static_cast<std::size_t>(state.range(0));
    ServedPty pty(models[model][0], models[model][1]);
    SerialPortBackend port(pty.map);
    if (!port.open(nullptr)) {
        state.SkipWithError("the pseudo-terminal did not open");
        return;
    }
    SettleMeasurement m;
    for (auto _ : state)
        m = port.measureSettle();
    state.counters["worst_us"] = static_cast<double>(m.worst.count()) / 1000.0;
    state.counters["settle_us"] = static_cast<double>(m.settle.count()) / 1000.0;
    state.SetLabel(model == 0 ? "live" : model == 1 ? "cached 1000,100 us" : "125 us calls");
}
BENCHMARK(BM_SettleMeasurement)
    ->Arg(0)
    ->Arg(1)
    ->Arg(2)
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    VadapterCounts counts{};
    if (!vadapterCounts(counts)) {
        // Not preloaded yet: start again with the virtual adapter in front of the C library.
        setenv("LD_PRELOAD", TAMSOLVIX_VADAPTER, 1);
        execv("/proc/self/exe", argv);
        return 1;
    }
    unsetenv("LD_PRELOAD"); // nothing this program starts needs it
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
