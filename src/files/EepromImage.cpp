#include "files/EepromImage.h"

#include "base/RunTimeError.h"
#include "base/SafeSave.h"

#include <QFile>
#include <QFileInfo>

#include <map>

namespace {

// Larger than any chip's file (a 24C512 as HEX: about 180 KB), small enough to read at once.
constexpr qint64 kMaxFileSize = 16 * 1024 * 1024;

int hexDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

QByteArray hexRecord(int type, int address, const QByteArray& data) {
    QByteArray record;
    record.append(static_cast<char>(data.size()));
    record.append(static_cast<char>(address >> 8));
    record.append(static_cast<char>(address));
    record.append(static_cast<char>(type));
    record.append(data);
    unsigned sum = 0;
    for (char c : record)
        sum += static_cast<std::uint8_t>(c);
    record.append(static_cast<char>(-sum));
    return ':' + record.toHex().toUpper() + "\r\n";
}

QString saveProblem(int error) {
    switch (error) {
    case RunTimeError::DiskFull:
        return QStringLiteral("the disk is full");
    case RunTimeError::PermissionDenied:
        return QStringLiteral("permission denied");
    case RunTimeError::PathNotFound:
        return QStringLiteral("no such folder");
    case RunTimeError::BadFileName:
        return QStringLiteral("not a file name");
    default:
        return QStringLiteral("the file cannot be accessed");
    }
}

} // namespace

EepromImage::Format EepromImage::formatOf(const QString& path) {
    const QString suffix = QFileInfo(path).suffix().toLower();
    if (suffix == u"hex" || suffix == u"ihx" || suffix == u"ihex")
        return Format::IntelHex;
    if (suffix == u"txt" || suffix == u"dump")
        return Format::Dump;
    return Format::Binary;
}

bool EepromImage::parseIntelHex(const QByteArray& text, int chipSize, QByteArray* bytes, int* from,
                                QString* whyNot) {
    int lineNo = 0;
    auto fail = [&](const QString& why) {
        if (whyNot)
            *whyNot = QStringLiteral("line %1: %2").arg(lineNo).arg(why);
        return false;
    };
    std::map<int, std::uint8_t> data;
    unsigned base = 0; // from the extended address records
    bool ended = false;
    for (const QByteArray& raw : text.split('\n')) {
        ++lineNo;
        const QByteArray line = raw.trimmed();
        if (line.isEmpty())
            continue;
        if (ended)
            return fail(QStringLiteral("a record after the end-of-file record"));
        if (line[0] != ':' || line.size() < 11 || line.size() % 2 == 0)
            return fail(QStringLiteral("not an Intel HEX record"));
        QByteArray record;
        for (qsizetype i = 1; i < line.size(); i += 2) {
            const int high = hexDigit(line[i]);
            const int low = hexDigit(line[i + 1]);
            if (high < 0 || low < 0)
                return fail(QStringLiteral("not an Intel HEX record"));
            record.append(static_cast<char>(high * 16 + low));
        }
        auto at = [&](qsizetype i) {
            return static_cast<unsigned>(static_cast<std::uint8_t>(record[i]));
        };
        const unsigned length = at(0);
        if (record.size() != static_cast<qsizetype>(length) + 5)
            return fail(QStringLiteral("the record's length does not match its count byte"));
        unsigned sum = 0;
        for (char c : record)
            sum += static_cast<std::uint8_t>(c);
        if ((sum & 0xFFu) != 0)
            return fail(QStringLiteral("bad checksum"));
        const unsigned offset = at(1) << 8 | at(2);
        const unsigned type = at(3);
        switch (type) {
        case 0x00:
            for (unsigned i = 0; i < length; ++i) {
                // The offset wraps within its 64 KB segment.
                const unsigned address = base + ((offset + i) & 0xFFFFu);
                if (address >= static_cast<unsigned>(chipSize))
                    return fail(QStringLiteral("data for 0x%1, outside the chip (%2 bytes)")
                                    .arg(address, 4, 16, QLatin1Char('0'))
                                    .arg(chipSize));
                data[static_cast<int>(address)] = static_cast<std::uint8_t>(at(4 + i));
            }
            break;
        case 0x01:
            ended = true;
            break;
        case 0x02:
        case 0x04:
            if (length != 2)
                return fail(QStringLiteral("an extended address record has two data bytes"));
            base = (at(4) << 8 | at(5)) << (type == 0x02 ? 4 : 16);
            break;
        case 0x03:
        case 0x05:
            break; // a start address means nothing to an EEPROM
        default:
            return fail(
                QStringLiteral("unknown record type %1").arg(type, 2, 16, QLatin1Char('0')));
        }
    }
    if (!ended) {
        lineNo = 0;
        if (whyNot)
            *whyNot = QStringLiteral("no end-of-file record: the file may be cut short");
        return false;
    }
    bytes->clear();
    *from = 0;
    if (data.empty())
        return true;
    *from = data.begin()->first;
    QByteArray image(data.rbegin()->first - *from + 1, static_cast<char>(0xFF));
    for (const auto& [address, value] : data)
        image[address - *from] = static_cast<char>(value);
    *bytes = image;
    return true;
}

