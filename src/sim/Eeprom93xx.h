#pragma once

#include "sim/SimDevice.h"

#include <QString>

#include <cstdint>
#include <span>
#include <vector>

// A 93Cxx Microwire serial EEPROM (93C46, 93C56, 93C66) in the x8 or x16 organisation (the
// ORG pin), modelled from the family's datasheets.
//
// Wires: CS is the board's chip select (made from the TXD reset character), SK the clock
// (RTS), DI the data-out wire (DTR). DO shares the data line: it pulls the line low when it
// outputs 0 and leaves it alone otherwise (1 or high impedance).
//
// While CS is high the chip samples DI on each rising SK edge. The first 1 is the start bit;
// two opcode bits and the address bits follow (93C46: 7 in x8, 6 in x16; 93C56 and 93C66: 9
// in x8, 8 in x16, the top one a don't-care bit on the 93C56):
//   READ  1 10 A           DO outputs a dummy 0, then the word from its top bit, and goes on
//                          with the next word (wrapping at the end) as long as SK runs
//   EWEN  1 00 11x..x      enable programming       EWDS  1 00 00x..x   disable programming
//   WRITE 1 01 A D         ERASE 1 11 A (word := all ones)
//   ERAL  1 00 10x..x      every word := all ones   WRAL  1 00 01x..x D
// D is 8 or 16 data bits, top bit first. DO changes right after the rising SK edge (the dummy
// 0 right after the edge that clocks in the last address bit), so a master that samples while
// SK is low, before the next rising edge, reads the bit of the previous edge.
//
// Memory layout: a byte per word in x8; in x16 word w is the bytes 2w (D15..D8) and 2w+1
// (D7..D0), the order in which its bits leave the chip.
//
// Programming (WRITE, ERASE, ERAL, WRAL) works only after EWEN; the chip powers up
// write-disabled and reads all ones where nothing was written. The self-timed programming
// cycle (kCycleNs of virtual time, within the datasheets' 10 ms maximum) starts on the edge
// that completes the command. While it runs the chip ignores SK and DI, and DO shows "busy"
// (low) whenever CS is high; at the end of the cycle DO shows "ready" (released, reads high).
// After a complete command the chip ignores further bits until CS falls. CS low resets the
// command decoder and puts DO into high impedance; a programming cycle under way goes on.
class Eeprom93xx : public SimDevice {
public:
    struct Part {
        const char* name;  // "93C46"
        int size;          // bytes
        int addressBits8;  // address bits in the x8 organisation
        int addressBits16; // in x16
    };
    static constexpr std::uint64_t kCycleNs = 4'000'000;

    // 93C46, 93C56, 93C66.
    static std::span<const Part> parts();
    // The part of that name (any case), or nullptr.
    static const Part* find(QAnyStringView name);

    // org: 8 or 16 (anything else is taken as 8).
    Eeprom93xx(const Part& part, int org);

    void wiresChanged(const BoardWires& wires, std::uint64_t nowNs) override;
    bool pullsDataLow() const override { return pulling_; }
    std::uint64_t nextEventNs() const override { return cycleRunning_ ? cycleEndNs_ : kNever; }
    void timeReached(std::uint64_t nowNs) override;

    const Part& part() const { return part_; }
    int org() const { return org_; }
    int size() const { return part_.size; }
    std::uint8_t at(int address) const { return memory_[index(address)]; }
    void set(int address, std::uint8_t value) { memory_[index(address)] = value; }
    void fill(std::uint8_t value);
    // The whole memory, for keeping it in a file.
    std::vector<std::uint8_t>& memory() { return memory_; }
    bool writeEnabled() const { return writeEnabled_; }
    bool busy() const { return cycleRunning_; }

private:
    enum class State {
        WaitStart, // waiting for the start bit
        Command,   // shifting in opcode and address
        DataIn,    // shifting in the data word of WRITE or WRAL
        ReadOut,   // driving data bits
        Done       // command complete: nothing until CS falls
    };

    std::size_t index(int address) const {
        return static_cast<std::size_t>(address & (part_.size - 1));
    }
    int words() const { return part_.size * 8 / org_; }
    unsigned wordAt(int word) const;
    void setWord(int word, unsigned value);
    void clockRose(bool di, std::uint64_t nowNs);
    void decode(std::uint64_t nowNs);
    void program(std::uint64_t nowNs);
    void driveBit(bool one) { pulling_ = !one; }

    const Part& part_;
    int org_;
    int addressBits_;
    std::vector<std::uint8_t> memory_;
    State state_ = State::WaitStart;
    unsigned shift_ = 0;
    int bits_ = 0;
    int word_ = 0;
    int readBit_ = 0; // the data bit DO shows, 0 = the top bit
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
