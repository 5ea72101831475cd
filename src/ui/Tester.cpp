#include "ui/Tester.h"

#include "bus/MicrowireBus.h"
#include "files/BitmapFile.h"
#include "sequence/Numbers.h"

#include <QFileInfo>
#include <QTimer>

#include <cmath>

namespace {

const QColor kPowerOffColour(128, 255, 128); // light green
const QColor kPowerOnColour(255, 128, 128);  // light red

const QString kStartBitOn = QStringLiteral("Start bit ON (1)");
const QString kStartBitOff = QStringLiteral("Start bit OFF");

constexpr Ctl kAckLabels[] = {Ctl::Label4,  Ctl::Label6,  Ctl::Label7,
                              Ctl::Label11, Ctl::Label12, Ctl::Label13};
constexpr Ctl kEndLabels[] = {Ctl::Label8, Ctl::Label14};
constexpr Ctl kStartLabels[] = {Ctl::Label3, Ctl::Label10};

QString portPanelText(int number) {
    return QStringLiteral("Port:") + numberText(number);
}
QString intervalPanelText(int ms) {
    return numberText(ms) + QStringLiteral("mS");
}

// A stored text as a whole number, for the settings: rounded, and kept within what the
// value can hold so that absurd settings cannot overflow anything.
long long roundedSetting(const QString& text, long long low, long long high) {
    const double v = std::nearbyint(numericValue(text));
    if (!(v >= static_cast<double>(low)))
        return low;
    if (!(v <= static_cast<double>(high)))
        return high;
    return static_cast<long long>(v);
}

} // namespace

Tester::Tester(FrontPanel& panel, PortBackend& port, Dialogs& dialogs)
    : panel_(panel), dialogs_(dialogs), lines_(port), i2c_(lines_, trace_) {
    lines_.setRecorder(&trace_);
    port.setLostHandler([this](const QString& why) { portLost(why); });
    connect(&panel_, &FrontPanel::changed, this, [this](Ctl c) {
        // The Stop rule follows every change of the first three cells of either row.
        if (c == Ctl::C1 || c == Ctl::C2 || c == Ctl::C3 || c == Ctl::D1 || c == Ctl::D2 ||
            c == Ctl::D3)
            ApplyStopRule();
    });
}

void Tester::startUp(const StartSettings& settings) {
    currentFileTitle_ = QStringLiteral("No Title");
    noteText_ = QStringLiteral(" ");
    panel_.setText(Ctl::Megjegyzes, QStringLiteral("Note: ") + noteText_);
    UpdateTitle();

    if (numericValue(settings.microwire) == 1.0)
        Mset_micro_Click();
    else
        showI2cColumn();

    timerSelection_ = 0;
    commandKeywords_ = {QStringLiteral("Stop"),     QStringLiteral("Dump1"),
                        QStringLiteral("Dump2"),    QStringLiteral("Indicator"),
                        QStringLiteral("Potmeter"), QStringLiteral("Constans")};
    powerOn_ = false;
    // A stored port outside 1 to 4 is kept (it fails when the port is opened); one outside
    // what the state can hold is taken as the nearest it can.
    portNumber_ = static_cast<int>(roundedSetting(settings.port, 0, 255));
    timerInterval_ = static_cast<int>(roundedSetting(settings.timer, 1, 65535));
    resetTension_ = 9;
    const bool analysis = settings.analizis == u"True";
    lines_.setAnalysisOn(analysis);
    panel_.setChecked(Ctl::Anal_be, analysis);
    trace_.init(analysis);
    startBitOn_ = settings.start == u"True";
    if (panel_.isChecked(Ctl::Mset_micro)) {
        for (Ctl label : kStartLabels)
            panel_.setToolTip(label, startBitOn_ ? kStartBitOn : kStartBitOff);
        panel_.setChecked(Ctl::Mset_start, startBitOn_);
    }
    panel_.setText(FrontPanel::panel(10),
                   startBitOn_ ? QStringLiteral("S:ON") : QStringLiteral("S:OFF"));

    panel_.setText(FrontPanel::panel(8), intervalPanelText(timerInterval_));
    setPortPanel();
    panel_.setText(FrontPanel::panel(2), QStringLiteral("Sequence 1: Stop"));
    panel_.setText(FrontPanel::panel(3), QStringLiteral("Sequence 2: Stop"));
    selectOption(Ctl::Noff);
    panel_.setText(FrontPanel::panel(11), resetTimeText(resetTension_));

    panel_.setCellItems(commandKeywords_);
    for (int s = 1; s <= 2; ++s)
        for (int k = 1; k <= 4; ++k)
            panel_.setText(FrontPanel::cell(s, k), commandKeywords_.front());
    ApplyStopRule();
    showPower();

    lines_.port().selectPort(portNumber_);
}

