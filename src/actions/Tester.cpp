#include "actions/Tester.h"

#include "base/Numbers.h"
#include "model/PanelTexts.h"
#include "sequence/CommandCells.h"

#include <QSettings>

#include <cmath>

namespace {

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

QString flagText(bool on) {
    return on ? QStringLiteral("True") : QStringLiteral("False");
}

} // namespace

Tester::Tester(FrontPanel& panel, PortBackend& port, Dialogs& dialogs)
    : bench_(panel, port, dialogs), power_(bench_), setup_(bench_, power_), runs_(bench_, power_),
      diagnostics_(bench_, power_, runs_), observation_(bench_, power_),
      files_(bench_, power_, setup_, runs_), adapter_(bench_, power_),
      eeprom_(bench_, power_, runs_) {
    connect(&bench_.timer, &QTimer::timeout, this, [this] { runs_.Timer_Timer(); });
    connect(&bench_.panel, &FrontPanel::changed, this, [this](Ctl c) {
        // The Stop rule follows every change of the first three cells of either row.
        if (c == Ctl::C1 || c == Ctl::C2 || c == Ctl::C3 || c == Ctl::D1 || c == Ctl::D2 ||
            c == Ctl::D3)
            runs_.ApplyStopRule();
    });
}

void Tester::startUp(const StartSettings& settings) {
    TesterState& state = bench_.state;
    FrontPanel& panel = bench_.panel;
    state.currentFileTitle = QStringLiteral("No Title");
    state.noteText = QStringLiteral(" ");
    panel.setText(Ctl::Megjegyzes, PanelTexts::note(state.noteText));
    setup_.UpdateTitle();

    if (numericValue(settings.microwire) == 1.0)
        setup_.Mset_micro_Click();
    else
        setup_.showI2cColumn();

    state.timerSelection = 0;
    state.powerOn = false;
    // A stored port outside 1 to 4 is kept (it fails when the port is opened); one outside
    // what the state can hold is taken as the nearest it can.
    state.portNumber = static_cast<int>(roundedSetting(settings.port, 0, 255));
    bench_.timer.setInterval(static_cast<int>(roundedSetting(settings.timer, 1, 65535)));
    state.resetTension = 9;
    const bool analysis = settings.analysis == u"True";
    bench_.lines.setAnalysisOn(analysis);
    panel.setChecked(Ctl::Anal_be, analysis);
    bench_.trace.init(analysis);
    state.startBitOn = settings.start == u"True";
    if (panel.isChecked(Ctl::Mset_micro)) {
        setup_.showStartBit(state.startBitOn);
        panel.setChecked(Ctl::Mset_start, state.startBitOn);
    }
    panel.setText(FrontPanel::panel(10), PanelTexts::startBit(state.startBitOn));
    showStartState();
    bench_.lines.port().selectPort(state.portNumber);
}

void Tester::showStartState() {
    FrontPanel& panel = bench_.panel;
    panel.setText(FrontPanel::panel(8), PanelTexts::interval(bench_.timer.interval()));
    power_.setPortPanel();
    panel.setText(FrontPanel::panel(2), PanelTexts::sequence(1, false));
    panel.setText(FrontPanel::panel(3), PanelTexts::sequence(2, false));
    runs_.selectOption(Ctl::Noff);
    panel.setText(FrontPanel::panel(11), PanelTexts::resetTime(bench_.state.resetTension));

    const QStringList keywords = CommandCells::keywords();
    panel.setCellItems(keywords);
    for (int s = 1; s <= 2; ++s)
        for (int k = 1; k <= 4; ++k)
            panel.setText(FrontPanel::cell(s, k), keywords.front());
    runs_.ApplyStopRule();
    power_.showPower();
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
    s.analysis = text(QStringLiteral("Analizis"), s.analysis);
    s.start = text(QStringLiteral("Start"), s.start);
    store.endGroup();
    return s;
}

void Tester::shutDown(QSettings& store) {
    bench_.timer.stop();
    if (bench_.state.powerOn)
        bench_.lines.closePort(); // the power flag and the button are left as they are
    store.beginGroup(QStringLiteral("Setup"));
    store.setValue(QStringLiteral("Port"), numberText(bench_.state.portNumber));
    store.setValue(QStringLiteral("Timer"), numberText(bench_.timer.interval()));
    store.setValue(QStringLiteral("Microwire"), bench_.panel.isChecked(Ctl::Mset_micro)
                                                    ? QStringLiteral("1")
                                                    : QStringLiteral("0"));
    store.setValue(QStringLiteral("Analizis"), flagText(bench_.lines.analysisOn()));
    store.setValue(QStringLiteral("Start"), flagText(bench_.panel.isChecked(Ctl::Mset_start)));
    store.endGroup();
    adapter_.shutDown(store);
    store.sync();
}
