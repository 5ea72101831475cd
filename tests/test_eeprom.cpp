// Whole-chip EEPROM work on the simulated board with the chip in the socket: the programmers
// against the chip models (each written from the datasheets on its own), the files, and sigrok
// as the independent judge of what went over the wires; then the same work as the user does it,
// in the EEPROM window (through its action group and its widgets) and with brolmet-cli.
#include "actions/Tester.h"
#include "bus/I2cBus.h"
#include "bus/PortLines.h"
#include "eeprom/EepromProgrammer.h"
#include "files/EepromImage.h"
#include "sim/Eeprom24c02.h"
#include "sim/Eeprom24xx.h"
#include "sim/Eeprom93c46.h"
#include "sim/Eeprom93xx.h"
#include "sim/SimulatedBoard.h"
#include "sim/WireRecorder.h"
#include "support/ScriptedDialogs.h"
#include "support/SigrokCli.h"
#include "ui/EepromWindow.h"
#include "ui/MainWindow.h"

#include <QFile>
#include <QProcess>
#include <QPushButton>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <memory>
#include <numeric>
#include <tuple>

namespace {

using Outcome = EepromResult::Outcome;

QByteArray randomBytes(int n, quint32 seed) {
    QRandomGenerator random(seed);
    QByteArray bytes(n, 0);
    for (char& c : bytes)
        c = static_cast<char>(random.bounded(256));
    return bytes;
}

// The board with one chip in the socket (none for an empty name) and a programmer for it.
struct Rig {
    std::unique_ptr<SimulatedBoard> board = SimulatedBoard::fromVariant(QString());
    PortLines lines{*board};
    EepromChip chip;
    std::unique_ptr<EepromProgrammer> programmer;

    explicit Rig(const EepromChip& c, const QString& socket, EepromProgrammer::Options options = {})
        : chip(c) {
        QString why;
        if (!socket.isEmpty()) {
            EXPECT_TRUE(board->addSocketChip(socket, 0xA0, chip.org, &why)) << why.toStdString();
        }
        EXPECT_TRUE(chip.bus == EepromChip::Bus::I2c ? lines.openPortI2c()
                                                     : lines.openPortMicrowire());
        programmer = EepromProgrammer::create(chip, lines, options);
    }
    explicit Rig(const char* name, int org = 8, EepromProgrammer::Options options = {})
        : Rig(*EepromChip::find(QLatin1StringView(name), org), QLatin1StringView(name), options) {}
    std::vector<std::uint8_t>& memory() {
        return board->socket24xx() ? board->socket24xx()->memory() : board->socket93xx()->memory();
    }
    QByteArray contents() {
        return QByteArray(reinterpret_cast<const char*>(memory().data()),
                          static_cast<qsizetype>(memory().size()));
    }
};

// The tester as the window drives it, with the socket of the simulated board.
struct Programmer {
    std::unique_ptr<SimulatedBoard> board = SimulatedBoard::fromVariant(QString());
    FrontPanel panel;
    ScriptedDialogs dialogs;
    Tester tester{panel, *board, dialogs};
    EepromActions& eeprom = tester.eeprom();

