#pragma once

#include <QString>
#include <QStringView>

// The one rule for reading a number out of a text, used by the command cells, the port
// question, the interval and reset dialogs and the settings:
//   - blanks, tabs and line feeds are ignored wherever they stand;
//   - "&H" / "&h" + hexadecimal digits, or "&O" / "&o" + octal digits;
//   - otherwise an optional sign, digits, an optional "." and digits, an optional exponent
//     ("E", "e", "D" or "d", optional sign, digits);
//   - reading stops at the first character that fits none of these; no leading number is 0.
// The result is a double: a text too large for any integer type (thousands of digits, a huge
// exponent) reads as an infinity, which every caller treats as out of range. Hexadecimal and
// octal values are taken as unsigned magnitudes (&hFFFF is 65535).
double numericValue(QStringView text);

// A number with one leading sign position: a blank for zero and positive values, "-" for
// negative ones (" 5", "-3"). Used for panel texts, captions, messages and settings.
QString numberText(long long value);
