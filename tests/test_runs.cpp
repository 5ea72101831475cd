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
        ASSERT_TRUE(panel.isChecked(Mset_micro));
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
    for (const auto& [text, microwire, kind] : {std::tuple{"Dump2", false, Kind::Dump2},
             {"stop", false, Kind::Constant}, {" Stop", false, Kind::Constant},
             {"x0101", false, Kind::Constant}, {"X0101", true, Kind::BitString},
             {"Stop", true, Kind::Stop}})
        EXPECT_EQ(CommandCells::kind(QLatin1String(text), microwire), kind) << text;
    const std::pair<const char*, int> constants[] = {
        {"&hff", 255}, {"&HFF", 255}, {"255", 255}, {"255.4", 255}, {"255.9", 255}, {" 31", 31},
        {"&h1F", 31}, {"Constans", 0}, {"", 0}, {"12abc", 12}, {"256", -1}, {"&h100", -1},
        {"-1", -1}, {"-0.5", -1}, {"1e300", -1}, {"99999999999999999999", -1}};
    // clang-format on
    for (const auto& [text, value] : constants)
        EXPECT_EQ(CommandCells::constantValue(QLatin1String(text)).value_or(-1), value) << text;
}

TEST_F(RunTest, TheStopRuleGreysTheCellsBehindAStopInBothRows) {
    panel.setText(C1, u"&h90"_s);
    EXPECT_EQ(enabled({C2, C3}), u"10"_s);
    panel.setText(C2, u"&h01"_s);
    panel.setText(C3, u"Dump1"_s);
    EXPECT_EQ(enabled({C3, C4}), u"11"_s);
    panel.setText(C2, u"Stop"_s);
    EXPECT_EQ(enabled({C3, C4}), u"00"_s);
    EXPECT_EQ(cell(1, 3), u"Dump1"_s); // greyed, not emptied
    panel.setText(D2, u"&h01"_s);
    for (const char* notTheKeyword : {"stop", " Stop"}) { // constants: 0
        panel.setText(D1, QLatin1String(notTheKeyword));
        EXPECT_EQ(enabled({D2, D3, D4, C3}), u"1100"_s);
    }
    panel.setText(D2, u"Stop"_s);
    EXPECT_EQ(enabled({D2, D3, D4}), u"100"_s);
}

TEST_F(RunTest, AnI2cRunWritesReadsAndShowsItsResults) {
    runs().RunSequence(1); // power off: nothing at all
    EXPECT_EQ(board->portCalls(), 0u);
    cells(1, {"&hA0", "&h10", "Constans", "Potmeter"});
    panel.setValue(Analog_ki, 0x1A3); // the slider's low eight bits go out
    runs().Go1_Click();
    EXPECT_TRUE(tester->powerOn());
    EXPECT_EQ(chip.written, (std::vector<int>{0x10, 0x00, 0xA3}));
    EXPECT_EQ(texts({C1, C2, C3, Panel2, Panel4, Panel5, Panel6, Panel7}),
              u" 160| 16| 0|Sequence 1: Stop|A|A|A|A"_s);
    // A read address nobody answers: no "A", and the read bytes are 255.
    cells(2, {"&h91", "Dump1", "Dump1"});
    runs().Go2_Click();
    EXPECT_EQ(texts({Panel4, Hex1, Dump1}), u"|FF FF |255 255 "_s);

    // The device's byte, read into the other display and onto the indicator; the last read
    // of a transfer is not acknowledged, the others are: address 9 bits, three reads of 9
    // bits, the acknowledges the 18th, 27th and 36th.
    cells(2, {"&hA1", "Indicator", "Dump1", "Dump2"});
    bits();
    EXPECT_EQ(runs().RunSequence(2).bytesRead, (std::vector<int>{0x5A, 0x5A, 0x5A}));
    EXPECT_EQ(texts({Panel4, Analog_be_sz, Hex1, Dump2}), u"A| 90|FF FF 5A |090 "_s);
    EXPECT_EQ(panel.value(Analog_be), 0x5A);
    const QString acks = bits();
    EXPECT_EQ(QString(acks[18]) + acks[27] + acks[36], u"001"_s);
    runs().Cl1_Click();
    EXPECT_EQ(texts({Hex1, Dump1, Dump2}), u"||090 "_s);

    // A Stop first is start then stop (D1 C1 D0, D0 C1 D1), and empties the marks.
    panel.setText(Panel5, u"A"_s);
    const auto calls = board->portCalls();
    cells(1, {});
    runs().RunSequence(1);
    EXPECT_EQ(board->portCalls() - calls, 6u);
    EXPECT_EQ(bar(5), QString());
}

