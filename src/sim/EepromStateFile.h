#pragma once

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <vector>

// The contents of a simulated board's EEPROMs, kept in a text file between two runs of the
// programs so that what one writes the next can read, as on a real board.
//
//   Tamsolvix simulated board 1
//   # comment lines and empty lines are skipped
//   chip board-24c02 24C02 256
//   ffffffff...            32 bytes a line as 64 hex digits, as many lines as the size needs
//   chip socket 24C256 32768
//   ...
//
// Each "chip" line names a place on the board (board-24c02, board-93c46, socket), the part in
// it and its size in bytes. Loading checks the whole file before it changes anything: every
// place must be on this board and hold that part, with exactly its size in hex digits. A place
// the file leaves out keeps its power-on contents (a fresh chip put into the socket).
class EepromStateFile {
public:
    struct Slot {
        QString place;                     // "socket"
        QString part;                      // "24C256"
        std::vector<std::uint8_t>* memory; // the chip's contents
    };

    static QByteArray text(const std::vector<Slot>& chips);
    // False, with a one-line reason that names the line, when text does not fit the chips;
    // then no slot has been changed.
    static bool parse(const QByteArray& text, const std::vector<Slot>& chips, QString* whyNot);

    // Writes beside path and renames over it only when everything is written.
    static bool save(const QString& path, const std::vector<Slot>& chips, QString* whyNot);
    static bool load(const QString& path, const std::vector<Slot>& chips, QString* whyNot);
};
