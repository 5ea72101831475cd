#pragma once

#include "bus/I2cBus.h"

#include <array>
#include <functional>

// The device scan: every address byte 0 to 255 in turn, as start, the byte, its acknowledge
// and stop. The byte goes out unchanged, so a device shows up under its write address and
// its read address.
class DeviceScan {
public:
    // Whether each address byte 0 to 255 was acknowledged.
    using Acknowledged = std::array<bool, 256>;

    // Runs the 256 transfers without a pause; progress(a) is called after each start.
    static Acknowledged run(I2cBus& bus, const std::function<void(int address)>& progress);

    // The address bytes at which a device answered: all that were acknowledged, but none when
    // every one was (the data line never rose: that is no device at all, not 256 of them).
    static Acknowledged devices(const Acknowledged& acknowledged);
};
