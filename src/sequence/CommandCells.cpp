#include "sequence/CommandCells.h"

#include "base/Numbers.h"

#include <cmath>

namespace CommandCells {

QStringList keywords() {
    return {kStop,
            QStringLiteral("Dump1"),
            QStringLiteral("Dump2"),
            QStringLiteral("Indicator"),
            QStringLiteral("Potmeter"),
            QStringLiteral("Constans")};
}

bool isStop(const QString& text) {
    return text == kStop;
}

Kind kind(const QString& text, bool microwire) {
    if (isStop(text))
        return Kind::Stop;
    if (text == u"Dump1")
        return Kind::Dump1;
    if (text == u"Dump2")
        return Kind::Dump2;
    if (text == u"Indicator")
        return Kind::Indicator;
    if (text == u"Potmeter")
        return Kind::Potmeter;
    if (microwire && (text.startsWith(u'x') || text.startsWith(u'X')))
        return Kind::BitString;
    return Kind::Constant;
}

std::optional<int> constantValue(const QString& text) {
    const double v = std::floor(numericValue(text));
    if (!(v >= 0 && v <= 255)) // NaN and the infinities of absurd texts fail here too
        return std::nullopt;
    return static_cast<int>(v);
}

QString rewrittenConstant(int value) {
    return numberText(value);
}

QString HexByteText(const QString& hexDigits) {
    return hexDigits.size() < 2 ? QLatin1Char('0') + hexDigits : hexDigits;
}

QString DecByteText(const QString& signedDecimal) {
    const QString digits = signedDecimal.mid(1);
    if (signedDecimal.size() == 2)
        return QStringLiteral("00") + digits;
    if (signedDecimal.size() == 3)
        return QLatin1Char('0') + digits;
    return digits;
}

QString hexEntry(int byte) {
    return HexByteText(QString::number(byte, 16).toUpper()) + QLatin1Char(' ');
}

QString decimalEntry(int byte) {
    return DecByteText(numberText(byte)) + QLatin1Char(' ');
}

} // namespace CommandCells
