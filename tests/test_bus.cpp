// The line driver, the I2C and Microwire primitives, the port mapping, and the simulated
// adapter itself: its fault variants, TXD, the reset circuit and the wire recorder.
#include "base/UartFrame.h"
#include "bus/I2cBus.h"
#include "bus/MicrowireBus.h"
#include "bus/PortDeviceMap.h"
#include "support/Rig.h"
#include "support/SigrokCli.h"

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

} // namespace

TEST_F(LinesTest, OpeningRaisesTheLinesOfTheModeAndTheDataLineIsOpenDrain) {
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
    EXPECT_EQ(trace.s, u"Dc"_s);

    // The data line is open-drain, and a closed port reads it released.
    Puller& chip = board.attach(std::make_unique<Puller>());
    ASSERT_TRUE(lines.openPortI2c());
    for (const bool pulling : {true, false}) {
        chip.pulling = pulling;
        lines.dataLow();
        lines.dataHigh(); // releasing the line does not lift what a device holds low
        EXPECT_EQ(std::pair(lines.readData(), board.wires().data), std::pair(!pulling, !pulling));
    }
    lines.closePort();
    lines.dataLow(); // accepted on a closed port, without effect
    EXPECT_TRUE(!board.wires().dtr && !board.dsr() && lines.readData());
}

// One addressed byte write: start D1 C1 D0 | each bit C0 D(bit) C1 C0 | the acknowledge
// D1 C0 C1 R C0, read while the ninth clock is high, after its rise. Each line operation is one
// port call, recorded only while analysis is on.
TEST_F(LinesTest, AnI2cByteWriteReadsTheAcknowledgeWhileTheNinthClockIsHigh) {
    board.attach(std::make_unique<AckDevice>(0xA0));
    I2cBus i2c(lines);
    ASSERT_TRUE(lines.openPortI2c());
    for (const bool analysis : {false, true}) {
        lines.setAnalysisOn(analysis);
        const auto calls = board.portCalls();
        i2c.start();
        EXPECT_TRUE(i2c.writeByte(0xA0));
        EXPECT_EQ(board.portCalls() - calls, 40u);
        EXPECT_EQ(trace.s, analysis ? u"DCd"
                                      "cDCccdCccDCccdCc"
                                      "cdCccdCccdCccdCc"
                                      "DcCdc"_s
                                    : u""_s);
    }
}

// Microwire: write 1 C0 D1 C1, write 0 C0 D0 C1 D1, read C0 R C1 (sampled before the rise),
// reset pulse TXD char, D1 C1 D0 and one yield, end C1 D1 C1 D1.
TEST_F(LinesTest, MicrowireBitsAndBytesGoOutMostSignificantFirstAndEndHigh) {
    int yields = 0;
    MicrowireBus bus(lines, [&] { ++yields; });
    ASSERT_TRUE(lines.openPortMicrowire());
    lines.setAnalysisOn(true);
    const auto calls = board.portCalls();
    bus.writeByte(0x1A5); // only the low eight bits go out
    bus.readBit();
    bus.resetPulse(9);
    bus.end();
    EXPECT_EQ(trace.s, u"cDC"
                       "cdCD"
                       "cDC"
                       "cdCD"
                       "cdCD"
                       "cDC"
                       "cdCD"
                       "cDC"
                       "cDC"
                       "DCd"
                       "CDCD"_s);
    EXPECT_EQ(board.portCalls() - calls, 1u + static_cast<unsigned>(trace.s.size()));
    EXPECT_EQ(std::pair(board.sentCharacters(), yields),
              std::pair(std::vector<std::uint8_t>{0xFF}, 1));
}

TEST(SimulatedBoard, TheResetCharacterIsAUartFrameOnTxdAndAPulseOnChipSelect) {
    SKIP_WITHOUT_SIGROK();
    SimulatedBoard board;
    QString why;
    ASSERT_TRUE(board.open(&why));
    WireRecorder recorder;
    board.setRecorder(&recorder);
    board.sendByte(0xC5); // 1100 0101: two leading ones, so CS lasts 3 bit times
    const std::uint64_t t0 = board.nowNs();
    board.sendByte(0x00); // handed over during the first frame: waits for it
    while (board.nowNs() < t0 + UartFrame::bitTimesNs(21))
        board.cts();
    // CS rose with the first character; the second one, handed over one port call (10 us)
    // later while CS was still high, dropped it for 1 us and started its own pulse of one bit
    // time. sigrok reads both frames on TXD.
    const Edges cs = {
        {0, true}, {10'000, false}, {11'000, true}, {11'000 + UartFrame::bitTimesNs(1), false}};
    EXPECT_EQ(edgesOf(recorder, Wire::ChipSelect, t0), cs);
    Scratch scratch;
    ASSERT_TRUE(recorder.writeVcd(scratch.path("txd.vcd")));
    EXPECT_EQ(SigrokCli::decode(scratch.path("txd.vcd"), u"uart:rx=txd:baudrate=2400"_s,
                                u"uart=rx-data"_s),
              QStringList({"C5", "00"}));
}

TEST(WireRecorder, FollowsClockDataAndDsrAndWritesThemAsAValueChangeDump) {
    SimulatedBoard board;
    QString why;
    ASSERT_TRUE(board.open(&why));
    board.setRts(true);
    WireRecorder recorder; // from 10 us: dtr low, rts high, data low, dsr high, txd high, cs low
    board.setRecorder(&recorder);
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
    EXPECT_TRUE(PortDeviceMap::platformDefault(1).endsWith(u"S0"_s) ||
                PortDeviceMap::platformDefault(1) == u"COM1");
    PortDeviceMap single, all;
    for (const char* wrong : {"x=/dev/a", "2=", "", "0=/tmp/a", "5=/tmp/a"}) // ports 1 to 4
        EXPECT_FALSE(single.applyOption(QLatin1String(wrong))) << wrong;
    // A bare name is the device of that name in /dev, and every message names that path.
    EXPECT_TRUE(single.applyOption(u"2=/dev/serial/by-id/usb"_s) &&
                single.applyOption(u"4=ttyUSB7"_s) && all.applyOption(u"./adapter"_s));
    EXPECT_EQ(QStringList({single.deviceFor(2), single.deviceFor(4), all.deviceFor(4)}),
              QStringList({"/dev/serial/by-id/usb", "/dev/ttyUSB7", "./adapter"}));
    EXPECT_EQ(single.deviceFor(3), PortDeviceMap::platformDefault(3));
    Scratch scratch;
    QSettings settings(scratch.path("s.ini"), QSettings::IniFormat);
    settings.setValue(u"Devices/Port1"_s, u"/tmp/from-settings"_s);
    settings.setValue(u"Devices/Port2"_s, u"/tmp/also-settings"_s);
    single.readSettings(settings);
    EXPECT_EQ(single.deviceFor(1) + ' ' + single.deviceFor(2),
              u"/tmp/from-settings /dev/serial/by-id/usb"_s);
}
