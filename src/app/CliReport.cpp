#include "app/CliReport.h"

#include "files/CommandFile.h"
#include "ui/FrontPanel.h"
#include "ui/Tester.h"

#include <QJsonValue>

namespace {

// A read-out keeps the window's line ends; a terminal wants plain ones.
QString plainLines(QString text) {
    return text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
}

} // namespace

QJsonArray CliReport::acknowledged(const DeviceScan::Acknowledged& acknowledged) {
    QJsonArray bytes;
    for (int a = 0; a < 256; ++a)
        if (acknowledged[static_cast<std::size_t>(a)])
            bytes.append(a);
    return bytes;
}

QString CliReport::option() const {
    static constexpr struct {
        Ctl option;
        const char* name;
    } kOptions[] = {
        {Ctl::Noff, "Off"}, {Ctl::Ns1, "Seq1"}, {Ctl::Ns2, "Seq2"}, {Ctl::Ns12, "Seq12"}};
    for (const auto& o : kOptions)
        if (panel_.isChecked(o.option))
            return QString::fromLatin1(o.name);
    return {};
}

QJsonObject CliReport::json() const {
    QJsonArray panels;
    QJsonArray panelsEnabled;
    for (int n = 1; n <= FrontPanel::kPanels; ++n) {
        panels.append(panel_.text(FrontPanel::panel(n)));
        panelsEnabled.append(panel_.isEnabled(FrontPanel::panel(n)));
    }
    QJsonObject cells;
    QJsonObject cellsEnabled;
    for (int i = 0; i < FrontPanel::kCells; ++i) {
        const Ctl cell = FrontPanel::cell(1 + i / 4, 1 + i % 4);
        cells.insert(CommandFile::cellName(i), panel_.text(cell));
        cellsEnabled.insert(CommandFile::cellName(i), panel_.isEnabled(cell));
    }
    const QString checked = option();
    return QJsonObject{
        {QStringLiteral("panels"), panels},
        {QStringLiteral("panels_enabled"), panelsEnabled},
        {QStringLiteral("dump1"), panel_.text(Ctl::Dump1)},
        {QStringLiteral("hex1"), panel_.text(Ctl::Hex1)},
        {QStringLiteral("dump2"), panel_.text(Ctl::Dump2)},
        {QStringLiteral("hex2"), panel_.text(Ctl::Hex2)},
        {QStringLiteral("indicator"), panel_.value(Ctl::Analog_be)},
        {QStringLiteral("cells"), cells},
        {QStringLiteral("cells_enabled"), cellsEnabled},
        {QStringLiteral("mode"),
         panel_.isChecked(Ctl::Mset_micro) ? QStringLiteral("Microwire") : QStringLiteral("I2C")},
        {QStringLiteral("option"), checked.isEmpty() ? QJsonValue() : QJsonValue(checked)},
        {QStringLiteral("title"), panel_.text(Ctl::Fo)},
        {QStringLiteral("note"), tester_.noteText()},
        {QStringLiteral("power"), tester_.powerOn()},
        {QStringLiteral("messages"), QJsonArray::fromStringList(messages_)},
    };
}

void CliReport::printText(std::FILE* out) const {
    QStringList panels;
    for (int n = 1; n <= FrontPanel::kPanels; ++n) {
        const Ctl p = FrontPanel::panel(n);
        panels << (QLatin1Char('[') + panel_.text(p) + (panel_.isEnabled(p) ? "]" : "] (grey)"));
    }
    std::fprintf(out, "Status bar: %s\n", qPrintable(panels.join(QLatin1Char(' '))));
    const QString checked = option();
    std::fprintf(out, "Power:      %s, %s, non-stop option %s\n", tester_.powerOn() ? "on" : "off",
                 panel_.isChecked(Ctl::Mset_micro) ? "Microwire" : "I2C",
                 checked.isEmpty() ? "none" : qPrintable(checked));
    QStringList cells;
    for (int i = 0; i < FrontPanel::kCells; ++i) {
        const Ctl cell = FrontPanel::cell(1 + i / 4, 1 + i % 4);
        cells << CommandFile::cellName(i) + QLatin1Char('=') + panel_.text(cell) +
                     (panel_.isEnabled(cell) ? QString() : QStringLiteral(" (grey)"));
        if (i == 3) {
            std::fprintf(out, "Sequence 1: %s\n", qPrintable(cells.join(QStringLiteral("  "))));
            cells.clear();
        }
    }
    std::fprintf(out, "Sequence 2: %s\n", qPrintable(cells.join(QStringLiteral("  "))));
    std::fprintf(out, "Dump1:      %s\n", qPrintable(plainLines(panel_.text(Ctl::Dump1))));
    std::fprintf(out, "Hex1:       %s\n", qPrintable(panel_.text(Ctl::Hex1)));
    std::fprintf(out, "Dump2:      %s\n", qPrintable(plainLines(panel_.text(Ctl::Dump2))));
    std::fprintf(out, "Hex2:       %s\n", qPrintable(panel_.text(Ctl::Hex2)));
    std::fprintf(out, "Indicator:  %d\n", panel_.value(Ctl::Analog_be));
}
