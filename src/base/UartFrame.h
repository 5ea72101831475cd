#pragma once

#include <cstdint>

// One character on TXD at 2400 baud, 8N1: a start bit (low), the eight data bits from bit 0,
// a stop bit (high); the line idles high. The adapter sends the Microwire reset pulse this way;
// the line event log and the simulated board both draw the frame from here.
namespace UartFrame {

constexpr int kBaud = 2400;
constexpr int kBits = 10; // start, eight data bits, stop

// k bit times, in nanoseconds (rounded to the nearest).
constexpr std::uint64_t bitTimesNs(int k) {
    return (static_cast<std::uint64_t>(k) * 1'000'000'000u + kBaud / 2) / kBaud;
}

// The level of bit k (0 to 9) of the frame of byte.
constexpr bool bitLevel(std::uint8_t byte, int k) {
    return k == 0 ? false : k == kBits - 1 ? true : ((byte >> (k - 1)) & 1u) != 0;
}

// Calls edge(offsetNs, level) for every change of the line during the frame of byte, sent on
// a high line (idle, or the stop bit of the frame before); offsets from the frame's start.
template <typename Edge> void forEachEdge(std::uint8_t byte, Edge&& edge) {
    bool level = true;
    for (int k = 0; k < kBits; ++k) {
        const bool bit = bitLevel(byte, k);
        if (bit != level)
            edge(bitTimesNs(k), bit);
        level = bit;
    }
}

} // namespace UartFrame
