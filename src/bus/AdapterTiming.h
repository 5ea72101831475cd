#pragma once

#include <QString>
#include <QStringList>

#include <chrono>
#include <optional>

class QSettings;

// How fast a serial adapter lets the lines move and how soon it reads them right.
//
// Some USB-serial adapters (Prolific PL2303, WCH CH340/CH341) answer a read of CTS and DSR from
// a status the chip last sent, refreshed about every millisecond: a read just after a line
// change can return the old level. A settle time makes every read wait until that long after
// the last line change. A fast native port (a 16550 on a PCI card) changes the lines 1 to 3 us
// apart, quicker than a 100 kHz chip allows: a minimum time per line change keeps successive
// changes at least that far apart.
//
// Both are 0 by default, and then nothing waits and no clock is read: each line change and
// each read stays one call on the port.
struct AdapterTiming {
    using Duration = std::chrono::nanoseconds;
    using Clock = std::chrono::steady_clock;

    // Every read of CTS or DSR comes at least this long after the last line change.
    Duration settle{0};
    // The settle time is measured when the port opens (through the adapter's DSR-to-RTS
    // strap) and replaces `settle`.
    bool autoSettle = false;
    // Successive line changes at least this far apart.
    Duration minChange{0};

    bool operator==(const AdapterTiming&) const = default;

    // The settle time as a user gives it: "auto" or a whole number of microseconds (0 is
    // off). nullopt for anything else; the timing is then left as it was.
    static std::optional<AdapterTiming> withSettle(AdapterTiming timing, const QString& text);
    // The minimum time per line change in whole microseconds.
    static std::optional<AdapterTiming> withMinChange(AdapterTiming timing, const QString& text);
    // The settle time as withSettle() reads it back ("auto", "250"), and the minimum time.
    QString settleText() const;
    QString minChangeText() const;
    // What withSettle() and withMinChange() take, for a message: "auto or whole microseconds
    // from 0 to 1000000".
    static QString settleRule();
    static QString minChangeRule();

    // The timing kept in the settings store, group "Adapter": "Settle" ("auto" or
    // microseconds) and "MinChange" (microseconds). An absent key is 0; so is a value that
    // cannot be read, and then `problems` gets a line that says so.
    static AdapterTiming readSettings(QSettings& store, QStringList* problems = nullptr);
    void writeSettings(QSettings& store) const;

    // Returns at `deadline`, as precisely as the machine allows: the last stretch is spent
    // polling the clock (a sleep can overshoot by tens of microseconds), anything longer
    // sleeps first.
    static void waitUntil(Clock::time_point deadline);
};
