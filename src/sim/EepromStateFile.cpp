#include "sim/EepromStateFile.h"

#include <QFile>
#include <QSaveFile>

#include <algorithm>
#include <map>

namespace {

const QByteArray kHeader = "Tamsolvix simulated board 1";
constexpr int kBytesPerLine = 32;
// Far more than the largest board (a 24C512 in the socket: about 140 KB of text).
constexpr qint64 kMaxFileSize = 4 * 1024 * 1024;

} // namespace

QByteArray EepromStateFile::text(const std::vector<Slot>& chips) {
    QByteArray out = kHeader + '\n';
    for (const Slot& slot : chips) {
        const std::vector<std::uint8_t>& memory = *slot.memory;
        out += "chip " + slot.place.toLatin1() + ' ' + slot.part.toLatin1() + ' ' +
               QByteArray::number(memory.size()) + '\n';
        for (std::size_t at = 0; at < memory.size(); at += kBytesPerLine) {
            const std::size_t n = std::min<std::size_t>(kBytesPerLine, memory.size() - at);
            out += QByteArray(reinterpret_cast<const char*>(memory.data() + at),
                              static_cast<qsizetype>(n))
                       .toHex() +
                   '\n';
        }
    }
    return out;
}

bool EepromStateFile::parse(const QByteArray& text, const std::vector<Slot>& chips,
                            QString* whyNot) {
    const QList<QByteArray> lines = text.split('\n');
    int lineNo = 0;
    auto fail = [&](const QString& why) {
        if (whyNot)
            *whyNot = QStringLiteral("line %1: %2").arg(lineNo).arg(why);
        return false;
    };
    std::map<const Slot*, std::vector<std::uint8_t>> loaded;
    const Slot* current = nullptr;
    std::vector<std::uint8_t>* filling = nullptr;
    std::size_t expected = 0;
    bool headerSeen = false;
    for (const QByteArray& raw : lines) {
        ++lineNo;
        const QByteArray line = raw.trimmed();
        if (line.isEmpty() || line.startsWith('#'))
            continue;
        if (!headerSeen) {
            if (line != kHeader)
                return fail(QStringLiteral("not a simulated board's state (the first line must "
                                           "be \"%1\")")
                                .arg(QString::fromLatin1(kHeader)));
            headerSeen = true;
            continue;
        }
        if (line.startsWith("chip ")) {
            if (filling && filling->size() != expected)
                return fail(QStringLiteral("the contents of %1 end after %2 of %3 bytes")
                                .arg(current->place)
                                .arg(filling->size())
                                .arg(expected));
            const QList<QByteArray> fields = line.simplified().split(' ');
            if (fields.size() != 4)
                return fail(QStringLiteral("a chip line is \"chip PLACE PART SIZE\""));
            const QString place = QString::fromLatin1(fields[1]);
            current = nullptr;
            for (const Slot& slot : chips)
                if (slot.place == place)
                    current = &slot;
            if (!current)
                return fail(QStringLiteral("this board has no place %1").arg(place));
            if (QString::fromLatin1(fields[2]).compare(current->part, Qt::CaseInsensitive) != 0)
                return fail(QStringLiteral("the file has a %1 in %2, the board a %3")
                                .arg(QString::fromLatin1(fields[2]), place, current->part));
            bool ok = false;
            expected = fields[3].toULongLong(&ok);
            if (!ok || expected != current->memory->size())
                return fail(QStringLiteral("the %1 in %2 has %3 bytes, not %4")
                                .arg(current->part, place)
                                .arg(current->memory->size())
                                .arg(QString::fromLatin1(fields[3])));
            if (loaded.count(current))
                return fail(QStringLiteral("%1 appears twice").arg(place));
            filling = &loaded[current];
            filling->reserve(expected);
            continue;
        }
        if (!filling)
            return fail(QStringLiteral("contents before any chip line"));
        const bool hex = std::all_of(line.begin(), line.end(), [](char c) {
            return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
        });
        if (!hex || line.size() % 2 != 0)
            return fail(QStringLiteral("not an even number of hex digits"));
        const QByteArray bytes = QByteArray::fromHex(line);
        if (filling->size() + static_cast<std::size_t>(bytes.size()) > expected)
            return fail(
                QStringLiteral("more than the %1 bytes of %2").arg(expected).arg(current->place));
        filling->insert(filling->end(), bytes.begin(), bytes.end());
    }
    if (!headerSeen)
        return fail(QStringLiteral("the file is empty"));
    if (filling && filling->size() != expected) {
        if (whyNot)
            *whyNot = QStringLiteral("the file ends after %1 of the %2 bytes of %3")
                          .arg(filling->size())
                          .arg(expected)
                          .arg(current->place);
        return false;
    }
    for (auto& [slot, bytes] : loaded)
        *slot->memory = std::move(bytes);
    return true;
}

bool EepromStateFile::save(const QString& path, const std::vector<Slot>& chips, QString* whyNot) {
    QSaveFile file(path);
    const QByteArray content = text(chips);
    // A short write can come without an error (a file size limit): the count decides, so a
    // failed save never puts a truncated file in place.
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size() ||
        !file.commit()) {
        if (whyNot)
            *whyNot = QStringLiteral("cannot write %1: %2").arg(path, file.errorString());
        file.cancelWriting();
        return false;
    }
    return true;
}

bool EepromStateFile::load(const QString& path, const std::vector<Slot>& chips, QString* whyNot) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (whyNot)
            *whyNot = QStringLiteral("cannot read %1: %2").arg(path, file.errorString());
        return false;
    }
    if (file.size() > kMaxFileSize) {
        if (whyNot)
            *whyNot = QStringLiteral("%1 is too large for a board's state").arg(path);
        return false;
    }
    QString why;
    if (!parse(file.readAll(), chips, &why)) {
        if (whyNot)
            *whyNot = path + QStringLiteral(", ") + why;
        return false;
    }
    return true;
}
