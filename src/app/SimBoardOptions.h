#pragma once

#include "eeprom/EepromChip.h"

#include <QString>

#include <optional>

class QCommandLineParser;
class SimulatedBoard;

// The simulated board's own options, beside --board sim in both programs:
//   --socket CHIP[@ADDRESS][:ORG]   one more EEPROM in the board's socket: 24c02, 24c256@0xA2
//                                   (the device address byte of a 24Cxx, 0xA0 by default),
//                                   93c66:16 (the organisation of a 93Cxx, 8 by default)
//   --sim-state FILE                the board's EEPROM contents: loaded at the start when the
//                                   file exists, written when the program ends
namespace SimBoardOptions {

struct Socket {
    EepromChip chip;
    int addressByte = 0xA0;
};

void addTo(QCommandLineParser& parser);
// The chip of a --socket value; nullopt and why when it is not one.
std::optional<Socket> parseSocket(const QString& text, QString* why);
// Puts what the options ask for on the board: the socket's chip, then the state file's
// contents. Both need a board (nullptr: the options are refused). False and why for a usage
// error: an unknown chip, a state file that does not fit the board or is no regular file.
bool apply(const QCommandLineParser& parser, SimulatedBoard* board, std::optional<Socket>* socket,
           QString* statePath, QString* why);
// A chip into the socket in place of the one there (nullopt: the socket empty).
bool plug(SimulatedBoard& board, const std::optional<EepromChip>& chip, int addressByte,
          QString* why);
// Writes the state file (nothing to do without a path); false and why when it fails.
bool saveState(const SimulatedBoard* board, const QString& statePath, QString* why);

} // namespace SimBoardOptions
