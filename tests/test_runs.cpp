// Command cells and the two sequence runs, their controls, the non-stop timer, and
// brolmet-cli's run of command files.
#include "app/CliRun.h"
#include "app/ConsoleDialogs.h"
#include "files/CommandFile.h"
#include "sequence/CommandCells.h"
#include "support/Rig.h"

namespace {

// The data bits on the rising clock edges.
struct BitLog : SimDevice {
    QString bits;
    bool clock = false;
    void wiresChanged(const BoardWires& w, std::uint64_t) override {
        if (w.rts && !clock)
            bits += w.dtr ? u'1' : u'0';
        clock = w.rts;
    }
    bool pullsDataLow() const override { return false; }
};

// The adapter with one device at 0xA0 that reads as 0x5A, and a log of the bits.
struct RunTest : RigTest {
    AckDevice& chip = board->attach(std::make_unique<AckDevice>(0xA0, 0x5A));
    BitLog& log = board->attach(std::make_unique<BitLog>());
    void microwire() {
        setup().Mset_micro_Click();
        ASSERT_TRUE(panel.isChecked(Ctl::Mset_micro));
    }
    // The bits since the last call; a clock high then counts as a rise.
    QString bits() {
        log.clock = false;
        return std::exchange(log.bits, QString());
    }
    QString enabled(std::initializer_list<Ctl> cs) const {
        QString flags;
        for (Ctl c : cs)
            flags += panel.isEnabled(c) ? u'1' : u'0';
        return flags;
    }
};

} // namespace

TEST(CommandCells, KindsConstantsAndByteTexts) {
    using CommandCells::Kind;
    // clang-format off
    for (const auto& [text, microwire, kind] : {std::tuple{"Dump2", false, Kind::Dump2}, {"stop", false, Kind::Constant},
             {" Stop", false, Kind::Constant}, {"x0101", false, Kind::Constant}, {"X0101", true, Kind::BitString},
             {"Stop", true, Kind::Stop}})
        EXPECT_EQ(CommandCells::kind(QLatin1String(text), microwire), kind) << text;
    const std::pair<const char*, int> constants[] = {
        {"&hff", 255}, {"&HFF", 255}, {"255", 255},    {"255.4", 255}, {"255.9", 255}, {" 31", 31}, {"&h1F", 31},
        {"Constans", 0}, {"", 0},     {"12abc", 12},   {"256", -1},    {"&h100", -1},  {"-1", -1},  {"-0.5", -1},
        {"1e300", -1}, {"99999999999999999999", -1}};
    // clang-format on
    for (const auto& [text, value] : constants)
        EXPECT_EQ(CommandCells::constantValue(QLatin1String(text)).value_or(-1), value) << text;
    EXPECT_EQ(CommandCells::HexByteText(QStringLiteral("5")) +
                  CommandCells::HexByteText(QStringLiteral("1F")),
              QStringLiteral("051F"));
    for (const auto& [shown, text] : {std::pair{" 5", "005"}, {" 42", "042"}, {" 200", "200"}})
        EXPECT_EQ(CommandCells::DecByteText(QLatin1String(shown)), QLatin1String(text));
}

TEST_F(RunTest, TheStopRuleGreysTheCellsBehindAStopInBothRows) {
    panel.setText(Ctl::C1, QStringLiteral("&h90"));
    EXPECT_EQ(enabled({Ctl::C2, Ctl::C3}), QStringLiteral("10"));
    panel.setText(Ctl::C2, QStringLiteral("&h01"));
    panel.setText(Ctl::C3, QStringLiteral("Dump1"));
    EXPECT_EQ(enabled({Ctl::C3, Ctl::C4}), QStringLiteral("11"));
    panel.setText(Ctl::C2, QStringLiteral("Stop"));
    EXPECT_EQ(enabled({Ctl::C3, Ctl::C4}), QStringLiteral("00"));
    EXPECT_EQ(cell(1, 3), QStringLiteral("Dump1")); // greyed, not emptied
    panel.setText(Ctl::D2, QStringLiteral("&h01"));
    for (const char* notTheKeyword : {"stop", " Stop"}) { // constants: 0
        panel.setText(Ctl::D1, QLatin1String(notTheKeyword));
        EXPECT_EQ(enabled({Ctl::D2, Ctl::D3, Ctl::D4, Ctl::C3}), QStringLiteral("1100"));
    }
    panel.setText(Ctl::D2, QStringLiteral("Stop"));
    EXPECT_EQ(enabled({Ctl::D2, Ctl::D3, Ctl::D4}), QStringLiteral("100"));
}

