#pragma once

#include "model/Workbench.h"

#include <QString>

#include <optional>

class PowerActions;

// The observation: analysis on and off, the picture's pop-up menu, the exports of the picture
// and of the line events, and the explanation window.
class ObservationActions {
public:
    ObservationActions(Workbench& bench, PowerActions& power);

    // "Observation" menu item: analysis on or off; the picture is cleared.
    void Anal_be_Click();
    // The picture's pop-up menu "Clear": the positions are kept.
    void Rep_Clear_Click() { trace_.clear(); }
    // "Export Observation to BMP" and the pop-up's "Export to Bitmap".
    void ExportObservation();
    // "Export Observation to VCD": the line events of the last run with their times, for
    // logic-analyser software.
    void ExportObservationVcd();
    // "Explanation" in the Analyse menu and in the pop-up.
    void ShowExplanation() { dialogs_.showExplanation(); }

private:
    // The export's save dialog and overwrite question; nullopt when the user backs out.
    std::optional<QString> exportPath(const QString& filter, const QString& name);

    FrontPanel& panel_;
    Dialogs& dialogs_;
    PortLines& lines_;
    Trace& trace_;
    const LineEventLog& lineEvents_;
    TesterState& state_;
    PowerActions& power_;
};