    Programmer() {
        tester.startUp({});
        eeprom.setSocketHook(
            [this](const std::optional<EepromChip>& chip, int address, QString* why) {
                board->removeSocketChip();
                return !chip ||
                       board->addSocketChip(QLatin1StringView(chip->name), address, chip->org, why);
            },
            std::nullopt);
    }
};

struct CliResult {
    int status = -1;
    QByteArray out, err;
};

CliResult runCli(const QStringList& arguments, const QString& folder) {
    QProcess process;
    process.setWorkingDirectory(folder);
    process.start(QStringLiteral(TAMSOLVIX_CLI), arguments);
    EXPECT_TRUE(process.waitForFinished(60000));
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

} // namespace

TEST(Eeprom, EveryChipTakesAFileOfRandomBytesReadsItBackVerifiesAndErases) {
    QTemporaryDir dir;
    for (const EepromChip& chip : EepromChip::all()) {
        SCOPED_TRACE(chip.title().toStdString());
        Rig rig(chip, QLatin1StringView(chip.name));
        const QByteArray data = randomBytes(chip.size, static_cast<quint32>(chip.size + chip.org));
        // Through a HEX file and back.
        const QString path = dir.filePath(QStringLiteral("chip.hex"));
        QString why;
        ASSERT_TRUE(EepromImage::save(path, data, 0, &why)) << why.toStdString();
        QByteArray file;
        int from = -1;
        ASSERT_TRUE(EepromImage::load(path, chip.size, &file, &from, &why)) << why.toStdString();
        ASSERT_EQ(from, 0);
        ASSERT_EQ(file, data);

        const EepromResult written = rig.programmer->write(0, file);
        ASSERT_TRUE(written.ok()) << written.message.toStdString();
        EXPECT_EQ(written.bytes, chip.size);
        EXPECT_EQ(rig.contents(), data); // the chip model's own view
        const EepromResult verified = rig.programmer->verify(0, data);
        EXPECT_TRUE(verified.ok()) << verified.message.toStdString();
        EXPECT_GT(verified.lineOperations, 24u * static_cast<unsigned>(chip.size));
        QByteArray part;
        const int at = chip.size / 3 | 1;
        ASSERT_TRUE(rig.programmer->read(at, 5, &part).ok());
        EXPECT_EQ(part, data.mid(at, 5));

        rig.memory()[static_cast<std::size_t>(at + 2)] ^= 0x10;
        const EepromResult differs = rig.programmer->verify(at, data.mid(at, 5));
        EXPECT_EQ(differs.outcome, Outcome::VerifyFailed);
        EXPECT_EQ(differs.firstDifference, at + 2);
        EXPECT_EQ(differs.chipByte, static_cast<std::uint8_t>(data[at + 2]) ^ 0x10);

        ASSERT_TRUE(rig.programmer->erase().ok());
        EXPECT_EQ(rig.contents(), QByteArray(chip.size, static_cast<char>(0xFF)));
    }
}

TEST(Eeprom, WritesAcrossPagesAndBlocksTouchOnlyTheirRange) {
    struct Case {
        const char* chip;
        int from, count;
    };
    // 24C02: over two 8-byte page ends; 24C16: over a page and the block end at 0x100;
    // 24C256: over a 64-byte page; 93C66 x16 from an odd word.
    for (const Case& c : {Case{"24C02", 5, 12}, Case{"24C16", 0x2F9, 20}, Case{"24C256", 0x3F3, 80},
                          Case{"93C66", 0x1F6, 8}}) {
        SCOPED_TRACE(c.chip);
        Rig rig(c.chip, c.chip[0] == '9' ? 16 : 8);
        const QByteArray data = randomBytes(c.count, 7);
        ASSERT_TRUE(rig.programmer->write(c.from, data).ok());
        QByteArray expected(rig.chip.size, static_cast<char>(0xFF));
        expected.replace(c.from, c.count, data);
        EXPECT_EQ(rig.contents(), expected);
    }

    // The chip model itself: a page write wraps inside its page, a read over the last byte
    // goes on at 0.
    Rig rig("24C256");
    I2cBus bus(rig.lines);
    bus.start();
    for (int byte : {0xA0, 0x00, 0x7F, 1, 2, 3})
        bus.writeByte(byte);
    bus.stop();
    EXPECT_EQ(rig.memory()[0x7F], 1);
    EXPECT_EQ(rig.memory()[0x40], 2);
    EXPECT_EQ(rig.memory()[0x41], 3);
    rig.memory()[0x7FFF] = 0x12;
    rig.memory()[0] = 0x34;
    QByteArray wrapped;
    rig.board->elapse(Eeprom24xx::find(u"24C256")->writeCycleNs);
    bus.start();
    for (int byte : {0xA0, 0x7F, 0xFF})
        bus.writeByte(byte);
    bus.start();
    bus.writeByte(0xA1);
    wrapped.append(static_cast<char>(bus.readByte(true)));
    wrapped.append(static_cast<char>(bus.readByte(false)));
    bus.stop();
    EXPECT_EQ(wrapped, QByteArray("\x12\x34"));
}

TEST(Eeprom, FailuresEndInAMessageAndLeaveWhatTheyReport) {
    // A write cycle that outlasts the datasheet's maximum.
    Rig slow("24C02");
    slow.board->socket24xx()->setWriteCycleNs(20'000'000);
    EepromResult r = slow.programmer->write(16, randomBytes(32, 1));
    EXPECT_EQ(r.outcome, Outcome::WriteCycleTimeout);
    EXPECT_EQ(r.message.toStdString(),
              "The write cycle of the page at 0x10 did not end within 5 ms "
              "(the 24C02 at 0xA0 did not answer the polling); 0 bytes "
              "before it are written.");
    EXPECT_GE(r.elapsedNs, 5'000'000u);
    EXPECT_LT(r.elapsedNs, 10'000'000u); // the page's transfer, 5 ms of polls and the last one

    // Nothing at the address; a 93C46 that is not there; a range outside the chip.
    QByteArray out;
    Rig nothing(*EepromChip::find(u"24C02"), QString(), {.i2cAddressByte = 0xA6});
    r = nothing.programmer->read(0, 16, &out);
    EXPECT_EQ(r.outcome, Outcome::NoAcknowledge);
    EXPECT_EQ(r.message.toStdString(), "The 24C02 at 0xA6 does not acknowledge its address: no "
                                       "chip there, or another address.");
    // The board's 93C46 (x8, erased) is no 93C56 x16: it ends its READ two bits early, so
    // where the dummy 0 belongs comes a 1.
    Rig empty(*EepromChip::find(u"93C56", 16), QString());
    r = empty.programmer->read(0, 4, &out);
    EXPECT_EQ(r.outcome, Outcome::NoAnswer) << r.message.toStdString();
    r = nothing.programmer->write(250, QByteArray(7, 0));
    EXPECT_EQ(r.outcome, Outcome::BadRange);
    EXPECT_EQ(r.message.toStdString(),
              "7 bytes from 0xFA do not fit into the 24C02 at 0xA6 (256 bytes).");

    // Cancel after the fourth page: the chip holds what the message says.
    Rig cancelled("24C02");
    const QByteArray data = randomBytes(256, 2);
    r = cancelled.programmer->write(0, data, [](int done, int) { return done < 32; });
    EXPECT_EQ(r.outcome, Outcome::Cancelled);
    EXPECT_EQ(r.bytes, 32);
    EXPECT_EQ(r.message.toStdString(), "Cancelled after 32 of 256 bytes: 0x00 to 0x1F are written, "
                                       "the rest of the chip is as it was.");
    EXPECT_EQ(cancelled.contents(), data.left(32) + QByteArray(224, static_cast<char>(0xFF)));
    Rig cancelledRead("93C46", 16);
    r = cancelledRead.programmer->read(0, 128, &out, [](int done, int) { return done < 20; });
    EXPECT_EQ(r.outcome, Outcome::Cancelled);
    EXPECT_EQ(out.size(), r.bytes);
    EXPECT_GE(r.bytes, 20);
}

TEST(Eeprom, AChipSelectWindowTooShortForTheAdapterEndsInAMessageNotInWrongData) {
    Rig fast("93C66");
    const QByteArray data = randomBytes(512, 3);
    std::copy(data.begin(), data.end(), fast.memory().begin());
    QByteArray out;
    // Reset value 9 (3750 us): the read takes as many windows as it needs.
    const std::size_t before = fast.board->sentCharacters().size();
    ASSERT_TRUE(fast.programmer->read(0, 512, &out).ok());
    EXPECT_EQ(out, data);
    EXPECT_GT(fast.board->sentCharacters().size() - before, 512u / 16);

    // An adapter ten times slower (100 us per port call) cannot even send the READ command
    // in the window; neither can a fast one with reset value 1 (417 us).
    Rig slow("93C66");
    slow.board->setCallCostNs(100'000);
    EepromResult r = slow.programmer->read(0, 512, &out);
    EXPECT_EQ(r.outcome, Outcome::WindowTooShort);
    EXPECT_EQ(out, QByteArray());
    EXPECT_TRUE(r.message.startsWith(u"The chip select window of reset value 9 (3750 µs) is too "
                                     u"short for this adapter: a READ command took"))
        << r.message.toStdString();
    Rig shortWindow("93C46", 8, {.resetValue = 1});
    r = shortWindow.programmer->write(0, data.left(16));
    EXPECT_EQ(r.outcome, Outcome::WindowTooShort);
    EXPECT_EQ(shortWindow.contents(), QByteArray(128, static_cast<char>(0xFF)));
}

TEST(Eeprom, FilesRefuseWhatDoesNotFitTheChip) {
    QByteArray bytes;
    int from = -1;
    QString why;
    struct Case {
        QByteArray text;
        const char* why;
    };
    for (const Case& c : {
             Case{":0400F0000102030402\r\n:02010000AABB98\n:00000001FF\n", ""},
             Case{":0400F0000102030403\n:00000001FF\n", "line 1: bad checksum"},
             Case{":02010000AABB98\n:020000040001F9\n:0100000011EE\n:00000001FF\n",
                  "line 3: data for 0x10000, outside the chip (512 bytes)"},
             Case{":0400F0000102030402\n", "no end-of-file record: the file may be cut short"},
             Case{":0400F0000102030E\n:00000001FF\n",
                  "line 1: the record's length does not match its count byte"},
             Case{":00000001FF\n:00000001FF\n", "line 2: a record after the end-of-file record"},
         }) {
        why.clear();
        EXPECT_EQ(EepromImage::parseIntelHex(c.text, 512, &bytes, &from, &why), !*c.why);
        EXPECT_EQ(why.toStdString(), c.why);
    }
    EXPECT_EQ(from, 0xF0); // from the first case; failures leave it
    EXPECT_EQ(bytes, QByteArray::fromHex("01020304") + QByteArray(12, static_cast<char>(0xFF)) +
                         QByteArray::fromHex("AABB"));

    QTemporaryDir dir;
    const QString big = dir.filePath(QStringLiteral("big.bin"));
    ASSERT_TRUE(EepromImage::save(big, QByteArray(257, 'x'), 0, &why));
    EXPECT_FALSE(EepromImage::load(big, 256, &bytes, &from, &why));
    EXPECT_EQ(why, big + QStringLiteral(": 257 bytes, larger than the chip (256 bytes)"));
    // A failed save leaves the file as it was.
    EXPECT_FALSE(EepromImage::save(dir.filePath(QStringLiteral("no/such.hex")), bytes, 0, &why));
    EXPECT_TRUE(why.endsWith(u"no such folder (error 76)")) << why.toStdString();

    // The dump is hexdump's canonical form.
    const QByteArray data = randomBytes(37, 4) + "Az~";
    const QString bin = dir.filePath(QStringLiteral("d.bin"));
    ASSERT_TRUE(EepromImage::save(bin, data, 0, &why));
    QProcess hexdump;
    hexdump.start(QStringLiteral("hexdump"), {QStringLiteral("-C"), QStringLiteral("-v"), bin});
    if (hexdump.waitForFinished()) {
        EXPECT_EQ(EepromImage::dump(data), hexdump.readAllStandardOutput());
    }
}

TEST(Eeprom, TheBoardKeepsItsChipsInAStateFile) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("board.state"));
    Rig first("24C64");
    const QByteArray data = randomBytes(8192, 5);
    std::copy(data.begin(), data.end(), first.memory().begin());
    first.board->eeprom93c46()->set(3, 0x42);
    QString why;
    ASSERT_TRUE(first.board->saveState(path, &why)) << why.toStdString();