TEST_F(RunTest, AnI2cRunWritesReadsAndShowsItsResults) {
    runs().RunSequence(1); // power off: nothing at all
    EXPECT_EQ(board->portCalls(), 0u);
    cells(1, {"&hA0", "&h10", "Constans", "Potmeter"});
    panel.setValue(Ctl::Analog_ki, 0x1A3); // the slider's low eight bits go out
    runs().Go1_Click();
    EXPECT_TRUE(tester->powerOn());
    EXPECT_EQ(chip.written, (std::vector<int>{0x10, 0x00, 0xA3}));
    EXPECT_EQ(texts({Ctl::C1, Ctl::C2, Ctl::C3, Ctl::Panel2, Ctl::Panel4, Ctl::Panel5, Ctl::Panel6,
                     Ctl::Panel7}),
              QStringLiteral(" 160| 16| 0|Sequence 1: Stop|A|A|A|A"));
    // A read address nobody answers: no "A", and the read bytes are 255.
    cells(2, {"&h91", "Dump1", "Dump1"});
    runs().Go2_Click();
    EXPECT_EQ(texts({Ctl::Panel4, Ctl::Hex1, Ctl::Dump1}), QStringLiteral("|FF FF |255 255 "));

    // The device's byte, read into the other display and onto the indicator; the last read
    // of a transfer is not acknowledged, the others are: address 9 bits, three reads of 9
    // bits, the acknowledges the 18th, 27th and 36th.
    cells(2, {"&hA1", "Indicator", "Dump1", "Dump2"});
    bits();
    EXPECT_EQ(runs().RunSequence(2).bytesRead, (std::vector<int>{0x5A, 0x5A, 0x5A}));
    EXPECT_EQ(texts({Ctl::Panel4, Ctl::Analog_be_sz, Ctl::Hex1, Ctl::Dump2}),
              QStringLiteral("A| 90|FF FF 5A |090 "));
    EXPECT_EQ(panel.value(Ctl::Analog_be), 0x5A);
    const QString acks = bits();
    EXPECT_EQ(QString(acks[18]) + acks[27] + acks[36], QStringLiteral("001"));
    runs().Cl1_Click();
    EXPECT_EQ(texts({Ctl::Hex1, Ctl::Dump1, Ctl::Dump2}), QStringLiteral("||090 "));

    // A Stop first is start then stop (D1 C1 D0, D0 C1 D1), and empties the marks.
    panel.setText(Ctl::Panel5, QStringLiteral("A"));
    const auto calls = board->portCalls();
    cells(1, {});
    runs().RunSequence(1);
    EXPECT_EQ(board->portCalls() - calls, 6u);
    EXPECT_EQ(bar(5), QString());
}

TEST_F(RunTest, AnInvalidConstantUnderTheTimerIsReportedOnceAndStopsTheTimer) {
    cells(1, {"&hA0", "300", "&h10"});
    power().TogglePower();
    runs().selectOption(Ctl::Ns12);
    ASSERT_TRUE(tester->timer().isActive());
    int ticksDuringBox = 0;
    dialogs.duringMessage = [&] {
        // Ticks that arrive while the box is open are dropped, not nested in the run.
        EXPECT_TRUE(tester->busy());
        runs().Timer_Timer();
        runs().Go2_Click();
        ++ticksDuringBox;
    };
    dialogs.thenMessage();
    EXPECT_TRUE(runs().Timer_Timer().timerOff);
    EXPECT_EQ(dialogs.messages(), QStringList{kI2cBadConstant});
    EXPECT_EQ(ticksDuringBox, 1);
    EXPECT_TRUE(chip.written.empty()); // only the address went out
    EXPECT_TRUE(panel.isChecked(Ctl::Noff));
    EXPECT_EQ(tester->timerSelection(), 0);
    EXPECT_FALSE(tester->timer().isActive());
    EXPECT_TRUE(board->wires().dtr && board->wires().rts); // the stop condition was driven
    // Sequence 2 of the same tick still ran, after the first had ended.
    EXPECT_EQ(texts({Ctl::C2, Ctl::Panel2, Ctl::Panel3}),
              QStringLiteral("300|Sequence 1: Stop|Sequence 2: Stop"));
}

TEST_F(RunTest, TimerTicksRunTheSelectionAndTheEnterKeyItsRow) {
    QString order; // the runs in the order they started
    QObject::connect(&panel, &FrontPanel::changed, [&](Ctl c) {
        if ((c == Ctl::Panel2 || c == Ctl::Panel3) && panel.text(c).endsWith(u"Run"))
            order += c == Ctl::Panel2 ? u'1' : u'2';
    });
    runs().selectOption(Ctl::Ns12);
    runs().Timer_Timer(); // power off: the ticks do nothing
    power().TogglePower();
    runs().Timer_Timer();
    runs().selectOption(Ctl::Ns2);
    runs().Timer_Timer();
    runs().selectOption(Ctl::Noff);
    runs().Timer_Timer();
    runs().cellEnterPressed(Ctl::C4);
    runs().cellEnterPressed(Ctl::D3);
    EXPECT_EQ(order, QStringLiteral("12212"));
}

