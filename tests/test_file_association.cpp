#include "files/FileAssociation.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace FileAssociation;

namespace {

QByteArray fileContent(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

// Runs a tool with the environment; its standard output, or "<failed>".
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

TEST(FileAssociation, OpenerCommandPutsOneBackslashBeforeTheProgram) {
    EXPECT_EQ(openerCommand(QStringLiteral("C:\\Tools"), QStringLiteral("Brolmet")),
              QStringLiteral("\"C:\\Tools\\Brolmet.exe\" \"%1\""));
    EXPECT_EQ(openerCommand(QStringLiteral("C:\\"), QStringLiteral("Brolmet")),
              QStringLiteral("\"C:\\Brolmet.exe\" \"%1\""));
    EXPECT_EQ(openerCommand(QStringLiteral("D:\\My Tools\\"), QStringLiteral("other")),
              QStringLiteral("\"D:\\My Tools\\other.exe\" \"%1\""));
}

TEST(FileAssociation, RegistryPlanIsTheThirteenWritesInOrder) {
    using Op = RegistryStep::Operation;
    const QString exts =
        QStringLiteral("Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\FileExts\\.scm");
    const QString openWith = exts + QStringLiteral("\\OpenWithList");
    const QString app = QStringLiteral("Applications\\Brolmet.exe");
    const QList<RegistryStep> expected = {
        {Op::CreateKey, 0x80000001u, exts, {}, {}},
        {Op::SetValue, 0x80000001u, exts, QStringLiteral("Application"),
         QStringLiteral("Brolmet.exe")},
        {Op::CreateKey, 0x80000001u, openWith, {}, {}},
        {Op::SetValue, 0x80000001u, openWith, QStringLiteral("a"), QStringLiteral("Brolmet.exe")},
        {Op::SetValue, 0x80000001u, openWith, QStringLiteral("MRUList"), QStringLiteral("a")},
        {Op::CreateKey, 0x80000000u, app, {}, {}},
        {Op::CreateKey, 0x80000000u, app + QStringLiteral("\\shell"), {}, {}},
        {Op::SetValue, 0x80000000u, app + QStringLiteral("\\shell"),
         QStringLiteral("FriendlyCache"), QStringLiteral("Tamsolvix and Explorer")},
        {Op::CreateKey, 0x80000000u, app + QStringLiteral("\\shell\\open"), {}, {}},
        {Op::CreateKey, 0x80000000u, app + QStringLiteral("\\shell\\open\\command"), {}, {}},
        {Op::SetValue,
         0x80000000u,
         app + QStringLiteral("\\shell\\open\\command"),
         {},
         QStringLiteral("\"C:\\Tools\\other.exe\" \"%1\"")},
        {Op::CreateKey, 0x80000000u, QStringLiteral(".scm"), {}, {}},
        {Op::SetValue,
         0x80000000u,
         QStringLiteral(".scm"),
         {},
         QStringLiteral("Tamsolvix and Explorer")},
    };
    // An executable named other.exe keeps "Brolmet.exe" everywhere but in the command.
    const QList<RegistryStep> plan =
        registryPlan(QStringLiteral("C:\\Tools"), QStringLiteral("other"));
    ASSERT_EQ(plan.size(), expected.size());
    for (qsizetype i = 0; i < plan.size(); ++i)
        EXPECT_EQ(plan[i], expected[i]) << "step " << i + 1 << ": " << plan[i].key.toStdString();
}

TEST(FileAssociation, CommandLineNamesTheFileToLoad) {
    const struct {
        QStringList arguments;
        std::optional<QString> path;
    } cases[] = {
        {{QStringLiteral("--open"), QStringLiteral("/home/a b/\"x\".scm")},
         QStringLiteral("/home/a b/\"x\".scm")},
        {{QStringLiteral("--open=/tmp/y.scm")}, QStringLiteral("/tmp/y.scm")},
        {{QStringLiteral("--open")}, std::nullopt}, // the launcher's entry without a file
        {{QStringLiteral("\"C:\\x.scm\"")}, QStringLiteral("C:\\x.scm")},
        {{QStringLiteral("\"C:\\My"), QStringLiteral("Files\\x.scm\"")},
         QStringLiteral("C:\\My Files\\x.scm")},
        {{QStringLiteral("/tmp/a.scm")}, QStringLiteral("tmp/a.sc")}, // unquoted: loses both ends
        {{QStringLiteral("\"\"")}, QString()},
        {{QStringLiteral("x")}, std::nullopt},
        {{QString()}, std::nullopt},
        {{}, std::nullopt},
    };
    for (const auto& c : cases)
        EXPECT_EQ(commandFilePath(c.arguments), c.path) << c.arguments.join(u'|').toStdString();
}

TEST(FileAssociation, DesktopEntryStartsTheProgramWithTheFile) {
    const QString entry = desktopEntry(QStringLiteral("/opt/my tools/$x\\100%/brolmet"));
    EXPECT_TRUE(entry.startsWith(QStringLiteral("[Desktop Entry]\n")));
    EXPECT_TRUE(entry.contains(
        QStringLiteral("\nExec=\"/opt/my tools/\\\\$x\\\\\\\\100%%/brolmet\" --open %f\n")))
        << entry.toStdString();
    EXPECT_TRUE(entry.contains(QStringLiteral("\nName=Tamsolvix\n")));
    EXPECT_TRUE(entry.contains(QStringLiteral("\nMimeType=application/x-tamsolvix-commands;\n")));
    EXPECT_TRUE(entry.contains(QStringLiteral("\nCategories=Development;Electronics;\n")));
    EXPECT_TRUE(mimePackage().contains(QStringLiteral("<glob pattern=\"*.scm\" weight=\"60\"/>")));

    QProcessEnvironment environment;
    environment.insert(QStringLiteral("HOME"), QStringLiteral("/home/u"));
    EXPECT_EQ(dataHome(environment), QStringLiteral("/home/u/.local/share"));
    environment.insert(QStringLiteral("XDG_DATA_HOME"), QStringLiteral("relative/ignored"));
    EXPECT_EQ(dataHome(environment), QStringLiteral("/home/u/.local/share"));
    environment.insert(QStringLiteral("XDG_DATA_HOME"), QStringLiteral("/data/"));
    EXPECT_EQ(dataHome(environment), QStringLiteral("/data"));
}

TEST(FileAssociation, DesktopAssociationMakesTheEntryTheDefaultOpener) {
    const QString xdgMime = QStandardPaths::findExecutable(QStringLiteral("xdg-mime"));
    if (xdgMime.isEmpty() ||
        QStandardPaths::findExecutable(QStringLiteral("update-mime-database")).isEmpty())
        GTEST_SKIP() << "xdg-mime or update-mime-database is not installed (packages xdg-utils, "
                        "shared-mime-info)";

    QTemporaryDir dir;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char* desktopHint : {"XDG_CURRENT_DESKTOP", "DESKTOP_SESSION", "KDE_FULL_SESSION",
                                    "KDE_SESSION_VERSION", "GNOME_DESKTOP_SESSION_ID"})
        environment.remove(QString::fromLatin1(desktopHint)); // xdg-mime's generic way
    environment.insert(QStringLiteral("HOME"), dir.path());
    environment.insert(QStringLiteral("XDG_DATA_HOME"), dir.filePath(QStringLiteral("share")));
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), dir.filePath(QStringLiteral("config")));
    const QString program = dir.filePath(QStringLiteral("bin/brolmet"));

    const DesktopOutcome first = associateOnDesktop(program, environment);
    EXPECT_TRUE(first.filesWritten);
    EXPECT_TRUE(first.mimeDatabaseUpdated);
    EXPECT_TRUE(first.defaultSet);
    const QString share = dir.filePath(QStringLiteral("share"));
    const QString entryPath = share + QStringLiteral("/applications/tamsolvix-brolmet.desktop");
    EXPECT_EQ(fileContent(entryPath), desktopEntry(program).toUtf8());
    EXPECT_TRUE(fileContent(share + QStringLiteral("/mime/globs2"))
                    .contains("60:application/x-tamsolvix-commands:*.scm"));
    EXPECT_EQ(toolOutput(xdgMime,
                         {QStringLiteral("query"), QStringLiteral("default"),
                          QStringLiteral("application/x-tamsolvix-commands")},
                         environment),
              QStringLiteral("tamsolvix-brolmet.desktop"));
    const QString validator =
        QStandardPaths::findExecutable(QStringLiteral("desktop-file-validate"));
    if (!validator.isEmpty()) {
        EXPECT_EQ(toolOutput(validator, {entryPath}, environment), QString());
    }

    // Associating again leaves the same files and the same default.
    const QByteArray defaults = fileContent(dir.filePath(QStringLiteral("config/mimeapps.list")));
    EXPECT_TRUE(defaults.contains("application/x-tamsolvix-commands=tamsolvix-brolmet.desktop"));
    const DesktopOutcome second = associateOnDesktop(program, environment);
    EXPECT_TRUE(second.filesWritten && second.mimeDatabaseUpdated && second.defaultSet);
    EXPECT_EQ(fileContent(entryPath), desktopEntry(program).toUtf8());
    EXPECT_EQ(fileContent(dir.filePath(QStringLiteral("config/mimeapps.list"))), defaults);
}
