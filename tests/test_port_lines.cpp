#include "actions/Tester.h"
#include "bus/AdapterInfo.h"
#include "bus/PortDeviceMap.h"
#include "bus/PortLines.h"
#include "bus/SerialPortBackend.h"
#include "model/FrontPanel.h"
#include "sim/SimulatedBoard.h"
#include "support/ScriptedDialogs.h"

#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <pty.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using Line = LevelRecorder::Line;

struct Recorded : LevelRecorder {
    std::vector<std::pair<Line, bool>> levels;
    void recordLevel(Line line, bool high) override { levels.emplace_back(line, high); }
};

// A chip that holds the data line low whenever it is told to (the board sees the change with
// the next edge on the wires).
struct Puller : SimDevice {
    bool pulling = false;
    void wiresChanged(const BoardWires&, std::uint64_t) override {}
    bool pullsDataLow() const override { return pulling; }
};

struct LinesFixture : ::testing::Test {
    SimulatedBoard board;
    PortLines lines{board};
    Recorded trace;
    void SetUp() override { lines.setRecorder(&trace); }
};

} // namespace

TEST_F(LinesFixture, I2cOpenRaisesClockAndDataUntracedAndLeavesAnOpenPortAsItIs) {
    lines.setAnalysisOn(true);
    ASSERT_TRUE(lines.openPortI2c());
    EXPECT_TRUE(board.isOpen());
    EXPECT_TRUE(board.wires().rts);
    EXPECT_TRUE(board.wires().dtr);
    EXPECT_TRUE(trace.levels.empty()); // the two raises go straight to the port

    lines.clockLow();
    lines.dataLow();
    EXPECT_TRUE(lines.openPortI2c()); // already open: nothing is driven
    EXPECT_FALSE(board.wires().rts);
    EXPECT_FALSE(board.wires().dtr);
    EXPECT_EQ(board.opens(), 1);

    lines.closePort();
    lines.closePort(); // a closed port: nothing happens
    EXPECT_FALSE(board.isOpen());
    EXPECT_FALSE(board.wires().rts); // closing dropped both lines
}

TEST_F(LinesFixture, MicrowireOpenLeavesDataHighAndClockLowThroughTheLineOperations) {
    lines.setAnalysisOn(true);
    ASSERT_TRUE(lines.openPortMicrowire());
    EXPECT_TRUE(board.wires().dtr);
    EXPECT_FALSE(board.wires().rts);
    ASSERT_EQ(trace.levels.size(), 2u);
    EXPECT_EQ(trace.levels[0], std::make_pair(Line::Data, true));
    EXPECT_EQ(trace.levels[1], std::make_pair(Line::Clock, false));
}

TEST_F(LinesFixture, EachLineOperationIsOnePortCallAndIsRecordedOnlyWhileAnalysisIsOn) {
    ASSERT_TRUE(lines.openPortI2c());
    auto calls = board.portCalls();
    lines.dataLow();
    lines.clockLow();
    lines.clockHigh();
    lines.dataHigh();
    EXPECT_TRUE(lines.readData());
    EXPECT_EQ(board.portCalls() - calls, 5u);
    EXPECT_TRUE(trace.levels.empty());

    lines.setAnalysisOn(true);
    calls = board.portCalls();
    lines.dataLow();
    lines.clockLow();
    EXPECT_FALSE(lines.readData()); // data out low: the line reads low
    lines.clockHigh();
    lines.dataHigh();
    EXPECT_EQ(board.portCalls() - calls, 5u);
    const std::vector<std::pair<Line, bool>> expected = {{Line::Data, false},
                                                         {Line::Clock, false},
                                                         {Line::Data, false},
                                                         {Line::Clock, true},
                                                         {Line::Data, true}};
    EXPECT_EQ(trace.levels, expected);
}

TEST_F(LinesFixture, TheDataLineIsOpenDrainAndAClosedPortReadsReleased) {
    Puller& chip = board.attach(std::make_unique<Puller>());
    ASSERT_TRUE(lines.openPortI2c());
    EXPECT_TRUE(lines.readData());
    chip.pulling = true;
    lines.dataLow();
    lines.dataHigh(); // releasing the line does not lift what a device holds low
    EXPECT_FALSE(lines.readData());
    EXPECT_FALSE(board.wires().data);
    chip.pulling = false;
    lines.dataLow();
    lines.dataHigh();
    EXPECT_TRUE(lines.readData());

    lines.closePort();
    lines.dataLow(); // accepted on a closed port, without effect
    EXPECT_FALSE(board.wires().dtr);
    EXPECT_TRUE(lines.readData());
    EXPECT_FALSE(board.dsr());
}

