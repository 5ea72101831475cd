#pragma once

#include "model/Workbench.h"
#include "sequence/SequenceRunner.h"

class PowerActions;

// The runs: the Go buttons, Enter in a command cell, the non-stop timer and its options, the
// read-outs' Clear buttons and the Stop rule of the cells.
class RunActions {
public:
    RunActions(Workbench& bench, PowerActions& power);

    // The Go buttons (the power is switched on first) and Enter in a command cell.
    void Go1_Click() { goRun(1); }
    void Go2_Click() { goRun(2); }
    void cellEnterPressed(Ctl cell);
    // Runs sequence 1 or 2 on the bus the "Microwire serial" check mark chooses (nothing while
    // another bus action is under way).
    RunOutcome RunSequence(int sequence);
    // The Clear buttons of the read-outs.
    void Cl1_Click();
    void Cl2_Click();
    // One tick of the non-stop timer.
    RunOutcome Timer_Timer() { return tick(state_.timerSelection); }
    // A tick for this selection: 1, 2, or 12 (Sequence 1 then 2); 0 runs nothing.
    RunOutcome tick(int selection);

    // Selects one option of the non-stop group (Noff, Ns1, Ns2, Ns12): the timer selection
    // follows, and the timer runs for every option but Noff.
    void selectOption(Ctl option);
    // The three cells after the first of each sequence are greyed behind a "Stop".
    void ApplyStopRule();

private:
    void goRun(int sequence);
    RunOutcome runSequence(int sequence, bool microwire);

    FrontPanel& panel_;
    TesterState& state_;
    QTimer& timer_;
    bool& busy_;
    PowerActions& power_;
    SequenceRunner runner_;
};
