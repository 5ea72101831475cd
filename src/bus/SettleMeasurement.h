#pragma once

#include "bus/AdapterTiming.h"

#include <QString>

class PortBackend;

// The settle time an adapter needs, measured through its DSR-to-RTS strap: RTS is changed a few
// dozen times with irregular pauses, and each time DSR is read until it shows the new level.
// The time from the change to the read that first shows it is the adapter's lag; an adapter
// that reads its lines live (FTDI, CP210x, a 16550) shows the new level on the first read. A
// change during which the program was held up (a busy machine) is made again.
struct SettleMeasurement {
    using Duration = AdapterTiming::Duration;

    // DSR followed every change within kGiveUpAfter; when false the strap does not work (or
    // the board is not plugged in) and `settle` is 0.
    bool followed = false;
    int changes = 0; // RTS changes the figures come from
    Duration worst{0};
    Duration median{0};
    // The settle time to use: twice the worst lag (see measure()).
    Duration settle{0};
    Duration took{0}; // how long the measurement ran

    // "DSR follows RTS within 212 us (median 118 us, 32 changes): settle time 424 us"
    QString summary() const;

    static constexpr int kChanges = 32;
    static constexpr std::chrono::milliseconds kGiveUpAfter{50};

    // Measures on an open port whose own settle time is 0. `rts` is the level RTS has now; RTS
    // is changed an even number of times and ends at it. DTR does not move, so no chip sees a
    // start or stop condition.
    static SettleMeasurement measure(PortBackend& port, bool rts);
};
