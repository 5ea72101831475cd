// The actions without a window: start-up and settings, power and port, the set-up dialogs,
// the device scan and the line test.
#include "bus/PortDeviceMap.h"
#include "bus/SerialPortBackend.h"
#include "support/Rig.h"

#include <QCoreApplication>
#include <QSettings>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <pty.h>
#include <unistd.h>

namespace {

struct Counted : LevelRecorder {
    int count = 0;
    void recordLevel(Line, bool) override { ++count; }
};

const QString kPortQuestion =
    QStringLiteral("Serial Port (1,2,3,4)?\r\nActual: 1|Port Number Setting.|");

} // namespace

TEST_F(RigTest, StartsInTheStartState) {
    for (const StartState& s : kStartState)
        EXPECT_EQ(startState(s, &panel[s.control]), startState(s))
            << FrontPanel::name(s.control).toStdString();
    EXPECT_EQ(panel[Ctl::PowerG].colour, QColor(128, 255, 128));
    EXPECT_EQ(tester->timerSelection(), 0);
    EXPECT_EQ(state(), QStringLiteral("OFF closed analysing"));
    EXPECT_EQ(board->selectedPort(), 1);
}

TEST_F(RigTest, PowerOpensThePortForTheModeUnrecordedAndAnalysisFollowsTheCheckMark) {
    Counted trace;
    tester->lines().setRecorder(&trace);
    power().TogglePower(); // I2C: clock and data high, the bus idle
    EXPECT_EQ(state(), QStringLiteral("ON open analysing"));
    EXPECT_TRUE(board->wires().dtr && board->wires().rts);
    EXPECT_EQ(panel[Ctl::PowerG].colour, QColor(255, 128, 128));
    EXPECT_FALSE(panel.isEnabled(Ctl::Mset_micro));
    EXPECT_EQ(trace.count, 0);             // analysis was suspended while switching
    panel.setChecked(Ctl::Anal_be, false); // analysis comes back from the check mark only
    power().TogglePower();
    EXPECT_EQ(state(), QStringLiteral("OFF closed"));
    EXPECT_EQ(panel[Ctl::PowerG].colour, QColor(128, 255, 128));
    EXPECT_TRUE(panel.isEnabled(Ctl::Mset_micro));
    panel.setChecked(Ctl::Anal_be, true);
    setup().Mset_micro_Click(); // Microwire: data high, clock low
    power().TogglePower();
    EXPECT_EQ(state(), QStringLiteral("ON open analysing"));
    EXPECT_TRUE(board->wires().dtr && !board->wires().rts);
    EXPECT_EQ(trace.count, 0);

    // Choosing a port while powered switches off; TogglePower brought analysis back before
    // the stop condition was driven: three line changes and the two idle records after a stop.
    // Without the check mark nothing is recorded.
    power().TogglePower();
    setup().Mset_micro_Click();
    for (const bool analysis : {true, false}) {
        panel.setChecked(Ctl::Anal_be, analysis);
        power().TogglePower();
        trace.count = 0;
        dialogs.thenInput(QStringLiteral("1"));
        power().ChoosePort();
        EXPECT_EQ(state(),
                  analysis ? QStringLiteral("OFF closed analysing") : QStringLiteral("OFF closed"));
        EXPECT_EQ(trace.count, analysis ? 5 : 0);
    }
    EXPECT_TRUE(dialogs.messages().isEmpty());
}

TEST(TesterPower, AFailedPowerOnSaysSoAndStaysOnUntilSwitchedOff) {
    for (const char* microwire : {"0", "1"}) {
        Rig r("bare", {QStringLiteral("5"), QStringLiteral("1000"), QLatin1String(microwire)});
        EXPECT_EQ(r.bar(1), QStringLiteral("Port: 5"));
        r.dialogs.thenMessage();
        r.power().TogglePower();
        EXPECT_EQ(r.dialogs.messages(),
                  QStringList{*microwire == '1' ? "Not Valid Com Port!\r\nPlease Check!"
                                                : "Error! Not foung free Comm Port!"});
        EXPECT_TRUE(r.dialogs.shown.front().detail.contains(QStringLiteral("does not exist")));
        EXPECT_EQ(r.state(), QStringLiteral("ON closed analysing"));
        r.tester->microwire().resetPulse(9); // on a closed port: nothing sent, and it goes on
        EXPECT_TRUE(r.board->sentCharacters().empty());
        r.power().TogglePower();
        EXPECT_EQ(r.state(), QStringLiteral("OFF closed analysing"));
    }
}

