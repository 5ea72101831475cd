#include "app/SimBoardOptions.h"

#include "base/SafeSave.h"
#include "sim/SimulatedBoard.h"

#include <QCommandLineParser>
#include <QFileInfo>
#include <QStringList>

namespace SimBoardOptions {

void addTo(QCommandLineParser& parser) {
    parser.addOption(
        {QStringLiteral("socket"),
         QStringLiteral("With --board sim: one more EEPROM in the board's socket, 24c01 to "
                        "24c512 (at the device address byte ADDRESS, 0xA0 by default) or 93c46, "
                        "93c56, 93c66 (in the organisation ORG, 8 or 16, 8 by default)."),
         QStringLiteral("CHIP[@ADDRESS][:ORG]")});
    parser.addOption({QStringLiteral("sim-state"),
                      QStringLiteral("With --board sim: the contents of the board's EEPROMs, "
                                     "loaded at the start when FILE exists and written when the "
                                     "program ends."),
                      QStringLiteral("FILE")});
}

std::optional<Socket> parseSocket(const QString& text, QString* why) {
    QString name = text.section(u':', 0, 0);
    const QString org = text.section(u':', 1);
    const QString address = name.section(u'@', 1);
    name = name.section(u'@', 0, 0);
    bool orgOk = true;
    const int bits = org.isEmpty() ? 8 : org.toInt(&orgOk);
    bool addressOk = true;
    const int addressByte = address.isEmpty() ? 0xA0 : address.toInt(&addressOk, 0);
    const std::optional<EepromChip> chip =
        orgOk ? EepromChip::find(name, bits) : std::optional<EepromChip>();
    const bool i2c = chip && chip->bus == EepromChip::Bus::I2c;
    if (!chip || (i2c && !org.isEmpty()) || (!i2c && !address.isEmpty())) {
        *why = QStringLiteral("bad --socket '%1' (CHIP[@ADDRESS] for 24c01 to 24c512, "
                              "CHIP[:8|:16] for 93c46, 93c56, 93c66)")
                   .arg(text);
        return std::nullopt;
    }
    if (!addressOk || addressByte < 0xA0 || addressByte > 0xAE || addressByte % 2 != 0) {
        *why = QStringLiteral("bad --socket '%1': a 24Cxx answers at an even address byte from "
                              "0xA0 to 0xAE")
                   .arg(text);
        return std::nullopt;
    }
    return Socket{*chip, addressByte};
}

bool plug(SimulatedBoard& board, const std::optional<EepromChip>& chip, int addressByte,
          QString* why) {
    board.removeSocketChip();
    return !chip || board.addSocketChip(QLatin1StringView(chip->name), addressByte, chip->org, why);
}

bool apply(const QCommandLineParser& parser, SimulatedBoard* board, std::optional<Socket>* socket,
           QString* statePath, QString* why) {
    const QString socketText = parser.value(QStringLiteral("socket"));
    const QString state = parser.value(QStringLiteral("sim-state"));
    if (socketText.isEmpty() && state.isEmpty())
        return true;
    if (!board) {
        *why = QStringLiteral("--socket and --sim-state belong to --board sim");
        return false;
    }
    if (!socketText.isEmpty()) {
        *socket = parseSocket(socketText, why);
        if (!*socket || !plug(*board, (*socket)->chip, (*socket)->addressByte, why))
            return false;
    }
    if (state.isEmpty())
        return true;
    const SaveTarget target = saveTarget(state);
    if (target != SaveTarget::NewFile && target != SaveTarget::File) {
        *why = QStringLiteral("--sim-state %1 is not a regular file").arg(state);
        return false;
    }
    if (target == SaveTarget::File && !board->loadState(state, why))
        return false;
    *statePath = state;
    return true;
}

bool saveState(const SimulatedBoard* board, const QString& statePath, QString* why) {
    return !board || statePath.isEmpty() || board->saveState(statePath, why);
}

} // namespace SimBoardOptions
