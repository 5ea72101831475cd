#pragma once

#include <QList>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <optional>

// Registers the program as the opener of command files (.scm).
//
// On Windows this is a fixed list of registry writes (registryPlan); the shell then starts the
// program with the file's path in double quotes as its command line. On a freedesktop system
// (Linux) a desktop entry and a MIME type stand in for those keys: the entry starts the program
// with "--open PATH", which hands over the path as it is.
namespace FileAssociation {

inline const QString kDoneMessage = QStringLiteral("Associate Serial Command File (.scm) OK.");

// ---- Windows registry ----

constexpr quint32 kClassesRoot = 0x80000000u; // HKEY_CLASSES_ROOT
constexpr quint32 kCurrentUser = 0x80000001u; // HKEY_CURRENT_USER
// Query value, set value, create subkey, enumerate subkeys, notify, create link.
constexpr quint32 kAccess = 0x3Fu;

// One registry write. All values are strings (REG_SZ); an empty valueName is the key's
// default value.
struct RegistryStep {
    enum class Operation {
        CreateKey,
        SetValue
    };
    Operation operation;
    quint32 root;
    QString key;
    QString valueName;
    QString data;
    bool operator==(const RegistryStep&) const = default;
};

// The command the shell runs to open a file: the executable's full path in double quotes, a
// blank and "%1" in double quotes. folder: the program's folder in Windows form; executableName:
// the executable's file name without ".exe".
QString openerCommand(const QString& folder, const QString& executableName);
// The 13 writes of the association, in order. Key names and the values "Application" and "a"
// always say "Brolmet.exe"; only the opener command names the actual executable.
QList<RegistryStep> registryPlan(const QString& folder, const QString& executableName);
// Performs the writes on the Windows registry, ignoring every result (Windows builds only).
void writeRegistry(const QList<RegistryStep>& plan);

// ---- freedesktop (Linux) ----

inline const QString kMimeType = QStringLiteral("application/x-tamsolvix-commands");
inline const QString kDesktopFileName = QStringLiteral("tamsolvix-brolmet.desktop");
inline const QString kMimePackageFileName = QStringLiteral("tamsolvix-brolmet.xml");
inline const QString kIconName = QStringLiteral("tamsolvix-brolmet");
inline const QString kOpenOption = QStringLiteral("--open");

// How far the desktop association got. The success message is shown whatever this says.
struct DesktopOutcome {
    bool filesWritten = false;        // the desktop entry, the MIME package and the icon
    bool mimeDatabaseUpdated = false; // update-mime-database ran and succeeded
    bool defaultSet = false;          // xdg-mime made the entry the type's default
};

// $XDG_DATA_HOME when it is an absolute path, else $HOME/.local/share.
QString dataHome(const QProcessEnvironment& environment);
// The desktop entry that starts executablePath (absolute) with "--open" and the file.
QString desktopEntry(const QString& executablePath);
// The shared-mime-info package declaring *.scm files.
QString mimePackage();
// Writes the entry, the package and the icon under the data home of environment, then runs
// update-mime-database, update-desktop-database and xdg-mime with that environment (each with
// a time limit; a tool that is missing or fails is skipped).
DesktopOutcome associateOnDesktop(const QString& executablePath,
                                  const QProcessEnvironment& environment);

// ---- both ----

// The menu action's work for the running program: the registry on Windows, the desktop
// association elsewhere. Reports nothing; the caller shows kDoneMessage.
void associateScmFiles();

// The command file to load at start-up, from the program's arguments (with the window
// system's and the tool's own options already taken out):
//   - "--open PATH": PATH as it is ("--open" without a path: none);
//   - otherwise the arguments joined by one blank, as the traditional command line, with its
//     first and last character dropped (the double quotes the shell puts round the path);
//   - an empty command line, or one of a single character: none.
std::optional<QString> commandFilePath(const QStringList& arguments);

} // namespace FileAssociation