TEST(TesterChoosePort, EveryKindOfAnswerSelectsAPortTestsItAndLeavesItClosed) {
    const std::pair<std::optional<QString>, int> cases[] = {
        {"3", 3}, {"7", 1}, {"0", 1}, {"abc", 1}, {std::nullopt, 1}, {"&h2", 2}, {"4.99", 4}};
    for (const auto& [answer, port] : cases) {
        Rig r;
        r.board->setPortState(3, SimulatedBoard::PortState::Free);
        r.board->setPortState(4, SimulatedBoard::PortState::Free);
        r.dialogs.thenInput(answer);
        r.power().ChoosePort();
        EXPECT_EQ(std::pair(r.tester->portNumber(), r.board->selectedPort()),
                  std::pair(port, port));
        EXPECT_EQ(r.bar(1), QStringLiteral("Port: %1").arg(port));
        EXPECT_EQ(r.state(), QStringLiteral("OFF closed analysing"));
        EXPECT_EQ(r.board->opens(), 1);
        EXPECT_EQ(r.dialogs.shown.size(), 1u);
        EXPECT_EQ(r.dialogs.asked(0), kPortQuestion);
    }
}

TEST_F(RigTest, ABusyPortAsksAgainAndCancellingThenKeepsThePortChosenBefore) {
    dialogs.thenInput(QStringLiteral("3")).thenMessage().thenInput(QStringLiteral("2"));
    dialogs.thenInput(QStringLiteral("4")).thenMessage().thenInput(std::nullopt);
    power().ChoosePort();
    power().ChoosePort();
    EXPECT_EQ(dialogs.messages(), QStringList(2, "Error! Not free or valid Comm Port!"));
    EXPECT_TRUE(dialogs.shown[1].detail.contains(QStringLiteral("in use")));
    EXPECT_EQ(dialogs.asked(2), kPortQuestion);
    EXPECT_EQ(std::pair(tester->portNumber(), board->selectedPort()), std::pair(2, 2));
    EXPECT_EQ(bar(1), QStringLiteral("Port: 2"));
    EXPECT_FALSE(board->isOpen());
}

TEST_F(RigTest, PanelDoubleClicksGoByTheTextNotThePosition) {
    dialogs.thenInput(QStringLiteral("2"));
    setup().Status_PanelDblClick(1); // "Port: 1"
    EXPECT_EQ(tester->portNumber(), 2);
    panel.setText(Ctl::Panel1, QStringLiteral("Port:2")); // no blank: not a port text
    setup().Status_PanelDblClick(1);
    panel.setText(Ctl::Panel1, QStringLiteral("Port: 5"));
    for (int n : {1, 2, 3, 4, 10, 11})
        setup().Status_PanelDblClick(n);
    panel.setText(Ctl::Panel4, QStringLiteral("Port: 3")); // any panel with the text
    dialogs.thenInput(QStringLiteral("1"));
    setup().Status_PanelDblClick(4);
    EXPECT_EQ(dialogs.shown.size(), 2u);
    power().TogglePower();
    setup().Status_PanelDblClick(9); // "I2C" while powered: nothing
    power().TogglePower();
    setup().Status_PanelDblClick(9);
    EXPECT_EQ(bar(9), QStringLiteral("Microwire"));
    setup().Status_PanelDblClick(9);
    EXPECT_FALSE(panel.isChecked(Ctl::Mset_micro));
}

TEST_F(RigTest, TheNoteCanBeEditedButNeverEmptied) {
    dialogs.thenInput(QStringLiteral("EEPROM at A0")).thenInput(QString()).thenInput(std::nullopt);
    for (int i = 0; i < 3; ++i)
        setup().EditNote();
    EXPECT_EQ(dialogs.asked(0), QStringLiteral("Sequences Comment: |No Title| "));
    EXPECT_EQ(dialogs.shown[2].defaultText, QStringLiteral("EEPROM at A0"));
    EXPECT_EQ(tester->noteText(), QStringLiteral("EEPROM at A0"));
    EXPECT_EQ(panel.text(Ctl::Megjegyzes), QStringLiteral("Note: EEPROM at A0"));
}

TEST_F(RigTest, TheModeSwitchShowsEitherColumnAndKeepsTheStartBitTextWhenGreyed) {
    const auto labels = [&] {
        QString all;
        for (Ctl c : {Ctl::Label3, Ctl::Label4, Ctl::Label7, Ctl::Label8, Ctl::Label10,
                      Ctl::Label13, Ctl::Label14})
            all += panel.text(c) + '(' + panel[c].toolTip + ") ";
        return all + bar(9) + ' ' + bar(10) + (panel.isEnabled(Ctl::Panel10) ? "" : " greyed");
    };
    panel.setChecked(Ctl::Mset_start, true); // the check mark decides the start bit
    setup().Mset_micro_Click();
    EXPECT_EQ(labels(),
              QStringLiteral("Start(Start bit ON (1)) +() +() Stop() Start(Start bit ON (1)) +() "
                             "Stop() Microwire S:ON"));
    EXPECT_TRUE(tester->startBitOn() && panel.isEnabled(Ctl::Panel11) &&
                panel.isEnabled(Ctl::Mset_reset));
    EXPECT_FALSE(panel.isEnabled(Ctl::Mset_Device));
    setup().Mset_micro_Click();
    EXPECT_EQ(labels(),
              QStringLiteral("Start() A(Acknowledge) A(Acknowledge) A Stop(Acknowledge & Stop) "
                             "Start() A(Acknowledge) A Stop(Acknowledge & Stop) I2C S:ON greyed"));
    EXPECT_TRUE(tester->startBitOn());
    panel.setChecked(Ctl::Mset_start, false);
    setup().Mset_micro_Click();
    EXPECT_FALSE(tester->startBitOn());
    EXPECT_EQ(bar(10), QStringLiteral("S:OFF"));
}

