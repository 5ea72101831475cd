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

const QString kNoTitle = QStringLiteral("I2C/Microwire Tamsolvix V 3. 0. 0 : No Title");

// A tool's standard output with the environment, or "<failed>".
QString toolOutput(const QString& program, const QStringList& arguments,
                   const QProcessEnvironment& environment) {
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    if (!process.waitForFinished(30000) || process.exitCode() != 0)
        return QStringLiteral("<failed>");
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

} // namespace

TEST_F(RigTest, SaveThenOpenRestoresTheSetUpAndLineFiveNamesTheFile) {
    setup().Mset_micro_Click();
    setup().Mset_start_Click();
    dialogs.thenInput(QStringLiteral("4")).thenInput(QStringLiteral("250"));
    setup().Mset_reset_Click();
    setup().Mset_timer_Click();
    panel.setText(Ctl::C1, QStringLiteral("x1,0"));
    panel.setText(Ctl::D4, QStringLiteral("Dump2"));
    dialogs.thenInput(QStringLiteral("a note, with a comma"));
    setup().EditNote();
    runs().selectOption(Ctl::Ns1);
    power().TogglePower();
    dialogs.thenSaveFile(path("bench.scm"));
    files().Mfile_save_Click();
    EXPECT_FALSE(tester->powerOn()); // switched off before the dialog
    EXPECT_EQ(panel.text(Ctl::Fo), QStringLiteral("I2C/Microwire Tamsolvix V 3. 0. 0 : bench.scm"));
    ASSERT_TRUE(QFile::rename(path("bench.scm"), path("renamed.scm")));
    const CommandFile saved = files().commandFile(QStringLiteral("bench.scm"));

    start();
    dialogs.thenOpenFile(path("renamed.scm"));
    EXPECT_TRUE(files().Mfile_open_Click());
    EXPECT_EQ(panel.text(Ctl::Fo), QStringLiteral("I2C/Microwire Tamsolvix V 3. 0. 0 : bench.scm"));
    EXPECT_TRUE(panel.isChecked(Ctl::Mset_micro) && panel.isChecked(Ctl::Mset_start));
    EXPECT_TRUE(tester->startBitOn());
    EXPECT_EQ(std::pair(tester->resetTension(), tester->timerInterval()), std::pair(4, 250));
    EXPECT_EQ(QStringList({bar(8), bar(11), cell(1, 1), cell(2, 4), panel.text(Ctl::Megjegyzes)}),
              QStringList({" 250mS", "1666.67 uS", "x1,0", "Dump2", "Note: a note, with a comma"}));
    EXPECT_EQ(tester->noteText(), QStringLiteral("a note, with a comma"));
    // Saved with Seq1 selected: line 9 is false and no option is selected after loading.
    for (Ctl option : {Ctl::Noff, Ctl::Ns1, Ctl::Ns2, Ctl::Ns12})
        EXPECT_FALSE(panel.isChecked(option));
    EXPECT_FALSE(tester->timer().isActive());
    EXPECT_EQ(files().commandFile(QStringLiteral("bench.scm")), saved);

    // A file in I2C mode takes the program out of Microwire.
    ASSERT_TRUE(writeFile(path("i2c.scm"), CommandFile().bytes()));
    dialogs.thenOpenFile(path("i2c.scm"));
    files().Mfile_open_Click();
    EXPECT_FALSE(panel.isChecked(Ctl::Mset_micro) || panel.isEnabled(Ctl::Panel10));
    EXPECT_TRUE(panel.isEnabled(Ctl::Mset_Device) && panel.isChecked(Ctl::Noff));
    EXPECT_EQ(QStringList({bar(9), bar(10)}), QStringList({"I2C", "S:OFF"}));
}

