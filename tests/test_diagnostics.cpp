// The Microwire primitives, the device scan and the line test, on the simulated board.
#include "actions/Tester.h"
#include "bus/MicrowireBus.h"
#include "model/FrontPanel.h"
#include "model/PanelTexts.h"
#include "sim/SimulatedBoard.h"
#include "support/BusDevices.h"
#include "support/ScriptedDialogs.h"

#include <gtest/gtest.h>

namespace {

struct BoardFixture : ::testing::Test {
    FrontPanel panel;
    std::unique_ptr<SimulatedBoard> board = std::make_unique<SimulatedBoard>();
    ScriptedDialogs dialogs;
    std::unique_ptr<Tester> tester;

    // The test board with its chips, or a fault variant of it.
    void start(const QString& variant = {}) {
        board = SimulatedBoard::fromVariant(variant);
        ASSERT_TRUE(board);
        tester = std::make_unique<Tester>(panel, *board, dialogs);
        tester->startUp({});
    }
    // The adapter with nothing on the bus.
    void startBare() {
        board = std::make_unique<SimulatedBoard>();
        tester = std::make_unique<Tester>(panel, *board, dialogs);
        tester->startUp({});
    }
    void TearDown() override {
        EXPECT_TRUE(dialogs.scriptUsedUp()) << "a scripted answer was never asked for";
    }
    QString panelText(int n) const { return panel.text(FrontPanel::panel(n)); }
};

} // namespace

TEST_F(BoardFixture, MicrowireBitsAndBytesGoOutMostSignificantFirstAndEndHigh) {
    startBare();
    WireLog& log = board->attach(std::make_unique<WireLog>());
    tester->power().TogglePower();
    MicrowireBus& bus = tester->microwire();

    log.levels.clear();
    const auto calls = board->portCalls();
    bus.writeByte(0xA5);
    EXPECT_EQ(log.bitsOnRisingClock(), (std::vector<int>{1, 0, 1, 0, 0, 1, 0, 1}));
    // Per bit: clock low, data, clock high, and after a 0 a further data high: 3 or 4 calls.
    EXPECT_EQ(board->portCalls() - calls, 8u * 3 + 4);
    EXPECT_EQ(log.levels.back(), std::make_pair(true, true));

    log.levels.clear();
    bus.writeByte(0x101); // only the low eight bits go out
    EXPECT_EQ(log.bitsOnRisingClock(), (std::vector<int>{0, 0, 0, 0, 0, 0, 0, 1}));

    bus.resetPulse(9);
    bus.end();
    EXPECT_EQ(log.levels.back(), std::make_pair(true, true));
    EXPECT_EQ(board->sentCharacters(), (std::vector<std::uint8_t>{0xFF}));
    EXPECT_EQ(dialogs.yields, 1);
}

TEST_F(BoardFixture, MicrowireReadsFollowTheDataLineAndTheResetTableAndTimes) {
    start(QStringLiteral("cts-high"));
    tester->power().TogglePower();
    EXPECT_EQ(tester->microwire().readByte(), 255);
    start(QStringLiteral("cts-low"));
    tester->power().TogglePower();
    EXPECT_EQ(tester->microwire().readByte(), 0);

    EXPECT_EQ(MicrowireBus::resetCharacter(1), 0x00);
    EXPECT_EQ(MicrowireBus::resetCharacter(2), 0x80);
    EXPECT_EQ(MicrowireBus::resetCharacter(5), 0xF0);
    EXPECT_EQ(MicrowireBus::resetCharacter(9), 0xFF);
    EXPECT_EQ(MicrowireBus::resetCharacter(0), 0x00);
    EXPECT_EQ(MicrowireBus::resetCharacter(10), 0x00);
    EXPECT_EQ(ResetPulseMicroseconds(3), 1250.0);
    const char* texts[] = {"416.67",  "833.33",  "1250.00", "1666.67", "2083.33",
                           "2500.00", "2916.67", "3333.33", "3750.00"};
    for (int n = 1; n <= 9; ++n)
        EXPECT_EQ(PanelTexts::resetTimeDigits(n), QLatin1String(texts[n - 1])) << n;
}

