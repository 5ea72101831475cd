#pragma once

#include "model/Workbench.h"
#include "sequence/CommandCells.h"

#include <vector>

// What a run did, for its caller.
struct RunOutcome {
    // A rejected cell switched the non-stop timer off (the option "Off" is selected).
    bool timerOff = false;
    // The bytes the cells read, in the order they were read.
    std::vector<int> bytesRead;

    // One outcome for two runs in turn.
    RunOutcome& operator+=(const RunOutcome& next);
};

// Runs one sequence, the four command cells of Sequence 1 (C1..C4) or 2 (D1..D4), as one
// transaction on the I2C or the Microwire bus, and shows what happened: the run state in
// status panel 2 or 3, acknowledges in panels 4 to 7, read bytes in the read-outs and on the
// indicator, and, while analysis is on, separators and marks in the observation picture.
//
// The cells are read when the run reaches them; a run keeps no state between calls.
//
//   I2C        start, the cells until a "Stop" or the fourth, stop. An invalid constant stops
//              the run after a message and switches the non-stop timer off.
//   Microwire  reset pulse, the start bit when it is on, the cells, the end condition. An
//              illegal bit stops the run and switches the timer off; an invalid constant
//              stops the run but leaves the timer as it is.
class SequenceRunner {
public:
    explicit SequenceRunner(Workbench& bench)
        : panel_(bench.panel), dialogs_(bench.dialogs), state_(bench.state), lines_(bench.lines),
          trace_(bench.trace), i2c_(bench.i2c), microwire_(bench.microwire) {}

    // Runs the sequence on the I2C or the Microwire bus. Does nothing with the power off; the
    // caller switches the timer off when the outcome says so.
    RunOutcome run(int sequence, bool microwire);

private:
    // How a cell ended; every outcome but Done ends the run with the bus's end condition.
    enum class Cell {
        Done,            // carried out; the run goes on
        Stopped,         // "Stop"
        Rejected,        // refused after a message
        RejectedTimerOff // refused after a message; the non-stop timer is switched off too
    };
    // What comes before the first cell: the start condition, or the reset pulse and the
    // start bit.
    void openI2c();
    void openMicrowire();
    Cell i2cCell(int sequence, int k, RunOutcome& outcome);
    Cell microwireCell(int sequence, int k, RunOutcome& outcome);
    // Shows a byte read where the keyword says.
    void showRead(CommandCells::Kind kind, int byte, RunOutcome& outcome);
    bool analysisOn() const { return lines_.analysisOn(); }

    FrontPanel& panel_;
    Dialogs& dialogs_;
    const TesterState& state_;
    PortLines& lines_;
    Trace& trace_;
    I2cBus& i2c_;
    MicrowireBus& microwire_;
};
