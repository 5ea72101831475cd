// The real port path end to end: the real backend, QSerialPort and the kernel's pseudo-terminal,
// with the virtual adapter (preloaded by ctest) answering the modem-line calls from the test
// board. Each case gets a pseudo-terminal of its own; no real port is ever opened.
#include "actions/Tester.h"
#include "bus/AdapterInfo.h"
#include "bus/SerialPortBackend.h"
#include "model/AdapterTexts.h"
#include "model/FrontPanel.h"
#include "sim/SimulatedBoard.h"
#include "support/ScriptedDialogs.h"
#include "vadapter/VirtualAdapter.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>

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
    // brolmet-cli with the virtual adapter preloaded and a settings store of its own; the
    // exit status and standard error.
    std::pair<int, QString> cli(const QStringList& arguments, const QByteArray& settings = {}) {
        QTemporaryDir config;
        QFile store(config.filePath(QStringLiteral("Pellucor.conf")));
        EXPECT_TRUE(store.open(QIODevice::WriteOnly) && store.write(settings) == settings.size());
        store.close();
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), config.path());
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(TAMSOLVIX_CLI), arguments);
        EXPECT_TRUE(process.waitForFinished(60000));
        out = process.readAllStandardOutput();
        return {process.exitCode(), QString::fromUtf8(process.readAllStandardError())};
    }
    QByteArray out;

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
    EXPECT_EQ(rig.dialogs.repaints, 256); // the indicator is painted at every address
    EXPECT_EQ(rig.lineTest(), QStringLiteral("Line Probe OK !"));
    EXPECT_EQ(rig.dialogs.shown.back().detail, QStringLiteral("Adapter: pseudo-terminal"));
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
    settled.dialogs.thenMessage(); // the measured settle time, once, at the first power-on
    for (int run = 0; run < 20; ++run) {
        EXPECT_EQ(settled.scan(), kBoardChips) << "run " << run;
        EXPECT_EQ(settled.lineTest(), QStringLiteral("Line Probe OK !")) << "run " << run;
    }
    const auto& measured = settled.port.settleMeasurement();
    ASSERT_TRUE(measured && measured->followed);
    EXPECT_GE(measured->worst, std::chrono::microseconds(10)); // never before the lag
    EXPECT_EQ(settled.port.settleInEffect(), measured->settle);
    EXPECT_TRUE(settled.port.adapterNotes().contains(measured->summary()));
    ASSERT_EQ(settled.dialogs.messages().count(QStringLiteral("Adapter: pseudo-terminal")), 1);
    EXPECT_EQ(settled.dialogs.shown.front().detail, measured->summary());
    VadapterCounts c{};
    vadapterCounts(c);
    EXPECT_GE(c.minChangeGapNs, 5'000); // the minimum time per line change held
}

TEST_F(RealPort, BrolmetCliTellsTheAdapterAndTakesItsTimingFromOptionsOverSettings) {
    const QString adapter = QStringLiteral("brolmet-cli: Adapter: pseudo-terminal\n");
    const QString settled = QStringLiteral("brolmet-cli: DSR follows RTS at once");
    const QString path = QStringLiteral("1=") + device;
    // From the settings, then from the option over a bad stored value, which is named.
    auto [status, err] = cli({QStringLiteral("--device"), path, QStringLiteral("probe")},
                             "[Adapter]\nSettle=auto\n");
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(err.startsWith(adapter + settled)) << err.toStdString();
    std::tie(status, err) = cli({QStringLiteral("--device"), path, QStringLiteral("--settle"),
                                 QStringLiteral("auto"), QStringLiteral("probe")},
                                "[Adapter]\nSettle=soon\nMinChange=3\n");
    EXPECT_EQ(status, 0);
    EXPECT_EQ(err.section(u'\n', 0, 0),
              QStringLiteral("brolmet-cli: the setting Adapter/Settle 'soon' is not auto or "
                             "whole microseconds from 0 to 1000000: 0 is used"));
    EXPECT_TRUE(err.contains(adapter + settled));
    // Without "auto" only the family; the simulated board has no adapter to tell.
    std::tie(status, err) = cli({QStringLiteral("--device"), path, QStringLiteral("probe")});
    EXPECT_TRUE(err.startsWith(adapter + QStringLiteral("Line Probe OK !"))) << err.toStdString();
    std::tie(status, err) =
        cli({QStringLiteral("--board"), QStringLiteral("sim"), QStringLiteral("--settle"),
             QStringLiteral("auto"), QStringLiteral("probe")});
    EXPECT_EQ(err.toStdString(), "Line Probe OK !\n");
    for (const char* bad : {"--settle=soon", "--min-change=-1", "--settle=1.5"}) {
        std::tie(status, err) = cli({QStringLiteral("--board"), QStringLiteral("sim"),
                                     QLatin1String(bad), QStringLiteral("probe")});
        EXPECT_EQ(status, 2) << bad;
        EXPECT_TRUE(err.startsWith(QStringLiteral("brolmet-cli: bad --"))) << err.toStdString();
    }
    std::tie(status, err) =
        cli({QStringLiteral("--device"), path, QStringLiteral("ports"), QStringLiteral("--json")});
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(QJsonDocument::fromJson(out).object().value(QStringLiteral("ports")).isArray());
}

