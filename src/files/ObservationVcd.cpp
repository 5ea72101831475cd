#include "files/ObservationVcd.h"

#include "base/ValueChangeDump.h"

namespace {

enum Column {
    Dtr,
    Rts,
    Cts,
    Data,
    Txd
};

} // namespace

QByteArray observationVcd(const LineEventLog& log) {
    using Signal = LineEventLog::Signal;
    const std::uint64_t origin = log.startNs();
    std::vector<ValueChangeDump::Change> changes;
    changes.reserve(log.events().size() * 2);

    bool dataOut = log.startDataOut();
    bool chipLow = false; // a sample found the line low while it was let go
    bool dataShown = dataOut;
    bool ctsKnown = false;
    bool ctsStart = true;          // released, unless the first sample says otherwise
    std::uint64_t windowStart = 0; // the later of the last clock fall and the last DTR change
    const auto showData = [&](std::uint64_t at) {
        const bool level = dataOut && !chipLow;
        if (level != dataShown)
            changes.push_back({at, Data, level});
        dataShown = level;
    };

    for (const LineEventLog::Event& e : log.events()) {
        const std::uint64_t at = e.atNs >= origin ? e.atNs - origin : 0;
        switch (e.signal) {
        case Signal::DataOut:
            changes.push_back({at, Dtr, e.level});
            dataOut = e.level;
            windowStart = at;
            showData(at);
            break;
        case Signal::Clock:
            changes.push_back({at, Rts, e.level});
            if (!e.level) {
                chipLow = false;
                windowStart = at;
                showData(at);
            }
            break;
        case Signal::DataIn:
            if (!ctsKnown)
                ctsStart = e.level;
            ctsKnown = true;
            changes.push_back({at, Cts, e.level});
            if (!e.level && dataOut && !chipLow) {
                chipLow = true;
                showData(windowStart);
            }
            break;
        case Signal::Txd:
            changes.push_back({at, Txd, e.level});
            break;
        }
    }
    const std::vector<bool> initial{log.startDataOut(), log.startClock(), ctsStart,
                                    log.startDataOut(), true};
    return ValueChangeDump("Tamsolvix observation", "adapter", {"dtr", "rts", "cts", "data", "txd"},
                           1)
        .text(std::move(changes), initial,
              log.txdIdleNs() > origin ? log.txdIdleNs() - origin + 100'000 : 0);
}
