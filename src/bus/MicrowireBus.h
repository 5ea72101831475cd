#pragma once

#include <QString>

// Nominal length of the Microwire reset pulse: one bit time at 2400 baud per unit of the
// reset value, in microseconds.
inline double ResetPulseMicroseconds(int resetValue) {
    return (1.0 / 2400.0) * resetValue * 1000000.0;
}

// The reset time as the status bar shows it: "3750.00 uS" for 9.
inline QString resetTimeText(int resetValue) {
    return QString::number(ResetPulseMicroseconds(resetValue), 'f', 2) + QStringLiteral(" uS");
}
