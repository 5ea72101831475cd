// The chips of the simulated test board, driven through the real line driver and bus
// primitives, so that every byte goes over the wires as the tool sends it; sigrok judges the
// wires independently.
#include "bus/DeviceScan.h"
#include "bus/I2cBus.h"
#include "bus/MicrowireBus.h"
#include "sim/Eeprom24c02.h"
#include "sim/Eeprom93c46.h"
#include "sim/Pcf8574.h"
#include "sim/Pcf8591.h"
#include "support/Rig.h"
#include "support/SigrokCli.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <ranges>

using ::testing::MatchesRegex;

namespace {

struct ChipTest : ::testing::Test {
    std::unique_ptr<SimulatedBoard> board = SimulatedBoard::fromVariant(QString());
    PortLines lines{*board};
    I2cBus i2cBus{lines};
    MicrowireBus bus{lines, {}}; // without a yield
    Scratch scratch;

    // Lets virtual time pass with reads of the data line.
    void idleNs(std::uint64_t ns) {
        for (const std::uint64_t until = board->nowNs() + ns; board->nowNs() < until;)
            lines.readData();
    }
    static QString hex(int byte) { return u"%1"_s.arg(byte, 2, 16, QChar(u'0')).toUpper(); }
    // Runs an I2C script: S start, P stop, 0 or 1 a bit, two hex digits a byte written (which
    // answers A or N for its acknowledge), R a byte read and acknowledged, r one read and not
    // (which answer the byte), W the time of an EEPROM write cycle. Returns the answers.
    QString i2c(const QString& script) {
        QStringList said;
        for (const QString& t : script.split(u' ')) {
            if (t == u"S" || t == u"P")
                t == u"S" ? i2cBus.start() : i2cBus.stop();
            else if (t == u"0" || t == u"1")
                t == u"0" ? i2cBus.sendZero() : i2cBus.sendOne();
            else if (t == u"W")
                idleNs(Eeprom24c02::kWriteCycleNs);
            else if (t == u"R" || t == u"r")
                said << hex(i2cBus.readByte(t == u"R"));
            else
                said << QString(i2cBus.writeByte(t.toInt(nullptr, 16)) ? u'A' : u'N');
        }
        return said.join(u' ');
    }
    // The tool's device scan: the acknowledged address bytes.
    QString scan() {
        const DeviceScan::Acknowledged acked = DeviceScan::run(i2cBus, {});
        QStringList found;
        for (int a = 0; a < 256; ++a)
            if (acked[static_cast<std::size_t>(a)])
                found << hex(a);
        return found.join(u' ');
    }
    // What sigrok makes of the wires while f runs.
    QStringList decoded(const std::function<void()>& f, const QString& decoders = SigrokCli::kI2c,
                        const QString& annotations = SigrokCli::kI2cAnnotations) {
        WireRecorder recorder;
        board->setRecorder(&recorder);
        f();
        board->setRecorder(nullptr);
        EXPECT_TRUE(recorder.writeVcd(scratch.path("wires.vcd")));
        return SigrokCli::decode(scratch.path("wires.vcd"), decoders, annotations);
    }
    // The starts, the stops and the acknowledged address bytes sigrok sees while f runs.
    QString scanned(const std::function<void()>& f, QStringList* seen = nullptr) {
        const QStringList decodedScan = decoded(f);
        QStringList acked;
        for (qsizetype i = 0; i + 1 < decodedScan.size(); ++i)
            if (decodedScan[i].startsWith(u"Address ") && decodedScan[i + 1] == u"ACK")
                acked << decodedScan[i].section(u' ', 2);
        if (seen)
            *seen = decodedScan;
        return u"%1 starts, %2 stops, acknowledged %3"_s.arg(decodedScan.count(u"Start"_s))
            .arg(decodedScan.count(u"Stop"_s))
            .arg(acked.join(u' '));
    }
    Eeprom24c02& eeprom() { return *board->eeprom24c02(); }
};

struct I2cChips : ChipTest {
    void SetUp() override { ASSERT_TRUE(lines.openPortI2c()); }
};

} // namespace

