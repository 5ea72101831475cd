#include "ui/Tester.h"

#include "bus/DeviceScan.h"
#include "bus/LineProbe.h"
#include "bus/MicrowireBus.h"
#include "files/BitmapFile.h"
#include "files/CommandFileReader.h"
#include "files/FileAssociation.h"
#include "files/ObservationVcd.h"
#include "files/RunTimeError.h"
#include "files/SafeSave.h"
#include "sequence/CommandCells.h"
#include "sequence/Numbers.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>
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

class Tester::BusyGuard {
public:
    explicit BusyGuard(bool& busy) : busy_(busy) { busy_ = true; }
    ~BusyGuard() { busy_ = false; }
    BusyGuard(const BusyGuard&) = delete;
    BusyGuard& operator=(const BusyGuard&) = delete;

private:
    bool& busy_;
};

Tester::Tester(FrontPanel& panel, PortBackend& port, Dialogs& dialogs)
    : panel_(panel), dialogs_(dialogs), lines_(port), i2c_(lines_, trace_),
      microwire_(lines_, trace_, [this] { dialogs_.yieldToUi(); }),
      runner_(panel_, dialogs_, state_, lines_, trace_, i2c_, microwire_,
              [this] { selectOption(Ctl::Noff); }) {
    lines_.setRecorder(&trace_);
    lines_.setEventLog(&lineEvents_);
    timer_.setInterval(1000);
    connect(&timer_, &QTimer::timeout, this, &Tester::Timer_Timer);
    port.setLostHandler([this](const QString& why) { portLost(why); });
    connect(&panel_, &FrontPanel::changed, this, [this](Ctl c) {
        // The Stop rule follows every change of the first three cells of either row.
        if (c == Ctl::C1 || c == Ctl::C2 || c == Ctl::C3 || c == Ctl::D1 || c == Ctl::D2 ||
            c == Ctl::D3)
            ApplyStopRule();
    });
}

void Tester::startUp(const StartSettings& settings) {
    state_.currentFileTitle = QStringLiteral("No Title");
    state_.noteText = QStringLiteral(" ");
    panel_.setText(Ctl::Megjegyzes, QStringLiteral("Note: ") + state_.noteText);
    UpdateTitle();

    if (numericValue(settings.microwire) == 1.0)
        Mset_micro_Click();
    else
        showI2cColumn();

    state_.timerSelection = 0;
    commandKeywords_ = CommandCells::keywords();
    state_.powerOn = false;
    // A stored port outside 1 to 4 is kept (it fails when the port is opened); one outside
    // what the state can hold is taken as the nearest it can.
    state_.portNumber = static_cast<int>(roundedSetting(settings.port, 0, 255));
    timer_.setInterval(static_cast<int>(roundedSetting(settings.timer, 1, 65535)));
    state_.resetTension = 9;
    const bool analysis = settings.analizis == u"True";
    lines_.setAnalysisOn(analysis);
    panel_.setChecked(Ctl::Anal_be, analysis);
    trace_.init(analysis);
    state_.startBitOn = settings.start == u"True";
    if (panel_.isChecked(Ctl::Mset_micro)) {
        for (Ctl label : kStartLabels)
            panel_.setToolTip(label, state_.startBitOn ? kStartBitOn : kStartBitOff);
        panel_.setChecked(Ctl::Mset_start, state_.startBitOn);
    }
    panel_.setText(FrontPanel::panel(10),
                   state_.startBitOn ? QStringLiteral("S:ON") : QStringLiteral("S:OFF"));

    panel_.setText(FrontPanel::panel(8), intervalPanelText(timer_.interval()));
    setPortPanel();
    panel_.setText(FrontPanel::panel(2), QStringLiteral("Sequence 1: Stop"));
    panel_.setText(FrontPanel::panel(3), QStringLiteral("Sequence 2: Stop"));
    selectOption(Ctl::Noff);
    panel_.setText(FrontPanel::panel(11), resetTimeText(state_.resetTension));

    panel_.setCellItems(commandKeywords_);
    for (int s = 1; s <= 2; ++s)
        for (int k = 1; k <= 4; ++k)
            panel_.setText(FrontPanel::cell(s, k), commandKeywords_.front());
    ApplyStopRule();
    showPower();

    lines_.port().selectPort(state_.portNumber);
}

