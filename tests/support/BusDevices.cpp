#include "support/BusDevices.h"

std::vector<int> WireLog::bitsOnRisingClock() const {
    std::vector<int> bits;
    bool clock = false;
    for (const auto& [dtr, rts] : levels) {
        if (rts && !clock)
            bits.push_back(dtr ? 1 : 0);
        clock = rts;
    }
    return bits;
}