TEST_F(I2cChips, EepromWritesWrapInTheirPageTakeACycleAndReadsFollowTheCounter) {
    EXPECT_EQ(i2c("S A0 10 11 22 33 P"), u"A A A A A"_s);
    EXPECT_TRUE(eeprom().busy(board->nowNs()));
    // Nothing is acknowledged during the write cycle, not even the address: poll until it is.
    int polls = 0;
    while (i2c("S A0 P") != u"A" && polls < 1000)
        ++polls;
    EXPECT_GT(polls, 0);
    EXPECT_LT(polls, Eeprom24c02::kWriteCycleNs / 10'000.0 / 40); // about 43 port calls each
    EXPECT_EQ(i2c("S A0 10 S A1 R R R r P"), u"A A A 11 22 33 FF"_s);
    // Ten bytes from offset 6 of the page 0x20..0x27: the counter wraps to 0x20, and the ninth
    // and tenth bytes overwrite what the first two put there.
    EXPECT_EQ(i2c("S A0 26 01 02 03 04 05 06 07 08 09 0A P W"), u"A A A A A A A A A A A A"_s);
    EXPECT_EQ(i2c("S A0 1F S A1 R R R R R R R R R r P"), u"A A A FF 03 04 05 06 07 08 09 0A FF"_s);
    // A repeated start instead of the stop throws the page buffer away; so does a stop in the
    // middle of a byte.
    i2c("S A0 40 55 S A1 r P S A0 41 0 1 P");
    EXPECT_EQ(i2c("S A0 40 S A1 R r P"), u"A A A FF FF"_s); // and no write cycle began

    // Random, current and sequential reads follow the address counter.
    for (int i = 0; i < 256; ++i)
        eeprom().set(i, static_cast<std::uint8_t>(i ^ 0x5A));
    EXPECT_EQ(i2c("S A0 30 S A1 R R r P"), u"A A A 6A 6B 68"_s);
    EXPECT_EQ(i2c("S A1 r P"), u"A 69"_s); // current address: where the last ended
    EXPECT_EQ(eeprom().addressCounter(), 0x34);
    EXPECT_EQ(i2c("S A0 FE S A1 R R R r P"), u"A A A A4 A5 5A 5B"_s); // wraps
    EXPECT_EQ(i2c("S 41 P"), u"A"_s); // another chip leaves the counter alone
    EXPECT_EQ(i2c("S A1 R r P"), u"A 58 59"_s);
    // The random read's dummy write starts no write cycle; other address bytes are not the
    // EEPROM's.
    EXPECT_FALSE(eeprom().busy(board->nowNs()));
    EXPECT_EQ(eeprom().at(0x30), 0x30 ^ 0x5A);
    EXPECT_EQ(i2c("S A3 P S A4 00 P"), u"N N N"_s);
}

TEST_F(I2cChips, ThePortLatchesItsPinsAndTheConverterFollowsItsControlByte) {
    Pcf8574& port = *board->pcf8574();
    EXPECT_EQ(i2c("S 41 r P"), u"A FF"_s); // power-on latch: every pin floats high
    EXPECT_EQ(i2c("S 40 12 A5 P"), u"A A A"_s);
    EXPECT_EQ(port.latch(), 0xA5); // the last byte of a transfer stands
    port.setExternalInputs(0xF0);  // a switch pulls the low nibble down
    EXPECT_EQ(i2c("S 41 R r P S 40 FF P S 41 r P"), u"A A0 A0 A A A F0"_s);
    port.setExternalInputs(0xFF);
    EXPECT_EQ(i2c("S 41 r P"), u"A FF"_s);

    // The PCF8591 returns the previous conversion and follows its control byte.
    Pcf8591& adc = *board->pcf8591();
    // Power-on: the first byte is 0x80, then channel 0 (the half-supply divider).
    EXPECT_EQ(i2c("S 91 R R r P"), u"A 80 80 80"_s);
    // Channel 1 with the analog output on: the DAC byte comes back through the loopback; the
    // first byte is still channel 0's result. Output off: AIN1 reads 0.
    EXPECT_EQ(i2c("S 90 41 37 P"), u"A A A"_s);
    EXPECT_TRUE(adc.analogOutputEnabled());
    EXPECT_EQ(adc.dac(), 0x37);
    EXPECT_EQ(i2c("S 91 R r P S 90 01 99 P S 91 R R r P"), u"A 80 37 A A A A 37 00 00"_s);
    // Channel 2 is the PCF8574's pins through the R-2R ladder. Auto-increment from channel 0
    // with the output on: the byte after each one is the next channel's conversion (AIN0,
    // AIN1, AIN2, AIN3, AIN0), wrapping after channel 3.
    EXPECT_EQ(i2c("S 40 6C P S 90 02 P S 91 R r P"), u"A A A A A 00 6C"_s);
    i2c("S 90 44 C8 P");
    EXPECT_THAT(i2c("S 91 R R R R R r P").toStdString(), MatchesRegex("A .. 80 C8 6C .. 80"));
    EXPECT_EQ(adc.channel(), 2); // six conversions: channels 0, 1, 2, 3, 0, 1

    // Channel 3 is a triangle over the virtual clock: 0 to 255 and back, one step per 100 us.
    i2c("S 90 03 P");
    const auto triangle = [&] { return i2c("S 91 R r P").right(2).toInt(nullptr, 16); };
    const int a = triangle();
    idleNs(20 * SimulatedBoard::kTriangleStepNs);
    const int b = triangle();
    EXPECT_GE(std::abs(b - a), 20); // 20 steps idle plus the read's own port calls
    EXPECT_LE(std::abs(b - a), 40);
    idleNs(255 * SimulatedBoard::kTriangleStepNs); // half a period on: mirrored
    EXPECT_NE(triangle(), b);
}

// After acknowledging its read address the chip is a transmitter: it drives bit 7 of its first
// byte after the ninth clock. A 0 there holds the data line through the scan's stop condition
// (D0 C1 D1), so the chip sees neither that stop nor the next start, and the next address byte
// is clocked into the middle of its byte instead.
TEST_F(I2cChips, TheScanFindsTheChipsAndAReadAddressWhoseFirstBitIsZeroSwallowsAStop) {
    EXPECT_EQ(scan(), u"40 41 90 91 A0 A1"_s);
    EXPECT_EQ(scan(), u"40 41 90 91 A0 A1"_s); // the chips are ready for another
    EXPECT_EQ(i2c("S 40 FF P"), u"A A"_s);     // and for real work
    eeprom().set(0, 0x00);                     // the byte at the address counter
    eeprom().setAddressCounter(0);
    for (int a = 0; a <= 0xA1; ++a)
        i2c(u"S %1 P"_s.arg(hex(a)));
    EXPECT_TRUE(!board->wires().data && board->wires().dtr); // the stop did not release it
    i2c("S"); // 0xA2's start: no edge on the held line
    EXPECT_TRUE(!board->wires().data && eeprom().transmitting());
    // The chip shifts out the rest of its byte during 0xA2's bits and takes 0xA2's last bit
    // (a 0) as the master's acknowledge; the next byte (0xFF) is not acknowledged here, so
    // the chip releases the line and the scan goes on cleanly from 0xA3.
    i2c("A2 P");
    EXPECT_TRUE(board->wires().data && !eeprom().transmitting());
    // With the next byte starting with a 0 too, the swallowed address reads as acknowledged:
    // the scan shows a chip at 0xA2 that is not there. The PCF8574 does the same with a 0 in
    // its pins: its pins are sent again for 0x42.
    eeprom().set(1, 0x7F);
    eeprom().setAddressCounter(0);
    EXPECT_EQ(scan(), u"40 41 90 91 A0 A1 A2"_s);
    eeprom().fill(0xFF);
    i2c("S 40 00 P");
    EXPECT_EQ(scan(), u"40 41 42 90 91 A0 A1"_s);
}

TEST_F(I2cChips, SigrokDecodesTheEepromsTransfersAndTheScansExactlyAsSent) {
    SKIP_WITHOUT_SIGROK();
    const auto transfers = [&] {
        EXPECT_EQ(i2c("S A0 10 11 22 33 P W S A0 10 S A1 R R r P"), u"A A A A A A A A 11 22 33"_s);
    };
    EXPECT_EQ(decoded(transfers).join(u'|'),
              u"Start|Write|Address write: A0|ACK|Data write: 10|ACK|Data write: "
              "11|ACK|Data write: 22|ACK|Data write: 33|ACK|Stop|"
              "Start|Write|Address write: A0|ACK|Data write: 10|ACK|Start repeat|"
              "Read|Address read: A1|ACK|Data read: 11|ACK|Data read: 22|ACK|"
              "Data read: 33|NACK|Stop"_s);
    EXPECT_EQ(decoded(transfers, SigrokCli::kI2c + u",eeprom24xx"_s, u"eeprom24xx=ops"_s),
              QStringList({"Page write (addr=10, 3 bytes): 11 22 33",
                           "Sequential random read (addr=10, 3 bytes): 11 22 33"}));

    EXPECT_EQ(scanned([&] { scan(); }), u"256 starts, 256 stops, acknowledged 40 41 90 91 A0 A1"_s);
    // The tool's scan counts a chip at 0xA2 (see above); sigrok sees one start and one stop
    // fewer: after 0xA1's acknowledge the EEPROM's byte 0x00 (its bit 7 clocked by the stop,
    // the rest by 0xA2's bits), the master's 0 taken as an acknowledge, and then the stop of
    // 0xA2's transfer. 0xA2 is no address to sigrok.
    eeprom().set(0, 0x00);
    eeprom().set(1, 0x7F);
    eeprom().setAddressCounter(0);
    QStringList ghost;
    EXPECT_EQ(scanned([&] { EXPECT_EQ(scan().size(), 20); }, &ghost),
              u"255 starts, 255 stops, acknowledged 40 41 90 91 A0 A1"_s);
    EXPECT_EQ(ghost.mid(ghost.indexOf(u"Address read: A1"_s), 5).join(u'|'),
              u"Address read: A1|ACK|Data read: 00|ACK|Stop"_s);
}

namespace {

// The 93C46, driven the way the tool's Microwire run drives it: the reset character on TXD
// (which selects the chip for n bit times), then bits on DTR and RTS, data read through CTS.
struct MicrowireChip : ChipTest {
    void SetUp() override {
        ASSERT_TRUE(lines.openPortMicrowire());
        bus.end(); // both lines high, as after every run
    }
    Eeprom93c46& chip() { return *board->eeprom93c46(); }
    // Runs a Microwire script: Tn the reset pulse of tension n, 0s and 1s bits written, hXY a
    // byte written, b a bit read, R a byte read, e the end condition, E the end condition and
    // the time until the chip select falls. Returns the bits and bytes read.
    QString mw(const QString& script) {
        QStringList said;
        for (const QString& t : script.split(u' ')) {
            if (t.startsWith(u'T'))
                bus.resetPulse(t.mid(1).toInt());
            else if (t.startsWith(u'h'))
                bus.writeByte(t.mid(1).toInt(nullptr, 16));
            else if (t == u"b" || t == u"R")
                said << (t == u"b" ? QString::number(bus.readBit()) : hex(bus.readByte()));
            else if (t == u"e" || t == u"E")
                for (bus.end(); t == u"E" && board->wires().cs;)
                    lines.readData();
            else
                for (const QChar bit : t)
                    bus.writeBit(bit == u'1');
        }
        return said.join(u' ');
    }
    // Selects the chip without a start bit (a 0 bit raises data out again, so that the line
    // can show DO) and reads the status until it shows ready; returns the busy reads.
    int pollUntilReady() {
        mw("T9 0");
        int busyReads = 0;
        while (mw("b") == u"0" && busyReads < 2000)
            ++busyReads;
        mw("E");
        return busyReads;
    }
    bool all(int byte) {
        return std::ranges::all_of(std::views::iota(0, int(Eeprom93c46::kSize)),
                                   [&](int i) { return chip().at(i) == byte; });
    }
};

const QString kEwen = u"T9 1 00 1100000 E"_s, kEwds = u"T9 1 00 0000000 E"_s;

} // namespace

TEST_F(MicrowireChip, EraseEraseAllAndWriteAllProgramTheWholeChip) {
    mw(kEwen);
    chip().set(0x01, 0x12);
    chip().set(0x02, 0x34);
    mw("T9 1 11 0000001 E"); // ERASE 0x01
    EXPECT_TRUE(chip().busy());
    mw("T9 1 01 0000010 h00 E"); // commands are ignored during the cycle
    EXPECT_EQ(std::pair(chip().at(0x01), chip().at(0x02)),
              (std::pair<std::uint8_t, std::uint8_t>(0xFF, 0x34)));
    EXPECT_FALSE(chip().busy());
    mw("T9 1 00 0100000 h5A E"); // WRAL
    EXPECT_TRUE(all(0x5A));
    EXPECT_GT(pollUntilReady(), 0);
    mw("T9 1 00 1000000 E"); // ERAL
    EXPECT_TRUE(all(0xFF));
}

TEST_F(MicrowireChip, AResetTensionTooShortForTheCommandCutsItOff) {
    mw(kEwen);
    chip().set(0x40, 0x81);
    chip().set(0x41, 0x00);
    // Tension 1: CS is high for 417 us, about 41 port calls; a WRITE needs about 70, and
    // READ 0x40 takes 41 before its data: the chip is deselected just before, and every bit
    // reads as the released line.
    mw("T1 1 01 0100000 h00 E");
    EXPECT_FALSE(chip().busy());
    EXPECT_EQ(mw("T1 1 10 1000000 R R E"), u"FF FF"_s);
    // Tension 2 (833 us, 83 port calls) ends after 14 bits read: the dummy 0, 0x40's eight
    // bits, five bits of 0x41 (all 0), then the released line. It is long enough for a
    // WRITE (73 port calls).
    EXPECT_EQ(mw("T2 1 10 1000000 R R E"), u"40 83"_s);
    EXPECT_EQ(chip().at(0x20), 0xFF);
    mw("T2 1 01 0100000 h00 E");
    EXPECT_TRUE(chip().busy());
    EXPECT_EQ(chip().at(0x20), 0x00);
}

TEST_F(MicrowireChip, AFirstRunSeesAnExtraClockAndAWriteWaitsForItsCycle) {
    // Right after opening, the clock is low: the reset pulse's own rising clock, with data
    // out high, is the chip's start bit, and the run's start bit becomes the first opcode bit.
    // READ 0x05 (1 10 0000101) arrives as 1 11 0000010: an ERASE, ignored while
    // write-disabled, so nothing drives the data line.
    lines.closePort();
    ASSERT_TRUE(lines.openPortMicrowire());
    chip().set(0x05, 0x00);
    EXPECT_EQ(mw("T9 1 10 0000101 R e"), u"FF"_s);
    // A new character while CS is still high drops CS for 1 us: the chip starts over and the
    // READ, now sent with the clock already high, works.
    ASSERT_TRUE(board->wires().cs);
    EXPECT_EQ(mw("T9 1 10 0000101 R R E"), u"00 7F"_s); // the dummy 0, 0x00, then 0xFF

    // A write waits for its cycle, and only after a write enable.
    chip().set(0x16, 0x3C);
    mw("T9 1 01 0010101 hA7 E"); // WRITE 0x15 at power-on: write-disabled, ignored, no cycle
    EXPECT_FALSE(chip().busy());
    EXPECT_EQ(chip().at(0x15), 0xFF);
    mw(kEwen);
    EXPECT_TRUE(chip().writeEnabled());
    // WRITE: the cycle starts with the last data bit; DO shows busy while CS is high.
    mw("T9 1 01 0010101 hA7");
    EXPECT_TRUE(chip().busy());
    EXPECT_EQ(mw("b b E"), u"0 0"_s);
    EXPECT_TRUE(chip().busy());    // 4 ms outlast the 3.75 ms of the selection
    EXPECT_TRUE(lines.readData()); // deselected: DO is off
    // Select again and poll the status until ready.
    const int busyReads = pollUntilReady();
    EXPECT_GT(busyReads, 0);
    EXPECT_LT(busyReads, 200);
    EXPECT_FALSE(chip().busy());
    // READ: the dummy 0 first, so a byte spans two byte reads; after D0 of one byte the next
    // follows without a dummy bit (0x17 is erased): 0 A7 3C FF.
    EXPECT_EQ(mw("T9 1 10 0010101 R R R E"), u"53 9E 7F"_s);
    mw(kEwds);
    EXPECT_FALSE(chip().writeEnabled());
    mw("T9 1 01 0010101 h00 E");
    EXPECT_EQ(chip().at(0x15), 0xA7);
}

TEST_F(MicrowireChip, SigrokDecodesAReadAndAWriteOfThe93c46) {
    SKIP_WITHOUT_SIGROK();
    chip().set(0x15, 0xA7);
    mw(kEwen);
    // sigrok samples SI on the rising clock and SO on the falling one, as the chip drives it.
    // The busy read after the WRITE also completes its last data bit for sigrok.
    const QStringList seen = decoded(
        [&] { EXPECT_EQ(mw("T9 1 10 0010101 R R E T9 1 01 0010110 h5C R E"), u"53 FF 00"_s); },
        u"microwire:cs=cs:sk=rts:si=dtr:so=data,eeprom93xx:addresssize=7:wordsize=8"_s,
        u"eeprom93xx=data"_s);
    EXPECT_EQ(chip().at(0x16), 0x5C);
    EXPECT_EQ(seen, QStringList({"Read word", "Address: 0x0015", "Data: 0x00a7", "Write word",
                                 "Address: 0x0016", "Data: 0x005c"}));
}
