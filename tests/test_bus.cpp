// The line driver, the I2C and Microwire primitives, the port mapping, and the simulated
// adapter itself: its fault variants, TXD, the reset circuit and the wire recorder.
#include "base/UartFrame.h"
#include "bus/I2cBus.h"
#include "bus/MicrowireBus.h"
#include "bus/PortDeviceMap.h"
#include "model/PanelTexts.h"
#include "support/Rig.h"

#include <QSettings>

namespace {

// The levels recorded, one letter each: D/d data high/low (put on or read), C/c clock.
struct Letters : LevelRecorder {
    QString s;
    void recordLevel(Line line, bool high) override {
        s += QChar(line == Line::Data ? (high ? 'D' : 'd') : (high ? 'C' : 'c'));
    }
};

// A chip that holds the data line low whenever it is told to (the board sees the change with
// the next edge on the wires).
struct Puller : SimDevice {
    bool pulling = false;
    void wiresChanged(const BoardWires&, std::uint64_t) override {}
    bool pullsDataLow() const override { return pulling; }
};

struct LinesTest : ::testing::Test {
    SimulatedBoard board;
    PortLines lines{board};
    Letters trace;
    void SetUp() override { lines.setRecorder(&trace); }
};

using Wire = WireRecorder::Wire;
using Edges = std::vector<std::pair<std::uint64_t, bool>>; // (time after t0, level)

Edges edgesOf(const WireRecorder& recorder, Wire wire, std::uint64_t t0) {
    Edges edges;
    for (const auto& c : recorder.changes())
        if (c.wire == wire && c.atNs >= t0)
            edges.emplace_back(c.atNs - t0, c.level);
    return edges;
}

std::uint64_t b(int k) {
    return UartFrame::bitTimesNs(k);
}

} // namespace

TEST_F(LinesTest, OpeningRaisesTheLinesOfTheModeAndLeavesAnOpenPortAsItIs) {
    lines.setAnalysisOn(true);
    ASSERT_TRUE(lines.openPortI2c());
    EXPECT_TRUE(board.isOpen() && board.wires().rts && board.wires().dtr);
    EXPECT_EQ(trace.s, QString()); // the two raises go straight to the port
    lines.clockLow();
    lines.dataLow();
    EXPECT_TRUE(lines.openPortI2c()); // already open: nothing is driven
    EXPECT_FALSE(board.wires().rts || board.wires().dtr);
    EXPECT_EQ(board.opens(), 1);
    lines.closePort();
    lines.closePort(); // a closed port: nothing happens
    EXPECT_FALSE(board.isOpen() || board.wires().rts);

    trace.s.clear();
    ASSERT_TRUE(lines.openPortMicrowire()); // data high, clock low, through the line operations
    EXPECT_TRUE(board.wires().dtr && !board.wires().rts);
    EXPECT_EQ(trace.s, QStringLiteral("Dc"));
}

TEST_F(LinesTest, EachLineOperationIsOnePortCallAndIsRecordedOnlyWhileAnalysisIsOn) {
    ASSERT_TRUE(lines.openPortI2c());
    for (const bool analysis : {false, true}) {
        lines.setAnalysisOn(analysis);
        const auto calls = board.portCalls();
        lines.dataLow();
        lines.clockLow();
        EXPECT_FALSE(lines.readData()); // data out low: the line reads low
        lines.clockHigh();
        lines.dataHigh();
        EXPECT_EQ(board.portCalls() - calls, 5u);
        EXPECT_EQ(trace.s, analysis ? QStringLiteral("dcdCD") : QString());
    }
}

// One addressed byte write: start D1 C1 D0 | each bit C0 D(bit) C1 C0 | the acknowledge
// D1 C0 C1 R C0, read while the ninth clock is high, after its rise.
TEST_F(LinesTest, AnI2cByteWriteReadsTheAcknowledgeWhileTheNinthClockIsHigh) {
    board.attach(std::make_unique<AckDevice>(0xA0));
    I2cBus i2c(lines);
    ASSERT_TRUE(lines.openPortI2c());
    lines.setAnalysisOn(true);
    i2c.start();
    EXPECT_TRUE(i2c.writeByte(0xA0));
    EXPECT_EQ(trace.s, QStringLiteral("DCd"
                                      "cDCccdCccDCccdCc"
                                      "cdCccdCccdCccdCc"
                                      "DcCdc"));
}

TEST_F(LinesTest, TheDataLineIsOpenDrainAndAClosedPortReadsReleased) {
    Puller& chip = board.attach(std::make_unique<Puller>());
    ASSERT_TRUE(lines.openPortI2c());
    EXPECT_TRUE(lines.readData());
    for (const bool pulling : {true, false}) {
        chip.pulling = pulling;
        lines.dataLow();
        lines.dataHigh(); // releasing the line does not lift what a device holds low
        EXPECT_EQ(lines.readData(), !pulling);
        EXPECT_EQ(board.wires().data, !pulling);
    }
    lines.closePort();
    lines.dataLow(); // accepted on a closed port, without effect
    EXPECT_FALSE(board.wires().dtr || board.dsr());
    EXPECT_TRUE(lines.readData());
}