Tester::StartSettings Tester::readSettings(QSettings& store) {
    StartSettings s;
    store.beginGroup(QStringLiteral("Setup"));
    // A settings file may hold a value with commas unquoted ("Port=1, 2, 3"), which the store
    // hands over as a list: its text is the parts joined again, so "1, 2, 3" reads as 1.
    const auto text = [&store](const QString& key, const QString& absent) {
        const QVariant value = store.value(key, absent);
        return value.typeId() == QMetaType::QStringList
                   ? value.toStringList().join(QStringLiteral(", "))
                   : value.toString();
    };
    s.port = text(QStringLiteral("Port"), s.port);
    s.timer = text(QStringLiteral("Timer"), s.timer);
    s.microwire = text(QStringLiteral("Microwire"), s.microwire);
    s.analizis = text(QStringLiteral("Analizis"), s.analizis);
    s.start = text(QStringLiteral("Start"), s.start);
    store.endGroup();
    return s;
}

void Tester::shutDown(QSettings& store) {
    timer_.stop();
    if (state_.powerOn)
        lines_.closePort(); // the power flag and the button are left as they are
    auto flag = [](bool on) { return on ? QStringLiteral("True") : QStringLiteral("False"); };
    store.beginGroup(QStringLiteral("Setup"));
    store.setValue(QStringLiteral("Port"), numberText(state_.portNumber));
    store.setValue(QStringLiteral("Timer"), numberText(timer_.interval()));
    store.setValue(QStringLiteral("Microwire"),
                   panel_.isChecked(Ctl::Mset_micro) ? QStringLiteral("1") : QStringLiteral("0"));
    store.setValue(QStringLiteral("Analizis"), flag(lines_.analysisOn()));
    store.setValue(QStringLiteral("Start"), flag(panel_.isChecked(Ctl::Mset_start)));
    store.endGroup();
    store.sync();
}

void Tester::UpdateTitle() {
    panel_.setText(Ctl::Fo, QStringLiteral("I2C/Microwire Tamsolvix V") +
                                numberText(kVersionMajor) + QLatin1Char('.') +
                                numberText(kVersionMinor) + QLatin1Char('.') +
                                numberText(kVersionRevision) + QStringLiteral(" : ") +
                                state_.currentFileTitle);
}

void Tester::showPower() {
    panel_.setText(Ctl::PowerG,
                   state_.powerOn ? QStringLiteral("Power ON") : QStringLiteral("Power OFF"));
    panel_.setColour(Ctl::PowerG, state_.powerOn ? kPowerOnColour : kPowerOffColour);
}

void Tester::setPortPanel() {
    panel_.setText(FrontPanel::panel(1), portPanelText(state_.portNumber));
}

void Tester::TogglePower() {
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
    if (state_.powerOn) {
        lines_.closePort();
        TogglePower();
    }
    const int before = state_.portNumber;
    bool failedOnce = false;
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
        if (lines_.openPortI2c(&why))
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
        if (!state_.powerOn)
            Mset_micro_Click();
        return;
    }
    if (text == intervalPanelText(timer_.interval()))
        Mset_timer_Click();
}

void Tester::EditNote() {
    const auto answer = dialogs_.input(QStringLiteral("Sequences Comment: "),
                                       state_.currentFileTitle, state_.noteText);
    if (answer && !answer->isEmpty())
        state_.noteText = *answer;
    panel_.setText(Ctl::Megjegyzes, QStringLiteral("Note: ") + state_.noteText);
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
    state_.startBitOn = panel_.isChecked(Ctl::Mset_start);
    showStartBit(state_.startBitOn);
}

void Tester::Mset_start_Click() {
    const bool on = !panel_.isChecked(Ctl::Mset_start);
    panel_.setChecked(Ctl::Mset_start, on);
    showStartBit(on);
    state_.startBitOn = on;
}