TEST_F(RigTest, OverwritingAsksFirstAndOtherLetterCasesAreOtherNames) {
    ASSERT_TRUE(writeFile(path("kept.scm"), "old"));
    dialogs.thenSaveFile(path("kept.scm")).thenMessage(Dialogs::Answer::No);
    files().Mfile_save_Click();
    EXPECT_EQ(dialogs.shown.back().text, QStringLiteral("'kept.scm' is exist ! Overwrite ?"));
    EXPECT_EQ(dialogs.shown.back().icon, Dialogs::Icon::Question);
    EXPECT_EQ(contents(path("kept.scm")), QByteArray("old"));
    EXPECT_EQ(tester->currentFileTitle(), QStringLiteral("No Title"));
    dialogs.thenOpenFile(path("KEPT.scm")).thenMessage();
    files().Mfile_open_Click();
    EXPECT_EQ(dialogs.messages().back(), QStringLiteral("'KEPT.scm' is NOT exist !"));
    EXPECT_EQ(dialogs.shown.back().icon, Dialogs::Icon::Critical);

    // A double quote in a text: refused, and nothing is written.
    panel.setText(Ctl::C2, QStringLiteral("say \"hi\""));
    dialogs.thenSaveFile(path("quote.scm")).thenMessage();
    files().Mfile_save_Click();
    EXPECT_TRUE(dialogs.messages().back().contains(QStringLiteral("C2")));
    EXPECT_FALSE(QFile::exists(path("quote.scm")));
    EXPECT_EQ(tester->currentFileTitle(), QStringLiteral("No Title"));
    panel.setText(Ctl::C2, QStringLiteral("Stop"));
    // A named pipe is no file to save into: the drive's message, then the dialog again.
    ASSERT_EQ(mkfifo(QFile::encodeName(path("pipe.scm")).constData(), 0600), 0);
    dialogs.thenSaveFile(path("pipe.scm")).thenMessage().thenSaveFile(std::nullopt);
    files().Mfile_save_Click();
    EXPECT_EQ(dialogs.messages().back(), QStringLiteral("Drive Problem ! No Write in Drive."));
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
    EXPECT_EQ(dialogs.messages().back(), QStringLiteral("Not compatible file format version !"));
    EXPECT_EQ(tester->currentFileTitle(), QStringLiteral("header.scm")); // and nothing else
    EXPECT_EQ(panel.text(Ctl::Fo), kNoTitle);
    // Port 300 (error 6) after the header: the dialog comes again, then Cancel.
    ASSERT_TRUE(writeFile(path("port.scm"), QByteArray(bytes).replace("\r\n2\r\n", "\r\n300\r\n")));
    dialogs.thenOpenFile(path("port.scm")).thenMessage().thenOpenFile(std::nullopt);
    files().Mfile_open_Click();
    EXPECT_EQ(dialogs.messages().back(), QStringLiteral("Eror in File funktions ! Error Code: 6"));
    // A short file: the lines before the missing one stay applied, the title is not updated.
    ASSERT_TRUE(writeFile(path("short.scm"), bytes.left(bytes.indexOf("#TRUE#"))));
    dialogs.thenMessage();
    files().loadAtStartUp(path("short.scm")); // the start-up variant names the path
    EXPECT_EQ(dialogs.messages().back(),
              QStringLiteral("Eror in File funktions ! Error Code: 62 ") + path("short.scm"));
    EXPECT_EQ(bar(1), QStringLiteral("Port: 2"));
    EXPECT_EQ(panel.text(Ctl::Fo), kNoTitle);

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
    const QString pipeReason = QStringLiteral("'%1' is a named pipe, not a file.").arg(pipe);
    EXPECT_EQ(boxes, QStringList({"File Not Found !|",
                                  "Drive Problem !|'" + dir.path() + "' is a folder, not a file.",
                                  "Drive Problem !|" + pipeReason,
                                  "'pipe.scm' is NOT exist !|" + pipeReason}));
}

TEST(FileAssociation, RegistryPlanOpenerAndCommandLine) {
    EXPECT_EQ(openerCommand(QStringLiteral("C:\\"), QStringLiteral("Brolmet")),
              QStringLiteral("\"C:\\Brolmet.exe\" \"%1\"")); // one backslash before the program
    EXPECT_EQ(openerCommand(QStringLiteral("D:\\My Tools\\"), QStringLiteral("other")),
              QStringLiteral("\"D:\\My Tools\\other.exe\" \"%1\""));
    // An executable named other.exe keeps "Brolmet.exe" everywhere but in the command.
    QStringList plan;
    for (const RegistryStep& s : registryPlan(QStringLiteral("C:\\Tools"), QStringLiteral("other")))
        plan << (s.root == kCurrentUser ? "HKCU\\" : "HKCR\\") + s.key +
                    (s.operation == RegistryStep::Operation::SetValue
                         ? " [" + s.valueName + "] = " + s.data
                         : QString());
    const QString exts =
        "HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\FileExts\\.scm";
    const QString app = "HKCR\\Applications\\Brolmet.exe\\shell";
    EXPECT_EQ(plan,
              QStringList({exts, exts + " [Application] = Brolmet.exe", exts + "\\OpenWithList",
                           exts + "\\OpenWithList [a] = Brolmet.exe",
                           exts + "\\OpenWithList [MRUList] = a", "HKCR\\Applications\\Brolmet.exe",
                           app, app + " [FriendlyCache] = Tamsolvix and Explorer", app + "\\open",
                           app + "\\open\\command",
                           app + "\\open\\command [] = \"C:\\Tools\\other.exe\" \"%1\"",
                           "HKCR\\.scm", "HKCR\\.scm [] = Tamsolvix and Explorer"}));

    const std::pair<QStringList, std::optional<QString>> lines[] = {
        {{"--open", "/home/a b/\"x\".scm"}, "/home/a b/\"x\".scm"},
        {{"--open=/tmp/y.scm"}, "/tmp/y.scm"},
        {{"--open"}, std::nullopt}, // the launcher's entry without a file
        {{"\"C:\\x.scm\""}, "C:\\x.scm"},
        {{"\"C:\\My", "Files\\x.scm\""}, "C:\\My Files\\x.scm"},
        {{"/tmp/a.scm"}, "tmp/a.sc"}, // unquoted: loses both ends
        {{"\"\""}, QString()},
        {{"x"}, std::nullopt},
        {{QString()}, std::nullopt},
        {{}, std::nullopt}};
    for (const auto& [arguments, path] : lines)
        EXPECT_EQ(commandFilePath(arguments), path) << arguments.join(u'|').toStdString();
}