TEST(TesterUnplug, ALostAdapterIsReportedOnceAndSwitchedOff) {
    Rig r("unplug");
    r.power().TogglePower();
    for (int i = 0; i < 3000; ++i) // a run that outlives the adapter
        r.tester->lines().clockLow(), r.tester->lines().readData(), r.tester->lines().clockHigh();
    EXPECT_TRUE(r.tester->powerOn()); // nothing happens inside the run itself
    r.dialogs.thenMessage();
    QCoreApplication::processEvents();
    EXPECT_EQ(r.texts({Ctl::PowerG}), QStringLiteral("Power OFF"));
    ASSERT_EQ(r.dialogs.shown.size(), 1u);
    EXPECT_TRUE(r.dialogs.shown[0].detail.contains(QStringLiteral("unplugged")));
    EXPECT_TRUE(r.dialogs.scriptUsedUp());
}

TEST(TesterSettings, FirstStartWritesTheDefaultsAndAStoredMicrowireStartComesBack) {
    Scratch scratch;
    QSettings store(scratch.path("Pellucor.ini"), QSettings::IniFormat);
    Rig first("bare", Tester::readSettings(store));
    first.power().TogglePower();
    first.tester->shutDown(store);
    EXPECT_EQ(first.state(), QStringLiteral("ON closed analysing")); // the flag is left alone
    QStringList written;
    for (const char* key : {"Port", "Timer", "Microwire", "Analizis", "Start"})
        written << store.value(QStringLiteral("Setup/") + QLatin1String(key)).toString();
    EXPECT_EQ(written, QStringList({" 1", " 1000", "0", "True", "False"}));

    for (const auto& [key, value] : {std::pair{"Microwire", "1"},
                                     {"Start", "True"},
                                     {"Port", "5"},
                                     {"Analizis", "true"}, // not "True"
                                     {"Timer", "1e99"}})   // absurd, no crash
        store.setValue(QStringLiteral("Setup/") + QLatin1String(key), QLatin1String(value));
    Rig again("bare", Tester::readSettings(store));
    EXPECT_TRUE(again.panel.isChecked(Ctl::Mset_micro) && again.panel.isChecked(Ctl::Mset_start));
    EXPECT_EQ(again.texts({Ctl::Panel1, Ctl::Panel10}), QStringLiteral("Port: 5|S:ON"));
    EXPECT_EQ(again.panel[Ctl::Label10].toolTip, QStringLiteral("Start bit ON (1)"));
    EXPECT_EQ(again.state(), QStringLiteral("OFF closed"));
    EXPECT_EQ(again.tester->timerInterval(), 65535);
    // Commas left unquoted in the file: the value is still the text as written (port 1).
    ASSERT_TRUE(writeFile(scratch.path("raw.ini"), "[Setup]\nPort=1, 2, 3\n"));
    QSettings listed(scratch.path("raw.ini"), QSettings::IniFormat);
    EXPECT_EQ(Tester::readSettings(listed).port, QStringLiteral("1, 2, 3"));
    EXPECT_EQ(Rig("bare", Tester::readSettings(listed)).bar(1), QStringLiteral("Port: 1"));
}

