// Command cells and the two sequence runs, their controls and the non-stop timer.
#include "actions/Tester.h"
#include "model/FrontPanel.h"
#include "sequence/CommandCells.h"
#include "sim/SimulatedBoard.h"
#include "support/BusDevices.h"
#include "support/MessageTexts.h"
#include "support/ScriptedDialogs.h"

#include <gtest/gtest.h>

namespace {

struct RunFixture : ::testing::Test {
    FrontPanel panel;
    SimulatedBoard board;
    ScriptedDialogs dialogs;
    Tester tester{panel, board, dialogs};
    AckDevice& chip = board.attach(std::make_unique<AckDevice>(0xA0, 0x5A));
    WireLog& log = board.attach(std::make_unique<WireLog>());

    void SetUp() override { tester.startUp({}); }
    void TearDown() override {
        EXPECT_TRUE(dialogs.scriptUsedUp()) << "a scripted answer was never asked for";
    }
    void cells(int sequence, const QStringList& texts) {
        for (int k = 1; k <= 4; ++k)
            panel.setText(FrontPanel::cell(sequence, k),
                          k <= texts.size() ? texts[k - 1] : QStringLiteral("Stop"));
    }
    QString cell(int sequence, int k) const { return panel.text(FrontPanel::cell(sequence, k)); }
    QString panelText(int n) const { return panel.text(FrontPanel::panel(n)); }
    void microwire() {
        tester.setup().Mset_micro_Click();
        ASSERT_TRUE(panel.isChecked(Ctl::Mset_micro));
    }
};

} // namespace

TEST(CommandCells, KindsConstantsAndByteTexts) {
    using CommandCells::Kind;
    EXPECT_EQ(CommandCells::kind(QStringLiteral("Dump2"), false), Kind::Dump2);
    EXPECT_EQ(CommandCells::kind(QStringLiteral("stop"), false), Kind::Constant);
    EXPECT_EQ(CommandCells::kind(QStringLiteral(" Stop"), false), Kind::Constant);
    EXPECT_EQ(CommandCells::kind(QStringLiteral("x0101"), false), Kind::Constant);
    EXPECT_EQ(CommandCells::kind(QStringLiteral("X0101"), true), Kind::BitString);

    const std::pair<const char*, int> valid[] = {
        {"&hff", 255}, {"&HFF", 255}, {"255", 255},    {"255.4", 255}, {"255.9", 255},
        {" 31", 31},   {"&h1F", 31},  {"Constans", 0}, {"", 0},        {"12abc", 12}};
    for (const auto& [text, value] : valid)
        EXPECT_EQ(CommandCells::constantValue(QLatin1String(text)).value_or(-1), value) << text;
    for (const char* invalid : {"256", "&h100", "-1", "-0.5", "1e300", "99999999999999999999"})
        EXPECT_FALSE(CommandCells::constantValue(QLatin1String(invalid))) << invalid;

    EXPECT_EQ(CommandCells::HexByteText(QStringLiteral("5")), QStringLiteral("05"));
    EXPECT_EQ(CommandCells::HexByteText(QStringLiteral("1F")), QStringLiteral("1F"));
    EXPECT_EQ(CommandCells::DecByteText(QStringLiteral(" 5")), QStringLiteral("005"));
    EXPECT_EQ(CommandCells::DecByteText(QStringLiteral(" 42")), QStringLiteral("042"));
    EXPECT_EQ(CommandCells::DecByteText(QStringLiteral(" 200")), QStringLiteral("200"));
}

TEST_F(RunFixture, TheStopRuleGreysTheCellsBehindAStopInBothRows) {
    panel.setText(Ctl::C1, QStringLiteral("&h90"));
    EXPECT_TRUE(panel.isEnabled(Ctl::C2));
    EXPECT_FALSE(panel.isEnabled(Ctl::C3));
    panel.setText(Ctl::C2, QStringLiteral("&h01"));
    panel.setText(Ctl::C3, QStringLiteral("Dump1"));
    EXPECT_TRUE(panel.isEnabled(Ctl::C4));
    panel.setText(Ctl::C2, QStringLiteral("Stop"));
    EXPECT_FALSE(panel.isEnabled(Ctl::C3));
    EXPECT_FALSE(panel.isEnabled(Ctl::C4));
    EXPECT_EQ(cell(1, 3), QStringLiteral("Dump1"));       // greyed, not emptied
    for (const char* notTheKeyword : {"stop", " Stop"}) { // constants: 0
        panel.setText(Ctl::D1, QLatin1String(notTheKeyword));
        EXPECT_TRUE(panel.isEnabled(Ctl::D2)) << notTheKeyword;
        EXPECT_FALSE(panel.isEnabled(Ctl::D3)) << notTheKeyword;
        EXPECT_FALSE(panel.isEnabled(Ctl::C3)) << notTheKeyword;
    }
}

