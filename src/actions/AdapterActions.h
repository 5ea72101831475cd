#pragma once

#include "bus/AdapterTiming.h"
#include "model/Workbench.h"

#include <QStringList>

#include <functional>

class PowerActions;
class QSettings;

// The serial adapter: its timing ("Adapter Timing...", kept in the settings group "Adapter"),
// the machine's serial devices ("Serial Devices...") and what the user learns about the
// adapter when a port opens.
class AdapterActions {
public:
    AdapterActions(Workbench& bench, PowerActions& power);

    // The timing the port works with, handed to it at once.
    const AdapterTiming& timing() const { return timing_; }
    void setTiming(const AdapterTiming& timing);

    // "Adapter Timing..." menu item: asks for the settle time, then for the minimum time per
    // line change. A cancel or an answer that does not fit changes nothing.
    void Mset_adapter_Click();
    // "Serial Devices..." menu item: the machine's serial devices, the port numbers that open
    // them, and how to give one a number. Nothing is opened.
    void Mset_devices_Click();

    // What is known of the adapter after a port opened, told once for every new finding. The
    // window shows it in a message box when there is more than the adapter's family (a
    // warning, or the settle time measured); with an announcer, every new finding goes there
    // instead (brolmet-cli prints it).
    using Announcer = std::function<void(const QStringList& notes)>;
    void setAnnouncer(Announcer announcer) { announcer_ = std::move(announcer); }

    // The window closes: a timing set in the dialog goes to the settings store (one given on
    // the command line does not).
    void shutDown(QSettings& store) const;

private:
    void portOpened();

    Dialogs& dialogs_;
    PortLines& lines_;
    AdapterTiming timing_;
    bool chosen_ = false; // the dialog set the timing
    Announcer announcer_;
    QStringList announced_;
};
