// The 93C46 on the simulated test board, driven the way the tool's Microwire run drives it:
// the reset character on TXD (which selects the chip for n bit times), then bits on DTR and
// RTS through the line driver, and the data line read back through CTS.
#include "base/UartFrame.h"
#include "bus/MicrowireBus.h"
#include "bus/PortLines.h"
#include "sim/Eeprom93c46.h"
#include "sim/SimulatedBoard.h"
#include "sim/WireRecorder.h"
#include "support/SigrokCli.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>
#include <utility>

namespace {

// The 93C46 driven through the tool's Microwire primitives.
struct MicrowireBoard : ::testing::Test {
    std::unique_ptr<SimulatedBoard> board = SimulatedBoard::fromVariant(QString());
    PortLines lines{*board};
    MicrowireBus bus{lines, {}}; // the tool's own primitives, without a yield

    void SetUp() override { ASSERT_TRUE(lines.openPortMicrowire()); }

    Eeprom93c46& chip() { return *board->eeprom93c46(); }

    void resetPulse(int n) { bus.resetPulse(n); }
    void writeBit(bool one) { bus.writeBit(one); }
    void writeBits(unsigned value, int count) {
        for (int i = count - 1; i >= 0; --i)
            bus.writeBit(((value >> i) & 1u) != 0);
    }
    bool readBit() { return bus.readBit(); }
    int readByte() { return bus.readByte(); }
    void end() { bus.end(); }
    // One run: reset pulse, start bit, the command's bits (opcode and address first).
    void command(int resetValue, unsigned bits, int count) {
        resetPulse(resetValue);
        writeBit(true);
        writeBits(bits, count);
    }
    // Lets the chip select fall: the reset pulse's time runs out while the data line is read.
    void waitDeselected() {
        while (board->wires().cs)
            lines.readData();
    }
    void run(int resetValue, unsigned bits, int count) {
        command(resetValue, bits, count);
        end();
        waitDeselected();
    }
    // Selects the chip without a start bit (a 0 bit raises data out again, so that the line
    // can show DO) and reads the status until it shows ready; returns the busy reads.
    int pollUntilReady() {
        resetPulse(9);
        writeBit(false);
        int busyReads = 0;
        while (!readBit() && busyReads < 2000)
            ++busyReads;
        end();
        waitDeselected();
        return busyReads;
    }
    // READ of one byte: the dummy 0 comes first, so the byte spans two byte reads.
    int readAt(int address, int resetValue = 9) {
        command(resetValue, 0b10'0000000u | static_cast<unsigned>(address), 9);
        const int first = readByte();
        const int second = readByte();
        end();
        waitDeselected();
        EXPECT_EQ(first & 0x80, 0) << "dummy bit";
        return ((first << 1) | (second >> 7)) & 0xFF;
    }
    static unsigned write(int address, int data) {
        return (0b01'0000000u | static_cast<unsigned>(address)) << 8 | static_cast<unsigned>(data);
    }
    static constexpr unsigned kEwen = 0b00'1100000;
    static constexpr unsigned kEwds = 0b00'0000000;
    static constexpr unsigned kEral = 0b00'1000000;
    static constexpr unsigned kWral = 0b00'0100000;
};

} // namespace

TEST(ResetCircuit, ChipSelectLastsOneBitTimePerLeadingOneBitPlusOne) {
    EXPECT_EQ(SimulatedBoard::resetPulseBits(0xFF), 9);
    EXPECT_EQ(SimulatedBoard::resetPulseBits(0xFE), 8);
    EXPECT_EQ(SimulatedBoard::resetPulseBits(0xC0), 3);
    EXPECT_EQ(SimulatedBoard::resetPulseBits(0x80), 2);
    EXPECT_EQ(SimulatedBoard::resetPulseBits(0x00), 1);
    EXPECT_EQ(SimulatedBoard::resetPulseBits(0x7F), 1); // only leading ones count
    EXPECT_EQ(UartFrame::bitTimesNs(9), 3'750'000u);
    EXPECT_EQ(UartFrame::bitTimesNs(1), 416'667u);

    SimulatedBoard board;
    QString why;
    ASSERT_TRUE(board.open(&why));
    board.sendByte(0xE0); // 4 bit times
    const std::uint64_t sent = board.nowNs();
    EXPECT_TRUE(board.wires().cs);
    std::uint64_t fell = 0;
    while (board.wires().cs && board.nowNs() < sent + 10'000'000) {
        board.cts();
        fell = board.nowNs();
    }
    // CS falls within the port call that passes the end of the pulse.
    EXPECT_GE(fell, sent + UartFrame::bitTimesNs(4));
    EXPECT_LT(fell, sent + UartFrame::bitTimesNs(4) + 10'000);
}

TEST_F(MicrowireBoard, WriteWaitsForItsCycleAndReadsBackOnlyAfterWriteEnable) {
    end(); // both lines high, as after every run
    chip().set(0x16, 0x3C);

    // Power-on: write-disabled, the WRITE is ignored and no cycle starts.
    run(9, write(0x15, 0xA7), 17);
    EXPECT_FALSE(chip().busy());
    EXPECT_EQ(chip().at(0x15), 0xFF);

    run(9, kEwen, 9);
    EXPECT_TRUE(chip().writeEnabled());

    // WRITE: the cycle starts with the last data bit; DO shows busy while CS is high.
    command(9, write(0x15, 0xA7), 17);
    EXPECT_TRUE(chip().busy());
    EXPECT_FALSE(readBit());
    EXPECT_FALSE(readBit());
    end();
    waitDeselected();
    EXPECT_TRUE(chip().busy());    // 4 ms outlast the 3.75 ms of the selection
    EXPECT_TRUE(lines.readData()); // deselected: DO is off

    // Select again and poll the status until ready.
    const int busyReads = pollUntilReady();
    EXPECT_GT(busyReads, 0);
    EXPECT_LT(busyReads, 200);
    EXPECT_FALSE(chip().busy());

    EXPECT_EQ(chip().at(0x15), 0xA7);
    EXPECT_EQ(readAt(0x15), 0xA7);
    EXPECT_EQ(readAt(0x16), 0x3C);

    // Sequential read: after D0 of one byte the next byte follows without a dummy bit.
    command(9, 0b10'0010101u, 9);
    const int a = readByte();
    const int b = readByte();
    const int c = readByte();
    end();
    waitDeselected();
    EXPECT_EQ(a, 0xA7 >> 1);
    EXPECT_EQ(b, ((0xA7 & 1) << 7) | (0x3C >> 1));
    EXPECT_EQ(c, ((0x3C & 1) << 7) | (0xFF >> 1)); // 0x17 is erased

    run(9, kEwds, 9);
    EXPECT_FALSE(chip().writeEnabled());
    run(9, write(0x15, 0x00), 17);
    EXPECT_EQ(chip().at(0x15), 0xA7);
}

TEST_F(MicrowireBoard, EraseEraseAllAndWriteAllProgramTheWholeChip) {
    end();
    run(9, kEwen, 9);
    chip().set(0x01, 0x12);
    chip().set(0x02, 0x34);
    run(9, 0b11'0000001u, 9); // ERASE 0x01
    EXPECT_TRUE(chip().busy());
    resetPulse(9); // commands are ignored during the cycle
    writeBit(true);
    writeBits(write(0x02, 0x00), 17);
    end();
    waitDeselected();
    EXPECT_EQ(chip().at(0x01), 0xFF);
    EXPECT_EQ(chip().at(0x02), 0x34);
    EXPECT_FALSE(chip().busy());

    run(9, kWral << 8 | 0x5A, 17);
    waitDeselected();
    for (int i = 0; i < Eeprom93c46::kSize; ++i)
        ASSERT_EQ(chip().at(i), 0x5A) << i;
    EXPECT_GT(pollUntilReady(), 0);
    run(9, kEral, 9);
    for (int i = 0; i < Eeprom93c46::kSize; ++i)
        ASSERT_EQ(chip().at(i), 0xFF) << i;
}

TEST_F(MicrowireBoard, AResetValueTooShortForTheCommandCutsItOff) {
    end();
    run(9, kEwen, 9);
    chip().set(0x40, 0x81);

    // Reset value 1: CS is high for 417 us, about 41 port calls; a WRITE needs about 70.
    run(1, write(0x20, 0x00), 17);
    EXPECT_FALSE(chip().busy());
    EXPECT_EQ(chip().at(0x20), 0xFF);
    // READ 0x40 takes 41 port calls before its data: reset value 1 deselects the chip just
    // before, and every bit reads as the released line.
    chip().set(0x41, 0x00);
    auto readTwo = [&](int resetValue) {
        command(resetValue, 0b10'1000000u, 9);
        const int first = readByte();
        const int second = readByte();
        end();
        waitDeselected();
        return std::make_pair(first, second);
    };
    EXPECT_EQ(readTwo(1), std::make_pair(0xFF, 0xFF));
    // Reset value 2 (833 us, 83 port calls) ends after 14 bits read: the dummy 0, 0x40's eight
    // bits, five bits of 0x41 (all 0), then the released line.
    EXPECT_EQ(readTwo(2), std::make_pair(0x81 >> 1, 0b1'00000'11));

    // Reset value 2 is long enough for a WRITE (73 port calls).
    run(2, write(0x20, 0x00), 17);
    EXPECT_TRUE(chip().busy());
    EXPECT_EQ(chip().at(0x20), 0x00);
}

TEST_F(MicrowireBoard, ACharacterSentWhileSelectedDeselectsFirstAndTheFirstRunSeesAnExtraClock) {
    // Right after opening, the clock is low: the reset pulse's own rising clock, with data
    // out high, is the chip's start bit, and the run's start bit becomes the first opcode bit.
    // READ 0x05 (1 10 0000101) arrives as 1 11 0000010: an ERASE, ignored while
    // write-disabled, so nothing drives the data line.
    chip().set(0x05, 0x00);
    command(9, 0b10'0000101u, 9);
    EXPECT_EQ(readByte(), 0xFF);
    end();

    // A new character while CS is still high drops CS for 1 us: the chip starts over and the
    // READ, now sent with the clock already high, works.
    ASSERT_TRUE(board->wires().cs);
    EXPECT_EQ(readAt(0x05), 0x00);
}

TEST_F(MicrowireBoard, SigrokDecodesAReadAndAWriteOfThe93c46) {
    if (SigrokCli::program().isEmpty())
        GTEST_SKIP() << "sigrok-cli is not on PATH (Debian package sigrok-cli): the independent "
                        "decode of the recorder's recording cannot be checked";
    end();
    chip().set(0x15, 0xA7);
    run(9, kEwen, 9);
    WireRecorder recorder;
    board->setRecorder(&recorder);
    EXPECT_EQ(readAt(0x15), 0xA7);
    command(9, write(0x16, 0x5C), 17);
    EXPECT_EQ(readByte(), 0x00); // busy; these clocks also complete the last data bit for sigrok
    end();
    waitDeselected();
    board->setRecorder(nullptr);
    EXPECT_EQ(chip().at(0x16), 0x5C);

    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("microwire.vcd"));
    QString error;
    ASSERT_TRUE(recorder.writeVcd(path, &error)) << error.toStdString();
    // sigrok samples SI on the rising clock and SO on the falling one, as the chip drives it.
    const QStringList decoded = SigrokCli::decode(
        path,
        QStringLiteral("microwire:cs=cs:sk=rts:si=dtr:so=data,eeprom93xx:addresssize=7:wordsize=8"),
        QStringLiteral("eeprom93xx=data"), &error);
    ASSERT_TRUE(error.isEmpty()) << error.toStdString();
    const QStringList expected = {"Read word",  "Address: 0x0015", "Data: 0x00a7",
                                  "Write word", "Address: 0x0016", "Data: 0x005c"};
    EXPECT_EQ(decoded, expected);
}