TEST_F(RunFixture, AnI2cRunWritesReadsAndShowsItsResults) {
    tester.runs().RunSequence(1); // power off: nothing at all
    EXPECT_EQ(board.portCalls(), 0u);
    EXPECT_EQ(panelText(2), QStringLiteral("Sequence 1: Stop"));

    cells(1, {"&hA0", "&h10", "Constans", "Potmeter"});
    panel.setValue(Ctl::Analog_ki, 0x1A3); // the slider's low eight bits go out
    tester.runs().Go1_Click();
    EXPECT_TRUE(tester.powerOn());
    EXPECT_EQ(chip.written, (std::vector<int>{0x10, 0x00, 0xA3}));
    EXPECT_EQ(cell(1, 1), QStringLiteral(" 160"));
    EXPECT_EQ(cell(1, 3), QStringLiteral(" 0"));
    for (int n = 4; n <= 7; ++n)
        EXPECT_EQ(panelText(n), QStringLiteral("A")) << n;
    EXPECT_EQ(panelText(2), QStringLiteral("Sequence 1: Stop"));

    // A read address nobody answers: no "A", and the read bytes are 255.
    cells(2, {"&h91", "Dump1", "Dump1"});
    tester.runs().Go2_Click();
    EXPECT_EQ(panelText(4), QString());
    EXPECT_EQ(panel.text(Ctl::Hex1), QStringLiteral("FF FF "));
    EXPECT_EQ(panel.text(Ctl::Dump1), QStringLiteral("255 255 "));

    // The device's byte, read into the other display and onto the indicator; the last read
    // of a transfer is not acknowledged, the others are.
    cells(2, {"&hA1", "Indicator", "Dump1", "Dump2"});
    log.levels.clear();
    tester.runs().Go2_Click();
    EXPECT_EQ(panelText(4), QStringLiteral("A"));
    EXPECT_EQ(panel.value(Ctl::Analog_be), 0x5A);
    EXPECT_EQ(panel.text(Ctl::Analog_be_sz), QStringLiteral(" 90"));
    EXPECT_EQ(panel.text(Ctl::Hex1), QStringLiteral("FF FF 5A "));
    EXPECT_EQ(panel.text(Ctl::Dump2), QStringLiteral("090 "));
    // Address 9 bits, three reads of 9 bits; the acknowledges are the 18th, 27th and 36th.
    const std::vector<int> bits = log.bitsOnRisingClock();
    ASSERT_GE(bits.size(), 37u);
    EXPECT_EQ(bits[18], 0);
    EXPECT_EQ(bits[27], 0);
    EXPECT_EQ(bits[36], 1);

    tester.runs().Cl1_Click();
    EXPECT_EQ(panel.text(Ctl::Dump1), QString());
    EXPECT_EQ(panel.text(Ctl::Hex1), QString());
    EXPECT_EQ(panel.text(Ctl::Dump2), QStringLiteral("090 "));
}

TEST_F(RunFixture, AStopFirstRunIsStartThenStopAndEmptiesTheMarks) {
    tester.power().TogglePower();
    panel.setText(FrontPanel::panel(5), QStringLiteral("A"));
    const auto calls = board.portCalls();
    tester.runs().RunSequence(1);
    // start D1 C1 D0, stop D0 C1 D1
    EXPECT_EQ(board.portCalls() - calls, 6u);
    EXPECT_EQ(panelText(5), QString());
    EXPECT_EQ(panelText(2), QStringLiteral("Sequence 1: Stop"));
}

TEST_F(RunFixture, AnInvalidConstantUnderTheTimerIsReportedOnceAndStopsTheTimer) {
    cells(1, {"&hA0", "300", "&h10"});
    tester.power().TogglePower();
    tester.runs().selectOption(Ctl::Ns12);
    ASSERT_TRUE(tester.timer().isActive());
    int ticksDuringBox = 0;
    dialogs.duringMessage = [&] {
        // Ticks that arrive while the box is open are dropped, not nested in the run.
        EXPECT_TRUE(tester.busy());
        tester.runs().Timer_Timer();
        tester.runs().Go2_Click();
        ++ticksDuringBox;
    };
    dialogs.thenMessage();
    tester.runs().Timer_Timer();
    EXPECT_EQ(dialogs.messages(), QStringList{kI2cBadConstant});
    EXPECT_EQ(ticksDuringBox, 1);
    EXPECT_TRUE(chip.written.empty()); // only the address went out
    EXPECT_EQ(cell(1, 2), QStringLiteral("300"));
    EXPECT_EQ(panelText(2), QStringLiteral("Sequence 1: Stop"));
    EXPECT_TRUE(panel.isChecked(Ctl::Noff));
    EXPECT_EQ(tester.timerSelection(), 0);
    EXPECT_FALSE(tester.timer().isActive());
    EXPECT_TRUE(board.wires().dtr && board.wires().rts); // the stop condition was driven
    // Sequence 2 of the same tick still ran, after the first had ended.
    EXPECT_EQ(panelText(3), QStringLiteral("Sequence 2: Stop"));
}