TEST_F(RunTest, AnInvalidConstantUnderTheTimerIsReportedOnceAndStopsTheTimer) {
    cells(1, {"&hA0", "300", "&h10"});
    power().TogglePower();
    runs().selectOption(Ns12);
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
    EXPECT_EQ(timer(), u"Off stopped"_s);
    EXPECT_EQ(tester->timerSelection(), 0);
    EXPECT_TRUE(board->wires().dtr && board->wires().rts); // the stop condition was driven
    // Sequence 2 of the same tick still ran, after the first had ended.
    EXPECT_EQ(texts({C2, Panel2, Panel3}), u"300|Sequence 1: Stop|Sequence 2: Stop"_s);
}

TEST_F(RunTest, TimerTicksRunTheSelectionAtTheIntervalAndEnterItsRow) {
    QString order; // the runs in the order they started
    QObject::connect(&panel, &FrontPanel::changed, [&](Ctl c) {
        if ((c == Panel2 || c == Panel3) && panel.text(c).endsWith(u"Run"))
            order += c == Panel2 ? u'1' : u'2';
    });
    runs().selectOption(Ns12);
    runs().Timer_Timer(); // power off: the ticks do nothing
    power().TogglePower();
    runs().Timer_Timer();
    runs().selectOption(Ns2);
    runs().Timer_Timer();
    runs().selectOption(Noff);
    runs().Timer_Timer();
    runs().cellEnterPressed(C4);
    runs().cellEnterPressed(D3);
    EXPECT_EQ(order, u"12212"_s);

    // The interval dialog takes 1 to 2000, and else 1000.
    const std::pair<std::optional<QString>, int> answers[] = {
        {"500", 500},   {"2000", 2000}, {"1", 1},     {"1.9", 1}, {"0", 1000},        {"-5", 1000},
        {"2001", 1000}, {"abc", 1000},  {"700", 700}, {"", 700},  {std::nullopt, 700}};
    for (const auto& [answer, interval] : answers) {
        dialogs.thenInput(answer);
        setup().Mset_timer_Click();
        EXPECT_EQ(tester->timerInterval(), interval) << answer.value_or("cancel").toStdString();
    }
    EXPECT_EQ(dialogs.asked(10), u"Non-Stop Timer Setting\r\nActual: 700mS|Timer Setting.|"_s);
    EXPECT_EQ(bar(8), u" 700mS"_s);
    dialogs.thenInput(u"250"_s);
    setup().Status_PanelDblClick(8); // the panel shows the current interval
    EXPECT_EQ(tester->timerInterval(), 250);
    panel.setText(FrontPanel::panel(8), u" 999mS"_s);
    setup().Status_PanelDblClick(8); // not the current interval: nothing opens
}

TEST_F(RunTest, AMicrowireRunSendsResetStartBitBitsAndBytes) {
    microwire();
    EXPECT_FALSE(tester->startBitOn()); // the check mark, cleared in I2C mode, decides
    cells(1, {"X101", "&hA5", "Dump1"});
    runs().Go1_Click();
    EXPECT_EQ(std::pair(board->sentCharacters(), dialogs.yields),
              std::pair(std::vector<std::uint8_t>{0xFF}, 1));
    // The reset pulse's own rise of the clock, 1 0 1, then 0xA5, then the read's clocks.
    EXPECT_EQ(bits().left(12), u"1"
                               "101"
                               "10100101"_s);
    EXPECT_EQ(texts({C2, Hex1, Dump1, Panel4, Panel5, Panel6, Panel7}),
              u" 165|FF |255 |NA|NA|NA|NA"_s); // nothing drives data in
    EXPECT_TRUE(board->wires().dtr && board->wires().rts);
    // Sequence 2 with the start bit on fills the display its cell names.
    setup().Mset_start_Click();
    ASSERT_TRUE(tester->startBitOn());
    cells(2, {"x", "x0"});
    runs().Go2_Click();
    EXPECT_EQ(bits(), u"110"_s); // the reset pulse, the start bit, the 0
    cells(2, {"Dump1"});
    runs().Go2_Click();
    EXPECT_EQ(texts({Hex1, Dump2}), u"FF FF |"_s);
}

