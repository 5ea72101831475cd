#include "actions/SetupActions.h"

#include "actions/PowerActions.h"
#include "base/Numbers.h"
#include "model/PanelTexts.h"

#include <cmath>

namespace {

constexpr Ctl kAckLabels[] = {Ctl::Label4,  Ctl::Label6,  Ctl::Label7,
                              Ctl::Label11, Ctl::Label12, Ctl::Label13};
constexpr Ctl kEndLabels[] = {Ctl::Label8, Ctl::Label14};
constexpr Ctl kStartLabels[] = {Ctl::Label3, Ctl::Label10};

} // namespace

SetupActions::SetupActions(Workbench& bench, PowerActions& power)
    : panel_(bench.panel), dialogs_(bench.dialogs), state_(bench.state), timer_(bench.timer),
      power_(power) {}

void SetupActions::UpdateTitle() {
    panel_.setText(Ctl::Fo, PanelTexts::title(state_.currentFileTitle));
}

void SetupActions::Status_PanelDblClick(int number) {
    const QString& text = panel_.text(FrontPanel::panel(number));
    for (int n = 1; n <= 4; ++n) {
        if (text == PanelTexts::port(n)) {
            power_.ChoosePort();
            return;
        }
    }
    if (text == PanelTexts::busMode(false) || text == PanelTexts::busMode(true)) {
        if (!state_.powerOn)
            Mset_micro_Click();
        return;
    }
    if (text == PanelTexts::interval(timer_.interval()))
        Mset_timer_Click();
}

void SetupActions::EditNote() {
    const auto answer = dialogs_.input(QStringLiteral("Sequences Comment: "),
                                       state_.currentFileTitle, state_.noteText);
    if (answer && !answer->isEmpty())
        state_.noteText = *answer;
    panel_.setText(Ctl::Megjegyzes, PanelTexts::note(state_.noteText));
}

void SetupActions::showStartBit(bool on) {
    for (Ctl label : kStartLabels)
        panel_.setToolTip(label, PanelTexts::startBitToolTip(on));
    panel_.setText(FrontPanel::panel(10), PanelTexts::startBit(on));
}

void SetupActions::showStartBitOfMode(bool on) {
    if (panel_.isChecked(Ctl::Mset_micro)) {
        showStartBit(on);
    } else {
        for (Ctl label : kStartLabels)
            panel_.setToolTip(label, QString());
    }
}

void SetupActions::showI2cColumn() {
    panel_.setText(FrontPanel::panel(9), PanelTexts::busMode(false));
    for (Ctl label : kAckLabels) {
        panel_.setText(label, QStringLiteral("A"));
        panel_.setToolTip(label, QStringLiteral("Acknowledge"));
    }
    for (Ctl label : kEndLabels) {
        panel_.setText(label, QStringLiteral("A Stop"));
        panel_.setToolTip(label, QStringLiteral("Acknowledge & Stop"));
    }
    panel_.setEnabled(Ctl::Mset_reset, false);
    panel_.setEnabled(Ctl::Mset_Device, true);
    panel_.setEnabled(Ctl::Mset_start, false);
    panel_.setEnabled(FrontPanel::panel(11), false);
    panel_.setEnabled(FrontPanel::panel(10), false);
    for (Ctl label : kStartLabels)
        panel_.setToolTip(label, QString());
}

void SetupActions::Mset_micro_Click() {
    const bool microwire = !panel_.isChecked(Ctl::Mset_micro);
    panel_.setChecked(Ctl::Mset_micro, microwire);
    if (!microwire) {
        showI2cColumn();
        return;
    }
    panel_.setText(FrontPanel::panel(9), PanelTexts::busMode(true));
    for (Ctl label : kAckLabels)
        panel_.setText(label, QStringLiteral("+"));
    for (Ctl label : kEndLabels)
        panel_.setText(label, QStringLiteral("Stop"));
    for (Ctl label : kAckLabels)
        panel_.setToolTip(label, QString());
    for (Ctl label : kEndLabels)
        panel_.setToolTip(label, QString());
    panel_.setEnabled(Ctl::Mset_reset, true);
    panel_.setEnabled(Ctl::Mset_Device, false);
    panel_.setEnabled(Ctl::Mset_start, true);
    panel_.setEnabled(FrontPanel::panel(11), true);
    panel_.setEnabled(FrontPanel::panel(10), true);
    state_.startBitOn = panel_.isChecked(Ctl::Mset_start);
    showStartBit(state_.startBitOn);
}

void SetupActions::Mset_start_Click() {
    const bool on = !panel_.isChecked(Ctl::Mset_start);
    panel_.setChecked(Ctl::Mset_start, on);
    showStartBit(on);
    state_.startBitOn = on;
}

void SetupActions::Mset_reset_Click() {
    for (;;) {
        const int v = state_.resetTension;
        const auto answer = dialogs_.input(
            QStringLiteral("Reset Tension [_/T\\_] value (1-9), actual:") + numberText(v) +
                QStringLiteral(" (") + PanelTexts::resetTime(v) + QStringLiteral(") ?"),
            QStringLiteral("Mocrowire Reset Setting"), numberText(v));
        // Halves go to the even neighbour.
        const double value = std::nearbyint(numericValue(answer.value_or(QString())));
        if (value == 0) // an empty answer, Cancel or no number keep the value
            return;
        if (value >= 1 && value <= 9) {
            state_.resetTension = static_cast<int>(value);
            panel_.setText(FrontPanel::panel(11), PanelTexts::resetTime(state_.resetTension));
            return;
        }
        dialogs_.message(QStringLiteral("Wrong value!\r\nValid range 1-9 !"));
    }
}

void SetupActions::Mset_timer_Click() {
    const int current = timer_.interval();
    const auto answer = dialogs_.input(QStringLiteral("Non-Stop Timer Setting\r\nActual:") +
                                           PanelTexts::interval(current),
                                       QStringLiteral("Timer Setting."));
    const QString text = answer.value_or(QString());
    double v = std::floor(numericValue(text));
    if (!(v >= 1 && v <= 2000))
        v = 1000;
    const int interval = text.isEmpty() ? current : static_cast<int>(v);
    timer_.setInterval(interval); // a running timer goes on at the new interval
    panel_.setText(FrontPanel::panel(8), PanelTexts::interval(interval));
}
