#include "app/CliTransfer.h"

#include "actions/Tester.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <cstdio>

namespace {

// A number as C writes it (0x50, 80, 0120) within [0, high].
std::optional<int> number(const QString& text, int high) {
    bool ok = false;
    const int v = text.toInt(&ok, 0);
    if (!ok || v < 0 || v > high)
        return std::nullopt;
    return v;
}

QString messageText(const I2cMessage& m) {
    return QStringLiteral("%1%2@0x%3")
        .arg(QChar(m.read ? u'r' : u'w'))
        .arg(m.read ? m.length : static_cast<int>(m.data.size()))
        .arg(m.address, 2, 16, QLatin1Char('0'));
}

QString hexBytes(const QByteArray& bytes) {
    QStringList texts;
    for (const char c : bytes)
        texts << QStringLiteral("0x%1").arg(static_cast<std::uint8_t>(c), 2, 16, QLatin1Char('0'));
    return texts.join(u' ');
}

QJsonArray jsonBytes(const QByteArray& bytes) {
    QJsonArray array;
    for (const char c : bytes)
        array.append(static_cast<std::uint8_t>(c));
    return array;
}

// "message 2 of 2 (r4@0x50) was not acknowledged: its address".
QString failure(const std::vector<I2cMessage>& messages, const I2cTransferResult& result) {
    const I2cMessage& m = messages[static_cast<std::size_t>(result.failedMessage)];
    const QString what = result.failedByte < 0
                             ? QStringLiteral("its address (no device at 0x%1)")
                                   .arg(m.address, 2, 16, QLatin1Char('0'))
                             : QStringLiteral("byte %1 (0x%2)")
                                   .arg(result.failedByte + 1)
                                   .arg(static_cast<std::uint8_t>(m.data[result.failedByte]), 2, 16,
                                        QLatin1Char('0'));
    return QStringLiteral("message %1 of %2 (%3) was not acknowledged: %4")
        .arg(result.failedMessage + 1)
        .arg(messages.size())
        .arg(messageText(m), what);
}

// Runs the transfer; prints the reason and returns nullopt when it failed.
std::optional<I2cTransferResult> run(Tester& tester, const std::vector<I2cMessage>& messages,
                                     std::uint64_t* operations) {
    QString why;
    const auto result = tester.eeprom().transfer(messages, operations, &why);
    if (!result)
        std::fprintf(stderr, "brolmet-cli: %s\n", qPrintable(why));
    else if (!result->ok())
        std::fprintf(stderr, "brolmet-cli: %s\n", qPrintable(failure(messages, *result)));
    if (!result || !result->ok())
        return std::nullopt;
    return result;
}

int transfer(Tester& tester, const std::vector<I2cMessage>& messages, bool json) {
    std::uint64_t operations = 0;
    const auto result = run(tester, messages, &operations);
    if (!result)
        return 1;
    QJsonArray reports;
    std::size_t next = 0;
    for (const I2cMessage& m : messages) {
        const QByteArray bytes = m.read ? result->reads[next++] : m.data;
        if (m.read && !json)
            std::printf("%s\n", qPrintable(hexBytes(bytes)));
        reports.append(QJsonObject{{QStringLiteral("message"), messageText(m)},
                                   {QStringLiteral("address"), m.address},
                                   {QStringLiteral("read"), m.read},
                                   {QStringLiteral("bytes"), jsonBytes(bytes)}});
    }
    if (json)
        std::fputs(
            QJsonDocument(
                QJsonObject{{QStringLiteral("command"), QStringLiteral("transfer")},
                            {QStringLiteral("messages"), reports},
                            {QStringLiteral("line_operations"), static_cast<qint64>(operations)}})
                .toJson()
                .constData(),
            stdout);
    return 0;
}

int dump(Tester& tester, int address, bool json) {
    const std::vector<I2cMessage> messages{{address, false, 0, QByteArray(1, 0)},
                                           {address, true, 256, {}}};
    std::uint64_t operations = 0;
    const auto result = run(tester, messages, &operations);
    if (!result)
        return 1;
    const QByteArray& bytes = result->reads.front();
    if (json)
        std::fputs(QJsonDocument(QJsonObject{{QStringLiteral("command"), QStringLiteral("dump")},
                                             {QStringLiteral("address"), address},
                                             {QStringLiteral("bytes"), jsonBytes(bytes)},
                                             {QStringLiteral("line_operations"),
                                              static_cast<qint64>(operations)}})
                       .toJson()
                       .constData(),
                   stdout);
    else
        std::fputs(CliTransfer::dumpTable(bytes).constData(), stdout);
    return 0;
}

} // namespace

