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

// The dump's changes, from the events in the order they were recorded.
class Changes {
public:
    explicit Changes(bool dataOut) : dataOut_(dataOut), dataShown_(dataOut) {}
    void add(const LineEventLog::Event& e, std::uint64_t at);
    bool ctsStart() const { return ctsStart_; }
    std::vector<ValueChangeDump::Change> take() { return std::move(changes_); }

private:
    void showData(std::uint64_t at) {
        const bool level = dataOut_ && !chipLow_;
        if (level != dataShown_)
            changes_.push_back({at, Data, level});
        dataShown_ = level;
    }

    std::vector<ValueChangeDump::Change> changes_;
    bool dataOut_;
    bool chipLow_ = false; // a sample found the line low while it was let go
    bool dataShown_;
    bool ctsKnown_ = false;
    bool ctsStart_ = true;          // released, unless the first sample says otherwise
    std::uint64_t windowStart_ = 0; // the later of the last clock fall and the last DTR change
};

void Changes::add(const LineEventLog::Event& e, std::uint64_t at) {
    using Signal = LineEventLog::Signal;
    switch (e.signal) {
    case Signal::DataOut:
        changes_.push_back({at, Dtr, e.level});
        dataOut_ = e.level;
        windowStart_ = at;
        showData(at);
        break;
    case Signal::Clock:
        changes_.push_back({at, Rts, e.level});
        if (!e.level) {
            chipLow_ = false;
            windowStart_ = at;
            showData(at);
        }
        break;
    case Signal::DataIn:
        if (!ctsKnown_)
            ctsStart_ = e.level;
        ctsKnown_ = true;
        changes_.push_back({at, Cts, e.level});
        if (!e.level && dataOut_ && !chipLow_) {
            chipLow_ = true;
            showData(windowStart_);
        }
        break;
    case Signal::Txd:
        changes_.push_back({at, Txd, e.level});
        break;
    }
}

} // namespace

QByteArray observationVcd(const LineEventLog& log) {
    const std::uint64_t origin = log.startNs();
    Changes changes(log.startDataOut());
    for (const LineEventLog::Event& e : log.events())
        changes.add(e, e.atNs >= origin ? e.atNs - origin : 0);
    const std::vector<bool> initial{log.startDataOut(), log.startClock(), changes.ctsStart(),
                                    log.startDataOut(), true};
    return ValueChangeDump("Tamsolvix observation", "adapter", {"dtr", "rts", "cts", "data", "txd"},
                           1)
        .text(changes.take(), initial,
              log.txdIdleNs() > origin ? log.txdIdleNs() - origin + 100'000 : 0);
}
