#pragma once

#include "bus/DeviceScan.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <cstdio>

class FrontPanel;
class Tester;

// What brolmet-cli reports after a command: the status panels, the read-outs, the indicator,
// the command cells, the bus mode and non-stop option, the title, the note, the power and the
// message boxes shown, in order. As text for a person, or as one JSON object for a program.
class CliReport {
public:
    CliReport(const FrontPanel& panel, const Tester& tester, const QStringList& messages)
        : panel_(panel), tester_(tester), messages_(messages) {}

    // The whole state as one object; see the README for its fields.
    QJsonObject json() const;
    // The status panels, the read-outs, the indicator and the cells, one item a line.
    void printText(std::FILE* out) const;

    // The address bytes the device scan found acknowledged, as numbers.
    static QJsonArray acknowledged(const DeviceScan::Acknowledged& acknowledged);
    // The checked option of the non-stop group ("Off", "Seq1", "Seq2", "Seq12"); empty when
    // none is checked.
    QString option() const;

private:
    const FrontPanel& panel_;
    const Tester& tester_;
    const QStringList& messages_;
};
