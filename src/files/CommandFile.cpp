#include "files/CommandFile.h"

#include "base/RunTimeError.h"
#include "base/SafeSave.h"
#include "files/CodePage.h"
#include "files/CommandFileReader.h"

#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#ifdef Q_OS_UNIX
#include <sys/stat.h>
#endif

namespace {

// What is wrong with one text of the file, or an empty string.
QString textProblem(const QString& subject, const QString& text, const QString& remedy) {
    if (text.contains(u'"'))
        return QStringLiteral("Cannot save the commands: %1 contains a double quote (\"), which "
                              "a command file cannot hold. %2")
            .arg(subject, remedy);
    if (const qsizetype at = CodePage::firstUnheld(text); at >= 0) {
        const qsizetype length = text[at].isHighSurrogate() && at + 1 < text.size() ? 2 : 1;
        return QStringLiteral("Cannot save the commands: %1 contains the character \"%2\", "
                              "which a command file cannot hold. %3")
            .arg(subject, text.mid(at, length), remedy);
    }
    if (text.size() > CommandFile::kMaxTextLength)
        return QStringLiteral("Cannot save the commands: %1 is longer than %2 characters. %3")
            .arg(subject)
            .arg(CommandFile::kMaxTextLength)
            .arg(remedy);
    return {};
}

void appendText(QByteArray& out, const QString& text) {
    out += '"';
    out += CodePage::encode(text);
    out += "\"\r\n";
}

void appendNumber(QByteArray& out, int value) {
    out += QByteArray::number(value);
    out += "\r\n";
}

void appendFlag(QByteArray& out, bool value) {
    out += value ? "#TRUE#\r\n" : "#FALSE#\r\n";
}

} // namespace

QString CommandFile::cellName(int index) {
    return QString(QChar(index < 4 ? u'C' : u'D')) + QString::number(index % 4 + 1);
}

QString CommandFile::saveProblem() const {
    const QString change = QStringLiteral("Change it and save again.");
    QString problem =
        textProblem(QStringLiteral("the file name"), title, QStringLiteral("Choose another name."));
    for (int i = 0; i < static_cast<int>(cells.size()) && problem.isEmpty(); ++i)
        problem = textProblem(QStringLiteral("cell ") + cellName(i), cells[i], change);
    if (problem.isEmpty())
        problem = textProblem(QStringLiteral("the note"), note, change);
    return problem;
}

QByteArray CommandFile::bytes() const {
    QByteArray out;
    appendText(out, kHeader);
    appendNumber(out, port);
    appendNumber(out, interval);
    appendNumber(out, resetTension);
    appendText(out, title);
    appendFlag(out, startBit);
    appendFlag(out, microwire);
    appendFlag(out, startBitAgain);
    appendFlag(out, noffSelected);
    for (const QString& cell : cells)
        appendText(out, cell);
    appendFlag(out, analysis);
    appendText(out, note);
    return out;
}

int CommandFile::save(const QString& path, Streams streams, QString* why) const {
    if (const QString problem = saveProblem(); !problem.isEmpty()) {
        if (why)
            *why = problem;
        return kRefused;
    }
    return saveWhole(path, bytes(), streams, why);
}

namespace {

// Reads the fields one by one into a CommandFile, counting the lines read, until one fails.
class FieldReader {
public:
    FieldReader(CommandFileReader& reader, CommandFile::Read& read)
        : reader_(reader), read_(read) {}
    bool text(QString& value) { return take(reader_.text(value)); }
    bool flag(bool& value) { return take(reader_.flag(value)); }
    bool byte(std::uint8_t& value) {
        int number = 0;
        const int error = reader_.byteValue(number);
        if (error == 0)
            value = static_cast<std::uint8_t>(number);
        return take(error);
    }
    bool interval(int& value) {
        int number = 0;
        int error = reader_.wholeNumber(number);
        if (error == 0 && (number < 0 || number > CommandFile::kMaxInterval))
            error = RunTimeError::InvalidPropertyValue; // an interval the timer refuses
        if (error == 0)
            value = number;
        return take(error);
    }

private:
    bool take(int error) {
        read_.error = error;
        read_.lines += error == 0 ? 1 : 0;
        return error == 0;
    }
    CommandFileReader& reader_;
    CommandFile::Read& read_;
};

} // namespace

CommandFile::Read CommandFile::read(CommandFileReader& reader) {
    Read read;
    CommandFile& f = read.file;
    FieldReader field(reader, read);
    QString header;
    if (!field.text(header))
        return read;
    if (header != kHeader) {
        read.lines = 0;
        read.error = kNotCompatible;
        return read;
    }
    if (!field.byte(f.port) || !field.interval(f.interval) || !field.byte(f.resetTension) ||
        !field.text(f.title) || !field.flag(f.startBit) || !field.flag(f.microwire) ||
        !field.flag(f.startBitAgain) || !field.flag(f.noffSelected))
        return read;
    for (QString& cell : f.cells)
        if (!field.text(cell))
            return read;
    if (field.flag(f.analysis))
        field.text(f.note);
    return read;
}

bool existsWithExactName(const QString& path) {
    const QFileInfo file(path);
    if (file.fileName().isEmpty() || !file.isFile())
        return false;
    // The file is there under some letter case; look for the name as it stands in the folder.
    QDirIterator entries(file.absolutePath(),
                         QDir::Files | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    while (entries.hasNext()) {
        entries.next();
        if (entries.fileName() == file.fileName())
            return true;
    }
    return false;
}

QString notAFileReason(const QString& path) {
    const QFileInfo file(path);
    if (file.fileName().isEmpty() || !file.exists() || file.isFile())
        return {}; // no name at all is a bad file name, not a reason of this kind
    QString what = file.isDir() ? QStringLiteral("a folder") : QStringLiteral("a special file");
#ifdef Q_OS_UNIX
    struct stat status {};
    if (!file.isDir() && ::stat(QFile::encodeName(path).constData(), &status) == 0)
        what = S_ISFIFO(status.st_mode)                             ? QStringLiteral("a named pipe")
               : S_ISCHR(status.st_mode) || S_ISBLK(status.st_mode) ? QStringLiteral("a device")
               : S_ISSOCK(status.st_mode)                           ? QStringLiteral("a socket")
                                                                    : what;
#endif
    return QStringLiteral("'%1' is %2, not a file.").arg(path, what);
}
