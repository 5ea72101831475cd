// The real port path end to end: the real backend, QSerialPort and the kernel's pseudo-terminal,
// with the virtual adapter (preloaded by ctest) answering the modem-line calls from the test
// board. Each case gets a pseudo-terminal of its own; no real port is ever opened.
#include "bus/AdapterInfo.h"
#include "bus/SerialPortBackend.h"
#include "model/AdapterTexts.h"
#include "support/Rig.h"
#include "vadapter/VirtualAdapter.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSettings>

#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

namespace {

const QString kBoardChips = u"40 41 90 91 A0 A1 "_s, kProbeOk = u"Line Probe OK !"_s;

// The tool as the user drives it, on the pseudo-terminal as port 1.
struct PortRig {
    explicit PortRig(const QString& device, const QString& settle = u"0"_s,
                     const QString& minChange = u"0"_s)
        : port((map.mapAll(device), map)) {
        port.setAdapterTiming(
            *AdapterTiming::withMinChange(*AdapterTiming::withSettle({}, settle), minChange));
        tester.startUp({});
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

    PortDeviceMap map;
    SerialPortBackend port;
    FrontPanel panel;
    ScriptedDialogs dialogs;
    Tester tester{panel, port, dialogs};
};

struct RealPort : ::testing::Test, Scratch {
    int master = -1, slave = -1;
    QString device;
    QByteArray out;

    void SetUp() override {
        VadapterCounts c{};
        ASSERT_TRUE(vadapterCounts(c))
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
        EXPECT_TRUE(writeFile(path("Pellucor.conf"), settings));
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"XDG_CONFIG_HOME"_s, dir.path());
        environment.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(TAMSOLVIX_CLI), arguments);
        EXPECT_TRUE(process.waitForFinished(60000));
        out = process.readAllStandardOutput();
        return {process.exitCode(), QString::fromUtf8(process.readAllStandardError())};
    }
    static VadapterCounts counts() {
        VadapterCounts c{};
        vadapterCounts(c);
        return c;
    }
    static unsigned long long modemCalls() {
        const VadapterCounts c = counts();
        return c.get + c.bis + c.bic + c.set;
    }
};

// A link `name` to `target` in a sysfs tree of the test's own, with the folders of both.
void sysLink(const QString& target, const QString& name) {
    ASSERT_TRUE(QDir().mkpath(target) && QDir().mkpath(QFileInfo(name).path()));
    ASSERT_TRUE(QFile::link(target, name)) << name.toStdString();
}

} // namespace

