#pragma once

#include "bus/I2cBus.h"

#include <QString>

#include <array>
#include <functional>

// The device scan: every address byte 0 to 255 in turn, as start, the byte, its acknowledge
// and stop. The byte goes out unchanged, so a device shows up under its write address and
// its read address.
class DeviceScan {
public:
    using Acknowledged = std::array<bool, 256>;

    // Runs the 256 transfers without a pause; progress(a) is called after each start.
    static Acknowledged run(I2cBus& bus, const std::function<void(int address)>& progress);

    // The two read-out texts of a scan.
    struct Report {
        QString dump; // "Acknowledge Found !" and the decimal list, or what was not found
        QString hex;  // the acknowledged bytes in hexadecimal, each followed by a blank
    };
    static Report report(const Acknowledged& acknowledged);
};
