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

const QString kPortQuestion = u"Serial Port (1,2,3,4)?\r\nActual: 1|Port Number Setting.|"_s;

} // namespace

TEST_F(RigTest, StartsInTheStartStateAndPowerOpensThePortForTheMode) {
    for (const StartState& s : kStartState)
        EXPECT_EQ(startState(s, &panel[s.control]), startState(s))
            << FrontPanel::name(s.control).toStdString();
    EXPECT_EQ(panel[PowerG].colour, QColor(128, 255, 128));
    EXPECT_EQ(state(), u"OFF closed analysing"_s);
    EXPECT_EQ(std::pair(tester->timerSelection(), board->selectedPort()), std::pair(0, 1));

    // Power opens the port for the mode, unrecorded; analysis follows the check mark.
    Counted trace;
    tester->lines().setRecorder(&trace);
    power().TogglePower(); // I2C: clock and data high, the bus idle
    EXPECT_EQ(state(), u"ON open analysing"_s);
    EXPECT_EQ(panel[PowerG].colour, QColor(255, 128, 128));
    // Analysis was suspended while switching.
    EXPECT_TRUE(board->wires().dtr && board->wires().rts && !panel.isEnabled(Mset_micro) &&
                !trace.count);
    panel.setChecked(Anal_be, false); // analysis comes back from the check mark only
    power().TogglePower();
    EXPECT_EQ(state(), u"OFF closed"_s);
    EXPECT_EQ(panel[PowerG].colour, QColor(128, 255, 128));
    EXPECT_TRUE(panel.isEnabled(Mset_micro));
    panel.setChecked(Anal_be, true);
    setup().Mset_micro_Click(); // Microwire: data high, clock low
    power().TogglePower();
    EXPECT_EQ(state(), u"ON open analysing"_s);
    EXPECT_TRUE(board->wires().dtr && !board->wires().rts && trace.count == 0);

    // Choosing a port while powered switches off; TogglePower brought analysis back before
    // the stop condition was driven: three line changes and the two idle records after a stop.
    // Without the check mark nothing is recorded.
    power().TogglePower();
    setup().Mset_micro_Click();
    for (const bool analysis : {true, false}) {
        panel.setChecked(Anal_be, analysis);
        power().TogglePower();
        trace.count = 0;
        dialogs.thenInput(u"1"_s);
        power().ChoosePort();
        EXPECT_EQ(state(), analysis ? u"OFF closed analysing"_s : u"OFF closed"_s);
        EXPECT_EQ(trace.count, analysis ? 5 : 0);
    }
    EXPECT_TRUE(dialogs.messages().isEmpty());
}

TEST(TesterPower, AFailedPowerOnAndALostAdapterAreSaidOnce) {
    for (const auto& [microwire, message] : {std::pair{"0", "Error! Not foung free Comm Port!"},
                                             {"1", "Not Valid Com Port!\r\nPlease Check!"}}) {
        Rig r("bare", {u"5"_s, u"1000"_s, QLatin1String(microwire)});
        EXPECT_EQ(r.bar(1), u"Port: 5"_s);
        r.dialogs.thenMessage();
        r.power().TogglePower();
        EXPECT_EQ(r.dialogs.messages(), QStringList{message});
        EXPECT_TRUE(r.dialogs.shown[0].detail.contains(u"does not exist"_s));
        EXPECT_EQ(r.state(), u"ON closed analysing"_s);
        r.tester->microwire().resetPulse(9); // on a closed port: nothing sent, and it goes on
        EXPECT_EQ(r.board->sentCharacters().size(), 0u);
        r.power().TogglePower();
        EXPECT_EQ(r.state(), u"OFF closed analysing"_s);
    }

    // A lost adapter is reported once and switched off.
    Rig r("unplug");
    r.power().TogglePower();
    for (int i = 0; i < 3000; ++i) // a run that outlives the adapter
        r.tester->lines().clockLow(), r.tester->lines().readData(), r.tester->lines().clockHigh();
    EXPECT_TRUE(r.tester->powerOn()); // nothing happens inside the run itself
    r.dialogs.thenMessage();
    QCoreApplication::processEvents();
    EXPECT_EQ(r.texts({PowerG}), u"Power OFF"_s);
    ASSERT_EQ(r.dialogs.shown.size(), 1u);
    EXPECT_TRUE(r.dialogs.shown[0].detail.contains(u"unplugged"_s) && r.dialogs.scriptUsedUp());
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
        EXPECT_EQ(r.bar(1), u"Port: %1"_s.arg(port));
        EXPECT_EQ(r.state(), u"OFF closed analysing"_s);
        EXPECT_EQ(std::pair(r.board->opens(), r.dialogs.shown.size()),
                  std::pair(1, std::size_t(1)));
        EXPECT_EQ(r.dialogs.asked(0), kPortQuestion);
    }
}

