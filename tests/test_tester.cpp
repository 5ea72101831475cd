#include "actions/Tester.h"
#include "model/FrontPanel.h"
#include "sim/SimulatedBoard.h"
#include "support/ScriptedDialogs.h"

#include <QCoreApplication>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <vector>

namespace {

struct Recorded : LevelRecorder {
    int count = 0;
    void recordLevel(Line, bool) override { ++count; }
};

struct TesterFixture : ::testing::Test {
    FrontPanel panel;
    SimulatedBoard board;
    ScriptedDialogs dialogs;
    Tester tester{panel, board, dialogs};
    Recorded trace;

    void SetUp() override {
        tester.startUp({});
        tester.lines().setRecorder(&trace);
    }
    void TearDown() override {
        EXPECT_TRUE(dialogs.scriptUsedUp()) << "a scripted answer was never asked for";
    }
    QString panelText(int n) const { return panel.text(FrontPanel::panel(n)); }
    bool panelEnabled(int n) const { return panel.isEnabled(FrontPanel::panel(n)); }
};

} // namespace

TEST_F(TesterFixture, StartsWithTheDesignTextsAndTheStartState) {
    EXPECT_EQ(panel.text(Ctl::Fo), QStringLiteral("I2C/Microwire Tamsolvix V 3. 0. 0 : No Title"));
    EXPECT_EQ(panel.text(Ctl::Megjegyzes), QStringLiteral("Note:  "));
    const QStringList panels = {QStringLiteral("Port: 1"),
                                QStringLiteral("Sequence 1: Stop"),
                                QStringLiteral("Sequence 2: Stop"),
                                {},
                                {},
                                {},
                                {},
                                QStringLiteral(" 1000mS"),
                                QStringLiteral("I2C"),
                                QStringLiteral("S:ON"),
                                QStringLiteral("3750.00 uS")};
    for (int n = 1; n <= 11; ++n)
        EXPECT_EQ(panelText(n), panels[n - 1]) << "panel " << n;
    EXPECT_FALSE(panelEnabled(10));
    EXPECT_FALSE(panelEnabled(11));
    EXPECT_TRUE(panelEnabled(9));

    EXPECT_EQ(panel.text(Ctl::PowerG), QStringLiteral("Power OFF"));
    EXPECT_EQ(panel[Ctl::PowerG].colour, QColor(128, 255, 128));
    EXPECT_TRUE(panel.isChecked(Ctl::Anal_be));
    EXPECT_TRUE(panel.isChecked(Ctl::Noff));
    EXPECT_EQ(tester.timerSelection(), 0);
    EXPECT_FALSE(panel.isChecked(Ctl::Mset_micro));
    EXPECT_FALSE(panel.isChecked(Ctl::Mset_start));
    EXPECT_FALSE(panel.isEnabled(Ctl::Mset_start));
    EXPECT_FALSE(panel.isEnabled(Ctl::Mset_reset));
    EXPECT_TRUE(panel.isEnabled(Ctl::Mset_Device));
    EXPECT_EQ(panel.text(Ctl::Label8), QStringLiteral("A Stop"));

    for (int s = 1; s <= 2; ++s)
        for (int k = 1; k <= 4; ++k)
            EXPECT_EQ(panel.text(FrontPanel::cell(s, k)), QStringLiteral("Stop"));
    EXPECT_FALSE(board.isOpen());
    EXPECT_EQ(board.selectedPort(), 1);
}

