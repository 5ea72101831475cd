#include "actions/PowerActions.h"

#include "base/Numbers.h"
#include "model/PanelTexts.h"

#include <QTimer>

#include <cmath>

namespace {
const QColor kPowerOffColour(128, 255, 128); // light green
const QColor kPowerOnColour(255, 128, 128);  // light red
} // namespace

PowerActions::PowerActions(Workbench& bench)
    : panel_(bench.panel), dialogs_(bench.dialogs), lines_(bench.lines), i2c_(bench.i2c),
      state_(bench.state) {
    lines_.port().setLostHandler([this](const QString& why) { portLost(why); });
}

void PowerActions::showPower() {
    panel_.setText(Ctl::PowerG, PanelTexts::power(state_.powerOn));
    panel_.setColour(Ctl::PowerG, state_.powerOn ? kPowerOnColour : kPowerOffColour);
}

void PowerActions::setPortPanel() {
    panel_.setText(FrontPanel::panel(1), PanelTexts::port(state_.portNumber));
}

void PowerActions::TogglePower() {
    lines_.setAnalysisOn(false); // nothing below is recorded
    if (state_.powerOn) {
        state_.powerOn = false;
        showPower();
        panel_.setEnabled(Ctl::Mset_micro, true);
        lines_.closePort();
    } else {
        state_.powerOn = true;
        panel_.setEnabled(Ctl::Mset_micro, false); // no mode change while powered
        showPower();
        QString why;
        bool opened = false;
        if (panel_.isChecked(Ctl::Mset_micro)) {
            opened = lines_.openPortMicrowire(&why);
            if (!opened)
                dialogs_.message(QStringLiteral("Not Valid Com Port!\r\nPlease Check!"),
                                 Dialogs::Buttons::Ok, Dialogs::Icon::None, why);
        } else {
            opened = lines_.openPortI2c(&why);
            if (!opened)
                dialogs_.message(QStringLiteral("Error! Not foung free Comm Port!"),
                                 Dialogs::Buttons::Ok, Dialogs::Icon::None, why);
            i2c_.stop(); // the idle state of the bus, also after a failed open
        }
        if (opened && portOpened)
            portOpened();
    }
    if (panel_.isChecked(Ctl::Anal_be))
        lines_.setAnalysisOn(true);
}

void PowerActions::ChoosePort() {
    lines_.setAnalysisOn(false);
    if (state_.powerOn) {
        lines_.closePort();
        TogglePower();
    }
    const int before = state_.portNumber;
    bool failedOnce = false;
    bool opened = false;
    for (;;) {
        const auto answer = dialogs_.input(QStringLiteral("Serial Port (1,2,3,4)?\r\nActual:") +
                                               numberText(state_.portNumber),
                                           QStringLiteral("Port Number Setting."));
        if (!answer && failedOnce) {
            // The way out when no port can be opened: a cancel after a failure keeps the
            // number the port had before the question, with the port closed.
            state_.portNumber = before;
            lines_.port().selectPort(state_.portNumber);
            break;
        }
        const double v = std::floor(numericValue(answer.value_or(QString())));
        state_.portNumber = (v >= 1 && v <= 4) ? static_cast<int>(v) : 1;
        lines_.port().selectPort(state_.portNumber);
        QString why;
        opened = lines_.openPortI2c(&why);
        if (opened)
            break;
        dialogs_.message(QStringLiteral("Error! Not free or valid Comm Port!"),
                         Dialogs::Buttons::Ok, Dialogs::Icon::None, why);
        state_.portNumber = 1;
        failedOnce = true;
    }
    i2c_.stop();
    setPortPanel();
    lines_.closePort();
    if (panel_.isChecked(Ctl::Anal_be))
        lines_.setAnalysisOn(true);
    if (opened && portOpened)
        portOpened();
}

void PowerActions::portLost(const QString& why) {
    // Called from inside a line operation: the port is already closed, and the rest of the
    // run goes on harmlessly on a closed port. The user hears of it once the event loop is
    // back, with the power switched off.
    lostReason_ = why;
    if (lostPending_)
        return;
    lostPending_ = true;
    QTimer::singleShot(0, this, &PowerActions::handlePortLost);
}

void PowerActions::handlePortLost() {
    lostPending_ = false;
    if (state_.powerOn)
        TogglePower();
    dialogs_.message(QStringLiteral("The serial port was lost; the adapter is switched off."),
                     Dialogs::Buttons::Ok, Dialogs::Icon::None, lostReason_);
}