void Tester::Anal_be_Click() {
    lines_.setAnalysisOn(!lines_.analysisOn());
    panel_.setChecked(Ctl::Anal_be, lines_.analysisOn());
    trace_.clear();
}

std::optional<QString> Tester::exportPath(const QString& filter, const QString& name) {
    const auto path = dialogs_.saveFile(filter, name);
    if (!path)
        return std::nullopt;
    const QFileInfo file(*path);
    if (file.exists() &&
        dialogs_.message(overwriteQuestion(file.fileName()), Dialogs::Buttons::YesNo,
                         Dialogs::Icon::Question) == Dialogs::Answer::No)
        return std::nullopt;
    return path;
}

void Tester::ExportObservation() {
    if (state_.powerOn)
        TogglePower();
    const auto path =
        exportPath(QStringLiteral("BitMap Pictures (*.bmp)|*.bmp|All Files (*.*)|*.*"),
                   QStringLiteral("No Title.bmp"));
    if (!path)
        return;
    if (const int error = saveBitmap(trace_.image(), *path))
        dialogs_.message(QStringLiteral("Hiba: ") + QString::number(error));
}

void Tester::ExportObservationVcd() {
    if (lineEvents_.empty()) {
        dialogs_.message(kNoLineEvents);
        return;
    }
    // Named after the command file: "eeprom-read.scm" suggests "eeprom-read.vcd".
    const QString title = state_.currentFileTitle;
    const qsizetype dot = title.lastIndexOf(u'.');
    const auto path =
        exportPath(QStringLiteral("Value Change Dumps (*.vcd)|*.vcd|All Files (*.*)|*.*"),
                   (dot > 0 ? title.left(dot) : title) + QStringLiteral(".vcd"));
    if (!path)
        return;
    QString why;
    if (saveWith(
            *path, [this](QIODevice& out) { return writeObservationVcd(lineEvents_, out); },
            Streams::Refuse, &why) != 0)
        dialogs_.message(
            QStringLiteral("Cannot write %1: %2.").arg(QDir::toNativeSeparators(*path), why),
            Dialogs::Buttons::Ok, Dialogs::Icon::Critical);
    else if (lineEvents_.dropped() > 0)
        dialogs_.message(droppedEventsText(lineEvents_));
}

QString Tester::droppedEventsText(const LineEventLog& log) {
    return QStringLiteral("The run had %1 line events more than the log keeps: the export holds "
                          "its first %2 events only.")
        .arg(log.dropped())
        .arg(log.maxEvents());
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
            state_.timerSelection = o.selection;
    if (option == Ctl::Noff)
        timer_.stop();
    else if (!timer_.isActive()) // a running timer keeps its rhythm
        timer_.start();
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
    if (state_.powerOn)
        TogglePower();
    dialogs_.message(QStringLiteral("The serial port was lost; the adapter is switched off."),
                     Dialogs::Buttons::Ok, Dialogs::Icon::None, lostReason_);
}

void Tester::Mset_reset_Click() {
    for (;;) {
        const int v = state_.resetTension;
        const auto answer = dialogs_.input(
            QStringLiteral("Reset Tension [_/T\\_] value (1-9), actual:") + numberText(v) +
                QStringLiteral(" (") + resetTimeDigits(v) + QStringLiteral(" uS) ?"),
            QStringLiteral("Mocrowire Reset Setting"), numberText(v));
        // Halves go to the even neighbour.
        const double value = std::nearbyint(numericValue(answer.value_or(QString())));
        if (value == 0) // an empty answer, Cancel or no number keep the value
            return;
        if (value >= 1 && value <= 9) {
            state_.resetTension = static_cast<int>(value);
            panel_.setText(FrontPanel::panel(11), resetTimeText(state_.resetTension));
            return;
        }
        dialogs_.message(QStringLiteral("Wrong value!\r\nValid range 1-9 !"));
    }
}