TEST_F(RigTest, ABusyPortAsksAgainAndCancellingThenKeepsThePortChosenBefore) {
    dialogs.thenInput(u"3"_s).thenMessage().thenInput(u"2"_s);
    dialogs.thenInput(u"4"_s).thenMessage().thenInput(std::nullopt);
    power().ChoosePort();
    power().ChoosePort();
    EXPECT_EQ(dialogs.messages(), QStringList(2, "Error! Not free or valid Comm Port!"));
    EXPECT_TRUE(dialogs.shown[1].detail.contains(u"in use"_s));
    EXPECT_EQ(dialogs.asked(2), kPortQuestion);
    EXPECT_EQ(std::pair(tester->portNumber(), board->selectedPort()), std::pair(2, 2));
    EXPECT_EQ(bar(1), u"Port: 2"_s);
    EXPECT_FALSE(board->isOpen());
}

TEST_F(RigTest, PanelDoubleClicksGoByTheTextAndTheNoteIsNeverEmptied) {
    dialogs.thenInput(u"2"_s);
    setup().Status_PanelDblClick(1); // "Port: 1"
    EXPECT_EQ(tester->portNumber(), 2);
    panel.setText(Panel1, u"Port:2"_s); // no blank: not a port text
    setup().Status_PanelDblClick(1);
    panel.setText(Panel1, u"Port: 5"_s);
    for (int n : {1, 2, 3, 4, 10, 11})
        setup().Status_PanelDblClick(n);
    panel.setText(Panel4, u"Port: 3"_s); // any panel with the text
    dialogs.thenInput(u"1"_s);
    setup().Status_PanelDblClick(4);
    EXPECT_EQ(dialogs.shown.size(), 2u);
    power().TogglePower();
    setup().Status_PanelDblClick(9); // "I2C" while powered: nothing
    power().TogglePower();
    setup().Status_PanelDblClick(9);
    EXPECT_EQ(bar(9), u"Microwire"_s);
    setup().Status_PanelDblClick(9);
    EXPECT_FALSE(panel.isChecked(Mset_micro));

    // The note can be edited but never emptied.
    dialogs.shown.clear();
    dialogs.thenInput(u"EEPROM at A0"_s).thenInput(QString()).thenInput(std::nullopt);
    for (int i = 0; i < 3; ++i)
        setup().EditNote();
    EXPECT_EQ(dialogs.asked(0), u"Sequences Comment: |No Title| "_s);
    EXPECT_EQ(dialogs.shown[2].defaultText, u"EEPROM at A0"_s);
    EXPECT_EQ(tester->noteText() + '|' + panel.text(Megjegyzes),
              u"EEPROM at A0|Note: EEPROM at A0"_s);
}

