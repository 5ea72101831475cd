#pragma once

#include "bus/DeviceScan.h"
#include "bus/I2cBus.h"
#include "bus/MicrowireBus.h"
#include "bus/PortLines.h"
#include "bus/Trace.h"
#include "files/CommandFile.h"
#include "sequence/SequenceRunner.h"
#include "sequence/TesterState.h"
#include "ui/Dialogs.h"
#include "ui/FrontPanel.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>

class CommandFileReader;
class QSettings;

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
    MicrowireBus& microwire() { return microwire_; }
    Trace& trace() { return trace_; }
    const LineEventLog& lineEvents() const { return lineEvents_; }
    SequenceRunner& runner() { return runner_; }
    const QTimer& timer() const { return timer_; }

    // Tester state
    const TesterState& state() const { return state_; }
    int portNumber() const { return state_.portNumber; }
    bool powerOn() const { return state_.powerOn; }
    bool analysisOn() const { return lines_.analysisOn(); }
    bool startBitOn() const { return state_.startBitOn; }
    int resetTension() const { return state_.resetTension; }
    int timerSelection() const { return state_.timerSelection; }
    int timerInterval() const { return timer_.interval(); }
    const QString& currentFileTitle() const { return state_.currentFileTitle; }
    const QString& noteText() const { return state_.noteText; }
    const QStringList& commandKeywords() const { return commandKeywords_; }
    // True while a run, the device scan or the line test is under way (also while it waits
    // in a message box or yields to the user interface).
    bool busy() const { return busy_; }

    // The five settings as the store holds them under "Setup"; defaults where absent.
    static StartSettings readSettings(QSettings& store);
    // Gives the state its start values and puts every control into its start state.
    void startUp(const StartSettings& settings);
    // The window closes: the port is closed and the five settings are written back.
    void shutDown(QSettings& store);

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
    // "Reset keeping": asks for the Microwire reset value 1 to 9.
    void Mset_reset_Click();

    // "Device Detect": tries the 256 address bytes and lists the acknowledged ones; returns
    // which were acknowledged (none when another bus action is under way).
    DeviceScan::Acknowledged DeviceDetect();
    // "Line Test": toggles RTS 255 times and checks that DSR follows.
    void LineProbe();

    // The Go buttons (the power is switched on first) and Enter in a command cell.
    void Go1_Click() { goRun(1); }
    void Go2_Click() { goRun(2); }
    void cellEnterPressed(Ctl cell);
    // Runs sequence 1 or 2 on the bus the "Microwire serial" check mark chooses.
    void RunSequence(int sequence);
    // The Clear buttons of the read-outs.
    void Cl1_Click();
    void Cl2_Click();
    // "Non-Stop Timer" and a double-click on the interval's panel: asks for the interval.
    void Mset_timer_Click();
    // One tick of the non-stop timer.
    void Timer_Timer();

    // "Observation" menu item: analysis on or off; the picture is cleared.
    void Anal_be_Click();
    // The picture's pop-up menu "Clear": the positions are kept.
    void Rep_Clear_Click() { trace_.clear(); }
    // "Export Observation to BMP" and the pop-up's "Export to Bitmap".
    void ExportObservation();
    // "Export Observation to VCD": the line events of the last run with their times, for
    // logic-analyser software.
    void ExportObservationVcd();
    static inline const QString kNoLineEvents =
        QStringLiteral("There are no line events to export: switch Observation on in the "
                       "Analyse menu and run a sequence.");
    // What an export says when the run had more line events than the log keeps.
    static QString droppedEventsText(const LineEventLog& log);
    // "Explanation" in the Analyse menu and in the pop-up.
    void ShowExplanation() { dialogs_.showExplanation(); }
    // The question before a save or an export replaces the file fileName.
    static QString overwriteQuestion(const QString& fileName);
    // "Save Commands" and "Open Commands": the whole set-up as a command file.
    void Mfile_save_Click();
    void Mfile_open_Click();
    // The command file named on the command line, read once at the end of the start-up.
    void loadAtStartUp(const QString& path);
    // "Associate .scm File": the desktop opens command files with this program.
    void Mset_asoc_Click();
    // What a save would write now, with this file title.
    CommandFile commandFile(const QString& title) const;

    // "About Tamsolvix".
    void Mfile_about_Click();
    static QString aboutText();

    // Selects one option of the non-stop group (Noff, Ns1, Ns2, Ns12): the timer selection
    // follows, and the timer runs for every option but Noff.
    void selectOption(Ctl option);

    // The three cells after the first of each sequence are greyed behind a "Stop".
    void ApplyStopRule();

private:
    // Marks a bus action as under way for as long as it lives.
    class BusyGuard;
    void goRun(int sequence);
    void runSequence(int sequence, bool microwire);
    // The export's save dialog and overwrite question; nullopt when the user backs out.
    std::optional<QString> exportPath(const QString& filter, const QString& name);
    // Reads and applies a command file line by line; 0, a run-time error number, or
    // kHeaderRefused when the first line is not the header (the message has been shown).
    int applyCommandFile(CommandFileReader& file);
    static constexpr int kHeaderRefused = -1;
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
    LineEventLog lineEvents_;
    I2cBus i2c_;
    MicrowireBus microwire_;
    TesterState state_;
    SequenceRunner runner_;
    QTimer timer_;
    QStringList commandKeywords_;
    bool busy_ = false;

    QString lostReason_;
    bool lostPending_ = false;
};
