#pragma once

#include "files/CommandFile.h"
#include "model/Workbench.h"

#include <QString>

class CommandFileReader;
class PowerActions;
class RunActions;
class SetupActions;

// The file commands: the whole set-up saved as a command file and loaded again (from the menu
// or from the command line at start-up), the file association and the About box.
class FileActions {
public:
    FileActions(Workbench& bench, PowerActions& power, SetupActions& setup, RunActions& runs);

    // "Save Commands" and "Open Commands": the whole set-up as a command file. Open returns
    // whether a file was loaded.
    void Mfile_save_Click();
    bool Mfile_open_Click();
    // The command file named on the command line, read once at the end of the start-up.
    void loadAtStartUp(const QString& path);
    // "Associate .scm File": the desktop opens command files with this program.
    void Mset_asoc_Click();
    // "About Tamsolvix".
    void Mfile_about_Click();

    // What a save would write now, with this file title.
    CommandFile commandFile(const QString& title) const;

private:
    // Reads a command file and applies it line by line, up to the line that failed; 0, a
    // run-time error number, or kHeaderRefused when the first line is not the header (the
    // message has been shown).
    int applyCommandFile(CommandFileReader& file);
    static constexpr int kHeaderRefused = -1;
    void applyInterval(int interval);
    void applyMode(bool microwire);
    void applyStartBitAgain(bool on);
    void applyNonStop(bool noffSelected);

    FrontPanel& panel_;
    Dialogs& dialogs_;
    PortLines& lines_;
    Trace& trace_;
    TesterState& state_;
    QTimer& timer_;
    PowerActions& power_;
    SetupActions& setup_;
    RunActions& runs_;
};