TEST_F(RigTest, TheModeSwitchShowsEitherColumnAndKeepsTheStartBitTextWhenGreyed) {
    const auto labels = [&] {
        QString all;
        for (Ctl c : {Label3, Label4, Label7, Label8, Label10, Label13, Label14})
            all += panel.text(c) + '(' + panel[c].toolTip + ") ";
        return all + bar(9) + ' ' + bar(10) + (panel.isEnabled(Panel10) ? "" : " greyed");
    };
    panel.setChecked(Mset_start, true); // the check mark decides the start bit
    setup().Mset_micro_Click();
    EXPECT_EQ(labels(), u"Start(Start bit ON (1)) +() +() Stop() Start(Start bit ON (1)) +() "
                        "Stop() Microwire S:ON"_s);
    EXPECT_TRUE(tester->startBitOn() && panel.isEnabled(Panel11) && panel.isEnabled(Mset_reset) &&
                !panel.isEnabled(Mset_Device));
    setup().Mset_micro_Click();
    EXPECT_EQ(labels(), u"Start() A(Acknowledge) A(Acknowledge) A Stop(Acknowledge & Stop) "
                        "Start() A(Acknowledge) A Stop(Acknowledge & Stop) I2C S:ON greyed"_s);
    EXPECT_TRUE(tester->startBitOn());
    panel.setChecked(Mset_start, false);
    setup().Mset_micro_Click();
    EXPECT_FALSE(tester->startBitOn());
    EXPECT_EQ(bar(10), u"S:OFF"_s);
}

TEST(TesterSettings, FirstStartWritesTheDefaultsAndAStoredMicrowireStartComesBack) {
    Scratch scratch;
    QSettings store(scratch.path("Pellucor.ini"), QSettings::IniFormat);
    Rig first("bare", Tester::readSettings(store));
    first.power().TogglePower();
    first.tester->shutDown(store);
    EXPECT_EQ(first.state(), u"ON closed analysing"_s); // the flag is left alone
    QStringList written;
    for (const char* key : {"Port", "Timer", "Microwire", "Analizis", "Start"})
        written << store.value(u"Setup/"_s + QLatin1String(key)).toString();
    EXPECT_EQ(written, QStringList({" 1", " 1000", "0", "True", "False"}));

    for (const auto& [key, value] : {std::pair{"Microwire", "1"},
                                     {"Start", "True"},
                                     {"Port", "5"},
                                     {"Analizis", "true"}, // not "True"
                                     {"Timer", "1e99"}})   // absurd, no crash
        store.setValue(u"Setup/"_s + QLatin1String(key), QLatin1String(value));
    Rig again("bare", Tester::readSettings(store));
    EXPECT_TRUE(again.panel.isChecked(Mset_micro) && again.panel.isChecked(Mset_start));
    EXPECT_EQ(again.texts({Panel1, Panel10}), u"Port: 5|S:ON"_s);
    EXPECT_EQ(again.panel[Label10].toolTip, u"Start bit ON (1)"_s);
    EXPECT_EQ(again.state() + ' ' + again.bar(8), u"OFF closed  65535mS"_s);
    // Commas left unquoted in the file: the value is still the text as written (port 1).
    ASSERT_TRUE(writeFile(scratch.path("raw.ini"), "[Setup]\nPort=1, 2, 3\n"));
    QSettings listed(scratch.path("raw.ini"), QSettings::IniFormat);
    EXPECT_EQ(Tester::readSettings(listed).port, u"1, 2, 3"_s);
    EXPECT_EQ(Rig("bare", Tester::readSettings(listed)).bar(1), u"Port: 1"_s);
}