void Tester::UpdateTitle() {
    panel_.setText(Ctl::Fo,
                   QStringLiteral("I2C/Microwire Tamsolvix V") + numberText(kVersionMajor) +
                       QLatin1Char('.') + numberText(kVersionMinor) + QLatin1Char('.') +
                       numberText(kVersionRevision) + QStringLiteral(" : ") + currentFileTitle_);
}

void Tester::showPower() {
    panel_.setText(Ctl::PowerG,
                   powerOn_ ? QStringLiteral("Power ON") : QStringLiteral("Power OFF"));
    panel_.setColour(Ctl::PowerG, powerOn_ ? kPowerOnColour : kPowerOffColour);
}

void Tester::setPortPanel() {
    panel_.setText(FrontPanel::panel(1), portPanelText(portNumber_));
}

void Tester::TogglePower() {
    lines_.setAnalysisOn(false); // nothing below is recorded
    if (powerOn_) {
        powerOn_ = false;
        showPower();
        panel_.setEnabled(Ctl::Mset_micro, true);
        lines_.closePort();
    } else {
        powerOn_ = true;
        panel_.setEnabled(Ctl::Mset_micro, false); // no mode change while powered
        showPower();
        QString why;
        if (panel_.isChecked(Ctl::Mset_micro)) {
            if (!lines_.openPortMicrowire(&why))
                dialogs_.message(QStringLiteral("Not Valid Com Port!\r\nPlease Check!"),
                                 Dialogs::Buttons::Ok, Dialogs::Icon::None, why);
        } else {
            if (!lines_.openPortI2c(&why))
                dialogs_.message(QStringLiteral("Error! Not foung free Comm Port!"),
                                 Dialogs::Buttons::Ok, Dialogs::Icon::None, why);
            i2c_.stop(); // the idle state of the bus, also after a failed open
        }
    }
    if (panel_.isChecked(Ctl::Anal_be))
        lines_.setAnalysisOn(true);
}

void Tester::ChoosePort() {
    lines_.setAnalysisOn(false);
    if (powerOn_) {
        lines_.closePort();
        TogglePower();
    }
    const int before = portNumber_;
    bool failedOnce = false;
    for (;;) {
        const auto answer = dialogs_.input(QStringLiteral("Serial Port (1,2,3,4)?\r\nActual:") +
                                               numberText(portNumber_),
                                           QStringLiteral("Port Number Setting."));
        if (!answer && failedOnce) {
            // The way out when no port can be opened: a cancel after a failure keeps the
            // number the port had before the question, with the port closed.
            portNumber_ = before;
            lines_.port().selectPort(portNumber_);
            break;
        }
        const double v = std::floor(numericValue(answer.value_or(QString())));
        portNumber_ = (v >= 1 && v <= 4) ? static_cast<int>(v) : 1;
        lines_.port().selectPort(portNumber_);
        QString why;
        if (lines_.openPortI2c(&why))
            break;
        dialogs_.message(QStringLiteral("Error! Not free or valid Comm Port!"),
                         Dialogs::Buttons::Ok, Dialogs::Icon::None, why);
        portNumber_ = 1;
        failedOnce = true;
    }
    i2c_.stop();
    setPortPanel();
    lines_.closePort();
    if (panel_.isChecked(Ctl::Anal_be))
        lines_.setAnalysisOn(true);
}

void Tester::Status_PanelDblClick(int number) {
    const QString& text = panel_.text(FrontPanel::panel(number));
    for (int n = 1; n <= 4; ++n) {
        if (text == portPanelText(n)) {
            ChoosePort();
            return;
        }
    }
    if (text == u"I2C" || text == u"Microwire") {
        if (!powerOn_)
            Mset_micro_Click();
        return;
    }
    // The current interval's text opens the interval dialog, which comes with the timer.
}

void Tester::EditNote() {
    const auto answer =
        dialogs_.input(QStringLiteral("Sequences Comment: "), currentFileTitle_, noteText_);
    if (answer && !answer->isEmpty())
        noteText_ = *answer;
    panel_.setText(Ctl::Megjegyzes, QStringLiteral("Note: ") + noteText_);
}

