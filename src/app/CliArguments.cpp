#include "app/CliArguments.h"

#include <QCommandLineParser>
#include <QFile>

#include <cstdio>

namespace CliArguments {

// Standard error carries the tool's own messages only: what Qt says on its own (a missing
// runtime folder, fonts) is dropped, unless it is fatal.
void qtMessage(QtMsgType type, const QMessageLogContext&, const QString& text) {
    if (type == QtFatalMsg)
        std::fprintf(stderr, "brolmet-cli: %s\n", qPrintable(text));
}

// The parser's complaint about an argument it does not know, with the argument as typed.
QString unknownOption(const QCommandLineParser& parser, const QStringList& arguments) {
    const QString name = parser.unknownOptionNames().value(0);
    for (const QString& a : arguments.mid(1)) {
        if (a == u"--")
            break;
        const QString typed = a.section(u'=', 0, 0);
        if (typed.startsWith(u"--") && typed.mid(2) == name)
            return QStringLiteral("unknown option '%1'").arg(typed);
        if (typed.startsWith(u'-') && typed.mid(1) == name)
            return QStringLiteral("unknown option '%1' (a file name that begins with '-' goes "
                                  "after '--': run -- %1)")
                .arg(typed);
    }
    return parser.errorText();
}

// An argument that the platform's file-name encoding (UTF-8) cannot carry: Qt cannot name
// such a file, so it is said at once instead of "is NOT exist !" later. Empty when all fit.
QString undecodable(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const QByteArray raw(argv[i]);
        if (QFile::encodeName(QFile::decodeName(raw)) == raw)
            continue;
        QString shown;
        for (const char c : raw) {
            const auto byte = static_cast<unsigned char>(c);
            shown += byte < 0x80 ? QString(QLatin1Char(c))
                                 : QStringLiteral("\\x") +
                                       QString::number(byte, 16).toUpper().rightJustified(2, u'0');
        }
        return QStringLiteral("the argument '%1' is not valid UTF-8, and a file with such a "
                              "name cannot be opened here: rename the file")
            .arg(shown);
    }
    return {};
}

} // namespace CliArguments