DeviceScan::Acknowledged Tester::DeviceDetect() {
    if (busy_)
        return {};
    BusyGuard guard(busy_);
    if (!state_.powerOn)
        TogglePower();
    lines_.setAnalysisOn(false); // the scan is not recorded
    trace_.clear();
    selectOption(Ctl::Noff);
    for (int n = 4; n <= 7; ++n)
        panel_.setText(FrontPanel::panel(n), QString());
    panel_.setText(FrontPanel::panel(2), QStringLiteral("Device Detect"));
    panel_.setText(FrontPanel::panel(3), QStringLiteral("Device Detect"));
    panel_.setText(Ctl::Dump1, QString());
    panel_.setText(Ctl::Hex1, QString());
    dialogs_.yieldToUi();

    const DeviceScan::Acknowledged acknowledged = DeviceScan::run(i2c_, [this](int a) {
        panel_.setValue(Ctl::Analog_be, a);
        panel_.setText(Ctl::Analog_be_sz, numberText(a));
    });
    for (const bool ack : acknowledged)
        if (ack)
            panel_.setText(FrontPanel::panel(4), QStringLiteral("A"));
    TogglePower();

    const DeviceScan::Report report = DeviceScan::report(acknowledged);
    panel_.setText(Ctl::Dump1, report.dump);
    panel_.setText(Ctl::Hex1, report.hex);
    panel_.setText(FrontPanel::panel(2), QStringLiteral("Sequence 1: Stop"));
    panel_.setText(FrontPanel::panel(3), QStringLiteral("Sequence 2: Stop"));
    panel_.setValue(Ctl::Analog_be, 0);
    if (panel_.isChecked(Ctl::Anal_be))
        lines_.setAnalysisOn(true);
    dialogs_.beep();
    return acknowledged;
}

void Tester::LineProbe() {
    if (busy_)
        return;
    BusyGuard guard(busy_);
    if (!state_.powerOn) {
        TogglePower();
        for (int i = 0; i < 11; ++i) // the adapter's supply settles meanwhile
            dialogs_.yieldToUi();
    }
    const ::LineProbe::Result result = ::LineProbe::run(
        lines_.port(), [this](int period) { panel_.setValue(Ctl::Analog_be, period); });
    TogglePower();
    panel_.setValue(Ctl::Analog_be, 0);
    dialogs_.beep();
    dialogs_.message(result.message());
}

void Tester::goRun(int sequence) {
    if (busy_)
        return;
    if (!state_.powerOn)
        TogglePower();
    RunSequence(sequence);
}

void Tester::cellEnterPressed(Ctl cell) {
    for (int k = 1; k <= 4; ++k) {
        if (cell == FrontPanel::cell(1, k))
            Go1_Click();
        else if (cell == FrontPanel::cell(2, k))
            Go2_Click();
    }
}

void Tester::RunSequence(int sequence) {
    runSequence(sequence, panel_.isChecked(Ctl::Mset_micro));
}

void Tester::runSequence(int sequence, bool microwire) {
    // One bus action at a time: a tick or a click that arrives while a run waits in its
    // message box or yields during its reset pulse is dropped, never nested in its traffic.
    if (busy_)
        return;
    BusyGuard guard(busy_);
    if (microwire)
        runner_.RunMicrowireSequence(sequence);
    else
        runner_.RunI2cSequence(sequence);
}

void Tester::Cl1_Click() {
    panel_.setText(Ctl::Dump1, QString());
    panel_.setText(Ctl::Hex1, QString());
}

void Tester::Cl2_Click() {
    panel_.setText(Ctl::Dump2, QString());
    panel_.setText(Ctl::Hex2, QString());
}

void Tester::Timer_Timer() {
    const bool microwire = panel_.isChecked(Ctl::Mset_micro); // read once for the tick
    switch (state_.timerSelection) {
    case 1:
        runSequence(1, microwire);
        break;
    case 2:
        runSequence(2, microwire);
        break;
    case 12:
        runSequence(1, microwire);
        runSequence(2, microwire);
        break;
    default:
        break;
    }
}

