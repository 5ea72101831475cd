#pragma once

#include <QByteArray>
#include <QString>

#include <array>
#include <cstdint>
#include <vector>

// A logic analyser clipped onto the simulated board: it keeps every level change of the
// board's wires with its virtual time and writes them as a Value Change Dump (VCD), which
// sigrok (sigrok-cli -I vcd) and waveform viewers read.
//
// Signals in the dump (one-bit wires, timescale 1 us):
//   dtr   data out of the master          rts   clock
//   data  the open-drain data line as every chip and CTS see it
//   dsr   the DSR input                    txd   the serial transmit line (UART frames)
//   cs    the Microwire chip select
// A chip's output appears on data kOutputDelayNs after the edge that caused it.
class WireRecorder {
public:
    enum class Wire {
        DataOut,
        Clock,
        Data,
        Dsr,
        Txd,
        ChipSelect
    };
    static constexpr int kWires = 6;

    struct Change {
        std::uint64_t atNs;
        Wire wire;
        bool level;
    };

    // Keeps the level if it differs from the last one kept for that wire. Times may arrive
    // slightly out of order (a chip's delayed output); the dump sorts them.
    void record(Wire wire, bool level, std::uint64_t atNs);
    void clear();
    // In the order they were recorded.
    const std::vector<Change>& changes() const { return changes_; }
    // The last level kept for a wire (false before any).
    bool level(Wire wire) const { return last_[static_cast<std::size_t>(wire)] == 1; }

    QByteArray vcd() const;
    bool writeVcd(const QString& path, QString* whyNot = nullptr) const;
    static const char* wireName(Wire wire);

private:
    std::vector<Change> changes_;
    std::array<int, kWires> last_{-1, -1, -1, -1, -1, -1};
};