    Rig second("24C64");
    ASSERT_TRUE(second.board->loadState(path, &why)) << why.toStdString();
    EXPECT_EQ(second.contents(), data);
    EXPECT_EQ(second.board->eeprom93c46()->at(3), 0x42);

    // Another chip in the socket, a cut file, no state file at all: nothing changes.
    Rig other("24C32");
    EXPECT_FALSE(other.board->loadState(path, &why));
    EXPECT_EQ(why.toStdString(),
              path.toStdString() +
                  (", line 16: the file has a 24C64 in socket, the board a 24C32"));
    EXPECT_EQ(other.board->eeprom93c46()->at(3), 0xFF);
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    file.resize(file.size() - 2 * 65); // the last two lines of hex digits
    file.close();
    EXPECT_FALSE(second.board->loadState(path, &why));
    EXPECT_EQ(why.toStdString(),
              path.toStdString() + ", the file ends after 8128 of the 8192 bytes of socket");
    EXPECT_FALSE(second.board->loadState(path + QStringLiteral("x"), &why));
    EXPECT_EQ(second.contents(), data);
    EXPECT_FALSE(first.board->addSocketChip(QStringLiteral("24C08"), 0xA8, 8, &why));
    EXPECT_EQ(why.toStdString(), "the socket holds a chip already");
}