TEST(SimulatedBoard, DsrFollowsRtsUnlessTheStrapIsFaulty) {
    auto readPairs = [](SimulatedBoard& b) {
        // (DSR with RTS on, DSR with RTS off), three times
        std::vector<std::pair<bool, bool>> r;
        for (int i = 0; i < 3; ++i) {
            b.setRts(true);
            const bool up = b.dsr();
            b.setRts(false);
            r.emplace_back(up, b.dsr());
        }
        return r;
    };
    using P = std::vector<std::pair<bool, bool>>;
    const struct {
        const char* variant;
        P expected;
    } cases[] = {
        {"", {{true, false}, {true, false}, {true, false}}},
        {"dsr-low", {{false, false}, {false, false}, {false, false}}},
        {"dsr-high", {{true, true}, {true, true}, {true, true}}},
        {"dsr-late", {{false, false}, {true, false}, {true, false}}},
    };
    for (const auto& c : cases) {
        auto board = SimulatedBoard::fromVariant(QString::fromLatin1(c.variant));
        ASSERT_TRUE(board);
        QString why;
        ASSERT_TRUE(board->open(&why));
        EXPECT_EQ(readPairs(*board), c.expected) << c.variant;
    }
    EXPECT_EQ(SimulatedBoard::fromVariant(QStringLiteral("no-such-fault")), nullptr);
}

TEST(SimulatedBoard, StuckDataInIgnoresTheDataLine) {
    auto high = SimulatedBoard::fromVariant(QStringLiteral("cts-high"));
    auto low = SimulatedBoard::fromVariant(QStringLiteral("cts-low"));
    QString why;
    ASSERT_TRUE(high->open(&why) && low->open(&why));
    high->setDtr(false);
    low->setDtr(true);
    EXPECT_TRUE(high->cts());
    EXPECT_FALSE(low->cts());
}

TEST(SimulatedBoard, AnUnpluggedAdapterClosesThePortAndReportsOnce) {
    auto board = SimulatedBoard::fromVariant(QStringLiteral("unplug"));
    QStringList reports;
    board->setLostHandler([&](const QString& why) { reports << why; });
    PortLines lines(*board);
    ASSERT_TRUE(lines.openPortI2c());
    for (int i = 0; i < 5000; ++i) // runs on past the unplugging without harm
        lines.clockLow(), lines.dataHigh(), lines.readData();
    EXPECT_FALSE(board->isOpen());
    ASSERT_EQ(reports.size(), 1);
    EXPECT_TRUE(reports.front().contains(QStringLiteral("unplugged")));
}

TEST(SimulatedBoard, KeepsTheCharactersSentOnTxdAndAdvancesItsClockPerCall) {
    SimulatedBoard board;
    board.setCallCostNs(1000);
    QString why;
    ASSERT_TRUE(board.open(&why));
    const auto t0 = board.nowNs();
    board.sendByte(0xFF);
    board.setRts(true);
    EXPECT_EQ(board.sentCharacters(), std::vector<std::uint8_t>{0xFF});
    EXPECT_EQ(board.nowNs() - t0, 2000u);
}

TEST(PortDeviceMap, MapsPortNumbersToDevicesFromOptionsThenSettingsThenThePlatform) {
    EXPECT_TRUE(PortDeviceMap::platformDefault(1).endsWith(QStringLiteral("S0")) ||
                PortDeviceMap::platformDefault(1) == u"COM1");

    PortDeviceMap single;
    EXPECT_TRUE(single.applyOption(QStringLiteral("2=/dev/serial/by-id/usb-adapter")));
    EXPECT_EQ(single.deviceFor(2), QStringLiteral("/dev/serial/by-id/usb-adapter"));
    EXPECT_EQ(single.deviceFor(3), PortDeviceMap::platformDefault(3));
    for (const char* wrong : {"x=/dev/a", "2=", "", "0=/tmp/a", "5=/tmp/a"})
        EXPECT_FALSE(single.applyOption(QLatin1String(wrong))) << wrong;
    // A bare name is the device of that name in /dev, and every message names that path.
    EXPECT_TRUE(single.applyOption(QStringLiteral("4=ttyUSB7")));
    EXPECT_EQ(single.deviceFor(4), QStringLiteral("/dev/ttyUSB7"));

    PortDeviceMap all;
    EXPECT_TRUE(all.applyOption(QStringLiteral("./adapter")));
    EXPECT_EQ(all.deviceFor(4), QStringLiteral("./adapter"));

    QTemporaryDir dir;
    QSettings settings(dir.filePath(QStringLiteral("s.ini")), QSettings::IniFormat);
    settings.setValue(QStringLiteral("Devices/Port1"), QStringLiteral("/tmp/from-settings"));
    settings.setValue(QStringLiteral("Devices/Port2"), QStringLiteral("/tmp/also-settings"));
    PortDeviceMap fromSettings;
    fromSettings.map(2, QStringLiteral("/tmp/from-option"));
    fromSettings.readSettings(settings);
    EXPECT_EQ(fromSettings.deviceFor(1), QStringLiteral("/tmp/from-settings"));
    EXPECT_EQ(fromSettings.deviceFor(2), QStringLiteral("/tmp/from-option"));
}

