#pragma once

#include <QByteArray>

#include <cstdint>
#include <deque>
#include <vector>

class QIODevice;

// A Value Change Dump (IEEE 1364 VCD) of one-bit signals, as waveform viewers and sigrok
// (sigrok-cli -I vcd, PulseView) read it, written to a device as it goes: only the changes
// not yet settled are held, so a dump of any length takes little memory.
class ValueChangeDump {
public:
    struct Change {
        std::uint64_t atNs;
        int signal; // index into the signal names
        bool level;
    };

    // names: the signals' names in the dump; nsPerTick: the dump's timescale in nanoseconds
    // (1, 10, 100, 1000, ...).
    ValueChangeDump(QByteArray version, QByteArray scope, std::vector<QByteArray> names,
                    std::uint64_t nsPerTick);

    // Writes the header to out, with a comment when one is given, and each signal's level at
    // time 0 (initial: one per signal).
    void begin(QIODevice& out, const std::vector<bool>& initial, const QByteArray& comment = {});
    // Changes may come in any order of time after the time last settled. Several changes of
    // one signal within one tick leave its last level, and a change to the level a signal
    // already has is left out.
    void add(const Change& change);
    // No change before atNs will come: the ticks before it are written.
    void settle(std::uint64_t atNs);
    // Writes the rest. The dump ends a little after the last change and not before endNs, so
    // that a decoder sees the final levels. False when a write to the device failed.
    bool finish(std::uint64_t endNs = 0);

    // The whole dump of these changes at once; without initial levels a signal starts at the
    // level of its first change.
    QByteArray text(std::vector<Change> changes, const std::vector<bool>& initial = {},
                    std::uint64_t endNs = 0);

private:
    // begin() with each signal's level at time 0, -1 where it is not known.
    void start(QIODevice& out, std::vector<int> levels, const QByteArray& comment);
    std::uint64_t tickOf(std::uint64_t ns) const { return (ns + nsPerTick_ / 2) / nsPerTick_; }
    // Writes the changes of the earliest tick held.
    void writeTick();
    void put(const QByteArray& bytes);

    QByteArray version_;
    QByteArray scope_;
    std::vector<QByteArray> names_;
    std::uint64_t nsPerTick_;

    QIODevice* out_ = nullptr;
    bool ok_ = true;
    QByteArray chunk_;         // written out in pieces of about 64 KiB
    std::deque<Change> held_;  // in order of time, and of arrival within one time
    std::vector<int> written_; // each signal's level in the dump; -1: none yet
    std::vector<int> pending_; // the levels at the end of the tick being written
    std::uint64_t lastTick_ = 0;
};