TEST_F(TesterFixture, PowerOpensThePortForTheModeUnrecordedAndAnalysisFollowsTheCheckMark) {
    tester.power().TogglePower(); // I2C: clock and data high, the bus idle
    EXPECT_TRUE(board.isOpen());
    EXPECT_TRUE(board.wires().dtr && board.wires().rts);
    EXPECT_EQ(panel.text(Ctl::PowerG), QStringLiteral("Power ON"));
    EXPECT_EQ(panel[Ctl::PowerG].colour, QColor(255, 128, 128));
    EXPECT_FALSE(panel.isEnabled(Ctl::Mset_micro));
    EXPECT_EQ(trace.count, 0); // analysis was suspended while switching
    EXPECT_TRUE(tester.analysisOn());

    panel.setChecked(Ctl::Anal_be, false); // analysis comes back from the check mark only
    tester.power().TogglePower();
    EXPECT_FALSE(tester.powerOn());
    EXPECT_FALSE(board.isOpen());
    EXPECT_EQ(panel.text(Ctl::PowerG), QStringLiteral("Power OFF"));
    EXPECT_EQ(panel[Ctl::PowerG].colour, QColor(128, 255, 128));
    EXPECT_TRUE(panel.isEnabled(Ctl::Mset_micro));
    EXPECT_FALSE(tester.analysisOn());
    panel.setChecked(Ctl::Anal_be, true);

    tester.setup().Mset_micro_Click(); // Microwire: data high, clock low
    tester.power().TogglePower();
    EXPECT_TRUE(board.isOpen());
    EXPECT_TRUE(board.wires().dtr);
    EXPECT_FALSE(board.wires().rts);
    EXPECT_EQ(trace.count, 0);
    EXPECT_TRUE(tester.analysisOn());
    EXPECT_TRUE(dialogs.shown.empty());
}

TEST(TesterPower, AFailedPowerOnSaysSoAndStaysOnUntilSwitchedOff) {
    for (const bool microwire : {false, true}) {
        FrontPanel panel;
        SimulatedBoard board;
        ScriptedDialogs dialogs;
        Tester tester(panel, board, dialogs);
        Tester::StartSettings settings;
        settings.port = QStringLiteral("5"); // a stored port that does not exist
        settings.microwire = microwire ? QStringLiteral("1") : QStringLiteral("0");
        tester.startUp(settings);
        EXPECT_EQ(panel.text(FrontPanel::panel(1)), QStringLiteral("Port: 5"));

        dialogs.thenMessage();
        tester.power().TogglePower();
        ASSERT_EQ(dialogs.messages().size(), 1);
        EXPECT_EQ(dialogs.messages().front(),
                  microwire ? QStringLiteral("Not Valid Com Port!\r\nPlease Check!")
                            : QStringLiteral("Error! Not foung free Comm Port!"));
        EXPECT_TRUE(dialogs.shown.front().detail.contains(QStringLiteral("does not exist")));
        EXPECT_TRUE(tester.powerOn());
        EXPECT_EQ(panel.text(Ctl::PowerG), QStringLiteral("Power ON"));
        EXPECT_FALSE(board.isOpen());

        tester.power().TogglePower();
        EXPECT_FALSE(tester.powerOn());
        EXPECT_EQ(panel.text(Ctl::PowerG), QStringLiteral("Power OFF"));
    }
}

TEST(TesterChoosePort, EveryKindOfAnswerSelectsAPortTestsItAndLeavesItClosed) {
    const struct {
        std::optional<QString> answer;
        int port;
    } cases[] = {
        {QStringLiteral("3"), 3},    {QStringLiteral("7"), 1}, {QStringLiteral("0"), 1},
        {QStringLiteral("abc"), 1},  {std::nullopt, 1},        {QStringLiteral("&h2"), 2},
        {QStringLiteral("4.99"), 4},
    };
    for (const auto& c : cases) {
        FrontPanel panel;
        SimulatedBoard board;
        board.setPortState(3, SimulatedBoard::PortState::Free);
        board.setPortState(4, SimulatedBoard::PortState::Free);
        ScriptedDialogs dialogs;
        Tester tester(panel, board, dialogs);
        tester.startUp({});
        dialogs.thenInput(c.answer);
        tester.power().ChoosePort();
        const QString what = c.answer.value_or(QStringLiteral("(cancel)"));
        EXPECT_EQ(tester.portNumber(), c.port) << what.toStdString();
        EXPECT_EQ(board.selectedPort(), c.port);
        EXPECT_EQ(panel.text(FrontPanel::panel(1)), QStringLiteral("Port: %1").arg(c.port));
        EXPECT_FALSE(board.isOpen());
        EXPECT_EQ(board.opens(), 1);
        EXPECT_FALSE(tester.powerOn());
        ASSERT_EQ(dialogs.shown.size(), 1u);
        EXPECT_EQ(dialogs.shown[0].text, QStringLiteral("Serial Port (1,2,3,4)?\r\nActual: 1"));
        EXPECT_EQ(dialogs.shown[0].title, QStringLiteral("Port Number Setting."));
        EXPECT_TRUE(dialogs.shown[0].defaultText.isEmpty());
    }
}