TEST_F(RunTest, TheIntervalDialogTakesOneTo2000AndElseAThousand) {
    const std::pair<std::optional<QString>, int> answers[] = {
        {"500", 500},   {"2000", 2000}, {"1", 1},     {"1.9", 1}, {"0", 1000},        {"-5", 1000},
        {"2001", 1000}, {"abc", 1000},  {"700", 700}, {"", 700},  {std::nullopt, 700}};
    for (const auto& [answer, interval] : answers) {
        dialogs.thenInput(answer);
        setup().Mset_timer_Click();
        EXPECT_EQ(tester->timerInterval(), interval) << answer.value_or("cancel").toStdString();
    }
    EXPECT_EQ(dialogs.asked(10),
              QStringLiteral("Non-Stop Timer Setting\r\nActual: 700mS|Timer Setting.|"));
    EXPECT_EQ(bar(8), QStringLiteral(" 700mS"));
    dialogs.thenInput(QStringLiteral("250"));
    setup().Status_PanelDblClick(8); // the panel shows the current interval
    EXPECT_EQ(tester->timerInterval(), 250);
    panel.setText(FrontPanel::panel(8), QStringLiteral(" 999mS"));
    setup().Status_PanelDblClick(8); // not the current interval: nothing opens
}

TEST_F(RunTest, AMicrowireRunSendsResetStartBitBitsAndBytes) {
    microwire();
    EXPECT_FALSE(tester->startBitOn()); // the check mark, cleared in I2C mode, decides
    cells(1, {"X101", "&hA5", "Dump1"});
    runs().Go1_Click();
    EXPECT_EQ(board->sentCharacters(), (std::vector<std::uint8_t>{0xFF}));
    EXPECT_EQ(dialogs.yields, 1);
    // The reset pulse's own rise of the clock, 1 0 1, then 0xA5, then the read's clocks.
    EXPECT_EQ(bits().left(12), QStringLiteral("1"
                                              "101"
                                              "10100101"));
    EXPECT_EQ(
        texts({Ctl::C2, Ctl::Hex1, Ctl::Dump1, Ctl::Panel4, Ctl::Panel5, Ctl::Panel6, Ctl::Panel7}),
        QStringLiteral(" 165|FF |255 |NA|NA|NA|NA")); // nothing drives data in
    EXPECT_TRUE(board->wires().dtr && board->wires().rts);
    // Sequence 2 with the start bit on fills the display its cell names.
    setup().Mset_start_Click();
    ASSERT_TRUE(tester->startBitOn());
    cells(2, {"x", "x0"});
    runs().Go2_Click();
    EXPECT_EQ(bits(), QStringLiteral("110")); // the reset pulse, the start bit, the 0
    cells(2, {"Dump1"});
    runs().Go2_Click();
    EXPECT_EQ(texts({Ctl::Hex1, Ctl::Dump2}), QStringLiteral("FF FF |"));
}

TEST_F(RunTest, MicrowireRejectsAnIllegalBitWithTheTimerOffAndABadConstantWithout) {
    microwire();
    power().TogglePower();
    runs().selectOption(Ctl::Ns1);
    cells(1, {"256"});
    dialogs.thenMessage().thenMessage();
    EXPECT_FALSE(runs().Timer_Timer().timerOff);
    EXPECT_TRUE(tester->timer().isActive() && panel.isChecked(Ctl::Ns1));
    EXPECT_EQ(cell(1, 1), QStringLiteral("256"));
    cells(1, {"2.9", "x10a1"});
    bits();
    EXPECT_TRUE(runs().Timer_Timer().timerOff);
    EXPECT_EQ(dialogs.messages(), (QStringList{kMicrowireBadConstant, kIllegalBit}));
    EXPECT_FALSE(tester->timer().isActive());
    EXPECT_TRUE(panel.isChecked(Ctl::Noff));
    // 0x02, then the bits before the bad character: 1 and 0
    EXPECT_EQ(bits().mid(1, 10), QStringLiteral("00000010"
                                                "10"));
    EXPECT_EQ(texts({Ctl::C1, Ctl::Panel2}), QStringLiteral(" 2|Sequence 1: Stop"));
}

