#pragma once

#include "sim/SimDevice.h"

#include <array>
#include <cstdint>

// A 93C46 Microwire serial EEPROM in the x8 organisation: 128 bytes, 7 address bits.
//
// Wires: CS is the board's chip select (made from the TXD reset character), SK the clock
// (RTS), DI the data-out wire (DTR). DO shares the data line: it pulls the line low when it
// outputs 0 and leaves it alone otherwise (1 or high impedance).
//
// While CS is high the chip samples DI on each rising SK edge. The first 1 is the start bit;
// two opcode bits and seven address bits follow:
//   READ  1 10 A6..A0     DO outputs a dummy 0, then D7..D0, and goes on with the next
//                         address (wrapping from 127 to 0) as long as SK runs
//   EWEN  1 00 11xxxxx    enable programming       EWDS  1 00 00xxxxx   disable programming
//   WRITE 1 01 A6..A0 D7..D0                        ERASE 1 11 A6..A0    byte := 0xFF
//   ERAL  1 00 10xxxxx    every byte := 0xFF        WRAL  1 00 01xxxxx D7..D0
// DO changes right after the rising SK edge (the dummy 0 right after the edge that clocks in
// A0), so a master that samples while SK is low, before the next rising edge, reads the bit of
// the previous edge.
//
// Programming (WRITE, ERASE, ERAL, WRAL) works only after EWEN; the chip powers up
// write-disabled and reads 0xFF where nothing was written. The self-timed programming cycle
// (kCycleNs of virtual time) starts on the edge that completes the command. While it runs
// the chip ignores SK and DI, and DO shows "busy" (low) whenever CS is high; at the end of
// the cycle DO shows "ready" (released, reads high). After a complete command the chip
// ignores further bits until CS falls. CS low resets the command decoder and puts DO into
// high impedance; a programming cycle under way goes on.
class Eeprom93c46 : public SimDevice {
public:
    static constexpr int kSize = 128;
    static constexpr std::uint64_t kCycleNs = 4'000'000;

    Eeprom93c46() { memory_.fill(0xFF); }

    void wiresChanged(const BoardWires& wires, std::uint64_t nowNs) override;
    bool pullsDataLow() const override { return pulling_; }
    std::uint64_t nextEventNs() const override { return cycleRunning_ ? cycleEndNs_ : kNever; }
    void timeReached(std::uint64_t nowNs) override;

    std::uint8_t at(int address) const { return memory_[address & (kSize - 1)]; }
    void set(int address, std::uint8_t value) { memory_[address & (kSize - 1)] = value; }
    void fill(std::uint8_t value) { memory_.fill(value); }
    bool writeEnabled() const { return writeEnabled_; }
    bool busy() const { return cycleRunning_; }

private:
    enum class State {
        WaitStart, // waiting for the start bit
        Command,   // shifting in opcode and address
        DataIn,    // shifting in the data byte of WRITE or WRAL
        ReadOut,   // driving data bits
        Done       // command complete: nothing until CS falls
    };

    void clockRose(bool di, std::uint64_t nowNs);
    void decode(std::uint64_t nowNs);
    void program(std::uint64_t nowNs);
    void driveBit(bool one) { pulling_ = !one; }

    std::array<std::uint8_t, kSize> memory_{};
    State state_ = State::WaitStart;
    unsigned shift_ = 0;
    int bits_ = 0;
    int address_ = 0;
    int readBit_ = 0; // the data bit DO shows, 0 = D7
    bool writeAll_ = false;
    bool eraseOne_ = false;
    bool eraseAll_ = false;
    bool writeEnabled_ = false;
    bool cycleRunning_ = false;
    std::uint64_t cycleEndNs_ = 0;
    bool pulling_ = false;
    bool cs_ = false;
    bool sk_ = false;
};