TEST_F(RealPort, ScanLineTestAndResetCharacterWorkThroughTheKernel) {
    PortRig rig(device);
    const auto before = modemCalls();
    EXPECT_EQ(rig.scan(), kBoardChips);
    // One call per line change and read: 256 x 43 line operations and the checks on opening.
    EXPECT_LE(modemCalls() - before, 11'100u);
    EXPECT_EQ(rig.dialogs.repaints, 256); // the indicator is painted at every address
    EXPECT_EQ(rig.lineTest(), kProbeOk);
    EXPECT_EQ(rig.dialogs.shown.back().detail, u"Adapter: pseudo-terminal"_s);

    // An adapter that reads live needs no settle time. The reset character leaves at 2400 baud
    // 8N1 and arrives on the other side unchanged.
    rig.port.setAdapterTiming(*AdapterTiming::withSettle({}, u"auto"_s));
    ASSERT_TRUE(rig.port.open(nullptr));
    EXPECT_EQ(rig.port.settleInEffect(), AdapterTiming::Duration{0});
    rig.port.sendByte(0xF3);
    termios t{};
    ASSERT_EQ(tcgetattr(slave, &t), 0);
    EXPECT_EQ(cfgetospeed(&t), B2400);
    EXPECT_EQ(cfgetispeed(&t), B2400);
    EXPECT_EQ(t.c_cflag & (CSIZE | PARENB | CSTOPB | CRTSCTS), tcflag_t{CS8});
    pollfd in{master, POLLIN, 0};
    unsigned char byte = 0;
    ASSERT_EQ(poll(&in, 1, 5000), 1);
    ASSERT_EQ(::read(master, &byte, 1), 1);
    EXPECT_EQ(byte, 0xF3);
    rig.port.close();
}

TEST_F(RealPort, ADeviceThatRefusesTheModemLineCallsGetsItsMessage) {
    qputenv("VADAPTER_REFUSE", "1");
    PortRig rig(device);
    rig.dialogs.thenMessage();
    rig.tester.power().TogglePower();
    EXPECT_FALSE(rig.port.isOpen());
    ASSERT_EQ(rig.dialogs.shown.size(), 1u);
    EXPECT_EQ(rig.dialogs.shown[0].detail,
              u"%1 has no modem-control lines (%2): it cannot drive the bus"_s.arg(
                  device, QString::fromLocal8Bit(strerror(ENOTTY))));
}

// An adapter that reads its lines from a status refreshed every 50 us, showing them as they
// were 10 us before: without a settle time the reads after a clock edge see the old level.
TEST_F(RealPort, ACachedStatusIsReadRightOnlyAfterTheMeasuredSettleTime) {
    qputenv("VADAPTER_CACHE_US", "50,10");
    PortRig stale(device);
    EXPECT_NE(stale.scan(), kBoardChips);
    EXPECT_NE(stale.lineTest(), kProbeOk);

    PortRig settled(device, u"auto"_s, u"5"_s);
    settled.dialogs.thenMessage(); // the measured settle time, once, at the first power-on
    for (int run = 0; run < 20; ++run) {
        EXPECT_EQ(settled.scan(), kBoardChips) << "run " << run;
        EXPECT_EQ(settled.lineTest(), kProbeOk) << "run " << run;
    }
    const auto& measured = settled.port.settleMeasurement();
    ASSERT_TRUE(measured && measured->followed);
    EXPECT_GE(measured->worst, std::chrono::microseconds(10)); // never before the lag
    EXPECT_EQ(settled.port.settleInEffect(), measured->settle);
    EXPECT_TRUE(settled.port.adapterNotes().contains(measured->summary()));
    ASSERT_EQ(settled.dialogs.messages().count(u"Adapter: pseudo-terminal"_s), 1);
    EXPECT_EQ(settled.dialogs.shown.front().detail, measured->summary());
    EXPECT_GE(counts().minChangeGapNs, 5'000); // the minimum time per line change held
}

TEST_F(RealPort, BrolmetCliTellsTheAdapterAndTakesItsTimingFromOptionsOverSettings) {
    const QString adapter = u"brolmet-cli: Adapter: pseudo-terminal\n"_s;
    const QString settled = u"brolmet-cli: DSR follows RTS at once"_s;
    const QStringList probe{"--device", "1=" + device, "probe"};
    // From the settings, then from the option over a bad stored value, which is named.
    auto [status, err] = cli(probe, "[Adapter]\nSettle=auto\n");
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(err.startsWith(adapter + settled)) << err.toStdString();
    std::tie(status, err) =
        cli(QStringList{"--settle", "auto"} + probe, "[Adapter]\nSettle=soon\nMinChange=3\n");
    EXPECT_EQ(status, 0);
    EXPECT_EQ(err.section(u'\n', 0, 0),
              u"brolmet-cli: the setting Adapter/Settle 'soon' is not auto or whole microseconds "
              u"from 0 to 1000000: 0 is used"_s);
    EXPECT_TRUE(err.contains(adapter + settled));
    // Without "auto" only the family; the simulated board has no adapter to tell.
    EXPECT_TRUE(cli(probe).second.startsWith(adapter + kProbeOk));
    EXPECT_EQ(cli({"--board", "sim", "--settle", "auto", "probe"}).second, kProbeOk + u'\n');
    for (const char* bad : {"--settle=soon", "--min-change=-1", "--settle=1.5"}) {
        std::tie(status, err) = cli({"--board", "sim", bad, "probe"});
        EXPECT_EQ(status, 2) << bad;
        EXPECT_TRUE(err.startsWith(u"brolmet-cli: bad --"_s)) << err.toStdString();
    }
    EXPECT_EQ(cli({"--device", "1=" + device, "ports", "--json"}).first, 0);
    EXPECT_TRUE(QJsonDocument::fromJson(out).object().value(u"ports"_s).isArray());
}

TEST(AdapterActions, TheTimingDialogChangesOnlyOnAnswersThatFitAndIsKeptInItsOwnGroup) {
    Rig rig;
    QSettings store(rig.path("s.ini"), QSettings::IniFormat);
    rig.tester->shutDown(store); // nothing chosen: no adapter group
    EXPECT_FALSE(store.childGroups().contains(u"Adapter"_s));

    const auto answer = [](const char* a) {
        return a ? std::optional(QString::fromLatin1(a)) : std::nullopt;
    };
    const struct {
        const char *settle, *minChange; // nullptr: cancelled, or not asked
        const char* after;              // settle/minimum afterwards
        bool refused;
    } steps[] = {
        {"auto", "7", "auto/7", false},    {nullptr, nullptr, "auto/7", false},
        {"250", nullptr, "auto/7", false}, {"12x", nullptr, "auto/7", true},
        {"250", "-3", "auto/7", true},     {" 250 ", "0", "250/0", false},
    };
    for (const auto& s : steps) {
        rig.dialogs.shown.clear();
        rig.dialogs.thenInput(answer(s.settle));
        if (s.settle && qstrcmp(s.settle, "12x") != 0)
            rig.dialogs.thenInput(answer(s.minChange));
        if (s.refused)
            rig.dialogs.thenMessage();
        rig.tester->adapter().Mset_adapter_Click();
        const AdapterTiming& t = rig.tester->adapter().timing();
        EXPECT_EQ(t.settleText() + u'/' + t.minChangeText(), QLatin1String(s.after));
        EXPECT_TRUE(rig.dialogs.scriptUsedUp()) << s.after;
        EXPECT_EQ(rig.dialogs.shown.front().title, AdapterTexts::kTimingTitle);
        EXPECT_EQ(rig.dialogs.messages().size(), s.refused ? 1 : 0);
    }
    rig.tester->shutDown(store);
    EXPECT_EQ(store.value(u"Adapter/Settle"_s), u"250"_s);
    EXPECT_EQ(store.value(u"Adapter/MinChange"_s), u"0"_s);
    store.beginGroup(u"Setup"_s);
    EXPECT_EQ(store.childKeys().size(), 5); // the five keys stay as they are
    store.endGroup();
    store.setValue(u"Adapter/MinChange"_s, u"5"_s);
    EXPECT_EQ(AdapterTiming::readSettings(store).minChangeText(), u"5"_s);
}

TEST(AdapterInfo, ThePortListComesFromSysfsAloneWithThePortNumbersThatOpenEachDevice) {
    Scratch root;
    const QString sys = root.path("sys"), usb = sys + u"/devices/usb1/1-1"_s;
    // An FTDI adapter: the tty's device below the USB interface, below the device with the ids.
    ASSERT_TRUE(QDir().mkpath(usb) && QDir().mkpath(root.path("by-id")));
    for (const auto& [file, text] : {std::pair{"idVendor", "0403\n"},
                                     {"idProduct", "6001\n"},
                                     {"product", "FT232R USB UART\n"},
                                     {"serial", "A50285BI"}})
        ASSERT_TRUE(writeFile(usb + u'/' + QLatin1String(file), text));
    sysLink(usb + u"/1-1:1.0/ttyUSB0"_s, sys + u"/class/tty/ttyUSB0/device"_s);
    sysLink(sys + u"/bus/drivers/ftdi_sio"_s, usb + u"/1-1:1.0/ttyUSB0/driver"_s);
    // A UART, a free UART slot (type 0) and a virtual console (no device).
    for (const char* uart : {"ttyS0", "ttyS1"}) {
        const QString tty = sys + u"/class/tty/"_s + QLatin1String(uart);
        sysLink(sys + u"/bus/drivers/serial8250"_s, tty + u"/device/driver"_s);
        ASSERT_TRUE(writeFile(tty + u"/type"_s, uart[4] == '0' ? "4\n" : "0\n"));
    }
    ASSERT_TRUE(QDir().mkpath(sys + u"/class/tty/tty0"_s));
    const QString byId = root.path("by-id/usb-FTDI_FT232R_A50285BI-if00");
    ASSERT_TRUE(QFile::link(u"/dev/ttyUSB0"_s, byId)); // only a name: nothing is opened

    PortDeviceMap map;
    map.map(2, byId);
    const SerialPortBackend port(map);
    const auto listed =
        AdapterTexts::listedPorts(AdapterInfo::listPorts(sys, root.path("by-id")), port);
    ASSERT_EQ(listed.size(), 2u);
    EXPECT_EQ(AdapterTexts::portLine(listed[0]),
              u"/dev/ttyS0: built-in 16550 UART (serial8250), port 1"_s);
    EXPECT_EQ(AdapterTexts::portLine(listed[1]),
              u"/dev/ttyUSB0: FT232R USB UART, FTDI (ftdi_sio), USB 0403:6001, port 2\r\n    "_s +
                  byId);
    EXPECT_EQ(listed[1].info.serialNumber, u"A50285BI"_s);
}

TEST(AdapterInfo, TheFamilyComesFromTheKernelDriverOrTheUsbIdsWithWhatTheUserMustKnow) {
    using F = AdapterInfo::Family;
    // A sysfs tree of our own: /class/tty/<name>/device/driver links to the driver.
    Scratch sys;
    const auto identify = [&](const char* tty) {
        return AdapterInfo::identify(u"/nonexistent/"_s + QLatin1String(tty), sys.dir.path());
    };
    const struct {
        const char *tty, *driver;
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
        sysLink(sys.path("bus/drivers/") + QLatin1String(c.driver),
                sys.path("class/tty/") + QLatin1String(c.tty) + u"/device/driver"_s);
        const AdapterInfo info = identify(c.tty);
        EXPECT_EQ(info.family, c.family) << c.tty;
        EXPECT_EQ(info.familyText(), QLatin1String(c.familyText));
        EXPECT_TRUE(info.warning().contains(QLatin1String(c.warning))) << c.tty;
        EXPECT_EQ(info.warning().isEmpty(), *c.warning == 0) << c.tty;
    }
    EXPECT_EQ(identify("ttyUSB9").family, F::Unknown);
    // Newer kernels: the tty's device is the serial core's port, below its controller, below
    // the UART itself.
    const QString uart = sys.path("devices/00:01");
    for (const auto& [at, driver] :
         {std::pair{"/ctrl/port/driver", "port"}, {"/ctrl/driver", "ctrl"}, {"/driver", "serial"}})
        sysLink(sys.path("bus/drivers/") + QLatin1String(driver), uart + QLatin1String(at));
    sysLink(uart + u"/ctrl/port"_s, sys.path("class/tty/ttyS1/device"));
    EXPECT_EQ(identify("ttyS1").driver, u"serial"_s);
    for (const auto& [vendor, product, family] : {std::tuple{0x0403, 0x6015, F::Ftdi},
                                                  {0x10C4, 0xEA60, F::Cp210x},
                                                  {0x067B, 0x23A3, F::Pl2303},
                                                  {0x1A86, 0x7523, F::Ch34x},
                                                  {0x1A86, 0x55D4, F::Unknown}})
        EXPECT_EQ(AdapterInfo::familyFromUsbIds(static_cast<std::uint16_t>(vendor),
                                                static_cast<std::uint16_t>(product)),
                  family); // 1A86:55D4 is a CH9102
}

TEST(AdapterTiming, TheSettleTimeIsAutoOrMicrosecondsAndAnythingElseChangesNothing) {
    const AdapterTiming autoSettle = *AdapterTiming::withSettle({}, u" AUTO "_s);
    EXPECT_TRUE(autoSettle.autoSettle);
    EXPECT_EQ(autoSettle.settleText(), u"auto"_s);
    const AdapterTiming fixed = *AdapterTiming::withSettle(autoSettle, u"250"_s);
    const AdapterTiming spaced = *AdapterTiming::withMinChange(fixed, u"5"_s);
    EXPECT_FALSE(spaced.autoSettle);
    EXPECT_EQ(spaced.settle, std::chrono::microseconds(250));
    EXPECT_EQ(spaced.minChange, std::chrono::microseconds(5));
    EXPECT_EQ(spaced.settleText() + u'/' + spaced.minChangeText(), u"250/5"_s);
    for (const char* bad : {"", "-1", "1.5", "2000000", "5us", "automatic"}) {
        EXPECT_FALSE(AdapterTiming::withSettle({}, QLatin1String(bad))) << bad;
        EXPECT_FALSE(AdapterTiming::withMinChange({}, QLatin1String(bad))) << bad;
    }
}
