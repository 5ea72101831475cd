#pragma once

#include <QString>

#include <cstdint>

// What the EEPROM programmer window shows, and the messages of its work that are not the
// programmers' own (those name the chip, the bytes and the first difference themselves).
namespace EepromTexts {

inline const QString kTitle = QStringLiteral("EEPROM Programmer");
inline const QString kChip = QStringLiteral("&Chip:");
inline const QString kAddress = QStringLiteral("&Address:");
inline const QString kSocket = QStringLiteral("&Socket:");
inline const QString kEmptySocket = QStringLiteral("(empty)");
inline const QString kRead = QStringLiteral("&Read");
inline const QString kWrite = QStringLiteral("&Write");
inline const QString kVerify = QStringLiteral("&Verify");
inline const QString kErase = QStringLiteral("&Erase");
inline const QString kVerifyAfterWrite = QStringLiteral("Verify after writing");
inline const QString kLoad = QStringLiteral("&Load File...");
inline const QString kSave = QStringLiteral("Sa&ve File...");
inline const QString kCancel = QStringLiteral("Cancel");
inline const QString kAscii = QStringLiteral("ASCII");
// The file dialogs' filter: Intel HEX, the dump (written only), binary.
inline const QString kOpenFilter =
    QStringLiteral("EEPROM Images (*.bin *.hex *.ihx *.ihex *.rom *.eep)|*.bin|"
                   "All Files (*.*)|*.*");
inline const QString kSaveFilter =
    QStringLiteral("Binary (*.bin)|*.bin|Intel HEX (*.hex)|*.hex|Hex Dump (*.txt)|*.txt|"
                   "All Files (*.*)|*.*");
inline const QString kBusy =
    QStringLiteral("Another bus action is under way: try again when it has ended.");
inline const QString kNotWritten = QStringLiteral("Nothing was written: the chip is as it was.");

// "Write the buffer's 256 bytes into the 24C02 at 0xA0?" and the erase question.
QString writeQuestion(int bytes, const QString& chip);
QString eraseQuestion(const QString& chip);
// Why the port could not be opened for the work.
QString portNotOpen(int port, const QString& why);
// A write that was read back: "Wrote 256 bytes into the 24C02 at 0xA0 and verified them."
QString writtenAndVerified(int bytes, const QString& chip);
// "Loaded 256 bytes from a.hex at 0x0000." and "Saved 256 bytes into a.bin."
QString loaded(int bytes, const QString& file, int from);
QString saved(int bytes, const QString& file);
// The chip select window of a 93Cxx: "reset value 9: 3750 µs chip select window".
QString selectWindow(int resetValue, std::uint64_t windowNs);
// The socket of the simulated board: "The socket holds a 24C256 at 0xA0." / "... is empty."
QString socketHolds(const QString& chip);

} // namespace EepromTexts