TEST(AdapterActions, TheTimingDialogChangesOnlyOnAnswersThatFitAndIsKeptInItsOwnGroup) {
    QTemporaryDir dir;
    QSettings store(dir.filePath(QStringLiteral("s.ini")), QSettings::IniFormat);
    SimulatedBoard board;
    FrontPanel panel;
    ScriptedDialogs dialogs;
    Tester tester(panel, board, dialogs);
    tester.startUp({});
    tester.shutDown(store); // nothing chosen: no adapter group
    EXPECT_FALSE(store.childGroups().contains(QStringLiteral("Adapter")));

    const struct {
        std::optional<const char*> settle, minChange; // nullopt: cancelled, or not asked
        const char* after;                            // settle/minimum afterwards
        bool refused;
    } steps[] = {
        {"auto", "7", "auto/7", false},         {std::nullopt, {}, "auto/7", false},
        {"250", std::nullopt, "auto/7", false}, {"12x", {}, "auto/7", true},
        {"250", "-3", "auto/7", true},          {" 250 ", "0", "250/0", false},
    };
    for (const auto& s : steps) {
        dialogs.shown.clear();
        dialogs.thenInput(s.settle ? std::optional(QLatin1String(*s.settle)) : std::nullopt);
        if (s.settle && QLatin1String(*s.settle) != u"12x")
            dialogs.thenInput(s.minChange ? std::optional(QLatin1String(*s.minChange))
                                          : std::nullopt);
        if (s.refused)
            dialogs.thenMessage();
        tester.adapter().Mset_adapter_Click();
        const AdapterTiming& t = tester.adapter().timing();
        EXPECT_EQ(t.settleText() + u'/' + t.minChangeText(), QLatin1String(s.after));
        EXPECT_TRUE(dialogs.scriptUsedUp()) << s.after;
        EXPECT_EQ(dialogs.shown.front().title, AdapterTexts::kTimingTitle);
        EXPECT_EQ(dialogs.messages().size(), s.refused ? 1 : 0);
    }
    tester.shutDown(store);
    EXPECT_EQ(store.value(QStringLiteral("Adapter/Settle")), QStringLiteral("250"));
    EXPECT_EQ(store.value(QStringLiteral("Adapter/MinChange")), QStringLiteral("0"));
    store.beginGroup(QStringLiteral("Setup"));
    EXPECT_EQ(store.childKeys().size(), 5); // the five keys stay as they are
    store.endGroup();
    store.setValue(QStringLiteral("Adapter/MinChange"), QStringLiteral("5"));
    EXPECT_EQ(AdapterTiming::readSettings(store).minChangeText(), QStringLiteral("5"));
}

TEST(AdapterInfo, ThePortListComesFromSysfsAloneWithThePortNumbersThatOpenEachDevice) {
    QTemporaryDir root;
    const QString sys = root.filePath(QStringLiteral("sys"));
    const auto write = [](const QString& path, const QByteArray& text) {
        QDir().mkpath(QFileInfo(path).path());
        QFile f(path);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(text);
    };
    const auto link = [](const QString& target, const QString& name) {
        QDir().mkpath(target);
        QDir().mkpath(QFileInfo(name).path());
        ASSERT_TRUE(QFile::link(target, name));
    };
    // An FTDI adapter: the tty's device below the USB interface, below the device with the ids.
    const QString usb = sys + QStringLiteral("/devices/usb1/1-1");
    for (const auto& [file, text] : {std::pair{"idVendor", "0403\n"},
                                     {"idProduct", "6001\n"},
                                     {"product", "FT232R USB UART\n"},
                                     {"serial", "A50285BI"}})
        write(usb + u'/' + QLatin1String(file), text);
    link(usb + QStringLiteral("/1-1:1.0/ttyUSB0"),
         sys + QStringLiteral("/class/tty/ttyUSB0/device"));
    link(sys + QStringLiteral("/bus/drivers/ftdi_sio"),
         usb + QStringLiteral("/1-1:1.0/ttyUSB0/driver"));
    // A UART, a free UART slot (type 0) and a virtual console (no device).
    for (const char* uart : {"ttyS0", "ttyS1"}) {
        const QString tty = sys + QStringLiteral("/class/tty/") + QLatin1String(uart);
        link(sys + QStringLiteral("/bus/drivers/serial8250"),
             tty + QStringLiteral("/device/driver"));
        write(tty + QStringLiteral("/type"), uart == std::string_view("ttyS0") ? "4\n" : "0\n");
    }
    QDir().mkpath(sys + QStringLiteral("/class/tty/tty0"));
    const QString byId = root.filePath(QStringLiteral("by-id/usb-FTDI_FT232R_A50285BI-if00"));
    QDir().mkpath(QFileInfo(byId).path());
    ASSERT_TRUE(QFile::link(QStringLiteral("/dev/ttyUSB0"), byId));

    PortDeviceMap map;
    map.map(2, byId);
    const SerialPortBackend port(map);
    const auto listed =
        AdapterTexts::listedPorts(AdapterInfo::listPorts(sys, QFileInfo(byId).path()), port);
    ASSERT_EQ(listed.size(), 2u);
    EXPECT_EQ(AdapterTexts::portLine(listed[0]),
              QStringLiteral("/dev/ttyS0: built-in 16550 UART (serial8250), port 1"));
    EXPECT_EQ(AdapterTexts::portLine(listed[1]),
              QStringLiteral("/dev/ttyUSB0: FT232R USB UART, FTDI (ftdi_sio), USB 0403:6001, "
                             "port 2\r\n    ") +
                  byId);
    EXPECT_EQ(listed[1].info.serialNumber, QStringLiteral("A50285BI"));
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