TEST(MicrowireBus, BitsAndBytesGoOutMostSignificantFirstAndEndHigh) {
    SimulatedBoard board;
    WireLog& log = board.attach(std::make_unique<WireLog>());
    PortLines lines(board);
    int yields = 0;
    MicrowireBus bus(lines, [&] { ++yields; });
    ASSERT_TRUE(lines.openPortMicrowire());
    log.levels.clear();
    const auto calls = board.portCalls();
    bus.writeByte(0xA5);
    EXPECT_EQ(log.bitsOnRisingClock(), (std::vector<int>{1, 0, 1, 0, 0, 1, 0, 1}));
    // Per bit: clock low, data, clock high, and after a 0 a further data high: 3 or 4 calls.
    EXPECT_EQ(board.portCalls() - calls, 8u * 3 + 4);
    EXPECT_EQ(log.levels.back(), std::make_pair(true, true));
    log.levels.clear();
    bus.writeByte(0x101); // only the low eight bits go out
    EXPECT_EQ(log.bitsOnRisingClock(), (std::vector<int>{0, 0, 0, 0, 0, 0, 0, 1}));
    bus.resetPulse(9);
    bus.end();
    EXPECT_EQ(log.levels.back(), std::make_pair(true, true));
    EXPECT_EQ(board.sentCharacters(), (std::vector<std::uint8_t>{0xFF}));
    EXPECT_EQ(yields, 1);

    for (const auto& [variant, byte] : {std::pair{"cts-high", 255}, {"cts-low", 0}}) {
        auto stuck = SimulatedBoard::fromVariant(QLatin1String(variant));
        PortLines stuckLines(*stuck);
        ASSERT_TRUE(stuckLines.openPortMicrowire());
        EXPECT_EQ(MicrowireBus(stuckLines, {}).readByte(), byte) << variant;
    }
    QStringList characters, times;
    for (int n = 0; n <= 10; ++n)
        characters << QString::number(MicrowireBus::resetCharacter(n), 16);
    for (int n = 1; n <= 9; ++n)
        times << PanelTexts::resetTimeDigits(n);
    EXPECT_EQ(characters.join(u' '), QStringLiteral("0 0 80 c0 e0 f0 f8 fc fe ff 0"));
    EXPECT_EQ(times.join(u' '), QStringLiteral("416.67 833.33 1250.00 1666.67 2083.33 2500.00 "
                                               "2916.67 3333.33 3750.00"));
}

TEST(SimulatedBoard, FaultVariantsBreakTheirLine) {
    // (DSR with RTS on, DSR with RTS off), three times.
    const std::pair<const char*, const char*> dsr[] = {{"", "10 10 10"},
                                                       {"dsr-low", "00 00 00"},
                                                       {"dsr-high", "11 11 11"},
                                                       {"dsr-late", "00 10 10"}};
    for (const auto& [variant, expected] : dsr) {
        auto board = SimulatedBoard::fromVariant(QLatin1String(variant));
        QString why, pairs;
        ASSERT_TRUE(board && board->open(&why));
        for (int i = 0; i < 3; ++i) {
            board->setRts(true);
            pairs += QString::number(board->dsr());
            board->setRts(false);
            pairs += QString::number(board->dsr()) + u' ';
        }
        EXPECT_EQ(pairs.trimmed(), QLatin1String(expected)) << variant;
    }
    EXPECT_EQ(SimulatedBoard::fromVariant(QStringLiteral("no-such-fault")), nullptr);
    // Data in stuck: CTS ignores the data line.
    auto high = SimulatedBoard::fromVariant(QStringLiteral("cts-high"));
    auto low = SimulatedBoard::fromVariant(QStringLiteral("cts-low"));
    QString why;
    ASSERT_TRUE(high->open(&why) && low->open(&why));
    high->setDtr(false);
    low->setDtr(true);
    EXPECT_TRUE(high->cts() && !low->cts());

    // An unplugged adapter closes the port and reports once.
    auto board = SimulatedBoard::fromVariant(QStringLiteral("unplug"));
    QStringList reports;
    board->setLostHandler([&](const QString& reason) { reports << reason; });
    PortLines lines(*board);
    ASSERT_TRUE(lines.openPortI2c());
    for (int i = 0; i < 5000; ++i) // runs on past the unplugging without harm
        lines.clockLow(), lines.dataHigh(), lines.readData();
    EXPECT_FALSE(board->isOpen());
    ASSERT_EQ(reports.size(), 1);
    EXPECT_TRUE(reports.front().contains(QStringLiteral("unplugged")));
}