TEST_F(RunTest, AClickDuringTheResetPulsesYieldIsDropped) {
    microwire();
    cells(1, {"&h01"});
    int nested = 0;
    dialogs.duringYield = [&] {
        const auto before = board->sentCharacters().size();
        runs().Go1_Click();
        runs().Timer_Timer();
        nested += static_cast<int>(board->sentCharacters().size() - before);
    };
    runs().selectOption(Ctl::Ns1);
    runs().Go1_Click();
    EXPECT_EQ(nested, 0);
    EXPECT_EQ(board->sentCharacters().size(), 1u);
    EXPECT_FALSE(tester->busy());
}

TEST_F(RunTest, TheResetDialogKeepsAsksAgainAndRoundsHalvesToEven) {
    microwire();
    // Out of range asks again; 0, empty, no number and cancel keep the value; halves go to even.
    dialogs.thenInput(QStringLiteral("10")).thenMessage().thenInput(QStringLiteral("-1"));
    dialogs.thenMessage().thenInput(QStringLiteral("123456")).thenMessage();
    const std::pair<std::optional<QString>, int> answers[] = {
        {"2.5", 2}, {"0", 2}, {"", 2}, {"abc", 2}, {std::nullopt, 2}, {"3.5", 4}, {"7", 7}};
    for (const auto& [answer, tension] : answers) {
        dialogs.thenInput(answer);
        setup().Mset_reset_Click();
        EXPECT_EQ(tester->resetTension(), tension) << answer.value_or("cancel").toStdString();
    }
    EXPECT_EQ(dialogs.asked(0),
              QStringLiteral("Reset Tension [_/T\\_] value (1-9), actual: 9 (3750.00 uS) ?|"
                             "Mocrowire Reset Setting| 9"));
    EXPECT_EQ(dialogs.messages().front(), QStringLiteral("Wrong value!\r\nValid range 1-9 !"));
    EXPECT_EQ(bar(11), QStringLiteral("2916.67 uS"));
}

// brolmet-cli's run: command files, each run for a number of ticks, on the test board.
TEST(CliRun, TheSequenceOptionChoosesTheRowsAndARejectedCellEndsTheRepeats) {
    const auto run = [](QStringList cells, bool microwire, bool offSelected, int sequence,
                        int repeat) {
        Scratch scratch;
        CommandFile file;
        file.microwire = microwire;
        file.noffSelected = offSelected;
        std::copy(cells.begin(), cells.end(), file.cells.begin());
        EXPECT_EQ(file.save(scratch.path("f.scm")), 0);
        FrontPanel panel;
        auto board = SimulatedBoard::fromVariant(QString());
        ConsoleDialogs dialogs;
        Tester tester(panel, *board, dialogs);
        tester.startUp({});
        CliRun(tester, dialogs, {})
            .execute({{scratch.path("f.scm")}, sequence, repeat, 0, {}, {}, {}});
        // The messages, the cells C1, C2 and D1, and the option checked ("-" for none).
        QString option = QStringLiteral("-");
        for (Ctl c : {Ctl::Noff, Ctl::Ns1, Ctl::Ns2, Ctl::Ns12})
            option = panel.isChecked(c) ? panel.text(c) : option;
        return dialogs.messages() +
               QStringList{panel.text(Ctl::C1), panel.text(Ctl::C2), panel.text(Ctl::D1), option};
    };
    // A run rewrites the constants it sends in decimal.
    const QStringList rows = {"&h40", "Stop", "Stop", "Stop", "&h41"};
    EXPECT_EQ(run(rows, false, true, 1, 1), QStringList({" 64", "Stop", "&h41", "Off"}));
    EXPECT_EQ(run(rows, false, true, 2, 1), QStringList({"&h40", "Stop", " 65", "Off"}));
    EXPECT_EQ(run(rows, false, true, 12, 1), QStringList({" 64", "Stop", " 65", "Off"}));
    // An invalid I2C constant: said once, and "Off" selected whatever the file had selected.
    for (const bool offSelected : {true, false})
        EXPECT_EQ(run({"&hA0", "300"}, false, offSelected, 1, 5),
                  QStringList({kI2cBadConstant, " 160", "300", "Stop", "Off"}));
    // Microwire: a bad constant leaves the timer alone, so every tick says it; an illegal bit
    // stops the repeats.
    EXPECT_EQ(run({"300"}, true, false, 1, 3),
              QStringList(3, kMicrowireBadConstant) + QStringList({"300", "Stop", "Stop", "-"}));
    EXPECT_EQ(run({"x1021"}, true, true, 1, 3),
              QStringList({kIllegalBit, "x1021", "Stop", "Stop", "Off"}));
}
