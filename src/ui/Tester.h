#pragma once

#include "bus/I2cBus.h"
#include "bus/PortLines.h"
#include "bus/Trace.h"
#include "ui/Dialogs.h"
#include "ui/FrontPanel.h"

#include <QObject>
#include <QString>
#include <QStringList>

// The program-wide state and the user actions of the tool. The window (or the command-line
// tool, or a test) calls the actions; they work on the port through the line driver, and show
// their results in the FrontPanel model and through the Dialogs seam.
//
// The actions keep the names of the window's event handlers (TogglePower, ChoosePort,
// Status_PanelDblClick, ...), so a handler can be found by the name of its control.
class Tester : public QObject {
    Q_OBJECT
public:
    static constexpr int kVersionMajor = 3;
    static constexpr int kVersionMinor = 0;
    static constexpr int kVersionRevision = 0;
    static inline const QString kApplicationTitle = QStringLiteral("Tamsolvix");

    // The five persisted settings, as the stored strings.
    struct StartSettings {
        QString port = QStringLiteral("1");
        QString timer = QStringLiteral("1000");
        QString microwire = QStringLiteral("0");
        QString analizis = QStringLiteral("True");
        QString start = QStringLiteral("True");
    };

    // The observation picture's inner area, inside its sunken border.
    static constexpr QSize kPictureSize{533, 37};

    Tester(FrontPanel& panel, PortBackend& port, Dialogs& dialogs);

    FrontPanel& panel() { return panel_; }
    PortLines& lines() { return lines_; }
    I2cBus& i2c() { return i2c_; }
    Trace& trace() { return trace_; }

    // Tester state
    int portNumber() const { return portNumber_; }
    bool powerOn() const { return powerOn_; }
    bool analysisOn() const { return lines_.analysisOn(); }
    bool startBitOn() const { return startBitOn_; }
    int resetTension() const { return resetTension_; }
    int timerSelection() const { return timerSelection_; }
    int timerInterval() const { return timerInterval_; }
    const QString& currentFileTitle() const { return currentFileTitle_; }
    const QString& noteText() const { return noteText_; }
    const QStringList& commandKeywords() const { return commandKeywords_; }

    // Gives the state its start values and puts every control into its start state.
    void startUp(const StartSettings& settings);

    // Power button (PowerG): switches the adapter on (port open, idle levels) or off.
    void TogglePower();
    // "Serial Port" menu item: asks for the port number, tests the port and leaves it closed.
    void ChoosePort();
    // A double-click on status bar panel `number` (1 to 11): dispatched on the panel's text.
    void Status_PanelDblClick(int number);
    // Note button and double-click on the note label.
    void EditNote();
    void UpdateTitle();
    // "Microwire serial" menu item: switches the bus mode and everything that shows it.
    void Mset_micro_Click();
    // "Start bit" menu item.
    void Mset_start_Click();

    // "Observation" menu item: analysis on or off; the picture is cleared.
    void Anal_be_Click();
    // The picture's pop-up menu "Clear": the positions are kept.
    void Rep_Clear_Click() { trace_.clear(); }
    // "Export Observation to BMP" and the pop-up's "Export to Bitmap".
    void ExportObservation();
    // "Explanation" in the Analyse menu and in the pop-up.
    void ShowExplanation() { dialogs_.showExplanation(); }
    // "About Tamsolvix".
    void Mfile_about_Click();
    static QString aboutText();

    // The non-stop option group (Noff, Ns1, Ns2, Ns12); nothing else is accepted.
    void selectOption(Ctl option);

    // The three cells after the first of each sequence are greyed behind a "Stop".
    void ApplyStopRule();

private:
    void showI2cColumn();
    void showStartBit(bool on);
    void showPower();
    void setPortPanel();
    void portLost(const QString& why);
    void handlePortLost();

    FrontPanel& panel_;
    Dialogs& dialogs_;
    PortLines lines_;
    Trace trace_{kPictureSize};
    I2cBus i2c_;

    int portNumber_ = 1;
    bool powerOn_ = false;
    bool startBitOn_ = false;
    int resetTension_ = 9;
    int timerSelection_ = 0;
    int timerInterval_ = 1000;
    QString currentFileTitle_;
    QString noteText_;
    QStringList commandKeywords_;

    QString lostReason_;
    bool lostPending_ = false;
};
