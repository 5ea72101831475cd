// Saving and opening command files through the menu, and the start-up's command file.
#include "actions/Tester.h"
#include "files/CommandFile.h"
#include "model/FrontPanel.h"
#include "sim/SimulatedBoard.h"
#include "support/ScriptedDialogs.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

struct FileFixture : ::testing::Test {
    QTemporaryDir dir;
    FrontPanel panel;
    SimulatedBoard board;
    ScriptedDialogs dialogs;
    Tester tester{panel, board, dialogs};

    void SetUp() override { tester.startUp({}); }
    void TearDown() override {
        EXPECT_TRUE(dialogs.scriptUsedUp()) << "a scripted answer was never asked for";
    }
    QString path(const char* name) const { return dir.filePath(QLatin1String(name)); }
    void write(const QString& file, const QByteArray& bytes) {
        QFile f(file);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(bytes);
    }
    QString panelText(int n) const { return panel.text(FrontPanel::panel(n)); }
};

} // namespace

TEST_F(FileFixture, SaveThenOpenRestoresTheSetUpAndLineFiveNamesTheFile) {
    tester.setup().Mset_micro_Click();
    tester.setup().Mset_start_Click();
    dialogs.thenInput(QStringLiteral("4"));
    tester.setup().Mset_reset_Click();
    dialogs.thenInput(QStringLiteral("250"));
    tester.setup().Mset_timer_Click();
    panel.setText(Ctl::C1, QStringLiteral("x1,0"));
    panel.setText(Ctl::D4, QStringLiteral("Dump2"));
    dialogs.thenInput(QStringLiteral("a note, with a comma"));
    tester.setup().EditNote();
    tester.runs().selectOption(Ctl::Ns1);
    tester.power().TogglePower();

    dialogs.thenSaveFile(path("bench.scm"));
    tester.files().Mfile_save_Click();
    EXPECT_FALSE(tester.powerOn()); // switched off before the dialog
    EXPECT_EQ(panel.text(Ctl::Fo), QStringLiteral("I2C/Microwire Tamsolvix V 3. 0. 0 : bench.scm"));
    ASSERT_TRUE(QFile::rename(path("bench.scm"), path("renamed.scm")));

    FrontPanel fresh;
    ScriptedDialogs freshDialogs;
    Tester other(fresh, board, freshDialogs);
    other.startUp({});
    freshDialogs.thenOpenFile(path("renamed.scm"));
    other.files().Mfile_open_Click();
    EXPECT_EQ(fresh.text(Ctl::Fo), QStringLiteral("I2C/Microwire Tamsolvix V 3. 0. 0 : bench.scm"));
    EXPECT_TRUE(fresh.isChecked(Ctl::Mset_micro));
    EXPECT_TRUE(fresh.isChecked(Ctl::Mset_start));
    EXPECT_TRUE(other.startBitOn());
    EXPECT_EQ(other.resetTension(), 4);
    EXPECT_EQ(other.timerInterval(), 250);
    EXPECT_EQ(fresh.text(FrontPanel::panel(8)), QStringLiteral(" 250mS"));
    EXPECT_EQ(fresh.text(FrontPanel::panel(11)), QStringLiteral("1666.67 uS"));
    EXPECT_EQ(fresh.text(Ctl::C1), QStringLiteral("x1,0"));
    EXPECT_EQ(fresh.text(Ctl::D4), QStringLiteral("Dump2"));
    EXPECT_EQ(other.noteText(), QStringLiteral("a note, with a comma"));
    EXPECT_EQ(fresh.text(Ctl::Megjegyzes), QStringLiteral("Note: a note, with a comma"));
    // Saved with Seq1 selected: line 9 is false and no option is selected after loading.
    for (Ctl option : {Ctl::Noff, Ctl::Ns1, Ctl::Ns2, Ctl::Ns12})
        EXPECT_FALSE(fresh.isChecked(option));
    EXPECT_FALSE(other.timer().isActive());
    EXPECT_EQ(other.files().commandFile(QStringLiteral("bench.scm")),
              tester.files().commandFile(QStringLiteral("bench.scm")));
}

TEST_F(FileFixture, OverwritingAsksFirstAndOtherLetterCasesAreOtherNames) {
    write(path("kept.scm"), "old");
    dialogs.thenSaveFile(path("kept.scm")).thenMessage(Dialogs::Answer::No);
    tester.files().Mfile_save_Click();
    EXPECT_EQ(dialogs.shown.back().text, QStringLiteral("'kept.scm' is exist ! Overwrite ?"));
    EXPECT_EQ(dialogs.shown.back().icon, Dialogs::Icon::Question);
    QFile kept(path("kept.scm"));
    ASSERT_TRUE(kept.open(QIODevice::ReadOnly));
    EXPECT_EQ(kept.readAll(), QByteArray("old"));
    EXPECT_EQ(tester.currentFileTitle(), QStringLiteral("No Title"));

    dialogs.thenOpenFile(path("KEPT.scm")).thenMessage();
    tester.files().Mfile_open_Click();
    EXPECT_EQ(dialogs.messages().back(), QStringLiteral("'KEPT.scm' is NOT exist !"));
    EXPECT_EQ(dialogs.shown.back().icon, Dialogs::Icon::Critical);

    // A named pipe is no file to save into: the drive's message, then the dialog again.
    ASSERT_EQ(mkfifo(QFile::encodeName(path("pipe.scm")).constData(), 0600), 0);
    dialogs.thenSaveFile(path("pipe.scm")).thenMessage().thenSaveFile(std::nullopt);
    tester.files().Mfile_save_Click();
    EXPECT_EQ(dialogs.messages().back(), QStringLiteral("Drive Problem ! No Write in Drive."));

    // Cancel ends both silently, after the power was switched off.
    tester.power().TogglePower();
    dialogs.thenSaveFile(std::nullopt);
    tester.files().Mfile_save_Click();
    EXPECT_FALSE(tester.powerOn());
    tester.power().TogglePower();
    dialogs.thenOpenFile(std::nullopt);
    tester.files().Mfile_open_Click();
    EXPECT_FALSE(tester.powerOn());
}