TEST_F(BoardFixture, ResetPulseOnAClosedPortSendsNothingAndGoesOn) {
    start();
    board->selectPort(4); // a port that does not exist: the power-on fails
    panel.setChecked(Ctl::Mset_micro, true);
    dialogs.thenMessage();
    tester->power().TogglePower();
    ASSERT_TRUE(tester->powerOn());
    ASSERT_FALSE(board->isOpen());
    tester->microwire().resetPulse(9);
    EXPECT_TRUE(board->sentCharacters().empty());
}

TEST_F(BoardFixture, DeviceDetectReportsWhatAnsweredAndLeavesThePowerOff) {
    startBare(); // no chip on the bus: the data line stays high
    tester->diagnostics().DeviceDetect();
    EXPECT_EQ(panel.text(Ctl::Dump1), QStringLiteral("Acknowledge Not Found !\r\n"));
    EXPECT_EQ(panel.text(Ctl::Hex1), QString());
    EXPECT_EQ(panelText(4), QString());
    EXPECT_EQ(panelText(2), QStringLiteral("Sequence 1: Stop"));
    EXPECT_EQ(dialogs.beeps, 1);
    EXPECT_EQ(dialogs.yields, 1);

    start(QStringLiteral("cts-low")); // every address "acknowledges": no device at all
    tester->diagnostics().DeviceDetect();
    EXPECT_EQ(panel.text(Ctl::Dump1), QStringLiteral("Device Not Found !\r\n"));
    EXPECT_EQ(panel.text(Ctl::Hex1), QString());
    EXPECT_EQ(panelText(4), QStringLiteral("A"));

    start(); // the test board's chips
    tester->diagnostics().DeviceDetect();
    EXPECT_EQ(panel.text(Ctl::Dump1),
              QStringLiteral("Acknowledge Found !\r\nAddres:   64  65  144  145  160  161\r\n"));
    EXPECT_EQ(panel.text(Ctl::Hex1), QStringLiteral("40 41 90 91 A0 A1 "));

    startBare();
    board->attach(std::make_unique<AckDevice>(0x00));
    board->attach(std::make_unique<AckDevice>(0xA0));
    tester->runs().selectOption(Ctl::Ns1);
    tester->power().TogglePower(); // already powered: off at the end all the same
    tester->diagnostics().DeviceDetect();
    EXPECT_EQ(panel.text(Ctl::Dump1),
              QStringLiteral("Acknowledge Found !\r\nAddres:   0  1  160  161\r\n"));
    EXPECT_EQ(panel.text(Ctl::Hex1), QStringLiteral("0 1 A0 A1 "));
    EXPECT_FALSE(tester->powerOn());
    EXPECT_FALSE(board->isOpen());
    EXPECT_EQ(panel.text(Ctl::PowerG), QStringLiteral("Power OFF"));
    EXPECT_TRUE(panel.isChecked(Ctl::Noff));
    EXPECT_FALSE(tester->timer().isActive());
    EXPECT_TRUE(tester->analysisOn()); // back on: the Observation item is checked
    EXPECT_EQ(panel.value(Ctl::Analog_be), 0);
    EXPECT_EQ(panel.text(Ctl::Analog_be_sz), QStringLiteral(" 255"));
}

TEST_F(BoardFixture, LineProbePassesOnTheStrapAndListsEveryFaultyPeriod) {
    start();
    dialogs.thenMessage();
    tester->diagnostics().LineProbe();
    EXPECT_EQ(dialogs.messages(), QStringList{QStringLiteral("Line Probe OK !")});
    EXPECT_EQ(dialogs.yields, 11);
    EXPECT_FALSE(tester->powerOn());

    QString rises, falls;
    for (int p = 0; p < 255; ++p) {
        rises += QStringLiteral(" %1/").arg(p);
        falls += QStringLiteral(" %1\\").arg(p);
    }
    const QString fail = QStringLiteral("Line Probe Fail !!\r\nSeveral Periods:");
    for (const auto& [variant, expected] :
         {std::pair{QStringLiteral("dsr-low"), fail + rises},
          std::pair{QStringLiteral("dsr-high"), fail + falls},
          std::pair{QStringLiteral("dsr-late"), QStringLiteral("Line Probe OK !")}}) {
        start(variant);
        dialogs.shown.clear();
        dialogs.thenMessage();
        tester->diagnostics().LineProbe();
        EXPECT_EQ(dialogs.messages(), QStringList{expected}) << variant.toStdString();
    }
}