TEST_F(TesterFixture, ABusyPortAsksAgainAndCancellingThenKeepsThePortChosenBefore) {
    dialogs.thenInput(QStringLiteral("3")).thenMessage().thenInput(QStringLiteral("2"));
    tester.power().ChoosePort();
    EXPECT_EQ(dialogs.messages(),
              QStringList{QStringLiteral("Error! Not free or valid Comm Port!")});
    EXPECT_TRUE(dialogs.shown[1].detail.contains(QStringLiteral("in use")));
    EXPECT_EQ(dialogs.shown[2].text, QStringLiteral("Serial Port (1,2,3,4)?\r\nActual: 1"));
    EXPECT_EQ(tester.portNumber(), 2);
    EXPECT_FALSE(board.isOpen());

    dialogs.thenInput(QStringLiteral("4")).thenMessage().thenInput(std::nullopt);
    tester.power().ChoosePort();
    EXPECT_EQ(tester.portNumber(), 2);
    EXPECT_EQ(board.selectedPort(), 2);
    EXPECT_EQ(panelText(1), QStringLiteral("Port: 2"));
    EXPECT_FALSE(board.isOpen());
}

TEST_F(TesterFixture, ChoosingAPortWhilePoweredSwitchesOffAndTracesTheClosingStop) {
    tester.power().TogglePower();
    dialogs.thenInput(QStringLiteral("1"));
    tester.power().ChoosePort();
    EXPECT_FALSE(tester.powerOn());
    EXPECT_EQ(panel.text(Ctl::PowerG), QStringLiteral("Power OFF"));
    EXPECT_FALSE(board.isOpen());
    // TogglePower brought analysis back before the stop condition was driven: three line
    // changes and the two idle records after a stop.
    EXPECT_EQ(trace.count, 5);
    EXPECT_TRUE(tester.analysisOn());

    panel.setChecked(Ctl::Anal_be, false);
    trace.count = 0;
    dialogs.thenInput(QStringLiteral("1"));
    tester.power().ChoosePort();
    EXPECT_EQ(trace.count, 0);
    EXPECT_FALSE(tester.analysisOn());
}

TEST_F(TesterFixture, PanelDoubleClicksGoByTheTextNotThePosition) {
    dialogs.thenInput(QStringLiteral("2"));
    tester.setup().Status_PanelDblClick(1); // "Port: 1"
    EXPECT_EQ(tester.portNumber(), 2);

    panel.setText(FrontPanel::panel(1), QStringLiteral("Port:2")); // no blank: not a port text
    tester.setup().Status_PanelDblClick(1);
    panel.setText(FrontPanel::panel(1), QStringLiteral("Port: 5"));
    tester.setup().Status_PanelDblClick(1);
    for (int n : {2, 3, 4, 10, 11})
        tester.setup().Status_PanelDblClick(n);
    EXPECT_EQ(dialogs.shown.size(), 1u);

    panel.setText(FrontPanel::panel(4), QStringLiteral("Port: 3")); // any panel with the text
    dialogs.thenInput(QStringLiteral("1"));
    tester.setup().Status_PanelDblClick(4);
    EXPECT_EQ(dialogs.shown.size(), 2u);

    tester.power().TogglePower();
    tester.setup().Status_PanelDblClick(9); // "I2C" while powered: nothing
    EXPECT_FALSE(panel.isChecked(Ctl::Mset_micro));
    tester.power().TogglePower();
    tester.setup().Status_PanelDblClick(9);
    EXPECT_TRUE(panel.isChecked(Ctl::Mset_micro));
    EXPECT_EQ(panelText(9), QStringLiteral("Microwire"));
    tester.setup().Status_PanelDblClick(9);
    EXPECT_FALSE(panel.isChecked(Ctl::Mset_micro));
}

