// Build-time tool: writes the desktop entry, the MIME package and the icon that an installation
// puts under share/, from the very texts "Associate .scm File" writes for one user. Only the
// entry's Exec line differs: an installed program is found on PATH, not by its full path.
//
// Usage: tamsolvix_desktop_files OUTDIR   (creates OUTDIR/applications, OUTDIR/mime/packages,
//                                          OUTDIR/icons/hicolor/scalable/apps)
#include "files/FileAssociation.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcessEnvironment>
#include <QStringList>

#include <cstdio>

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QStringList args = QCoreApplication::arguments();
    if (args.size() != 2) {
        std::fprintf(stderr, "usage: tamsolvix_desktop_files OUTDIR\n");
        return 2;
    }
    const QString out = QDir(args[1]).absolutePath();
    QProcessEnvironment environment;
    environment.insert(QStringLiteral("XDG_DATA_HOME"), out);
    // No desktop tool is found on this path: nothing on the build machine is registered.
    environment.insert(QStringLiteral("PATH"), out + QStringLiteral("/no-tools"));
    const QString program = QStringLiteral("brolmet");
    if (!FileAssociation::associateOnDesktop(out + u'/' + program, environment).filesWritten) {
        std::fprintf(stderr, "tamsolvix_desktop_files: cannot write under %s\n", qPrintable(out));
        return 1;
    }
    QStringList entry = FileAssociation::desktopEntry(program).split(u'\n');
    for (QString& line : entry)
        if (line.startsWith(QStringLiteral("Exec=")))
            line = QStringLiteral("Exec=") + program + u' ' + FileAssociation::kOpenOption +
                   QStringLiteral(" %f");
    QFile file(out + QStringLiteral("/applications/") + FileAssociation::kDesktopFileName);
    const QByteArray content = entry.join(u'\n').toUtf8();
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        file.write(content) != content.size()) {
        std::fprintf(stderr, "tamsolvix_desktop_files: cannot write %s\n",
                     qPrintable(file.fileName()));
        return 1;
    }
    return 0;
}