TEST_F(FileFixture, ATextWithADoubleQuoteIsRefusedAndNothingIsWritten) {
    panel.setText(Ctl::C2, QStringLiteral("say \"hi\""));
    dialogs.thenSaveFile(path("quote.scm")).thenMessage();
    tester.files().Mfile_save_Click();
    EXPECT_TRUE(dialogs.messages().back().contains(QStringLiteral("C2")));
    EXPECT_FALSE(QFile::exists(path("quote.scm")));
    EXPECT_EQ(tester.currentFileTitle(), QStringLiteral("No Title"));
}

TEST_F(FileFixture, BadFilesStopAtTheirFirstBadLineWithTheirMessages) {
    CommandFile good;
    good.title = QStringLiteral("good.scm");
    good.port = 2;
    QByteArray bytes = good.bytes();

    write(path("header.scm"), QByteArray(bytes).replace("V2", "V3"));
    dialogs.thenOpenFile(path("header.scm")).thenMessage();
    tester.files().Mfile_open_Click();
    EXPECT_EQ(dialogs.messages().back(), QStringLiteral("Not compatible file format version !"));
    EXPECT_EQ(tester.currentFileTitle(), QStringLiteral("header.scm")); // and nothing else
    EXPECT_EQ(panel.text(Ctl::Fo), QStringLiteral("I2C/Microwire Tamsolvix V 3. 0. 0 : No Title"));

    // Port 300 (error 6) after the header: the dialog comes again, then Cancel.
    write(path("port.scm"), QByteArray(bytes).replace("\r\n2\r\n", "\r\n300\r\n"));
    dialogs.thenOpenFile(path("port.scm")).thenMessage().thenOpenFile(std::nullopt);
    tester.files().Mfile_open_Click();
    EXPECT_EQ(dialogs.messages().back(), QStringLiteral("Eror in File funktions ! Error Code: 6"));

    // A short file: the lines before the missing one stay applied, the title is not updated.
    write(path("short.scm"), bytes.left(bytes.indexOf("#TRUE#")));
    dialogs.thenMessage();
    tester.files().loadAtStartUp(path("short.scm")); // the start-up variant names the path
    EXPECT_EQ(dialogs.messages().back(),
              QStringLiteral("Eror in File funktions ! Error Code: 62 ") + path("short.scm"));
    EXPECT_EQ(panelText(1), QStringLiteral("Port: 2"));
    EXPECT_EQ(panel.text(Ctl::Fo), QStringLiteral("I2C/Microwire Tamsolvix V 3. 0. 0 : No Title"));

    // What is not a file is not opened (a pipe would wait for a writer): the same reason at
    // start-up and from the menu.
    const QString pipe = path("pipe.scm");
    ASSERT_EQ(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    dialogs.thenMessage().thenMessage().thenMessage().thenOpenFile(pipe).thenMessage();
    tester.files().loadAtStartUp(path("missing.scm"));
    tester.files().loadAtStartUp(dir.path());
    tester.files().loadAtStartUp(pipe);
    tester.files().Mfile_open_Click();
    std::vector<ScriptedDialogs::Shown> boxes;
    for (const auto& shown : dialogs.shown)
        if (shown.kind == ScriptedDialogs::Kind::Message)
            boxes.push_back(shown);
    const QString pipeReason = QStringLiteral("'%1' is a named pipe, not a file.").arg(pipe);
    const QStringList expected[] = {
        {QStringLiteral("File Not Found !"), QString()},
        {QStringLiteral("Drive Problem !"),
         QStringLiteral("'%1' is a folder, not a file.").arg(dir.path())},
        {QStringLiteral("Drive Problem !"), pipeReason},
        {QStringLiteral("'pipe.scm' is NOT exist !"), pipeReason}};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(boxes[boxes.size() - 4 + i].text, expected[i][0]);
        EXPECT_EQ(boxes[boxes.size() - 4 + i].detail, expected[i][1]);
    }
}

TEST_F(FileFixture, AFileInI2cModeTakesTheProgramOutOfMicrowire) {
    CommandFile i2c;
    write(path("i2c.scm"), i2c.bytes());
    tester.setup().Mset_micro_Click();
    dialogs.thenOpenFile(path("i2c.scm"));
    tester.files().Mfile_open_Click();
    EXPECT_FALSE(panel.isChecked(Ctl::Mset_micro));
    EXPECT_TRUE(panel.isEnabled(Ctl::Mset_Device));
    EXPECT_EQ(panelText(9), QStringLiteral("I2C"));
    EXPECT_EQ(panelText(10), QStringLiteral("S:OFF"));
    EXPECT_FALSE(panel.isEnabled(FrontPanel::panel(10)));
    EXPECT_TRUE(panel.isChecked(Ctl::Noff));
}
