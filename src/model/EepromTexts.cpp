#include "model/EepromTexts.h"

namespace EepromTexts {

QString writeQuestion(int bytes, const QString& chip) {
    return QStringLiteral("Write the buffer's %1 bytes into the %2?").arg(bytes).arg(chip);
}

QString eraseQuestion(const QString& chip) {
    return QStringLiteral("Erase the %1: every byte 0xFF?").arg(chip);
}

QString portNotOpen(int port, const QString& why) {
    return QStringLiteral("Serial port %1 cannot be opened for the EEPROM work: %2")
        .arg(port)
        .arg(why);
}

QString writtenAndVerified(int bytes, const QString& chip) {
    return QStringLiteral("Wrote %1 bytes into the %2 and verified them.").arg(bytes).arg(chip);
}

QString loaded(int bytes, const QString& file, int from) {
    return QStringLiteral("Loaded %1 bytes from %2 at 0x%3.")
        .arg(bytes)
        .arg(file)
        .arg(from, 4, 16, QLatin1Char('0'));
}

QString saved(int bytes, const QString& file) {
    return QStringLiteral("Saved %1 bytes into %2.").arg(bytes).arg(file);
}

QString selectWindow(int resetValue, std::uint64_t windowNs) {
    return QStringLiteral("reset value %1: %2 µs chip select window")
        .arg(resetValue)
        .arg(static_cast<double>(windowNs) / 1000.0, 0, 'f', 0);
}

QString socketHolds(const QString& chip) {
    return chip.isEmpty() ? QStringLiteral("The socket is empty.")
                          : QStringLiteral("The socket holds a %1.").arg(chip);
}

} // namespace EepromTexts
