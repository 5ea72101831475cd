#pragma once

#include "bus/I2cBus.h"
#include "bus/MicrowireBus.h"
#include "model/Dialogs.h"
#include "model/FrontPanel.h"
#include "model/TesterState.h"
#include "model/Trace.h"
#include "sequence/CommandCells.h"

#include <functional>

// Runs one sequence, the four command cells of Sequence 1 (C1..C4) or 2 (D1..D4), as one
// transaction on the I2C or the Microwire bus, and shows what happened: the run state in
// status panel 2 or 3, acknowledges in panels 4 to 7, read bytes in the read-outs and on the
// indicator, and, while analysis is on, separators and marks in the observation picture.
//
// The cells are read when the run reaches them; a run keeps no state between calls.
class SequenceRunner {
public:
    SequenceRunner(FrontPanel& panel, Dialogs& dialogs, const TesterState& state, PortLines& lines,
                   Trace& trace, I2cBus& i2c, MicrowireBus& microwire,
                   std::function<void()> selectNoff)
        : panel_(panel), dialogs_(dialogs), state_(state), lines_(lines), trace_(trace), i2c_(i2c),
          microwire_(microwire), selectNoff_(std::move(selectNoff)) {}

    // Start, the cells until a "Stop" or the fourth, stop. Does nothing with the power off.
    // An invalid constant stops the run after a message and switches the non-stop timer off.
    void RunI2cSequence(int sequence);
    // Reset pulse, the start bit when it is on, the cells, the end condition. Does nothing
    // with the power off. An illegal bit stops the run and switches the timer off; an invalid
    // constant stops the run but leaves the timer as it is.
    void RunMicrowireSequence(int sequence);

private:
    // How a cell ended; every outcome but Done ends the run with the bus's end condition.
    enum class Cell {
        Done,            // carried out; the run goes on
        Stopped,         // "Stop"
        Rejected,        // refused after a message
        RejectedTimerOff // refused after a message; the non-stop timer is switched off too
    };
    Cell i2cCell(int sequence, int k);
    Cell microwireCell(int sequence, int k);
    // Reads a byte with the bus's read and shows it where the keyword says.
    void showRead(CommandCells::Kind kind, int byte);
    void setRunPanel(int sequence, bool running);
    bool analysing() const { return lines_.analysisOn(); }

    FrontPanel& panel_;
    Dialogs& dialogs_;
    const TesterState& state_;
    PortLines& lines_;
    Trace& trace_;
    I2cBus& i2c_;
    MicrowireBus& microwire_;
    std::function<void()> selectNoff_;
};
