#pragma once

#include <cstdint>
#include <limits>

// The levels on the adapter's wires. The data line is open-drain: it is high only while DTR
// releases it and no device pulls it down. CTS reads the data line; DSR is strapped to RTS.
// TXD idles high and carries the Microwire reset character as a 2400 baud frame; CS is the
// Microwire chip select that the board's reset circuit makes from that character.
struct BoardWires {
    bool dtr = false;  // data out
    bool rts = false;  // clock
    bool data = false; // the data line every device sees (and CTS)
    bool txd = true;   // serial transmit line, idle high
    bool cs = false;   // Microwire chip select
};

// A chip on the simulated test board. It sees only the wires, the way real silicon does,
// and answers only by pulling the data line low.
class SimDevice {
public:
    static constexpr std::uint64_t kNever = std::numeric_limits<std::uint64_t>::max();

    virtual ~SimDevice() = default;
    // Called after every change of the wires, with the virtual time in nanoseconds. A chip
    // compares with the levels it saw last to find its edges; a call may come without any
    // change that concerns it.
    virtual void wiresChanged(const BoardWires& wires, std::uint64_t nowNs) = 0;
    // Called for every character handed to TXD.
    virtual void characterSent(std::uint8_t /*byte*/, std::uint64_t /*nowNs*/) {}
    virtual bool pullsDataLow() const = 0;
    // A chip whose output changes on its own (the end of a programming cycle) names the
    // virtual time of that change; the board calls timeReached() at that time.
    virtual std::uint64_t nextEventNs() const { return kNever; }
    virtual void timeReached(std::uint64_t /*nowNs*/) {}
};