TEST(SerialPortBackend, AFailedOpenSaysWhatTheUserCanDo) {
    const QString dev = QStringLiteral("/tmp/adapter");
    EXPECT_TRUE(SerialPortBackend::openFailureReason(QSerialPort::PermissionError, dev, {})
                    .contains(QStringLiteral("dialout")));
    EXPECT_TRUE(SerialPortBackend::openFailureReason(QSerialPort::DeviceNotFoundError, dev, {})
                    .contains(QStringLiteral("/tmp/adapter does not exist")));
    EXPECT_TRUE(SerialPortBackend::openFailureReason(QSerialPort::UnknownError, dev, {}).isEmpty());
}

TEST(SerialPortBackend, AMissingDeviceOrOneWithoutModemLinesFailsToOpenWithAReason) {
    // A path that cannot be a device: the open fails before any hardware is touched.
    PortDeviceMap map;
    map.mapAll(QStringLiteral("/nonexistent/tamsolvix-test-port"));
    SerialPortBackend port(map);
    QString why;
    EXPECT_FALSE(port.open(&why));
    EXPECT_FALSE(port.isOpen());
    EXPECT_FALSE(why.isEmpty());
    port.setDtr(true); // accepted while closed
    EXPECT_TRUE(port.cts());

    // A pseudo-terminal opens as a terminal but has no modem lines: refused, the user is told
    // why, and the adapter gets no power.
    int master = -1;
    int slave = -1;
    ASSERT_EQ(openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
    const QString pty = QString::fromLocal8Bit(ttyname(slave));
    ASSERT_TRUE(map.applyOption(QStringLiteral("2=") + pty));
    SerialPortBackend ptyPort(map);
    FrontPanel panel;
    ScriptedDialogs dialogs;
    Tester tester(panel, ptyPort, dialogs);
    tester.startUp({});
    ptyPort.selectPort(2);
    dialogs.thenMessage();
    tester.power().TogglePower();
    EXPECT_FALSE(ptyPort.isOpen());
    ASSERT_EQ(dialogs.shown.size(), 1u);
    EXPECT_EQ(dialogs.shown[0].detail, QStringLiteral("%1 has no modem-control lines (%2): it "
                                                      "cannot drive the bus")
                                           .arg(pty, QString::fromLocal8Bit(strerror(ENOTTY))));
    close(slave);
    close(master);
}

TEST(AdapterInfo, TheFamilyComesFromTheKernelDriverOrTheUsbIdsWithWhatTheUserMustKnow) {
    using F = AdapterInfo::Family;
    // A sysfs tree of our own: /class/tty/<name>/device/driver links to the driver.
    QTemporaryDir sys;
    const struct {
        const char* tty;
        const char* driver;
        F family;
        const char* familyText;
        const char* warning; // a word the warning has ("" for none)
    } cases[] = {
        {"ttyUSB0", "ftdi_sio", F::Ftdi, "FTDI (ftdi_sio)", ""},
        {"ttyUSB1", "pl2303", F::Pl2303, "Prolific PL2303 (pl2303)", "\"auto\""},
        {"ttyUSB2", "ch341-uart", F::Ch34x, "WCH CH340/CH341 (ch341-uart)", "\"auto\""},
        {"ttyUSB3", "cp210x", F::Cp210x, "Silicon Labs CP210x (cp210x)", ""},
        {"ttyACM0", "cdc_acm", F::CdcAcm, "CDC-ACM (cdc_acm)", "CTS"},
        {"ttyS0", "serial8250", F::Native, "built-in 16550 UART (serial8250)", ""},
        {"ttyXY0", "xy_uart", F::Unknown, "unknown (driver xy_uart)", ""},
    };
    for (const auto& c : cases) {
        const QString dir = sys.filePath(QStringLiteral("class/tty/%1/device").arg(c.tty));
        const QString driver = sys.filePath(QStringLiteral("bus/drivers/") + c.driver);
        ASSERT_TRUE(QDir().mkpath(dir) && QDir().mkpath(driver));
        ASSERT_TRUE(QFile::link(driver, dir + QStringLiteral("/driver")));
        const AdapterInfo info =
            AdapterInfo::identify(QStringLiteral("/nonexistent/") + c.tty, sys.path());
        EXPECT_EQ(info.family, c.family) << c.tty;
        EXPECT_EQ(info.familyText(), QLatin1String(c.familyText));
        EXPECT_TRUE(info.warning().contains(QLatin1String(c.warning))) << c.tty;
        EXPECT_EQ(info.warning().isEmpty(), *c.warning == 0) << c.tty;
    }
    EXPECT_EQ(AdapterInfo::identify(QStringLiteral("/nonexistent/ttyUSB9"), sys.path()).family,
              F::Unknown);
    // Newer kernels: the tty's device is the serial core's port, below its controller, below
    // the UART itself.
    const QString uart = sys.filePath(QStringLiteral("devices/00:01"));
    ASSERT_TRUE(QDir().mkpath(uart + QStringLiteral("/ctrl/port")) &&
                QDir().mkpath(sys.filePath(QStringLiteral("class/tty/ttyS1"))));
    for (const char* level : {"/ctrl/port/driver port", "/ctrl/driver ctrl", "/driver serial"}) {
        const QStringList linkAndDriver = QString::fromLatin1(level).split(QLatin1Char(' '));
        const QString driver = sys.filePath(QStringLiteral("bus/drivers/") + linkAndDriver[1]);
        ASSERT_TRUE(QDir().mkpath(driver) && QFile::link(driver, uart + linkAndDriver[0]));
    }
    ASSERT_TRUE(QFile::link(uart + QStringLiteral("/ctrl/port"),
                            sys.filePath(QStringLiteral("class/tty/ttyS1/device"))));
    EXPECT_EQ(AdapterInfo::identify(QStringLiteral("/nonexistent/ttyS1"), sys.path()).driver,
              QStringLiteral("serial"));
    EXPECT_EQ(AdapterInfo::familyFromUsbIds(0x0403, 0x6015), F::Ftdi);
    EXPECT_EQ(AdapterInfo::familyFromUsbIds(0x10C4, 0xEA60), F::Cp210x);
    EXPECT_EQ(AdapterInfo::familyFromUsbIds(0x067B, 0x23A3), F::Pl2303);
    EXPECT_EQ(AdapterInfo::familyFromUsbIds(0x1A86, 0x7523), F::Ch34x);
    EXPECT_EQ(AdapterInfo::familyFromUsbIds(0x1A86, 0x55D4), F::Unknown); // a CH9102
    AdapterInfo ids;
    ids.vendorId = 0x0403;
    ids.productId = 0x6001;
    EXPECT_EQ(ids.usbIdText(), QStringLiteral("0403:6001"));
}

TEST(AdapterTiming, TheSettleTimeIsAutoOrMicrosecondsAndAnythingElseChangesNothing) {
    const AdapterTiming autoSettle = *AdapterTiming::withSettle({}, QStringLiteral(" AUTO "));
    EXPECT_TRUE(autoSettle.autoSettle);
    EXPECT_EQ(autoSettle.settleText(), QStringLiteral("auto"));
    const AdapterTiming fixed = *AdapterTiming::withSettle(autoSettle, QStringLiteral("250"));
    EXPECT_FALSE(fixed.autoSettle);
    EXPECT_EQ(fixed.settle, std::chrono::microseconds(250));
    EXPECT_EQ(fixed.settleText(), QStringLiteral("250"));
    const AdapterTiming spaced = *AdapterTiming::withMinChange(fixed, QStringLiteral("5"));
    EXPECT_EQ(spaced.minChange, std::chrono::microseconds(5));
    EXPECT_EQ(spaced.settle, fixed.settle);
    EXPECT_EQ(spaced.minChangeText(), QStringLiteral("5"));
    for (const char* bad : {"", "-1", "1.5", "2000000", "5us", "automatic"}) {
        EXPECT_FALSE(AdapterTiming::withSettle({}, QLatin1String(bad))) << bad;
        EXPECT_FALSE(AdapterTiming::withMinChange({}, QLatin1String(bad))) << bad;
    }
}