void Tester::Mset_timer_Click() {
    const int current = timer_.interval();
    const auto answer = dialogs_.input(QStringLiteral("Non-Stop Timer Setting\r\nActual:") +
                                           numberText(current) + QStringLiteral("mS"),
                                       QStringLiteral("Timer Setting."));
    const QString text = answer.value_or(QString());
    double v = std::floor(numericValue(text));
    if (!(v >= 1 && v <= 2000))
        v = 1000;
    const int interval = text.isEmpty() ? current : static_cast<int>(v);
    timer_.setInterval(interval); // a running timer goes on at the new interval
    panel_.setText(FrontPanel::panel(8), intervalPanelText(interval));
}

namespace {
const QString kCommandFilter = QStringLiteral("Serial Commands (*.scm)|*.scm|All Files (*.*)|*.*");
const QString kDriveProblem = QStringLiteral("Drive Problem ! No Write in Drive.");
QString fileErrorText(int error) {
    return QStringLiteral("Eror in File funktions ! Error Code:") + numberText(error);
}
QString quotedName(const QString& title) {
    return QLatin1Char('\'') + title + QLatin1Char('\'');
}
} // namespace

QString Tester::overwriteQuestion(const QString& fileName) {
    return quotedName(fileName) + QStringLiteral(" is exist ! Overwrite ?");
}

CommandFile Tester::commandFile(const QString& title) const {
    CommandFile f;
    f.port = static_cast<std::uint8_t>(state_.portNumber);
    f.interval = timer_.interval();
    f.resetValue = static_cast<std::uint8_t>(state_.resetTension);
    f.title = title;
    f.startBit = panel_.isChecked(Ctl::Mset_start);
    f.microwire = panel_.isChecked(Ctl::Mset_micro);
    f.startBitAgain = f.startBit;
    f.noffSelected = panel_.isChecked(Ctl::Noff);
    for (int i = 0; i < 8; ++i)
        f.cells[static_cast<std::size_t>(i)] = panel_.text(FrontPanel::cell(1 + i / 4, 1 + i % 4));
    f.analysis = panel_.isChecked(Ctl::Anal_be);
    f.note = state_.noteText;
    return f;
}

void Tester::Mfile_save_Click() {
    if (state_.powerOn)
        TogglePower();
    QString name = QStringLiteral("No Title.scm");
    for (;;) {
        const auto path = dialogs_.saveFile(kCommandFilter, name);
        if (!path)
            return; // Cancel ends silently
        name = *path;
        const QString title = QFileInfo(*path).fileName();
        if (existsWithExactName(*path) &&
            dialogs_.message(overwriteQuestion(title), Dialogs::Buttons::YesNo,
                             Dialogs::Icon::Question) == Dialogs::Answer::No)
            return;
        const CommandFile file = commandFile(title);
        if (const QString problem = file.saveProblem(); !problem.isEmpty()) {
            // A text the format cannot hold: nothing is written and nothing changes.
            dialogs_.message(problem);
            return;
        }
        state_.currentFileTitle = title;
        UpdateTitle();
        const int error = file.save(*path);
        if (error == 0)
            return;
        if (error != RunTimeError::PathFileAccess) {
            dialogs_.message(QStringLiteral("hiba=") + numberText(error));
            return;
        }
        dialogs_.message(kDriveProblem); // and the dialog again
    }
}

void Tester::Mfile_open_Click() {
    if (state_.powerOn)
        TogglePower();
    for (;;) {
        const auto path = dialogs_.openFile(kCommandFilter, QString());
        if (!path)
            return;
        const QString title = QFileInfo(*path).fileName();
        if (!existsWithExactName(*path)) {
            dialogs_.message(quotedName(title) + QStringLiteral(" is NOT exist !"),
                             Dialogs::Buttons::Ok, Dialogs::Icon::Critical, notAFileReason(*path));
            return;
        }
        state_.currentFileTitle = title;
        CommandFileReader file;
        int error = file.open(*path);
        if (error == 0)
            error = applyCommandFile(file);
        if (error == 0 || error == kHeaderRefused)
            return;
        // Every other failure shows its message, then the dialog again.
        dialogs_.message(error == RunTimeError::PathFileAccess ? kDriveProblem
                                                               : fileErrorText(error));
    }
}

