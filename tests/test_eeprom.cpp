// Whole-chip EEPROM work on the simulated board with the chip in the socket: the programmers
// against the chip models (each written from the datasheets on its own), the files, and sigrok
// as the independent judge of what went over the wires; then the same work as the user does it,
// in the EEPROM window (through its action group and its widgets) and with brolmet-cli.
#include "bus/I2cBus.h"
#include "bus/PortLines.h"
#include "eeprom/EepromProgrammer.h"
#include "files/EepromImage.h"
#include "sim/Eeprom24c02.h"
#include "sim/Eeprom24xx.h"
#include "sim/Eeprom93c46.h"
#include "sim/Eeprom93xx.h"
#include "sim/WireRecorder.h"
#include "support/Rig.h"
#include "support/SigrokCli.h"
#include "ui/EepromWindow.h"
#include "ui/MainWindow.h"

#include <QMap>
#include <QPushButton>
#include <QRandomGenerator>
#include <QTableView>
#include <QTest>

#include <algorithm>
#include <numeric>
#include <tuple>

namespace {

using Outcome = EepromResult::Outcome;

QByteArray randomBytes(int n, quint32 seed) {
    QByteArray bytes(n, 0);
    std::generate(bytes.begin(), bytes.end(), [random = QRandomGenerator(seed)]() mutable {
        return static_cast<char>(random.bounded(256));
    });
    return bytes;
}
QByteArray erased(int n) {
    return QByteArray(n, static_cast<char>(0xFF));
}

// The board with one chip in the socket (none for an empty name) and a programmer for it.
struct Socket {
    std::unique_ptr<SimulatedBoard> board = SimulatedBoard::fromVariant(QString());
    PortLines lines{*board};
    EepromChip chip;
    std::unique_ptr<EepromProgrammer> programmer;

    explicit Socket(const char* name, int org = 8, EepromProgrammer::Options options = {},
                    bool plugged = true)
        : chip(*EepromChip::find(QLatin1StringView(name), org)) {
        QString why;
        EXPECT_TRUE(!plugged || board->addSocketChip(QLatin1StringView(name), 0xA0, org, &why))
            << why.toStdString();
        EXPECT_TRUE(chip.bus == EepromChip::Bus::I2c ? lines.openPortI2c()
                                                     : lines.openPortMicrowire());
        programmer = EepromProgrammer::create(chip, lines, options);
    }
    std::vector<std::uint8_t>& memory() {
        return board->socket24xx() ? board->socket24xx()->memory() : board->socket93xx()->memory();
    }
    QByteArray contents() {
        return QByteArray(reinterpret_cast<const char*>(memory().data()),
                          static_cast<qsizetype>(memory().size()));
    }
};

// The tester as the window drives it, with the socket of the test board.
struct EepromWindowTest : RigTest {
    EepromWindowTest() {
        start("");
        eeprom().setSocketHook(
            [this](const std::optional<EepromChip>& chip, int address, QString* why) {
                board->removeSocketChip();
                return !chip ||
                       board->addSocketChip(QLatin1StringView(chip->name), address, chip->org, why);
            },
            std::nullopt);
    }
    EepromActions& eeprom() { return tester->eeprom(); }
};

} // namespace

TEST(Eeprom, EveryChipTakesAFileOfRandomBytesReadsItBackVerifiesAndErases) {
    Scratch dir;
    const QString path = dir.path("chip.hex");
    for (const EepromChip& chip : EepromChip::all()) {
        SCOPED_TRACE(chip.title().toStdString());
        Socket rig(chip.name, chip.org);
        const QByteArray data = randomBytes(chip.size, static_cast<quint32>(chip.size + chip.org));
        // Through a HEX file and back.
        QString why;
        QByteArray file;
        int from = -1;
        ASSERT_TRUE(EepromImage::save(path, data, 0, &why) &&
                    EepromImage::load(path, chip.size, &file, &from, &why))
            << why.toStdString();
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
        EXPECT_EQ(rig.contents(), erased(chip.size));
    }
}

