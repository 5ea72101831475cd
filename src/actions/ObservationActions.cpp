#include "actions/ObservationActions.h"

#include "actions/PowerActions.h"
#include "base/SafeSave.h"
#include "files/BitmapFile.h"
#include "files/ObservationVcd.h"
#include "model/FileTexts.h"

#include <QDir>
#include <QFileInfo>

ObservationActions::ObservationActions(Workbench& bench, PowerActions& power)
    : panel_(bench.panel), dialogs_(bench.dialogs), lines_(bench.lines), trace_(bench.trace),
      lineEvents_(bench.lineEvents), state_(bench.state), power_(power) {}

void ObservationActions::Anal_be_Click() {
    lines_.setAnalysisOn(!lines_.analysisOn());
    panel_.setChecked(Ctl::Anal_be, lines_.analysisOn());
    trace_.clear();
}

std::optional<QString> ObservationActions::exportPath(const QString& filter, const QString& name) {
    const auto path = dialogs_.saveFile(filter, name);
    if (!path)
        return std::nullopt;
    const QFileInfo file(*path);
    if (file.exists() &&
        dialogs_.message(FileTexts::overwriteQuestion(file.fileName()), Dialogs::Buttons::YesNo,
                         Dialogs::Icon::Question) == Dialogs::Answer::No)
        return std::nullopt;
    return path;
}

void ObservationActions::ExportObservation() {
    if (state_.powerOn)
        power_.TogglePower();
    const auto path =
        exportPath(QStringLiteral("BitMap Pictures (*.bmp)|*.bmp|All Files (*.*)|*.*"),
                   QStringLiteral("No Title.bmp"));
    if (!path)
        return;
    if (const int error = saveBitmap(trace_.image(), *path))
        dialogs_.message(QStringLiteral("Hiba: ") + QString::number(error));
}

void ObservationActions::ExportObservationVcd() {
    if (lineEvents_.empty()) {
        dialogs_.message(FileTexts::kNoLineEvents);
        return;
    }
    // Named after the command file: "eeprom-read.scm" suggests "eeprom-read.vcd".
    const QString title = state_.currentFileTitle;
    const qsizetype dot = title.lastIndexOf(u'.');
    const auto path =
        exportPath(QStringLiteral("Value Change Dumps (*.vcd)|*.vcd|All Files (*.*)|*.*"),
                   (dot > 0 ? title.left(dot) : title) + QStringLiteral(".vcd"));
    if (!path)
        return;
    QString why;
    if (saveWith(
            *path, [this](QIODevice& out) { return writeObservationVcd(lineEvents_, out); },
            Streams::Refuse, &why) != 0)
        dialogs_.message(
            QStringLiteral("Cannot write %1: %2.").arg(QDir::toNativeSeparators(*path), why),
            Dialogs::Buttons::Ok, Dialogs::Icon::Critical);
    else if (lineEvents_.dropped() > 0)
        dialogs_.message(FileTexts::droppedEvents(lineEvents_.dropped(), lineEvents_.maxEvents()));
}
