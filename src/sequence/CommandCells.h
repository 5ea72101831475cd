#pragma once

#include <QString>
#include <QStringList>

#include <optional>

// What a command cell's text means to a run. The keywords are compared exactly and
// case-sensitively; surrounding blanks make a text no keyword.
//
//   "Stop"                 ends the sequence
//   "Dump1", "Dump2"       read a byte into that read-out pair (either sequence may use either)
//   "Indicator"            read a byte onto the indicator
//   "Potmeter"             write the slider's value
//   x / X and bits         Microwire only: write the bits that follow, left to right
//   anything else          a constant: its numeric value, rounded down, must be 0 to 255
namespace CommandCells {

enum class Kind {
    Stop,
    Dump1,
    Dump2,
    Indicator,
    Potmeter,
    BitString,
    Constant
};

inline const QString kStop = QStringLiteral("Stop");

// The list items every cell offers, in this order; "Constans" is no keyword (it is the
// constant 0).
QStringList keywords();

Kind kind(const QString& text, bool microwire);
// Whether the text is the keyword "Stop" (that ends the sequence before this cell).
bool isStop(const QString& text);

// The byte a constant stands for, or nullopt when it is outside 0 to 255 (also when it is too
// large for any integer, or not a number at all beyond its leading part).
std::optional<int> constantValue(const QString& text);

// The text a run writes back into a cell holding an accepted constant: " 31" for "&h1F".
QString rewrittenConstant(int value);

// "5" -> "05", "1F" -> "1F": the input is upper-case hexadecimal digits without prefix.
QString HexByteText(const QString& hexDigits);
// " 5" -> "005", " 42" -> "042", " 200" -> "200": the input has one leading sign position.
QString DecByteText(const QString& signedDecimal);

// The read-out entries of one byte: "0A " for Hex1/Hex2 and "010 " for Dump1/Dump2.
QString hexEntry(int byte);
QString decimalEntry(int byte);

} // namespace CommandCells
