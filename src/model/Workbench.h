#pragma once

#include "bus/I2cBus.h"
#include "bus/LineEventLog.h"
#include "bus/MicrowireBus.h"
#include "bus/PortLines.h"
#include "model/Dialogs.h"
#include "model/FrontPanel.h"
#include "model/TesterState.h"
#include "model/Trace.h"

#include <QTimer>

// What every action works on: the window's model and the dialogs, the line driver with the
// observation picture and the line event log that it records into, the two buses, the
// program-wide state and the non-stop timer. Tester owns one and hands it to the actions and
// the sequence runs.
struct Workbench {
    Workbench(FrontPanel& frontPanel, PortBackend& port, Dialogs& modalDialogs);
    Workbench(const Workbench&) = delete;
    Workbench& operator=(const Workbench&) = delete;

    FrontPanel& panel;
    Dialogs& dialogs;
    PortLines lines;
    Trace trace{Trace::kPictureSize};
    LineEventLog lineEvents;
    I2cBus i2c;
    MicrowireBus microwire;
    TesterState state;
    QTimer timer;
    // True while a run, the device scan or the line test is under way (also while it waits
    // in a message box or yields to the user interface).
    bool busy = false;
};