namespace CliTransfer {

std::optional<std::vector<I2cMessage>> parseMessages(const QStringList& arguments, QString* why) {
    static const QRegularExpression descriptor(
        QStringLiteral("^([rw])([0-9]+)(?:@(0[xX][0-9a-fA-F]+|[0-9]+))?$"));
    static const QRegularExpression value(QStringLiteral("^(0[xX][0-9a-fA-F]+|[0-9]+)([=+-]?)$"));
    std::vector<I2cMessage> messages;
    int address = -1;
    for (qsizetype i = 0; i < arguments.size();) {
        const QString& text = arguments[i++];
        const auto m = descriptor.match(text);
        const auto length = number(m.captured(2), 65536);
        const auto at =
            m.captured(3).isEmpty() ? std::optional<int>(address) : number(m.captured(3), 0x7F);
        if (!m.hasMatch() || !length || !at || *at < 0) {
            *why = !m.hasMatch() || !length
                       ? QStringLiteral("'%1' is no message: r or w, the length, @ and the 7-bit "
                                        "address (w2@0x50 0x00 0x10 r4@0x50)")
                             .arg(text)
                       : QStringLiteral("'%1': the address must be 0x00 to 0x7F (the first "
                                        "message needs one)")
                             .arg(text);
            return std::nullopt;
        }
        address = *at;
        I2cMessage message{address, m.captured(1) == u"r", *length, {}};
        int step = 0;
        bool filling = false;
        int byte = 0;
        while (!message.read && message.data.size() < *length) {
            if (!filling) {
                const auto v = value.match(arguments.value(i));
                const auto b = number(v.captured(1), 255);
                if (!v.hasMatch() || !b) {
                    *why = QStringLiteral("'%1' needs %2 data bytes (0x00 to 0xFF; 0x10+ counts "
                                          "up, 0x10- down, 0x10= repeats)")
                               .arg(text)
                               .arg(*length);
                    return std::nullopt;
                }
                ++i;
                byte = *b;
                const QString suffix = v.captured(2);
                filling = !suffix.isEmpty();
                step = suffix == u"+" ? 1 : suffix == u"-" ? -1 : 0;
            } else {
                byte = (byte + step) & 0xFF;
            }
            message.data.append(static_cast<char>(byte));
        }
        messages.push_back(message);
    }
    if (messages.empty()) {
        *why = QStringLiteral("transfer needs messages (w2@0x50 0x00 0x10 r4@0x50)");
        return std::nullopt;
    }
    return messages;
}

QByteArray dumpTable(const QByteArray& bytes) {
    QByteArray out = "     0  1  2  3  4  5  6  7  8  9  a  b  c  d  e  f    0123456789abcdef\n";
    for (qsizetype row = 0; row < bytes.size(); row += 16) {
        out += QByteArray::number(row, 16).rightJustified(2, '0') + ": ";
        QByteArray text;
        for (qsizetype i = row; i < row + 16 && i < bytes.size(); ++i) {
            const auto b = static_cast<std::uint8_t>(bytes[i]);
            out += QByteArray::number(b, 16).rightJustified(2, '0') + ' ';
            text += b == 0x00 || b == 0xFF  ? '.'
                    : b < 0x20 || b >= 0x7F ? '?'
                                            : static_cast<char>(b);
        }
        out += "   " + text + '\n';
    }
    return out;
}

CliEeprom::Tool parse(const QString& command, const QStringList& arguments, bool json,
                      QString* why) {
    if (command == u"dump") {
        const auto address = arguments.size() == 1 ? number(arguments[0], 0x7F) : std::nullopt;
        if (!address) {
            *why = QStringLiteral("dump needs one 7-bit address, 0x00 to 0x7F (dump 0x50)");
            return {};
        }
        return
            [a = *address, json](Tester& tester, ConsoleDialogs&) { return dump(tester, a, json); };
    }
    auto messages = parseMessages(arguments, why);
    if (!messages)
        return {};
    return [m = std::move(*messages), json](Tester& tester, ConsoleDialogs&) {
        return transfer(tester, m, json);
    };
}

} // namespace CliTransfer