TEST(SerialPortBackend, AMissingDeviceOrOneWithoutModemLinesFailsToOpenWithAReason) {
    const auto reason = [](QSerialPort::SerialPortError e) {
        return SerialPortBackend::openFailureReason(e, u"/tmp/adapter"_s, {});
    };
    EXPECT_TRUE(reason(QSerialPort::PermissionError).contains(u"dialout"_s));
    EXPECT_TRUE(
        reason(QSerialPort::DeviceNotFoundError).contains(u"/tmp/adapter does not exist"_s));
    EXPECT_TRUE(reason(QSerialPort::UnknownError).isEmpty());
    // A path that cannot be a device: the open fails before any hardware is touched.
    PortDeviceMap map;
    map.mapAll(u"/nonexistent/tamsolvix-test-port"_s);
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
    ASSERT_TRUE(map.applyOption(u"2="_s + pty));
    SerialPortBackend ptyPort(map);
    FrontPanel panel;
    ScriptedDialogs dialogs;
    Tester tester(panel, ptyPort, dialogs);
    tester.startUp({u"2"_s});
    dialogs.thenMessage();
    tester.power().TogglePower();
    EXPECT_FALSE(ptyPort.isOpen());
    ASSERT_EQ(dialogs.shown.size(), 1u);
    EXPECT_EQ(dialogs.shown[0].detail,
              u"%1 has no modem-control lines (%2): it cannot drive the bus"_s.arg(
                  pty, QString::fromLocal8Bit(strerror(ENOTTY))));
    close(slave);
    close(master);
}

TEST_F(RigTest, DeviceDetectReportsWhatAnsweredAndLeavesThePowerOff) {
    // Nothing on the bus: the data line stays high. Data in stuck low: every address byte
    // "acknowledges", which is no device at all.
    const std::tuple<const char*, int, const char*> cases[] = {
        {"bare", 0, "Acknowledge Not Found !\r\n||Sequence 1: Stop|"},
        {"cts-high", 0, "Acknowledge Not Found !\r\n||Sequence 1: Stop|"},
        {"cts-low", 256, "Device Not Found !\r\n||Sequence 1: Stop|A"},
        {"", 6,
         "Acknowledge Found !\r\nAddres:   64  65  144  145  160  161\r\n|40 41 90 91 A0 A1 "
         "|Sequence 1: Stop|A"}};
    for (const auto& [variant, acknowledged, shown] : cases) {
        start(variant);
        const DeviceScan::Acknowledged found = diagnostics().DeviceDetect();
        EXPECT_EQ(std::count(found.begin(), found.end(), true), acknowledged) << variant;
        EXPECT_EQ(texts({Dump1, Hex1, Panel2, Panel4}), QLatin1String(shown));
    }
    EXPECT_EQ(std::pair(dialogs.beeps, dialogs.yields), std::pair(4, 4));

    start();
    board->attach(std::make_unique<AckDevice>(0x00));
    board->attach(std::make_unique<AckDevice>(0xA0));
    runs().selectOption(Ns1);
    power().TogglePower(); // already powered: off at the end all the same
    const DeviceScan::Acknowledged found = diagnostics().DeviceDetect();
    EXPECT_TRUE(found[0] && found[1] && found[0xA0] && found[0xA1]);
    EXPECT_EQ(texts({Dump1, Hex1, Analog_be_sz}),
              u"Acknowledge Found !\r\nAddres:   0  1  160  161\r\n|0 1 A0 A1 | 255"_s);
    EXPECT_EQ(state() + ' ' + timer(), u"OFF closed analysing Off stopped"_s); // analysis back on
    EXPECT_EQ(panel.value(Analog_be), 0);
}

TEST_F(RigTest, LineProbePassesOnTheStrapAndListsEveryFaultyPeriod) {
    QString rises, falls;
    for (int p = 0; p < 255; ++p)
        rises += u" %1/"_s.arg(p), falls += u" %1\\"_s.arg(p);
    const QString fail = u"Line Probe Fail !!\r\nSeveral Periods:"_s;
    for (const auto& [variant, expected] : {std::pair{"", u"Line Probe OK !"_s},
                                            {"dsr-low", fail + rises},
                                            {"dsr-high", fail + falls},
                                            {"dsr-late", u"Line Probe OK !"_s}}) {
        start(variant);
        dialogs.shown.clear();
        dialogs.yields = 0;
        dialogs.thenMessage();
        EXPECT_EQ(diagnostics().LineProbe().passed, expected.endsWith(u"OK !")) << variant;
        EXPECT_EQ(dialogs.messages(), QStringList{expected}) << variant;
        EXPECT_EQ(dialogs.yields, 11);
        EXPECT_EQ(state(), u"OFF closed analysing"_s);
    }
}