TEST(FileAssociation, DesktopAssociationMakesTheEntryTheDefaultOpener) {
    const QString entry = desktopEntry(QStringLiteral("/opt/my tools/$x\\100%/brolmet"));
    EXPECT_TRUE(entry.startsWith(QStringLiteral("[Desktop Entry]\n")));
    for (const char* line : {"\nExec=\"/opt/my tools/\\\\$x\\\\\\\\100%%/brolmet\" --open %f\n",
                             "\nName=Tamsolvix\n", "\nMimeType=application/x-tamsolvix-commands;\n",
                             "\nCategories=Development;Electronics;\n"})
        EXPECT_TRUE(entry.contains(QLatin1String(line))) << line;
    EXPECT_TRUE(mimePackage().contains(QStringLiteral("<glob pattern=\"*.scm\" weight=\"60\"/>")));
    QProcessEnvironment home;
    home.insert(QStringLiteral("HOME"), QStringLiteral("/home/u"));
    EXPECT_EQ(dataHome(home), QStringLiteral("/home/u/.local/share"));
    home.insert(QStringLiteral("XDG_DATA_HOME"), QStringLiteral("relative/ignored"));
    EXPECT_EQ(dataHome(home), QStringLiteral("/home/u/.local/share"));
    home.insert(QStringLiteral("XDG_DATA_HOME"), QStringLiteral("/data/"));
    EXPECT_EQ(dataHome(home), QStringLiteral("/data"));

    const QString xdgMime = QStandardPaths::findExecutable(QStringLiteral("xdg-mime"));
    if (xdgMime.isEmpty() ||
        QStandardPaths::findExecutable(QStringLiteral("update-mime-database")).isEmpty())
        GTEST_SKIP() << "xdg-mime or update-mime-database is missing (xdg-utils, shared-mime-info)";
    QTemporaryDir dir;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char* desktopHint : {"XDG_CURRENT_DESKTOP", "DESKTOP_SESSION", "KDE_FULL_SESSION",
                                    "KDE_SESSION_VERSION", "GNOME_DESKTOP_SESSION_ID"})
        environment.remove(QString::fromLatin1(desktopHint)); // xdg-mime's generic way
    environment.insert(QStringLiteral("HOME"), dir.path());
    environment.insert(QStringLiteral("XDG_DATA_HOME"), dir.filePath(QStringLiteral("share")));
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), dir.filePath(QStringLiteral("config")));
    const QString program = dir.filePath(QStringLiteral("bin/brolmet"));
    const QString entryPath =
        dir.filePath(QStringLiteral("share/applications/") + kDesktopFileName);
    const QString defaultsPath = dir.filePath(QStringLiteral("config/mimeapps.list"));
    QByteArray defaults;
    for (int round = 0; round < 2; ++round) { // associating again leaves the same files
        const DesktopOutcome outcome = associateOnDesktop(program, environment);
        EXPECT_TRUE(outcome.filesWritten && outcome.mimeDatabaseUpdated && outcome.defaultSet);
        EXPECT_EQ(contents(entryPath), desktopEntry(program).toUtf8());
        EXPECT_TRUE(contents(dir.filePath(QStringLiteral("share/mime/globs2")))
                        .contains("60:application/x-tamsolvix-commands:*.scm"));
        EXPECT_EQ(toolOutput(xdgMime, {"query", "default", kMimeType}, environment),
                  kDesktopFileName);
        if (round == 0)
            defaults = contents(defaultsPath);
        EXPECT_EQ(contents(defaultsPath), defaults);
    }
    EXPECT_TRUE(defaults.contains("application/x-tamsolvix-commands=tamsolvix-brolmet.desktop"));
    const QString validator =
        QStandardPaths::findExecutable(QStringLiteral("desktop-file-validate"));
    EXPECT_EQ(validator.isEmpty() ? QString() : toolOutput(validator, {entryPath}, environment),
              QString());
}
