#pragma once

#include "model/Workbench.h"

class PowerActions;

// The set-up: the bus mode, the start bit, the reset tension, the non-stop timer's interval,
// the note and the title, and the double-clicks on the status bar that lead to them.
class SetupActions {
public:
    SetupActions(Workbench& bench, PowerActions& power);

    // A double-click on status bar panel `number` (1 to 11): dispatched on the panel's text.
    void Status_PanelDblClick(int number);
    // Note button and double-click on the note label.
    void EditNote();
    void UpdateTitle();
    // "Microwire serial" menu item: switches the bus mode and everything that shows it.
    void Mset_micro_Click();
    // "Start bit" menu item.
    void Mset_start_Click();
    // "Reset keeping": asks for the Microwire reset tension 1 to 9.
    void Mset_reset_Click();
    // "Non-Stop Timer" and a double-click on the interval's panel: asks for the interval.
    void Mset_timer_Click();

    // The I2C presentation of the rows' labels, the menu items and panels 9 to 11.
    void showI2cColumn();
    // The Start labels' tooltip and panel 10.
    void showStartBit(bool on);
    // The same in Microwire mode; in I2C mode the Start labels have no tooltip.
    void showStartBitOfMode(bool on);

private:
    FrontPanel& panel_;
    Dialogs& dialogs_;
    TesterState& state_;
    QTimer& timer_;
    PowerActions& power_;
};
