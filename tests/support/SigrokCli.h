#pragma once

#include <QString>
#include <QStringList>

// sigrok-cli as an independent judge of what went over the simulated board's wires: it reads
// a probe's VCD file and runs protocol decoders on it.
class SigrokCli {
public:
    // The program's path, or an empty string when it is not on PATH.
    static QString program();
    // Runs `sigrok-cli -I vcd -i vcdPath -P decoders -A annotations` and returns the
    // annotation texts without their "decoder-1: " prefix. On a failure (no start, time-out,
    // non-zero exit) returns an empty list and puts the reason into error.
    static QStringList decode(const QString& vcdPath, const QString& decoders,
                              const QString& annotations, QString* error);
};