TEST_F(TesterFixture, TheNoteCanBeEditedButNeverEmptied) {
    dialogs.thenInput(QStringLiteral("EEPROM at A0"));
    tester.setup().EditNote();
    EXPECT_EQ(dialogs.shown[0].text, QStringLiteral("Sequences Comment: "));
    EXPECT_EQ(dialogs.shown[0].title, QStringLiteral("No Title"));
    EXPECT_EQ(dialogs.shown[0].defaultText, QStringLiteral(" "));
    EXPECT_EQ(panel.text(Ctl::Megjegyzes), QStringLiteral("Note: EEPROM at A0"));

    dialogs.thenInput(QString()).thenInput(std::nullopt);
    tester.setup().EditNote();
    tester.setup().EditNote();
    EXPECT_EQ(dialogs.shown[2].defaultText, QStringLiteral("EEPROM at A0"));
    EXPECT_EQ(tester.noteText(), QStringLiteral("EEPROM at A0"));
    EXPECT_EQ(panel.text(Ctl::Megjegyzes), QStringLiteral("Note: EEPROM at A0"));
}

TEST_F(TesterFixture, TheModeSwitchShowsEitherColumnAndKeepsTheStartBitTextWhenGreyed) {
    panel.setChecked(Ctl::Mset_start, true); // the check mark decides the start bit
    tester.setup().Mset_micro_Click();
    EXPECT_EQ(panelText(9), QStringLiteral("Microwire"));
    EXPECT_EQ(panelText(10), QStringLiteral("S:ON"));
    EXPECT_TRUE(panelEnabled(10) && panelEnabled(11));
    EXPECT_TRUE(tester.startBitOn());
    for (Ctl c :
         {Ctl::Label4, Ctl::Label6, Ctl::Label7, Ctl::Label11, Ctl::Label12, Ctl::Label13}) {
        EXPECT_EQ(panel.text(c), QStringLiteral("+"));
        EXPECT_TRUE(panel[c].toolTip.isEmpty());
    }
    EXPECT_EQ(panel.text(Ctl::Label14), QStringLiteral("Stop"));
    EXPECT_EQ(panel[Ctl::Label3].toolTip, QStringLiteral("Start bit ON (1)"));
    EXPECT_FALSE(panel.isEnabled(Ctl::Mset_Device));
    EXPECT_TRUE(panel.isEnabled(Ctl::Mset_reset));

    tester.setup().Mset_micro_Click();
    EXPECT_EQ(panelText(10), QStringLiteral("S:ON"));
    EXPECT_FALSE(panelEnabled(10));
    EXPECT_TRUE(tester.startBitOn());
    EXPECT_EQ(panel.text(Ctl::Label8), QStringLiteral("A Stop"));
    EXPECT_EQ(panel[Ctl::Label8].toolTip, QStringLiteral("Acknowledge & Stop"));
    EXPECT_EQ(panel[Ctl::Label4].toolTip, QStringLiteral("Acknowledge"));
    EXPECT_TRUE(panel[Ctl::Label10].toolTip.isEmpty());

    panel.setChecked(Ctl::Mset_start, false);
    tester.setup().Mset_micro_Click();
    EXPECT_FALSE(tester.startBitOn());
    EXPECT_EQ(panelText(10), QStringLiteral("S:OFF"));
}