TEST(Eeprom, SigrokDecodesTheFileOnTheWiresOfA24cxxAndA93cxx) {
    SKIP_WITHOUT_SIGROK();
    QTemporaryDir dir;
    const QString vcd = dir.filePath(QStringLiteral("eeprom.vcd"));
    const QString i2c = QStringLiteral("i2c:scl=rts:sda=data:address_format=unshifted,eeprom24xx");
    const QString microwire = QStringLiteral(
        "microwire:cs=cs:sk=rts:si=dtr:so=data,eeprom93xx:addresssize=8:wordsize=16");
    for (const auto& [name, org, decoders, annotations] :
         {std::tuple{"24C02", 8, i2c, QStringLiteral("eeprom24xx=ops")},
          std::tuple{"93C56", 16, microwire, QStringLiteral("eeprom93xx=data")}}) {
        SCOPED_TRACE(name);
        Rig rig(name, org);
        WireRecorder probe;
        rig.board->setRecorder(&probe);
        const QByteArray data = randomBytes(256, 8);
        QByteArray out;
        ASSERT_TRUE(rig.programmer->write(0, data).ok());
        ASSERT_TRUE(rig.programmer->read(0, 256, &out).ok());
        rig.board->elapse(5'000'000); // the last chip select window ends
        rig.board->setRecorder(nullptr);
        QString error;
        ASSERT_TRUE(probe.writeVcd(vcd, &error));
        const QStringList lines = SigrokCli::decode(vcd, decoders, annotations);

        // 24xx: "Page write (addr=08, 8 bytes): 37 7E ..." and "Sequential random read (...)".
        // 93xx: "Write word", "Address: 0x0001" (the data bit after the last clock rise is not
        // decoded) and "Read word", "Address: 0x0000", "Data: 0x4820", ...
        QByteArray written, read;
        QList<int> writtenWords;
        static const QRegularExpression ops(QStringLiteral("^(Page write|Sequential random "
                                                           "read) \\(addr=([0-9A-F]+).*: (.*)$"));
        QString last;
        int address = 0;
        for (const QString& line : lines) {
            if (const auto m = ops.match(line); m.hasMatch()) {
                QByteArray& into = m.captured(1) == u"Page write" ? written : read;
                into.resize(m.captured(2).toInt(nullptr, 16));
                into += QByteArray::fromHex(m.captured(3).toLatin1());
            } else if (line.startsWith(u"Address: ")) {
                address = line.mid(9).toInt(nullptr, 16);
                if (last == u"Write word")
                    writtenWords << address;
                else if (last == u"Read word")
                    read.resize(address * 2);
            } else if (line.startsWith(u"Data: ") && last != u"Write word") {
                read += QByteArray::fromHex(line.mid(8).toLatin1());
            }
            if (line.endsWith(u" word"))
                last = line;
        }
        EXPECT_EQ(read, data);
        if (org == 8) {
            EXPECT_EQ(written, data);
        } else {
            QList<int> words(128);
            std::iota(words.begin(), words.end(), 0);
            EXPECT_EQ(writtenWords, words);
        }
    }
}