void Tester::showStartBit(bool on) {
    for (Ctl label : kStartLabels)
        panel_.setToolTip(label, on ? kStartBitOn : kStartBitOff);
    panel_.setText(FrontPanel::panel(10), on ? QStringLiteral("S:ON") : QStringLiteral("S:OFF"));
}

void Tester::showI2cColumn() {
    panel_.setText(FrontPanel::panel(9), QStringLiteral("I2C"));
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

void Tester::Mset_micro_Click() {
    const bool microwire = !panel_.isChecked(Ctl::Mset_micro);
    panel_.setChecked(Ctl::Mset_micro, microwire);
    if (!microwire) {
        showI2cColumn();
        return;
    }
    panel_.setText(FrontPanel::panel(9), QStringLiteral("Microwire"));
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
    startBitOn_ = panel_.isChecked(Ctl::Mset_start);
    showStartBit(startBitOn_);
}

void Tester::Mset_start_Click() {
    const bool on = !panel_.isChecked(Ctl::Mset_start);
    panel_.setChecked(Ctl::Mset_start, on);
    showStartBit(on);
    startBitOn_ = on;
}

void Tester::Anal_be_Click() {
    lines_.setAnalysisOn(!lines_.analysisOn());
    panel_.setChecked(Ctl::Anal_be, lines_.analysisOn());
    trace_.clear();
}

void Tester::ExportObservation() {
    if (powerOn_)
        TogglePower();
    const auto path =
        dialogs_.saveFile(QStringLiteral("BitMap Pictures (*.bmp)|*.bmp|All Files (*.*)|*.*"),
                          QStringLiteral("No Title.bmp"));
    if (!path)
        return;
    const QFileInfo file(*path);
    if (file.exists() &&
        dialogs_.message(QLatin1Char('\'') + file.fileName() + QLatin1Char('\'') +
                             QStringLiteral(" is exist ! Overwrite ?"),
                         Dialogs::Buttons::YesNo, Dialogs::Icon::Question) == Dialogs::Answer::No)
        return;
    if (const int error = saveBitmap(trace_.image(), *path))
        dialogs_.message(QStringLiteral("Hiba: ") + QString::number(error));
}

QString Tester::aboutText() {
    return QStringLiteral("Tamsolvix and Explorer\r\n"
                          "I2C and Microwire ICs system monitor and commander.\r\n"
                          "Written by the developers of the Tamsolvix project.\r\n"
                          "Use PonyProg Base Board and Test Board.\r\n"
                          "Sources, issues and news: the Tamsolvix project repository.\r\n"
                          "With thanks to the PonyProg project for its serial adapter.\r\n");
}

void Tester::Mfile_about_Click() {
    dialogs_.message(aboutText());
}

void Tester::selectOption(Ctl option) {
    static constexpr struct {
        Ctl option;
        int selection;
    } kOptions[] = {{Ctl::Noff, 0}, {Ctl::Ns1, 1}, {Ctl::Ns2, 2}, {Ctl::Ns12, 12}};
    for (const auto& o : kOptions)
        panel_.setChecked(o.option, o.option == option);
    for (const auto& o : kOptions)
        if (o.option == option)
            timerSelection_ = o.selection;
}

void Tester::ApplyStopRule() {
    auto notStop = [this](Ctl c) { return panel_.text(c) != u"Stop"; };
    panel_.setEnabled(Ctl::C2, notStop(Ctl::C1));
    panel_.setEnabled(Ctl::D2, notStop(Ctl::D1));
    panel_.setEnabled(Ctl::C3, notStop(Ctl::C2) && panel_.isEnabled(Ctl::C2));
    panel_.setEnabled(Ctl::D3, notStop(Ctl::D2) && panel_.isEnabled(Ctl::D2));
    panel_.setEnabled(Ctl::C4, notStop(Ctl::C3) && panel_.isEnabled(Ctl::C3));
    panel_.setEnabled(Ctl::D4, notStop(Ctl::D3) && panel_.isEnabled(Ctl::D3));
}

void Tester::portLost(const QString& why) {
    // Called from inside a line operation: the port is already closed, and the rest of the
    // run goes on harmlessly on a closed port. The user hears of it once the event loop is
    // back, with the power switched off.
    lostReason_ = why;
    if (lostPending_)
        return;
    lostPending_ = true;
    QTimer::singleShot(0, this, &Tester::handlePortLost);
}

void Tester::handlePortLost() {
    lostPending_ = false;
    if (powerOn_)
        TogglePower();
    dialogs_.message(QStringLiteral("The serial port was lost; the adapter is switched off."),
                     Dialogs::Buttons::Ok, Dialogs::Icon::None, lostReason_);
}
