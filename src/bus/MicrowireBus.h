#pragma once

#include "bus/PortLines.h"

#include <cstdint>
#include <functional>

// Nominal length of the Microwire reset pulse: one bit time at 2400 baud per unit of the
// reset tension (1 to 9), in microseconds.
inline double ResetPulseMicroseconds(int resetTension) {
    return (1.0 / 2400.0) * resetTension * 1000000.0;
}

// Microwire bits and bytes, each a fixed sequence of the five line operations, most
// significant bit first, without any delay; and the reset pulse, one character on TXD.
//
//   write 1  C0 D1 C1          write 0  C0 D0 C1 D1      read  C0 R C1 (sampled before the rise)
//   end      C1 D1 C1 D1       reset    TXD char, D1 C1 D0, one yield
class MicrowireBus {
public:
    // yield: lets pending user-interface events run (the reset pulse yields once).
    MicrowireBus(PortLines& lines, std::function<void()> yield)
        : lines_(lines), yield_(std::move(yield)) {}

    // The character whose sending is the reset pulse: the top n-1 bits set (9 -> 0xFF);
    // 0x00 for a reset tension outside 1 to 9.
    static std::uint8_t resetCharacter(int resetTension);

    // Data is set while the clock is low and held through the rising edge; both lines end
    // high (a 0 bit returns data high after the edge).
    void writeBit(bool bit);
    // Samples data in while the clock is low, before the rising edge; the clock ends high.
    bool readBit();
    // The low eight bits of value, bit 7 first.
    void writeByte(int value);
    int readByte();
    void end();
    // Hands the reset character to the port without waiting for it to go out (nothing is
    // sent on a closed port), then D1 C1 D0 and one yield. Leaves clock high, data low.
    void resetPulse(int resetTension);

private:
    PortLines& lines_;
    std::function<void()> yield_;
};