void Tester::loadAtStartUp(const QString& path) {
    CommandFileReader file;
    int error = file.open(path);
    if (error == 0)
        error = applyCommandFile(file);
    if (error == 0 || error == kHeaderRefused || error == RunTimeError::Cancel)
        return;
    if (error == RunTimeError::FileNotFound)
        dialogs_.message(QStringLiteral("File Not Found !"));
    else if (error == RunTimeError::PathFileAccess)
        dialogs_.message(QStringLiteral("Drive Problem !"), Dialogs::Buttons::Ok,
                         Dialogs::Icon::None, notAFileReason(path));
    else
        dialogs_.message(fileErrorText(error) + QLatin1Char(' ') + path);
}

int Tester::applyCommandFile(CommandFileReader& file) {
    QString text;
    int number = 0;
    bool flag = false;
    if (int e = file.text(text))
        return e;
    if (text != CommandFile::kHeader) {
        file.close();
        dialogs_.message(QStringLiteral("Not compatible file format version !"),
                         Dialogs::Buttons::Ok, Dialogs::Icon::Critical);
        return kHeaderRefused;
    }
    if (int e = file.byteValue(number))
        return e;
    state_.portNumber = number;
    if (int e = file.wholeNumber(number))
        return e;
    if (number < 0 || number > CommandFile::kMaxInterval)
        return RunTimeError::InvalidPropertyValue; // an interval the timer refuses
    timer_.setInterval(number);
    panel_.setText(FrontPanel::panel(8), intervalPanelText(number));
    setPortPanel();
    lines_.port().selectPort(state_.portNumber);
    if (int e = file.byteValue(number))
        return e;
    state_.resetTension = number;
    panel_.setText(FrontPanel::panel(11), resetTimeText(number));
    if (int e = file.text(text))
        return e;
    state_.currentFileTitle = text;

    if (int e = file.flag(flag))
        return e;
    panel_.setChecked(Ctl::Mset_start, flag);
    showStartBit(flag);
    if (int e = file.flag(flag))
        return e;
    if (flag) {
        panel_.setChecked(Ctl::Mset_micro, false);
        Mset_micro_Click(); // the whole Microwire presentation, start bit from the check mark
    } else {
        panel_.setChecked(Ctl::Mset_micro, false);
        showI2cColumn();
        panel_.setText(FrontPanel::panel(10), QStringLiteral("S:OFF"));
    }
    if (int e = file.flag(flag))
        return e;
    panel_.setChecked(Ctl::Mset_start, flag);
    if (panel_.isChecked(Ctl::Mset_micro)) {
        showStartBit(flag);
    } else {
        for (Ctl label : kStartLabels)
            panel_.setToolTip(label, QString());
    }
    if (int e = file.flag(flag))
        return e;
    if (flag) {
        selectOption(Ctl::Noff);
    } else {
        for (Ctl option : {Ctl::Noff, Ctl::Ns1, Ctl::Ns2, Ctl::Ns12})
            panel_.setChecked(option, false);
    }
    timer_.stop();

    for (int s = 1; s <= 2; ++s) {
        for (int k = 1; k <= 4; ++k) {
            if (int e = file.text(text))
                return e;
            panel_.setText(FrontPanel::cell(s, k), text);
        }
    }
    if (int e = file.flag(flag))
        return e;
    panel_.setChecked(Ctl::Anal_be, flag);
    lines_.setAnalysisOn(flag);
    trace_.clear();
    if (int e = file.text(text))
        return e;
    state_.noteText = text;
    panel_.setText(Ctl::Megjegyzes, QStringLiteral("Note: ") + state_.noteText);
    file.close();
    UpdateTitle();
    return 0;
}

void Tester::Mset_asoc_Click() {
    FileAssociation::associateScmFiles();
    dialogs_.message(FileAssociation::kDoneMessage);
}