TEST(SimulatedBoard, TheResetCharacterIsAUartFrameOnTxdAndAPulseOnChipSelect) {
    for (const auto& [character, bits] : {std::pair{0xFF, 9},
                                          {0xFE, 8},
                                          {0xC0, 3},
                                          {0x80, 2},
                                          {0x00, 1},
                                          {0x7F, 1}}) // only leading ones count
        EXPECT_EQ(SimulatedBoard::resetPulseBits(static_cast<std::uint8_t>(character)), bits);
    EXPECT_EQ(b(9), 3'750'000u);
    EXPECT_EQ(b(1), 416'667u);

    SimulatedBoard board;
    QString why;
    ASSERT_TRUE(board.open(&why));
    WireRecorder recorder;
    board.setRecorder(&recorder);
    EXPECT_TRUE(recorder.level(Wire::Txd)); // idle high
    EXPECT_FALSE(recorder.level(Wire::ChipSelect));
    board.sendByte(0xC5); // 1100 0101: two leading ones, so CS lasts 3 bit times
    const std::uint64_t t0 = board.nowNs();
    board.sendByte(0x00); // handed over during the first frame: waits for it
    const std::uint64_t d = board.nowNs() - t0;
    EXPECT_EQ(d, 10'000u); // one port call
    while (board.nowNs() < t0 + b(21))
        board.cts();
    EXPECT_EQ(board.sentCharacters(), (std::vector<std::uint8_t>{0xC5, 0x00}));
    // Start bit, then bits 0..7 = 1 0 1 0 0 0 1 1, stop bit high; then 0x00: start and eight
    // zeros, stop bit high.
    const Edges txd = {{0, false},    {b(1), true}, {b(2), false},  {b(3), true},
                       {b(4), false}, {b(7), true}, {b(10), false}, {b(19), true}};
    EXPECT_EQ(edgesOf(recorder, Wire::Txd, t0), txd);
    // CS rose with the first character; the second one, handed over while CS was still high,
    // dropped it for 1 us and started its own pulse of one bit time; CS falls within the port
    // call that passes the end of the pulse.
    const Edges cs = {{0, true}, {d, false}, {d + 1000, true}, {d + 1000 + b(1), false}};
    EXPECT_EQ(edgesOf(recorder, Wire::ChipSelect, t0), cs);
    board.sendByte(0xE0); // 4 bit times
    const std::uint64_t sent = board.nowNs();
    while (board.wires().cs && board.nowNs() < sent + 10'000'000)
        board.cts();
    EXPECT_GE(board.nowNs(), sent + b(4));
    EXPECT_LT(board.nowNs(), sent + b(4) + 10'000);
}

TEST(WireRecorder, FollowsClockDataAndDsrAndWritesThemAsAValueChangeDump) {
    SimulatedBoard board;
    QString why;
    ASSERT_TRUE(board.open(&why));
    board.setRts(true);
    WireRecorder recorder;
    board.setRecorder(
        &recorder);      // at 10 us: dtr low, rts high, data low, dsr high, txd high, cs low
    board.setDtr(true);  // 20 us
    board.setRts(false); // 30 us
    board.setRts(false); // 40 us: no change, nothing recorded
    board.cts();
    const QByteArray expected = "$version Tamsolvix simulated board recorder $end\n"
                                "$timescale 1 us $end\n$scope module board $end\n"
                                "$var wire 1 ! dtr $end\n$var wire 1 \" rts $end\n"
                                "$var wire 1 # data $end\n$var wire 1 $ dsr $end\n"
                                "$var wire 1 % txd $end\n$var wire 1 & cs $end\n"
                                "$upscope $end\n$enddefinitions $end\n"
                                "#0\n$dumpvars\n0!\n1\"\n0#\n1$\n1%\n0&\n$end\n"
                                "#20\n1!\n1#\n#30\n0\"\n0$\n#40\n";
    EXPECT_EQ(recorder.vcd(), expected);

    // Changes are sorted by time; within one microsecond the last level of a wire stands, and
    // a pulse that ends where it began leaves no trace.
    WireRecorder loose;
    loose.record(Wire::Data, true, 0);
    loose.record(Wire::Data, false, 5'000);
    loose.record(Wire::Clock, true, 4'000);
    loose.record(Wire::Data, true, 5'200);
    loose.record(Wire::Clock, false, 7'000);
    const QByteArray body = loose.vcd().mid(loose.vcd().indexOf("#0"));
    EXPECT_EQ(body, QByteArray("#0\n$dumpvars\n1\"\n1#\n$end\n#7\n0\"\n#17\n"));
}

TEST(PortDeviceMap, MapsPortNumbersToDevicesFromOptionsThenSettingsThenThePlatform) {
    EXPECT_TRUE(PortDeviceMap::platformDefault(1).endsWith(QStringLiteral("S0")) ||
                PortDeviceMap::platformDefault(1) == u"COM1");
    PortDeviceMap single;
    EXPECT_TRUE(single.applyOption(QStringLiteral("2=/dev/serial/by-id/usb-adapter")));
    EXPECT_EQ(single.deviceFor(2), QStringLiteral("/dev/serial/by-id/usb-adapter"));
    EXPECT_EQ(single.deviceFor(3), PortDeviceMap::platformDefault(3));
    for (const char* wrong : {"x=/dev/a", "2=", "", "0=/tmp/a", "5=/tmp/a"}) // ports 1 to 4
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
