// The I2C chips of the simulated test board, driven through the real line driver and I2C
// primitives, so that every byte goes over the wires as start, bits, acknowledge and stop.
#include "bus/I2cBus.h"
#include "bus/PortLines.h"
#include "sim/Eeprom24c02.h"
#include "sim/Pcf8574.h"
#include "sim/Pcf8591.h"
#include "sim/SimulatedBoard.h"
#include "sim/WireRecorder.h"
#include "support/SigrokCli.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <vector>

namespace {

using Bytes = std::vector<int>;

struct I2cBoard : ::testing::Test {
    std::unique_ptr<SimulatedBoard> board = SimulatedBoard::fromVariant(QString());
    PortLines lines{*board};
    I2cBus i2c{lines};

    void SetUp() override { ASSERT_TRUE(lines.openPortI2c()); }

    // One transfer: the address byte and the bytes; true when everything was acknowledged.
    bool write(int address, const Bytes& bytes) {
        i2c.start();
        bool acked = i2c.writeByte(address);
        for (int b : bytes)
            acked = i2c.writeByte(b) && acked;
        i2c.stop();
        return acked;
    }
    // A read transfer of n bytes, the last one not acknowledged; empty when the address is not
    // acknowledged.
    Bytes read(int address, int n) {
        i2c.start();
        Bytes got;
        if (i2c.writeByte(address | 1))
            for (int i = 0; i < n; ++i)
                got.push_back(i2c.readByte(i + 1 < n));
        i2c.stop();
        return got;
    }
    // Dummy write of the word address, repeated start, read.
    Bytes randomRead(int address, int word, int n) {
        i2c.start();
        Bytes got;
        if (i2c.writeByte(address) && i2c.writeByte(word)) {
            i2c.start();
            if (i2c.writeByte(address | 1))
                for (int i = 0; i < n; ++i)
                    got.push_back(i2c.readByte(i + 1 < n));
        }
        i2c.stop();
        return got;
    }
    // The device scan: start, address byte, acknowledge, stop for every byte 0..255.
    Bytes scan() {
        Bytes acked;
        for (int a = 0; a < 256; ++a) {
            i2c.start();
            if (i2c.writeByte(a))
                acked.push_back(a);
            i2c.stop();
        }
        return acked;
    }
    // Lets virtual time pass with reads of the data line.
    void idleNs(std::uint64_t ns) {
        const std::uint64_t until = board->nowNs() + ns;
        while (board->nowNs() < until)
            lines.readData();
    }
    Eeprom24c02& eeprom() { return *board->eeprom24c02(); }
};

const QString kI2cDecoder = QStringLiteral("i2c:scl=rts:sda=data:address_format=unshifted");
const QString kI2cAnnotations = QStringLiteral(
    "i2c=start:repeat-start:stop:ack:nack:address-read:address-write:data-read:data-write");

// What sigrok's i2c decoder makes of a recorder's recording.
QStringList decodeI2c(const WireRecorder& recorder, const QString& decoders = kI2cDecoder,
                      const QString& annotations = kI2cAnnotations) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("i2c.vcd"));
    QString error;
    EXPECT_TRUE(recorder.writeVcd(path, &error)) << error.toStdString();
    const QStringList lines = SigrokCli::decode(path, decoders, annotations, &error);
    EXPECT_TRUE(error.isEmpty()) << error.toStdString();
    return lines;
}

// The address bytes sigrok saw acknowledged, in hexadecimal.
QStringList acknowledgedAddresses(const QStringList& lines) {
    QStringList acked;
    for (qsizetype i = 0; i + 1 < lines.size(); ++i)
        if (lines[i].startsWith(u"Address ") && lines[i + 1] == u"ACK")
            acked << lines[i].section(u' ', 2);
    return acked;
}

#define SKIP_WITHOUT_SIGROK()                                                                      \
    if (SigrokCli::program().isEmpty())                                                            \
    GTEST_SKIP() << "sigrok-cli is not on PATH (Debian package sigrok-cli): the independent "      \
                    "decode of the recorder's recording cannot be checked"

} // namespace

