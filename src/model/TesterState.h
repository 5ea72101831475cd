#pragma once

#include <QString>

// The program-wide values every action shares. Analysis (AnalysisOn) lives in the line
// driver, which reads it on every line operation; the timer's interval lives in the timer.
struct TesterState {
    int portNumber = 1;       // serial port 1 to 4 (a stored setting may hold another number)
    bool powerOn = false;     // adapter powered, port open; written by TogglePower only
    bool startBitOn = false;  // a Microwire run sends a 1 bit first
    int resetTension = 9;     // Microwire reset pulse length 1 to 9 ("Reset keeping")
    int timerSelection = 0;   // what a timer tick runs: 0 nothing, 1, 2 or 12 (both)
    QString currentFileTitle; // name of the current command file, without folder
    QString noteText;         // the note on the sequences; never empty
};