TEST_F(RunFixture, TimerTicksRunTheSelectionAndTheEnterKeyItsRow) {
    int runs1 = 0, runs2 = 0;
    QObject::connect(&panel, &FrontPanel::changed, [&](Ctl c) {
        if (c == FrontPanel::panel(2) && panelText(2) == u"Sequence 1: Run")
            ++runs1;
        if (c == FrontPanel::panel(3) && panelText(3) == u"Sequence 2: Run")
            runs2 += runs1 > 0 ? 1 : 100; // Sequence 2 must come after Sequence 1
    });
    tester.runs().selectOption(Ctl::Ns12);
    tester.runs().Timer_Timer(); // power off: the ticks do nothing
    EXPECT_EQ(runs1 + runs2, 0);
    tester.power().TogglePower();
    tester.runs().Timer_Timer();
    EXPECT_EQ(runs1, 1);
    EXPECT_EQ(runs2, 1);
    tester.runs().selectOption(Ctl::Ns2);
    tester.runs().Timer_Timer();
    EXPECT_EQ(runs1, 1);
    EXPECT_EQ(runs2, 2);
    tester.runs().selectOption(Ctl::Noff);
    tester.runs().Timer_Timer();
    EXPECT_EQ(runs2, 2);

    tester.runs().cellEnterPressed(Ctl::C4);
    tester.runs().cellEnterPressed(Ctl::D3);
    EXPECT_EQ(runs1, 2);
    EXPECT_EQ(runs2, 3);
}

TEST_F(RunFixture, TheIntervalDialogTakesOneTo2000AndElseAThousand) {
    const std::pair<const char*, int> answers[] = {{"500", 500},   {"2000", 2000}, {"1", 1},
                                                   {"1.9", 1},     {"0", 1000},    {"-5", 1000},
                                                   {"2001", 1000}, {"abc", 1000},  {"700", 700}};
    for (const auto& [answer, interval] : answers) {
        dialogs.thenInput(QString::fromLatin1(answer));
        tester.setup().Mset_timer_Click();
        EXPECT_EQ(tester.timerInterval(), interval) << answer;
    }
    dialogs.thenInput(QString());
    tester.setup().Mset_timer_Click();
    dialogs.thenInput(std::nullopt);
    tester.setup().Mset_timer_Click();
    EXPECT_EQ(tester.timerInterval(), 700);
    EXPECT_EQ(panelText(8), QStringLiteral(" 700mS"));
    EXPECT_EQ(dialogs.shown.back().text, QStringLiteral("Non-Stop Timer Setting\r\nActual: 700mS"));

    dialogs.thenInput(QStringLiteral("250"));
    tester.setup().Status_PanelDblClick(8); // the panel shows the current interval
    EXPECT_EQ(tester.timerInterval(), 250);
    panel.setText(FrontPanel::panel(8), QStringLiteral(" 999mS"));
    tester.setup().Status_PanelDblClick(8); // not the current interval: nothing opens
}

TEST_F(RunFixture, AMicrowireRunSendsResetStartBitBitsAndBytes) {
    microwire();
    EXPECT_FALSE(tester.startBitOn()); // the check mark, cleared in I2C mode, decides
    cells(1, {"X101", "&hA5", "Dump1"});
    tester.runs().Go1_Click();
    EXPECT_EQ(board.sentCharacters(), (std::vector<std::uint8_t>{0xFF}));
    EXPECT_EQ(dialogs.yields, 1);
    // 1 0 1, then 0xA5; the reset pulse's own rise of the clock comes first
    std::vector<int> bits = log.bitsOnRisingClock();
    const std::vector<int> written{1, 0, 1, 1, 0, 1, 0, 0, 1, 0, 1};
    ASSERT_GE(bits.size(), written.size() + 1);
    EXPECT_EQ(std::vector<int>(bits.begin() + 1, bits.begin() + 12), written);
    EXPECT_EQ(cell(1, 2), QStringLiteral(" 165"));
    EXPECT_EQ(panel.text(Ctl::Hex1), QStringLiteral("FF ")); // nothing drives data in
    EXPECT_EQ(panel.text(Ctl::Dump1), QStringLiteral("255 "));
    for (int n = 4; n <= 7; ++n)
        EXPECT_EQ(panelText(n), QStringLiteral("NA"));
    EXPECT_EQ(board.wires().dtr && board.wires().rts, true);

    // Sequence 2 with the start bit on fills the display its cell names.
    tester.setup().Mset_start_Click();
    ASSERT_TRUE(tester.startBitOn());
    cells(2, {"x", "x0"});
    log.levels.clear();
    tester.runs().Go2_Click();
    bits = log.bitsOnRisingClock();
    EXPECT_EQ(bits, (std::vector<int>{1, 1, 0})); // the reset pulse, the start bit, the 0
    cells(2, {"Dump1"});
    tester.runs().Go2_Click();
    EXPECT_EQ(panel.text(Ctl::Hex1), QStringLiteral("FF FF "));
    EXPECT_EQ(panel.text(Ctl::Dump2), QString());
}