TEST(Eeprom, WritesAcrossPagesAndBlocksTouchOnlyTheirRange) {
    // 24C02: over two 8-byte page ends; 24C16: over a page and the block end at 0x100;
    // 24C256: over a 64-byte page; 93C66 x16 from an odd word.
    for (const auto& [name, from, count] : {std::tuple{"24C02", 5, 12},
                                            {"24C16", 0x2F9, 20},
                                            {"24C256", 0x3F3, 80},
                                            {"93C66", 0x1F6, 8}}) {
        SCOPED_TRACE(name);
        Socket rig(name, name[0] == '9' ? 16 : 8);
        const QByteArray data = randomBytes(count, 7);
        ASSERT_TRUE(rig.programmer->write(from, data).ok());
        EXPECT_EQ(rig.contents(), erased(rig.chip.size).replace(from, count, data));
    }

    // The chip model itself: a page write wraps inside its page, a read over the last byte
    // goes on at 0.
    Socket rig("24C256");
    I2cBus bus(rig.lines);
    const auto send = [&](std::initializer_list<int> bytes) {
        bus.start();
        for (int byte : bytes)
            bus.writeByte(byte);
    };
    send({0xA0, 0x00, 0x7F, 1, 2, 3});
    bus.stop();
    EXPECT_EQ(rig.contents().mid(0x40, 2) + rig.contents().at(0x7F), QByteArray("\x02\x03\x01"));
    rig.memory()[0x7FFF] = 0x12;
    rig.memory()[0] = 0x34;
    rig.board->elapse(Eeprom24xx::find(u"24C256")->writeCycleNs);
    send({0xA0, 0x7F, 0xFF});
    send({0xA1});
    const int high = bus.readByte(true), low = bus.readByte(false);
    bus.stop();
    EXPECT_EQ(high * 256 + low, 0x1234);
}

TEST(Eeprom, FailuresEndInAMessageAndLeaveWhatTheyReport) {
    // A write cycle that outlasts the datasheet's maximum.
    Socket slow("24C02");
    slow.board->socket24xx()->setWriteCycleNs(20'000'000);
    EepromResult r = slow.programmer->write(16, randomBytes(32, 1));
    EXPECT_EQ(r.outcome, Outcome::WriteCycleTimeout);
    EXPECT_EQ(r.message, u"The write cycle of the page at 0x10 did not end within 5 ms (the "
                         u"24C02 at 0xA0 did not answer the polling); 0 bytes before it are "
                         u"written."_s);
    EXPECT_GE(r.elapsedNs, 5'000'000u);
    EXPECT_LT(r.elapsedNs, 10'000'000u); // the page's transfer, 5 ms of polls and the last one

    // Nothing at the address; a 93C46 that is not there; a range outside the chip.
    QByteArray out;
    Socket nothing("24C02", 8, {.i2cAddressByte = 0xA6}, false);
    r = nothing.programmer->read(0, 16, &out);
    EXPECT_EQ(r.outcome, Outcome::NoAcknowledge);
    EXPECT_EQ(r.message, u"The 24C02 at 0xA6 does not acknowledge its address: no chip there, or "
                         u"another address."_s);
    // The board's 93C46 (x8, erased) is no 93C56 x16: it ends its READ two bits early, so
    // where the dummy 0 belongs comes a 1.
    Socket empty("93C56", 16, {}, false);
    r = empty.programmer->read(0, 4, &out);
    EXPECT_EQ(r.outcome, Outcome::NoAnswer) << r.message.toStdString();
    r = nothing.programmer->write(250, QByteArray(7, 0));
    EXPECT_EQ(r.outcome, Outcome::BadRange);
    EXPECT_EQ(r.message, u"7 bytes from 0xFA do not fit into the 24C02 at 0xA6 (256 bytes)."_s);

    // Cancel after the fourth page: the chip holds what the message says.
    Socket cancelled("24C02");
    const QByteArray data = randomBytes(256, 2);
    r = cancelled.programmer->write(0, data, [](int done, int) { return done < 32; });
    EXPECT_EQ(r.outcome, Outcome::Cancelled);
    EXPECT_EQ(r.bytes, 32);
    EXPECT_EQ(r.message, u"Cancelled after 32 of 256 bytes: 0x00 to 0x1F are written, the rest "
                         u"of the chip is as it was."_s);
    EXPECT_EQ(cancelled.contents(), data.left(32) + erased(224));
    Socket cancelledRead("93C46", 16);
    r = cancelledRead.programmer->read(0, 128, &out, [](int done, int) { return done < 20; });
    EXPECT_EQ(r.outcome, Outcome::Cancelled);
    EXPECT_EQ(out.size(), r.bytes);
    EXPECT_GE(r.bytes, 20);
}