bool EepromImage::load(const QString& path, int chipSize, QByteArray* bytes, int* from,
                       QString* whyNot) {
    auto fail = [&](const QString& why) {
        if (whyNot)
            *whyNot = path + QStringLiteral(": ") + why;
        return false;
    };
    const Format format = formatOf(path);
    if (format == Format::Dump)
        return fail(QStringLiteral("a dump is a read-out only; write a .bin or .hex file"));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return fail(file.errorString());
    const qint64 size = file.size();
    if (format == Format::Binary && size > chipSize)
        return fail(
            QStringLiteral("%1 bytes, larger than the chip (%2 bytes)").arg(size).arg(chipSize));
    if (size > kMaxFileSize)
        return fail(QStringLiteral("too large for an EEPROM's file"));
    const QByteArray content = file.readAll();
    if (content.size() != size || file.error() != QFileDevice::NoError)
        return fail(file.errorString());
    if (format == Format::Binary) {
        *bytes = content;
        *from = 0;
        return true;
    }
    QString why;
    if (!parseIntelHex(content, chipSize, bytes, from, &why))
        return fail(why);
    return true;
}

QByteArray EepromImage::intelHex(const QByteArray& bytes, int from) {
    QByteArray out;
    int segment = -1;
    for (qsizetype i = 0; i < bytes.size();) {
        const int address = from + static_cast<int>(i);
        if (address >> 16 != segment) {
            segment = address >> 16;
            QByteArray upper;
            upper.append(static_cast<char>(segment >> 8));
            upper.append(static_cast<char>(segment));
            out += hexRecord(0x04, 0, upper);
        }
        // 16 bytes a record, none across a 64 KB boundary.
        const qsizetype n =
            std::min<qsizetype>({16, bytes.size() - i, 0x10000 - (address & 0xFFFF)});
        out += hexRecord(0x00, address & 0xFFFF, bytes.mid(i, n));
        i += n;
    }
    return out + hexRecord(0x01, 0, {});
}

QByteArray EepromImage::dump(const QByteArray& bytes, int from) {
    QByteArray out;
    for (qsizetype row = 0; row < bytes.size(); row += 16) {
        const QByteArray line = bytes.mid(row, 16);
        out += QByteArray::number(from + row, 16).rightJustified(8, '0') + ' ';
        for (qsizetype i = 0; i < 16; ++i) {
            if (i == 8)
                out += ' ';
            out += i < line.size() ? ' ' + line.mid(i, 1).toHex() : QByteArray("   ");
        }
        out += "  |";
        for (char c : line)
            out += c >= 0x20 && c < 0x7F ? c : '.';
        out += "|\n";
    }
    return out + QByteArray::number(from + bytes.size(), 16).rightJustified(8, '0') + '\n';
}

bool EepromImage::save(const QString& path, const QByteArray& bytes, int from, QString* whyNot,
                       Streams streams) {
    QByteArray content;
    switch (formatOf(path)) {
    case Format::Binary:
        content = bytes;
        break;
    case Format::IntelHex:
        content = intelHex(bytes, from);
        break;
    case Format::Dump:
        content = dump(bytes, from);
        break;
    }
    if (const int error = saveWhole(path, content, streams)) {
        if (whyNot)
            *whyNot = QStringLiteral("cannot write %1: %2 (error %3)")
                          .arg(path, saveProblem(error))
                          .arg(error);
        return false;
    }
    return true;
}
