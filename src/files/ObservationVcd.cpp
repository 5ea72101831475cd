#include "files/ObservationVcd.h"

#include "files/ValueChangeDump.h"

namespace {

enum Column {
    Dtr,
    Rts,
    Cts,
    Data,
    Txd
};

// The level of the first sample of data in; released (high) when there is none.
bool firstSample(const LineEventLog& log) {
    LineEventLog::Reader reader(log);
    LineEventLog::Event e{};
    while (reader.next(e))
        if (e.signal == LineEventLog::Signal::DataIn)
            return e.level;
    return true;
}

} // namespace

bool writeObservationVcd(const LineEventLog& log, QIODevice& out) {
    using Signal = LineEventLog::Signal;
    const std::uint64_t origin = log.startNs();
    ValueChangeDump dump("Tamsolvix observation", "adapter", {"dtr", "rts", "cts", "data", "txd"},
                         1);
    QByteArray comment;
    if (log.dropped() > 0)
        comment = "the run had " + QByteArray::number(static_cast<qulonglong>(log.dropped())) +
                  " line events more than the log keeps (" +
                  QByteArray::number(static_cast<qulonglong>(log.maxEvents())) +
                  "): they are not in this dump";
    dump.begin(out,
               {log.startDataOut(), log.startClock(), firstSample(log), log.startDataOut(), true},
               comment);

    bool dataOut = log.startDataOut();
    bool chipLow = false; // a sample found the line low while it was let go
    bool dataShown = dataOut;
    std::uint64_t windowStart = 0; // the later of the last clock fall and the last DTR change
    const auto showData = [&](std::uint64_t at) {
        const bool level = dataOut && !chipLow;
        if (level != dataShown)
            dump.add({at, Data, level});
        dataShown = level;
    };

    LineEventLog::Reader reader(log);
    LineEventLog::Event e{};
    while (reader.next(e)) {
        const std::uint64_t at = e.atNs >= origin ? e.atNs - origin : 0;
        switch (e.signal) {
        case Signal::DataOut:
            dump.add({at, Dtr, e.level});
            dataOut = e.level;
            windowStart = at;
            showData(at);
            break;
        case Signal::Clock:
            dump.add({at, Rts, e.level});
            if (!e.level) {
                chipLow = false;
                windowStart = at;
                showData(at);
            }
            break;
        case Signal::DataIn:
            dump.add({at, Cts, e.level});
            if (!e.level && dataOut && !chipLow) {
                chipLow = true;
                showData(windowStart);
            }
            break;
        case Signal::Txd:
            dump.add({at, Txd, e.level});
            break;
        }
        // Nothing later goes back before the window's start: what lies before is written.
        dump.settle(windowStart);
    }
    return dump.finish(log.txdIdleNs() > origin ? log.txdIdleNs() - origin + 100'000 : 0);
}
