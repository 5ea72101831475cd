#include "model/PanelTexts.h"

#include "base/Numbers.h"
#include "base/Version.h"
#include "bus/MicrowireBus.h"

namespace PanelTexts {

QString title(const QString& fileTitle) {
    return QStringLiteral("I2C/Microwire Tamsolvix V") + numberText(Version::kMajor) +
           QLatin1Char('.') + numberText(Version::kMinor) + QLatin1Char('.') +
           numberText(Version::kPatch) + QStringLiteral(" : ") + fileTitle;
}

QString power(bool on) {
    return on ? QStringLiteral("Power ON") : QStringLiteral("Power OFF");
}

QString port(int number) {
    return QStringLiteral("Port:") + numberText(number);
}

QString sequence(int sequence, bool running) {
    return QStringLiteral("Sequence %1: %2")
        .arg(sequence)
        .arg(running ? QStringLiteral("Run") : QStringLiteral("Stop"));
}

QString interval(int ms) {
    return numberText(ms) + QStringLiteral("mS");
}

QString busMode(bool microwire) {
    return microwire ? QStringLiteral("Microwire") : QStringLiteral("I2C");
}

QString startBit(bool on) {
    return on ? QStringLiteral("S:ON") : QStringLiteral("S:OFF");
}

QString startBitToolTip(bool on) {
    return on ? QStringLiteral("Start bit ON (1)") : QStringLiteral("Start bit OFF");
}

QString resetTimeDigits(int resetTension) {
    return QString::number(ResetPulseMicroseconds(resetTension), 'f', 2);
}

QString resetTime(int resetTension) {
    return resetTimeDigits(resetTension) + QStringLiteral(" uS");
}

QString note(const QString& text) {
    return QStringLiteral("Note: ") + text;
}

} // namespace PanelTexts