TEST_F(RunTest, MicrowireRejectsAnIllegalBitWithTheTimerOffAndABadConstantWithout) {
    microwire();
    power().TogglePower();
    runs().selectOption(Ns1);
    cells(1, {"256"});
    dialogs.thenMessage().thenMessage();
    EXPECT_FALSE(runs().Timer_Timer().timerOff);
    EXPECT_EQ(timer(), u"Seq1 running"_s);
    EXPECT_EQ(cell(1, 1), u"256"_s);
    cells(1, {"2.9", "x10a1"});
    bits();
    EXPECT_TRUE(runs().Timer_Timer().timerOff);
    EXPECT_EQ(dialogs.messages(), (QStringList{kMicrowireBadConstant, kIllegalBit}));
    EXPECT_EQ(timer(), u"Off stopped"_s);
    // 0x02, then the bits before the bad character: 1 and 0
    EXPECT_EQ(bits().mid(1, 10), u"00000010"
                                 "10"_s);
    EXPECT_EQ(texts({C1, Panel2}), u" 2|Sequence 1: Stop"_s);
}

TEST_F(RunTest, TheResetDialogRoundsHalvesToEvenAndAClickDuringTheResetPulseIsDropped) {
    microwire();
    // Out of range asks again; 0, empty, no number and cancel keep the value; halves go to even.
    dialogs.thenInput(u"10"_s).thenMessage().thenInput(u"-1"_s);
    dialogs.thenMessage().thenInput(u"123456"_s).thenMessage();
    const std::pair<std::optional<QString>, int> answers[] = {
        {"2.5", 2}, {"0", 2}, {"", 2}, {"abc", 2}, {std::nullopt, 2}, {"3.5", 4}, {"7", 7}};
    for (const auto& [answer, tension] : answers) {
        dialogs.thenInput(answer);
        setup().Mset_reset_Click();
        EXPECT_EQ(tester->resetTension(), tension) << answer.value_or("cancel").toStdString();
    }
    EXPECT_EQ(dialogs.asked(0), u"Reset Tension [_/T\\_] value (1-9), actual: 9 (3750.00 uS) ?|"
                                "Mocrowire Reset Setting| 9"_s);
    EXPECT_EQ(dialogs.messages().front(), u"Wrong value!\r\nValid range 1-9 !"_s);
    EXPECT_EQ(bar(11), u"2916.67 uS"_s);

    // A click during the reset pulse's yield is dropped.
    cells(1, {"&h01"});
    int nested = 0;
    dialogs.duringYield = [&] {
        const auto before = board->sentCharacters().size();
        runs().Go1_Click();
        runs().Timer_Timer();
        nested += static_cast<int>(board->sentCharacters().size() - before);
    };
    runs().selectOption(Ns1);
    runs().Go1_Click();
    EXPECT_EQ(std::pair(nested, board->sentCharacters().size()), std::pair(0, std::size_t(1)));
    EXPECT_FALSE(tester->busy());
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
        // The messages, the cells C1, C2 and D1, the option and the timer.
        return (dialogs.messages() +
                QStringList{textsOf(panel, {C1, C2, D1}), timerOf(panel, tester)})
            .join(u'|');
    };
    // A run rewrites the constants it sends in decimal.
    const QStringList rows = {"&h40", "Stop", "Stop", "Stop", "&h41"};
    EXPECT_EQ(run(rows, false, true, 1, 1), u" 64|Stop|&h41|Off stopped"_s);
    EXPECT_EQ(run(rows, false, true, 2, 1), u"&h40|Stop| 65|Off stopped"_s);
    EXPECT_EQ(run(rows, false, true, 12, 1), u" 64|Stop| 65|Off stopped"_s);
    // An invalid I2C constant: said once, and "Off" selected whatever the file had selected.
    for (const bool offSelected : {true, false})
        EXPECT_EQ(run({"&hA0", "300"}, false, offSelected, 1, 5),
                  kI2cBadConstant + "| 160|300|Stop|Off stopped");
    // Microwire: a bad constant leaves the timer alone, so every tick says it; an illegal bit
    // stops the repeats.
    EXPECT_EQ(run({"300"}, true, false, 1, 3),
              QStringList(3, kMicrowireBadConstant).join(u'|') + "|300|Stop|Stop|none stopped");
    EXPECT_EQ(run({"x1021"}, true, true, 1, 3), kIllegalBit + "|x1021|Stop|Stop|Off stopped");
}
