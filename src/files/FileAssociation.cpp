#include "files/FileAssociation.h"

#include "base/SafeSave.h"
#include "files/CommandFile.h"
#include "files/ProgramIcons.h"
#include "model/FileTexts.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

#ifdef Q_OS_WIN
#include <windows.h>
#endif

namespace FileAssociation {

namespace {

constexpr int kToolTimeoutMs = 30000;

// path as one argument of a desktop entry's Exec key: quoted, with the characters special
// inside quotes escaped, "%" doubled, and then the escapes of every string value applied.
QString execArgument(const QString& path) {
    QString quoted(u'"');
    for (const QChar c : path) {
        if (c == u'"' || c == u'`' || c == u'$' || c == u'\\')
            quoted += u'\\';
        quoted += c == u'%' ? QStringLiteral("%%") : QString(c);
    }
    quoted += u'"';
    QString escaped;
    for (const QChar c : quoted) {
        if (c == u'\\')
            escaped += QStringLiteral("\\\\");
        else if (c == u'\n')
            escaped += QStringLiteral("\\n");
        else if (c == u'\r')
            escaped += QStringLiteral("\\r");
        else if (c == u'\t')
            escaped += QStringLiteral("\\t");
        else
            escaped += c;
    }
    return escaped;
}

bool writeFile(const QString& path, const QByteArray& content) {
    return QDir().mkpath(QFileInfo(path).absolutePath()) && saveWhole(path, content) == 0;
}

// Runs a desktop tool found on the environment's PATH; false when it is missing, fails or
// takes too long.
bool runTool(const QString& name, const QStringList& arguments,
             const QProcessEnvironment& environment) {
    const QString searchPath = environment.value(QStringLiteral("PATH"));
    const QString program =
        searchPath.isEmpty()
            ? QStandardPaths::findExecutable(name)
            : QStandardPaths::findExecutable(name, searchPath.split(u':', Qt::SkipEmptyParts));
    if (program.isEmpty())
        return false;
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    process.start(program, arguments);
    if (!process.waitForFinished(kToolTimeoutMs)) {
        process.kill();
        process.waitForFinished(1000);
        return false;
    }
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

} // namespace

QString openerCommand(const QString& folder, const QString& executableName) {
    const QString separator = folder.endsWith(u'\\') ? QString() : QStringLiteral("\\");
    return u'"' + folder + separator + executableName + QStringLiteral(".exe\" \"%1\"");
}

QList<RegistryStep> registryPlan(const QString& folder, const QString& executableName) {
    using Op = RegistryStep::Operation;
    const QString fileExts =
        QStringLiteral("Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\FileExts\\.scm");
    const QString openWith = fileExts + QStringLiteral("\\OpenWithList");
    const QString exe = QStringLiteral("Brolmet.exe");
    const QString application = QStringLiteral("Applications\\") + exe;
    const QString shell = application + QStringLiteral("\\shell");
    const QString open = shell + QStringLiteral("\\open");
    const QString command = open + QStringLiteral("\\command");
    const QString scm = QStringLiteral(".scm");
    return {
        {Op::CreateKey, kCurrentUser, fileExts, {}, {}},
        {Op::SetValue, kCurrentUser, fileExts, QStringLiteral("Application"), exe},
        {Op::CreateKey, kCurrentUser, openWith, {}, {}},
        {Op::SetValue, kCurrentUser, openWith, QStringLiteral("a"), exe},
        {Op::SetValue, kCurrentUser, openWith, QStringLiteral("MRUList"), QStringLiteral("a")},
        {Op::CreateKey, kClassesRoot, application, {}, {}},
        {Op::CreateKey, kClassesRoot, shell, {}, {}},
        {Op::SetValue, kClassesRoot, shell, QStringLiteral("FriendlyCache"),
         FileTexts::kProductName},
        {Op::CreateKey, kClassesRoot, open, {}, {}},
        {Op::CreateKey, kClassesRoot, command, {}, {}},
        {Op::SetValue, kClassesRoot, command, {}, openerCommand(folder, executableName)},
        {Op::CreateKey, kClassesRoot, scm, {}, {}},
        {Op::SetValue, kClassesRoot, scm, {}, FileTexts::kProductName},
    };
}

#ifdef Q_OS_WIN
void writeRegistry(const QList<RegistryStep>& plan) {
    for (const RegistryStep& step : plan) {
        const HKEY root = step.root == kClassesRoot ? HKEY_CLASSES_ROOT : HKEY_CURRENT_USER;
        const QByteArray key = step.key.toLocal8Bit(); // the system's ANSI code page
        HKEY handle = nullptr;
        if (step.operation == RegistryStep::Operation::CreateKey) {
            DWORD disposition = 0;
            if (RegCreateKeyExA(root, key.constData(), 0, nullptr, REG_OPTION_NON_VOLATILE, kAccess,
                                nullptr, &handle, &disposition) == ERROR_SUCCESS)
                RegCloseKey(handle);
        } else if (RegOpenKeyExA(root, key.constData(), 0, kAccess, &handle) == ERROR_SUCCESS) {
            const QByteArray name = step.valueName.toLocal8Bit();
            const QByteArray data = step.data.toLocal8Bit();
            RegSetValueExA(handle, name.constData(), 0, REG_SZ,
                           reinterpret_cast<const BYTE*>(data.constData()),
                           static_cast<DWORD>(data.size() + 1)); // with the closing zero
            RegCloseKey(handle);
        }
    }
}
#else
void writeRegistry(const QList<RegistryStep>&) {}
#endif

QString dataHome(const QProcessEnvironment& environment) {
    const QString configured = environment.value(QStringLiteral("XDG_DATA_HOME"));
    if (!configured.isEmpty() && QDir::isAbsolutePath(configured))
        return QDir::cleanPath(configured);
    const QString home = environment.value(QStringLiteral("HOME"), QDir::homePath());
    return QDir::cleanPath(home + QStringLiteral("/.local/share"));
}

QString desktopEntry(const QString& executablePath) {
    return QStringLiteral("[Desktop Entry]\n"
                          "Type=Application\n"
                          "Name=Tamsolvix\n"
                          "GenericName=I2C and Microwire tester\n"
                          "Comment=%1\n"
                          "Exec=%2 %3 %f\n"
                          "Icon=%4\n"
                          "Terminal=false\n"
                          "MimeType=%5;\n"
                          "Categories=Development;Electronics;\n")
        .arg(FileTexts::kProductName, execArgument(executablePath), kOpenOption, kIconName,
             kMimeType);
}

QString mimePackage() {
    // The weight puts *.scm before the Scheme sources that the shared database also claims it
    // for: associating is asking for exactly that.
    return QStringLiteral(
               "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
               "<mime-info xmlns=\"http://www.freedesktop.org/standards/shared-mime-info\">\n"
               "  <mime-type type=\"%1\">\n"
               "    <comment>Serial Commands</comment>\n"
               "    <sub-class-of type=\"text/plain\"/>\n"
               "    <generic-icon name=\"text-x-generic\"/>\n"
               "    <magic priority=\"60\">\n"
               "      <match type=\"string\" offset=\"0\" value=\"&quot;%2&quot;\"/>\n"
               "    </magic>\n"
               "    <glob pattern=\"*.scm\" weight=\"60\"/>\n"
               "  </mime-type>\n"
               "</mime-info>\n")
        .arg(kMimeType, CommandFile::kHeader);
}

DesktopOutcome associateOnDesktop(const QString& executablePath,
                                  const QProcessEnvironment& environment) {
    const QString home = dataHome(environment);
    const QString applications = home + QStringLiteral("/applications");
    const QString mime = home + QStringLiteral("/mime");
    DesktopOutcome outcome;
    const bool entry =
        writeFile(applications + u'/' + kDesktopFileName,
                  desktopEntry(QFileInfo(executablePath).absoluteFilePath()).toUtf8());
    const bool package = writeFile(mime + QStringLiteral("/packages/") + kMimePackageFileName,
                                   mimePackage().toUtf8());
    const bool icon = writeFile(home + QStringLiteral("/icons/hicolor/scalable/apps/") + kIconName +
                                    QStringLiteral(".svg"),
                                ProgramIcons::programSvg());
    outcome.filesWritten = entry && package && icon;
    if (package)
        outcome.mimeDatabaseUpdated =
            runTool(QStringLiteral("update-mime-database"), {mime}, environment);
    if (entry) {
        runTool(QStringLiteral("update-desktop-database"), {applications}, environment);
        outcome.defaultSet =
            runTool(QStringLiteral("xdg-mime"),
                    {QStringLiteral("default"), kDesktopFileName, kMimeType}, environment);
    }
    return outcome;
}

void associateScmFiles() {
    const QFileInfo program(QCoreApplication::applicationFilePath());
#ifdef Q_OS_WIN
    writeRegistry(
        registryPlan(QDir::toNativeSeparators(program.absolutePath()), program.completeBaseName()));
#else
    associateOnDesktop(program.absoluteFilePath(), QProcessEnvironment::systemEnvironment());
#endif
}

std::optional<QString> commandFilePath(const QStringList& arguments) {
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        if (arguments[i] == kOpenOption)
            return i + 1 < arguments.size() ? std::optional(arguments[i + 1]) : std::nullopt;
        if (arguments[i].startsWith(kOpenOption + u'='))
            return arguments[i].mid(kOpenOption.size() + 1);
    }
    const QString line = arguments.join(u' ');
    if (line.size() < 2)
        return std::nullopt;
    return line.mid(1, line.size() - 2);
}

} // namespace FileAssociation