TEST(EepromWindow, ReadVerifyWriteAndCancelThroughTheActionGroup) {
    Programmer p;
    // The adapter on in Microwire mode: the work on a 24Cxx switches it off and keeps the mode.
    p.tester.setup().Mset_micro_Click();
    p.tester.power().TogglePower();
    ASSERT_TRUE(p.eeprom.PlugSocket(EepromChip::find(u"24C16")));
    EXPECT_EQ(p.eeprom.buffer().size(), 2048);
    std::vector<std::uint8_t>& chip = p.board->socket24xx()->memory();
    const QByteArray data = randomBytes(2048, 9);
    std::copy(data.begin(), data.end(), chip.begin());
    EXPECT_TRUE(p.eeprom.Read().ok());
    EXPECT_EQ(p.eeprom.buffer(), data);
    EXPECT_FALSE(p.tester.powerOn());
    EXPECT_TRUE(p.panel.isChecked(Ctl::Mset_micro));
    EXPECT_TRUE(p.tester.analysisOn());

    // An edited byte: verify stops there, in a message box; Write asks first.
    p.eeprom.setByte(0x123, data[0x123] ^ 1);
    p.dialogs.thenMessage().thenMessage(Dialogs::Answer::No).thenMessage(Dialogs::Answer::Yes);
    EepromResult r = p.eeprom.Verify();
    EXPECT_EQ(r.firstDifference, 0x123);
    EXPECT_EQ(p.dialogs.messages(), QStringList{r.message});
    EXPECT_EQ(p.eeprom.Write(true).outcome, Outcome::Cancelled);
    EXPECT_EQ(chip[0x123], static_cast<std::uint8_t>(data[0x123]));
    r = p.eeprom.Write(true);
    EXPECT_EQ(r.message.toStdString(),
              "Wrote 2048 bytes into the 24C16 at 0xA0 and verified them.");
    EXPECT_EQ(chip[0x123], static_cast<std::uint8_t>(data[0x123] ^ 1));

    // Cancel after the third page of a read; work started meanwhile is refused. The buffer
    // keeps what it had.
    int pages = 0;
    EepromResult nested;
    p.dialogs.duringYield = [&] {
        if (++pages == 3) {
            nested = p.eeprom.Verify();
            p.eeprom.Cancel();
        }
    };
    p.eeprom.setByte(0, 0x5A);
    r = p.eeprom.Read();
    EXPECT_EQ(r.outcome, Outcome::Cancelled);
    EXPECT_EQ(r.bytes, 48);
    EXPECT_EQ(nested.outcome, Outcome::Busy);
    EXPECT_EQ(p.eeprom.buffer()[0], 0x5A);
    p.dialogs.duringYield = nullptr;

    // Through a HEX file and back; a 93Cxx in the socket takes the board's one.
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("chip.hex"));
    p.dialogs.thenSaveFile(path).thenOpenFile(path).thenMessage().thenOpenFile(path);
    ASSERT_TRUE(p.eeprom.SaveFile());
    const QByteArray saved = p.eeprom.buffer();
    ASSERT_TRUE(p.eeprom.PlugSocket(EepromChip::find(u"93C46", 16)));
    EXPECT_EQ(p.eeprom.chipText(), QStringLiteral("93C46 x16"));
    EXPECT_FALSE(p.eeprom.LoadFile()); // 2048 bytes do not fit a 93C46
    EXPECT_TRUE(p.dialogs.messages().last().contains(u"outside the chip (128 bytes)"));
    ASSERT_TRUE(p.eeprom.PlugSocket(EepromChip::find(u"24C16")));
    ASSERT_TRUE(p.eeprom.LoadFile());
    EXPECT_EQ(p.eeprom.buffer(), saved);
    EXPECT_TRUE(p.dialogs.scriptUsedUp());
}

