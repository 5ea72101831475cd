#pragma once

#include "actions/AdapterActions.h"
#include "actions/DiagnosticActions.h"
#include "actions/EepromActions.h"
#include "actions/FileActions.h"
#include "actions/ObservationActions.h"
#include "actions/PowerActions.h"
#include "actions/RunActions.h"
#include "actions/SetupActions.h"
#include "model/Workbench.h"

#include <QObject>
#include <QString>

class QSettings;

// The tool without its window: the program-wide state (the Workbench) and the user actions,
// grouped by concern. The window (or the command-line tool, or a test) calls the actions;
// they work on the port through the line driver, and show their results in the FrontPanel
// model and through the Dialogs seam.
//
// The actions keep the names of the window's event handlers (power().TogglePower(),
// setup().Status_PanelDblClick(), ...), so a handler can be found by the name of its control.
class Tester : public QObject {
public:
    // The five persisted settings, as the stored strings.
    struct StartSettings {
        QString port = QStringLiteral("1");
        QString timer = QStringLiteral("1000");
        QString microwire = QStringLiteral("0");
        QString analysis = QStringLiteral("True");
        QString start = QStringLiteral("True");
    };

    Tester(FrontPanel& panel, PortBackend& port, Dialogs& dialogs);

    // The actions by concern.
    PowerActions& power() { return power_; }
    SetupActions& setup() { return setup_; }
    RunActions& runs() { return runs_; }
    DiagnosticActions& diagnostics() { return diagnostics_; }
    ObservationActions& observation() { return observation_; }
    FileActions& files() { return files_; }
    AdapterActions& adapter() { return adapter_; }
    EepromActions& eeprom() { return eeprom_; }

    // What they work on.
    FrontPanel& panel() { return bench_.panel; }
    PortLines& lines() { return bench_.lines; }
    I2cBus& i2c() { return bench_.i2c; }
    MicrowireBus& microwire() { return bench_.microwire; }
    Trace& trace() { return bench_.trace; }
    const LineEventLog& lineEvents() const { return bench_.lineEvents; }
    const QTimer& timer() const { return bench_.timer; }

    // The state.
    int portNumber() const { return bench_.state.portNumber; }
    bool powerOn() const { return bench_.state.powerOn; }
    bool analysisOn() const { return bench_.lines.analysisOn(); }
    bool startBitOn() const { return bench_.state.startBitOn; }
    int resetTension() const { return bench_.state.resetTension; }
    int timerSelection() const { return bench_.state.timerSelection; }
    int timerInterval() const { return bench_.timer.interval(); }
    const QString& currentFileTitle() const { return bench_.state.currentFileTitle; }
    const QString& noteText() const { return bench_.state.noteText; }
    bool busy() const { return bench_.busy; }

    // The five settings as the store holds them under "Setup"; defaults where absent.
    static StartSettings readSettings(QSettings& store);
    // Gives the state its start values and puts every control into its start state.
    void startUp(const StartSettings& settings);
    // The window closes: the port is closed and the five settings are written back (and the
    // adapter's timing, when it was set in the window).
    void shutDown(QSettings& store);

private:
    void showStartState();

    Workbench bench_;
    PowerActions power_;
    SetupActions setup_;
    RunActions runs_;
    DiagnosticActions diagnostics_;
    ObservationActions observation_;
    FileActions files_;
    AdapterActions adapter_;
    EepromActions eeprom_;
};