TEST(TesterUnplug, ALostAdapterIsReportedOnceAndSwitchedOff) {
    FrontPanel panel;
    auto board = SimulatedBoard::fromVariant(QStringLiteral("unplug"));
    ScriptedDialogs dialogs;
    Tester tester(panel, *board, dialogs);
    tester.startUp({});
    tester.power().TogglePower();
    for (int i = 0; i < 3000; ++i) // a run that outlives the adapter
        tester.lines().clockLow(), tester.lines().readData(), tester.lines().clockHigh();
    EXPECT_TRUE(tester.powerOn()); // nothing happens inside the run itself
    dialogs.thenMessage();
    QCoreApplication::processEvents();
    EXPECT_FALSE(tester.powerOn());
    EXPECT_EQ(panel.text(Ctl::PowerG), QStringLiteral("Power OFF"));
    ASSERT_EQ(dialogs.shown.size(), 1u);
    EXPECT_TRUE(dialogs.shown[0].detail.contains(QStringLiteral("unplugged")));
    EXPECT_TRUE(dialogs.scriptUsedUp());
}

TEST(TesterSettings, FirstStartWritesTheDefaultsAndAStoredMicrowireStartComesBack) {
    QTemporaryDir dir;
    QSettings store(dir.filePath(QStringLiteral("Pellucor.ini")), QSettings::IniFormat);
    FrontPanel panel;
    SimulatedBoard board;
    ScriptedDialogs dialogs;
    {
        Tester tester(panel, board, dialogs);
        tester.startUp(Tester::readSettings(store));
        EXPECT_EQ(panel.text(FrontPanel::panel(8)), QStringLiteral(" 1000mS"));
        tester.power().TogglePower();
        tester.shutDown(store);
        EXPECT_FALSE(board.isOpen());
        EXPECT_TRUE(tester.powerOn()); // the flag and the button are left alone
    }
    const std::pair<const char*, const char*> written[] = {{"Setup/Port", " 1"},
                                                           {"Setup/Timer", " 1000"},
                                                           {"Setup/Microwire", "0"},
                                                           {"Setup/Analizis", "True"},
                                                           {"Setup/Start", "False"}};
    for (const auto& [key, value] : written)
        EXPECT_EQ(store.value(QLatin1String(key)).toString(), QLatin1String(value)) << key;

    store.setValue(QStringLiteral("Setup/Microwire"), QStringLiteral("1"));
    store.setValue(QStringLiteral("Setup/Start"), QStringLiteral("True"));
    store.setValue(QStringLiteral("Setup/Analizis"), QStringLiteral("true")); // not "True"
    store.setValue(QStringLiteral("Setup/Port"), QStringLiteral("5"));
    store.setValue(QStringLiteral("Setup/Timer"), QStringLiteral("1e99")); // absurd, no crash
    FrontPanel panel2;
    Tester tester(panel2, board, dialogs);
    tester.startUp(Tester::readSettings(store));
    EXPECT_TRUE(panel2.isChecked(Ctl::Mset_micro));
    EXPECT_TRUE(panel2.isChecked(Ctl::Mset_start));
    EXPECT_EQ(panel2.text(FrontPanel::panel(10)), QStringLiteral("S:ON"));
    EXPECT_EQ(panel2[Ctl::Label10].toolTip, QStringLiteral("Start bit ON (1)"));
    EXPECT_FALSE(tester.analysisOn());
    EXPECT_EQ(panel2.text(FrontPanel::panel(1)), QStringLiteral("Port: 5"));
    EXPECT_EQ(tester.timerInterval(), 65535);

    // Commas left unquoted in the file: the value is still the text as written (port 1).
    QFile raw(dir.filePath(QStringLiteral("raw.ini")));
    ASSERT_TRUE(raw.open(QIODevice::WriteOnly) && raw.write("[Setup]\nPort=1, 2, 3\n") > 0);
    raw.close();
    QSettings listed(raw.fileName(), QSettings::IniFormat);
    EXPECT_EQ(Tester::readSettings(listed).port, QStringLiteral("1, 2, 3"));
}
