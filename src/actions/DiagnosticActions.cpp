#include "actions/DiagnosticActions.h"

#include "actions/BusyGuard.h"
#include "actions/PowerActions.h"
#include "actions/RunActions.h"
#include "base/Numbers.h"
#include "model/DiagnosticTexts.h"
#include "model/PanelTexts.h"

DiagnosticActions::DiagnosticActions(Workbench& bench, PowerActions& power, RunActions& runs)
    : panel_(bench.panel), dialogs_(bench.dialogs), lines_(bench.lines), trace_(bench.trace),
      i2c_(bench.i2c), state_(bench.state), busy_(bench.busy), power_(power), runs_(runs) {}

DeviceScan::Acknowledged DiagnosticActions::DeviceDetect() {
    if (busy_)
        return {};
    BusyGuard guard(busy_);
    if (!state_.powerOn)
        power_.TogglePower();
    lines_.setAnalysisOn(false); // the scan is not recorded
    trace_.clear();
    runs_.selectOption(Ctl::Noff);
    for (int n = 4; n <= 7; ++n)
        panel_.setText(FrontPanel::panel(n), QString());
    panel_.setText(FrontPanel::panel(2), PanelTexts::kDeviceDetect);
    panel_.setText(FrontPanel::panel(3), PanelTexts::kDeviceDetect);
    panel_.setText(Ctl::Dump1, QString());
    panel_.setText(Ctl::Hex1, QString());
    dialogs_.yieldToUi();

    const DeviceScan::Acknowledged acknowledged = DeviceScan::run(i2c_, [this](int a) {
        panel_.setValue(Ctl::Analog_be, a);
        panel_.setText(Ctl::Analog_be_sz, numberText(a));
        dialogs_.repaintNow();
    });
    for (const bool ack : acknowledged)
        if (ack)
            panel_.setText(FrontPanel::panel(4), PanelTexts::kAcknowledged);
    power_.TogglePower();

    const DiagnosticTexts::ScanReport report = DiagnosticTexts::scanReport(acknowledged);
    panel_.setText(Ctl::Dump1, report.dump);
    panel_.setText(Ctl::Hex1, report.hex);
    panel_.setText(FrontPanel::panel(2), PanelTexts::sequence(1, false));
    panel_.setText(FrontPanel::panel(3), PanelTexts::sequence(2, false));
    panel_.setValue(Ctl::Analog_be, 0);
    if (panel_.isChecked(Ctl::Anal_be))
        lines_.setAnalysisOn(true);
    dialogs_.beep();
    return acknowledged;
}

LineTest::Verdict DiagnosticActions::LineProbe() {
    if (busy_)
        return {};
    BusyGuard guard(busy_);
    if (!state_.powerOn) {
        power_.TogglePower();
        for (int i = 0; i < 11; ++i) // the adapter's supply settles meanwhile
            dialogs_.yieldToUi();
    }
    const LineTest::Verdict verdict = LineTest::run(lines_.port(), [this](int period) {
        panel_.setValue(Ctl::Analog_be, period);
        dialogs_.repaintNow();
    });
    power_.TogglePower();
    panel_.setValue(Ctl::Analog_be, 0);
    dialogs_.beep();
    // On a real port, the adapter found and the settle time the test read with.
    dialogs_.message(DiagnosticTexts::lineTestMessage(verdict), Dialogs::Buttons::Ok,
                     Dialogs::Icon::None, lines_.port().adapterNotes().join(QLatin1Char('\n')));
    return verdict;
}