TEST(Eeprom, AChipSelectWindowTooShortForTheAdapterEndsInAMessageNotInWrongData) {
    Socket fast("93C66");
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
    Socket slow("93C66");
    slow.board->setCallCostNs(100'000);
    EepromResult r = slow.programmer->read(0, 512, &out);
    EXPECT_EQ(r.outcome, Outcome::WindowTooShort);
    EXPECT_EQ(out, QByteArray());
    EXPECT_TRUE(r.message.startsWith(u"The chip select window of reset value 9 (3750 µs) is too "
                                     u"short for this adapter: a READ command took"))
        << r.message.toStdString();
    Socket shortWindow("93C46", 8, {.resetValue = 1});
    r = shortWindow.programmer->write(0, data.left(16));
    EXPECT_EQ(r.outcome, Outcome::WindowTooShort);
    EXPECT_EQ(shortWindow.contents(), erased(128));
}

TEST(Eeprom, FilesRefuseWhatDoesNotFitTheChip) {
    QByteArray bytes;
    int from = -1;
    QString why;
    for (const auto& [text, problem] : {
             std::pair{":0400F0000102030402\r\n:02010000AABB98\n:00000001FF\n", ""},
             {":0400F0000102030403\n:00000001FF\n", "line 1: bad checksum"},
             {":02010000AABB98\n:020000040001F9\n:0100000011EE\n:00000001FF\n",
              "line 3: data for 0x10000, outside the chip (512 bytes)"},
             {":0400F0000102030402\n", "no end-of-file record: the file may be cut short"},
             {":0400F0000102030E\n:00000001FF\n",
              "line 1: the record's length does not match its count byte"},
             {":00000001FF\n:00000001FF\n", "line 2: a record after the end-of-file record"},
         }) {
        why.clear();
        EXPECT_EQ(EepromImage::parseIntelHex(text, 512, &bytes, &from, &why), !*problem);
        EXPECT_EQ(why, QLatin1String(problem));
    }
    EXPECT_EQ(from, 0xF0); // from the first case; failures leave it
    EXPECT_EQ(bytes, QByteArray::fromHex("01020304") + erased(12) + QByteArray::fromHex("AABB"));

    Scratch dir;
    const QString big = dir.path("big.bin");
    ASSERT_TRUE(EepromImage::save(big, QByteArray(257, 'x'), 0, &why));
    EXPECT_FALSE(EepromImage::load(big, 256, &bytes, &from, &why));
    EXPECT_EQ(why, big + u": 257 bytes, larger than the chip (256 bytes)"_s);
    // A failed save leaves the file as it was.
    EXPECT_FALSE(EepromImage::save(dir.path("no/such.hex"), bytes, 0, &why));
    EXPECT_TRUE(why.endsWith(u"no such folder (error 76)")) << why.toStdString();

    // The dump is hexdump's canonical form.
    const QByteArray data = randomBytes(37, 4) + "Az~";
    ASSERT_TRUE(EepromImage::save(dir.path("d.bin"), data, 0, &why));
    QProcess hexdump;
    hexdump.start(u"hexdump"_s, {"-C", "-v", dir.path("d.bin")});
    EXPECT_TRUE(!hexdump.waitForFinished() ||
                EepromImage::dump(data) == hexdump.readAllStandardOutput());
}

TEST(Eeprom, TheBoardKeepsItsChipsInAStateFile) {
    Scratch dir;
    const QString path = dir.path("board.state");
    Socket first("24C64");
    const QByteArray data = randomBytes(8192, 5);
    std::copy(data.begin(), data.end(), first.memory().begin());
    first.board->eeprom93c46()->set(3, 0x42);
    QString why;
    ASSERT_TRUE(first.board->saveState(path, &why)) << why.toStdString();
    Socket second("24C64");
    ASSERT_TRUE(second.board->loadState(path, &why)) << why.toStdString();
    EXPECT_EQ(second.contents(), data);
    EXPECT_EQ(second.board->eeprom93c46()->at(3), 0x42);

    // Another chip in the socket, a cut file, no state file at all: nothing changes.
    Socket other("24C32");
    EXPECT_FALSE(other.board->loadState(path, &why));
    EXPECT_EQ(why, path + u", line 16: the file has a 24C64 in socket, the board a 24C32"_s);
    EXPECT_EQ(other.board->eeprom93c46()->at(3), 0xFF);
    QFile file(path);
    ASSERT_TRUE(file.resize(file.size() - 2 * 65)); // the last two lines of hex digits
    EXPECT_FALSE(second.board->loadState(path, &why));
    EXPECT_EQ(why, path + u", the file ends after 8128 of the 8192 bytes of socket"_s);
    EXPECT_FALSE(second.board->loadState(path + u'x', &why));
    EXPECT_EQ(second.contents(), data);
    EXPECT_FALSE(first.board->addSocketChip(u"24C08"_s, 0xA8, 8, &why));
    EXPECT_EQ(why, u"the socket holds a chip already"_s);
}

TEST(Eeprom, SigrokDecodesTheFileOnTheWiresOfA24cxxAndA93cxx) {
    SKIP_WITHOUT_SIGROK();
    Scratch dir;
    const QString vcd = dir.path("eeprom.vcd");
    for (const auto& [name, org, decoders, annotations] :
         {std::tuple{"24C02", 8, "i2c:scl=rts:sda=data:address_format=unshifted,eeprom24xx",
                     "eeprom24xx=ops"},
          {"93C56", 16,
           "microwire:cs=cs:sk=rts:si=dtr:so=data,eeprom93xx:addresssize=8:wordsize=16",
           "eeprom93xx=data"}}) {
        SCOPED_TRACE(name);
        Socket rig(name, org);
        WireRecorder probe;
        rig.board->setRecorder(&probe);
        const QByteArray data = randomBytes(256, 8);
        QByteArray out;
        ASSERT_TRUE(rig.programmer->write(0, data).ok());
        ASSERT_TRUE(rig.programmer->read(0, 256, &out).ok());
        rig.board->elapse(5'000'000); // the last chip select window ends
        rig.board->setRecorder(nullptr);
        ASSERT_TRUE(probe.writeVcd(vcd));

        // 24xx: "Page write (addr=08, 8 bytes): 37 7E ..." and "Sequential random read (...)".
        // 93xx: "Write word", "Address: 0x0001" (the data bit after the last clock rise is not
        // decoded) and "Read word", "Address: 0x0000", "Data: 0x4820", ...
        QByteArray written, read;
        QList<int> writtenWords;
        static const QRegularExpression ops(
            u"^(Page write|Sequential random read) \\(addr=([0-9A-F]+).*: (.*)$"_s);
        QString last;
        for (const QString& line : SigrokCli::decode(vcd, decoders, annotations)) {
            if (const auto m = ops.match(line); m.hasMatch()) {
                QByteArray& into = m.captured(1) == u"Page write" ? written : read;
                into.resize(m.captured(2).toInt(nullptr, 16));
                into += QByteArray::fromHex(m.captured(3).toLatin1());
            } else if (const int address = line.mid(9).toInt(nullptr, 16);
                       line.startsWith(u"Address: ")) {
                if (last == u"Write word")
                    writtenWords << address;
                else if (last == u"Read word")
                    read.resize(address * 2);
            } else if (line.startsWith(u"Data: ") && last != u"Write word") {
                read += QByteArray::fromHex(line.mid(8).toLatin1());
            }
            last = line.endsWith(u" word") ? line : last;
        }
        EXPECT_EQ(read, data);
        QList<int> words(128);
        std::iota(words.begin(), words.end(), 0);
        EXPECT_EQ(written, org == 8 ? data : QByteArray());
        EXPECT_EQ(writtenWords, org == 8 ? QList<int>() : words);
    }
}

TEST_F(EepromWindowTest, ReadVerifyWriteAndCancelThroughTheActionGroup) {
    // The adapter on in Microwire mode: the work on a 24Cxx switches it off and keeps the mode.
    setup().Mset_micro_Click();
    power().TogglePower();
    ASSERT_TRUE(eeprom().PlugSocket(EepromChip::find(u"24C16")));
    EXPECT_EQ(eeprom().buffer().size(), 2048);
    std::vector<std::uint8_t>& chip = board->socket24xx()->memory();
    const QByteArray data = randomBytes(2048, 9);
    std::copy(data.begin(), data.end(), chip.begin());
    EXPECT_TRUE(eeprom().Read().ok());
    EXPECT_EQ(eeprom().buffer(), data);
    EXPECT_EQ(state(), u"OFF closed analysing"_s);
    EXPECT_TRUE(panel.isChecked(Ctl::Mset_micro));

    // An edited byte: verify stops there, in a message box; Write asks first.
    eeprom().setByte(0x123, data[0x123] ^ 1);
    dialogs.thenMessage().thenMessage(Dialogs::Answer::No).thenMessage(Dialogs::Answer::Yes);
    EepromResult r = eeprom().Verify();
    EXPECT_EQ(r.firstDifference, 0x123);
    EXPECT_EQ(dialogs.messages(), QStringList{r.message});
    EXPECT_EQ(eeprom().Write(true).outcome, Outcome::Cancelled);
    EXPECT_EQ(chip[0x123], static_cast<std::uint8_t>(data[0x123]));
    EXPECT_EQ(eeprom().Write(true).message,
              u"Wrote 2048 bytes into the 24C16 at 0xA0 and verified them."_s);
    EXPECT_EQ(chip[0x123], static_cast<std::uint8_t>(data[0x123] ^ 1));

    // Cancel after the third page of a read; work started meanwhile is refused. The buffer
    // keeps what it had.
    int pages = 0;
    EepromResult nested;
    dialogs.duringYield = [&] {
        if (++pages == 3) {
            nested = eeprom().Verify();
            eeprom().Cancel();
        }
    };
    eeprom().setByte(0, 0x5A);
    r = eeprom().Read();
    EXPECT_EQ(r.outcome, Outcome::Cancelled);
    EXPECT_EQ(r.bytes, 48);
    EXPECT_EQ(nested.outcome, Outcome::Busy);
    EXPECT_EQ(eeprom().buffer()[0], 0x5A);
    dialogs.duringYield = nullptr;

    // Through a HEX file and back; a 93Cxx in the socket takes the board's one.
    const QString file = path("chip.hex");
    dialogs.thenSaveFile(file).thenOpenFile(file).thenMessage().thenOpenFile(file);
    ASSERT_TRUE(eeprom().SaveFile());
    const QByteArray saved = eeprom().buffer();
    ASSERT_TRUE(eeprom().PlugSocket(EepromChip::find(u"93C46", 16)));
    EXPECT_EQ(eeprom().chipText(), u"93C46 x16"_s);
    EXPECT_FALSE(eeprom().LoadFile()); // 2048 bytes do not fit a 93C46
    EXPECT_TRUE(dialogs.messages().last().contains(u"outside the chip (128 bytes)"));
    ASSERT_TRUE(eeprom().PlugSocket(EepromChip::find(u"24C16")));
    ASSERT_TRUE(eeprom().LoadFile());
    EXPECT_EQ(eeprom().buffer(), saved);
}

TEST_F(EepromWindowTest, OpensFromTheMenuShowsTheChipAndHoldsInputBackButCancel) {
    MainWindow main(panel, *tester);
    main.show();
    main.action(Ctl::Anal_eeprom)->trigger();
    EepromWindow* window = main.eepromWindow();
    ASSERT_TRUE(window && window->isVisible() && window->socketBox());
    board->eeprom24c02()->memory()[0x11] = 'T';
    QPushButton* read = window->findChildren<QPushButton*>().front();
    ASSERT_EQ(read->text(), u"&Read"_s);
    QTest::mouseClick(read, Qt::LeftButton);
    EXPECT_EQ(window->hexView()->model()->index(1, 1).data().toString(), u"54"_s);
    EXPECT_EQ(window->hexView()->model()->index(1, 16).data().toString(), ".T" + QString(14, '.'));

    // During the work, the main window's Power button does nothing; Cancel stops it.
    int pages = 0;
    dialogs.duringYield = [&] {
        if (++pages == 2) {
            QTest::mouseClick(main.widget(Ctl::PowerG), Qt::LeftButton);
            QTest::mouseClick(window->cancelButton(), Qt::LeftButton);
        }
    };
    QTest::mouseClick(read, Qt::LeftButton);
    EXPECT_EQ(eeprom().lastResult().outcome, Outcome::Cancelled);
    EXPECT_FALSE(tester->powerOn());
    EXPECT_TRUE(read->isEnabled());
    EXPECT_FALSE(window->cancelButton()->isEnabled());
}

TEST(EepromCli, CommandsOnTheSimulatedBoardKeepTheirChipsInTheStateFile) {
    Scratch dir;
    const QByteArray data = randomBytes(3000, 10);
    QString why;
    ASSERT_TRUE(EepromImage::save(dir.path("in.hex"), data, 0x100, &why) &&
                EepromImage::save(dir.path("zero.bin"), QByteArray(16, 0), 0, &why) &&
                writeFile(dir.path("bad.state"), "garbage\n"));
    // What the first word of a case stands for: the simulated board, with a 24C64 in the
    // socket and the state in s1, with the state in s2, or no board at all.
    const QMap<QString, QStringList> boards{
        {"sim", {"--board", "sim"}},
        {"s1", {"--board", "sim", "--socket", "24c64", "--sim-state", "s1"}},
        {"s2", {"--board", "sim", "--sim-state", "s2"}},
        {"-", {}}};
    struct Case {
        const char* arguments;
        int status;
        const char *out, *err;
    };
    // clang-format off
    for (const Case& c : std::initializer_list<Case>{
             {"s1 eeprom write in.hex --chip 24c64", 0,
              "Wrote 3000 bytes into the 24C64 at 0xA0 and verified them.", ""},
             {"s1 eeprom verify in.hex --chip 24c64", 0,
              "The 24C64 at 0xA0 holds the data: 3000 bytes verified.", ""},
             {"s1 eeprom read out.bin --chip 24c64", 0, "Read 8192 bytes", ""},
             {"s1 eeprom read out.bin --chip 24c64", 1, "", "'out.bin' is exist ! Overwrite ?"},
             {"s1 --json eeprom verify zero.bin --chip 24c64", 1,
              "\"first_difference\": {\n        \"address\": 0,\n        \"chip\": 255",
              "Verify failed at 0x0000: the chip holds 0xFF, the data 0x00."},
             {"s1 eeprom erase --chip 24c64", 0, "Erased the 24C64 at 0xA0", ""},
             {"s1 eeprom verify in.hex --chip 24c64", 1, "", "Verify failed at 0x0100"},
             {"sim --socket 93c56:16 eeprom write --chip 93c56 --org 16 --no-verify zero.bin", 0,
              "Wrote 16 bytes into the 93C56 x16.", ""},
             {"sim eeprom read --chip 24c02 --address 0xA4 x.bin", 1, "",
              "The 24C02 at 0xA4 does not acknowledge its address"},
             {"s2 transfer w3@0x50 0x10 0x54 0x61", 0, "", ""},
             {"s2 transfer w4@0x50 0x20 0x41+", 0, "", ""},
             {"s2 transfer w1@0x50 0x10 r2", 0, "0x54 0x61\n", ""},
             {"s2 dump 0x50", 0, "10: 54 61 ff ff ff ff ff ff ff ff ff ff ff ff ff ff    "
                                 "Ta..............\n20: 41 42 43 ff", ""},
             {"sim transfer w1@0x51 0x00", 1, "",
              "message 1 of 1 (w1@0x51) was not acknowledged: its address"},
             {"sim transfer r2@0x50 w2 0", 2, "", "'w2' needs 2 data bytes"},
             {"sim transfer r2", 2, "", "the first message needs one"},
             {"sim dump 0x80", 2, "", "dump needs one 7-bit address"},
             {"sim eeprom read --chip 24c64", 2, "", "eeprom read needs one file"},
             {"sim eeprom erase --org 16 --chip 24c64", 2, "", "--org takes 8"},
             {"sim eeprom erase --chip 24c03", 2, "", "needs --chip: 24c01"},
             {"sim detect --address 0xA0", 2, "", "belong to eeprom"},
             {"- --socket 24c02 detect", 2, "", "belong to --board sim"},
             {"sim --sim-state bad.state detect", 2, "",
              "bad.state, line 1: not a simulated board's state"},
         }) { // clang-format on
        SCOPED_TRACE(c.arguments);
        QStringList arguments = QString::fromLatin1(c.arguments).split(u' ');
        QProcess process;
        process.setWorkingDirectory(dir.dir.path());
        process.start(QStringLiteral(TAMSOLVIX_CLI), boards[arguments.takeFirst()] + arguments);
        EXPECT_TRUE(process.waitForFinished(60000));
        EXPECT_EQ(process.exitCode(), c.status);
        const QByteArray out = process.readAllStandardOutput(),
                         err = process.readAllStandardError();
        EXPECT_TRUE(out.contains(c.out)) << out.constData();
        EXPECT_TRUE(err.contains(c.err)) << err.constData();
    }
    EXPECT_EQ(contents(dir.path("out.bin")), erased(256) + data + erased(8192 - 3256));
}