TEST_F(RunFixture, MicrowireRejectsAnIllegalBitWithTheTimerOffAndABadConstantWithout) {
    microwire();
    tester.power().TogglePower();
    tester.runs().selectOption(Ctl::Ns1);
    cells(1, {"256"});
    dialogs.thenMessage();
    tester.runs().Timer_Timer();
    EXPECT_TRUE(tester.timer().isActive());
    EXPECT_TRUE(panel.isChecked(Ctl::Ns1));
    EXPECT_EQ(cell(1, 1), QStringLiteral("256"));

    cells(1, {"2.9", "x10a1"});
    log.levels.clear();
    dialogs.thenMessage();
    tester.runs().Timer_Timer();
    EXPECT_EQ(dialogs.messages(), (QStringList{kMicrowireBadConstant, kIllegalBit}));
    EXPECT_FALSE(tester.timer().isActive());
    EXPECT_TRUE(panel.isChecked(Ctl::Noff));
    EXPECT_EQ(cell(1, 1), QStringLiteral(" 2"));
    // 0x02, then the bits before the bad character: 1 and 0
    const std::vector<int> bits = log.bitsOnRisingClock();
    const std::vector<int> written{0, 0, 0, 0, 0, 0, 1, 0, 1, 0};
    ASSERT_GE(bits.size(), 11u);
    EXPECT_EQ(std::vector<int>(bits.begin() + 1, bits.begin() + 11), written);
    EXPECT_EQ(panelText(2), QStringLiteral("Sequence 1: Stop"));
}

TEST_F(RunFixture, AClickDuringTheResetPulsesYieldIsDropped) {
    microwire();
    cells(1, {"&h01"});
    int nested = 0;
    dialogs.duringYield = [&] {
        const auto before = board.sentCharacters().size();
        tester.runs().Go1_Click();
        tester.runs().Timer_Timer();
        nested += static_cast<int>(board.sentCharacters().size() - before);
    };
    tester.runs().selectOption(Ctl::Ns1);
    tester.runs().Go1_Click();
    EXPECT_EQ(nested, 0);
    EXPECT_EQ(board.sentCharacters().size(), 1u);
    EXPECT_FALSE(tester.busy());
}

TEST_F(RunFixture, TheResetDialogKeepsAsksAgainAndRoundsHalvesToEven) {
    microwire();
    // 0, empty and cancel keep the value; out of range asks again; halves go to even.
    dialogs.thenInput(QStringLiteral("10")).thenMessage().thenInput(QStringLiteral("-1"));
    dialogs.thenMessage().thenInput(QStringLiteral("123456")).thenMessage();
    dialogs.thenInput(QStringLiteral("2.5"));
    tester.setup().Mset_reset_Click();
    EXPECT_EQ(tester.resetTension(), 2);
    EXPECT_EQ(dialogs.shown.front().text,
              QStringLiteral("Reset Tension [_/T\\_] value (1-9), actual: 9 (3750.00 uS) ?"));
    EXPECT_EQ(dialogs.shown.front().title, QStringLiteral("Mocrowire Reset Setting"));
    EXPECT_EQ(dialogs.shown.front().defaultText, QStringLiteral(" 9"));
    EXPECT_EQ(dialogs.messages().front(), QStringLiteral("Wrong value!\r\nValid range 1-9 !"));
    for (const char* keep : {"0", "", "abc"}) {
        dialogs.thenInput(QString::fromLatin1(keep));
        tester.setup().Mset_reset_Click();
    }
    dialogs.thenInput(std::nullopt);
    tester.setup().Mset_reset_Click();
    EXPECT_EQ(tester.resetTension(), 2);
    dialogs.thenInput(QStringLiteral("3.5"));
    tester.setup().Mset_reset_Click();
    EXPECT_EQ(tester.resetTension(), 4);
    dialogs.thenInput(QStringLiteral("7"));
    tester.setup().Mset_reset_Click();
    EXPECT_EQ(panelText(11), QStringLiteral("2916.67 uS"));
}