TEST(EepromWindow, OpensFromTheMenuShowsTheChipAndHoldsInputBackButCancel) {
    Programmer p;
    MainWindow main(p.panel, p.tester);
    main.show();
    main.action(Ctl::Anal_eeprom)->trigger();
    EepromWindow* window = main.eepromWindow();
    ASSERT_TRUE(window && window->isVisible());
    ASSERT_TRUE(window->socketBox());
    p.board->eeprom24c02()->memory()[0x11] = 'T';
    const auto buttons = window->findChildren<QPushButton*>();
    QPushButton* read = buttons.front();
    ASSERT_EQ(read->text(), QStringLiteral("&Read"));
    QTest::mouseClick(read, Qt::LeftButton);
    EXPECT_EQ(window->hexView()->model()->index(1, 1).data().toString(), QStringLiteral("54"));
    EXPECT_EQ(window->hexView()->model()->index(1, 16).data().toString(),
              QStringLiteral(".T") + QString(14, u'.'));

    // During the work, the main window's Power button does nothing; Cancel stops it.
    int pages = 0;
    p.dialogs.duringYield = [&] {
        if (++pages == 2) {
            QTest::mouseClick(main.widget(Ctl::PowerG), Qt::LeftButton);
            QTest::mouseClick(window->cancelButton(), Qt::LeftButton);
        }
    };
    QTest::mouseClick(read, Qt::LeftButton);
    EXPECT_EQ(p.eeprom.lastResult().outcome, Outcome::Cancelled);
    EXPECT_FALSE(p.tester.powerOn());
    EXPECT_TRUE(read->isEnabled());
    EXPECT_FALSE(window->cancelButton()->isEnabled());
}

