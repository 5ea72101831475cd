#include "model/Workbench.h"

Workbench::Workbench(FrontPanel& frontPanel, PortBackend& port, Dialogs& modalDialogs)
    : panel(frontPanel), dialogs(modalDialogs), lines(port), i2c(lines),
      microwire(lines, [this] { dialogs.yieldToUi(); }) {
    lines.setRecorder(&trace);
    lines.setEventLog(&lineEvents);
    timer.setInterval(1000);
}
