// Saving and opening command files through the menu, the start-up's command file, and the
// file association.
#include "files/CommandFile.h"
#include "files/FileAssociation.h"
#include "support/Rig.h"

#include <QProcess>
#include <QStandardPaths>

#include <sys/stat.h>

using namespace FileAssociation;

namespace {

const QString kNoTitle = u"I2C/Microwire Tamsolvix V 3. 0. 0 : No Title"_s;

// A tool's standard output with the environment, or "<failed>".
QString toolOutput(const QString& program, const QStringList& arguments,
                   const QProcessEnvironment& environment) {
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    if (!process.waitForFinished(30000) || process.exitCode() != 0)
        return u"<failed>"_s;
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

} // namespace

TEST_F(RigTest, SaveThenOpenRestoresTheSetUpAndLineFiveNamesTheFile) {
    setup().Mset_micro_Click();
    setup().Mset_start_Click();
    dialogs.thenInput(u"4"_s).thenInput(u"250"_s);
    setup().Mset_reset_Click();
    setup().Mset_timer_Click();
    panel.setText(C1, u"x1,0"_s);
    panel.setText(D4, u"Dump2"_s);
    dialogs.thenInput(u"a note, with a comma"_s);
    setup().EditNote();
    runs().selectOption(Ns1);
    power().TogglePower();
    dialogs.thenSaveFile(path("bench.scm"));
    files().Mfile_save_Click();
    EXPECT_EQ(state(), u"OFF closed analysing"_s); // switched off before the dialog
    EXPECT_EQ(panel.text(Fo), u"I2C/Microwire Tamsolvix V 3. 0. 0 : bench.scm"_s);
    ASSERT_TRUE(QFile::rename(path("bench.scm"), path("renamed.scm")));
    const CommandFile saved = files().commandFile(u"bench.scm"_s);

    start();
    dialogs.thenOpenFile(path("renamed.scm"));
    EXPECT_TRUE(files().Mfile_open_Click());
    EXPECT_EQ(texts({Fo, Panel8, Panel11, C1, D4, Megjegyzes}),
              u"I2C/Microwire Tamsolvix V 3. 0. 0 : bench.scm| 250mS|1666.67 uS|x1,0|Dump2|"
              "Note: a note, with a comma"_s);
    EXPECT_TRUE(panel.isChecked(Mset_micro) && panel.isChecked(Mset_start) && tester->startBitOn());
    EXPECT_EQ(std::pair(tester->resetTension(), tester->timerInterval()), std::pair(4, 250));
    // Saved with Seq1 selected: line 9 is false and no option is selected after loading.
    EXPECT_EQ(timer(), u"none stopped"_s);
    EXPECT_EQ(files().commandFile(u"bench.scm"_s), saved);

    // A file in I2C mode takes the program out of Microwire.
    ASSERT_TRUE(writeFile(path("i2c.scm"), CommandFile().bytes()));
    dialogs.thenOpenFile(path("i2c.scm"));
    files().Mfile_open_Click();
    EXPECT_FALSE(panel.isChecked(Mset_micro) || panel.isEnabled(Panel10));
    EXPECT_TRUE(panel.isEnabled(Mset_Device) && timer() == u"Off stopped");
    EXPECT_EQ(texts({Panel9, Panel10}), u"I2C|S:OFF"_s);
}

TEST_F(RigTest, OverwritingAsksFirstAndOtherLetterCasesAreOtherNames) {
    ASSERT_TRUE(writeFile(path("kept.scm"), "old"));
    dialogs.thenSaveFile(path("kept.scm")).thenMessage(Dialogs::Answer::No);
    files().Mfile_save_Click();
    EXPECT_EQ(dialogs.shown.back().icon, Dialogs::Icon::Question);
    EXPECT_EQ(contents(path("kept.scm")), QByteArray("old"));
    dialogs.thenOpenFile(path("KEPT.scm")).thenMessage();
    files().Mfile_open_Click();
    EXPECT_EQ(dialogs.shown.back().icon, Dialogs::Icon::Critical);
    // A double quote in a text: refused, and nothing is written. A named pipe is no file to
    // save into: the drive's message, then the dialog again.
    panel.setText(C2, u"say \"hi\""_s);
    dialogs.thenSaveFile(path("quote.scm")).thenMessage();
    files().Mfile_save_Click();
    EXPECT_FALSE(QFile::exists(path("quote.scm")));
    EXPECT_EQ(tester->currentFileTitle(), u"No Title"_s);
    panel.setText(C2, u"Stop"_s);
    ASSERT_EQ(mkfifo(QFile::encodeName(path("pipe.scm")).constData(), 0600), 0);
    dialogs.thenSaveFile(path("pipe.scm")).thenMessage().thenSaveFile(std::nullopt);
    files().Mfile_save_Click();
    EXPECT_EQ(dialogs.messages(),
              QStringList({"'kept.scm' is exist ! Overwrite ?", "'KEPT.scm' is NOT exist !",
                           "Cannot save the commands: cell C2 contains a double quote (\"), which "
                           "a command file cannot hold. Change it and save again.",
                           "Drive Problem ! No Write in Drive."}));
    // Cancel ends both silently, after the power was switched off.
    for (const bool save : {true, false}) {
        power().TogglePower();
        if (save)
            dialogs.thenSaveFile(std::nullopt), files().Mfile_save_Click();
        else
            dialogs.thenOpenFile(std::nullopt), files().Mfile_open_Click();
        EXPECT_FALSE(tester->powerOn());
    }
}

TEST_F(RigTest, BadFilesStopAtTheirFirstBadLineWithTheirMessages) {
    CommandFile good;
    good.port = 2;
    const QByteArray bytes = good.bytes();
    ASSERT_TRUE(writeFile(path("header.scm"), QByteArray(bytes).replace("V2", "V3")));
    dialogs.thenOpenFile(path("header.scm")).thenMessage();
    files().Mfile_open_Click();
    EXPECT_EQ(tester->currentFileTitle(), u"header.scm"_s); // and nothing else
    // Port 300 (error 6) after the header: the dialog comes again, then Cancel. A short file:
    // the lines before the missing one stay applied, the title is not updated.
    ASSERT_TRUE(writeFile(path("port.scm"), QByteArray(bytes).replace("\r\n2\r\n", "\r\n300\r\n")));
    dialogs.thenOpenFile(path("port.scm")).thenMessage().thenOpenFile(std::nullopt);
    files().Mfile_open_Click();
    ASSERT_TRUE(writeFile(path("short.scm"), bytes.left(bytes.indexOf("#TRUE#"))));
    dialogs.thenMessage();
    files().loadAtStartUp(path("short.scm")); // the start-up variant names the path
    EXPECT_EQ(dialogs.messages(),
              QStringList({"Not compatible file format version !",
                           "Eror in File funktions ! Error Code: 6",
                           "Eror in File funktions ! Error Code: 62 " + path("short.scm")}));
    EXPECT_EQ(texts({Panel1, Fo}), "Port: 2|" + kNoTitle);

    // What is not a file is not opened (a pipe would wait for a writer): the same reason at
    // start-up and from the menu.
    const QString pipe = path("pipe.scm");
    ASSERT_EQ(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    dialogs.shown.clear();
    dialogs.thenMessage().thenMessage().thenMessage().thenOpenFile(pipe).thenMessage();
    files().loadAtStartUp(path("missing.scm"));
    files().loadAtStartUp(dir.path());
    files().loadAtStartUp(pipe);
    files().Mfile_open_Click();
    QStringList boxes;
    for (const auto& shown : dialogs.shown)
        if (shown.kind == ScriptedDialogs::Kind::Message)
            boxes << shown.text + '|' + shown.detail;
    const QString pipeReason = u"'%1' is a named pipe, not a file."_s.arg(pipe);
    EXPECT_EQ(boxes, QStringList({"File Not Found !|",
                                  "Drive Problem !|'" + dir.path() + "' is a folder, not a file.",
                                  "Drive Problem !|" + pipeReason,
                                  "'pipe.scm' is NOT exist !|" + pipeReason}));
}

TEST(FileAssociation, TheOpenerIsRegisteredForTheDesktopAndTheCommandLineNamesTheFile) {
    EXPECT_EQ(openerCommand(u"C:\\"_s, u"Brolmet"_s),
              u"\"C:\\Brolmet.exe\" \"%1\""_s); // one backslash before the program
    // The 13 registry writes: an executable named other.exe keeps "Brolmet.exe" in the keys and
    // values, and only the opener command names it.
    const QList<RegistryStep> plan = registryPlan(u"D:\\My Tools\\"_s, u"other"_s);
    ASSERT_EQ(plan.size(), 13);
    EXPECT_EQ(QStringList({plan[1].data, plan[10].key, plan[10].data, plan[12].data}),
              QStringList({"Brolmet.exe", "Applications\\Brolmet.exe\\shell\\open\\command",
                           "\"D:\\My Tools\\other.exe\" \"%1\"", "Tamsolvix and Explorer"}));
    // clang-format off
    const std::pair<QStringList, std::optional<QString>> lines[] = {
        {{"--open", "/home/a b/\"x\".scm"}, "/home/a b/\"x\".scm"},
        {{"--open=/tmp/y.scm"}, "/tmp/y.scm"}, {{"--open"}, std::nullopt}, // the entry alone
        {{"\"C:\\x.scm\""}, "C:\\x.scm"}, {{"\"C:\\My", "Files\\x.scm\""}, "C:\\My Files\\x.scm"},
        {{"/tmp/a.scm"}, "tmp/a.sc"}, // unquoted: loses both ends
        {{"\"\""}, QString()}, {{"x"}, std::nullopt}, {{QString()}, std::nullopt},
        {{}, std::nullopt}};
    // clang-format on
    for (const auto& [arguments, path] : lines)
        EXPECT_EQ(commandFilePath(arguments), path) << arguments.join(u'|').toStdString();

    // On a freedesktop system the desktop entry becomes the default opener.
    const QString entry = desktopEntry(u"/opt/my tools/$x\\100%/brolmet"_s);
    EXPECT_TRUE(entry.startsWith(u"[Desktop Entry]\n"_s));
    for (const char* line : {"\nExec=\"/opt/my tools/\\\\$x\\\\\\\\100%%/brolmet\" --open %f\n",
                             "\nName=Tamsolvix\n", "\nMimeType=application/x-tamsolvix-commands;\n",
                             "\nCategories=Development;Electronics;\n"})
        EXPECT_TRUE(entry.contains(QLatin1String(line))) << line;
    EXPECT_TRUE(mimePackage().contains(u"<glob pattern=\"*.scm\" weight=\"60\"/>"_s));
    QProcessEnvironment environment;
    environment.insert(u"HOME"_s, u"/home/u"_s);
    for (const auto& [dataHomeSet, used] : {std::pair{"", "/home/u/.local/share"},
                                            {"relative/ignored", "/home/u/.local/share"},
                                            {"/data/", "/data"}}) {
        if (*dataHomeSet)
            environment.insert(u"XDG_DATA_HOME"_s, QLatin1String(dataHomeSet));
        EXPECT_EQ(dataHome(environment), QLatin1String(used));
    }

    const QString xdgMime = QStandardPaths::findExecutable(u"xdg-mime"_s);
    if (xdgMime.isEmpty() || QStandardPaths::findExecutable(u"update-mime-database"_s).isEmpty())
        GTEST_SKIP() << "xdg-mime or update-mime-database is missing (xdg-utils, shared-mime-info)";
    Scratch home;
    environment = {}; // no desktop named: xdg-mime's generic way
    environment.insert(u"PATH"_s, qEnvironmentVariable("PATH"));
    environment.insert(u"HOME"_s, home.dir.path());
    environment.insert(u"XDG_DATA_HOME"_s, home.path("share"));
    environment.insert(u"XDG_CONFIG_HOME"_s, home.path("config"));
    const QString program = home.path("bin/brolmet");
    const QByteArray defaults = "application/x-tamsolvix-commands=tamsolvix-brolmet.desktop";
    // The installed entry is the same text, and desktop-file-validate checks it (CMake test
    // desktop_entry.validates). Associating again leaves the same files.
    for (int round = 0; round < 2; ++round) {
        const DesktopOutcome outcome = associateOnDesktop(program, environment);
        EXPECT_TRUE(outcome.filesWritten && outcome.mimeDatabaseUpdated && outcome.defaultSet);
        EXPECT_EQ(contents(home.path("share/applications/tamsolvix-brolmet.desktop")),
                  desktopEntry(program).toUtf8());
        EXPECT_TRUE(contents(home.path("share/mime/globs2"))
                        .contains("60:application/x-tamsolvix-commands:*.scm"));
        EXPECT_EQ(toolOutput(xdgMime, {"query", "default", kMimeType}, environment),
                  kDesktopFileName);
        EXPECT_EQ(contents(home.path("config/mimeapps.list")).count(defaults), 1);
    }
}
