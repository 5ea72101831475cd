// The real port path end to end: the real backend, QSerialPort and the kernel's pseudo-terminal,
// with the virtual adapter (preloaded by ctest) answering the modem-line calls from the test
// board. Each case gets a pseudo-terminal of its own; no real port is ever opened.
#include "actions/Tester.h"
#include "bus/SerialPortBackend.h"
#include "model/FrontPanel.h"
#include "support/ScriptedDialogs.h"
#include "vadapter/VirtualAdapter.h"

#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

const QString kBoardChips = QStringLiteral("40 41 90 91 A0 A1 ");

// The tool as the user drives it, on the pseudo-terminal as port 1.
struct Rig {
    explicit Rig(const QString& device, const QString& settle = QStringLiteral("0"),
                 const QString& minChange = QStringLiteral("0"))
        : port(map(device)) {
        port.setAdapterTiming(
            *AdapterTiming::withMinChange(*AdapterTiming::withSettle({}, settle), minChange));
        tester.startUp({});
    }
    static PortDeviceMap map(const QString& device) {
        PortDeviceMap m;
        m.mapAll(device);
        return m;
    }
    QString scan() {
        tester.diagnostics().DeviceDetect();
        return panel.text(Ctl::Hex1);
    }
    QString lineTest() {
        dialogs.thenMessage();
        tester.diagnostics().LineProbe();
        return dialogs.messages().constLast();
    }

    SerialPortBackend port;
    FrontPanel panel;
    ScriptedDialogs dialogs;
    Tester tester{panel, port, dialogs};
};

struct RealPort : ::testing::Test {
    int master = -1;
    int slave = -1;
    QString device;

    void SetUp() override {
        VadapterCounts counts{};
        ASSERT_TRUE(vadapterCounts(counts))
            << "the virtual adapter is not loaded: run with LD_PRELOAD=" TAMSOLVIX_VADAPTER;
        ASSERT_EQ(openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
        device = QString::fromLocal8Bit(ttyname(slave));
        qputenv("VADAPTER_DEVICE", device.toLocal8Bit());
        for (const char* name : {"VADAPTER_CALL_US", "VADAPTER_CACHE_US", "VADAPTER_REFUSE"})
            qunsetenv(name);
    }
    void TearDown() override {
        ::close(slave);
        ::close(master);
    }
    static unsigned long long modemCalls() {
        VadapterCounts c{};
        vadapterCounts(c);
        return c.get + c.bis + c.bic + c.set;
    }
};

} // namespace

TEST_F(RealPort, ScanLineTestAndResetCharacterWorkThroughTheKernel) {
    Rig rig(device);
    const auto before = modemCalls();
    EXPECT_EQ(rig.scan(), kBoardChips);
    // One call per line change and read: 256 x 43 line operations and the checks on opening.
    EXPECT_LE(modemCalls() - before, 11'100u);
    EXPECT_EQ(rig.lineTest(), QStringLiteral("Line Probe OK !"));
    EXPECT_EQ(rig.port.adapterInfo().family, AdapterInfo::Family::PseudoTerminal);

    // An adapter that reads live needs no settle time. The reset character leaves at 2400 baud
    // 8N1 and arrives on the other side unchanged.
    rig.port.setAdapterTiming(*AdapterTiming::withSettle({}, QStringLiteral("auto")));
    ASSERT_TRUE(rig.port.open(nullptr));
    EXPECT_EQ(rig.port.settleInEffect(), AdapterTiming::Duration{0});
    rig.port.sendByte(0xF3);
    termios t{};
    ASSERT_EQ(tcgetattr(slave, &t), 0);
    EXPECT_EQ(cfgetospeed(&t), B2400);
    EXPECT_EQ(cfgetispeed(&t), B2400);
    EXPECT_EQ(t.c_cflag & (CSIZE | PARENB | CSTOPB | CRTSCTS), tcflag_t{CS8});
    pollfd in{master, POLLIN, 0};
    ASSERT_EQ(poll(&in, 1, 5000), 1);
    unsigned char byte = 0;
    ASSERT_EQ(::read(master, &byte, 1), 1);
    EXPECT_EQ(byte, 0xF3);
    rig.port.close();
}

TEST_F(RealPort, ADeviceThatRefusesTheModemLineCallsGetsItsMessage) {
    qputenv("VADAPTER_REFUSE", "1");
    Rig rig(device);
    rig.dialogs.thenMessage();
    rig.tester.power().TogglePower();
    EXPECT_FALSE(rig.port.isOpen());
    ASSERT_EQ(rig.dialogs.shown.size(), 1u);
    EXPECT_EQ(rig.dialogs.shown[0].detail,
              QStringLiteral("%1 has no modem-control lines (%2): it cannot drive the bus")
                  .arg(device, QString::fromLocal8Bit(strerror(ENOTTY))));
}

// An adapter that reads its lines from a status refreshed every 100 us, showing them as they
// were 10 us before: without a settle time the reads after a clock edge see the old level.
TEST_F(RealPort, ACachedStatusIsReadRightOnlyAfterTheMeasuredSettleTime) {
    qputenv("VADAPTER_CACHE_US", "50,10");
    Rig stale(device);
    EXPECT_NE(stale.scan(), kBoardChips);
    EXPECT_NE(stale.lineTest(), QStringLiteral("Line Probe OK !"));

    Rig settled(device, QStringLiteral("auto"), QStringLiteral("5"));
    for (int run = 0; run < 20; ++run) {
        EXPECT_EQ(settled.scan(), kBoardChips) << "run " << run;
        EXPECT_EQ(settled.lineTest(), QStringLiteral("Line Probe OK !")) << "run " << run;
    }
    const auto& measured = settled.port.settleMeasurement();
    ASSERT_TRUE(measured && measured->followed);
    EXPECT_GE(measured->worst, std::chrono::microseconds(10)); // never before the lag
    EXPECT_EQ(settled.port.settleInEffect(), measured->settle);
    EXPECT_TRUE(settled.port.adapterNotes().contains(measured->summary()));
    VadapterCounts c{};
    vadapterCounts(c);
    EXPECT_GE(c.minChangeGapNs, 5'000); // the minimum time per line change held
}
