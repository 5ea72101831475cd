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

// Turns the events, in the order they were recorded, into the dump's changes.
class Changes {
public:
    Changes(ValueChangeDump& dump, bool dataOut)
        : dump_(dump), dataOut_(dataOut), dataShown_(dataOut) {}
    void add(const LineEventLog::Event& e, std::uint64_t at);
    // Nothing later goes back before the window's start: what lies before can be written.
    void settle() { dump_.settle(windowStart_); }

private:
    void showData(std::uint64_t at) {
        const bool level = dataOut_ && !chipLow_;
        if (level != dataShown_)
            dump_.add({at, Data, level});
        dataShown_ = level;
    }

    ValueChangeDump& dump_;
    bool dataOut_;
    bool chipLow_ = false; // a sample found the line low while it was let go
    bool dataShown_;
    std::uint64_t windowStart_ = 0; // the later of the last clock fall and the last DTR change
};

void Changes::add(const LineEventLog::Event& e, std::uint64_t at) {
    using Signal = LineEventLog::Signal;
    switch (e.signal) {
    case Signal::DataOut:
        dump_.add({at, Dtr, e.level});
        dataOut_ = e.level;
        windowStart_ = at;
        showData(at);
        break;
    case Signal::Clock:
        dump_.add({at, Rts, e.level});
        if (!e.level) {
            chipLow_ = false;
            windowStart_ = at;
            showData(at);
        }
        break;
    case Signal::DataIn:
        dump_.add({at, Cts, e.level});
        if (!e.level && dataOut_ && !chipLow_) {
            chipLow_ = true;
            showData(windowStart_);
        }
        break;
    case Signal::Txd:
        dump_.add({at, Txd, e.level});
        break;
    }
}

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
    Changes changes(dump, log.startDataOut());
    LineEventLog::Reader reader(log);
    LineEventLog::Event e{};
    while (reader.next(e)) {
        changes.add(e, e.atNs >= origin ? e.atNs - origin : 0);
        changes.settle();
    }
    return dump.finish(log.txdIdleNs() > origin ? log.txdIdleNs() - origin + 100'000 : 0);
}
