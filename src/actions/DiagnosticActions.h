#pragma once

#include "bus/DeviceScan.h"
#include "bus/LineTest.h"
#include "model/Workbench.h"

class PowerActions;
class RunActions;

// The diagnostics of the Analyse and Setup menus: the device scan and the line test. Both
// switch the power on for themselves and off again, and return what they found.
class DiagnosticActions {
public:
    DiagnosticActions(Workbench& bench, PowerActions& power, RunActions& runs);

    // "Device Detect": tries the 256 address bytes and lists the acknowledged ones. Returns
    // which were acknowledged, whatever the report's texts make of them (none while another
    // bus action is under way).
    DeviceScan::Acknowledged DeviceDetect();
    // "Line Test": toggles RTS 255 times and checks that DSR follows. Returns the verdict (not
    // passed while another bus action is under way).
    LineTest::Verdict LineProbe();

private:
    FrontPanel& panel_;
    Dialogs& dialogs_;
    PortLines& lines_;
    Trace& trace_;
    I2cBus& i2c_;
    TesterState& state_;
    bool& busy_;
    PowerActions& power_;
    RunActions& runs_;
};
