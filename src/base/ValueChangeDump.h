#pragma once

#include <QByteArray>

#include <cstdint>
#include <vector>

// The text of a Value Change Dump (IEEE 1364 VCD) of one-bit signals, as waveform viewers and
// sigrok (sigrok-cli -I vcd, PulseView) read it.
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

    // initial: each signal's level at time 0 (empty: from each signal's first change).
    // Changes may come in any order of time; several changes of one signal within one tick
    // leave its last level, and a change to the level a signal already has is left out. The
    // dump ends a little after the last change and not before endNs, so that a decoder sees
    // the final levels.
    QByteArray text(std::vector<Change> changes, const std::vector<bool>& initial = {},
                    std::uint64_t endNs = 0) const;

private:
    QByteArray version_;
    QByteArray scope_;
    std::vector<QByteArray> names_;
    std::uint64_t nsPerTick_;
};