TEST_F(I2cBoard, EepromByteAndPageWritesWrapInsideTheirPageAndTakeAWriteCycle) {
    ASSERT_TRUE(write(0xA0, {0x10, 0x11, 0x22, 0x33}));
    EXPECT_TRUE(eeprom().busy(board->nowNs()));
    // Nothing is acknowledged during the write cycle, not even the address: poll until it is.
    int polls = 0;
    while (!write(0xA0, {}) && polls < 1000)
        ++polls;
    EXPECT_GT(polls, 0);
    EXPECT_FALSE(eeprom().busy(board->nowNs()));
    const double cycleCalls = Eeprom24c02::kWriteCycleNs / 10'000.0;
    EXPECT_LT(polls, cycleCalls / 40); // each poll costs about 43 port calls
    EXPECT_EQ(eeprom().at(0x10), 0x11);
    EXPECT_EQ(eeprom().at(0x11), 0x22);
    EXPECT_EQ(eeprom().at(0x12), 0x33);
    EXPECT_EQ(eeprom().at(0x13), 0xFF);

    // Ten bytes from offset 6 of the page 0x20..0x27: the counter wraps to 0x20, and the ninth
    // and tenth bytes overwrite what the first two put there.
    ASSERT_TRUE(write(0xA0, {0x26, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
    idleNs(Eeprom24c02::kWriteCycleNs);
    const Bytes page = {3, 4, 5, 6, 7, 8, 9, 10};
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(eeprom().at(0x20 + i), page[i]) << i;
    EXPECT_EQ(eeprom().at(0x1F), 0xFF);
    EXPECT_EQ(eeprom().at(0x28), 0xFF);

    // A repeated start instead of the stop throws the page buffer away.
    i2c.start();
    i2c.writeByte(0xA0);
    i2c.writeByte(0x40);
    i2c.writeByte(0x55);
    i2c.start();
    i2c.writeByte(0xA1);
    i2c.readByte(false);
    i2c.stop();
    EXPECT_EQ(eeprom().at(0x40), 0xFF);
    EXPECT_FALSE(eeprom().busy(board->nowNs()));
    // So does a stop in the middle of a byte.
    i2c.start();
    i2c.writeByte(0xA0);
    i2c.writeByte(0x41);
    i2c.sendZero();
    i2c.sendOne();
    i2c.stop();
    EXPECT_EQ(eeprom().at(0x41), 0xFF);
    EXPECT_FALSE(eeprom().busy(board->nowNs()));
}

TEST_F(I2cBoard, EepromRandomCurrentAndSequentialReadsFollowTheAddressCounter) {
    for (int i = 0; i < 256; ++i)
        eeprom().set(i, static_cast<std::uint8_t>(i ^ 0x5A));
    EXPECT_EQ(randomRead(0xA0, 0x30, 3), (Bytes{0x30 ^ 0x5A, 0x31 ^ 0x5A, 0x32 ^ 0x5A}));
    EXPECT_EQ(read(0xA0, 1), (Bytes{0x33 ^ 0x5A})); // current address: where the last read ended
    EXPECT_EQ(eeprom().addressCounter(), 0x34);
    EXPECT_TRUE(randomRead(0xA0, 0xFE, 4) == (Bytes{0xFE ^ 0x5A, 0xFF ^ 0x5A, 0x5A, 0x01 ^ 0x5A}));
    EXPECT_EQ(read(0x40, 0), Bytes{}); // another chip's transfer leaves the counter alone
    EXPECT_EQ(read(0xA0, 2), (Bytes{0x02 ^ 0x5A, 0x03 ^ 0x5A}));
    // The random read's dummy write starts no write cycle.
    EXPECT_FALSE(eeprom().busy(board->nowNs()));
    EXPECT_EQ(eeprom().at(0x30), 0x30 ^ 0x5A);
    // Other address bytes are not the EEPROM's.
    EXPECT_EQ(read(0xA2, 1), Bytes{});
    EXPECT_FALSE(write(0xA4, {0}));
}

TEST_F(I2cBoard, Pcf8574LatchesWritesAndReadsItsPinLevels) {
    Pcf8574& port = *board->pcf8574();
    EXPECT_EQ(read(0x40, 1), (Bytes{0xFF})); // power-on latch: every pin floats high
    ASSERT_TRUE(write(0x40, {0x12, 0xA5}));
    EXPECT_EQ(port.latch(), 0xA5); // the last byte of a transfer stands
    port.setExternalInputs(0xF0);  // a switch pulls the low nibble down
    EXPECT_EQ(read(0x40, 2), (Bytes{0xA0, 0xA0}));
    ASSERT_TRUE(write(0x40, {0xFF}));
    EXPECT_EQ(read(0x40, 1), (Bytes{0xF0}));
    port.setExternalInputs(0xFF);
    EXPECT_EQ(read(0x40, 1), (Bytes{0xFF}));
}

TEST_F(I2cBoard, Pcf8591ReturnsThePreviousConversionAndFollowsItsControlByte) {
    Pcf8591& adc = *board->pcf8591();
    // Power-on: the first byte is 0x80, then channel 0 (the half-supply divider).
    EXPECT_EQ(read(0x90, 3), (Bytes{0x80, 128, 128}));

    // Channel 1 with the analog output on: the DAC byte comes back through the loopback.
    ASSERT_TRUE(write(0x90, {0x41, 0x37}));
    EXPECT_TRUE(adc.analogOutputEnabled());
    EXPECT_EQ(adc.dac(), 0x37);
    EXPECT_EQ(read(0x90, 2), (Bytes{128, 0x37})); // the first byte is still channel 0's result
    ASSERT_TRUE(write(0x90, {0x01, 0x99}));       // output off: AIN1 reads 0
    EXPECT_EQ(read(0x90, 3), (Bytes{0x37, 0, 0}));

    // Channel 2 is the PCF8574's pins through the R-2R ladder.
    ASSERT_TRUE(write(0x40, {0x6C}));
    ASSERT_TRUE(write(0x90, {0x02}));
    EXPECT_EQ(read(0x90, 2).back(), 0x6C);

    // Auto-increment from channel 0 with the output on: the byte after each one is the next
    // channel's conversion, wrapping after channel 3.
    ASSERT_TRUE(write(0x90, {0x44, 0xC8}));
    const Bytes got = read(0x90, 6);
    ASSERT_EQ(got.size(), 6u);
    EXPECT_EQ(got[1], 128);      // AIN0
    EXPECT_EQ(got[2], 0xC8);     // AIN1
    EXPECT_EQ(got[3], 0x6C);     // AIN2
    EXPECT_EQ(got[5], 128);      // AIN0 again
    EXPECT_EQ(adc.channel(), 2); // six conversions: channels 0, 1, 2, 3, 0, 1

    // Channel 3 is a triangle over the virtual clock: 0 to 255 and back, one step per 100 us.
    ASSERT_TRUE(write(0x90, {0x03}));
    auto triangle = [&] { return read(0x90, 2).back(); };
    const int a = triangle();
    idleNs(20 * SimulatedBoard::kTriangleStepNs);
    const int b = triangle();
    EXPECT_GE(std::abs(b - a), 20); // 20 steps idle plus the read's own port calls
    EXPECT_LE(std::abs(b - a), 40);
    idleNs(255 * SimulatedBoard::kTriangleStepNs); // half a period on: mirrored
    const int c = triangle();
    EXPECT_NE(c, b);
}

TEST_F(I2cBoard, TheDefaultScanFindsExactlyTheThreeChipsAtTheirReadAndWriteAddresses) {
    const Bytes expected = {0x40, 0x41, 0x90, 0x91, 0xA0, 0xA1};
    EXPECT_EQ(scan(), expected);
    EXPECT_EQ(scan(), expected);            // the chips are left ready for another scan
    EXPECT_TRUE(write(0xA0, {0x00, 0x42})); // and for real work

    auto silent = SimulatedBoard::fromVariant(QStringLiteral("cts-high"));
    PortLines silentLines(*silent);
    I2cBus silentBus(silentLines);
    ASSERT_TRUE(silentLines.openPortI2c());
    int acked = 0;
    for (int a = 0; a < 256; ++a) {
        silentBus.start();
        acked += silentBus.writeByte(a);
        silentBus.stop();
    }
    EXPECT_EQ(acked, 0);
}

// After acknowledging its read address the chip is a transmitter: it drives bit 7 of its first
// byte after the ninth clock. A 0 there holds the data line through the scan's stop condition
// (D0 C1 D1), so the chip sees neither that stop nor the next start, and the next address byte
// is clocked into the middle of its byte instead.
TEST_F(I2cBoard, AReadAddressWhoseFirstBitIsZeroSwallowsTheScansNextStopAndStart) {
    eeprom().set(0, 0x00); // the byte at the address counter
    auto scanUpTo = [&](int last) {
        for (int a = 0; a <= last; ++a) {
            i2c.start();
            i2c.writeByte(a);
            i2c.stop();
        }
    };
    scanUpTo(0xA1);
    EXPECT_FALSE(board->wires().data); // the stop did not release the line
    EXPECT_TRUE(board->wires().dtr);
    EXPECT_TRUE(eeprom().transmitting());
    i2c.start(); // 0xA2's start: no edge on the held line
    EXPECT_FALSE(board->wires().data);
    EXPECT_TRUE(eeprom().transmitting());
    // The chip shifts out the rest of its byte during 0xA2's bits and takes 0xA2's last bit
    // (a 0) as the master's acknowledge; the next byte (0xFF) is not acknowledged here, so
    // the chip releases the line and the scan goes on cleanly from 0xA3.
    i2c.writeByte(0xA2);
    i2c.stop();
    EXPECT_TRUE(board->wires().data);
    EXPECT_FALSE(eeprom().transmitting());

    // With the next byte starting with a 0 too, the swallowed address reads as acknowledged:
    // the scan shows a chip at 0xA2 that is not there.
    eeprom().set(0, 0x00);
    eeprom().set(1, 0x7F);
    eeprom().setAddressCounter(0);
    const Bytes ghost = {0x40, 0x41, 0x90, 0x91, 0xA0, 0xA1, 0xA2};
    EXPECT_EQ(scan(), ghost);
    // The PCF8574 does the same with a 0 in its pins: its pins are sent again for 0x42.
    eeprom().fill(0xFF);
    ASSERT_TRUE(write(0x40, {0x00}));
    const Bytes ghost42 = {0x40, 0x41, 0x42, 0x90, 0x91, 0xA0, 0xA1};
    EXPECT_EQ(scan(), ghost42);
}

TEST_F(I2cBoard, SigrokDecodesAnEepromPageWriteAndRandomReadExactlyAsSent) {
    SKIP_WITHOUT_SIGROK();
    WireRecorder recorder;
    board->setRecorder(&recorder);
    ASSERT_TRUE(write(0xA0, {0x10, 0x11, 0x22, 0x33}));
    idleNs(Eeprom24c02::kWriteCycleNs);
    EXPECT_EQ(randomRead(0xA0, 0x10, 3), (Bytes{0x11, 0x22, 0x33}));
    board->setRecorder(nullptr);

    const QStringList expected = {"Start",
                                  "Write",
                                  "Address write: A0",
                                  "ACK",
                                  "Data write: 10",
                                  "ACK",
                                  "Data write: 11",
                                  "ACK",
                                  "Data write: 22",
                                  "ACK",
                                  "Data write: 33",
                                  "ACK",
                                  "Stop",
                                  "Start",
                                  "Write",
                                  "Address write: A0",
                                  "ACK",
                                  "Data write: 10",
                                  "ACK",
                                  "Start repeat",
                                  "Read",
                                  "Address read: A1",
                                  "ACK",
                                  "Data read: 11",
                                  "ACK",
                                  "Data read: 22",
                                  "ACK",
                                  "Data read: 33",
                                  "NACK",
                                  "Stop"};
    EXPECT_EQ(decodeI2c(recorder), expected);
    const QStringList operations = {"Page write (addr=10, 3 bytes): 11 22 33",
                                    "Sequential random read (addr=10, 3 bytes): 11 22 33"};
    EXPECT_EQ(decodeI2c(recorder, kI2cDecoder + QStringLiteral(",eeprom24xx"),
                        QStringLiteral("eeprom24xx=ops")),
              operations);
}

TEST_F(I2cBoard, SigrokSeesTheCleanScanAndTheStopsASwallowedAddressLoses) {
    SKIP_WITHOUT_SIGROK();
    WireRecorder clean;
    board->setRecorder(&clean);
    scan();
    board->setRecorder(nullptr);
    const QStringList decoded = decodeI2c(clean);
    EXPECT_EQ(decoded.count(QStringLiteral("Start")), 256);
    EXPECT_EQ(decoded.count(QStringLiteral("Stop")), 256);
    EXPECT_EQ(acknowledgedAddresses(decoded).join(u' '), QStringLiteral("40 41 90 91 A0 A1"));

    eeprom().set(0, 0x00);
    eeprom().set(1, 0x7F);
    eeprom().setAddressCounter(0);
    WireRecorder ghost;
    board->setRecorder(&ghost);
    EXPECT_EQ(scan().size(), 7u); // the tool's scan counts a chip at 0xA2 (see above)
    board->setRecorder(nullptr);
    // sigrok sees one start and one stop fewer: after 0xA1's acknowledge the EEPROM's byte
    // 0x00 (its bit 7 clocked by the stop, the rest by 0xA2's bits), the master's 0 taken as
    // an acknowledge, and then the stop of 0xA2's transfer. 0xA2 is no address to sigrok.
    const QStringList ghostLines = decodeI2c(ghost);
    EXPECT_EQ(ghostLines.count(QStringLiteral("Start")), 255);
    EXPECT_EQ(ghostLines.count(QStringLiteral("Stop")), 255);
    const QStringList swallowed = {"Address read: A1", "ACK", "Data read: 00", "ACK", "Stop"};
    const qsizetype at = ghostLines.indexOf(QStringLiteral("Address read: A1"));
    ASSERT_GE(at, 0);
    EXPECT_EQ(ghostLines.mid(at, swallowed.size()), swallowed);
    EXPECT_EQ(acknowledgedAddresses(ghostLines).join(u' '), QStringLiteral("40 41 90 91 A0 A1"));
}