TEST(SerialPortBackend, AMissingDeviceOrOneWithoutModemLinesFailsToOpenWithAReason) {
    const QString dev = QStringLiteral("/tmp/adapter");
    EXPECT_TRUE(SerialPortBackend::openFailureReason(QSerialPort::PermissionError, dev, {})
                    .contains(QStringLiteral("dialout")));
    EXPECT_TRUE(SerialPortBackend::openFailureReason(QSerialPort::DeviceNotFoundError, dev, {})
                    .contains(QStringLiteral("/tmp/adapter does not exist")));
    EXPECT_TRUE(SerialPortBackend::openFailureReason(QSerialPort::UnknownError, dev, {}).isEmpty());
    // A path that cannot be a device: the open fails before any hardware is touched.
    PortDeviceMap map;
    map.mapAll(QStringLiteral("/nonexistent/tamsolvix-test-port"));
    SerialPortBackend port(map);
    QString why;
    EXPECT_FALSE(port.open(&why) || port.isOpen() || why.isEmpty());
    port.setDtr(true); // accepted while closed
    EXPECT_TRUE(port.cts());

    // A pseudo-terminal opens as a terminal but has no modem lines: refused, the user is told
    // why, and the adapter gets no power.
    int master = -1, slave = -1;
    ASSERT_EQ(openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
    const QString pty = QString::fromLocal8Bit(ttyname(slave));
    ASSERT_TRUE(map.applyOption(QStringLiteral("2=") + pty));
    SerialPortBackend ptyPort(map);
    FrontPanel panel;
    ScriptedDialogs dialogs;
    Tester tester(panel, ptyPort, dialogs);
    tester.startUp({QStringLiteral("2")});
    dialogs.thenMessage();
    tester.power().TogglePower();
    EXPECT_FALSE(ptyPort.isOpen());
    ASSERT_EQ(dialogs.shown.size(), 1u);
    EXPECT_EQ(dialogs.shown[0].detail,
              QStringLiteral("%1 has no modem-control lines (%2): it cannot drive the bus")
                  .arg(pty, QString::fromLocal8Bit(strerror(ENOTTY))));
    close(slave);
    close(master);
}

TEST_F(RigTest, DeviceDetectReportsWhatAnsweredAndLeavesThePowerOff) {
    // Nothing on the bus: the data line stays high. Data in stuck low: every address byte
    // "acknowledges", which is no device at all.
    const std::tuple<const char*, int, const char*> cases[] = {
        {"bare", 0, "Acknowledge Not Found !\r\n||Sequence 1: Stop|"},
        {"cts-low", 256, "Device Not Found !\r\n||Sequence 1: Stop|A"},
        {"", 6,
         "Acknowledge Found !\r\nAddres:   64  65  144  145  160  161\r\n|40 41 90 91 A0 A1 "
         "|Sequence 1: Stop|A"}};
    for (const auto& [variant, acknowledged, shown] : cases) {
        start(variant);
        const DeviceScan::Acknowledged found = diagnostics().DeviceDetect();
        EXPECT_EQ(std::count(found.begin(), found.end(), true), acknowledged) << variant;
        EXPECT_EQ(texts({Ctl::Dump1, Ctl::Hex1, Ctl::Panel2, Ctl::Panel4}), QLatin1String(shown));
    }
    EXPECT_EQ(std::pair(dialogs.beeps, dialogs.yields), std::pair(3, 3));

    start();
    board->attach(std::make_unique<AckDevice>(0x00));
    board->attach(std::make_unique<AckDevice>(0xA0));
    runs().selectOption(Ctl::Ns1);
    power().TogglePower(); // already powered: off at the end all the same
    const DeviceScan::Acknowledged found = diagnostics().DeviceDetect();
    EXPECT_TRUE(found[0] && found[1] && found[0xA0] && found[0xA1]);
    EXPECT_EQ(
        texts({Ctl::Dump1, Ctl::Hex1, Ctl::Analog_be_sz}),
        QStringLiteral("Acknowledge Found !\r\nAddres:   0  1  160  161\r\n|0 1 A0 A1 | 255"));
    EXPECT_EQ(state(), QStringLiteral("OFF closed analysing")); // analysis is back on
    EXPECT_FALSE(tester->timer().isActive());
    EXPECT_TRUE(panel.isChecked(Ctl::Noff));
    EXPECT_EQ(panel.value(Ctl::Analog_be), 0);
}

TEST_F(RigTest, LineProbePassesOnTheStrapAndListsEveryFaultyPeriod) {
    QString rises, falls;
    for (int p = 0; p < 255; ++p)
        rises += QStringLiteral(" %1/").arg(p), falls += QStringLiteral(" %1\\").arg(p);
    const QString fail = QStringLiteral("Line Probe Fail !!\r\nSeveral Periods:");
    for (const auto& [variant, expected] : {std::pair{"", QStringLiteral("Line Probe OK !")},
                                            {"dsr-low", fail + rises},
                                            {"dsr-high", fail + falls},
                                            {"dsr-late", QStringLiteral("Line Probe OK !")}}) {
        start(variant);
        dialogs.shown.clear();
        dialogs.yields = 0;
        dialogs.thenMessage();
        EXPECT_EQ(diagnostics().LineProbe().passed, expected.endsWith(u"OK !")) << variant;
        EXPECT_EQ(dialogs.messages(), QStringList{expected}) << variant;
        EXPECT_EQ(dialogs.yields, 11);
        EXPECT_EQ(state(), QStringLiteral("OFF closed analysing"));
    }
}