TEST(EepromCli, CommandsOnTheSimulatedBoardKeepTheirChipsInTheStateFile) {
    QTemporaryDir dir;
    const QByteArray data = randomBytes(3000, 10);
    QString why;
    ASSERT_TRUE(EepromImage::save(dir.filePath(QStringLiteral("in.hex")), data, 0x100, &why));
    ASSERT_TRUE(
        EepromImage::save(dir.filePath(QStringLiteral("zero.bin")), QByteArray(16, 0), 0, &why));
    QFile bad(dir.filePath(QStringLiteral("bad.state")));
    ASSERT_TRUE(bad.open(QIODevice::WriteOnly) && bad.write("garbage\n") == 8);
    bad.close();
    const QStringList sim{"--board", "sim"};
    const QStringList socket = sim + QStringList{"--socket", "24c64", "--sim-state", "s1"};
    const QStringList board = sim + QStringList{"--sim-state", "s2"};
    const QStringList chip{"--chip", "24c64"};
    struct Case {
        QStringList arguments;
        int status;
        const char* out;
        const char* err;
    };
    for (const Case& c : std::initializer_list<Case>{
             {socket + QStringList{"eeprom", "write", "in.hex"} + chip, 0,
              "Wrote 3000 bytes into the 24C64 at 0xA0 and verified them.", ""},
             {socket + QStringList{"eeprom", "verify", "in.hex"} + chip, 0,
              "The 24C64 at 0xA0 holds the data: 3000 bytes verified.", ""},
             {socket + QStringList{"eeprom", "read", "out.bin"} + chip, 0, "Read 8192 bytes", ""},
             {socket + QStringList{"eeprom", "read", "out.bin"} + chip, 1, "",
              "'out.bin' is exist ! Overwrite ?"},
             {socket + QStringList{"--json", "eeprom", "verify", "zero.bin"} + chip, 1,
              "\"first_difference\": {\n        \"address\": 0,\n        \"chip\": 255",
              "Verify failed at 0x0000: the chip holds 0xFF, the data 0x00."},
             {socket + QStringList{"eeprom", "erase"} + chip, 0, "Erased the 24C64 at 0xA0", ""},
             {socket + QStringList{"eeprom", "verify", "in.hex"} + chip, 1, "",
              "Verify failed at 0x0100"},
             {sim + QStringList{"--socket", "93c56:16", "eeprom", "write", "--chip", "93c56",
                                "--org", "16", "--no-verify", "zero.bin"},
              0, "Wrote 16 bytes into the 93C56 x16.", ""},
             {sim + QStringList{"eeprom", "read", "--chip", "24c02", "--address", "0xA4", "x.bin"},
              1, "", "The 24C02 at 0xA4 does not acknowledge its address"},
             {board + QStringList{"transfer", "w3@0x50", "0x10", "0x54", "0x61"}, 0, "", ""},
             {board + QStringList{"transfer", "w4@0x50", "0x20", "0x41+"}, 0, "", ""},
             {board + QStringList{"transfer", "w1@0x50", "0x10", "r2"}, 0, "0x54 0x61\n", ""},
             {board + QStringList{"dump", "0x50"}, 0,
              "10: 54 61 ff ff ff ff ff ff ff ff ff ff ff ff ff ff    Ta..............\n"
              "20: 41 42 43 ff",
              ""},
             {sim + QStringList{"transfer", "w1@0x51", "0x00"}, 1, "",
              "message 1 of 1 (w1@0x51) was not acknowledged: its address"},
             {sim + QStringList{"transfer", "r2@0x50", "w2", "0"}, 2, "",
              "'w2' needs 2 data bytes"},
             {sim + QStringList{"transfer", "r2"}, 2, "", "the first message needs one"},
             {sim + QStringList{"dump", "0x80"}, 2, "", "dump needs one 7-bit address"},
             {sim + QStringList{"eeprom", "read"} + chip, 2, "", "eeprom read needs one file"},
             {sim + QStringList{"eeprom", "erase", "--org", "16"} + chip, 2, "", "--org takes 8"},
             {sim + QStringList{"eeprom", "erase", "--chip", "24c03"}, 2, "",
              "needs --chip: 24c01"},
             {sim + QStringList{"detect", "--address", "0xA0"}, 2, "", "belong to eeprom"},
             {QStringList{"--socket", "24c02", "detect"}, 2, "", "belong to --board sim"},
             {sim + QStringList{"--sim-state", "bad.state", "detect"}, 2, "",
              "bad.state, line 1: not a simulated board's state"},
         }) {
        SCOPED_TRACE(c.arguments.join(u' ').toStdString());
        const CliResult r = runCli(c.arguments, dir.path());
        EXPECT_EQ(r.status, c.status);
        EXPECT_TRUE(r.out.contains(c.out)) << r.out.constData();
        EXPECT_TRUE(r.err.contains(c.err)) << r.err.constData();
    }
    QFile out(dir.filePath(QStringLiteral("out.bin")));
    ASSERT_TRUE(out.open(QIODevice::ReadOnly));
    EXPECT_EQ(out.readAll(), QByteArray(256, static_cast<char>(0xFF)) + data +
                                 QByteArray(8192 - 3256, static_cast<char>(0xFF)));
}
