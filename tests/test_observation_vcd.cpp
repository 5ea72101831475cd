// The observation's export to a Value Change Dump: sigrok decodes it as it decodes the board's
// own wires, and the export's dialogs keep the user's files.
#include "actions/Tester.h"
#include "base/SafeSave.h"
#include "files/ObservationVcd.h"
#include "model/FileTexts.h"
#include "model/FrontPanel.h"
#include "sim/SimulatedBoard.h"
#include "sim/WireRecorder.h"
#include "support/ScriptedDialogs.h"
#include "support/SigrokCli.h"

#include <QBuffer>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

namespace {

struct ExportFixture : ::testing::Test {
    std::unique_ptr<SimulatedBoard> board = SimulatedBoard::fromVariant(QString());
    FrontPanel panel;
    ScriptedDialogs dialogs;
    Tester tester{panel, *board, dialogs};
    QTemporaryDir dir;

    void SetUp() override { tester.startUp({}); } // analysis on
    void TearDown() override { EXPECT_TRUE(dialogs.scriptUsedUp()); }
    void cells(int sequence, const QStringList& texts) {
        for (int k = 1; k <= 4; ++k)
            panel.setText(FrontPanel::cell(sequence, k),
                          k <= texts.size() ? texts[k - 1] : QStringLiteral("Stop"));
    }
    QString path(const char* name) const { return dir.filePath(QLatin1String(name)); }
    static QByteArray contents(const QString& path) {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    QStringList decode(const QString& vcd, const QString& decoders, const QString& annotations) {
        QString error;
        const QStringList lines = SigrokCli::decode(vcd, decoders, annotations, &error);
        EXPECT_TRUE(error.isEmpty()) << error.toStdString();
        return lines;
    }
};

const QString kI2c = QStringLiteral("i2c:scl=rts:sda=data:address_format=unshifted");
const QString kI2cAnnotations = QStringLiteral(
    "i2c=start:repeat-start:stop:ack:nack:address-read:address-write:data-read:data-write");

#define SKIP_WITHOUT_SIGROK()                                                                      \
    if (SigrokCli::program().isEmpty())                                                            \
    GTEST_SKIP() << "sigrok-cli is not on PATH (Debian package sigrok-cli)"

} // namespace

TEST_F(ExportFixture, SigrokDecodesTheExportedRunsAsTheBoardsOwnWires) {
    SKIP_WITHOUT_SIGROK();
    // Two bytes into the EEPROM, then the dummy write and the read of the next run pair.
    cells(1, {"&hA0", "&h10", "&h41", "&h42"});
    tester.runs().Go1_Click();
    dialogs.thenSaveFile(path("write.vcd"));
    tester.observation().ExportObservationVcd();
    EXPECT_EQ(decode(path("write.vcd"), kI2c, kI2cAnnotations),
              QStringList({"Start", "Write", "Address write: A0", "ACK", "Data write: 10", "ACK",
                           "Data write: 41", "ACK", "Data write: 42", "ACK", "Stop"}));

    // As in the window, a pause between runs is time on the board: it ends the write cycle.
    board->followWallClock(true);
    QThread::msleep(10);
    cells(1, {"&hA0", "&h10"});
    cells(2, {"&hA1", "Dump1", "Dump1"});
    tester.runs().Go1_Click();
    QThread::msleep(10);
    WireRecorder recorder;
    board->setRecorder(&recorder);
    tester.runs().Go2_Click();
    board->setRecorder(nullptr);
    ASSERT_EQ(panel.text(Ctl::Hex1), QStringLiteral("41 42 "));
    dialogs.thenSaveFile(path("read.vcd"));
    tester.observation().ExportObservationVcd();
    ASSERT_TRUE(recorder.writeVcd(path("wires.vcd")));

    // The export knows the chip's bits only from the samples, yet reads as the wire does.
    const QStringList wires = decode(path("wires.vcd"), kI2c, kI2cAnnotations);
    EXPECT_EQ(decode(path("read.vcd"), kI2c, kI2cAnnotations), wires);
    EXPECT_TRUE(wires.contains(QStringLiteral("Data read: 41"))) << wires.join(u'|').toStdString();
    EXPECT_TRUE(wires.contains(QStringLiteral("Data read: 42")));

    // Real times from the run's start, also after a pause: the board's port calls are 10 us
    // apart, and the start condition's fall of the data line is the run's third.
    const QByteArray vcd = contents(path("read.vcd"));
    EXPECT_TRUE(vcd.contains("$timescale 1 ns $end"));
    EXPECT_TRUE(vcd.contains("$end\n#30000\n0!\n0$\n")) << vcd.left(400).toStdString();
}

TEST_F(ExportFixture, TheResetCharacterIsOnTxdUntilItsStopBitHasGone) {
    SKIP_WITHOUT_SIGROK();
    tester.setup().Mset_micro_Click();
    cells(1, {"&h18", "Dump1"});
    tester.runs().Go1_Click();
    // The run itself is over long before the character's 4.2 ms.
    const QString vcd = path("reset.vcd");
    ASSERT_EQ(
        saveWith(vcd,
                 [&](QIODevice& out) { return writeObservationVcd(tester.lineEvents(), out); }),
        0);
    EXPECT_EQ(
        decode(vcd, QStringLiteral("uart:rx=txd:baudrate=2400"), QStringLiteral("uart=rx-data")),
        QStringList{QStringLiteral("FF")});
}

TEST(LineEventLog, GivesBackEveryEventInOrderAndKeepsAtMostItsLimit) {
    using S = LineEventLog::Signal;
    LineEventLog log;
    log.begin(1000, true, true);
    const std::uint64_t far = 31'000 + (std::uint64_t(1) << 40);
    const std::vector<std::tuple<S, bool, std::uint64_t>> added = {
        {S::Clock, false, 1000},  {S::DataOut, false, 11'000}, {S::DataIn, true, 21'000},
        {S::Clock, true, 31'000}, {S::DataIn, false, far},     {S::Clock, false, far},
        {S::Clock, true, 5000}}; // a time stamp that goes back counts as the one before
    for (std::size_t i = 0; i < added.size(); ++i) {
        std::apply([&log](S s, bool level, std::uint64_t at) { log.add(s, level, at); }, added[i]);
        if (i == 2) // the frame of &h0F, its edges from the moment it was handed over
            log.character(0x0F, 21'000);
    }
    QStringList read;
    LineEventLog::Reader reader(log);
    for (LineEventLog::Event e{}; reader.next(e);)
        read << QStringLiteral("%1%2@%3").arg(int(e.signal)).arg(e.level ? 'H' : 'L').arg(e.atNs);
    EXPECT_EQ(read.join(u' ').toStdString(),
              QStringLiteral("1L@1000 0L@11000 2H@21000 3L@21000 3H@437667 3L@2104333 3H@3771000 "
                             "1H@31000 2L@%1 1L@%1 1H@%1")
                  .arg(far)
                  .toStdString());

    // A full log counts what it leaves out, and the dump says so.
    LineEventLog full(10);
    full.begin(0, true, true);
    for (std::uint64_t i = 0; i < 13; ++i)
        full.add(S::Clock, i % 2 != 0, i * 10'000);
    full.character(0x00, 0);
    EXPECT_EQ(full.size(), 10u);
    EXPECT_EQ(full.dropped(), 5u); // three events and the frame's two edges
    QByteArray vcd;
    QBuffer out(&vcd);
    ASSERT_TRUE(out.open(QIODevice::WriteOnly) && writeObservationVcd(full, out));
    EXPECT_TRUE(vcd.contains("$comment the run had 5 line events more than the log keeps (10): "
                             "they are not in this dump $end"));
    EXPECT_TRUE(vcd.endsWith("#90000\n1\"\n#99000\n")) << vcd.toStdString();
}

TEST_F(ExportFixture, NothingToExportIsSaidAndAnExistingFileIsOnlyReplacedWhenTheUserSaysSo) {
    // Nothing has run yet.
    dialogs.thenMessage();
    tester.observation().ExportObservationVcd();
    EXPECT_EQ(dialogs.messages(), QStringList{FileTexts::kNoLineEvents});

    // A run without analysis empties the log of the one before.
    cells(1, {"&hA0"});
    tester.runs().Go1_Click();
    EXPECT_FALSE(tester.lineEvents().empty());
    tester.observation().Anal_be_Click();
    tester.runs().Go1_Click();
    EXPECT_TRUE(tester.lineEvents().empty());
    dialogs.thenMessage();
    tester.observation().ExportObservationVcd();
    EXPECT_EQ(dialogs.messages().size(), 2);

    // The suggested name follows the command file's title; "No" keeps the file as it was.
    tester.observation().Anal_be_Click();
    tester.runs().Go1_Click();
    QFile existing(path("keep.vcd"));
    ASSERT_TRUE(existing.open(QIODevice::WriteOnly) && existing.write("mine") == 4);
    existing.close();
    dialogs.thenSaveFile(path("keep.vcd")).thenMessage(Dialogs::Answer::No);
    tester.observation().ExportObservationVcd();
    EXPECT_EQ(dialogs.shown[dialogs.shown.size() - 2].defaultText, QStringLiteral("No Title.vcd"));
    EXPECT_EQ(dialogs.messages().last(), QStringLiteral("'keep.vcd' is exist ! Overwrite ?"));
    EXPECT_EQ(contents(path("keep.vcd")), QByteArray("mine"));

    // A folder that is not there: a message naming the file, and nothing else written.
    dialogs.thenSaveFile(path("missing/run.vcd")).thenMessage();
    tester.observation().ExportObservationVcd();
    EXPECT_TRUE(dialogs.messages().last().contains(QStringLiteral("run.vcd")))
        << dialogs.messages().last().toStdString();
    EXPECT_FALSE(QFile::exists(path("missing")));
}
