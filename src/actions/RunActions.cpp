#include "actions/RunActions.h"

#include "actions/BusyGuard.h"
#include "actions/PowerActions.h"
#include "sequence/CommandCells.h"

RunActions::RunActions(Workbench& bench, PowerActions& power)
    : panel_(bench.panel), state_(bench.state), timer_(bench.timer), busy_(bench.busy),
      power_(power), runner_(bench) {}

void RunActions::goRun(int sequence) {
    if (busy_)
        return;
    if (!state_.powerOn)
        power_.TogglePower();
    RunSequence(sequence);
}

void RunActions::cellEnterPressed(Ctl cell) {
    for (int k = 1; k <= 4; ++k) {
        if (cell == FrontPanel::cell(1, k))
            Go1_Click();
        else if (cell == FrontPanel::cell(2, k))
            Go2_Click();
    }
}

RunOutcome RunActions::RunSequence(int sequence) {
    return runSequence(sequence, panel_.isChecked(Ctl::Mset_micro));
}

RunOutcome RunActions::runSequence(int sequence, bool microwire) {
    if (busy_)
        return {};
    BusyGuard guard(busy_);
    const RunOutcome outcome = runner_.run(sequence, microwire);
    if (outcome.timerOff)
        selectOption(Ctl::Noff);
    return outcome;
}

void RunActions::Cl1_Click() {
    panel_.setText(Ctl::Dump1, QString());
    panel_.setText(Ctl::Hex1, QString());
}

void RunActions::Cl2_Click() {
    panel_.setText(Ctl::Dump2, QString());
    panel_.setText(Ctl::Hex2, QString());
}

RunOutcome RunActions::tick(int selection) {
    const bool microwire = panel_.isChecked(Ctl::Mset_micro); // read once for the tick
    RunOutcome outcome;
    if (selection == 1 || selection == 12)
        outcome += runSequence(1, microwire);
    if (selection == 2 || selection == 12)
        outcome += runSequence(2, microwire);
    return outcome;
}

void RunActions::selectOption(Ctl option) {
    static constexpr struct {
        Ctl option;
        int selection;
    } kOptions[] = {{Ctl::Noff, 0}, {Ctl::Ns1, 1}, {Ctl::Ns2, 2}, {Ctl::Ns12, 12}};
    for (const auto& o : kOptions)
        panel_.setChecked(o.option, o.option == option);
    for (const auto& o : kOptions)
        if (o.option == option)
            state_.timerSelection = o.selection;
    if (option == Ctl::Noff)
        timer_.stop();
    else if (!timer_.isActive()) // a running timer keeps its rhythm
        timer_.start();
}

void RunActions::ApplyStopRule() {
    auto notStop = [this](Ctl c) { return !CommandCells::isStop(panel_.text(c)); };
    panel_.setEnabled(Ctl::C2, notStop(Ctl::C1));
    panel_.setEnabled(Ctl::D2, notStop(Ctl::D1));
    panel_.setEnabled(Ctl::C3, notStop(Ctl::C2) && panel_.isEnabled(Ctl::C2));
    panel_.setEnabled(Ctl::D3, notStop(Ctl::D2) && panel_.isEnabled(Ctl::D2));
    panel_.setEnabled(Ctl::C4, notStop(Ctl::C3) && panel_.isEnabled(Ctl::C3));
    panel_.setEnabled(Ctl::D4, notStop(Ctl::D3) && panel_.isEnabled(Ctl::D3));
}
