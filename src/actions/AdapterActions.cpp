#include "actions/AdapterActions.h"

#include "actions/PowerActions.h"
#include "model/AdapterTexts.h"

AdapterActions::AdapterActions(Workbench& bench, PowerActions& power)
    : dialogs_(bench.dialogs), lines_(bench.lines) {
    power.portOpened = [this] { portOpened(); };
}

void AdapterActions::setTiming(const AdapterTiming& timing) {
    timing_ = timing;
    lines_.port().setAdapterTiming(timing_);
}

void AdapterActions::Mset_adapter_Click() {
    const auto settle =
        dialogs_.input(AdapterTexts::settlePrompt(timing_, lines_.port().adapterNotes()),
                       AdapterTexts::kTimingTitle, timing_.settleText());
    if (!settle)
        return;
    const auto withSettle = AdapterTiming::withSettle(timing_, *settle);
    if (!withSettle) {
        dialogs_.message(AdapterTexts::badSettle(*settle));
        return;
    }
    const auto minChange = dialogs_.input(AdapterTexts::minChangePrompt(timing_),
                                          AdapterTexts::kTimingTitle, timing_.minChangeText());
    if (!minChange)
        return;
    const auto timing = AdapterTiming::withMinChange(*withSettle, *minChange);
    if (!timing) {
        dialogs_.message(AdapterTexts::badMinChange(*minChange));
        return;
    }
    setTiming(*timing);
    chosen_ = true;
}

void AdapterActions::Mset_devices_Click() {
    const auto ports = AdapterTexts::listedPorts(AdapterInfo::listPorts(), lines_.port());
    dialogs_.message(AdapterTexts::portList(ports), Dialogs::Buttons::Ok, Dialogs::Icon::None,
                     AdapterTexts::mappingHelp(ports));
}

void AdapterActions::portOpened() {
    const QStringList notes = lines_.port().adapterNotes();
    if (notes.isEmpty() || notes == announced_)
        return;
    announced_ = notes;
    if (announcer_)
        announcer_(notes);
    else if (notes.size() > 1)
        dialogs_.message(notes.front(), Dialogs::Buttons::Ok, Dialogs::Icon::None,
                         notes.mid(1).join(QLatin1Char('\n')));
}

void AdapterActions::shutDown(QSettings& store) const {
    if (chosen_)
        timing_.writeSettings(store);
}
